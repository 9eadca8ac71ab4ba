#include <kzcore/pal/code_page.h>

#include <climits>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include <kzcore/pal/sync.h>
#include <kzcore/pal/wide.h>

namespace {

constexpr char32_t kInvalid = 0xFFFFFFFF;
constexpr WCHAR kReplacement = 0xFFFD;

bool IsHigh(char32_t u) { return u >= 0xD800 && u <= 0xDBFF; }
bool IsLow(char32_t u) { return u >= 0xDC00 && u <= 0xDFFF; }

int Fail(DWORD error) {
  SetLastError(error);
  return 0;
}

// The two passes of a conversion in either direction: `measure(bad)` counts the units of the
// output and sets `bad` on input it cannot carry over, `write(bad)` writes them. A capacity of 0
// asks for the count alone.
template <class Measure, class Write>
int MeasureThenWrite(int capacity, bool strict, Measure measure, Write write) {
  bool bad = false;
  const std::size_t needed = measure(bad);
  if (strict && bad) return Fail(ERROR_NO_UNICODE_TRANSLATION);
  if (needed > INT_MAX) return Fail(ERROR_INVALID_PARAMETER);
  if (capacity == 0) return static_cast<int>(needed);
  if (needed > static_cast<std::size_t>(capacity)) return Fail(ERROR_INSUFFICIENT_BUFFER);
  write(bad);
  return static_cast<int>(needed);
}

// UTF-16 to UTF-8

// Bytes of the UTF-8 form of [s, end); `lone` is set when an unpaired surrogate is met (it takes
// the three bytes of U+FFFD).
std::size_t Utf8Size(const WCHAR *s, const WCHAR *end, bool &lone) {
  std::size_t bytes = 0;
  while (s < end) {
#if defined(__SSE2__)
    if (end - s >= 8) {
      const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(s));
      if (_mm_movemask_epi8(_mm_cmpeq_epi16(_mm_and_si128(v, _mm_set1_epi16(static_cast<short>(0xFF80))),
                                            _mm_setzero_si128())) == 0xFFFF) {
        bytes += 8;
        s += 8;
        continue;
      }
    }
#endif
    const char32_t u = *s++;
    if (u < 0x80) {
      bytes += 1;
    } else if (u < 0x800) {
      bytes += 2;
    } else if (IsHigh(u) && s < end && IsLow(*s)) {
      bytes += 4;
      ++s;
    } else {
      if (IsHigh(u) || IsLow(u)) lone = true;
      bytes += 3;
    }
  }
  return bytes;
}

// Writes one unit (or the pair starting at it) and returns the units used. The caller has made
// sure that four bytes fit.
inline int PutUtf8(const WCHAR *s, const WCHAR *end, char *&out, bool &lone) {
  char32_t u = s[0];
  auto *o = reinterpret_cast<unsigned char *>(out);
  if (u < 0x80) {
    *o++ = static_cast<unsigned char>(u);
  } else if (u < 0x800) {
    o[0] = static_cast<unsigned char>(0xC0 | (u >> 6));
    o[1] = static_cast<unsigned char>(0x80 | (u & 0x3F));
    o += 2;
  } else {
    if (IsHigh(u) && s + 1 < end && IsLow(s[1])) {
      u = 0x10000 + ((u - 0xD800) << 10) + (s[1] - 0xDC00);
      o[0] = static_cast<unsigned char>(0xF0 | (u >> 18));
      o[1] = static_cast<unsigned char>(0x80 | ((u >> 12) & 0x3F));
      o[2] = static_cast<unsigned char>(0x80 | ((u >> 6) & 0x3F));
      o[3] = static_cast<unsigned char>(0x80 | (u & 0x3F));
      out = reinterpret_cast<char *>(o + 4);
      return 2;
    }
    if (IsHigh(u) || IsLow(u)) {
      lone = true;
      u = kReplacement;
    }
    o[0] = static_cast<unsigned char>(0xE0 | (u >> 12));
    o[1] = static_cast<unsigned char>(0x80 | ((u >> 6) & 0x3F));
    o[2] = static_cast<unsigned char>(0x80 | (u & 0x3F));
    o += 3;
  }
  out = reinterpret_cast<char *>(o);
  return 1;
}

// Converts [s, end) into `out`, which has room for Utf8Size bytes; returns the end of the output.
char *WriteUtf8(const WCHAR *s, const WCHAR *end, char *out, bool &lone) {
#if defined(__SSE2__)
  const __m128i high_bits = _mm_set1_epi16(static_cast<short>(0xFF80));
  const __m128i zero = _mm_setzero_si128();
  while (end - s >= 16) {
    const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i *>(s));
    const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i *>(s + 8));
    // One bit for each ASCII unit.
    const unsigned ascii = static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(
        _mm_cmpeq_epi16(_mm_and_si128(a, high_bits), zero), _mm_cmpeq_epi16(_mm_and_si128(b, high_bits), zero))));
    // The sixteen units narrowed in one store; as many bytes are kept as there are ASCII units
    // before the first other one. The output has room for the store, since every unit still to
    // come takes at least one byte.
    _mm_storeu_si128(reinterpret_cast<__m128i *>(out), _mm_packus_epi16(a, b));
    if (ascii == 0xFFFF) {
      s += 16;
      out += 16;
      continue;
    }
    const int prefix = __builtin_ctz(~ascii);
    s += prefix;
    out += prefix;
    // Then the run of other units, which in most scripts goes on for a while.
    do s += PutUtf8(s, end, out, lone);
    while (s < end && *s >= 0x80);
  }
#endif
  while (s < end) s += PutUtf8(s, end, out, lone);
  return out;
}

// UTF-8 to UTF-16

// Decodes the sequence at p (p < end) and returns the bytes it takes. An invalid sequence gives
// kInvalid and the length of its maximal part: the lead byte and the continuation bytes that
// could still begin a valid sequence, or the single byte when it can begin none.
inline int Decode(const unsigned char *p, const unsigned char *end, char32_t &cp) {
  const unsigned b0 = p[0];
  if (b0 < 0x80) {
    cp = b0;
    return 1;
  }
  int need;
  unsigned lo = 0x80, hi = 0xBF;
  char32_t v;
  if (b0 >= 0xC2 && b0 <= 0xDF) {
    need = 1;
    v = b0 & 0x1F;
  } else if (b0 >= 0xE0 && b0 <= 0xEF) {
    need = 2;
    v = b0 & 0x0F;
    if (b0 == 0xE0) lo = 0xA0;       // no overlong forms
    else if (b0 == 0xED) hi = 0x9F;  // no encoded surrogates
  } else if (b0 >= 0xF0 && b0 <= 0xF4) {
    need = 3;
    v = b0 & 0x07;
    if (b0 == 0xF0) lo = 0x90;       // no overlong forms
    else if (b0 == 0xF4) hi = 0x8F;  // nothing beyond U+10FFFF
  } else {
    cp = kInvalid;
    return 1;
  }
  for (int i = 1; i <= need; ++i) {
    if (p + i >= end) {
      cp = kInvalid;
      return i;
    }
    const unsigned b = p[i];
    if (b < lo || b > hi) {
      cp = kInvalid;
      return i;
    }
    lo = 0x80;
    hi = 0xBF;
    v = (v << 6) | (b & 0x3F);
  }
  cp = v;
  return need + 1;
}

#if defined(__SSE2__)
inline bool Ascii16(const unsigned char *p) {
  return _mm_movemask_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i *>(p))) == 0;
}
#endif

// Units of the UTF-16 form of [p, end); `invalid` is set when a sequence had to be replaced.
std::size_t Utf16Size(const unsigned char *p, const unsigned char *end, bool &invalid) {
  std::size_t units = 0;
  while (p < end) {
#if defined(__SSE2__)
    if (end - p >= 16 && Ascii16(p)) {
      units += 16;
      p += 16;
      continue;
    }
#endif
    if (*p < 0x80) {
      ++units;
      ++p;
      continue;
    }
    char32_t cp;
    p += Decode(p, end, cp);
    if (cp == kInvalid) invalid = true;
    units += cp != kInvalid && cp >= 0x10000 ? 2 : 1;
  }
  return units;
}

// Converts [p, end) into `out`, which has room for Utf16Size units; returns the end of the output.
WCHAR *WriteUtf16(const unsigned char *p, const unsigned char *end, WCHAR *out, bool &invalid) {
  while (p < end) {
#if defined(__SSE2__)
    if (end - p >= 16 && Ascii16(p)) {
      const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(p));
      _mm_storeu_si128(reinterpret_cast<__m128i *>(out), _mm_unpacklo_epi8(v, _mm_setzero_si128()));
      _mm_storeu_si128(reinterpret_cast<__m128i *>(out + 8), _mm_unpackhi_epi8(v, _mm_setzero_si128()));
      p += 16;
      out += 16;
      continue;
    }
#endif
    if (*p < 0x80) {
      *out++ = *p++;
      continue;
    }
    char32_t cp;
    p += Decode(p, end, cp);
    if (cp == kInvalid) {
      invalid = true;
      *out++ = kReplacement;
    } else if (cp >= 0x10000) {
      out[0] = static_cast<WCHAR>(0xD800 + ((cp - 0x10000) >> 10));
      out[1] = static_cast<WCHAR>(0xDC00 + ((cp - 0x10000) & 0x3FF));
      out += 2;
    } else {
      *out++ = static_cast<WCHAR>(cp);
    }
  }
  return out;
}

}  // namespace

int MultiByteToWideChar(UINT code_page, DWORD flags, LPCSTR text, int bytes, LPWSTR buffer, int units) {
  if (code_page != CP_UTF8) return Fail(ERROR_INVALID_PARAMETER);
  if (flags & ~MB_ERR_INVALID_CHARS) return Fail(ERROR_INVALID_FLAGS);
  if (text == nullptr || bytes == 0 || units < 0 || (units > 0 && buffer == nullptr) ||
      (buffer != nullptr && static_cast<const void *>(buffer) == static_cast<const void *>(text)))
    return Fail(ERROR_INVALID_PARAMETER);
  const std::size_t length = bytes < 0 ? std::strlen(text) + 1 : static_cast<std::size_t>(bytes);
  const auto *begin = reinterpret_cast<const unsigned char *>(text);
  const auto *end = begin + length;
  const bool strict = flags & MB_ERR_INVALID_CHARS;

  // A UTF-8 text never has more units than bytes, so a buffer that large needs no first pass.
  if (units > 0 && length <= static_cast<std::size_t>(units) && !strict) {
    bool invalid = false;
    return static_cast<int>(WriteUtf16(begin, end, buffer, invalid) - buffer);
  }
  return MeasureThenWrite(
      units, strict, [&](bool &invalid) { return Utf16Size(begin, end, invalid); },
      [&](bool &invalid) { WriteUtf16(begin, end, buffer, invalid); });
}

int WideCharToMultiByte(UINT code_page, DWORD flags, LPCWSTR text, int units, LPSTR buffer, int bytes,
                        LPCSTR default_char, BOOL *used_default_char) {
  if (code_page != CP_UTF8) return Fail(ERROR_INVALID_PARAMETER);
  if (flags & ~WC_ERR_INVALID_CHARS) return Fail(ERROR_INVALID_FLAGS);
  if (text == nullptr || units == 0 || bytes < 0 || (bytes > 0 && buffer == nullptr) ||
      default_char != nullptr || used_default_char != nullptr ||
      (buffer != nullptr && static_cast<const void *>(buffer) == static_cast<const void *>(text)))
    return Fail(ERROR_INVALID_PARAMETER);
  const std::size_t length = units < 0 ? wcslen(text) + 1 : static_cast<std::size_t>(units);
  const WCHAR *end = text + length;
  const bool strict = flags & WC_ERR_INVALID_CHARS;

  // No unit takes more than three bytes (a pair takes four for its two units).
  if (bytes > 0 && length <= static_cast<std::size_t>(bytes) / 3 && !strict) {
    bool lone = false;
    return static_cast<int>(WriteUtf8(text, end, buffer, lone) - buffer);
  }
  return MeasureThenWrite(
      bytes, strict, [&](bool &lone) { return Utf8Size(text, end, lone); },
      [&](bool &lone) { WriteUtf8(text, end, buffer, lone); });
}
