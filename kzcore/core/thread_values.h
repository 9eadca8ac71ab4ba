// A small store of per-thread 32-bit values under keys shared by all threads, for callers that
// want per-thread state without owning a thread-local variable of their own.
//
//   static const DWORD key = TLS_Alloc();
//   TLS_SetValue(key, 42);
//   DWORD value;
//   TLS_GetValue(key, &value);   // 42 on this thread, 0 on a thread that never set it
//   TLS_Free(key);               // drops this thread's value only
//
// Keys are never reused. A thread's values outlive the thread: they stay in the table until the
// thread frees them or the process ends, and a later thread that receives the same thread
// identifier from the system sees them. The store is a simple global table under one lock, meant
// for a few keys off the hot paths.
#pragma once

#include <kzcore/pal/types.h>

extern "C" {

// A new key; the first is 1. Takes no lock.
KZ_API DWORD TLS_Alloc();
// Removes the calling thread's value of `key`; other threads keep theirs.
KZ_API void TLS_Free(DWORD key);
// Writes 0 to `value`, then the calling thread's value of `key` when it has one. A stored 0 and
// no value read the same.
KZ_API void TLS_GetValue(DWORD key, DWORD *value);
// Sets the calling thread's value of `key`.
KZ_API void TLS_SetValue(DWORD key, DWORD value);
}
