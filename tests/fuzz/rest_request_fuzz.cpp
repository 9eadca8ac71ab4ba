// Request properties through the whole request road. The first byte chooses how the rest is read
// (UTF-8, or UTF-16 units). Text that the JSON service parses as an object reaches the handler,
// which answers with the parsed object as its body, so the body must be that object's text;
// anything else gets exactly the document of invalid arguments.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <host/objects/host_objects.h>
#include <kzcore/pal/bstr.h>
#include <kzcore/pal/safe_array.h>
#include <kzcore/pal/wide.h>
#include <kzcore/platform/object_creation.h>
#include <kzcore/server/rest/rest_dispatcher.h>

#include "fuzz_text.h"

namespace {

using namespace RESTSupport;

bool g_called = false;

HRESULT Echo(void *, const WCHAR *, RESTResource *, RESTKeys &, WCHAR *, const WCHAR *, IJSONObject *request,
             IJSONObject **, VARIANT &body) {
  g_called = true;
  request->AddRef();
  body.vt = VT_UNKNOWN;
  body.punkVal = request;
  return S_OK;
}

std::string Utf8(const std::u16string &text) {
  std::string out(text.size() * 3 + 1, '\0');
  size_t n = wcstombs(out.data(), text.c_str(), out.size());
  if (n == static_cast<size_t>(-1)) std::abort();
  out.resize(n);
  return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static const bool registered = SUCCEEDED(KzRegisterHostObjects()) || true;
  static RESTDispatcher *dispatcher = [] {
    auto *d = new RESTDispatcher;
    RESTResource *root = d->CreateRESTResource(u"", Echo, true);
    d->Init(nullptr, root, nullptr);
    return d;
  }();
  (void)registered;
  if (size == 0) return 0;
  FuzzWideText input(data, size);
  std::vector<WCHAR> &text = input.units;

  // The reference: the JSON service's own reading of the text.
  IJSONObject *reference = nullptr;
  if (FAILED(KzCreateInstance(CLSID_JSONObject, nullptr, CLSCTX_INPROC_SERVER, KZ_IID(IJSONObject),
                              reinterpret_cast<void **>(&reference))))
    std::abort();
  const bool valid = text[0] == 0 || SUCCEEDED(reference->Parse(text.data()));
  std::string expected = R"({"error":{"code":400,"message":"Invalid or missing input parameters.","details":[]}})";
  if (valid) {
    BSTR written = nullptr;
    if (FAILED(reference->ToJSONString(&written))) std::abort();
    expected = Utf8(std::u16string(written, SysStringLen(written)));
    SysFreeString(written);
  }
  reference->Release();

  g_called = false;
  BSTR properties = nullptr;
  SAFEARRAY *body = nullptr;
  if (dispatcher->HandleRESTRequest(u"", u"", nullptr, nullptr, nullptr, text.data(), &properties, &body) != S_OK)
    std::abort();
  if (g_called != valid || body == nullptr) std::abort();
  std::string bytes(static_cast<const char *>(body->pvData), body->rgsabound[0].cElements);
  if (bytes != expected) std::abort();
  if ((properties != nullptr) == valid) std::abort();
  SysFreeString(properties);
  SafeArrayDestroy(body);
  return 0;
}
