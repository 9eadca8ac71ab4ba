// 96-bit DECIMAL mantissas held in 128-bit integers, with the rounding the conversions share.
#pragma once

#include <kzcore/pal/variant.h>

namespace kz::pal {

using u128 = unsigned __int128;

constexpr u128 kDecimalMantissaMax = (u128{1} << 96) - 1;
constexpr int kDecimalMaxScale = 28;

inline u128 DecimalMantissa(const DECIMAL &d) { return (u128{d.Hi32} << 64) | d.Lo64; }

inline bool DecimalIsValid(const DECIMAL &d) {
  return d.scale <= kDecimalMaxScale && (d.sign & ~DECIMAL_NEG) == 0;
}

inline bool DecimalIsNegative(const DECIMAL &d) { return (d.sign & DECIMAL_NEG) != 0; }

// Writes the value fields and leaves wReserved alone: inside a VARIANT it is the type tag.
inline void SetDecimal(DECIMAL *d, u128 mantissa, int scale, bool negative) {
  d->Hi32 = static_cast<ULONG>(mantissa >> 64);
  d->Lo64 = static_cast<ULONGLONG>(mantissa);
  d->scale = static_cast<BYTE>(scale);
  d->sign = negative && mantissa != 0 ? DECIMAL_NEG : 0;
}

inline u128 Pow10(int n) {
  u128 p = 1;
  while (n-- > 0) p *= 10;
  return p;
}

// m / 10^n rounded half to even; n up to 38.
inline u128 DivPow10RoundEven(u128 m, int n) {
  if (n <= 0) return m;
  if (n > 38) return 0;
  const u128 p = Pow10(n);
  u128 q = m / p;
  const u128 r = m % p;
  const u128 half = p / 2;
  if (r > half || (r == half && (q & 1) != 0)) ++q;
  return q;
}

// Writes the decimal digits of m (at least "0") at the end of [begin, end); returns the first.
template <class Char>
Char *WriteDigits(u128 m, Char *end) {
  do {
    *--end = static_cast<Char>('0' + static_cast<int>(m % 10));
    m /= 10;
  } while (m != 0);
  return end;
}

}  // namespace kz::pal
