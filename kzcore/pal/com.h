// COM on Linux: IUnknown and the core interfaces as C++ abstract classes in the Windows slot
// order, the thread's error object, and object creation through the in-process class registry.
//
//   IErrorInfo *info = nullptr;
//   if (GetErrorInfo(0, &info) == S_OK) { BSTR d; info->GetDescription(&d); ... info->Release(); }
#pragma once

#include <kzcore/pal/guid.h>
#include <kzcore/pal/types.h>

#define STDMETHODCALLTYPE
#define STDMETHOD(name) virtual HRESULT STDMETHODCALLTYPE name
#define STDMETHOD_(type, name) virtual type STDMETHODCALLTYPE name
#define STDMETHODIMP HRESULT STDMETHODCALLTYPE
#define STDMETHODIMP_(type) type STDMETHODCALLTYPE

struct IUnknown {
  virtual HRESULT QueryInterface(REFIID riid, void **ppv) = 0;
  virtual ULONG AddRef() = 0;
  virtual ULONG Release() = 0;

  // Typed form: QueryInterface(&p) with p an interface pointer.
  template <class Q>
  HRESULT QueryInterface(Q **pp) {
    return QueryInterface(KZ_IID(Q), reinterpret_cast<void **>(pp));
  }

 protected:
  ~IUnknown() = default;
};
using LPUNKNOWN = IUnknown *;
KZ_DECLARE_IID(IUnknown, "{00000000-0000-0000-C000-000000000046}");

struct IClassFactory : IUnknown {
  virtual HRESULT CreateInstance(IUnknown *outer, REFIID riid, void **ppv) = 0;
  virtual HRESULT LockServer(BOOL lock) = 0;
};
KZ_DECLARE_IID(IClassFactory, "{00000001-0000-0000-C000-000000000046}");

struct IErrorInfo : IUnknown {
  virtual HRESULT GetGUID(GUID *guid) = 0;
  virtual HRESULT GetSource(BSTR *source) = 0;
  virtual HRESULT GetDescription(BSTR *description) = 0;
  virtual HRESULT GetHelpFile(BSTR *help_file) = 0;
  virtual HRESULT GetHelpContext(DWORD *help_context) = 0;
};
KZ_DECLARE_IID(IErrorInfo, "{1CF2B120-547D-101B-8E65-08002B2BD119}");

struct ICreateErrorInfo : IUnknown {
  virtual HRESULT SetGUID(REFGUID guid) = 0;
  virtual HRESULT SetSource(LPOLESTR source) = 0;
  virtual HRESULT SetDescription(LPOLESTR description) = 0;
  virtual HRESULT SetHelpFile(LPOLESTR help_file) = 0;
  virtual HRESULT SetHelpContext(DWORD help_context) = 0;
};
KZ_DECLARE_IID(ICreateErrorInfo, "{22F03340-547D-101B-8E65-08002B2BD119}");

struct ISupportErrorInfo : IUnknown {
  virtual HRESULT InterfaceSupportsErrorInfo(REFIID riid) = 0;
};
KZ_DECLARE_IID(ISupportErrorInfo, "{DF0B3D60-548F-101B-8E65-08002B2BD119}");

// Class contexts.
constexpr DWORD CLSCTX_INPROC_SERVER = 0x1;
constexpr DWORD CLSCTX_INPROC_HANDLER = 0x2;
constexpr DWORD CLSCTX_LOCAL_SERVER = 0x4;
constexpr DWORD CLSCTX_REMOTE_SERVER = 0x10;
constexpr DWORD CLSCTX_INPROC = CLSCTX_INPROC_SERVER | CLSCTX_INPROC_HANDLER;
constexpr DWORD CLSCTX_ALL = 0x17;
constexpr DWORD CLSCTX_SERVER = 0x15;
constexpr DWORD REGCLS_SINGLEUSE = 0;
constexpr DWORD REGCLS_MULTIPLEUSE = 1;
constexpr HRESULT CO_E_OBJNOTREG = static_cast<HRESULT>(0x800401FB);


// The thread's error object: one slot per thread, holding a reference.
KZ_API HRESULT CreateErrorInfo(ICreateErrorInfo **out);
KZ_API HRESULT GetErrorInfo(ULONG reserved, IErrorInfo **out);
KZ_API HRESULT SetErrorInfo(ULONG reserved, IErrorInfo *info);

// In-process class registry. A module registers a factory for a class identifier; creation finds
// it there. Registration holds a reference on the factory until revoked. When a class is
// registered more than once, the latest live registration whose context meets the requested one
// answers; a REGCLS_SINGLEUSE registration answers once and then no more.
//
//   DWORD cookie;
//   CoRegisterClassObject(CLSID_Roads, factory, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &cookie);
//   IRoads *roads;
//   CoCreateInstance(CLSID_Roads, nullptr, CLSCTX_ALL, KZ_IID(IRoads), (void **)&roads);
//   ...
//   CoRevokeClassObject(cookie);
//
// An unknown class gives REGDB_E_CLASSNOTREG. Aggregation is the factory's decision: it answers
// CLASS_E_NOAGGREGATION itself when it refuses an outer object.
KZ_API HRESULT CoRegisterClassObject(REFCLSID clsid, IUnknown *factory, DWORD context, DWORD flags,
                                     DWORD *cookie);
// CO_E_OBJNOTREG for a cookie that is not registered (or was revoked already).
KZ_API HRESULT CoRevokeClassObject(DWORD cookie);
KZ_API HRESULT CoGetClassObject(REFCLSID clsid, DWORD context, void *server_info, REFIID riid,
                                void **ppv);
KZ_API HRESULT CoCreateInstance(REFCLSID clsid, IUnknown *outer, DWORD context, REFIID riid,
                                void **ppv);
// The programmatic identifier of a class, as task memory the caller frees with CoTaskMemFree.
// REGDB_E_CLASSNOTREG when the class has none (see <kzcore/pal/class_registry.h>).
KZ_API HRESULT ProgIDFromCLSID(REFCLSID clsid, LPOLESTR *prog_id);
// Puts an object in its running state; in-process objects already are, so this succeeds for any
// non-null object.
KZ_API HRESULT OleRun(IUnknown *object);

KZ_API void *CoTaskMemAlloc(SIZE_T size);
KZ_API void *CoTaskMemRealloc(void *p, SIZE_T size);
KZ_API void CoTaskMemFree(void *p);
