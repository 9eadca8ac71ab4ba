#include <kzcore/core/string_array.h>

#include <algorithm>
#include <cstring>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

std::u16string Text(const String &s) { return std::u16string(static_cast<const WCHAR *>(s), s.GetLength()); }

// The fields in their documented order, read as code outside the class would.
struct Fields {
  String **slots;
  int size, capacity, grow_by;
};
Fields FieldsOf(const StringArray &a) {
  static_assert(sizeof(StringArray) == sizeof(Fields));
  Fields f;
  std::memcpy(&f, static_cast<const void *>(&a), sizeof f);
  return f;
}

// The error a call throws, or nullopt.
template <class F>
std::optional<int> Thrown(F &&f) {
  try {
    f();
  } catch (StringArray::Errors e) {
    return static_cast<int>(e);
  }
  return std::nullopt;
}

std::vector<std::u16string> Elements(const StringArray &a) {
  std::vector<std::u16string> out;
  for (int i = 0; i < a.GetSize(); ++i) out.push_back(Text(a.Get(i)));
  return out;
}

TEST(StringArrayErrors, ValuesAndWhatThrowsThem) {
  StringArray a;
  EXPECT_EQ(Thrown([&] { a.Insert(u"x", 0); }), 1);  // an empty array takes only -1
  EXPECT_EQ(Thrown([&] { a.Insert(u"x", -1); }), std::nullopt);
  EXPECT_EQ(Thrown([&] { a.Insert(String(u"y"), a.GetSize()); }), 1);
  EXPECT_EQ(Thrown([&] { a.Insert(u"y", -2); }), 1);
  EXPECT_EQ(Thrown([&] { a.Remove(0, 0); }), std::nullopt);
  EXPECT_EQ(Elements(a), std::vector<std::u16string>{u"x"});
  EXPECT_EQ(Thrown([&] { a.Remove(0, 2); }), 2);
  EXPECT_EQ(Thrown([&] { a.Remove(0, -1); }), 2);
  EXPECT_EQ(Thrown([&] { a.Remove(1, 0); }), 1);
  EXPECT_EQ(Thrown([&] { a[-1]; }), 1);
  EXPECT_EQ(Thrown([&] { static_cast<const StringArray &>(a)[1]; }), 1);
  EXPECT_EQ(Thrown([&] { a.SetSize(-1); }), 0);
  EXPECT_EQ(Thrown([&] { a.SetSize(a.GetSize()); }), std::nullopt);  // equal size returns first

  StringArray empty;
  EXPECT_EQ(Thrown([&] { empty.Remove(0, 1); }), 1);
  EXPECT_EQ(Thrown([&] { empty.Remove(0, 0); }), 1);
}

TEST(StringArrayGrowth, CapacityRisesByGrowByOrToTheNewSize) {
  StringArray a;
  a.SetSize(3);
  EXPECT_EQ(FieldsOf(a).capacity, 10);
  StringArray b;
  b.SetSize(25);  // the shortfall exceeds the grow-by
  EXPECT_EQ(FieldsOf(b).capacity, 25);
  b.RemoveAll();
  EXPECT_EQ(FieldsOf(b).slots, nullptr);
  EXPECT_EQ(FieldsOf(b).capacity, 0);

  // A String & stays valid while the slot array is reallocated.
  String &first = (a[0] = u"kept");
  a.SetSize(1000, 7);
  EXPECT_EQ(&first, &a[0]);
  EXPECT_EQ(Text(first), u"kept");
  EXPECT_EQ(FieldsOf(a).grow_by, 7);
}

TEST(StringArraySlots, OldTextsComeBackAndElementsShareBlocks) {
  StringArray a;
  a.Insert(u"a", -1);
  a.Insert(u"b", -1);
  a.SetSize(1);
  a.SetSize(2);
  EXPECT_EQ(Elements(a), (std::vector<std::u16string>{u"a", u"b"}));

  const WCHAR *a_block = a[0];
  a.Insert(u"front", 0);
  EXPECT_EQ(static_cast<const WCHAR *>(a[1]), a_block);  // moved by sharing, not copied
  a.Remove(0, 1);
  a.Insert(a[1], 0);  // an element of the array itself, inserted before it
  a.Set(1, a[1]);
  EXPECT_EQ(Elements(a), (std::vector<std::u16string>{u"b", u"a", u"b"}));

  StringArray copy(a);
  for (int i = 0; i < a.GetSize(); ++i) EXPECT_EQ(static_cast<const WCHAR *>(copy[i]), static_cast<const WCHAR *>(a[i]));
  StringArray assigned;
  assigned.SetSize(0, 3);
  assigned = a;
  EXPECT_EQ(Elements(assigned), Elements(a));
  EXPECT_EQ(FieldsOf(assigned).grow_by, 3);  // not copied
}

int Descending(const String **a, const String **b) { return (*b)->Compare(**a); }

TEST(StringArraySort, AgreesWithStdSort) {
  std::mt19937 rng(99);
  StringArray a;
  std::vector<std::u16string> model;
  for (int i = 0; i < 200; ++i) {
    std::u16string s;
    for (int k = static_cast<int>(rng() % 4); k > 0; --k) s += u"aBz\u00E9\uFFFF"[rng() % 5];
    a.Insert(s.c_str(), -1);
    model.push_back(s);
  }
  a.Sort();
  std::sort(model.begin(), model.end());  // char16_t compares as unsigned units
  EXPECT_EQ(Elements(a), model);
  a.Sort(Descending);
  std::reverse(model.begin(), model.end());
  EXPECT_EQ(Elements(a), model);
}

// Random operations against a model that keeps every slot up to the capacity, as the array does.
TEST(StringArrayModel, RandomOperationsAgreeWithTheSlotRules) {
  std::mt19937 rng(4242);
  for (int round = 0; round < 100; ++round) {
    StringArray a;
    std::vector<std::u16string> slots;  // the model's slots up to its capacity
    int size = 0, grow_by = 10;
    auto grow_to = [&](int n) {
      const int capacity = static_cast<int>(slots.size());
      if (n > capacity) slots.resize(n - capacity <= grow_by ? capacity + grow_by : n);
    };
    for (int step = 0; step < 80; ++step) {
      const std::u16string value = u"v" + std::u16string(1, static_cast<char16_t>(u'0' + step % 10)) +
                                   std::u16string(rng() % 3, u'x');
      const int index = static_cast<int>(rng() % (size + 3)) - 1;
      std::optional<int> expected_error;
      std::optional<int> error;
      switch (rng() % 5) {
        case 0: {
          const int n = static_cast<int>(rng() % 30) - 2, g = static_cast<int>(rng() % 6) - 1;
          if (g > 0) grow_by = g;
          if (n != size && n < 0) expected_error = 0;
          else if (n != size) grow_to(n), size = n;
          error = Thrown([&] { a.SetSize(n, g); });
          break;
        }
        case 1: {
          if (index != -1 && (index < 0 || index >= size)) {
            expected_error = 1;
          } else {
            grow_to(size + 1);
            ++size;
            const int position = index == -1 ? size - 1 : index;
            for (int i = size - 1; i > position; --i) slots[i] = slots[i - 1];
            slots[position] = value;
          }
          error = Thrown([&] { a.Insert(String(value.c_str()), index); });
          break;
        }
        case 2: {
          const int count = static_cast<int>(rng() % 4);
          if (index < 0 || index >= size) expected_error = 1;
          else if (index + count > size) expected_error = 2;
          else {
            for (int i = index + count; i < size; ++i) slots[i - count] = slots[i];
            size -= count;
          }
          error = Thrown([&] { a.Remove(index, count); });
          break;
        }
        case 3:
          if (index < 0 || index >= size) expected_error = 1;
          else slots[index] = value;
          error = Thrown([&] { a.Set(index, value.c_str()); });
          break;
        case 4:
          if (index < 0 || index >= size) expected_error = 1;
          error = Thrown([&] {
            const String got = a.Get(index);
            EXPECT_EQ(Text(got), slots[index]);
          });
          break;
      }
      ASSERT_EQ(error, expected_error) << "round " << round << " step " << step;
      ASSERT_EQ(a.GetSize(), size);
      ASSERT_EQ(FieldsOf(a).capacity, static_cast<int>(slots.size()));
      ASSERT_EQ(Elements(a), std::vector<std::u16string>(slots.begin(), slots.begin() + size));
    }
  }
}

}  // namespace
