#include <kzcore/pal/heap.h>

#include <cstdint>
#include <cstring>
#include <random>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <kzcore/pal/sync.h>

namespace {

constexpr SIZE_T kFailed = static_cast<SIZE_T>(-1);

// Fills a block with a pattern that depends on the position, and checks it back.
void Fill(void *p, SIZE_T n, unsigned seed) {
  auto *b = static_cast<unsigned char *>(p);
  for (SIZE_T i = 0; i < n; ++i) b[i] = static_cast<unsigned char>(i * 31 + seed);
}
bool Holds(const void *p, SIZE_T n, unsigned seed) {
  auto *b = static_cast<const unsigned char *>(p);
  for (SIZE_T i = 0; i < n; ++i) {
    if (b[i] != static_cast<unsigned char>(i * 31 + seed)) return false;
  }
  return true;
}
bool AllZero(const void *p, SIZE_T from, SIZE_T to) {
  auto *b = static_cast<const unsigned char *>(p);
  for (SIZE_T i = from; i < to; ++i) {
    if (b[i] != 0) return false;
  }
  return true;
}

class PrivateHeap {
 public:
  PrivateHeap(SIZE_T initial, SIZE_T maximum, DWORD options = 0) : h_(HeapCreate(options, initial, maximum)) {}
  ~PrivateHeap() {
    if (h_ != nullptr) HeapDestroy(h_);
  }
  HANDLE get() const { return h_; }

 private:
  HANDLE h_;
};

TEST(Heap, BlocksKnowTheSizeAskedForAndAreAligned) {
  const HANDLE heap = GetProcessHeap();
  ASSERT_NE(heap, nullptr);
  EXPECT_EQ(GetProcessHeap(), heap);
  PrivateHeap own(0, 0);
  for (HANDLE h : {heap, own.get()}) {
    for (SIZE_T n : {SIZE_T{0}, SIZE_T{1}, SIZE_T{13}, SIZE_T{64}, SIZE_T{4097}, SIZE_T{300000}}) {
      void *p = HeapAlloc(h, 0, n);
      ASSERT_NE(p, nullptr) << n;
      EXPECT_EQ(reinterpret_cast<std::uintptr_t>(p) % 16, 0u);
      EXPECT_EQ(HeapSize(h, 0, p), n);
      Fill(p, n, 7);
      EXPECT_TRUE(Holds(p, n, 7));
      EXPECT_TRUE(HeapFree(h, 0, p));
    }
    // Two empty blocks are distinct blocks.
    void *a = HeapAlloc(h, 0, 0), *b = HeapAlloc(h, 0, 0);
    EXPECT_NE(a, b);
    HeapFree(h, 0, a);
    HeapFree(h, 0, b);
    EXPECT_TRUE(HeapFree(h, 0, nullptr));
  }
}

TEST(Heap, ZeroMemoryClearsNewBlocksAndTheGrowthOfResizedOnes) {
  PrivateHeap own(0, 0);
  for (HANDLE h : {GetProcessHeap(), own.get()}) {
    // Dirty memory first, so that a reused chunk would show through.
    for (SIZE_T n : {SIZE_T{48}, SIZE_T{5000}, SIZE_T{1 << 20}}) {
      void *dirty = HeapAlloc(h, 0, n);
      Fill(dirty, n, 1);
      HeapFree(h, 0, dirty);
      void *p = HeapAlloc(h, HEAP_ZERO_MEMORY, n);
      ASSERT_NE(p, nullptr);
      EXPECT_TRUE(AllZero(p, 0, n)) << n;
      Fill(p, n, 3);
      void *q = HeapReAlloc(h, HEAP_ZERO_MEMORY, p, 3 * n);
      ASSERT_NE(q, nullptr);
      EXPECT_TRUE(Holds(q, n, 3));
      EXPECT_TRUE(AllZero(q, n, 3 * n));
      EXPECT_EQ(HeapSize(h, 0, q), 3 * n);
      HeapFree(h, 0, q);
    }
  }
}

TEST(Heap, ReAllocKeepsTheContentsThroughGrowthAndShrinking) {
  PrivateHeap own(0, 0);
  for (HANDLE h : {GetProcessHeap(), own.get()}) {
    SIZE_T size = 10;
    void *p = HeapAlloc(h, 0, size);
    Fill(p, size, 9);
    // Up past the mmap threshold and back down: the block moves at least once.
    for (SIZE_T next : {SIZE_T{100}, SIZE_T{70000}, SIZE_T{3000000}, SIZE_T{5000}, SIZE_T{17}, SIZE_T{0}, SIZE_T{40}}) {
      void *q = HeapReAlloc(h, 0, p, next);
      ASSERT_NE(q, nullptr) << next;
      const SIZE_T kept = next < size ? next : size;
      EXPECT_TRUE(Holds(q, kept, 9)) << size << " -> " << next;
      EXPECT_EQ(HeapSize(h, 0, q), next);
      Fill(q, next, 9);
      p = q;
      size = next;
    }
    HeapFree(h, 0, p);
  }
}

TEST(Heap, InPlaceOnlyShrinksWhereItIsAndRefusesToMove) {
  const HANDLE h = GetProcessHeap();
  void *p = HeapAlloc(h, 0, 1000);
  Fill(p, 1000, 5);
  EXPECT_EQ(HeapReAlloc(h, HEAP_REALLOC_IN_PLACE_ONLY, p, 200), p);
  EXPECT_EQ(HeapSize(h, 0, p), 200u);
  EXPECT_EQ(HeapReAlloc(h, HEAP_REALLOC_IN_PLACE_ONLY, p, 1 << 24), nullptr);
  EXPECT_EQ(HeapSize(h, 0, p), 200u);
  EXPECT_TRUE(Holds(p, 200, 5));
  EXPECT_TRUE(HeapFree(h, 0, p));
}

TEST(Heap, FailuresGiveNullAndLeaveTheBlockAsItWas) {
  const HANDLE h = GetProcessHeap();
  // Sizes whose header arithmetic would wrap around.
  for (SIZE_T n : {SIZE_T(-1), SIZE_T(-1) - 8, SIZE_T(-1) - 40, static_cast<SIZE_T>(PTRDIFF_MAX)}) {
    EXPECT_EQ(HeapAlloc(h, 0, n), nullptr) << n;
    EXPECT_EQ(HeapAlloc(h, HEAP_ZERO_MEMORY, n), nullptr) << n;
  }
  void *p = HeapAlloc(h, 0, 64);
  Fill(p, 64, 2);
  EXPECT_EQ(HeapReAlloc(h, 0, p, SIZE_T(-1) - 8), nullptr);
  EXPECT_EQ(HeapSize(h, 0, p), 64u);
  EXPECT_TRUE(Holds(p, 64, 2));
  EXPECT_EQ(HeapReAlloc(h, 0, nullptr, 10), nullptr);
  EXPECT_EQ(HeapSize(h, 0, nullptr), kFailed);
  HeapFree(h, 0, p);
}

TEST(Heap, UnknownHandlesAndForeignBlocksAreRefused) {
  int not_a_heap = 0;
  for (HANDLE bad : {static_cast<HANDLE>(nullptr), static_cast<HANDLE>(&not_a_heap)}) {
    EXPECT_EQ(HeapAlloc(bad, 0, 8), nullptr);
    SetLastError(0);
    EXPECT_FALSE(HeapFree(bad, 0, nullptr));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
    EXPECT_FALSE(HeapDestroy(bad));
  }
  EXPECT_FALSE(HeapDestroy(GetProcessHeap()));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);

  PrivateHeap a(0, 0), b(0, 0);
  void *pa = HeapAlloc(a.get(), 0, 32);
  void *pp = HeapAlloc(GetProcessHeap(), 0, 32);
  Fill(pa, 32, 4);
  SetLastError(0);
  EXPECT_FALSE(HeapFree(b.get(), 0, pa));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
  EXPECT_FALSE(HeapFree(GetProcessHeap(), 0, pa));
  EXPECT_FALSE(HeapFree(a.get(), 0, pp));
  EXPECT_EQ(HeapSize(b.get(), 0, pa), kFailed);
  EXPECT_EQ(HeapReAlloc(b.get(), 0, pa, 64), nullptr);
  // Refusals did not harm the blocks.
  EXPECT_TRUE(Holds(pa, 32, 4));
  EXPECT_TRUE(HeapFree(a.get(), 0, pa));
  EXPECT_TRUE(HeapFree(GetProcessHeap(), 0, pp));

  HANDLE gone = HeapCreate(0, 0, 0);
  ASSERT_TRUE(HeapDestroy(gone));
  EXPECT_EQ(HeapAlloc(gone, 0, 8), nullptr);
  EXPECT_FALSE(HeapDestroy(gone));
}

TEST(Heap, AMaximumSizeIsABudgetInWholePages) {
  PrivateHeap fixed(0, 10000);  // 12288 bytes: three pages
  const HANDLE h = fixed.get();
  ASSERT_NE(h, nullptr);
  void *a = HeapAlloc(h, 0, 4000), *b = HeapAlloc(h, 0, 4000), *c = HeapAlloc(h, 0, 4000);
  ASSERT_TRUE(a && b && c);
  EXPECT_EQ(HeapAlloc(h, 0, 289), nullptr);
  void *d = HeapAlloc(h, 0, 288);  // exactly 12288 in all
  ASSERT_NE(d, nullptr);
  // Growing past the budget fails and keeps the block; giving back makes room.
  Fill(a, 4000, 8);
  EXPECT_EQ(HeapReAlloc(h, 0, a, 4001), nullptr);
  EXPECT_TRUE(Holds(a, 4000, 8));
  ASSERT_TRUE(HeapFree(h, 0, b));
  void *grown = HeapReAlloc(h, 0, a, 8000);
  ASSERT_NE(grown, nullptr);
  EXPECT_TRUE(Holds(grown, 4000, 8));
  EXPECT_EQ(HeapAlloc(h, 0, 1), nullptr);
  ASSERT_TRUE(HeapFree(h, 0, c));
  ASSERT_TRUE(HeapFree(h, 0, grown));
  ASSERT_TRUE(HeapFree(h, 0, d));
  void *whole = HeapAlloc(h, 0, 12288);
  EXPECT_NE(whole, nullptr);

  // A fixed heap takes no block of 0x7FFF8 bytes or more, however large its budget.
  PrivateHeap big(0, 1 << 24);
  EXPECT_EQ(HeapAlloc(big.get(), 0, 0x7FFF8), nullptr);
  void *largest = HeapAlloc(big.get(), 0, 0x7FFF7);
  EXPECT_NE(largest, nullptr);
  EXPECT_EQ(HeapReAlloc(big.get(), 0, largest, 0x7FFF8), nullptr);
  // A growable heap has no such limit.
  PrivateHeap growable(0, 0);
  EXPECT_NE(HeapAlloc(growable.get(), 0, 0x100000), nullptr);
  // The initial size raises a smaller maximum.
  PrivateHeap raised(20000, 100);
  EXPECT_NE(HeapAlloc(raised.get(), 0, 20000), nullptr);
}

TEST(Heap, DestroyReleasesEveryBlockStillAllocated) {
  // The leak checker of the sanitizer build sees any block left behind.
  HANDLE h = HeapCreate(0, 0, 0);
  ASSERT_NE(h, nullptr);
  std::vector<void *> blocks;
  for (int i = 0; i < 100; ++i) blocks.push_back(HeapAlloc(h, 0, 100 + i * 37));
  for (int i = 0; i < 100; i += 3) blocks[i] = HeapReAlloc(h, 0, blocks[i], 70000);
  for (int i = 1; i < 100; i += 5) HeapFree(h, 0, blocks[i]);
  EXPECT_TRUE(HeapDestroy(h));
}

TEST(Heap, APrivateHeapSerialisesItsCallers) {
  PrivateHeap shared(0, 0x80000);
  const HANDLE h = shared.get();
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
}

}  // namespace
