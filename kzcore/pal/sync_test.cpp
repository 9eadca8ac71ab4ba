#include <kzcore/pal/sync.h>

#include <set>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace {

TEST(CriticalSection, IsReentrantAndExcludesOtherThreads) {
  CRITICAL_SECTION cs;
  ASSERT_TRUE(InitializeCriticalSectionAndSpinCount(&cs, 4000));
  EnterCriticalSection(&cs);
  EnterCriticalSection(&cs);  // the owner enters again
  bool other_entered = true;
  std::thread([&] { other_entered = TryEnterCriticalSection(&cs); }).join();
  EXPECT_FALSE(other_entered);
  LeaveCriticalSection(&cs);
  std::thread([&] { other_entered = TryEnterCriticalSection(&cs); }).join();
  EXPECT_FALSE(other_entered) << "still held once";
  LeaveCriticalSection(&cs);
  std::thread([&] {
    other_entered = TryEnterCriticalSection(&cs);
    if (other_entered) LeaveCriticalSection(&cs);
  }).join();
  EXPECT_TRUE(other_entered);
  EXPECT_EQ(SetCriticalSectionSpinCount(&cs, 10), 4000u);
  DeleteCriticalSection(&cs);
}

// A plain read-modify-write under the lock, and interlocked counters beside it: both must come
// out exact.
TEST(CriticalSection, SerialisesUpdatesAcrossThreads) {
  CRITICAL_SECTION cs;
  InitializeCriticalSection(&cs);
  long long plain = 0;
  LONG counter = 0;
  LONGLONG wide = 0;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 20000; ++i) {
        EnterCriticalSection(&cs);
        plain = plain + 1;
        LeaveCriticalSection(&cs);
        InterlockedIncrement(&counter);
        InterlockedExchangeAdd64(&wide, 3);
      }
    });
  }
  for (auto &t : threads) t.join();
  EXPECT_EQ(plain, 80000);
  EXPECT_EQ(counter, 80000);
  EXPECT_EQ(wide, 240000);
  DeleteCriticalSection(&cs);
}

TEST(Interlocked, ResultsFollowWindows) {
  LONG v = 5;
  EXPECT_EQ(InterlockedIncrement(&v), 6);       // the new value
  EXPECT_EQ(InterlockedDecrement(&v), 5);
  EXPECT_EQ(InterlockedExchange(&v, 9), 5);     // the old value
  EXPECT_EQ(InterlockedExchangeAdd(&v, 2), 9);  // the old value
  EXPECT_EQ(InterlockedCompareExchange(&v, 1, 7), 11);  // no match: unchanged, old value back
  EXPECT_EQ(v, 11);
  EXPECT_EQ(InterlockedCompareExchange(&v, 1, 11), 11);
  EXPECT_EQ(v, 1);
  LONG min = INT32_MIN;
  EXPECT_EQ(InterlockedDecrement(&min), INT32_MAX);  // wraps as on Windows
}

TEST(ThreadIdentity, IdsDifferAcrossLiveThreadsAndLastErrorIsPerThread) {
  std::set<DWORD> ids{GetCurrentThreadId()};
  SetLastError(42);
  DWORD seen_error = 1;
  std::vector<std::thread> threads;
  std::vector<DWORD> got(3);
  for (int i = 0; i < 3; ++i) threads.emplace_back([&, i] { got[i] = GetCurrentThreadId(); });
  std::thread([&] { seen_error = GetLastError(); }).join();
  for (auto &t : threads) t.join();
  ids.insert(got.begin(), got.end());
  EXPECT_EQ(ids.size(), 4u);
  EXPECT_EQ(seen_error, 0u);
  EXPECT_EQ(GetLastError(), 42u);
  EXPECT_EQ(GetCurrentProcessId(), static_cast<DWORD>(getpid()));
}

}  // namespace
