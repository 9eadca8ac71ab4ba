// REST failures as a client sees them: a JSON document in the response body and a small JSON text
// in the response properties, with success returned to the host. RESTError is that document as a
// value; the standard errors are constants, and a table made when the library loads maps the codes
// of the server side to them.
//
//   // In a handler: answer with the document of a code and the thread's error description.
//   if (FAILED(hr)) return RESTSupport::HandleError(hr, responseProperties, responseData);  // 0
//
//   RESTSupport::RESTError error;
//   RESTSupport::ComErrorToRestError(E_INVALIDARG, error);
//   // error.code 400, error.message "Invalid or missing input parameters."
//
// The document: {"error":{"code":400,"message":"Invalid URL.","details":[]}}, with "infos" after
// "details" when the error carries one.
#pragma once

#include <kzcore/core/string.h>
#include <kzcore/core/string_array.h>
#include <kzcore/pal/variant.h>
#include <kzcore/server/json_service.h>

namespace RESTSupport {

// Codes of the server side with an error of their own (E_FAIL, E_INVALIDARG and E_ACCESSDENIED
// have theirs too).
constexpr HRESULT REST_E_TOKEN_ACCESS_DENIED = static_cast<HRESULT>(0x80040203);
constexpr HRESULT REST_E_TOKEN_REQUIRED = static_cast<HRESULT>(0x8004021A);
constexpr HRESULT REST_E_SERVICE_UNAVAILABLE = static_cast<HRESULT>(0x80040220);
constexpr HRESULT REST_E_INVALID_URL = static_cast<HRESULT>(0x80040501);  // also: no such operation
constexpr HRESULT REST_E_CAPABILITY = static_cast<HRESULT>(0x80040502);
constexpr HRESULT REST_E_BAD_OUTPUT_FORMAT = static_cast<HRESULT>(0x80040503);
constexpr HRESULT REST_E_ROLLED_BACK = static_cast<HRESULT>(0x80040504);
constexpr HRESULT REST_E_PRIVILEGES = static_cast<HRESULT>(0x80040505);

class KZ_API RESTError {
 public:
  // Code 0, no message, no details, no infos.
  RESTError();
  RESTError(int code, const WCHAR *message);
  // Copies everything and takes a reference on infos.
  RESTError(const RESTError &other);
  // Copies code, message and details. Kept on purpose: infos is taken only when the source has
  // one, so assigning an error without infos keeps the target's.
  RESTError &operator=(const RESTError &other);
  ~RESTError();

  // Code 0, message and details emptied; infos, when there is one, is emptied and kept.
  void Clear();
  // A new JSON object {"error":{"code":..,"message":..,"details":[..]}} with "infos" last in the
  // inner object when there is one. The result is that of making the objects.
  HRESULT ToJSONObject(IJSONObject **out) const;

  // The standard errors, made when the library loads and never changed.
  static const RESTError GenericError;            // 400 "Unable to complete operation."
  static const RESTError InvalidArgs;             // 400 "Invalid or missing input parameters."
  static const RESTError InvalidUrl;              // 400 "Invalid URL."
  static const RESTError AccessDenied;            // 400 "Access denied."
  static const RESTError CapabilityError;         // 400 "Requested operation is not supported ..."
  static const RESTError BadOutputFormat;         // 400 "Requested format is not supported."
  static const RESTError ValidTokenAccessDenied;  // 403 "Token is valid but access is denied."
  static const RESTError TokenRequired;           // 499 "Token required but not passed in the request."
  static const RESTError OperationRolledBack;     // 400 "Operation rolled back."
  static const RESTError ServiceUnavailable;      // 503 "Service unavailable."
  static const RESTError PrivilegesError;         // 400 "User does not have privileges to ..."

  int code;
  String message;
  StringArray details;
  // Filled by handlers that have more to say; one reference held.
  IJSONArray *infos;
};

// The response properties text of every error: {"Content-Type":"text/plain", "Success":false}.
KZ_API extern const String ErrorResponseProperties;

// Sets `out` to the standard error of `hr` (GenericError for any code without one, success codes
// included) and appends the description of the calling thread's error object, when it has a
// non-empty one, to its details; the thread's error object is taken. Always true.
KZ_API bool ComErrorToRestError(HRESULT hr, RESTError &out);

// The response of an error as text and bytes: *properties (freed first when set) becomes a copy
// of ErrorResponseProperties, *body (destroyed first when set) the UTF-8 bytes of the document.
// 0 once the properties are set and a JSON writer could be made; the writer's failure when it
// could not (the properties are set, the body is null); E_POINTER, writing nothing, when
// `properties` or `body` is null. The form with a code takes the thread's error description.
KZ_API HRESULT HandleError(HRESULT hr, BSTR *properties, SAFEARRAY **body);
KZ_API HRESULT HandleError(int code, const WCHAR *message, BSTR *properties, SAFEARRAY **body);
KZ_API HRESULT HandleError(const RESTError &error, BSTR *properties, SAFEARRAY **body);

// The same as objects, for a handler to return: `body` (cleared first) holds the document as
// VT_UNKNOWN, *properties (released first when set) a new object with "Content-Type": "text/plain"
// and "Success": false. 0 once the properties object is made, else the failure of making it;
// E_POINTER when `properties` is null.
KZ_API HRESULT HandleError(HRESULT hr, IJSONObject **properties, VARIANT &body);
KZ_API HRESULT HandleError(int code, const WCHAR *message, IJSONObject **properties, VARIANT &body);
KZ_API HRESULT HandleError(const RESTError &error, IJSONObject **properties, VARIANT &body);

}  // namespace RESTSupport
