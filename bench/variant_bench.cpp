// VariantChangeType between text and doubles on 10^6 values, against the C library's strtod and
// snprintf("%.15g") as the floor.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include <kzcore/pal/variant.h>

namespace {

constexpr int kValues = 1000000;

// Doubles spread over magnitudes that data files hold: coordinates, measures, small fractions.
const std::vector<double> &Values() {
  static const std::vector<double> values = [] {
    std::mt19937_64 random(42);
    std::uniform_real_distribution<double> mantissa(-1.0, 1.0);
    std::uniform_int_distribution<int> exponent(-8, 12);
    std::vector<double> v(kValues);
    for (double &x : v) x = mantissa(random) * std::pow(10.0, exponent(random));
    return v;
  }();
  return values;
}

const std::vector<std::string> &Texts() {
  static const std::vector<std::string> texts = [] {
    std::vector<std::string> t;
    t.reserve(kValues);
    char buffer[32];
    for (double x : Values()) {
      std::snprintf(buffer, sizeof buffer, "%.15g", x);
      t.emplace_back(buffer);
    }
    return t;
  }();
  return texts;
}

void BM_BstrToR8_kz(benchmark::State &state) {
  std::vector<VARIANT> sources(kValues);
  for (int i = 0; i < kValues; ++i) {
    const std::string &text = Texts()[i];
    std::u16string wide(text.begin(), text.end());
    sources[i].vt = VT_BSTR;
    sources[i].bstrVal = SysAllocString(wide.c_str());
  }
  for (auto _ : state) {
    double sum = 0;
    for (const VARIANT &src : sources) {
      VARIANT dst;
      VariantInit(&dst);
      VariantChangeType(&dst, &src, 0, VT_R8);
      sum += dst.dblVal;
    }
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * kValues);
  for (VARIANT &src : sources) VariantClear(&src);
}

void BM_BstrToR8_ref(benchmark::State &state) {
  const std::vector<std::string> &texts = Texts();
  for (auto _ : state) {
    double sum = 0;
    for (const std::string &text : texts) sum += std::strtod(text.c_str(), nullptr);
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * kValues);
}

void BM_R8ToBstr_kz(benchmark::State &state) {
  const std::vector<double> &values = Values();
  for (auto _ : state) {
    std::size_t length = 0;
    for (double x : values) {
      VARIANT src, dst;
      src.vt = VT_R8;
      src.dblVal = x;
      VariantInit(&dst);
      VariantChangeType(&dst, &src, 0, VT_BSTR);
      length += SysStringLen(dst.bstrVal);
      VariantClear(&dst);
    }
    benchmark::DoNotOptimize(length);
  }
  state.SetItemsProcessed(state.iterations() * kValues);
}

void BM_R8ToBstr_ref(benchmark::State &state) {
  const std::vector<double> &values = Values();
  for (auto _ : state) {
    std::size_t length = 0;
    char buffer[32];
    for (double x : values) length += static_cast<std::size_t>(std::snprintf(buffer, sizeof buffer, "%.15g", x));
    benchmark::DoNotOptimize(length);
  }
  state.SetItemsProcessed(state.iterations() * kValues);
}

}  // namespace

BENCHMARK(BM_BstrToR8_kz)->Name("BM_BstrToR8/kz")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BstrToR8_ref)->Name("BM_BstrToR8/ref")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_R8ToBstr_kz)->Name("BM_R8ToBstr/kz")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_R8ToBstr_ref)->Name("BM_R8ToBstr/ref")->Unit(benchmark::kMillisecond);
