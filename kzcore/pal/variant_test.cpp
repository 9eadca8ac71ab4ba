#include <kzcore/pal/variant.h>

#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <kzcore/pal/oleaut.h>
#include <kzcore/pal/safe_array.h>

namespace {

template <class T>
VARIANT Make(VARTYPE vt, T value) {
  VARIANT v;
  std::memset(&v, 0, sizeof v);
  std::memcpy(&v.llVal, &value, sizeof value);
  v.vt = vt;
  return v;
}

VARIANT Empty() { return Make<LONGLONG>(VT_EMPTY, 0); }
VARIANT Null() { return Make<LONGLONG>(VT_NULL, 0); }
VARIANT I1(signed char x) { return Make(VT_I1, x); }
VARIANT UI1(BYTE x) { return Make(VT_UI1, x); }
VARIANT I2(SHORT x) { return Make(VT_I2, x); }
VARIANT UI2(USHORT x) { return Make(VT_UI2, x); }
VARIANT I4(LONG x) { return Make(VT_I4, x); }
VARIANT UI4(ULONG x) { return Make(VT_UI4, x); }
VARIANT Int(INT x) { return Make(VT_INT, x); }
VARIANT Uint(UINT x) { return Make(VT_UINT, x); }
VARIANT I8(LONGLONG x) { return Make(VT_I8, x); }
VARIANT UI8(ULONGLONG x) { return Make(VT_UI8, x); }
VARIANT R4(float x) { return Make(VT_R4, x); }
VARIANT R8(double x) { return Make(VT_R8, x); }
VARIANT Date(double x) { return Make(VT_DATE, x); }
VARIANT Cy(LONGLONG ten_thousandths) { return Make(VT_CY, ten_thousandths); }
VARIANT Bool(VARIANT_BOOL x) { return Make(VT_BOOL, x); }
VARIANT Error(SCODE x) { return Make(VT_ERROR, x); }
// Text variants hold a literal; the table rows copy them into real BSTRs before converting.
VARIANT Text(const char16_t *x) { return Make(VT_BSTR, x); }

VARIANT Dec(unsigned __int128 mantissa, int scale, bool negative = false) {
  VARIANT v;
  std::memset(&v, 0, sizeof v);
  v.decVal.Hi32 = static_cast<ULONG>(mantissa >> 64);
  v.decVal.Lo64 = static_cast<ULONGLONG>(mantissa);
  v.decVal.scale = static_cast<BYTE>(scale);
  v.decVal.sign = negative ? DECIMAL_NEG : 0;
  v.vt = VT_DECIMAL;
  return v;
}

std::string Describe(const VARIANT &v) {
  char buffer[160];
  switch (v.vt) {
    case VT_EMPTY: return "EMPTY";
    case VT_NULL: return "NULL";
    case VT_I1: return "I1 " + std::to_string(static_cast<signed char>(v.cVal));
    case VT_UI1: return "UI1 " + std::to_string(v.bVal);
    case VT_I2: return "I2 " + std::to_string(v.iVal);
    case VT_UI2: return "UI2 " + std::to_string(v.uiVal);
    case VT_I4: return "I4 " + std::to_string(v.lVal);
    case VT_UI4: return "UI4 " + std::to_string(v.ulVal);
    case VT_INT: return "INT " + std::to_string(v.intVal);
    case VT_UINT: return "UINT " + std::to_string(v.uintVal);
    case VT_I8: return "I8 " + std::to_string(v.llVal);
    case VT_UI8: return "UI8 " + std::to_string(v.ullVal);
    case VT_ERROR: return "ERROR " + std::to_string(v.scode);
    case VT_BOOL: return "BOOL " + std::to_string(v.boolVal);
    case VT_CY: return "CY " + std::to_string(v.cyVal.int64);
    case VT_R4: std::snprintf(buffer, sizeof buffer, "R4 %.9g", v.fltVal); return buffer;
    case VT_R8: std::snprintf(buffer, sizeof buffer, "R8 %.17g", v.dblVal); return buffer;
    case VT_DATE: std::snprintf(buffer, sizeof buffer, "DATE %.17g", v.date); return buffer;
    case VT_DECIMAL:
      std::snprintf(buffer, sizeof buffer, "DECIMAL hi=%08X lo64=%016" PRIX64 " scale=%u sign=%02X",
                    static_cast<unsigned>(v.decVal.Hi32), static_cast<uint64_t>(v.decVal.Lo64), v.decVal.scale,
                    v.decVal.sign);
      return buffer;
    case VT_BSTR: {
      // Read to the first 0 unit: expected values are literals, not BSTRs.
      std::string text = "BSTR \"";
      for (const char16_t *p = v.bstrVal; p != nullptr && *p != 0; ++p) text.push_back(static_cast<char>(*p));
      return text + "\"";
    }
    default: return "vt=" + std::to_string(v.vt);
  }
}

struct Conversion {
  VARIANT from;
  VARTYPE to;
  HRESULT hr;
  VARIANT want;  // compared when hr is S_OK
};

// Converts each row's value (text copied into a BSTR first) and reports every row that differs,
// with both values.
void RunConversions(const std::vector<Conversion> &rows, USHORT flags = 0, LCID lcid = 0) {
  for (std::size_t i = 0; i < rows.size(); ++i) {
    const Conversion &row = rows[i];
    VARIANT src = row.from, dst;
    if (src.vt == VT_BSTR && src.bstrVal != nullptr) src.bstrVal = SysAllocString(row.from.bstrVal);
    VariantInit(&dst);
    const HRESULT hr = VariantChangeTypeEx(&dst, &src, lcid, flags, row.to);
    std::string got;
    if (hr != row.hr) {
      char code[16];
      std::snprintf(code, sizeof code, "0x%08X", static_cast<unsigned>(hr));
      got = std::string(code) + (SUCCEEDED(hr) ? " " + Describe(dst) : "");
    } else if (SUCCEEDED(hr) && Describe(dst) != Describe(row.want)) {
      got = Describe(dst);
    }
    if (!got.empty()) {
      char want[16];
      std::snprintf(want, sizeof want, "0x%08X", static_cast<unsigned>(row.hr));
      ADD_FAILURE() << "row " << i << ": " << Describe(row.from) << " -> vt " << row.to << "\n  expected: " << want
                    << (SUCCEEDED(row.hr) ? " " + Describe(row.want) : "") << "\n  got:      " << got;
    }
    VariantClear(&src);
    VariantClear(&dst);
  }
}

constexpr HRESULT OK = S_OK;
constexpr HRESULT OVERFLOW = DISP_E_OVERFLOW;
constexpr HRESULT MISMATCH = DISP_E_TYPEMISMATCH;
const VARIANT kNone = Empty();
constexpr LONGLONG kI8Min = std::numeric_limits<LONGLONG>::min();
constexpr LONGLONG kI8Max = std::numeric_limits<LONGLONG>::max();
constexpr ULONGLONG kUI8Max = std::numeric_limits<ULONGLONG>::max();
constexpr unsigned __int128 kDecimalMax = (static_cast<unsigned __int128>(1) << 96) - 1;

TEST(VariantChangeType, IntegersKeepTheirValueOrOverflow) {
  RunConversions({
      {I4(127), VT_I1, OK, I1(127)},          {I4(128), VT_I1, OVERFLOW, kNone},
      {I4(-128), VT_I1, OK, I1(-128)},        {I4(-129), VT_I1, OVERFLOW, kNone},
      {I4(255), VT_UI1, OK, UI1(255)},        {I4(256), VT_UI1, OVERFLOW, kNone},
      {I4(-1), VT_UI1, OVERFLOW, kNone},      {I2(-1), VT_UI2, OVERFLOW, kNone},
      {I4(32768), VT_I2, OVERFLOW, kNone},    {UI4(65535), VT_UI2, OK, UI2(65535)},
      {UI4(0x80000000u), VT_I4, OVERFLOW, kNone}, {I4(-1), VT_UI4, OVERFLOW, kNone},
      {UI4(0xFFFFFFFFu), VT_I8, OK, I8(4294967295LL)}, {I8(kI8Min), VT_UI8, OVERFLOW, kNone},
      {UI8(0x8000000000000000ull), VT_I8, OVERFLOW, kNone}, {I8(kI8Max), VT_UI8, OK, UI8(kI8Max)},
      {I8(2147483648LL), VT_INT, OVERFLOW, kNone}, {UI8(4294967295ull), VT_UINT, OK, Uint(4294967295u)},
      {Int(-7), VT_I2, OK, I2(-7)},           {Uint(7), VT_I1, OK, I1(7)},
      {I1(-1), VT_I8, OK, I8(-1)},            {UI8(kUI8Max), VT_R8, OK, R8(18446744073709551616.0)},
      {I8(kI8Max), VT_R4, OK, R4(9223372036854775808.0f)},
  });
}

TEST(VariantChangeType, RealsRoundHalfToEvenIntoIntegers) {
  RunConversions({
      {R8(2.5), VT_I4, OK, I4(2)},        {R8(3.5), VT_I4, OK, I4(4)},
      {R8(-2.5), VT_I4, OK, I4(-2)},      {R8(-3.5), VT_I4, OK, I4(-4)},
      {R8(2.4999999), VT_I4, OK, I4(2)},  {R8(2.5000001), VT_I4, OK, I4(3)},
      {R8(126.5), VT_I1, OK, I1(126)},    {R8(127.5), VT_I1, OVERFLOW, kNone},
      {R8(-128.5), VT_I1, OK, I1(-128)},  {R8(-129.5), VT_I1, OVERFLOW, kNone},
      {R8(254.5), VT_UI1, OK, UI1(254)},  {R8(255.5), VT_UI1, OVERFLOW, kNone},
      {R8(-0.5), VT_UI1, OK, UI1(0)},     {R8(-0.6), VT_UI1, OVERFLOW, kNone},
      {R8(2147483646.5), VT_I4, OK, I4(2147483646)}, {R8(2147483647.5), VT_I4, OVERFLOW, kNone},
      {R8(9223372036854775808.0), VT_I8, OVERFLOW, kNone}, {R8(-9223372036854775808.0), VT_I8, OK, I8(kI8Min)},
      {R8(18446744073709549568.0), VT_UI8, OK, UI8(18446744073709549568ull)},
      {R8(std::nan("")), VT_I4, OVERFLOW, kNone}, {R8(1e300), VT_I2, OVERFLOW, kNone},
      {R4(2.5f), VT_I2, OK, I2(2)},       {Date(3.5), VT_I4, OK, I4(4)},
      {R8(1e300), VT_R4, OVERFLOW, kNone}, {R8(0.1), VT_R4, OK, R4(0.1f)},
  });
}

TEST(VariantChangeType, CurrencyHasFourDecimalsAndRoundsHalfToEven) {
  RunConversions({
      {Cy(25000), VT_I4, OK, I4(2)},     {Cy(35000), VT_I4, OK, I4(4)},
      {Cy(-25000), VT_I4, OK, I4(-2)},   {Cy(15001), VT_I2, OK, I2(2)},
      {Cy(14999), VT_I2, OK, I2(1)},     {Cy(kI8Max), VT_I8, OK, I8(922337203685478LL)},
      {Cy(12345), VT_R8, OK, R8(1.2345)}, {Cy(12345), VT_R4, OK, R4(1.2345f)},
      {R8(1.23456), VT_CY, OK, Cy(12346)}, {R8(-1.5), VT_CY, OK, Cy(-15000)},
      {R8(-123456789.1234), VT_CY, OK, Cy(-1234567891234LL)},
      {R8(922337203685478.0), VT_CY, OVERFLOW, kNone},
      {I8(922337203685477LL), VT_CY, OK, Cy(9223372036854770000LL)},
      {I8(922337203685478LL), VT_CY, OVERFLOW, kNone}, {I8(-922337203685478LL), VT_CY, OVERFLOW, kNone},
      {UI8(922337203685478ull), VT_CY, OVERFLOW, kNone}, {Bool(VARIANT_TRUE), VT_CY, OK, Cy(-10000)},
      {Dec(25, 1, true), VT_CY, OK, Cy(-25000)}, {Dec(5, 5), VT_CY, OK, Cy(0)},
      {Dec(15, 5), VT_CY, OK, Cy(2)},   {Dec(25, 5), VT_CY, OK, Cy(2)},
      {Dec(kDecimalMax, 0), VT_CY, OVERFLOW, kNone}, {Cy(0), VT_BOOL, OK, Bool(VARIANT_FALSE)},
      {Cy(1), VT_BOOL, OK, Bool(VARIANT_TRUE)},
  });
}

TEST(VariantChangeType, DecimalsKeepScaleAndRealsGiveFifteenDigits) {
  const double third = 1.0 / 3.0;
  RunConversions({
      {Dec(25, 1), VT_I4, OK, I4(2)},            {Dec(35, 1), VT_I4, OK, I4(4)},
      {Dec(25, 1, true), VT_I4, OK, I4(-2)},     {Dec(kDecimalMax, 0), VT_I8, OVERFLOW, kNone},
      {Dec(kDecimalMax, 0), VT_R8, OK, R8(79228162514264337593543950335.0)},
      {Dec(1, 28), VT_R8, OK, R8(1e-28)},        {Dec(0, 3, true), VT_BOOL, OK, Bool(VARIANT_FALSE)},
      {R8(0.1), VT_DECIMAL, OK, Dec(1, 1)},      {R8(third), VT_DECIMAL, OK, Dec(333333333333333ull, 15)},
      {R8(-2.5), VT_DECIMAL, OK, Dec(25, 1, true)},
      {R8(1e20), VT_DECIMAL, OK, Dec(static_cast<unsigned __int128>(100000000000000000ull) * 1000, 0)},
      {R8(1e29), VT_DECIMAL, OVERFLOW, kNone},   {R8(std::nan("")), VT_DECIMAL, OVERFLOW, kNone},
      {R4(0.1f), VT_DECIMAL, OK, Dec(1, 1)},     {I8(-5), VT_DECIMAL, OK, Dec(5, 0, true)},
      {UI8(kUI8Max), VT_DECIMAL, OK, Dec(kUI8Max, 0)}, {Cy(12345), VT_DECIMAL, OK, Dec(12345, 4)},
      {Bool(VARIANT_TRUE), VT_DECIMAL, OK, Dec(1, 0, true)},
      {Dec(29, 0), VT_BSTR, OK, Text(u"29")},    {Dec(150, 2), VT_BSTR, OK, Text(u"1.5")},
      {Dec(1, 28, true), VT_BSTR, OK, Text(u"-0.0000000000000000000000000001")},
  });
}

// Conversions of text and to text that the reference table holds are run by its harness; the rows
// here are the rest.
TEST(VariantChangeType, BooleansAreMinusOneOrZero) {
  RunConversions({
      {I4(0), VT_BOOL, OK, Bool(0)},        {I4(2), VT_BOOL, OK, Bool(VARIANT_TRUE)},
      {R8(-0.0), VT_BOOL, OK, Bool(0)},     {R8(0.1), VT_BOOL, OK, Bool(VARIANT_TRUE)},
      {Bool(VARIANT_TRUE), VT_I4, OK, I4(-1)}, {Bool(VARIANT_TRUE), VT_I1, OK, I1(-1)},
      {Bool(VARIANT_TRUE), VT_R8, OK, R8(-1)}, {Bool(VARIANT_FALSE), VT_UI1, OK, UI1(0)},
      // Unsigned targets take the boolean's bits.
      {Bool(VARIANT_TRUE), VT_UI1, OK, UI1(255)}, {Bool(VARIANT_TRUE), VT_UI2, OK, UI2(65535)},
      {Bool(VARIANT_TRUE), VT_UI4, OK, UI4(0xFFFFFFFFu)}, {Bool(VARIANT_TRUE), VT_UI8, OK, UI8(kUI8Max)},
      {Text(u"  FALSE "), VT_BOOL, OK, Bool(0)},
      {Text(u"0.0"), VT_BOOL, OK, Bool(0)},  {Text(u"&H0"), VT_BOOL, OK, Bool(0)},
      {Text(u"&H10000"), VT_BOOL, OVERFLOW, kNone}, {Text(u"Truth"), VT_BOOL, MISMATCH, kNone},
  });
  RunConversions({{Text(u"false"), VT_BOOL, OK, Bool(0)}}, VARIANT_LOCALBOOL);
}

TEST(VariantChangeType, DatesStayBetweenYear100AndYear9999) {
  RunConversions({
      {R8(2958465.99), VT_DATE, OK, Date(2958465.99)}, {R8(2958466.0), VT_DATE, OVERFLOW, kNone},
      {R8(-657434.99), VT_DATE, OK, Date(-657434.99)}, {R8(-657435.0), VT_DATE, OVERFLOW, kNone},
      {I4(3000000), VT_DATE, OVERFLOW, kNone},        {Bool(VARIANT_TRUE), VT_DATE, OK, Date(-1)},
      {Cy(15000), VT_DATE, OK, Date(1.5)},            {Date(2.5), VT_I4, OK, I4(2)},
      {Date(0), VT_BOOL, OK, Bool(0)},                {Date(43102.5), VT_R8, OK, R8(43102.5)},
  });
}

TEST(VariantChangeType, EmptyNullErrorAndObjectsFollowTheTable) {
  RunConversions({
      {Empty(), VT_I4, OK, I4(0)},           {Empty(), VT_R8, OK, R8(0)},
      {Empty(), VT_BOOL, OK, Bool(0)},
      {Empty(), VT_DATE, OK, Date(0)},       {Empty(), VT_CY, OK, Cy(0)},
      {Empty(), VT_DECIMAL, OK, Dec(0, 0)},  {Empty(), VT_NULL, OK, Null()},
      {Empty(), VT_ERROR, MISMATCH, kNone},  {Empty(), VT_DISPATCH, MISMATCH, kNone},
      {Null(), VT_I4, MISMATCH, kNone},      {Null(), VT_BSTR, MISMATCH, kNone},
      {Null(), VT_EMPTY, OK, Empty()},       {Null(), VT_NULL, OK, Null()},
      {I4(7), VT_EMPTY, OK, Empty()},        {I4(7), VT_NULL, MISMATCH, kNone},
      {Error(5), VT_I4, MISMATCH, kNone},    {Error(5), VT_BSTR, MISMATCH, kNone},
      {I4(5), VT_ERROR, OK, Error(5)},       {Error(5), VT_ERROR, OK, Error(5)},
      {I4(1), VT_DISPATCH, MISMATCH, kNone}, {R8(1), VT_UNKNOWN, MISMATCH, kNone},
      {I4(1), VT_VARIANT, DISP_E_BADVARTYPE, kNone}, {I4(1), 15, DISP_E_BADVARTYPE, kNone},
      {I4(1), VT_PTR, DISP_E_BADVARTYPE, kNone}, {Make<LONGLONG>(15, 0), VT_I4, DISP_E_BADVARTYPE, kNone},
  });
}

// Text that only exact decimal arithmetic reads right: integers past 2^53, ties beyond double
// precision, currency and decimal limits.
TEST(VariantChangeType, TextIsReadExactly) {
  RunConversions({
      {Text(u"9223372036854775807"), VT_I8, OK, I8(kI8Max)},
      {Text(u"9223372036854775808"), VT_I8, OVERFLOW, kNone},
      {Text(u"-9223372036854775808"), VT_I8, OK, I8(kI8Min)},
      {Text(u"18446744073709551615"), VT_UI8, OK, UI8(kUI8Max)},
      {Text(u"18446744073709551616"), VT_UI8, OVERFLOW, kNone},
      {Text(u"2.5000000000000000001"), VT_I4, OK, I4(3)},
      {Text(u"25e-1"), VT_I4, OK, I4(2)},  {Text(u"255"), VT_UI1, OK, UI1(255)},
      {Text(u"256"), VT_UI1, OVERFLOW, kNone}, {Text(u"-0"), VT_UI1, OK, UI1(0)},
      {Text(u"-0.4"), VT_UI1, OK, UI1(0)},  {Text(u"-1"), VT_UI4, OVERFLOW, kNone},
      {Text(u"&HFF"), VT_UI1, OK, UI1(255)}, {Text(u"&HFF"), VT_I1, OK, I1(-1)},
      {Text(u"&H100"), VT_I1, OVERFLOW, kNone},
      {Text(u"&HFFFFFFFFFFFFFFFF"), VT_I8, OK, I8(-1)},
      {Text(u"&H10000000000000000"), VT_I8, OVERFLOW, kNone},
      {Text(u"&o777"), VT_I2, OK, I2(511)}, {Text(u"&O8"), VT_I2, MISMATCH, kNone},
      {Text(u"922337203685477.5807"), VT_CY, OK, Cy(kI8Max)},
      {Text(u"922337203685477.58075"), VT_CY, OVERFLOW, kNone},
      {Text(u"-922337203685477.5808"), VT_CY, OK, Cy(kI8Min)},
      {Text(u"1.23455"), VT_CY, OK, Cy(12346)}, {Text(u"1.23445"), VT_CY, OK, Cy(12344)},
      {Text(u"79228162514264337593543950335"), VT_DECIMAL, OK, Dec(kDecimalMax, 0)},
      {Text(u"79228162514264337593543950336"), VT_DECIMAL, OVERFLOW, kNone},
      {Text(u"7.9228162514264337593543950335"), VT_DECIMAL, OK, Dec(kDecimalMax, 28)},
      {Text(u"0.0000000000000000000000000001"), VT_DECIMAL, OK, Dec(1, 28)},
      {Text(u"0.00000000000000000000000000005"), VT_DECIMAL, OK, Dec(0, 28)},
      {Text(u"0.00000000000000000000000000015"), VT_DECIMAL, OK, Dec(2, 28)},
      {Text(u"1.50"), VT_DECIMAL, OK, Dec(150, 2)}, {Text(u"0e50"), VT_DECIMAL, OK, Dec(0, 0)},
      {Text(u"-0.00"), VT_DECIMAL, OK, Dec(0, 2)},
      {Text(u"1e-400"), VT_R8, OK, R8(0.0)}, {Text(u"-1e-400"), VT_R8, OK, R8(-0.0)},
      {Text(u"4.9406564584124654e-324"), VT_R8, OK, R8(4.9406564584124654e-324)},
      {Text(u"1.7976931348623157e308"), VT_R8, OK, R8(1.7976931348623157e308)},
      {Text(u"1.7976931348623159e308"), VT_R8, OVERFLOW, kNone},
      {Text(u"3.4028235e38"), VT_R4, OK, R4(3.4028235e38f)}, {Text(u"3.5e38"), VT_R4, OVERFLOW, kNone},
      {Text(u"$-1,000.25"), VT_R8, OK, R8(-1000.25)}, {Text(u"($ 1.5)"), VT_R8, OK, R8(-1.5)},
      {Text(u"1.5 $"), VT_R8, OK, R8(1.5)},      {Text(u"$1$"), VT_R8, MISMATCH, kNone},
      {Text(u"1.5-"), VT_DECIMAL, OK, Dec(15, 1, true)}, {Text(u"-1.5-"), VT_R8, MISMATCH, kNone},
      {Text(u"(-1)"), VT_R8, MISMATCH, kNone}, {Text(u"(1"), VT_R8, MISMATCH, kNone},
      {Text(u",5"), VT_R8, MISMATCH, kNone}, {Text(u"."), VT_R8, MISMATCH, kNone},
      {Text(nullptr), VT_I4, MISMATCH, kNone},
  });
}

TEST(VariantChangeType, NumbersToText) {
  RunConversions({
      {I1(-5), VT_BSTR, OK, Text(u"-5")}, {UI1(255), VT_BSTR, OK, Text(u"255")},
      {I8(kI8Min), VT_BSTR, OK, Text(u"-9223372036854775808")},
      {UI8(kUI8Max), VT_BSTR, OK, Text(u"18446744073709551615")},
      {Cy(kI8Min), VT_BSTR, OK, Text(u"-922337203685477.5808")}, {Cy(-10000), VT_BSTR, OK, Text(u"-1")},
      {R8(123456789012345.0), VT_BSTR, OK, Text(u"123456789012345")},
      {R8(1234567890123456.0), VT_BSTR, OK, Text(u"1.23456789012346E+15")},
      {R4(0.1f), VT_BSTR, OK, Text(u"0.1")}, {R4(1234567.0f), VT_BSTR, OK, Text(u"1234567")},
      {Text(u"keep"), VT_BSTR, OK, Text(u"keep")},
  });
  // Locales with a decimal comma and day-first dates.
  RunConversions({{R8(1.5), VT_BSTR, OK, Text(u"1,5")}, {Text(u"1.234,5"), VT_R8, OK, R8(1234.5)},
                  {Text(u"-1.234,50 \u20AC"), VT_CY, OK, Cy(-12345000)}, {Text(u"$1"), VT_R8, MISMATCH, kNone},
                  {Date(43102.52135416667), VT_BSTR, OK, Text(u"02.01.2018 12:30:45")}},
                 0, 1031);
  RunConversions({{Date(43102.52135416667), VT_BSTR, OK, Text(u"02/01/2018 12:30:45")}}, 0, 2057);
}

// True when the value's exact expansion is a tie at `digits` significant digits (a 5 followed by
// zeros only), the one case where the C library (half to even) and the OLE text (half away from
// zero) part.
bool IsTie(double value, int digits) {
  static char text[1200];
  std::snprintf(text, sizeof text, "%.1100e", value);
  std::string mantissa;
  for (const char *p = text + (text[0] == '-'); *p != 'e'; ++p)
    if (*p != '.') mantissa.push_back(*p);
  return mantissa[digits] == '5' && mantissa.find_first_not_of('0', digits + 1) == std::string::npos;
}

// The C library's "%.15G" (and "%.7G" for R4) writes the same text but for exact ties.
TEST(VariantChangeType, RealTextMatchesTheCLibrary) {
  std::mt19937_64 random(20240611);
  int ties = 0;
  for (int i = 0; i < 40000; ++i) {
    const uint64_t bits = random();
    const bool single = i % 2 == 0;
    double value;
    if (single) {
      float f;
      const auto low = static_cast<uint32_t>(bits);
      std::memcpy(&f, &low, sizeof f);
      value = f;
    } else {
      std::memcpy(&value, &bits, sizeof value);
    }
    if (!std::isfinite(value) || value == 0) continue;
    if (IsTie(value, single ? 7 : 15)) {
      ++ties;
      continue;
    }
    char want[64];
    std::snprintf(want, sizeof want, single ? "%.7G" : "%.15G", value);
    BSTR text = nullptr;
    const HRESULT hr = single ? VarBstrFromR4(static_cast<float>(value), 0, 0, &text) : VarBstrFromR8(value, 0, 0, &text);
    ASSERT_EQ(hr, S_OK);
    std::string got;
    for (UINT k = 0; k < SysStringLen(text); ++k) got.push_back(static_cast<char>(text[k]));
    SysFreeString(text);
    ASSERT_EQ(got, want) << "value " << value << (single ? " (R4)" : "");
  }
  EXPECT_LT(ties, 400);
}

// Decimal texts read as the C library's strtod reads them: correctly rounded.
TEST(VariantChangeType, RealParsingMatchesTheCLibrary) {
  std::mt19937 random(7);
  for (int i = 0; i < 20000; ++i) {
    std::string text = std::to_string(random() % 1000000);
    if (random() % 2) text += "." + std::to_string(random());
    if (random() % 2) text += "e" + std::to_string(static_cast<int>(random() % 600) - 300);
    std::u16string wide(text.begin(), text.end());
    double got = 0;
    ASSERT_EQ(VarR8FromStr(wide.c_str(), 0, 0, &got), S_OK) << text;
    const double want = std::strtod(text.c_str(), nullptr);
    if (std::isinf(want)) continue;
    ASSERT_EQ(std::memcmp(&got, &want, sizeof got), 0) << text << ": " << got << " vs " << want;
  }
}

// A COM object on the stack that counts references and answers its value property.
class ValueObject final : public IDispatch {
 public:
  explicit ValueObject(VARIANT value, bool dispatch = true) : value_(value), dispatch_(dispatch) {}
  ULONG refs() const { return refs_; }

  HRESULT QueryInterface(REFIID riid, void **ppv) override {
    if (riid == KZ_IID(IUnknown) || (dispatch_ && riid == KZ_IID(IDispatch))) {
      *ppv = static_cast<IDispatch *>(this);
      AddRef();
      return S_OK;
    }
    *ppv = nullptr;
    return E_NOINTERFACE;
  }
  ULONG AddRef() override { return ++refs_; }
  ULONG Release() override { return --refs_; }
  HRESULT GetTypeInfoCount(UINT *) override { return E_NOTIMPL; }
  HRESULT GetTypeInfo(UINT, LCID, ITypeInfo **) override { return E_NOTIMPL; }
  HRESULT GetIDsOfNames(REFIID, LPOLESTR *, UINT, LCID, DISPID *) override { return E_NOTIMPL; }
  HRESULT Invoke(DISPID id, REFIID, LCID, WORD flags, DISPPARAMS *params, VARIANT *result, EXCEPINFO *,
                 UINT *) override {
    if (id != DISPID_VALUE || !(flags & DISPATCH_PROPERTYGET) || params->cArgs != 0) return DISP_E_MEMBERNOTFOUND_;
    return VariantCopy(result, &value_);
  }

 private:
  static constexpr HRESULT DISP_E_MEMBERNOTFOUND_ = static_cast<HRESULT>(0x80020003);
  VARIANT value_;
  bool dispatch_;
  ULONG refs_ = 1;
};

TEST(VariantChangeType, ObjectsConvertThroughTheirValueProperty) {
  ValueObject object(I4(42));
  VARIANT v = Make(VT_DISPATCH, static_cast<IDispatch *>(&object)), out;
  VariantInit(&out);
  ASSERT_EQ(VariantChangeType(&out, &v, 0, VT_BSTR), S_OK);
  EXPECT_EQ(Describe(out), "BSTR \"42\"");
  VariantClear(&out);
  EXPECT_EQ(VariantChangeType(&out, &v, VARIANT_NOVALUEPROP, VT_I4), DISP_E_TYPEMISMATCH);
  ASSERT_EQ(VariantChangeType(&out, &v, 0, VT_UNKNOWN), S_OK);
  EXPECT_EQ(out.punkVal, static_cast<IUnknown *>(&object));
  EXPECT_EQ(object.refs(), 2u);
  VariantClear(&out);
  EXPECT_EQ(object.refs(), 1u);

  ValueObject plain(R8(1.5), /*dispatch=*/false);
  v = Make(VT_UNKNOWN, static_cast<IUnknown *>(&plain));
  EXPECT_EQ(VariantChangeType(&out, &v, 0, VT_DISPATCH), E_NOINTERFACE);
  EXPECT_EQ(VariantChangeType(&out, &v, 0, VT_R8), DISP_E_TYPEMISMATCH);
  EXPECT_EQ(plain.refs(), 1u);
  v.punkVal = &object;
  ASSERT_EQ(VariantChangeType(&out, &v, 0, VT_DISPATCH), S_OK);
  EXPECT_EQ(out.pdispVal, &object);
  VariantClear(&out);
  v = Make(VT_DISPATCH, static_cast<IDispatch *>(nullptr));
  EXPECT_EQ(VariantChangeType(&out, &v, 0, VT_I4), DISP_E_TYPEMISMATCH);
  EXPECT_EQ(object.refs(), 1u);
  double r8 = 0;
  EXPECT_EQ(VarR8FromDisp(&object, 0, &r8), S_OK);
  EXPECT_EQ(r8, 42.0);
}

TEST(VariantChangeType, InPlaceFailureAndReferences) {
  // In place: the text is freed once converted (the leak checker watches the old BSTR).
  VARIANT v = Text(SysAllocString(u" 12 "));
  ASSERT_EQ(VariantChangeType(&v, &v, 0, VT_I4), S_OK);
  EXPECT_EQ(Describe(v), "I4 12");

  // A failure leaves the target as it was; a success replaces (and frees) what it held.
  VARIANT src = Text(SysAllocString(u"abc")), dst = Text(SysAllocString(u"keep"));
  EXPECT_EQ(VariantChangeType(&dst, &src, 0, VT_I4), DISP_E_TYPEMISMATCH);
  EXPECT_EQ(Describe(dst), "BSTR \"keep\"");
  double number = 2.5;
  VARIANT ref = Make(VT_BYREF | VT_R8, &number);
  ASSERT_EQ(VariantChangeType(&dst, &ref, 0, VT_BSTR), S_OK);
  EXPECT_EQ(Describe(dst), "BSTR \"2.5\"");
  ASSERT_EQ(VariantChangeType(&dst, &ref, 0, VT_I2), S_OK);
  EXPECT_EQ(Describe(dst), "I2 2");
  EXPECT_EQ(number, 2.5);  // references are read, never changed
  VariantClear(&src);

  // Arrays convert only to their own type.
  VARIANT array = Make(VT_ARRAY | VT_I4, SafeArrayCreateVector(VT_I4, 0, 3));
  EXPECT_EQ(VariantChangeType(&dst, &array, 0, VT_I4), DISP_E_TYPEMISMATCH);
  ASSERT_EQ(VariantChangeType(&dst, &array, 0, VT_ARRAY | VT_I4), S_OK);
  EXPECT_NE(dst.parray, array.parray);
  VariantClear(&dst);
  VariantClear(&array);
}

TEST(VariantChangeType, ByteArraysAndTextConvertByteForByte) {
  VARIANT text = Text(SysAllocStringByteLen("odd", 3)), bytes, back;
  VariantInit(&bytes);
  VariantInit(&back);
  ASSERT_EQ(VariantChangeType(&bytes, &text, 0, VT_ARRAY | VT_UI1), S_OK);
  LONG upper = -1;
  SafeArrayGetUBound(bytes.parray, 1, &upper);
  EXPECT_EQ(upper, 2);
  EXPECT_EQ(std::memcmp(bytes.parray->pvData, "odd", 3), 0);
  ASSERT_EQ(VariantChangeType(&back, &bytes, 0, VT_BSTR), S_OK);
  EXPECT_EQ(SysStringByteLen(back.bstrVal), 3u);
  EXPECT_EQ(std::memcmp(back.bstrVal, "odd", 3), 0);
  VariantClear(&back);

  // Only one-dimensional byte arrays give text, and text gives only byte arrays.
  SAFEARRAYBOUND square[2] = {{2, 0}, {2, 0}};
  for (VARIANT other : {Make(VT_ARRAY | VT_UI1, SafeArrayCreate(VT_UI1, 2, square)),
                        Make(VT_ARRAY | VT_I2, SafeArrayCreateVector(VT_I2, 0, 2))}) {
    EXPECT_EQ(VariantChangeType(&back, &other, 0, VT_BSTR), DISP_E_TYPEMISMATCH);
    VariantClear(&other);
  }
  EXPECT_EQ(VariantChangeType(&back, &text, 0, VT_ARRAY | VT_I2), DISP_E_TYPEMISMATCH);
  VariantClear(&bytes);
  VariantClear(&text);
}

TEST(VariantLifetime, ClearFreesWhatTheVariantOwns) {
  ValueObject object(I4(1));
  object.AddRef();
  VARIANT v = Make(VT_UNKNOWN, static_cast<IUnknown *>(&object));
  ASSERT_EQ(VariantClear(&v), S_OK);
  EXPECT_EQ(v.vt, VT_EMPTY);
  EXPECT_EQ(object.refs(), 1u);

  // A reference owns nothing: the string stays valid.
  BSTR text = SysAllocString(u"mine");
  v = Make(VT_BYREF | VT_BSTR, &text);
  ASSERT_EQ(VariantClear(&v), S_OK);
  EXPECT_EQ(std::u16string(text), u"mine");
  SysFreeString(text);

  // A locked array stays, and so does the tag.
  v = Make(VT_ARRAY | VT_BSTR, SafeArrayCreateVector(VT_BSTR, 0, 1));
  SafeArrayLock(v.parray);
  EXPECT_EQ(VariantClear(&v), DISP_E_ARRAYISLOCKED);
  EXPECT_EQ(v.vt, VT_ARRAY | VT_BSTR);
  SafeArrayUnlock(v.parray);
  EXPECT_EQ(VariantClear(&v), S_OK);

  v.vt = 0x7F;
  EXPECT_EQ(VariantClear(&v), DISP_E_BADVARTYPE);
  EXPECT_EQ(v.vt, 0x7F);
  EXPECT_EQ(VariantClear(nullptr), E_INVALIDARG);
}

TEST(VariantLifetime, CopyIsDeepForTextAndArraysAndCountsReferences) {
  VARIANT src = Text(SysAllocStringByteLen("abc", 3)), dst;  // an odd byte length survives the copy
  VariantInit(&dst);
  ASSERT_EQ(VariantCopy(&dst, &src), S_OK);
  EXPECT_NE(dst.bstrVal, src.bstrVal);
  EXPECT_EQ(SysStringByteLen(dst.bstrVal), 3u);
  EXPECT_EQ(std::memcmp(dst.bstrVal, "abc", 3), 0);
  EXPECT_EQ(VariantCopy(&src, &src), S_OK);

  ValueObject object(I4(1));
  VARIANT dispatch = Make(VT_DISPATCH, static_cast<IDispatch *>(&object));
  ASSERT_EQ(VariantCopy(&dst, &dispatch), S_OK);  // frees the copied text first
  EXPECT_EQ(object.refs(), 2u);
  VariantClear(&dst);
  EXPECT_EQ(object.refs(), 1u);

  VARIANT array = Make(VT_ARRAY | VT_I4, SafeArrayCreateVector(VT_I4, 0, 2));
  ASSERT_EQ(VariantCopy(&dst, &array), S_OK);
  LONG index = 1, value = 9;
  SafeArrayPutElement(dst.parray, &index, &value);
  SafeArrayGetElement(array.parray, &index, &value);
  EXPECT_EQ(value, 0);
  VariantClear(&array);
  VariantClear(&dst);

  // References are copied as references; VariantCopyInd copies what they refer to.
  VARIANT ref = Make(VT_BYREF | VT_BSTR, &src.bstrVal);
  ASSERT_EQ(VariantCopy(&dst, &ref), S_OK);
  EXPECT_EQ(dst.pbstrVal, &src.bstrVal);
  ASSERT_EQ(VariantCopyInd(&dst, &ref), S_OK);
  EXPECT_EQ(dst.vt, VT_BSTR);
  EXPECT_NE(dst.bstrVal, src.bstrVal);
  VariantClear(&dst);
  VARIANT inner = I4(17), outer = Make(VT_BYREF | VT_VARIANT, &inner);
  ASSERT_EQ(VariantCopyInd(&dst, &outer), S_OK);
  EXPECT_EQ(Describe(dst), "I4 17");
  outer.pvarVal = nullptr;
  EXPECT_EQ(VariantCopyInd(&dst, &outer), E_INVALIDARG);

  VARIANT bad = Make<LONGLONG>(VT_EMPTY | VT_BYREF, 0);
  EXPECT_EQ(VariantCopy(&dst, &bad), DISP_E_BADVARTYPE);
  EXPECT_EQ(Describe(dst), "I4 17");
  VariantClear(&src);
}

}  // namespace
