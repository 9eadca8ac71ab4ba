// Library-wide state that the frame makes at load and drops at unload, shared with the parts of
// the library that use it. Not installed.
#pragma once

#include <kzcore/pal/sync.h>

namespace kz::core::internal {

// Holds a critical section for one scope.
class CriticalSectionLock {
 public:
  explicit CriticalSectionLock(CRITICAL_SECTION &cs) : cs_(cs) { EnterCriticalSection(&cs_); }
  ~CriticalSectionLock() { LeaveCriticalSection(&cs_); }
  CriticalSectionLock(const CriticalSectionLock &) = delete;
  CriticalSectionLock &operator=(const CriticalSectionLock &) = delete;

 private:
  CRITICAL_SECTION &cs_;
};

// Guards the per-thread value table. Exists from load to unload only: ThreadValueLockReady says
// whether it may be taken.
CRITICAL_SECTION &ThreadValueLock();
bool ThreadValueLockReady();

// Guards the category key record.
CRITICAL_SECTION &CategoryCacheLock();

// The category key record: the open category key and its change-notification event, made on
// first use by the category manager. The frame links neither the registry nor the kernel
// objects, so the record carries the function that closes its two handles.
struct CategoryKeyRecord {
  HANDLE key = nullptr;
  HANDLE change_event = nullptr;
  void (*close)(CategoryKeyRecord *record) = nullptr;
};

// The record, or null; read and written under CategoryCacheLock.
CategoryKeyRecord *&CategoryKey();

// Under the category cache lock: closes the record's handles, frees it and clears the pointer.
void ClearCategoryCache();

}  // namespace kz::core::internal
