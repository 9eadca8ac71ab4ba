// The REST classes' access to the JSON service: the three kinds of object made through
// KzCreateInstance, and a held reference to each.
#pragma once

#include <kzcore/pal/com_ptr.h>
#include <kzcore/platform/object_creation.h>
#include <kzcore/server/json_service.h>

namespace RESTSupport::internal {

template <class Interface>
using Held = ComPtr<Interface>;

template <class Interface>
HRESULT MakeJSON(REFCLSID clsid, Interface **out) {
  *out = nullptr;
  return KzCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, KZ_IID(Interface), reinterpret_cast<void **>(out));
}

inline HRESULT NewObject(IJSONObject **out) { return MakeJSON(CLSID_JSONObject, out); }
inline HRESULT NewArray(IJSONArray **out) { return MakeJSON(CLSID_JSONArray, out); }
inline HRESULT NewWriter(IJSONWriter **out) { return MakeJSON(CLSID_JSONWriter, out); }

}  // namespace RESTSupport::internal
