#include "error_document.h"

#include "json_text.h"

namespace kzhost {

std::string ErrorDocument(RestError error, std::string_view detail) {
  int code = 400;
  std::string_view message;
  switch (error) {
    case RestError::kGeneric: message = "Unable to complete operation."; break;
    case RestError::kInvalidArgs: message = "Invalid or missing input parameters."; break;
    case RestError::kInvalidUrl: message = "Invalid URL."; break;
    case RestError::kCapability: message = "Requested operation is not supported by this service."; break;
    case RestError::kBadOutputFormat: message = "Requested format is not supported."; break;
    case RestError::kServiceUnavailable:
      code = 503;
      message = "Service unavailable.";
      break;
  }
  std::string out = "{\"error\":{\"code\":" + std::to_string(code) + ",\"message\":";
  AppendJsonString(out, message);
  out += ",\"details\":[";
  if (!detail.empty()) AppendJsonString(out, detail);
  out += "]}}";
  return out;
}

}  // namespace kzhost
