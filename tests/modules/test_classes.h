// The classes that the test modules serve, and the interface their objects answer.
#pragma once

#include <kzcore/pal/com.h>

struct ITestValue : IUnknown {
  virtual int Value() = 0;
};
KZ_DECLARE_IID(ITestValue, "{1371050C-F286-40A2-B615-74E55F72900A}");

namespace kztest {

// Served by libkztest_classes.so through DllGetClassObject; its objects answer 41.
KZ_DEFINE_GUID(kConfiguredValueClass, "{F4904917-E3C1-4803-839C-6A61CA949AF4}");
inline constexpr int kConfiguredValue = 41;
// Known only to the add-in manager of libZOMRLib.so; its objects answer 42.
KZ_DEFINE_GUID(kAddInValueClass, "{209CE0D9-D844-4592-98DC-D10CC43BCE7B}");
inline constexpr int kAddInValue = 42;

}  // namespace kztest
