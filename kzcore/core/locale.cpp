#include <kzcore/core/locale.h>

#include <atomic>

#include <kzcore/pal/locale.h>

namespace VESKLocale {

namespace {

// 0 means not decided yet; decided on first use from the environment.
std::atomic<LANGID> g_regional{0};
std::atomic<LANGID> g_interface{0};

// The value in `cache`, read with `decide` on first use.
LANGID Decided(std::atomic<LANGID> &cache, LANGID (*decide)()) {
  LANGID id = cache.load(std::memory_order_relaxed);
  if (id == 0) {
    id = decide();
    cache.store(id, std::memory_order_relaxed);
  }
  return id;
}

LANGID Regional() { return Decided(g_regional, GetUserDefaultLangID); }
LANGID Interface() { return Decided(g_interface, GetUserDefaultUILanguage); }

}  // namespace

USHORT GetLangID() { return PRIMARYLANGID(Regional()); }
USHORT GetCountryID() { return SUBLANGID(Regional()); }
USHORT GetLocale() { return Regional(); }
USHORT GetUILangID() { return PRIMARYLANGID(Interface()); }
USHORT GetUICountryID() { return SUBLANGID(Interface()); }
USHORT GetUILocale() { return Interface(); }

// Linux: the built-in resources are English and no language resource folders are looked for
// yet, so the interface stays left to right.
bool IsRightToLeftLanguage() { return false; }
bool IsRightToLeft() { return false; }
bool IsRightToLeftUI() { return false; }

void SetThreadLocale() {}

HINSTANCE LoadLocalizedRes(HMODULE) { return nullptr; }

void SetLanguageForProcess(LANGID regional) { g_regional.store(regional, std::memory_order_relaxed); }

}  // namespace VESKLocale
