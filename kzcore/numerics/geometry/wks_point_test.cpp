#include <kzcore/numerics/geometry/wks_point.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <numbers>
#include <random>
#include <vector>

#include <gtest/gtest.h>

namespace {

constexpr double kPi = std::numbers::pi;

std::uint64_t Bits(double v) { return std::bit_cast<std::uint64_t>(v); }

// Integers are expected exactly, other values to within four units in the last place.
void ExpectValue(double got, double want) {
  if (std::isnan(want)) {
    EXPECT_TRUE(std::isnan(got)) << got;
  } else if (want == std::trunc(want)) {
    EXPECT_EQ(got, want);
  } else {
    EXPECT_DOUBLE_EQ(got, want);
  }
}

TEST(WKSPoint, EmptyValueIsTheQuietNaNWithPayloadOne) {
  EXPECT_EQ(Bits(kEmptyValue), 0x7FF8000000000001ULL);
  EXPECT_NE(Bits(kEmptyValue), Bits(std::nan("")));
  EXPECT_EQ(Bits(WKSPoint::EmptyPoint().x), 0x7FF8000000000001ULL);
  WKSPoint p{1, 5};
  p.SetEmpty();
  EXPECT_EQ(Bits(p.x), 0x7FF8000000000001ULL);
  EXPECT_EQ(p.y, 5);  // y survives SetEmpty
  EXPECT_TRUE(p.IsEmpty() && !p.IsNull());
  EXPECT_TRUE(!(p == p) && p != p);
  EXPECT_TRUE((WKSPoint{-0.0, 0}.IsNull()));
  // From a 3D point and back: z becomes invalid, the point is not empty.
  p = WKSPointZ{1, 2, 3};
  EXPECT_EQ(p, (WKSPoint{1, 2}));
  WKSPointZ back{7, 7, 7};
  back = p;
  EXPECT_TRUE(back.x == 1 && back.y == 2 && !back.ValidZ() && !back.IsEmpty());
}

TEST(WKSPoint, ToIntegerPointRoundsHalfAwayFromZero) {
  struct Case {
    double x, y;
    LONG ex, ey;
  } cases[] = {
      {0, -0.5, 0, -1},       {0.5, -0.49, 1, 0},   {2.5, -2.5, 3, -3},
      {1.49, -1.51, 1, -2},   {-0.0, 0.4, 0, 0},    {2147483646.7, -2147483647.6, 2147483647, -2147483647 - 1},
      {std::nan(""), 1e300, static_cast<LONG>(0x80000000u), static_cast<LONG>(0x80000000u)},
  };
  for (const Case &c : cases) {
    tagPOINT t = WKSPoint{c.x, c.y};
    EXPECT_EQ(t.x, c.ex) << c.x;
    EXPECT_EQ(t.y, c.ey) << c.y;
  }
}

TEST(WKSPoint, ArithmeticAndProducts) {
  const WKSPoint a{3, -4}, b{0.5, 2};
  EXPECT_EQ((std::vector<WKSPoint>{a + b, a - b, a * 2.0, 2.0 * a, a / 2.0, a + 1.0, a - 1.0, -a}),
            (std::vector<WKSPoint>{{3.5, -2}, {2.5, -6}, {6, -8}, {6, -8}, {1.5, -2}, {4, -3}, {2, -5}, {-3, 4}}));
  WKSPoint c = a;
  EXPECT_EQ(((((c += b) -= WKSPoint{1, 1}) *= 2) /= 4) += 0.25, (WKSPoint{1.5, -1.25}));
  EXPECT_EQ(a * b, -6.5);  // dot
  EXPECT_EQ(a % b, 8.0);   // 3*2 - (-4)*0.5: positive for a counter-clockwise turn
  // Dividing by zero gives the IEEE result, no report.
  WKSPoint d = WKSPoint{1, -1} / 0.0;
  EXPECT_TRUE(std::isinf(d.x) && d.x > 0 && d.y < 0);

  const WKSPointZ p{1, 2, 3}, q{4, 5, 6};
  EXPECT_EQ(p * q, 32.0);
  EXPECT_EQ(p % q, (WKSPointZ{-3, 6, -3}));
  EXPECT_EQ((std::vector<WKSPointZ>{p + q, q - p, p - 1.0, 0.5 * p, -p}),
            (std::vector<WKSPointZ>{{5, 7, 9}, {3, 3, 3}, {0, 1, 2}, {0.5, 1, 1.5}, {-1, -2, -3}}));
  EXPECT_TRUE(p[0] == 1 && p[2] == 3 && std::isnan(p[3]) && std::isnan(p[-1]));
  WKSPointZ n{1, 2, kEmptyValue};
  EXPECT_TRUE(!(n == n) && n != n && !n.IsEmpty());
}

TEST(WKSPoint, OrderingIsLexicographic) {
  std::mt19937 gen(7);
  std::uniform_int_distribution<int> d(-3, 3);
  std::vector<WKSPoint> pts;
  for (int i = 0; i < 200; ++i) pts.push_back(WKSPoint{double(d(gen)), double(d(gen))});
  std::vector<WKSPoint> sorted = pts;
  std::qsort(sorted.data(), sorted.size(), sizeof(WKSPoint), WKSPoint::LexicographicCompare);
  std::vector<std::pair<double, double>> ref;
  for (auto &p : pts) ref.emplace_back(p.x, p.y);
  std::sort(ref.begin(), ref.end());
  for (size_t i = 0; i < ref.size(); ++i) {
    EXPECT_EQ(sorted[i].x, ref[i].first);
    EXPECT_EQ(sorted[i].y, ref[i].second);
  }
  for (auto &p : pts)
    for (auto &q : pts) {
      auto key = [](const WKSPoint &v) { return std::make_pair(v.x, v.y); };
      EXPECT_EQ(p < q, key(p) < key(q));
      EXPECT_EQ(p <= q, key(p) <= key(q));
      EXPECT_EQ(p > q, key(p) > key(q));
      EXPECT_EQ(p >= q, key(p) >= key(q));
      EXPECT_EQ(WKSPoint::LexicographicSort(&p, &q), key(p) < key(q) ? -1 : key(q) < key(p) ? 1 : 0);
    }
  // Only > is used: a NaN compares equal to everything.
  WKSPoint e = WKSPoint::EmptyPoint(), one{1, 1};
  EXPECT_EQ(WKSPoint::LexicographicCompare(&e, &one), 0);
  EXPECT_FALSE(e < one);
  EXPECT_FALSE(e >= one);
}

TEST(WKSPoint, NormsAndLengths) {
  // Without absolute values for higher p: (-3)^4 + 4^4 then the fourth root; a negative base
  // with a non-integer root is a NaN. A NaN z counts for nothing.
  const struct {
    WKSPointZ p;
    bool is3d;
    LONG norm;
    double want;
  } cases[] = {
      {{-3, 4, 0}, false, 0, 4},  {{-3, 4, 0}, false, 1, 7},  {{-3, 4, 0}, false, 2, 5},
      {{-3, 4, 0}, false, 4, std::pow(337.0, 0.25)},    {{2, 1, 0}, false, 3, std::cbrt(9.0)},
      {{-1, 0, 0}, false, 3, kEmptyValue},              {{-3, 4, 0}, false, -1, kEmptyValue},
      {{kEmptyValue, 0, 0}, false, 1, kEmptyValue},
      {{1, -2, 2}, true, 0, 2},  {{1, -2, 2}, true, 1, 5},  {{1, -2, 2}, true, 2, 3},
      {{3, 4, kEmptyValue}, true, 0, 4}, {{3, 4, kEmptyValue}, true, 1, 7},
      {{3, 4, kEmptyValue}, true, 2, 5}, {{3, 4, kEmptyValue}, true, 3, std::cbrt(91.0)},
  };
  for (const auto &c : cases) {
    const double got = c.is3d ? c.p.Norm(c.norm) : WKSPoint{c.p.x, c.p.y}.Norm(c.norm);
    SCOPED_TRACE(testing::Message() << c.p.x << "," << c.p.y << "," << c.p.z << " p=" << c.norm);
    ExpectValue(got, c.want);
  }
  EXPECT_EQ((WKSPoint{1, 1}).DistanceSquared(WKSPoint{4, 5}), 25);
  // hypot does not overflow where the plain formula would.
  EXPECT_DOUBLE_EQ((WKSPoint{0, 0}).Distance(WKSPoint{3e200, 4e200}), 5e200);
  EXPECT_EQ((WKSPointZ{1, -2, 2}).Distance(WKSPointZ{1, -2, -1}), 3);
  EXPECT_TRUE(std::isnan((WKSPointZ{3, 4, kEmptyValue}).Distance(WKSPointZ{0, 0, 0})));
  EXPECT_EQ((WKSPointZ{-1, 2, -3}.Fabs()), (WKSPointZ{1, 2, 3}));
  WKSPointZ fn = WKSPointZ{-1, -2, kEmptyValue}.Fabs();
  EXPECT_TRUE(fn.x == 1 && fn.y == 2 && std::isnan(fn.z));
}

TEST(WKSPoint, UnitAndScale) {
  EXPECT_EQ((WKSPoint{3, 4}).Unit(), (WKSPoint{0.6, 0.8}));
  WKSPoint u1 = WKSPoint{3, 4}.Unit(1);
  EXPECT_DOUBLE_EQ(u1.x, 3.0 / 7);
  EXPECT_DOUBLE_EQ(u1.y, 4.0 / 7);
  WKSPoint zero = WKSPoint{0, 0}.Unit();
  EXPECT_TRUE(std::isnan(zero.x) && std::isnan(zero.y));
  EXPECT_TRUE(WKSPoint::EmptyPoint().Unit().IsEmpty());

  EXPECT_EQ((WKSPoint{3, 4}).Scale(10), (WKSPoint{6, 8}));
  EXPECT_EQ((WKSPoint{3, 4}).Scale(0), (WKSPoint{0, 0}));  // unlike the 3D form below
  EXPECT_EQ((WKSPoint{3, 4}).Scale(-5), (WKSPoint{-3, -4}));
  EXPECT_TRUE((WKSPoint{0, 0}).Scale(1).IsEmpty() && std::isnan((WKSPoint{0, 0}).Scale(1).y));
  EXPECT_EQ((WKSPoint{0, 0}).Scale(0), (WKSPoint{0, 0}));
  EXPECT_TRUE((WKSPoint{0, 0}).Scale(kEmptyValue).IsEmpty());

  // The 3D form tests the length first: a zero length keeps any point as it is.
  EXPECT_EQ((WKSPointZ{3, 4, 0}).Scale(0), (WKSPointZ{3, 4, 0}));
  EXPECT_EQ((WKSPointZ{0, 3, 4}).Scale(10), (WKSPointZ{0, 6, 8}));
  WKSPointZ zz = WKSPointZ{0, 0, 0}.Scale(2);
  EXPECT_TRUE(std::isnan(zz.x) && std::isnan(zz.y) && std::isnan(zz.z));
  EXPECT_EQ((WKSPointZ{0, 0, 2}).Unit(), (WKSPointZ{0, 0, 1}));
  WKSPointZ nz = WKSPointZ{3, 4, kEmptyValue}.Unit();
  EXPECT_TRUE(nz.x == 0.6 && std::isnan(nz.z));
}

TEST(WKSPoint, PerpRotateQuadrant) {
  WKSPoint p{2, 1};
  EXPECT_EQ(p.Perp(false), (WKSPoint{-1, 2}));  // counter-clockwise
  EXPECT_EQ(p.Perp(true), (WKSPoint{1, -2}));
  WKSPoint r30 = WKSPoint{1, 0}.Rotate(kPi / 6);
  EXPECT_DOUBLE_EQ(r30.x, std::sqrt(3.0) / 2);
  EXPECT_DOUBLE_EQ(r30.y, 0.5);
  struct Case {
    double x, y;
    LONG q;
  } cases[] = {{1, 0, 0},  {1, 1, 0},  {0, 1, 1},  {-1, 1, 1},  {-1, 0, 2}, {-1, -1, 2},
               {0, -1, 3}, {1, -1, 3}, {0, 0, 0},  {kEmptyValue, 2, 1}, {kEmptyValue, kEmptyValue, 0}};
  for (const Case &c : cases) EXPECT_EQ((WKSPoint{c.x, c.y}).Quadrant(), c.q) << c.x << "," << c.y;
}

TEST(WKSPoint, Angles) {
  EXPECT_TRUE(std::isnan((WKSPoint{0, 0}).Angle()));
  EXPECT_DOUBLE_EQ((WKSPoint{-1, 0}).Angle(), kPi);
  EXPECT_DOUBLE_EQ((WKSPoint{1, 1}).Angle(), kPi / 4);
  EXPECT_TRUE(std::isnan((WKSPoint{1, 0}).Angle(WKSPoint{0, 0})));
  // The signed angle between two directions agrees with the difference of their headings.
  std::mt19937 gen(3);
  std::uniform_real_distribution<double> d(-10, 10);
  for (int i = 0; i < 100; ++i) {
    WKSPoint a{d(gen), d(gen)}, b{d(gen), d(gen)};
    double diff = std::remainder(std::atan2(b.y, b.x) - std::atan2(a.y, a.x), 2 * kPi);
    EXPECT_NEAR(a.Angle(b), diff, 1e-12);
  }
}

TEST(WKSPoint, AngleRatio) {
  WKSPoint east{1, 0}, north{0, 1}, west{-1, 0}, south{0, -1};
  EXPECT_EQ(east.AngleRatio(east, north), 0.0);
  EXPECT_EQ(north.AngleRatio(east, north), 1.0);
  EXPECT_DOUBLE_EQ((WKSPoint{1, 1}).AngleRatio(east, north), 0.5);
  // The sweep runs counter-clockwise from a, across the cut of atan2.
  EXPECT_DOUBLE_EQ(south.AngleRatio(west, east), 0.5);
  EXPECT_DOUBLE_EQ(north.AngleRatio(west, east), 1.5);
  // a and b coincide: self along them gives 0, elsewhere -1.
  EXPECT_EQ(east.AngleRatio(east, east), 0.0);
  EXPECT_EQ((WKSPoint{2, 0}).AngleRatio(WKSPoint{3, 0}, east), 0.0);
  EXPECT_EQ(north.AngleRatio(east, east), -1.0);
  EXPECT_TRUE(std::isnan((WKSPoint{0, 0}).AngleRatio(east, north)));
  EXPECT_TRUE(std::isnan(east.AngleRatio(WKSPoint{0, 0}, north)));
}

TEST(WKSPoint, ProjectedPointOnSegmentAndLine) {
  // Beyond an end the foot is clamped to it unless the extension bit opens that end (1 before a,
  // 2 past b); the ratio is unclamped and the distance is to the line. A point segment gives a,
  // ratio 0, the distance to a and no side.
  const WKSPoint a{1, 1}, b{5, 1};
  const struct {
    WKSPoint p, a, b;
    LONG extension;
    WKSPoint foot;
    double ratio, distance;
    int right;  // -1: not looked at
  } cases[] = {
      {{2, 4}, a, b, 0, {2, 1}, 0.25, 3, 0},  // above a left-to-right segment is its left
      {{2, -4}, a, b, 0, {2, 1}, 0.25, 5, 1},
      {{9, 4}, a, b, 0, b, 2, 3, 0},
      {{9, 4}, a, b, 2, {9, 1}, 2, 3, 0},
      {{9, 4}, a, b, 1, b, 2, 3, 0},
      {{-1, 0}, a, b, 0, a, -0.5, 1, 1},
      {{-1, 0}, a, b, 1, {-1, 1}, -0.5, 1, 1},
      {{-1, 0}, a, b, 3, {-1, 1}, -0.5, 1, 1},
      {{4, 5}, a, a, 3, a, 0, 5, 0},
      {a, a, b, 0, a, 0, 0, -1},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(testing::Message() << c.p.x << "," << c.p.y << " extension " << c.extension);
    double t = -7, d = -7;
    bool right = c.right != 1;
    EXPECT_EQ(c.p.ProjectedPoint(c.a, c.b, c.extension, &t, &right, &d), c.foot);
    EXPECT_EQ(t, c.ratio);
    EXPECT_EQ(d, c.distance);
    if (c.right >= 0) {
      EXPECT_EQ(right, c.right == 1);
    }
    EXPECT_EQ(c.p.ProjectedPoint(c.a, c.b, c.extension, nullptr, nullptr, nullptr), c.foot);
  }

  // Against an independent construction: the foot of the perpendicular satisfies (p-f).(b-a) = 0.
  std::mt19937 gen(11);
  std::uniform_real_distribution<double> u(-50, 50);
  for (int i = 0; i < 200; ++i) {
    WKSPoint s{u(gen), u(gen)}, e{u(gen), u(gen)}, p{u(gen), u(gen)};
    double r, dist;
    bool side;
    WKSPoint foot = p.ProjectedPoint(s, e, 3, &r, &side, &dist);
    WKSPoint dir = e - s;
    EXPECT_NEAR((p - foot) * dir / std::sqrt(dir * dir), 0, 1e-9);
    EXPECT_NEAR(dist, std::fabs(dir % (p - s)) / std::sqrt(dir * dir), 1e-9);
    EXPECT_EQ(side, dir % (p - s) <= 0);
  }
}

TEST(WKSPointZ, ProjectedPoint) {
  // A NaN z difference counts as 0 in the distance of the degenerate case.
  const WKSPointZ a{0, 0, 0}, b{0, 0, 4};
  const struct {
    WKSPointZ p, b, foot;
    double ratio, distance;
  } cases[] = {{{3, 4, 1}, b, {0, 0, 1}, 0.25, 5},
               {{3, 4, 9}, b, b, 2.25, 5},
               {{0, 3, 4}, a, a, 0, 5},
               {{3, 4, kEmptyValue}, a, a, 0, 5}};
  for (const auto &c : cases) {
    double t = -7, d = -7;
    EXPECT_EQ(c.p.ProjectedPoint(a, c.b, 0, &t, &d), c.foot) << c.p.z;
    EXPECT_EQ(t, c.ratio) << c.p.z;
    EXPECT_EQ(d, c.distance) << c.p.z;
  }
}

TEST(WKSPointZ, PolarCoordinates) {
  const struct {
    WKSPointZ p;
    double azimuth, elevation, radius;
  } cases[] = {{{1, 0, 0}, kPi / 2, 0, 1},  // azimuth runs clockwise from north: 90 degrees is east
               {{-1, -1, 0}, 5 * kPi / 4, 0, std::sqrt(2.0)},
               {{0, 3, 4}, 0, std::asin(0.8), 5},
               {{0, 0, 0}, 0, 0, 0}};
  for (const auto &c : cases) {
    double az, el, r;
    c.p.QueryPolarCoords(&az, &el, &r);
    SCOPED_TRACE(testing::Message() << c.p.x << "," << c.p.y << "," << c.p.z);
    ExpectValue(az, c.azimuth);
    ExpectValue(el, c.elevation);
    ExpectValue(r, c.radius);
  }
  double az, el, r;
  WKSPointZ{kEmptyValue, 0, 0}.QueryPolarCoords(&az, &el, &r);
  EXPECT_TRUE(std::isnan(az) && std::isnan(el) && std::isnan(r));

  WKSPointZ p;
  p.PutPolarCoords(WKSPointZ{10, 20, 30}, 0, kPi / 2, 3);
  EXPECT_NEAR(p.x, 10, 1e-15);
  EXPECT_NEAR(p.y, 20, 1e-15);
  EXPECT_EQ(p.z, 33);
  // Round trip and relative reading.
  std::mt19937 gen(5);
  std::uniform_real_distribution<double> u(-10, 10);
  for (int i = 0; i < 100; ++i) {
    WKSPointZ o{u(gen), u(gen), u(gen)}, q{u(gen), u(gen), u(gen)};
    q.QueryPolarCoords(o, &az, &el, &r);
    WKSPointZ back;
    back.PutPolarCoords(o, az, el, r);
    EXPECT_NEAR(back.x, q.x, 1e-12);
    EXPECT_NEAR(back.y, q.y, 1e-12);
    EXPECT_NEAR(back.z, q.z, 1e-12);
    EXPECT_NEAR(r, std::sqrt((q - o).NormSquared()), 1e-12);
  }
  // PolarMove: a quarter turn clockwise about an origin, and a step outward.
  WKSPointZ m{1, 2, 0};
  m.PolarMove(WKSPointZ{1, 1, 0}, kPi / 2, 0, 1);  // north of the origin, turned to east, r 2
  EXPECT_NEAR(m.x, 3, 1e-15);
  EXPECT_NEAR(m.y, 1, 1e-15);
  EXPECT_NEAR(m.z, 0, 1e-15);
  WKSPointZ zero{0, 0, 0};
  zero.PolarMove(0, 0, 2);  // from the origin the heading is north
  EXPECT_NEAR(zero.x, 0, 1e-15);
  EXPECT_EQ(zero.y, 2);
}

TEST(WKSPointZ, DirectionalTolerance) {
  const double xy = 0.5, zt = 2;
  // Horizontal and vertical directions take the tolerance of their plane.
  EXPECT_DOUBLE_EQ((WKSPointZ{3, 4, 0}).DirectionalTolerance(xy, zt), xy);
  EXPECT_DOUBLE_EQ((WKSPointZ{0, 0, 7}).DirectionalTolerance(xy, zt), zt);
  // At 45 degrees of elevation the squares mix half and half.
  EXPECT_DOUBLE_EQ((WKSPointZ{3, 4, 5}).DirectionalTolerance(xy, zt), std::sqrt((xy * xy + zt * zt) / 2));
  EXPECT_DOUBLE_EQ((WKSPointZ{3, 4, 5}).DirectionalToleranceSq(xy, zt), (xy * xy + zt * zt) / 2);
  // A vector shorter than the tolerances, equal tolerances, or no z: the horizontal one.
  EXPECT_EQ((WKSPointZ{0.1, 0.1, 1}).DirectionalTolerance(xy, zt), xy);
  EXPECT_EQ((WKSPointZ{0, 0, 7}).DirectionalTolerance(1.5, 1.5), 1.5);
  EXPECT_EQ((WKSPointZ{0, 0, kEmptyValue}).DirectionalTolerance(xy, zt), xy);
  EXPECT_EQ((WKSPointZ{0, 0, 7}).DirectionalTolerance(xy, kEmptyValue), xy);
  EXPECT_EQ((WKSPointZ{0, 0, 7}).DirectionalTolerance(-3, zt), zt);
  EXPECT_EQ((WKSPointZ{0, 0, 7}).DirectionalTolerance(WKSPointZ{xy, 99, zt}), zt);
}

}  // namespace
