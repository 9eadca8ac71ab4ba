// POINT: the platform's integer point, two signed 32-bit coordinates (device units).
//
//   tagPOINT p{10, -4};
#pragma once

#include <kzcore/pal/types.h>

struct tagPOINT {
  LONG x;
  LONG y;
};
using POINT = tagPOINT;

static_assert(sizeof(tagPOINT) == 8);
