// BaseArray: the library's growable array of plain, bitwise-copyable elements. Elements move by
// block copies only; no constructor or destructor of an element ever runs. An array may draw its
// memory from a heap of the caller's, and it may run over a buffer it does not own.
//
//   BaseArray<double> scales;                  // 64 bytes: room for 8 doubles
//   for (double s : {1000.0, 5000.0}) scales.Insert(s, -1);   // -1: append
//   scales.Remove(1, 0);                       // drop the first
//
//   double fixed[16];
//   BaseArray<double> view;
//   view.Attach(fixed, 16);                    // runs over `fixed`, never frees it
//   view.Replace(0, 2.5);
//   view.Detach();
//
// Sizes. A buffer is sized by one of two rules, and GetReserved is always the buffer's bytes
// divided by the element size:
// - growing: half as much again as asked for, and never below 64 bytes rounded up to whole
//   elements;
// - exact: up to 1 KiB, the bytes asked for plus one element less one byte plus 64, rounded down
//   to 64; beyond, plus 1024 and rounded down to 1024.
// The default array is 64 bytes (8 pointers or doubles, 16 four-byte elements). Removal shrinks
// the buffer to the exact size only when at least 1 KiB of elements and half the count lie unused,
// so that a loop of removals does not reallocate on every step.
//
// Failures. A mutator returns false when memory could not be had (or, see each member, when its
// counts or position lie outside the array); constructors and operator= throw std::bad_alloc
// instead. A use that a foreign buffer cannot serve throws a `char *` to one of the texts
// "You do not own the buffer!", "Reserved is less than elements",
// "You do not own the buffer and it is an exact fit!",
// "You do not own the buffer and it will not fit in the avaible!" or the empty text; catch it as
// `const char *` (a `char *` matches that handler too) and never write through it. Indexing is
// not checked.
//
// A null source pointer with a positive count stands for that many zero-valued elements.
#pragma once

#include <cstdint>
#include <cstring>
#include <limits>
#include <new>
#include <type_traits>

#include <kzcore/pal/connection_point.h>
#include <kzcore/pal/heap.h>
#include <kzcore/pal/types.h>

template <class T>
class BaseArray {
  static_assert(std::is_trivially_copyable_v<T>, "elements are moved by block copies");
  static_assert(sizeof(T) <= 0xFFFF, "the element size is kept in 16 bits");

 public:
  // The exact size for 0 elements (64 bytes) from the process heap.
  BaseArray() : BaseArray(0, nullptr) {}
  // Count 0, a buffer of the exact size for `reserve` elements from `heap` (null: the process
  // heap).
  explicit BaseArray(ULONG reserve, void *heap = nullptr);
  // Copies `n` elements into a buffer of the growing size for `n`.
  BaseArray(const T *src, ULONG n, void *heap = nullptr);
  // Takes the source's count and reserved: exactly reserved elements are allocated (none when
  // that is 0) and the count copied. Even a copy of a foreign buffer owns its buffer.
  BaseArray(const BaseArray &other, void *heap = nullptr);
  ~BaseArray() {
    if (owns_ && buffer_ != nullptr) Free(buffer_);
  }
  // As Empty, then a copy of the source as the copy constructor makes it, from this array's own
  // heap. A failure leaves count and reserved 0 and throws only when the source had room.
  BaseArray &operator=(const BaseArray &other);

  // Releases an owned buffer and leaves the array empty, owning, with a null buffer. An array
  // with a null buffer is left as it is.
  void Empty();

  T *GetElements() const { return buffer_; }
  LONG GetSize() const { return count_; }
  LONG GetReserved() const { return reserved_; }
  // Unchecked.
  T &operator[](LONG index) const { return buffer_[index]; }
  void Replace(LONG index, const T &item) { buffer_[index] = item; }
  // For callers that wrote into GetElements(): sets the count, held within 0 and reserved.
  void ElementsChanged(LONG n) { count_ = n < 0 ? 0 : (n > reserved_ ? reserved_ : n); }
  bool OwnsBuffer() const { return owns_; }
  bool IsAttachedTo(void *p) const { return buffer_ == p; }

  // Runs over `n` elements at `buf`, owned by the caller: count and reserved become `n`. An owned
  // buffer is released first, unless `buf` lies in it (it then passes to the caller). A null
  // `buf` or a negative `n` attaches nothing (count and reserved 0).
  void Attach(T *const buf, int n);
  // Lets go of the buffer without releasing it: the array is empty and owning again, and the
  // memory belongs to whoever took GetElements() before.
  void Detach() {
    owns_ = true;
    buffer_ = nullptr;
    count_ = 0;
    reserved_ = 0;
  }

  // Empties the array and makes room for `n` elements. An owned buffer that is large enough is
  // kept unless `force`; otherwise a buffer of the exact size replaces it (a foreign one is left
  // to its owner). False, with a null buffer, when it cannot be had; false and no change for a
  // negative `n`.
  bool SetReserved(LONG n, bool force);
  // Makes the array the `n` elements at `src`. With `keep`, an owned buffer with room is reused;
  // otherwise an owned buffer is replaced by one of the growing size (false and a null buffer when
  // that fails). A foreign buffer is used with `keep` when it has room, and throws otherwise. The
  // count is 0 before anything is tried, so a throw leaves the array empty.
  bool Set(const T *const src, LONG n, bool keep);
  // Inserts `n` elements before position `at` (negative: append). An empty array takes the path
  // of Set with `keep`. The elements go in place only when reserved is strictly above count + n;
  // otherwise an owned buffer grows to the growing size for reserved + n, and a foreign one
  // throws. False and no change when memory cannot be had, for a negative `n`, or for an `at`
  // beyond the count of a non-empty array. `src` may point into this array.
  bool Insert(const T *const src, LONG n, LONG at);
  // As above for one element, except that the last free slot is used: room exists as soon as
  // reserved is above count.
  bool Insert(const T &item, LONG at) {
    if (reserved_ > count_ && (at < 0 || at == count_)) {
      buffer_[count_++] = item;
      return true;
    }
    return InsertOne(item, at);
  }
  // Removes `n` elements from `at` (negative: the last element). When `at + n` runs past the
  // count, the last `n` elements go instead. An owned buffer then shrinks to the exact size when
  // both count + 1 KiB of elements and count * 3 / 2 are below reserved; false when that fails
  // (the removal is done and the old buffer kept). False and no change for a negative `n` or more
  // than the count.
  bool Remove(LONG n, LONG at);
  // Puts the `n` elements at `src` where `old_count` elements stood at `at`. A new buffer of the
  // growing size is taken when the result does not fit, or with `exact` when the growing size
  // differs from reserved. An empty array takes the path of Set for `n`. Foreign buffers throw
  // when `exact` or when the result does not fit. False and no change when memory cannot be had,
  // for negative counts, or for a range outside a non-empty array.
  bool Replace(T *const src, LONG n, LONG old_count, LONG at, bool exact);

 private:
  static constexpr unsigned short c_ElementSize = sizeof(T);

  // Bytes of a buffer for `n` elements, growing or exact; see the overview.
  static std::int64_t FindCBytes(std::int64_t n, bool exact) {
    const std::int64_t s = c_ElementSize;
    if (!exact) {
      const std::int64_t bytes = n * 3 / 2 * s;
      const std::int64_t least = (64 + s - 1) / s * s;
      return bytes < least ? least : bytes;
    }
    const std::int64_t bytes = n * s;
    if (bytes <= 1024) return (bytes + s - 1 + 64) & ~std::int64_t{63};
    return (bytes + s - 1 + 1024) & ~std::int64_t{1023};
  }
  static LONG Elements(std::int64_t bytes) { return static_cast<LONG>(bytes / c_ElementSize); }
  // The most elements a count can express (LONG is 32 bits; the C `long` is not).
  static constexpr std::int64_t kMostElements = std::numeric_limits<LONG>::max();
  static bool Countable(std::int64_t bytes) { return bytes / c_ElementSize <= kMostElements; }

  // Null when the heap has no such block, or when its element count would not fit a LONG.
  T *Allocate(std::int64_t bytes) const {
    if (!Countable(bytes)) return nullptr;
    return static_cast<T *>(HeapAlloc(heap_, 0, static_cast<SIZE_T>(bytes)));
  }
  // Resizes the owned buffer, keeping its contents; null (and the buffer untouched) on failure.
  T *Reallocate(std::int64_t bytes) const {
    if (!Countable(bytes)) return nullptr;
    return static_cast<T *>(HeapReAlloc(heap_, 0, buffer_, static_cast<SIZE_T>(bytes)));
  }
  void Free(T *p) const { HeapFree(heap_, 0, p); }

  // Whether `n` elements from `p` share memory with the buffer.
  bool Overlaps(const void *p, std::int64_t n) const {
    if (p == nullptr || buffer_ == nullptr) return false;
    const auto a = reinterpret_cast<std::uintptr_t>(p), b = reinterpret_cast<std::uintptr_t>(buffer_);
    const auto a_end = a + static_cast<std::uintptr_t>(n) * c_ElementSize;
    const auto b_end = b + static_cast<std::uintptr_t>(reserved_) * c_ElementSize;
    return a < b_end && b < a_end;
  }
  // Copies `n` elements, or zeroes them for a null source. The ranges may overlap.
  static void CopyIn(T *to, const T *from, std::int64_t n) {
    if (n <= 0) return;
    if (from == nullptr) {
      std::memset(static_cast<void *>(to), 0, static_cast<size_t>(n) * c_ElementSize);
    } else {
      std::memmove(static_cast<void *>(to), from, static_cast<size_t>(n) * c_ElementSize);
    }
  }
  // Moves the elements from `from` to the count to start at `to`.
  void ShiftTail(LONG from, std::int64_t to) {
    CopyIn(buffer_ + to, buffer_ + from, count_ - from);
  }

  // A private copy of source elements that lie in the array's own buffer, taken before the
  // buffer moves or its elements shift.
  class Scratch {
   public:
    Scratch() = default;
    ~Scratch() {
      if (copy_ != nullptr) HeapFree(GetProcessHeap(), 0, copy_);
    }
    Scratch(const Scratch &) = delete;
    Scratch &operator=(const Scratch &) = delete;
    bool Take(const T *src, std::int64_t n) {
      copy_ = static_cast<T *>(HeapAlloc(GetProcessHeap(), 0, static_cast<SIZE_T>(n) * c_ElementSize));
      if (copy_ != nullptr) CopyIn(copy_, src, n);
      return copy_ != nullptr;
    }
    const T *get() const { return copy_; }

   private:
    T *copy_ = nullptr;
  };

  // Set with a new buffer of the growing size for `n` in place of the old one.
  bool SetFresh(const T *src, LONG n);
  bool InsertOne(const T &item, LONG at);

  [[noreturn]] static void Refuse(const char *text) { throw const_cast<char *>(text); }

  void *heap_;           // never null after construction
  T *buffer_ = nullptr;  // may be null
  LONG count_ = 0;
  LONG reserved_ = 0;
  bool owns_ = true;
};

template <class T>
BaseArray<T>::BaseArray(ULONG reserve, void *heap) : heap_(heap != nullptr ? heap : GetProcessHeap()) {
  const std::int64_t bytes = FindCBytes(reserve, true);
  buffer_ = Allocate(bytes);
  if (buffer_ == nullptr) throw std::bad_alloc();
  reserved_ = Elements(bytes);
}

template <class T>
BaseArray<T>::BaseArray(const T *src, ULONG n, void *heap) : heap_(heap != nullptr ? heap : GetProcessHeap()) {
  const std::int64_t bytes = FindCBytes(n, false);
  buffer_ = Allocate(bytes);  // a count beyond a LONG has no buffer either
  if (buffer_ == nullptr) throw std::bad_alloc();
  reserved_ = Elements(bytes);
  CopyIn(buffer_, src, n);
  count_ = static_cast<LONG>(n);
}

template <class T>
BaseArray<T>::BaseArray(const BaseArray &other, void *heap)
    : heap_(heap != nullptr ? heap : GetProcessHeap()), count_(other.count_), reserved_(other.reserved_) {
  if (reserved_ == 0) return;
  buffer_ = Allocate(std::int64_t{reserved_} * c_ElementSize);
  if (buffer_ == nullptr) {
    count_ = 0;
    reserved_ = 0;
    throw std::bad_alloc();
  }
  CopyIn(buffer_, other.buffer_, count_);
}

template <class T>
BaseArray<T> &BaseArray<T>::operator=(const BaseArray &other) {
  // Kept apart: emptying first would lose the elements of a self-assignment.
  if (this == &other) return *this;
  Empty();
  count_ = other.count_;
  reserved_ = other.reserved_;
  owns_ = true;
  if (other.buffer_ == nullptr) return *this;
  buffer_ = Allocate(std::int64_t{reserved_} * c_ElementSize);
  if (buffer_ == nullptr) {
    const bool had_room = reserved_ != 0;
    count_ = 0;
    reserved_ = 0;
    if (had_room) throw std::bad_alloc();
    return *this;
  }
  CopyIn(buffer_, other.buffer_, count_);
  return *this;
}

template <class T>
void BaseArray<T>::Empty() {
  if (buffer_ == nullptr) return;
  if (owns_) Free(buffer_);
  buffer_ = nullptr;
  reserved_ = 0;
  count_ = 0;
  owns_ = true;
}

template <class T>
void BaseArray<T>::Attach(T *const buf, int n) {
  if (owns_ && buffer_ != nullptr && !Overlaps(buf, 1)) Free(buffer_);
  if (buf == nullptr || n < 0) n = 0;
  buffer_ = buf;
  count_ = n;
  reserved_ = n;
  owns_ = false;
}

template <class T>
bool BaseArray<T>::SetReserved(LONG n, bool force) {
  if (n < 0) return false;
  count_ = 0;
  if (owns_ && !force && reserved_ >= n) return true;
  if (owns_ && buffer_ != nullptr) Free(buffer_);
  const std::int64_t bytes = FindCBytes(n, true);
  buffer_ = Allocate(bytes);
  if (buffer_ == nullptr) {
    reserved_ = 0;
    return false;
  }
  reserved_ = Elements(bytes);
  owns_ = true;
  return true;
}

template <class T>
bool BaseArray<T>::SetFresh(const T *src, LONG n) {
  // The old buffer goes before the new one is taken, so a replacement needs no more memory than
  // its own; a source that lies in the old buffer is copied aside first.
  Scratch scratch;
  const T *from = src;
  bool copied_aside = true;
  if (Overlaps(src, n)) {
    copied_aside = scratch.Take(src, n);
    from = scratch.get();
  }
  if (buffer_ != nullptr) Free(buffer_);
  buffer_ = nullptr;
  const std::int64_t bytes = FindCBytes(n, false);
  if (copied_aside) buffer_ = Allocate(bytes);
  if (buffer_ == nullptr) {
    reserved_ = 0;
    return false;
  }
  reserved_ = Elements(bytes);
  CopyIn(buffer_, from, n);
  count_ = n;
  return true;
}

template <class T>
bool BaseArray<T>::Set(const T *const src, LONG n, bool keep) {
  if (n < 0) return false;
  count_ = 0;
  if (owns_) {
    // Without `keep` the buffer is replaced even when it would have been large enough.
    if (!keep || reserved_ < n) return SetFresh(src, n);
  } else if (!keep) {
    Refuse("");
  } else if (reserved_ < n) {
    Refuse("Reserved is less than elements");
  }
  count_ = n;
  if (buffer_ != nullptr) CopyIn(buffer_, src, n);
  return true;
}

template <class T>
bool BaseArray<T>::Insert(const T *const src, LONG n, LONG at) {
  if (n == 0) return true;
  if (n < 0) return false;
  if (count_ == 0) return Set(src, n, true);
  if (at < 0) at = count_;
  if (at > count_) return false;
  Scratch scratch;
  const T *from = src;
  if (Overlaps(src, n)) {
    if (!scratch.Take(src, n)) return false;
    from = scratch.get();
  }
  // An exact fit is not room for a range: it grows.
  if (reserved_ > std::int64_t{count_} + n) {
    ShiftTail(at, std::int64_t{at} + n);
    CopyIn(buffer_ + at, from, n);
    count_ += n;
    return true;
  }
  if (!owns_) Refuse("You do not own the buffer!");
  const std::int64_t bytes = FindCBytes(std::int64_t{reserved_} + n, false);
  T *grown = Reallocate(bytes);
  if (grown == nullptr) return false;
  buffer_ = grown;
  reserved_ = Elements(bytes);
  ShiftTail(at, std::int64_t{at} + n);
  CopyIn(buffer_ + at, from, n);
  count_ += n;
  return true;
}

template <class T>
bool BaseArray<T>::InsertOne(const T &item, LONG at) {
  const T value = item;  // the item may lie in the buffer, which is about to change
  if (count_ == 0) return Set(&value, 1, true);
  if (at < 0) at = count_;
  if (at > count_) return false;
  if (reserved_ <= count_) {
    if (!owns_) Refuse("You do not own the buffer!");
    const std::int64_t bytes = FindCBytes(std::int64_t{reserved_} + 1, false);
    T *grown = Reallocate(bytes);
    if (grown == nullptr) return false;
    buffer_ = grown;
    reserved_ = Elements(bytes);
  }
  ShiftTail(at, at + 1);
  buffer_[at] = value;
  ++count_;
  return true;
}

template <class T>
bool BaseArray<T>::Remove(LONG n, LONG at) {
  if (n == 0) return true;
  if (n < 0 || n > count_) return false;
  if (at < 0) at = count_ - 1;
  const LONG new_count = count_ - n;
  if (std::int64_t{at} + n > count_) at = new_count;
  ShiftTail(at + n, at);
  count_ = new_count;
  if (owns_ && std::int64_t{count_} + 1024 / c_ElementSize < reserved_ && std::int64_t{count_} * 3 / 2 < reserved_) {
    const std::int64_t bytes = FindCBytes(count_, true);
    T *smaller = Reallocate(bytes);
    if (smaller == nullptr) return false;
    buffer_ = smaller;
    reserved_ = Elements(bytes);
  }
  return true;
}

template <class T>
bool BaseArray<T>::Replace(T *const src, LONG n, LONG old_count, LONG at, bool exact) {
  if (n < 0 || old_count < 0) return false;
  if (count_ > 0 && (at < 0 || at > count_ || old_count > count_ - at)) return false;
  const std::int64_t new_count = std::int64_t{count_} - old_count + n;
  if (!owns_) {
    if (exact) Refuse("You do not own the buffer and it is an exact fit!");
    if (new_count > reserved_) Refuse("You do not own the buffer and it will not fit in the avaible!");
  }
  if (new_count > kMostElements) return false;
  const std::int64_t bytes = FindCBytes(new_count, false);
  const bool fresh = new_count > reserved_ || (exact && bytes / c_ElementSize != reserved_);

  if (count_ == 0) {
    if (reserved_ < n) {
      if (!owns_) Refuse("Reserved is less than elements");
      return SetFresh(src, n);
    }
    if (buffer_ != nullptr) CopyIn(buffer_, src, n);
    count_ = n;
    return true;
  }

  const LONG tail = count_ - at - old_count;
  if (!fresh) {
    Scratch scratch;
    const T *from = src;
    if (Overlaps(src, n)) {
      if (!scratch.Take(src, n)) return false;
      from = scratch.get();
    }
    CopyIn(buffer_ + at + n, buffer_ + at + old_count, tail);
    CopyIn(buffer_ + at, from, n);
    count_ = static_cast<LONG>(new_count);
    return true;
  }
  T *replaced = Allocate(bytes);
  if (replaced == nullptr) return false;
  reserved_ = Elements(bytes);
  CopyIn(replaced, buffer_, at);
  CopyIn(replaced + at, src, n);
  CopyIn(replaced + at + n, buffer_ + at + old_count, tail);
  if (owns_) Free(buffer_);
  buffer_ = replaced;
  owns_ = true;
  count_ = static_cast<LONG>(new_count);
  return true;
}

// Built once in the library for the element types that cross its boundary.
extern template class KZ_API BaseArray<WCHAR *>;
extern template class KZ_API BaseArray<IConnectionPoint *>;
extern template class KZ_API BaseArray<tagCONNECTDATA>;
