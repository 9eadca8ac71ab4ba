#include <kzcore/pal/heap.h>

#include <cstdint>
#include <random>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <kzcore/pal/sync.h>

namespace {

constexpr SIZE_T kFailed = static_cast<SIZE_T>(-1);

// A pattern that depends on the position, so that moved or cut contents show.
void Fill(void *p, SIZE_T n, unsigned seed) {
  for (SIZE_T i = 0; i < n; ++i) static_cast<unsigned char *>(p)[i] = static_cast<unsigned char>(i * 31 + seed);
}
bool Holds(const void *p, SIZE_T n, unsigned seed) {
  for (SIZE_T i = 0; i < n; ++i) {
    if (static_cast<const unsigned char *>(p)[i] != static_cast<unsigned char>(i * 31 + seed)) return false;
  }
  return true;
}
bool Zero(const void *p, SIZE_T from, SIZE_T to) {
  for (SIZE_T i = from; i < to; ++i) {
    if (static_cast<const unsigned char *>(p)[i] != 0) return false;
  }
  return true;
}

TEST(Heap, BlocksKeepTheirSizeAndContentsThroughResizing) {
  const HANDLE process = GetProcessHeap();
  ASSERT_NE(process, nullptr);
  EXPECT_EQ(GetProcessHeap(), process);
  HANDLE own = HeapCreate(0, 0, 0);
  for (HANDLE h : {process, own}) {
    // Dirty memory first, so that a reused chunk would show through HEAP_ZERO_MEMORY.
    void *dirty = HeapAlloc(h, 0, 5000);
    Fill(dirty, 5000, 1);
    HeapFree(h, 0, dirty);
    void *p = HeapAlloc(h, HEAP_ZERO_MEMORY, 5000);
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(p) % 16, 0u);
    EXPECT_TRUE(Zero(p, 0, 5000));
    SIZE_T size = 10;
    Fill(p, size, 9);
    // Up past the mmap threshold and back down: the block moves at least once.
    for (SIZE_T next : {SIZE_T{100}, SIZE_T{70000}, SIZE_T{3000000}, SIZE_T{17}, SIZE_T{0}, SIZE_T{40}}) {
      void *q = HeapReAlloc(h, HEAP_ZERO_MEMORY, p, next);
      ASSERT_NE(q, nullptr) << next;
      EXPECT_EQ(HeapSize(h, 0, q), next);
      EXPECT_TRUE(Holds(q, next < size ? next : size, 9)) << size << " -> " << next;
      EXPECT_TRUE(Zero(q, size, next)) << "growth is cleared";
      Fill(q, next, 9);
      p = q;
      size = next;
    }
    // In place only: shrinking stays where it is, growing that would move fails.
    EXPECT_EQ(HeapReAlloc(h, HEAP_REALLOC_IN_PLACE_ONLY, p, 8), p);
    EXPECT_EQ(HeapReAlloc(h, HEAP_REALLOC_IN_PLACE_ONLY, p, 1 << 24), nullptr);
    EXPECT_EQ(HeapSize(h, 0, p), 8u);
    EXPECT_TRUE(Holds(p, 8, 9));
    EXPECT_TRUE(HeapFree(h, 0, p));
    // Empty blocks are blocks of their own; freeing null succeeds.
    void *a = HeapAlloc(h, 0, 0), *b = HeapAlloc(h, 0, 0);
    EXPECT_NE(a, b);
    EXPECT_EQ(HeapSize(h, 0, a), 0u);
    HeapFree(h, 0, a);
    HeapFree(h, 0, b);
    EXPECT_TRUE(HeapFree(h, 0, nullptr));
  }
  EXPECT_TRUE(HeapDestroy(own));
}

TEST(Heap, FailuresGiveNullAndHarmNothing) {
  const HANDLE h = GetProcessHeap();
  // Sizes whose header arithmetic would wrap around.
  for (SIZE_T n : {SIZE_T(-1), SIZE_T(-1) - 8, SIZE_T(-1) - 40, static_cast<SIZE_T>(PTRDIFF_MAX)}) {
    EXPECT_EQ(HeapAlloc(h, HEAP_ZERO_MEMORY, n), nullptr) << n;
  }
  void *p = HeapAlloc(h, 0, 64);
  Fill(p, 64, 2);
  EXPECT_EQ(HeapReAlloc(h, 0, p, SIZE_T(-1) - 8), nullptr);
  EXPECT_EQ(HeapReAlloc(h, 0, nullptr, 10), nullptr);
  EXPECT_EQ(HeapSize(h, 0, nullptr), kFailed);

  // Unknown heaps, and blocks handed to a heap they do not belong to.
  int not_a_heap = 0;
  for (HANDLE bad : {static_cast<HANDLE>(nullptr), static_cast<HANDLE>(&not_a_heap), h}) {
    SetLastError(0);
    EXPECT_FALSE(HeapDestroy(bad));  // the process heap included
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
  }
  EXPECT_EQ(HeapAlloc(&not_a_heap, 0, 8), nullptr);
  EXPECT_FALSE(HeapFree(&not_a_heap, 0, nullptr));
  HANDLE other = HeapCreate(0, 0, 0);
  void *q = HeapAlloc(other, 0, 32);
  SetLastError(0);
  EXPECT_FALSE(HeapFree(other, 0, p));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
  EXPECT_FALSE(HeapFree(h, 0, q));
  EXPECT_EQ(HeapSize(other, 0, p), kFailed);
  EXPECT_EQ(HeapReAlloc(other, 0, p, 128), nullptr);
  EXPECT_EQ(HeapSize(h, 0, p), 64u);
  EXPECT_TRUE(Holds(p, 64, 2));
  EXPECT_TRUE(HeapFree(h, 0, p));
  // Destroying releases the blocks still allocated (the leak checker of the sanitizer build
  // would see them), and the handle is dead afterwards.
  for (int i = 0; i < 50; ++i) q = HeapReAlloc(other, 0, HeapAlloc(other, 0, 100), 70000 + i);
  EXPECT_TRUE(HeapDestroy(other));
  EXPECT_EQ(HeapAlloc(other, 0, 8), nullptr);
  EXPECT_FALSE(HeapDestroy(other));
}

TEST(Heap, AMaximumSizeIsABudgetInWholePages) {
  HANDLE h = HeapCreate(0, 0, 10000);  // 12288 bytes: three pages
  ASSERT_NE(h, nullptr);
  void *a = HeapAlloc(h, 0, 4000), *b = HeapAlloc(h, 0, 4000), *c = HeapAlloc(h, 0, 4000);
  ASSERT_TRUE(a && b && c);
  EXPECT_EQ(HeapAlloc(h, 0, 289), nullptr);
  void *d = HeapAlloc(h, 0, 288);  // exactly 12288 in all
  ASSERT_NE(d, nullptr);
  // Growing past the budget fails and keeps the block; giving back makes room.
  Fill(a, 4000, 8);
  EXPECT_EQ(HeapReAlloc(h, 0, a, 4001), nullptr);
  ASSERT_TRUE(HeapFree(h, 0, b));
  void *grown = HeapReAlloc(h, 0, a, 8000);
  ASSERT_NE(grown, nullptr);
  EXPECT_TRUE(Holds(grown, 4000, 8));
  for (void *p : {c, grown, d}) ASSERT_TRUE(HeapFree(h, 0, p));
  EXPECT_NE(HeapAlloc(h, 0, 12288), nullptr);
  HeapDestroy(h);

  // A fixed heap takes no block of 0x7FFF8 bytes or more, however large its budget; a growable
  // heap has no such limit. The initial size raises a smaller maximum.
  HANDLE big = HeapCreate(0, 0, 1 << 24), growable = HeapCreate(0, 0, 0), raised = HeapCreate(0, 20000, 100);
  EXPECT_EQ(HeapAlloc(big, 0, 0x7FFF8), nullptr);
  EXPECT_NE(HeapAlloc(big, 0, 0x7FFF7), nullptr);
  EXPECT_NE(HeapAlloc(growable, 0, 0x100000), nullptr);
  EXPECT_NE(HeapAlloc(raised, 0, 20000), nullptr);
  for (HANDLE x : {big, growable, raised}) HeapDestroy(x);
}

TEST(Heap, APrivateHeapSerialisesItsCallers) {
  HANDLE h = HeapCreate(0, 0, 0x80000);
  auto churn = [h](unsigned seed) {
    std::mt19937 rng(seed);
    std::vector<void *> mine;
    for (int i = 0; i < 20000; ++i) {
      if (mine.size() < 16 && rng() % 3 != 0) {
        if (void *p = HeapAlloc(h, 0, rng() % 2000)) mine.push_back(p);
      } else if (!mine.empty()) {
        const size_t k = rng() % mine.size();
        if (rng() % 2 == 0) {
          if (void *q = HeapReAlloc(h, 0, mine[k], rng() % 4000)) mine[k] = q;
        } else {
          HeapFree(h, 0, mine[k]);
          mine.erase(mine.begin() + static_cast<std::ptrdiff_t>(k));
        }
      }
    }
    for (void *p : mine) HeapFree(h, 0, p);
  };
  std::thread t1(churn, 1), t2(churn, 2);
  t1.join();
  t2.join();
  // Had the accounting been raced, the budget would not come back exactly whole.
  EXPECT_NE(HeapAlloc(h, 0, 0x7FFF0), nullptr);
  EXPECT_NE(HeapAlloc(h, 0, 0x10), nullptr);
  EXPECT_EQ(HeapAlloc(h, 0, 1), nullptr);
  HeapDestroy(h);
}

}  // namespace
