// Numbers as text the way the OLE conversions read and write them: the locale conventions they
// use, the parsed form of a number text, and the text forms of reals, currency and decimals.
#pragma once

#include <kzcore/pal/internal/decimal_math.h>
#include <kzcore/pal/variant.h>

namespace kz::pal {

enum class DateOrder { kMonthDayYear, kDayMonthYear };

// What a locale contributes to number and date texts. Locale 0, the user and system defaults and
// every locale not listed take the English (United States) conventions, so that results do not
// depend on the machine.
struct OleLocale {
  OLECHAR decimal;
  OLECHAR thousands;
  const OLECHAR *currency;
  DateOrder order;
  OLECHAR date_separator;
  bool clock24;
};
const OleLocale &LocaleFor(LCID lcid);

// A number text read with the standard rules: white space around, a sign in front or behind or
// parentheses, a currency symbol, thousands separators after the first digit, one decimal
// separator, an exponent; or a hexadecimal (&H) or octal (&O) integer.
struct ParsedNumber {
  static constexpr int kMaxDigits = 800;
  // value = ±digits × 10^exponent; no leading zeros, trailing zeros kept as written.
  char digits[kMaxDigits];
  int count = 0;
  int exponent = 0;
  bool negative = false;
  bool sticky = false;  // nonzero digits past kMaxDigits were dropped
  bool radix = false;   // an &H or &O integer, held in `bits`
  bool radix_overflow = false;
  ULONGLONG bits = 0;
};

// S_OK, or DISP_E_TYPEMISMATCH when the text is not a number.
HRESULT ParseNumber(const OLECHAR *text, const OleLocale &locale, ParsedNumber *out);

// The nearest double; DISP_E_OVERFLOW past the double range, 0 below it.
HRESULT ParsedToDouble(const ParsedNumber &n, double *out);
// |value| × 10^scale rounded half to even; false when it needs more than 64 bits.
bool ParsedToMagnitude(const ParsedNumber &n, int scale, ULONGLONG *out);
// The decimal with the written scale, rounded half to even to fit; DISP_E_OVERFLOW when the
// integer part does not fit in 96 bits.
HRESULT ParsedToDecimal(const ParsedNumber &n, DECIMAL *out);

// Text forms; each returns the number of units written to `out` (no terminator). The buffer
// must hold kNumberTextMax units.
constexpr int kNumberTextMax = 64;
// `digits` significant digits (15 for R8, 7 for R4): fixed notation for decimal exponents from -4
// to digits - 1, else d.dddE+XX, trailing zeros removed.
int FormatReal(double value, int digits, OLECHAR decimal, OLECHAR *out);
int FormatCurrency(LONGLONG value, OLECHAR decimal, OLECHAR *out);
int FormatDecimal(const DECIMAL &value, OLECHAR decimal, OLECHAR *out);
int FormatSigned(LONGLONG value, OLECHAR *out);
int FormatUnsigned(ULONGLONG value, OLECHAR *out);

}  // namespace kz::pal
