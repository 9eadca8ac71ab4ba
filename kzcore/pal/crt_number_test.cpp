// _ecvt and _fcvt against the C library's printf, which writes correctly rounded digits: the two
// agree everywhere but on exact ties, which printf rounds to even and the digit functions away
// from zero (shown by the reference table's 0.5 to no digit giving point 1).
#include <kzcore/pal/crt_number.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <thread>

#include <gtest/gtest.h>

namespace {

// The digits of printf's "%.*e" text of |value| and the place of the decimal point
// (value = 0.DIGITS × 10^point); with 1100 digits, the exact expansion.
int Scientific(double value, int precision, std::string *digits) {
  static thread_local char text[1200];
  std::snprintf(text, sizeof text, "%.*e", precision, value);
  digits->clear();
  const char *p = text + (text[0] == '-');
  for (; *p != 'e'; ++p)
    if (*p != '.') digits->push_back(*p);
  return std::atoi(p + 1) + 1;
}

bool TieAt(double value, int significant) {
  std::string digits;
  Scientific(value, 1100, &digits);
  return significant >= 0 && digits[significant] == '5' &&
         digits.find_first_not_of('0', significant + 1) == std::string::npos;
}

double RandomValue(std::mt19937_64 &random, int min_exponent, int max_exponent) {
  std::uniform_real_distribution<double> mantissa(1.0, 10.0);
  std::uniform_int_distribution<int> exponent(min_exponent, max_exponent);
  const double value = mantissa(random) * std::pow(10.0, exponent(random));
  return random() % 2 ? -value : value;
}

TEST(CrtNumber, EcvtMatchesPrintfDigits) {
  std::mt19937_64 random(11);
  for (int i = 0; i < 20000; ++i) {
    const double value = RandomValue(random, -300, 300);
    const int count = 1 + static_cast<int>(random() % 30);
    if (TieAt(value, count)) continue;
    std::string want;
    const int want_point = Scientific(value, count - 1, &want);
    int point = 0, sign = 0;
    const std::string got = _ecvt(value, count, &point, &sign);
    ASSERT_EQ(got, want) << value << " with " << count << " digits";
    ASSERT_EQ(point, want_point) << value;
    ASSERT_EQ(sign, value < 0 ? 1 : 0) << value;
  }
}

TEST(CrtNumber, FcvtMatchesPrintfDigits) {
  std::mt19937_64 random(12);
  for (int i = 0; i < 20000; ++i) {
    const double value = RandomValue(random, -6, 20);
    const int count = static_cast<int>(random() % 20);
    std::string exact;
    const int natural_point = Scientific(value, 1100, &exact);
    // Values that round to zero at this many places are left to the table: printf shows zeros,
    // the runtime shows nothing.
    if (natural_point + count <= 0 || TieAt(value, natural_point + count)) continue;
    char text[96];
    std::snprintf(text, sizeof text, "%.*f", count, std::fabs(value));
    const std::string fixed = text;
    const std::size_t dot = fixed.find('.');
    const std::string all = dot == std::string::npos ? fixed : fixed.substr(0, dot) + fixed.substr(dot + 1);
    const int whole = static_cast<int>(dot == std::string::npos ? fixed.size() : dot);
    // Drop the leading zeros; each one moves the point left.
    const std::size_t first = all.find_first_not_of('0');
    ASSERT_NE(first, std::string::npos) << text;
    int point = 0, sign = 0;
    const std::string got = _fcvt(value, count, &point, &sign);
    ASSERT_EQ(got, all.substr(first)) << value << " with " << count << " places";
    ASSERT_EQ(point, whole - static_cast<int>(first)) << value << " with " << count << " places";
    ASSERT_EQ(sign, value < 0 ? 1 : 0);
  }
}

TEST(CrtNumber, TiesRoundAwayFromZeroAndLimitsHold) {
  int point = 0, sign = 0;
  EXPECT_STREQ(_ecvt(2.5, 1, &point, &sign), "3");
  EXPECT_STREQ(_ecvt(0.125, 2, &point, &sign), "13");
  EXPECT_EQ(point, 0);
  EXPECT_STREQ(_ecvt(-0.5, 0, &point, &sign), "");
  EXPECT_EQ(point, 1);
  EXPECT_EQ(sign, 1);
  EXPECT_STREQ(_fcvt(0.125, 2, &point, &sign), "13");
  EXPECT_STREQ(_fcvt(0.6, 0, &point, &sign), "1");
  EXPECT_EQ(point, 1);
  EXPECT_STREQ(_fcvt(999.96, 1, &point, &sign), "10000");
  EXPECT_EQ(point, 4);
  EXPECT_EQ(std::strlen(_ecvt(1.0, 100000, &point, &sign)), static_cast<std::size_t>(KZ_CVT_MAX_DIGITS));
  EXPECT_EQ(std::strlen(_fcvt(1e300, 200, &point, &sign)), static_cast<std::size_t>(KZ_CVT_MAX_DIGITS));
  EXPECT_STREQ(_ecvt(1.0, -5, &point, &sign), "");
  EXPECT_STREQ(_ecvt(INFINITY, 5, &point, &sign), "1#INF");
  EXPECT_EQ(point, 1);
}

// Each thread has its own buffer.
TEST(CrtNumber, BufferIsPerThread) {
  int point = 0, sign = 0;
  const char *mine = _ecvt(1.25, 3, &point, &sign);
  std::string other;
  std::thread([&other] {
    int p = 0, s = 0;
    other = _ecvt(9.75, 3, &p, &s);
  }).join();
  EXPECT_STREQ(mine, "125");
  EXPECT_EQ(other, "975");
}

}  // namespace
