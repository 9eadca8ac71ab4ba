// The class registry behind CoCreateInstance and CoGetClassObject: factories registered in this
// process by the modules that implement the classes.
#include <mutex>
#include <vector>

#include <kzcore/pal/com.h>

namespace {

struct Registration {
  DWORD cookie;
  CLSID clsid;
  IUnknown *factory;  // one reference, held until revoked
  DWORD context;
  DWORD flags;
  bool used;  // a single-use registration that has answered once
};

struct Registry {
  std::mutex lock;
  std::vector<Registration> entries;
  DWORD last_cookie = 0;
};

// Never destroyed: modules revoke their classes from their own static destructors, which may run
// after this library's.
Registry &TheRegistry() {
  static Registry *registry = new Registry;
  return *registry;
}

// The one place where a class identifier is turned into its class object, with a reference for
// the caller. Classes that modules named in the settings store provide are to be looked up here
// too, after the in-process registrations.
HRESULT FindClassObject(REFCLSID clsid, DWORD context, IUnknown **factory) {
  *factory = nullptr;
  Registry &registry = TheRegistry();
  std::lock_guard<std::mutex> hold(registry.lock);
  for (auto it = registry.entries.rbegin(); it != registry.entries.rend(); ++it) {
    if (it->clsid != clsid || (it->context & context) == 0 || it->used) continue;
    if (it->flags == REGCLS_SINGLEUSE) it->used = true;
    it->factory->AddRef();
    *factory = it->factory;
    return S_OK;
  }
  return REGDB_E_CLASSNOTREG;
}

}  // namespace

HRESULT CoRegisterClassObject(REFCLSID clsid, IUnknown *factory, DWORD context, DWORD flags, DWORD *cookie) {
  if (cookie != nullptr) *cookie = 0;
  if (factory == nullptr || cookie == nullptr) return E_INVALIDARG;
  Registry &registry = TheRegistry();
  factory->AddRef();
  std::lock_guard<std::mutex> hold(registry.lock);
  // Cookies are never reused, so a stale cookie cannot revoke a later registration.
  DWORD next = ++registry.last_cookie;
  registry.entries.push_back({next, clsid, factory, context, flags, false});
  *cookie = next;
  return S_OK;
}

HRESULT CoRevokeClassObject(DWORD cookie) {
  IUnknown *factory = nullptr;
  {
    Registry &registry = TheRegistry();
    std::lock_guard<std::mutex> hold(registry.lock);
    for (auto it = registry.entries.begin(); it != registry.entries.end(); ++it) {
      if (it->cookie != cookie) continue;
      factory = it->factory;
      registry.entries.erase(it);
      break;
    }
  }
  if (factory == nullptr) return CO_E_OBJNOTREG;
  // Released outside the lock: the factory's last release may unload code that revokes more.
  factory->Release();
  return S_OK;
}

HRESULT CoGetClassObject(REFCLSID clsid, DWORD context, void *, REFIID riid, void **ppv) {
  if (ppv == nullptr) return E_INVALIDARG;
  *ppv = nullptr;
  IUnknown *factory;
  HRESULT hr = FindClassObject(clsid, context, &factory);
  if (FAILED(hr)) return hr;
  hr = factory->QueryInterface(riid, ppv);
  factory->Release();
  return hr;
}

HRESULT CoCreateInstance(REFCLSID clsid, IUnknown *outer, DWORD context, REFIID riid, void **ppv) {
  if (ppv == nullptr) return E_POINTER;
  *ppv = nullptr;
  IClassFactory *factory;
  HRESULT hr =
      CoGetClassObject(clsid, context, nullptr, KZ_IID(IClassFactory), reinterpret_cast<void **>(&factory));
  if (FAILED(hr)) return hr;
  hr = factory->CreateInstance(outer, riid, ppv);
  factory->Release();
  return hr;
}

HRESULT OleRun(IUnknown *object) { return object == nullptr ? E_INVALIDARG : S_OK; }

HRESULT ProgIDFromCLSID(REFCLSID, LPOLESTR *prog_id) {
  if (prog_id == nullptr) return E_INVALIDARG;
  *prog_id = nullptr;
  return REGDB_E_CLASSNOTREG;
}
