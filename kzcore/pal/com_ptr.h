// ComPtr: one owned reference to an interface, released at the end of its scope.
//
//   ComPtr<IJSONObject> body;
//   HRESULT hr = KzCreateInstance(CLSID_JSONObject, nullptr, CLSCTX_INPROC_SERVER, KZ_IID(IJSONObject),
//                                 reinterpret_cast<void **>(body.put()));
//   if (SUCCEEDED(hr)) body->AddString(u"name", u"roads");
//   *out = body.detach();          // the caller takes the reference
//
// Moves hand the reference on; copies are not made, so that every AddRef is written out where it
// happens.
#pragma once

#include <kzcore/pal/com.h>

template <class Interface>
class ComPtr {
 public:
  ComPtr() = default;
  // Takes over a reference the caller owns.
  explicit ComPtr(Interface *owned) : p_(owned) {}
  ComPtr(const ComPtr &) = delete;
  ComPtr &operator=(const ComPtr &) = delete;
  ComPtr(ComPtr &&other) noexcept : p_(other.detach()) {}
  ComPtr &operator=(ComPtr &&other) noexcept {
    if (this != &other) {
      Interface *p = other.detach();
      reset();
      p_ = p;
    }
    return *this;
  }
  ~ComPtr() { reset(); }

  Interface *get() const { return p_; }
  Interface *operator->() const { return p_; }
  explicit operator bool() const { return p_ != nullptr; }
  // The slot for an out argument; what was held is released first.
  Interface **put() {
    reset();
    return &p_;
  }
  // Hands the reference over to the caller.
  Interface *detach() {
    Interface *p = p_;
    p_ = nullptr;
    return p;
  }
  void reset() {
    if (p_ != nullptr) p_->Release();
    p_ = nullptr;
  }

 private:
  Interface *p_ = nullptr;
};
