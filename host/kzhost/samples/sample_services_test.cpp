#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <support/geos_reference.h>

#include <cmath>
#include <random>
#include <set>
#include <string>

#include <kzcore/platform/object_creation.h>

#include "../com_text.h"
#include "geometry_service.h"
#include "info_service.h"

namespace kzhost {
namespace {

struct Response {
  HRESULT hr = E_FAIL;
  std::string properties;
  std::string body;
  rapidjson::Document json;
};

class SampleServicesTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { ASSERT_TRUE(RegisterSampleClasses()); }
  void SetUp() override {
    ASSERT_EQ(KzCreateInstance(CLSID_KzInfoService, nullptr, CLSCTX_INPROC_SERVER, KZ_IID(IRESTRequestHandler),
                               reinterpret_cast<void **>(&info_)),
              S_OK);
    ASSERT_EQ(KzCreateInstance(CLSID_KzGeometryService, nullptr, CLSCTX_INPROC_SERVER,
                               KZ_IID(IRESTRequestHandler), reinterpret_cast<void **>(&geometry_)),
              S_OK);
  }
  void TearDown() override {
    if (info_) info_->Release();
    if (geometry_) geometry_->Release();
  }

  static Response Call(IRESTRequestHandler *service, const char *resource, const char *operation,
                       const char *input = "{}", const char *format = "json", const char *capabilities = "",
                       const char *properties = "{}") {
    Bstr c = Bstr::FromUtf8(capabilities), r = Bstr::FromUtf8(resource), o = Bstr::FromUtf8(operation),
         i = Bstr::FromUtf8(input), f = Bstr::FromUtf8(format), p = Bstr::FromUtf8(properties);
    Bstr out_properties;
    ByteArray out_body;
    Response response;
    response.hr = service->HandleRESTRequest(c.get(), r.get(), o.get(), i.get(), f.get(), p.get(),
                                             out_properties.out(), out_body.out());
    response.properties = ToUtf8(out_properties.get()).value_or("<bad>");
    const void *data = nullptr;
    size_t size = 0;
    if (out_body.get() != nullptr && ArrayBytes(out_body.get(), &data, &size))
      response.body.assign(static_cast<const char *>(data), size);
    response.json.Parse(response.body.c_str());
    return response;
  }

  static void ExpectError(const Response &r, int code, const char *message) {
    EXPECT_EQ(r.hr, S_OK);
    EXPECT_EQ(r.properties, R"({"Content-Type":"text/plain", "Success":false})");
    ASSERT_TRUE(r.json.IsObject() && r.json.HasMember("error")) << r.body;
    EXPECT_EQ(r.json["error"]["code"].GetInt(), code) << r.body;
    EXPECT_STREQ(r.json["error"]["message"].GetString(), message) << r.body;
    EXPECT_TRUE(r.json["error"]["details"].IsArray()) << r.body;
  }

  IRESTRequestHandler *info_ = nullptr;
  IRESTRequestHandler *geometry_ = nullptr;
};

TEST_F(SampleServicesTest, SchemasAreJsonAndNameTheOperations) {
  for (IRESTRequestHandler *service : {info_, geometry_}) {
    Bstr schema;
    ASSERT_EQ(service->GetSchema(schema.out()), S_OK);
    rapidjson::Document doc;
    doc.Parse(ToUtf8(schema.get())->c_str());
    ASSERT_TRUE(doc.IsObject());
    EXPECT_EQ(doc["schemaVersion"].GetInt(), 1);
    EXPECT_STREQ(doc.MemberBegin()->name.GetString(), "name");  // "name" comes first
    EXPECT_TRUE(doc["operations"].IsArray());
  }
  EXPECT_EQ(info_->GetSchema(nullptr), E_POINTER);
}

TEST_F(SampleServicesTest, TopicsAreItemsOfADefaultCollection) {
  Response list = Call(info_, "topics", "");
  ASSERT_TRUE(list.json.HasMember("topics")) << list.body;
  EXPECT_EQ(list.properties, "");  // a JSON answer: the host gives it its type
  for (const auto &topic : list.json["topics"].GetArray()) {
    std::string key = topic["key"].GetString();
    Response full = Call(info_, ("topics/" + key).c_str(), "");
    Response implied = Call(info_, key.c_str(), "");  // the collection's name left out
    EXPECT_EQ(full.body, implied.body) << key;
    EXPECT_STREQ(full.json["key"].GetString(), key.c_str());
    EXPECT_TRUE(full.json["text"].IsString());
  }
  ExpectError(Call(info_, "nosuchtopic", ""), 400, "Invalid URL.");
  ExpectError(Call(info_, "library/extra", ""), 400, "Invalid URL.");
}

TEST_F(SampleServicesTest, RequestsThatCannotBeAnsweredGetTheirDocuments) {
  ExpectError(Call(info_, "", "nosuchop"), 400, "Invalid URL.");
  ExpectError(Call(info_, "", "echo", "{\"text\":1}", "html"), 400, "Requested format is not supported.");
  ExpectError(Call(info_, "", "echo", "{}"), 400, "Invalid or missing input parameters.");
  ExpectError(Call(info_, "", "echo", "[1]"), 400, "Invalid or missing input parameters.");
  ExpectError(Call(info_, "", "echo", "{\"text\":1}", "json", "", "{bad"), 400,
              "Invalid or missing input parameters.");
  ExpectError(Call(info_, "", "process"), 400, "Requested operation is not supported by this service.");
  ExpectError(Call(info_, "", "process", "{}", "json", "Query, Map"), 400,
              "Requested operation is not supported by this service.");
  Response allowed = Call(info_, "", "process", "{}", "json", "query, admin ");
  EXPECT_TRUE(allowed.json.HasMember("processId")) << allowed.body;

  BSTR properties = nullptr;
  EXPECT_EQ(info_->HandleRESTRequest(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &properties, nullptr),
            E_POINTER);
  // Null texts are empty ones, and a null format is "json".
  SAFEARRAY *body = nullptr;
  EXPECT_EQ(info_->HandleRESTRequest(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &properties, &body), S_OK);
  EXPECT_NE(body, nullptr);
  SysFreeString(properties);
  SafeArrayDestroy(body);
}

TEST_F(SampleServicesTest, EchoGivesBackTheValueAsJson) {
  Response r = Call(info_, "", "echo", R"({"text":{"a":[1,"\u00e9"]}})");
  EXPECT_EQ(r.body, "{\"text\":{\"a\":[1,\"\xC3\xA9\"]}}");
}

// GEOS gives the reference: the area of the union of the boxes, the convex hull, and where a
// point lies in a box or a polygon.
using kztest::Geos;

WKSPoint Wks(const std::array<double, 2> &p) { return WKSPoint{p[0], p[1]}; }
WKSEnvelope Wks(const std::array<double, 4> &b) { return WKSEnvelope(b[0], b[1], b[2], b[3]); }

// The hull's corners (the closing point left out) and its area; no corners when GEOS finds no
// polygon (every point on one line).
std::vector<std::array<double, 2>> GeosHull(const Geos &geos, const std::vector<std::array<double, 2>> &points,
                                            double *area) {
  std::vector<WKSPoint> input;
  for (const auto &p : points) input.push_back(Wks(p));
  GEOSGeometry *all = geos.Points(input);
  GEOSGeometry *hull = GEOSConvexHull_r(geos.h(), all);
  GEOSArea_r(geos.h(), hull, area);
  std::vector<std::array<double, 2>> corners;
  if (GEOSGeomTypeId_r(geos.h(), hull) == GEOS_POLYGON)
    for (const WKSPoint &c : geos.Coordinates(hull)) corners.push_back({c.x, c.y});
  if (!corners.empty()) corners.pop_back();
  GEOSGeom_destroy_r(geos.h(), hull);
  GEOSGeom_destroy_r(geos.h(), all);
  return corners;
}

std::string EnvelopeJson(const std::array<double, 4> &b) {
  return "{\"xmin\":" + std::to_string(b[0]) + ",\"ymin\":" + std::to_string(b[1]) +
         ",\"xmax\":" + std::to_string(b[2]) + ",\"ymax\":" + std::to_string(b[3]) + "}";
}

TEST_F(SampleServicesTest, EnvelopeUnionAreaAgreesWithGeos) {
  Geos geos;
  std::mt19937 random(20240611);
  std::uniform_int_distribution<int> corner(0, 40), size(1, 15);
  for (int round = 0; round < 20; ++round) {
    std::vector<std::array<double, 4>> boxes(1 + round * 3);
    std::string input = "{\"envelopes\":[";
    for (size_t i = 0; i < boxes.size(); ++i) {
      double x = corner(random), y = corner(random);
      boxes[i] = {x, y, x + size(random), y + size(random)};
      if (i) input += ",";
      input += EnvelopeJson(boxes[i]);
    }
    input += "]}";
    Response r = Call(geometry_, "", "envelopeUnionArea", input.c_str());
    ASSERT_TRUE(r.json.IsObject() && r.json.HasMember("area")) << r.body;
    // Integer corners: both sides are exact.
    std::vector<WKSEnvelope> reference;
    for (const auto &b : boxes) reference.push_back(Wks(b));
    EXPECT_EQ(r.json["area"].GetDouble(), geos.UnionArea(reference)) << input;
    EXPECT_EQ(r.json["dimension"].GetInt(), 2);
    double xmin = 1e9, xmax = -1e9;
    for (const auto &b : boxes) xmin = std::min(xmin, b[0]), xmax = std::max(xmax, b[2]);
    EXPECT_EQ(r.json["extent"]["xmin"].GetDouble(), xmin);
    EXPECT_EQ(r.json["extent"]["xmax"].GetDouble(), xmax);
  }
}

TEST_F(SampleServicesTest, EnvelopeUnionAreaEdges) {
  Response none = Call(geometry_, "", "envelopeUnionArea", R"({"envelopes":[]})");
  ASSERT_TRUE(none.json.IsObject()) << none.body;
  EXPECT_EQ(none.json["area"].GetDouble(), 0.0);
  EXPECT_TRUE(none.json["extent"].IsNull()) << none.body;
  // Flat boxes on one line are measured along it: [0,3] and [2,5] cover 5.
  Response flat = Call(geometry_, "", "envelopeUnionArea",
                       R"({"envelopes":[{"xmin":0,"ymin":1,"xmax":3,"ymax":1},{"xmin":2,"ymin":1,"xmax":5,"ymax":1}]})");
  EXPECT_EQ(flat.json["dimension"].GetInt(), 1) << flat.body;
  EXPECT_EQ(flat.json["area"].GetDouble(), 5.0) << flat.body;
  // Corners given the wrong way round are put in order.
  Response swapped = Call(geometry_, "", "envelopeUnionArea", R"({"envelopes":[{"xmin":2,"ymin":2,"xmax":0,"ymax":0}]})");
  EXPECT_EQ(swapped.json["area"].GetDouble(), 4.0) << swapped.body;

  for (const char *bad : {R"({})", R"({"envelopes":{}})", R"({"envelopes":[{"xmin":0}]})",
                          R"({"envelopes":[{"xmin":"0","ymin":0,"xmax":1,"ymax":1}]})", R"({"envelopes":[1]})"})
    ExpectError(Call(geometry_, "", "envelopeUnionArea", bad), 400, "Invalid or missing input parameters.");
  std::string many = "{\"envelopes\":[";
  for (size_t i = 0; i <= GeometryService::kMaxEnvelopes; ++i)
    many += std::string(i ? "," : "") + R"({"xmin":0,"ymin":0,"xmax":1,"ymax":1})";
  many += "]}";
  ExpectError(Call(geometry_, "", "envelopeUnionArea", many.c_str()), 400, "Invalid or missing input parameters.");
}

std::string PointJson(double x, double y) {
  return "{\"x\":" + std::to_string(x) + ",\"y\":" + std::to_string(y) + "}";
}

// `where` as GEOS finds it: 1 inside, 0 on the boundary, -1 outside.
void ExpectLocation(const Response &r, int where, double x, double y) {
  ASSERT_TRUE(r.json.IsObject() && r.json.HasMember("location")) << r.body;
  EXPECT_STREQ(r.json["location"].GetString(), where == 1 ? "interior" : where == 0 ? "boundary" : "exterior")
      << x << "," << y;
  EXPECT_EQ(r.json["contains"].GetBool(), where >= 0) << x << "," << y;
}

TEST_F(SampleServicesTest, PointInEnvelopeAgreesWithGeos) {
  Geos geos;
  const std::array<double, 4> box = {1, 2, 4, 6};
  std::string envelope = EnvelopeJson(box);
  GEOSGeometry *area = geos.Box(Wks(box));
  for (double x = 0; x <= 5; x += 0.5) {
    for (double y = 1; y <= 7; y += 0.5) {
      std::string input = "{\"point\":" + PointJson(x, y) + ",\"envelope\":" + envelope + "}";
      Response r = Call(geometry_, "", "pointInEnvelope", input.c_str());
      int where = geos.Locate(area, WKSPoint{x, y});
      ExpectLocation(r, where, x, y);
      EXPECT_EQ(r.json["properlyContains"].GetBool(), where == 1);
    }
  }
  GEOSGeom_destroy_r(geos.h(), area);
  ExpectError(Call(geometry_, "", "pointInEnvelope", R"({"point":{"x":1},"envelope":{}})"), 400,
              "Invalid or missing input parameters.");
}

// Points with integer coordinates, on a small grid so that repeats and collinear runs are common.
std::string PointList(const std::vector<std::array<double, 2>> &points) {
  std::string out = "[";
  for (size_t i = 0; i < points.size(); ++i)
    out += (i ? ",[" : "[") + std::to_string(static_cast<int>(points[i][0])) + "," +
           std::to_string(static_cast<int>(points[i][1])) + "]";
  return out + "]";
}

TEST_F(SampleServicesTest, ConvexHullAgreesWithGeos) {
  Geos geos;
  std::mt19937 random(7);
  for (int round = 0; round < 40; ++round) {
    std::uniform_int_distribution<int> coordinate(-20, 20);
    std::vector<std::array<double, 2>> points(3 + round * 5);
    for (auto &p : points) p = {double(coordinate(random)), double(coordinate(random))};
    std::string input = "{\"points\":" + PointList(points) + "}";
    Response r = Call(geometry_, "", "convexHull", input.c_str());
    ASSERT_TRUE(r.json.IsObject() && r.json.HasMember("hull")) << r.body;
    double area = 0;
    auto expected = GeosHull(geos, points, &area);
    if (expected.empty()) continue;  // every point on one line: GEOS gives no polygon
    std::vector<std::array<double, 2>> hull;
    for (const auto &c : r.json["hull"].GetArray()) hull.push_back({c[0].GetDouble(), c[1].GetDouble()});
    EXPECT_EQ(std::multiset(hull.begin(), hull.end()), std::multiset(expected.begin(), expected.end())) << input;
    EXPECT_EQ(r.json["area"].GetDouble(), area) << input;  // integer corners: both exact
    // Clockwise from the lowest point: the shoelace sum is negative.
    double twice = 0;
    for (size_t i = 0; i < hull.size(); ++i) {
      const auto &a = hull[i], &b = hull[(i + 1) % hull.size()];
      twice += a[0] * b[1] - b[0] * a[1];
      EXPECT_TRUE(hull[0][1] < a[1] || (hull[0][1] == a[1] && hull[0][0] <= a[0]));
    }
    EXPECT_LT(twice, 0) << input;
    // The diameter is the farthest pair of points; the width the least, over the hull's edges, of
    // the farthest corner from the edge's line.
    double diameter = 0, width = 1e300;
    for (const auto &a : points)
      for (const auto &b : points) diameter = std::max(diameter, std::hypot(a[0] - b[0], a[1] - b[1]));
    for (size_t i = 0; i < expected.size(); ++i) {
      const auto &a = expected[i], &b = expected[(i + 1) % expected.size()];
      double farthest = 0;
      for (const auto &c : expected)
        farthest = std::max(farthest, std::abs((b[0] - a[0]) * (c[1] - a[1]) - (b[1] - a[1]) * (c[0] - a[0])) /
                                          std::hypot(b[0] - a[0], b[1] - a[1]));
      width = std::min(width, farthest);
    }
    EXPECT_NEAR(r.json["diameter"].GetDouble(), diameter, 1e-12 * diameter) << input;
    EXPECT_NEAR(r.json["width"].GetDouble(), width, 1e-12 * diameter) << input;
  }
}

TEST_F(SampleServicesTest, ConvexHullOfFewPointsAndBadInput) {
  Response none = Call(geometry_, "", "convexHull", R"({"points":[]})");
  EXPECT_EQ(none.json["hull"].Size(), 0u) << none.body;
  EXPECT_TRUE(none.json["width"].IsNull() && none.json["diameter"].IsNull()) << none.body;
  // Repeats of one point are one point; points on a line keep their two ends.
  Response one = Call(geometry_, "", "convexHull", R"({"points":[[2,3],[2,3],[2,3]]})");
  EXPECT_EQ(one.json["hull"].Size(), 1u) << one.body;
  Response line = Call(geometry_, "", "convexHull", R"({"points":[[0,0],[1,1],[3,3],[2,2]]})");
  EXPECT_EQ(line.json["hull"].Size(), 2u) << line.body;
  EXPECT_EQ(line.json["area"].GetDouble(), 0.0);
  EXPECT_DOUBLE_EQ(line.json["diameter"].GetDouble(), std::sqrt(18.0));

  for (const char *bad : {R"({})", R"({"points":{}})", R"({"points":[[1]]})", R"({"points":[[1,2,3]]})",
                          R"({"points":[[1,"2"]]})", R"({"points":[{"x":1,"y":2}]})", R"({"points":[[1e999,0]]})"})
    ExpectError(Call(geometry_, "", "convexHull", bad), 400, "Invalid or missing input parameters.");
  std::string many = "{\"points\":[";
  for (LONG i = 0; i <= GeometryService::kMaxPoints; ++i) many += i ? ",[0,0]" : "[0,0]";
  ExpectError(Call(geometry_, "", "convexHull", (many + "]}").c_str()), 400, "Invalid or missing input parameters.");
}

TEST_F(SampleServicesTest, PointInPolygonAgreesWithGeos) {
  Geos geos;
  // A square with a square hole, given open, and with a diagonal edge.
  const std::vector<std::vector<std::array<double, 2>>> rings = {{{0, 0}, {0, 8}, {8, 8}, {8, 2}},
                                                                  {{2, 3}, {5, 3}, {5, 6}, {2, 6}}};
  std::string rings_json = "[" + PointList(rings[0]) + "," + PointList(rings[1]) + "]";
  std::vector<std::vector<WKSPoint>> closed(rings.size());
  for (size_t i = 0; i < rings.size(); ++i) {
    for (const auto &p : rings[i]) closed[i].push_back(Wks(p));
    closed[i].push_back(closed[i].front());
  }
  GEOSGeometry *polygon = geos.Polygon(closed);
  for (double x = -1; x <= 9; x += 0.5) {
    for (double y = -1; y <= 9; y += 0.5) {
      std::string input = "{\"point\":" + PointJson(x, y) + ",\"rings\":" + rings_json + "}";
      ExpectLocation(Call(geometry_, "", "pointInPolygon", input.c_str()), geos.Locate(polygon, WKSPoint{x, y}), x, y);
    }
  }
  GEOSGeom_destroy_r(geos.h(), polygon);
  for (const char *bad : {R"({"rings":[]})", R"({"point":{"x":1,"y":1}})", R"({"point":{"x":1,"y":1},"rings":[[1]]})",
                          R"({"point":{"x":1,"y":1},"rings":[[[0,0],[0,"1"]]]})"})
    ExpectError(Call(geometry_, "", "pointInPolygon", bad), 400, "Invalid or missing input parameters.");
}

}  // namespace
}  // namespace kzhost
