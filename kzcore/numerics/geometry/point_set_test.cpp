#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstring>
#include <limits>
#include <numbers>
#include <random>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>
#include <support/geos_reference.h>

#include <kzcore/numerics/geometry/wks_point.h>

namespace {

using Ring = std::vector<WKSPoint>;

using kztest::Geos;

// A star-shaped ring about c: radii between rmin and rmax at n increasing angles, clockwise or
// not, closed by repeating its first point.
Ring Star(std::mt19937 &gen, WKSPoint c, double rmin, double rmax, int n, bool clockwise) {
  std::uniform_real_distribution<double> r(rmin, rmax), jitter(0.1, 0.9);
  Ring ring;
  for (int i = 0; i < n; ++i) {
    double a = 2 * std::numbers::pi * (i + jitter(gen)) / n * (clockwise ? -1 : 1);
    double rr = r(gen);
    ring.push_back(WKSPoint{c.x + rr * std::cos(a), c.y + rr * std::sin(a)});
  }
  ring.push_back(ring[0]);
  return ring;
}

// A valid polygon: a clockwise star shell of radius 60 to 100 and up to four counter-clockwise
// holes of radius up to 8 within 50 of the centre, apart from each other.
std::vector<Ring> RandomPolygon(std::mt19937 &gen, WKSPoint c, int shellVertices) {
  std::vector<Ring> rings{Star(gen, c, 60, 100, shellVertices, true)};
  std::uniform_real_distribution<double> pos(-35, 35);
  std::vector<WKSPoint> centres;
  for (int tries = 0; tries < 12 && centres.size() < 4; ++tries) {
    WKSPoint h{c.x + pos(gen), c.y + pos(gen)};
    bool apart = true;
    for (const WKSPoint &o : centres) apart = apart && h.Distance(o) > 17;
    if (!apart) continue;
    centres.push_back(h);
    rings.push_back(Star(gen, h, 3, 8, 12, false));
  }
  return rings;
}

std::vector<LONG> Counts(const std::vector<Ring> &rings) {
  std::vector<LONG> counts;
  for (const Ring &r : rings) counts.push_back(static_cast<LONG>(r.size()));
  return counts;
}

Ring Flatten(const std::vector<Ring> &rings) {
  Ring all;
  for (const Ring &r : rings) all.insert(all.end(), r.begin(), r.end());
  return all;
}

// The distance from q to the segment a-b, computed apart from the library: the projection
// parameter clamped to the segment, then the distance to the foot.
double SegmentDistance(WKSPoint q, WKSPoint a, WKSPoint b) {
  double dx = b.x - a.x, dy = b.y - a.y, l2 = dx * dx + dy * dy;
  double t = l2 == 0 ? 0 : std::clamp(((q.x - a.x) * dx + (q.y - a.y) * dy) / l2, 0.0, 1.0);
  return std::hypot(q.x - (a.x + t * dx), q.y - (a.y + t * dy));
}

TEST(PointSet, AreaIntersectAndParallelDistance) {
  WKSPoint a{0, 0}, b{0, 1}, c{1, 0};
  EXPECT_EQ(WKSPoint::Area(a, b, c), 0.5);  // clockwise
  EXPECT_EQ(WKSPoint::Area(a, c, b), -0.5);
  WKSPoint abc[] = {a, b, c};
  EXPECT_EQ(WKSPoint::Area(abc), 0.5);
  double t, u;
  EXPECT_TRUE(WKSPoint::Intersect({0, 0}, {2, 2}, {0, 2}, {2, 0}, &t, &u));
  EXPECT_EQ(t, 0.5);
  EXPECT_EQ(u, 0.5);
  EXPECT_TRUE(WKSPoint::Intersect({0, 0}, {2, 2}, {2, 2}, {3, 0}, &t, &u));  // ends count
  EXPECT_FALSE(WKSPoint::Intersect({0, 0}, {1, 1}, {0, 4}, {4, 0}, &t, &u));
  EXPECT_EQ(t, 2);
  EXPECT_FALSE(WKSPoint::Intersect({0, 0}, {1, 1}, {0, 1}, {1, 2}, &t, &u));
  EXPECT_TRUE(std::isnan(t) && std::isnan(u));
  EXPECT_TRUE(WKSPoint::Intersect({0, 0}, {2, 2}, {0, 2}, {2, 0}, nullptr, nullptr));
  // (3, 4) from the line through the origin at 45 degrees: |3 - 4| / sqrt 2.
  EXPECT_NEAR(WKSPoint::DistanceParallelLines({0, 0}, {3, 4}, std::numbers::pi / 4), 1 / std::sqrt(2.0), 1e-15);
  EXPECT_NEAR(WKSPoint::DistanceParallelLines({1, 1}, {5, 3}, 0), 2, 1e-15);
}

TEST(PointSet, ConstructRectangleFromSupportPoints) {
  // Axis-aligned: lines 0 and 2 vertical (angle pi/2) through the left and right points, lines 1
  // and 3 horizontal through the top and bottom ones.
  WKSPoint p[] = {{0, 3}, {2, 5}, {4, 1}, {1, 0}};
  WKSPoint::ConstructRectangle(p, std::numbers::pi / 2);
  WKSPoint expected[] = {{0, 5}, {4, 5}, {4, 0}, {0, 0}};
  for (int i = 0; i < 4; ++i) {
    EXPECT_NEAR(p[i].x, expected[i].x, 1e-15) << i;
    EXPECT_NEAR(p[i].y, expected[i].y, 1e-15) << i;
  }
}

TEST(PointSet, NeighboursAndEmptyPoints) {
  WKSPoint e = WKSPoint::EmptyPoint();
  WKSPoint p[] = {{1, 1}, e, {2, 2}, {2, 2}, {2, 2}, e, {3, 3}, {3, 3}, {1, 1}};
  EXPECT_EQ(WKSPoint::MakeNeighborsUnique(9, p), 5);
  // The empty point ahead of the first repeat stays, the later one goes.
  EXPECT_EQ(p[0], (WKSPoint{1, 1}));
  EXPECT_TRUE(p[1].IsEmpty());
  EXPECT_EQ(p[2], (WKSPoint{2, 2}));
  EXPECT_EQ(p[3], (WKSPoint{3, 3}));
  EXPECT_EQ(p[4], (WKSPoint{1, 1}));
  WKSPoint q[] = {{1, 1}, {2, 2}};
  EXPECT_EQ(WKSPoint::MakeNeighborsUnique(2, q), 2);
  EXPECT_EQ(WKSPoint::MakeNeighborsUnique(-3, q), -3);
  WKSPoint same[] = {{4, 4}, {4, 4}, {4, 4}, {4, 4}};
  WKSPoint *ptr[] = {&same[0], &same[1], &same[2], &same[3]};
  EXPECT_EQ(WKSPoint::MakeNeighborsUnique(4, ptr), 1);
  EXPECT_EQ(ptr[0], &same[0]);

  WKSPoint src[] = {e, {1, 0}, e, e, {2, 0}, {3, 0}};
  WKSPoint dst[6];
  EXPECT_EQ(WKSPoint::MoveNonEmptyPoints(6, src, dst), 3);
  EXPECT_EQ(dst[2], (WKSPoint{3, 0}));
  WKSPoint inPlace[] = {{0, 0}, {1, 0}, e, {2, 0}};
  EXPECT_EQ(WKSPoint::MoveNonEmptyPoints(4, inPlace, nullptr), 3);
  EXPECT_EQ(inPlace[2], (WKSPoint{2, 0}));
  WKSPoint *ptrs[] = {&src[0], &src[1], nullptr, &src[5]};
  WKSPoint *kept[4];
  EXPECT_EQ(WKSPoint::MoveNonEmptyPoints(4, ptrs, kept), 2);
  EXPECT_EQ(kept[1], &src[5]);
}

TEST(PointSet, ConvexityAndTriangleWidth) {
  WKSPoint cw[] = {{0, 0}, {0, 1}, {1, 1}, {1, 0}}, ccw[] = {{0, 0}, {1, 0}, {1, 1}, {0, 1}};
  WKSPoint flat[] = {{0, 0}, {0, 1}, {0, 2}, {1, 1}}, twins[] = {{1, 1}, {1, 1}};
  EXPECT_TRUE(WKSPoint::IsConvex(4, cw) && WKSPoint::IsConvex(1, cw) && WKSPoint::IsConvex(2, cw));
  EXPECT_FALSE(WKSPoint::IsConvex(4, ccw));
  EXPECT_FALSE(WKSPoint::IsConvex(4, flat));  // strictly clockwise only
  EXPECT_FALSE(WKSPoint::IsConvex(2, twins));
  // A 3-4-5 right triangle: the least height is the one onto the hypotenuse, 12 / 5.
  EXPECT_EQ(WKSPoint::TriangleWidth({0, 0}, {0, 3}, {4, 0}), 12.0 / 5);
  EXPECT_EQ(WKSPoint::TriangleWidth({0, 0}, {1, 1}, {3, 3}), 0);
}

// Each hull vertex is an input point, the order is strictly clockwise from the lowest point, and
// the set is GEOS's.
void ExpectHullLikeGeos(const Geos &geos, const std::vector<WKSPoint> &input, double tolerance) {
  std::vector<WKSPoint> work = input;
  std::vector<LONG> indices(input.size());
  LONG n = WKSPoint::ConstructHullGraham(static_cast<LONG>(work.size()), work.data(), indices.data());
  GEOSGeometry *points = geos.Points(input);
  GEOSGeometry *hull = GEOSConvexHull_r(geos.h(), points);
  std::vector<WKSPoint> ref = geos.Coordinates(hull);
  if (ref.size() > 1 && ref.front() == ref.back()) ref.pop_back();
  GEOSGeom_destroy_r(geos.h(), hull);
  GEOSGeom_destroy_r(geos.h(), points);
  ASSERT_EQ(static_cast<size_t>(n), ref.size()) << input.size();
  auto near = [tolerance](WKSPoint a, WKSPoint b) {
    return std::fabs(a.x - b.x) <= tolerance * (1 + std::fabs(b.x)) &&
           std::fabs(a.y - b.y) <= tolerance * (1 + std::fabs(b.y));
  };
  for (LONG i = 0; i < n; ++i) {
    EXPECT_TRUE(std::any_of(ref.begin(), ref.end(), [&](WKSPoint r) { return near(work[i], r); }))
        << work[i].x << " " << work[i].y;
    EXPECT_TRUE(near(work[i], input[indices[i]]));
  }
  if (n >= 3) {
    EXPECT_TRUE(WKSPoint::IsConvex(n, work.data()));
  }
  for (const WKSPoint &q : input)
    EXPECT_FALSE(q.y < work[0].y || (q.y == work[0].y && q.x < work[0].x - tolerance));
}

TEST(PointSet, HullMatchesGeos) {
  Geos geos;
  std::mt19937 gen(17);
  std::uniform_real_distribution<double> u(0, 1000);
  std::uniform_int_distribution<int> grid(0, 12);
  for (int rep = 0; rep < 40; ++rep) {
    int n = 3 + rep * 7;
    // On a grid of multiples of 1/1024 the moves by the pivot are exact: the same points.
    std::vector<WKSPoint> exact, coarse, disk;
    for (int i = 0; i < n; ++i) {
      exact.push_back(WKSPoint{std::round(u(gen) * 1024) / 1024, std::round(u(gen) * 1024) / 1024});
      // Many repeats and collinear points.
      coarse.push_back(WKSPoint{double(grid(gen)), double(grid(gen))});
      double a = u(gen), r = std::sqrt(u(gen) / 1000) * 500;
      disk.push_back(WKSPoint{1e6 + r * std::cos(a), -2e5 + r * std::sin(a)});
    }
    ExpectHullLikeGeos(geos, exact, 0);
    ExpectHullLikeGeos(geos, coarse, 0);
    ExpectHullLikeGeos(geos, disk, 1e-12);
  }
}

TEST(PointSet, HullSmallAndDegenerateSets) {
  // Collinear: the two ends. A triangle given counter-clockwise comes back clockwise from its
  // lowest point.
  WKSPoint line[] = {{2, 2}, {0, 0}, {3, 3}, {1, 1}};
  EXPECT_EQ(WKSPoint::ConstructHullGraham(4, line, nullptr), 2);
  EXPECT_EQ(line[0], (WKSPoint{0, 0}));
  EXPECT_EQ(line[1], (WKSPoint{3, 3}));
  WKSPoint tri[] = {{5, 5}, {0, 1}, {4, 0}};
  LONG idx[6];
  EXPECT_EQ(WKSPoint::ConstructHullGraham(3, tri, idx), 3);
  EXPECT_EQ(tri[0], (WKSPoint{4, 0}));
  EXPECT_EQ(tri[1], (WKSPoint{0, 1}));
  EXPECT_EQ(tri[2], (WKSPoint{5, 5}));
  EXPECT_EQ(idx[0], 2);
  EXPECT_EQ(idx[2], 0);
  // Repeats of the pivot vanish; four equal points give one.
  WKSPoint square[] = {{0, 0}, {0, 0}, {1, 0}, {0, 1}, {0, 0}, {1, 1}};
  EXPECT_EQ(WKSPoint::ConstructHullGraham(6, square, idx), 4);
  WKSPoint four[] = {{3, 3}, {3, 3}, {3, 3}, {3, 3}};
  EXPECT_EQ(WKSPoint::ConstructHullGraham(4, four, nullptr), 1);
  EXPECT_EQ(WKSPoint::ConstructHullGraham(3, nullptr, nullptr), 0);
  // Empty points make no crash and no hang.
  WKSPoint bad[] = {WKSPoint::EmptyPoint(), {1, 0}, {0, 1}, WKSPoint::EmptyPoint(), {1, 1}};
  LONG n = WKSPoint::ConstructHullGraham(5, bad, nullptr);
  EXPECT_GE(n, 1);
  EXPECT_LE(n, 5);
}

// The width and rectangle of a convex polygon by brute force: for each edge direction, the extent
// of the points across it and along it.
struct EdgeBox {
  double across, along;
};
std::vector<EdgeBox> EdgeBoxes(const std::vector<WKSPoint> &hull) {
  std::vector<EdgeBox> out;
  size_t n = hull.size();
  for (size_t i = 0; i < n; ++i) {
    WKSPoint a = hull[i], b = hull[(i + 1) % n];
    double len = a.Distance(b), ux = (b.x - a.x) / len, uy = (b.y - a.y) / len;
    double lo = DBL_MAX, hi = -DBL_MAX, across = 0;
    for (const WKSPoint &q : hull) {
      double s = (q.x - a.x) * ux + (q.y - a.y) * uy;
      lo = std::min(lo, s), hi = std::max(hi, s);
      across = std::max(across, std::fabs((q.x - a.x) * uy - (q.y - a.y) * ux));
    }
    out.push_back(EdgeBox{across, hi - lo});
  }
  return out;
}

TEST(PointSet, CalipersAgreeWithBruteForce) {
  std::mt19937 gen(23);
  std::uniform_real_distribution<double> u(-50, 50);
  for (int rep = 0; rep < 60; ++rep) {
    std::vector<WKSPoint> cloud;
    for (int i = 0; i < 5 + rep * 3; ++i) cloud.push_back(WKSPoint{u(gen), u(gen) * (rep % 3 + 1) * 0.4});
    std::vector<WKSPoint> hull = cloud;
    LONG count;
    double width = WKSPoint::ClusterWidth(static_cast<LONG>(hull.size()), hull.data(), &count, nullptr);
    hull.resize(count);
    std::vector<EdgeBox> boxes = EdgeBoxes(hull);
    double refWidth = DBL_MAX, refArea = DBL_MAX, refLength = 0;
    for (const EdgeBox &b : boxes) refWidth = std::min(refWidth, b.across), refArea = std::min(refArea, b.across * b.along);
    // Over the hull's own points: they are the input moved by the pivot and back, which may differ
    // from the input in the last place.
    for (const WKSPoint &a : hull)
      for (const WKSPoint &b : hull) refLength = std::max(refLength, a.Distance(b));
    EXPECT_NEAR(width, refWidth, 1e-9 * refWidth);
    WKSPoint span[2];
    EXPECT_NEAR(WKSPoint::HullWidth(count, hull.data(), span), width, 0);
    EXPECT_NEAR(span[0].Distance(span[1]), width, 1e-9 * width);
    // The diameter is one of the input distances, found exactly.
    LONG pair[2];
    EXPECT_EQ(WKSPoint::HullLength(count, hull.data(), pair), refLength);
    EXPECT_EQ(hull[pair[0]].Distance(hull[pair[1]]), refLength);
    EXPECT_EQ(WKSPoint::HullLength(count, hull.data(), span), refLength);
    // The least rectangle by area has a side on a hull edge; its corners hold every point.
    WKSPoint rect[4];
    WKSPoint::HullRectangle(count, hull.data(), rect, true);
    double area = rect[0].Distance(rect[1]) * rect[1].Distance(rect[2]);
    EXPECT_NEAR(area, refArea, 1e-9 * refArea);
    for (const WKSPoint &q : cloud)
      for (int i = 0; i < 4; ++i)
        EXPECT_GE(WKSPoint::Area(rect[i], rect[(i + 1) % 4], q), -1e-9 * refArea);
  }
}

TEST(PointSet, CalipersOnSquaresAndSmallHulls) {
  WKSPoint sq[] = {{0, 0}, {0, 1}, {1, 1}, {1, 0}, {0, 0}};
  EXPECT_EQ(WKSPoint::HullWidth(5, sq, nullptr), 1);  // the closing point is dropped
  EXPECT_TRUE(std::isnan(WKSPoint::HullWidth(0, sq, nullptr)));
  WKSPoint span[2];
  EXPECT_EQ(WKSPoint::HullWidth(2, sq, span), 0);
  EXPECT_EQ(span[1], sq[0]);
  LONG pair[2];
  EXPECT_EQ(WKSPoint::HullLength(1, sq, pair), 0);
  EXPECT_EQ(WKSPoint::HullLength(2, sq, pair), 1);
  EXPECT_EQ(pair[1], 1);
  EXPECT_EQ(WKSPoint::HullLength(5, sq, pair), std::sqrt(2.0));
  EXPECT_TRUE(WKSPoint::HullIsDegenerate(4, sq, 1));
  EXPECT_FALSE(WKSPoint::HullIsDegenerate(4, sq, 0.99));
  EXPECT_TRUE(WKSPoint::HullIsDegenerate(2, sq, 0));
  // A square turned by 30 degrees comes back as its own corners.
  double c = std::cos(std::numbers::pi / 6), s = std::sin(std::numbers::pi / 6);
  WKSPoint turned[4];
  WKSPoint corners[] = {{0, 0}, {0, 2}, {2, 2}, {2, 0}};
  for (int i = 0; i < 4; ++i)
    turned[i] = WKSPoint{10 + corners[i].x * c - corners[i].y * s, 5 + corners[i].y * c + corners[i].x * s};
  WKSPoint rect[4];
  for (bool byArea : {true, false}) {
    WKSPoint::HullRectangle(4, turned, rect, byArea);
    for (const WKSPoint &t : turned)
      EXPECT_TRUE(std::any_of(rect, rect + 4, [&](WKSPoint r) { return r.Distance(t) < 1e-12; }));
  }
  WKSPoint::HullRectangle(0, turned, rect, true);
  EXPECT_TRUE(rect[3].IsEmpty());
  WKSPoint::HullRectangle(2, turned, rect, false);
  EXPECT_EQ(rect[1], turned[0]);
  EXPECT_EQ(rect[2], turned[1]);
}

TEST(PointSet, DouglasPoikerMatchesGeosAndKeepsWithinTolerance) {
  Geos geos;
  std::mt19937 gen(31);
  std::normal_distribution<double> step(0, 1);
  for (double tolerance : {0.5, 2.0, 8.0}) {
    for (int rep = 0; rep < 5; ++rep) {
      Ring line;
      double y = 0;
      for (int i = 0; i < 3000; ++i) line.push_back(WKSPoint{i * 0.7, y += step(gen)});
      Ring work = line;
      LONG kept = WKSPoint::DouglasPoiker(static_cast<LONG>(work.size()), work.data(), tolerance);
      std::vector<size_t> keptAt;
      for (size_t i = 0; i < work.size(); ++i)
        if (!work[i].IsEmpty()) keptAt.push_back(i);
      ASSERT_EQ(static_cast<size_t>(kept), keptAt.size());
      EXPECT_EQ(keptAt.front(), 0u);
      EXPECT_EQ(keptAt.back(), line.size() - 1);
      // Every removed vertex within tolerance of the kept segment over it.
      for (size_t k = 0; k + 1 < keptAt.size(); ++k)
        for (size_t j = keptAt[k] + 1; j < keptAt[k + 1]; ++j)
          EXPECT_LT(SegmentDistance(line[j], line[keptAt[k]], line[keptAt[k + 1]]), tolerance);
      // GEOS's simplifier keeps the same vertices.
      GEOSGeometry *g = geos.Line(line);
      GEOSGeometry *simple = GEOSSimplify_r(geos.h(), g, tolerance);
      std::vector<WKSPoint> ref = geos.Coordinates(simple);
      GEOSGeom_destroy_r(geos.h(), simple);
      GEOSGeom_destroy_r(geos.h(), g);
      ASSERT_EQ(ref.size(), keptAt.size());
      for (size_t k = 0; k < ref.size(); ++k) EXPECT_EQ(ref[k], line[keptAt[k]]);
      // Compacted, the kept points come first.
      EXPECT_EQ(WKSPoint::MoveNonEmptyPoints(static_cast<LONG>(work.size()), work.data(), nullptr), kept);
    }
  }
  // A large tolerance keeps the two ends of an open line.
  Ring zig = {{0, 0}, {1, 1}, {2, -1}, {3, 1}, {4, 0}};
  EXPECT_EQ(WKSPoint::DouglasPoiker(5, zig.data(), 10), 2);
  EXPECT_TRUE(zig[2].IsEmpty());
  EXPECT_EQ(WKSPoint::DouglasPoiker(0, zig.data(), 10), 0);
  // A closed ring: both halves first, then the middle vertex goes and the whole ring is measured
  // from its first point. In the square's ring the far corner (the middle vertex) goes: the two
  // corners beside the start are kept, 1 from it.
  Ring ring = {{0, 0}, {0, 1}, {1, 1}, {1, 0}, {0, 0}};
  EXPECT_EQ(WKSPoint::DouglasPoiker(5, ring.data(), 0.5), 4);
  EXPECT_TRUE(ring[2].IsEmpty());
  EXPECT_FALSE(ring[1].IsEmpty());
  EXPECT_FALSE(ring[3].IsEmpty());
  Ring same = {{1, 1}, {1, 1}, {1, 1}};
  EXPECT_EQ(WKSPoint::DouglasPoiker(3, same.data(), 0), 2);
}

// The farthest point by its definition: the foot by ProjectedPoint without extension, the
// distance to it by Distance, the first of the farthest at or beyond the tolerance.
WKSPoint *ReferenceFarthest(WKSPoint *first, WKSPoint *last, double tolerance) {
  double best = 0;
  WKSPoint *found = nullptr;
  for (WKSPoint *q = first + 1; q < last; ++q) {
    double d = q->Distance(q->ProjectedPoint(*first, *last, 0, nullptr, nullptr, nullptr));
    if (d >= tolerance && d > best) best = d, found = q;
  }
  return found;
}

TEST(PointSet, FarthestPointIsTheDefinitionsToTheBit) {
  std::mt19937 gen(37);
  std::uniform_real_distribution<double> u(-1, 1);
  std::uniform_int_distribution<int> pick(0, 9);
  for (double offset : {0.0, 1e6, 1e12, -3e15}) {
    for (int rep = 0; rep < 1000; ++rep) {
      int n = 3 + rep % 40;
      // Down to distances of the size of the rounding of the foot, where only exactness decides.
      double spread = std::pow(10.0, rep % 20 - 16) * (1 + std::fabs(offset) * 1e-15);
      Ring p(n);
      for (int i = 0; i < n; ++i) {
        // Along a segment, with points near and beyond its ends and repeats of them.
        double along = u(gen) * 0.7 + 0.5;
        p[i] = WKSPoint{offset + along * 10, offset + along * 3 + u(gen) * spread};
        if (pick(gen) == 0) p[i] = p[0];
        if (pick(gen) == 0) p[i] = p[n - 1];
      }
      if (rep % 11 == 0) p[n - 1] = p[0];  // a closed ring: no segment at all
      std::vector<double> tolerances = {0.0, spread * 0.5, spread * 2, -1.0, kEmptyValue};
      // Exactly the distance of some point: kept by >=, and nothing may pass it over.
      int j = 1 + rep % (n - 2);
      tolerances.push_back(p[j].Distance(p[j].ProjectedPoint(p[0], p[n - 1], 0, nullptr, nullptr, nullptr)));
      for (double tolerance : tolerances)
        EXPECT_EQ(WKSPoint::DouglasPoikerMaxDistancePointer(&p[0], &p[n - 1], tolerance),
                  ReferenceFarthest(&p[0], &p[n - 1], tolerance))
            << offset << " " << rep << " " << tolerance;
      // Points all about one tiny distance off a sloped segment: which is farthest is decided by
      // the rounding of each foot alone.
      double h = std::pow(10.0, -15 + rep % 4) * (1 + std::fabs(offset) * 1e-15);
      for (int i = 1; i + 1 < n; ++i) {
        double along = (i + u(gen) * 0.4) / n;
        p[i] = WKSPoint{p[0].x + (p[n - 1].x - p[0].x) * along - 0.3 * h, p[0].y + (p[n - 1].y - p[0].y) * along + h};
      }
      for (double tolerance : {0.0, h * 0.5})
        EXPECT_EQ(WKSPoint::DouglasPoikerMaxDistancePointer(&p[0], &p[n - 1], tolerance),
                  ReferenceFarthest(&p[0], &p[n - 1], tolerance))
            << offset << " " << rep << " " << tolerance;
    }
  }
}

TEST(PointSet, Densify) {
  WKSPoint out[8];
  EXPECT_EQ(WKSPoint::Densify({0, 0}, {3, 4}, 2, out), 4);  // 5 / 2: three steps
  EXPECT_EQ(out[0], (WKSPoint{0, 0}));
  EXPECT_EQ(out[3], (WKSPoint{3, 4}));
  for (int i = 1; i < 4; ++i) EXPECT_NEAR(out[i].Distance(out[i - 1]), 5.0 / 3, 1e-15);
  EXPECT_EQ(WKSPoint::Densify({0, 0}, {3, 4}, 5, out), 2);
  EXPECT_EQ(WKSPoint::Densify({0, 0}, {3, 4}, 0, out), 2);  // no length: one step
  EXPECT_EQ(WKSPoint::Densify({0, 0}, {3, 4}, -1, out), 2);
  EXPECT_EQ(WKSPoint::Densify({1, 2}, {1, 2}, 1, out), 1);
  EXPECT_EQ(out[0], (WKSPoint{1, 2}));
  EXPECT_EQ(WKSPoint::Densify({0, 0}, {kEmptyValue, 0}, 1, out), 1);
  EXPECT_TRUE(out[0].IsEmpty());
}

TEST(PointSet, AreaCentroidMatchesGeosOnPolygonsWithHoles) {
  Geos geos;
  std::mt19937 gen(41);
  for (int rep = 0; rep < 40; ++rep) {
    WKSPoint centre = rep % 2 ? WKSPoint{3e6, -4e6} : WKSPoint{0, 0};
    std::vector<Ring> rings = RandomPolygon(gen, centre, 8 + rep);
    GEOSGeometry *poly = geos.Polygon(rings);
    ASSERT_TRUE(GEOSisValid_r(geos.h(), poly));
    double refArea;
    GEOSArea_r(geos.h(), poly, &refArea);
    GEOSGeometry *c = GEOSGetCentroid_r(geos.h(), poly);
    WKSPoint refCentroid = geos.Xy(c);
    GEOSGeom_destroy_r(geos.h(), c);
    GEOSGeom_destroy_r(geos.h(), poly);
    std::vector<LONG> counts = Counts(rings);
    Ring all = Flatten(rings);
    WKSPoint centroid;
    double area = WKSPoint::AreaCentroid(static_cast<LONG>(counts.size()), counts.data(), all.data(), &centroid);
    EXPECT_NEAR(area, refArea, 1e-9 * refArea);
    double scale = std::fabs(centre.x) + std::fabs(centre.y) + 100;
    EXPECT_NEAR(centroid.x, refCentroid.x, 1e-9 * scale);
    EXPECT_NEAR(centroid.y, refCentroid.y, 1e-9 * scale);
    // The shell alone through the one-ring form.
    double shell = WKSPoint::AreaCentroid(counts[0], all.data(), nullptr);
    GEOSGeometry *sp = geos.Polygon({rings[0]});
    double refShell;
    GEOSArea_r(geos.h(), sp, &refShell);
    GEOSGeom_destroy_r(geos.h(), sp);
    EXPECT_NEAR(shell, refShell, 1e-9 * refShell);
  }
  WKSPoint c;
  LONG none = 0;
  EXPECT_EQ(WKSPoint::AreaCentroid(1, &none, nullptr, &c), 0);
  EXPECT_TRUE(c.IsEmpty());
}

TEST(PointSet, InsidePolygonMatchesGeosOffTheBoundary) {
  Geos geos;
  std::mt19937 gen(43);
  std::uniform_real_distribution<double> u(-110, 110);
  for (int rep = 0; rep < 10; ++rep) {
    std::vector<Ring> rings = RandomPolygon(gen, WKSPoint{0, 0}, 40);
    std::vector<LONG> counts = Counts(rings);
    Ring all = Flatten(rings);
    GEOSGeometry *poly = geos.Polygon(rings);
    const GEOSPreparedGeometry *prepared = GEOSPrepare_r(geos.h(), poly);
    GEOSGeometry *edges = GEOSBoundary_r(geos.h(), poly);
    for (int i = 0; i < 500; ++i) {
      WKSPoint q{u(gen), u(gen)};
      GEOSGeometry *pt = GEOSGeom_createPointFromXY_r(geos.h(), q.x, q.y);
      double toEdge;
      GEOSDistance_r(geos.h(), pt, edges, &toEdge);
      bool ref = GEOSPreparedContains_r(geos.h(), prepared, pt) == 1;
      GEOSGeom_destroy_r(geos.h(), pt);
      if (toEdge < 1e-9) continue;
      bool boundary = true;
      EXPECT_EQ(q.InsidePolygon(static_cast<LONG>(counts.size()), counts.data(), all.data(), &boundary), ref);
      EXPECT_FALSE(boundary);
    }
    GEOSGeom_destroy_r(geos.h(), edges);
    GEOSPreparedGeom_destroy_r(geos.h(), prepared);
    GEOSGeom_destroy_r(geos.h(), poly);
  }
}

TEST(PointSet, InsidePolygonOnVerticesAndEdges) {
  Ring square = {{0, 0}, {0, 4}, {4, 4}, {4, 0}, {0, 0}};
  LONG n = 5;
  // A vertex, a vertical edge, inside, outside: {x, y, inside, on the boundary}.
  for (auto [x, y, inside, edge] : {std::tuple{4, 4, true, true}, {0, 2, true, true}, {3, 1, true, false},
                                    {5, 1, false, false}}) {
    bool boundary = !edge;
    EXPECT_EQ((WKSPoint{double(x), double(y)}).InsidePolygon(1, &n, square.data(), &boundary), inside) << x << y;
    EXPECT_EQ(boundary, edge) << x << "," << y;
  }
  EXPECT_FALSE((WKSPoint{1, 1}).InsidePolygon(0, &n, square.data(), nullptr));
}

TEST(PointSet, LinesMatchGeos) {
  Geos geos;
  std::mt19937 gen(47);
  std::uniform_real_distribution<double> u(-100, 100);
  for (int rep = 0; rep < 20; ++rep) {
    std::vector<Ring> parts(1 + rep % 4);
    for (Ring &r : parts)
      for (int i = 0; i < 2 + rep % 7; ++i) r.push_back(WKSPoint{u(gen), u(gen)});
    std::vector<LONG> counts = Counts(parts);
    Ring all = Flatten(parts);
    GEOSGeometry *lines = geos.Lines(parts);
    double refLength;
    GEOSLength_r(geos.h(), lines, &refLength);
    EXPECT_NEAR(WKSPoint::Length(static_cast<LONG>(counts.size()), counts.data(), all.data()), refLength, 1e-12 * refLength);
    // Line centroid of the first part.
    double length;
    WKSPoint c = WKSPoint::LineCentroid(counts[0], all.data(), &length);
    GEOSGeometry *first = geos.Line(parts[0]);
    GEOSGeometry *rc = GEOSGetCentroid_r(geos.h(), first);
    WKSPoint ref = geos.Xy(rc);
    EXPECT_NEAR(c.x, ref.x, 1e-9);
    EXPECT_NEAR(c.y, ref.y, 1e-9);
    GEOSGeom_destroy_r(geos.h(), rc);
    GEOSGeom_destroy_r(geos.h(), first);
    // The nearest point on the whole polyline.
    for (int i = 0; i < 20; ++i) {
      WKSPoint q{u(gen), u(gen)};
      double along, total;
      bool right;
      WKSPoint near = q.QueryPointAndDistance(0, static_cast<LONG>(counts.size()), counts.data(), all.data(), false,
                                              &along, &right, &total);
      GEOSGeometry *pt = GEOSGeom_createPointFromXY_r(geos.h(), q.x, q.y);
      GEOSCoordSequence *pair = GEOSNearestPoints_r(geos.h(), lines, pt);
      WKSPoint refNear;
      GEOSCoordSeq_getXY_r(geos.h(), pair, 0, &refNear.x, &refNear.y);
      EXPECT_NEAR(q.Distance(near), q.Distance(refNear), 1e-9);
      EXPECT_NEAR(total, refLength, 1e-12 * refLength);
      GEOSCoordSeq_destroy_r(geos.h(), pair);
      GEOSGeom_destroy_r(geos.h(), pt);
    }
    GEOSGeom_destroy_r(geos.h(), lines);
  }
  WKSPoint still[] = {{2, 2}, {2, 2}};
  double length = 5;
  EXPECT_TRUE(WKSPoint::LineCentroid(2, still, &length).IsEmpty());
  EXPECT_EQ(length, 0);
}

TEST(PointSet, QueryPointAlongSidesAndTheOneVertexPart) {
  // Two parts: (0,0)-(10,0) and (20,0)-(20,10). Lengths 10 and 10.
  Ring p = {{0, 0}, {10, 0}, {20, 0}, {20, 10}};
  LONG counts[] = {2, 2};
  double along, total;
  bool right;
  WKSPoint near = WKSPoint{4, -3}.QueryPointAndDistance(0, 2, counts, p.data(), false, &along, &right, &total);
  EXPECT_EQ(near, (WKSPoint{4, 0}));
  EXPECT_EQ(along, 4);
  EXPECT_EQ(total, 20);
  EXPECT_TRUE(right);  // below a line running in +x
  near = WKSPoint{19, 6}.QueryPointAndDistance(0, 2, counts, p.data(), true, &along, &right, &total);
  EXPECT_EQ(near, (WKSPoint{20, 6}));
  EXPECT_EQ(along, (10 * 0.6 + 10) / 20);
  EXPECT_FALSE(right);
  // Beyond the end without extension: the end point, with the ratio as it comes (1.5).
  near = WKSPoint{15, 1}.QueryPointAndDistance(0, 1, counts, p.data(), false, &along, &right, &total);
  EXPECT_EQ(near, (WKSPoint{10, 0}));
  EXPECT_EQ(along, 15);
  near = WKSPoint{15, 1}.QueryPointAndDistance(2, 1, counts, p.data(), false, &along, &right, &total);
  EXPECT_EQ(near, (WKSPoint{15, 0}));
  // A part of one vertex measures against the array's first point, wherever the part lies.
  LONG single[] = {2, 1};
  near = WKSPoint{1, 5}.QueryPointAndDistance(0, 2, single, p.data(), false, &along, &right, &total);
  EXPECT_EQ(near, (WKSPoint{1, 0}));  // on the first part: nearer than (0, 0)
  near = WKSPoint{0, 1}.QueryPointAndDistance(0, 2, single, p.data(), false, &along, &right, &total);
  EXPECT_EQ(near, (WKSPoint{0, 0}));  // not (20, 0), the part's own vertex
  WKSPoint none = WKSPoint{1, 1}.QueryPointAndDistance(0, 0, counts, p.data(), false, &along, &right, &total);
  EXPECT_TRUE(none.IsEmpty());
}

// A shape buffer as the family writes it. Two parts keep the points at an offset that is not a
// multiple of 8.
std::vector<unsigned char> ShapeBuffer(const std::vector<Ring> &parts) {
  std::vector<unsigned char> b(44);
  auto put = [&b](size_t at, int v) {
    if (b.size() < at + 4) b.resize(at + 4);
    for (int i = 0; i < 4; ++i) b[at + i] = static_cast<unsigned char>(static_cast<unsigned>(v) >> (8 * i));
  };
  int points = 0;
  put(36, static_cast<int>(parts.size()));
  for (size_t i = 0; i < parts.size(); ++i) {
    put(44 + 4 * i, points);
    points += static_cast<int>(parts[i].size());
  }
  put(40, points);
  for (const Ring &r : parts)
    for (const WKSPoint &q : r) {
      size_t at = b.size();
      b.resize(at + 16);
      std::memcpy(b.data() + at, &q, 16);
    }
  return b;
}

TEST(PointSet, ShapeBuffersReadAsTheArrays) {
  std::mt19937 gen(53);
  std::vector<Ring> rings = RandomPolygon(gen, WKSPoint{7, 7}, 9);
  rings.resize(2);
  std::vector<unsigned char> buffer = ShapeBuffer(rings);
  std::vector<LONG> counts = Counts(rings);
  Ring all = Flatten(rings);
  EXPECT_EQ(WKSPoint::Length(buffer.data()), WKSPoint::Length(2, counts.data(), all.data()));
  WKSPoint a, b;
  EXPECT_EQ(WKSPoint::AreaCentroid(buffer.data(), &a), WKSPoint::AreaCentroid(2, counts.data(), all.data(), &b));
  EXPECT_EQ(a, b);
  // The line centroid weights each part's centroid by its length.
  double l0, l1;
  WKSPoint c0 = WKSPoint::LineCentroid(counts[0], all.data(), &l0);
  WKSPoint c1 = WKSPoint::LineCentroid(counts[1], all.data() + counts[0], &l1);
  WKSPoint lc = WKSPoint::LineCentroid(buffer.data());
  EXPECT_EQ(lc.x, (c0.x * l0 + c1.x * l1) / (l0 + l1));
  EXPECT_EQ(lc.y, (c0.y * l0 + c1.y * l1) / (l0 + l1));
  // Counts that contradict each other: those parts are skipped.
  buffer[44 + 4] = 0xFF;
  EXPECT_EQ(WKSPoint::Length(buffer.data()), 0);
  EXPECT_EQ(WKSPoint::Length(static_cast<const unsigned char *>(nullptr)), 0);
  EXPECT_TRUE(WKSPoint::LineCentroid(static_cast<const unsigned char *>(nullptr)).IsEmpty());
}

// Garbage in: NaN and infinite coordinates, repeats, and a ring that is not a hull (a figure
// eight, whose turns add up to nothing). Every function ends, stays within its arrays (the
// sanitizer build checks), and gives counts within bounds.
TEST(PointSet, BadInputEndsWithinBounds) {
  std::mt19937 gen(59);
  std::uniform_int_distribution<int> pick(0, 9);
  std::uniform_real_distribution<double> u(-5, 5);
  const double inf = std::numeric_limits<double>::infinity();
  auto value = [&]() {
    switch (pick(gen)) {
      case 0: return kEmptyValue;
      case 1: return inf;
      case 2: return -inf;
      case 3: return 0.0;
      default: return std::round(u(gen));
    }
  };
  const Ring eight = {{0, 0}, {1, 1}, {2, 0}, {1, -1}, {0, 0}, {-1, 1}, {-2, 0}, {-1, -1}};
  for (int rep = 0; rep < 300; ++rep) {
    int n = rep < 20 ? static_cast<int>(eight.size()) : 1 + rep % 23;
    Ring p(n);
    for (int i = 0; i < n; ++i) p[i] = rep < 20 ? eight[i] : WKSPoint{value(), value()};
    Ring work = p;
    std::vector<LONG> idx(n);
    LONG h = WKSPoint::ConstructHullGraham(n, work.data(), idx.data());
    EXPECT_GE(h, 0);
    EXPECT_LE(h, n);
    for (LONG i = 0; i < h; ++i) EXPECT_TRUE(idx[i] >= 0 && idx[i] < n);
    WKSPoint span[2], rect[4];
    LONG pair[2] = {-1, -1};
    WKSPoint::HullWidth(n, p.data(), span);
    WKSPoint::HullLength(n, p.data(), pair);
    EXPECT_TRUE(pair[0] >= 0 && pair[0] < n && pair[1] >= 0 && pair[1] < n);
    WKSPoint::HullRectangle(n, p.data(), rect, rep % 2 == 0);
    WKSPoint::HullIsDegenerate(n, p.data(), 0.5);
    WKSPoint::IsConvex(n, p.data());
    work = p;
    LONG kept = WKSPoint::DouglasPoiker(n, work.data(), rep % 3);
    EXPECT_TRUE(kept >= 0 && kept <= n);
    work = p;
    EXPECT_LE(WKSPoint::MakeNeighborsUnique(n, work.data()), n);
    LONG count = n;
    bool boundary;
    WKSPoint{value(), value()}.InsidePolygon(1, &count, p.data(), &boundary);
    double along, total;
    bool right;
    WKSPoint{value(), value()}.QueryPointAndDistance(3, 1, &count, p.data(), true, &along, &right, &total);
    WKSPoint c;
    WKSPoint::AreaCentroid(n, p.data(), &c);
    WKSPoint::LineCentroid(n, p.data(), nullptr);
    WKSPoint out[16];
    WKSPoint a = p[0], b = p[n - 1];
    if (std::isfinite(a.x) && std::isfinite(a.y) && std::isfinite(b.x) && std::isfinite(b.y)) {
      EXPECT_LE(WKSPoint::Densify(a, b, 1, out), 16);
    }
    EXPECT_EQ(WKSPoint::Densify(a, WKSPoint{inf, 0}, 1, out), 1);
  }
}

}  // namespace
