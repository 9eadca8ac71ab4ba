#include <kzcore/pal/crt_random.h>

#include <atomic>
#include <cstdint>

namespace kz::crt {
namespace {

// Linux: one state for the process, as the family's generator has always been used; the atomic
// update only keeps concurrent callers from tearing it.
std::atomic<std::uint32_t> g_state{1};

}  // namespace

void srand(unsigned seed) { g_state.store(seed, std::memory_order_relaxed); }

int rand() {
  std::uint32_t old = g_state.load(std::memory_order_relaxed), next;
  do {
    next = old * 214013u + 2531011u;
  } while (!g_state.compare_exchange_weak(old, next, std::memory_order_relaxed));
  return static_cast<int>((next >> 16) & 0x7FFF);
}

}  // namespace kz::crt
