// String against std::u16string, and Format against snprintf.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <random>
#include <string>

#include <kzcore/core/string.h>

namespace {

const char16_t kTwenty[] = u"Roads_and_rails_2026";  // 20 units

void BM_StringCopy_kz(benchmark::State &state) {
  String source(kTwenty);
  for (auto _ : state) {
    String copy(source);
    benchmark::DoNotOptimize(static_cast<const WCHAR *>(copy));
  }
}
BENCHMARK(BM_StringCopy_kz)->Name("BM_StringCopy/kz");

void BM_StringCopy_ref(benchmark::State &state) {
  std::u16string source(kTwenty);
  for (auto _ : state) {
    std::u16string copy(source);
    benchmark::DoNotOptimize(copy.data());
  }
}
BENCHMARK(BM_StringCopy_ref)->Name("BM_StringCopy/ref");

constexpr int kAppends = 1000000;

void BM_StringAppendUnit_kz(benchmark::State &state) {
  for (auto _ : state) {
    String s;
    for (int i = 0; i < kAppends; ++i) s += static_cast<WCHAR>(u'a' + (i & 15));
    benchmark::DoNotOptimize(static_cast<const WCHAR *>(s));
  }
  state.SetItemsProcessed(state.iterations() * kAppends);
}
BENCHMARK(BM_StringAppendUnit_kz)->Name("BM_StringAppendUnit/kz")->Unit(benchmark::kMillisecond);

void BM_StringAppendUnit_ref(benchmark::State &state) {
  for (auto _ : state) {
    std::u16string s;
    for (int i = 0; i < kAppends; ++i) s += static_cast<char16_t>(u'a' + (i & 15));
    benchmark::DoNotOptimize(s.data());
  }
  state.SetItemsProcessed(state.iterations() * kAppends);
}
BENCHMARK(BM_StringAppendUnit_ref)->Name("BM_StringAppendUnit/ref")->Unit(benchmark::kMillisecond);

// 1 MB of random lower-case text with the 5-unit needle only at the end.
std::u16string Haystack() {
  std::mt19937 rng(1);
  std::u16string text(512 * 1024, u' ');
  for (auto &c : text) c = static_cast<char16_t>(u'a' + rng() % 26);
  text.replace(text.size() - 5, 5, u"QUERY");
  return text;
}

void BM_StringFind_kz(benchmark::State &state) {
  const String text(Haystack().c_str());
  for (auto _ : state) benchmark::DoNotOptimize(text.Find(u"QUERY"));
  state.SetBytesProcessed(state.iterations() * text.GetLength() * 2);
}
BENCHMARK(BM_StringFind_kz)->Name("BM_StringFind/kz")->Unit(benchmark::kMicrosecond);

void BM_StringFind_ref(benchmark::State &state) {
  const std::u16string text = Haystack();
  for (auto _ : state) benchmark::DoNotOptimize(text.find(u"QUERY"));
  state.SetBytesProcessed(state.iterations() * text.size() * 2);
}
BENCHMARK(BM_StringFind_ref)->Name("BM_StringFind/ref")->Unit(benchmark::kMicrosecond);

void BM_StringFormat_kz(benchmark::State &state) {
  String s;
  for (auto _ : state) {
    s.Format(u"%s: %d features, %.3f km, %S", u"Roads", 1234567, 98.7654321, "ok");
    benchmark::DoNotOptimize(static_cast<const WCHAR *>(s));
  }
}
BENCHMARK(BM_StringFormat_kz)->Name("BM_StringFormat/kz");

// The floor: narrow snprintf, then widening into a std::u16string.
void BM_StringFormat_ref(benchmark::State &state) {
  std::u16string s;
  char buf[256];
  for (auto _ : state) {
    const int n = std::snprintf(buf, sizeof buf, "%s: %d features, %.3f km, %s", "Roads", 1234567, 98.7654321, "ok");
    s.assign(buf, buf + n);
    benchmark::DoNotOptimize(s.data());
  }
}
BENCHMARK(BM_StringFormat_ref)->Name("BM_StringFormat/ref");

}  // namespace
