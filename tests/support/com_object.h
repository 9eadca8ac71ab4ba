// A reference-counted COM object for tests. It answers IUnknown and each of its interfaces,
// counts references, and deletes itself when the count reaches 0. An object on the stack lives as
// long as its scope when its maker's reference is never released.
//
//   struct Gate : kztest::ComObject<IMessageGate> { ... the interface's own operations ... };
//   auto *gate = new Gate;   // one reference
#pragma once

#include <atomic>

#include <kzcore/pal/com.h>

namespace kztest {

template <class First, class... Rest>
class ComObject : public First, public Rest... {
 public:
  HRESULT QueryInterface(REFIID riid, void **ppv) override {
    if (ppv == nullptr) return E_POINTER;
    void *found = nullptr;
    if (riid == KZ_IID(IUnknown) || riid == KZ_IID(First)) found = static_cast<First *>(this);
    ((found == nullptr && riid == KZ_IID(Rest) ? void(found = static_cast<Rest *>(this)) : void()), ...);
    *ppv = found;
    if (found == nullptr) return E_NOINTERFACE;
    AddRef();
    return S_OK;
  }
  ULONG AddRef() override { return ++refs_; }
  ULONG Release() override {
    ULONG left = --refs_;
    if (left == 0) delete this;
    return left;
  }
  ULONG refs() const { return refs_; }
  virtual ~ComObject() = default;

 private:
  std::atomic<ULONG> refs_{1};
};

}  // namespace kztest
