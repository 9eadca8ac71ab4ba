#include <kzcore/numerics/geometry/wks_envelope.h>

#include <cfloat>
#include <cmath>
#include <numbers>
#include <random>
#include <vector>

#include <gtest/gtest.h>
#include <support/geos_reference.h>

namespace {

// GEOS as the reference for segment tests, clipping and distances.
using kztest::Geos;

void ExpectBox(const WKSEnvelope &b, double x1, double y1, double x2, double y2) {
  EXPECT_TRUE(b.xmin == x1 && b.ymin == y1 && b.xmax == x2 && b.ymax == y2)
      << b.xmin << "," << b.ymin << "," << b.xmax << "," << b.ymax;
}

// A box computed by some operation and the four fields it must hold, exactly.
struct BoxCase {
  const char *what;
  WKSEnvelope got;
  double xmin, ymin, xmax, ymax;
};

void CheckBoxes(const std::vector<BoxCase> &cases) {
  for (const BoxCase &c : cases) {
    SCOPED_TRACE(c.what);
    ExpectBox(c.got, c.xmin, c.ymin, c.xmax, c.ymax);
  }
}

TEST(WKSEnvelope, ConstructionSettersAndGrowth) {
  const WKSPoint pts[] = {{3, 1}, WKSPoint::EmptyPoint(), {-1, 4}, {2, -2}};
  const WKSEnvelope boxes[] = {WKSEnvelope(), WKSEnvelope(0.0, 0.0, 1.0, 1.0), WKSEnvelope(2.0, -1.0, 3.0, 0.5)};
  const double raw[4] = {4, 3, 2, 1};
  const WKSEnvelope o(10.0, -2.0, 11.0, 1.0);
  const WKSEnvelope set[] = {WKSEnvelope(), WKSEnvelope(1.0, 1.0, 2.0, 2.0), WKSEnvelope(),
                             WKSEnvelope(-1.0, 0.0, 0.0, 3.0)};
  CheckBoxes({
      {"corners are normalised", WKSEnvelope(5.0, 6.0, 1.0, 2.0), 1, 2, 5, 6},
      {"corner points are normalised", WKSEnvelope(WKSPoint{4, 1}, WKSPoint{2, 3}), 2, 1, 4, 3},
      {"centre and radius", WKSEnvelope(WKSPoint{1, 1}, 2.0), -1, -1, 3, 3},
      {"a negative radius is not normalised", WKSEnvelope(WKSPoint{1, 1}, -2.0), 3, 3, -1, -1},
      {"centre, width and height", WKSEnvelope(WKSPoint{0, 0}, 4.0, 2.0), -2, -1, 2, 1},
      {"points, the empty one skipped", WKSEnvelope(4, pts), -1, -2, 3, 4},
      {"boxes, the empty one skipped", WKSEnvelope(3, boxes), 0, -1, 3, 1},
      {"an array in field order", WKSEnvelope().PutCoords(raw), 2, 1, 4, 3},
      {"x and y of a 3D box", WKSEnvelopeZ(1, 2, 3, 4, 5, 6), 1, 2, 4, 5},
      // On an empty box one coordinate opens a strip; the same axis closes it later.
      {"put_XMin on an empty box", WKSEnvelope().put_XMin(5), 5, -DBL_MAX, 5, DBL_MAX},
      {"then put_XMax", WKSEnvelope().put_XMin(5).put_XMax(9), 5, -DBL_MAX, 9, DBL_MAX},
      {"put_YMin on an empty box", WKSEnvelope().put_YMin(2), -DBL_MAX, 2, DBL_MAX, 2},
      {"then put_YMax", WKSEnvelope().put_YMin(2).put_YMax(7), -DBL_MAX, 2, DBL_MAX, 7},
      {"then put_XMin: xmax follows", WKSEnvelope().put_YMin(2).put_YMax(7).put_XMin(1), 1, 2, 1, 7},
      {"put_XMin across xmax swaps", WKSEnvelope(0.0, 0.0, 4.0, 4.0).put_XMin(6), 4, 0, 6, 4},
      {"a corner across the opposite one", WKSEnvelope(4.0, 0.0, 6.0, 4.0).put_UpperRight(1, -1), 1, -1, 4, 0},
      {"put_LowerLeft", WKSEnvelope(1.0, -1.0, 4.0, 0.0).put_LowerLeft(2, -3), 2, -3, 4, 0},
      {"a corner of an empty box", WKSEnvelope().put_LowerRight(3, 4), 3, 4, 3, 4},
      {"a negative width extends left", WKSEnvelope(2.0, -3.0, 4.0, 0.0).put_Width(-5), -3, -3, 2, 0},
      {"put_Height keeps ymin", WKSEnvelope(-3.0, -3.0, 2.0, 0.0).put_Height(1), -3, -3, 2, -2},
      {"CenterAt", WKSEnvelope(-3.0, -3.0, 2.0, -2.0).CenterAt(WKSPoint{0.5, 10}), -2, 9.5, 3, 10.5},
      {"Move", WKSEnvelope(-2.0, 9.5, 3.0, 10.5).Move(1, -1), -1, 8.5, 4, 9.5},
      {"AddPoint on an empty box", WKSEnvelope().AddPoint(2, 3), 2, 3, 2, 3},
      {"AddPoint grows", WKSEnvelope().AddPoint(2, 3).AddPoint(-1, 5).AddPoint(4, 0), -1, 0, 4, 5},
      {"operator+", WKSEnvelope(-1.0, 0.0, 4.0, 5.0) + o, -1, -2, 11, 5},
      {"adding an empty box", WKSEnvelope(-1.0, 0.0, 4.0, 5.0) += WKSEnvelope(), -1, 0, 4, 5},
      {"an empty box takes the union", WKSEnvelope().Union(o), 10, -2, 11, 1},
      {"the union of a set", WKSEnvelope::Union(set, 4), -1, 0, 2, 3},
      {"slot 0 is read even for n = 0", WKSEnvelope::Union(set + 1, 0), 1, 1, 2, 2},
  });
  EXPECT_TRUE(WKSEnvelope().IsEmpty());
  EXPECT_TRUE(WKSEnvelope(0, pts).IsEmpty());
  EXPECT_TRUE(WKSEnvelope().AddPoint(WKSPoint::EmptyPoint()).IsEmpty());
  const WKSEnvelope fromEmptyZ = WKSEnvelopeZ();
  EXPECT_TRUE(std::isnan(fromEmptyZ.ymin) && std::isnan(fromEmptyZ.xmax) && std::isnan(fromEmptyZ.ymax));
  WKSEnvelope empty;
  empty.put_Width(3).CenterAt(1, 1).Move(1, 1);
  EXPECT_TRUE(empty.IsEmpty());
  EXPECT_EQ(empty.xmax, 0.0);
}

TEST(WKSEnvelope, ReadersOnEmptyAndNormalBoxes) {
  WKSEnvelope e;
  EXPECT_TRUE(std::isnan(e.XMin()));
  EXPECT_TRUE(std::isnan(e.YMax()));  // the field holds 0, the reader says empty
  EXPECT_EQ(e.Area(), 0.0);
  EXPECT_EQ(e.MaxDimension(), 0.0);
  EXPECT_TRUE(e.Center().IsEmpty() && std::isnan(e.Center().y));
  EXPECT_TRUE(std::isnan(e[2].y));
  double q[4];
  e.QueryCoords(q);
  for (double v : q) EXPECT_TRUE(std::isnan(v));

  WKSEnvelope b(1.0, 2.0, 5.0, 4.0);
  EXPECT_EQ(b.Area(), 8);
  EXPECT_EQ(b.MaxDimension(), 4);
  EXPECT_EQ(b.MinDimension(), 2);
  const std::vector<WKSPoint> mids = {b.Center(), b.MidLeft(), b.MidUpper(), b.MidRight(), b.MidLower()};
  EXPECT_EQ(mids, (std::vector<WKSPoint>{{3, 3}, {1, 3}, {3, 4}, {5, 3}, {3, 2}}));
  // Corners clockwise from the lower left with the index masked, and rings of them.
  const std::vector<WKSPoint> corners = {b[0], b[1], b[2], b[3], b[-1], b[6]};
  EXPECT_EQ(corners, (std::vector<WKSPoint>{{1, 2}, {1, 4}, {5, 4}, {5, 2}, {5, 2}, {5, 4}}));
  std::vector<WKSPoint> ring(5);
  b.QueryCorners(5, ring.data());
  EXPECT_EQ(ring, (std::vector<WKSPoint>{{1, 2}, {1, 4}, {5, 4}, {5, 2}, {1, 2}}));
  b.QueryCorners(5, ring.data(), false);
  EXPECT_EQ(ring, (std::vector<WKSPoint>{{1, 2}, {5, 2}, {5, 4}, {1, 4}, {1, 2}}));
}

TEST(WKSEnvelope, Intersection) {
  const WKSEnvelope a(0.0, 0.0, 4.0, 4.0), b(2.0, 1.0, 6.0, 3.0), far(10.0, 10.0, 11.0, 11.0);
  CheckBoxes({{"overlap", a * b, 2, 1, 4, 3},
              {"a shared side gives a flat box", a * WKSEnvelope(4.0, 0.0, 8.0, 4.0), 4, 0, 4, 4}});
  WKSEnvelope none = a * far;
  EXPECT_TRUE(none.IsEmpty());
  EXPECT_EQ(none.ymax, 4);  // only xmin is written
  EXPECT_TRUE((WKSEnvelope(a) *= WKSEnvelope()).IsEmpty());
  // Intersects is a mutator.
  WKSEnvelope m = a;
  EXPECT_FALSE(m.Intersects(far));
  EXPECT_TRUE(m.IsEmpty());
  m = a;
  EXPECT_TRUE(m.Intersects(b));
  ExpectBox(m, 2, 1, 4, 3);
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

TEST(WKSEnvelope, PredicatesOnEmptyBoxes) {
  WKSEnvelope e, b(0.0, 0.0, 2.0, 2.0);
  EXPECT_FALSE(e.Contains(b));
  EXPECT_FALSE(e.Contains(0.0, 0.0));  // the fields of an empty box hold zeros
  EXPECT_TRUE(b.Contains(e));
  EXPECT_TRUE(e.Disjoint(b) && b.Disjoint(e) && e.Disjoint(e));
  EXPECT_TRUE(e.DisjointInteriors(b));
  EXPECT_FALSE(e.Overlaps(b) || b.Touches(e));
  EXPECT_TRUE(e == WKSEnvelope(1.0).SetEmpty());
  EXPECT_TRUE(e != b);
  // The closed and open point tests serve as the reference of the sampling above; a NaN point is
  // never contained.
  EXPECT_FALSE(b.Contains(WKSPoint::EmptyPoint()));
}

// Segment tests, clipping and distances against GEOS on random segments, points and boxes.
TEST(WKSEnvelope, SegmentsClippingAndDistancesMatchGeos) {
  Geos geos;
  std::mt19937 gen(23);
  std::uniform_real_distribution<double> u(-3, 7), wide(-10, 10);
  const WKSEnvelope box(0.0, 0.0, 4.0, 3.0);
  GEOSGeometry *g = geos.Box(box);
  int crossings = 0;
  for (int i = 0; i < 5000; ++i) {
    const WKSPoint a{u(gen), u(gen)}, b{u(gen), u(gen)};
    SCOPED_TRACE(testing::Message() << a.x << "," << a.y << " " << b.x << "," << b.y);
    GEOSGeometry *s = geos.Segment(a, b);
    GEOSGeometry *inside = GEOSIntersection_r(geos.h(), g, s);
    const bool refDisjoint = !GEOSIntersects_r(geos.h(), g, s);
    EXPECT_EQ(box.Disjoint(a, b), refDisjoint);
    crossings += !refDisjoint && !box.Contains(a) && !box.Contains(b);
    WKSPoint ca = a, cb = b;
    double range[2];
    bool clipped;
    const bool kept = box.ClipLine(ca, cb, 0, range, &clipped);
    EXPECT_EQ(kept, !GEOSisEmpty_r(geos.h(), inside));
    if (kept) {
      double refLength = 0;
      GEOSLength_r(geos.h(), inside, &refLength);
      EXPECT_NEAR(ca.Distance(cb), refLength, 1e-9);
      EXPECT_TRUE(box.Contains(ca) && box.Contains(cb));
      EXPECT_EQ(clipped, !(box.Contains(a) && box.Contains(b)));
      // The clipped ends lie on the segment at the reported parameters.
      EXPECT_NEAR((a + (b - a) * range[0]).Distance(ca), 0, 1e-9);
      EXPECT_NEAR((a + (b - a) * range[1]).Distance(cb), 0, 1e-9);
    }
    GEOSGeom_destroy_r(geos.h(), inside);
    GEOSGeom_destroy_r(geos.h(), s);
    if (i % 10 != 0) continue;
    const WKSEnvelope p(wide(gen), wide(gen), wide(gen), wide(gen)), q(wide(gen), wide(gen), wide(gen), wide(gen));
    GEOSGeometry *gp = geos.Box(p), *gq = geos.Box(q), *ga = geos.Point(a);
    EXPECT_NEAR(p.Distance(q), geos.Distance(gp, gq), 1e-12);
    EXPECT_NEAR(q.Distance(p), geos.Distance(gp, gq), 1e-12);
    EXPECT_NEAR(p.Distance(a), geos.Distance(gp, ga), 1e-12);
    for (GEOSGeometry *x : {gp, gq, ga}) GEOSGeom_destroy_r(geos.h(), x);
  }
  EXPECT_GT(crossings, 100);  // the crossing branches were exercised
  GEOSGeom_destroy_r(geos.h(), g);
  EXPECT_TRUE(WKSEnvelope().Disjoint(WKSPoint{0, 0}, WKSPoint{1, 1}));
  EXPECT_TRUE(box.Disjoint(WKSPoint::EmptyPoint(), WKSPoint{1, 1}));
  EXPECT_TRUE(std::isnan(WKSEnvelope().Distance(WKSPoint{0, 0})));
  EXPECT_TRUE(std::isnan(WKSEnvelope().Distance(WKSEnvelope(1.0))));
}

TEST(WKSEnvelope, ClipLineExtensionsAndPoints) {
  const WKSEnvelope box(0.0, 0.0, 4.0, 4.0);
  struct Case {
    const char *what;
    WKSPoint a, b;
    LONG extension;
    bool kept;
    WKSPoint wantA, wantB;
    double from, to;
    int clipped;  // -1: not looked at
  } cases[] = {
      {"an infinite line is cut at both sides", {1, 1}, {2, 2}, 3, true, {0, 0}, {4, 4}, -1, 3, -1},
      {"open at the start only", {1, 2}, {2, 2}, 1, true, {0, 2}, {2, 2}, -1, 1, 1},
      {"a point inside", {1, 1}, {1, 1}, 0, true, {1, 1}, {1, 1}, 0, 0, -1},
      {"a point outside", {5, 1}, {5, 1}, 0, false, {}, {}, 0, 0, -1},
      {"parallel and outside", {-1, 5}, {9, 5}, 3, false, {}, {}, 0, 0, 0},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.what);
    WKSPoint a = c.a, b = c.b;
    double range[2] = {9, 9};
    bool clipped = true;
    ASSERT_EQ(box.ClipLine(a, b, c.extension, range, &clipped), c.kept);
    if (c.clipped >= 0) {
      EXPECT_EQ(clipped, c.clipped == 1);
    }
    if (!c.kept) continue;
    EXPECT_EQ(a, c.wantA);
    EXPECT_EQ(b, c.wantB);
    EXPECT_EQ(range[0], c.from);
    EXPECT_EQ(range[1], c.to);
  }
}

TEST(WKSEnvelope, ExpandSnapRotateConstrain) {
  const WKSEnvelope b(0.0, 0.0, 2.0, 2.0), four(0.0, 0.0, 4.0, 4.0), turned(0.0, 0.0, 2.0, 1.0);
  CheckBoxes({
      {"expand by ratio 2", WKSEnvelope(b).Expand(2, 2, true), -1, -1, 3, 3},
      {"expand by ratio 1", WKSEnvelope(b).Expand(1, 1, true), 0, 0, 2, 2},
      {"expand and shrink", WKSEnvelope(b).Expand(1, -0.5, false), -1, 0.5, 3, 1.5},
      {"a shrink past the middle collapses", WKSEnvelope(four).Expand(-10, -10, false), 2, 2, 2, 2},
      {"a shrink of exactly half collapses", WKSEnvelope(four).Expand(-2, -1, false), 2, 1, 2, 3},
      {"turned by nothing about another point", WKSEnvelope(turned).Rotate(WKSPoint{5, 5}, 0), 0, 0, 2, 1},
  });
  EXPECT_TRUE(WKSEnvelope().Expand(1, 1, false).IsEmpty());
  EXPECT_EQ(b.Snap(WKSPoint{0.05, 1.95}, 0.1), (WKSPoint{0, 2}));
  EXPECT_EQ(b.Snap(WKSPoint{0.1, 1}, 0.1), (WKSPoint{0.1, 1}));  // exactly tol does not snap

  struct Grid {
    const char *what;
    bool grow;
    double xStep, yStep, xOrigin, yOrigin;
    WKSEnvelope box;
    bool ok;
    double xmin, ymin, xmax, ymax;
  } grids[] = {
      {"outward", true, 1, 0.5, 0, 0.1, WKSEnvelope(0.3, 0.3, 4.6, 2.2), true, 0, 0.1, 5, 2.6},
      {"inward, y step 0 leaves y alone", false, 1, 0, 0, 0, WKSEnvelope(0.3, 0.3, 4.6, 2.2), true, 1, 0.3, 4, 2.2},
      {"inward, no cell fits", false, 1, 1, 0, 0, WKSEnvelope(0.2, 0.2, 0.8, 0.8), false, 0.2, 0.2, 0.8, 0.8},
      {"inward, x fails, y is done", false, 1, 1, 0, 0, WKSEnvelope(0.2, 0.2, 0.8, 3.5), false, 0.2, 1, 0.8, 3},
  };
  for (Grid &g : grids) {
    SCOPED_TRACE(g.what);
    EXPECT_EQ(g.box.Snap(g.grow, g.xStep, g.yStep, g.xOrigin, g.yOrigin), g.ok);
    ExpectBox(g.box, g.xmin, g.ymin, g.xmax, g.ymax);
  }
  EXPECT_FALSE(WKSEnvelope().Snap(true, 1, 1, 0, 0));

  // The box of the turned box: a square turned by 45 degrees, a rectangle by 90.
  WKSEnvelope r(-1.0, -1.0, 1.0, 1.0);
  r.Rotate(WKSPoint{0, 0}, std::numbers::pi / 4);
  EXPECT_NEAR(r.xmax, std::sqrt(2.0), 1e-15);
  EXPECT_NEAR(r.ymin, -std::sqrt(2.0), 1e-15);
  WKSEnvelope q = turned;
  q.Rotate(WKSPoint{0, 0}, std::numbers::pi / 2);
  EXPECT_TRUE(std::fabs(q.xmin + 1) < 1e-15 && std::fabs(q.xmax) < 1e-15 && std::fabs(q.ymax - 2) < 1e-15);

  const WKSEnvelope bounds(0.0, 0.0, 10.0, 10.0);
  WKSEnvelope c(-3.0, 8.0, 1.0, 12.0), big(-5.0, 2.0, 20.0, 3.0);
  EXPECT_TRUE(c.Constrain(bounds));
  ExpectBox(c, 0, 6, 4, 10);
  EXPECT_FALSE(c.Constrain(bounds));
  EXPECT_TRUE(big.Constrain(bounds));
  ExpectBox(big, 0, 2, 10, 3);
}

TEST(WKSEnvelope, BoundaryWalk) {
  const WKSEnvelope b(0.0, 0.0, 4.0, 2.0);  // perimeter 12
  const struct {
    double d;
    LONG side;
    WKSPoint p;
  } walk[] = {{1, 0, {0, 1}}, {2, 1, {0, 2}},  // the height lands on the upper left corner
              {5, 1, {3, 2}}, {7, 2, {4, 1}}, {9, 3, {3, 0}},
              {13, 4, {0, 1}}};  // a second round is not masked
  for (const auto &w : walk) {
    WKSPoint p;
    EXPECT_EQ(b.PointOnWindow(w.d, p), w.side) << w.d;
    EXPECT_EQ(p, w.p) << w.d;
    EXPECT_EQ(b.EnvelopeSide(w.d), w.side & 3) << w.d;
  }
  WKSPoint p;
  EXPECT_EQ(WKSEnvelope().PointOnWindow(1, p), -1);
  EXPECT_EQ(WKSEnvelope().EnvelopeSide(1), -1);
  // What would never end is refused.
  EXPECT_EQ(WKSEnvelope(1.0, 1.0).PointOnWindow(0, p), -1);
  EXPECT_EQ(b.PointOnWindow(HUGE_VAL, p), -1);
  EXPECT_TRUE(p.IsEmpty());

  // BoundaryDistance inverts PointOnWindow within one round.
  for (double d : {0.0, 0.5, 2.0, 3.25, 6.0, 7.5, 8.0, 11.0, 11.75}) {
    ASSERT_GE(b.PointOnWindow(d, p), 0);
    EXPECT_DOUBLE_EQ(b.BoundaryDistance(p), d) << d;
  }
  // A point off the boundary goes to the nearest side first (a tie moves y); outside it is clamped.
  const struct {
    WKSPoint p, projected;
    double distance;
  } off[] = {{{1, 0.9}, {1, 0}, 11},         {{0.5, 1}, {0, 1}, 1},     {{-5, 1.5}, {0, 1.5}, 1.5},
             {{9, 9}, {4, 2}, 6},            {{1, 1}, {1, 0}, 11},      {{3.5, 1.25}, {4, 1.25}, 6.75}};
  for (const auto &o : off) {
    EXPECT_EQ(b.BoundaryDistance(o.p), o.distance) << o.p.x << "," << o.p.y;
    WKSPoint q = o.p;
    b.ProjectToBoundary(q);
    EXPECT_EQ(q, o.projected) << o.p.x << "," << o.p.y;
  }
  EXPECT_TRUE(std::isnan(WKSEnvelope().BoundaryDistance(WKSPoint{0, 0})));
  EXPECT_TRUE(std::isnan(b.BoundaryDistance(WKSPoint::EmptyPoint())));
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
  // The upper left corner and the steps along the top, reached by running addition.
  EXPECT_TRUE(std::fabs(out[2].y - 0.3) < 1e-15 && std::fabs(out[3].x - 1) < 1e-15 && std::fabs(out[4].x - 2) < 1e-15);
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
  EXPECT_TRUE(wide.GeometriesIntersectBasedOnEnvelopes(tall) && tall.GeometriesIntersectBasedOnEnvelopes(wide));
  EXPECT_EQ(wide.UpperLimitForMinDistBetweenGeometriesBasedOnEnvelopes(tall), 0.0);
  EXPECT_FALSE(wide.GeometriesIntersectBasedOnEnvelopes(WKSEnvelope()));
  // Side by side with overlapping y: at most the far x span.
  WKSEnvelope a(0.0, 0.0, 1.0, 1.0), b(2.0, 0.0, 3.0, 1.0);
  EXPECT_DOUBLE_EQ(a.UpperLimitForMinDistBetweenGeometriesBasedOnEnvelopes(b), std::sqrt(2.0));
  // Diagonal neighbours: the farthest corner pair is (0,0)-(6,6); of the corners beside those,
  // the nearest pair is (0,1)-(5,6) (or (1,0)-(6,5)).
  EXPECT_DOUBLE_EQ(a.UpperLimitForMinDistBetweenGeometriesBasedOnEnvelopes(WKSEnvelope(5.0, 5.0, 6.0, 6.0)),
                   std::sqrt(5.0 * 5.0 + 5.0 * 5.0));
}

// WKSEnvelopeZ.

TEST(WKSEnvelopeZ, ConstructionReadersAndCorners) {
  WKSEnvelopeZ e;
  EXPECT_TRUE(e.IsEmpty());
  EXPECT_FALSE(e.ValidZ());
  EXPECT_EQ(e.MaxDimension(), 0.0);
  WKSEnvelopeZ b(4, 5, 6, 1, 2, 3);  // normalised: see the corners below
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

  const std::vector<WKSPointZ> corners = {b.XminYminZmin(), b.XminYmaxZmin(), b.XmaxYmaxZmin(), b.XmaxYminZmin(),
                                          b.XminYminZmax(), b.XmaxYmaxZmax(), b[9]};
  EXPECT_EQ(corners,
            (std::vector<WKSPointZ>{{1, 2, 3}, {1, 5, 3}, {4, 5, 3}, {4, 2, 3}, {1, 2, 6}, {4, 5, 6}, {1, 5, 3}}));
  // Opposite corners are the ends of a space diagonal.
  for (int i = 0; i < 8; ++i) EXPECT_EQ(b[i].DistanceSquared(b[WKSEnvelopeZ::OppositeCorner(i)]), 27) << i;
  // The neighbour table as it stands: corner 0 has its true neighbours, corner 2 lists itself.
  const int neighbours[][3] = {{0, 0, 3}, {0, 1, 1}, {0, 2, 4}, {2, 0, 2}, {2, 1, 3}, {4, 2, 0}, {7, 2, 3}};
  for (const auto &n : neighbours) EXPECT_EQ(b.NeighborCorner(n[0], n[1]), b[n[2]]) << n[0] << "," << n[1];
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
  const WKSEnvelopeZ b(0, 0, 0, 4, 4, 4);
  EXPECT_EQ(WKSEnvelopeZ(b).Expand(-10, -10, 1, false), WKSEnvelopeZ(-6, -6, -1, 10, 10, 5));  // crossing sides swap
  EXPECT_EQ(WKSEnvelopeZ(b).Expand(WKSPointZ{2, 1, 3}, true), WKSEnvelopeZ(-2, 0, -4, 6, 4, 8));
  WKSEnvelopeZ e = WKSEnvelopeZ(b).Expand(1, 1, kEmptyValue, false);
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
