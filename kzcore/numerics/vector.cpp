#include <kzcore/numerics/vector.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>

#include <kzcore/numerics/internal/print_values.h>
#include <kzcore/numerics/matrix.h>
#include <kzcore/pal/ui.h>

namespace {

double *AllocateZeros(int n) {
  return static_cast<double *>(std::calloc(static_cast<std::size_t>(n), sizeof(double)));
}

}  // namespace

Vector::Vector() : data_(nullptr), size_(0), capacity_(0), flags_(kOwnsData) {}

Vector::Vector(int n) : Vector() {
  if (n < 0) {
    flags_ |= kInvalid;
    return;
  }
  if (n == 0) return;
  data_ = AllocateZeros(n);
  if (!data_) {
    flags_ |= kInvalid;
    return;
  }
  size_ = capacity_ = n;
}

Vector::Vector(int n, double value) : Vector(n) {
  for (int i = 0; i < size_; ++i) data_[i] = value;
}

Vector::Vector(int n, double *buffer) : Vector() {
  if (n < 0 || (n > 0 && !buffer)) {
    flags_ |= kInvalid;
    return;
  }
  data_ = buffer;
  size_ = capacity_ = n;
  flags_ = 0;
}

Vector::Vector(const Vector &o) : Vector() {
  if (o.size_ > 0) {
    data_ = static_cast<double *>(std::malloc(static_cast<std::size_t>(o.size_) * sizeof(double)));
    if (!data_) {
      flags_ |= kInvalid;
      return;
    }
    std::memcpy(data_, o.data_, static_cast<std::size_t>(o.size_) * sizeof(double));
    size_ = capacity_ = o.size_;
  }
  flags_ |= o.flags_ & kInvalid;
}

Vector::Vector(Vector &&o) noexcept
    : data_(o.data_), size_(o.size_), capacity_(o.capacity_), flags_(o.flags_) {
  o.data_ = nullptr;
  o.size_ = o.capacity_ = 0;
  o.flags_ = kOwnsData;
}

Vector::~Vector() {
  if (flags_ & kOwnsData) std::free(data_);
}

Vector &Vector::operator=(const Vector &o) {
  if (this == &o) return *this;
  if (!Resize(o.size_)) return *this;
  if (size_ > 0) std::memmove(data_, o.data_, static_cast<std::size_t>(size_) * sizeof(double));
  flags_ = (flags_ & ~kInvalid) | (o.flags_ & kInvalid);
  return *this;
}

Vector &Vector::operator=(Vector &&o) noexcept {
  if (this == &o) return *this;
  // A vector over a foreign buffer stays on it: the values are written there.
  if (!(flags_ & kOwnsData) || !(o.flags_ & kOwnsData)) return *this = static_cast<const Vector &>(o);
  std::free(data_);
  data_ = o.data_;
  size_ = o.size_;
  capacity_ = o.capacity_;
  flags_ = o.flags_;
  o.data_ = nullptr;
  o.size_ = o.capacity_ = 0;
  o.flags_ = kOwnsData;
  return *this;
}

bool Vector::Resize(int n) {
  if (n < 0) {
    SetInvalid();
    return false;
  }
  if (n <= capacity_) {
    size_ = n;
    flags_ &= ~kInvalid;
    return true;
  }
  if (!(flags_ & kOwnsData)) {
    SetInvalid();
    return false;
  }
  double *block = AllocateZeros(n);
  if (!block) {
    SetInvalid();
    return false;
  }
  if (size_ > 0) std::memcpy(block, data_, static_cast<std::size_t>(size_) * sizeof(double));
  std::free(data_);
  data_ = block;
  size_ = capacity_ = n;
  flags_ &= ~kInvalid;
  return true;
}

bool Vector::IsInvalid() const {
  if (!(flags_ & kInvalid)) return false;
  if (size_ == 0 || std::isnan(data_[0])) return true;
  flags_ &= ~kInvalid;
  return false;
}

Vector &Vector::SetInvalid() {
  if (size_ > 0) data_[0] = kEmptyValue;
  flags_ |= kInvalid;
  return *this;
}

template <class Op>
Vector &Vector::Elementwise(const Vector &o, Vector &out, Op op) const {
  if (IsInvalid() || o.IsInvalid() || o.size_ != size_) return out.SetInvalid();
  if (!out.Resize(size_)) return out;
  // Same index on both sides: out may be self or o.
  for (int i = 0; i < size_; ++i) out.data_[i] = op(data_[i], o.data_[i]);
  return out;
}

template <class Op>
Vector &Vector::ElementwiseScalar(Vector &out, Op op) const {
  if (IsInvalid()) return out.SetInvalid();
  if (!out.Resize(size_)) return out;
  for (int i = 0; i < size_; ++i) out.data_[i] = op(data_[i]);
  return out;
}

Vector Vector::operator+(const Vector &o) const {
  Vector r;
  return std::move(Add(o, r));
}
Vector Vector::operator-(const Vector &o) const {
  Vector r;
  return std::move(Subtract(o, r));
}
Vector Vector::operator*(const Vector &o) const {
  Vector r;
  return std::move(Elementwise(o, r, [](double a, double b) { return a * b; }));
}
Vector Vector::operator/(const Vector &o) const {
  Vector r;
  return std::move(Elementwise(o, r, [](double a, double b) { return a / b; }));
}
Vector Vector::operator+(double s) const {
  Vector r;
  return std::move(ElementwiseScalar(r, [s](double a) { return a + s; }));
}
Vector Vector::operator-(double s) const {
  Vector r;
  return std::move(ElementwiseScalar(r, [s](double a) { return a - s; }));
}
Vector Vector::operator*(double s) const {
  Vector r;
  return std::move(Scale(s, r));
}
Vector Vector::operator/(double s) const {
  Vector r;
  return std::move(ElementwiseScalar(r, [s](double a) { return a / s; }));
}
Vector &Vector::operator+=(const Vector &o) { return Add(o, *this); }
Vector &Vector::operator-=(const Vector &o) { return Subtract(o, *this); }
Vector &Vector::operator*=(const Vector &o) {
  return Elementwise(o, *this, [](double a, double b) { return a * b; });
}
Vector &Vector::operator/=(const Vector &o) {
  return Elementwise(o, *this, [](double a, double b) { return a / b; });
}
Vector &Vector::operator+=(double s) {
  return ElementwiseScalar(*this, [s](double a) { return a + s; });
}
Vector &Vector::operator-=(double s) {
  return ElementwiseScalar(*this, [s](double a) { return a - s; });
}
Vector &Vector::operator*=(double s) { return Scale(s, *this); }
Vector &Vector::operator/=(double s) {
  return ElementwiseScalar(*this, [s](double a) { return a / s; });
}

namespace {

template <class Op>
Vector ScalarFirst(const Vector &v, Op op) {
  Vector r;
  if (v.IsInvalid() || !r.Resize(v.Size())) return std::move(r.SetInvalid());
  for (int i = 0; i < v.Size(); ++i) r[i] = op(v[i]);
  return r;
}

}  // namespace

Vector operator+(double s, const Vector &v) {
  return ScalarFirst(v, [s](double a) { return s + a; });
}
Vector operator-(double s, const Vector &v) {
  return ScalarFirst(v, [s](double a) { return s - a; });
}
Vector operator*(double s, const Vector &v) {
  return ScalarFirst(v, [s](double a) { return s * a; });
}
Vector operator/(double s, const Vector &v) {
  return ScalarFirst(v, [s](double a) { return s / a; });
}

int Vector::Compare(const Vector &o) const {
  int n = size_ < o.size_ ? size_ : o.size_;
  for (int i = 0; i < n; ++i) {
    if (data_[i] < o.data_[i]) return -1;
    if (data_[i] > o.data_[i]) return 1;
  }
  if (size_ == o.size_) return 0;
  return size_ < o.size_ ? -1 : 1;
}

double Vector::Sum(int from, int to) const {
  if (IsInvalid()) return kEmptyValue;
  if (from < 0 || from > size_) from = size_;
  if (to < 0 || to > size_) to = size_;
  if (from > to) return 0.0;
  const double *d = data_;
  double s = 0.0;
  int i = from;
  // Whole groups below the slot one past the end, then what is left, that slot reading as 0.0.
  int lastReal = to < size_ ? to : size_ - 1;
  for (; i + 3 <= lastReal; i += 4) s += ((d[i] + d[i + 1]) + d[i + 2]) + d[i + 3];
  auto at = [&](int k) { return k < size_ ? d[k] : 0.0; };
  for (; i + 3 <= to; i += 4) s += ((at(i) + at(i + 1)) + at(i + 2)) + at(i + 3);
  for (; i <= to; ++i) s += at(i);
  return s;
}

namespace {

// The index of the first element of d[from..to] (to already below the size) that no later one
// beats; -1 for an empty range.
template <class Better>
int Pick(const double *d, int from, int to, Better better) {
  if (from > to) return -1;
  int best = from;
  for (int i = from + 1; i <= to; ++i)
    if (better(d[i], d[best])) best = i;
  return best;
}

}  // namespace

#define KZ_VECTOR_PICK(Name, expr)                                             \
  int Vector::Name(int from, int to) const {                                   \
    if (IsInvalid()) return -1;                                                \
    if (from < 0 || from > size_) from = size_;                                \
    if (to < 0 || to > size_) to = size_;                                      \
    if (to == size_) --to; /* the slot one past the end is never the answer */ \
    return Pick(data_, from, to, [](double a, double b) { return expr; });     \
  }
KZ_VECTOR_PICK(Max, a > b)
KZ_VECTOR_PICK(Min, a < b)
KZ_VECTOR_PICK(MaxAbs, std::fabs(a) > std::fabs(b))
KZ_VECTOR_PICK(MinAbs, std::fabs(a) < std::fabs(b))
#undef KZ_VECTOR_PICK

double Vector::Norm(LONG p) const {
  if (p < 0 || IsInvalid()) return kEmptyValue;
  if (size_ == 0) return 0.0;
  const double *d = data_;
  double s = 0.0;
  switch (p) {
    case 0:
      for (int i = 0; i < size_; ++i) {
        double a = std::fabs(d[i]);
        if (a > s) s = a;
      }
      return s;
    case 1:
      for (int i = 0; i < size_; ++i) s += std::fabs(d[i]);
      return s;
    case 2:
      for (int i = 0; i < size_; ++i) s += d[i] * d[i];
      return std::sqrt(s);
    default: {
      double dp = p;
      for (int i = 0; i < size_; ++i) s += std::pow(std::fabs(d[i]), dp);
      return std::pow(s, 1.0 / dp);
    }
  }
}

double Vector::Norm(const Vector &weights, bool normalize) const {
  if (IsInvalid() || weights.IsInvalid() || weights.size_ < size_) return kEmptyValue;
  double s = 0.0, w = 0.0;
  for (int i = 0; i < size_; ++i) {
    s += data_[i] * data_[i] * weights.data_[i];
    w += weights.data_[i];
  }
  if (normalize && w != 0.0) return std::sqrt(s / w);
  return std::sqrt(s);
}

Vector &Vector::Unit(Vector &out, LONG p) const {
  if (!out.Resize(size_)) return out;
  if (p >= 0) {
    double n = Norm(p);
    // An invalid self has the empty value as its norm and Scale leaves out invalid.
    if (n != 0.0) return Scale(1.0 / n, out);
  }
  return out.SetInvalid();
}

Vector Vector::Unit(LONG p) const {
  Vector r;
  return std::move(Unit(r, p));
}

Vector &Vector::Scale(double factor, Vector &out) const {
  return ElementwiseScalar(out, [factor](double a) { return a * factor; });
}

Vector Vector::Scale(double factor) const {
  Vector r;
  return std::move(Scale(factor, r));
}

Vector &Vector::SetValues(double value) {
  for (int i = 0; i < size_; ++i) data_[i] = value;
  return *this;
}

Vector &Vector::SetValues(const double *values) {
  if (values && size_ > 0) std::memmove(data_, values, static_cast<std::size_t>(size_) * sizeof(double));
  return *this;
}

Vector &Vector::SubVector(int from, int count, Vector &out) const {
  if (IsInvalid() || from < 0 || count < 0 || from > size_ - count) return out.SetInvalid();
  if (&out == this) {
    // Shrinking in place: the elements move to the front, nothing is allocated.
    std::memmove(out.data_, data_ + from, static_cast<std::size_t>(count) * sizeof(double));
    out.size_ = count;
    return out;
  }
  if (!out.Resize(count)) return out;
  if (count > 0) std::memmove(out.data_, data_ + from, static_cast<std::size_t>(count) * sizeof(double));
  return out;
}

Vector Vector::SubVector(int from, int count) const {
  Vector r;
  return std::move(SubVector(from, count, r));
}

Vector &Vector::PreMult(const Matrix &m, Vector &out) const {
  if (IsInvalid() || m.IsInvalid() || m.Columns() != size_) return out.SetInvalid();
  if (&out == this) {
    Vector r;
    PreMult(m, r);
    return out = std::move(r);
  }
  int rows = m.Rows();
  if (!out.Resize(rows)) return out;
  for (int i = 0; i < rows; ++i) {
    const double *row = m[i];
    double s = 0.0;
    for (int j = 0; j < size_; ++j) s += row[j] * data_[j];
    out.data_[i] = s;
  }
  return out;
}

Vector Vector::PreMult(const Matrix &m) const {
  Vector r;
  return std::move(PreMult(m, r));
}

Vector &Vector::PostMult(const Matrix &m, Vector &out) const {
  if (IsInvalid() || m.IsInvalid() || m.Rows() != size_) return out.SetInvalid();
  if (&out == this) {
    Vector r;
    PostMult(m, r);
    return out = std::move(r);
  }
  int columns = m.Columns();
  if (!out.Resize(columns)) return out;
  for (int j = 0; j < columns; ++j) {
    double s = 0.0;
    for (int i = 0; i < size_; ++i) s += data_[i] * m[i][j];
    out.data_[j] = s;
  }
  return out;
}

Vector Vector::PostMult(const Matrix &m) const {
  Vector r;
  return std::move(PostMult(m, r));
}

Vector &Vector::PostMultDiagonal(const Vector &d, Vector &out) const {
  return Elementwise(d, out, [](double a, double b) { return a * b; });
}

Vector Vector::PostMultDiagonal(const Vector &d) const {
  Vector r;
  return std::move(PostMultDiagonal(d, r));
}

Vector &Vector::Add(const Vector &o, Vector &out) const {
  return Elementwise(o, out, [](double a, double b) { return a + b; });
}

Vector &Vector::Subtract(const Vector &o, Vector &out) const {
  return Elementwise(o, out, [](double a, double b) { return a - b; });
}

Vector &Vector::Negative(Vector &out) const {
  return ElementwiseScalar(out, [](double a) { return -a; });
}

Vector Vector::Negative() const {
  Vector r;
  return std::move(Negative(r));
}

Vector &Vector::MatrixRow(const Matrix &m, int row) {
  if (m.IsInvalid() || row < 0 || row >= m.Rows()) return SetInvalid();
  int n = m.Columns();
  if (!Resize(n)) return *this;
  if (n > 0) std::memmove(data_, m[row], static_cast<std::size_t>(n) * sizeof(double));
  return *this;
}

Vector &Vector::MatrixColumn(const Matrix &m, int column) {
  if (m.IsInvalid() || column < 0 || column >= m.Columns()) return SetInvalid();
  int n = m.Rows();
  if (!Resize(n)) return *this;
  for (int i = 0; i < n; ++i) data_[i] = m[i][column];
  return *this;
}

const Vector &Vector::Print(const WCHAR *caption) const {
  std::u16string text;
  kz::internal::AppendCaption(text, caption);
  text += u"(";
  kz::internal::AppendInteger(text, size_);
  text += u"):";
  if (IsInvalid()) {
    text += u" invalid";
  } else {
    for (int i = 0; i < size_; ++i) {
      text += u' ';
      kz::internal::AppendDouble(text, data_[i]);
    }
  }
  text += u'\n';
  OutputDebugStringW(text.c_str());
  return *this;
}
