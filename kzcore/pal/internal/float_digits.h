// Decimal digits of doubles: the exact expansion, and rounding of it half away from zero, as the
// C runtime's digit functions and the OLE text forms of numbers need them.
#pragma once

#include <cstddef>

namespace kz::pal {

// A finite value written as sign × 0.DIGITS × 10^point. Digits carry no leading zeros; zero has no
// digits and point 0.
struct DecimalDigits {
  // A double's exact expansion has at most 767 significant digits.
  static constexpr int kCapacity = 800;
  char digits[kCapacity];
  int count = 0;
  int point = 0;
  bool negative = false;
};

// The exact expansion of a finite value, trailing zeros removed.
void ExactDigits(double value, DecimalDigits *out);

// Rounds to `count` significant digits, a tail of 5 or more going up; the digits may then fall
// short of `count` by trailing zeros, which are removed. `count` 0 keeps no digit but still moves
// the point when the value rounds up to the next power of ten (0.5 becomes 0.1 × 10^1).
void RoundDigits(DecimalDigits *digits, int count);

// The value rounded to `count` (1 to 17) significant digits as RoundDigits would round its exact
// expansion, without writing the whole expansion unless the 17-digit form sits on a tie.
void ShortDigits(double value, int count, DecimalDigits *out);

}  // namespace kz::pal
