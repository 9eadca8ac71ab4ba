#include <kzcore/numerics/statistics.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

#include <gtest/gtest.h>

namespace {

const double kFloatMax = std::numeric_limits<float>::max();

TEST(Statistics, StartsAtTheFloatRange) {
  Statistics s;
  EXPECT_EQ(std::bit_cast<std::uint64_t>(s.Minimum()), 0x47EFFFFFE0000000ULL);
  EXPECT_EQ(std::bit_cast<std::uint64_t>(s.Maximum()), 0xC7EFFFFFE0000000ULL);
  EXPECT_EQ(s.Minimum(), 3.4028234663852886e+38);
  EXPECT_EQ(s.Range(), -2 * 3.4028234663852886e+38);
  EXPECT_EQ(s.Mean(), 0.0);
  EXPECT_EQ(s.StandardDeviation(), 0.0);
  EXPECT_EQ(s.Median(), 0.0);
  // Beyond the float range a value never becomes the extreme on the wrong side of the start.
  s.AddValue(1e39);
  EXPECT_EQ(s.Maximum(), 1e39);
  EXPECT_EQ(s.Minimum(), kFloatMax);
  s.AddValue(-1e39);
  EXPECT_EQ(s.Minimum(), -1e39);
  Statistics t;
  t.AddValue(-1e39);
  EXPECT_EQ(t.Maximum(), -kFloatMax);
}

TEST(Statistics, ANaNTakesOverBothExtremesUntilTheNextValue) {
  Statistics s(false);
  s.AddValue(1);
  s.AddValue(std::nan(""));
  EXPECT_TRUE(std::isnan(s.Minimum()));
  EXPECT_TRUE(std::isnan(s.Maximum()));
  s.AddValue(5);  // NaN < 5 is false: 5 replaces the NaN
  EXPECT_EQ(s.Minimum(), 5);
  EXPECT_EQ(s.Maximum(), 5);
  EXPECT_EQ(s.Count(), 3);
  EXPECT_TRUE(std::isnan(s.Sum()));
}

TEST(Statistics, MomentsAgainstTwoPassSums) {
  Statistics two;
  two.AddValue(2);
  two.AddValue(4);
  EXPECT_EQ(two.StandardDeviation(), std::sqrt(2.0));
  two.SetSample(false);
  EXPECT_EQ(two.StandardDeviation(), 1.0);
  EXPECT_EQ(two.Mean(), 3);
  // Random data: the mean and both deviations against two passes in long double.
  std::mt19937 gen(3);
  std::normal_distribution<double> normal(10, 3);
  Statistics s(false);
  std::vector<double> v(5000);
  for (double &x : v) s.AddValue(x = normal(gen));
  long double mean = 0, ss = 0;
  for (double x : v) mean += x;
  mean /= v.size();
  for (double x : v) ss += (x - mean) * (x - mean);
  EXPECT_NEAR(s.Mean(), static_cast<double>(mean), 1e-12);
  EXPECT_NEAR(s.StandardDeviation(), std::sqrt(static_cast<double>(ss / (v.size() - 1))), 1e-9);
  s.SetSample(false);
  EXPECT_NEAR(s.StandardDeviation(), std::sqrt(static_cast<double>(ss / v.size())), 1e-9);
  EXPECT_EQ(s.Range(), *std::max_element(v.begin(), v.end()) - *std::min_element(v.begin(), v.end()));
}

TEST(Statistics, MedianAndMode) {
  Statistics s;
  for (double v : {4.0, 1.0, 3.0, 2.0}) s.AddValue(v);
  EXPECT_EQ(s.Median(), 2.5);
  s.AddValue(0);
  EXPECT_EQ(s.Median(), 2);
  Statistics m;
  for (double v : {2.0, 1.0, 2.0, 1.0}) m.AddValue(v);
  EXPECT_EQ(m.Mode(), 1);  // equally long runs: the lowest
  m.AddValue(2);
  EXPECT_EQ(m.Mode(), 2);
  Statistics one;
  one.AddValue(7);
  EXPECT_EQ(one.Median(), 7);
  EXPECT_EQ(one.Mode(), 7);
  Statistics none(false);
  none.AddValue(1);
  EXPECT_EQ(none.Median(), 0.0);
  EXPECT_EQ(none.Mode(), 0.0);
  // NaNs sort last and never make a run.
  Statistics nan;
  for (double v : {std::nan(""), 3.0, std::nan(""), 1.0, 3.0}) nan.AddValue(v);
  EXPECT_EQ(nan.Median(), 3);
  EXPECT_EQ(nan.Mode(), 3);
}

// The table by the written rule, computed here: classes of width w from the minimum, each value
// counted in floor((v - min) / w).
std::vector<long> Classes(const std::vector<double> &v, double w, long classes) {
  std::vector<long> counts(classes + 1);
  double lo = *std::min_element(v.begin(), v.end());
  for (double x : v) ++counts[static_cast<long>((x - lo) / w)];
  return counts;
}

TEST(Statistics, FrequencyClassesByTheRule) {
  // 0 to 10 in five classes: width 2.0000002, then 2 by the whole-number rule; 10 lands one past
  // the last class, which is not shown.
  Statistics s;
  for (int i = 0; i <= 10; ++i) s.AddValue(i);
  s.SetNumFrequencyIntervals(5);
  EXPECT_EQ(s.NumFrequencyIntervals(), 5);
  EXPECT_EQ(s.FrequencyIntervalSize(), 2.0);
  for (int c = 0; c < 5; ++c) EXPECT_EQ(s.FrequencyClassCount(c), 2) << c;
  EXPECT_EQ(s.FrequencyClassCount(5), -1);
  EXPECT_EQ(s.FrequencyClassCount(-1), -1);
  // A new request takes effect only after a value (or Reset).
  s.SetNumFrequencyIntervals(3);
  EXPECT_EQ(s.NumFrequencyIntervals(), 5);
  s.AddValue(10);
  // Width 10 * 1.0000001 / 3 = 3.33..., rounded to 3 over the whole range 10: ceil(10 / 3) = 4.
  EXPECT_EQ(s.FrequencyIntervalSize(), std::floor(10 * 1.0000001 / 3 + 0.5));
  EXPECT_EQ(s.NumFrequencyIntervals(), 4);
  EXPECT_EQ(s.FrequencyClassCount(3), 3);  // 9, 10 and 10

  // All equal: range 0, width 1, one class with every value.
  Statistics same;
  for (int i = 0; i < 6; ++i) same.AddValue(2.5);
  EXPECT_EQ(same.FrequencyIntervalSize(), 1.0);
  EXPECT_EQ(same.NumFrequencyIntervals(), 1);
  EXPECT_EQ(same.FrequencyClassCount(0), 6);

  // Without a request the width comes from the count by the natural logarithm and 3.322.
  Statistics sturges;
  for (int i = 0; i < 100; ++i) sturges.AddValue(i);
  double width = 99 / (std::log(100.0) * 3.322 + 1.0);  // 6.07...
  EXPECT_EQ(sturges.FrequencyIntervalSize(), std::floor(width + 0.5));
  EXPECT_EQ(sturges.NumFrequencyIntervals(), static_cast<LONG>(std::ceil(99 / std::floor(width + 0.5))));

  // Without kept values there is no table.
  Statistics bare(false);
  bare.AddValue(1);
  bare.AddValue(2);
  EXPECT_EQ(bare.NumFrequencyIntervals(), 0);
  EXPECT_EQ(bare.FrequencyIntervalSize(), 0.0);
  EXPECT_EQ(bare.FrequencyClassCount(0), -1);
}

TEST(Statistics, FrequencyTablesOfRandomData) {
  std::mt19937 gen(8);
  std::uniform_real_distribution<double> u(-50, 50);
  std::uniform_int_distribution<int> whole(0, 40);
  for (int rep = 0; rep < 40; ++rep) {
    Statistics s;
    std::vector<double> v;
    int n = 1 + rep * 13;
    for (int i = 0; i < n; ++i) {
      v.push_back(rep % 2 ? u(gen) : whole(gen));  // whole numbers meet the rounding rule
      s.AddValue(v.back());
    }
    LONG asked = rep % 3 == 0 ? 0 : rep % 7 + 1;
    s.SetNumFrequencyIntervals(asked);
    double range = *std::max_element(v.begin(), v.end()) - *std::min_element(v.begin(), v.end());
    double w = range > 0 ? (asked >= 1 ? range * 1.0000001 / asked : range / (std::log(double(n)) * 3.322 + 1.0)) : 1.0;
    if (w > 1.0 && range == std::floor(range)) w = std::floor(w + 0.5);
    long classes = std::max(1L, static_cast<long>(std::ceil(range / w)));
    std::vector<long> expected = Classes(v, w, classes);
    ASSERT_EQ(s.NumFrequencyIntervals(), classes) << rep;
    EXPECT_EQ(s.FrequencyIntervalSize(), w);
    long shown = 0;
    for (long c = 0; c < classes; ++c) {
      EXPECT_EQ(s.FrequencyClassCount(c), expected[c]);
      shown += s.FrequencyClassCount(c);
    }
    // What is not shown is the maximum's landing one past the last class.
    EXPECT_EQ(n - shown, expected[classes]);
  }
}

TEST(Statistics, ResetAndCopies) {
  Statistics s;
  for (double v : {5.0, 1.0, 3.0}) s.AddValue(v);
  s.SetSample(false);
  s.SetNumFrequencyIntervals(2);
  Statistics copy = s;
  Statistics moved = std::move(copy);
  EXPECT_EQ(copy.Median(), 3);  // the move copied: the source keeps its values
  moved.AddValue(100);
  EXPECT_EQ(moved.Median(), 4);
  EXPECT_EQ(s.Median(), 3);
  EXPECT_EQ(s.Count(), 3);
  s.Reset(true);
  EXPECT_EQ(s.Count(), 0);
  EXPECT_EQ(s.Minimum(), kFloatMax);
  EXPECT_EQ(s.Median(), 0.0);
  EXPECT_EQ(s.NumFrequencyIntervals(), 0);
  s.AddValue(2);
  s.AddValue(4);
  EXPECT_EQ(s.StandardDeviation(), 1.0);  // still a population
  s.AddValue(6);
  EXPECT_EQ(s.NumFrequencyIntervals(), 2);  // the request stays
  s.Reset(false);
  s.AddValue(1);
  EXPECT_EQ(s.Median(), 0.0);
  Statistics assigned(false);
  assigned = moved;
  EXPECT_EQ(assigned.Median(), 4);
}

// Where the rule gives no count of classes (a NaN or infinite range) there is one class, and
// values whose class is a NaN are not counted.
TEST(Statistics, NaNsAndInfinitiesGiveATable) {
  Statistics s;
  for (double v : {1.0, std::numeric_limits<double>::infinity(), 3.0}) s.AddValue(v);
  // Range and width infinite: 1 and 3 fall in class 0, the infinity in no class.
  EXPECT_EQ(s.NumFrequencyIntervals(), 1);
  EXPECT_EQ(s.FrequencyClassCount(0), 2);
  // A NaN last makes the extremes NaNs: width 1.0, one class, every class index a NaN.
  s.SetNumFrequencyIntervals(4);
  s.AddValue(std::nan(""));
  EXPECT_EQ(s.FrequencyIntervalSize(), 1.0);
  EXPECT_EQ(s.NumFrequencyIntervals(), 1);
  EXPECT_EQ(s.FrequencyClassCount(0), 0);
}

}  // namespace
