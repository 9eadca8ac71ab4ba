// Hash against std::unordered_map, BaseArray against std::vector.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <random>
#include <unordered_map>
#include <vector>

#include <kzcore/containers/base_array.h>
#include <kzcore/containers/hash.h>

namespace {

constexpr int kEntries = 1000000;
constexpr int kLookups = 10000000;
constexpr int kAppends = 10000000;

using ObjectTable = Hash<LONG, LONG, IUnknown *, IUnknown *>;

// Values that look like object pointers; the table never dereferences them.
IUnknown *ObjectFor(LONG key) {
  return reinterpret_cast<IUnknown *>((static_cast<std::uintptr_t>(static_cast<ULONG>(key)) << 4) | 8);
}

// Random keys over the whole 32-bit range, and the keys the lookups ask for: nine in ten are in
// the table, in random order.
const std::vector<LONG> &Keys() {
  static const std::vector<LONG> keys = [] {
    std::mt19937 rng(7);
    std::vector<LONG> k(kEntries);
    for (auto &key : k) key = static_cast<LONG>(rng());
    return k;
  }();
  return keys;
}
const std::vector<LONG> &Probes() {
  static const std::vector<LONG> probes = [] {
    std::mt19937 rng(8);
    const auto &keys = Keys();
    std::vector<LONG> p(kLookups);
    for (auto &key : p) key = rng() % 10 == 0 ? static_cast<LONG>(rng()) : keys[rng() % keys.size()];
    return p;
  }();
  return probes;
}

void BM_HashInsert_kz(benchmark::State &state) {
  const auto &keys = Keys();
  for (auto _ : state) {
    ObjectTable table;
    table.SetSize(kEntries);
    for (LONG key : keys) table.SetAt(key, ObjectFor(key));
    benchmark::DoNotOptimize(table.GetCount());
  }
  state.SetItemsProcessed(state.iterations() * kEntries);
}
BENCHMARK(BM_HashInsert_kz)->Name("BM_HashInsert/kz")->Unit(benchmark::kMillisecond);

void BM_HashInsert_ref(benchmark::State &state) {
  const auto &keys = Keys();
  for (auto _ : state) {
    std::unordered_map<LONG, IUnknown *> table;
    table.reserve(kEntries);
    for (LONG key : keys) table[key] = ObjectFor(key);
    benchmark::DoNotOptimize(table.size());
  }
  state.SetItemsProcessed(state.iterations() * kEntries);
}
BENCHMARK(BM_HashInsert_ref)->Name("BM_HashInsert/ref")->Unit(benchmark::kMillisecond);

void BM_HashLookup_kz(benchmark::State &state) {
  const auto &probes = Probes();
  ObjectTable table;
  table.SetSize(kEntries);
  for (LONG key : Keys()) table.SetAt(key, ObjectFor(key));
  for (auto _ : state) {
    std::uintptr_t sum = 0;
    for (LONG key : probes) {
      if (IUnknown **found = table.Lookup(key)) sum += reinterpret_cast<std::uintptr_t>(*found);
    }
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * kLookups);
}
BENCHMARK(BM_HashLookup_kz)->Name("BM_HashLookup/kz")->Unit(benchmark::kMillisecond);

void BM_HashLookup_ref(benchmark::State &state) {
  const auto &probes = Probes();
  std::unordered_map<LONG, IUnknown *> table;
  table.reserve(kEntries);
  for (LONG key : Keys()) table[key] = ObjectFor(key);
  for (auto _ : state) {
    std::uintptr_t sum = 0;
    for (LONG key : probes) {
      auto it = table.find(key);
      if (it != table.end()) sum += reinterpret_cast<std::uintptr_t>(it->second);
    }
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * kLookups);
}
BENCHMARK(BM_HashLookup_ref)->Name("BM_HashLookup/ref")->Unit(benchmark::kMillisecond);

void BM_ArrayAppend_kz(benchmark::State &state) {
  for (auto _ : state) {
    BaseArray<double> values;
    for (int i = 0; i < kAppends; ++i) values.Insert(i * 0.5, -1);
    benchmark::DoNotOptimize(values.GetElements());
  }
  state.SetItemsProcessed(state.iterations() * kAppends);
}
BENCHMARK(BM_ArrayAppend_kz)->Name("BM_ArrayAppend/kz")->Unit(benchmark::kMillisecond);

void BM_ArrayAppend_ref(benchmark::State &state) {
  for (auto _ : state) {
    std::vector<double> values;
    for (int i = 0; i < kAppends; ++i) values.push_back(i * 0.5);
    benchmark::DoNotOptimize(values.data());
  }
  state.SetItemsProcessed(state.iterations() * kAppends);
}
BENCHMARK(BM_ArrayAppend_ref)->Name("BM_ArrayAppend/ref")->Unit(benchmark::kMillisecond);

}  // namespace
