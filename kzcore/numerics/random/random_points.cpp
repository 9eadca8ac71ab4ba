// Random points: in boxes, on segments, in triangles and quadrangles, in the figures that point
// sets span, and spread with a least distance.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <unordered_map>
#include <vector>

#include <kzcore/numerics/random/random_generator.h>

namespace {

double TwiceArea(const WKSPoint &a, const WKSPoint &b, const WKSPoint &c) {
  return std::fabs((b - a) % (c - a));
}

// The point a + u*(b-a) + v*(c-a) for u, v in [0, 1], folded back into the triangle when it
// falls into the other half of the parallelogram: uniform over the triangle.
WKSPoint InTriangle(const WKSPoint &a, const WKSPoint &b, const WKSPoint &c, double u, double v) {
  if (u + v > 1) {
    u = 1 - u;
    v = 1 - v;
  }
  return WKSPoint{a.x + (b.x - a.x) * u + (c.x - a.x) * v, a.y + (b.y - a.y) * u + (c.y - a.y) * v};
}

// A quadrangle as two triangles on a diagonal that lies inside it: 0-2 when 1 and 3 are on
// different sides of it (or on it), else 1-3.
struct QuadSplit {
  WKSPoint t[2][3];
  double area[2];
};

QuadSplit SplitQuadrangle(const WKSPoint *q) {
  WKSPoint d = q[2] - q[0];
  double s1 = d % (q[1] - q[0]), s3 = d % (q[3] - q[0]);
  QuadSplit s;
  if ((s1 <= 0 && s3 >= 0) || (s1 >= 0 && s3 <= 0)) {
    s = QuadSplit{{{q[0], q[1], q[2]}, {q[0], q[2], q[3]}}, {0, 0}};
  } else {
    s = QuadSplit{{{q[1], q[2], q[3]}, {q[1], q[3], q[0]}}, {0, 0}};
  }
  for (int i = 0; i < 2; ++i) s.area[i] = TwiceArea(s.t[i][0], s.t[i][1], s.t[i][2]) * 0.5;
  return s;
}

double Cross(const WKSPoint &o, const WKSPoint &a, const WKSPoint &b) { return (a - o) % (b - o); }

// The convex hull of the non-empty points, counter-clockwise, without collinear points
// (Andrew's monotone chain).
std::vector<WKSPoint> ConvexHull(const WKSPoint *points, LONG n) {
  std::vector<WKSPoint> p;
  for (LONG i = 0; i < n; ++i)
    if (!points[i].IsEmpty() && !std::isnan(points[i].y)) p.push_back(points[i]);
  std::sort(p.begin(), p.end(), [](const WKSPoint &a, const WKSPoint &b) {
    return a.x < b.x || (a.x == b.x && a.y < b.y);
  });
  p.erase(std::unique(p.begin(), p.end()), p.end());
  if (p.size() < 3) return p;
  std::vector<WKSPoint> h(2 * p.size());
  size_t k = 0;
  for (size_t i = 0; i < p.size(); ++i) {
    while (k >= 2 && Cross(h[k - 2], h[k - 1], p[i]) <= 0) --k;
    h[k++] = p[i];
  }
  for (size_t i = p.size() - 1, lower = k + 1; i-- > 0;) {
    while (k >= lower && Cross(h[k - 2], h[k - 1], p[i]) <= 0) --k;
    h[k++] = p[i];
  }
  h.resize(k - 1);
  return h;
}

// Index of the piece that holds the area t along the running sums.
size_t PickPiece(const std::vector<double> &cumulative, double t) {
  size_t i = std::upper_bound(cumulative.begin(), cumulative.end(), t) - cumulative.begin();
  return i < cumulative.size() ? i : cumulative.size() - 1;
}

// The piece that a draw lands in, each piece weighted by its area: `pieces` areas from `areaOf`
// (a NaN area adds nothing), their total written to `area`, then one `draw()` in [0, 1) scaled to
// the total. -1, with no draw, when the total is not a positive finite number.
template <class AreaOf, class Draw>
long PickByArea(LONG pieces, AreaOf areaOf, Draw draw, double *area) {
  std::vector<double> cumulative;
  double total = 0;
  for (LONG k = 0; k < pieces; ++k) {
    double a = areaOf(k);
    if (!std::isnan(a)) total += a;
    cumulative.push_back(total);
  }
  if (area) *area = total;
  if (!(total > 0) || std::isinf(total)) return -1;
  return static_cast<long>(PickPiece(cumulative, draw() * total));
}

// Darts that may fail in a row before RandomPoints stops: the box is then close to full.
constexpr int kMaxMisses = 1000;
// Cells per axis of the RandomPoints grid at most; beyond that the cells grow.
constexpr double kMaxCells = 1 << 20;

}  // namespace

WKSPoint RandomGeneratorBase::RandomPoint(const WKSEnvelope &box) {
  double x = Uniform01() * (box.XMax() - box.XMin()) + box.XMin();
  double y = Uniform01() * (box.YMax() - box.YMin()) + box.YMin();
  return WKSPoint{x, y};
}

WKSPoint RandomGeneratorBase::RandomPoint(WKSPoint a, WKSPoint b) {
  double u = Uniform01();
  return a * u + b * (1 - u);
}

WKSPoint RandomGeneratorBase::RandomPoint(const WKSPoint &a, const WKSPoint &b, const WKSPoint &c) {
  double u = Uniform01();
  double v = Uniform01();
  return InTriangle(a, b, c, u, v);
}

WKSPoint RandomGeneratorBase::RandomPoint(const WKSPoint *const corners) {
  QuadSplit s = SplitQuadrangle(corners);
  double u = Uniform01();
  double v = Uniform01();
  // The first draw picks the triangle by area and, rescaled, serves within it.
  double total = s.area[0] + s.area[1];
  double f = total > 0 ? s.area[0] / total : 1.0;
  int piece = 0;
  if (u < f) {
    u = u / f;
  } else {
    piece = 1;
    u = (u - f) / (1 - f);
  }
  return InTriangle(s.t[piece][0], s.t[piece][1], s.t[piece][2], u, v);
}

WKSPoint RandomGeneratorBase::RandomConvexHullPoint(const WKSPoint *const points, LONG n,
                                                    double *area) {
  if (area) *area = 0;
  if (!points || n < 1) return WKSPoint::EmptyPoint();
  std::vector<WKSPoint> hull = ConvexHull(points, n);
  if (hull.empty()) return WKSPoint::EmptyPoint();
  if (hull.size() == 1) return hull[0];
  if (hull.size() == 2) return RandomPoint(hull[0], hull[1]);  // collinear: the segment
  std::vector<double> cumulative;
  double total = 0;
  for (size_t i = 1; i + 1 < hull.size(); ++i) {
    total += TwiceArea(hull[0], hull[i], hull[i + 1]) * 0.5;
    cumulative.push_back(total);
  }
  if (area) *area = total;
  size_t i = PickPiece(cumulative, Uniform01() * total) + 1;
  return RandomPoint(hull[0], hull[i], hull[i + 1]);
}

WKSPoint RandomGeneratorBase::RandomTriangulationPoint(const WKSPoint *const points, LONG n,
                                                       double *area) {
  if (area) *area = 0;
  if (!points || n < 3) return WKSPoint::EmptyPoint();
  auto triangleArea = [points](LONG k) {
    const WKSPoint *t = points + 3 * k;
    return TwiceArea(t[0], t[1], t[2]) * 0.5;
  };
  long piece = PickByArea(n / 3, triangleArea, [this] { return Uniform01(); }, area);
  if (piece < 0) return WKSPoint::EmptyPoint();
  const WKSPoint *t = points + 3 * piece;
  return RandomPoint(t[0], t[1], t[2]);
}

WKSPoint RandomGeneratorBase::RandomQuadrangulationPoint(const WKSPoint *const points, LONG n,
                                                         double *area) {
  if (area) *area = 0;
  if (!points || n < 4) return WKSPoint::EmptyPoint();
  auto quadrangleArea = [points](LONG k) {
    QuadSplit s = SplitQuadrangle(points + 4 * k);
    return s.area[0] + s.area[1];
  };
  long piece = PickByArea(n / 4, quadrangleArea, [this] { return Uniform01(); }, area);
  if (piece < 0) return WKSPoint::EmptyPoint();
  return RandomPoint(points + 4 * piece);
}

ULONG RandomGeneratorBase::RandomPoints(const WKSEnvelope &box, double minDistance, ULONG count,
                                        WKSPoint *out) {
  if (box.IsEmpty() || count == 0 || !out) return 0;
  if (!(minDistance > 0)) {
    for (ULONG i = 0; i < count; ++i) out[i] = RandomPoint(box);
    return count;
  }
  // A grid of cells about minDistance wide: a candidate is tested only against the points in the
  // cells within reach of its own.
  const double width = box.Width(), height = box.Height();
  auto cellsFor = [&](double size) {
    double c = std::floor(size / minDistance + 0.5);
    return c < 1 ? 1.0 : c > kMaxCells ? kMaxCells : c;
  };
  const double nx = cellsFor(width), ny = cellsFor(height);
  const double cellW = width / nx, cellH = height / ny;
  // The cells are at least half of minDistance wide, except where one cell spans a narrow side.
  auto reachFor = [&](double cell, double cells) -> std::int64_t {
    if (!(cell > 0)) return 0;
    double r = std::ceil(minDistance / cell);
    return static_cast<std::int64_t>(r < cells ? r : cells);
  };
  const std::int64_t reachX = reachFor(cellW, nx), reachY = reachFor(cellH, ny);
  auto cellOf = [](double offset, double size, double cells) -> std::int64_t {
    if (!(size > 0)) return 0;
    double c = std::floor(offset / size);
    return static_cast<std::int64_t>(c < 0 ? 0 : c > cells - 1 ? cells - 1 : c);
  };
  std::unordered_map<std::int64_t, std::vector<ULONG>> grid;
  auto key = [](std::int64_t ix, std::int64_t iy) { return ix * (std::int64_t{1} << 21) + iy; };
  const double limit = minDistance * minDistance;
  ULONG placed = 0;
  int misses = 0;
  while (placed < count && misses < kMaxMisses) {
    WKSPoint p = RandomPoint(box);
    std::int64_t ix = cellOf(p.x - box.xmin, cellW, nx), iy = cellOf(p.y - box.ymin, cellH, ny);
    bool clear = true;
    for (std::int64_t gx = ix - reachX; gx <= ix + reachX && clear; ++gx) {
      for (std::int64_t gy = iy - reachY; gy <= iy + reachY && clear; ++gy) {
        auto it = grid.find(key(gx, gy));
        if (it == grid.end()) continue;
        for (ULONG j : it->second)
          if (out[j].DistanceSquared(p) < limit) {
            clear = false;
            break;
          }
      }
    }
    if (!clear) {
      ++misses;
      continue;
    }
    misses = 0;
    out[placed] = p;
    grid[key(ix, iy)].push_back(placed);
    ++placed;
  }
  return placed;
}
