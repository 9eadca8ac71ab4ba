#include <geos_c.h>

#include <cmath>
#include <vector>

#include <gtest/gtest.h>

#include <kzcore/numerics/random/random_generator.h>

namespace {

// Uniformity over a figure: points are counted in the cells of a grid over the figure's box and
// compared (chi-square) with the counts that the area of each cell within the figure predicts,
// the areas coming from GEOS. Cells expecting fewer than 5 points are left out.
class UniformityCheck {
 public:
  explicit UniformityCheck(const std::vector<std::vector<WKSPoint>> &polygons) : h_(GEOS_init_r()) {
    std::vector<GEOSGeometry *> parts;
    for (const auto &ring : polygons) {
      GEOSCoordSequence *s = GEOSCoordSeq_create_r(h_, static_cast<unsigned>(ring.size() + 1), 2);
      for (size_t i = 0; i <= ring.size(); ++i) {
        const WKSPoint &p = ring[i % ring.size()];
        GEOSCoordSeq_setXY_r(h_, s, static_cast<unsigned>(i), p.x, p.y);
        box_.AddPoint(p);
      }
      parts.push_back(GEOSGeom_createPolygon_r(h_, GEOSGeom_createLinearRing_r(h_, s), nullptr, 0));
    }
    GEOSGeometry *all = GEOSGeom_createCollection_r(h_, GEOS_GEOMETRYCOLLECTION, parts.data(),
                                                    static_cast<unsigned>(parts.size()));
    figure_ = GEOSUnaryUnion_r(h_, all);
    GEOSGeom_destroy_r(h_, all);
    GEOSArea_r(h_, figure_, &area_);
  }
  ~UniformityCheck() {
    GEOSGeom_destroy_r(h_, figure_);
    GEOS_finish_r(h_);
  }
  double Area() const { return area_; }
  bool Inside(const WKSPoint &p) const {
    GEOSGeometry *g = GEOSGeom_createPointFromXY_r(h_, p.x, p.y);
    // Points on the edge count: rounding may put them a hair outside.
    double d = 0;
    GEOSDistance_r(h_, figure_, g, &d);
    GEOSGeom_destroy_r(h_, g);
    return d < 1e-9;
  }
  // The chi-square statistic less its critical value at p = 0.001 (negative passes).
  double Excess(const std::vector<WKSPoint> &pts, int cells) const {
    std::vector<int> count(cells * cells);
    double w = box_.Width() / cells, hgt = box_.Height() / cells;
    for (const WKSPoint &p : pts) {
      int i = std::min(cells - 1, int((p.x - box_.xmin) / w));
      int j = std::min(cells - 1, int((p.y - box_.ymin) / hgt));
      count[i * cells + j]++;
    }
    double chi = 0;
    int df = -1;
    for (int i = 0; i < cells; ++i)
      for (int j = 0; j < cells; ++j) {
        double x = box_.xmin + i * w, y = box_.ymin + j * hgt;
        GEOSGeometry *c = GEOSGeom_createRectangle_r(h_, x, y, x + w, y + hgt);
        GEOSGeometry *in = GEOSIntersection_r(h_, figure_, c);
        double a = 0;
        GEOSArea_r(h_, in, &a);
        GEOSGeom_destroy_r(h_, in);
        GEOSGeom_destroy_r(h_, c);
        double e = pts.size() * a / area_;
        if (e < 5) continue;
        chi += (count[i * cells + j] - e) * (count[i * cells + j] - e) / e;
        ++df;
      }
    // Wilson-Hilferty approximation of the 0.999 quantile.
    double z = 3.09, k = df;
    double critical = k * std::pow(1 - 2 / (9 * k) + z * std::sqrt(2 / (9 * k)), 3);
    return chi - critical;
  }

 private:
  GEOSContextHandle_t h_;
  GEOSGeometry *figure_ = nullptr;
  WKSEnvelope box_;
  double area_ = 0;
};

// Draws points from `draw`, checks the first ones lie in the figure, and the whole set for
// uniformity on a grid of cells x cells.
template <class Draw>
void ExpectUniform(const UniformityCheck &figure, Draw draw, int cells = 10) {
  std::vector<WKSPoint> pts;
  for (int i = 0; i < 40000; ++i) pts.push_back(draw());
  for (int i = 0; i < 500; ++i) ASSERT_TRUE(figure.Inside(pts[i])) << pts[i].x << "," << pts[i].y;
  EXPECT_LT(figure.Excess(pts, cells), 0);
}

TEST(RandomPoints, BoxAndSegment) {
  RandomGenerator g(1, veskRandomGeneratorMersenneTwister);
  WKSEnvelope box(-2.0, 1.0, 6.0, 3.0);
  ExpectUniform(UniformityCheck({{box[0], box[1], box[2], box[3]}}), [&] { return g.RandomPoint(box); });
  WKSPoint e = g.RandomPoint(WKSEnvelope());
  EXPECT_TRUE(std::isnan(e.x) && std::isnan(e.y));

  // On a segment: a*u + b*(1-u) with one draw.
  RandomGenerator twin(1, veskRandomGeneratorMersenneTwister);
  WKSPoint a{0, 0}, b{4, 2};
  double u = twin.Uniform01();
  RandomGenerator h(1, veskRandomGeneratorMersenneTwister);
  WKSPoint p = h.RandomPoint(a, b);
  EXPECT_EQ(p, a * u + b * (1 - u));
  EXPECT_EQ(h.Uniform01(), twin.Uniform01());
}

TEST(RandomPoints, TrianglesAndQuadranglesAreUniform) {
  RandomGenerator g(2, veskRandomGeneratorMersenneTwister);
  WKSPoint t[3] = {{0, 0}, {5, 1}, {1, 4}};
  ExpectUniform(UniformityCheck({{t[0], t[1], t[2]}}), [&] { return g.RandomPoint(t[0], t[1], t[2]); });

  // A convex quadrangle, and a concave one whose 0-2 diagonal lies outside it.
  const std::vector<std::vector<WKSPoint>> quads = {
      {{0, 0}, {6, 0}, {5, 3}, {1, 4}},
      {{0, 0}, {2, 1}, {4, 0}, {2, 4}},  // 1 is the reflex corner: split along 1-3
      {{2, 1}, {4, 0}, {2, 4}, {0, 0}},  // the same figure starting elsewhere: split along 0-2
  };
  for (const auto &q : quads) ExpectUniform(UniformityCheck({q}), [&] { return g.RandomPoint(q.data()); });
}

TEST(RandomPoints, FiguresOfPointSets) {
  RandomGenerator g(3, veskRandomGeneratorMersenneTwister);
  // The hull of scattered points, given in no order and with inner points.
  std::vector<WKSPoint> cloud = {{0, 0}, {3, 1}, {1, 1}, {6, 2}, {4, 5}, {2, 2}, {1, 4}, {-1, 3}, {3, 3}};
  UniformityCheck hull({{{0, 0}, {6, 2}, {4, 5}, {1, 4}, {-1, 3}}});
  double area = 0;
  ExpectUniform(hull, [&] { return g.RandomConvexHullPoint(cloud.data(), LONG(cloud.size()), &area); });
  EXPECT_NEAR(area, hull.Area(), 1e-12);
  // Collinear points: on the segment between the extremes. One point: itself.
  WKSPoint line[] = {{1, 1}, {3, 3}, {2, 2}, {0, 0}};
  for (int i = 0; i < 100; ++i) {
    WKSPoint p = g.RandomConvexHullPoint(line, 4, &area);
    ASSERT_EQ(p.x, p.y);
    ASSERT_GE(p.x, 0);
    ASSERT_LE(p.x, 3);
  }
  EXPECT_EQ(area, 0);
  EXPECT_EQ(g.RandomConvexHullPoint(line, 1, nullptr), line[0]);
  EXPECT_TRUE(g.RandomConvexHullPoint(line, 0, nullptr).IsEmpty());

  // Triangles of consecutive triples, of unequal size and apart from each other.
  std::vector<WKSPoint> tris = {{0, 0}, {2, 0}, {0, 2}, {3, 0}, {9, 0}, {3, 6}, {0, 3}, {1, 3}, {0, 4}, {7, 7}};
  UniformityCheck triCheck({{tris[0], tris[1], tris[2]}, {tris[3], tris[4], tris[5]}, {tris[6], tris[7], tris[8]}});
  ExpectUniform(triCheck, [&] { return g.RandomTriangulationPoint(tris.data(), 10, &area); }, 12);
  EXPECT_NEAR(area, triCheck.Area(), 1e-12);

  // Quadrangles of consecutive quadruples.
  std::vector<WKSPoint> quads = {{0, 0}, {4, 0}, {4, 1}, {0, 1}, {5, 0}, {8, 0}, {7, 5}, {6, 4}};
  UniformityCheck quadCheck({{quads[0], quads[1], quads[2], quads[3]}, {quads[4], quads[5], quads[6], quads[7]}});
  ExpectUniform(quadCheck, [&] { return g.RandomQuadrangulationPoint(quads.data(), 8, &area); }, 12);
  EXPECT_NEAR(area, quadCheck.Area(), 1e-12);

  WKSPoint flat[] = {{0, 0}, {1, 1}, {2, 2}};
  EXPECT_TRUE(g.RandomTriangulationPoint(flat, 3, &area).IsEmpty());
  EXPECT_EQ(area, 0);
  EXPECT_TRUE(g.RandomQuadrangulationPoint(flat, 3, nullptr).IsEmpty());
}

TEST(RandomPoints, SpreadWithALeastDistance) {
  RandomGenerator g(4, veskRandomGeneratorMersenneTwister);
  WKSEnvelope box(0.0, 0.0, 100.0, 50.0);
  std::vector<WKSPoint> pts(3000);
  ULONG n = g.RandomPoints(box, 0.7, 3000, pts.data());
  ASSERT_EQ(n, 3000u);
  pts.resize(n);
  for (size_t i = 0; i < n; ++i) {
    ASSERT_TRUE(box.Contains(pts[i]));
    for (size_t j = 0; j < i; ++j) ASSERT_GE(pts[i].Distance(pts[j]), 0.7);
  }
  UniformityCheck check({{box[0], box[1], box[2], box[3]}});
  EXPECT_LT(check.Excess(pts, 10), 0);

  // A box too small for the count: it fills up and stops.
  std::vector<WKSPoint> few(500);
  ULONG m = g.RandomPoints(WKSEnvelope(0.0, 0.0, 10.0, 10.0), 2.0, 500, few.data());
  EXPECT_GT(m, 15u);
  EXPECT_LT(m, 40u);  // no more than a packing of 2-discs allows
  for (ULONG i = 0; i < m; ++i)
    for (ULONG j = 0; j < i; ++j) ASSERT_GE(few[i].Distance(few[j]), 2.0);
  // A flat box and a distance wider than the box.
  m = g.RandomPoints(WKSEnvelope(0.0, 5.0, 10.0, 5.0), 1.0, 100, few.data());
  EXPECT_LE(m, 11u);
  EXPECT_GE(m, 5u);
  m = g.RandomPoints(WKSEnvelope(0.0, 0.0, 1e-9, 1.0), 3.0, 10, few.data());
  EXPECT_EQ(m, 1u);
  // No distance: every point is placed.
  EXPECT_EQ(g.RandomPoints(box, 0, 100, few.data()), 100u);
  EXPECT_EQ(g.RandomPoints(WKSEnvelope(), 1, 100, few.data()), 0u);
}

}  // namespace
