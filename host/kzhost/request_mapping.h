// From an HTTP request to what the host does with it: a pure function of the request and the
// schemas of the services, with no I/O, so that it can be tested and fuzzed on its own.
//
//   GET /services                          the list of services
//   GET /schema/<service>                  the service's schema document
//   GET|POST /services/<service>[/<resource path>][/<operation>]?<parameters>
//                                          a REST request to the service
//
// For a REST request the path below the service is split with the service's schema: the last
// component is the operation when the resource before it declares an operation of that name,
// and otherwise part of the resource path. The parameters of the query (and of a form or JSON
// body on POST) become the members of the operation input, a JSON object; "format" is the output
// format instead ("json" when absent). A value that starts with "{" or "[" must be JSON and is
// kept as JSON, as are numbers, true, false and null; any other value is a JSON string. The
// request properties are a JSON object holding "HttpMethod" and the members of the header
// X-Kz-Request-Properties, which must be a JSON object when present.
//
//   Route r = MapRequest({.method = "GET", .target = "/services/Geometry/pointInEnvelope?..."},
//                        schemas);
//   if (r.kind == RouteKind::kService) ... call the service with r.resource, r.operation, ...
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "error_document.h"
#include "service_schema.h"

namespace kzhost {

struct HttpRequest {
  std::string_view method;
  std::string_view target;  // the request target as sent: path and query, percent-encoded
  std::vector<std::pair<std::string_view, std::string_view>> headers;
  std::string_view body;
};

enum class RouteKind {
  kServiceList,  // answer the list of services
  kSchema,       // answer the schema of `service`
  kService,      // call `service`
  kRestError,    // answer the error document of `error` with `detail`
  kHttpError     // answer the HTTP status `status` with `detail`
};

struct Route {
  RouteKind kind = RouteKind::kHttpError;
  int status = 400;                       // kHttpError
  RestError error = RestError::kGeneric;  // kRestError
  std::string detail;                     // kRestError, kHttpError
  std::string allow;                      // the methods allowed, with status 405
  std::string service;
  std::string resource;                   // below the service, with the root's name in front
  std::string operation;                  // empty for the resource itself
  std::string input;                      // JSON object
  std::string format;
  std::string properties;                 // JSON object
};

// What the host knows of each service: its schema tree, or nothing when the service gave none
// (every path is then a resource path and the service judges it).
using ServiceSchemas = std::map<std::string, std::optional<SchemaNode>, std::less<>>;

Route MapRequest(const HttpRequest &request, const ServiceSchemas &schemas);

// Percent-decoding of one component of a path ('+' stays) or of a query ('+' is a space). False
// for a cut or non-hexadecimal escape, an encoded 0 byte, or a result that is not UTF-8.
bool PercentDecode(std::string_view text, bool plus_is_space, std::string &out);

}  // namespace kzhost
