#include <kzcore/pal/memory.h>

#include <cstring>

#include <gtest/gtest.h>

#include <kzcore/pal/sync.h>

namespace {

TEST(GlobalMemory, FixedBlocksAreTheirOwnAddress) {
  HGLOBAL h = GlobalAlloc(GPTR, 16);
  ASSERT_NE(h, nullptr);
  EXPECT_EQ(GlobalLock(h), h);
  const unsigned char zeros[16] = {};
  EXPECT_EQ(std::memcmp(h, zeros, 16), 0);
  EXPECT_EQ(GlobalSize(h), 16u);
  EXPECT_EQ(GlobalHandle(h), h);
  // Fixed memory keeps no lock count.
  EXPECT_FALSE(GlobalUnlock(h));
  EXPECT_EQ(GetLastError(), ERROR_NOT_LOCKED);
  std::memset(h, 0xAB, 16);
  // Growing past the block needs permission to move, and then the handle changes.
  EXPECT_EQ(GlobalReAlloc(h, 1 << 20, GMEM_ZEROINIT), nullptr);
  HGLOBAL moved = GlobalReAlloc(h, 1 << 20, GMEM_MOVEABLE | GMEM_ZEROINIT);
  ASSERT_NE(moved, nullptr);
  const auto *bytes = static_cast<const unsigned char *>(moved);
  EXPECT_EQ(bytes[15], 0xAB);
  EXPECT_EQ(bytes[16], 0);
  EXPECT_EQ(bytes[(1 << 20) - 1], 0);
  EXPECT_EQ(GlobalSize(moved), 1u << 20);
  if (moved != h) {
    EXPECT_EQ(GlobalSize(h), 0u);  // the old handle is gone
  }
  EXPECT_EQ(GlobalFree(moved), nullptr);
}

TEST(GlobalMemory, MoveableBlocksLockAndMoveUnderOneHandle) {
  HGLOBAL h = GlobalAlloc(GHND, 8);
  ASSERT_NE(h, nullptr);
  void *p = GlobalLock(h);
  ASSERT_NE(p, nullptr);
  EXPECT_NE(p, h);
  EXPECT_EQ(GlobalLock(h), p);
  EXPECT_EQ(GlobalFlags(h) & GMEM_LOCKCOUNT, 2u);
  EXPECT_EQ(GlobalHandle(p), h);
  std::memcpy(p, "abcdefgh", 8);
  // Locked: it may only move when asked to.
  EXPECT_EQ(GlobalReAlloc(h, 1 << 20, 0), nullptr);
  EXPECT_TRUE(GlobalUnlock(h));
  EXPECT_FALSE(GlobalUnlock(h));
  EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
  EXPECT_FALSE(GlobalUnlock(h));
  EXPECT_EQ(GetLastError(), ERROR_NOT_LOCKED);
  ASSERT_EQ(GlobalReAlloc(h, 1 << 20, 0), h);
  EXPECT_EQ(std::memcmp(GlobalLock(h), "abcdefgh", 8), 0);
  GlobalUnlock(h);
  EXPECT_EQ(GlobalSize(h), 1u << 20);
  ASSERT_EQ(GlobalReAlloc(h, 4, 0), h);
  EXPECT_EQ(GlobalSize(h), 4u);
  EXPECT_EQ(GlobalFree(h), nullptr);

  // No bytes, no memory.
  HGLOBAL empty = GlobalAlloc(GMEM_MOVEABLE, 0);
  ASSERT_NE(empty, nullptr);
  EXPECT_EQ(GlobalLock(empty), nullptr);
  EXPECT_EQ(GlobalFlags(empty) & GMEM_DISCARDED, GMEM_DISCARDED);
  GlobalFree(empty);
}

TEST(GlobalMemory, ForeignAndFreedHandlesAreRefused) {
  HGLOBAL h = GlobalAlloc(GMEM_MOVEABLE, 4);
  EXPECT_EQ(GlobalFree(h), nullptr);
  // The registry knows it is gone: no double free, no access.
  EXPECT_EQ(GlobalFree(h), h);
  EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
  EXPECT_EQ(GlobalLock(h), nullptr);
  EXPECT_EQ(GlobalSize(h), 0u);
  EXPECT_EQ(GlobalFlags(h), GMEM_INVALID_HANDLE);
  int local = 0;
  EXPECT_EQ(GlobalReAlloc(&local, 8, GMEM_MOVEABLE), nullptr);
  EXPECT_EQ(GlobalFree(&local), &local);
  EXPECT_EQ(GlobalFree(nullptr), nullptr);
}

}  // namespace
