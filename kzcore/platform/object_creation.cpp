#include <kzcore/platform/object_creation.h>

#include <atomic>
#include <utility>
#include <vector>

#include <kzcore/core/internal/frame_state.h>
#include <kzcore/pal/class_registry.h>
#include <kzcore/pal/module.h>
#include <kzcore/pal/sync.h>

namespace {

using kz::core::internal::CriticalSectionLock;

// The caches in use, by thread.
struct CacheTable {
  CRITICAL_SECTION lock;
  std::vector<std::pair<DWORD, FactoryCache *>> caches;
  CacheTable() { InitializeCriticalSectionAndSpinCount(&lock, 4000); }
};

// Never destroyed: a thread may end its cache during the process's exit.
CacheTable &Caches() {
  static CacheTable *table = new CacheTable;
  return *table;
}

// How many caches exist: while there are none, creation need not take the lock. A thread's own
// cache is made on that thread, so the thread always sees its own count.
std::atomic<int> g_cache_count{0};

FactoryCache *CacheOfThisThread() {
  if (g_cache_count.load(std::memory_order_relaxed) == 0) return nullptr;
  CacheTable &table = Caches();
  const DWORD thread = GetCurrentThreadId();
  CriticalSectionLock hold(table.lock);
  for (const auto &entry : table.caches)
    if (entry.first == thread) return entry.second;
  return nullptr;
}

// The module's entry point, or null with the reason. Once the add-in manager's GetAddInManager is
// found it is kept, and its module is opened once more so that the address outlives whatever
// FreeLibrary the module's owner calls.
std::atomic<KzGetAddInManagerProc> g_get_add_in_manager{nullptr};

void *AddInEntry(const char *name, HRESULT &failure) {
  HMODULE module = GetModuleHandleW(kAddInManagerModule);
  if (module == nullptr) {
    failure = HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND);
    return nullptr;
  }
  void *entry = GetProcAddress(module, name);
  if (entry == nullptr) failure = HRESULT_FROM_WIN32(ERROR_PROC_NOT_FOUND);
  return entry;
}

HRESULT GetAddInManagerEntry(KzGetAddInManagerProc &entry) {
  entry = g_get_add_in_manager.load(std::memory_order_acquire);
  if (entry != nullptr) return S_OK;
  HRESULT failure = S_OK;
  entry = reinterpret_cast<KzGetAddInManagerProc>(AddInEntry("GetAddInManager", failure));
  if (entry == nullptr) return failure;
  // Pin the module: the kept address must stay valid.
  WCHAR path[4096];
  HMODULE module = GetModuleHandleW(kAddInManagerModule);
  DWORD length = GetModuleFileNameW(module, path, 4096);
  KzGetAddInManagerProc expected = nullptr;
  if (length != 0 && length < 4096 && g_get_add_in_manager.compare_exchange_strong(expected, entry))
    LoadLibraryW(path);
  return S_OK;
}

// The class factory from the add-in manager, for a class the platform could not make.
HRESULT AddInClassFactory(REFCLSID clsid, IClassFactory **factory) {
  KzGetAddInManagerProc entry;
  HRESULT hr = GetAddInManagerEntry(entry);
  if (FAILED(hr)) return hr;
  IAddInManager *manager = nullptr;
  hr = entry(&manager);
  if (FAILED(hr)) return hr;
  if (manager == nullptr) return E_FAIL;
  hr = manager->GetClassFactory(clsid, factory);
  manager->Release();
  if (SUCCEEDED(hr) && *factory == nullptr) hr = E_FAIL;
  return hr;
}

// The shared member lists of the categories: what the category key is on this platform. The
// record in the frame points at one of these; it is rebuilt when the class registry has changed
// since it was made.
struct CategoryTable {
  ULONG version;
  std::vector<std::pair<GUID, std::vector<CLSID>>> categories;
};

void CloseCategoryTable(kz::core::internal::CategoryKeyRecord *record) {
  delete static_cast<CategoryTable *>(record->key);
  record->key = nullptr;
}

// The members of `category`, from the shared table.
std::vector<CLSID> CategoryMembers(REFGUID category) {
  CRITICAL_SECTION &lock = kz::core::internal::CategoryCacheLock();
  // Before the library's attach and after its detach there is no lock and nothing is shared.
  if (!lock.initialized) return KzClassesOfCategory(category);
  CriticalSectionLock hold(lock);
  kz::core::internal::CategoryKeyRecord *&record = kz::core::internal::CategoryKey();
  const ULONG version = KzClassRegistryVersion();
  if (record != nullptr && static_cast<CategoryTable *>(record->key)->version != version) {
    record->close(record);
    delete record;
    record = nullptr;
  }
  if (record == nullptr) {
    record = new kz::core::internal::CategoryKeyRecord;
    record->key = new CategoryTable{version, {}};
    record->close = CloseCategoryTable;
  }
  auto &categories = static_cast<CategoryTable *>(record->key)->categories;
  for (const auto &entry : categories)
    if (entry.first == category) return entry.second;
  categories.emplace_back(category, KzClassesOfCategory(category));
  return categories.back().second;
}

}  // namespace

// Calling order: the thread's factory cache or the platform, then the add-in manager.
HRESULT KzCreateInstance(REFCLSID clsid, IUnknown *outer, DWORD context, REFIID riid, void **out) {
  if (out == nullptr) return E_POINTER;
  *out = nullptr;
  FactoryCache *cache = CacheOfThisThread();
  HRESULT hr = cache != nullptr ? cache->CreateInstance(clsid, outer, context, riid, out)
                                : CoCreateInstance(clsid, outer, context, riid, out);
  if (SUCCEEDED(hr)) return hr;
  IClassFactory *factory = nullptr;
  if (FAILED(AddInClassFactory(clsid, &factory))) return hr;
  hr = factory->CreateInstance(outer, riid, out);
  factory->Release();
  return hr;
}

HRESULT KzGetClassFactory(REFCLSID clsid, DWORD context, IClassFactory **out) {
  if (out == nullptr) return E_POINTER;
  *out = nullptr;
  FactoryCache *cache = CacheOfThisThread();
  HRESULT hr = cache != nullptr ? cache->GetClassFactory(clsid, context, out)
                                : CoGetClassObject(clsid, context, nullptr, KZ_IID(IClassFactory),
                                                   reinterpret_cast<void **>(out));
  if (SUCCEEDED(hr)) return hr;
  IClassFactory *factory = nullptr;
  if (FAILED(AddInClassFactory(clsid, &factory))) return hr;
  *out = factory;
  return S_OK;
}

HRESULT InitAddInManager(IUnknown *application, const WCHAR *settings) {
  HRESULT failure = S_OK;
  auto entry = reinterpret_cast<KzInitializeAddInManagerProc>(AddInEntry("InitializeAddInManager", failure));
  return entry != nullptr ? entry(application, settings) : failure;
}

HRESULT GetAddInManager(IAddInManager **out) {
  if (out == nullptr) return E_POINTER;
  *out = nullptr;
  KzGetAddInManagerProc entry;
  HRESULT hr = GetAddInManagerEntry(entry);
  return SUCCEEDED(hr) ? entry(out) : hr;
}

// FactoryCache ----------------------------------------------------------------------------------

struct FactoryCache::Entries {
  std::vector<std::pair<CLSID, IClassFactory *>> factories;  // one reference each
};

FactoryCache::FactoryCache() : entries_(new Entries), thread_(GetCurrentThreadId()), valid_(false) {
  CacheTable &table = Caches();
  CriticalSectionLock hold(table.lock);
  for (const auto &entry : table.caches)
    if (entry.first == thread_) return;
  table.caches.emplace_back(thread_, this);
  g_cache_count.fetch_add(1, std::memory_order_relaxed);
  valid_ = true;
}

FactoryCache::~FactoryCache() {
  if (valid_) {
    CacheTable &table = Caches();
    CriticalSectionLock hold(table.lock);
    std::erase_if(table.caches, [this](const auto &entry) { return entry.second == this; });
    g_cache_count.fetch_sub(1, std::memory_order_relaxed);
  }
  Clear();
  delete entries_;
}

HRESULT FactoryCache::GetClassFactory(REFCLSID clsid, DWORD context, IClassFactory **out) {
  if (out == nullptr) return E_POINTER;
  *out = nullptr;
  if (!valid_) return E_UNEXPECTED;
  for (const auto &entry : entries_->factories) {
    if (entry.first != clsid) continue;
    entry.second->AddRef();
    *out = entry.second;
    return S_OK;
  }
  IClassFactory *factory = nullptr;
  HRESULT hr = CoGetClassObject(clsid, context, nullptr, KZ_IID(IClassFactory), reinterpret_cast<void **>(&factory));
  if (FAILED(hr)) return hr;
  if (factory == nullptr) return E_UNEXPECTED;
  factory->AddRef();
  entries_->factories.emplace_back(clsid, factory);
  *out = factory;
  return S_OK;
}

HRESULT FactoryCache::CreateInstance(REFCLSID clsid, IUnknown *outer, DWORD context, REFIID riid, void **out) {
  if (out == nullptr) return E_POINTER;
  *out = nullptr;
  IClassFactory *factory = nullptr;
  HRESULT hr = GetClassFactory(clsid, context, &factory);
  if (FAILED(hr)) return hr;
  hr = factory->CreateInstance(outer, riid, out);
  factory->Release();
  return hr;
}

void FactoryCache::Clear() {
  // Taken out first: a factory's last release may run code that uses this cache again.
  std::vector<std::pair<CLSID, IClassFactory *>> factories;
  factories.swap(entries_->factories);
  for (auto &entry : factories) entry.second->Release();
}

ULONG FactoryCache::Size() const { return static_cast<ULONG>(entries_->factories.size()); }

// CategoryMgr -----------------------------------------------------------------------------------

CategoryMgr::CategoryMgr(GUID category) : category_(category) {}

CategoryMgr::~CategoryMgr() = default;

bool CategoryMgr::NextMember(GUID &member) {
  std::vector<CLSID> members = CategoryMembers(category_);
  if (position_ >= members.size()) return false;
  member = members[position_++];
  return true;
}

bool CategoryMgr::CreateNext(REFIID iid, void **out) { return CreateNext(iid, CLSCTX_INPROC_SERVER, out, nullptr); }

bool CategoryMgr::CreateNext(REFIID iid, GUID *clsid) { return CreateNext(iid, CLSCTX_INPROC_SERVER, nullptr, clsid); }

bool CategoryMgr::CreateNext(REFIID iid, void **out, GUID *clsid) {
  return CreateNext(iid, CLSCTX_INPROC_SERVER, out, clsid);
}

bool CategoryMgr::CreateNext(REFIID iid, DWORD context, void **out, GUID *clsid) {
  if (out != nullptr) *out = nullptr;
  GUID member;
  if (!NextMember(member)) return false;
  if (clsid != nullptr) *clsid = member;
  if (out != nullptr) KzCreateInstance(member, nullptr, context, iid, out);
  return true;
}

bool CategoryMgr::IsMember(REFGUID clsid) {
  for (const CLSID &member : CategoryMembers(category_))
    if (member == clsid) return true;
  return false;
}

HRESULT CategoryMgr::AddMember(REFGUID clsid) { return KzRegisterClassCategory(clsid, category_); }

void CategoryMgr::Reset() { position_ = 0; }

void CategoryMgr::Skip(ULONG count) { position_ = count > ~position_ ? ~0u : position_ + count; }

void CategoryMgr::Refresh() {
  KzReloadClassConfiguration();
  ClearCategoryCache();
}

void ClearCategoryCache() { kz::core::internal::ClearCategoryCache(); }
