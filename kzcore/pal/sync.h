// Critical sections, interlocked operations and thread identity with Win32 semantics.
//
// A critical section is re-entrant: the owning thread may enter it again and must leave it as
// often. The spin count is kept and used for a short spin before the thread blocks.
//
//   CRITICAL_SECTION cs;
//   InitializeCriticalSectionAndSpinCount(&cs, 4000);
//   EnterCriticalSection(&cs); ... LeaveCriticalSection(&cs);
//   DeleteCriticalSection(&cs);
#pragma once

#include <pthread.h>

#include <kzcore/pal/types.h>

struct CRITICAL_SECTION {
  pthread_mutex_t mutex;
  DWORD spin_count;
  BOOL initialized;
};
using LPCRITICAL_SECTION = CRITICAL_SECTION *;

KZ_API void InitializeCriticalSection(LPCRITICAL_SECTION cs);
KZ_API BOOL InitializeCriticalSectionAndSpinCount(LPCRITICAL_SECTION cs, DWORD spin_count);
KZ_API DWORD SetCriticalSectionSpinCount(LPCRITICAL_SECTION cs, DWORD spin_count);
KZ_API void EnterCriticalSection(LPCRITICAL_SECTION cs);
KZ_API BOOL TryEnterCriticalSection(LPCRITICAL_SECTION cs);
KZ_API void LeaveCriticalSection(LPCRITICAL_SECTION cs);
KZ_API void DeleteCriticalSection(LPCRITICAL_SECTION cs);

// Thread identity. Identifiers are the kernel's thread ids, unique among live threads and reused
// after a thread ends, as on Windows.
KZ_API DWORD GetCurrentThreadId();
KZ_API DWORD GetCurrentProcessId();
KZ_API DWORD GetLastError();
KZ_API void SetLastError(DWORD error);
KZ_API void Sleep(DWORD milliseconds);

// Interlocked operations: sequentially consistent, result as on Windows (the new value for
// Increment and Decrement, the old value for Exchange, ExchangeAdd and CompareExchange).
inline LONG InterlockedIncrement(LONG volatile *p) { return __atomic_add_fetch(p, 1, __ATOMIC_SEQ_CST); }
inline LONG InterlockedDecrement(LONG volatile *p) { return __atomic_sub_fetch(p, 1, __ATOMIC_SEQ_CST); }
inline LONG InterlockedExchange(LONG volatile *p, LONG v) { return __atomic_exchange_n(p, v, __ATOMIC_SEQ_CST); }
inline LONG InterlockedExchangeAdd(LONG volatile *p, LONG v) { return __atomic_fetch_add(p, v, __ATOMIC_SEQ_CST); }
inline LONG InterlockedCompareExchange(LONG volatile *p, LONG exchange, LONG comparand) {
  __atomic_compare_exchange_n(p, &comparand, exchange, false, __ATOMIC_SEQ_CST, __ATOMIC_SEQ_CST);
  return comparand;
}
inline ULONG InterlockedIncrement(ULONG volatile *p) { return __atomic_add_fetch(p, 1u, __ATOMIC_SEQ_CST); }
inline ULONG InterlockedDecrement(ULONG volatile *p) { return __atomic_sub_fetch(p, 1u, __ATOMIC_SEQ_CST); }
inline LONGLONG InterlockedIncrement64(LONGLONG volatile *p) { return __atomic_add_fetch(p, 1, __ATOMIC_SEQ_CST); }
inline LONGLONG InterlockedDecrement64(LONGLONG volatile *p) { return __atomic_sub_fetch(p, 1, __ATOMIC_SEQ_CST); }
inline LONGLONG InterlockedExchange64(LONGLONG volatile *p, LONGLONG v) {
  return __atomic_exchange_n(p, v, __ATOMIC_SEQ_CST);
}
inline LONGLONG InterlockedExchangeAdd64(LONGLONG volatile *p, LONGLONG v) {
  return __atomic_fetch_add(p, v, __ATOMIC_SEQ_CST);
}
inline LONGLONG InterlockedCompareExchange64(LONGLONG volatile *p, LONGLONG exchange, LONGLONG comparand) {
  __atomic_compare_exchange_n(p, &comparand, exchange, false, __ATOMIC_SEQ_CST, __ATOMIC_SEQ_CST);
  return comparand;
}
inline void *InterlockedExchangePointer(void *volatile *p, void *v) {
  return __atomic_exchange_n(p, v, __ATOMIC_SEQ_CST);
}
inline void *InterlockedCompareExchangePointer(void *volatile *p, void *exchange, void *comparand) {
  __atomic_compare_exchange_n(p, &comparand, exchange, false, __ATOMIC_SEQ_CST, __ATOMIC_SEQ_CST);
  return comparand;
}
