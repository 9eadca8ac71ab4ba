#include "geometry_service.h"

#include <cmath>
#include <vector>

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <kzcore/numerics/geometry/wks_envelope.h>

namespace kzhost {
namespace {

bool Number(const rapidjson::Value &object, const char *member, double &out) {
  auto it = object.FindMember(member);
  if (it == object.MemberEnd() || !it->value.IsNumber()) return false;
  out = it->value.GetDouble();
  return std::isfinite(out);
}

bool ReadPoint(const rapidjson::Value &v, WKSPoint &p) {
  return v.IsObject() && Number(v, "x", p.x) && Number(v, "y", p.y);
}

bool ReadEnvelope(const rapidjson::Value &v, WKSEnvelope &e) {
  double x1, y1, x2, y2;
  if (!v.IsObject() || !Number(v, "xmin", x1) || !Number(v, "ymin", y1) || !Number(v, "xmax", x2) ||
      !Number(v, "ymax", y2))
    return false;
  e.PutCoords(x1, y1, x2, y2);
  return true;
}

const rapidjson::Value *Parameter(const SampleRequest &request, const char *name) {
  auto it = request.input->FindMember(name);
  return it == request.input->MemberEnd() ? nullptr : &it->value;
}

SampleAnswer EnvelopeUnionArea(const SampleRequest &request) {
  const rapidjson::Value *list = Parameter(request, "envelopes");
  if (list == nullptr || !list->IsArray())
    return SampleAnswer::Fail(RestError::kInvalidArgs, "'envelopes' must be an array of envelopes.");
  if (list->Size() > GeometryService::kMaxEnvelopes)
    return SampleAnswer::Fail(RestError::kInvalidArgs,
                              "At most " + std::to_string(GeometryService::kMaxEnvelopes) + " envelopes.");
  std::vector<WKSEnvelope> boxes(list->Size());
  for (rapidjson::SizeType i = 0; i < list->Size(); ++i)
    if (!ReadEnvelope((*list)[i], boxes[i]))
      return SampleAnswer::Fail(RestError::kInvalidArgs, "Envelope " + std::to_string(i) + " is not an envelope.");
  int dimension = 2;
  double area = boxes.empty() ? 0.0
                              : WKSEnvelope::AreaOfUnion(boxes.data(), static_cast<LONG>(boxes.size()), &dimension);
  rapidjson::StringBuffer buffer;
  rapidjson::Writer<rapidjson::StringBuffer> w(buffer);
  w.StartObject();
  w.Key("area");
  w.Double(area);
  w.Key("dimension");
  w.Int(dimension);
  w.Key("extent");
  if (boxes.empty()) {
    w.Null();
  } else {
    WKSEnvelope extent = WKSEnvelope::Union(boxes.data(), static_cast<LONG>(boxes.size()));
    w.StartObject();
    w.Key("xmin");
    w.Double(extent.xmin);
    w.Key("ymin");
    w.Double(extent.ymin);
    w.Key("xmax");
    w.Double(extent.xmax);
    w.Key("ymax");
    w.Double(extent.ymax);
    w.EndObject();
  }
  w.EndObject();
  return SampleAnswer::Json(std::string(buffer.GetString(), buffer.GetSize()));
}

SampleAnswer PointInEnvelope(const SampleRequest &request) {
  WKSPoint p{};
  WKSEnvelope e;
  const rapidjson::Value *point = Parameter(request, "point");
  const rapidjson::Value *envelope = Parameter(request, "envelope");
  if (point == nullptr || !ReadPoint(*point, p))
    return SampleAnswer::Fail(RestError::kInvalidArgs, "'point' must be a point {\"x\":...,\"y\":...}.");
  if (envelope == nullptr || !ReadEnvelope(*envelope, e))
    return SampleAnswer::Fail(RestError::kInvalidArgs,
                              "'envelope' must be an envelope {\"xmin\":...,\"ymin\":...,\"xmax\":...,\"ymax\":...}.");
  bool contains = e.Contains(p), proper = e.ProperContains(p);
  std::string out = std::string("{\"contains\":") + (contains ? "true" : "false") +
                    ",\"properlyContains\":" + (proper ? "true" : "false") + ",\"location\":\"" +
                    (proper ? "interior" : contains ? "boundary" : "exterior") + "\"}";
  return SampleAnswer::Json(out);
}

}  // namespace

HRESULT GeometryService::GetCLSID(GUID *clsid) {
  if (clsid == nullptr) return E_POINTER;
  *clsid = CLSID_KzGeometryService;
  return S_OK;
}

std::string_view GeometryService::SchemaText() const {
  return R"({"name":"","operations":[)"
         R"({"name":"envelopeUnionArea","parameters":["envelopes"],"supportedOutputFormats":["json"]},)"
         R"({"name":"pointInEnvelope","parameters":["point","envelope"],"supportedOutputFormats":["json"]}],)"
         R"("schemaVersion":1})";
}

SampleAnswer GeometryService::Handle(const SampleRequest &request) {
  if (request.operation == "envelopeUnionArea") return EnvelopeUnionArea(request);
  if (request.operation == "pointInEnvelope") return PointInEnvelope(request);
  return SampleAnswer::Json(
      R"({"description":"Operations on points and envelopes.","operations":["envelopeUnionArea","pointInEnvelope"]})");
}

}  // namespace kzhost
