#include "geometry_service.h"

#include <cmath>
#include <vector>

#include <kzcore/numerics/geometry/wks_envelope.h>
#include <kzcore/numerics/geometry/wks_point.h>

using RESTSupport::RESTKeys;
using RESTSupport::RESTResource;

namespace kzhost {
namespace {

HRESULT Refuse(const WCHAR *format, LONG index = -1) {
  String message;
  message.Format(format, index);
  return Fail(E_INVALIDARG, message);
}

bool ReadNumber(IJSONObject *object, const WCHAR *name, double &out) {
  return SUCCEEDED(object->GetNumber(name, &out)) && std::isfinite(out);
}

bool ReadPoint(IJSONObject *input, const WCHAR *name, WKSPoint &p) {
  ComPtr<IJSONObject> point;
  return SUCCEEDED(input->GetObject(name, point.put())) && ReadNumber(point.get(), u"x", p.x) &&
         ReadNumber(point.get(), u"y", p.y);
}

bool ReadEnvelope(IJSONObject *envelope, WKSEnvelope &e) {
  double x1, y1, x2, y2;
  if (!ReadNumber(envelope, u"xmin", x1) || !ReadNumber(envelope, u"ymin", y1) ||
      !ReadNumber(envelope, u"xmax", x2) || !ReadNumber(envelope, u"ymax", y2))
    return false;
  e.PutCoords(x1, y1, x2, y2);
  return true;
}

// Appends the [x,y] pairs of `list` to `out`; false when an element is not a pair of finite
// numbers or the total would pass kMaxPoints.
bool ReadPoints(IJSONArray *list, std::vector<WKSPoint> &out) {
  LONG count = 0;
  if (FAILED(list->GetCount(&count)) || count > GeometryService::kMaxPoints - static_cast<LONG>(out.size()))
    return false;
  for (LONG i = 0; i < count; ++i) {
    ComPtr<IJSONArray> pair;
    LONG size = 0;
    WKSPoint p{};
    if (FAILED(list->GetArray(i, pair.put())) || FAILED(pair->GetCount(&size)) || size != 2 ||
        FAILED(pair->GetNumber(0, &p.x)) || FAILED(pair->GetNumber(1, &p.y)) || !std::isfinite(p.x) ||
        !std::isfinite(p.y))
      return false;
    out.push_back(p);
  }
  return true;
}

HRESULT AddPoints(IJSONObject *to, const WCHAR *name, const WKSPoint *p, LONG n) {
  ComPtr<IJSONArray> list;
  HRESULT hr = NewJson(list.put());
  for (LONG i = 0; SUCCEEDED(hr) && i < n; ++i) {
    ComPtr<IJSONArray> pair;
    hr = NewJson(pair.put());
    if (SUCCEEDED(hr)) hr = pair->AddNumber(p[i].x);
    if (SUCCEEDED(hr)) hr = pair->AddNumber(p[i].y);
    if (SUCCEEDED(hr)) hr = list->AddArray(pair.get());
  }
  return SUCCEEDED(hr) ? to->AddArray(name, list.get()) : hr;
}

// A measure that may be the empty value, which JSON writes as null.
HRESULT AddMeasure(IJSONObject *to, const WCHAR *name, double value) {
  return IsEmptyValue(value) ? to->AddNull(name) : to->AddNumber(name, value);
}

HRESULT Root(void *, const WCHAR *, RESTResource *resource, RESTKeys &, WCHAR *, const WCHAR *format, IJSONObject *,
             IJSONObject **, VARIANT &body) {
  ComPtr<IJSONObject> answer;
  ComPtr<IJSONArray> names;
  HRESULT hr = StartAnswer(format, answer.put());
  if (SUCCEEDED(hr)) hr = answer->AddString(u"description", u"Operations on points, envelopes and point sets.");
  if (SUCCEEDED(hr)) hr = NewJson(names.put());
  for (RESTSupport::RESTOperation *operation : resource->Operations())
    if (SUCCEEDED(hr)) hr = names->AddString(operation->Name());
  if (SUCCEEDED(hr)) hr = answer->AddArray(u"operations", names.get());
  return SUCCEEDED(hr) ? AnswerJson(answer.get(), body) : hr;
}

HRESULT EnvelopeUnionArea(void *, const WCHAR *, RESTResource *, RESTKeys &, WCHAR *operationInput,
                          const WCHAR *format, IJSONObject *, IJSONObject **, VARIANT &body) {
  ComPtr<IJSONObject> input, answer;
  HRESULT hr = StartOperation(operationInput, format, input.put(), answer.put());
  if (FAILED(hr)) return hr;
  ComPtr<IJSONArray> list;
  LONG count = 0;
  if (FAILED(input->GetArray(u"envelopes", list.put())) || FAILED(list->GetCount(&count)))
    return Refuse(u"'envelopes' must be an array of envelopes.");
  if (count > GeometryService::kMaxEnvelopes) return Refuse(u"At most %d envelopes.", GeometryService::kMaxEnvelopes);
  std::vector<WKSEnvelope> boxes(static_cast<size_t>(count));
  for (LONG i = 0; i < count; ++i) {
    ComPtr<IJSONObject> envelope;
    if (FAILED(list->GetObject(i, envelope.put())) || !ReadEnvelope(envelope.get(), boxes[i]))
      return Refuse(u"Envelope %d is not an envelope.", i);
  }
  int dimension = 2;
  double area = count == 0 ? 0.0 : WKSEnvelope::AreaOfUnion(boxes.data(), count, &dimension);
  hr = answer->AddNumber(u"area", area);
  if (SUCCEEDED(hr)) hr = answer->AddInteger(u"dimension", dimension);
  if (SUCCEEDED(hr) && count == 0) hr = answer->AddNull(u"extent");
  if (SUCCEEDED(hr) && count > 0) {
    WKSEnvelope extent = WKSEnvelope::Union(boxes.data(), count);
    ComPtr<IJSONObject> e;
    hr = NewJson(e.put());
    if (SUCCEEDED(hr)) hr = e->AddNumber(u"xmin", extent.xmin);
    if (SUCCEEDED(hr)) hr = e->AddNumber(u"ymin", extent.ymin);
    if (SUCCEEDED(hr)) hr = e->AddNumber(u"xmax", extent.xmax);
    if (SUCCEEDED(hr)) hr = e->AddNumber(u"ymax", extent.ymax);
    if (SUCCEEDED(hr)) hr = answer->AddObject(u"extent", e.get());
  }
  return SUCCEEDED(hr) ? AnswerJson(answer.get(), body) : hr;
}

HRESULT PointInEnvelope(void *, const WCHAR *, RESTResource *, RESTKeys &, WCHAR *operationInput,
                        const WCHAR *format, IJSONObject *, IJSONObject **, VARIANT &body) {
  ComPtr<IJSONObject> input, answer, envelope;
  HRESULT hr = StartOperation(operationInput, format, input.put(), answer.put());
  if (FAILED(hr)) return hr;
  WKSPoint p{};
  WKSEnvelope e;
  if (!ReadPoint(input.get(), u"point", p)) return Refuse(u"'point' must be a point {\"x\":...,\"y\":...}.");
  if (FAILED(input->GetObject(u"envelope", envelope.put())) || !ReadEnvelope(envelope.get(), e))
    return Refuse(u"'envelope' must be an envelope {\"xmin\":...,\"ymin\":...,\"xmax\":...,\"ymax\":...}.");
  bool contains = e.Contains(p), proper = e.ProperContains(p);
  hr = answer->AddBoolean(u"contains", contains ? VARIANT_TRUE : VARIANT_FALSE);
  if (SUCCEEDED(hr)) hr = answer->AddBoolean(u"properlyContains", proper ? VARIANT_TRUE : VARIANT_FALSE);
  if (SUCCEEDED(hr)) hr = answer->AddString(u"location", proper ? u"interior" : contains ? u"boundary" : u"exterior");
  return SUCCEEDED(hr) ? AnswerJson(answer.get(), body) : hr;
}

HRESULT ConvexHull(void *, const WCHAR *, RESTResource *, RESTKeys &, WCHAR *operationInput, const WCHAR *format,
                   IJSONObject *, IJSONObject **, VARIANT &body) {
  ComPtr<IJSONObject> input, answer;
  HRESULT hr = StartOperation(operationInput, format, input.put(), answer.put());
  if (FAILED(hr)) return hr;
  ComPtr<IJSONArray> list;
  std::vector<WKSPoint> points;
  if (FAILED(input->GetArray(u"points", list.put())) || !ReadPoints(list.get(), points))
    return Refuse(u"'points' must be an array of at most %d [x,y] pairs.", GeometryService::kMaxPoints);
  LONG n = WKSPoint::ConstructHullGraham(static_cast<LONG>(points.size()), points.data(), nullptr);
  if (n == 0 && !points.empty()) return E_OUTOFMEMORY;
  // The area is that of the hull as a closed ring.
  std::vector<WKSPoint> ring(points.begin(), points.begin() + n);
  if (n > 0) ring.push_back(ring.front());
  double area = n < 3 ? 0.0 : WKSPoint::AreaCentroid(static_cast<LONG>(ring.size()), ring.data(), nullptr);
  hr = AddPoints(answer.get(), u"hull", points.data(), n);
  if (SUCCEEDED(hr)) hr = answer->AddNumber(u"area", area);
  if (SUCCEEDED(hr)) hr = AddMeasure(answer.get(), u"width", WKSPoint::HullWidth(n, points.data(), nullptr));
  if (SUCCEEDED(hr))
    hr = AddMeasure(answer.get(), u"diameter", WKSPoint::HullLength(n, points.data(), static_cast<LONG *>(nullptr)));
  return SUCCEEDED(hr) ? AnswerJson(answer.get(), body) : hr;
}

HRESULT PointInPolygon(void *, const WCHAR *, RESTResource *, RESTKeys &, WCHAR *operationInput,
                       const WCHAR *format, IJSONObject *, IJSONObject **, VARIANT &body) {
  ComPtr<IJSONObject> input, answer;
  HRESULT hr = StartOperation(operationInput, format, input.put(), answer.put());
  if (FAILED(hr)) return hr;
  WKSPoint p{};
  if (!ReadPoint(input.get(), u"point", p)) return Refuse(u"'point' must be a point {\"x\":...,\"y\":...}.");
  ComPtr<IJSONArray> rings;
  LONG count = 0;
  if (FAILED(input->GetArray(u"rings", rings.put())) || FAILED(rings->GetCount(&count)))
    return Refuse(u"'rings' must be an array of rings, each an array of [x,y] pairs.");
  std::vector<WKSPoint> points;
  std::vector<LONG> counts;
  for (LONG i = 0; i < count; ++i) {
    ComPtr<IJSONArray> ring;
    size_t start = points.size();
    if (FAILED(rings->GetArray(i, ring.put())) || !ReadPoints(ring.get(), points))
      return Refuse(u"Ring %d is not an array of [x,y] pairs (or the rings hold too many points).", i);
    // The test walks the edges between neighbours: a ring given open is closed here.
    if (points.size() > start && (points.back().x != points[start].x || points.back().y != points[start].y))
      points.push_back(points[start]);
    counts.push_back(static_cast<LONG>(points.size() - start));
  }
  bool boundary = false;
  bool inside = p.InsidePolygon(count, counts.data(), points.data(), &boundary);
  hr = answer->AddBoolean(u"contains", inside ? VARIANT_TRUE : VARIANT_FALSE);
  if (SUCCEEDED(hr)) hr = answer->AddString(u"location", boundary ? u"boundary" : inside ? u"interior" : u"exterior");
  return SUCCEEDED(hr) ? AnswerJson(answer.get(), body) : hr;
}

}  // namespace

GeometryService::GeometryService() {
  RESTResource *root = dispatcher_.CreateRESTResource(u"", Root, true);
  const StringArray json = Texts({u"json"});
  root->AddOperation(
      dispatcher_.CreateRESTOperation(u"envelopeUnionArea", EnvelopeUnionArea, Texts({u"envelopes"}), json));
  root->AddOperation(
      dispatcher_.CreateRESTOperation(u"pointInEnvelope", PointInEnvelope, Texts({u"point", u"envelope"}), json));
  root->AddOperation(dispatcher_.CreateRESTOperation(u"convexHull", ConvexHull, Texts({u"points"}), json));
  root->AddOperation(
      dispatcher_.CreateRESTOperation(u"pointInPolygon", PointInPolygon, Texts({u"point", u"rings"}), json));
  dispatcher_.Init(this, root, nullptr);
}

HRESULT GeometryService::GetCLSID(GUID *clsid) {
  if (clsid == nullptr) return E_POINTER;
  *clsid = CLSID_KzGeometryService;
  return S_OK;
}

}  // namespace kzhost
