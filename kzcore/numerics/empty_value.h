// The empty value: the one double that marks "no value" across the numeric types (points, boxes,
// vectors, matrices, statistics). It is a quiet NaN with the payload 1 (bits 0x7FF8000000000001),
// not the NaN a compiler's macro gives.
//
// Test it with IsEmptyValue (an is-NaN test), never by comparison: every comparison with a NaN is
// false, and the numeric code relies on that.
//
//   double d = box.Distance(p);
//   if (IsEmptyValue(d)) ...   // the box was empty
#pragma once

#include <bit>
#include <cmath>
#include <cstdint>

inline constexpr std::uint64_t kEmptyValueBits = 0x7FF8000000000001ULL;
inline constexpr double kEmptyValue = std::bit_cast<double>(kEmptyValueBits);

// True for the empty value and for any other NaN: results of arithmetic on empty values are NaNs
// whose payload is not kept, and they mean the same.
inline bool IsEmptyValue(double v) { return std::isnan(v); }
