#include <kzcore/numerics/geometry/wks_envelope.h>

#include <cfloat>
#include <cmath>
#include <cstdint>
#include <utility>

#include <kzcore/numerics/internal/interval.h>

namespace {

using kz::internal::Narrow;
using kz::internal::Widen;

double Clamp(double v, double lo, double hi) { return v < lo ? lo : v > hi ? hi : v; }

// Expands one axis, collapsing it onto its middle when a negative d would make the sides cross.
void ExpandAxis(double &lo, double &hi, double d) {
  double size = hi - lo;
  if (0 > d && std::fabs(d) * 2.0 >= size) {
    double mid = (hi + lo) * 0.5;
    lo = mid;
    hi = mid;
  } else {
    lo -= d;
    hi += d;
  }
}

// One axis of the grid fit; false when an inward fit leaves no cell.
bool SnapAxis(double &lo, double &hi, bool grow, double step, double origin) {
  if (!(step > 0)) return true;
  if (grow) {
    lo = std::floor((lo - origin) / step) * step + origin;
    hi = std::ceil((hi - origin) / step) * step + origin;
    return true;
  }
  double l = std::ceil((lo - origin) / step) * step + origin;
  double h = std::floor((hi - origin) / step) * step + origin;
  if (h >= l) {
    lo = l;
    hi = h;
    return true;
  }
  return false;
}

// One axis of Constrain: [lo, hi] slides, at width w, to start or end inside [blo, bhi]; true when
// it moved.
bool ConstrainAxis(double &lo, double &hi, double blo, double bhi, double w) {
  if (blo > lo) {
    lo = blo;
    hi = blo + w;
    return true;
  }
  if (hi > bhi) {
    hi = bhi;
    lo = bhi - w;
    return true;
  }
  return false;
}

// Sets `side` of the axis whose other side is `opposite`. An empty box becomes the line at v
// across the whole other axis (acrossMin, acrossMax); an opposite side still at `open`, where such
// a line left it, joins v.
WKSEnvelope &PutSide(WKSEnvelope &box, double &side, double &opposite, double open, double &acrossMin,
                     double &acrossMax, double v) {
  if (box.IsEmpty()) {
    side = opposite = v;
    acrossMin = -DBL_MAX;
    acrossMax = DBL_MAX;
    return box;
  }
  side = v;
  if (opposite == open) {
    opposite = v;
    return box;
  }
  return box.Normalize();
}

// Sets the corner whose sides are (xSide, ySide); an empty box becomes the point.
WKSEnvelope &PutCorner(WKSEnvelope &box, double &xSide, double &ySide, double x, double y) {
  if (box.IsEmpty()) return box = WKSEnvelope(x, y);
  xSide = x;
  ySide = y;
  return box.Normalize();
}

// Whole rounds beyond which the boundary walk gives up rather than loop for ever (an unbounded or
// huge distance, or a box with no perimeter).
constexpr double kMaxWalkRounds = 65536.0;

}  // namespace

WKSEnvelope::WKSEnvelope(const WKSEnvelopeZ &b) { *this = b; }

WKSEnvelope &WKSEnvelope::operator=(const WKSEnvelopeZ &b) {
  if (b.IsEmpty()) {
    xmin = ymin = xmax = ymax = kEmptyValue;
  } else {
    xmin = b.xmin;
    ymin = b.ymin;
    xmax = b.xmax;
    ymax = b.ymax;
  }
  return *this;
}

WKSEnvelope &WKSEnvelope::Normalize() {
  if (std::isnan(xmin)) return *this;
  if (xmin > xmax) std::swap(xmin, xmax);
  if (ymin > ymax) std::swap(ymin, ymax);
  return *this;
}

double WKSEnvelope::MaxDimension() const {
  if (IsEmpty()) return 0.0;
  double w = xmax - xmin, h = ymax - ymin;
  return w > h ? w : h;
}

double WKSEnvelope::MinDimension() const {
  if (IsEmpty()) return 0.0;
  double w = xmax - xmin, h = ymax - ymin;
  return w < h ? w : h;
}

WKSPoint WKSEnvelope::operator[](LONG i) const {
  switch (i & 3) {
    case 0:
      return LowerLeft();
    case 1:
      return UpperLeft();
    case 2:
      return UpperRight();
    default:
      return LowerRight();
  }
}

void WKSEnvelope::QueryCoords(double *x1, double *y1, double *x2, double *y2) const {
  bool e = IsEmpty();
  *x1 = e ? kEmptyValue : xmin;
  *y1 = e ? kEmptyValue : ymin;
  *x2 = e ? kEmptyValue : xmax;
  *y2 = e ? kEmptyValue : ymax;
}

WKSEnvelope &WKSEnvelope::put_XMin(double v) { return PutSide(*this, xmin, xmax, DBL_MAX, ymin, ymax, v); }
WKSEnvelope &WKSEnvelope::put_XMax(double v) { return PutSide(*this, xmax, xmin, -DBL_MAX, ymin, ymax, v); }
WKSEnvelope &WKSEnvelope::put_YMin(double v) { return PutSide(*this, ymin, ymax, DBL_MAX, xmin, xmax, v); }
WKSEnvelope &WKSEnvelope::put_YMax(double v) { return PutSide(*this, ymax, ymin, -DBL_MAX, xmin, xmax, v); }

WKSEnvelope &WKSEnvelope::put_LowerLeft(double x, double y) { return PutCorner(*this, xmin, ymin, x, y); }
WKSEnvelope &WKSEnvelope::put_LowerRight(double x, double y) { return PutCorner(*this, xmax, ymin, x, y); }
WKSEnvelope &WKSEnvelope::put_UpperLeft(double x, double y) { return PutCorner(*this, xmin, ymax, x, y); }
WKSEnvelope &WKSEnvelope::put_UpperRight(double x, double y) { return PutCorner(*this, xmax, ymax, x, y); }

WKSEnvelope &WKSEnvelope::put_Width(double w) {
  if (IsEmpty()) return *this;
  xmax = xmin + w;
  return Normalize();
}

WKSEnvelope &WKSEnvelope::put_Height(double h) {
  if (IsEmpty()) return *this;
  ymax = ymin + h;
  return Normalize();
}

WKSEnvelope &WKSEnvelope::CenterAt(double x, double y) {
  if (IsEmpty()) return *this;
  WKSPoint d = WKSPoint{x, y} - Center();
  return Move(d.x, d.y);
}

WKSEnvelope &WKSEnvelope::Move(double dx, double dy) {
  if (IsEmpty()) return *this;
  xmin += dx;
  xmax += dx;
  ymin += dy;
  ymax += dy;
  return *this;
}

WKSEnvelope &WKSEnvelope::AddPoint(double x, double y) {
  if (IsEmpty()) {
    xmin = xmax = x;
    ymin = ymax = y;
    return *this;
  }
  if (xmin > x)
    xmin = x;
  else if (x > xmax)
    xmax = x;
  if (ymin > y)
    ymin = y;
  else if (y > ymax)
    ymax = y;
  return *this;
}

WKSEnvelope &WKSEnvelope::AddPoints(LONG n, const WKSPoint *const points) {
  for (LONG i = 0; i < n; ++i) AddPoint(points[i]);
  return *this;
}

WKSEnvelope &WKSEnvelope::AddEnvelope(const WKSEnvelope &o) {
  if (o.IsEmpty()) return *this;
  if (IsEmpty()) return *this = o;
  Widen(xmin, xmax, o.xmin, o.xmax);
  Widen(ymin, ymax, o.ymin, o.ymax);
  return *this;
}

WKSEnvelope &WKSEnvelope::AddEnvelopes(LONG n, const WKSEnvelope *const boxes) {
  for (LONG i = 0; i < n; ++i) AddEnvelope(boxes[i]);
  return *this;
}

WKSEnvelope WKSEnvelope::Union(const WKSEnvelope *const boxes, LONG n) {
  WKSEnvelope u = boxes[0];
  for (LONG i = 1; i < n; ++i) u.AddEnvelope(boxes[i]);
  return u;
}

WKSEnvelope &WKSEnvelope::Intersect(const WKSEnvelope &o) {
  if (IsEmpty() || o.IsEmpty() || (FindRelation(o, nullptr) & 3) == 3) {
    xmin = kEmptyValue;
    return *this;
  }
  Narrow(xmin, xmax, o.xmin, o.xmax);
  Narrow(ymin, ymax, o.ymin, o.ymax);
  return *this;
}

LONG WKSEnvelope::FindRelation(const WKSEnvelope &o, LONG *flags) const {
  LONG f = 0;
  if (o.xmin >= xmin) f |= 1;
  if (ymax >= o.ymax) f |= 2;
  if (xmax >= o.xmax) f |= 4;
  if (o.ymin >= ymin) f |= 8;
  if (flags) *flags = f;
  LONG r = 0;
  bool strictlyInside = o.xmin > xmin && ymax > o.ymax && xmax > o.xmax && o.ymin > ymin;
  if (f == 0 || o.ymin > ymax || ymin > o.ymax || o.xmin > xmax || xmin > o.xmax || strictlyInside)
    r |= 1;
  if (o.ymin >= ymax || ymin >= o.ymax || o.xmin >= xmax || xmin >= o.xmax) r |= 2;
  if (f == 15) r |= 4;
  if (xmin >= o.xmin && o.xmax >= xmax && ymin >= o.ymin && o.ymax >= ymax) r |= 8;
  return r;
}

bool WKSEnvelope::Contains(const WKSEnvelope &o) const {
  if (IsEmpty()) return false;
  if (o.IsEmpty()) return true;
  return (FindRelation(o, nullptr) & 4) != 0;
}

bool WKSEnvelope::Overlaps(const WKSEnvelope &o) const {
  if (IsEmpty() || o.IsEmpty()) return false;
  return (FindRelation(o, nullptr) & 14) == 0;
}

bool WKSEnvelope::Touches(const WKSEnvelope &o) const {
  if (IsEmpty() || o.IsEmpty()) return false;
  return (FindRelation(o, nullptr) & 3) == 2;
}

bool WKSEnvelope::Disjoint(const WKSEnvelope &o) const {
  if (IsEmpty() || o.IsEmpty()) return true;
  return (FindRelation(o, nullptr) & 3) == 3;
}

bool WKSEnvelope::DisjointInteriors(const WKSEnvelope &o) const {
  if (IsEmpty() || o.IsEmpty()) return true;
  return (FindRelation(o, nullptr) & 2) != 0;
}

bool WKSEnvelope::Equals(const WKSEnvelope &o) const {
  if (IsEmpty() || o.IsEmpty()) return IsEmpty() && o.IsEmpty();
  return xmin == o.xmin && ymin == o.ymin && xmax == o.xmax && ymax == o.ymax;
}

bool WKSEnvelope::Disjoint(const WKSPoint &a, const WKSPoint &b) const {
  WKSEnvelope seg(a, b);
  if (IsEmpty() || seg.IsEmpty()) return true;
  if ((FindRelation(seg, nullptr) & 3) == 3) return true;
  if (Contains(a) || Contains(b)) return false;
  auto across = [](double p, double q, double side) {
    return (p < side && q > side) || (p > side && q < side);
  };
  for (double side : {xmin, xmax}) {
    if (across(a.x, b.x, side)) {
      double yi = (side - a.x) / (b.x - a.x) * (b.y - a.y) + a.y;
      if (yi >= ymin && ymax >= yi) return false;
    }
  }
  // ymax is not tested: a segment with both ends outside that crosses it must also cross one of
  // the other three sides.
  if (across(a.y, b.y, ymin)) {
    double xi = (ymin - a.y) / (b.y - a.y) * (b.x - a.x) + a.x;
    return !(xi >= xmin && xmax >= xi);
  }
  return true;
}

double WKSEnvelope::Distance(const WKSPoint &p) const {
  if (IsEmpty()) return kEmptyValue;
  double dx = xmin > p.x ? p.x - xmin : p.x > xmax ? p.x - xmax : 0;
  double dy = ymin > p.y ? p.y - ymin : p.y > ymax ? p.y - ymax : 0;
  return std::sqrt(dy * dy + dx * dx);
}

double WKSEnvelope::Distance(const WKSEnvelope &o) const {
  if (IsEmpty()) return kEmptyValue;
  double dx = xmin - o.xmax > 0 ? xmin - o.xmax : o.xmin > xmax ? xmax - o.xmin : 0;
  double dy = ymin - o.ymax > 0 ? ymin - o.ymax : o.ymin > ymax ? ymax - o.ymin : 0;
  return std::sqrt(dy * dy + dx * dx);
}

WKSEnvelope &WKSEnvelope::Expand(double dx, double dy, bool asRatio) {
  if (IsEmpty()) return *this;
  if (asRatio) {
    dx = (xmax - xmin) * ((dx - 1.0) * 0.5);
    dy = (ymax - ymin) * ((dy - 1.0) * 0.5);
  }
  ExpandAxis(xmin, xmax, dx);
  ExpandAxis(ymin, ymax, dy);
  return *this;
}

WKSPoint WKSEnvelope::Snap(const WKSPoint &p, double tol) const {
  WKSPoint r = p;
  if (tol > std::fabs(p.x - xmin))
    r.x = xmin;
  else if (tol > std::fabs(p.x - xmax))
    r.x = xmax;
  if (tol > std::fabs(p.y - ymin))
    r.y = ymin;
  else if (tol > std::fabs(p.y - ymax))
    r.y = ymax;
  return r;
}

bool WKSEnvelope::Snap(bool grow, double xStep, double yStep, double xOrigin, double yOrigin) {
  if (IsEmpty()) return false;
  bool ok = SnapAxis(xmin, xmax, grow, xStep, xOrigin);
  ok = SnapAxis(ymin, ymax, grow, yStep, yOrigin) && ok;
  return ok;
}

WKSEnvelope &WKSEnvelope::Rotate(const WKSPoint &c, double a) {
  if (a == 0) return *this;
  WKSPoint corners[4];
  QueryCorners(4, corners, true);
  double s = std::sin(a), co = std::cos(a);
  SetEmpty();
  for (const WKSPoint &p : corners) {
    double dx = p.x - c.x, dy = p.y - c.y;
    AddPoint(WKSPoint{dx * co - dy * s, dy * co + dx * s});
  }
  xmin += c.x;
  xmax += c.x;
  ymin += c.y;
  ymax += c.y;
  return *this;
}

bool WKSEnvelope::Constrain(const WKSEnvelope &b) {
  double w = b.Width() < Width() ? b.Width() : Width();
  double h = b.Height() < Height() ? b.Height() : Height();
  const bool movedX = ConstrainAxis(xmin, xmax, b.xmin, b.xmax, w);
  const bool movedY = ConstrainAxis(ymin, ymax, b.ymin, b.ymax, h);
  return movedX || movedY;
}

LONG WKSEnvelope::PointOnWindow(double d, WKSPoint &out) const {
  if (IsEmpty()) return -1;
  double width = xmax - xmin, height = ymax - ymin;
  // Linux: a box with no perimeter, or a distance beyond any sensible number of rounds, would
  // keep the walk going for ever; it is refused like an empty box.
  double perimeter = (width + height) * 2;
  if (d >= 0 && !(d < perimeter * kMaxWalkRounds)) {
    out = WKSPoint::EmptyPoint();
    return -1;
  }
  LONG side = 0;
  double rest = d, len = height;
  while (rest >= len) {
    rest -= len;
    len = (side & 1) ? height : width;
    side += 1;
  }
  switch (side & 3) {
    case 0:
      out = WKSPoint{xmin, ymin + rest};
      break;
    case 1:
      out = WKSPoint{xmin + rest, ymax};
      break;
    case 2:
      out = WKSPoint{xmax, ymax - rest};
      break;
    default:
      out = WKSPoint{xmax - rest, ymin};
      break;
  }
  return side;
}

LONG WKSEnvelope::EnvelopeSide(double d) const {
  WKSPoint p;
  LONG side = PointOnWindow(d, p);
  return side < 0 ? -1 : side & 3;
}

double WKSEnvelope::BoundaryDistance(const WKSPoint &p) const {
  if (IsEmpty() || p.IsEmpty()) return kEmptyValue;
  WKSPoint q = p;
  if (q.x != xmin && q.x != xmax && q.y != ymin && q.y != ymax) ProjectToBoundary(q);
  double width = xmax - xmin, height = ymax - ymin;
  if (q.x == xmin || q.x == xmax) {
    double t = Clamp(q.y - ymin, 0, height);
    return q.x == xmin ? t : height + height + width - t;
  }
  if (q.y == ymax || q.y == ymin) {
    double t = Clamp(q.x - xmin, 0, width);
    return q.y == ymax ? height + t : (width + height) * 2 - t;
  }
  return kEmptyValue;  // a NaN coordinate lies on no side
}

void WKSEnvelope::ProjectToBoundary(WKSPoint &p) const {
  if (IsEmpty() || p.IsEmpty()) return;
  bool xIn = p.x >= xmin && xmax >= p.x;
  bool yIn = p.y >= ymin && ymax >= p.y;
  if (!xIn) p.x = p.x < xmin ? xmin : xmax;
  if (!yIn) p.y = p.y < ymin ? ymin : ymax;
  if (!xIn || !yIn) return;
  bool left = !(p.x - xmin > xmax - p.x);
  bool bottom = !(p.y - ymin > ymax - p.y);
  double dx = left ? p.x - xmin : xmax - p.x;
  double dy = bottom ? p.y - ymin : ymax - p.y;
  if (dy > dx)
    p.x = left ? xmin : xmax;
  else
    p.y = bottom ? ymin : ymax;
}

LONG WKSEnvelope::BoundaryLocation(const WKSPoint &p, double tol) const {
  double l = std::fabs(p.x - xmin), r = std::fabs(p.x - xmax);
  double b = std::fabs(p.y - ymin), t = std::fabs(p.y - ymax);
  LONG bits = 0;
  if (tol >= l && r >= l)
    bits |= 1;
  else if (tol >= r && l > r)
    bits |= 4;
  if (tol >= b && t >= b)
    bits |= 8;
  else if (tol >= t && b > t)
    bits |= 2;
  switch (bits) {
    case 1: return 0;
    case 3: return 1;
    case 2: return 2;
    case 6: return 3;
    case 4: return 4;
    case 12: return 5;
    case 8: return 6;
    case 9: return 7;
    default: return ProperContains(p) ? 8 : 9;
  }
}

void WKSEnvelope::QueryCorners(LONG n, WKSPoint *const out, bool clockwise) const {
  for (LONG i = 0; i < n; ++i) {
    LONG c = i & 3;
    if (!clockwise && (i & 1)) c = (4 - c) & 3;
    out[i] = (*this)[c];
  }
}

LONG WKSEnvelope::Densify(LONG nx, LONG ny, LONG maxPoints, WKSPoint *out, bool clockwise) const {
  if (nx < 0 || ny < 0 || maxPoints < 5) return 0;
  if (maxPoints == 5 || (nx == 0 && ny == 0)) {
    QueryCorners(5, out, clockwise);
    return 5;
  }
  std::int64_t need = 2 * (std::int64_t{nx} + ny) + 5;
  if (need > maxPoints) {
    // Integer division: any shortfall leaves only the corners.
    std::int64_t factor = maxPoints / need;
    nx = static_cast<LONG>(nx * factor);
    ny = static_cast<LONG>(ny * factor);
  }
  double sx = (xmax - xmin) / (nx + 1);
  double sy = (ymax - ymin) / (ny + 1);
  LONG k = 0;
  double x = xmin, y = ymin;
  out[k++] = LowerLeft();
  auto run = [&](LONG steps, double dx, double dy) {
    for (LONG i = 0; i <= steps; ++i) {
      x += dx;
      y += dy;
      out[k++] = WKSPoint{x, y};
    }
  };
  if (clockwise) {
    run(ny, 0, sy);
    run(nx, sx, 0);
    run(ny, 0, -sy);
    run(nx - 1, -sx, 0);
  } else {
    run(nx, sx, 0);
    run(ny, 0, sy);
    run(nx, -sx, 0);
    run(ny - 1, 0, -sy);
  }
  // The ring closes on the exact first point.
  out[k++] = LowerLeft();
  return k;
}

bool WKSEnvelope::ClipLine(WKSPoint &a, WKSPoint &b, LONG extension, double *range,
                           bool *clipped) const {
  if (clipped) *clipped = false;
  double dx = b.x - a.x, dy = b.y - a.y;
  if (dx == 0 && dy == 0) {
    if (range) range[0] = range[1] = 0;
    return Contains(a);
  }
  const double lower = (extension & 1) ? -HUGE_VAL : 0.0;
  const double upper = (extension & 2) ? HUGE_VAL : 1.0;
  double t0 = lower, t1 = upper;
  const double q[4] = {xmin - a.x, a.x - xmax, ymin - a.y, a.y - ymax};
  const double p[4] = {dx, -dx, dy, -dy};
  for (int i = 0; i < 4; ++i) {
    bool fail = false;
    if (p[i] > 0) {
      double r = q[i] / p[i];
      if (r > t1)
        fail = true;
      else if (r > t0)
        t0 = r;
    } else if (p[i] < 0) {
      double r = q[i] / p[i];
      if (t0 > r)
        fail = true;
      else if (t1 > r)
        t1 = r;
    } else if (q[i] > 0) {
      fail = true;
    }
    if (fail) {
      if (range) {
        range[0] = t0;
        range[1] = t1;
      }
      return false;
    }
  }
  if (range) {
    range[0] = t0;
    range[1] = t1;
  }
  // b first: it is computed from the old a.
  if (t1 < upper) {
    b = WKSPoint{t1 * dx + a.x, t1 * dy + a.y};
    ProjectToBoundary(b);
    if (clipped) *clipped = true;
  }
  if (t0 > lower) {
    a = WKSPoint{t0 * dx + a.x, t0 * dy + a.y};
    ProjectToBoundary(a);
    if (clipped) *clipped = true;
  }
  return true;
}

bool WKSEnvelope::GeometriesIntersectBasedOnEnvelopes(const WKSEnvelope &o) const {
  double x1 = XMin(), y1 = YMin(), x2 = XMax(), y2 = YMax();
  double ox1 = o.XMin(), oy1 = o.YMin(), ox2 = o.XMax(), oy2 = o.YMax();
  return (ox1 >= x1 && x2 >= ox2 && y1 >= oy1 && oy2 >= y2) ||
         (x1 >= ox1 && ox2 >= x2 && oy1 >= y1 && y2 >= oy2);
}

double WKSEnvelope::UpperLimitForMinDistBetweenGeometriesBasedOnEnvelopes(
    const WKSEnvelope &o) const {
  if (GeometriesIntersectBasedOnEnvelopes(o)) return 0.0;
  double best = 0;
  LONG bi = 0;
  for (LONG i = 0; i < 4; ++i) {
    double d2 = (*this)[i].DistanceSquared(o[(i - 2) & 3]);
    if (d2 > best) {
      best = d2;
      bi = i;
    }
  }
  LONG bj = (bi - 2) & 3;
  WKSPoint a = (*this)[bi], b = o[bj];
  WKSPoint p1 = (*this)[(bi + 1) & 3], p2 = (*this)[(bi - 1) & 3];
  WKSPoint q1 = o[(bj + 1) & 3], q2 = o[(bj - 1) & 3];
  double m = p1.DistanceSquared(q1);
  for (double v : {p1.DistanceSquared(q2), p2.DistanceSquared(q1), p2.DistanceSquared(q2)})
    if (v < m) m = v;
  double d = std::sqrt(m);
  double gx = std::fabs(a.x - b.x), gy = std::fabs(a.y - b.y);
  if (d > gx && o.ymax >= ymin && ymax >= o.ymin) d = gx;
  if (d > gy && o.xmax >= xmin && xmax >= o.xmin) d = gy;
  return d;
}
