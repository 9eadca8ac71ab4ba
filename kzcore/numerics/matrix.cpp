#include <kzcore/numerics/matrix.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <string>
#include <utility>

#include <kzcore/numerics/internal/print_values.h>
#include <kzcore/pal/ui.h>

namespace {

constexpr double kLeastNormal = 2.2250738585072014e-308;

// Work tables of up to this many rows live on the stack.
constexpr int kStackRows = 10;
// A square work copy of up to 10 rows on the stack: its row table (one pointer, the size of one
// double, per row) and 100 elements.
constexpr std::size_t kStackBlockDoubles =
    kStackRows * sizeof(double *) / sizeof(double) + kStackRows * kStackRows;

// A table of n entries: the stack one for n up to kStackRows, else from the heap (null when memory
// cannot be had).
template <class T>
class WorkTable {
 public:
  explicit WorkTable(int n) : table_(stack_) {
    if (n > kStackRows) {
      heap_.reset(new (std::nothrow) T[static_cast<std::size_t>(n)]);
      table_ = heap_.get();
    }
  }
  T *get() { return table_; }

 private:
  T stack_[kStackRows];
  std::unique_ptr<T[]> heap_;
  T *table_;
};

// Solves L U x = b in place, a holding the factoring and perm the row exchanges. The forward pass
// skips the leading zeros of b: ii is the first row whose right-hand side was not 0.
void BackSubstitute(const double *const *a, int n, const int *perm, double *b) {
  int ii = -1;
  for (int i = 0; i < n; ++i) {
    int ip = perm[i];
    double sum = b[ip];
    b[ip] = b[i];
    if (ii >= 0) {
      for (int j = ii; j < i; ++j) sum -= a[i][j] * b[j];
    } else if (sum != 0.0) {
      ii = i;
    }
    b[i] = sum;
  }
  for (int i = n - 1; i >= 0; --i) {
    double sum = b[i];
    for (int j = i + 1; j < n; ++j) sum -= a[i][j] * b[j];
    b[i] = sum / a[i][i];
  }
}

bool PermutationInRange(const int *perm, int n) {
  if (!perm) return false;
  for (int i = 0; i < n; ++i)
    if (perm[i] < 0 || perm[i] >= n) return false;
  return true;
}

}  // namespace

std::size_t Matrix::HeaderSize(int rows) {
  return rows > 0 ? static_cast<std::size_t>(rows) * sizeof(double *) : 0;
}

std::size_t Matrix::BlockSize(int rows, int columns) {
  constexpr std::size_t kMax = std::numeric_limits<std::size_t>::max();
  if (rows < 0 || columns < 0) return kMax;
  std::size_t header = HeaderSize(rows);
  std::size_t r = static_cast<std::size_t>(rows), c = static_cast<std::size_t>(columns);
  if (c != 0 && r > (kMax - header) / sizeof(double) / c) return kMax;
  return header + r * c * sizeof(double);
}

double **Matrix::CreateDataBufferAndPointers(int rows, int columns, void *block) {
  if (rows < 0 || columns < 0) return nullptr;
  if (!block) {
    std::size_t bytes = BlockSize(rows, columns);
    if (bytes == std::numeric_limits<std::size_t>::max()) return nullptr;
    block = std::calloc(bytes > 0 ? bytes : 1, 1);
    if (!block) return nullptr;
  }
  double **table = static_cast<double **>(block);
  double *data = reinterpret_cast<double *>(static_cast<char *>(block) + HeaderSize(rows));
  for (int i = 0; i < rows; ++i) table[i] = data + static_cast<std::size_t>(i) * columns;
  return table;
}

Matrix::Matrix()
    : determinant_(0.0), rows_(nullptr), rowCount_(0), columnCount_(0), flags_(kOwnsData),
      capacity_(0) {}

Matrix::Matrix(int rows, int columns) : Matrix() {
  if (rows < 0 || columns < 0) {
    flags_ |= kInvalid;
    return;
  }
  if (rows > 0) {
    std::size_t bytes = BlockSize(rows, columns);
    rows_ = CreateDataBufferAndPointers(rows, columns, nullptr);
    if (!rows_) {
      flags_ |= kInvalid;
      return;
    }
    capacity_ = bytes;
  }
  rowCount_ = rows;
  columnCount_ = columns;
}

Matrix::Matrix(int rows, int columns, double value) : Matrix(rows, columns) {
  double *e = Elements();
  for (std::size_t i = 0, n = ElementCount(); i < n; ++i) e[i] = value;
}

Matrix::Matrix(int rows, int columns, void *block, std::size_t bytes) : Matrix() {
  if (rows < 0 || columns < 0 || !block ||
      reinterpret_cast<std::uintptr_t>(block) % alignof(double) != 0 ||
      bytes < BlockSize(rows, columns)) {
    flags_ |= kInvalid;
    return;
  }
  rows_ = CreateDataBufferAndPointers(rows, columns, block);
  rowCount_ = rows;
  columnCount_ = columns;
  capacity_ = bytes;
  flags_ = 0;
}

Matrix::Matrix(const Matrix &o) : Matrix() {
  if (o.rowCount_ > 0) {
    rows_ = CreateDataBufferAndPointers(o.rowCount_, o.columnCount_, nullptr);
    if (!rows_) {
      flags_ |= kInvalid;
      return;
    }
    capacity_ = BlockSize(o.rowCount_, o.columnCount_);
  }
  rowCount_ = o.rowCount_;
  columnCount_ = o.columnCount_;
  if (o.rowCount_ > 0)
    std::memcpy(Elements(), o.Elements(), ElementCount() * sizeof(double));
  flags_ |= o.flags_ & (kInvalid | kDeterminantKnown);
  determinant_ = o.determinant_;
}

Matrix::Matrix(Matrix &&o) noexcept
    : determinant_(o.determinant_), rows_(o.rows_), rowCount_(o.rowCount_),
      columnCount_(o.columnCount_), flags_(o.flags_), capacity_(o.capacity_) {
  o.rows_ = nullptr;
  o.rowCount_ = o.columnCount_ = 0;
  o.capacity_ = 0;
  o.flags_ = kOwnsData;
}

Matrix::~Matrix() { Release(); }

void Matrix::Release() {
  if (flags_ & kOwnsData) std::free(rows_);
  rows_ = nullptr;
  capacity_ = 0;
}

Matrix &Matrix::operator=(const Matrix &o) {
  if (this == &o) return *this;
  if (!Resize(o.rowCount_, o.columnCount_)) return *this;
  if (ElementCount() > 0) std::memmove(Elements(), o.Elements(), ElementCount() * sizeof(double));
  flags_ = (flags_ & kOwnsData) | (o.flags_ & (kInvalid | kDeterminantKnown));
  determinant_ = o.determinant_;
  return *this;
}

Matrix &Matrix::operator=(Matrix &&o) noexcept {
  if (this == &o) return *this;
  // A matrix over a foreign block stays on it: the values are written there.
  if (!(flags_ & kOwnsData) || !(o.flags_ & kOwnsData)) return *this = static_cast<const Matrix &>(o);
  Release();
  determinant_ = o.determinant_;
  rows_ = o.rows_;
  rowCount_ = o.rowCount_;
  columnCount_ = o.columnCount_;
  flags_ = o.flags_;
  capacity_ = o.capacity_;
  o.rows_ = nullptr;
  o.rowCount_ = o.columnCount_ = 0;
  o.capacity_ = 0;
  o.flags_ = kOwnsData;
  return *this;
}

int Matrix::MatrixSize(int *rows, int *columns) const {
  if (rows) *rows = rowCount_;
  if (columns) *columns = columnCount_;
  return rowCount_ * columnCount_;
}

bool Matrix::Resize(int rows, int columns) {
  flags_ &= ~kDeterminantKnown;
  std::size_t need = BlockSize(rows, columns);
  if (rows < 0 || columns < 0) {
    SetInvalid();
    return false;
  }
  if (need <= capacity_) {
    if (rows > 0) CreateDataBufferAndPointers(rows, columns, rows_);
    rowCount_ = rows;
    columnCount_ = columns;
    flags_ &= ~kInvalid;
    return true;
  }
  if (!(flags_ & kOwnsData) || need == std::numeric_limits<std::size_t>::max()) {
    SetInvalid();
    return false;
  }
  double **table = CreateDataBufferAndPointers(rows, columns, nullptr);
  if (!table) {
    SetInvalid();
    return false;
  }
  std::free(rows_);
  rows_ = table;
  capacity_ = need;
  rowCount_ = rows;
  columnCount_ = columns;
  flags_ &= ~kInvalid;
  return true;
}

bool Matrix::IsInvalid() const {
  if (!(flags_ & kInvalid)) return false;
  if (ElementCount() == 0 || std::isnan(rows_[0][0])) return true;
  flags_ &= ~kInvalid;
  return false;
}

Matrix &Matrix::SetInvalid() {
  if (ElementCount() > 0) rows_[0][0] = kEmptyValue;
  flags_ = (flags_ | kInvalid) & ~kDeterminantKnown;
  return *this;
}

template <class Op>
Matrix &Matrix::Elementwise(const Matrix &o, Matrix &out, Op op) const {
  if (IsInvalid() || o.IsInvalid() || o.rowCount_ != rowCount_ || o.columnCount_ != columnCount_)
    return out.SetInvalid();
  if (!out.Resize(rowCount_, columnCount_)) return out;
  // One layout on all sides, element by element at one offset: out may be self or o.
  const double *a = Elements(), *b = o.Elements();
  double *c = out.Elements();
  for (std::size_t i = 0, n = ElementCount(); i < n; ++i) c[i] = op(a[i], b[i]);
  return out;
}

template <class Op>
Matrix &Matrix::ElementwiseScalar(Matrix &out, Op op) const {
  if (IsInvalid()) return out.SetInvalid();
  if (!out.Resize(rowCount_, columnCount_)) return out;
  const double *a = Elements();
  double *c = out.Elements();
  for (std::size_t i = 0, n = ElementCount(); i < n; ++i) c[i] = op(a[i]);
  return out;
}

namespace {
constexpr auto kPlus = [](double a, double b) { return a + b; };
constexpr auto kMinus = [](double a, double b) { return a - b; };
constexpr auto kTimes = [](double a, double b) { return a * b; };
constexpr auto kOver = [](double a, double b) { return a / b; };
}  // namespace

Matrix Matrix::operator+(const Matrix &o) const {
  Matrix r;
  return std::move(Elementwise(o, r, kPlus));
}
Matrix Matrix::operator-(const Matrix &o) const {
  Matrix r;
  return std::move(Elementwise(o, r, kMinus));
}
Matrix Matrix::operator*(const Matrix &o) const {
  Matrix r;
  return std::move(Elementwise(o, r, kTimes));
}
Matrix Matrix::operator/(const Matrix &o) const {
  Matrix r;
  return std::move(Elementwise(o, r, kOver));
}
Matrix Matrix::operator+(double s) const {
  Matrix r;
  return std::move(ElementwiseScalar(r, [s](double a) { return a + s; }));
}
Matrix Matrix::operator-(double s) const {
  Matrix r;
  return std::move(ElementwiseScalar(r, [s](double a) { return a - s; }));
}
Matrix Matrix::operator*(double s) const {
  Matrix r;
  return std::move(Scale(s, r));
}
Matrix Matrix::operator/(double s) const {
  Matrix r;
  return std::move(ElementwiseScalar(r, [s](double a) { return a / s; }));
}
Matrix &Matrix::operator+=(const Matrix &o) { return Elementwise(o, *this, kPlus); }
Matrix &Matrix::operator-=(const Matrix &o) { return Elementwise(o, *this, kMinus); }
Matrix &Matrix::operator*=(const Matrix &o) { return Elementwise(o, *this, kTimes); }
Matrix &Matrix::operator/=(const Matrix &o) { return Elementwise(o, *this, kOver); }
Matrix &Matrix::operator+=(double s) {
  return ElementwiseScalar(*this, [s](double a) { return a + s; });
}
Matrix &Matrix::operator-=(double s) {
  return ElementwiseScalar(*this, [s](double a) { return a - s; });
}
Matrix &Matrix::operator*=(double s) { return Scale(s, *this); }
Matrix &Matrix::operator/=(double s) {
  return ElementwiseScalar(*this, [s](double a) { return a / s; });
}

namespace {

template <class Op>
Matrix ScalarFirst(const Matrix &m, Op op) {
  Matrix r;
  if (m.IsInvalid() || !r.Resize(m.Rows(), m.Columns())) return std::move(r.SetInvalid());
  for (int i = 0; i < m.Rows(); ++i)
    for (int j = 0; j < m.Columns(); ++j) r[i][j] = op(m[i][j]);
  return r;
}

}  // namespace

Matrix operator+(double s, const Matrix &m) {
  return ScalarFirst(m, [s](double a) { return s + a; });
}
Matrix operator-(double s, const Matrix &m) {
  return ScalarFirst(m, [s](double a) { return s - a; });
}
Matrix operator*(double s, const Matrix &m) {
  return ScalarFirst(m, [s](double a) { return s * a; });
}
Matrix operator/(double s, const Matrix &m) {
  return ScalarFirst(m, [s](double a) { return s / a; });
}

int Matrix::Compare(const Matrix &o) const {
  if (rowCount_ != o.rowCount_) return rowCount_ < o.rowCount_ ? -1 : 1;
  if (columnCount_ != o.columnCount_) return columnCount_ < o.columnCount_ ? -1 : 1;
  const double *a = Elements(), *b = o.Elements();
  for (std::size_t i = 0, n = ElementCount(); i < n; ++i) {
    if (a[i] < b[i]) return -1;
    if (a[i] > b[i]) return 1;
  }
  return 0;
}

template <class Better>
int Matrix::RowPick(int row, Better better) const {
  if (IsInvalid() || row < 0 || row >= rowCount_ || columnCount_ == 0) return -1;
  const double *r = rows_[row];
  int best = 0;
  for (int j = 1; j < columnCount_; ++j)
    if (better(r[j], r[best])) best = j;
  return best;
}

template <class Better>
int Matrix::ColPick(int column, Better better) const {
  if (IsInvalid() || column < 0 || column >= columnCount_ || rowCount_ == 0) return -1;
  int best = 0;
  for (int i = 1; i < rowCount_; ++i)
    if (better(rows_[i][column], rows_[best][column])) best = i;
  return best;
}

namespace {
constexpr auto kGreater = [](double a, double b) { return a > b; };
constexpr auto kLess = [](double a, double b) { return a < b; };
constexpr auto kGreaterAbs = [](double a, double b) { return std::fabs(a) > std::fabs(b); };
constexpr auto kLessAbs = [](double a, double b) { return std::fabs(a) < std::fabs(b); };
}  // namespace

int Matrix::RowMax(int row) const { return RowPick(row, kGreater); }
int Matrix::RowMin(int row) const { return RowPick(row, kLess); }
int Matrix::RowMaxAbs(int row) const { return RowPick(row, kGreaterAbs); }
int Matrix::RowMinAbs(int row) const { return RowPick(row, kLessAbs); }
int Matrix::ColMax(int column) const { return ColPick(column, kGreater); }
int Matrix::ColMin(int column) const { return ColPick(column, kLess); }
int Matrix::ColMaxAbs(int column) const { return ColPick(column, kGreaterAbs); }
int Matrix::ColMinAbs(int column) const { return ColPick(column, kLessAbs); }

Matrix &Matrix::SetValues(double value) {
  flags_ &= ~kDeterminantKnown;
  double *e = Elements();
  for (std::size_t i = 0, n = ElementCount(); i < n; ++i) e[i] = value;
  return *this;
}

Matrix &Matrix::SetValues(const double *values) {
  flags_ &= ~kDeterminantKnown;
  if (values && ElementCount() > 0)
    std::memmove(Elements(), values, ElementCount() * sizeof(double));
  return *this;
}

Matrix &Matrix::SetDiagonal(double value) {
  SetValues(0.0);
  int n = rowCount_ < columnCount_ ? rowCount_ : columnCount_;
  for (int i = 0; i < n; ++i) rows_[i][i] = value;
  return *this;
}

Matrix &Matrix::SetDiagonal(const Vector &d) {
  int n = rowCount_ < columnCount_ ? rowCount_ : columnCount_;
  if (d.IsInvalid() || d.Size() < n) return SetInvalid();
  SetValues(0.0);
  for (int i = 0; i < n; ++i) rows_[i][i] = d[i];
  return *this;
}

Matrix &Matrix::Scale(double factor, Matrix &out) const {
  return ElementwiseScalar(out, [factor](double a) { return a * factor; });
}

Matrix Matrix::Scale(double factor) const {
  Matrix r;
  return std::move(Scale(factor, r));
}

Matrix &Matrix::Add(const Matrix &o, Matrix &out) const { return Elementwise(o, out, kPlus); }
Matrix &Matrix::Subtract(const Matrix &o, Matrix &out) const { return Elementwise(o, out, kMinus); }

Matrix &Matrix::Negative(Matrix &out) const {
  return ElementwiseScalar(out, [](double a) { return -a; });
}

Matrix Matrix::Negative() const {
  Matrix r;
  return std::move(Negative(r));
}

Matrix &Matrix::PreMult(const Matrix &o, Matrix &out) const { return o.Mult(*this, out); }

Matrix Matrix::PreMult(const Matrix &o) const {
  Matrix r;
  return std::move(PreMult(o, r));
}

Matrix &Matrix::Mult(const Matrix &o, Matrix &out) const {
  if (IsInvalid() || o.IsInvalid() || columnCount_ != o.rowCount_) return out.SetInvalid();
  if (&out == this || &out == &o) {
    Matrix r;
    Mult(o, r);
    return out = std::move(r);
  }
  int n = rowCount_, m = o.columnCount_, inner = columnCount_;
  if (!out.Resize(n, m)) return out;
  // Row i of out gathers a[i][k] * o[k][j] for k in order, from 0.0: the same sum as a dot product
  // of row i with column j, in an order that walks memory row by row.
  for (int i = 0; i < n; ++i) {
    double *c = out.rows_[i];
    for (int j = 0; j < m; ++j) c[j] = 0.0;
    for (int k = 0; k < inner; ++k) {
      double a = rows_[i][k];
      const double *b = o.rows_[k];
      for (int j = 0; j < m; ++j) c[j] += a * b[j];
    }
  }
  return out;
}

Matrix Matrix::Mult(const Matrix &o) const {
  Matrix r;
  return std::move(Mult(o, r));
}

Matrix &Matrix::MultDiagonal(const Vector &d, Matrix &out) const {
  if (IsInvalid() || d.IsInvalid() || d.Size() != columnCount_) return out.SetInvalid();
  if (!out.Resize(rowCount_, columnCount_)) return out;
  for (int i = 0; i < rowCount_; ++i) {
    const double *a = rows_[i];
    double *c = out.rows_[i];
    for (int j = 0; j < columnCount_; ++j) c[j] = a[j] * d[j];
  }
  return out;
}

Matrix Matrix::MultDiagonal(const Vector &d) const {
  Matrix r;
  return std::move(MultDiagonal(d, r));
}

Vector &Matrix::Row(int row, Vector &out) const { return out.MatrixRow(*this, row); }

Vector Matrix::Row(int row) const {
  Vector r;
  return std::move(Row(row, r));
}

Vector &Matrix::Column(int column, Vector &out) const { return out.MatrixColumn(*this, column); }

Vector Matrix::Column(int column) const {
  Vector r;
  return std::move(Column(column, r));
}

Vector Matrix::RowVector(int row) {
  if (IsInvalid() || row < 0 || row >= rowCount_) {
    Vector r;
    r.SetInvalid();
    return r;
  }
  return Vector(columnCount_, rows_[row]);
}

Matrix &Matrix::SetRow(int row, const Vector &v) {
  if (v.IsInvalid() || v.Size() != columnCount_ || row < 0 || row >= rowCount_)
    return SetInvalid();
  flags_ &= ~kDeterminantKnown;
  if (columnCount_ > 0)
    std::memmove(rows_[row], v.Data(), static_cast<std::size_t>(columnCount_) * sizeof(double));
  return *this;
}

Matrix &Matrix::SetColumn(int column, const Vector &v) {
  if (v.IsInvalid() || v.Size() != rowCount_ || column < 0 || column >= columnCount_)
    return SetInvalid();
  flags_ &= ~kDeterminantKnown;
  for (int i = 0; i < rowCount_; ++i) rows_[i][column] = v[i];
  return *this;
}

Matrix &Matrix::SubMatrix(int row, int column, int rows, int columns, Matrix &out) const {
  if (IsInvalid() || row < 0 || column < 0 || rows < 0 || columns < 0 ||
      row > rowCount_ - rows || column > columnCount_ - columns)
    return out.SetInvalid();
  if (&out == this) {
    Matrix r;
    SubMatrix(row, column, rows, columns, r);
    return out = std::move(r);
  }
  if (!out.Resize(rows, columns)) return out;
  for (int i = 0; i < rows; ++i)
    if (columns > 0)
      std::memcpy(out.rows_[i], rows_[row + i] + column,
                  static_cast<std::size_t>(columns) * sizeof(double));
  return out;
}

Matrix Matrix::SubMatrix(int row, int column, int rows, int columns) const {
  Matrix r;
  return std::move(SubMatrix(row, column, rows, columns, r));
}

void Matrix::TransposeSquareInPlace() {
  for (int i = 0; i < rowCount_; ++i)
    for (int j = i + 1; j < columnCount_; ++j) std::swap(rows_[i][j], rows_[j][i]);
}

Matrix &Matrix::Transpose(Matrix &out) const {
  if (IsInvalid()) return out.SetInvalid();
  if (&out == this) {
    if (rowCount_ == columnCount_) {
      // As every member that rewrites the elements, this drops the cached determinant.
      out.flags_ &= ~kDeterminantKnown;
      out.TransposeSquareInPlace();
      return out;
    }
    Matrix r;
    Transpose(r);
    return out = std::move(r);
  }
  if (!out.Resize(columnCount_, rowCount_)) return out;
  for (int i = 0; i < rowCount_; ++i)
    for (int j = 0; j < columnCount_; ++j) out.rows_[j][i] = rows_[i][j];
  return out;
}

Matrix Matrix::Transpose() const {
  Matrix r;
  return std::move(Transpose(r));
}

Matrix &Matrix::Gram(Matrix &out) const {
  if (IsInvalid()) return out.SetInvalid();
  if (&out == this) {
    Matrix r;
    Gram(r);
    return out = std::move(r);
  }
  int n = columnCount_;
  if (!out.Resize(n, n)) return out;
  out.SetValues(0.0);
  // out[i][j] gathers a[k][i] * a[k][j] for k in order, from 0.0, as Transpose then Mult would.
  for (int k = 0; k < rowCount_; ++k) {
    const double *a = rows_[k];
    for (int i = 0; i < n; ++i) {
      double aki = a[i];
      double *c = out.rows_[i];
      for (int j = 0; j < n; ++j) c[j] += aki * a[j];
    }
  }
  return out;
}

Matrix Matrix::Gram() const {
  Matrix r;
  return std::move(Gram(r));
}

Matrix &Matrix::LUDecomposition(int *permutation) {
  flags_ &= ~kDeterminantKnown;
  if (IsInvalid() || rowCount_ != columnCount_) {
    determinant_ = 0.0;
    return SetInvalid();
  }
  int n = rowCount_;
  if (n == 0) {
    determinant_ = 1.0;
    return *this;
  }
  WorkTable<int> ownPermutation(permutation ? 0 : n);
  WorkTable<double> scaleTable(n);
  int *perm = permutation ? permutation : ownPermutation.get();
  double *scale = scaleTable.get();
  auto stop = [this]() -> Matrix & {
    determinant_ = 0.0;
    return SetInvalid();
  };
  if (!perm || !scale) return stop();
  for (int i = 0; i < n; ++i) perm[i] = i;
  double **a = rows_;
  // Implicit scaling: each row is measured against its own greatest element.
  for (int i = 0; i < n; ++i) {
    double big = 0.0;
    for (int j = 0; j < n; ++j) {
      double t = std::fabs(a[i][j]);
      if (t > big) big = t;
    }
    if (0 >= big) return stop();
    scale[i] = 1.0 / big;
  }
  double d = 1.0;
  for (int j = 0; j < n; ++j) {
    for (int i = 0; i < j; ++i) {
      double sum = a[i][j];
      for (int k = 0; k < i; ++k) sum -= a[i][k] * a[k][j];
      a[i][j] = sum;
    }
    double big = 0.0;
    int imax = j;
    for (int i = j; i < n; ++i) {
      double sum = a[i][j];
      for (int k = 0; k < j; ++k) sum -= a[i][k] * a[k][j];
      a[i][j] = sum;
      double dum = std::fabs(sum) * scale[i];
      if (dum > big) {
        big = dum;
        imax = i;
      }
    }
    if (j != imax) {
      for (int k = 0; k < n; ++k) std::swap(a[imax][k], a[j][k]);
      d = -d;
      scale[imax] = scale[j];
    }
    perm[j] = imax;
    if (0 >= std::fabs(a[j][j])) return stop();
    if (j != n - 1) {
      double dum = 1.0 / a[j][j];
      for (int i = j + 1; i < n; ++i) a[i][j] *= dum;
    }
  }
  double det = d;
  for (int i = 0; i < n; ++i) det *= a[i][i];
  determinant_ = det;
  return *this;
}

Vector &Matrix::LUBackSubstitution(const int *permutation, Vector &b) const {
  if (IsInvalid() || b.IsInvalid() || rowCount_ != columnCount_ || b.Size() < rowCount_ ||
      !PermutationInRange(permutation, rowCount_))
    return b.SetInvalid();
  BackSubstitute(rows_, rowCount_, permutation, b.Data());
  return b;
}

Matrix &Matrix::LUBackSubstitution(const int *permutation, Matrix &b) const {
  int n = rowCount_;
  if (IsInvalid() || b.IsInvalid() || rowCount_ != columnCount_ || b.rowCount_ < n ||
      !PermutationInRange(permutation, n) || &b == this)
    return b.SetInvalid();
  WorkTable<double> column(n);
  double *x = column.get();
  if (!x) return b.SetInvalid();
  b.flags_ &= ~kDeterminantKnown;
  for (int c = 0; c < b.columnCount_; ++c) {
    for (int i = 0; i < n; ++i) x[i] = b.rows_[i][c];
    BackSubstitute(rows_, n, permutation, x);
    for (int i = 0; i < n; ++i) b.rows_[i][c] = x[i];
  }
  return b;
}

Matrix &Matrix::Inverse(Matrix &out) const {
  if (IsInvalid() || rowCount_ != columnCount_ || !out.Resize(rowCount_, columnCount_))
    return out.SetInvalid();
  int n = rowCount_;
  // The copy is taken before out is written, so that out may be self.
  alignas(double) unsigned char stack[kStackBlockDoubles * sizeof(double)];
  Matrix work = BlockSize(n, n) <= sizeof stack ? Matrix(n, n, stack, sizeof stack) : Matrix(n, n);
  WorkTable<int> permutation(n);
  int *perm = permutation.get();
  if (work.rowCount_ != n || !perm) return out.SetInvalid();
  work.SetValues(Elements());
  out.SetDiagonal(1.0);
  // A singular copy is left invalid by the factoring, and each solve below then only writes the
  // empty value into element 0 of its row: kept so (see the header).
  work.LUDecomposition(perm);
  for (int i = 0; i < n; ++i) {
    Vector row = out.RowVector(i);
    work.LUBackSubstitution(perm, row);
  }
  out.TransposeSquareInPlace();
  double det = work.determinant_;
  determinant_ = det;
  flags_ |= kDeterminantKnown;
  out.determinant_ = det == 0 ? std::numeric_limits<double>::infinity() : 1.0 / det;
  out.flags_ |= kDeterminantKnown;
  return out;
}

Matrix Matrix::Inverse() const {
  Matrix r;
  return std::move(Inverse(r));
}

Matrix &Matrix::GaussJordan(Matrix &b) {
  flags_ &= ~kDeterminantKnown;
  if (IsInvalid() || b.IsInvalid() || rowCount_ != columnCount_ || b.rowCount_ != rowCount_ ||
      &b == this)
    return b.SetInvalid();
  b.flags_ &= ~kDeterminantKnown;
  int n = rowCount_, m = b.columnCount_;
  double **a = rows_, **r = b.rows_;
  for (int c = 0; c < n; ++c) {
    int p = c;
    double best = std::fabs(a[c][c]);
    for (int i = c + 1; i < n; ++i) {
      double v = std::fabs(a[i][c]);
      if (v > best) {
        best = v;
        p = i;
      }
    }
    if (0 >= best) return b.SetInvalid();
    if (p != c) {
      for (int j = 0; j < n; ++j) std::swap(a[p][j], a[c][j]);
      for (int j = 0; j < m; ++j) std::swap(r[p][j], r[c][j]);
    }
    double pivot = a[c][c];
    for (int j = 0; j < n; ++j) a[c][j] /= pivot;
    for (int j = 0; j < m; ++j) r[c][j] /= pivot;
    for (int i = 0; i < n; ++i) {
      if (i == c) continue;
      double f = a[i][c];
      if (std::fabs(f) <= kLeastNormal) continue;
      for (int j = 0; j < n; ++j) a[i][j] -= f * a[c][j];
      for (int j = 0; j < m; ++j) r[i][j] -= f * r[c][j];
    }
  }
  return b;
}

namespace {

int RowCount(const Vector &b) { return b.Size(); }
int RowCount(const Matrix &b) { return b.Rows(); }

// x = normal * b, with the product each kind of right-hand side has.
void NormalRightSide(const Matrix &weightedTranspose, const Vector &b, Vector &x) {
  b.PreMult(weightedTranspose, x);
}
void NormalRightSide(const Matrix &weightedTranspose, const Matrix &b, Matrix &x) {
  weightedTranspose.Mult(b, x);
}

// The least-squares solve of a * x = b shared by the vector and matrix forms, once the callers have
// copied what normal or x would overwrite before it is read.
template <class Rhs>
Rhs &SolveNormalEquations(const Matrix &a, const Rhs &b, const Vector &weights, Rhs &x, Matrix &normal) {
  if (a.IsInvalid() || b.IsInvalid() || RowCount(b) != a.Rows()) {
    normal.SetInvalid();
    return x.SetInvalid();
  }
  a.Transpose(normal);
  if (!weights.IsInvalid()) normal.MultDiagonal(weights, normal);
  NormalRightSide(normal, b, x);
  normal.Mult(a, normal);
  WorkTable<int> permutation(a.Columns());
  int *perm = permutation.get();
  if (!perm) return x.SetInvalid();
  normal.LUDecomposition(perm);
  return normal.LUBackSubstitution(perm, x);
}

}  // namespace

Vector &Matrix::LeastSquareAdjustment(const Vector &b, const Vector &weights, Vector &x,
                                      Matrix &normal) const {
  if (&normal == this) {
    Matrix self(*this);
    return self.LeastSquareAdjustment(b, weights, x, normal);
  }
  return SolveNormalEquations(*this, b, weights, x, normal);
}

Matrix &Matrix::LeastSquareAdjustment(const Matrix &b, const Vector &weights, Matrix &x,
                                      Matrix &normal) const {
  if (&normal == this || &normal == &b || &x == this) {
    Matrix self(*this), rhs(b);
    return self.LeastSquareAdjustment(rhs, weights, x, normal);
  }
  return SolveNormalEquations(*this, b, weights, x, normal);
}

Vector &Matrix::LeastSquares(const Vector &b, Vector &x, Matrix &normal) const {
  Vector none;
  none.SetInvalid();
  return LeastSquareAdjustment(b, none, x, normal);
}

Matrix &Matrix::LeastSquares(const Matrix &b, Matrix &x, Matrix &normal) const {
  Vector none;
  none.SetInvalid();
  return LeastSquareAdjustment(b, none, x, normal);
}

double Matrix::Determinant() const {
  if (flags_ & kDeterminantKnown) return determinant_;
  if (rowCount_ != columnCount_ || IsInvalid()) return kEmptyValue;
  int n = rowCount_;
  alignas(double) unsigned char stack[kStackBlockDoubles * sizeof(double)];
  Matrix work = BlockSize(n, n) <= sizeof stack ? Matrix(n, n, stack, sizeof stack) : Matrix(n, n);
  WorkTable<int> permutation(n);
  if (work.rowCount_ != n || !permutation.get()) return kEmptyValue;
  work.SetValues(Elements());
  work.LUDecomposition(permutation.get());
  determinant_ = work.determinant_;
  flags_ |= kDeterminantKnown;
  return determinant_;
}

const Matrix &Matrix::Print(const WCHAR *caption) const {
  std::u16string text;
  kz::internal::AppendCaption(text, caption);
  text += u"(";
  kz::internal::AppendInteger(text, rowCount_);
  text += u" x ";
  kz::internal::AppendInteger(text, columnCount_);
  text += u"):";
  if (IsInvalid()) {
    text += u" invalid\n";
  } else {
    text += u'\n';
    for (int i = 0; i < rowCount_; ++i) {
      for (int j = 0; j < columnCount_; ++j) {
        if (j > 0) text += u' ';
        kz::internal::AppendDouble(text, rows_[i][j]);
      }
      text += u'\n';
    }
  }
  OutputDebugStringW(text.c_str());
  return *this;
}
