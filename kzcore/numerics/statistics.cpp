#include <kzcore/numerics/statistics.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <new>

#include <kzcore/numerics/internal/truncate.h>

namespace {

// The largest single-precision value, positive and negative, as doubles.
constexpr double kStartMinimum = std::bit_cast<double>(std::uint64_t{0x47EFFFFFE0000000});
constexpr double kStartMaximum = std::bit_cast<double>(std::uint64_t{0xC7EFFFFFE0000000});

// Ascending, NaNs last: a strict order for the sort also when NaNs are held.
bool Ascending(double a, double b) { return a < b || (!std::isnan(a) && std::isnan(b)); }

}  // namespace

Statistics::Statistics(bool keepValues)
    : keepValues_(keepValues), minimum_(kStartMinimum), maximum_(kStartMaximum),
      values_(keepValues ? 100 : 0) {}

Statistics::Statistics(const Statistics &o) = default;

// Deep copies, as the copying forms: a moved-from object stays whole.
Statistics::Statistics(Statistics &&o) : Statistics(static_cast<const Statistics &>(o)) {}

Statistics &Statistics::operator=(const Statistics &o) = default;

Statistics &Statistics::operator=(Statistics &&o) { return *this = static_cast<const Statistics &>(o); }

void Statistics::Reset(bool keepValues) {
  keepValues_ = keepValues;
  computed_ = false;
  minimum_ = kStartMinimum;
  maximum_ = kStartMaximum;
  sum_ = sumOfSquares_ = 0;
  count_ = 0;
  intervalSize_ = 0;
  values_.Empty();
  classCounts_.Empty();
}

double Statistics::StandardDeviation() const {
  if (count_ < 2) return 0.0;
  double q = sum_ * sum_ / count_;
  double r = std::fabs(sumOfSquares_ - q);
  return sample_ ? std::sqrt(r / (count_ - 1)) : std::sqrt(r / count_);
}

double Statistics::Median() {
  if (count_ < 1 || count_ != values_.GetSize()) return 0.0;
  double *v = values_.GetElements();
  if (count_ == 1) return v[0];
  std::sort(v, v + count_, Ascending);
  LONG middle = count_ / 2;
  if (count_ % 2 == 1) return v[middle];
  return (v[middle - 1] + v[middle]) * 0.5;
}

double Statistics::Mode() {
  if (count_ < 1 || count_ != values_.GetSize()) return 0.0;
  double *v = values_.GetElements();
  if (count_ == 1) return v[0];
  std::sort(v, v + count_, Ascending);
  double best = v[0];
  LONG bestRun = 0;
  for (LONG i = 0; i < count_;) {
    LONG j = i + 1;
    while (j < count_ && v[j] == v[i]) ++j;
    if (j - i > bestRun) {
      bestRun = j - i;
      best = v[i];
    }
    i = j;
  }
  return best;
}

// The classes:
// 1. Their width. With a requested number n of classes: range * 1.0000001 / n. Otherwise by the
//    count: range / (ln(count) * 3.322 + 1.0), the natural logarithm with the constant of the
//    decimal one, kept as the family has it. 1.0 when the range is not above 0.
// 2. A width above 1.0 over a whole-number range is rounded to a whole number.
// 3. Their number: ceil(range / width), at least 1.
// 4. Each value counts in class (v - minimum) / width, truncated. The maximum of a range that is
//    a whole number of widths lands one past the last class: the table always has a slot there,
//    and FrequencyClassCount never shows it.
void Statistics::FinalCompute() {
  if (computed_ || !keepValues_) return;
  computed_ = true;
  if (count_ == 0) return;
  double range = maximum_ - minimum_;
  if (numIntervals_ >= 1)
    intervalSize_ = range > 0 ? range * 1.0000001 / numIntervals_ : 1.0;
  else
    intervalSize_ = range > 0 ? range / (std::log(static_cast<double>(count_)) * 3.322 + 1.0) : 1.0;
  if (intervalSize_ > 1.0 && range == std::floor(range)) intervalSize_ = std::floor(intervalSize_ + 0.5);
  // A NaN or infinite range gives no count of classes (the conversion's 0x80000000): one class.
  LONG classes = kz::internal::TruncateToLong(std::ceil(range / intervalSize_));
  if (classes < 1) classes = 1;
  // Zeros of the growing size, which always leaves room past the last class.
  if (!classCounts_.Set(nullptr, classes, false)) throw std::bad_alloc();
  LONG *counts = classCounts_.GetElements();
  counts[classes] = 0;
  const double *v = values_.GetElements();
  LONG held = values_.GetSize();
  for (LONG i = 0; i < held; ++i) {
    LONG k = kz::internal::TruncateToLong((v[i] - minimum_) / intervalSize_);
    // Only NaNs and infinities reach outside 0..classes.
    if (k >= 0 && k <= classes) ++counts[k];
  }
}

LONG Statistics::NumFrequencyIntervals() {
  if (!computed_) FinalCompute();
  return classCounts_.GetSize();
}

double Statistics::FrequencyIntervalSize() {
  if (!computed_) FinalCompute();
  return intervalSize_;
}

LONG Statistics::FrequencyClassCount(LONG index) {
  if (!computed_) FinalCompute();
  if (index < 0 || index >= classCounts_.GetSize()) return -1;
  return classCounts_[index];
}
