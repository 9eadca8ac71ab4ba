// Matrix: a dense matrix of doubles with an invalid state in place of errors, like Vector. A failed
// operation (shapes that don't fit, an invalid operand, a singular factoring, memory that cannot be
// had) leaves an invalid result and reports nothing else.
//
// Invalid is flag 2 with the empty value in element [0][0]. IsInvalid re-checks: the flag stays
// only while the matrix has no elements or element [0][0] is a NaN, so writing a number there makes
// the matrix valid again.
//
// The elements live in one block that starts with a table of row pointers (HeaderSize bytes) and
// goes on with the rows, one after the other. A caller's buffer may serve as the block: the matrix
// then never frees or replaces it, and an output that would outgrow it becomes invalid.
//
// The determinant is cached: Determinant() factors a copy once and keeps the value (flag 4) until
// a member function changes the matrix. Writes through operator[] don't clear the cache.
//
// Operations that name an output write to it and return it; the forms without one return a new
// Matrix. Products add their terms in index order starting from 0.0.
//
//   Matrix a(2, 2);
//   a[0][0] = 4; a[0][1] = 3; a[1][0] = 6; a[1][1] = 3;
//   double det = a.Determinant();            // -6
//   Matrix inv = a.Inverse();
//   Vector b(2), x;
//   b[0] = 10; b[1] = 12;
//   Matrix normal;
//   a.LeastSquares(b, x, normal);            // solves a x = b through the normal equations
#pragma once

#include <cstddef>

#include <kzcore/numerics/empty_value.h>
#include <kzcore/numerics/vector.h>
#include <kzcore/pal/types.h>

class KZ_API Matrix {
 public:
  // Flag bits.
  static constexpr int kOwnsData = 1;
  static constexpr int kInvalid = 2;
  static constexpr int kDeterminantKnown = 4;

  // 0 by 0, valid.
  Matrix();
  // rows x columns, all 0.0 (or all `value`). Negative sizes, or memory that cannot be had, give
  // an invalid matrix of no elements.
  Matrix(int rows, int columns);
  Matrix(int rows, int columns, double value);
  // Lays the matrix out in the caller's block of `bytes` bytes (8-byte aligned, at least
  // BlockSize(rows, columns)): the row table is written at its start, the elements are whatever the
  // block holds after it. A block that is null, misaligned or too small gives an invalid matrix of
  // no elements and is not touched.
  Matrix(int rows, int columns, void *block, std::size_t bytes);
  Matrix(const Matrix &o);
  Matrix(Matrix &&o) noexcept;
  ~Matrix();
  // Takes o's shape (see Resize), values, invalid flag and determinant cache. Over a foreign block
  // the values are written into it, also by the moving form.
  Matrix &operator=(const Matrix &o);
  Matrix &operator=(Matrix &&o) noexcept;

  // The bytes of the row table of a matrix of `rows` rows (8 per row), and of the whole block.
  static std::size_t HeaderSize(int rows);
  static std::size_t BlockSize(int rows, int columns);
  // Writes the row table for rows x columns at the start of `block` and returns it. A null block
  // gets a new one from malloc, all zeros (the caller frees the returned pointer); null when
  // memory cannot be had or a size is negative.
  static double **CreateDataBufferAndPointers(int rows, int columns, void *block);

  // Row access: m[i][j]. No bounds check.
  double *operator[](int row) { return rows_[row]; }
  const double *operator[](int row) const { return rows_[row]; }
  int Rows() const { return rowCount_; }
  int Columns() const { return columnCount_; }
  // Stores rows and columns through the pointers that aren't null; returns the element count.
  int MatrixSize(int *rows, int *columns) const;
  bool OwnsData() const { return (flags_ & kOwnsData) != 0; }

  // Element by element (also * and /). With a matrix both must be valid and of one shape.
  Matrix operator+(const Matrix &o) const;
  Matrix operator-(const Matrix &o) const;
  Matrix operator*(const Matrix &o) const;
  Matrix operator/(const Matrix &o) const;
  Matrix operator+(double s) const;
  Matrix operator-(double s) const;
  Matrix operator*(double s) const;
  Matrix operator/(double s) const;
  Matrix &operator+=(const Matrix &o);
  Matrix &operator-=(const Matrix &o);
  Matrix &operator*=(const Matrix &o);
  Matrix &operator/=(const Matrix &o);
  Matrix &operator+=(double s);
  Matrix &operator-=(double s);
  Matrix &operator*=(double s);
  Matrix &operator/=(double s);

  // Fewer rows is the lesser, then fewer columns; then the first element in row order that differs
  // (compared with < and >, so a NaN differs from nothing) decides; 0 when none does.
  int Compare(const Matrix &o) const;
  bool operator==(const Matrix &o) const { return Compare(o) == 0; }
  bool operator!=(const Matrix &o) const { return Compare(o) != 0; }

  // The column index of the first greatest (least, greatest absolute, least absolute) element of a
  // row, and the row index of one in a column; -1 for an index out of range, a matrix with no
  // elements there, or an invalid matrix.
  int RowMax(int row) const;
  int RowMin(int row) const;
  int RowMaxAbs(int row) const;
  int RowMinAbs(int row) const;
  int ColMax(int column) const;
  int ColMin(int column) const;
  int ColMaxAbs(int column) const;
  int ColMinAbs(int column) const;

  Matrix &SetValues(double value);
  // Rows() x Columns() values, row after row; a null pointer changes nothing.
  Matrix &SetValues(const double *values);
  // All 0.0 but the diagonal: `value`, or the elements of d (which needs min(rows, columns)
  // elements at least; a shorter or invalid d makes the matrix invalid).
  Matrix &SetDiagonal(double value);
  Matrix &SetDiagonal(const Vector &d);
  Matrix &Scale(double factor, Matrix &out) const;
  Matrix Scale(double factor) const;
  Matrix &Add(const Matrix &o, Matrix &out) const;
  Matrix &Subtract(const Matrix &o, Matrix &out) const;
  Matrix &Negative(Matrix &out) const;
  Matrix Negative() const;
  // out = o * self.
  Matrix &PreMult(const Matrix &o, Matrix &out) const;
  Matrix PreMult(const Matrix &o) const;
  // out = self * o.
  Matrix &Mult(const Matrix &o, Matrix &out) const;
  Matrix Mult(const Matrix &o) const;
  // out = self * diag(d): column j times d[j]; d has Columns() elements.
  Matrix &MultDiagonal(const Vector &d, Matrix &out) const;
  Matrix MultDiagonal(const Vector &d) const;

  // Copies of a row or column into out.
  Vector &Row(int row, Vector &out) const;
  Vector Row(int row) const;
  Vector &Column(int column, Vector &out) const;
  Vector Column(int column) const;
  // A vector that runs over the row's own storage: writing to it writes to the matrix. Invalid and
  // of no elements for a row out of range or an invalid matrix.
  Vector RowVector(int row);
  // v must be valid and as long as a row (a column); otherwise the matrix becomes invalid.
  Matrix &SetRow(int row, const Vector &v);
  Matrix &SetColumn(int column, const Vector &v);
  // The rows x columns block whose first element is [row][column]; a block outside self makes out
  // invalid.
  Matrix &SubMatrix(int row, int column, int rows, int columns, Matrix &out) const;
  Matrix SubMatrix(int row, int column, int rows, int columns) const;
  Matrix &Transpose(Matrix &out) const;
  Matrix Transpose() const;
  // Self transposed times self.
  Matrix &Gram(Matrix &out) const;
  Matrix Gram() const;

  // The inverse through the LU factoring of a copy. Self invalid or not square, or an out that
  // can't take the shape: out invalid. Self's determinant cache takes the copy's determinant and
  // out's cache 1/det (positive infinity for 0).
  //
  // A singular matrix is kept as the family has always had it: the factoring of the copy stops,
  // and the inverse comes back with its first row all empty values and the other rows those of the
  // identity, without the invalid flag. Callers test element [0][0] or the determinant (0.0 here,
  // and out's positive infinity).
  Matrix &Inverse(Matrix &out) const;
  Matrix Inverse() const;
  // Solves self * X = b by Gauss-Jordan elimination with row pivoting, in place on the pair: self
  // becomes the identity and b the solution. Elements of magnitude up to the least normal double
  // are taken as zeros. A column with no pivot above 0, a self that isn't square or a b of another
  // row count makes b invalid (self is then left part way).
  Matrix &GaussJordan(Matrix &b);
  // Crout's factoring with implicit row scaling, in place: self becomes L (below the diagonal, unit
  // diagonal implied) and U, rows exchanged as permutation[j] (Rows() entries; a null pointer uses
  // a table of the function's own) records. The determinant cache field takes the signed product
  // of the diagonal (1.0 for 0 by 0), without flag 4: self no longer holds the matrix. A row of
  // zeros or a zero pivot stops the factoring: self becomes invalid and the field 0.0.
  Matrix &LUDecomposition(int *permutation);
  // Solves with self a factoring and permutation from LUDecomposition, b in place. Self or b
  // invalid, self not square, b shorter than Rows(), a null permutation or one with an entry out
  // of range: b becomes invalid (element 0 the empty value and the flag) and nothing else
  // happens. The Matrix form solves each column of b.
  Vector &LUBackSubstitution(const int *permutation, Vector &b) const;
  Matrix &LUBackSubstitution(const int *permutation, Matrix &b) const;
  // The least-squares solution x of self * x = b through the normal equations: normal = self
  // transposed (times diag(weights) when weights is valid), x = normal * b, normal = normal * self,
  // factored and solved into x. normal is left holding the factoring. LeastSquares is the same
  // without weights. The Matrix forms solve for each column of b.
  Vector &LeastSquareAdjustment(const Vector &b, const Vector &weights, Vector &x,
                                Matrix &normal) const;
  Matrix &LeastSquareAdjustment(const Matrix &b, const Vector &weights, Matrix &x,
                                Matrix &normal) const;
  Vector &LeastSquares(const Vector &b, Vector &x, Matrix &normal) const;
  Matrix &LeastSquares(const Matrix &b, Matrix &x, Matrix &normal) const;
  // The cached value if known; the empty value if not square or invalid; otherwise the factoring
  // of a copy decides it (0.0 for a singular matrix) and it is cached.
  double Determinant() const;

  // Sets the shape. Within the block the row table is laid out anew (the bytes stay as they
  // were, so the old values are only meaningful for an unchanged number of columns) and the
  // invalid flag is cleared; beyond it an owned block is replaced by a new one of zeros; a foreign
  // block that is too small, negative sizes or memory that cannot be had make the matrix invalid
  // and give false.
  bool Resize(int rows, int columns);
  bool IsInvalid() const;
  Matrix &SetInvalid();

  // Writes "caption (r x c):\n" and one line per row, values separated by a space, each in its
  // shortest form that reads back to the same double, to the debugger output; or
  // "caption (r x c): invalid\n". Without a caption the text starts at "(".
  const Matrix &Print(const WCHAR *caption) const;

 private:
  friend class Vector;
  template <class Op>
  Matrix &Elementwise(const Matrix &o, Matrix &out, Op op) const;
  template <class Op>
  Matrix &ElementwiseScalar(Matrix &out, Op op) const;
  template <class Better>
  int RowPick(int row, Better better) const;
  template <class Better>
  int ColPick(int column, Better better) const;
  const double *Elements() const { return rowCount_ > 0 ? rows_[0] : nullptr; }
  double *Elements() { return rowCount_ > 0 ? rows_[0] : nullptr; }
  std::size_t ElementCount() const {
    return static_cast<std::size_t>(rowCount_) * static_cast<std::size_t>(columnCount_);
  }
  void Release();
  void TransposeSquareInPlace();

  mutable double determinant_;  // the cache, and LUDecomposition's result
  double **rows_;
  int rowCount_;
  int columnCount_;
  mutable int flags_;
  std::size_t capacity_;  // bytes of the block
};

KZ_API Matrix operator+(double s, const Matrix &m);
KZ_API Matrix operator-(double s, const Matrix &m);
KZ_API Matrix operator*(double s, const Matrix &m);
KZ_API Matrix operator/(double s, const Matrix &m);
