#include <kzcore/numerics/matrix.h>

#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <kzcore/pal/ui.h>

namespace {

using Rows = std::vector<std::vector<long double>>;

Matrix Make(int rows, int columns, std::initializer_list<double> values) {
  Matrix m(rows, columns);
  m.SetValues(std::data(values));
  return m;
}

Matrix Random(int rows, int columns, std::mt19937 &gen, double diagonal = 0) {
  std::uniform_real_distribution<double> u(-1, 1);
  Matrix m(rows, columns);
  for (int i = 0; i < rows; ++i)
    for (int j = 0; j < columns; ++j) m[i][j] = u(gen) + (i == j ? diagonal : 0);
  return m;
}

Rows ToRows(const Matrix &m) {
  Rows r(m.Rows(), std::vector<long double>(m.Columns()));
  for (int i = 0; i < m.Rows(); ++i)
    for (int j = 0; j < m.Columns(); ++j) r[i][j] = m[i][j];
  return r;
}

// The reference: Gaussian elimination with partial pivoting in long double. Solves a x = b for
// each column of b; the determinant comes along.
Rows ReferenceSolve(Rows a, Rows b, long double *det = nullptr) {
  int n = static_cast<int>(a.size());
  long double d = 1;
  for (int c = 0; c < n; ++c) {
    int p = c;
    for (int i = c + 1; i < n; ++i)
      if (std::fabs(a[i][c]) > std::fabs(a[p][c])) p = i;
    if (p != c) {
      std::swap(a[p], a[c]);
      std::swap(b[p], b[c]);
      d = -d;
    }
    d *= a[c][c];
    for (int i = c + 1; i < n; ++i) {
      long double f = a[i][c] / a[c][c];
      for (int j = c; j < n; ++j) a[i][j] -= f * a[c][j];
      for (size_t j = 0; j < b[i].size(); ++j) b[i][j] -= f * b[c][j];
    }
  }
  for (int i = n - 1; i >= 0; --i)
    for (size_t j = 0; j < b[i].size(); ++j) {
      long double s = b[i][j];
      for (int k = i + 1; k < n; ++k) s -= a[i][k] * b[k][j];
      b[i][j] = s / a[i][i];
    }
  if (det) *det = d;
  return b;
}

long double ReferenceDeterminant(const Matrix &m) {
  long double det;
  ReferenceSolve(ToRows(m), Rows(m.Rows(), std::vector<long double>()), &det);
  return det;
}

double MaxDistanceFromIdentity(const Matrix &m) {
  double worst = 0;
  for (int i = 0; i < m.Rows(); ++i)
    for (int j = 0; j < m.Columns(); ++j)
      worst = std::max(worst, std::fabs(m[i][j] - (i == j ? 1.0 : 0.0)));
  return worst;
}

TEST(Matrix, BlockLayoutAndCallerBuffers) {
  // Pointers are 8 bytes: the row table of 3 rows takes 24 bytes before the elements.
  EXPECT_EQ(Matrix::HeaderSize(3), 24u);
  EXPECT_EQ(Matrix::BlockSize(3, 2), 24u + 6 * 8);
  EXPECT_EQ(Matrix::HeaderSize(0), 0u);
  alignas(double) unsigned char block[24 + 6 * 8];
  double *elements = reinterpret_cast<double *>(block + 24);
  for (int i = 0; i < 6; ++i) elements[i] = i;
  {
    Matrix m(3, 2, block, sizeof block);
    EXPECT_FALSE(m.OwnsData());
    EXPECT_FALSE(m.IsInvalid());
    EXPECT_EQ(m[0], elements);
    EXPECT_EQ(m[2], elements + 4);
    EXPECT_EQ(m[2][1], 5);  // the block's own values
    m[1][0] = 42;
    EXPECT_EQ(elements[2], 42);
    // Reshaped within the block: fine. Beyond it: invalid, and the block stays.
    // The table of two rows takes 16 bytes: the elements start there.
    EXPECT_TRUE(m.Resize(2, 3));
    EXPECT_EQ(m[1], reinterpret_cast<double *>(block + 16) + 3);
    EXPECT_FALSE(m.Resize(4, 2));
    EXPECT_TRUE(m.IsInvalid());
    EXPECT_EQ(m.Rows(), 2);
    // Assignment writes into the block.
    m = Make(2, 2, {9, 8, 7, 6});
    EXPECT_EQ(reinterpret_cast<double *>(block + 16)[3], 6);
  }
  // A block that is too small or misaligned is not touched.
  alignas(double) unsigned char small[40] = {};
  Matrix tooSmall(3, 2, small, sizeof small);
  EXPECT_TRUE(tooSmall.IsInvalid());
  EXPECT_EQ(tooSmall.Rows(), 0);
  EXPECT_EQ(small[0], 0);
  EXPECT_TRUE(Matrix(1, 1, block + 1, 30).IsInvalid());
  EXPECT_TRUE(Matrix(-1, 2).IsInvalid());
  // The same layout from CreateDataBufferAndPointers.
  double **table = Matrix::CreateDataBufferAndPointers(2, 5, nullptr);
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(reinterpret_cast<unsigned char *>(table[0]), reinterpret_cast<unsigned char *>(table) + 16);
  EXPECT_EQ(table[1] - table[0], 5);
  EXPECT_EQ(table[1][4], 0.0);
  std::free(table);
}

TEST(Matrix, InvalidStateAndShapeRules) {
  Matrix m = Make(2, 2, {1, 2, 3, 4});
  m.SetInvalid();
  EXPECT_TRUE(m.IsInvalid());
  EXPECT_TRUE(std::isnan(m[0][0]));
  m[0][0] = 1;
  EXPECT_FALSE(m.IsInvalid());
  Matrix empty;
  empty.SetInvalid();
  EXPECT_TRUE(empty.IsInvalid());
  // Element by element with a scalar first, and shapes that don't fit.
  Matrix a = Make(2, 2, {1, 2, 4, 8});
  EXPECT_EQ(a + a, Make(2, 2, {2, 4, 8, 16}));
  EXPECT_EQ(a * a, Make(2, 2, {1, 4, 16, 64}));
  EXPECT_EQ(a / a, Make(2, 2, {1, 1, 1, 1}));
  EXPECT_EQ(8.0 / a, Make(2, 2, {8, 4, 2, 1}));
  EXPECT_EQ(1.0 - a, Make(2, 2, {0, -1, -3, -7}));
  EXPECT_EQ(a - 1.0, (1.0 - a).Negative());
  EXPECT_TRUE((a + Make(2, 1, {1, 2})).IsInvalid());
  EXPECT_TRUE(a.Mult(Make(1, 2, {1, 2})).IsInvalid());
  Matrix bad = a;
  bad.SetInvalid();
  EXPECT_TRUE((a - bad).IsInvalid());
  EXPECT_TRUE(bad.Transpose().IsInvalid());
  EXPECT_TRUE(a.SubMatrix(1, 1, 2, 1).IsInvalid());
  EXPECT_EQ(a.SubMatrix(1, 0, 1, 2), Make(1, 2, {4, 8}));
  EXPECT_TRUE(a.RowVector(2).IsInvalid());
  // Compare: rows, then columns, then elements in row order.
  EXPECT_EQ(a.Compare(Make(3, 1, {0, 0, 0})), -1);
  EXPECT_EQ(a.Compare(Make(2, 1, {9, 9})), 1);
  EXPECT_EQ(a.Compare(Make(2, 2, {1, 2, 5, 0})), -1);
  EXPECT_EQ(a.Compare(Make(2, 2, {1, 2, 4, 8})), 0);
}

TEST(Matrix, RowAndColumnAccess) {
  Matrix a = Make(3, 3, {1, -9, 4, 7, 2, -7, 0, 3, 3});
  EXPECT_EQ(a.RowMax(0), 2);
  EXPECT_EQ(a.RowMin(0), 1);
  EXPECT_EQ(a.RowMaxAbs(1), 0);  // 7 and -7: the first
  EXPECT_EQ(a.RowMinAbs(2), 0);
  EXPECT_EQ(a.ColMax(1), 2);
  EXPECT_EQ(a.ColMin(2), 1);
  EXPECT_EQ(a.ColMaxAbs(1), 0);
  EXPECT_EQ(a.ColMinAbs(0), 2);
  EXPECT_EQ(a.RowMax(3), -1);
  EXPECT_EQ(a.ColMin(-1), -1);
  Vector row = a.RowVector(1);
  row[2] = 5;  // writes the matrix
  EXPECT_EQ(a[1][2], 5);
  Vector copy = a.Row(1);
  copy[0] = 0;
  EXPECT_EQ(a[1][0], 7);
  EXPECT_EQ(a.Column(1)[2], 3);
  a.SetColumn(0, copy);  // (0, 2, 5)
  EXPECT_TRUE(a[0][0] == 0 && a[1][0] == 2 && a[2][0] == 5);
  a.SetRow(2, Vector(2));
  EXPECT_TRUE(a.IsInvalid());
  Vector d(2, 3.0);
  Matrix r(2, 3);
  r.SetDiagonal(d);
  EXPECT_EQ(r, Make(2, 3, {3, 0, 0, 0, 3, 0}));
}

TEST(Matrix, ProductsAddInIndexOrderFromZero) {
  std::mt19937 gen(7);
  Matrix a = Random(4, 3, gen), b = Random(3, 5, gen);
  Matrix ab = a.Mult(b);
  Matrix at = a.Transpose();
  for (int i = 0; i < 4; ++i)
    for (int j = 0; j < 5; ++j) {
      double s = 0.0;
      for (int k = 0; k < 3; ++k) s += a[i][k] * b[k][j];
      EXPECT_EQ(ab[i][j], s);
    }
  EXPECT_EQ(b.PreMult(a), ab);
  EXPECT_EQ(at.Rows(), 3);
  EXPECT_EQ(at[2][1], a[1][2]);
  EXPECT_EQ(a.Gram(), at.Mult(a));
  Vector d(3);
  d[0] = 2, d[1] = -1, d[2] = 0.5;
  Matrix ad = a.MultDiagonal(d);
  EXPECT_EQ(ad[3][0], a[3][0] * 2);
  EXPECT_EQ(ad[1][2], a[1][2] * 0.5);
  // Outputs that alias an operand.
  Matrix sq = Random(3, 3, gen), expected = sq.Mult(sq);
  sq.Mult(sq, sq);
  EXPECT_EQ(sq, expected);
  Matrix t = a;
  t.Transpose(t);
  EXPECT_EQ(t, at);
}

TEST(Matrix, LUDecompositionPivotsByScaledColumns) {
  // Unscaled, row 0 (2 > 1) would be the pivot; measured against its row's greatest element (1000)
  // it is 0.002 against row 1's 1, so the rows are exchanged and the sign flips.
  Matrix a = Make(2, 2, {2, 1000, 1, 1});
  int perm[2];
  a.LUDecomposition(perm);
  EXPECT_EQ(perm[0], 1);
  EXPECT_EQ(a, Make(2, 2, {1, 1, 2, 998}));
  EXPECT_EQ(Make(2, 2, {2, 1000, 1, 1}).Determinant(), -998);

  // On random matrices L U equals the row-exchanged original.
  std::mt19937 gen(11);
  for (int n : {1, 3, 6, 12}) {
    Matrix m = Random(n, n, gen), lu = m;
    std::vector<int> p(n);
    lu.LUDecomposition(p.data());
    ASSERT_FALSE(lu.IsInvalid());
    Rows pm = ToRows(m);
    for (int j = 0; j < n; ++j) std::swap(pm[j], pm[p[j]]);
    for (int i = 0; i < n; ++i)
      for (int j = 0; j < n; ++j) {
        long double s = 0;
        for (int k = 0; k <= std::min(i, j); ++k) s += (k == i ? 1.0L : lu[i][k]) * lu[k][j];
        EXPECT_NEAR(static_cast<double>(s), static_cast<double>(pm[i][j]), 1e-12) << n;
      }
  }

  // Stops: a row of zeros, and a zero pivot. The matrix becomes invalid.
  Matrix zeroRow = Make(2, 2, {1, 2, 0, 0});
  zeroRow.LUDecomposition(perm);
  EXPECT_TRUE(zeroRow.IsInvalid());
  Matrix singular = Make(2, 2, {1, 2, 2, 4});
  singular.LUDecomposition(nullptr);
  EXPECT_TRUE(singular.IsInvalid());
  Matrix wide(2, 3, 1.0);
  wide.LUDecomposition(perm);
  EXPECT_TRUE(wide.IsInvalid());
}

TEST(Matrix, DeterminantIsCachedUntilTheMatrixChanges) {
  std::mt19937 gen(3);
  // Up to 10 rows the work copy is on the stack, beyond on the heap: both against the reference.
  for (int n : {1, 2, 5, 10, 11, 20}) {
    Matrix m = Random(n, n, gen);
    long double ref = ReferenceDeterminant(m);
    EXPECT_NEAR(m.Determinant(), static_cast<double>(ref), 1e-10 * std::fabs(static_cast<double>(ref))) << n;
  }
  EXPECT_EQ(Matrix().Determinant(), 1.0);
  EXPECT_TRUE(std::isnan(Matrix(2, 3).Determinant()));
  EXPECT_EQ(Make(2, 2, {1, 2, 2, 4}).Determinant(), 0.0);
  Matrix m = Make(2, 2, {3, 1, 4, 2});
  EXPECT_EQ(m.Determinant(), 2);
  m[0][0] = 5;  // a write through [] is not seen
  EXPECT_EQ(m.Determinant(), 2);
  m.SetValues(std::data({5.0, 1.0, 4.0, 2.0}));  // a member that changes the matrix is
  EXPECT_EQ(m.Determinant(), 6);
  m *= 2.0;
  EXPECT_EQ(m.Determinant(), 24);
}

TEST(Matrix, InverseOfRandomWellConditionedMatrices) {
  std::mt19937 gen(5);
  for (int n : {1, 2, 3, 7, 10, 11, 16, 40}) {
    for (int rep = 0; rep < 4; ++rep) {
      // Diagonally dominant: well conditioned.
      Matrix a = Random(n, n, gen, n);
      Matrix inv = a.Inverse();
      ASSERT_FALSE(inv.IsInvalid());
      EXPECT_LT(MaxDistanceFromIdentity(a.Mult(inv)), 1e-9) << n;
      EXPECT_LT(MaxDistanceFromIdentity(inv.Mult(a)), 1e-9) << n;
      // Both caches are set: self's determinant and out's reciprocal.
      double det = a.Determinant();
      EXPECT_NEAR(det, static_cast<double>(ReferenceDeterminant(a)), 1e-10 * std::fabs(det));
      EXPECT_EQ(inv.Determinant(), 1.0 / det);
    }
  }
  // Into self.
  Matrix a = Make(2, 2, {4, 7, 2, 6});
  a.Inverse(a);
  EXPECT_LT(MaxDistanceFromIdentity(Make(2, 2, {4, 7, 2, 6}).Mult(a)), 1e-15);
  EXPECT_TRUE(Matrix(2, 3).Inverse().IsInvalid());
}

TEST(Matrix, InverseOfASingularMatrixKeepsItsOldShape) {
  Matrix a = Make(3, 3, {1, 2, 3, 2, 4, 6, 1, 0, 1});
  Matrix out(3, 3, 5.0);
  a.Inverse(out);
  // First row all empty values, the others rows of the identity, and no invalid flag.
  EXPECT_FALSE(out.IsInvalid());
  for (int j = 0; j < 3; ++j) {
    EXPECT_TRUE(std::isnan(out[0][j]));
    EXPECT_EQ(out[1][j], j == 1);
    EXPECT_EQ(out[2][j], j == 2);
  }
  EXPECT_EQ(out.Determinant(), std::numeric_limits<double>::infinity());
  EXPECT_EQ(a.Determinant(), 0.0);
  EXPECT_FALSE(a.IsInvalid());  // self is untouched but for its cache
  EXPECT_EQ(a[1][2], 6);
}

TEST(Matrix, GaussJordanSolvesInPlace) {
  std::mt19937 gen(9);
  for (int n : {1, 4, 12}) {
    Matrix a = Random(n, n, gen), b = Random(n, 3, gen), work = a;
    Rows ref = ReferenceSolve(ToRows(a), ToRows(b));
    work.GaussJordan(b);
    ASSERT_FALSE(b.IsInvalid());
    EXPECT_LT(MaxDistanceFromIdentity(work), 1e-12);
    for (int i = 0; i < n; ++i)
      for (int j = 0; j < 3; ++j)
        EXPECT_NEAR(b[i][j], static_cast<double>(ref[i][j]), 1e-9 * (1 + std::fabs(b[i][j])));
  }
  // Elements up to the least normal double are skipped as zeros: 1e-310 stays below the pivot;
  // 3e-308 is eliminated.
  for (double below : {1e-310, 3e-308}) {
    Matrix m = Make(2, 2, {1, 0, below, 1}), rhs = Make(2, 1, {1, 1});
    m.GaussJordan(rhs);
    EXPECT_EQ(m[1][0], below < std::numeric_limits<double>::min() ? below : 0.0);
  }
  // No pivot in a column: the result is invalid.
  Matrix singular = Make(2, 2, {1, 2, 2, 4}), rhs = Make(2, 1, {1, 1});
  singular.GaussJordan(rhs);
  EXPECT_TRUE(rhs.IsInvalid());
  Matrix sq(2, 2, 1.0), wrong(3, 1);
  sq.GaussJordan(wrong);
  EXPECT_TRUE(wrong.IsInvalid());
}

TEST(Matrix, LeastSquaresMatchTheNormalEquations) {
  std::mt19937 gen(21);
  std::uniform_real_distribution<double> pos(0.5, 2);
  for (int rep = 0; rep < 20; ++rep) {
    int n = 1 + rep % 6, m = n + 2 + rep;
    Matrix a = Random(m, n, gen);
    Vector b(m), w(m);
    for (int i = 0; i < m; ++i) b[i] = a[i][0] * 3 - (n > 1 ? a[i][1] : 0) + pos(gen) - 1.25, w[i] = pos(gen);
    // Reference: (A^T W A) x = A^T W b, formed and solved in long double.
    for (bool weighted : {false, true}) {
      Rows normal(n, std::vector<long double>(n)), rhs(n, std::vector<long double>(1));
      for (int i = 0; i < n; ++i) {
        for (int j = 0; j < n; ++j)
          for (int k = 0; k < m; ++k) normal[i][j] += (long double)a[k][i] * (weighted ? w[k] : 1) * a[k][j];
        for (int k = 0; k < m; ++k) rhs[i][0] += (long double)a[k][i] * (weighted ? w[k] : 1) * b[k];
      }
      Rows ref = ReferenceSolve(normal, rhs);
      Vector x;
      Matrix nm;
      if (weighted)
        a.LeastSquareAdjustment(b, w, x, nm);
      else
        a.LeastSquares(b, x, nm);
      ASSERT_FALSE(x.IsInvalid());
      ASSERT_EQ(x.Size(), n);
      for (int i = 0; i < n; ++i)
        EXPECT_NEAR(x[i], static_cast<double>(ref[i][0]), 1e-9 * (1 + std::fabs(x[i])));
      // The Matrix form solves column by column to the same bits.
      Matrix bm(m, 2), xm, nm2;
      bm.SetColumn(0, b);
      bm.SetColumn(1, b * 2.0);
      if (weighted)
        a.LeastSquareAdjustment(bm, w, xm, nm2);
      else
        a.LeastSquares(bm, xm, nm2);
      EXPECT_EQ(xm.Column(0), x);
      EXPECT_EQ(nm2, nm);
    }
  }
  // Shapes that don't fit: b of another length, weights of another length.
  Matrix a(4, 2, 1.0);
  a[0][0] = 2;
  Vector x, b3(3, 1.0), b4(4, 1.0), w3(3, 1.0);
  Matrix nm;
  EXPECT_TRUE(a.LeastSquares(b3, x, nm).IsInvalid());
  EXPECT_TRUE(a.LeastSquareAdjustment(b4, w3, x, nm).IsInvalid());
  // Rank deficient: the factoring stops.
  EXPECT_TRUE(Matrix(4, 2, 1.0).LeastSquares(b4, x, nm).IsInvalid());
}

TEST(Matrix, BackSubstitutionRefusesWhatItCannotUse) {
  Matrix a = Make(2, 2, {4, 3, 6, 3});
  int perm[2];
  a.LUDecomposition(perm);
  Vector b(2);
  b[0] = 10, b[1] = 12;
  a.LUBackSubstitution(perm, b);
  EXPECT_NEAR(b[0], 1, 1e-15);
  EXPECT_NEAR(b[1], 2, 1e-15);
  int wild[2] = {0, 7};
  Vector shortB(1, 1.0), b2(2, 1.0), b3(2, 1.0);
  EXPECT_TRUE(a.LUBackSubstitution(perm, shortB).IsInvalid());
  EXPECT_TRUE(a.LUBackSubstitution(nullptr, b2).IsInvalid());
  EXPECT_TRUE(a.LUBackSubstitution(wild, b3).IsInvalid());
  // A right-hand side with leading zeros takes the shortcut and gives the same answer.
  Matrix c = Make(3, 3, {2, 1, 0, 1, 3, 1, 0, 1, 4}), lu = c;
  int p3[3];
  lu.LUDecomposition(p3);
  Vector e(3, 0.0);
  e[2] = 1;
  lu.LUBackSubstitution(p3, e);
  Vector back = e.PreMult(c);
  for (int i = 0; i < 3; ++i) EXPECT_NEAR(back[i], i == 2, 1e-15);
}

std::u16string *captured = nullptr;
void Capture(const WCHAR *text) { *captured += text; }

TEST(Matrix, PrintWritesOneLinePerRow) {
  std::u16string text;
  captured = &text;
  KzDebugOutputSink old = KzSetDebugOutputSink(Capture);
  Matrix m = Make(2, 2, {1, -0.5, 1e300, 0});
  m.Print(u"m");
  m.SetInvalid();
  m.Print(nullptr);
  KzSetDebugOutputSink(old);
  captured = nullptr;
  EXPECT_EQ(text, u"m (2 x 2):\n1 -0.5\n1e+300 0\n(2 x 2): invalid\n");
}

}  // namespace
