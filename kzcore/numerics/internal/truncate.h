// Conversions from double to the 32-bit LONG that behave as the family's x86 builds do: truncation
// toward zero, and the "integer indefinite" value 0x80000000 for a NaN or a value out of range,
// where a plain C++ cast would be undefined.
#pragma once

#include <cmath>

#include <kzcore/pal/types.h>

namespace kz::internal {

inline LONG TruncateToLong(double v) {
  if (v > -2147483649.0 && v < 2147483648.0) return static_cast<LONG>(v);
  return static_cast<LONG>(0x80000000u);
}

// Truncation of floor(v): the conversion callers mean by "the truncation of floor(...)".
inline LONG FloorToLong(double v) { return TruncateToLong(std::floor(v)); }

}  // namespace kz::internal
