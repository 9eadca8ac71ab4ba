// GEOS as the reference of the geometry tests: one context for a test's life, and the library's
// points, boxes and rings turned into GEOS geometries. Every geometry made here is the caller's to
// destroy with GEOSGeom_destroy_r(geos.h(), g).
#pragma once

#include <geos_c.h>

#include <vector>

#include <kzcore/numerics/geometry/wks_envelope.h>
#include <kzcore/numerics/geometry/wks_point.h>

namespace kztest {

class Geos {
 public:
  Geos() : h_(GEOS_init_r()) {}
  ~Geos() { GEOS_finish_r(h_); }
  Geos(const Geos &) = delete;
  Geos &operator=(const Geos &) = delete;
  GEOSContextHandle_t h() const { return h_; }

  GEOSCoordSequence *Sequence(const WKSPoint *p, size_t n) const {
    GEOSCoordSequence *s = GEOSCoordSeq_create_r(h_, static_cast<unsigned>(n), 2);
    for (size_t i = 0; i < n; ++i) GEOSCoordSeq_setXY_r(h_, s, static_cast<unsigned>(i), p[i].x, p[i].y);
    return s;
  }
  GEOSGeometry *Point(const WKSPoint &p) const { return GEOSGeom_createPointFromXY_r(h_, p.x, p.y); }
  GEOSGeometry *Points(const std::vector<WKSPoint> &p) const {
    std::vector<GEOSGeometry *> g;
    for (const WKSPoint &q : p) g.push_back(Point(q));
    return GEOSGeom_createCollection_r(h_, GEOS_MULTIPOINT, g.data(), static_cast<unsigned>(g.size()));
  }
  GEOSGeometry *Segment(const WKSPoint &a, const WKSPoint &b) const {
    const WKSPoint ends[] = {a, b};
    return GEOSGeom_createLineString_r(h_, Sequence(ends, 2));
  }
  GEOSGeometry *Line(const std::vector<WKSPoint> &p) const {
    return GEOSGeom_createLineString_r(h_, Sequence(p.data(), p.size()));
  }
  GEOSGeometry *Lines(const std::vector<std::vector<WKSPoint>> &parts) const {
    std::vector<GEOSGeometry *> g;
    for (const auto &part : parts) g.push_back(Line(part));
    return GEOSGeom_createCollection_r(h_, GEOS_MULTILINESTRING, g.data(), static_cast<unsigned>(g.size()));
  }
  // The first ring is the shell, the others holes; each closed by repeating its first point.
  GEOSGeometry *Polygon(const std::vector<std::vector<WKSPoint>> &rings) const {
    GEOSGeometry *shell = GEOSGeom_createLinearRing_r(h_, Sequence(rings[0].data(), rings[0].size()));
    std::vector<GEOSGeometry *> holes;
    for (size_t i = 1; i < rings.size(); ++i)
      holes.push_back(GEOSGeom_createLinearRing_r(h_, Sequence(rings[i].data(), rings[i].size())));
    return GEOSGeom_createPolygon_r(h_, shell, holes.data(), static_cast<unsigned>(holes.size()));
  }
  GEOSGeometry *Box(const WKSEnvelope &b) const { return GEOSGeom_createRectangle_r(h_, b.xmin, b.ymin, b.xmax, b.ymax); }

  // The coordinates of a line, or of a polygon's shell.
  std::vector<WKSPoint> Coordinates(const GEOSGeometry *g) const {
    const GEOSGeometry *ring = GEOSGeomTypeId_r(h_, g) == GEOS_POLYGON ? GEOSGetExteriorRing_r(h_, g) : g;
    const GEOSCoordSequence *s = GEOSGeom_getCoordSeq_r(h_, ring);
    unsigned n = 0;
    GEOSCoordSeq_getSize_r(h_, s, &n);
    std::vector<WKSPoint> out(n);
    for (unsigned i = 0; i < n; ++i) GEOSCoordSeq_getXY_r(h_, s, i, &out[i].x, &out[i].y);
    return out;
  }
  WKSPoint Xy(const GEOSGeometry *point) const {
    WKSPoint p;
    GEOSGeomGetX_r(h_, point, &p.x);
    GEOSGeomGetY_r(h_, point, &p.y);
    return p;
  }
  double Distance(const GEOSGeometry *a, const GEOSGeometry *b) const {
    double d = -1;
    GEOSDistance_r(h_, a, b, &d);
    return d;
  }
  // 1 when `area` holds p in its interior, 0 on its boundary, -1 outside.
  int Locate(const GEOSGeometry *area, const WKSPoint &p) const {
    GEOSGeometry *point = Point(p);
    int where = GEOSContains_r(h_, area, point) == 1 ? 1 : GEOSIntersects_r(h_, area, point) == 1 ? 0 : -1;
    GEOSGeom_destroy_r(h_, point);
    return where;
  }
  // The area the boxes cover together (boxes without area add nothing).
  double UnionArea(const std::vector<WKSEnvelope> &boxes) const {
    std::vector<GEOSGeometry *> parts;
    for (const WKSEnvelope &b : boxes)
      if (!b.IsEmpty() && b.Area() > 0) parts.push_back(Box(b));
    if (parts.empty()) return 0;
    GEOSGeometry *all =
        GEOSGeom_createCollection_r(h_, GEOS_GEOMETRYCOLLECTION, parts.data(), static_cast<unsigned>(parts.size()));
    GEOSGeometry *merged = GEOSUnaryUnion_r(h_, all);
    double area = 0;
    GEOSArea_r(h_, merged, &area);
    GEOSGeom_destroy_r(h_, merged);
    GEOSGeom_destroy_r(h_, all);
    return area;
  }

 private:
  GEOSContextHandle_t h_;
};

}  // namespace kztest
