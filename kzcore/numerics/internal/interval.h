// One axis of a box as the interval [lo, hi]: the widening and narrowing that the 2D and 3D
// envelopes apply side by side. A comparison with NaN is false, so a NaN side of `o` moves nothing.
#pragma once

namespace kz::internal {

// [lo, hi] grows to cover [olo, ohi].
inline void Widen(double &lo, double &hi, double olo, double ohi) {
  if (olo < lo) lo = olo;
  if (ohi > hi) hi = ohi;
}

// [lo, hi] shrinks to what it shares with [olo, ohi].
inline void Narrow(double &lo, double &hi, double olo, double ohi) {
  if (olo > lo) lo = olo;
  if (ohi < hi) hi = ohi;
}

}  // namespace kz::internal
