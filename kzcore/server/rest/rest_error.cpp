#include <kzcore/server/rest/rest_error.h>

#include <map>

#include <kzcore/pal/bstr.h>
#include <kzcore/pal/safe_array.h>
#include <kzcore/server/rest/internal/json_objects.h>

namespace RESTSupport {

using internal::Held;

namespace {

// The codes of the server side and their errors. Filled by the initialisers below, each entry
// straight after its constant, and only read afterwards.
std::map<HRESULT, const RESTError *> g_errorsByCode;

bool MapCode(HRESULT hr, const RESTError &error) {
  g_errorsByCode[hr] = &error;
  return true;
}

}  // namespace

// Kept on purpose: "Access denied." carries 400; only the token refusal carries 403.
const RESTError RESTError::GenericError(400, u"Unable to complete operation.");
[[maybe_unused]] static const bool g_mappedGeneric = MapCode(E_FAIL, RESTError::GenericError);
const RESTError RESTError::InvalidArgs(400, u"Invalid or missing input parameters.");
[[maybe_unused]] static const bool g_mappedInvalidArgs = MapCode(E_INVALIDARG, RESTError::InvalidArgs);
const RESTError RESTError::InvalidUrl(400, u"Invalid URL.");
[[maybe_unused]] static const bool g_mappedInvalidUrl = MapCode(REST_E_INVALID_URL, RESTError::InvalidUrl);
const RESTError RESTError::AccessDenied(400, u"Access denied.");
[[maybe_unused]] static const bool g_mappedAccessDenied = MapCode(E_ACCESSDENIED, RESTError::AccessDenied);
const RESTError RESTError::CapabilityError(400, u"Requested operation is not supported by this service.");
[[maybe_unused]] static const bool g_mappedCapability = MapCode(REST_E_CAPABILITY, RESTError::CapabilityError);
const RESTError RESTError::BadOutputFormat(400, u"Requested format is not supported.");
[[maybe_unused]] static const bool g_mappedBadOutputFormat =
    MapCode(REST_E_BAD_OUTPUT_FORMAT, RESTError::BadOutputFormat);
const RESTError RESTError::ValidTokenAccessDenied(403, u"Token is valid but access is denied.");
[[maybe_unused]] static const bool g_mappedTokenAccessDenied =
    MapCode(REST_E_TOKEN_ACCESS_DENIED, RESTError::ValidTokenAccessDenied);
const RESTError RESTError::TokenRequired(499, u"Token required but not passed in the request.");
[[maybe_unused]] static const bool g_mappedTokenRequired = MapCode(REST_E_TOKEN_REQUIRED, RESTError::TokenRequired);
const RESTError RESTError::OperationRolledBack(400, u"Operation rolled back.");
[[maybe_unused]] static const bool g_mappedRolledBack = MapCode(REST_E_ROLLED_BACK, RESTError::OperationRolledBack);
const RESTError RESTError::ServiceUnavailable(503, u"Service unavailable.");
[[maybe_unused]] static const bool g_mappedServiceUnavailable =
    MapCode(REST_E_SERVICE_UNAVAILABLE, RESTError::ServiceUnavailable);
const RESTError RESTError::PrivilegesError(400, u"User does not have privileges to perform this operation.");
[[maybe_unused]] static const bool g_mappedPrivileges = MapCode(REST_E_PRIVILEGES, RESTError::PrivilegesError);

const String ErrorResponseProperties(u"{\"Content-Type\":\"text/plain\", \"Success\":false}");

RESTError::RESTError() : code(0), infos(nullptr) {}

RESTError::RESTError(int code, const WCHAR *message) : code(code), message(message), infos(nullptr) {}

RESTError::RESTError(const RESTError &other)
    : code(other.code), message(other.message), details(other.details), infos(other.infos) {
  if (infos != nullptr) infos->AddRef();
}

RESTError &RESTError::operator=(const RESTError &other) {
  if (this == &other) return *this;  // String assignment frees before it shares
  code = other.code;
  message = other.message;
  details = other.details;
  if (other.infos != nullptr) {
    other.infos->AddRef();
    if (infos != nullptr) infos->Release();
    infos = other.infos;
  }
  return *this;
}

RESTError::~RESTError() {
  if (infos != nullptr) infos->Release();
}

void RESTError::Clear() {
  code = 0;
  message.Empty();
  details.RemoveAll();
  if (infos != nullptr) infos->Clear();
}

HRESULT RESTError::ToJSONObject(IJSONObject **out) const {
  if (out == nullptr) return E_POINTER;
  *out = nullptr;
  Held<IJSONObject> document;
  Held<IJSONObject> inner;
  HRESULT hr = internal::NewObject(document.put());
  if (SUCCEEDED(hr)) hr = internal::NewObject(inner.put());
  if (FAILED(hr)) return hr;
  inner->AddInteger(u"code", code);
  inner->AddString(u"message", message);
  Held<IJSONArray> list;
  if (SUCCEEDED(internal::NewArray(list.put()))) {
    for (int i = 0; i < details.GetSize(); ++i) list->AddString(details.Get(i));
    inner->AddArray(u"details", list.get());
  }
  if (infos != nullptr) inner->AddArray(u"infos", infos);
  document->AddObject(u"error", inner.get());
  *out = document.detach();
  return S_OK;
}

bool ComErrorToRestError(HRESULT hr, RESTError &out) {
  out.Clear();
  auto found = g_errorsByCode.find(hr);
  out = found != g_errorsByCode.end() ? *found->second : RESTError::GenericError;
  IErrorInfo *info = nullptr;
  if (GetErrorInfo(0, &info) != S_OK || info == nullptr) return true;
  BSTR description = nullptr;
  // The standard message stays; the server's own words go to the details.
  if (SUCCEEDED(info->GetDescription(&description)) && description != nullptr && description[0] != 0)
    out.details.Insert(description, -1);
  SysFreeString(description);
  info->Release();
  return true;
}

HRESULT HandleError(const RESTError &error, BSTR *properties, SAFEARRAY **body) {
  if (properties == nullptr || body == nullptr) return E_POINTER;
  SysFreeString(*properties);
  *properties = ErrorResponseProperties.MakeBSTR();
  if (*body != nullptr) SafeArrayDestroy(*body);
  *body = nullptr;
  Held<IJSONObject> document;
  error.ToJSONObject(document.put());
  Held<IJSONWriter> writer;
  HRESULT hr = internal::NewWriter(writer.put());
  if (FAILED(hr)) return hr;
  if (document) {
    writer->Initialize();
    writer->WriteObject(nullptr, document.get());
    writer->GetBytes(body);
  }
  return S_OK;
}

HRESULT HandleError(HRESULT hr, BSTR *properties, SAFEARRAY **body) {
  RESTError error;
  ComErrorToRestError(hr, error);
  return HandleError(error, properties, body);
}

HRESULT HandleError(int code, const WCHAR *message, BSTR *properties, SAFEARRAY **body) {
  return HandleError(RESTError(code, message), properties, body);
}

HRESULT HandleError(const RESTError &error, IJSONObject **properties, VARIANT &body) {
  if (properties == nullptr) return E_POINTER;
  VariantClear(&body);
  if (*properties != nullptr) (*properties)->Release();
  *properties = nullptr;
  IJSONObject *document = nullptr;
  if (SUCCEEDED(error.ToJSONObject(&document))) {
    body.vt = VT_UNKNOWN;
    body.punkVal = document;
  }
  Held<IJSONObject> answer;
  HRESULT hr = internal::NewObject(answer.put());
  if (FAILED(hr)) return hr;
  answer->AddString(u"Content-Type", u"text/plain");
  answer->AddBoolean(u"Success", VARIANT_FALSE);
  *properties = answer.detach();
  return S_OK;
}

HRESULT HandleError(HRESULT hr, IJSONObject **properties, VARIANT &body) {
  RESTError error;
  ComErrorToRestError(hr, error);
  return HandleError(error, properties, body);
}

HRESULT HandleError(int code, const WCHAR *message, IJSONObject **properties, VARIANT &body) {
  return HandleError(RESTError(code, message), properties, body);
}

}  // namespace RESTSupport
