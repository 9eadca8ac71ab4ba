// The class factory of a host object class: makes objects of one class derived from Unknown.
// Host objects are not aggregated.
#pragma once

#include <kzcore/core/unknown.h>

namespace kz::host {

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
  // The factory is a static object: its count tells only whether it is in use.
  ULONG AddRef() override { return InterlockedIncrement(&refs_); }
  ULONG Release() override { return InterlockedDecrement(&refs_); }

  HRESULT CreateInstance(IUnknown *outer, REFIID riid, void **ppv) override {
    if (ppv == nullptr) return E_POINTER;
    *ppv = nullptr;
    if (outer != nullptr) return CLASS_E_NOAGGREGATION;
    auto *object = new (std::nothrow) Object;
    if (object == nullptr) return E_OUTOFMEMORY;
    HRESULT hr = object->InternalQueryInterface(riid, ppv);
    object->InternalRelease();
    return hr;
  }
  HRESULT LockServer(BOOL) override { return S_OK; }

 private:
  LONG volatile refs_ = 0;
};

}  // namespace kz::host
