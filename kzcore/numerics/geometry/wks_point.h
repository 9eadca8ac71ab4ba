// WKSPoint and WKSPointZ: the plain coordinate records of the family, two and three doubles with
// value semantics, no constructor, no virtual operation and no heap. Arrays of them are copied and
// streamed as raw memory, so the layout (a stride of two or three doubles) is part of the interface.
//
// A point is empty exactly when `x` is a NaN (see empty_value.h); nothing else is looked at. In a
// WKSPointZ a NaN `z` is a separate state: the point has no valid z and is still not empty.
//
// Every formula is evaluated with the grouping written here, in IEEE doubles and without fused
// multiply-add, so that results agree to the last bit wherever the family runs.
//
//   WKSPoint a{0, 0}, b{10, 0}, p{4, 3};
//   double t, d;
//   bool right;
//   WKSPoint foot = p.ProjectedPoint(a, b, 0, &t, &right, &d);   // (4, 0), t 0.4, d 3
//   double turn = a.Angle(b);
#pragma once

#include <cmath>
#include <type_traits>

#include <kzcore/numerics/empty_value.h>
#include <kzcore/pal/point.h>
#include <kzcore/pal/types.h>

struct WKSPointZ;

struct KZ_API WKSPoint {
  double x;
  double y;

  // Assignment and access.
  WKSPoint &PutCoords(double px, double py) {
    x = px;
    y = py;
    return *this;
  }
  void QueryCoords(double *px, double *py) const {
    *px = x;
    *py = y;
  }
  WKSPoint &operator=(double v) {
    x = v;
    y = v;
    return *this;
  }
  WKSPoint &operator=(const WKSPointZ &p);
  WKSPoint &operator=(const tagPOINT &p) {
    x = p.x;
    y = p.y;
    return *this;
  }
  // Rounds each coordinate half away from zero to a 32-bit integer; a NaN or a value out of range
  // gives 0x80000000, as the family's x86 conversion does.
  operator tagPOINT() const;

  // A point whose x is the empty value (y is the empty value as well, and means nothing).
  static WKSPoint EmptyPoint() { return WKSPoint{kEmptyValue, kEmptyValue}; }
  // Writes only x: y keeps whatever it held.
  WKSPoint &SetEmpty() {
    x = kEmptyValue;
    return *this;
  }
  bool IsEmpty() const { return std::isnan(x); }
  bool IsNull() const { return x == 0 && y == 0; }

  // Arithmetic, field by field.
  WKSPoint &operator+=(const WKSPoint &o) {
    x += o.x;
    y += o.y;
    return *this;
  }
  WKSPoint &operator-=(const WKSPoint &o) {
    x -= o.x;
    y -= o.y;
    return *this;
  }
  WKSPoint operator+(const WKSPoint &o) const { return WKSPoint{x + o.x, y + o.y}; }
  WKSPoint operator-(const WKSPoint &o) const { return WKSPoint{x - o.x, y - o.y}; }
  WKSPoint &operator+=(double v) {
    x += v;
    y += v;
    return *this;
  }
  WKSPoint &operator*=(double v) {
    x *= v;
    y *= v;
    return *this;
  }
  WKSPoint &operator/=(double v) {
    x /= v;
    y /= v;
    return *this;
  }
  WKSPoint operator+(double v) const { return WKSPoint{x + v, y + v}; }
  WKSPoint operator-(double v) const { return WKSPoint{x + -v, y + -v}; }
  WKSPoint operator*(double v) const { return WKSPoint{x * v, y * v}; }
  WKSPoint operator/(double v) const { return WKSPoint{x / v, y / v}; }
  WKSPoint operator-() const { return WKSPoint{-x, -y}; }
  // Dot product.
  double operator*(const WKSPoint &o) const { return y * o.y + x * o.x; }
  // Cross product (z of the 3D cross product): positive when o lies counter-clockwise of self.
  double operator%(const WKSPoint &o) const { return o.y * x - y * o.x; }

  // Exact comparisons: a NaN field makes == false and != true, also between two empty points.
  bool operator==(const WKSPoint &o) const { return x == o.x && y == o.y; }
  bool operator!=(const WKSPoint &o) const { return !(x == o.x && y == o.y); }
  // Lexicographic on x, then y.
  bool operator>(const WKSPoint &o) const { return x > o.x || (x == o.x && y > o.y); }
  bool operator>=(const WKSPoint &o) const { return x > o.x || (x == o.x && y >= o.y); }
  bool operator<(const WKSPoint &o) const { return o.x > x || (x == o.x && o.y > y); }
  bool operator<=(const WKSPoint &o) const { return o.x > x || (x == o.x && o.y >= y); }
  // qsort callback: lexicographic on x then y, using only `>`, so a NaN compares equal to all.
  static int LexicographicCompare(const void *a, const void *b);
  static int LexicographicSort(const void *a, const void *b) { return LexicographicCompare(a, b); }

  // Norms and lengths.
  double NormSquared() const { return x * x + y * y; }
  double DistanceSquared(const WKSPoint &o) const {
    double dx = x - o.x, dy = y - o.y;
    return dy * dy + dx * dx;
  }
  double Distance(const WKSPoint &o) const { return std::hypot(x - o.x, y - o.y); }
  // p<0 or an empty point: the empty value; 0 the maximum norm, 1, 2, and pow(pow(x,p)+pow(y,p),
  // 1/p) for any other p, without absolute values (kept: a negative coordinate and an odd p give
  // a negative term).
  double Norm(LONG p) const;
  // The unit vector; both fields empty when the length isn't > 0.
  WKSPoint Unit() const;
  WKSPoint Unit(LONG p) const;
  // The vector of length len in the same direction; a zero vector scaled to a non-zero length is
  // empty, scaled to 0 it stays as it is.
  WKSPoint Scale(double len) const;
  // false: turned a quarter counter-clockwise (-y, x); true: clockwise (y, -x).
  WKSPoint Perp(bool clockwise) const { return clockwise ? WKSPoint{y, -x} : WKSPoint{-y, x}; }
  WKSPoint Rotate(double a) const;
  // 0 to 3 for the quadrant of the vector; axes go to the quadrant counter-clockwise of them, the
  // origin and NaNs to 0.
  LONG Quadrant() const;

  // Angles in radians. The empty value when a vector is zero.
  double Angle() const;
  // Signed angle from self to o, counter-clockwise positive.
  double Angle(const WKSPoint &o) const;
  // Where self's direction lies on the counter-clockwise sweep from direction a to direction b:
  // 0 at a, 1 at b, -1 when a and b coincide while self is elsewhere.
  double AngleRatio(const WKSPoint &a, const WKSPoint &b) const;

  // The point of segment a-b nearest to self. extension bit 1 lets it run past a, bit 2 past b.
  // ratio receives the unclamped parameter, rightSide whether self lies right of a->b, distance
  // the distance to the infinite line (not to the returned point). Each pointer may be null.
  WKSPoint ProjectedPoint(const WKSPoint &a, const WKSPoint &b, LONG extension, double *ratio,
                          bool *rightSide, double *distance) const;

  // Point sets (point_set.cpp): hulls, rotating calipers, simplification, densification and the
  // polygon and polyline queries, over a count and a pointer. Rings are clockwise: Area is
  // positive for a clockwise triple, and the hull code builds on that. A null array counts as no
  // points.

  // ((c.x-a.x)*(b.y-a.y) - (c.y-a.y)*(b.x-a.x))*0.5; the pointer form takes p[0], p[1], p[2].
  static double Area(const WKSPoint &a, const WKSPoint &b, const WKSPoint &c);
  static double Area(const WKSPoint *const p);
  // Segments a-b and c-d: the parameters t (along a-b) and u (along c-d) of the crossing of their
  // lines go to the pointers that aren't null; true when both lie in 0..1. Parallel lines: t and u
  // the empty value, false.
  static bool Intersect(WKSPoint a, WKSPoint b, WKSPoint c, WKSPoint d, double *t, double *u);
  // The distance of b from the line through a in the direction (cos angle, sin angle).
  static double DistanceParallelLines(const WKSPoint &a, const WKSPoint &b, double angle);
  // Turns four support points into the corners of the rectangle of that orientation, in place:
  // lines 0 and 2 run along (cos angle, sin angle), lines 1 and 3 across, each through its point;
  // corner i is where line i meets line i+1 (an empty value where they don't meet).
  static void ConstructRectangle(WKSPoint *const p, double angle);

  // Graham scan in place: the hull's count, its points at the head of the array, clockwise from
  // the lowest point (the lowest y, then the lowest x). Collinear and repeated points are left
  // out. indices, if not null, gets the input index of each hull point (the first of equal
  // points). The points behind the count are left moved by the pivot: the tail holds no useful
  // data. n < 1 gives 0, and so does memory that cannot be had (the points are then untouched).
  static LONG ConstructHullGraham(LONG n, WKSPoint *points, LONG *indices);
  // Each run of equal neighbours is reduced to its first member (the others get an empty x), then
  // the points from the first such one on move up over the empty ones. A point that came in empty
  // before the first repeat stays, later ones go. The new count; n < 1 gives n. The pointer form
  // works on the pointers (writing the empty x through them).
  static LONG MakeNeighborsUnique(LONG n, WKSPoint *p);
  static LONG MakeNeighborsUnique(LONG n, WKSPoint **p);
  // Copies the non-empty points (points of non-null, non-empty pointers) to dst in order, or with
  // a null dst moves them up in place; their count; n < 1 gives 0.
  static LONG MoveNonEmptyPoints(LONG n, WKSPoint *src, WKSPoint *dst);
  static LONG MoveNonEmptyPoints(LONG n, WKSPoint **src, WKSPoint **dst);
  // True for fewer than 2 points, for 2 different ones, and for a ring whose every triple (with
  // wrap-around) is strictly clockwise.
  static bool IsConvex(LONG n, const WKSPoint *p);
  // The least height of the triangle: twice its area over its longest side; 0 when flat.
  static double TriangleWidth(const WKSPoint &a, const WKSPoint &b, const WKSPoint &c);

  // Rotating calipers over a clockwise hull (a last point equal to the first is dropped).
  // HullWidth: the least distance between two parallel lines holding the hull, with the two points
  // that realise it in span[0] (the hull vertex) and span[1] (its foot on the opposite edge). No
  // points: the empty value; fewer than 3: 0.0 with both span points hull[0].
  static double HullWidth(LONG n, const WKSPoint *hull, WKSPoint *span);
  // True for fewer than 3 points or a hull no wider than tolerance.
  static bool HullIsDegenerate(LONG n, const WKSPoint *hull, double tolerance);
  // The diameter: the greatest distance between two hull vertices, their indices in pair[0..1]
  // or the points in span[0..1]. No points: the empty value.
  static double HullLength(LONG n, const WKSPoint *hull, LONG *pair);
  static double HullLength(LONG n, const WKSPoint *hull, WKSPoint *span);
  // The smallest enclosing rectangle, by area or by width, as four corners in out. No points: four
  // points with an empty x; one or two: the points themselves.
  static void HullRectangle(LONG n, WKSPoint *hull, WKSPoint *const out, bool byArea);
  // The same for any points: ConstructHullGraham in place first (count, if not null, receives the
  // hull's count).
  static double ClusterWidth(LONG n, WKSPoint *p, LONG *count, WKSPoint *span);
  static double ClusterDiameter(LONG n, WKSPoint *p, LONG *count, WKSPoint *span);
  static void ClusterRectangle(LONG n, WKSPoint *p, WKSPoint *const out, bool byArea);

  // Cuts a-b into c equal steps of at most maxLength (one step when maxLength <= 0): out gets c+1
  // points, a first and b exactly last; the result is c+1. Equal points give b alone and 1.
  static LONG Densify(const WKSPoint &a, const WKSPoint &b, double maxLength, WKSPoint *out);
  // Douglas-Poiker simplification in place, without recursion but for a closed ring (whose two
  // halves are simplified first, and whose middle vertex then goes): removed vertices get an empty
  // x, and the result is the number kept (compact them with MoveNonEmptyPoints). Fewer than 3
  // points stay as they are.
  static LONG DouglasPoiker(LONG n, WKSPoint *p, double tolerance);
  // The point strictly between first and last farthest from the segment first-last, if it is at
  // least tolerance away; null otherwise.
  static WKSPoint *DouglasPoikerMaxDistancePointer(WKSPoint *first, WKSPoint *last,
                                                   double tolerance);

  // Polylines and polygons. LineCentroid: the centroid of the segments by length (total length to
  // *length); no length gives an empty x and y 0. Length: the sum of the parts' lengths (empty when
  // a coordinate difference is a NaN). AreaCentroid: the signed area of the rings, one per part,
  // through PolygonAreaAndCentroid; centroid (may be null) empty when the area is 0.
  static WKSPoint LineCentroid(LONG n, const WKSPoint *p, double *length);
  static double Length(LONG parts, const LONG *counts, const WKSPoint *p);
  static double AreaCentroid(LONG parts, const LONG *counts, const WKSPoint *p, WKSPoint *centroid);
  static double AreaCentroid(LONG n, const WKSPoint *p, WKSPoint *centroid);
  // The same read from a shape buffer: bytes 0-3 the type, 4-35 the box, 36 the part count and 40
  // the point count (32-bit little-endian), 44 the parts' start indices (32-bit each), then the
  // points as pairs of doubles. The line centroid weights each part's centroid by its length.
  // Parts whose start and size don't fit the counts are skipped.
  static double Length(const unsigned char *shape);
  static WKSPoint LineCentroid(const unsigned char *shape);
  static double AreaCentroid(const unsigned char *shape, WKSPoint *centroid);

  // Whether self lies in the polygon (rings closed by repeating their first point), by ray
  // crossings counted to the right and to the left. On a vertex, or where the two counts disagree
  // (on an edge), the result is true with *boundary true; otherwise *boundary is false.
  bool InsidePolygon(LONG parts, const LONG *counts, const WKSPoint *p, bool *boundary) const;
  // The nearest point to self on a multipart polyline; along receives the distance along the
  // line to it (over the total length when asRatio), rightSide the side of self, total the total
  // length. extension applies to the ends of each part. A part of one vertex is measured against
  // p[0], the array's first point, whatever the part: kept as the family has it.
  WKSPoint QueryPointAndDistance(LONG extension, LONG parts, const LONG *counts, const WKSPoint *p,
                                 bool asRatio, double *along, bool *rightSide, double *total) const;
};

struct KZ_API WKSPointZ {
  double x;
  double y;
  double z;

  WKSPointZ &PutCoords(double px, double py, double pz) {
    x = px;
    y = py;
    z = pz;
    return *this;
  }
  WKSPointZ &PutCoords(const WKSPoint &p, double pz) {
    x = p.x;
    y = p.y;
    z = pz;
    return *this;
  }
  WKSPointZ &operator=(double v) {
    x = v;
    y = v;
    z = v;
    return *this;
  }
  // x and y from the point; z becomes the empty value.
  WKSPointZ &operator=(const WKSPoint &p) {
    x = p.x;
    y = p.y;
    z = kEmptyValue;
    return *this;
  }
  // Writes only x.
  WKSPointZ &SetEmpty() {
    x = kEmptyValue;
    return *this;
  }
  bool IsEmpty() const { return std::isnan(x); }
  bool ValidZ() const { return !std::isnan(z); }
  WKSPointZ &SetInvalidZ() {
    z = kEmptyValue;
    return *this;
  }
  // 0, 1, 2 give x, y, z; any other index the empty value.
  double operator[](LONG i) const { return i == 0 ? x : i == 1 ? y : i == 2 ? z : kEmptyValue; }
  operator WKSPoint() const { return WKSPoint{x, y}; }

  WKSPointZ &operator+=(const WKSPointZ &o) {
    x += o.x;
    y += o.y;
    z += o.z;
    return *this;
  }
  WKSPointZ &operator-=(const WKSPointZ &o) {
    x -= o.x;
    y -= o.y;
    z -= o.z;
    return *this;
  }
  WKSPointZ operator+(const WKSPointZ &o) const { return WKSPointZ{x + o.x, y + o.y, z + o.z}; }
  WKSPointZ operator-(const WKSPointZ &o) const { return WKSPointZ{x - o.x, y - o.y, z - o.z}; }
  WKSPointZ &operator+=(double v) {
    x += v;
    y += v;
    z += v;
    return *this;
  }
  WKSPointZ &operator*=(double v) {
    x *= v;
    y *= v;
    z *= v;
    return *this;
  }
  WKSPointZ &operator/=(double v) {
    x /= v;
    y /= v;
    z /= v;
    return *this;
  }
  WKSPointZ operator+(double v) const { return WKSPointZ{x + v, y + v, z + v}; }
  WKSPointZ operator-(double v) const { return WKSPointZ{x + -v, y + -v, z + -v}; }
  WKSPointZ operator*(double v) const { return WKSPointZ{x * v, y * v, z * v}; }
  WKSPointZ operator/(double v) const { return WKSPointZ{x / v, y / v, z / v}; }
  WKSPointZ operator-() const { return WKSPointZ{-x, -y, -z}; }
  double operator*(const WKSPointZ &o) const { return (o.y * y + o.x * x) + o.z * z; }
  WKSPointZ operator%(const WKSPointZ &o) const {
    return WKSPointZ{y * o.z - z * o.y, o.x * z - x * o.z, x * o.y - o.x * y};
  }

  // Exact on all three fields: a NaN z makes otherwise equal points unequal.
  bool operator==(const WKSPointZ &o) const { return x == o.x && y == o.y && z == o.z; }
  bool operator!=(const WKSPointZ &o) const { return !(x == o.x && y == o.y && z == o.z); }

  double NormSquared() const { return (x * x + y * y) + z * z; }
  double DistanceSquared(const WKSPointZ &o) const {
    double dx = x - o.x, dy = y - o.y, dz = z - o.z;
    return (dy * dy + dx * dx) + dz * dz;
  }
  double Distance(const WKSPointZ &o) const { return std::sqrt(DistanceSquared(o)); }
  // As WKSPoint::Norm, with z as a third term that counts only when it isn't a NaN.
  double Norm(LONG p) const;
  // Absolute values; a NaN z stays as it is.
  WKSPointZ Fabs() const;
  WKSPointZ Unit() const;
  // Unlike the 2D form, a zero length gives a copy of the point, whatever the point is.
  WKSPointZ Scale(double len) const;

  WKSPointZ ProjectedPoint(const WKSPointZ &a, const WKSPointZ &b, LONG extension, double *ratio,
                           double *distance) const;

  // Polar coordinates: azimuth clockwise from +y, elevation up from the x-y plane, radians.
  WKSPointZ &PutPolarCoords(double azimuth, double elevation, double radius);
  WKSPointZ &PutPolarCoords(const WKSPointZ &origin, double azimuth, double elevation,
                            double radius);
  // The azimuth is left in -pi/2..3pi/2 as atan2 gives it. The zero vector gives three zeros.
  void QueryPolarCoords(double *azimuth, double *elevation, double *radius) const;
  void QueryPolarCoords(const WKSPointZ &origin, double *azimuth, double *elevation,
                        double *radius) const;
  WKSPointZ &PolarMove(double dAzimuth, double dElevation, double dRadius);
  WKSPointZ &PolarMove(const WKSPointZ &origin, double dAzimuth, double dElevation,
                       double dRadius);

  // Blends the horizontal tolerance xy and the vertical one zt by the direction of the vector:
  // zt for a vertical vector, xy for a horizontal one.
  double DirectionalTolerance(double xy, double zt) const;
  double DirectionalToleranceSq(double xy, double zt) const;
  // xy from t.x and zt from t.z; t.y is not looked at.
  double DirectionalTolerance(WKSPointZ t) const { return DirectionalTolerance(t.x, t.z); }
};

inline WKSPoint &WKSPoint::operator=(const WKSPointZ &p) {
  x = p.x;
  y = p.y;
  return *this;
}

inline WKSPoint operator*(double v, const WKSPoint &p) { return WKSPoint{v * p.x, v * p.y}; }
inline WKSPointZ operator*(double v, const WKSPointZ &p) {
  return WKSPointZ{v * p.x, v * p.y, v * p.z};
}

// The layout is the interface: arrays are copied and streamed as raw doubles.
static_assert(std::is_aggregate_v<WKSPoint> && std::is_aggregate_v<WKSPointZ>);
static_assert(std::is_trivially_copyable_v<WKSPoint> && std::is_trivially_copyable_v<WKSPointZ>);
static_assert(std::is_standard_layout_v<WKSPoint> && std::is_standard_layout_v<WKSPointZ>);
static_assert(sizeof(WKSPoint) == 2 * sizeof(double) && alignof(WKSPoint) == alignof(double));
static_assert(sizeof(WKSPointZ) == 3 * sizeof(double) && alignof(WKSPointZ) == alignof(double));
