// Points, envelopes and random numbers against their references: std::mt19937 and
// std::normal_distribution for the generators, GEOS for the area of a union of boxes.
#include <benchmark/benchmark.h>
#include <geos_c.h>

#include <random>
#include <vector>

#include <kzcore/numerics/geometry/wks_envelope.h>
#include <kzcore/numerics/random/random_generator.h>

namespace {

constexpr long kUniformDraws = 100000000;  // 10^8 per iteration
constexpr long kNormalDraws = 10000000;

void BM_Uniform01_kz(benchmark::State &state) {
  RandomGeneratorMersenneTwister mt(5489);
  for (auto _ : state) {
    double sum = 0;
    for (long i = 0; i < kUniformDraws; ++i) sum += mt.Uniform01();
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * kUniformDraws);
}
BENCHMARK(BM_Uniform01_kz)->Name("BM_Uniform01/kz")->Unit(benchmark::kMillisecond);

void BM_Uniform01_ref(benchmark::State &state) {
  std::mt19937 mt(5489);
  for (auto _ : state) {
    double sum = 0;
    for (long i = 0; i < kUniformDraws; ++i) sum += (mt() + 0.5) * 2.3283064365386963e-10;
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * kUniformDraws);
}
BENCHMARK(BM_Uniform01_ref)->Name("BM_Uniform01/ref")->Unit(benchmark::kMillisecond);

void BM_Normal_kz(benchmark::State &state) {
  RandomGeneratorMersenneTwister mt(5489);
  for (auto _ : state) {
    double sum = 0;
    for (long i = 0; i < kNormalDraws; ++i) sum += mt.Normal(0.0, 1.0);
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * kNormalDraws);
}
BENCHMARK(BM_Normal_kz)->Name("BM_Normal/kz")->Unit(benchmark::kMillisecond);

void BM_Normal_ref(benchmark::State &state) {
  std::mt19937 mt(5489);
  std::normal_distribution<double> normal(0.0, 1.0);
  for (auto _ : state) {
    double sum = 0;
    for (long i = 0; i < kNormalDraws; ++i) sum += normal(mt);
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * kNormalDraws);
}
BENCHMARK(BM_Normal_ref)->Name("BM_Normal/ref")->Unit(benchmark::kMillisecond);

// Random boxes on a 1000 x 1000 field, 0 to 20 on a side: about a third of the field covered at
// 10^3 boxes, most of it at 10^4.
std::vector<WKSEnvelope> RandomBoxes(long n) {
  std::mt19937 gen(12345);
  std::uniform_real_distribution<double> pos(0, 1000), size(0, 20);
  std::vector<WKSEnvelope> boxes;
  for (long i = 0; i < n; ++i) {
    double x = pos(gen), y = pos(gen);
    boxes.emplace_back(x, y, x + size(gen), y + size(gen));
  }
  return boxes;
}

void BM_AreaOfUnion_kz(benchmark::State &state) {
  std::vector<WKSEnvelope> boxes = RandomBoxes(state.range(0));
  for (auto _ : state)
    benchmark::DoNotOptimize(WKSEnvelope::AreaOfUnion(boxes.data(), LONG(boxes.size()), nullptr));
}
BENCHMARK(BM_AreaOfUnion_kz)->Name("BM_AreaOfUnion/kz")->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);

// GEOS from the same boxes: rectangles, their unary union, its area.
void BM_AreaOfUnion_ref(benchmark::State &state) {
  std::vector<WKSEnvelope> boxes = RandomBoxes(state.range(0));
  GEOSContextHandle_t h = GEOS_init_r();
  for (auto _ : state) {
    std::vector<GEOSGeometry *> parts;
    parts.reserve(boxes.size());
    for (const WKSEnvelope &b : boxes)
      parts.push_back(GEOSGeom_createRectangle_r(h, b.xmin, b.ymin, b.xmax, b.ymax));
    GEOSGeometry *all = GEOSGeom_createCollection_r(h, GEOS_GEOMETRYCOLLECTION, parts.data(),
                                                    static_cast<unsigned>(parts.size()));
    GEOSGeometry *u = GEOSUnaryUnion_r(h, all);
    double area = 0;
    GEOSArea_r(h, u, &area);
    benchmark::DoNotOptimize(area);
    GEOSGeom_destroy_r(h, u);
    GEOSGeom_destroy_r(h, all);
  }
  GEOS_finish_r(h);
}
BENCHMARK(BM_AreaOfUnion_ref)->Name("BM_AreaOfUnion/ref")->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);

}  // namespace
