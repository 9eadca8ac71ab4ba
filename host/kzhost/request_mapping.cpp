#include "request_mapping.h"

#include <array>
#include <cstring>
#include <span>
#include <unordered_map>

#include "json_text.h"

namespace kzhost {
namespace {

constexpr std::string_view kPropertiesHeader = "X-Kz-Request-Properties";

bool EqualsNoCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    char x = a[i], y = b[i];
    if (x >= 'A' && x <= 'Z') x = static_cast<char>(x - 'A' + 'a');
    if (y >= 'A' && y <= 'Z') y = static_cast<char>(y - 'A' + 'a');
    if (x != y) return false;
  }
  return true;
}

const std::string_view *FindHeader(const HttpRequest &request, std::string_view name) {
  for (const auto &h : request.headers)
    if (EqualsNoCase(h.first, name)) return &h.second;
  return nullptr;
}

std::string_view Trim(std::string_view s) {
  while (!s.empty() && (s.front() == ' ' || s.front() == '\t')) s.remove_prefix(1);
  while (!s.empty() && (s.back() == ' ' || s.back() == '\t')) s.remove_suffix(1);
  return s;
}

// The value of a hexadecimal digit, -1 for any other byte: looked up, as parameters of JSON
// text are mostly escapes.
int HexValue(char c) {
  static constexpr auto kValues = [] {
    std::array<signed char, 256> values{};
    values.fill(-1);
    for (int d = 0; d < 10; ++d) values['0' + d] = static_cast<signed char>(d);
    for (int d = 0; d < 6; ++d) values['a' + d] = values['A' + d] = static_cast<signed char>(10 + d);
    return values;
  }();
  return kValues[static_cast<unsigned char>(c)];
}

// Well-formed UTF-8: no overlong forms, no surrogates, nothing past U+10FFFF.
bool ValidUtf8(std::string_view s) {
  const auto *p = reinterpret_cast<const unsigned char *>(s.data());
  const auto *end = p + s.size();
  for (int n; p < end; p += n) {
    unsigned cp;
    if (*p < 0x80) n = 1;  // nearly every byte of a request
    else if ((n = DecodeUtf8(p, end, &cp)) == 0) return false;
  }
  return true;
}

Route HttpError(int status, std::string detail) {
  Route r;
  r.kind = RouteKind::kHttpError;
  r.status = status;
  r.detail = std::move(detail);
  return r;
}

Route RestFailure(RestError error, std::string detail) {
  Route r;
  r.kind = RouteKind::kRestError;
  r.error = error;
  r.detail = std::move(detail);
  return r;
}

Route MethodNotAllowed(std::string allow) {
  Route r = HttpError(405, "Method not allowed.");
  r.allow = std::move(allow);
  return r;
}

// The parameters of a request in their order, a later one of the same name replacing the
// earlier value in place. Values are JSON texts.
class Parameters {
 public:
  void Set(std::string name, std::string json) {
    if (size_t at = Find(name); at != kAbsent) {
      entries_[at].second = std::move(json);
      return;
    }
    if (!index_.empty() || entries_.size() == kScanned) {
      for (size_t i = index_.size(); i < entries_.size(); ++i) index_.emplace(entries_[i].first, i);
      index_.emplace(name, entries_.size());
    }
    entries_.emplace_back(std::move(name), std::move(json));
  }
  std::string ToJson() const {
    size_t size = 2;
    for (const auto &[name, json] : entries_) size += name.size() + json.size() + 4;
    std::string out;
    out.reserve(size);
    out.push_back('{');
    for (const auto &[name, json] : entries_) {
      if (out.size() > 1) out.push_back(',');
      AppendJsonString(out, name);
      out.push_back(':');
      out += json;
    }
    out.push_back('}');
    return out;
  }

 private:
  // A request carries a few parameters, looked for in order; past this many they are indexed.
  static constexpr size_t kScanned = 16;
  static constexpr size_t kAbsent = ~size_t{0};
  size_t Find(const std::string &name) const {
    if (!index_.empty()) {
      auto it = index_.find(name);
      return it != index_.end() ? it->second : kAbsent;
    }
    for (size_t i = 0; i < entries_.size(); ++i)
      if (entries_[i].first == name) return i;
    return kAbsent;
  }

  std::vector<std::pair<std::string, std::string>> entries_;
  std::unordered_map<std::string, size_t> index_;
};

bool LooksLikeNumber(std::string_view v) {
  return !v.empty() && (v.front() == '-' || (v.front() >= '0' && v.front() <= '9'));
}

// The JSON text of one parameter value (see the header), or false when a value that must be JSON
// is not.
bool ParameterJson(std::string_view value, std::string &json) {
  std::string_view t = Trim(value);
  if (!t.empty() && (t.front() == '{' || t.front() == '[')) {
    if (!ValidJson(t, kMaxJsonDepth)) return false;
    json.assign(t);
    return true;
  }
  if (t == "true" || t == "false" || t == "null" || (LooksLikeNumber(t) && ValidJson(t, 1))) {
    json.assign(t);
    return true;
  }
  json.clear();
  AppendJsonString(json, value);
  return true;
}

struct Collected {
  Parameters parameters;
  bool has_format = false;
  std::string format;
};

// Reads "a=1&b=2" into `out`. An HTTP error (bad escape) or a REST error (bad JSON) fills
// `failure` and gives false.
bool ReadForm(std::string_view form, Collected &out, Route &failure) {
  std::string name, value;
  while (!form.empty()) {
    size_t amp = form.find('&');
    std::string_view pair = form.substr(0, amp);
    form = amp == std::string_view::npos ? std::string_view() : form.substr(amp + 1);
    if (pair.empty()) continue;
    size_t eq = pair.find('=');
    value.clear();
    if (!PercentDecode(pair.substr(0, eq), true, name) ||
        (eq != std::string_view::npos && !PercentDecode(pair.substr(eq + 1), true, value))) {
      failure = HttpError(400, "Malformed escape in the parameters.");
      return false;
    }
    if (name.empty()) continue;
    if (name == "format") {
      out.has_format = true;
      out.format = value;
      continue;
    }
    std::string json;
    if (!ParameterJson(value, json)) {
      failure = RestFailure(RestError::kInvalidArgs, "Parameter '" + name + "' is not valid JSON.");
      return false;
    }
    out.parameters.Set(name, std::move(json));
  }
  return true;
}

bool ReadJsonBody(std::string_view body, Collected &out, Route &failure) {
  rapidjson::Document doc;
  if (!ParseJson(body, doc) || !doc.IsObject()) {
    failure = RestFailure(RestError::kInvalidArgs, "The request body is not a JSON object.");
    return false;
  }
  for (const auto &m : doc.GetObject()) {
    std::string name(m.name.GetString(), m.name.GetStringLength());
    if (name == "format") {
      if (!m.value.IsString()) {
        failure = RestFailure(RestError::kInvalidArgs, "The format must be a string.");
        return false;
      }
      out.has_format = true;
      out.format.assign(m.value.GetString(), m.value.GetStringLength());
      continue;
    }
    out.parameters.Set(std::move(name), WriteJson(m.value));
  }
  return true;
}

// {"HttpMethod":..., then the members of the client's properties}.
bool RequestProperties(const HttpRequest &request, std::string &out, Route &failure) {
  rapidjson::Document doc;
  const std::string_view *given = FindHeader(request, kPropertiesHeader);
  if (given == nullptr) {
    out.reserve(request.method.size() + 18);
    out = "{\"HttpMethod\":";
    AppendJsonString(out, request.method);
    out.push_back('}');
    return true;
  }
  {
    if (!ParseJson(*given, doc) || !doc.IsObject()) {
      failure = RestFailure(RestError::kInvalidArgs, "The request properties are not a JSON object.");
      return false;
    }
    doc.RemoveMember("HttpMethod");
  }
  rapidjson::Document props(rapidjson::kObjectType);
  auto &alloc = props.GetAllocator();
  props.AddMember("HttpMethod",
                  rapidjson::Value(request.method.data(), static_cast<rapidjson::SizeType>(request.method.size()), alloc),
                  alloc);
  for (auto &m : doc.GetObject()) props.AddMember(rapidjson::Value(m.name, alloc), rapidjson::Value(m.value, alloc), alloc);
  out = WriteJson(props);
  return true;
}

Route MapService(const HttpRequest &request, std::string_view query, const std::string &service,
                 std::span<const std::string> below, const std::optional<SchemaNode> &schema) {
  Collected collected;
  Route failure;
  if (!ReadForm(query, collected, failure)) return failure;
  if (request.method == "POST" && !request.body.empty()) {
    std::string_view type;
    if (const std::string_view *h = FindHeader(request, "Content-Type")) type = Trim(h->substr(0, h->find(';')));
    if (EqualsNoCase(type, "application/x-www-form-urlencoded")) {
      if (!ReadForm(request.body, collected, failure)) return failure;
    } else if (EqualsNoCase(type, "application/json")) {
      if (!ReadJsonBody(request.body, collected, failure)) return failure;
    } else {
      return HttpError(415, "A body must be application/x-www-form-urlencoded or application/json.");
    }
  }

  Route r;
  if (!RequestProperties(request, r.properties, failure)) return failure;
  r.kind = RouteKind::kService;
  r.service = service;
  r.input = collected.parameters.ToJson();
  r.format = collected.has_format ? std::move(collected.format) : std::string("json");

  size_t resource_count = below.size();
  if (schema && !below.empty()) {
    const SchemaNode *node = ResolveSchemaPath(*schema, below.first(below.size() - 1));
    const std::string &last = below.back();
    if (node != nullptr && node->HasOperation(last) && node->Child(last) == nullptr) {
      r.operation = last;
      resource_count -= 1;
    }
  }
  // The services' dispatch expects the root's name in front of a path when the root has one.
  if (schema && !schema->name.empty()) r.resource = schema->name;
  for (size_t i = 0; i < resource_count; ++i) {
    if (!r.resource.empty()) r.resource.push_back('/');
    r.resource += below[i];
  }
  return r;
}

}  // namespace

bool PercentDecode(std::string_view text, bool plus_is_space, std::string &out) {
  out.resize(text.size());  // decoding never lengthens
  char *o = out.data();
  bool ascii = true;  // an ASCII result needs no check
  for (size_t i = 0; i < text.size(); ++i) {
    char c = text[i];
    if (c == '%') {
      if (i + 2 >= text.size()) return false;
      int hi = HexValue(text[i + 1]), lo = HexValue(text[i + 2]);
      if (hi < 0 || lo < 0) return false;
      c = static_cast<char>(hi * 16 + lo);
      i += 2;
    } else if (c == '+' && plus_is_space) {
      c = ' ';
    }
    if (c == '\0') return false;
    ascii &= static_cast<unsigned char>(c) < 0x80;
    *o++ = c;
  }
  out.resize(static_cast<size_t>(o - out.data()));
  return ascii || ValidUtf8(out);
}

Route MapRequest(const HttpRequest &request, const ServiceSchemas &schemas) {
  std::string_view target = request.target;
  if (target.empty() || target.front() != '/') return HttpError(400, "The request target must be a path.");
  size_t q = target.find('?');
  std::string_view path = target.substr(0, q);
  std::string_view query = q == std::string_view::npos ? std::string_view() : target.substr(q + 1);
  if (size_t hash = query.find('#'); hash != std::string_view::npos) query = query.substr(0, hash);

  // Components, decoded; empty ones (doubled or trailing slashes) are left out.
  std::vector<std::string> parts;
  parts.reserve(8);
  while (!path.empty()) {
    size_t slash = path.find('/');
    std::string_view raw = path.substr(0, slash);
    path = slash == std::string_view::npos ? std::string_view() : path.substr(slash + 1);
    if (raw.empty()) continue;
    std::string part;
    if (!PercentDecode(raw, false, part)) return HttpError(400, "Malformed escape in the path.");
    if (part.find('/') != std::string::npos) return HttpError(400, "An encoded '/' in the path.");
    parts.push_back(std::move(part));
  }

  const bool read_only = request.method == "GET" || request.method == "HEAD";
  const bool known_method = read_only || request.method == "POST";
  if (parts.empty() || (parts.size() == 1 && parts[0] == "services")) {
    if (!read_only) return MethodNotAllowed("GET, HEAD");
    Route r;
    r.kind = RouteKind::kServiceList;
    return r;
  }
  if (parts[0] == "schema" && parts.size() == 2) {
    if (!read_only) return MethodNotAllowed("GET, HEAD");
    auto it = schemas.find(parts[1]);
    if (it == schemas.end()) return RestFailure(RestError::kInvalidUrl, "No service named '" + parts[1] + "'.");
    Route r;
    r.kind = RouteKind::kSchema;
    r.service = parts[1];
    return r;
  }
  if (parts[0] != "services") return HttpError(404, "Not found.");
  if (!known_method) return MethodNotAllowed("GET, HEAD, POST");
  auto it = schemas.find(parts[1]);
  if (it == schemas.end()) return RestFailure(RestError::kInvalidUrl, "No service named '" + parts[1] + "'.");
  return MapService(request, query, parts[1], std::span(parts).subspan(2), it->second);
}

}  // namespace kzhost
