// Whole HTTP requests (request line, header lines, a blank line, the body) through the host's URL
// mapping and Host check: a defined route for every input, and for a service call an operation
// input and request properties that are JSON objects a reader can take.
#include <cstdlib>
#include <string_view>

#include <rapidjson/document.h>

#include "host_check.h"
#include "json_text.h"
#include "request_mapping.h"

namespace {

const kzhost::ServiceSchemas &Schemas() {
  static const kzhost::ServiceSchemas schemas = [] {
    kzhost::ServiceSchemas s;
    s.emplace("Roads", kzhost::ParseSchema(
                           R"({"name":"","operations":[{"name":"export"}],"resources":[
                              {"name":"items","isCollection":true,"isDefaultCollection":true,
                               "operations":[{"name":"query"}],"resources":[{"name":"fields"}]},
                              {"name":"layers","operations":[{"name":"identify"}]}]})"));
    s.emplace("Named", kzhost::ParseSchema(R"({"name":"top","operations":[{"name":"run"}]})"));
    s.emplace("Opaque", std::nullopt);
    return s;
  }();
  return schemas;
}

bool IsJsonObject(const std::string &text) {
  rapidjson::Document doc;
  return kzhost::ParseJson(text, doc) && doc.IsObject();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  std::string_view raw(reinterpret_cast<const char *>(data), size);
  size_t head_end = raw.find("\r\n\r\n");
  std::string_view head = raw.substr(0, head_end);
  std::string_view body = head_end == std::string_view::npos ? std::string_view() : raw.substr(head_end + 4);

  kzhost::HttpRequest request;
  size_t line_end = head.find("\r\n");
  std::string_view line = head.substr(0, line_end);
  size_t sp1 = line.find(' ');
  size_t sp2 = sp1 == std::string_view::npos ? sp1 : line.find(' ', sp1 + 1);
  request.method = line.substr(0, sp1);
  if (sp1 != std::string_view::npos) request.target = line.substr(sp1 + 1, sp2 == std::string_view::npos ? sp2 : sp2 - sp1 - 1);
  std::string_view host;
  for (std::string_view rest = line_end == std::string_view::npos ? std::string_view() : head.substr(line_end + 2);
       !rest.empty();) {
    size_t end = rest.find("\r\n");
    std::string_view header = rest.substr(0, end);
    rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + 2);
    size_t colon = header.find(':');
    if (colon == std::string_view::npos) continue;
    std::string_view value = header.substr(colon + 1);
    while (!value.empty() && value.front() == ' ') value.remove_prefix(1);
    request.headers.emplace_back(header.substr(0, colon), value);
    if (header.substr(0, colon) == "Host") host = value;
  }
  request.body = body;

  static const kzhost::HostPolicy policy = kzhost::HostPolicy::For("127.0.0.1", 8080, {"gis.example"});
  kzhost::HostAllowed(host, policy);

  kzhost::Route route = kzhost::MapRequest(request, Schemas());
  switch (route.kind) {
    case kzhost::RouteKind::kService:
      if (!IsJsonObject(route.input) || !IsJsonObject(route.properties)) std::abort();
      if (Schemas().find(route.service) == Schemas().end()) std::abort();
      break;
    case kzhost::RouteKind::kSchema:
      if (Schemas().find(route.service) == Schemas().end()) std::abort();
      break;
    case kzhost::RouteKind::kHttpError:
      if (route.status < 400 || route.status > 499) std::abort();
      break;
    case kzhost::RouteKind::kRestError:
      if (!IsJsonObject(kzhost::ErrorDocument(route.error, route.detail))) std::abort();
      break;
    case kzhost::RouteKind::kServiceList:
      break;
  }
  return 0;
}
