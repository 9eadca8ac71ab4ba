#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include <kzcore/core/frame.h>
#include <kzcore/pal/module.h>

namespace {

TEST(Frame, ModuleHandleKeptAtLoadIsTheLibrarys) {
  HMODULE module = KzGetModuleHandle();
  ASSERT_NE(module, nullptr);
  EXPECT_EQ(module, GetModuleHandleW(u"libkzcore.so.1"));
  EXPECT_NE(module, GetModuleHandleW(nullptr));
  WCHAR path[4096];
  DWORD n = GetModuleFileNameW(module, path, 4096);
  const std::u16string name(path, n);
  ASSERT_GE(name.size(), 14u);
  EXPECT_EQ(name.substr(name.size() - 14), u"libkzcore.so.1");
  // No language resource library is installed beside a build: strings come from the library.
  EXPECT_EQ(KzGetResourceHandle(), module);
}

TEST(Frame, GlobalDoublesHaveTheirBitPatterns) {
  EXPECT_EQ(std::bit_cast<std::uint64_t>(KzQuietNaN),
            std::bit_cast<std::uint64_t>(std::numeric_limits<double>::quiet_NaN()));
  EXPECT_TRUE(std::isnan(KzQuietNaN));
  EXPECT_EQ(KzPositiveInfinity, std::numeric_limits<double>::infinity());
  EXPECT_EQ(std::bit_cast<std::uint64_t>(KzPositiveInfinity) >> 32, 0x7FF00000u);
}

}  // namespace
