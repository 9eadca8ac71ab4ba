#include "sample_service.h"

#include <mutex>

#include <kzcore/pal/wide.h>

#include "../com_text.h"
#include "../json_text.h"
#include "geometry_service.h"
#include "info_service.h"

namespace kzhost {
namespace {

std::string Lower(std::string_view s) {
  std::string out(s);
  for (char &c : out)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return out;
}

std::string_view TrimBlanks(std::string_view s) {
  while (!s.empty() && (s.front() == ' ' || s.front() == '\t' || s.front() == '\n')) s.remove_prefix(1);
  while (!s.empty() && (s.back() == ' ' || s.back() == '\t' || s.back() == '\n')) s.remove_suffix(1);
  return s;
}

// An empty requirement passes; otherwise one entry of the comma-separated list must match it,
// without regard to case.
bool HasCapability(std::string_view capabilities, const std::string &required) {
  if (required.empty()) return true;
  const std::string want = Lower(required);
  while (!capabilities.empty()) {
    size_t comma = capabilities.find(',');
    if (Lower(TrimBlanks(capabilities.substr(0, comma))) == want) return true;
    if (comma == std::string_view::npos) break;
    capabilities.remove_prefix(comma + 1);
  }
  return false;
}

HRESULT Deliver(std::string_view properties, std::string_view body, BSTR *response_properties,
                SAFEARRAY **response_data) {
  *response_properties = Bstr::FromUtf8(properties).release();
  *response_data = NewByteArray(body);
  if (*response_properties == nullptr || *response_data == nullptr) {
    SysFreeString(*response_properties);
    SafeArrayDestroy(*response_data);
    *response_properties = nullptr;
    *response_data = nullptr;
    return E_OUTOFMEMORY;
  }
  return S_OK;
}

HRESULT DeliverError(RestError error, std::string_view detail, BSTR *response_properties,
                     SAFEARRAY **response_data) {
  return Deliver(kErrorProperties, ErrorDocument(error, detail), response_properties, response_data);
}

template <class Service>
class Factory final : public IClassFactory {
 public:
  HRESULT QueryInterface(REFIID riid, void **ppv) override {
    if (ppv == nullptr) return E_POINTER;
    if (riid == KZ_IID(IUnknown) || riid == KZ_IID(IClassFactory)) {
      *ppv = static_cast<IClassFactory *>(this);
      AddRef();
      return S_OK;
    }
    *ppv = nullptr;
    return E_NOINTERFACE;
  }
  ULONG AddRef() override { return InterlockedIncrement(&refs_); }
  ULONG Release() override {
    ULONG n = InterlockedDecrement(&refs_);
    if (n == 0) delete this;
    return n;
  }
  HRESULT CreateInstance(IUnknown *outer, REFIID riid, void **ppv) override {
    if (ppv == nullptr) return E_POINTER;
    *ppv = nullptr;
    if (outer != nullptr) return CLASS_E_NOAGGREGATION;
    auto *service = new (std::nothrow) Service();
    if (service == nullptr) return E_OUTOFMEMORY;
    HRESULT hr = service->QueryInterface(riid, ppv);
    service->Release();  // the object's first reference, now held by *ppv or gone
    return hr;
  }
  HRESULT LockServer(BOOL) override { return S_OK; }

 private:
  LONG volatile refs_ = 1;
};

template <class Service>
bool Register(REFCLSID clsid) {
  auto *factory = new Factory<Service>();
  DWORD cookie = 0;
  HRESULT hr = CoRegisterClassObject(clsid, factory, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &cookie);
  factory->Release();  // the registry holds its own reference for the life of the process
  return SUCCEEDED(hr);
}

}  // namespace

HRESULT SampleService::InternalQueryInterface(REFIID riid, void **ppv) {
  if (ppv != nullptr && riid == KZ_IID(IRESTRequestHandler))
    return Answer(static_cast<IRESTRequestHandler *>(this), ppv);
  return Unknown::InternalQueryInterface(riid, ppv);
}

const SchemaNode &SampleService::Schema() {
  if (!schema_) schema_ = ParseSchema(SchemaText());
  return *schema_;
}

HRESULT SampleService::GetSchema(BSTR *schema) {
  if (schema == nullptr) return E_POINTER;
  *schema = Bstr::FromUtf8(SchemaText()).release();
  return *schema != nullptr ? S_OK : E_OUTOFMEMORY;
}

HRESULT SampleService::HandleRESTRequest(BSTR capabilities, BSTR resourceName, BSTR operationName,
                                         BSTR operationInput, BSTR outputFormat, BSTR requestProperties,
                                         BSTR *responseProperties, SAFEARRAY **responseData) {
  if (responseProperties == nullptr || responseData == nullptr) return E_POINTER;
  *responseProperties = nullptr;
  *responseData = nullptr;
  auto caps = ToUtf8(capabilities), path = ToUtf8(resourceName), op = ToUtf8(operationName),
       input = ToUtf8(operationInput), properties = ToUtf8(requestProperties);
  auto format = outputFormat != nullptr ? ToUtf8(outputFormat) : std::optional<std::string>("json");
  if (!caps || !path || !op || !input || !format || !properties)
    return DeliverError(RestError::kInvalidArgs, "A text is not valid UTF-16.", responseProperties, responseData);

  const SchemaNode &root = Schema();
  std::vector<std::string> components;
  for (std::string_view rest = *path; !rest.empty();) {
    size_t slash = rest.find('/');
    if (slash != 0) components.emplace_back(rest.substr(0, slash));
    if (slash == std::string_view::npos) break;
    rest.remove_prefix(slash + 1);
  }
  // A named root leads every path.
  if (!root.name.empty()) {
    if (components.empty() || components.front() != root.name)
      return DeliverError(RestError::kInvalidUrl, "", responseProperties, responseData);
    components.erase(components.begin());
  }
  SampleRequest request;
  request.resource = ResolveSchemaPath(root, components, &request.keys);
  if (request.resource == nullptr)
    return DeliverError(RestError::kInvalidUrl, "", responseProperties, responseData);
  request.item = request.resource->is_collection && request.keys.count(request.resource->name) != 0;
  request.operation = *op;

  const std::string *required = &request.resource->required_capability;
  if (!request.operation.empty()) {
    const SchemaOperation *declared = request.resource->Operation(request.operation);
    if (declared == nullptr) return DeliverError(RestError::kInvalidUrl, "", responseProperties, responseData);
    required = &declared->required_capability;
  }
  if (!HasCapability(*caps, *required))
    return DeliverError(RestError::kCapability, "", responseProperties, responseData);

  rapidjson::Document props;
  if (!properties->empty() && (!ParseJson(*properties, props) || !props.IsObject()))
    return DeliverError(RestError::kInvalidArgs, "The request properties are not a JSON object.", responseProperties,
                        responseData);
  if (*format != "json") return DeliverError(RestError::kBadOutputFormat, "", responseProperties, responseData);
  rapidjson::Document args;
  if (input->empty()) args.SetObject();
  else if (!ParseJson(*input, args) || !args.IsObject())
    return DeliverError(RestError::kInvalidArgs, "The operation input is not a JSON object.", responseProperties,
                        responseData);
  request.input = &args;

  SampleAnswer answer = Handle(request);
  if (!answer.ok) return DeliverError(answer.error, answer.text, responseProperties, responseData);
  return Deliver("{\"Content-Type\":\"application/json\"}", answer.text, responseProperties, responseData);
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
