// Process attach and detach, thread attach, and the library-wide state they make and drop.
//
// Attach and detach are the constructor and destructor of one static object of this file, not
// functions marked with the constructor and destructor attributes. A static object is destroyed
// in the same sequence as every other C++ static of the library, both when the process exits and
// when the library is unloaded with dlclose, and always before the library's statics that were
// built ahead of it. A destructor-attribute function would instead run after all static
// destructors at exit but before them at dlclose. This file is linked last (see
// kzcore/CMakeLists.txt), so its object is built after the library's other static initialisers
// and taken down before them: attach finds the statics already built, and detach still finds
// them standing.
#include <kzcore/core/frame.h>

#include <atomic>
#include <bit>
#include <cstdint>

#include <kzcore/core/internal/frame_state.h>
#include <kzcore/core/locale.h>
#include <kzcore/pal/module.h>

// Built from their high words; constant-initialised, so static initialisers elsewhere may read
// them in any order.
const double KzQuietNaN = std::bit_cast<double>(std::uint64_t{0x7FF80000} << 32);
const double KzPositiveInfinity = std::bit_cast<double>(std::uint64_t{0x7FF00000} << 32);

namespace kz::core::internal {

namespace {

HMODULE g_module = nullptr;
HINSTANCE g_resources = nullptr;
CRITICAL_SECTION g_thread_value_lock;
CRITICAL_SECTION g_category_cache_lock;
std::atomic<bool> g_thread_value_lock_ready{false};
CategoryKeyRecord *g_category_key = nullptr;

thread_local bool t_attached = false;

// The compression module hooks in here: it creates its facade at attach when none exists yet.
void AttachCompressionFacade() {}

// The compression module hooks in here: it deletes its facade at detach and clears the pointer.
void DetachCompressionFacade() {}

// The XML registry hooks in here: under its own lock it deletes its object, if any, and clears
// the pointer.
void DropXmlRegistry() {}

// The locale's help support hooks in here: it releases the help module when one was loaded and
// clears its handle.
void ReleaseHelpSupport() {}

// Attach never fails: each step that cannot be done leaves its default.
void ProcessAttach() {
  // Takes the current folder out of the library search path (a no-op on this platform).
  SetDllDirectoryW(u"");
  g_module = KzModuleFromAddress(reinterpret_cast<const void *>(&ProcessAttach));
  InitializeCriticalSection(&g_thread_value_lock);
  g_thread_value_lock_ready.store(true, std::memory_order_release);
  InitializeCriticalSection(&g_category_cache_lock);
  HINSTANCE localized = VESKLocale::LoadLocalizedRes(g_module);
  g_resources = localized != nullptr ? localized : g_module;
  AttachCompressionFacade();
}

void ProcessDetach() {
  DetachCompressionFacade();
  ClearCategoryCache();
  // Per-thread values called for after this point read 0 and store nothing.
  g_thread_value_lock_ready.store(false, std::memory_order_release);
  DeleteCriticalSection(&g_thread_value_lock);
  DeleteCriticalSection(&g_category_cache_lock);
  DropXmlRegistry();
  if (g_resources != nullptr && g_resources != g_module) FreeLibrary(g_resources);
  g_resources = g_module;
  ReleaseHelpSupport();
}

struct LibraryFrame {
  LibraryFrame() { ProcessAttach(); }
  ~LibraryFrame() { ProcessDetach(); }
};

LibraryFrame g_frame;

}  // namespace

CRITICAL_SECTION &ThreadValueLock() { return g_thread_value_lock; }

bool ThreadValueLockReady() { return g_thread_value_lock_ready.load(std::memory_order_acquire); }

CRITICAL_SECTION &CategoryCacheLock() { return g_category_cache_lock; }

CategoryKeyRecord *&CategoryKey() { return g_category_key; }

void ClearCategoryCache() {
  // Before attach and after detach the lock does not exist, and neither can a record.
  if (!g_category_cache_lock.initialized) return;
  CriticalSectionLock hold(g_category_cache_lock);
  CategoryKeyRecord *record = g_category_key;
  g_category_key = nullptr;
  if (record == nullptr) return;
  if (record->close != nullptr) record->close(record);
  delete record;
}

}  // namespace kz::core::internal

HMODULE KzGetModuleHandle() { return kz::core::internal::g_module; }

HINSTANCE KzGetResourceHandle() { return kz::core::internal::g_resources; }

void KzThreadAttach() {
  kz::core::internal::t_attached = true;
  VESKLocale::SetThreadLocale();
}

void KzEnsureThreadAttached() {
  if (!kz::core::internal::t_attached) KzThreadAttach();
}
