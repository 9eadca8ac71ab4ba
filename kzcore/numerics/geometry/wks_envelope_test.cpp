#include <kzcore/numerics/geometry/wks_envelope.h>

#include <geos_c.h>

#include <cfloat>
#include <cmath>
#include <numbers>
#include <random>
#include <vector>

#include <gtest/gtest.h>

namespace {

// GEOS as the reference for segment tests, clipping and distances.
class Geos {
 public:
  Geos() : h_(GEOS_init_r()) {}
  ~Geos() { GEOS_finish_r(h_); }
  GEOSContextHandle_t h() const { return h_; }
  GEOSGeometry *Box(const WKSEnvelope &b) const {
    return GEOSGeom_createRectangle_r(h_, b.xmin, b.ymin, b.xmax, b.ymax);
  }
  GEOSGeometry *Segment(const WKSPoint &a, const WKSPoint &b) const {
    GEOSCoordSequence *s = GEOSCoordSeq_create_r(h_, 2, 2);
    GEOSCoordSeq_setXY_r(h_, s, 0, a.x, a.y);
    GEOSCoordSeq_setXY_r(h_, s, 1, b.x, b.y);
    return GEOSGeom_createLineString_r(h_, s);
  }
  GEOSGeometry *Point(const WKSPoint &p) const { return GEOSGeom_createPointFromXY_r(h_, p.x, p.y); }
  void Free(GEOSGeometry *g) const { GEOSGeom_destroy_r(h_, g); }

 private:
  GEOSContextHandle_t h_;
};

void ExpectBox(const WKSEnvelope &b, double x1, double y1, double x2, double y2) {
  EXPECT_EQ(b.xmin, x1);
  EXPECT_EQ(b.ymin, y1);
  EXPECT_EQ(b.xmax, x2);
  EXPECT_EQ(b.ymax, y2);
}

TEST(WKSEnvelope, ConstructionForms) {
  WKSEnvelope e;
  EXPECT_TRUE(e.IsEmpty());
  EXPECT_EQ(e.ymin, 0.0);
  ExpectBox(WKSEnvelope(3.0), 3, 3, 3, 3);
  ExpectBox(WKSEnvelope(1.0, 2.0), 1, 2, 1, 2);
  ExpectBox(WKSEnvelope(5.0, 6.0, 1.0, 2.0), 1, 2, 5, 6);  // normalised
  ExpectBox(WKSEnvelope(WKSPoint{4, 1}, WKSPoint{2, 3}), 2, 1, 4, 3);
  ExpectBox(WKSEnvelope(WKSPoint{1, 1}, 2.0), -1, -1, 3, 3);
  ExpectBox(WKSEnvelope(WKSPoint{1, 1}, -2.0), 3, 3, -1, -1);  // not normalised
  ExpectBox(WKSEnvelope(WKSPoint{0, 0}, 4.0, 2.0), -2, -1, 2, 1);
  WKSPoint pts[] = {{3, 1}, WKSPoint::EmptyPoint(), {-1, 4}, {2, -2}};
  ExpectBox(WKSEnvelope(4, pts), -1, -2, 3, 4);
  EXPECT_TRUE(WKSEnvelope(0, pts).IsEmpty());
  WKSEnvelope boxes[] = {WKSEnvelope(), WKSEnvelope(0.0, 0.0, 1.0, 1.0), WKSEnvelope(2.0, -1.0, 3.0, 0.5)};
  ExpectBox(WKSEnvelope(3, boxes), 0, -1, 3, 1);
  double raw[4] = {4, 3, 2, 1};
  ExpectBox(WKSEnvelope().PutCoords(raw), 2, 1, 4, 3);
  // From a 3D box: x and y; all empty from an empty one.
  WKSEnvelope from = WKSEnvelopeZ(1, 2, 3, 4, 5, 6);
  ExpectBox(from, 1, 2, 4, 5);
  from = WKSEnvelopeZ();
  EXPECT_TRUE(std::isnan(from.xmin) && std::isnan(from.ymin) && std::isnan(from.xmax) &&
              std::isnan(from.ymax));
}

TEST(WKSEnvelope, ReadersOnEmptyAndNormalBoxes) {
  WKSEnvelope e;
  EXPECT_TRUE(std::isnan(e.XMin()));
  EXPECT_TRUE(std::isnan(e.YMax()));  // the field holds 0, the reader says empty
  EXPECT_EQ(e.Area(), 0.0);
  EXPECT_EQ(e.Width(), 0.0);
  EXPECT_EQ(e.MaxDimension(), 0.0);
  EXPECT_TRUE(e.Center().IsEmpty() && std::isnan(e.Center().y));
  EXPECT_TRUE(std::isnan(e[2].y));
  double q[4];
  e.QueryCoords(q);
  for (double v : q) EXPECT_TRUE(std::isnan(v));

  WKSEnvelope b(1.0, 2.0, 5.0, 4.0);
  EXPECT_EQ(b.Width(), 4);
  EXPECT_EQ(b.Height(), 2);
  EXPECT_EQ(b.Area(), 8);
  EXPECT_EQ(b.MaxDimension(), 4);
  EXPECT_EQ(b.MinDimension(), 2);
  EXPECT_EQ(b.Center(), (WKSPoint{3, 3}));
  EXPECT_EQ(b.MidLeft(), (WKSPoint{1, 3}));
  EXPECT_EQ(b.MidUpper(), (WKSPoint{3, 4}));
  EXPECT_EQ(b.MidRight(), (WKSPoint{5, 3}));
  EXPECT_EQ(b.MidLower(), (WKSPoint{3, 2}));
  // Corners clockwise from the lower left, index masked.
  EXPECT_EQ(b[0], b.LowerLeft());
  EXPECT_EQ(b[1], b.UpperLeft());
  EXPECT_EQ(b[2], b.UpperRight());
  EXPECT_EQ(b[3], b.LowerRight());
  EXPECT_EQ(b[-1], b.LowerRight());
  EXPECT_EQ(b[6], b.UpperRight());
  WKSPoint ring[5];
  b.QueryCorners(5, ring);
  EXPECT_EQ(ring[4], ring[0]);
  b.QueryCorners(5, ring, false);
  EXPECT_EQ(ring[0], b.LowerLeft());
  EXPECT_EQ(ring[1], b.LowerRight());
  EXPECT_EQ(ring[2], b.UpperRight());
  EXPECT_EQ(ring[3], b.UpperLeft());
  EXPECT_EQ(ring[4], b.LowerLeft());
}

TEST(WKSEnvelope, SettersAndOpenStrips) {
  WKSEnvelope e;
  e.put_XMin(5);
  ExpectBox(e, 5, -DBL_MAX, 5, DBL_MAX);
  e.put_XMax(9);
  ExpectBox(e, 5, -DBL_MAX, 9, DBL_MAX);
  // A strip opened in y: a later ymax closes the other end onto it.
  WKSEnvelope s;
  s.put_YMin(2);
  ExpectBox(s, -DBL_MAX, 2, DBL_MAX, 2);
  s.put_YMax(7);
  ExpectBox(s, -DBL_MAX, 2, DBL_MAX, 7);
  s.put_XMin(1);  // xmax is DBL_MAX: it follows
  ExpectBox(s, 1, 2, 1, 7);

  WKSEnvelope b(0.0, 0.0, 4.0, 4.0);
  b.put_XMin(6);  // crosses xmax: swapped
  ExpectBox(b, 4, 0, 6, 4);
  b.put_UpperRight(WKSPoint{1, -1});  // across the opposite corner
  ExpectBox(b, 1, -1, 4, 0);
  b.put_LowerLeft(2, -3);
  ExpectBox(b, 2, -3, 4, 0);
  WKSEnvelope c;
  c.put_LowerRight(3, 4);
  ExpectBox(c, 3, 4, 3, 4);
  b.put_Width(-5);
  ExpectBox(b, -3, -3, 2, 0);
  b.put_Height(1);
  ExpectBox(b, -3, -3, 2, -2);
  b.CenterAt(WKSPoint{0.5, 10});
  ExpectBox(b, -2, 9.5, 3, 10.5);
  b.Move(1, -1);
  ExpectBox(b, -1, 8.5, 4, 9.5);
  WKSEnvelope empty;
  empty.put_Width(3).CenterAt(1, 1).Move(1, 1);
  EXPECT_TRUE(empty.IsEmpty());
  EXPECT_EQ(empty.xmax, 0.0);
}

TEST(WKSEnvelope, AddingAndUnion) {
  WKSEnvelope b;
  b.AddPoint(WKSPoint::EmptyPoint());
  EXPECT_TRUE(b.IsEmpty());
  b.AddPoint(2, 3);
  ExpectBox(b, 2, 3, 2, 3);
  b.AddPoint(-1, 5).AddPoint(4, 0);
  ExpectBox(b, -1, 0, 4, 5);
  WKSEnvelope o(10.0, -2.0, 11.0, 1.0);
  ExpectBox(b + o, -1, -2, 11, 5);
  b += WKSEnvelope();
  ExpectBox(b, -1, 0, 4, 5);
  WKSEnvelope e;
  e.Union(o);
  EXPECT_EQ(e, o);
  WKSEnvelope set[] = {WKSEnvelope(), WKSEnvelope(1.0, 1.0, 2.0, 2.0), WKSEnvelope(), WKSEnvelope(-1.0, 0.0, 0.0, 3.0)};
  ExpectBox(WKSEnvelope::Union(set, 4), -1, 0, 2, 3);
  // Slot 0 is read even for n = 0.
  EXPECT_EQ(WKSEnvelope::Union(set + 1, 0), set[1]);
}

TEST(WKSEnvelope, IntersectionAndItsMutatingTest) {
  WKSEnvelope a(0.0, 0.0, 4.0, 4.0), b(2.0, 1.0, 6.0, 3.0), far(10.0, 10.0, 11.0, 11.0);
  ExpectBox(a * b, 2, 1, 4, 3);
  WKSEnvelope touch(4.0, 0.0, 8.0, 4.0);
  WKSEnvelope flat = a * touch;
  EXPECT_FALSE(flat.IsEmpty());
  ExpectBox(flat, 4, 0, 4, 4);
  WKSEnvelope none = a * far;
  EXPECT_TRUE(none.IsEmpty());
  EXPECT_EQ(none.ymin, 0);  // the rest of self is kept
  EXPECT_EQ(none.ymax, 4);
  WKSEnvelope m = a;
  EXPECT_FALSE(m.Intersects(far));
  EXPECT_TRUE(m.IsEmpty());
  m = a;
  EXPECT_TRUE(m.Intersects(b));
  ExpectBox(m, 2, 1, 4, 3);
  m = a;
  m *= WKSEnvelope();
  EXPECT_TRUE(m.IsEmpty());
}

// The relation bits against their geometric meaning, by sampling integer boxes: boundaries of
// boxes with integer corners meet at integer points if at all, and interiors meet at a
// half-integer point if at all.
TEST(WKSEnvelope, RelationMatchesGeometry) {
  std::mt19937 gen(17);
  std::uniform_int_distribution<int> c(0, 6);
  auto onBoundary = [](const WKSEnvelope &b, double x, double y) {
    return b.Contains(x, y) && !b.ProperContains(x, y);
  };
  for (int iter = 0; iter < 3000; ++iter) {
    WKSEnvelope s(c(gen), c(gen), c(gen), c(gen)), o(c(gen), c(gen), c(gen), c(gen));
    if (s.Width() == 0 || s.Height() == 0 || o.Width() == 0 || o.Height() == 0) continue;
    bool boundariesMeet = false, interiorsMeet = false;
    for (int x = 0; x <= 6; ++x)
      for (int y = 0; y <= 6; ++y) {
        if (onBoundary(s, x, y) && onBoundary(o, x, y)) boundariesMeet = true;
        if (s.ProperContains(x + 0.5, y + 0.5) && o.ProperContains(x + 0.5, y + 0.5))
          interiorsMeet = true;
      }
    bool sContainsO = s.xmin <= o.xmin && o.xmax <= s.xmax && s.ymin <= o.ymin && o.ymax <= s.ymax;
    bool oContainsS = o.xmin <= s.xmin && s.xmax <= o.xmax && o.ymin <= s.ymin && s.ymax <= o.ymax;
    LONG flags;
    LONG r = s.FindRelation(o, &flags);
    SCOPED_TRACE(testing::Message() << s.xmin << "," << s.ymin << "," << s.xmax << "," << s.ymax
                                    << " / " << o.xmin << "," << o.ymin << "," << o.xmax << "," << o.ymax);
    EXPECT_EQ((r & 1) != 0, !boundariesMeet);
    EXPECT_EQ((r & 2) != 0, !interiorsMeet);
    EXPECT_EQ((r & 4) != 0, sContainsO);
    EXPECT_EQ((r & 8) != 0, oContainsS);
    EXPECT_EQ(s.Contains(o), sContainsO);
    EXPECT_EQ(s.Disjoint(o), !boundariesMeet && !interiorsMeet);
    EXPECT_EQ(s.Touches(o), boundariesMeet && !interiorsMeet);
    EXPECT_EQ(s.DisjointInteriors(o), !interiorsMeet);
    EXPECT_EQ(s.Overlaps(o), interiorsMeet && !sContainsO && !oContainsS);
    EXPECT_EQ((flags & 1) != 0, o.xmin >= s.xmin);
    EXPECT_EQ((flags & 8) != 0, o.ymin >= s.ymin);
  }
}

TEST(WKSEnvelope, PredicatesOnEmptyAndNamedCases) {
  WKSEnvelope e, b(0.0, 0.0, 2.0, 2.0);
  EXPECT_FALSE(e.Contains(b));
  EXPECT_FALSE(e.Contains(WKSPoint{0, 0}));
  EXPECT_FALSE(e.Contains(0.0, 0.0));  // the fields of an empty box hold zeros
  EXPECT_TRUE(b.Contains(e));
  EXPECT_TRUE(e.Disjoint(b) && b.Disjoint(e) && e.Disjoint(e));
  EXPECT_TRUE(e.DisjointInteriors(b));
  EXPECT_FALSE(e.Overlaps(b) || b.Touches(e));
  EXPECT_TRUE(e.Equals(WKSEnvelope()));
  EXPECT_TRUE(e == WKSEnvelope(1.0).SetEmpty());
  EXPECT_FALSE(e == b);
  EXPECT_TRUE(e != b);
  // Shared side.
  WKSEnvelope side(2.0, 0.0, 3.0, 2.0);
  EXPECT_TRUE(b.Touches(side));
  EXPECT_FALSE(b.Overlaps(side));
  EXPECT_FALSE(b.Disjoint(side));
  EXPECT_TRUE(b.DisjointInteriors(side));
  // Strictly inside.
  WKSEnvelope inner(0.5, 0.5, 1.5, 1.5);
  EXPECT_TRUE(b.Contains(inner));
  EXPECT_FALSE(b.Overlaps(inner));
  EXPECT_FALSE(b.Touches(inner));
  EXPECT_EQ(b.FindRelation(inner, nullptr) & 1, 1);
  // Identical.
  EXPECT_EQ(b.FindRelation(b, nullptr) & 12, 12);
  EXPECT_FALSE(b.Overlaps(b));
  // Points: closed and open tests; NaN never contained.
  EXPECT_TRUE(b.Contains(WKSPoint{2, 0}));
  EXPECT_FALSE(b.ProperContains(WKSPoint{2, 1}));
  EXPECT_TRUE(b.ProperContains(1.0, 1.0));
  EXPECT_FALSE(b.Contains(WKSPoint::EmptyPoint()));
}

TEST(WKSEnvelope, SegmentDisjointMatchesGeos) {
  Geos geos;
  std::mt19937 gen(23);
  std::uniform_real_distribution<double> u(-2, 6);
  WKSEnvelope box(0.0, 0.0, 4.0, 3.0);
  GEOSGeometry *g = geos.Box(box);
  int crossings = 0;
  for (int i = 0; i < 5000; ++i) {
    WKSPoint a{u(gen), u(gen)}, b{u(gen), u(gen)};
    GEOSGeometry *s = geos.Segment(a, b);
    bool ref = !GEOSIntersects_r(geos.h(), g, s);
    EXPECT_EQ(box.Disjoint(a, b), ref) << a.x << "," << a.y << " " << b.x << "," << b.y;
    crossings += !ref && !box.Contains(a) && !box.Contains(b);
    geos.Free(s);
  }
  EXPECT_GT(crossings, 100);  // the crossing branches were exercised
  geos.Free(g);
  EXPECT_TRUE(WKSEnvelope().Disjoint(WKSPoint{0, 0}, WKSPoint{1, 1}));
  EXPECT_TRUE(box.Disjoint(WKSPoint::EmptyPoint(), WKSPoint{1, 1}));
}

TEST(WKSEnvelope, DistancesMatchGeos) {
  Geos geos;
  std::mt19937 gen(29);
  std::uniform_real_distribution<double> u(-10, 10);
  for (int i = 0; i < 500; ++i) {
    WKSEnvelope a(u(gen), u(gen), u(gen), u(gen)), b(u(gen), u(gen), u(gen), u(gen));
    WKSPoint p{u(gen), u(gen)};
    GEOSGeometry *ga = geos.Box(a), *gb = geos.Box(b), *gp = geos.Point(p);
    double ref;
    GEOSDistance_r(geos.h(), ga, gb, &ref);
    EXPECT_NEAR(a.Distance(b), ref, 1e-12);
    EXPECT_NEAR(b.Distance(a), ref, 1e-12);
    GEOSDistance_r(geos.h(), ga, gp, &ref);
    EXPECT_NEAR(a.Distance(p), ref, 1e-12);
    geos.Free(ga);
    geos.Free(gb);
    geos.Free(gp);
  }
  EXPECT_TRUE(std::isnan(WKSEnvelope().Distance(WKSPoint{0, 0})));
  EXPECT_TRUE(std::isnan(WKSEnvelope().Distance(WKSEnvelope(1.0))));
}

TEST(WKSEnvelope, ClipLineMatchesGeos) {
  Geos geos;
  std::mt19937 gen(31);
  std::uniform_real_distribution<double> u(-3, 7);
  WKSEnvelope box(0.0, 0.0, 4.0, 3.0);
  GEOSGeometry *g = geos.Box(box);
  for (int i = 0; i < 2000; ++i) {
    WKSPoint a{u(gen), u(gen)}, b{u(gen), u(gen)};
    WKSPoint ca = a, cb = b;
    double range[2];
    bool clipped;
    bool kept = box.ClipLine(ca, cb, 0, range, &clipped);
    GEOSGeometry *s = geos.Segment(a, b);
    GEOSGeometry *inside = GEOSIntersection_r(geos.h(), g, s);
    double refLength = 0;
    GEOSLength_r(geos.h(), inside, &refLength);
    EXPECT_EQ(kept, !GEOSisEmpty_r(geos.h(), inside));
    if (kept) {
      EXPECT_NEAR(ca.Distance(cb), refLength, 1e-9);
      EXPECT_TRUE(box.Contains(ca) && box.Contains(cb));
      EXPECT_EQ(clipped, !(box.Contains(a) && box.Contains(b)));
      // The clipped ends lie on the segment at the reported parameters.
      WKSPoint pa = a + (b - a) * range[0], pb = a + (b - a) * range[1];
      EXPECT_NEAR(pa.Distance(ca), 0, 1e-9);
      EXPECT_NEAR(pb.Distance(cb), 0, 1e-9);
    }
    geos.Free(inside);
    geos.Free(s);
  }
  geos.Free(g);
}

TEST(WKSEnvelope, ClipLineExtensionsAndPoints) {
  WKSEnvelope box(0.0, 0.0, 4.0, 4.0);
  // An infinite line through the box is cut at both sides.
  WKSPoint a{1, 1}, b{2, 2};
  double range[2];
  EXPECT_TRUE(box.ClipLine(a, b, 3, range, nullptr));
  EXPECT_EQ(a, (WKSPoint{0, 0}));
  EXPECT_EQ(b, (WKSPoint{4, 4}));
  EXPECT_EQ(range[0], -1);
  EXPECT_EQ(range[1], 3);
  // Open only at the start: the end stays where it was.
  a = WKSPoint{1, 2};
  b = WKSPoint{2, 2};
  bool clipped;
  EXPECT_TRUE(box.ClipLine(a, b, 1, range, &clipped));
  EXPECT_EQ(a, (WKSPoint{0, 2}));
  EXPECT_EQ(b, (WKSPoint{2, 2}));
  EXPECT_TRUE(clipped);
  // A point.
  a = b = WKSPoint{1, 1};
  range[0] = range[1] = 9;
  EXPECT_TRUE(box.ClipLine(a, b, 0, range, nullptr));
  EXPECT_EQ(range[0], 0);
  EXPECT_EQ(range[1], 0);
  a = b = WKSPoint{5, 1};
  EXPECT_FALSE(box.ClipLine(a, b, 0, nullptr, nullptr));
  // Parallel and outside.
  a = WKSPoint{-1, 5};
  b = WKSPoint{9, 5};
  EXPECT_FALSE(box.ClipLine(a, b, 3, nullptr, &clipped));
  EXPECT_FALSE(clipped);
}

TEST(WKSEnvelope, ExpandSnapRotateConstrain) {
  WKSEnvelope b(0.0, 0.0, 2.0, 2.0);
  ExpectBox(WKSEnvelope(b).Expand(2, 2, true), -1, -1, 3, 3);
  ExpectBox(WKSEnvelope(b).Expand(1, 1, true), 0, 0, 2, 2);
  ExpectBox(WKSEnvelope(b).Expand(1, -0.5, false), -1, 0.5, 3, 1.5);
  WKSEnvelope four(0.0, 0.0, 4.0, 4.0);
  ExpectBox(four.Expand(-10, -10, false), 2, 2, 2, 2);
  ExpectBox(WKSEnvelope(0.0, 0.0, 4.0, 4.0).Expand(-2, -1, false), 2, 1, 2, 3);  // exactly half
  EXPECT_TRUE(WKSEnvelope().Expand(1, 1, false).IsEmpty());

  WKSPoint s = b.Snap(WKSPoint{0.05, 1.95}, 0.1);
  EXPECT_EQ(s, (WKSPoint{0, 2}));
  EXPECT_EQ(b.Snap(WKSPoint{0.1, 1}, 0.1), (WKSPoint{0.1, 1}));  // exactly tol does not snap

  WKSEnvelope g(0.3, 0.3, 4.6, 2.2);
  EXPECT_TRUE(g.Snap(true, 1, 0.5, 0, 0.1));
  ExpectBox(g, 0, 0.1, 5, 2.6);
  WKSEnvelope in(0.3, 0.3, 4.6, 2.2);
  EXPECT_TRUE(in.Snap(false, 1, 0, 0, 0));  // y step 0: y left alone
  ExpectBox(in, 1, 0.3, 4, 2.2);
  WKSEnvelope small(0.2, 0.2, 0.8, 0.8);
  EXPECT_FALSE(small.Snap(false, 1, 1, 0, 0));
  ExpectBox(small, 0.2, 0.2, 0.8, 0.8);
  WKSEnvelope mixed(0.2, 0.2, 0.8, 3.5);
  EXPECT_FALSE(mixed.Snap(false, 1, 1, 0, 0));  // x fails, y still done
  ExpectBox(mixed, 0.2, 1, 0.8, 3);
  EXPECT_FALSE(WKSEnvelope().Snap(true, 1, 1, 0, 0));

  // The box of the turned box: a square turned by 45 degrees about its centre.
  WKSEnvelope r(-1.0, -1.0, 1.0, 1.0);
  r.Rotate(WKSPoint{0, 0}, std::numbers::pi / 4);
  EXPECT_NEAR(r.xmax, std::sqrt(2.0), 1e-15);
  EXPECT_NEAR(r.ymin, -std::sqrt(2.0), 1e-15);
  WKSEnvelope q(0.0, 0.0, 2.0, 1.0);
  q.Rotate(WKSPoint{0, 0}, std::numbers::pi / 2);
  EXPECT_NEAR(q.xmin, -1, 1e-15);
  EXPECT_NEAR(q.xmax, 0, 1e-15);
  EXPECT_NEAR(q.ymax, 2, 1e-15);
  WKSEnvelope same(0.0, 0.0, 2.0, 1.0);
  same.Rotate(WKSPoint{5, 5}, 0);
  ExpectBox(same, 0, 0, 2, 1);

  WKSEnvelope bounds(0.0, 0.0, 10.0, 10.0);
  WKSEnvelope c(-3.0, 8.0, 1.0, 12.0);
  EXPECT_TRUE(c.Constrain(bounds));
  ExpectBox(c, 0, 6, 4, 10);
  EXPECT_FALSE(c.Constrain(bounds));
  WKSEnvelope big(-5.0, 2.0, 20.0, 3.0);
  EXPECT_TRUE(big.Constrain(bounds));
  ExpectBox(big, 0, 2, 10, 3);
}

TEST(WKSEnvelope, BoundaryWalk) {
  WKSEnvelope b(0.0, 0.0, 4.0, 2.0);  // perimeter 12
  WKSPoint p;
  EXPECT_EQ(b.PointOnWindow(1, p), 0);
  EXPECT_EQ(p, (WKSPoint{0, 1}));
  EXPECT_EQ(b.PointOnWindow(2, p), 1);  // the height lands on the upper left corner
  EXPECT_EQ(p, (WKSPoint{0, 2}));
  EXPECT_EQ(b.PointOnWindow(5, p), 1);
  EXPECT_EQ(p, (WKSPoint{3, 2}));
  EXPECT_EQ(b.PointOnWindow(7, p), 2);
  EXPECT_EQ(p, (WKSPoint{4, 1}));
  EXPECT_EQ(b.PointOnWindow(9, p), 3);
  EXPECT_EQ(p, (WKSPoint{3, 0}));
  EXPECT_EQ(b.PointOnWindow(13, p), 4);  // a second round is not masked
  EXPECT_EQ(p, (WKSPoint{0, 1}));
  EXPECT_EQ(b.EnvelopeSide(13), 0);
  EXPECT_EQ(b.EnvelopeSide(9), 3);
  EXPECT_EQ(WKSEnvelope().PointOnWindow(1, p), -1);
  EXPECT_EQ(WKSEnvelope().EnvelopeSide(1), -1);
  // What would never end is refused.
  EXPECT_EQ(WKSEnvelope(1.0, 1.0).PointOnWindow(0, p), -1);
  EXPECT_EQ(b.PointOnWindow(HUGE_VAL, p), -1);
  EXPECT_TRUE(p.IsEmpty());

  // BoundaryDistance inverts PointOnWindow within one round.
  for (double d : {0.0, 0.5, 2.0, 3.25, 6.0, 7.5, 8.0, 11.0, 11.75})
    {
    ASSERT_GE(b.PointOnWindow(d, p), 0);
    EXPECT_DOUBLE_EQ(b.BoundaryDistance(p), d) << d;
  }
  // A point off the boundary goes to the nearest side first.
  EXPECT_EQ(b.BoundaryDistance(WKSPoint{1, 0.9}), 11);    // bottom is nearest
  EXPECT_EQ(b.BoundaryDistance(WKSPoint{0.5, 1}), 1);     // left is nearest
  EXPECT_EQ(b.BoundaryDistance(WKSPoint{-5, 1.5}), 1.5);  // clamped onto the left side
  EXPECT_EQ(b.BoundaryDistance(WKSPoint{9, 9}), 6);       // the upper right corner
  EXPECT_TRUE(std::isnan(WKSEnvelope().BoundaryDistance(WKSPoint{0, 0})));
  EXPECT_TRUE(std::isnan(b.BoundaryDistance(WKSPoint::EmptyPoint())));

  WKSPoint q{1, 1};  // a tie between bottom and top, left nearer: x is 1 away, y 1 away
  b.ProjectToBoundary(q);
  EXPECT_EQ(q, (WKSPoint{1, 0}));  // a tie moves y
  q = WKSPoint{3.5, 1.2};
  b.ProjectToBoundary(q);
  EXPECT_EQ(q, (WKSPoint{4, 1.2}));
  q = WKSPoint{4, 2};
  b.ProjectToBoundary(q);
  EXPECT_EQ(q, (WKSPoint{4, 2}));
}

TEST(WKSEnvelope, BoundaryLocationCodes) {
  WKSEnvelope b(0.0, 0.0, 10.0, 10.0);
  const double tol = 0.5;
  struct Case {
    double x, y;
    LONG code;
  } cases[] = {
      {0.2, 5, 0},  {0, 10, 1},   {5, 10.4, 2}, {10, 10, 3}, {9.7, 5, 4},  {10, 0, 5},
      {5, -0.3, 6}, {-0.1, 0.1, 7}, {5, 5, 8},  {20, 5, 9},  {0.2, 50, 0},  // far above, near the left line
  };
  for (const Case &c : cases) EXPECT_EQ(b.BoundaryLocation(WKSPoint{c.x, c.y}, tol), c.code) << c.x << "," << c.y;
}

TEST(WKSEnvelope, Densify) {
  WKSEnvelope b(0.0, 0.0, 3.0, 0.3);
  WKSPoint out[32];
  EXPECT_EQ(b.Densify(-1, 0, 32, out, true), 0);
  EXPECT_EQ(b.Densify(1, 1, 4, out, true), 0);
  EXPECT_EQ(b.Densify(0, 0, 32, out, true), 5);
  EXPECT_EQ(out[2], b.UpperRight());
  LONG n = b.Densify(2, 1, 32, out, true);
  ASSERT_EQ(n, 2 * (2 + 1) + 5);
  EXPECT_EQ(out[0], out[n - 1]);
  // Every point lies on the boundary, in the clockwise walk's order.
  double last = -1;
  for (LONG i = 0; i + 1 < n; ++i) {
    EXPECT_LT(b.BoundaryLocation(out[i], 1e-12), 8) << i;
    double d = b.BoundaryDistance(out[i]);
    EXPECT_GT(d + 1e-12, last) << i;
    last = d;
  }
  EXPECT_NEAR(out[2].y, 0.3, 1e-15);  // the upper left corner reached by running addition
  EXPECT_NEAR(out[3].x, 1.0, 1e-15);
  EXPECT_NEAR(out[4].x, 2.0, 1e-15);
  // Counter-clockwise goes along the bottom first.
  n = b.Densify(2, 1, 32, out, false);
  EXPECT_EQ(out[1], (WKSPoint{1, 0}));
  EXPECT_EQ(out[3], b.LowerRight());
  EXPECT_EQ(out[n - 1], b.LowerLeft());
  // Too little room: the plain ring.
  EXPECT_EQ(b.Densify(10, 10, 20, out, true), 5);
  EXPECT_NEAR(out[2].x, 3.0, 1e-15);
}

TEST(WKSEnvelope, GeometryBounds) {
  WKSEnvelope wide(0.0, 1.0, 10.0, 2.0), tall(4.0, -5.0, 5.0, 5.0);
  EXPECT_TRUE(wide.GeometriesIntersectBasedOnEnvelopes(tall));
  EXPECT_TRUE(tall.GeometriesIntersectBasedOnEnvelopes(wide));
  EXPECT_EQ(wide.UpperLimitForMinDistBetweenGeometriesBasedOnEnvelopes(tall), 0.0);
  EXPECT_FALSE(wide.GeometriesIntersectBasedOnEnvelopes(WKSEnvelope()));
  // Side by side with overlapping y: at most the far x span.
  WKSEnvelope a(0.0, 0.0, 1.0, 1.0), b(2.0, 0.0, 3.0, 1.0);
  EXPECT_DOUBLE_EQ(a.UpperLimitForMinDistBetweenGeometriesBasedOnEnvelopes(b), std::sqrt(2.0));
  // Diagonal neighbours: the farthest corner pair is (0,0)-(6,6); of the corners beside those,
  // the nearest pair is (0,1)-(5,6) (or (1,0)-(6,5)).
  WKSEnvelope c(5.0, 5.0, 6.0, 6.0);
  double d = a.UpperLimitForMinDistBetweenGeometriesBasedOnEnvelopes(c);
  EXPECT_GE(d, a.Distance(c));
  EXPECT_DOUBLE_EQ(d, std::sqrt(5.0 * 5.0 + 5.0 * 5.0));
}

// WKSEnvelopeZ.

TEST(WKSEnvelopeZ, ConstructionReadersAndCorners) {
  WKSEnvelopeZ e;
  EXPECT_TRUE(e.IsEmpty());
  EXPECT_FALSE(e.ValidZ());
  EXPECT_EQ(e.MaxDimension(), 0.0);
  WKSEnvelopeZ b(4, 5, 6, 1, 2, 3);  // normalised
  EXPECT_EQ(b.xmin, 1);
  EXPECT_EQ(b.zmax, 6);
  EXPECT_EQ(b.Range(), (WKSPointZ{3, 3, 3}));
  EXPECT_TRUE(std::isnan(b.Range(3)));
  EXPECT_EQ(b.Center(), (WKSPointZ{2.5, 3.5, 4.5}));
  WKSEnvelopeZ noZ(WKSEnvelope(0.0, 0.0, 2.0, 4.0));
  EXPECT_FALSE(noZ.ValidZ());
  EXPECT_EQ(noZ.MaxDimension(), 4);
  EXPECT_EQ(noZ.MinDimension(), 2);
  EXPECT_TRUE(std::isnan(noZ.Center().z));
  EXPECT_TRUE(WKSEnvelopeZ(WKSEnvelope()).IsEmpty());
  WKSEnvelopeZ tallZ(0, 0, -5, 1, 2, 5);
  EXPECT_EQ(tallZ.MaxDimension(), 10);
  EXPECT_EQ(tallZ.MinDimension(), 1);
  double v[6];
  WKSEnvelopeZ().QueryCoords(v);
  for (double x : v) EXPECT_TRUE(std::isnan(x));

  EXPECT_EQ(b.XminYminZmin(), (WKSPointZ{1, 2, 3}));
  EXPECT_EQ(b.XminYmaxZmin(), (WKSPointZ{1, 5, 3}));
  EXPECT_EQ(b.XmaxYmaxZmin(), (WKSPointZ{4, 5, 3}));
  EXPECT_EQ(b.XmaxYminZmin(), (WKSPointZ{4, 2, 3}));
  EXPECT_EQ(b.XminYminZmax(), (WKSPointZ{1, 2, 6}));
  EXPECT_EQ(b.XmaxYmaxZmax(), (WKSPointZ{4, 5, 6}));
  EXPECT_EQ(b[9], b[1]);
  // Opposite corners are the ends of a space diagonal.
  for (int i = 0; i < 8; ++i) {
    WKSPointZ p = b[i], q = b[WKSEnvelopeZ::OppositeCorner(i)];
    EXPECT_EQ(p.DistanceSquared(q), 27) << i;
  }
  // The neighbour table as it stands: corner 0 has its true neighbours, corner 2 lists itself.
  EXPECT_EQ(b.NeighborCorner(0, 0), b[3]);
  EXPECT_EQ(b.NeighborCorner(0, 1), b[1]);
  EXPECT_EQ(b.NeighborCorner(0, 2), b[4]);
  EXPECT_EQ(b.NeighborCorner(2, 0), b[2]);
  EXPECT_EQ(b.NeighborCorner(2, 1), b[3]);
  EXPECT_EQ(b.NeighborCorner(4, 2), b[0]);
  EXPECT_EQ(b.NeighborCorner(7, 2), b[3]);
  EXPECT_TRUE(b.NeighborCorner(8, 0).IsEmpty());
  EXPECT_TRUE(b.NeighborCorner(0, 3).IsEmpty());

  WKSEnvelopeZ c;
  c.put_XminYminZmin(WKSPointZ{1, 1, 1});
  EXPECT_EQ(c, WKSEnvelopeZ(1, 1, 1, 1, 1, 1));
  c.put_XminYminZmin(WKSPointZ{3, 0, 0});
  EXPECT_EQ(c, WKSEnvelopeZ(1, 0, 0, 3, 1, 1));
  c.ScaleZs(4);
  EXPECT_EQ(c.zmax, 4);
  c.PutZs(-1, 2);
  EXPECT_EQ(c.zmin, -1);
  EXPECT_EQ(c.CenterAboutOrigin(), WKSEnvelopeZ(-1, -0.5, -1.5, 1, 0.5, 1.5));
}

TEST(WKSEnvelopeZ, RelationsWithAndWithoutZ) {
  WKSEnvelopeZ a(0, 0, 0, 4, 4, 4), inner(1, 1, 1, 2, 2, 2), above(1, 1, 5, 2, 2, 6);
  LONG flags;
  EXPECT_EQ(a.FindRelation(inner, &flags) & 5, 5);
  EXPECT_EQ(flags, 63);
  EXPECT_EQ(a.FindRelation(above, &flags) & 7, 3);  // apart in z only
  EXPECT_EQ(flags, 31);                             // zmax 4 < 6: flag 32 missing
  EXPECT_TRUE(a.Disjoint(above));
  EXPECT_FALSE(a.Contains(above));
  WKSEnvelopeZ onTop(1, 1, 4, 2, 2, 6);
  EXPECT_EQ(a.FindRelation(onTop, nullptr) & 3, 2);  // touching in z
  EXPECT_FALSE(a.Disjoint(onTop));
  // Without z on one side the z range is left out.
  WKSEnvelopeZ flat(1, 1, 0, 2, 2, 0);
  flat.SetInvalidZ();
  EXPECT_FALSE(a.Disjoint(flat));
  EXPECT_EQ(a.FindRelation(flat, &flags) & 4, 4);
  EXPECT_EQ(flags, 15);
  EXPECT_TRUE(a.Contains(flat));
  EXPECT_FALSE(flat.Contains(inner));  // inner has a z that flat cannot span
  // Points.
  EXPECT_TRUE(a.Contains(WKSPointZ{1, 1, 1}));
  EXPECT_FALSE(a.Contains(WKSPointZ{1, 1, 5}));
  EXPECT_FALSE(a.Contains(WKSPointZ{1, 1, kEmptyValue}));  // exactly one z valid
  EXPECT_TRUE(flat.Contains(WKSPointZ{1, 1, kEmptyValue}));
  EXPECT_FALSE(flat.Contains(WKSPointZ{1, 1, 0}));
  EXPECT_FALSE(WKSEnvelopeZ().Contains(WKSPointZ{0, 0, 0}));
  EXPECT_TRUE(a.Contains(WKSEnvelopeZ()));
  EXPECT_TRUE(WKSEnvelopeZ().Disjoint(a));
  // Intersect and Union.
  WKSEnvelopeZ i = a;
  i.Intersect(WKSEnvelopeZ(2, 2, 3, 6, 6, 9));
  EXPECT_EQ(i, WKSEnvelopeZ(2, 2, 3, 4, 4, 4));
  i = a;
  i.Intersect(flat);
  EXPECT_FALSE(i.ValidZ());
  EXPECT_EQ(i.xmin, 1);
  i = a;
  i.Intersect(above);
  EXPECT_TRUE(i.IsEmpty());
  WKSEnvelopeZ u = flat;
  u.Union(above);
  EXPECT_EQ(u, WKSEnvelopeZ(1, 1, 5, 2, 2, 6));
  u.Union(WKSEnvelopeZ(WKSEnvelope(-1.0, 0.0, 0.0, 0.0)));  // no z: self's z stays
  EXPECT_EQ(u, WKSEnvelopeZ(-1, 0, 5, 2, 2, 6));
  u.AddPoint(WKSPointZ{0, 9, -1});
  EXPECT_EQ(u, WKSEnvelopeZ(-1, 0, -1, 2, 9, 6));
}

TEST(WKSEnvelopeZ, ExpandAndDistance) {
  WKSEnvelopeZ b(0, 0, 0, 4, 4, 4);
  WKSEnvelopeZ e = b;
  e.Expand(-10, -10, 1, false);  // sides cross and swap instead of collapsing
  EXPECT_EQ(e, WKSEnvelopeZ(-6, -6, -1, 10, 10, 5));
  e = b;
  e.Expand(WKSPointZ{2, 1, 3}, true);
  EXPECT_EQ(e, WKSEnvelopeZ(-2, 0, -4, 6, 4, 8));
  e = b;
  e.Expand(1, 1, kEmptyValue, false);
  EXPECT_FALSE(e.ValidZ());
  EXPECT_EQ(e.xmin, -1);

  EXPECT_EQ(b.Distance(WKSPointZ{7, 8, 4}), 5);
  EXPECT_EQ(b.Distance(WKSPointZ{7, 8, kEmptyValue}), 5);
  EXPECT_EQ(b.Distance(WKSPointZ{5, 6, 6}), 3);
  EXPECT_EQ(b.Distance(WKSEnvelopeZ(5, 6, 6, 9, 9, 9)), 3);
  EXPECT_EQ(b.Distance(WKSEnvelopeZ(-3, -4, 0, -3, -4, 0)), 5);
  EXPECT_TRUE(std::isnan(b.Distance(WKSEnvelopeZ())));
  EXPECT_TRUE(std::isnan(WKSEnvelopeZ().Distance(WKSPointZ{0, 0, 0})));
}

TEST(WKSEnvelopeZ, GeometriesIntersect) {
  WKSEnvelopeZ x(0, 4, 4, 10, 5, 5), y(4, 0, 0, 5, 10, 10);
  // Crossing beams in x-y, but x lies within y's z range and not the other way round.
  EXPECT_FALSE(x.GeometriesIntersectBasedOnEnvelopes(y));
  WKSEnvelopeZ slab(4, 0, 4.5, 5, 10, 4.6);
  EXPECT_TRUE(x.GeometriesIntersectBasedOnEnvelopes(slab));
  WKSEnvelopeZ xNoZ = x;
  xNoZ.SetInvalidZ();
  EXPECT_TRUE(xNoZ.GeometriesIntersectBasedOnEnvelopes(y));
}

// Geometries that touch every face of their box are modelled as point sets with a random point on
// each face plus a few inside; the bound must hold for every such pair.
TEST(WKSEnvelopeZ, UpperLimitIsAnUpperBound) {
  std::mt19937 gen(41);
  std::uniform_real_distribution<double> u(-10, 10), unit(0, 1);
  auto randomBox = [&] {
    WKSPointZ a{u(gen), u(gen), u(gen)}, b{u(gen), u(gen), u(gen)};
    if (unit(gen) < 0.2) b.z = a.z;  // flat boxes too
    return WKSEnvelopeZ(a, b);
  };
  auto touchingSet = [&](const WKSEnvelopeZ &b) {
    std::vector<WKSPointZ> pts;
    const double lo[3] = {b.xmin, b.ymin, b.zmin}, hi[3] = {b.xmax, b.ymax, b.zmax};
    for (int face = 0; face < 6; ++face) {
      int repeats = 1 + static_cast<int>(unit(gen) * 3);
      for (int r = 0; r < repeats; ++r) {
        double c[3];
        for (int k = 0; k < 3; ++k) c[k] = lo[k] + unit(gen) * (hi[k] - lo[k]);
        c[face / 2] = (face & 1) ? hi[face / 2] : lo[face / 2];
        pts.push_back(WKSPointZ{c[0], c[1], c[2]});
      }
    }
    return pts;
  };
  int tight = 0;
  for (int iter = 0; iter < 3000; ++iter) {
    WKSEnvelopeZ a = randomBox(), b = randomBox();
    double bound = a.UpperLimitForMinDistBetweenGeometriesBasedOnEnvelopes(b);
    ASSERT_FALSE(std::isnan(bound));
    EXPECT_GE(bound, a.Distance(b) - 1e-9);
    for (int trial = 0; trial < 5; ++trial) {
      std::vector<WKSPointZ> ga = touchingSet(a), gb = touchingSet(b);
      double best = HUGE_VAL;
      for (auto &p : ga)
        for (auto &q : gb) best = std::min(best, p.Distance(q));
      EXPECT_LE(best, bound + 1e-9) << iter;
      if (best > 0.5 * bound) ++tight;
    }
  }
  EXPECT_GT(tight, 100);  // the bound is not vacuous
}

}  // namespace
