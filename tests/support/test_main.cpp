#include <cstdlib>

#include <gtest/gtest.h>

#include <host/objects/host_objects.h>

int main(int argc, char **argv) {
  // The tests decide which class configuration files are read: none, unless a test names one.
  setenv("KZCORE_CLASSES", "", 1);
  // The classes a server host provides, as the host registers them.
  KzRegisterHostObjects();
  ::testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
