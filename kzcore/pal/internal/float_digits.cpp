#include <kzcore/pal/internal/float_digits.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace kz::pal {
namespace {

// Reads printf's "%.Ne" form ("-d.ddde+XX") into digits and point, dropping trailing zeros.
void ReadScientific(const char *text, DecimalDigits *out) {
  const char *p = text;
  out->negative = *p == '-';
  if (*p == '-') ++p;
  int n = 0;
  for (; *p != 'e'; ++p)
    if (*p != '.') out->digits[n++] = *p;
  ++p;
  const int exponent = std::atoi(p);
  while (n > 0 && out->digits[n - 1] == '0') --n;
  out->count = n;
  out->point = n == 0 ? 0 : exponent + 1;
}

}  // namespace

void ExactDigits(double value, DecimalDigits *out) {
  out->negative = std::signbit(value);
  if (!std::isfinite(value)) {
    out->count = out->point = 0;
    return;
  }
  // The expansion of m × 2^low (m a 53-bit integer) ends at the 10^low place when low < 0, so
  // (leading decimal exponent − low) significant digits are enough to print it without rounding.
  int binary_exponent = 0;
  std::frexp(value, &binary_exponent);
  int low = binary_exponent - 53;
  if (low < -1074) low = -1074;
  const int lead = static_cast<int>(std::ceil(binary_exponent * 0.30103)) + 1;
  int precision = low >= 0 ? lead + 1 : lead - low + 1;
  if (precision < 17) precision = 17;
  if (precision > DecimalDigits::kCapacity - 10) precision = DecimalDigits::kCapacity - 10;
  char text[DecimalDigits::kCapacity + 16];
  std::snprintf(text, sizeof text, "%.*e", precision, value);
  ReadScientific(text, out);
  out->negative = std::signbit(value);
}

void RoundDigits(DecimalDigits *d, int count) {
  if (count < 0) count = 0;
  if (d->count <= count) return;
  const bool up = d->digits[count] >= '5';
  d->count = count;
  if (up) {
    int i = count - 1;
    while (i >= 0 && d->digits[i] == '9') --i;
    if (i < 0) {
      // All nines (or no digit kept): the value becomes the next power of ten.
      d->digits[0] = '1';
      d->count = count > 0 ? 1 : 0;
      ++d->point;
      return;
    }
    ++d->digits[i];
    d->count = i + 1;
  }
  while (d->count > 0 && d->digits[d->count - 1] == '0') --d->count;
}

void ShortDigits(double value, int count, DecimalDigits *out) {
  if (!std::isfinite(value) || count >= 17) {
    ExactDigits(value, out);
    RoundDigits(out, count);
    return;
  }
  char text[40];
  std::snprintf(text, sizeof text, "%.16e", value);
  // The 17 digits are the correctly rounded form; their tail past `count` decides the rounding
  // unless it reads exactly 5 followed by zeros, where the true tail may lie on either side.
  const char *p = text + (text[0] == '-');
  char digits[17];
  int n = 0;
  for (; *p != 'e'; ++p)
    if (*p != '.') digits[n++] = *p;
  bool tie = digits[count] == '5';
  for (int i = count + 1; tie && i < 17; ++i) tie = digits[i] == '0';
  if (tie) {
    ExactDigits(value, out);
    RoundDigits(out, count);
    return;
  }
  ReadScientific(text, out);  // sets the point (and handles zero)
  out->negative = std::signbit(value);
  if (out->count > count) {
    // Round from all 17 digits: ReadScientific dropped the trailing zeros.
    out->count = 17;
    std::memcpy(out->digits, digits, 17);
    RoundDigits(out, count);
  }
}

}  // namespace kz::pal
