#include <kzcore/numerics/vector.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <string>

#include <gtest/gtest.h>

#include <kzcore/numerics/matrix.h>
#include <kzcore/pal/ui.h>

namespace {

std::uint64_t Bits(double v) { return std::bit_cast<std::uint64_t>(v); }

Vector Make(std::initializer_list<double> values) {
  Vector v(static_cast<int>(values.size()));
  int i = 0;
  for (double x : values) v[i++] = x;
  return v;
}

TEST(Vector, InvalidIsTheFlagWithANaNInElementZero) {
  Vector v = Make({1, 2, 3});
  EXPECT_FALSE(v.IsInvalid());
  v.SetInvalid();
  EXPECT_EQ(Bits(v[0]), 0x7FF8000000000001ULL);
  EXPECT_TRUE(v.IsInvalid());
  v[0] = 4;  // a number in element 0 makes it valid again, and the flag goes for good
  EXPECT_FALSE(v.IsInvalid());
  v[0] = kEmptyValue;
  EXPECT_FALSE(v.IsInvalid());
  // With no elements the flag alone decides, and stays.
  Vector none;
  none.SetInvalid();
  EXPECT_TRUE(none.IsInvalid());
  EXPECT_TRUE(none.IsInvalid());
  // Bad sizes and buffers give an invalid vector of no elements.
  EXPECT_TRUE(Vector(-1).IsInvalid());
  EXPECT_TRUE(Vector(3, static_cast<double *>(nullptr)).IsInvalid());
  EXPECT_EQ(Vector(-1).Size(), 0);
}

TEST(Vector, CallerBuffersAreWrittenAndNeverOutgrown) {
  double buffer[4] = {1, 2, 3, 4};
  {
    Vector v(3, buffer);
    EXPECT_FALSE(v.OwnsData());
    v[1] = 20;
    EXPECT_EQ(buffer[1], 20);
    // A copy has its own block.
    Vector c(v);
    EXPECT_TRUE(c.OwnsData());
    c[0] = 100;
    EXPECT_EQ(buffer[0], 1);
    // Assignment, copying or moving, writes into the buffer.
    v = Make({7, 8, 9});
    EXPECT_EQ(buffer[2], 9);
    Vector two = Make({5, 6});
    v = std::move(two);
    EXPECT_EQ(v.Size(), 2);
    EXPECT_EQ(buffer[0], 5);
    EXPECT_EQ(v.Data(), buffer);
    // Growing back within the buffer's three is fine; beyond it makes v invalid.
    EXPECT_TRUE(v.Resize(3));
    EXPECT_FALSE(v.Resize(4));
    EXPECT_TRUE(v.IsInvalid());
    EXPECT_EQ(v.Data(), buffer);
    EXPECT_TRUE(std::isnan(buffer[0]));
    EXPECT_EQ(buffer[3], 4);  // nothing beyond the three given
  }
  EXPECT_EQ(buffer[3], 4);  // and the destructor frees nothing
}

TEST(Vector, ResizeKeepsValuesAndClearsTheFlag) {
  Vector v = Make({1, 2});
  v.SetInvalid();
  EXPECT_TRUE(v.Resize(1));  // within the capacity: size set, flag cleared
  EXPECT_FALSE(v.IsInvalid());
  EXPECT_TRUE(v.Resize(2));
  EXPECT_EQ(v[1], 2);
  EXPECT_TRUE(v.Resize(5));  // an owned block grows, keeping the values
  EXPECT_EQ(v[1], 2);
  EXPECT_EQ(v[4], 0);
  EXPECT_FALSE(v.Resize(-2));
  EXPECT_TRUE(v.IsInvalid());
}

TEST(Vector, ElementwiseArithmeticAndScalarFirstForms) {
  Vector a = Make({1, 2, 4}), b = Make({8, -2, 0.5});
  EXPECT_EQ(a + b, Make({9, 0, 4.5}));
  EXPECT_EQ(a - b, Make({-7, 4, 3.5}));
  EXPECT_EQ(a * b, Make({8, -4, 2}));
  EXPECT_EQ(a / b, Make({0.125, -1, 8}));
  EXPECT_EQ(a + 1.0, Make({2, 3, 5}));
  EXPECT_EQ(a - 1.0, Make({0, 1, 3}));
  EXPECT_EQ(a * 3.0, Make({3, 6, 12}));
  EXPECT_EQ(a / 2.0, Make({0.5, 1, 2}));
  EXPECT_EQ(10.0 - a, Make({9, 8, 6}));
  EXPECT_EQ(8.0 / a, Make({8, 4, 2}));
  EXPECT_EQ(1.0 + a, a + 1.0);
  EXPECT_EQ(2.0 * a, a * 2.0);
  EXPECT_EQ(a.Negative(), Make({-1, -2, -4}));
  Vector c = a;
  c += b;
  c -= a;
  EXPECT_EQ(c, b);
  c *= 2.0;
  c /= b;
  EXPECT_EQ(c, Make({2, 2, 2}));
  EXPECT_EQ(a.PostMultDiagonal(b), a * b);
  // Lengths that differ, or an invalid operand, give an invalid result.
  Vector shorter = Make({1, 2});
  EXPECT_TRUE((a + shorter).IsInvalid());
  Vector bad = a;
  bad.SetInvalid();
  EXPECT_TRUE((a * bad).IsInvalid());
  EXPECT_TRUE((bad * 2.0).IsInvalid());
  EXPECT_TRUE((2.0 - bad).IsInvalid());
  c = a;
  c += shorter;
  EXPECT_TRUE(c.IsInvalid());
}

TEST(Vector, CompareDecidesByTheFirstDifferenceThenByLength) {
  Vector a = Make({1, 2, 3});
  EXPECT_EQ(a.Compare(Make({1, 2, 3})), 0);
  EXPECT_EQ(a.Compare(Make({1, 5, 0})), -1);
  EXPECT_EQ(a.Compare(Make({1, 1, 9})), 1);
  EXPECT_EQ(a.Compare(Make({1, 2})), 1);  // longer with no difference: greater
  EXPECT_EQ(Make({1, 2}).Compare(a), -1);
  EXPECT_EQ(Make({0, 9}).Compare(a), -1);  // a difference decides before the lengths
  EXPECT_TRUE(a < Make({2}));
  EXPECT_TRUE(a >= Make({1, 2, 3}));
  EXPECT_TRUE(a <= Make({1, 2, 3}));
  EXPECT_TRUE(a > Make({1, 2}));
  EXPECT_TRUE(a != Make({1, 2}));
  // A NaN is neither lower nor higher: the next element decides.
  EXPECT_EQ(Make({kEmptyValue, 1}).Compare(Make({5, 2})), -1);
}

TEST(Vector, SumAddsGroupsOfFourAndTheSlotPastTheEndIsZero) {
  // Seven elements, default range 0..7: two groups of four, the second ending in the slot one past
  // the end. Grouped, the ones add to 3 before meeting 1e16 (1e16 + 3 rounds to 1e16 + 4); added
  // one at a time each would vanish (1e16 + 1 rounds to 1e16).
  Vector v = Make({1e16, 0, 0, 0, 1, 1, 1});
  double first = ((1e16 + 0.0) + 0.0) + 0.0;
  double second = ((1.0 + 1.0) + 1.0) + 0.0;
  double expected = (0.0 + first) + second;
  EXPECT_EQ(v.Sum(), expected);
  EXPECT_EQ(v.Sum(), 1e16 + 4);
  EXPECT_EQ(v.Sum(0, -1), expected);
  EXPECT_EQ(v.Sum(0, 99), expected);  // above the size means the size
  // Range 4..6 is a remainder of three, added one at a time.
  EXPECT_EQ(v.Sum(4, 6), ((0.0 + 1.0) + 1.0) + 1.0);
  // 0..4: one group, then element 4 alone.
  Vector w = Make({1e16, 1, 1, 0, 1});
  EXPECT_EQ(w.Sum(0, 4), (0.0 + (((1e16 + 1.0) + 1.0) + 0.0)) + 1.0);
  EXPECT_EQ(w.Sum(3, 1), 0.0);
  EXPECT_EQ(w.Sum(-1, -1), 0.0);  // only the slot past the end
  EXPECT_EQ(Vector().Sum(), 0.0);
  w.SetInvalid();
  EXPECT_TRUE(std::isnan(w.Sum()));
}

TEST(Vector, IndexReductionsTakeTheSameRange) {
  Vector v = Make({3, -7, 7, 1, -7, 0});
  EXPECT_EQ(v.Max(), 2);
  EXPECT_EQ(v.Min(), 1);  // the first of two equal
  EXPECT_EQ(v.MaxAbs(), 1);
  EXPECT_EQ(v.MinAbs(), 5);
  EXPECT_EQ(v.Max(3, 5), 3);
  EXPECT_EQ(v.Min(2, 99), 4);
  EXPECT_EQ(v.MinAbs(0, 4), 3);
  EXPECT_EQ(v.Max(4, 2), -1);
  EXPECT_EQ(v.Max(-1, -1), -1);  // the slot past the end is never an answer
  v.SetInvalid();
  EXPECT_EQ(v.Max(), -1);
}

TEST(Vector, NormsFollowTheirFormulas) {
  Vector v = Make({3, -4, 12});
  EXPECT_EQ(v.Norm(0), 12);
  EXPECT_EQ(v.Norm(1), 19);
  EXPECT_EQ(v.Norm(2), 13);
  double p3 = std::pow(std::pow(3.0, 3.0) + std::pow(4.0, 3.0) + std::pow(12.0, 3.0), 1.0 / 3.0);
  EXPECT_EQ(v.Norm(3), p3);
  EXPECT_TRUE(std::isnan(v.Norm(-1)));
  EXPECT_EQ(Vector().Norm(2), 0.0);
  // Weighted: sum of x * x * w = 9*1 + 16*2 + 144*0.5 = 113, weights summing to 3.5.
  Vector w = Make({1, 2, 0.5});
  EXPECT_EQ(v.Norm(w, false), std::sqrt(113.0));
  EXPECT_EQ(v.Norm(w, true), std::sqrt(113.0 / 3.5));
  // Weights summing to 0.0 are not divided by.
  EXPECT_EQ(Make({3, -4}).Norm(Make({-1, 1}), true), std::sqrt(7.0));
  EXPECT_TRUE(std::isnan(v.Norm(Make({1, 2}), false)));
  Vector bad = v;
  bad.SetInvalid();
  EXPECT_TRUE(std::isnan(bad.Norm(2)));
}

TEST(Vector, UnitScalesByTheNormOrGivesInvalid) {
  Vector v = Make({3, 4});
  EXPECT_EQ(v.Unit(), Make({3 * (1.0 / 5), 4 * (1.0 / 5)}));
  EXPECT_EQ(v.Unit(1), Make({3 * (1.0 / 7), 4 * (1.0 / 7)}));
  EXPECT_TRUE(v.Unit(-1).IsInvalid());
  EXPECT_TRUE(Make({0, 0}).Unit().IsInvalid());
  EXPECT_TRUE(Vector().Unit().IsInvalid());
  // out takes self's size first; a foreign out that is too small is left invalid.
  double small[1] = {9};
  Vector out(1, small);
  v.Unit(out, 2);
  EXPECT_TRUE(out.IsInvalid());
  Vector grown;
  v.Unit(grown, 0);
  EXPECT_EQ(grown, Make({0.75, 1}));
}

TEST(Vector, SubVectorAndMatrixProducts) {
  Vector v = Make({1, 2, 3, 4});
  EXPECT_EQ(v.SubVector(1, 2), Make({2, 3}));
  EXPECT_EQ(v.SubVector(4, 0).Size(), 0);
  EXPECT_TRUE(v.SubVector(3, 2).IsInvalid());
  EXPECT_TRUE(v.SubVector(-1, 2).IsInvalid());
  Vector self = v;
  self.SubVector(2, 2, self);
  EXPECT_EQ(self, Make({3, 4}));

  Matrix m(2, 4);
  double values[] = {1, 0, 2, -1, 0.5, 3, 0, 1};
  m.SetValues(values);
  // m * v, each a dot product from 0.0 in index order.
  Vector mv = v.PreMult(m);
  EXPECT_EQ(mv, Make({((0.0 + 1 * 1) + 0 * 2) + 2 * 3 + -1 * 4, 0.5 * 1 + 3 * 2 + 0.0 * 3 + 1 * 4}));
  // row * m.
  Vector r = Make({2, -1});
  EXPECT_EQ(r.PostMult(m), Make({2 * 1 - 0.5, 0 - 3, 4 - 0, -2 - 1}));
  EXPECT_TRUE(r.PreMult(m).IsInvalid());  // m has 4 columns, r 2 elements
  EXPECT_TRUE(v.PostMult(m).IsInvalid());
  // In place.
  v.PreMult(m, v);
  EXPECT_EQ(v, mv);
  // Rows and columns of a matrix.
  Vector row;
  row.MatrixRow(m, 1);
  EXPECT_EQ(row, Make({0.5, 3, 0, 1}));
  row.MatrixColumn(m, 2);
  EXPECT_EQ(row, Make({2, 0}));
  row.MatrixColumn(m, 4);
  EXPECT_TRUE(row.IsInvalid());
}

std::u16string *captured = nullptr;
void Capture(const WCHAR *text) { *captured += text; }

TEST(Vector, PrintWritesShortestRoundTripValues) {
  std::u16string text;
  captured = &text;
  KzDebugOutputSink old = KzSetDebugOutputSink(Capture);
  Vector v = Make({1, 0.1, -2.5e-300, 1e16});
  v.Print(u"v");
  Vector().Print(nullptr);
  v.SetInvalid();
  v.Print(u"bad");
  KzSetDebugOutputSink(old);
  captured = nullptr;
  EXPECT_EQ(text, u"v (4): 1 0.1 -2.5e-300 1e+16\n(0):\nbad (4): invalid\n");
  // The FILE form is a stub: it returns the vector and writes nothing.
  EXPECT_EQ(&v.Print(stdout, "v"), &v);
}

}  // namespace
