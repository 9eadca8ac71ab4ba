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
