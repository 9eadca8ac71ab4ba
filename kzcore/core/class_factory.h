// ClassFactory: the class factory of a class derived from Unknown, for a module or a host to hand
// to the class registry. It is meant to be a static object, one per class:
//
//   static ClassFactory<Parcels> parcels_factory;
//   DWORD cookie;
//   CoRegisterClassObject(CLSID_Parcels, &parcels_factory, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &cookie);
//
//   // or, in a module: DllGetClassObject answers with it.
//   if (clsid == CLSID_Parcels) return parcels_factory.QueryInterface(riid, ppv);
//
// Objects are made with `new Object` and are not aggregated.
#pragma once

#include <new>

#include <kzcore/core/unknown.h>

template <class Object>
class ClassFactory final : public IClassFactory {
 public:
  HRESULT QueryInterface(REFIID riid, void **ppv) override {
    if (ppv == nullptr) return E_POINTER;
    if (riid != KZ_IID(IUnknown) && riid != KZ_IID(IClassFactory)) {
      *ppv = nullptr;
      return E_NOINTERFACE;
    }
    *ppv = static_cast<IClassFactory *>(this);
    AddRef();
    return S_OK;
  }
  // A static object lives as long as its module and is never deleted, so it keeps no count: the
  // registry and every thread making objects AddRef and Release it, and a shared count would be
  // written from all of them at once for nothing.
  ULONG AddRef() override { return 2; }
  ULONG Release() override { return 1; }

  HRESULT CreateInstance(IUnknown *outer, REFIID riid, void **ppv) override {
    if (ppv == nullptr) return E_POINTER;
    *ppv = nullptr;
    if (outer != nullptr) return CLASS_E_NOAGGREGATION;
    auto *object = new (std::nothrow) Object;
    if (object == nullptr) return E_OUTOFMEMORY;
    HRESULT hr = object->InternalQueryInterface(riid, ppv);
    object->InternalRelease();  // the object's first reference, now held by *ppv or gone
    return hr;
  }
  HRESULT LockServer(BOOL) override { return S_OK; }
};
