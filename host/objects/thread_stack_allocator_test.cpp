#include <host/objects/thread_stack_allocator.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <set>
#include <thread>
#include <vector>

namespace kz::host {
namespace {

// Each case runs on a thread of its own, so that it starts with no spares.
template <class Body>
void OnFreshThread(Body body) {
  std::thread(body).join();
}

// The fault that matters: a block handed to two holders at once. Blocks given back come out
// again, each to one holder, and only to a request they can hold.
TEST(ThreadStackAllocatorTest, SparesGoToOneHolderAtATime) {
  OnFreshThread([] {
    ThreadStackAllocator &allocator = *ThreadStackAllocator::Instance();
    std::vector<void *> first;
    for (int i = 0; i < 6; ++i) first.push_back(allocator.Malloc(200));
    for (void *block : first) ThreadStackAllocator::Free(block);

    std::vector<unsigned char *> second;
    for (int i = 0; i < 6; ++i) {
      auto *block = static_cast<unsigned char *>(allocator.Malloc(150));
      std::memset(block, i, 150);
      second.push_back(block);
    }
    EXPECT_EQ(std::set<unsigned char *>(second.begin(), second.end()).size(), second.size());
    int reused = 0;
    for (unsigned char *block : second) reused += std::count(first.begin(), first.end(), block);
    EXPECT_GE(reused, 4);  // the kept ones came back
    for (int i = 0; i < 6; ++i) EXPECT_EQ(second[i][149], i);  // and nobody wrote over another

    // A spare too small for a request stays where it is.
    for (unsigned char *block : second) ThreadStackAllocator::Free(block);
    void *large = allocator.Malloc(4096);
    EXPECT_EQ(std::count(second.begin(), second.end(), large), 0);
    // Growing keeps the content.
    std::memset(large, 7, 4096);
    auto *grown = static_cast<unsigned char *>(allocator.Realloc(large, 4096, 12000));
    EXPECT_EQ(grown[4095], 7);
    EXPECT_EQ(allocator.Realloc(grown, 12000, 0), nullptr);  // size 0 gives the block back
    ThreadStackAllocator::Free(nullptr);
  });
}

}  // namespace
}  // namespace kz::host
