#include <cfloat>
#include <cmath>
#include <utility>

#include <kzcore/numerics/geometry/wks_envelope.h>
#include <kzcore/numerics/internal/interval.h>

namespace {

using kz::internal::Narrow;
using kz::internal::Widen;

// The gap between [lo, hi] and the point v: 0 inside.
double PointGap(double lo, double hi, double v) { return lo > v ? v - lo : v > hi ? v - hi : 0; }

// The gap between two intervals: 0 when they meet.
double BoxGap(double lo, double hi, double olo, double ohi) {
  return lo - ohi > 0 ? lo - ohi : olo > hi ? hi - olo : 0;
}

// The farthest distance between a point of [lo1, hi1] and a point of [lo2, hi2].
double FarthestGap(double lo1, double hi1, double lo2, double hi2) {
  double a = std::fabs(hi2 - lo1), b = std::fabs(hi1 - lo2);
  return a > b ? a : b;
}

// The corner table of NeighborCorner: three entries per corner.
constexpr unsigned char kNeighbors[24] = {3, 1, 4, 2, 0, 5, 2, 3, 6, 2, 0, 7,
                                          2, 0, 0, 2, 0, 1, 2, 0, 2, 2, 0, 3};

}  // namespace

WKSEnvelopeZ::WKSEnvelopeZ(const WKSEnvelope &b) {
  // zmax is given a value only so that the record is never read uninitialised.
  zmax = kEmptyValue;
  *this = b;
}

WKSEnvelopeZ &WKSEnvelopeZ::operator=(const WKSEnvelope &b) {
  xmin = b.XMin();
  ymin = b.YMin();
  xmax = b.XMax();
  ymax = b.YMax();
  zmin = kEmptyValue;
  return *this;
}

void WKSEnvelopeZ::QueryCoords(double *const v) const {
  bool e = IsEmpty();
  const double f[6] = {xmin, ymin, zmin, xmax, ymax, zmax};
  for (int i = 0; i < 6; ++i) v[i] = e ? kEmptyValue : f[i];
}

WKSEnvelopeZ &WKSEnvelopeZ::ScaleZs(double f) {
  if (!std::isnan(zmin)) {
    zmin *= f;
    zmax *= f;
  }
  return *this;
}

WKSEnvelopeZ &WKSEnvelopeZ::Normalize() {
  if (std::isnan(xmin)) return *this;
  if (xmin > xmax) std::swap(xmin, xmax);
  if (ymin > ymax) std::swap(ymin, ymax);
  if (!std::isnan(zmin) && zmin > zmax) std::swap(zmin, zmax);
  return *this;
}

double WKSEnvelopeZ::Range(int axis) const {
  switch (axis) {
    case 0: return xmax - xmin;
    case 1: return ymax - ymin;
    case 2: return zmax - zmin;
    default: return kEmptyValue;
  }
}

WKSPointZ WKSEnvelopeZ::Center() const {
  if (IsEmpty()) return WKSPointZ{kEmptyValue, kEmptyValue, kEmptyValue};
  return WKSPointZ{(xmax + xmin) * 0.5, (ymax + ymin) * 0.5, (zmax + zmin) * 0.5};
}

double WKSEnvelopeZ::MaxDimension() const {
  if (IsEmpty()) return 0.0;
  double m = xmax - xmin, h = ymax - ymin;
  if (h > m) m = h;
  if (ValidZ() && zmax - zmin > m) m = zmax - zmin;
  return m;
}

double WKSEnvelopeZ::MinDimension() const {
  if (IsEmpty()) return 0.0;
  double m = xmax - xmin, h = ymax - ymin;
  if (h < m) m = h;
  if (ValidZ() && zmax - zmin < m) m = zmax - zmin;
  return m;
}

WKSPointZ WKSEnvelopeZ::operator[](LONG i) const {
  if (IsEmpty()) return WKSPointZ{kEmptyValue, kEmptyValue, kEmptyValue};
  LONG c = i & 7;
  LONG xy = c & 3;
  double x = (xy == 0 || xy == 1) ? xmin : xmax;
  double y = (xy == 0 || xy == 3) ? ymin : ymax;
  return WKSPointZ{x, y, c < 4 ? zmin : zmax};
}

WKSEnvelopeZ &WKSEnvelopeZ::put_XminYminZmin(const WKSPointZ &p) {
  if (IsEmpty()) return *this = WKSEnvelopeZ(p);
  xmin = p.x;
  ymin = p.y;
  zmin = p.z;
  return Normalize();
}

WKSPointZ WKSEnvelopeZ::NeighborCorner(int corner, int which) const {
  int k = which + corner * 3;
  if (corner < 0 || corner > 7 || which < 0 || which > 2 || k < 0 || k >= 24)
    return WKSPointZ{kEmptyValue, kEmptyValue, kEmptyValue};
  return (*this)[kNeighbors[k]];
}

WKSEnvelopeZ &WKSEnvelopeZ::AddPoint(const WKSPointZ &p) {
  if (p.IsEmpty()) return *this;
  return Union(WKSEnvelopeZ(p));
}

WKSEnvelopeZ &WKSEnvelopeZ::Union(const WKSEnvelopeZ &o) {
  if (o.IsEmpty()) return *this;
  if (IsEmpty()) return *this = o;
  Widen(xmin, xmax, o.xmin, o.xmax);
  Widen(ymin, ymax, o.ymin, o.ymax);
  if (o.ValidZ()) {
    if (!ValidZ()) {
      zmin = o.zmin;
      zmax = o.zmax;
    } else {
      Widen(zmin, zmax, o.zmin, o.zmax);
    }
  }
  return *this;
}

WKSEnvelopeZ &WKSEnvelopeZ::Intersect(const WKSEnvelopeZ &o) {
  if (Disjoint(o)) {
    xmin = kEmptyValue;
    return *this;
  }
  Narrow(xmin, xmax, o.xmin, o.xmax);
  Narrow(ymin, ymax, o.ymin, o.ymax);
  if (ValidZ() && o.ValidZ()) {
    Narrow(zmin, zmax, o.zmin, o.zmax);
  } else {
    zmin = kEmptyValue;
  }
  return *this;
}

LONG WKSEnvelopeZ::FindRelation(const WKSEnvelopeZ &o, LONG *flags) const {
  bool useZ = ValidZ() && o.ValidZ();
  LONG f = 0;
  if (o.xmin >= xmin) f |= 1;
  if (ymax >= o.ymax) f |= 2;
  if (xmax >= o.xmax) f |= 4;
  if (o.ymin >= ymin) f |= 8;
  if (useZ) {
    if (o.zmin >= zmin) f |= 16;
    if (zmax >= o.zmax) f |= 32;
  }
  if (flags) *flags = f;
  bool strictlyInside = o.xmin > xmin && ymax > o.ymax && xmax > o.xmax && o.ymin > ymin &&
                        (!useZ || (o.zmin > zmin && zmax > o.zmax));
  bool apart = o.ymin > ymax || ymin > o.ymax || o.xmin > xmax || xmin > o.xmax ||
               (useZ && (o.zmin > zmax || zmin > o.zmax));
  bool interiorsApart = o.ymin >= ymax || ymin >= o.ymax || o.xmin >= xmax || xmin >= o.xmax ||
                        (useZ && (o.zmin >= zmax || zmin >= o.zmax));
  LONG r = 0;
  if (f == 0 || apart || strictlyInside) r |= 1;
  if (interiorsApart) r |= 2;
  if (f == (useZ ? 63 : 15)) r |= 4;
  if (xmin >= o.xmin && o.xmax >= xmax && ymin >= o.ymin && o.ymax >= ymax) r |= 8;
  return r;
}

bool WKSEnvelopeZ::Disjoint(const WKSEnvelopeZ &o) const {
  if (IsEmpty() || o.IsEmpty()) return true;
  if (o.xmin > xmax || xmin > o.xmax || o.ymin > ymax || ymin > o.ymax) return true;
  return ValidZ() && o.ValidZ() && (o.zmin > zmax || zmin > o.zmax);
}

bool WKSEnvelopeZ::Contains(const WKSEnvelopeZ &o) const {
  if (IsEmpty()) return false;
  if (o.IsEmpty()) return true;
  if (o.ValidZ() && !(ValidZ() && o.zmin >= zmin && zmax >= o.zmax)) return false;
  return o.xmin >= xmin && xmax >= o.xmax && o.ymin >= ymin && ymax >= o.ymax;
}

bool WKSEnvelopeZ::Contains(double x, double y, double z) const {
  if (IsEmpty()) return false;
  if (!(x >= xmin && xmax >= x && y >= ymin && ymax >= y)) return false;
  bool selfZ = ValidZ(), pointZ = !std::isnan(z);
  if (selfZ && pointZ) return z >= zmin && zmax >= z;
  return selfZ == pointZ;
}

bool WKSEnvelopeZ::Equals(const WKSEnvelopeZ &o) const {
  if (IsEmpty() || o.IsEmpty()) return IsEmpty() && o.IsEmpty();
  return xmin == o.xmin && ymin == o.ymin && zmin == o.zmin && xmax == o.xmax && ymax == o.ymax &&
         zmax == o.zmax;
}

WKSEnvelopeZ &WKSEnvelopeZ::Expand(double dx, double dy, double dz, bool asRatio) {
  if (IsEmpty()) return *this;
  bool useZ = ValidZ() && !std::isnan(dz);
  if (asRatio) {
    dx = (xmax - xmin) * ((dx - 1.0) * 0.5);
    dy = (ymax - ymin) * ((dy - 1.0) * 0.5);
    if (useZ) dz = (zmax - zmin) * ((dz - 1.0) * 0.5);
  }
  xmin -= dx;
  xmax += dx;
  ymin -= dy;
  ymax += dy;
  if (useZ) {
    zmin -= dz;
    zmax += dz;
  } else {
    zmin = kEmptyValue;
  }
  // No collapsing here: sides that crossed swap.
  if (0 > dx || 0 > dy || (useZ && 0 > dz)) Normalize();
  return *this;
}

double WKSEnvelopeZ::Distance(const WKSPointZ &p) const {
  if (IsEmpty() || p.IsEmpty()) return kEmptyValue;
  double dx = PointGap(xmin, xmax, p.x), dy = PointGap(ymin, ymax, p.y);
  double dz = ValidZ() && p.ValidZ() ? PointGap(zmin, zmax, p.z) : 0.0;
  return std::sqrt((dy * dy + dx * dx) + dz * dz);
}

double WKSEnvelopeZ::Distance(const WKSEnvelopeZ &o) const {
  if (IsEmpty() || o.IsEmpty()) return kEmptyValue;
  double dx = BoxGap(xmin, xmax, o.xmin, o.xmax), dy = BoxGap(ymin, ymax, o.ymin, o.ymax);
  double dz = ValidZ() && o.ValidZ() ? BoxGap(zmin, zmax, o.zmin, o.zmax) : 0.0;
  return std::sqrt((dy * dy + dx * dx) + dz * dz);
}

WKSEnvelopeZ &WKSEnvelopeZ::CenterAboutOrigin() {
  if (IsEmpty()) return *this;
  double w = xmax - xmin, h = ymax - ymin;
  xmin = -(w / 2);
  xmax = w / 2;
  ymin = -(h / 2);
  ymax = h / 2;
  if (ValidZ()) {
    double d = zmax - zmin;
    zmin = -(d / 2);
    zmax = d / 2;
  }
  return *this;
}

bool WKSEnvelopeZ::GeometriesIntersectBasedOnEnvelopes(const WKSEnvelopeZ &o) const {
  if (!(ValidZ() && o.ValidZ()))
    return WKSEnvelope(*this).GeometriesIntersectBasedOnEnvelopes(WKSEnvelope(o));
  return (o.xmin >= xmin && xmax >= o.xmax && ymin >= o.ymin && o.ymax >= ymax &&
          o.zmin >= zmin && zmax >= o.zmax) ||
         (xmin >= o.xmin && o.xmax >= xmax && o.ymin >= ymin && ymax >= o.ymax &&
          zmin >= o.zmin && o.zmax >= zmax);
}

double WKSEnvelopeZ::UpperLimitForMinDistBetweenGeometriesBasedOnEnvelopes(
    const WKSEnvelopeZ &o) const {
  if (!(ValidZ() && o.ValidZ()))
    return WKSEnvelope(*this).UpperLimitForMinDistBetweenGeometriesBasedOnEnvelopes(WKSEnvelope(o));
  if (IsEmpty() || o.IsEmpty()) return kEmptyValue;
  // Unlike the 2D bound this one does not drop to 0 for boxes that cross: in space two curves
  // can pass each other however their boxes cross, and the bound must hold for any geometry.
  // A face is the box with one axis pinned to one of its ends. Geometry 1 has a point on face F
  // of its box and geometry 2 one on face G of its box, so their distance is at most the
  // farthest distance between F and G, which is taken axis by axis.
  const double lo1[3] = {xmin, ymin, zmin}, hi1[3] = {xmax, ymax, zmax};
  const double lo2[3] = {o.xmin, o.ymin, o.zmin}, hi2[3] = {o.xmax, o.ymax, o.zmax};
  double best = DBL_MAX;
  for (int f = 0; f < 6; ++f) {
    for (int g = 0; g < 6; ++g) {
      double sum = 0;
      for (int k = 0; k < 3; ++k) {
        double a0 = lo1[k], a1 = hi1[k], b0 = lo2[k], b1 = hi2[k];
        if (f / 2 == k) a0 = a1 = (f & 1) ? hi1[k] : lo1[k];
        if (g / 2 == k) b0 = b1 = (g & 1) ? hi2[k] : lo2[k];
        double m = FarthestGap(a0, a1, b0, b1);
        sum += m * m;
      }
      if (sum < best) best = sum;
    }
  }
  return std::sqrt(best);
}
