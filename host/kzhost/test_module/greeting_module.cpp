// A service in a module of its own, built as a module writer builds one: a server object derived
// from Unknown whose REST surface is a RESTDispatcher tree, a ClassFactory, and an exported
// DllGetClassObject through which kzhost gets the factory. The end-to-end tests serve it from a
// configuration that names this module.
//
//   /services/Greeting/greet?who=you      {"greeting":"hello, you"}
//   /services/Greeting/fail               always fails: how a service's own failure reaches a client
#include <kzcore/kzcore.h>

KZ_DEFINE_GUID(CLSID_Greeting, "{5D0C3A52-2E0B-4C7B-9D7E-7A51E0B1C0DE}");

using RESTSupport::RESTKeys;
using RESTSupport::RESTResource;

namespace {

HRESULT NewObject(IJSONObject **out) {
  return KzCreateInstance(CLSID_JSONObject, nullptr, CLSCTX_INPROC_SERVER, KZ_IID(IJSONObject),
                          reinterpret_cast<void **>(out));
}

// Sets the thread's error object, whose description the error document carries.
HRESULT Fail(HRESULT hr, const WCHAR *description) {
  ComPtr<ICreateErrorInfo> info;
  ComPtr<IErrorInfo> error;
  if (SUCCEEDED(CreateErrorInfo(info.put())) && SUCCEEDED(info->SetDescription(const_cast<WCHAR *>(description))) &&
      SUCCEEDED(info->QueryInterface(error.put())))
    SetErrorInfo(0, error.get());
  return hr;
}

HRESULT Greet(void *, const WCHAR *, RESTResource *, RESTKeys &, WCHAR *operationInput, const WCHAR *format,
              IJSONObject *, IJSONObject **responseProperties, VARIANT &responseData) {
  if (wcscmp(format, u"json") != 0) return RESTSupport::REST_E_BAD_OUTPUT_FORMAT;
  ComPtr<IJSONObject> input, answer, properties;
  HRESULT hr = NewObject(input.put());
  if (FAILED(hr)) return hr;
  BSTR who = nullptr;
  if (FAILED(input->Parse(operationInput)) || FAILED(input->GetString(u"who", &who)))
    return Fail(E_INVALIDARG, u"Say whom to greet: who=<a name>.");
  String greeting(u"hello, ");
  greeting += who;
  SysFreeString(who);
  hr = NewObject(answer.put());
  if (SUCCEEDED(hr)) hr = answer->AddString(u"greeting", greeting);
  if (SUCCEEDED(hr)) hr = NewObject(properties.put());
  if (SUCCEEDED(hr)) hr = properties->AddString(u"Content-Type", u"application/json");
  if (FAILED(hr)) return hr;
  *responseProperties = properties.detach();
  responseData.vt = VT_UNKNOWN;
  responseData.punkVal = answer.detach();
  return S_OK;
}

HRESULT AlwaysFails(void *, const WCHAR *, RESTResource *, RESTKeys &, WCHAR *, const WCHAR *, IJSONObject *,
                    IJSONObject **, VARIANT &) {
  return Fail(E_FAIL, u"The greeting service fails on purpose here.");
}

class Greeting final : public Unknown, public IRESTRequestHandler {
 public:
  Greeting() {
    StringArray who, json;
    who.Insert(u"who");
    json.Insert(u"json");
    // The root has no handler of its own: asking for it gives the generic error document.
    RESTResource *root = dispatcher_.CreateRESTResource(u"", nullptr, true);
    root->AddOperation(dispatcher_.CreateRESTOperation(u"greet", Greet, who, json));
    root->AddOperation(dispatcher_.CreateRESTOperation(u"fail", AlwaysFails, StringArray(), json));
    dispatcher_.Init(this, root, nullptr);
  }

  KZ_DELEGATING_IUNKNOWN
  HRESULT InternalQueryInterface(REFIID riid, void **ppv) override {
    if (ppv != nullptr && riid == KZ_IID(IRESTRequestHandler))
      return Answer(static_cast<IRESTRequestHandler *>(this), ppv);
    return Unknown::InternalQueryInterface(riid, ppv);
  }
  const WCHAR *GetClassName() override { return u"Greeting"; }

  HRESULT HandleRESTRequest(BSTR capabilities, BSTR resource, BSTR operation, BSTR input, BSTR format,
                            BSTR requestProperties, BSTR *responseProperties, SAFEARRAY **responseData) override {
    return dispatcher_.HandleRESTRequest(capabilities, resource, operation, input, format, requestProperties,
                                         responseProperties, responseData);
  }
  HRESULT GetSchema(BSTR *schema) override { return dispatcher_.GetSchema(schema); }

 private:
  RESTSupport::RESTDispatcher dispatcher_;
};

ClassFactory<Greeting> factory;

}  // namespace

extern "C" __attribute__((visibility("default"))) HRESULT DllGetClassObject(REFCLSID clsid, REFIID riid, void **ppv) {
  if (ppv == nullptr) return E_POINTER;
  *ppv = nullptr;
  if (clsid != CLSID_Greeting) return CLASS_E_CLASSNOTAVAILABLE;
  return factory.QueryInterface(riid, ppv);
}
