#include <host/objects/host_objects.h>

#include <mutex>
#include <vector>

#include <kzcore/core/class_factory.h>
#include <host/objects/json_array.h>
#include <host/objects/json_object.h>
#include <host/objects/json_writer.h>
#include <host/objects/uid_object.h>
#include <kzcore/server/json_service.h>
#include <kzcore/values/guid.h>

namespace {

std::mutex g_lock;
std::vector<DWORD> g_cookies;

template <class Object>
HRESULT Register(REFCLSID clsid) {
  static ClassFactory<Object> factory;
  DWORD cookie = 0;
  HRESULT hr = CoRegisterClassObject(clsid, &factory, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &cookie);
  if (SUCCEEDED(hr)) g_cookies.push_back(cookie);
  return hr;
}

}  // namespace

HRESULT KzRegisterHostObjects() {
  std::lock_guard<std::mutex> hold(g_lock);
  if (!g_cookies.empty()) return S_FALSE;
  HRESULT hr = Register<kz::host::UIDObject>(CLSID_UID);
  if (SUCCEEDED(hr)) hr = Register<kz::host::JSONObject>(CLSID_JSONObject);
  if (SUCCEEDED(hr)) hr = Register<kz::host::JSONArray>(CLSID_JSONArray);
  if (SUCCEEDED(hr)) hr = Register<kz::host::JSONWriter>(CLSID_JSONWriter);
  return SUCCEEDED(hr) ? S_OK : hr;
}

void KzRevokeHostObjects() {
  std::lock_guard<std::mutex> hold(g_lock);
  for (DWORD cookie : g_cookies) CoRevokeClassObject(cookie);
  g_cookies.clear();
}
