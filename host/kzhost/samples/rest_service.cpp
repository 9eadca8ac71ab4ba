#include "rest_service.h"

#include <mutex>

#include <kzcore/core/class_factory.h>
#include <kzcore/pal/wide.h>
#include <kzcore/platform/object_creation.h>

#include "geometry_service.h"
#include "info_service.h"

namespace kzhost {
namespace {

template <class Interface>
HRESULT Make(REFCLSID clsid, Interface **out) {
  return KzCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, KZ_IID(Interface), reinterpret_cast<void **>(out));
}

template <class Service>
bool Register(REFCLSID clsid) {
  static ClassFactory<Service> factory;
  DWORD cookie = 0;
  return SUCCEEDED(CoRegisterClassObject(clsid, &factory, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &cookie));
}

}  // namespace

HRESULT RESTService::InternalQueryInterface(REFIID riid, void **ppv) {
  if (ppv != nullptr && riid == KZ_IID(IRESTRequestHandler))
    return Answer(static_cast<IRESTRequestHandler *>(this), ppv);
  return Unknown::InternalQueryInterface(riid, ppv);
}

HRESULT RESTService::HandleRESTRequest(BSTR capabilities, BSTR resourceName, BSTR operationName,
                                       BSTR operationInput, BSTR outputFormat, BSTR requestProperties,
                                       BSTR *responseProperties, SAFEARRAY **responseData) {
  if (responseProperties != nullptr) *responseProperties = nullptr;
  if (responseData != nullptr) *responseData = nullptr;
  return dispatcher_.HandleRESTRequest(capabilities, resourceName, operationName, operationInput, outputFormat,
                                       requestProperties, responseProperties, responseData);
}

HRESULT RESTService::GetSchema(BSTR *schema) {
  if (schema == nullptr) return E_POINTER;
  return dispatcher_.GetSchema(schema);
}

HRESULT NewJson(IJSONObject **out) { return Make(CLSID_JSONObject, out); }
HRESULT NewJson(IJSONArray **out) { return Make(CLSID_JSONArray, out); }

StringArray Texts(std::initializer_list<const WCHAR *> texts) {
  StringArray out;
  for (const WCHAR *text : texts) out.Insert(text);
  return out;
}

HRESULT ReadInput(const WCHAR *operationInput, IJSONObject **input) {
  ComPtr<IJSONObject> object;
  HRESULT hr = NewJson(object.put());
  if (FAILED(hr)) return hr;
  if (operationInput != nullptr && operationInput[0] != 0 && FAILED(object->Parse(operationInput)))
    return Fail(E_INVALIDARG, u"The operation input is not a JSON object.");
  *input = object.detach();
  return S_OK;
}

HRESULT StartAnswer(const WCHAR *outputFormat, IJSONObject **body) {
  if (wcscmp(outputFormat, u"json") != 0) return RESTSupport::REST_E_BAD_OUTPUT_FORMAT;
  return NewJson(body);
}

HRESULT StartOperation(const WCHAR *operationInput, const WCHAR *outputFormat, IJSONObject **input,
                       IJSONObject **answer) {
  HRESULT hr = ReadInput(operationInput, input);
  return SUCCEEDED(hr) ? StartAnswer(outputFormat, answer) : hr;
}

HRESULT AnswerJson(IJSONObject *body, VARIANT &responseData) {
  body->AddRef();
  responseData.vt = VT_UNKNOWN;
  responseData.punkVal = body;
  return S_OK;
}

HRESULT Fail(HRESULT hr, const WCHAR *description) {
  ComPtr<ICreateErrorInfo> info;
  ComPtr<IErrorInfo> error;
  if (SUCCEEDED(CreateErrorInfo(info.put())) &&
      SUCCEEDED(info->SetDescription(const_cast<LPOLESTR>(description))) &&
      SUCCEEDED(info->QueryInterface(error.put())))
    SetErrorInfo(0, error.get());
  return hr;
}

HRESULT CopyMember(IJSONObject *from, const WCHAR *name, IJSONObject *to, const WCHAR *as) {
  JSONType type;
  HRESULT hr = from->GetMemberType(name, &type);
  if (FAILED(hr)) return hr;
  switch (type) {
    case JSONTypeNull:
      return to->AddNull(as);
    case JSONTypeBoolean: {
      VARIANT_BOOL value;
      hr = from->GetBoolean(name, &value);
      return SUCCEEDED(hr) ? to->AddBoolean(as, value) : hr;
    }
    case JSONTypeNumber: {
      double value;
      hr = from->GetNumber(name, &value);
      return SUCCEEDED(hr) ? to->AddNumber(as, value) : hr;
    }
    case JSONTypeString: {
      BSTR value = nullptr;
      hr = from->GetString(name, &value);
      if (SUCCEEDED(hr)) hr = to->AddString(as, value);
      SysFreeString(value);
      return hr;
    }
    case JSONTypeObject: {
      ComPtr<IJSONObject> value;
      hr = from->GetObject(name, value.put());
      return SUCCEEDED(hr) ? to->AddObject(as, value.get()) : hr;
    }
    case JSONTypeArray: {
      ComPtr<IJSONArray> value;
      hr = from->GetArray(name, value.put());
      return SUCCEEDED(hr) ? to->AddArray(as, value.get()) : hr;
    }
  }
  return E_UNEXPECTED;
}

bool RegisterSampleClasses() {
  static std::once_flag once;
  static bool registered = false;
  std::call_once(once, [] {
    registered = Register<InfoService>(CLSID_KzInfoService) && Register<GeometryService>(CLSID_KzGeometryService);
  });
  return registered;
}

}  // namespace kzhost
