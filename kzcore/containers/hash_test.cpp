#include <kzcore/containers/hash.h>

#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <type_traits>
#include <unordered_map>
#include <vector>

#include <gtest/gtest.h>

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

namespace {

// A key whose hash the test chooses, with its comparisons and hashings counted.
struct ProbeKey {
  ULONG hash;
  int id;
};
int g_comparisons = 0;
int g_hashings = 0;

}  // namespace

template <>
struct HashKeyTraits<ProbeKey, ProbeKey> {
  static ULONG Hash(ProbeKey key) {
    ++g_hashings;
    return key.hash;
  }
  static bool Equal(const ProbeKey &stored, ProbeKey key) {
    ++g_comparisons;
    return stored.hash == key.hash && stored.id == key.id;
  }
};

namespace {

using LongTable = Hash<LONG, LONG, IUnknown *, IUnknown *>;
using PointerTable = Hash<IUnknown *, IUnknown *, LONG, LONG>;
using TextTable = Hash<String, const WCHAR *, String, const WCHAR *>;
using ProbeTable = Hash<ProbeKey, ProbeKey, int, int>;

constexpr std::uint64_t kMod = std::uint64_t{1} << 32;

// The pointer hash as a polynomial: 5381 * 33^8 + the sum of byte[i] * 33^(7 - i), byte 0 the
// lowest, modulo 2^32, then the top bit cleared.
ULONG PointerPolynomial(std::uint64_t bits) {
  std::uint64_t power = 1, sum = 0;
  for (int i = 7; i >= 0; --i) {
    sum = (sum + ((bits >> (8 * i)) & 0xFF) * power) % kMod;
    power = power * 33 % kMod;
  }
  sum = (sum + 5381 * power) % kMod;
  return static_cast<ULONG>(sum & 0x7FFFFFFF);
}

IUnknown *FakeObject(std::uint64_t bits) { return reinterpret_cast<IUnknown *>(static_cast<std::uintptr_t>(bits)); }

// What each kind of table is checked against: std::unordered_map over standard types, and the
// hash each key must carry, computed without the table's code.
struct LongKind {
  using Table = LongTable;
  using Key = LONG;
  using Value = std::uintptr_t;
  static Key RandomKey(std::mt19937 &rng) {
    // Mostly small keys; some far apart, negative ones among them (hashes above 2^31).
    if (rng() % 8 == 0) return static_cast<LONG>(static_cast<ULONG>(rng() % 64) * 0x04000001u);
    return static_cast<LONG>(rng() % 400) - 200;
  }
  static Value RandomValue(std::mt19937 &rng) { return (static_cast<std::uintptr_t>(rng()) << 4) | 8; }
  static LONG Arg(Key k) { return k; }
  static IUnknown *ArgValue(Value v) { return FakeObject(v); }
  static Key Back(LONG k) { return k; }
  static Value BackValue(IUnknown *v) { return reinterpret_cast<std::uintptr_t>(v); }
  static ULONG HashOf(Key k) { return static_cast<ULONG>(k); }
};

struct TextKind {
  using Table = TextTable;
  using Key = std::u16string;
  using Value = std::u16string;
  static std::u16string RandomText(std::mt19937 &rng, size_t longest) {
    static const char16_t kUnits[] = u"aAb\u00e9\u4e2d\uFFFF/";
    std::u16string s(rng() % (longest + 1), u' ');
    for (auto &u : s) u = kUnits[rng() % 7];
    return s;
  }
  static Key RandomKey(std::mt19937 &rng) { return RandomText(rng, 4); }
  static Value RandomValue(std::mt19937 &rng) { return RandomText(rng, 12); }
  static const WCHAR *Arg(const Key &k) { return k.c_str(); }
  static const WCHAR *ArgValue(const Value &v) { return v.c_str(); }
  static Key Back(const String &k) { return std::u16string(static_cast<const WCHAR *>(k), k.GetLength()); }
  static Value BackValue(const String &v) { return std::u16string(static_cast<const WCHAR *>(v), v.GetLength()); }
  static ULONG HashOf(const Key &k) { return HashProc(k.c_str()); }
};

// Many equal hashes and many shared buckets: the order among equal codes is free, the search
// must still find every key. The reference key packs the chosen hash above an 8-bit identity.
struct ProbeKind {
  using Table = ProbeTable;
  using Key = std::uint64_t;
  using Value = int;
  static Key RandomKey(std::mt19937 &rng) {
    const ULONG hash = static_cast<ULONG>(rng() % 40) * 0x0FFFFFFFu;
    return (std::uint64_t{hash} << 8) | (rng() % 4);
  }
  static Value RandomValue(std::mt19937 &rng) { return static_cast<int>(rng() % 1000); }
  static ProbeKey Arg(Key k) { return {static_cast<ULONG>(k >> 8), static_cast<int>(k & 0xFF)}; }
  static int ArgValue(Value v) { return v; }
  static Key Back(const ProbeKey &k) { return (std::uint64_t{k.hash} << 8) | static_cast<std::uint64_t>(k.id); }
  static Value BackValue(int v) { return v; }
  static ULONG HashOf(Key k) { return static_cast<ULONG>(k >> 8); }
};

// Walks the table by GetNextAssoc. Checks that every entry carries its key's hash, sits in the
// bucket of that hash, and that chains ascend; returns the contents.
template <class Kind>
std::map<typename Kind::Key, typename Kind::Value> Walk(const typename Kind::Table &table) {
  std::map<typename Kind::Key, typename Kind::Value> seen;
  auto pos = table.GetStartPosition();
  LONG bucket = -1;
  ULONG previous = 0;
  LONG visited = 0;
  while (pos.entry != nullptr) {
    const auto *e = pos.entry;
    EXPECT_EQ(e->hash, Kind::HashOf(Kind::Back(e->key)));
    EXPECT_EQ(static_cast<ULONG>(pos.bucket), e->hash % static_cast<ULONG>(table.GetSize()));
    if (pos.bucket == bucket) {
      EXPECT_GE(e->hash, previous) << "chain out of order in bucket " << bucket;
    } else {
      EXPECT_GT(pos.bucket, bucket);
    }
    bucket = pos.bucket;
    previous = e->hash;
    decltype(e->key) key{};
    decltype(e->value) value{};
    table.GetNextAssoc(pos, key, value);
    EXPECT_TRUE(seen.emplace(Kind::Back(key), Kind::BackValue(value)).second) << "a key came twice";
    ++visited;
  }
  EXPECT_EQ(pos.bucket, -1);
  EXPECT_EQ(visited, table.GetCount());
  return seen;
}

template <class Kind>
void RandomOperations(unsigned seed, int steps) {
  using Key = typename Kind::Key;
  using Value = typename Kind::Value;
  std::mt19937 rng(seed);
  typename Kind::Table table(static_cast<LONG>(rng() % 40));
  std::unordered_map<Key, Value> reference;
  auto check_all = [&] {
    const auto seen = Walk<Kind>(table);
    const std::map<Key, Value> expected(reference.begin(), reference.end());
    ASSERT_EQ(seen, expected);
  };
  for (int step = 0; step < steps; ++step) {
    const Key k = Kind::RandomKey(rng);
    const unsigned op = rng() % 200;
    if (op < 90) {
      const Value v = Kind::RandomValue(rng);
      const int expected = reference.count(k) ? 1 : 0;
      ASSERT_EQ(table.SetAt(Kind::Arg(k), Kind::ArgValue(v)), expected);
      reference[k] = v;
    } else if (op < 120) {
      ASSERT_EQ(table.RemoveKey(Kind::Arg(k)), static_cast<int>(reference.erase(k)));
    } else if (op < 155) {
      auto *found = table.Lookup(Kind::Arg(k));
      auto it = reference.find(k);
      ASSERT_EQ(found != nullptr, it != reference.end());
      if (found != nullptr) {
        ASSERT_EQ(Kind::BackValue(*found), it->second);
      }
    } else if (op < 190) {
      const Value sentinel = Kind::RandomValue(rng);
      typename std::remove_pointer_t<decltype(table.Lookup(Kind::Arg(k)))> out = Kind::ArgValue(sentinel);
      const Value untouched = Kind::BackValue(out);
      const int got = table.Lookup(Kind::Arg(k), out);
      auto it = reference.find(k);
      ASSERT_EQ(got, it != reference.end() ? 1 : 0);
      ASSERT_EQ(Kind::BackValue(out), it != reference.end() ? it->second : untouched);
    } else if (op < 197) {
      static const LONG kSizes[] = {0, 3, 16, 17, 18, 64, 97, 1000};
      const LONG size = kSizes[rng() % 8];
      table.SetSize(size);
      ASSERT_EQ(table.GetSize(), size < 17 ? 17 : size);
      check_all();
    } else if (op < 198) {
      table.RemoveAll();
      reference.clear();
    } else {
      check_all();
    }
    ASSERT_EQ(table.GetCount(), static_cast<LONG>(reference.size())) << "step " << step;
  }
  check_all();
}

TEST(HashRandom, AgreesWithUnorderedMapForEveryKeyKind) {
  for (unsigned seed = 1; seed <= 3; ++seed) {
    RandomOperations<LongKind>(seed, 6000);
    RandomOperations<TextKind>(seed + 20, 4000);
    RandomOperations<ProbeKind>(seed + 30, 4000);
  }
}

TEST(HashSearch, EndsAtTheFirstGreaterCodeAndComparesOnlyEqualCodes) {
  ProbeTable t;  // 17 buckets: 10, 27 and 44 share bucket 10
  ASSERT_EQ(t.GetSize(), 17);
  EXPECT_EQ(t.SetAt({44, 1}, 2), 0);
  EXPECT_EQ(t.SetAt({10, 1}, 1), 0);
  g_comparisons = 0;
  EXPECT_EQ(t.Lookup({27, 1}), nullptr);
  EXPECT_EQ(t.RemoveKey({27, 1}), 0);
  EXPECT_EQ(g_comparisons, 0) << "27 lies between 10 and 44: no key is compared";
  EXPECT_NE(t.Lookup({44, 1}), nullptr);
  EXPECT_EQ(g_comparisons, 1);
  EXPECT_EQ(t.SetAt({44, 2}, 3), 0);
  EXPECT_EQ(t.SetAt({44, 3}, 4), 0);
  g_comparisons = 0;
  EXPECT_EQ(t.Lookup({44, 9}), nullptr);
  EXPECT_EQ(g_comparisons, 3);
  EXPECT_EQ(t.SetAt({27, 1}, 5), 0);
  EXPECT_EQ(t.SetAt({61, 1}, 6), 0);  // 61 is bucket 10 too, above all
  // The chain reads 10, 27, 44, 44, 44, 61.
  std::vector<ULONG> chain;
  for (auto pos = t.GetStartPosition(); pos.entry != nullptr;) {
    chain.push_back(pos.entry->hash);
    ProbeKey k;
    int v;
    t.GetNextAssoc(pos, k, v);
  }
  EXPECT_EQ(chain, (std::vector<ULONG>{10, 27, 44, 44, 44, 61}));
  // SetAt twice with one key: one entry, the second call reports the replacement.
  EXPECT_EQ(t.SetAt({27, 1}, 50), 1);
  EXPECT_EQ(t.GetCount(), 6);
  int v = 0;
  EXPECT_EQ(t.Lookup({27, 1}, v), 1);
  EXPECT_EQ(v, 50);
}

TEST(HashSetSize, RelinksTheSameEntriesWithoutHashingAgain) {
  ProbeTable t(5);  // the constructor takes any positive size as given
  EXPECT_EQ(t.GetSize(), 5);
  std::map<int, int *> where;
  for (int i = 0; i < 300; ++i) {
    t.SetAt({static_cast<ULONG>(i * 7919), i % 200}, i);
    where[i] = t.Lookup({static_cast<ULONG>(i * 7919), i % 200});
  }
  g_hashings = 0;
  t.SetSize(3);
  EXPECT_EQ(t.GetSize(), 17);
  t.SetSize(301);
  EXPECT_EQ(g_hashings, 0);
  EXPECT_EQ(t.GetCount(), 300);
  for (int i = 0; i < 300; ++i) {
    EXPECT_EQ(t.Lookup({static_cast<ULONG>(i * 7919), i % 200}), where[i]) << "entry " << i << " moved";
  }
  Walk<ProbeKind>(t);
  // A size below 1 cannot divide: such a table has 17 buckets.
  ProbeTable zero(0), negative(-4);
  EXPECT_EQ(zero.GetSize(), 17);
  EXPECT_EQ(negative.GetSize(), 17);
  EXPECT_EQ(zero.SetAt({3, 3}, 3), 0);
  EXPECT_NE(zero.Lookup({3, 3}), nullptr);
}

TEST(HashIteration, AnEmptyTableEndsAtOnceAndTheEndLeavesOutputsAlone) {
  LongTable t(1000);
  t.SetAt(5, nullptr);
  t.RemoveAll();
  EXPECT_EQ(t.GetSize(), 1000);
  auto pos = t.GetStartPosition();
  EXPECT_EQ(pos.bucket, -1);
  EXPECT_EQ(pos.entry, nullptr);
  LONG key = 77;
  IUnknown *value = FakeObject(0x1230);
  t.GetNextAssoc(pos, key, value);
  EXPECT_EQ(key, 77);
  EXPECT_EQ(value, FakeObject(0x1230));
}

TEST(HashKeys, PointersHashOverAllEightBytesAndTextsByHashProc) {
  for (std::uint64_t bits : {std::uint64_t{0}, std::uint64_t{0x1000}, std::uint64_t{0x0100000000001000ull},
                             std::uint64_t{0xFFFFFFFFFFFFFFF0ull}}) {
    PointerTable objects;
    objects.SetAt(FakeObject(bits), 1);
    EXPECT_EQ(objects.GetStartPosition().entry->hash, PointerPolynomial(bits)) << std::hex << bits;
  }
  EXPECT_NE(HashPointerKey(FakeObject(0x1000)), HashPointerKey(FakeObject(0x0100000000001000ull)))
      << "the top byte takes part";

  TextTable params;
  EXPECT_EQ(params.SetAt(u"ab", u"x"), 0);
  EXPECT_EQ(params.GetStartPosition().entry->hash, 3299u);
  EXPECT_EQ(params.SetAt(u"AB", u"y"), 0) << "keys are case-sensitive";
  // A null key is the empty text.
  EXPECT_EQ(params.SetAt(nullptr, u"none"), 0);
  ASSERT_NE(params.Lookup(u""), nullptr);
  EXPECT_EQ(params.Lookup(u"")->Compare(u"none"), 0);
  EXPECT_EQ(params.RemoveKey(nullptr), 1);
  String value;
  EXPECT_EQ(params.Lookup(String(u"ab"), value), 1);
  EXPECT_EQ(value.Compare(u"x"), 0);
}

TEST(HashAssignment, CopiesTheFieldsSoBothTablesShareOneSetOfEntries) {
  LongTable source;
  source.SetAt(1, FakeObject(0x10));
  source.SetAt(2, FakeObject(0x20));
  // The target must never be destroyed beside the source, so it lives in raw storage; the bucket
  // array it had before is left behind by design.
  alignas(LongTable) unsigned char storage[sizeof(LongTable)];
#if defined(__SANITIZE_ADDRESS__)
  __lsan_disable();
#endif
  auto *target = new (storage) LongTable(5);
#if defined(__SANITIZE_ADDRESS__)
  __lsan_enable();
#endif
  *target = source;
  EXPECT_EQ(target->GetSize(), 17);
  EXPECT_EQ(target->GetCount(), 2);
  EXPECT_EQ(target->Lookup(2), source.Lookup(2)) << "the very same entry";
  target->SetAt(3, FakeObject(0x30));
  EXPECT_NE(source.Lookup(3), nullptr) << "one bucket array";
  EXPECT_EQ(source.GetCount(), 2) << "but counts of their own";
}

}  // namespace
