#include "request_mapping.h"

#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <algorithm>
#include <string>

namespace kzhost {
namespace {

// A service with an unnamed root, a default collection with a child resource, a plain resource,
// and operations at several levels, one of them named like a child resource.
constexpr char kSchema[] = R"({"name":"","operations":[{"name":"export"},{"name":"layers"}],
  "resources":[
    {"name":"items","isCollection":true,"isDefaultCollection":true,
     "operations":[{"name":"query"}],
     "resources":[{"name":"fields","operations":[{"name":"count"}]}]},
    {"name":"layers","operations":[{"name":"identify"}]}],
  "schemaVersion":1})";

class MappingTest : public ::testing::Test {
 protected:
  void SetUp() override {
    schemas_.emplace("Roads", ParseSchema(kSchema));
    schemas_.emplace("Named", ParseSchema(R"({"name":"top","operations":[{"name":"run"}]})"));
    schemas_.emplace("Opaque", std::nullopt);
    ASSERT_TRUE(schemas_.at("Roads").has_value());
  }
  Route Get(std::string_view target, std::vector<std::pair<std::string_view, std::string_view>> headers = {}) {
    return MapRequest({"GET", target, std::move(headers), {}}, schemas_);
  }
  Route Post(std::string_view target, std::string_view type, std::string_view body) {
    return MapRequest({"POST", target, {{"content-type", type}}, body}, schemas_);
  }
  ServiceSchemas schemas_;
};

// The parsed operation input, checked as JSON by RapidJSON rather than compared as text.
rapidjson::Document Input(const Route &r) {
  rapidjson::Document doc;
  doc.Parse(r.input.c_str());
  EXPECT_FALSE(doc.HasParseError()) << r.input;
  EXPECT_TRUE(doc.IsObject()) << r.input;
  return doc;
}

TEST_F(MappingTest, TopLevelRoutes) {
  EXPECT_EQ(Get("/").kind, RouteKind::kServiceList);
  EXPECT_EQ(Get("/services").kind, RouteKind::kServiceList);
  EXPECT_EQ(Get("/services/").kind, RouteKind::kServiceList);
  Route schema = Get("/schema/Roads");
  EXPECT_EQ(schema.kind, RouteKind::kSchema);
  EXPECT_EQ(schema.service, "Roads");
  for (const char *target : {"/favicon.ico", "/schema", "/schema/Roads/extra", "/Services/Roads"}) {
    Route r = Get(target);
    EXPECT_EQ(r.kind, RouteKind::kHttpError) << target;
    EXPECT_EQ(r.status, 404) << target;
  }
  for (const char *target : {"", "services", "http://example/services", "*"}) {
    Route r = Get(target);
    EXPECT_EQ(r.kind, RouteKind::kHttpError) << target;
    EXPECT_EQ(r.status, 400) << target;
  }
}

TEST_F(MappingTest, MethodsOutsideTheirRoutesGet405WithAllow) {
  Route post_list = MapRequest({"POST", "/services", {}, {}}, schemas_);
  EXPECT_EQ(post_list.status, 405);
  EXPECT_EQ(post_list.allow, "GET, HEAD");
  Route del = MapRequest({"DELETE", "/services/Roads/export", {}, {}}, schemas_);
  EXPECT_EQ(del.status, 405);
  EXPECT_EQ(del.allow, "GET, HEAD, POST");
  EXPECT_EQ(MapRequest({"HEAD", "/services/Roads", {}, {}}, schemas_).kind, RouteKind::kService);
}

TEST_F(MappingTest, UnknownServicesGetTheInvalidUrlDocument) {
  for (const char *target : {"/services/Rivers", "/services/roads/export", "/schema/Rivers"}) {
    Route r = Get(target);
    EXPECT_EQ(r.kind, RouteKind::kRestError) << target;
    EXPECT_EQ(r.error, RestError::kInvalidUrl) << target;
  }
}

TEST_F(MappingTest, SchemaTellsOperationsFromResources) {
  struct Case {
    const char *target, *resource, *operation;
  } cases[] = {
      {"/services/Roads", "", ""},
      {"/services/Roads/export", "", "export"},
      // A child resource wins over an operation of the same name on its parent.
      {"/services/Roads/layers", "layers", ""},
      {"/services/Roads/layers/identify", "layers", "identify"},
      // The default collection's name may be left out; its operations apply to its items.
      {"/services/Roads/items", "items", ""},
      {"/services/Roads/items/query", "items", "query"},
      {"/services/Roads/items/7/query", "items/7", "query"},
      {"/services/Roads/7", "7", ""},
      {"/services/Roads/7/query", "7", "query"},
      {"/services/Roads/7/fields/count", "7/fields", "count"},
      // Not an operation of the resource before it: all of it is a path, for the service to judge.
      {"/services/Roads/layers/query", "layers/query", ""},
      {"/services/Roads/7/fields/query", "7/fields/query", ""},
      {"/services/Roads/nothing/here/export", "nothing/here/export", ""},
      // Doubled and trailing slashes are dropped; components are decoded.
      {"/services/Roads//items/7/", "items/7", ""},
      {"/services/Roads/items/a%20b/query", "items/a b", "query"},
      // Without a schema nothing is an operation; with a named root its name leads the path.
      {"/services/Opaque/a/export", "a/export", ""},
      {"/services/Named", "top", ""},
      {"/services/Named/run", "top", "run"},
      {"/services/Named/x", "top/x", ""},
  };
  for (const Case &c : cases) {
    Route r = Get(c.target);
    ASSERT_EQ(r.kind, RouteKind::kService) << c.target;
    EXPECT_EQ(r.resource, c.resource) << c.target;
    EXPECT_EQ(r.operation, c.operation) << c.target;
  }
}

TEST_F(MappingTest, MalformedTargetsGet400) {
  for (const char *target : {"/services/Roads/%zz", "/services/Roads/%4", "/services/Roads/a%00b",
                             "/services/Roads/a%2Fb", "/services/Roads/%C0%AF", "/services/Roads/%ED%A0%80",
                             "/services/Roads/export?a=%G1", "/services/Roads/export?a=%FF", "/services/Roads/%"}) {
    Route r = Get(target);
    EXPECT_EQ(r.kind, RouteKind::kHttpError) << target;
    EXPECT_EQ(r.status, 400) << target;
  }
}

TEST_F(MappingTest, ParametersBecomeJsonMembers) {
  Route r = Get("/services/Roads/export?n=12&neg=-1.5e3&zip=01234&t=true&z=null&word=abc&plus=a+b&pct=a%2Bb"
                "&obj=%7B%22k%22:[1,2]%7D&arr=[1,%7B%7D]&empty=&bare&num=12abc&spaced=%201%20");
  ASSERT_EQ(r.kind, RouteKind::kService);
  rapidjson::Document in = Input(r);
  EXPECT_EQ(in["n"].GetInt(), 12);
  EXPECT_EQ(in["neg"].GetDouble(), -1500.0);
  EXPECT_STREQ(in["zip"].GetString(), "01234");  // not a JSON number: a leading zero
  EXPECT_TRUE(in["t"].IsTrue());
  EXPECT_TRUE(in["z"].IsNull());
  EXPECT_STREQ(in["word"].GetString(), "abc");
  EXPECT_STREQ(in["plus"].GetString(), "a b");
  EXPECT_STREQ(in["pct"].GetString(), "a+b");
  EXPECT_EQ(in["obj"]["k"][1].GetInt(), 2);
  EXPECT_TRUE(in["arr"][1].IsObject());
  EXPECT_STREQ(in["empty"].GetString(), "");
  EXPECT_STREQ(in["bare"].GetString(), "");
  EXPECT_STREQ(in["num"].GetString(), "12abc");
  EXPECT_EQ(in["spaced"].GetInt(), 1);
  EXPECT_EQ(r.format, "json");
}

TEST_F(MappingTest, TextsThatNeedEscapingStayExact) {
  Route r = Get("/services/Roads/export?q=%22quoted%22%5C%0A%01%E6%97%A5");
  rapidjson::Document in = Input(r);
  EXPECT_EQ(std::string(in["q"].GetString(), in["q"].GetStringLength()), "\"quoted\"\\\n\x01\xE6\x97\xA5");
}

TEST_F(MappingTest, FormatIsTakenOutAndLaterValuesReplaceEarlierOnes) {
  Route r = Get("/services/Roads/export?a=1&format=pjson&b=2&a=3");
  EXPECT_EQ(r.format, "pjson");
  EXPECT_EQ(r.input, R"({"a":3,"b":2})");  // "a" keeps its first place
  EXPECT_EQ(Get("/services/Roads/export?format=").format, "");

  // The same with many parameters, past the count at which they are looked up by name.
  std::string query, expected;
  std::vector<int> last(25, -1);
  for (int i = 0; i < 60; ++i) {
    int name = (i * 7) % 25;
    query += (i ? "&p" : "?p") + std::to_string(name) + "=" + std::to_string(i);
    last[name] = i;
  }
  std::vector<int> order;
  for (int i = 0; i < 60; ++i)
    if (std::find(order.begin(), order.end(), (i * 7) % 25) == order.end()) order.push_back((i * 7) % 25);
  for (int name : order)
    expected += (expected.empty() ? "{" : ",") + ("\"p" + std::to_string(name) + "\":" + std::to_string(last[name]));
  EXPECT_EQ(Get("/services/Roads/export" + query).input, expected + "}");
}

TEST_F(MappingTest, InvalidJsonParametersGetInvalidArgs) {
  for (const char *target : {"/services/Roads/export?g={bad", "/services/Roads/export?g=[1,2",
                             "/services/Roads/export?g=%7B%22a%22:1%7Dx", "/services/Roads/export?g=[%22%5Cx%22]"}) {
    Route r = Get(target);
    EXPECT_EQ(r.kind, RouteKind::kRestError) << target;
    EXPECT_EQ(r.error, RestError::kInvalidArgs) << target;
  }
  // Nesting is bounded: a reader deeper down never sees a text that could exhaust its stack.
  std::string deep = "/services/Roads/export?g=" + std::string(65, '[') + std::string(65, ']');
  EXPECT_EQ(Get(deep).error, RestError::kInvalidArgs);
  std::string fine = "/services/Roads/export?g=" + std::string(64, '[') + std::string(64, ']');
  EXPECT_EQ(Get(fine).kind, RouteKind::kService);
}

TEST_F(MappingTest, PostBodiesAddToTheQuery) {
  Route form = Post("/services/Roads/export?a=1&b=1", "application/x-www-form-urlencoded; charset=utf-8",
                    "b=2&c=%5B3%5D");
  ASSERT_EQ(form.kind, RouteKind::kService);
  EXPECT_EQ(form.input, R"({"a":1,"b":2,"c":[3]})");

  Route json = Post("/services/Roads/export?a=1", "Application/JSON", R"({"b":{"x":[1,"y"]},"format":"json2"})");
  ASSERT_EQ(json.kind, RouteKind::kService);
  EXPECT_EQ(json.input, R"({"a":1,"b":{"x":[1,"y"]}})");
  EXPECT_EQ(json.format, "json2");

  EXPECT_EQ(Post("/services/Roads/export", "application/json", "[1]").error, RestError::kInvalidArgs);
  EXPECT_EQ(Post("/services/Roads/export", "application/json", "{\"a\":").error, RestError::kInvalidArgs);
  EXPECT_EQ(Post("/services/Roads/export", "application/json", R"({"format":1})").error, RestError::kInvalidArgs);
  EXPECT_EQ(Post("/services/Roads/export", "multipart/form-data", "x").status, 415);
  EXPECT_EQ(Post("/services/Roads/export", "text/plain", "").kind, RouteKind::kService);  // no body, no type needed
}

TEST_F(MappingTest, RequestPropertiesCarryTheMethodAndTheClientsMembers) {
  Route plain = Get("/services/Roads");
  EXPECT_EQ(plain.properties, R"({"HttpMethod":"GET"})");
  Route given = Get("/services/Roads", {{"x-kz-request-properties", R"({"token":"abc","HttpMethod":"PUT","n":[1]})"}});
  ASSERT_EQ(given.kind, RouteKind::kService);
  rapidjson::Document props;
  props.Parse(given.properties.c_str());
  ASSERT_TRUE(props.IsObject());
  EXPECT_STREQ(props["HttpMethod"].GetString(), "GET");  // the client cannot say otherwise
  EXPECT_STREQ(props["token"].GetString(), "abc");
  EXPECT_EQ(props["n"][0].GetInt(), 1);
  EXPECT_EQ(props.MemberCount(), 3u);
  for (const char *bad : {"{", "[]", "\"text\"", "{\"a\":1}x"}) {
    Route r = Get("/services/Roads", {{"X-Kz-Request-Properties", bad}});
    EXPECT_EQ(r.kind, RouteKind::kRestError) << bad;
    EXPECT_EQ(r.error, RestError::kInvalidArgs) << bad;
  }
}

TEST(PercentDecodeTest, DecodesAndRefuses) {
  std::string out;
  EXPECT_TRUE(PercentDecode("a%20b+c%2b", false, out));
  EXPECT_EQ(out, "a b+c+");
  EXPECT_TRUE(PercentDecode("a%20b+c", true, out));
  EXPECT_EQ(out, "a b c");
  EXPECT_TRUE(PercentDecode("%F0%9F%8C%8D", false, out));  // a four-byte character
  EXPECT_EQ(out, "\xF0\x9F\x8C\x8D");
  EXPECT_TRUE(PercentDecode("caf\xC3\xA9+%C3%A9", true, out));  // raw and escaped UTF-8 alike
  EXPECT_EQ(out, "caf\xC3\xA9 \xC3\xA9");
  for (const char *bad : {"%", "%2", "%2g", "%00", "%F4%90%80%80", "%E0%80%80", "%C3", "\xC3("})
    EXPECT_FALSE(PercentDecode(bad, false, out)) << bad;
  EXPECT_FALSE(PercentDecode(std::string_view("a\0b", 3), true, out));
}

TEST(SchemaTest, ReadsTheTreeAndRefusesWhatIsNotASchema) {
  auto root = ParseSchema(kSchema);
  ASSERT_TRUE(root.has_value());
  ASSERT_EQ(root->resources.size(), 2u);
  const SchemaNode &items = root->resources[0];
  EXPECT_TRUE(items.is_collection && items.is_default_collection);
  EXPECT_TRUE(items.HasOperation("query"));
  EXPECT_FALSE(root->HasOperation("query"));
  EXPECT_EQ(root->DefaultCollection(), &items);
  for (const char *bad : {"", "[]", "{\"name\":3}", "{\"name\":\"a\"", "nul"}) EXPECT_FALSE(ParseSchema(bad)) << bad;
  std::string deep;
  for (int i = 0; i < 100; ++i) deep += "{\"name\":\"n\",\"resources\":[";
  deep += "{}";
  for (int i = 0; i < 100; ++i) deep += "]}";
  EXPECT_FALSE(ParseSchema(deep));
}

TEST(SchemaTest, ResolvingGathersItemKeys) {
  using Path = std::vector<std::string>;
  auto root = ParseSchema(kSchema);
  std::map<std::string, std::string> keys;
  const SchemaNode *fields = ResolveSchemaPath(*root, Path{"7", "fields"}, &keys);
  ASSERT_NE(fields, nullptr);
  EXPECT_EQ(fields->name, "fields");
  EXPECT_EQ(keys, (std::map<std::string, std::string>{{"items", "7"}}));
  keys.clear();
  EXPECT_EQ(ResolveSchemaPath(*root, Path{"items"}, &keys), &root->resources[0]);
  EXPECT_TRUE(keys.empty());
  EXPECT_EQ(ResolveSchemaPath(*root, Path{"items", "items"}, &keys), &root->resources[0]);
  EXPECT_EQ(keys["items"], "items");
  EXPECT_EQ(ResolveSchemaPath(*root, Path{"layers", "x"}), nullptr);
  EXPECT_EQ(ResolveSchemaPath(*root, {}), &*root);
}

}  // namespace
}  // namespace kzhost
