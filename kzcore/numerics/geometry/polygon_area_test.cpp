#include <kzcore/numerics/geometry/polygon_area.h>

#include <cmath>
#include <random>
#include <vector>

#include <gtest/gtest.h>

namespace {

// Clockwise unit square and the same counter-clockwise.
const WKSPoint kSquareCw[] = {{0, 0}, {0, 1}, {1, 1}, {1, 0}};
const WKSPoint kSquareCcw[] = {{0, 0}, {1, 0}, {1, 1}, {0, 1}};

TEST(PolygonAreaAndCentroid, OrientationSignsTheAreaNotTheCentroid) {
  PolygonAreaAndCentroid cw(true), ccw(true);
  cw.AddPoints(4, kSquareCw);
  ccw.AddPoints(4, kSquareCcw);
  EXPECT_EQ(cw.Area(), 1.0);
  EXPECT_EQ(cw.Area(), 1.0);  // closing twice adds nothing
  EXPECT_EQ(ccw.Area(), -1.0);
  EXPECT_EQ(cw.Centroid(), (WKSPoint{0.5, 0.5}));
  EXPECT_EQ(ccw.Centroid(), (WKSPoint{0.5, 0.5}));
  // Given closed, the same: the repeated first point adds 0.
  const WKSPoint closed[] = {{0, 0}, {0, 1}, {1, 1}, {1, 0}, {0, 0}};
  PolygonAreaAndCentroid c;
  c.AddPoints(5, closed);
  EXPECT_EQ(c.Area(), 1.0);
  EXPECT_EQ(c.Centroid(), (WKSPoint{0.5, 0.5}));
}

TEST(PolygonAreaAndCentroid, WithoutCentroidOrAreaTheCentroidIsEmpty) {
  PolygonAreaAndCentroid a(false);
  EXPECT_TRUE(a.IsEmpty());
  a.AddPoints(4, kSquareCw);
  EXPECT_FALSE(a.IsEmpty());
  EXPECT_EQ(a.Area(), 1.0);
  EXPECT_TRUE(a.Centroid().IsEmpty());
  PolygonAreaAndCentroid line;
  const WKSPoint flat[] = {{0, 0}, {1, 1}, {2, 2}};
  line.AddPoints(3, flat);
  EXPECT_EQ(line.Area(), 0.0);
  EXPECT_TRUE(line.Centroid().IsEmpty());
  // One point opens a ring without adding anything; no points change nothing.
  PolygonAreaAndCentroid one;
  one.AddPoints(0, kSquareCw);
  one.AddPoints(3, nullptr);
  EXPECT_TRUE(one.IsEmpty());
  one.AddPoints(1, kSquareCw);
  EXPECT_FALSE(one.IsEmpty());
  one.AddPoints(3, kSquareCw + 1);
  EXPECT_EQ(one.Area(), 1.0);
}

TEST(PolygonAreaAndCentroid, HolesSubtractAndWeight) {
  // A 4 x 4 square with a 2 x 2 hole in its lower left quarter: area 12, centroid at
  // (16 * 2 - 4 * 1) / 12 on both axes.
  const WKSPoint shell[] = {{0, 0}, {0, 4}, {4, 4}, {4, 0}};
  const WKSPoint hole[] = {{0, 0}, {2, 0}, {2, 2}, {0, 2}};
  PolygonAreaAndCentroid a;
  a.AddPoints(4, shell);
  a.StartNewRing();
  a.AddPoints(4, hole);
  EXPECT_EQ(a.Area(), 12.0);
  WKSPoint c = a.Centroid();
  EXPECT_DOUBLE_EQ(c.x, 28.0 / 12);
  EXPECT_DOUBLE_EQ(c.y, 28.0 / 12);
}

TEST(PolygonAreaAndCentroid, PiecesAndAppendGiveTheWholeRings) {
  // Integer coordinates keep the ring sums exact, and the rings reach the totals in the same order,
  // so the results must agree to the bit.
  std::mt19937 gen(4);
  std::uniform_int_distribution<int> c(-50, 50);
  for (int rep = 0; rep < 50; ++rep) {
    std::vector<std::vector<WKSPoint>> rings(3);
    for (auto &r : rings)
      for (int i = 0; i < 7; ++i) r.push_back(WKSPoint{double(c(gen)), double(c(gen))});
    PolygonAreaAndCentroid whole;
    for (auto &r : rings) {
      whole.StartNewRing();
      whole.AddPoints(7, r.data());
    }
    // Ring 1 cut in three pieces; ring 2 begun in one accumulator and finished after Append.
    PolygonAreaAndCentroid first, second;
    first.AddPoints(7, rings[0].data());
    second.AddPoints(2, rings[1].data());
    second.AddPoints(1, rings[1].data() + 2);
    second.AddPoints(4, rings[1].data() + 3);
    second.StartNewRing();
    second.AddPoints(3, rings[2].data());
    first.Append(second);
    first.AddPoints(4, rings[2].data() + 3);
    EXPECT_EQ(first.Area(), whole.Area());
    WKSPoint a = first.Centroid(), b = whole.Centroid();
    if (b.IsEmpty()) continue;
    EXPECT_EQ(a.x, b.x);
    EXPECT_EQ(a.y, b.y);
  }
  // Appending an accumulator with nothing in it leaves the running ring open.
  PolygonAreaAndCentroid a, none;
  a.AddPoints(2, kSquareCw);
  a.Append(none);
  a.AddPoints(2, kSquareCw + 2);
  EXPECT_EQ(a.Area(), 1.0);
  // Appending itself doubles.
  a.Append(a);
  EXPECT_EQ(a.Area(), 2.0);
  EXPECT_EQ(a.Centroid(), (WKSPoint{0.5, 0.5}));
}

TEST(PolygonAreaAndCentroid, FarFromTheOriginKeepsPrecision) {
  // A 1 x 1 square at 1e9: anchored, the area and centroid are exact.
  const double o = 1e9;
  const WKSPoint far[] = {{o, o}, {o, o + 1}, {o + 1, o + 1}, {o + 1, o}};
  PolygonAreaAndCentroid a;
  a.AddPoints(4, far);
  EXPECT_EQ(a.Area(), 1.0);
  EXPECT_EQ(a.Centroid(), (WKSPoint{o + 0.5, o + 0.5}));
}

}  // namespace
