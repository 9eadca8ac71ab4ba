#include <kzcore/pal/format.h>

#include <charconv>

#include <locale.h>

#include <algorithm>
#include <bit>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include <kzcore/pal/memory.h>
#include <kzcore/pal/sync.h>
#include <kzcore/pal/wide.h>

namespace {

constexpr std::size_t kIntMax = INT_MAX;
constexpr WCHAR kReplacement = 0xFFFD;
constexpr WCHAR kNullText[] = u"(null)";

// Output of the formatter. Units past `cap` are counted but not stored, so one type serves both the
// bounded formatter (buffer and count) and the measuring one (no buffer, cap 0).
class Sink {
 public:
  Sink(WCHAR *buffer, std::size_t cap)
      : buffer_(buffer), cap_(buffer == nullptr ? 0 : cap),
        limit_(buffer == nullptr ? kIntMax : std::min(cap, kIntMax)) {}

  void Put(WCHAR c) {
    if (length_ < cap_) buffer_[length_] = c;
    ++length_;
  }
  void Append(const WCHAR *s, std::size_t n) {
    if (length_ < cap_) std::memcpy(buffer_ + length_, s, std::min(n, cap_ - length_) * sizeof(WCHAR));
    length_ += n;
  }
  void Fill(WCHAR c, std::size_t n) {
    if (length_ < cap_) std::fill_n(buffer_ + length_, std::min(n, cap_ - length_), c);
    length_ += n;
  }
  // Text produced by the C library (digits, signs, "inf"): ASCII only.
  void AppendAscii(const char *s, std::size_t n) {
    for (std::size_t i = 0; i < n; ++i) Put(static_cast<unsigned char>(s[i]));
  }
  // True once nothing that follows can change the result: the output is already longer than the
  // buffer (the result is -1 whatever comes), or than an int can count.
  bool Done() const { return length_ > limit_; }
  std::size_t length() const { return length_; }

 private:
  WCHAR *buffer_;
  std::size_t cap_;
  std::size_t limit_;
  std::size_t length_ = 0;
};

// Arguments from a va_list. The caller's list is copied, so it is left as the caller had it.
class VaArgs {
 public:
  explicit VaArgs(va_list args) { va_copy(args_, args); }
  ~VaArgs() { va_end(args_); }
  VaArgs(const VaArgs &) = delete;
  VaArgs &operator=(const VaArgs &) = delete;

  int Int() { return va_arg(args_, int); }
  long long Int64() { return va_arg(args_, long long); }
  double Double() { return va_arg(args_, double); }
  const void *Ptr() { return va_arg(args_, const void *); }

 private:
  va_list args_;
};

// Arguments from an array of pointer-sized values, read in order from `first` (message inserts).
class ArrayArgs {
 public:
  ArrayArgs(const DWORD_PTR *values, std::size_t first) : values_(values), next_(first) {}

  int Int() { return static_cast<int>(values_[next_++]); }
  long long Int64() { return static_cast<long long>(values_[next_++]); }
  double Double() { return std::bit_cast<double>(static_cast<std::uint64_t>(values_[next_++])); }
  const void *Ptr() { return reinterpret_cast<const void *>(values_[next_++]); }

 private:
  const DWORD_PTR *values_;
  std::size_t next_;
};

enum class Size { kDefault, kChar, kShort, kLong, kInt32, kInt64, kPointer, kLongDouble };

struct Directive {
  bool left = false;
  bool plus = false;
  bool space = false;
  bool alt = false;
  bool zero = false;
  bool width_star = false;
  bool precision_star = false;
  std::size_t width = 0;
  int precision = -1;  // -1: none given
  Size size = Size::kDefault;
  WCHAR conversion = 0;
};

bool IsDigit(WCHAR c) { return c >= u'0' && c <= u'9'; }

// Reads a decimal number for a width or precision; false when it does not fit an int.
bool ReadNumber(const WCHAR *&p, int &value) {
  long long v = 0;
  while (IsDigit(*p)) {
    v = v * 10 + (*p++ - u'0');
    if (v > INT_MAX) return false;
  }
  value = static_cast<int>(v);
  return true;
}

bool IsConversion(WCHAR c) {
  switch (c) {
    case u'd': case u'i': case u'o': case u'u': case u'x': case u'X':
    case u'c': case u'C': case u's': case u'S': case u'p': case u'n': case u'%':
    case u'e': case u'E': case u'f': case u'F': case u'g': case u'G': case u'a': case u'A':
      return true;
    default:
      return false;
  }
}

bool IsFloatConversion(WCHAR c) {
  switch (c) {
    case u'e': case u'E': case u'f': case u'F': case u'g': case u'G': case u'a': case u'A':
      return true;
    default:
      return false;
  }
}

// A size prefix of one letter or the letter doubled ("h" or "hh", "l" or "ll"), taken from p.
Size TakeSizeLetter(const WCHAR *&p, Size single, Size doubled) {
  const bool twice = p[1] == p[0];
  p += twice ? 2 : 1;
  return twice ? doubled : single;
}

// Parses a conversion directive from just after its '%'. Returns the position past the
// conversion character, or null when the directive is malformed or its conversion unknown.
const WCHAR *ParseDirective(const WCHAR *p, Directive &directive) {
  for (;; ++p) {
    if (*p == u'-') directive.left = true;
    else if (*p == u'+') directive.plus = true;
    else if (*p == u' ') directive.space = true;
    else if (*p == u'#') directive.alt = true;
    else if (*p == u'0') directive.zero = true;
    else break;
  }
  if (*p == u'*') {
    directive.width_star = true;
    ++p;
  } else {
    int width;
    if (!ReadNumber(p, width)) return nullptr;
    directive.width = static_cast<std::size_t>(width);
  }
  if (*p == u'.') {
    ++p;
    if (*p == u'*') {
      directive.precision_star = true;
      ++p;
    } else if (!ReadNumber(p, directive.precision)) {
      return nullptr;
    }
  }
  switch (*p) {
    case u'h':
      directive.size = TakeSizeLetter(p, Size::kShort, Size::kChar);
      break;
    case u'l':
      directive.size = TakeSizeLetter(p, Size::kLong, Size::kInt64);
      break;
    case u'w':
      directive.size = Size::kLong;
      ++p;
      break;
    case u'I':
      ++p;
      if (p[0] == u'6' && p[1] == u'4') {
        directive.size = Size::kInt64;
        p += 2;
      } else if (p[0] == u'3' && p[1] == u'2') {
        directive.size = Size::kInt32;
        p += 2;
      } else {
        directive.size = Size::kPointer;
      }
      break;
    case u'j':
      directive.size = Size::kInt64;
      ++p;
      break;
    case u'z':
    case u't':
      directive.size = Size::kPointer;
      ++p;
      break;
    case u'L':
      directive.size = Size::kLongDouble;
      ++p;
      break;
    case u'N':  // an old size prefix of near pointers: accepted, without effect
      ++p;
      break;
    default:
      break;
  }
  if (!IsConversion(*p)) return nullptr;
  directive.conversion = *p;
  return p + 1;
}

// Pads `body` units of content out to the width, on the side the flags ask for.
struct Padding {
  std::size_t before = 0;
  std::size_t after = 0;
};

Padding PadFor(const Directive &directive, std::size_t body) {
  Padding pad;
  if (directive.width > body) (directive.left ? pad.after : pad.before) = directive.width - body;
  return pad;
}

void FormatInteger(Sink &out, const Directive &directive, std::uint64_t magnitude, bool negative, int base,
                   bool upper, int min_digits) {
  const char *set = upper ? "0123456789ABCDEF" : "0123456789abcdef";
  WCHAR digits[24];
  WCHAR *end = digits + 24;
  WCHAR *d = end;
  const bool zero_value = magnitude == 0;
  if (base == 10) {
    while (magnitude != 0) {
      *--d = static_cast<WCHAR>(u'0' + magnitude % 10);
      magnitude /= 10;
    }
  } else {
    const int shift = base == 16 ? 4 : 3;
    while (magnitude != 0) {
      *--d = static_cast<WCHAR>(set[magnitude & static_cast<unsigned>(base - 1)]);
      magnitude >>= shift;
    }
  }
  const std::size_t significant = static_cast<std::size_t>(end - d);
  std::size_t zeros = significant < static_cast<std::size_t>(min_digits) ? min_digits - significant : 0;
  // The alternate octal form starts with a 0, adding one only when the digits do not already.
  if (directive.alt && base == 8 && zeros == 0) zeros = 1;

  WCHAR prefix[2];
  std::size_t prefix_length = 0;
  if (directive.conversion == u'd' || directive.conversion == u'i') {
    if (negative) prefix[prefix_length++] = u'-';
    else if (directive.plus) prefix[prefix_length++] = u'+';
    else if (directive.space) prefix[prefix_length++] = u' ';
  } else if (directive.alt && base == 16 && !zero_value && directive.conversion != u'p') {
    prefix[prefix_length++] = u'0';
    prefix[prefix_length++] = upper ? u'X' : u'x';
  }

  Padding pad = PadFor(directive, prefix_length + zeros + significant);
  // Zero padding applies only without a precision, as in the C conventions.
  if (pad.before != 0 && directive.zero && directive.precision < 0) {
    zeros += pad.before;
    pad.before = 0;
  }
  out.Fill(u' ', pad.before);
  out.Append(prefix, prefix_length);
  out.Fill(u'0', zeros);
  out.Append(d, significant);
  out.Fill(u' ', pad.after);
}

template <class Args>
void ConvertInteger(Sink &out, const Directive &directive, Args &args) {
  const WCHAR c = directive.conversion;
  const int min_digits = directive.precision < 0 ? 1 : directive.precision;
  if (c == u'd' || c == u'i') {
    long long v;
    switch (directive.size) {
      case Size::kChar: v = static_cast<signed char>(args.Int()); break;
      case Size::kShort: v = static_cast<short>(args.Int()); break;
      case Size::kInt64:
      case Size::kPointer: v = args.Int64(); break;
      default: v = args.Int(); break;
    }
    const std::uint64_t magnitude =
        v < 0 ? std::uint64_t{0} - static_cast<std::uint64_t>(v) : static_cast<std::uint64_t>(v);
    FormatInteger(out, directive, magnitude, v < 0, 10, false, min_digits);
    return;
  }
  std::uint64_t v;
  switch (directive.size) {
    case Size::kChar: v = static_cast<unsigned char>(args.Int()); break;
    case Size::kShort: v = static_cast<unsigned short>(args.Int()); break;
    case Size::kInt64:
    case Size::kPointer: v = static_cast<std::uint64_t>(args.Int64()); break;
    default: v = static_cast<unsigned>(args.Int()); break;
  }
  const int base = c == u'o' ? 8 : c == u'u' ? 10 : 16;
  FormatInteger(out, directive, v, false, base, c == u'X', min_digits);
}

// The pointer as 16 upper-case hexadecimal digits, without a prefix: the width still applies.
template <class Args>
void ConvertPointer(Sink &out, const Directive &directive, Args &args) {
  const auto v = reinterpret_cast<std::uintptr_t>(args.Ptr());
  FormatInteger(out, directive, v, false, 16, true, 2 * sizeof(void *));
}

// A narrow character is one byte of UTF-8 text: only ASCII stands alone.
WCHAR NarrowUnit(int byte) {
  const auto b = static_cast<unsigned char>(byte);
  return b < 0x80 ? b : kReplacement;
}

bool IsNarrow(const Directive &directive) {
  // %s and %c are wide here and %S and %C narrow; h forces narrow, l and w force wide.
  if (directive.size == Size::kShort) return true;
  if (directive.size == Size::kLong) return false;
  return directive.conversion == u'S' || directive.conversion == u'C';
}

template <class Args>
void ConvertChar(Sink &out, const Directive &directive, Args &args) {
  const int v = args.Int();
  const WCHAR unit = IsNarrow(directive) ? NarrowUnit(v) : static_cast<WCHAR>(v);
  const WCHAR fill = directive.zero && !directive.left ? u'0' : u' ';
  const Padding pad = PadFor(directive, 1);
  out.Fill(fill, pad.before);
  out.Put(unit);
  out.Fill(u' ', pad.after);
}

int Utf8SequenceLength(unsigned char lead) {
  if (lead < 0x80) return 1;
  if (lead >= 0xC2 && lead <= 0xDF) return 2;
  if (lead >= 0xE0 && lead <= 0xEF) return 3;
  if (lead >= 0xF0 && lead <= 0xF4) return 4;
  return 0;
}

// Converts `n` bytes of UTF-8 to UTF-16 through mbstowcs, a chunk at a time, handing the units to
// `emit(const WCHAR *, size_t)`. A byte that does not start a valid sequence becomes U+FFFD and the
// conversion goes on with the next byte, so a bad byte costs one unit and never the rest of the text.
template <class Emit>
void WidenUtf8(const char *s, std::size_t n, Emit &&emit) {
  constexpr std::size_t kChunk = 256;
  char chunk[kChunk + 1];
  WCHAR wide[kChunk + 1];
  const auto *bytes = reinterpret_cast<const unsigned char *>(s);
  while (n != 0) {
    std::size_t take = std::min(n, kChunk);
    if (take < n) {
      // Keep a sequence whole: move a cut that falls inside one back to its lead byte.
      std::size_t t = take;
      while (t > take - 3 && (bytes[t] & 0xC0) == 0x80) --t;
      if ((bytes[t] & 0xC0) != 0x80 && t < take && static_cast<std::size_t>(Utf8SequenceLength(bytes[t])) > take - t) take = t;
    }
    std::memcpy(chunk, bytes, take);
    chunk[take] = 0;
    const std::size_t units = mbstowcs(wide, chunk, kChunk + 1);
    if (units != static_cast<std::size_t>(-1)) {
      emit(wide, units);
    } else {
      for (std::size_t i = 0; i < take;) {
        const int length = Utf8SequenceLength(bytes[i]);
        if (length == 1) {
          const WCHAR unit = bytes[i];
          emit(&unit, 1);
          ++i;
          continue;
        }
        char one[5] = {};
        WCHAR pair[3];
        std::size_t got = static_cast<std::size_t>(-1);
        if (length != 0 && i + length <= take) {
          std::memcpy(one, bytes + i, length);
          got = mbstowcs(pair, one, 3);
        }
        if (got == static_cast<std::size_t>(-1)) {
          emit(&kReplacement, 1);
          ++i;
        } else {
          emit(pair, got);
          i += length;
        }
      }
    }
    bytes += take;
    n -= take;
  }
}

// The bytes of a narrow string that a precision lets through: the precision counts bytes, and a
// character that the limit would cut is left out whole rather than shown as replacement units.
std::size_t NarrowLength(const char *s, int precision) {
  if (precision < 0) return std::strlen(s);
  const std::size_t n = strnlen(s, static_cast<std::size_t>(precision));
  if (n == 0 || s[n] == 0) return n;
  const auto *b = reinterpret_cast<const unsigned char *>(s);
  for (std::size_t j = n; j-- > 0 && n - j <= 3;) {
    if ((b[j] & 0xC0) == 0x80) continue;  // a continuation byte: look further back
    const int length = Utf8SequenceLength(b[j]);
    if (length > 1 && static_cast<std::size_t>(length) > n - j) {
      bool continued = true;
      for (std::size_t k = n; k < j + length && continued; ++k) continued = (b[k] & 0xC0) == 0x80;
      if (continued) return j;
    }
    break;
  }
  return n;
}

template <class Args>
void ConvertString(Sink &out, const Directive &directive, Args &args) {
  const void *arg = args.Ptr();
  const WCHAR fill = directive.zero && !directive.left ? u'0' : u' ';
  if (arg == nullptr || !IsNarrow(directive)) {
    const WCHAR *s = arg == nullptr ? kNullText : static_cast<const WCHAR *>(arg);
    const std::size_t n = directive.precision < 0 ? wcslen(s) : wcsnlen(s, directive.precision);
    const Padding pad = PadFor(directive, n);
    out.Fill(fill, pad.before);
    out.Append(s, n);
    out.Fill(u' ', pad.after);
    return;
  }
  const char *s = static_cast<const char *>(arg);
  const std::size_t bytes = NarrowLength(s, directive.precision);
  Padding pad;
  if (directive.width != 0) {
    std::size_t units = 0;
    WidenUtf8(s, bytes, [&](const WCHAR *, std::size_t n) { units += n; });
    pad = PadFor(directive, units);
  }
  out.Fill(fill, pad.before);
  WidenUtf8(s, bytes, [&](const WCHAR *w, std::size_t n) { out.Append(w, n); });
  out.Fill(u' ', pad.after);
}

// The C library writes the digits of floating point numbers, always with '.' as the decimal mark
// whatever locale the process has set: texts made here are read back by locale-free code.
locale_t ClassicLocale() {
  static const locale_t locale = newlocale(LC_NUMERIC_MASK, "C", static_cast<locale_t>(0));
  return locale;
}

class ClassicLocaleScope {
 public:
  ClassicLocaleScope() : previous_(ClassicLocale() ? uselocale(ClassicLocale()) : static_cast<locale_t>(0)) {}
  ~ClassicLocaleScope() {
    if (previous_ != static_cast<locale_t>(0)) uselocale(previous_);
  }
  ClassicLocaleScope(const ClassicLocaleScope &) = delete;
  ClassicLocaleScope &operator=(const ClassicLocaleScope &) = delete;

 private:
  locale_t previous_;
};

// Beyond this many digits the decimal expansion of a double holds only zeros (its exact value has
// at most 1074 fraction digits and 767 significant ones), so larger precisions are written as this
// precision plus zeros: the text stays bounded and needs no heap.
constexpr int kMaxFloatDigits = 1100;

void FormatFloat(Sink &out, const Directive &directive, double v) {
  const char conversion = static_cast<char>(directive.conversion);
  const bool hex = conversion == 'a' || conversion == 'A';
  int precision = directive.precision;
  if (precision < 0 && hex) precision = 13;  // all the hexadecimal digits of a double
  const bool finite = std::isfinite(v);
  std::size_t extra_zeros = 0;
  if (precision > kMaxFloatDigits) {
    const bool trims = (conversion == 'g' || conversion == 'G') && !directive.alt;
    if (finite && !trims) extra_zeros = precision - kMaxFloatDigits;
    precision = kMaxFloatDigits;
  }

  char body[kMaxFloatDigits + 400];
  std::size_t n;
  if (!hex && !directive.alt) {
    // to_chars gives the same correctly rounded digits as printf for e, f and g, without a format
    // to parse or a locale to switch; it only leaves the sign flags and upper case to us.
    char *p = body;
    if (!std::signbit(v) && (directive.plus || directive.space)) *p++ = directive.plus ? '+' : ' ';
    const std::chars_format kind = conversion == 'f' || conversion == 'F'   ? std::chars_format::fixed
                                   : conversion == 'e' || conversion == 'E' ? std::chars_format::scientific
                                                                            : std::chars_format::general;
    p = std::to_chars(p, body + sizeof body, v, kind, precision < 0 ? 6 : precision).ptr;
    if (conversion == 'E' || conversion == 'G' || conversion == 'F')
      for (char *c = body; c != p; ++c)
        if (*c >= 'a' && *c <= 'z') *c = static_cast<char>(*c - 32);
    n = static_cast<std::size_t>(p - body);
  } else {
    char format[24];
    char *f = format;
    *f++ = '%';
    if (directive.alt) *f++ = '#';
    if (directive.plus) *f++ = '+';
    else if (directive.space) *f++ = ' ';
    if (precision >= 0) f += std::snprintf(f, 12, ".%d", precision);
    *f++ = conversion;
    *f = 0;
    ClassicLocaleScope classic;
    const int written = std::snprintf(body, sizeof body, format, v);
    n = written < 0 ? 0 : std::min(static_cast<std::size_t>(written), sizeof body - 1);
  }

  // Extra zeros go where the digits end: before the exponent, or at the end of a fixed form.
  std::size_t digits_end = n;
  if (extra_zeros != 0) {
    const char mark = hex ? 'p' : 'e';
    for (std::size_t i = 0; i < n; ++i) {
      if (body[i] == mark || body[i] == mark - 32) {
        digits_end = i;
        break;
      }
    }
  }
  // Zero padding goes after the sign and the "0x" of the hexadecimal form; infinity and NaN are
  // padded with spaces.
  std::size_t lead = 0;
  if (n != 0 && (body[0] == '-' || body[0] == '+' || body[0] == ' ')) lead = 1;
  if (hex && finite) lead += 2;

  Padding pad = PadFor(directive, n + extra_zeros);
  std::size_t zero_pad = 0;
  if (pad.before != 0 && directive.zero && finite) std::swap(zero_pad, pad.before);
  out.Fill(u' ', pad.before);
  out.AppendAscii(body, lead);
  out.Fill(u'0', zero_pad);
  out.AppendAscii(body + lead, digits_end - lead);
  out.Fill(u'0', extra_zeros);
  out.AppendAscii(body + digits_end, n - digits_end);
  out.Fill(u' ', pad.after);
}

// Formats one conversion. False for a conversion that is refused (%n).
template <class Args>
bool Convert(Sink &out, Directive &directive, Args &args) {
  if (directive.width_star) {
    const int w = args.Int();
    if (w < 0) {
      directive.left = true;
      directive.width = static_cast<std::size_t>(-static_cast<long long>(w));
    } else {
      directive.width = static_cast<std::size_t>(w);
    }
  }
  if (directive.precision_star) {
    const int p = args.Int();
    directive.precision = p < 0 ? -1 : p;
  }
  switch (directive.conversion) {
    case u'd': case u'i': case u'o': case u'u': case u'x': case u'X':
      ConvertInteger(out, directive, args);
      return true;
    case u'p':
      ConvertPointer(out, directive, args);
      return true;
    case u'c': case u'C':
      ConvertChar(out, directive, args);
      return true;
    case u's': case u'S':
      ConvertString(out, directive, args);
      return true;
    case u'%':
      out.Put(u'%');
      return true;
    case u'n':
      // Writing through %n is off, as in the Microsoft runtime's default: the format is refused.
      return false;
    default:
      FormatFloat(out, directive, args.Double());
      return true;
  }
}

// The engine: false when the format is malformed or refused.
template <class Args>
bool FormatTo(Sink &out, const WCHAR *f, Args &args) {
  for (;;) {
    const WCHAR *run = f;
    while (*f != 0 && *f != u'%') ++f;
    if (f != run) out.Append(run, static_cast<std::size_t>(f - run));
    if (*f == 0 || out.Done()) return true;
    ++f;
    if (*f == u'%') {
      out.Put(u'%');
      ++f;
      continue;
    }
    Directive directive;
    f = ParseDirective(f, directive);
    if (f == nullptr || !Convert(out, directive, args)) return false;
    if (out.Done()) return true;
  }
}

}  // namespace

int _vsnwprintf(WCHAR *buffer, std::size_t count, const WCHAR *format, va_list args) {
  if (format == nullptr || (buffer == nullptr && count != 0)) return -1;
  Sink out(buffer, count);
  VaArgs reader(args);
  if (!FormatTo(out, format, reader)) {
    if (count != 0) buffer[0] = 0;
    return -1;
  }
  const std::size_t n = out.length();
  if (n > kIntMax) return -1;
  if (buffer == nullptr) return static_cast<int>(n);  // a null buffer with count 0 asks for the length
  if (n > count) return -1;
  if (n < count) buffer[n] = 0;
  return static_cast<int>(n);
}

int _snwprintf(WCHAR *buffer, std::size_t count, const WCHAR *format, ...) {
  va_list args;
  va_start(args, format);
  const int n = _vsnwprintf(buffer, count, format, args);
  va_end(args);
  return n;
}

int _vscwprintf(const WCHAR *format, va_list args) {
  if (format == nullptr) return -1;
  Sink out(nullptr, 0);
  VaArgs reader(args);
  if (!FormatTo(out, format, reader) || out.length() > kIntMax) return -1;
  return static_cast<int>(out.length());
}

int _scwprintf(const WCHAR *format, ...) {
  va_list args;
  va_start(args, format);
  const int n = _vscwprintf(format, args);
  va_end(args);
  return n;
}

namespace {

constexpr DWORD kErrorMoreData = 234;  // ERROR_MORE_DATA
// An allocated message may not exceed 128 KiB.
constexpr std::size_t kMaxAllocatedUnits = 128 * 1024 / sizeof(WCHAR);
constexpr int kMaxInsert = 99;
constexpr std::size_t kMaxInsertFormat = 64;

DWORD Fail(DWORD error) {
  SetLastError(error);
  return 0;
}

struct Insert {
  int number = 0;
  WCHAR format[kMaxInsertFormat + 2];  // "%" + the printf format + terminator
  int stars = 0;                       // arguments the format takes before the value
};

// Reads an insert from its first digit: the number and an optional !format!. Returns the position
// after it, or null when the number is beyond 99 or the format is unterminated or not one that an
// insert can take (a single integer, character, string or pointer conversion).
const WCHAR *ParseInsert(const WCHAR *p, Insert &insert) {
  int number = 0;
  while (IsDigit(*p)) {
    number = number * 10 + (*p++ - u'0');
    if (number > kMaxInsert) return nullptr;
  }
  insert.number = number;
  insert.format[0] = u'%';
  if (*p != u'!') {
    insert.format[1] = u's';
    insert.format[2] = 0;
    insert.stars = 0;
    return p;
  }
  const WCHAR *begin = ++p;
  while (*p != 0 && *p != u'!') ++p;
  if (*p == 0) return nullptr;
  const std::size_t length = static_cast<std::size_t>(p - begin);
  if (length == 0 || length > kMaxInsertFormat) return nullptr;
  std::memcpy(insert.format + 1, begin, length * sizeof(WCHAR));
  insert.format[length + 1] = 0;
  Directive directive;
  const WCHAR *end = ParseDirective(insert.format + 1, directive);
  if (end == nullptr || *end != 0) return nullptr;
  // Floating point inserts are not supported by message formatting; %n and %% take no value.
  if (IsFloatConversion(directive.conversion) || directive.conversion == u'n' || directive.conversion == u'%') return nullptr;
  insert.stars = (directive.width_star ? 1 : 0) + (directive.precision_star ? 1 : 0);
  return p + 1;
}

// Where an insert's arguments start. In an array, insert n is element n - 1, and a starred format
// reads its width and precision from n - 1 onwards, its value after them. In a va_list the width
// and precision of a starred insert take the insert numbers and its value takes none, so every
// starred insert moves the arguments of later inserts one place on.
class ArgumentPlan {
 public:
  explicit ArgumentPlan(bool from_array) : from_array_(from_array) {}
  std::size_t Start(const Insert &insert) {
    const std::size_t start = static_cast<std::size_t>(insert.number - 1) + shift_;
    if (!from_array_ && insert.stars != 0) ++shift_;
    needed_ = std::max(needed_, start + insert.stars + 1);
    return start;
  }
  std::size_t needed() const { return needed_; }

 private:
  bool from_array_;
  std::size_t shift_ = 0;
  std::size_t needed_ = 0;
};

// Breaks lines longer than `width` at a space (the space becomes the line break). A run of text
// without a space is never split: a word longer than the width stands on a line of its own.
std::u16string Wrap(const std::u16string &text, std::size_t width) {
  std::u16string out;
  out.reserve(text.size() + text.size() / width * 2 + 2);
  std::size_t line_start = 0;
  std::size_t last_space = std::u16string::npos;
  for (const WCHAR c : text) {
    if (c == u'\r' || c == u'\n') {
      out.push_back(c);
      line_start = out.size();
      last_space = std::u16string::npos;
    } else if (c == u' ' && out.size() - line_start >= width) {
      out.append(u"\r\n");
      line_start = out.size();
      last_space = std::u16string::npos;
    } else {
      if (c == u' ') last_space = out.size();
      out.push_back(c);
      if (out.size() - line_start > width && last_space != std::u16string::npos) {
        out.replace(last_space, 1, u"\r\n");
        line_start = last_space + 2;
        last_space = std::u16string::npos;
      }
    }
  }
  return out;
}

enum class Built { kOk, kTooLong };

// Produces the message text. `limit` is the longest text the caller can take.
Built BuildMessage(const WCHAR *p, bool ignore_inserts, bool from_array, const DWORD_PTR *values,
                   DWORD width, std::size_t limit, std::u16string &out) {
  const bool keep_breaks = width == 0;
  ArgumentPlan plan(from_array);
  while (*p != 0) {
    if (out.size() > limit) return Built::kTooLong;
    const WCHAR c = *p++;
    const bool crlf = c == u'\r' && *p == u'\n';
    if (crlf) ++p;
    if (c == u'\n' || crlf) {
      // A line break of the text itself: kept as CR LF, or a space when the lines are re-made.
      if (keep_breaks) out.append(u"\r\n");
      else out.push_back(u' ');
      continue;
    }
    if (c != u'%') {
      out.push_back(c);
      continue;
    }
    const WCHAR e = *p;
    if (e == 0 || e == u'0') break;  // %0 ends the message; a lone % at the end is dropped
    if (e >= u'1' && e <= u'9') {
      if (ignore_inserts) {
        out.push_back(u'%');
        while (IsDigit(*p)) out.push_back(*p++);
        continue;
      }
      Insert insert;
      p = ParseInsert(p, insert);  // checked before building
      const std::size_t start = plan.Start(insert);
      Sink measure(nullptr, 0);
      ArrayArgs counting(values, start);
      FormatTo(measure, insert.format, counting);
      if (measure.length() > limit || out.size() + measure.length() > limit) return Built::kTooLong;
      const std::size_t at = out.size();
      out.resize(at + measure.length());
      Sink write(out.data() + at, measure.length());
      ArrayArgs reading(values, start);
      FormatTo(write, insert.format, reading);
      continue;
    }
    ++p;
    if (e == u'n') out.append(u"\r\n");
    else if (e == u'r') out.push_back(u'\r');
    else if (e == u't') out.push_back(u'\t');
    else out.push_back(e);  // %% %. %! %space and any other character stand for themselves
  }
  if (width != 0 && width != FORMAT_MESSAGE_MAX_WIDTH_MASK) out = Wrap(out, width);
  return out.size() > limit ? Built::kTooLong : Built::kOk;
}

// Checks every insert before any argument is read, and counts the arguments a va_list must give.
bool CheckInserts(const WCHAR *p, bool from_array, std::size_t &needed, bool &has_inserts) {
  ArgumentPlan plan(from_array);
  has_inserts = false;
  while (*p != 0) {
    if (*p++ != u'%') continue;
    const WCHAR e = *p;
    if (e == 0 || e == u'0') break;
    if (e >= u'1' && e <= u'9') {
      Insert insert;
      p = ParseInsert(p, insert);
      if (p == nullptr) return false;
      plan.Start(insert);
      has_inserts = true;
      continue;
    }
    ++p;
  }
  needed = plan.needed();
  return true;
}

}  // namespace

DWORD FormatMessageW(DWORD flags, const void *source, DWORD message_id, DWORD language_id, WCHAR *buffer,
                     DWORD size, va_list *args) {
  if (buffer == nullptr) return Fail(ERROR_INVALID_PARAMETER);
  const bool allocate = (flags & FORMAT_MESSAGE_ALLOCATE_BUFFER) != 0;
  if (allocate) *reinterpret_cast<WCHAR **>(buffer) = nullptr;
  const DWORD sources = flags & (FORMAT_MESSAGE_FROM_STRING | FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_FROM_SYSTEM);
  if (sources != FORMAT_MESSAGE_FROM_STRING) {
    // Linux: there are no message tables, so a message can come from a string only.
    if (sources != 0 && (sources & FORMAT_MESSAGE_FROM_STRING) == 0) return Fail(ERROR_RESOURCE_NAME_NOT_FOUND);
    return Fail(ERROR_INVALID_PARAMETER);
  }
  if (source == nullptr) return Fail(ERROR_INVALID_PARAMETER);
  const auto *text = static_cast<const WCHAR *>(source);
  const bool ignore_inserts = (flags & FORMAT_MESSAGE_IGNORE_INSERTS) != 0;
  const bool from_array = (flags & FORMAT_MESSAGE_ARGUMENT_ARRAY) != 0;

  const DWORD_PTR *values = nullptr;
  std::vector<DWORD_PTR> fetched;
  if (!ignore_inserts) {
    std::size_t needed = 0;
    bool has_inserts = false;
    if (!CheckInserts(text, from_array, needed, has_inserts)) return Fail(ERROR_INVALID_PARAMETER);
    if (has_inserts && args == nullptr) return Fail(ERROR_INVALID_PARAMETER);
    if (from_array) {
      values = reinterpret_cast<const DWORD_PTR *>(args);
    } else if (needed != 0) {
      // A va_list is read in order, so the arguments are taken once into an array: each takes one
      // pointer-sized place, as messages pass integers, characters and pointers only.
      fetched.resize(needed);
      for (DWORD_PTR &v : fetched) v = va_arg(*args, DWORD_PTR);
      values = fetched.data();
    }
  }

  // A caller's buffer needs room for the terminator, even for an empty message.
  if (!allocate && size == 0) return Fail(ERROR_INSUFFICIENT_BUFFER);
  const std::size_t limit = allocate ? kMaxAllocatedUnits : size - std::size_t{1};
  std::u16string out;
  if (BuildMessage(text, ignore_inserts, from_array, values, flags & FORMAT_MESSAGE_MAX_WIDTH_MASK, limit, out) !=
      Built::kOk) {
    return Fail(allocate ? kErrorMoreData : ERROR_INSUFFICIENT_BUFFER);
  }

  WCHAR *target = buffer;
  if (allocate) {
    // An empty message allocates nothing: 0 is returned either way, and a caller that reads 0 as
    // failure then has nothing to free.
    if (out.empty()) {
      SetLastError(ERROR_SUCCESS);
      return 0;
    }
    const std::size_t units = std::max<std::size_t>(out.size() + 1, size);
    target = static_cast<WCHAR *>(LocalAlloc(LMEM_FIXED, units * sizeof(WCHAR)));
    if (target == nullptr) return Fail(ERROR_NOT_ENOUGH_MEMORY);
    *reinterpret_cast<WCHAR **>(buffer) = target;
  }
  std::memcpy(target, out.data(), out.size() * sizeof(WCHAR));
  target[out.size()] = 0;
  SetLastError(ERROR_SUCCESS);
  return static_cast<DWORD>(out.size());
}
