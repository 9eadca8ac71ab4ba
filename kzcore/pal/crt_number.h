// Digit strings of doubles in the Microsoft C runtime's forms. The digits are the value's exact
// decimal expansion rounded half away from zero (0.5 to no digit rounds up), padded with zeros;
// the result lives in a per-thread buffer that the next call on the thread overwrites.
//
//   int point = 0, sign = 0;
//   const char *d = _ecvt(123.456, 5, &point, &sign);   // "12346", point 3, sign 0
//   d = _fcvt(0.125, 2, &point, &sign);                 // "13", point 0
#pragma once

#include <kzcore/pal/types.h>

// The longest digit string either function writes; longer requests are cut to it.
constexpr int KZ_CVT_MAX_DIGITS = 348;

// `count` significant digits. Zero gives `count` zeros and point 0; `sign` is 1 for any value with
// the sign bit set, -0 included.
KZ_API char *_ecvt(double value, int count, int *point, int *sign);
// `count` digits after the decimal point: point + count digits in all, none when that is not
// positive (the point then still tells where the value's first digit is).
KZ_API char *_fcvt(double value, int count, int *point, int *sign);
