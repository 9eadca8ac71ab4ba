#include <kzcore/numerics/geometry/wks_point.h>

#include <cmath>

#include <kzcore/numerics/internal/truncate.h>

namespace {

constexpr double kTwoPi = 6.283185307179586;
constexpr double kHalfPi = 1.5707963267948966;

LONG RoundHalfAway(double c) {
  return kz::internal::TruncateToLong(c > 0 ? c + 0.5 : c - 0.5);
}

// The 3D 2-norm rule shared by Norm(2), the polar reader and the 3D projection: empty when x is a
// NaN, a NaN z counting as 0.
double Norm2Z(double x, double y, double z) {
  if (std::isnan(x)) return kEmptyValue;
  double zz = std::isnan(z) ? 0.0 : z * z;
  return std::sqrt((x * x + y * y) + zz);
}

}  // namespace

WKSPoint::operator tagPOINT() const { return tagPOINT{RoundHalfAway(x), RoundHalfAway(y)}; }

int WKSPoint::LexicographicCompare(const void *a, const void *b) {
  const WKSPoint &p = *static_cast<const WKSPoint *>(a);
  const WKSPoint &q = *static_cast<const WKSPoint *>(b);
  if (q.x > p.x) return -1;
  if (p.x > q.x) return 1;
  if (q.y > p.y) return -1;
  if (p.y > q.y) return 1;
  return 0;
}

double WKSPoint::Norm(LONG p) const {
  if (p < 0 || std::isnan(x)) return kEmptyValue;
  switch (p) {
    case 0: {
      double ax = std::fabs(x), ay = std::fabs(y);
      return ax > ay ? ax : ay;
    }
    case 1:
      return std::fabs(y) + std::fabs(x);
    case 2:
      return std::sqrt(x * x + y * y);
    default: {
      double dp = p;
      return std::pow(std::pow(x, dp) + std::pow(y, dp), 1 / dp);
    }
  }
}

WKSPoint WKSPoint::Unit() const {
  double n = std::isnan(x) ? kEmptyValue : std::sqrt(x * x + y * y);
  if (!(n > 0)) return WKSPoint{kEmptyValue, kEmptyValue};
  return WKSPoint{x / n, y / n};
}

WKSPoint WKSPoint::Unit(LONG p) const {
  double n = Norm(p);
  if (!(n > 0)) return WKSPoint{kEmptyValue, kEmptyValue};
  return WKSPoint{x / n, y / n};
}

WKSPoint WKSPoint::Scale(double len) const {
  double n = std::isnan(x) ? kEmptyValue : std::sqrt(x * x + y * y);
  if (n > 0) {
    double f = len / n;
    return WKSPoint{x * f, y * f};
  }
  if (len != 0) return WKSPoint{kEmptyValue, kEmptyValue};
  return *this;
}

WKSPoint WKSPoint::Rotate(double a) const {
  double s = std::sin(a);
  double c = std::cos(a);
  return WKSPoint{x * c - y * s, y * c + x * s};
}

LONG WKSPoint::Quadrant() const {
  if (x > 0) return y >= 0 ? 0 : 3;
  if (x < 0) return y <= 0 ? 2 : 1;
  if (y > 0) return 1;
  if (y < 0) return 3;
  return 0;
}

double WKSPoint::Angle() const {
  if (x == 0 && y == 0) return kEmptyValue;
  return std::atan2(y, x);
}

double WKSPoint::Angle(const WKSPoint &o) const {
  if ((x == 0 && y == 0) || (o.x == 0 && o.y == 0)) return kEmptyValue;
  return std::atan2(o.y * x - y * o.x, y * o.y + o.x * x);
}

double WKSPoint::AngleRatio(const WKSPoint &a, const WKSPoint &b) const {
  if ((x == 0 && y == 0) || (a.x == 0 && a.y == 0) || (b.x == 0 && b.y == 0)) return kEmptyValue;
  double ts = std::atan2(y, x);
  double ta = std::atan2(a.y, a.x);
  double tb = std::atan2(b.y, b.x);
  if (ta > tb) tb += kTwoPi;
  if (ta > ts) ts += kTwoPi;
  if (1e-8 > std::fabs(ts - ta)) return 0.0;
  if (1e-8 > std::fabs(ts - tb)) return 1.0;
  if (1e-8 > std::fabs(tb - ta)) return -1.0;
  return (ts - ta) / (tb - ta);
}

WKSPoint WKSPoint::ProjectedPoint(const WKSPoint &a, const WKSPoint &b, LONG extension,
                                  double *ratio, bool *rightSide, double *distance) const {
  if (rightSide) *rightSide = false;
  if (ratio) *ratio = 0;
  double dx = b.x - a.x, dy = b.y - a.y;
  double px = x - a.x, py = y - a.y;
  double l2 = dy * dy + dx * dx;
  if (l2 == 0 || (x == a.x && y == a.y)) {
    if (distance) *distance = std::isnan(px) ? kEmptyValue : std::sqrt(py * py + px * px);
    return a;
  }
  double t = (py * dy + px * dx) / l2;
  if (ratio) *ratio = t;
  double ox = dx * t, oy = dy * t;
  if (distance) {
    double ex = px - ox, ey = py - oy;
    *distance = std::isnan(ex) ? kEmptyValue : std::sqrt(ex * ex + ey * ey);
  }
  WKSPoint result;
  if (0 >= t && !(extension & 1))
    result = a;
  else if (t >= 1 && !(extension & 2))
    result = b;
  else
    result = WKSPoint{a.x + ox, a.y + oy};
  if (rightSide) *rightSide = px * dy - py * dx >= 0;
  return result;
}

double WKSPointZ::Norm(LONG p) const {
  if (p < 0 || std::isnan(x)) return kEmptyValue;
  bool hasZ = !std::isnan(z);
  switch (p) {
    case 0: {
      double ax = std::fabs(x), ay = std::fabs(y);
      double m = ax > ay ? ax : ay;
      if (hasZ) {
        double az = std::fabs(z);
        if (az > m) m = az;
      }
      return m;
    }
    case 1:
      return (std::fabs(y) + std::fabs(x)) + (hasZ ? std::fabs(z) : 0.0);
    case 2:
      return Norm2Z(x, y, z);
    default: {
      double dp = p;
      double zp = hasZ ? std::pow(z, dp) : 0.0;
      return std::pow((std::pow(x, dp) + std::pow(y, dp)) + zp, 1 / dp);
    }
  }
}

WKSPointZ WKSPointZ::Fabs() const {
  WKSPointZ r = *this;
  r.x = std::fabs(x);
  r.y = std::fabs(y);
  if (!std::isnan(z)) r.z = std::fabs(z);
  return r;
}

WKSPointZ WKSPointZ::Unit() const {
  double n = Norm2Z(x, y, z);
  if (!(n > 0)) return WKSPointZ{kEmptyValue, kEmptyValue, kEmptyValue};
  return WKSPointZ{x / n, y / n, z / n};
}

WKSPointZ WKSPointZ::Scale(double len) const {
  if (len == 0) return *this;
  double n = Norm2Z(x, y, z);
  if (!(n > 0)) return WKSPointZ{kEmptyValue, kEmptyValue, kEmptyValue};
  double f = len / n;
  return WKSPointZ{x * f, y * f, z * f};
}

WKSPointZ WKSPointZ::ProjectedPoint(const WKSPointZ &a, const WKSPointZ &b, LONG extension,
                                    double *ratio, double *distance) const {
  if (ratio) *ratio = 0;
  double dx = b.x - a.x, dy = b.y - a.y, dz = b.z - a.z;
  double px = x - a.x, py = y - a.y, pz = z - a.z;
  double l2 = (dx * dx + dy * dy) + dz * dz;
  if (l2 == 0 || (x == a.x && y == a.y && z == a.z)) {
    if (distance) *distance = Norm2Z(px, py, pz);
    return a;
  }
  double t = ((px * dx + py * dy) + pz * dz) / l2;
  if (ratio) *ratio = t;
  double ox = dx * t, oy = dy * t, oz = dz * t;
  if (distance) *distance = Norm2Z(px - ox, py - oy, pz - oz);
  if (0 >= t && !(extension & 1)) return a;
  if (t >= 1 && !(extension & 2)) return b;
  return WKSPointZ{a.x + ox, a.y + oy, a.z + oz};
}

WKSPointZ &WKSPointZ::PutPolarCoords(double azimuth, double elevation, double radius) {
  double h = std::cos(elevation) * radius;
  x = std::sin(azimuth) * h;
  y = std::cos(azimuth) * h;
  z = std::sin(elevation) * radius;
  return *this;
}

WKSPointZ &WKSPointZ::PutPolarCoords(const WKSPointZ &origin, double azimuth, double elevation,
                                     double radius) {
  PutPolarCoords(azimuth, elevation, radius);
  x += origin.x;
  y += origin.y;
  z += origin.z;
  return *this;
}

void WKSPointZ::QueryPolarCoords(double *azimuth, double *elevation, double *radius) const {
  double r0 = Norm2Z(x, y, z);
  if (r0 == 0) {
    *azimuth = 0;
    *elevation = 0;
    *radius = 0;
    return;
  }
  *azimuth = kHalfPi - std::atan2(y, x);
  *elevation = std::asin(z / r0);
  *radius = r0;
}

void WKSPointZ::QueryPolarCoords(const WKSPointZ &origin, double *azimuth, double *elevation,
                                 double *radius) const {
  (*this - origin).QueryPolarCoords(azimuth, elevation, radius);
}

WKSPointZ &WKSPointZ::PolarMove(double dAzimuth, double dElevation, double dRadius) {
  double az, el, r;
  QueryPolarCoords(&az, &el, &r);
  return PutPolarCoords(az + dAzimuth, el + dElevation, r + dRadius);
}

WKSPointZ &WKSPointZ::PolarMove(const WKSPointZ &origin, double dAzimuth, double dElevation,
                                double dRadius) {
  *this -= origin;
  PolarMove(dAzimuth, dElevation, dRadius);
  *this += origin;
  return *this;
}

double WKSPointZ::DirectionalToleranceSq(double xy, double zt) const {
  if (std::isnan(z) || std::isnan(zt)) return xy * xy;
  if (xy >= std::fabs(x) && xy >= std::fabs(y) && zt >= std::fabs(z)) return xy * xy;
  if (xy == zt) return xy * xy;
  double h = y * y + x * x;
  double f = h / (z * z + h);
  return (1 - f) * (zt * zt) + f * (xy * xy);
}

double WKSPointZ::DirectionalTolerance(double xy, double zt) const {
  return std::sqrt(DirectionalToleranceSq(xy, zt));
}
