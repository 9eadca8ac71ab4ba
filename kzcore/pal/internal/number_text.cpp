#include <kzcore/pal/internal/number_text.h>

#include <charconv>
#include <cmath>
#include <cstring>
#include <system_error>

#include <kzcore/pal/internal/float_digits.h>

namespace kz::pal {
namespace {

constexpr OleLocale kEnglishUs{u'.', u',', u"$", DateOrder::kMonthDayYear, u'/', false};
constexpr OleLocale kEnglishUk{u'.', u',', u"\u00A3", DateOrder::kDayMonthYear, u'/', true};
constexpr OleLocale kGerman{u',', u'.', u"\u20AC", DateOrder::kDayMonthYear, u'.', true};

bool IsSpace(OLECHAR c) { return c == u' ' || (c >= 0x09 && c <= 0x0D); }
bool IsDigit(OLECHAR c) { return c >= u'0' && c <= u'9'; }

// Matches `symbol` at `p`; returns its length or 0.
int MatchSymbol(const OLECHAR *p, const OLECHAR *symbol) {
  int n = 0;
  while (symbol[n] != 0) {
    if (p[n] != symbol[n]) return 0;
    ++n;
  }
  return n;
}

// Takes a '+' or '-' at `p`, before or after the number, while no sign has been given; an open
// parenthesis has given one already.
bool TakeSign(const OLECHAR *&p, bool &sign, bool paren, ParsedNumber *out) {
  if (sign || paren || (*p != u'-' && *p != u'+')) return false;
  sign = true;
  out->negative = *p == u'-';
  ++p;
  return true;
}

HRESULT ParseRadix(const OLECHAR *p, ParsedNumber *out) {
  const OLECHAR kind = p[1] | 0x20;
  const int shift = kind == u'h' ? 4 : 3;
  p += 2;
  int used = 0;
  for (;; ++p) {
    int digit;
    const OLECHAR c = *p;
    if (IsDigit(c))
      digit = c - u'0';
    else if (shift == 4 && (c | 0x20) >= u'a' && (c | 0x20) <= u'f')
      digit = (c | 0x20) - u'a' + 10;
    else
      break;
    if (digit >= (1 << shift)) return DISP_E_TYPEMISMATCH;
    if ((out->bits >> (64 - shift)) != 0) out->radix_overflow = true;
    out->bits = (out->bits << shift) | static_cast<ULONGLONG>(digit);
    ++used;
  }
  while (IsSpace(*p)) ++p;
  if (used == 0 || *p != 0) return DISP_E_TYPEMISMATCH;
  out->radix = true;
  return S_OK;
}

}  // namespace

const OleLocale &LocaleFor(LCID lcid) {
  switch (lcid & 0xFFFF) {
    case 0x0809: return kEnglishUk;
    case 0x0407: return kGerman;
    default: return kEnglishUs;
  }
}

HRESULT ParseNumber(const OLECHAR *text, const OleLocale &locale, ParsedNumber *out) {
  const OLECHAR *p = text;
  while (IsSpace(*p)) ++p;
  if (p[0] == u'&' && ((p[1] | 0x20) == u'h' || (p[1] | 0x20) == u'o')) return ParseRadix(p, out);

  // The currency symbol may stand apart from the number ("$ 12", "12,50 \u20AC").
  bool currency = false, sign = false, paren = false;
  for (;;) {
    if (!currency) {
      if (int n = MatchSymbol(p, locale.currency)) {
        currency = true;
        p += n;
        while (IsSpace(*p)) ++p;
        continue;
      }
    }
    if (TakeSign(p, sign, paren, out)) continue;
    if (!sign && !paren && *p == u'(') {
      paren = true;
      out->negative = true;
      ++p;
      continue;
    }
    break;
  }

  // Mantissa: digits, separators after the first digit, one decimal separator.
  bool any_digit = false, point = false;
  int fraction_digits = 0;
  int dropped_integer_digits = 0;
  for (;; ++p) {
    const OLECHAR c = *p;
    if (IsDigit(c)) {
      any_digit = true;
      if (point) ++fraction_digits;
      if (out->count == 0 && c == u'0') continue;
      if (out->count < ParsedNumber::kMaxDigits) {
        out->digits[out->count++] = static_cast<char>(c);
      } else {
        if (c != u'0') out->sticky = true;
        if (!point) ++dropped_integer_digits;
        else --fraction_digits;
      }
    } else if (c == locale.decimal && !point) {
      point = true;
    } else if (c == locale.thousands && any_digit) {
      // Separators are not checked for grouping, before or after the decimal separator.
    } else {
      break;
    }
  }
  if (!any_digit) return DISP_E_TYPEMISMATCH;

  long exponent = 0;
  if (*p == u'e' || *p == u'E') {
    ++p;
    bool negative_exponent = false;
    if (*p == u'-' || *p == u'+') negative_exponent = *p++ == u'-';
    if (!IsDigit(*p)) return DISP_E_TYPEMISMATCH;
    for (; IsDigit(*p); ++p)
      if (exponent < 100000) exponent = exponent * 10 + (*p - u'0');
    if (negative_exponent) exponent = -exponent;
  }
  out->exponent = static_cast<int>(exponent) - fraction_digits + dropped_integer_digits;

  for (;;) {
    if (!currency) {
      const OLECHAR *q = p;
      while (IsSpace(*q)) ++q;
      if (int n = MatchSymbol(q, locale.currency)) {
        currency = true;
        p = q + n;
        continue;
      }
    }
    if (TakeSign(p, sign, paren, out)) continue;
    if (paren && *p == u')') {
      paren = false;
      sign = true;  // closed: nothing else may give a sign
      ++p;
      continue;
    }
    break;
  }
  while (IsSpace(*p)) ++p;
  if (*p != 0 || paren) return DISP_E_TYPEMISMATCH;
  return S_OK;
}

HRESULT ParsedToDouble(const ParsedNumber &n, double *out) {
  if (n.radix) {
    *out = static_cast<double>(n.bits);
    return S_OK;
  }
  if (n.count == 0) {
    *out = n.negative ? -0.0 : 0.0;
    return S_OK;
  }
  char text[ParsedNumber::kMaxDigits + 24];
  std::memcpy(text, n.digits, static_cast<std::size_t>(n.count));
  int length = n.count;
  int exponent = n.exponent;
  if (n.sticky) {
    // A nonzero digit past the kept ones settles a tie the kept digits would leave.
    text[length++] = '1';
    --exponent;
  }
  text[length++] = 'e';
  length = static_cast<int>(std::to_chars(text + length, text + sizeof text, exponent).ptr - text);
  double value = 0;
  const auto result = std::from_chars(text, text + length, value);
  if (result.ec == std::errc::result_out_of_range) {
    // Below the smallest subnormal the value is 0; above the largest double it overflows.
    if (n.count + n.exponent > 0) return DISP_E_OVERFLOW;
    value = 0;
  } else if (result.ec != std::errc()) {
    return DISP_E_TYPEMISMATCH;
  }
  *out = n.negative ? -value : value;
  return S_OK;
}

bool ParsedToMagnitude(const ParsedNumber &n, int scale, ULONGLONG *out) {
  if (n.radix) return false;
  const int whole = n.count + n.exponent + scale;  // digits left of the point
  if (n.count == 0 || whole < 0) {
    *out = 0;
    return true;
  }
  if (whole > 20) return false;
  u128 value = 0;
  for (int i = 0; i < whole; ++i) value = value * 10 + (i < n.count ? n.digits[i] - '0' : 0);
  if (whole < n.count) {
    const int next = n.digits[whole] - '0';
    bool beyond = n.sticky;
    for (int i = whole + 1; i < n.count && !beyond; ++i) beyond = n.digits[i] != '0';
    if (next > 5 || (next == 5 && (beyond || (value & 1) != 0))) ++value;
  }
  if (value > ~ULONGLONG{0}) return false;
  *out = static_cast<ULONGLONG>(value);
  return true;
}

HRESULT ParsedToDecimal(const ParsedNumber &n, DECIMAL *out) {
  if (n.radix) {
    SetDecimal(out, n.bits, 0, false);
    return S_OK;
  }
  int scale = n.exponent < 0 ? -n.exponent : 0;
  if (n.count == 0) {
    // Zero, with the scale written ("0.00"), whatever its exponent.
    SetDecimal(out, 0, scale > kDecimalMaxScale ? kDecimalMaxScale : scale, false);
    return S_OK;
  }
  const int whole = n.count + n.exponent;
  if (whole > 29) return DISP_E_OVERFLOW;
  // Keep as many digits as the mantissa and the scale limit allow, then round the rest away.
  int keep = n.count;
  if (scale > kDecimalMaxScale) {
    keep -= scale - kDecimalMaxScale;
    scale = kDecimalMaxScale;
  }
  for (;;) {
    if (keep < 0) {
      SetDecimal(out, 0, scale, false);
      return S_OK;
    }
    u128 m = 0;
    bool fits = true;
    for (int i = 0; i < keep + (n.exponent > 0 ? n.exponent : 0); ++i) {
      m = m * 10 + (i < keep ? n.digits[i] - '0' : 0);
      if (m > kDecimalMantissaMax) {
        fits = false;
        break;
      }
    }
    if (fits && keep < n.count) {
      const int next = n.digits[keep] - '0';
      bool beyond = n.sticky;
      for (int i = keep + 1; i < n.count && !beyond; ++i) beyond = n.digits[i] != '0';
      if (next > 5 || (next == 5 && (beyond || (m & 1) != 0))) ++m;
      if (m > kDecimalMantissaMax) fits = false;
    }
    if (fits) {
      SetDecimal(out, m, scale, n.negative);
      return S_OK;
    }
    if (scale == 0) return DISP_E_OVERFLOW;
    --scale;
    --keep;
  }
}

int FormatSigned(LONGLONG value, OLECHAR *out) {
  OLECHAR buffer[24];
  OLECHAR *end = buffer + 24;
  const ULONGLONG magnitude = value < 0 ? 0 - static_cast<ULONGLONG>(value) : static_cast<ULONGLONG>(value);
  OLECHAR *p = WriteDigits<OLECHAR>(magnitude, end);
  if (value < 0) *--p = u'-';
  std::memcpy(out, p, static_cast<std::size_t>(end - p) * sizeof(OLECHAR));
  return static_cast<int>(end - p);
}

int FormatUnsigned(ULONGLONG value, OLECHAR *out) {
  OLECHAR buffer[24];
  OLECHAR *end = buffer + 24;
  OLECHAR *p = WriteDigits<OLECHAR>(value, end);
  std::memcpy(out, p, static_cast<std::size_t>(end - p) * sizeof(OLECHAR));
  return static_cast<int>(end - p);
}

int FormatReal(double value, int precision, OLECHAR decimal, OLECHAR *out) {
  OLECHAR *p = out;
  if (std::isnan(value) || std::isinf(value)) {
    const char *text = std::isinf(value) ? (value < 0 ? "-1.#INF" : "1.#INF")
                                         : (std::signbit(value) ? "-1.#QNAN" : "1.#QNAN");
    for (; *text; ++text) *p++ = static_cast<OLECHAR>(*text == '.' ? decimal : *text);
    return static_cast<int>(p - out);
  }
  if (value == 0) {
    *p++ = u'0';
    return 1;
  }
  DecimalDigits d;
  ShortDigits(value, precision, &d);
  if (d.negative) *p++ = u'-';
  const int exponent = d.point - 1;
  if (exponent < -4 || exponent >= precision) {
    *p++ = static_cast<OLECHAR>(d.digits[0]);
    if (d.count > 1) {
      *p++ = decimal;
      for (int i = 1; i < d.count; ++i) *p++ = static_cast<OLECHAR>(d.digits[i]);
    }
    *p++ = u'E';
    *p++ = exponent < 0 ? u'-' : u'+';
    const int magnitude = exponent < 0 ? -exponent : exponent;
    if (magnitude >= 100) *p++ = static_cast<OLECHAR>(u'0' + magnitude / 100);
    *p++ = static_cast<OLECHAR>(u'0' + magnitude / 10 % 10);
    *p++ = static_cast<OLECHAR>(u'0' + magnitude % 10);
  } else if (exponent >= 0) {
    for (int i = 0; i <= exponent; ++i) *p++ = static_cast<OLECHAR>(i < d.count ? d.digits[i] : '0');
    if (d.count > exponent + 1) {
      *p++ = decimal;
      for (int i = exponent + 1; i < d.count; ++i) *p++ = static_cast<OLECHAR>(d.digits[i]);
    }
  } else {
    *p++ = u'0';
    *p++ = decimal;
    for (int i = 0; i < -exponent - 1; ++i) *p++ = u'0';
    for (int i = 0; i < d.count; ++i) *p++ = static_cast<OLECHAR>(d.digits[i]);
  }
  return static_cast<int>(p - out);
}

namespace {

// Writes mantissa / 10^scale with the fraction's trailing zeros removed; zero is "0" whatever
// its sign.
int FormatScaled(u128 mantissa, int scale, bool negative, OLECHAR decimal, OLECHAR *out) {
  OLECHAR digits[48];
  OLECHAR *end = digits + 48;
  OLECHAR *first = WriteDigits<OLECHAR>(mantissa, end);
  int count = static_cast<int>(end - first);
  while (scale > 0 && end[-1] == u'0' && count > 0) {
    --end;
    --count;
    --scale;
  }
  OLECHAR *p = out;
  if (mantissa == 0) {
    *p++ = u'0';
    return 1;
  }
  if (negative) *p++ = u'-';
  if (count <= scale) {
    *p++ = u'0';
    *p++ = decimal;
    for (int i = 0; i < scale - count; ++i) *p++ = u'0';
    for (OLECHAR *q = first; q < end; ++q) *p++ = *q;
  } else {
    for (int i = 0; i < count - scale; ++i) *p++ = first[i];
    if (scale > 0) {
      *p++ = decimal;
      for (int i = count - scale; i < count; ++i) *p++ = first[i];
    }
  }
  return static_cast<int>(p - out);
}

}  // namespace

int FormatCurrency(LONGLONG value, OLECHAR decimal, OLECHAR *out) {
  const bool negative = value < 0;
  const ULONGLONG magnitude = negative ? 0 - static_cast<ULONGLONG>(value) : static_cast<ULONGLONG>(value);
  return FormatScaled(magnitude, 4, negative, decimal, out);
}

int FormatDecimal(const DECIMAL &value, OLECHAR decimal, OLECHAR *out) {
  return FormatScaled(DecimalMantissa(value), value.scale, DecimalIsNegative(value), decimal, out);
}

}  // namespace kz::pal
