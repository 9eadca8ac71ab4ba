// The REST classes' access to the JSON service: one held reference, and the three kinds of object
// made through KzCreateInstance.
#pragma once

#include <kzcore/platform/object_creation.h>
#include <kzcore/server/json_service.h>

namespace RESTSupport::internal {

// Owns one reference to an interface and gives it back at the end of its scope.
template <class Interface>
class Held {
 public:
  Held() = default;
  explicit Held(Interface *p) : p_(p) {}
  Held(const Held &) = delete;
  Held &operator=(const Held &) = delete;
  ~Held() {
    if (p_ != nullptr) p_->Release();
  }

  Interface *get() const { return p_; }
  Interface *operator->() const { return p_; }
  explicit operator bool() const { return p_ != nullptr; }
  // The slot for an out argument; what was held is released first.
  Interface **put() {
    if (p_ != nullptr) p_->Release();
    p_ = nullptr;
    return &p_;
  }
  // Hands the reference over to the caller.
  Interface *detach() {
    Interface *p = p_;
    p_ = nullptr;
    return p;
  }

 private:
  Interface *p_ = nullptr;
};

template <class Interface>
HRESULT MakeJSON(REFCLSID clsid, Interface **out) {
  *out = nullptr;
  return KzCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, KZ_IID(Interface), reinterpret_cast<void **>(out));
}

inline HRESULT NewObject(IJSONObject **out) { return MakeJSON(CLSID_JSONObject, out); }
inline HRESULT NewArray(IJSONArray **out) { return MakeJSON(CLSID_JSONArray, out); }
inline HRESULT NewWriter(IJSONWriter **out) { return MakeJSON(CLSID_JSONWriter, out); }

}  // namespace RESTSupport::internal
