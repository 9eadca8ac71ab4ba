#include <kzcore/numerics/geometry/wks_point.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>

#include <kzcore/numerics/geometry/polygon_area.h>
#include <kzcore/numerics/internal/truncate.h>

namespace {

constexpr double kHalfPi = 1.5707963267948966;

bool IsZeroVector(double x, double y) { return x == 0 && y == 0; }

// The foot of q on the segment a-b with no extension, by the arithmetic of
// WKSPoint::ProjectedPoint: a, b or a + (b - a) * t. dx, dy and l2 are b - a and its squared
// length as ProjectedPoint computes them.
inline void SegmentFoot(const WKSPoint &q, const WKSPoint &a, const WKSPoint &b, double dx,
                        double dy, double l2, double *fx, double *fy) {
  double px = q.x - a.x, py = q.y - a.y;
  if (l2 == 0 || (q.x == a.x && q.y == a.y)) {
    *fx = a.x;
    *fy = a.y;
    return;
  }
  double t = (py * dy + px * dx) / l2;
  if (0 >= t) {
    *fx = a.x;
    *fy = a.y;
  } else if (t >= 1) {
    *fx = b.x;
    *fy = b.y;
  } else {
    *fx = a.x + dx * t;
    *fy = a.y + dy * t;
  }
}

// The turn at cur coming from prev and going to next, clockwise positive; the empty value when
// either edge has no length.
double Turn(const WKSPoint &prev, const WKSPoint &cur, const WKSPoint &next) {
  double ix = cur.x - prev.x, iy = cur.y - prev.y;
  double ox = next.x - cur.x, oy = next.y - cur.y;
  if (IsZeroVector(ix, iy) || IsZeroVector(ox, oy)) return kEmptyValue;
  return std::atan2(ox * iy - oy * ix, ox * ix + oy * iy);
}

// A point of the hull's table: its coordinates moved by the pivot, its quadrant and its index in
// the caller's array.
struct HullKey {
  WKSPoint p;
  LONG quadrant;
  LONG index;
};

// The hull comparison of two points already moved by the pivot: the pivot (the origin) first,
// then the greater quadrant, then clockwise by the cross product, and collinear points nearer
// first by their 1-norm.
int HullCompare(const HullKey &ka, const HullKey &kb) {
  const WKSPoint &a = ka.p, &b = kb.p;
  if (a.x == b.x && a.y == b.y) return 0;
  double la = std::isnan(a.x) ? kEmptyValue : std::fabs(a.y) + std::fabs(a.x);
  double lb = std::isnan(b.x) ? kEmptyValue : std::fabs(b.y) + std::fabs(b.x);
  if (la == 0) return -1;
  if (lb == 0) return 1;
  if (ka.quadrant != kb.quadrant) return ka.quadrant > kb.quadrant ? -1 : 1;
  double cross = a % b;
  if (cross < 0) return -1;
  if (cross > 0) return 1;
  if (la < lb) return -1;
  if (la > lb) return 1;
  return 0;
}

// MakeNeighborsUnique on the sorted table: each run of equal points keeps its first member, the
// others get an empty x in the caller's array (as the pointer form writes through its pointers),
// and from the first repeat on the entries whose point is empty go. The new count.
LONG UniqueHullKeys(LONG n, HullKey *key, WKSPoint *points) {
  LONG head = 0, firstRepeat = -1;
  for (LONG i = 1; i < n; ++i) {
    if (key[i].p == key[head].p) {
      key[i].p.x = kEmptyValue;
      points[key[i].index].x = kEmptyValue;
      if (firstRepeat < 0) firstRepeat = i;
    } else {
      head = i;
    }
  }
  if (firstRepeat < 0) return n;
  LONG count = firstRepeat;
  for (LONG i = firstRepeat; i < n; ++i)
    if (!key[i].p.IsEmpty()) key[count++] = key[i];
  return count;
}

// A hull given with its closing point repeated is read without it.
LONG WithoutClosingPoint(LONG n, const WKSPoint *hull) {
  if (n >= 2 && hull[n - 1] == hull[0]) return n - 1;
  return n;
}

// The antipode of the edge from hull[last] to hull[0]: walked from 1 while the triangle on the
// edge grows.
LONG FirstAntipode(LONG n, const WKSPoint *hull) {
  LONG last = n - 1, k = 1;
  for (LONG next = 2; next < last; ++next) {
    double grown = std::fabs(WKSPoint::Area(hull[last], hull[0], hull[next]));
    double now = std::fabs(WKSPoint::Area(hull[last], hull[0], hull[next - 1]));
    if (!(grown > now)) break;
    k = next;
  }
  return k;
}

// Reads the points of a shape buffer, which need not be aligned for doubles.
class ShapeReader {
 public:
  explicit ShapeReader(const unsigned char *shape) : shape_(shape) {
    if (!shape) return;
    parts_ = Int(36);
    points_ = Int(40);
    if (parts_ < 0 || points_ < 0) parts_ = points_ = 0;
  }
  LONG Parts() const { return parts_; }
  // The start and size of a part, or false when they don't fit the point count.
  bool Part(LONG i, LONG *start, LONG *size) const {
    LONG s = Int(44 + 4 * static_cast<std::size_t>(i));
    LONG e = i + 1 < parts_ ? Int(44 + 4 * static_cast<std::size_t>(i + 1)) : points_;
    if (s < 0 || e < s || e > points_) return false;
    *start = s;
    *size = e - s;
    return true;
  }
  WKSPoint Point(LONG i) const {
    WKSPoint p;
    std::memcpy(&p, shape_ + 44 + 4 * static_cast<std::size_t>(parts_) + 16 * static_cast<std::size_t>(i),
                sizeof p);
    return p;
  }

 private:
  LONG Int(std::size_t offset) const {
    const unsigned char *b = shape_ + offset;
    return static_cast<LONG>(static_cast<std::uint32_t>(b[0]) | static_cast<std::uint32_t>(b[1]) << 8 |
                             static_cast<std::uint32_t>(b[2]) << 16 |
                             static_cast<std::uint32_t>(b[3]) << 24);
  }

  const unsigned char *shape_;
  LONG parts_ = 0;
  LONG points_ = 0;
};

// The length of a polyline of n points read through at(i); empty when a difference in x is a
// NaN.
template <class At>
double PolylineLength(LONG n, At at) {
  double total = 0;
  for (LONG i = 1; i < n; ++i) {
    WKSPoint a = at(i - 1), b = at(i);
    double dx = b.x - a.x, dy = b.y - a.y;
    total += std::isnan(dx) ? kEmptyValue : std::hypot(dx, dy);
  }
  return total;
}

template <class At>
WKSPoint PolylineCentroid(LONG n, At at, double *length) {
  double sx = 0, sy = 0, total = 0;
  for (LONG i = 1; i < n; ++i) {
    WKSPoint a = at(i - 1), b = at(i);
    double l = a.Distance(b);
    sx += (a.x + b.x) * l;
    sy += (a.y + b.y) * l;
    total += l;
  }
  if (length) *length = total;
  if (total != 0) return WKSPoint{sx / (2 * total), sy / (2 * total)};
  return WKSPoint{kEmptyValue, 0.0};
}

}  // namespace

double WKSPoint::Area(const WKSPoint &a, const WKSPoint &b, const WKSPoint &c) {
  return ((c.x - a.x) * (b.y - a.y) - (c.y - a.y) * (b.x - a.x)) * 0.5;
}

double WKSPoint::Area(const WKSPoint *const p) { return Area(p[0], p[1], p[2]); }

bool WKSPoint::Intersect(WKSPoint a, WKSPoint b, WKSPoint c, WKSPoint d, double *t, double *u) {
  double den = (d.y - c.y) * (b.x - a.x) - (d.x - c.x) * (b.y - a.y);
  if (den == 0) {
    if (t) *t = kEmptyValue;
    if (u) *u = kEmptyValue;
    return false;
  }
  double tt = ((c.x - a.x) * (d.y - c.y) - (c.y - a.y) * (d.x - c.x)) / den;
  double uu = ((c.x - a.x) * (b.y - a.y) - (c.y - a.y) * (b.x - a.x)) / den;
  if (t) *t = tt;
  if (u) *u = uu;
  return tt >= 0 && tt <= 1 && uu >= 0 && uu <= 1;
}

double WKSPoint::DistanceParallelLines(const WKSPoint &a, const WKSPoint &b, double angle) {
  WKSPoint along{a.x + std::cos(angle), a.y + std::sin(angle)};
  double d;
  b.ProjectedPoint(a, along, 3, nullptr, nullptr, &d);
  return d;
}

void WKSPoint::ConstructRectangle(WKSPoint *const p, double angle) {
  if (!p) return;
  double c = std::cos(angle), s = std::sin(angle);
  const WKSPoint origin = p[0];
  double x[4], y[4], ux[4], uy[4];
  for (int i = 0; i < 4; ++i) {
    x[i] = p[i].x - origin.x;
    y[i] = p[i].y - origin.y;
    ux[i] = (i & 1) ? -s : c;
    uy[i] = (i & 1) ? c : s;
  }
  WKSPoint corner[4];
  for (int i = 0; i < 4; ++i) {
    int j = (i + 1) & 3;
    // The directions as the difference of two points on each line, as Intersect takes them.
    double dxi = (x[i] + ux[i]) - x[i], dyi = (y[i] + uy[i]) - y[i];
    double dxj = (x[j] + ux[j]) - x[j], dyj = (y[j] + uy[j]) - y[j];
    double den = dyj * dxi - dxj * dyi;
    double t = den == 0 ? kEmptyValue : ((x[j] - x[i]) * dyj - (y[j] - y[i]) * dxj) / den;
    corner[i] = WKSPoint{x[i] + t * ux[i] + origin.x, y[i] + t * uy[i] + origin.y};
  }
  for (int i = 0; i < 4; ++i) p[i] = corner[i];
}

LONG WKSPoint::ConstructHullGraham(LONG n, WKSPoint *points, LONG *indices) {
  if (n < 1 || !points) return 0;
  // The points are sorted as compact records of their moved coordinates and index rather than as
  // pointers: the same comparison and the same stable order, without a jump into the array at
  // every comparison. The gathered hull goes to the head of the table before it is copied back.
  std::unique_ptr<HullKey[]> table(new (std::nothrow) HullKey[static_cast<std::size_t>(n)]);
  if (!table) return 0;
  HullKey *hull = table.get();
  LONG pivot = 0;
  for (LONG i = 1; i < n; ++i)
    if (points[i].y < points[pivot].y || (points[i].y == points[pivot].y && points[i].x < points[pivot].x))
      pivot = i;
  const WKSPoint base = points[pivot];
  for (LONG i = 0; i < n; ++i) {
    points[i].x -= base.x;
    points[i].y -= base.y;
    hull[i] = HullKey{points[i], points[i].Quadrant(), i};
  }
  // A stable merge sort: equal points keep their input order, so the first of them is the one
  // that stays; and a comparison that NaNs make inconsistent cannot lead it out of the table.
  std::stable_sort(hull, hull + n, [](const HullKey &a, const HullKey &b) { return HullCompare(a, b) < 0; });
  LONG m = UniqueHullKeys(n, hull, points);
  LONG count = m;
  if (m > 2) {
    LONG k = 1;
    for (LONG i = 2; i < m; ++i) {
      while (k > 0 && 0 >= Area(hull[k - 1].p, hull[k].p, hull[i].p)) --k;
      ++k;
      if (k < i) hull[k] = hull[i];
    }
    count = k + 1;
  }
  for (LONG i = 0; i < count; ++i) {
    if (indices) indices[i] = hull[i].index;
    points[i] = WKSPoint{hull[i].p.x + base.x, hull[i].p.y + base.y};
  }
  return count;
}

LONG WKSPoint::MakeNeighborsUnique(LONG n, WKSPoint *p) {
  if (n < 1 || !p) return n;
  LONG head = 0, firstRepeat = -1;
  for (LONG i = 1; i < n; ++i) {
    if (p[i] == p[head]) {
      p[i].x = kEmptyValue;
      if (firstRepeat < 0) firstRepeat = i;
    } else {
      head = i;
    }
  }
  if (firstRepeat < 0) return n;
  return firstRepeat + MoveNonEmptyPoints(n - firstRepeat, p + firstRepeat, nullptr);
}

LONG WKSPoint::MakeNeighborsUnique(LONG n, WKSPoint **p) {
  if (n < 1 || !p) return n;
  LONG head = 0, firstRepeat = -1;
  for (LONG i = 1; i < n; ++i) {
    if (p[i] && p[head] && *p[i] == *p[head]) {
      p[i]->x = kEmptyValue;
      if (firstRepeat < 0) firstRepeat = i;
    } else {
      head = i;
    }
  }
  if (firstRepeat < 0) return n;
  return firstRepeat + MoveNonEmptyPoints(n - firstRepeat, p + firstRepeat, nullptr);
}

LONG WKSPoint::MoveNonEmptyPoints(LONG n, WKSPoint *src, WKSPoint *dst) {
  if (n < 1 || !src) return 0;
  LONG count = 0;
  if (dst) {
    for (LONG i = 0; i < n; ++i)
      if (!src[i].IsEmpty()) dst[count++] = src[i];
    return count;
  }
  // In place: nothing is written before the first gap.
  while (count < n && !src[count].IsEmpty()) ++count;
  for (LONG i = count + 1; i < n; ++i)
    if (!src[i].IsEmpty()) src[count++] = src[i];
  return count;
}

LONG WKSPoint::MoveNonEmptyPoints(LONG n, WKSPoint **src, WKSPoint **dst) {
  if (n < 1 || !src) return 0;
  auto keep = [](const WKSPoint *q) { return q && !q->IsEmpty(); };
  LONG count = 0;
  if (dst) {
    for (LONG i = 0; i < n; ++i)
      if (keep(src[i])) dst[count++] = src[i];
    return count;
  }
  while (count < n && keep(src[count])) ++count;
  for (LONG i = count + 1; i < n; ++i)
    if (keep(src[i])) src[count++] = src[i];
  return count;
}

bool WKSPoint::IsConvex(LONG n, const WKSPoint *p) {
  if (n < 2 || !p) return true;
  if (n == 2) return p[0] != p[1];
  for (LONG i = 0; i < n; ++i) {
    const WKSPoint &a = p[(i + n - 2) % n], &b = p[(i + n - 1) % n], &c = p[i];
    if (!(Area(a, b, c) > 0)) return false;
  }
  return true;
}

double WKSPoint::TriangleWidth(const WKSPoint &a, const WKSPoint &b, const WKSPoint &c) {
  double twice = (b.y - c.y) * (a.x - b.x) - (a.y - b.y) * (b.x - c.x);
  if (twice == 0) return 0;
  double ab = a.DistanceSquared(b), bc = b.DistanceSquared(c), ca = c.DistanceSquared(a);
  double longest = ab > bc ? ab : bc;
  if (ca > longest) longest = ca;
  return std::fabs(twice) / std::sqrt(longest);
}

double WKSPoint::HullWidth(LONG n, const WKSPoint *hull, WKSPoint *span) {
  if (n < 1 || !hull) return kEmptyValue;
  n = WithoutClosingPoint(n, hull);
  if (n < 3) {
    if (span) span[0] = span[1] = hull[0];
    return 0.0;
  }
  LONG last = n - 1;
  LONG k = FirstAntipode(n, hull);
  LONG next = (k + 1) % n;
  double best = DBL_MAX;
  WKSPoint a = hull[last], b = hull[0];
  LONG i = 0;
  for (;;) {
    WKSPoint foot = hull[k].ProjectedPoint(a, b, 3, nullptr, nullptr, nullptr);
    double d = foot.Distance(hull[k]);
    if (best > d) {
      best = d;
      if (span) {
        span[0] = hull[k];
        span[1] = foot;
      }
    }
    if (i == last) break;
    a = hull[i];
    b = hull[i + 1];
    ++i;
    // The areas grow strictly while the antipode moves, so this ends within n steps.
    while (std::fabs(Area(a, b, hull[next])) > std::fabs(Area(a, b, hull[k]))) {
      k = next;
      next = (next + 1) % n;
    }
  }
  return best;
}

bool WKSPoint::HullIsDegenerate(LONG n, const WKSPoint *hull, double tolerance) {
  if (n < 3 || !hull) return true;
  LONG i1 = (n + 1) / 3, i2 = (2 * n + 1) / 3;
  if (TriangleWidth(hull[0], hull[i1], hull[i2]) > tolerance) return false;
  return tolerance >= HullWidth(n, hull, nullptr);
}

double WKSPoint::HullLength(LONG n, const WKSPoint *hull, LONG *pair) {
  if (n < 1 || !hull) return kEmptyValue;
  n = WithoutClosingPoint(n, hull);
  LONG first = 0, second = 0;
  double best;
  if (n == 1) {
    best = 0;
  } else if (n == 2) {
    second = 1;
    double dx = hull[1].x - hull[0].x, dy = hull[1].y - hull[0].y;
    best = std::isnan(dx) ? kEmptyValue : std::hypot(dx, dy);
  } else {
    LONG k = FirstAntipode(n, hull);
    best = -DBL_MAX;
    auto check = [&](LONG i, LONG j) {
      double d = hull[i].Distance(hull[j]);
      if (d > best) {
        best = d;
        first = i;
        second = j;
      }
    };
    // Every vertex i meets the antipodes of the edges on either side of it: those of the edge
    // ending at i (where k stands when i's turn comes) up to those of the edge starting at i.
    for (LONG i = 0; i < n; ++i) {
      const WKSPoint &a = hull[i], &b = hull[(i + 1) % n];
      check(i, k);
      LONG next = (k + 1) % n;
      double now = std::fabs(Area(a, b, hull[k])), ahead = std::fabs(Area(a, b, hull[next]));
      while (ahead > now) {
        k = next;
        check(i, k);
        next = (k + 1) % n;
        now = ahead;
        ahead = std::fabs(Area(a, b, hull[next]));
      }
      // The edge is parallel to the opposite one: the farther end of that edge counts as well.
      if ((now + ahead) * 1e-8 > std::fabs(now - ahead)) check(i, next);
    }
  }
  if (pair) {
    pair[0] = first;
    pair[1] = second;
  }
  return best;
}

double WKSPoint::HullLength(LONG n, const WKSPoint *hull, WKSPoint *span) {
  LONG pair[2];
  double d = HullLength(n, hull, pair);
  if (n < 1 || !hull) return d;
  WKSPoint a = hull[pair[0]], b = hull[pair[1]];
  if (span) {
    span[0] = a;
    span[1] = b;
  }
  double dx = b.x - a.x, dy = b.y - a.y;
  return std::isnan(dx) ? kEmptyValue : std::hypot(dx, dy);
}

void WKSPoint::HullRectangle(LONG n, WKSPoint *hull, WKSPoint *const out, bool byArea) {
  if (!out) return;
  if (n < 1 || !hull) {
    for (int i = 0; i < 4; ++i) out[i] = EmptyPoint();
    return;
  }
  n = WithoutClosingPoint(n, hull);
  if (n == 1) {
    for (int i = 0; i < 4; ++i) out[i] = hull[0];
    return;
  }
  if (n == 2) {
    out[0] = out[1] = hull[0];
    out[2] = out[3] = hull[1];
    return;
  }
  // Calipers 0 to 3 start at the least x, greatest y, greatest x and least y, each with a made-up
  // previous point one unit behind it on the clockwise way round.
  LONG vertex[4] = {0, 0, 0, 0};
  for (LONG i = 1; i < n; ++i) {
    if (hull[i].x < hull[vertex[0]].x) vertex[0] = i;
    if (hull[i].y > hull[vertex[1]].y) vertex[1] = i;
    if (hull[i].x > hull[vertex[2]].x) vertex[2] = i;
    if (hull[i].y < hull[vertex[3]].y) vertex[3] = i;
  }
  WKSPoint previous[4];
  LONG next[4];
  double angle[4];
  for (int c = 0; c < 4; ++c) {
    const WKSPoint &v = hull[vertex[c]];
    previous[c] = c == 0   ? WKSPoint{v.x, v.y - 1.0}
                  : c == 1 ? WKSPoint{v.x - 1.0, v.y}
                  : c == 2 ? WKSPoint{v.x, v.y + 1.0}
                           : WKSPoint{v.x + 1.0, v.y};
    next[c] = (vertex[c] + 1) % n;
    angle[c] = Turn(previous[c], v, hull[next[c]]);
  }
  // When no caliper ever turns, the box of the extremes stands.
  double best = DBL_MAX, keptAngle = kHalfPi;
  WKSPoint kept[4] = {hull[vertex[0]], hull[vertex[1]], hull[vertex[2]], hull[vertex[3]]};
  // A caliper whose summed turn leaves 0..pi/2 (or becomes a NaN) rests for good. Around any
  // closed ring the edge directions cannot all keep within a quarter turn of each other (they
  // would not add up to nothing), so every caliper rests within one round, hull or not.
  for (;;) {
    int k = -1;
    for (int c = 0; c < 4; ++c)
      if (angle[c] >= 0 && angle[c] < kHalfPi && (k < 0 || angle[c] < angle[k])) k = c;
    if (k < 0) break;
    const WKSPoint &v = hull[vertex[k]], &w = hull[next[k]];
    double t = std::atan2(w.y - v.y, w.x - v.x);
    double w1 = DistanceParallelLines(v, hull[vertex[(k + 2) & 3]], t);
    double w2 = DistanceParallelLines(hull[vertex[(k + 1) & 3]], hull[vertex[(k - 1) & 3]], t + kHalfPi);
    double measure = byArea ? w1 * w2 : (w1 < w2 ? w1 : w2);
    if (best > measure) {
      best = measure;
      keptAngle = t;
      for (int c = 0; c < 4; ++c) kept[c] = hull[vertex[(k + c) & 3]];
    }
    previous[k] = v;
    vertex[k] = next[k];
    next[k] = (next[k] + 1) % n;
    angle[k] += Turn(previous[k], hull[vertex[k]], hull[next[k]]);
  }
  for (int c = 0; c < 4; ++c) out[c] = kept[c];
  ConstructRectangle(out, keptAngle);
}

double WKSPoint::ClusterWidth(LONG n, WKSPoint *p, LONG *count, WKSPoint *span) {
  LONG m = ConstructHullGraham(n, p, nullptr);
  if (count) *count = m;
  return HullWidth(m, p, span);
}

double WKSPoint::ClusterDiameter(LONG n, WKSPoint *p, LONG *count, WKSPoint *span) {
  LONG m = ConstructHullGraham(n, p, nullptr);
  if (count) *count = m;
  return HullLength(m, p, span);
}

void WKSPoint::ClusterRectangle(LONG n, WKSPoint *p, WKSPoint *const out, bool byArea) {
  LONG m = ConstructHullGraham(n, p, nullptr);
  HullRectangle(m, p, out, byArea);
}

LONG WKSPoint::Densify(const WKSPoint &a, const WKSPoint &b, double maxLength, WKSPoint *out) {
  if (!out) return 0;
  WKSPoint v = b - a;
  double d = std::sqrt(v.x * v.x + v.y * v.y);
  LONG c = kz::internal::TruncateToLong(std::ceil(d / (0 >= maxLength ? d + 1.0 : maxLength)));
  // A length that is a NaN or too many steps for a count: b alone, as for equal points.
  if (c < 0) c = 0;
  if (c > 0) {
    WKSPoint step = v.Scale(d / c);
    out[0] = a;
    for (LONG i = 1; i < c; ++i) out[i] = out[i - 1] + step;
  }
  out[c] = b;
  return c + 1;
}

namespace {

// The square that a quick measure must stay below for a point to be passed over without the exact
// one: (bar - slack) less a relative margin, squared; -1 (pass nothing) where that is not a
// normal positive number.
double QuickBar(double bar, double slack) {
  double room = (bar - slack) * (1 - 1e-9);
  if (!(room > 1e-150 && room < 1e140)) return -1;
  return room * room;
}

}  // namespace

WKSPoint *WKSPoint::DouglasPoikerMaxDistancePointer(WKSPoint *first, WKSPoint *last,
                                                    double tolerance) {
  if (!first || !last || last - first < 2) return nullptr;
  const WKSPoint a = *first, b = *last;
  double dx = b.x - a.x, dy = b.y - a.y;
  double l2 = dy * dy + dx * dx;
  double best = 0.0;
  WKSPoint *found = nullptr;
  // The measure is the distance to the foot that ProjectedPoint gives, by hypot. Most points are
  // clearly nearer than what they must beat (the tolerance, or the best so far): for them a quick
  // measure without the division tells, the foot taken with the reciprocal of l2. The quick foot
  // differs from the exact one by rounding only, also where the two fall on either side of an end
  // of the segment: at most 8 units of the last place of |a| + |b| + |b - a| per coordinate. The
  // slack of 16 such units and a relative margin for the squares and hypot keep every point that
  // the exact measure could keep.
  double inverse = 1.0 / l2;
  double slack = 16 * DBL_EPSILON *
                 (std::fabs(a.x) + std::fabs(a.y) + std::fabs(b.x) + std::fabs(b.y) + std::fabs(dx) + std::fabs(dy));
  bool quick = l2 > 1e-290 && l2 < 1e290 && slack < 1e140;
  double quickBar = quick ? QuickBar(tolerance, slack) : -1;
  for (WKSPoint *q = first + 1; q < last; ++q) {
    if (quickBar > 0) {
      double px = q->x - a.x, py = q->y - a.y;
      double t = (py * dy + px * dx) * inverse;
      double fx = a.x, fy = a.y;
      if (t >= 1) {
        fx = b.x;
        fy = b.y;
      } else if (t > 0) {
        fx = a.x + dx * t;
        fy = a.y + dy * t;
      }
      double ex = q->x - fx, ey = q->y - fy;
      if (ex * ex + ey * ey < quickBar) continue;
    }
    double fx, fy;
    SegmentFoot(*q, a, b, dx, dy, l2, &fx, &fy);
    double d = std::hypot(q->x - fx, q->y - fy);
    if (d >= tolerance && d > best) {
      best = d;
      found = q;
      if (quick) quickBar = QuickBar(best > tolerance ? best : tolerance, slack);
    }
  }
  return found;
}

LONG WKSPoint::DouglasPoiker(LONG n, WKSPoint *p, double tolerance) {
  if (!p || n < 1) return 0;
  if (n < 3) return n;
  if (p[0] == p[n - 1]) {
    LONG h = n / 2;
    DouglasPoiker(h + 1, p, tolerance);
    DouglasPoiker(n - h, p + h, tolerance);
    p[h].x = kEmptyValue;
  }
  LONG count = 2;
  // The longer side waits on the stack and the shorter one is worked on, so the range worked on
  // at least halves with every entry: 30 entries hold any 32-bit count.
  struct Range {
    WKSPoint *first, *last;
  } stack[30];
  int depth = 0;
  WKSPoint *first = p, *last = p + (n - 1);
  for (;;) {
    WKSPoint *s = DouglasPoikerMaxDistancePointer(first, last, tolerance);
    if (!s) {
      for (WKSPoint *q = first + 1; q < last; ++q) q->x = kEmptyValue;
      if (depth == 0) break;
      --depth;
      first = stack[depth].first;
      last = stack[depth].last;
      continue;
    }
    ++count;
    if (s - first >= last - s) {
      stack[depth++] = Range{first, s};
      first = s;
    } else {
      stack[depth++] = Range{s, last};
      last = s;
    }
  }
  return count;
}

WKSPoint WKSPoint::LineCentroid(LONG n, const WKSPoint *p, double *length) {
  if (!p) n = 0;
  return PolylineCentroid(n, [p](LONG i) { return p[i]; }, length);
}

double WKSPoint::Length(LONG parts, const LONG *counts, const WKSPoint *p) {
  if (!counts || !p) return 0;
  double total = 0;
  const WKSPoint *q = p;
  for (LONG i = 0; i < parts; ++i) {
    LONG c = counts[i] > 0 ? counts[i] : 0;
    total += PolylineLength(c, [q](LONG j) { return q[j]; });
    q += c;
  }
  return total;
}

double WKSPoint::AreaCentroid(LONG parts, const LONG *counts, const WKSPoint *p, WKSPoint *centroid) {
  PolygonAreaAndCentroid acc(centroid != nullptr);
  if (counts && p) {
    const WKSPoint *q = p;
    for (LONG i = 0; i < parts; ++i) {
      LONG c = counts[i] > 0 ? counts[i] : 0;
      acc.StartNewRing();
      acc.AddPoints(c, q);
      q += c;
    }
  }
  double area = acc.Area();
  if (centroid) *centroid = acc.Centroid();
  return area;
}

double WKSPoint::AreaCentroid(LONG n, const WKSPoint *p, WKSPoint *centroid) {
  return AreaCentroid(1, &n, p, centroid);
}

double WKSPoint::Length(const unsigned char *shape) {
  ShapeReader r(shape);
  double total = 0;
  for (LONG i = 0; i < r.Parts(); ++i) {
    LONG start, size;
    if (!r.Part(i, &start, &size)) continue;
    total += PolylineLength(size, [&](LONG j) { return r.Point(start + j); });
  }
  return total;
}

WKSPoint WKSPoint::LineCentroid(const unsigned char *shape) {
  ShapeReader r(shape);
  double sx = 0, sy = 0, total = 0;
  for (LONG i = 0; i < r.Parts(); ++i) {
    LONG start, size;
    if (!r.Part(i, &start, &size)) continue;
    double length;
    WKSPoint c = PolylineCentroid(size, [&](LONG j) { return r.Point(start + j); }, &length);
    if (length == 0) continue;
    sx += c.x * length;
    sy += c.y * length;
    total += length;
  }
  if (total != 0) return WKSPoint{sx / total, sy / total};
  return WKSPoint{kEmptyValue, 0.0};
}

double WKSPoint::AreaCentroid(const unsigned char *shape, WKSPoint *centroid) {
  ShapeReader r(shape);
  PolygonAreaAndCentroid acc(centroid != nullptr);
  WKSPoint piece[64];
  for (LONG i = 0; i < r.Parts(); ++i) {
    LONG start, size;
    if (!r.Part(i, &start, &size)) continue;
    acc.StartNewRing();
    // Rings go in by pieces of aligned copies: the buffer's doubles need not be aligned.
    for (LONG j = 0; j < size; j += 64) {
      LONG m = size - j < 64 ? size - j : 64;
      for (LONG q = 0; q < m; ++q) piece[q] = r.Point(start + j + q);
      acc.AddPoints(m, piece);
    }
  }
  double area = acc.Area();
  if (centroid) *centroid = acc.Centroid();
  return area;
}

bool WKSPoint::InsidePolygon(LONG parts, const LONG *counts, const WKSPoint *p, bool *boundary) const {
  if (boundary) *boundary = true;
  LONG right = 0, left = 0;
  if (counts && p) {
    const double px = x, py = y;
    const WKSPoint *q = p;
    for (LONG i = 0; i < parts; ++i) {
      LONG c = counts[i] > 0 ? counts[i] : 0;
      for (LONG j = 0; j + 1 < c; ++j) {
        // Edges with both ends strictly above, or strictly below, are neither the vertex nor a
        // crossing. Most edges are such: a run of them is passed over one end at a time.
        if (q[j].y > py) {
          while (j + 1 < c && q[j + 1].y > py) ++j;
        } else if (py > q[j].y) {
          while (j + 1 < c && py > q[j + 1].y) ++j;
        }
        if (j + 1 >= c) break;
        const WKSPoint &a = q[j], &b = q[j + 1];
        if (px == a.x && py == a.y) return true;
        bool up = (a.y > py) != (b.y > py);
        bool down = (py > a.y) != (py > b.y);
        if (up || down) {
          double xi = (b.x - a.x) / (b.y - a.y) * (py - a.y) + a.x;
          if (up && xi > px) ++right;
          if (down && px > xi) ++left;
        }
      }
      q += c;
    }
  }
  if ((right & 1) != (left & 1)) return true;
  if (boundary) *boundary = false;
  return (right & 1) != 0;
}

WKSPoint WKSPoint::QueryPointAndDistance(LONG extension, LONG parts, const LONG *counts,
                                         const WKSPoint *p, bool asRatio, double *along,
                                         bool *rightSide, double *total) const {
  double best = DBL_MAX, alongBest = 0, soFar = 0;
  WKSPoint result = EmptyPoint();
  if (counts && p) {
    const WKSPoint *q = p;
    for (LONG i = 0; i < parts; ++i) {
      LONG c = counts[i] > 0 ? counts[i] : 0;
      for (LONG v = 0; v < c; ++v) {
        if (c >= 2 && v == c - 1) continue;
        WKSPoint a, b;
        LONG ext;
        if (c == 1) {
          a = b = p[v];  // p, not q: the family's one-vertex parts measure against p[0]
          ext = extension;
        } else {
          a = q[v];
          b = q[v + 1];
          if (c == 2)
            ext = extension;
          else
            ext = (v == 0 ? (extension & 1) : 0) | (v == c - 2 ? (extension & 2) : 0);
        }
        double ratio;
        bool side;
        WKSPoint foot = ProjectedPoint(a, b, ext, &ratio, &side, nullptr);
        double seg = a.Distance(b);
        double d = std::hypot(x - foot.x, y - foot.y);
        if (best > d) {
          best = d;
          result = foot;
          alongBest = seg * ratio + soFar;
          if (rightSide) *rightSide = side;
        }
        soFar += seg;
      }
      q += c;
    }
  }
  if (along) *along = asRatio && soFar != 0 ? alongBest / soFar : alongBest;
  if (total) *total = soFar;
  return result;
}
