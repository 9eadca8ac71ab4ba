// Statistics: running descriptive measures of a stream of doubles. With its value-keeping mode on
// it also holds every value, which adds the median, the mode and a frequency table whose classes
// it chooses by itself.
//
// The starting minimum and maximum are the largest single-precision value, positive and negative
// (3.4028234663852886e+38 as a double): a value beyond that range in magnitude never becomes the
// minimum (maximum) while it lies on the wrong side of the start. This is kept as the family has
// it. Minimum and maximum are taken as `minimum < v ? minimum : v`, so a NaN takes over both until
// the next value.
//
//   Statistics s;                       // keeps values
//   for (double v : data) s.AddValue(v);
//   double mean = s.Mean(), sd = s.StandardDeviation(), median = s.Median();
//   LONG classes = s.NumFrequencyIntervals();
//   for (LONG i = 0; i < classes; ++i) ... s.FrequencyClassCount(i) ...
#pragma once

#include <kzcore/containers/base_array.h>
#include <kzcore/pal/types.h>

class KZ_API Statistics {
 public:
  // keepValues true; values reserved for 100 entries (a block of 104).
  Statistics() : Statistics(true) {}
  // Throws std::bad_alloc when the arrays' first blocks cannot be had.
  explicit Statistics(bool keepValues);
  // All four copy the two arrays deeply (the moving forms too).
  Statistics(const Statistics &o);
  Statistics(Statistics &&o);
  Statistics &operator=(const Statistics &o);
  Statistics &operator=(Statistics &&o);

  // Back to the defaults with the given mode; sample and the requested number of classes stay,
  // and both arrays release their memory.
  void Reset(bool keepValues);
  // Standard deviation of a sample (true, the default) or of a population.
  void SetSample(bool sample) { sample_ = sample; }

  void AddValue(double v) {
    computed_ = false;
    minimum_ = minimum_ < v ? minimum_ : v;
    maximum_ = maximum_ > v ? maximum_ : v;
    sum_ += v;
    sumOfSquares_ += v * v;
    // A value that cannot be held leaves the count above the values held: Median and Mode then
    // give 0.0.
    if (keepValues_) values_.Insert(v, -1);
    // The count is 32 bits, as the family's; past 2^31 values it wraps as on x86, defined here.
    count_ = static_cast<LONG>(static_cast<ULONG>(count_) + 1u);
  }

  LONG Count() const { return count_; }
  double Minimum() const { return minimum_; }
  double Maximum() const { return maximum_; }
  double Sum() const { return sum_; }
  double Range() const { return maximum_ - minimum_; }
  // 0.0 for no values.
  double Mean() const { return count_ < 1 ? 0.0 : sum_ / count_; }
  // 0.0 below two values; sqrt(|sumOfSquares - sum * sum / count| / (count - 1)), or / count
  // for a population.
  double StandardDeviation() const;
  // 0.0 unless every value counted is held. Both sort the held values in place (NaNs last).
  double Median();
  // The value of the longest run of equal values; of equally long runs the lowest.
  double Mode();

  // The number of classes FinalCompute aims at; 0 or less lets it choose by the count. Takes
  // effect at the next FinalCompute after a new value or a Reset.
  void SetNumFrequencyIntervals(LONG n) { numIntervals_ = n; }
  // Builds the frequency table from the held values; nothing without keepValues or when it is
  // already built. See statistics.cpp for the rule of the classes.
  void FinalCompute();
  // Each runs FinalCompute first when the table is not built. The number of classes, the width of
  // a class, and the count of class `index` (-1 for an index outside the classes).
  LONG NumFrequencyIntervals();
  double FrequencyIntervalSize();
  LONG FrequencyClassCount(LONG index);

 private:
  bool keepValues_;
  bool sample_ = true;
  bool computed_ = false;
  double minimum_;
  double maximum_;
  double sum_ = 0;
  double sumOfSquares_ = 0;
  LONG count_ = 0;
  LONG numIntervals_ = 0;
  double intervalSize_ = 0;
  BaseArray<double> values_;
  BaseArray<LONG> classCounts_;
};
