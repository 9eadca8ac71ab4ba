#include <kzcore/containers/base_array.h>

#include <concepts>
#include <cstdint>
#include <cstring>
#include <new>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

namespace {

struct Record20 {
  LONG v[5];
  bool operator==(const Record20 &o) const { return std::memcmp(v, o.v, sizeof v) == 0; }
};

template <class T>
T Make(LONG i) {
  if constexpr (std::is_same_v<T, Record20>) return Record20{{i, i + 1, -i, i * 7, 99}};
  else if constexpr (std::is_arithmetic_v<T>) return static_cast<T>(i);
  else return T{};
}

// Bytes of the block under the array, as its heap reports them.
template <class T>
SIZE_T BufferBytes(const BaseArray<T> &a, HANDLE heap = GetProcessHeap()) {
  return HeapSize(heap, 0, a.GetElements());
}

template <class T>
std::vector<T> Contents(const BaseArray<T> &a) {
  return std::vector<T>(a.GetElements(), a.GetElements() + a.GetSize());
}

template <class F>
std::string Thrown(F &&f) {
  try {
    f();
  } catch (const char *text) {  // how callers catch the thrown char *
    return text;
  }
  return "(nothing thrown)";
}

// {n, exact bytes, growing bytes}, worked by hand from the two sizing rules.
struct SizeRow {
  LONG n;
  SIZE_T exact, growing;
};

template <class T>
void CheckSizes(const std::vector<SizeRow> &rows) {
  for (const SizeRow &row : rows) {
    SCOPED_TRACE(testing::Message() << sizeof(T) << "-byte elements, n = " << row.n);
    BaseArray<T> exact(static_cast<ULONG>(row.n));
    EXPECT_EQ(BufferBytes(exact), row.exact);
    EXPECT_EQ(exact.GetReserved(), static_cast<LONG>(row.exact / sizeof(T)));
    std::vector<T> src(static_cast<size_t>(row.n), Make<T>(3));
    BaseArray<T> growing(src.data(), static_cast<ULONG>(row.n));
    EXPECT_EQ(BufferBytes(growing), row.growing);
    EXPECT_EQ(growing.GetReserved(), static_cast<LONG>(row.growing / sizeof(T)));
    if constexpr (std::equality_comparable<T>) {
      EXPECT_EQ(Contents(growing), src);
    }
    ASSERT_TRUE(growing.SetReserved(row.n, true));
    EXPECT_EQ(BufferBytes(growing), row.exact);
  }
}

TEST(BaseArraySizes, BuffersTakeTheExactAndGrowingByteSizes) {
  // Exact sizes change rule above 1 KiB: 256 four-byte or 128 eight-byte elements.
  CheckSizes<LONG>({{0, 64, 64}, {12, 64, 72}, {50, 256, 300}, {256, 1088, 1536}, {257, 2048, 1540}});
  CheckSizes<double>({{0, 64, 64}, {6, 64, 72}, {12, 128, 144}, {128, 1088, 1536}, {129, 2048, 1544}});
  CheckSizes<void *>({{0, 64, 64}, {7, 64, 80}, {129, 2048, 1544}});
  // 20-byte elements: the growing minimum is 80 bytes, four whole elements.
  CheckSizes<Record20>({{0, 64, 80}, {3, 128, 80}, {51, 1088, 1520}, {52, 2048, 1560}});
  CheckSizes<tagCONNECTDATA>({{0, 64, 64}, {6, 128, 144}, {128, 3072, 3072}});

  // Default arrays hold 64 bytes; the exported pointer arrays hold 8 pointers, the connection
  // array 4 records of 16 bytes.
  EXPECT_EQ(BaseArray<LONG>().GetReserved(), 16);
  EXPECT_EQ(BaseArray<Record20>().GetReserved(), 3);
  EXPECT_EQ(BaseArray<WCHAR *>().GetReserved(), 8);
  EXPECT_EQ(BaseArray<IConnectionPoint *>().GetReserved(), 8);
  EXPECT_EQ(BaseArray<tagCONNECTDATA>().GetReserved(), 4);
}

TEST(BaseArraySizes, GrowthIsByHalfAgainOfReservedPlusTheInsertion) {
  // One at a time: a full buffer of r elements becomes (r + 1) * 3 / 2.
  BaseArray<LONG> longs;
  std::vector<LONG> steps{longs.GetReserved()};
  for (LONG i = 0; i < 400; ++i) {
    ASSERT_TRUE(longs.Insert(i, i % 2 == 0 ? -1 : 0));
    if (longs.GetReserved() != steps.back()) steps.push_back(longs.GetReserved());
  }
  EXPECT_EQ(steps, (std::vector<LONG>{16, 25, 39, 60, 91, 138, 208, 313, 471}));

  // An exact fit is room for one element but not for a range.
  const LONG fifteen[15] = {};
  BaseArray<LONG> single, range;
  single.Set(fifteen, 15, true);  // 15 in 16 slots
  range.Set(fifteen, 15, true);
  ASSERT_TRUE(single.Insert(LONG{5}, -1));
  EXPECT_EQ(single.GetReserved(), 16);
  const LONG five = 5;
  ASSERT_TRUE(range.Insert(&five, 1, -1));
  EXPECT_EQ(range.GetReserved(), 25);
  // A range grows from reserved, not from the count: (25 + 20) * 3 / 2.
  std::vector<LONG> twenty(20, 7);
  ASSERT_TRUE(range.Insert(twenty.data(), 20, 3));
  EXPECT_EQ(range.GetReserved(), 67);

  // SetReserved keeps a large enough buffer unless forced, and empties the array either way.
  LONG *kept = range.GetElements();
  ASSERT_TRUE(range.SetReserved(10, false));
  EXPECT_EQ(range.GetElements(), kept);
  EXPECT_EQ(range.GetSize(), 0);
  ASSERT_TRUE(range.SetReserved(10, true));
  EXPECT_EQ(range.GetReserved(), 16);
}

TEST(BaseArraySizes, RemovalShrinksOnlyPastBothMargins) {
  // 1000 doubles in 1024 slots, removed from the end one at a time. A shrink needs
  // count + 128 < reserved and count * 3 / 2 < reserved, and goes to the exact size.
  BaseArray<double> a(1000);
  ASSERT_EQ(a.GetReserved(), 1024);
  std::vector<double> values(1000, 0.5);
  a.Set(values.data(), 1000, true);
  std::vector<std::pair<LONG, LONG>> shrinks;
  while (a.GetSize() > 0) {
    const LONG before = a.GetReserved();
    ASSERT_TRUE(a.Remove(1, -1));
    if (a.GetReserved() != before) shrinks.emplace_back(a.GetSize(), a.GetReserved());
  }
  EXPECT_EQ(shrinks, (std::vector<std::pair<LONG, LONG>>{{682, 768}, {511, 512}, {341, 384}, {255, 256}, {127, 128}}));
}

TEST(BaseArrayEdits, PositionsCountsAndSourcesFollowTheirRules) {
  // Positions past the end are covered by the random test below.
  std::vector<LONG> five{0, 1, 2, 3, 4};
  BaseArray<LONG> a(five.data(), 5);
  ASSERT_TRUE(a.Insert(nullptr, 2, 1));  // a null source stands for zeros
  EXPECT_EQ(Contents(a), (std::vector<LONG>{0, 0, 0, 1, 2, 3, 4}));

  // With `exact`, Replace moves to the growing size for the new count, smaller or not.
  std::vector<LONG> hundred(100, 1);
  BaseArray<LONG> b(hundred.data(), 100);
  LONG two[] = {70, 71};
  ASSERT_TRUE(b.Replace(two, 2, 90, 10, true));
  EXPECT_EQ(b.GetReserved(), 18);
  EXPECT_EQ(b.GetSize(), 12);
  EXPECT_EQ(b[11], 71);

  // Negative counts are refused and change nothing (positions are in the random test).
  const std::vector<LONG> before = Contents(b);
  EXPECT_FALSE(b.Insert(two, -1, 0));
  EXPECT_FALSE(b.Remove(-1, 0));
  EXPECT_FALSE(b.Replace(two, 2, -1, 0, false));
  EXPECT_FALSE(b.Set(two, -1, true));
  EXPECT_FALSE(b.SetReserved(-1, true));
  EXPECT_EQ(Contents(b), before);
  b.ElementsChanged(1 << 30);  // held within the buffer
  EXPECT_EQ(b.GetSize(), b.GetReserved());
  // Counts no LONG can hold are never allocated.
  EXPECT_FALSE(b.SetReserved(0x7FFFFFFF, true));
  EXPECT_EQ(b.GetElements(), nullptr);
  EXPECT_EQ(b.GetReserved(), 0);
  EXPECT_THROW(BaseArray<LONG>(0xFFFFFFFFu), std::bad_alloc);
}

TEST(BaseArrayEdits, CopiesTakeExactlyTheSourcesReservedAndOwnIt) {
  std::vector<double> values{1.5, 2.5, 3.5};
  BaseArray<double> a(300);
  a.Set(values.data(), 3, true);
  BaseArray<double> copy(a);
  EXPECT_EQ(BufferBytes(copy), static_cast<SIZE_T>(a.GetReserved()) * sizeof(double));
  EXPECT_EQ(Contents(copy), values);
  BaseArray<double> assigned;
  assigned = a;
  assigned = assigned;  // a self-assignment keeps the elements
  EXPECT_EQ(Contents(assigned), values);
  EXPECT_EQ(assigned.GetReserved(), a.GetReserved());

  // From a null buffer: count and reserved 0, buffer null, owning; the first insertion grows.
  BaseArray<double> emptied;
  emptied.Empty();
  assigned = emptied;
  EXPECT_EQ(assigned.GetElements(), nullptr);
  EXPECT_EQ(assigned.GetReserved(), 0);
  EXPECT_TRUE(assigned.OwnsBuffer());
  ASSERT_TRUE(assigned.Insert(4.0, 3));
  EXPECT_EQ(assigned.GetReserved(), 8);
}

TEST(BaseArrayForeign, AnAttachedBufferIsUsedInPlaceAndNeverFreed) {
  // Freeing the stack storage would be caught by the sanitizer build.
  LONG storage[6] = {0, 1, 2, 3, 4, 5};
  BaseArray<LONG> a;
  a.Attach(storage, 6);
  EXPECT_FALSE(a.OwnsBuffer());
  EXPECT_TRUE(a.IsAttachedTo(storage));
  ASSERT_TRUE(a.Remove(1, 0));  // in place, and never shrunk
  ASSERT_TRUE(a.Insert(LONG{42}, 1));  // 5 in 6 slots: the single insert takes the last one
  EXPECT_EQ(std::vector<LONG>(storage, storage + 6), (std::vector<LONG>{1, 42, 2, 3, 4, 5}));
  EXPECT_EQ(a.GetReserved(), 6);
  a.Empty();
  EXPECT_TRUE(a.OwnsBuffer());
  EXPECT_EQ(a.GetElements(), nullptr);

  // SetReserved over a foreign buffer takes one of its own and leaves the other alone.
  a.Attach(storage, 6);
  ASSERT_TRUE(a.SetReserved(4, false));
  EXPECT_TRUE(a.OwnsBuffer());
  EXPECT_EQ(a.GetReserved(), 16);
  a.Attach(nullptr, 5);  // nothing to run over
  EXPECT_EQ(a.GetReserved(), 0);

  // Detach hands an owned buffer over: it stays a live block of the heap, the caller's to free.
  std::vector<LONG> values(20, 3);
  BaseArray<LONG> b(values.data(), 20);
  LONG *taken = b.GetElements();
  b.Detach();
  EXPECT_TRUE(b.OwnsBuffer());
  EXPECT_EQ(b.GetElements(), nullptr);
  EXPECT_EQ(b.GetReserved(), 0);
  EXPECT_EQ(HeapSize(GetProcessHeap(), 0, taken), 120u);
  EXPECT_TRUE(HeapFree(GetProcessHeap(), 0, taken));
}

TEST(BaseArrayForeign, UsesAForeignBufferCannotServeThrowTheirTexts) {
  LONG storage[8] = {};
  LONG two[2] = {1, 2};
  BaseArray<LONG> a;
  a.Attach(storage, 8);
  a.ElementsChanged(7);
  EXPECT_EQ(Thrown([&] { a.Insert(two, 1, 0); }), "You do not own the buffer!");  // an exact fit
  EXPECT_EQ(a.GetSize(), 7);
  ASSERT_TRUE(a.Insert(LONG{5}, 0));
  EXPECT_EQ(Thrown([&] { a.Insert(LONG{5}, 0); }), "You do not own the buffer!");
  EXPECT_EQ(Thrown([&] { a.Replace(two, 2, 1, 0, true); }), "You do not own the buffer and it is an exact fit!");
  EXPECT_EQ(Thrown([&] { a.Replace(two, 2, 1, 0, false); }),
            "You do not own the buffer and it will not fit in the avaible!");
  a.Attach(storage, 1);
  EXPECT_EQ(Thrown([&] { a.Set(two, 2, true); }), "Reserved is less than elements");
  a.Attach(storage, 1);
  EXPECT_EQ(Thrown([&] { a.Set(two, 1, false); }), "");
  EXPECT_EQ(a.GetSize(), 0) << "the count is cleared before the refusal";
  a.Attach(storage, 0);
  EXPECT_EQ(Thrown([&] { a.Insert(two, 2, 0); }), "Reserved is less than elements");
  // The thrown value is a char *: a handler for that type catches it too.
  bool caught = false;
  try {
    a.Set(two, 2, true);
  } catch (char *text) {
    caught = std::strcmp(text, "Reserved is less than elements") == 0;
  }
  EXPECT_TRUE(caught);
}

TEST(BaseArrayHeaps, BuffersComeFromTheArraysHeapAndFailuresFollowTheirRules) {
  HANDLE heap = HeapCreate(0, 0, 4096);  // a budget of one page
  ASSERT_NE(heap, nullptr);
  {
    BaseArray<double> a(0, heap);
    std::vector<double> values(450, 1.25);
    ASSERT_TRUE(a.Set(values.data(), 300, true));  // 450 slots: 3600 bytes
    EXPECT_EQ(BufferBytes(a, heap), 3600u);
    ASSERT_TRUE(a.Insert(values.data(), 149, -1));
    ASSERT_TRUE(a.Insert(2.0, -1));  // the last slot
    // Growth beyond the budget fails and leaves the array as it was.
    EXPECT_FALSE(a.Insert(2.0, 0));
    EXPECT_FALSE(a.Replace(values.data(), 10, 0, 0, false));
    EXPECT_EQ(a.GetSize(), 450);
    // Set without `keep` lets the old buffer go before it takes the new one: 3600 bytes fit again.
    ASSERT_TRUE(a.Set(values.data(), 300, false));
    // Beyond the budget the old buffer is gone and none replaces it.
    EXPECT_FALSE(a.Set(values.data(), 400, false));
    EXPECT_EQ(a.GetElements(), nullptr);
    EXPECT_EQ(a.GetReserved(), 0);
    // Constructors and assignment throw instead; a failed assignment leaves count and reserved 0.
    BaseArray<double> big(600);  // 640 slots: 5120 bytes
    a.Set(values.data(), 10, true);
    EXPECT_THROW(a = big, std::bad_alloc);
    EXPECT_EQ(a.GetSize(), 0);
    EXPECT_EQ(a.GetReserved(), 0);
    EXPECT_THROW(BaseArray<double>(600, heap), std::bad_alloc);
    EXPECT_THROW(BaseArray<double>(big, heap), std::bad_alloc);
  }
  // Every buffer went back: the whole budget is free again.
  EXPECT_NE(HeapAlloc(heap, 0, 4096), nullptr);
  HeapDestroy(heap);
  int not_a_heap;
  EXPECT_THROW(BaseArray<LONG>(0, &not_a_heap), std::bad_alloc);
}

// Random edits against std::vector, with sources inside the array itself among them: contents,
// and the buffer's real size against reserved, after every step.
template <class T>
void RandomEdits(unsigned seed) {
  std::mt19937 rng(seed);
  auto pick = [&](LONG lo, LONG hi) { return std::uniform_int_distribution<LONG>(lo, hi)(rng); };
  BaseArray<T> a;
  std::vector<T> model, outside(200);
  LONG next = 0;
  // A source of n elements, outside or inside the array; `values` gets what it stands for.
  auto source = [&](LONG n, std::vector<T> &values) -> const T * {
    if (pick(0, 2) == 0 && n <= a.GetSize()) {
      const LONG from = pick(0, a.GetSize() - n);
      values.assign(model.begin() + from, model.begin() + from + n);
      return a.GetElements() + from;
    }
    for (LONG i = 0; i < n; ++i) outside[static_cast<size_t>(i)] = Make<T>(next++);
    values.assign(outside.begin(), outside.begin() + n);
    return outside.data();
  };
  for (int step = 0; step < 4000; ++step) {
    const LONG count = a.GetSize();
    const LONG at = pick(0, 3) == 0 ? -1 : pick(0, count + 1);
    const LONG where = count == 0 || at < 0 ? count : at;  // where an insertion goes
    std::vector<T> values;
    switch (pick(0, 5)) {
      case 0: {  // one element, often one of the array's own
        const LONG k = count > 0 ? pick(0, count - 1) : -1;
        const T item = k >= 0 ? model[static_cast<size_t>(k)] : Make<T>(next++);
        const bool ok = k >= 0 ? a.Insert(a[k], at) : a.Insert(item, at);
        ASSERT_EQ(ok, count == 0 || at <= count);
        if (ok) model.insert(model.begin() + where, item);
        break;
      }
      case 1: {
        const LONG n = pick(0, 40);
        const T *src = source(n, values);
        const bool ok = a.Insert(src, n, at);
        ASSERT_EQ(ok, n == 0 || count == 0 || at <= count);
        if (ok && n > 0) model.insert(model.begin() + where, values.begin(), values.end());
        break;
      }
      case 2: {
        const LONG n = pick(0, count + 1);
        const LONG from = pick(0, 4) == 0 ? -1 : pick(0, count + 3);
        const bool ok = a.Remove(n, from);
        ASSERT_EQ(ok, n <= count);
        LONG start = from < 0 ? count - 1 : from;
        if (start + n > count) start = count - n;
        if (ok && n > 0) model.erase(model.begin() + start, model.begin() + start + n);
        break;
      }
      case 3: {
        const LONG n = pick(0, 30), old_count = pick(0, 5);
        const T *src = source(n, values);
        const bool ok = a.Replace(const_cast<T *>(src), n, old_count, at, pick(0, 3) == 0);
        ASSERT_EQ(ok, count == 0 || (at >= 0 && at <= count && old_count <= count - at));
        if (count == 0) {
          model = values;
        } else if (ok) {
          model.erase(model.begin() + at, model.begin() + at + old_count);
          model.insert(model.begin() + at, values.begin(), values.end());
        }
        break;
      }
      case 4: {
        const LONG n = pick(0, 60);
        const T *src = source(n, values);
        ASSERT_TRUE(a.Set(src, n, pick(0, 1) == 0));
        model = values;
        break;
      }
      case 5: {
        BaseArray<T> copy(a);
        a = copy;
        break;
      }
    }
    ASSERT_EQ(Contents(a), model) << "step " << step;
    if (a.GetElements() != nullptr) {
      ASSERT_EQ(static_cast<LONG>(BufferBytes(a) / sizeof(T)), a.GetReserved());
    }
  }
}

TEST(BaseArrayRandom, EditsAgreeWithAVector) {
  for (unsigned seed = 1; seed <= 4; ++seed) {
    RandomEdits<LONG>(seed);
    RandomEdits<Record20>(seed + 100);
  }
}

}  // namespace
