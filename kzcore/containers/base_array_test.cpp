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
static_assert(sizeof(Record20) == 20);

template <class T>
T Make(LONG i) {
  if constexpr (std::is_same_v<T, Record20>) {
    return Record20{{i, i + 1, -i, i * 7, 99}};
  } else if constexpr (std::is_pointer_v<T>) {
    return reinterpret_cast<T>(static_cast<std::intptr_t>(i));
  } else if constexpr (std::is_arithmetic_v<T>) {
    return static_cast<T>(i);
  } else {
    return T{};
  }
}

// Bytes of the block the array's buffer really is, as its heap reports them.
template <class T>
SIZE_T BufferBytes(const BaseArray<T> &a, HANDLE heap = GetProcessHeap()) {
  return HeapSize(heap, 0, a.GetElements());
}

template <class T>
std::vector<T> Contents(const BaseArray<T> &a) {
  return std::vector<T>(a.GetElements(), a.GetElements() + a.GetSize());
}

// The text a refused use throws, caught the way callers catch it.
template <class F>
std::string Thrown(F &&f) {
  try {
    f();
  } catch (const char *text) {
    return text;
  }
  return "(nothing thrown)";
}

// Worked by hand from the two sizing rules: {exact bytes, growing bytes} for n elements.
struct SizeRow {
  LONG n;
  SIZE_T exact, growing;
};

template <class T>
void CheckSizes(const std::vector<SizeRow> &rows) {
  for (const SizeRow &row : rows) {
    BaseArray<T> exact(static_cast<ULONG>(row.n));
    EXPECT_EQ(BufferBytes(exact), row.exact) << sizeof(T) << "-byte elements, n = " << row.n;
    EXPECT_EQ(exact.GetReserved(), static_cast<LONG>(row.exact / sizeof(T)));
    EXPECT_EQ(exact.GetSize(), 0);
    std::vector<T> src(static_cast<size_t>(row.n), Make<T>(3));
    BaseArray<T> growing(src.data(), static_cast<ULONG>(row.n));
    EXPECT_EQ(BufferBytes(growing), row.growing) << sizeof(T) << "-byte elements, n = " << row.n;
    EXPECT_EQ(growing.GetReserved(), static_cast<LONG>(row.growing / sizeof(T)));
    if constexpr (std::equality_comparable<T>) {
      EXPECT_EQ(Contents(growing), src);
    }
    // SetReserved sizes exactly, Set by the growing rule.
    BaseArray<T> other;
    ASSERT_TRUE(other.SetReserved(row.n, true));
    EXPECT_EQ(BufferBytes(other), row.exact);
    ASSERT_TRUE(other.Set(src.data(), row.n, false));
    EXPECT_EQ(BufferBytes(other), row.growing);
  }
}

TEST(BaseArraySizes, BuffersTakeTheExactAndGrowingByteSizes) {
  // 4-byte elements: exact sizes change rule above 256 elements (1 KiB).
  CheckSizes<LONG>({{0, 64, 64}, {12, 64, 72}, {50, 256, 300}, {128, 576, 768},
                    {256, 1088, 1536}, {257, 2048, 1540}, {1000, 4096, 6000}});
  // 8-byte elements, doubles and pointers alike: above 128 elements.
  CheckSizes<double>({{0, 64, 64}, {6, 64, 72}, {12, 128, 144}, {100, 832, 1200},
                      {128, 1088, 1536}, {129, 2048, 1544}, {1000, 8192, 12000}});
  CheckSizes<void *>({{0, 64, 64}, {7, 64, 80}, {128, 1088, 1536}, {129, 2048, 1544}});
  // 20-byte elements: the growing minimum is 80 bytes, four whole elements.
  CheckSizes<Record20>({{0, 64, 80}, {3, 128, 80}, {6, 192, 180}, {51, 1088, 1520},
                        {52, 2048, 1560}, {129, 3072, 3860}});
  // Connection records are 16 bytes with 8-byte pointers.
  CheckSizes<tagCONNECTDATA>({{0, 64, 64}, {6, 128, 144}, {128, 3072, 3072}});
}

TEST(BaseArraySizes, DefaultArraysHold64Bytes) {
  EXPECT_EQ(BaseArray<LONG>().GetReserved(), 16);
  EXPECT_EQ(BaseArray<double>().GetReserved(), 8);
  EXPECT_EQ(BaseArray<Record20>().GetReserved(), 3);
  // The exported element types: pointers are 8 bytes here, so 8 of them, and 4 connections.
  BaseArray<WCHAR *> texts;
  BaseArray<IConnectionPoint *> points;
  BaseArray<tagCONNECTDATA> connections;
  EXPECT_EQ(texts.GetReserved(), 8);
  EXPECT_EQ(points.GetReserved(), 8);
  EXPECT_EQ(connections.GetReserved(), 4);
  for (SIZE_T bytes : {BufferBytes(texts), BufferBytes(points), BufferBytes(connections)}) EXPECT_EQ(bytes, 64u);
  EXPECT_TRUE(texts.OwnsBuffer());
  EXPECT_EQ(texts.GetSize(), 0);
}

TEST(BaseArraySizes, GrowthIsByHalfAgainOfReservedPlusTheInsertion) {
  // One at a time: a full buffer of r elements grows to (r + 1) * 3 / 2.
  BaseArray<LONG> longs;
  std::vector<LONG> steps{longs.GetReserved()};
  for (LONG i = 0; i < 400; ++i) {
    ASSERT_TRUE(longs.Insert(i, -1));
    if (longs.GetReserved() != steps.back()) steps.push_back(longs.GetReserved());
  }
  EXPECT_EQ(steps, (std::vector<LONG>{16, 25, 39, 60, 91, 138, 208, 313, 471}));
  BaseArray<double> doubles;
  steps = {doubles.GetReserved()};
  for (LONG i = 0; i < 200; ++i) {
    ASSERT_TRUE(doubles.Insert(i * 0.5, 0));  // at the front: the same sizes
    if (doubles.GetReserved() != steps.back()) steps.push_back(doubles.GetReserved());
  }
  EXPECT_EQ(steps, (std::vector<LONG>{8, 13, 21, 33, 51, 78, 118, 178, 268}));
  for (LONG i = 0; i < 200; ++i) ASSERT_EQ(doubles[i], (199 - i) * 0.5);

  // A range grows from reserved, not from the count: 16 reserved, 3 in use, 20 more gives
  // (16 + 20) * 3 / 2 = 54.
  BaseArray<LONG> ranged;
  const LONG three[] = {1, 2, 3};
  ranged.Set(three, 3, true);
  std::vector<LONG> twenty(20, 7);
  ASSERT_TRUE(ranged.Insert(twenty.data(), 20, 1));
  EXPECT_EQ(ranged.GetReserved(), 54);
  EXPECT_EQ(ranged.GetSize(), 23);
  EXPECT_EQ(ranged[0], 1);
  EXPECT_EQ(ranged[21], 2);
}

TEST(BaseArraySizes, AnExactFitIsRoomForOneElementButNotForARange) {
  const LONG fifteen_values[15] = {};
  BaseArray<LONG> single, range;
  single.Set(fifteen_values, 15, true);  // 16 reserved, 15 in use
  range.Set(fifteen_values, 15, true);
  const LONG one = 5;
  ASSERT_TRUE(single.Insert(one, -1));
  EXPECT_EQ(single.GetReserved(), 16);
  ASSERT_TRUE(range.Insert(&one, 1, -1));
  EXPECT_EQ(range.GetReserved(), (16 + 1) * 3 / 2);
  EXPECT_EQ(Contents(single), Contents(range));
}

TEST(BaseArraySizes, RemovalShrinksOnlyPastBothMargins) {
  // 1000 doubles in 1024 slots, removed from the end one at a time. A shrink needs
  // count + 128 < reserved and count * 3 / 2 < reserved; it goes to the exact size for the count.
  BaseArray<double> a;
  ASSERT_TRUE(a.SetReserved(1000, true));
  ASSERT_EQ(a.GetReserved(), 1024);
  std::vector<double> values(1000);
  for (size_t i = 0; i < values.size(); ++i) values[i] = static_cast<double>(i);
  a.Set(values.data(), 1000, true);
  std::vector<std::pair<LONG, LONG>> shrinks;
  LONG reserved = a.GetReserved();
  while (a.GetSize() > 0) {
    ASSERT_TRUE(a.Remove(1, -1));
    if (a.GetReserved() != reserved) shrinks.emplace_back(a.GetSize(), reserved = a.GetReserved());
  }
  const std::vector<std::pair<LONG, LONG>> expected{{682, 768}, {511, 512}, {341, 384}, {255, 256}, {127, 128}};
  EXPECT_EQ(shrinks, expected);

  // The contents survive a shrink.
  BaseArray<LONG> b;
  std::vector<LONG> many(2000);
  for (size_t i = 0; i < many.size(); ++i) many[i] = static_cast<LONG>(i);
  b.Set(many.data(), 2000, false);
  ASSERT_EQ(b.GetReserved(), 3000);
  ASSERT_TRUE(b.Remove(1800, 100));
  EXPECT_EQ(b.GetReserved(), 208);  // 800 bytes: (800 + 3 + 64) rounded down to 64 is 832
  std::vector<LONG> left(many.begin(), many.begin() + 100);
  left.insert(left.end(), many.begin() + 1900, many.end());
  EXPECT_EQ(Contents(b), left);
}

TEST(BaseArrayEdits, RemovalsAndReplacementsFollowTheirPositionRules) {
  std::vector<LONG> ten{0, 1, 2, 3, 4, 5, 6, 7, 8, 9};
  BaseArray<LONG> a(ten.data(), 10);
  ASSERT_TRUE(a.Remove(5, 8));  // runs past the end: the last five go
  EXPECT_EQ(Contents(a), (std::vector<LONG>{0, 1, 2, 3, 4}));
  ASSERT_TRUE(a.Remove(1, -1));  // negative: the last element
  EXPECT_EQ(Contents(a), (std::vector<LONG>{0, 1, 2, 3}));
  ASSERT_TRUE(a.Remove(2, -1));  // from the last element on, two: the tail rule again
  EXPECT_EQ(Contents(a), (std::vector<LONG>{0, 1}));

  BaseArray<LONG> b(ten.data(), 10);
  LONG two[] = {70, 71};
  ASSERT_TRUE(b.Replace(two, 2, 3, 4, false));  // 4, 5, 6 become 70, 71
  EXPECT_EQ(Contents(b), (std::vector<LONG>{0, 1, 2, 3, 70, 71, 7, 8, 9}));
  const LONG reserved = b.GetReserved();
  ASSERT_TRUE(b.Replace(two, 2, 0, 9, false));  // append
  EXPECT_EQ(b.GetReserved(), reserved);
  // With `exact` the buffer takes the growing size for the new count, even a smaller one, and
  // stays when that is what it has.
  std::vector<LONG> hundred(100);
  for (LONG i = 0; i < 100; ++i) hundred[i] = i;
  BaseArray<LONG> c(hundred.data(), 100);
  ASSERT_EQ(c.GetReserved(), 150);
  ASSERT_TRUE(c.Replace(two, 2, 90, 10, true));
  EXPECT_EQ(c.GetReserved(), 18);  // 12 elements: 18 by the growing rule
  EXPECT_EQ(Contents(c), (std::vector<LONG>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 70, 71}));
  LONG *kept = c.GetElements();
  ASSERT_TRUE(c.Replace(two, 2, 2, 0, true));
  EXPECT_EQ(c.GetElements(), kept);
  ASSERT_TRUE(b.Replace(nullptr, 0, 11, 0, false));
  EXPECT_EQ(b.GetSize(), 0);
  // An empty array takes the whole source, wherever it was meant to go.
  ASSERT_TRUE(b.Replace(two, 2, 0, 5, false));
  EXPECT_EQ(Contents(b), (std::vector<LONG>{70, 71}));
}

TEST(BaseArrayEdits, SetReservedEmptiesEvenWhenItKeepsTheBuffer) {
  std::vector<LONG> values(30, 4);
  BaseArray<LONG> a(values.data(), 30);
  LONG *before = a.GetElements();
  const LONG reserved = a.GetReserved();
  ASSERT_TRUE(a.SetReserved(10, false));
  EXPECT_EQ(a.GetSize(), 0);
  EXPECT_EQ(a.GetElements(), before);
  EXPECT_EQ(a.GetReserved(), reserved);
  ASSERT_TRUE(a.SetReserved(10, true));  // forced: the exact size for 10
  EXPECT_EQ(a.GetReserved(), 16);
  // Set without `keep` replaces a buffer that was large enough.
  ASSERT_TRUE(a.SetReserved(500, true));
  ASSERT_TRUE(a.Set(values.data(), 3, false));
  EXPECT_EQ(a.GetReserved(), 16);
  ASSERT_TRUE(a.SetReserved(500, true));
  ASSERT_TRUE(a.Set(values.data(), 3, true));
  EXPECT_EQ(a.GetReserved(), 512);
}

TEST(BaseArrayEdits, SourcesInsideTheArrayAreReadBeforeTheyMove) {
  std::vector<LONG> model{1, 2, 3, 4, 5, 6};
  BaseArray<LONG> a(model.data(), 6);  // 16 reserved
  // In place: the tail moves over the source.
  ASSERT_TRUE(a.Insert(a.GetElements() + 2, 4, 1));
  model.insert(model.begin() + 1, {3, 4, 5, 6});
  EXPECT_EQ(Contents(a), model);
  // Through growth: the buffer moves under the source.
  ASSERT_TRUE(a.Insert(a.GetElements(), 10, 5));
  std::vector<LONG> head(model.begin(), model.begin() + 10);
  model.insert(model.begin() + 5, head.begin(), head.end());
  EXPECT_EQ(Contents(a), model);
  // A single element taken from the array, when the array must grow for it.
  while (a.GetSize() < a.GetReserved()) {
    a.Insert(a[0], -1);
    model.push_back(model[0]);
  }
  ASSERT_TRUE(a.Insert(a[3], -1));
  model.push_back(model[3]);
  EXPECT_EQ(Contents(a), model);
  std::vector<LONG> three(model.begin() + 1, model.begin() + 4);
  ASSERT_TRUE(a.Replace(a.GetElements() + 1, 3, 2, 0, false));
  model.erase(model.begin(), model.begin() + 2);
  model.insert(model.begin(), three.begin(), three.end());
  EXPECT_EQ(Contents(a), model);
  ASSERT_TRUE(a.Set(a.GetElements() + 4, 5, false));
  model = std::vector<LONG>(model.begin() + 4, model.begin() + 9);
  EXPECT_EQ(Contents(a), model);
}

TEST(BaseArrayEdits, BadCountsAndPositionsAreRefusedWithoutChange) {
  std::vector<LONG> five{1, 2, 3, 4, 5};
  BaseArray<LONG> a(five.data(), 5);
  const LONG reserved = a.GetReserved();
  EXPECT_FALSE(a.Insert(five.data(), -1, 0));
  EXPECT_FALSE(a.Insert(five.data(), 2, 6));
  EXPECT_FALSE(a.Insert(LONG{9}, 9));
  EXPECT_FALSE(a.Remove(-2, 0));
  EXPECT_FALSE(a.Remove(6, 0));
  EXPECT_FALSE(a.Replace(five.data(), -1, 1, 0, false));
  EXPECT_FALSE(a.Replace(five.data(), 1, -1, 0, false));
  EXPECT_FALSE(a.Replace(five.data(), 1, 3, 3, false));
  EXPECT_FALSE(a.Replace(five.data(), 1, 0, -1, false));
  EXPECT_FALSE(a.Set(five.data(), -1, true));
  EXPECT_FALSE(a.SetReserved(-1, true));
  EXPECT_EQ(Contents(a), five);
  EXPECT_EQ(a.GetReserved(), reserved);
  // Zero counts succeed and change nothing.
  EXPECT_TRUE(a.Insert(nullptr, 0, 99));
  EXPECT_TRUE(a.Remove(0, 99));
  EXPECT_EQ(Contents(a), five);
  // A null source stands for zero elements.
  ASSERT_TRUE(a.Insert(nullptr, 2, 1));
  EXPECT_EQ(Contents(a), (std::vector<LONG>{1, 0, 0, 2, 3, 4, 5}));
  // The count set by hand stays within the buffer.
  a.ElementsChanged(-4);
  EXPECT_EQ(a.GetSize(), 0);
  a.ElementsChanged(1 << 30);
  EXPECT_EQ(a.GetSize(), a.GetReserved());
  // Counts no LONG can hold cannot be had.
  EXPECT_FALSE(a.SetReserved(0x7FFFFFFF, true));
  EXPECT_EQ(a.GetElements(), nullptr);
  EXPECT_EQ(a.GetReserved(), 0);
  EXPECT_THROW(BaseArray<LONG>(0xFFFFFFFFu), std::bad_alloc);
}

TEST(BaseArrayCopies, CopiesTakeExactlyTheSourcesReservedAndOwnIt) {
  std::vector<double> values{1.5, 2.5, 3.5};
  BaseArray<double> a(values.data(), 3);
  ASSERT_TRUE(a.SetReserved(300, true));
  a.Set(values.data(), 3, true);
  BaseArray<double> copy(a);
  EXPECT_EQ(copy.GetReserved(), a.GetReserved());
  EXPECT_EQ(BufferBytes(copy), static_cast<SIZE_T>(a.GetReserved()) * sizeof(double));
  EXPECT_EQ(Contents(copy), values);
  EXPECT_NE(copy.GetElements(), a.GetElements());
  copy.Replace(0, 9.0);
  EXPECT_EQ(a[0], 1.5);

  BaseArray<double> assigned;
  assigned = a;
  EXPECT_EQ(Contents(assigned), values);
  EXPECT_EQ(assigned.GetReserved(), a.GetReserved());
  assigned = assigned;
  EXPECT_EQ(Contents(assigned), values);

  // From an array with a null buffer: count and reserved 0, buffer null, still owning.
  BaseArray<double> emptied;
  emptied.Empty();
  ASSERT_EQ(emptied.GetElements(), nullptr);
  assigned = emptied;
  EXPECT_EQ(assigned.GetElements(), nullptr);
  EXPECT_EQ(assigned.GetSize(), 0);
  EXPECT_EQ(assigned.GetReserved(), 0);
  EXPECT_TRUE(assigned.OwnsBuffer());
  BaseArray<double> from_empty(emptied);
  EXPECT_EQ(from_empty.GetElements(), nullptr);
  // A null buffer grows on the first insertion.
  ASSERT_TRUE(from_empty.Insert(4.0, 3));
  EXPECT_EQ(from_empty.GetReserved(), 8);

  // A copy of a foreign buffer is an owning copy.
  double outside[4] = {1, 2, 3, 4};
  BaseArray<double> view;
  view.Attach(outside, 4);
  BaseArray<double> owned(view);
  EXPECT_TRUE(owned.OwnsBuffer());
  EXPECT_NE(owned.GetElements(), outside);
  EXPECT_EQ(Contents(owned), (std::vector<double>{1, 2, 3, 4}));
}

TEST(BaseArrayForeign, AnAttachedBufferIsUsedInPlaceAndNeverFreed) {
  LONG storage[10] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9};
  BaseArray<LONG> a;
  a.Attach(storage, 6);
  EXPECT_FALSE(a.OwnsBuffer());
  EXPECT_TRUE(a.IsAttachedTo(storage));
  EXPECT_EQ(a.GetSize(), 6);
  EXPECT_EQ(a.GetReserved(), 6);
  // The array now thinks it has exactly 6 slots: removal works in place and never shrinks.
  ASSERT_TRUE(a.Remove(1, 0));
  EXPECT_EQ(storage[0], 1);
  EXPECT_EQ(a.GetReserved(), 6);
  ASSERT_TRUE(a.Insert(LONG{42}, 1));  // 5 in 6 slots: the single insert takes the last slot
  EXPECT_EQ(storage[1], 42);
  EXPECT_EQ(storage[5], 5);
  EXPECT_TRUE(a.IsAttachedTo(storage));
  // Empty lets go without freeing (the sanitizer build would see a free of stack memory).
  a.Empty();
  EXPECT_TRUE(a.OwnsBuffer());
  EXPECT_EQ(a.GetElements(), nullptr);
  EXPECT_EQ(storage[1], 42);

  // SetReserved over a foreign buffer takes a buffer of its own and leaves the other alone.
  BaseArray<LONG> b;
  b.Attach(storage, 10);
  ASSERT_TRUE(b.SetReserved(4, false));
  EXPECT_TRUE(b.OwnsBuffer());
  EXPECT_FALSE(b.IsAttachedTo(storage));
  EXPECT_EQ(b.GetReserved(), 16);

  // Attaching nothing.
  BaseArray<LONG> c;
  c.Attach(nullptr, 5);
  EXPECT_EQ(c.GetSize(), 0);
  EXPECT_EQ(c.GetReserved(), 0);
  c.Attach(storage, -3);
  EXPECT_EQ(c.GetReserved(), 0);
}

TEST(BaseArrayForeign, UsesAForeignBufferCannotServeThrowTheirTexts) {
  LONG storage[8] = {};
  LONG two[2] = {1, 2};
  BaseArray<LONG> a;
  auto attach = [&](int n) { a.Attach(storage, n); };

  attach(8);
  a.ElementsChanged(7);
  EXPECT_EQ(Thrown([&] { a.Insert(two, 1, 0); }), "You do not own the buffer!");  // exact fit
  EXPECT_EQ(a.GetSize(), 7);
  ASSERT_TRUE(a.Insert(LONG{5}, 0));
  EXPECT_EQ(Thrown([&] { a.Insert(LONG{5}, 0); }), "You do not own the buffer!");

  attach(8);
  EXPECT_EQ(Thrown([&] { a.Replace(two, 2, 1, 0, true); }), "You do not own the buffer and it is an exact fit!");
  EXPECT_EQ(Thrown([&] { a.Replace(two, 2, 1, 0, false); }),
            "You do not own the buffer and it will not fit in the avaible!");
  ASSERT_TRUE(a.Replace(two, 2, 2, 0, false));
  EXPECT_EQ(storage[0], 1);

  attach(1);
  EXPECT_EQ(Thrown([&] { a.Set(two, 2, true); }), "Reserved is less than elements");
  attach(1);
  EXPECT_EQ(Thrown([&] { a.Set(two, 1, false); }), "");
  EXPECT_EQ(a.GetSize(), 0) << "the count is cleared before the refusal";
  attach(0);
  EXPECT_EQ(Thrown([&] { a.Insert(two, 2, 0); }), "Reserved is less than elements");
  attach(0);
  EXPECT_EQ(Thrown([&] { a.Replace(two, 2, 0, 0, false); }),
            "You do not own the buffer and it will not fit in the avaible!");

  // The thrown value is a pointer to char: both handler types catch it.
  attach(1);
  bool caught_mutable = false;
  try {
    a.Set(two, 2, true);
  } catch (char *text) {
    caught_mutable = std::strcmp(text, "Reserved is less than elements") == 0;
  }
  EXPECT_TRUE(caught_mutable);
  a.Empty();
}

TEST(BaseArrayForeign, DetachHandsTheBufferToTheCaller) {
  std::vector<LONG> values(20, 3);
  BaseArray<LONG> a(values.data(), 20);
  LONG *taken = a.GetElements();
  const SIZE_T bytes = BufferBytes(a);
  a.Detach();
  EXPECT_TRUE(a.OwnsBuffer());
  EXPECT_EQ(a.GetElements(), nullptr);
  EXPECT_EQ(a.GetSize(), 0);
  EXPECT_EQ(a.GetReserved(), 0);
  // Still a live block of the process heap, now the caller's to free.
  EXPECT_EQ(HeapSize(GetProcessHeap(), 0, taken), bytes);
  EXPECT_EQ(taken[19], 3);
  EXPECT_TRUE(HeapFree(GetProcessHeap(), 0, taken));

  // Attaching an array's own buffer passes it to the caller instead of freeing it.
  BaseArray<LONG> b(values.data(), 20);
  LONG *own = b.GetElements();
  b.Attach(own, 20);
  EXPECT_EQ(b[19], 3);
  b.Empty();
  EXPECT_TRUE(HeapFree(GetProcessHeap(), 0, own));
}

TEST(BaseArrayHeaps, BuffersComeFromTheArraysHeapAndFailuresFollowTheirRules) {
  HANDLE heap = HeapCreate(0, 0, 4096);  // a budget of one page
  ASSERT_NE(heap, nullptr);
  {
    BaseArray<double> a(0, heap);
    EXPECT_EQ(HeapSize(heap, 0, a.GetElements()), 64u);
    std::vector<double> values(300, 1.25);
    ASSERT_TRUE(a.Set(values.data(), 300, true));  // 450 doubles: 3600 bytes
    EXPECT_EQ(HeapSize(heap, 0, a.GetElements()), 3600u);
    // Growth beyond the budget fails and leaves the array as it was.
    ASSERT_TRUE(a.Insert(values.data(), 149, -1));
    EXPECT_FALSE(a.Insert(values.data(), 10, 0));
    EXPECT_EQ(a.GetSize(), 449);
    ASSERT_TRUE(a.Insert(2.0, -1));  // the last slot
    EXPECT_FALSE(a.Insert(3.0, 0));
    EXPECT_EQ(a.GetSize(), 450);
    EXPECT_EQ(a[449], 2.0);
    EXPECT_FALSE(a.Replace(values.data(), 10, 0, 0, false));
    EXPECT_EQ(a.GetSize(), 450);
    EXPECT_EQ(a[449], 2.0);
    // Set without `keep` lets the old buffer go before it takes the new one: 3600 bytes fit again.
    ASSERT_TRUE(a.Set(values.data(), 300, false));
    EXPECT_EQ(HeapSize(heap, 0, a.GetElements()), 3600u);
    // Beyond the budget, the old buffer is gone and none replaces it.
    std::vector<double> more(400, 1.0);
    EXPECT_FALSE(a.Set(more.data(), 400, false));
    EXPECT_EQ(a.GetElements(), nullptr);
    EXPECT_EQ(a.GetReserved(), 0);
    EXPECT_EQ(a.GetSize(), 0);
    // A copy draws from its own heap.
    ASSERT_TRUE(a.Set(values.data(), 100, false));
    BaseArray<double> copy(a);
    EXPECT_EQ(HeapSize(GetProcessHeap(), 0, copy.GetElements()), 150u * sizeof(double));
    // An assignment that cannot be had throws, leaving count and reserved 0.
    BaseArray<double> big(600);  // 640 reserved: 5120 bytes
    EXPECT_THROW(a = big, std::bad_alloc);
    EXPECT_EQ(a.GetSize(), 0);
    EXPECT_EQ(a.GetReserved(), 0);
    EXPECT_THROW(BaseArray<double>(600, heap), std::bad_alloc);
    EXPECT_THROW(BaseArray<double>(big, heap), std::bad_alloc);
  }
  // Every buffer went back: the whole budget is free again.
  void *whole = HeapAlloc(heap, 0, 4096);
  EXPECT_NE(whole, nullptr);
  HeapDestroy(heap);
  // A handle that is no heap gives no memory.
  int not_a_heap;
  EXPECT_THROW(BaseArray<LONG>(0, &not_a_heap), std::bad_alloc);
}

// Random edits against std::vector: contents, count and the buffer's real size after each step.
template <class T>
void RandomEdits(unsigned seed) {
  std::mt19937 rng(seed);
  auto pick = [&](LONG lo, LONG hi) { return std::uniform_int_distribution<LONG>(lo, hi)(rng); };
  BaseArray<T> a;
  std::vector<T> model;
  std::vector<T> source(200);
  for (LONG i = 0; i < 200; ++i) source[i] = Make<T>(1000 + i);
  LONG next = 0;

  // A source of `n` elements: outside, null (zeros) or from the array itself; `values` gets what
  // it stands for.
  auto choose_source = [&](LONG n, std::vector<T> &values) -> const T * {
    const LONG kind = pick(0, 5);
    if (kind == 0) {
      values.assign(static_cast<size_t>(n), T{});
      return nullptr;
    }
    if (kind == 1 && n <= a.GetSize()) {
      const LONG from = pick(0, a.GetSize() - n);
      values.assign(model.begin() + from, model.begin() + from + n);
      return a.GetElements() + from;
    }
    for (LONG i = 0; i < n; ++i) source[static_cast<size_t>(i)] = Make<T>(next++);
    values.assign(source.begin(), source.begin() + n);
    return source.data();
  };

  for (int step = 0; step < 4000; ++step) {
    const LONG count = a.GetSize();
    std::vector<T> values;
    switch (pick(0, 7)) {
      case 0:
      case 1: {  // one element, sometimes one of the array's own
        const bool own = count > 0 && pick(0, 1) == 0;
        const LONG k = own ? pick(0, count - 1) : 0;
        const T item = own ? model[static_cast<size_t>(k)] : Make<T>(next++);
        const LONG at = pick(0, 3) == 0 ? -1 : pick(0, count + 2);
        const bool ok = own ? a.Insert(a[k], at) : a.Insert(item, at);
        if (count > 0 && at > count) {
          ASSERT_FALSE(ok);
        } else {
          ASSERT_TRUE(ok);
          model.insert(model.begin() + (count == 0 || at < 0 ? count : at), item);
        }
        break;
      }
      case 2: {  // a range
        const LONG n = pick(-1, 40);
        const LONG at = pick(0, 3) == 0 ? -1 : pick(0, count + 1);
        const T *src = n >= 0 ? choose_source(n, values) : nullptr;
        const bool ok = a.Insert(src, n, at);
        if (n == 0) {
          ASSERT_TRUE(ok);
        } else if (n < 0 || (count > 0 && at > count)) {
          ASSERT_FALSE(ok);
        } else {
          ASSERT_TRUE(ok);
          const LONG where = count == 0 || at < 0 ? count : at;
          model.insert(model.begin() + where, values.begin(), values.end());
        }
        break;
      }
      case 3: {  // removal
        const LONG n = pick(-1, count + 1);
        const LONG at = pick(0, 4) == 0 ? -pick(1, 3) : pick(0, count + 3);
        const bool ok = a.Remove(n, at);
        if (n == 0) {
          ASSERT_TRUE(ok);
        } else if (n < 0 || n > count) {
          ASSERT_FALSE(ok);
        } else {
          ASSERT_TRUE(ok);
          LONG where = at < 0 ? count - 1 : at;
          if (where + n > count) where = count - n;
          model.erase(model.begin() + where, model.begin() + where + n);
        }
        break;
      }
      case 4: {  // replacement
        const LONG n = pick(0, 30);
        const LONG old_count = pick(0, 5);
        const LONG at = pick(-1, count + 1);
        const T *src = choose_source(n, values);
        const bool ok = a.Replace(const_cast<T *>(src), n, old_count, at, pick(0, 3) == 0);
        if (count == 0) {
          ASSERT_TRUE(ok);
          model = values;
        } else if (at < 0 || at > count || old_count > count - at) {
          ASSERT_FALSE(ok);
        } else {
          ASSERT_TRUE(ok);
          model.erase(model.begin() + at, model.begin() + at + old_count);
          model.insert(model.begin() + at, values.begin(), values.end());
        }
        break;
      }
      case 5: {  // whole contents
        const LONG n = pick(0, 60);
        const T *src = choose_source(n, values);
        ASSERT_TRUE(a.Set(src, n, pick(0, 1) == 0));
        model = values;
        break;
      }
      case 6: {  // reservation, rarely
        if (pick(0, 5) != 0) break;
        ASSERT_TRUE(a.SetReserved(pick(0, 300), pick(0, 1) == 0));
        model.clear();
        break;
      }
      case 7: {  // copies
        if (pick(0, 1) == 0) {
          BaseArray<T> copy(a);
          a = copy;
        } else {
          const LONG k = pick(0, count);
          a.ElementsChanged(k);
          model.resize(static_cast<size_t>(k));
        }
        break;
      }
    }
    ASSERT_EQ(Contents(a), model) << "step " << step;
    ASSERT_LE(a.GetSize(), a.GetReserved());
    if (a.GetElements() != nullptr) {
      ASSERT_EQ(static_cast<LONG>(BufferBytes(a) / sizeof(T)), a.GetReserved()) << "step " << step;
    } else {
      ASSERT_EQ(a.GetReserved(), 0);
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
