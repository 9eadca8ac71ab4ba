#include <kzcore/core/text_conversions.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include <kzcore/pal/locale.h>
#include <kzcore/pal/memory.h>
#include <kzcore/pal/wide.h>

namespace {

// Output gathered in runs and appended to a String a run at a time: an append per unit would
// check the block each time.
class Output {
 public:
  explicit Output(String &target) : target_(target) {}
  ~Output() { Flush(); }
  // Room for at least `n` more units (n at most kRoom).
  WCHAR *Reserve(std::size_t n) {
    if (used_ + n > kRoom) Flush();
    return buffer_ + used_;
  }
  void Commit(std::size_t n) { used_ += n; }
  void Put(WCHAR unit) {
    if (unit == 0) return;  // as String's operator+= with a unit
    *Reserve(1) = unit;
    ++used_;
  }
  void Put(const WCHAR *text) {
    for (; *text != 0; ++text) Put(*text);
  }
  void Flush() {
    if (used_ == 0) return;
    buffer_[used_] = 0;
    target_ += buffer_;
    used_ = 0;
  }

 private:
  static constexpr std::size_t kRoom = 1024;
  String &target_;
  WCHAR buffer_[kRoom + 1];
  std::size_t used_ = 0;
};

// The units escapeJSONString copies as they are, for the whole plane: printable (iswprint, asked
// once per unit here rather than for each unit of each text) and none of the quote, the backslash
// and the angle brackets. 0 is not printable.
class PlainTable {
 public:
  PlainTable() {
    for (std::uint32_t u = 0; u < 0x10000; ++u) {
      const bool plain = iswprint(static_cast<WCHAR>(u)) && u != u'"' && u != u'\\' && u != u'<' && u != u'>';
      if (plain) bits_[u >> 6] |= std::uint64_t{1} << (u & 63);
    }
  }
  // 1 for a plain unit, else 0: an integer, so that lookups combine with & without branches.
  unsigned operator()(WCHAR u) const { return static_cast<unsigned>((bits_[u >> 6] >> (u & 63)) & 1); }

 private:
  std::array<std::uint64_t, 1024> bits_{};
};

const PlainTable &Plain() {
  static const PlainTable table;
  return table;
}

#if defined(__SSE2__)
// Whether eight units are all plain ASCII: 0x20 to 0x7E without the four escaped ones.
inline bool PlainAscii8(const WCHAR *p) {
  const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(p));
  // Signed compares: units from 0x8000 are negative and fail the first test.
  __m128i ok = _mm_and_si128(_mm_cmpgt_epi16(v, _mm_set1_epi16(0x1F)), _mm_cmplt_epi16(v, _mm_set1_epi16(0x7F)));
  const __m128i special = _mm_or_si128(
      _mm_or_si128(_mm_cmpeq_epi16(v, _mm_set1_epi16(u'"')), _mm_cmpeq_epi16(v, _mm_set1_epi16(u'\\'))),
      _mm_or_si128(_mm_cmpeq_epi16(v, _mm_set1_epi16(u'<')), _mm_cmpeq_epi16(v, _mm_set1_epi16(u'>'))));
  ok = _mm_andnot_si128(special, ok);
  return _mm_movemask_epi8(ok) == 0xFFFF;
}
#endif

constexpr char kUpperHex[] = "0123456789ABCDEF";

// The short escape of a unit below 128 ("\n" gives 'n'), or 0 when it has none.
constexpr WCHAR ShortEscape(WCHAR u) {
  switch (u) {
    case 8: return u'b';
    case 9: return u't';
    case 10: return u'n';
    case 12: return u'f';
    case 13: return u'r';
    case u'"': return u'"';
    case u'\\': return u'\\';
    default: return 0;
  }
}

int HexValue(WCHAR c) {
  if (c >= u'0' && c <= u'9') return c - u'0';
  if (c >= u'a' && c <= u'f') return c - u'a' + 10;
  if (c >= u'A' && c <= u'F') return c - u'A' + 10;
  return 0;  // not a digit: counts as 0
}

WCHAR HexUnit(const WCHAR *digits, int count) {
  unsigned value = 0;
  for (int i = 0; i < count; ++i) value = value * 16 + static_cast<unsigned>(HexValue(digits[i]));
  return static_cast<WCHAR>(value);
}

}  // namespace

String escapeJSONString(String text) {
  const ULONG length = text.GetLength();
  // Most texts need few escapes: room for the text and a little more.
  String result(static_cast<const WCHAR *>(nullptr), length + length / 16 + 8);
  const PlainTable &plain = Plain();
  const WCHAR *p = text;
  const WCHAR *const end = p + length;
  Output out(result);
  constexpr std::ptrdiff_t kRun = 256;
  while (p < end) {
    // A run of units that stay as they are, copied straight into the output.
    const WCHAR *const stop = end - p > kRun ? p + kRun : end;
    WCHAR *const to = out.Reserve(kRun);
    WCHAR *t = to;
#if defined(__SSE2__)
    while (stop - p >= 8 && PlainAscii8(p)) {
      _mm_storeu_si128(reinterpret_cast<__m128i *>(t), _mm_loadu_si128(reinterpret_cast<const __m128i *>(p)));
      p += 8;
      t += 8;
    }
#endif
    // Other scripts four units at a time: independent lookups, one branch.
    while (stop - p >= 4 && (plain(p[0]) & plain(p[1]) & plain(p[2]) & plain(p[3]))) {
      std::memcpy(t, p, 4 * sizeof(WCHAR));
      p += 4;
      t += 4;
    }
    while (p < stop && plain(*p)) *t++ = *p++;
    out.Commit(static_cast<std::size_t>(t - to));
    if (p == stop) continue;

    const WCHAR u = *p++;
    if (u == 0) continue;  // dropped
    WCHAR *e = out.Reserve(6);
    if (const WCHAR short_form = u < 0x80 ? ShortEscape(u) : 0) {
      e[0] = u'\\';
      e[1] = short_form;
      out.Commit(2);
      continue;
    }
    // "<" and ">" have fixed forms with lower-case digits; any other unit takes upper case.
    const char *digits = u == u'<' || u == u'>' ? "0123456789abcdef" : kUpperHex;
    e[0] = u'\\';
    e[1] = u'u';
    e[2] = static_cast<WCHAR>(digits[(u >> 12) & 0xF]);
    e[3] = static_cast<WCHAR>(digits[(u >> 8) & 0xF]);
    e[4] = static_cast<WCHAR>(digits[(u >> 4) & 0xF]);
    e[5] = static_cast<WCHAR>(digits[u & 0xF]);
    out.Commit(6);
  }
  out.Flush();
  return result;
}

String unescapeJSONString(const WCHAR *text, LONG length) {
  if (text == nullptr || length < 1) return String();
  return unescapeJSONString(text, text + length);
}

String unescapeJSONString(const WCHAR *begin, const WCHAR *end) {
  if (begin == nullptr || end == nullptr || end - begin < 1) return String();
  const std::ptrdiff_t span = end - begin;
  String result(static_cast<const WCHAR *>(nullptr), span > 0x7FFFFFF0 ? 0 : static_cast<ULONG>(span));
  Output out(result);
  const WCHAR *p = begin;
  while (p < end) {
    const WCHAR u = *p;
    if (u == 0) break;
    if (u != u'\\') {
      out.Put(u);
      ++p;
      continue;
    }
    if (end - p < 2) break;  // a backslash at the last position ends the work
    const WCHAR next = p[1];
    p += 2;
    switch (next) {
      case u'"':
      case u'/':
      case u'\\': out.Put(next); break;
      case u'b': out.Put(8); break;
      case u'f': out.Put(12); break;
      case u'n': out.Put(10); break;
      case u'r': out.Put(13); break;
      case u't': out.Put(9); break;
      case u'u':
        // Four digits after the "u"; an escape cut short gives nothing.
        if (end - p >= 4) {
          out.Put(HexUnit(p, 4));
          p += 4;
        }
        break;
      case u'x':
        if (end - p >= 2) {
          out.Put(HexUnit(p, 2));
          p += 2;
        }
        break;
      case 0: p = end; break;  // a 0 unit ends the work, after a backslash too
      default: break;          // dropped with its backslash
    }
  }
  out.Flush();
  return result;
}

namespace {

// The separators ApplyFormatMask writes, read from the user's locale when first needed.
class MaskSeparator {
 public:
  MaskSeparator(LCTYPE item, WCHAR fallback) : item_(item), fallback_(fallback) {}
  const WCHAR *Text() {
    if (!loaded_) {
      loaded_ = true;
      if (GetLocaleInfoW(LOCALE_USER_DEFAULT, item_, text_, kSize) == 0) {
        text_[0] = fallback_;
        text_[1] = 0;
      }
    }
    return text_;
  }

 private:
  static constexpr int kSize = 16;
  LCTYPE item_;
  WCHAR fallback_;
  bool loaded_ = false;
  WCHAR text_[kSize] = {};
};

}  // namespace

String ApplyFormatMask(const String &text, const String &mask) {
  String result;
  MaskSeparator decimal(LOCALE_SDECIMAL, u'.'), thousand(LOCALE_STHOUSAND, u','), date(LOCALE_SDATE, u'/'),
      time(LOCALE_STIME, u':');
  enum class CaseRule { kNone, kUpper, kLower } case_rule = CaseRule::kNone;

  const WCHAR *t = text;
  const ULONG t_length = text.GetLength();
  const WCHAR *m = mask;
  const ULONG m_length = mask.GetLength();
  ULONG ti = 0, mi = 0;

  // The mask unit last applied, for "*"; a literal from "\" stays a literal when repeated.
  WCHAR last = 0;
  bool last_literal = true;
  bool repeating = false;

  auto separator_for = [&](WCHAR unit) -> MaskSeparator * {
    switch (unit) {
      case u'.': return &decimal;
      case u',': return &thousand;
      case u'/': return &date;
      case u':': return &time;
      default: return nullptr;
    }
  };
  // Whether applying the unit now takes a text unit.
  auto takes = [&](WCHAR unit, bool literal) {
    if (literal) return false;
    if (unit == u'@' || unit == u'#' || unit == u'&') return true;
    if (MaskSeparator *s = separator_for(unit)) return t[ti] == s->Text()[0] || t[ti] == unit;
    return false;
  };
  auto apply = [&](WCHAR unit, bool literal) {
    if (literal) {
      result += unit;
      return;
    }
    switch (unit) {
      case u'@': result += t[ti++]; return;
      case u'#': {
        const WCHAR c = t[ti++];
        if (iswdigit(c)) result += c;
        return;
      }
      case u'&': {
        WCHAR c = t[ti++];
        if (case_rule == CaseRule::kUpper && iswlower(c)) c = static_cast<WCHAR>(c - 32);
        if (case_rule == CaseRule::kLower && iswupper(c)) c = static_cast<WCHAR>(c + 32);
        result += c;
        return;
      }
      case u'>': case_rule = CaseRule::kUpper; return;
      case u'<': case_rule = CaseRule::kLower; return;
      case u'|': case_rule = CaseRule::kNone; return;
      default: break;
    }
    if (MaskSeparator *s = separator_for(unit)) {
      result += s->Text();
      if (t[ti] == s->Text()[0] || t[ti] == unit) ++ti;
      return;
    }
    result += unit;
  };

  while (ti < t_length && (repeating || mi < m_length)) {
    if (repeating) {
      if (t[ti] == u' ' || !takes(last, last_literal)) {
        repeating = false;
        continue;
      }
      apply(last, last_literal);
      continue;
    }
    WCHAR unit = m[mi++];
    bool literal = false;
    if (unit == u'*') {
      if (mi > 1) repeating = true;  // ignored at the first position
      continue;
    }
    if (unit == u'\\') {
      if (mi >= m_length) break;
      unit = m[mi++];
      literal = true;
    }
    apply(unit, literal);
    last = unit;
    last_literal = literal;
  }
  return result;
}

HGLOBAL PackageText(const String &text) {
  const SIZE_T bytes = SIZE_T{text.GetLength()} * sizeof(WCHAR) + sizeof(WCHAR);
  HGLOBAL block = GlobalAlloc(0, bytes);
  if (block == nullptr) return nullptr;
  void *to = GlobalLock(block);
  if (to == nullptr) {
    GlobalFree(block);
    return nullptr;
  }
  std::memcpy(to, static_cast<const WCHAR *>(text), bytes);  // the terminator included
  GlobalUnlock(block);
  return block;
}

void FixMenuMnemonics(HMENU menu) {
  // Linux: no menus exist, so no handle can name one with items to fix.
  static_cast<void>(menu);
}
