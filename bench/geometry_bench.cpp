// Point-set geometry against GEOS: the convex hull, point in polygon and Douglas-Peucker
// simplification; and the cost of one value in Statistics, alone.
#include <benchmark/benchmark.h>
#include <geos_c.h>

#include <chrono>
#include <cmath>
#include <numbers>
#include <random>
#include <vector>

#include <kzcore/numerics/geometry/wks_point.h>
#include <kzcore/numerics/statistics.h>

namespace {

constexpr long kHullPoints = 1000000;
constexpr long kRingVertices = 10000;
constexpr long kQueryPoints = 1000000;
// GEOS's non-prepared test rebuilds its view of the polygon on every call (about 17 ms at 10^4
// vertices): it gets a sample of the same points, and both sides report time per point.
constexpr long kGeosQueryPoints = 100;
constexpr long kLineVertices = 1000000;

class GeosContext {
 public:
  GeosContext() : h_(GEOS_init_r()) {}
  ~GeosContext() { GEOS_finish_r(h_); }
  GEOSContextHandle_t get() const { return h_; }

 private:
  GEOSContextHandle_t h_;
};

GEOSCoordSequence *Sequence(GEOSContextHandle_t h, const std::vector<WKSPoint> &p) {
  GEOSCoordSequence *s = GEOSCoordSeq_create_r(h, static_cast<unsigned>(p.size()), 2);
  for (size_t i = 0; i < p.size(); ++i) GEOSCoordSeq_setXY_r(h, s, static_cast<unsigned>(i), p[i].x, p[i].y);
  return s;
}

std::vector<WKSPoint> UniformPoints(long n, unsigned seed) {
  std::mt19937 gen(seed);
  std::uniform_real_distribution<double> u(0, 1000);
  std::vector<WKSPoint> p(n);
  for (WKSPoint &q : p) q = WKSPoint{u(gen), u(gen)};
  return p;
}

void BM_ConstructHullGraham_kz(benchmark::State &state) {
  const std::vector<WKSPoint> input = UniformPoints(kHullPoints, 1);
  std::vector<WKSPoint> work;
  for (auto _ : state) {
    state.PauseTiming();
    work = input;  // the hull works in place
    state.ResumeTiming();
    benchmark::DoNotOptimize(WKSPoint::ConstructHullGraham(kHullPoints, work.data(), nullptr));
  }
}
BENCHMARK(BM_ConstructHullGraham_kz)->Name("BM_ConstructHullGraham/kz")->Unit(benchmark::kMillisecond);

void BM_ConstructHullGraham_ref(benchmark::State &state) {
  GeosContext geos;
  GEOSContextHandle_t h = geos.get();
  const std::vector<WKSPoint> input = UniformPoints(kHullPoints, 1);
  std::vector<GEOSGeometry *> points;
  for (const WKSPoint &q : input) points.push_back(GEOSGeom_createPointFromXY_r(h, q.x, q.y));
  GEOSGeometry *all = GEOSGeom_createCollection_r(h, GEOS_MULTIPOINT, points.data(), kHullPoints);
  for (auto _ : state) {
    GEOSGeometry *hull = GEOSConvexHull_r(h, all);
    benchmark::DoNotOptimize(hull);
    GEOSGeom_destroy_r(h, hull);
  }
  GEOSGeom_destroy_r(h, all);
}
BENCHMARK(BM_ConstructHullGraham_ref)->Name("BM_ConstructHullGraham/ref")->Unit(benchmark::kMillisecond);

// A star-shaped clockwise ring of 10^4 vertices between radius 300 and 500 about (500, 500),
// closed, and query points over its box.
std::vector<WKSPoint> StarRing() {
  std::mt19937 gen(2);
  std::uniform_real_distribution<double> r(300, 500);
  std::vector<WKSPoint> ring;
  for (long i = 0; i < kRingVertices; ++i) {
    double a = -2 * std::numbers::pi * i / kRingVertices, rr = r(gen);
    ring.push_back(WKSPoint{500 + rr * std::cos(a), 500 + rr * std::sin(a)});
  }
  ring.push_back(ring[0]);
  return ring;
}

using Clock = std::chrono::steady_clock;

void BM_InsidePolygon_kz(benchmark::State &state) {
  const std::vector<WKSPoint> ring = StarRing(), queries = UniformPoints(kQueryPoints, 3);
  LONG count = static_cast<LONG>(ring.size());
  for (auto _ : state) {
    auto start = Clock::now();
    long inside = 0;
    for (const WKSPoint &q : queries) inside += q.InsidePolygon(1, &count, ring.data(), nullptr);
    benchmark::DoNotOptimize(inside);
    state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count() / kQueryPoints);
  }
  state.counters["points"] = kQueryPoints;
}
BENCHMARK(BM_InsidePolygon_kz)->Name("BM_InsidePolygon/kz")->UseManualTime()->Iterations(1)->Unit(benchmark::kMicrosecond);

void BM_InsidePolygon_ref(benchmark::State &state) {
  GeosContext geos;
  GEOSContextHandle_t h = geos.get();
  const std::vector<WKSPoint> ring = StarRing(), queries = UniformPoints(kQueryPoints, 3);
  GEOSGeometry *shell = GEOSGeom_createLinearRing_r(h, Sequence(h, ring));
  GEOSGeometry *polygon = GEOSGeom_createPolygon_r(h, shell, nullptr, 0);
  for (auto _ : state) {
    auto start = Clock::now();
    long inside = 0;
    for (long i = 0; i < kGeosQueryPoints; ++i) {
      GEOSGeometry *pt = GEOSGeom_createPointFromXY_r(h, queries[i].x, queries[i].y);
      inside += GEOSContains_r(h, polygon, pt);
      GEOSGeom_destroy_r(h, pt);
    }
    benchmark::DoNotOptimize(inside);
    state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count() / kGeosQueryPoints);
  }
  state.counters["points"] = kGeosQueryPoints;
  GEOSGeom_destroy_r(h, polygon);
}
BENCHMARK(BM_InsidePolygon_ref)->Name("BM_InsidePolygon/ref")->UseManualTime()->Iterations(1)->Unit(benchmark::kMicrosecond);

// A random walk of 10^6 vertices, x steadily on, y by normal steps: about a quarter of the
// vertices stay at tolerance 1, one in a hundred at 10.
std::vector<WKSPoint> RandomWalk() {
  std::mt19937 gen(4);
  std::normal_distribution<double> step(0, 1);
  std::vector<WKSPoint> line(kLineVertices);
  double y = 0;
  for (long i = 0; i < kLineVertices; ++i) line[i] = WKSPoint{double(i), y += step(gen)};
  return line;
}

void BM_DouglasPoiker_kz(benchmark::State &state) {
  const std::vector<WKSPoint> input = RandomWalk();
  const double tolerance = static_cast<double>(state.range(0));
  std::vector<WKSPoint> work;
  for (auto _ : state) {
    state.PauseTiming();
    work = input;
    state.ResumeTiming();
    WKSPoint::DouglasPoiker(kLineVertices, work.data(), tolerance);
    benchmark::DoNotOptimize(WKSPoint::MoveNonEmptyPoints(kLineVertices, work.data(), nullptr));
  }
}
BENCHMARK(BM_DouglasPoiker_kz)->Name("BM_DouglasPoiker/kz")->Arg(1)->Arg(10)->Unit(benchmark::kMillisecond);

void BM_DouglasPoiker_ref(benchmark::State &state) {
  GeosContext geos;
  GEOSContextHandle_t h = geos.get();
  GEOSGeometry *line = GEOSGeom_createLineString_r(h, Sequence(h, RandomWalk()));
  const double tolerance = static_cast<double>(state.range(0));
  for (auto _ : state) {
    GEOSGeometry *simple = GEOSSimplify_r(h, line, tolerance);
    benchmark::DoNotOptimize(simple);
    GEOSGeom_destroy_r(h, simple);
  }
  GEOSGeom_destroy_r(h, line);
}
BENCHMARK(BM_DouglasPoiker_ref)->Name("BM_DouglasPoiker/ref")->Arg(1)->Arg(10)->Unit(benchmark::kMillisecond);

constexpr long kStatisticsValues = 100000000;  // 10^8 per iteration

// Without kept values: the running sums and extremes only. seconds_per_value is the time of one
// AddValue.
void BM_StatisticsAddValue(benchmark::State &state) {
  for (auto _ : state) {
    Statistics s(false);
    for (long i = 0; i < kStatisticsValues; ++i) s.AddValue(static_cast<double>(i & 1023) * 0.25);
    benchmark::DoNotOptimize(s.Sum());
    benchmark::DoNotOptimize(s.Minimum());
  }
  state.counters["seconds_per_value"] = benchmark::Counter(
      kStatisticsValues, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}
BENCHMARK(BM_StatisticsAddValue)->Unit(benchmark::kMillisecond);

}  // namespace
