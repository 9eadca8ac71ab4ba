#include <kzcore/pal/wide.h>

#include <unicode/uchar.h>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include <cerrno>
#include <cstdint>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <type_traits>
#include <locale.h>

namespace {

// The first unit at or after s that is `c` or 0. Text scans are the hot path of String, so this
// reads 16 bytes at a time from aligned addresses: an aligned block never crosses a page, so no
// read reaches a page the string does not touch. The bytes of the first block before s are masked
// off. The reads outside the string's own bytes are deliberate, hence no address checking here.
#if defined(__SSE2__)
__attribute__((no_sanitize_address)) const WCHAR *FindUnitOrEnd(const WCHAR *s, WCHAR c) {
  const auto address = reinterpret_cast<std::uintptr_t>(s);
  if (address & 1) {
    while (*s != c && *s != 0) ++s;
    return s;
  }
  const __m128i wanted = _mm_set1_epi16(static_cast<short>(c));
  const __m128i zero = _mm_setzero_si128();
  const auto *block = reinterpret_cast<const __m128i *>(address & ~std::uintptr_t{15});
  __m128i x = _mm_load_si128(block);
  unsigned mask = static_cast<unsigned>(
      _mm_movemask_epi8(_mm_or_si128(_mm_cmpeq_epi16(x, wanted), _mm_cmpeq_epi16(x, zero))));
  mask &= ~0u << (address & 15);
  while (mask == 0) {
    x = _mm_load_si128(++block);
    mask = static_cast<unsigned>(
        _mm_movemask_epi8(_mm_or_si128(_mm_cmpeq_epi16(x, wanted), _mm_cmpeq_epi16(x, zero))));
  }
  return reinterpret_cast<const WCHAR *>(reinterpret_cast<const char *>(block) + __builtin_ctz(mask));
}
#else
const WCHAR *FindUnitOrEnd(const WCHAR *s, WCHAR c) {
  while (*s != c && *s != 0) ++s;
  return s;
}
#endif

}  // namespace

std::size_t wcslen(const WCHAR *s) { return static_cast<std::size_t>(FindUnitOrEnd(s, 0) - s); }

std::size_t wcsnlen(const WCHAR *s, std::size_t max) {
  std::size_t n = 0;
  while (n < max && s[n]) ++n;
  return n;
}

int lstrlenW(const WCHAR *s) { return s == nullptr ? 0 : static_cast<int>(wcslen(s)); }

WCHAR *wcscpy(WCHAR *dst, const WCHAR *src) {
  WCHAR *d = dst;
  while ((*d++ = *src++) != 0) {
  }
  return dst;
}

WCHAR *wcsncpy(WCHAR *dst, const WCHAR *src, std::size_t n) {
  std::size_t i = 0;
  for (; i < n && src[i]; ++i) dst[i] = src[i];
  for (; i < n; ++i) dst[i] = 0;
  return dst;
}

WCHAR *wcscat(WCHAR *dst, const WCHAR *src) {
  wcscpy(dst + wcslen(dst), src);
  return dst;
}

int wcscmp(const WCHAR *a, const WCHAR *b) {
  while (*a && *a == *b) ++a, ++b;
  return *a < *b ? -1 : (*a > *b ? 1 : 0);
}

int wcsncmp(const WCHAR *a, const WCHAR *b, std::size_t n) {
  for (; n; --n, ++a, ++b) {
    if (*a != *b) return *a < *b ? -1 : 1;
    if (*a == 0) return 0;
  }
  return 0;
}

const WCHAR *wcschr(const WCHAR *s, WCHAR c) {
  const WCHAR *hit = FindUnitOrEnd(s, c);
  return *hit == c ? hit : nullptr;
}
WCHAR *wcschr(WCHAR *s, WCHAR c) { return const_cast<WCHAR *>(wcschr(static_cast<const WCHAR *>(s), c)); }

const WCHAR *wcsrchr(const WCHAR *s, WCHAR c) {
  const WCHAR *hit = nullptr;
  for (;; ++s) {
    if (*s == c) hit = s;
    if (*s == 0) return hit;
  }
}
WCHAR *wcsrchr(WCHAR *s, WCHAR c) { return const_cast<WCHAR *>(wcsrchr(static_cast<const WCHAR *>(s), c)); }

const WCHAR *wcsstr(const WCHAR *s, const WCHAR *needle) {
  if (*needle == 0) return s;
  const WCHAR first = *needle;
  const std::size_t rest = wcslen(needle + 1);
  for (; (s = wcschr(s, first)) != nullptr; ++s) {
    if (wcsncmp(s + 1, needle + 1, rest) == 0) return s;
  }
  return nullptr;
}
WCHAR *wcsstr(WCHAR *s, const WCHAR *needle) {
  return const_cast<WCHAR *>(wcsstr(static_cast<const WCHAR *>(s), needle));
}

const WCHAR *wcspbrk(const WCHAR *s, const WCHAR *set) {
  for (; *s; ++s)
    for (const WCHAR *c = set; *c; ++c)
      if (*s == *c) return s;
  return nullptr;
}
WCHAR *wcspbrk(WCHAR *s, const WCHAR *set) {
  return const_cast<WCHAR *>(wcspbrk(static_cast<const WCHAR *>(s), set));
}

std::size_t wcsspn(const WCHAR *s, const WCHAR *set) {
  std::size_t n = 0;
  while (s[n] && wcschr(set, s[n]) != nullptr) ++n;
  return n;
}

std::size_t wcscspn(const WCHAR *s, const WCHAR *set) {
  std::size_t n = 0;
  while (s[n] && wcschr(set, s[n]) == nullptr) ++n;
  return n;
}

namespace {

bool IsSurrogate(WCHAR c) { return c >= 0xD800 && c <= 0xDFFF; }

// Lower-case table for the whole BMP, built once: _wcsicmp and the searches call towlower in
// their inner loops.
struct CaseTables {
  WCHAR lower[0x10000];
  WCHAR upper[0x10000];
  CaseTables() {
    for (UChar32 c = 0; c < 0x10000; ++c) {
      if (IsSurrogate(static_cast<WCHAR>(c))) {
        lower[c] = upper[c] = static_cast<WCHAR>(c);
        continue;
      }
      UChar32 l = u_tolower(c), u = u_toupper(c);
      lower[c] = static_cast<WCHAR>(l < 0x10000 ? l : c);
      upper[c] = static_cast<WCHAR>(u < 0x10000 ? u : c);
    }
  }
};

const CaseTables &Cases() {
  static const CaseTables *tables = new CaseTables;  // lives to the end of the process
  return *tables;
}

}  // namespace

WCHAR towlower(WCHAR c) {
  if (c < 0x80) return (c >= u'A' && c <= u'Z') ? static_cast<WCHAR>(c + 32) : c;
  return Cases().lower[c];
}

WCHAR towupper(WCHAR c) {
  if (c < 0x80) return (c >= u'a' && c <= u'z') ? static_cast<WCHAR>(c - 32) : c;
  return Cases().upper[c];
}

int _wcsicmp(const WCHAR *a, const WCHAR *b) {
  for (;; ++a, ++b) {
    WCHAR x = towlower(*a), y = towlower(*b);
    if (x != y) return x < y ? -1 : 1;
    if (x == 0) return 0;
  }
}

int _wcsnicmp(const WCHAR *a, const WCHAR *b, std::size_t n) {
  for (; n; --n, ++a, ++b) {
    WCHAR x = towlower(*a), y = towlower(*b);
    if (x != y) return x < y ? -1 : 1;
    if (x == 0) return 0;
  }
  return 0;
}

WCHAR *_wcsdup(const WCHAR *s) {
  if (s == nullptr) return nullptr;
  std::size_t n = wcslen(s) + 1;
  auto *d = static_cast<WCHAR *>(std::malloc(n * sizeof(WCHAR)));
  if (d != nullptr) std::memcpy(d, s, n * sizeof(WCHAR));
  return d;
}

WCHAR *_wcslwr(WCHAR *s) {
  for (WCHAR *p = s; *p; ++p) *p = towlower(*p);
  return s;
}

WCHAR *_wcsupr(WCHAR *s) {
  for (WCHAR *p = s; *p; ++p) *p = towupper(*p);
  return s;
}

int iswalpha(WCHAR c) { return !IsSurrogate(c) && u_isalpha(c); }
int iswdigit(WCHAR c) { return c >= u'0' && c <= u'9'; }
int iswalnum(WCHAR c) { return !IsSurrogate(c) && u_isalnum(c); }
int iswspace(WCHAR c) { return (c >= 9 && c <= 13) || (!IsSurrogate(c) && u_isspace(c)); }
int iswupper(WCHAR c) { return !IsSurrogate(c) && u_isupper(c); }
int iswlower(WCHAR c) { return !IsSurrogate(c) && u_islower(c); }
int iswprint(WCHAR c) { return !IsSurrogate(c) && u_isprint(c); }
int iswxdigit(WCHAR c) {
  return (c >= u'0' && c <= u'9') || (c >= u'a' && c <= u'f') || (c >= u'A' && c <= u'F');
}

namespace {

// Reads an integer in the C runtime's way into an unsigned 64-bit magnitude. `limit` is the largest
// magnitude allowed for the sign that was read; beyond it the result saturates and `overflow` is set.
struct IntegerScan {
  ULONGLONG magnitude = 0;
  bool negative = false;
  bool overflow = false;
  const WCHAR *end;
};

int DigitValue(WCHAR c) {
  if (c >= u'0' && c <= u'9') return c - u'0';
  if (c >= u'a' && c <= u'z') return c - u'a' + 10;
  if (c >= u'A' && c <= u'Z') return c - u'A' + 10;
  return 99;
}

IntegerScan ScanInteger(const WCHAR *s, int base, ULONGLONG positive_limit, ULONGLONG negative_limit) {
  IntegerScan r;
  r.end = s;
  if (s == nullptr || base < 0 || base == 1 || base > 36) return r;
  const WCHAR *p = s;
  while (iswspace(*p)) ++p;
  if (*p == u'-' || *p == u'+') r.negative = *p++ == u'-';
  if ((base == 0 || base == 16) && p[0] == u'0' && (p[1] == u'x' || p[1] == u'X') && DigitValue(p[2]) < 16) {
    p += 2;
    base = 16;
  } else if (base == 0) {
    base = p[0] == u'0' ? 8 : 10;
  }
  const ULONGLONG limit = r.negative ? negative_limit : positive_limit;
  const WCHAR *digits = p;
  for (int d; (d = DigitValue(*p)) < base; ++p) {
    if (r.magnitude > (limit - static_cast<ULONGLONG>(d)) / static_cast<ULONGLONG>(base)) {
      r.overflow = true;
    } else {
      r.magnitude = r.magnitude * static_cast<ULONGLONG>(base) + static_cast<ULONGLONG>(d);
    }
  }
  if (p == digits) {
    r.negative = false;
    return r;  // no digits: nothing read, end at the start
  }
  r.end = p;
  if (r.overflow) {
    errno = ERANGE;
    r.magnitude = limit;
  }
  return r;
}

void SetEnd(WCHAR **end, const IntegerScan &r) {
  if (end != nullptr) *end = const_cast<WCHAR *>(r.end);
}

template <class T>
T Signed(const WCHAR *s, WCHAR **end, int base) {
  using U = std::make_unsigned_t<T>;
  const auto max = static_cast<ULONGLONG>(std::numeric_limits<T>::max());
  IntegerScan r = ScanInteger(s, base, max, max + 1);
  SetEnd(end, r);
  return r.negative ? static_cast<T>(U(0) - static_cast<U>(r.magnitude)) : static_cast<T>(r.magnitude);
}

// Unsigned reads accept a sign and negate the magnitude, as the C runtime does.
template <class U>
U Unsigned(const WCHAR *s, WCHAR **end, int base) {
  const auto max = static_cast<ULONGLONG>(std::numeric_limits<U>::max());
  IntegerScan r = ScanInteger(s, base, max, max);
  SetEnd(end, r);
  if (r.overflow) return static_cast<U>(max);
  return r.negative ? static_cast<U>(U(0) - static_cast<U>(r.magnitude)) : static_cast<U>(r.magnitude);
}

}  // namespace

LONG wcstol(const WCHAR *s, WCHAR **end, int base) { return Signed<LONG>(s, end, base); }
ULONG wcstoul(const WCHAR *s, WCHAR **end, int base) { return Unsigned<ULONG>(s, end, base); }
LONGLONG wcstoll(const WCHAR *s, WCHAR **end, int base) { return Signed<LONGLONG>(s, end, base); }
ULONGLONG wcstoull(const WCHAR *s, WCHAR **end, int base) { return Unsigned<ULONGLONG>(s, end, base); }
LONGLONG _wcstoi64(const WCHAR *s, WCHAR **end, int base) { return Signed<LONGLONG>(s, end, base); }
LONG _wtol(const WCHAR *s) { return Signed<LONG>(s, nullptr, 10); }
int _wtoi(const WCHAR *s) { return Signed<LONG>(s, nullptr, 10); }
LONGLONG _wtoi64(const WCHAR *s) { return Signed<LONGLONG>(s, nullptr, 10); }

namespace {

locale_t CLocale() {
  static locale_t c = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(nullptr));
  return c;
}

}  // namespace

double wcstod(const WCHAR *s, WCHAR **end) {
  if (s == nullptr) {
    if (end != nullptr) *end = nullptr;
    return 0.0;
  }
  // A number is ASCII: copy the ASCII prefix (bounded) and let strtod_l read it in the C locale.
  const WCHAR *p = s;
  while (iswspace(*p)) ++p;
  char small[128];
  std::size_t n = 0;
  while (p[n] > 0 && p[n] < 0x80) ++n;
  char *buf = n < sizeof small ? small : static_cast<char *>(std::malloc(n + 1));
  if (buf == nullptr) {
    if (end != nullptr) *end = const_cast<WCHAR *>(s);
    return 0.0;
  }
  for (std::size_t i = 0; i < n; ++i) buf[i] = static_cast<char>(p[i]);
  buf[n] = 0;
  char *stop = buf;
  double v = strtod_l(buf, &stop, CLocale());
  std::size_t used = static_cast<std::size_t>(stop - buf);
  if (buf != small) std::free(buf);
  if (end != nullptr) *end = const_cast<WCHAR *>(used ? p + used : s);
  return v;
}

double _wtof(const WCHAR *s) { return wcstod(s, nullptr); }

namespace {

// Decodes one UTF-8 character at s (a 0 byte is the end). Returns its length in bytes and the code
// point, or 0 for an invalid sequence (overlong forms, surrogates, beyond U+10FFFF, cut short).
int DecodeUtf8(const unsigned char *s, char32_t &cp) {
  unsigned char b = s[0];
  if (b < 0x80) {
    cp = b;
    return 1;
  }
  int len;
  char32_t min;
  if (b >= 0xC2 && b <= 0xDF) {
    len = 2, cp = b & 0x1F, min = 0x80;
  } else if (b >= 0xE0 && b <= 0xEF) {
    len = 3, cp = b & 0x0F, min = 0x800;
  } else if (b >= 0xF0 && b <= 0xF4) {
    len = 4, cp = b & 0x07, min = 0x10000;
  } else {
    return 0;
  }
  for (int i = 1; i < len; ++i) {
    if ((s[i] & 0xC0) != 0x80) return 0;
    cp = (cp << 6) | (s[i] & 0x3F);
  }
  if (cp < min || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return 0;
  return len;
}

}  // namespace

std::size_t mbstowcs(WCHAR *dst, const char *src, std::size_t count) {
  if (src == nullptr) return static_cast<std::size_t>(-1);
  auto *s = reinterpret_cast<const unsigned char *>(src);
  std::size_t out = 0;
  while (*s) {
    char32_t cp;
    int len = DecodeUtf8(s, cp);
    if (len == 0) {
      if (dst != nullptr && out < count) dst[out] = 0;
      return static_cast<std::size_t>(-1);
    }
    const std::size_t units = cp >= 0x10000 ? 2 : 1;
    if (dst != nullptr) {
      if (out + units > count) return out;  // full: no terminator, as the C runtime does
      if (units == 2) {
        dst[out] = static_cast<WCHAR>(0xD800 + ((cp - 0x10000) >> 10));
        dst[out + 1] = static_cast<WCHAR>(0xDC00 + ((cp - 0x10000) & 0x3FF));
      } else {
        dst[out] = static_cast<WCHAR>(cp);
      }
    }
    out += units;
    s += len;
  }
  if (dst != nullptr && out < count) dst[out] = 0;
  return out;
}

std::size_t wcstombs(char *dst, const WCHAR *src, std::size_t count) {
  if (src == nullptr) return static_cast<std::size_t>(-1);
  std::size_t out = 0;
  for (const WCHAR *p = src; *p; ++p) {
    char32_t cp = *p;
    if (cp >= 0xD800 && cp <= 0xDBFF && p[1] >= 0xDC00 && p[1] <= 0xDFFF) {
      cp = 0x10000 + ((cp - 0xD800) << 10) + (p[1] - 0xDC00);
      ++p;
    } else if (cp >= 0xD800 && cp <= 0xDFFF) {
      return static_cast<std::size_t>(-1);
    }
    unsigned char bytes[4];
    std::size_t n;
    if (cp < 0x80) {
      bytes[0] = static_cast<unsigned char>(cp), n = 1;
    } else if (cp < 0x800) {
      bytes[0] = static_cast<unsigned char>(0xC0 | (cp >> 6));
      bytes[1] = static_cast<unsigned char>(0x80 | (cp & 0x3F)), n = 2;
    } else if (cp < 0x10000) {
      bytes[0] = static_cast<unsigned char>(0xE0 | (cp >> 12));
      bytes[1] = static_cast<unsigned char>(0x80 | ((cp >> 6) & 0x3F));
      bytes[2] = static_cast<unsigned char>(0x80 | (cp & 0x3F)), n = 3;
    } else {
      bytes[0] = static_cast<unsigned char>(0xF0 | (cp >> 18));
      bytes[1] = static_cast<unsigned char>(0x80 | ((cp >> 12) & 0x3F));
      bytes[2] = static_cast<unsigned char>(0x80 | ((cp >> 6) & 0x3F));
      bytes[3] = static_cast<unsigned char>(0x80 | (cp & 0x3F)), n = 4;
    }
    if (dst != nullptr) {
      if (out + n > count) return out;
      std::memcpy(dst + out, bytes, n);
    }
    out += n;
  }
  if (dst != nullptr && out < count) dst[out] = 0;
  return out;
}
