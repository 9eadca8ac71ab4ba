// Vector: a dense vector of doubles. It reports nothing: an operation that cannot be done (operands
// of different lengths, an invalid operand, an output that cannot take the size, memory that cannot
// be had) leaves an invalid result, and the caller looks at IsInvalid() when it cares.
//
// Invalid is a flag together with the empty value (empty_value.h) in element 0. SetInvalid writes
// both; IsInvalid re-checks them, and keeps the flag only while the vector has no elements or
// element 0 is a NaN, so writing a number into element 0 makes a vector valid again.
//
// A vector owns its block, or runs over a caller's buffer (the constructor with a buffer, and
// Matrix::RowVector): writes then go to that buffer, and the vector never frees or replaces it. An
// output that has to grow beyond a foreign buffer becomes invalid instead.
//
// Loops run in index order; a dot product starts at 0.0 and adds one product per element. Sum
// adds in groups of four (see there).
//
//   Vector v(3), w(3, 2.0);
//   v[0] = 3; v[1] = 4;
//   double n = v.Norm(2);          // 5
//   Vector u = v.Unit();           // (0.6, 0.8, 0)
//   Vector s = v + w * 0.5;        // (4, 5, 1)
//   if (s.IsInvalid()) ...
#pragma once

#include <cstdio>

#include <kzcore/numerics/empty_value.h>
#include <kzcore/pal/types.h>

class Matrix;

class KZ_API Vector {
 public:
  // Flag bits.
  static constexpr int kOwnsData = 1;
  static constexpr int kInvalid = 2;

  // No elements, valid.
  Vector();
  // n elements, all 0.0 (or all `value`). A negative n, or memory that cannot be had, gives an
  // invalid vector of no elements.
  explicit Vector(int n);
  Vector(int n, double value);
  // Runs over the caller's n doubles as they are; the buffer must outlive the vector. A null
  // buffer with n above 0, or a negative n, gives an invalid vector of no elements.
  Vector(int n, double *buffer);
  // Copies get a block of their own, also from a vector over a foreign buffer.
  Vector(const Vector &o);
  // Takes the block (a foreign buffer stays foreign).
  Vector(Vector &&o) noexcept;
  ~Vector();
  // Takes o's size (see Resize) and copies its values and its invalid flag. Over a foreign buffer
  // the values are written into it, also by the moving form.
  Vector &operator=(const Vector &o);
  Vector &operator=(Vector &&o) noexcept;

  // No bounds check.
  double &operator[](int i) { return data_[i]; }
  const double &operator[](int i) const { return data_[i]; }
  int Size() const { return size_; }
  // Elements the block can hold.
  int Capacity() const { return capacity_; }
  double *Data() { return data_; }
  const double *Data() const { return data_; }
  bool OwnsData() const { return (flags_ & kOwnsData) != 0; }

  // Element by element. With a vector both must be valid and of one length; with a scalar self
  // must be valid. Otherwise the result (or self, for the assigning forms) is invalid.
  Vector operator+(const Vector &o) const;
  Vector operator-(const Vector &o) const;
  Vector operator*(const Vector &o) const;
  Vector operator/(const Vector &o) const;
  Vector operator+(double s) const;
  Vector operator-(double s) const;
  Vector operator*(double s) const;
  Vector operator/(double s) const;
  Vector &operator+=(const Vector &o);
  Vector &operator-=(const Vector &o);
  Vector &operator*=(const Vector &o);
  Vector &operator/=(const Vector &o);
  Vector &operator+=(double s);
  Vector &operator-=(double s);
  Vector &operator*=(double s);
  Vector &operator/=(double s);

  // Over the shorter length, the first element that differs decides: -1 when self's is the lower,
  // 1 when it is the higher. Elements compare with < and >, so a NaN differs from nothing. With no
  // difference the shorter vector is the lesser, and equal lengths give 0.
  int Compare(const Vector &o) const;
  bool operator==(const Vector &o) const { return Compare(o) == 0; }
  bool operator!=(const Vector &o) const { return Compare(o) != 0; }
  bool operator<(const Vector &o) const { return Compare(o) < 0; }
  bool operator>(const Vector &o) const { return Compare(o) > 0; }
  bool operator<=(const Vector &o) const { return Compare(o) <= 0; }
  bool operator>=(const Vector &o) const { return Compare(o) >= 0; }

  // Reductions over the elements from `from` to `to`, both included. A negative index, or one
  // above the size, means the size: the default range 0..size reaches the slot one past the last
  // element, which counts as 0.0 in a sum and is never the answer of the index forms. Sum adds
  // into one running total, four elements at a time as ((a + b) + c) + d, and the last one to
  // three one by one; from above to gives 0.0. Max, Min, MaxAbs and MinAbs give the index of the
  // first greatest (least) element, compared with > (<), or -1 for an empty range. An invalid
  // vector gives the empty value (Sum) or -1.
  double Sum(int from = 0, int to = -1) const;
  int Max(int from = 0, int to = -1) const;
  int Min(int from = 0, int to = -1) const;
  int MaxAbs(int from = 0, int to = -1) const;
  int MinAbs(int from = 0, int to = -1) const;

  // p 0: the greatest absolute value; 1: the sum of absolute values; 2: the root of the sum of
  // squares; above 2: pow(sum of pow(|x|, p), 1.0 / p). A negative p or an invalid vector gives
  // the empty value, a vector of no elements 0.0.
  double Norm(LONG p = 2) const;
  // sqrt(s) with s the sum of x * x * w over self's length; with normalize and a sum of weights
  // other than 0.0, sqrt(s / sum of weights). Weights shorter than self give the empty value.
  double Norm(const Vector &weights, bool normalize) const;
  // out = self / Norm(p). out is invalid when p is negative or the norm is exactly 0.0.
  Vector &Unit(Vector &out, LONG p = 2) const;
  Vector Unit(LONG p = 2) const;
  // out = self * factor.
  Vector &Scale(double factor, Vector &out) const;
  Vector Scale(double factor) const;

  Vector &SetValues(double value);
  // Copies Size() values; a null pointer changes nothing.
  Vector &SetValues(const double *values);
  // The `count` elements from `from`; a range outside self makes out invalid.
  Vector &SubVector(int from, int count, Vector &out) const;
  Vector SubVector(int from, int count) const;

  // out = m * self (self as a column; m has Size() columns).
  Vector &PreMult(const Matrix &m, Vector &out) const;
  Vector PreMult(const Matrix &m) const;
  // out = self * m (self as a row; m has Size() rows).
  Vector &PostMult(const Matrix &m, Vector &out) const;
  Vector PostMult(const Matrix &m) const;
  // out = self * diag(d): each element times the element of d at its index.
  Vector &PostMultDiagonal(const Vector &d, Vector &out) const;
  Vector PostMultDiagonal(const Vector &d) const;
  Vector &Add(const Vector &o, Vector &out) const;
  Vector &Subtract(const Vector &o, Vector &out) const;
  Vector &Negative(Vector &out) const;
  Vector Negative() const;

  // Self becomes a copy of one row or column of m; out of range, or an invalid m, makes self
  // invalid.
  Vector &MatrixRow(const Matrix &m, int row);
  Vector &MatrixColumn(const Matrix &m, int column);

  // Sets the size. Within the capacity the size is set and the invalid flag cleared. Beyond it an
  // owned block is replaced (the old values are kept, new elements are 0.0); a foreign buffer that
  // is too small, a negative n or memory that cannot be had make the vector invalid and give
  // false.
  bool Resize(int n);
  bool IsInvalid() const;
  Vector &SetInvalid();

  // Writes "caption (n): v0 v1 ...\n" to the debugger output (OutputDebugStringW), each value in
  // its shortest form that reads back to the same double ("nan" for the empty value), or
  // "caption (n): invalid\n". Without a caption the text starts at "(".
  const Vector &Print(const WCHAR *caption) const;
  // Kept as an empty stub: writes nothing and returns the vector.
  const Vector &Print(FILE *file, const char *caption) const { return *this; }

 private:
  friend class Matrix;
  template <class Op>
  Vector &Elementwise(const Vector &o, Vector &out, Op op) const;
  template <class Op>
  Vector &ElementwiseScalar(Vector &out, Op op) const;

  double *data_;
  int size_;
  int capacity_;  // the reserved word: elements the block holds
  mutable int flags_;
};

// Scalar first: s + v, s - v, s * v, s / v element by element.
KZ_API Vector operator+(double s, const Vector &v);
KZ_API Vector operator-(double s, const Vector &v);
KZ_API Vector operator*(double s, const Vector &v);
KZ_API Vector operator/(double s, const Vector &v);
