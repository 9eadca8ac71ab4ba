#include <barrier>
#include <map>
#include <random>
#include <set>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <kzcore/core/thread_values.h>

namespace {

DWORD Get(DWORD key) {
  DWORD value = 0xDEADBEEF;
  TLS_GetValue(key, &value);
  return value;
}

TEST(ThreadValues, SetUpdatesInPlaceAndFreeRemoves) {
  const DWORD key = TLS_Alloc();
  EXPECT_EQ(Get(key), 0u);  // never set
  TLS_SetValue(key, 1);
  TLS_SetValue(key, 2);
  EXPECT_EQ(Get(key), 2u);
  TLS_Free(key);  // one free is enough: the second set made no second entry
  EXPECT_EQ(Get(key), 0u);
  TLS_GetValue(key, nullptr);
}

TEST(ThreadValues, KeysAreUniqueAcrossThreads) {
  std::vector<std::vector<DWORD>> keys(4);
  std::vector<std::thread> threads;
  for (auto &mine : keys)
    threads.emplace_back([&mine] {
      for (int i = 0; i < 1000; ++i) mine.push_back(TLS_Alloc());
    });
  for (auto &thread : threads) thread.join();
  std::set<DWORD> all;
  for (const auto &mine : keys) all.insert(mine.begin(), mine.end());
  EXPECT_EQ(all.size(), 4000u);
  EXPECT_EQ(all.count(0), 0u);
}

TEST(ThreadValues, FreeOnOneThreadLeavesTheOthersValue) {
  const DWORD key = TLS_Alloc();
  std::barrier sync(2);
  DWORD a_seen = 0, b_seen = 0;
  std::thread a([&] {
    TLS_SetValue(key, 111);
    sync.arrive_and_wait();  // both have set
    sync.arrive_and_wait();  // b has freed
    a_seen = Get(key);
    TLS_Free(key);
  });
  std::thread b([&] {
    TLS_SetValue(key, 222);
    sync.arrive_and_wait();
    b_seen = Get(key);
    TLS_Free(key);
    sync.arrive_and_wait();
  });
  a.join();
  b.join();
  EXPECT_EQ(a_seen, 111u);
  EXPECT_EQ(b_seen, 222u);
}

// Keys that crowd the table: 1 to 15 share one hash; 272 and 544 share their chain with larger
// hashes, 16, 17 and 288 another; the rest spread out.
const std::vector<DWORD> kKeys = {0,  1,   2,   3,   4,   5,   6,    7,     8,           9,
                                  10, 11,  12,  13,  14,  15,  16,   17,    31,          32,
                                  33, 272, 273, 288, 289, 544, 4096, 65535, 0x7FFFFFF0u, 0xFFFFFFFFu};

TEST(ThreadValues, ManyThreadsAgreeWithAReferenceMap) {
  constexpr int kThreads = 4;
  std::vector<int> mismatches(kThreads, 0);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t, &mismatches] {
      // A new thread may reuse the identifier of one that ended with values still stored.
      for (DWORD key : kKeys) TLS_Free(key);
      std::map<DWORD, DWORD> reference;
      auto expected = [&reference](DWORD key) {
        auto it = reference.find(key);
        return it == reference.end() ? 0u : it->second;
      };
      std::mt19937 random(1234 + t);
      for (int i = 0; i < 20000; ++i) {
        const DWORD key = kKeys[random() % kKeys.size()];
        const unsigned op = random() % 10;
        if (op < 4) {
          const DWORD value = static_cast<DWORD>(random());
          TLS_SetValue(key, value);
          reference[key] = value;
        } else if (op < 6) {
          TLS_Free(key);
          reference.erase(key);
        } else {
          mismatches[t] += Get(key) != expected(key);
        }
      }
      for (DWORD key : kKeys) {
        mismatches[t] += Get(key) != expected(key);
        TLS_Free(key);
      }
    });
  }
  for (auto &thread : threads) thread.join();
  for (int t = 0; t < kThreads; ++t) EXPECT_EQ(mismatches[t], 0) << "thread " << t;
}

}  // namespace
