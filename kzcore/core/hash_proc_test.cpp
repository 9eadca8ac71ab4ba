#include <kzcore/core/hash_proc.h>

#include <cstdint>
#include <random>
#include <string>

#include <gtest/gtest.h>

namespace {

// The hash as the polynomial it is: the sum of unit[i] * 33^(n-1-i), reduced modulo 2^32 only
// at the end of each step of a 64-bit computation, so that wrap-around and sign handling are
// checked against arithmetic done another way.
ULONG Polynomial(const std::u16string &text) {
  std::uint64_t sum = 0, power = 1;
  for (size_t i = text.size(); i-- > 0;) {
    sum = (sum + static_cast<std::uint64_t>(text[i]) * power) % (std::uint64_t{1} << 32);
    power = (power * 33) % (std::uint64_t{1} << 32);
  }
  return static_cast<ULONG>(sum);
}

TEST(HashProc, SmallTextsHaveTheirKnownValues) {
  EXPECT_EQ(HashProc(u""), 0u);
  EXPECT_EQ(HashProc(nullptr), 0u);
  EXPECT_EQ(HashProc(u"a"), 97u);
  EXPECT_EQ(HashProc(u"ab"), 97u * 33 + 98);
  EXPECT_EQ(HashProc(u"ab"), 3299u);
  // Units are unsigned 16-bit values, never sign-extended.
  EXPECT_EQ(HashProc(u"\xFFFF"), 0xFFFFu);
  EXPECT_EQ(HashProc(u"\x8000" u"a"), 0x8000u * 33 + 97);
  // Case-sensitive, and the text ends at its first 0 unit.
  EXPECT_NE(HashProc(u"Layer"), HashProc(u"layer"));
  const WCHAR cut[] = {u'a', u'b', 0, u'c', 0};
  EXPECT_EQ(HashProc(cut), 3299u);
}

TEST(HashProc, AgreesWithThePolynomialOnLongRandomTexts) {
  std::mt19937 rng(11);
  for (int round = 0; round < 300; ++round) {
    std::u16string text(rng() % 200, u' ');
    for (auto &u : text) u = static_cast<char16_t>(1 + rng() % 0xFFFF);
    EXPECT_EQ(HashProc(text.c_str()), Polynomial(text)) << "length " << text.size();
  }
}

}  // namespace
