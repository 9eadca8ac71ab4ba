#include <kzcore/core/string.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <new>

#include <kzcore/core/locale.h>
#include <kzcore/pal/bstr.h>
#include <kzcore/pal/format.h>
#include <kzcore/pal/memory.h>
#include <kzcore/pal/module.h>
#include <kzcore/pal/stream.h>
#include <kzcore/pal/variant.h>
#include <kzcore/pal/wide.h>

namespace {

constexpr ULONG kSmallestBlock = 76;  // header, 31 units and the terminator
constexpr ULONG kFirstGrowth = 268;   // header, 127 units and the terminator

bool DoubleByteLanguage(USHORT language) {
  return language == LANG_CHINESE || language == LANG_JAPANESE || language == LANG_KOREAN;
}

const WCHAR kTrimSet[] = {u' ', u'\t', u'\n', 0};

}  // namespace

// ---------------------------------------------------------------------------------------------
// Blocks

namespace {

void *AllocateBlock(std::size_t bytes) {
  void *p = std::malloc(bytes);
  if (p == nullptr) throw std::bad_alloc();
  return p;
}

}  // namespace

void String::FreeBlock(WCHAR *text) { std::free(Header(text)); }

bool String::InBlock(const void *p) const {
  auto *begin = reinterpret_cast<const char *>(Header(m_pchData));
  auto *q = static_cast<const char *>(p);
  return q >= begin && q < begin + Header(m_pchData)->capacity;
}

// Gives this string a block able to hold `length` units, unshared, and carries over the old
// units from `start` when `keep` is set. Every mutator except Replace and SetLengthImpl goes
// through here first, so the block a mutator writes to is always its own.
void String::CreateStringData(ULONG length, bool keep, ULONG start) {
  std::uint64_t need = Need(length);
  BlockHeader *old = m_pchData != nullptr ? Header(m_pchData) : nullptr;
  const ULONG old_capacity = old != nullptr ? old->capacity : 0;

  BlockHeader *block;
  if (old_capacity < need || old->refs != 1) {
    // A string leaving a block grows: to 268 bytes first, then by half again.
    if (old_capacity != 0) need = need < kFirstGrowth ? kFirstGrowth : need + need / 2;
    if (need > 0xFFFFFFFFu) throw std::bad_alloc();
    if (old != nullptr && old->refs == 1 && keep && start == 0) {
      // Growing an unshared block that keeps its text from the start: the same result as a new
      // block with the units carried over, but a large block can grow where it lies.
      block = static_cast<BlockHeader *>(std::realloc(old, static_cast<std::size_t>(need)));
      if (block == nullptr) throw std::bad_alloc();  // the old block is still this string's
      block->capacity = static_cast<ULONG>(need);
      WCHAR *text = reinterpret_cast<WCHAR *>(block + 1);
      block->length = std::min(block->length, length);
      text[block->length] = 0;
      text[length] = 0;
      m_pchData = text;
      return;
    }
    block = static_cast<BlockHeader *>(AllocateBlock(static_cast<std::size_t>(need)));
    block->refs = 1;
    block->capacity = static_cast<ULONG>(need);
    block->length = 0;
    reinterpret_cast<WCHAR *>(block + 1)[0] = 0;
  } else {
    block = old;
    ++old->refs;  // held for the span of this function
  }
  WCHAR *text = reinterpret_cast<WCHAR *>(block + 1);

  bool carried = false;
  if (keep && old != nullptr) {
    const ULONG end = static_cast<ULONG>(std::min<std::uint64_t>(std::uint64_t{length} + start, old->length));
    if (start < end) {
      if (block == old && start == 0) {
        block->length = end;
        text[end] = 0;
      } else {
        // Forward copy: safe within one block since start is above 0 there.
        const WCHAR *from = reinterpret_cast<const WCHAR *>(old + 1) + start;
        std::memmove(text, from, std::size_t{end - start} * sizeof(WCHAR));
        block->length = end - start;
        text[end - start] = 0;
      }
      carried = true;
    }
  }
  if (!carried) {
    block->length = 0;
    text[0] = 0;
  }
  text[length] = 0;  // whatever the length is; the units in between are the caller's to write

  m_pchData = text;
  if (old != nullptr && --old->refs == 0) std::free(old);
}

// The empty rule of Empty and operator=(WCHAR): keep an unshared block of at least the smallest
// size, else take a new one (76 bytes when there was none, 268 when there was one).
void String::EmptyBlock() {
  BlockHeader *old = m_pchData != nullptr ? Header(m_pchData) : nullptr;
  if (old != nullptr && old->capacity >= kSmallestBlock && old->refs == 1) {
    old->length = 0;
    m_pchData[0] = 0;
    return;
  }
  const ULONG size = old == nullptr ? kSmallestBlock : kFirstGrowth;
  auto *block = static_cast<BlockHeader *>(AllocateBlock(size));
  block->refs = 1;
  block->capacity = size;
  block->length = 0;
  m_pchData = reinterpret_cast<WCHAR *>(block + 1);
  m_pchData[0] = 0;
  if (old != nullptr && --old->refs == 0) std::free(old);
}

// ---------------------------------------------------------------------------------------------
// Construction and assignment

String::String() : m_pchData(nullptr) { CreateStringData(0, false, 0); }

String::String(const WCHAR *text, ULONG minimum) : m_pchData(nullptr) {
  const ULONG length = text != nullptr ? static_cast<ULONG>(wcslen(text)) : 0;
  CreateStringData(std::max(length, minimum), false, 0);
  if (length) std::memcpy(m_pchData, text, std::size_t{length} * sizeof(WCHAR));
  m_pchData[length] = 0;
  SetLengthImpl(length);
}

String::String(const char *text) : m_pchData(nullptr) { AssignUtf8(text); }

String::String(WCHAR unit) : m_pchData(nullptr) {
  CreateStringData(unit != 0 ? 1 : 0, false, 0);
  if (unit != 0) {
    m_pchData[0] = unit;
    m_pchData[1] = 0;
    SetLengthImpl(1);
  }
}

String::String(tagVARIANT &value) : m_pchData(nullptr) {
  if (value.vt != VT_BSTR) {
    HRESULT hr = VariantChangeType(&value, &value, 0, VT_BSTR);
    if (FAILED(hr)) throw static_cast<LONG>(hr);
  }
  const WCHAR *text = value.bstrVal;
  const ULONG length = text != nullptr ? static_cast<ULONG>(wcsnlen(text, SysStringLen(value.bstrVal))) : 0;
  CreateStringData(length, false, 0);
  if (length) std::memcpy(m_pchData, text, std::size_t{length} * sizeof(WCHAR));
  m_pchData[length] = 0;
  SetLengthImpl(length);
}

String::String(int id, HINSTANCE instance) : m_pchData(nullptr) { LoadStringW(id, instance); }

String String::Sized(ULONG length) {
  String result{NoBlock{}};
  result.CreateStringData(length, false, 0);
  result.SetLengthImpl(length);
  return result;
}

String &String::operator=(const String &other) {
  if (--Header(m_pchData)->refs == 0) FreeBlock(m_pchData);
  m_pchData = other.m_pchData;
  ++Header(m_pchData)->refs;
  return *this;
}

String &String::operator=(const WCHAR *text) {
  if (text != nullptr && InBlock(text)) {
    // The text is part of this string: take a copy before the block is rewritten.
    String copy(text);
    return *this = copy.m_pchData;
  }
  const ULONG length = text != nullptr ? static_cast<ULONG>(wcslen(text)) : 0;
  CreateStringData(length, false, 0);
  if (length) std::memcpy(m_pchData, text, std::size_t{length} * sizeof(WCHAR));
  m_pchData[length] = 0;
  SetLengthImpl(length);
  return *this;
}

String &String::operator=(const char *text) {
  AssignUtf8(text);
  return *this;
}

String &String::operator=(WCHAR unit) {
  EmptyBlock();
  if (unit != 0) {
    m_pchData[0] = unit;
    m_pchData[1] = 0;
    SetLengthImpl(1);
  }
  return *this;
}

// The block is sized for the byte count (a UTF-8 text never needs more units than bytes), and
// the length is counted from what was converted: conversion stops at an invalid byte.
void String::AssignUtf8(const char *text) {
  const ULONG bytes = text != nullptr ? static_cast<ULONG>(std::strlen(text)) : 0;
  CreateStringData(bytes, false, 0);
  if (bytes) mbstowcs(m_pchData, text, std::size_t{bytes} + 1);
  m_pchData[bytes] = 0;
  SetLengthImpl(static_cast<ULONG>(wcslen(m_pchData)));
}

// ---------------------------------------------------------------------------------------------
// Access

bool String::SetAt(ULONG index, WCHAR unit) {
  if (index >= GetLength()) return false;
  CreateStringData(GetLength(), true, 0);
  m_pchData[index] = unit;
  if (unit == 0) SetLengthImpl(index);
  return true;
}

void String::Empty() { EmptyBlock(); }

BSTR String::MakeBSTR() const { return SysAllocStringLen(m_pchData, GetLength()); }

ULONG String::GetByteLength() const {
  const std::size_t bytes = wcstombs(nullptr, m_pchData, 0);
  if (bytes != static_cast<std::size_t>(-1)) return static_cast<ULONG>(bytes);
  return DoubleByteLanguage(VESKLocale::GetLangID()) ? GetLength() * 2 : GetLength();
}

ULONG String::GetEucByteLength() const {
  const ULONG bytes = GetByteLength();
  const USHORT country = VESKLocale::GetCountryID();
  if (VESKLocale::GetLangID() == LANG_CHINESE && (country == 1 || country == 3)) return bytes * 2;
  return bytes;
}

// ---------------------------------------------------------------------------------------------
// Growing and editing

String &String::operator+=(const WCHAR *text) {
  if (text == nullptr || text[0] == 0) return *this;
  if (InBlock(text)) {
    String copy(text);
    return *this += copy.m_pchData;
  }
  const ULONG length = GetLength();
  const ULONG added = static_cast<ULONG>(wcslen(text));
  CreateStringData(length + added, true, 0);
  std::memcpy(m_pchData + length, text, std::size_t{added} * sizeof(WCHAR));
  m_pchData[length + added] = 0;
  SetLengthImpl(length + added);
  return *this;
}

String &String::operator+=(const char *text) {
  if (text == nullptr || text[0] == 0) return *this;
  const ULONG length = GetLength();
  const ULONG bytes = static_cast<ULONG>(std::strlen(text));
  CreateStringData(length + bytes, true, 0);
  mbstowcs(m_pchData + length, text, std::size_t{bytes} + 1);
  m_pchData[length + bytes] = 0;
  SetLengthImpl(length + static_cast<ULONG>(wcslen(m_pchData + length)));
  return *this;
}

String &String::AppendUnit(WCHAR unit) {
  if (unit == 0) return *this;
  const ULONG length = GetLength();
  CreateStringData(length + 1, true, 0);
  m_pchData[length] = unit;
  m_pchData[length + 1] = 0;
  SetLengthImpl(length + 1);
  return *this;
}

void String::AppendN(const WCHAR *source, LONG start, LONG count) {
  // The test is on the source's first unit, not the unit at start.
  if (source == nullptr || source[0] == 0 || start < 0 || count <= 0) return;
  if (InBlock(source)) {
    String copy(source);
    AppendN(copy.m_pchData, start, count);
    return;
  }
  const ULONG length = GetLength();
  CreateStringData(length + static_cast<ULONG>(count), true, 0);
  const WCHAR *from = source + start;
  LONG i = 0;
  for (; i < count && from[i] != 0; ++i) m_pchData[length + i] = from[i];
  m_pchData[length + i] = 0;
  SetLengthImpl(static_cast<ULONG>(wcslen(m_pchData)));
}

void String::AppendN(const char *source, LONG start, LONG count) {
  if (source == nullptr || source[0] == 0 || start < 0 || count <= 0) return;
  const ULONG length = GetLength();
  CreateStringData(length + static_cast<ULONG>(count), true, 0);
  // Up to count converted units; the block's terminator at length + count stays when they fill it.
  mbstowcs(m_pchData + length, source + start, static_cast<std::size_t>(count));
  m_pchData[length + count] = 0;
  SetLengthImpl(static_cast<ULONG>(wcslen(m_pchData)));
}

void String::MakeLower() {
  if (IsEmpty()) return;
  CreateStringData(GetLength(), true, 0);
  for (WCHAR *p = m_pchData; *p; ++p) *p = towlower(*p);
}

void String::MakeUpper() {
  if (IsEmpty()) return;
  CreateStringData(GetLength(), true, 0);
  for (WCHAR *p = m_pchData; *p; ++p) *p = towupper(*p);
}

// Nothing skipped means nothing done: a shared block stays shared.
void String::TrimLeftSet(const WCHAR *set) {
  ULONG skipped = 0;
  while (m_pchData[skipped] != 0 && wcschr(set, m_pchData[skipped]) != nullptr) ++skipped;
  if (skipped > 0) CreateStringData(GetLength() - skipped, true, skipped);
}

// Always goes through CreateStringData, so TrimRight unshares the block even when nothing is
// removed.
void String::TrimRightSet(const WCHAR *set) {
  ULONG length = GetLength();
  while (length > 0 && m_pchData[length - 1] != 0 && wcschr(set, m_pchData[length - 1]) != nullptr) --length;
  CreateStringData(length, true, 0);
}

void String::TrimLeft() { TrimLeftSet(kTrimSet); }
void String::TrimRight() { TrimRightSet(kTrimSet); }

void String::TrimLeft(WCHAR unit) {
  const WCHAR set[] = {unit, 0};
  TrimLeftSet(set);
}

void String::TrimRight(WCHAR unit) {
  const WCHAR set[] = {unit, 0};
  TrimRightSet(set);
}

LONG String::Replace(WCHAR old_unit, WCHAR new_unit) { return Replace(0, GetLength(), old_unit, new_unit); }

LONG String::Replace(UINT start, UINT end, WCHAR old_unit, WCHAR new_unit) {
  if (start == end || old_unit == new_unit) return 0;
  const LONGLONG length = GetLength();
  const LONGLONG last = end < length ? LONGLONG{end} : length - 1;
  if (LONGLONG{start} >= last) return 0;
  LONG replaced = 0;
  for (LONGLONG i = start; i <= last; ++i) {
    if (m_pchData[i] == old_unit) {
      m_pchData[i] = new_unit;
      ++replaced;
    }
  }
  return replaced;
}

String String::Left(ULONG count) const {
  const ULONG n = std::min(count, GetLength());
  String result = Sized(n);
  std::memcpy(result.m_pchData, m_pchData, std::size_t{n} * sizeof(WCHAR));
  return result;
}

String String::Right(ULONG count) const {
  const ULONG n = std::min(count, GetLength());
  String result = Sized(n);
  std::memcpy(result.m_pchData, m_pchData + (GetLength() - n), std::size_t{n} * sizeof(WCHAR));
  return result;
}

String String::Mid(ULONG start, LONG count) const {
  const LONGLONG available = std::max<LONGLONG>(LONGLONG{GetLength()} - start, 0);
  const ULONG n = static_cast<ULONG>(count >= 0 ? std::min<LONGLONG>(available, count) : available);
  String result = Sized(n);
  if (n) std::memcpy(result.m_pchData, m_pchData + start, std::size_t{n} * sizeof(WCHAR));
  return result;
}

String String::AnsiTruncate(ULONG bytes) const {
  if (!DoubleByteLanguage(VESKLocale::GetLangID())) return Left(bytes);

  const ULONG limit = std::min(bytes, GetByteLength());
  char *narrow = static_cast<char *>(std::malloc(std::size_t{limit} + 1));
  if (narrow == nullptr) throw std::bad_alloc();
  // Linux: the narrow code page is UTF-8. A unit without a narrow form (a lone surrogate) becomes
  // "?" as a failed conversion gives it, and the walk below follows UTF-8 sequence lengths where a
  // double-byte code page has lead and trail bytes: a character that does not fit whole is cut.
  bool failed = false;
  std::size_t out = 0;
  for (const WCHAR *p = m_pchData; *p && out < limit; ++p) {
    char utf8[8];
    std::size_t n;
    if (*p >= 0xD800 && *p <= 0xDBFF && p[1] >= 0xDC00 && p[1] <= 0xDFFF) {
      const WCHAR pair[] = {p[0], p[1], 0};
      n = wcstombs(utf8, pair, sizeof utf8);
      ++p;
    } else if (*p >= 0xD800 && *p <= 0xDFFF) {
      utf8[0] = '?', n = 1, failed = true;
    } else {
      const WCHAR one[] = {*p, 0};
      n = wcstombs(utf8, one, sizeof utf8);
    }
    if (out + n > limit) break;
    std::memcpy(narrow + out, utf8, n);
    out += n;
  }
  narrow[out] = 0;
  for (std::size_t i = 0; i < out; ++i) {
    const auto byte = static_cast<unsigned char>(narrow[i]);
    if (byte < 0x80) {
      if (failed && byte == '?') narrow[i] = '_';
      continue;
    }
    const std::size_t sequence = byte >= 0xF0 ? 4 : byte >= 0xE0 ? 3 : 2;
    if (i + sequence > out) {
      narrow[i] = 0;
      break;
    }
    i += sequence - 1;
  }
  String result(narrow);
  std::free(narrow);
  return result;
}

void String::GetTail(UINT start, String *out) const {
  if (out == nullptr) return;
  if (start >= GetLength()) {
    out->Empty();
    return;
  }
  *out += m_pchData + start;
}

// ---------------------------------------------------------------------------------------------
// Searching

LONG String::Find(WCHAR unit) const {
  const ULONG length = GetLength();
  for (ULONG i = 0; i < length; ++i)
    if (m_pchData[i] == unit) return static_cast<LONG>(i);
  return -1;
}

LONG String::Find(int direction, WCHAR unit) const { return direction == 0 ? ReverseFind(unit) : Find(unit); }

LONG String::ReverseFind(WCHAR unit) const {
  for (ULONG i = GetLength(); i > 0; --i)
    if (m_pchData[i - 1] == unit) return static_cast<LONG>(i - 1);
  return -1;
}

LONG String::Find(const WCHAR *text) const {
  if (text == nullptr || IsEmpty()) return -1;
  const WCHAR *hit = wcsstr(m_pchData, text);
  return hit != nullptr ? static_cast<LONG>(hit - m_pchData) : -1;
}

LONG String::Find(const WCHAR *text, ULONG start) const {
  if (text == nullptr || GetLength() <= start) return -1;
  const WCHAR *hit = wcsstr(m_pchData + start, text);
  return hit != nullptr ? static_cast<LONG>(hit - m_pchData) : -1;
}

LONG String::FindWholeWord(const WCHAR *text) const {
  if (text == nullptr || text[0] == 0) return -1;
  const std::size_t n = wcslen(text);
  for (const WCHAR *from = m_pchData;;) {
    const WCHAR *hit = wcsstr(from, text);
    if (hit == nullptr) return -1;
    const bool before = hit == m_pchData || !iswalnum(hit[-1]);
    const bool after = !iswalnum(hit[n]);  // the terminator counts as not alphanumeric
    if (before && after) return static_cast<LONG>(hit - m_pchData);
    from = hit + 1;
  }
}

LONG String::FindNoCase(const WCHAR *text, ULONG start) const {
  if (text == nullptr || start >= GetLength()) return -1;
  // Scan for the first unit of the needle in both cases; _wcsnicmp decides at each candidate.
  WCHAR first = text[0], second = 0;
  if (iswlower(first)) {
    second = first;
    first = towupper(first);
  } else if (iswupper(first)) {
    second = towlower(first);
  }
  if (second == first) second = 0;
  const std::size_t n = static_cast<std::size_t>(lstrlenW(text));
  const WCHAR *pos = m_pchData + start;
  // Next occurrence of each form at or after pos, kept between rounds so the scan stays linear.
  const WCHAR *next1 = wcschr(pos, first);
  const WCHAR *next2 = second != 0 ? wcschr(pos, second) : nullptr;
  for (;;) {
    const WCHAR *hit = next1 == nullptr ? next2 : next2 == nullptr ? next1 : std::min(next1, next2);
    if (hit == nullptr) return -1;
    if (_wcsnicmp(hit, text, n) == 0) return static_cast<LONG>(hit - m_pchData);
    if (*hit == 0) return -1;
    pos = hit + 1;
    if (next1 != nullptr && next1 < pos) next1 = wcschr(pos, first);
    if (next2 != nullptr && next2 < pos) next2 = wcschr(pos, second);
  }
}

int String::Compare(const WCHAR *text) const { return wcscmp(m_pchData, text != nullptr ? text : u""); }

int String::CompareNoCase(const WCHAR *text) const {
  if (text == nullptr) return 0x7FFFFFFF;
  return _wcsicmp(m_pchData, text);
}

// ---------------------------------------------------------------------------------------------
// Formatting and resources

namespace {

// An upper bound of the formatted length, found by walking the format and the arguments. The
// block is made this size before formatting, so the formatter writes straight into it.
ULONG EstimateFormattedLength(const WCHAR *format, va_list args) {
  std::uint64_t total = 0;
  for (const WCHAR *p = format; *p != 0; ++p) {
    if (*p != u'%') {
      ++total;
      continue;
    }
    ++p;
    if (*p == u'%') {
      ++total;
      continue;
    }
    LONGLONG width = 0, precision = 0, extra = 0;
    for (;; ++p) {
      if (*p == u'#') {
        extra += 2;
      } else if (*p == u'*') {
        width = va_arg(args, int);
      } else if (*p != u'-' && *p != u'+' && *p != u'0' && *p != u' ') {
        break;
      }
    }
    // A negative width from "*" left-justifies: it still takes that many units.
    if (width < 0) width = -width;
    if (width == 0) {
      width = _wtoi(p);
      while (*p >= u'0' && *p <= u'9') ++p;
    }
    if (*p == u'.') {
      ++p;
      if (*p == u'*') {
        precision = va_arg(args, int);
        ++p;
      } else {
        precision = _wtoi(p);
        while (*p >= u'0' && *p <= u'9') ++p;
      }
      if (precision < 0) precision = 0;
    }
    enum { kDefault, kNarrow, kWide } text_kind = kDefault;
    bool wide_integer = false;
    for (;; ++p) {
      if (p[0] == u'I' && p[1] == u'6' && p[2] == u'4') {
        wide_integer = true, p += 2;
      } else if (p[0] == u'I' && p[1] == u'3' && p[2] == u'2') {
        p += 2;
      } else if (*p == u'I' || *p == u'z' || *p == u'j' || *p == u't') {
        wide_integer = true;  // pointer sized: 64 bits here
      } else if (p[0] == u'l' && p[1] == u'l') {
        wide_integer = true, ++p;
      } else if (*p == u'h') {
        text_kind = kNarrow;
      } else if (*p == u'l' || *p == u'w') {
        text_kind = kWide;
      } else if (*p != u'F' && *p != u'L' && *p != u'N') {
        break;
      }
    }
    const WCHAR conversion = *p;
    std::uint64_t units = 0;
    auto as_text = [&](std::uint64_t length) {
      if (precision != 0) length = std::min<std::uint64_t>(length, static_cast<std::uint64_t>(precision));
      return std::max<std::uint64_t>(length, static_cast<std::uint64_t>(width));
    };
    switch (conversion) {
      case u'c':
      case u'C':
        (void)va_arg(args, int);
        units = as_text(2);
        break;
      case u's':
      case u'S': {
        const bool wide = conversion == u's' ? text_kind != kNarrow : text_kind == kWide;
        std::uint64_t length;
        if (wide) {
          const WCHAR *s = va_arg(args, const WCHAR *);
          length = s == nullptr ? 6 : std::max<std::uint64_t>(wcslen(s), 1);
        } else {
          const char *s = va_arg(args, const char *);
          length = s == nullptr ? 6 : std::max<std::uint64_t>(std::strlen(s), 1);
        }
        units = as_text(length);
        break;
      }
      case u'e':
      case u'g':
      case u'G':
        (void)va_arg(args, double);
        units = std::max<LONGLONG>(precision + width, 128);
        break;
      case u'f':
        (void)va_arg(args, double);
        units = std::max<LONGLONG>(precision + 317, 128);  // the width is not added
        break;
      case u'X':
      case u'd':
      case u'i':
      case u'o':
      case u'u':
      case u'x':
        if (wide_integer)
          (void)va_arg(args, long long);
        else
          (void)va_arg(args, int);
        units = std::max<LONGLONG>(precision + width, 32);
        break;
      case u'p':
        (void)va_arg(args, void *);
        units = std::max<LONGLONG>(precision + width, 32);
        break;
      case u'n':
        (void)va_arg(args, void *);
        break;
      default:
        // Unknown conversions, "E" among them, take no argument and count nothing.
        break;
    }
    total += units + static_cast<std::uint64_t>(extra);
    if (conversion == 0) break;  // a "%" at the very end
  }
  if (total > 0x7FFFFFF0u) throw std::bad_alloc();
  return static_cast<ULONG>(total);
}

}  // namespace

void String::FormatV(const WCHAR *format, va_list args) {
  if (format == nullptr) format = u"";
  va_list walk;
  va_copy(walk, args);
  const ULONG estimate = EstimateFormattedLength(format, walk);
  va_end(walk);
  CreateStringData(estimate, false, 0);
  // Bounded by the estimate plus one; a result that does not fit is cut there, silently.
  const int written = _vsnwprintf(m_pchData, std::size_t{estimate} + 1, format, args);
  if (written < 0 || static_cast<ULONG>(written) > estimate) m_pchData[estimate] = 0;
  SetLengthImpl(static_cast<ULONG>(wcslen(m_pchData)));
}

void String::Format(const WCHAR *format, ...) {
  va_list args;
  va_start(args, format);
  FormatV(format, args);
  va_end(args);
}

void String::Format(int id, HINSTANCE instance, ...) {
  String format(id, instance);
  va_list args;
  va_start(args, instance);
  FormatV(format, args);
  va_end(args);
}

void String::FormatMessageV(const WCHAR *format, va_list *args) {
  WCHAR *buffer = nullptr;
  const DWORD n = ::FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_STRING, format, 0, 0,
                                   reinterpret_cast<WCHAR *>(&buffer), 0, args);
  if (n == 0 || buffer == nullptr) {
    Empty();
  } else {
    *this = buffer;
  }
  LocalFree(buffer);
}

void String::FormatMessageW(const WCHAR *format, ...) {
  va_list args;
  va_start(args, format);
  FormatMessageV(format, &args);
  va_end(args);
}

void String::FormatMessageW(int id, HINSTANCE instance, ...) {
  String format(id, instance);
  va_list args;
  va_start(args, instance);
  FormatMessageV(format, &args);
  va_end(args);
}

bool String::LoadStringW(int id, HINSTANCE instance) {
  // Read into a buffer that grows by half while the text may have been cut (fewer than three
  // units left free after it).
  int size = 1024;
  for (;;) {
    auto *buffer = static_cast<WCHAR *>(std::malloc(std::size_t(size) * sizeof(WCHAR)));
    if (buffer == nullptr) throw std::bad_alloc();
    const int n = ::LoadStringW(instance, static_cast<UINT>(id), buffer, size);
    if (n == 0) {
      std::free(buffer);
      Empty();
      return false;
    }
    if (size - n >= 3) {
      // The text goes into a block of its own size, whatever block this string had.
      String text = Sized(static_cast<ULONG>(n));
      std::memcpy(text.m_pchData, buffer, std::size_t(n) * sizeof(WCHAR));
      std::free(buffer);
      if (m_pchData == nullptr) {
        m_pchData = text.m_pchData;
        ++Header(m_pchData)->refs;
      } else {
        *this = text;
      }
      return true;
    }
    std::free(buffer);
    size = size * 3 / 2;
  }
}

// ---------------------------------------------------------------------------------------------
// Conversion

double String::AsDouble() const { return wcstod(m_pchData, nullptr); }

LONG String::AsLong() const { return _wtol(m_pchData); }

double String::AsDBaseDouble() const {
  WCHAR *end = nullptr;
  const LONG integer = wcstol(m_pchData, &end, 10);
  if (*end == 0) return integer;

  const bool negative = integer < 0;
  double value = static_cast<double>(std::llabs(LONGLONG{integer}));
  if (*end == u'.') {
    WCHAR *fraction_end = nullptr;
    const LONGLONG fraction = wcstoll(end + 1, &fraction_end, 10);
    const LONGLONG digits = fraction_end - (end + 1);
    value = static_cast<double>(fraction) * std::pow(10.0, static_cast<double>(-digits)) + value;
    end = fraction_end;
  }
  if (negative) value = -value;
  if (*end == u'e' || *end == u'E') {
    const LONG exponent = wcstol(end + 1, nullptr, 10);
    if (exponent == 2)
      value *= 100.0;
    else
      value *= std::pow(10.0, exponent);
  }
  return value;
}

// ---------------------------------------------------------------------------------------------
// Streams

HRESULT String::Write(IStream *stream) const {
  if (stream == nullptr) return E_POINTER;
  const ULONG bytes = (GetLength() * 2 + 2) & 0x7FFFFFFF;
  const unsigned char count[4] = {static_cast<unsigned char>(bytes), static_cast<unsigned char>(bytes >> 8),
                                  static_cast<unsigned char>(bytes >> 16), static_cast<unsigned char>(bytes >> 24)};
  HRESULT hr = stream->Write(count, sizeof count, nullptr);
  if (FAILED(hr)) return hr;
  // The text is written as it lies in memory: little-endian units with their terminator.
  static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "the stream form is little-endian");
  return stream->Write(m_pchData, bytes, nullptr);
}

HRESULT String::Read(IStream *stream) {
  if (stream == nullptr) return E_POINTER;
  unsigned char count_bytes[4] = {};
  ULONG got = 0;
  HRESULT hr = stream->Read(count_bytes, sizeof count_bytes, &got);
  if (FAILED(hr)) return hr;
  const ULONG count = ULONG{count_bytes[0]} | ULONG{count_bytes[1]} << 8 | ULONG{count_bytes[2]} << 16 |
                      ULONG{count_bytes[3]} << 24;
  if (got == 0 || count == 0) return E_FAIL;

  // The count has no upper bound in the format. Read in pieces so that memory follows what the
  // stream really delivers rather than what a damaged count claims.
  constexpr ULONG kPiece = 1u << 16;
  std::size_t capacity = std::min<ULONG>(count, kPiece);
  auto *buffer = static_cast<unsigned char *>(std::malloc(capacity));
  if (buffer == nullptr) return E_FAIL;
  std::size_t filled = 0;
  for (;;) {
    const ULONG want = static_cast<ULONG>(std::min<std::size_t>(count - filled, kPiece));
    if (filled + want > capacity) {
      const std::size_t grown = std::min<std::size_t>(count, std::max(capacity * 2, filled + want));
      auto *bigger = static_cast<unsigned char *>(std::realloc(buffer, grown));
      if (bigger == nullptr) {
        std::free(buffer);
        return E_FAIL;
      }
      buffer = bigger;
      capacity = grown;
    }
    ULONG piece = 0;
    hr = stream->Read(buffer + filled, want, &piece);
    filled += std::min(piece, want);
    if (FAILED(hr) || piece < want || filled == count) break;
  }
  if (filled == 0) {
    std::free(buffer);
    return E_FAIL;
  }
  // The text runs to its first 0 unit, within what was read.
  const std::size_t units = filled / sizeof(WCHAR);
  std::size_t length = 0;
  WCHAR unit;
  while (length < units && (std::memcpy(&unit, buffer + length * 2, 2), unit != 0)) ++length;
  CreateStringData(static_cast<ULONG>(length), false, 0);
  std::memcpy(m_pchData, buffer, length * sizeof(WCHAR));
  m_pchData[length] = 0;
  SetLengthImpl(static_cast<ULONG>(length));
  std::free(buffer);
  return hr;
}
