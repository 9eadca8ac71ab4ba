#include <cstdlib>

#include <gtest/gtest.h>

int main(int argc, char **argv) {
  // The tests decide which class configuration files are read: none, unless a test names one.
  setenv("KZCORE_CLASSES", "", 1);
  ::testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
