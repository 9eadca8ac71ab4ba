// The error documents that the host writes itself, for requests that never reach a service (an
// unknown service, bad parameters) or that a service cannot take (it failed to start). They have
// the form and the standard codes and messages that services use for their own failures, so that
// a client reads every failure the same way:
//
//   {"error":{"code":400,"message":"Invalid URL.","details":["No service named 'Roads'."]}}
//
// with the response properties {"Content-Type":"text/plain", "Success":false}.
#pragma once

#include <string>
#include <string_view>

namespace kzhost {

enum class RestError {
  kGeneric,            // 400 "Unable to complete operation."
  kInvalidArgs,        // 400 "Invalid or missing input parameters."
  kInvalidUrl,         // 400 "Invalid URL."
  kCapability,         // 400 "Requested operation is not supported by this service."
  kBadOutputFormat,    // 400 "Requested format is not supported."
  kServiceUnavailable  // 503 "Service unavailable."
};

// The response properties that go with every error document.
inline constexpr std::string_view kErrorProperties = "{\"Content-Type\":\"text/plain\", \"Success\":false}";

// The document of `error`, with `detail` as the one entry of "details" (none when empty).
std::string ErrorDocument(RestError error, std::string_view detail = {});

}  // namespace kzhost
