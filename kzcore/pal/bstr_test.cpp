#include <kzcore/pal/bstr.h>

#include <cstring>

#include <gtest/gtest.h>

namespace {

DWORD PrefixOf(BSTR b) {
  DWORD n;
  std::memcpy(&n, reinterpret_cast<const char *>(b) - 4, 4);
  return n;
}

TEST(Bstr, PrefixHoldsByteLengthAndTextIsTerminated) {
  BSTR b = SysAllocString(u"abc");
  ASSERT_NE(b, nullptr);
  EXPECT_EQ(PrefixOf(b), 6u);
  EXPECT_EQ(SysStringLen(b), 3u);
  EXPECT_EQ(SysStringByteLen(b), 6u);
  EXPECT_EQ(b[3], 0);
  SysFreeString(b);
}

TEST(Bstr, NullAndEmptyDiffer) {
  EXPECT_EQ(SysAllocString(nullptr), nullptr);
  EXPECT_EQ(SysStringLen(nullptr), 0u);
  EXPECT_EQ(SysStringByteLen(nullptr), 0u);
  SysFreeString(nullptr);
  BSTR empty = SysAllocString(u"");
  ASSERT_NE(empty, nullptr);
  EXPECT_EQ(SysStringLen(empty), 0u);
  SysFreeString(empty);
}

TEST(Bstr, EmbeddedZerosAreKeptByLengthForms) {
  const OLECHAR text[] = {u'a', 0, u'b'};
  BSTR b = SysAllocStringLen(text, 3);
  EXPECT_EQ(SysStringLen(b), 3u);
  EXPECT_EQ(b[2], u'b');
  SysFreeString(b);
  BSTR zeros = SysAllocStringLen(nullptr, 4);
  EXPECT_EQ(SysStringLen(zeros), 4u);
  for (int i = 0; i <= 4; ++i) EXPECT_EQ(zeros[i], 0);
  SysFreeString(zeros);
}

TEST(Bstr, ByteLengthFormsCountBytesAndAddTwoZeroBytes) {
  // Odd byte counts report half their units, rounded down, and keep the exact byte count.
  BSTR b = SysAllocStringByteLen("abc", 3);
  EXPECT_EQ(SysStringByteLen(b), 3u);
  EXPECT_EQ(SysStringLen(b), 1u);
  const char *bytes = reinterpret_cast<const char *>(b);
  EXPECT_EQ(std::memcmp(bytes, "abc", 3), 0);
  EXPECT_EQ(bytes[3], 0);
  EXPECT_EQ(bytes[4], 0);
  SysFreeString(b);
}

TEST(Bstr, ReallocationMayReadFromTheOldText) {
  BSTR b = SysAllocString(u"hello");
  EXPECT_TRUE(SysReAllocStringLen(&b, b + 3, 2));  // "lo", taken from the string itself
  EXPECT_EQ(SysStringLen(b), 2u);
  EXPECT_EQ(std::u16string(b), u"lo");
  EXPECT_TRUE(SysReAllocString(&b, u"hi"));
  EXPECT_EQ(std::u16string(b), u"hi");
  EXPECT_FALSE(SysReAllocString(nullptr, u"x"));
  SysFreeString(b);
}

}  // namespace
