// The C runtime's random numbers as the family's platform has them: rand() gives 0 to 32767 from
// one process-wide state, state = state * 214013 + 2531011 (mod 2^32), the result being bits 16
// to 30 of the new state; srand(seed) sets the state, and it starts as if srand(1) had been
// called. glibc's rand() differs (0 to 2^31-1, another generator), so code that depends on the
// exact stream calls these instead. The names live in kz::crt so that they never collide with
// the C library's own.
//
//   kz::crt::srand(42);
//   int r = kz::crt::rand();   // 0..32767, the same value on every platform of the family
#pragma once

#include <kzcore/pal/types.h>

namespace kz::crt {

inline constexpr int kRandMax = 0x7FFF;

// Sets the shared state. Safe to call from several threads (the state is atomic), but threads
// that share it share one stream.
KZ_API void srand(unsigned seed);
// The next value, 0..kRandMax.
KZ_API int rand();

}  // namespace kz::crt
