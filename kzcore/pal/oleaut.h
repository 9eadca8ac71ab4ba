// The OLE Automation conversion functions: Var<To>From<From> for every pair of the value types,
// the text forms of numbers, booleans and dates, and the date and system-time conversions.
//
// Text conversions take a locale identifier. Locale 0, LOCALE_USER_DEFAULT, LOCALE_SYSTEM_DEFAULT
// and English (United States) 1033 read and write the same forms ("1,234.5", "1/2/2018
// 12:30:45 PM"); English (United Kingdom) 2057 and German 1031 have their own separators and day
// order; any other locale takes the 1033 forms.
//
//   double d = 0;
//   VarR8FromStr(u"1,234.5", 0, 0, &d);            // 1234.5
//   BSTR text = nullptr;
//   VarBstrFromR8(1.0 / 3.0, 0, 0, &text);         // "0.333333333333333"
//   SysFreeString(text);
//   SYSTEMTIME st{2018, 1, 0, 2};
//   DATE date = 0;
//   SystemTimeToVariantTime(&st, &date);           // 43102
#pragma once

#include <kzcore/pal/locale.h>  // the locale identifiers
#include <kzcore/pal/variant.h>

struct SYSTEMTIME {
  WORD wYear;
  WORD wMonth;
  WORD wDayOfWeek;
  WORD wDay;
  WORD wHour;
  WORD wMinute;
  WORD wSecond;
  WORD wMilliseconds;
};
using LPSYSTEMTIME = SYSTEMTIME *;

struct UDATE {
  SYSTEMTIME st;
  USHORT wDayOfYear;
};

// dwFlags of the Var*From* functions.
constexpr ULONG VAR_TIMEVALUEONLY = 0x001;
constexpr ULONG VAR_DATEVALUEONLY = 0x002;
constexpr ULONG VAR_VALIDDATE = 0x004;
constexpr ULONG VAR_CALENDAR_HIJRI = 0x008;
constexpr ULONG VAR_LOCALBOOL = 0x010;
constexpr ULONG VAR_FORMAT_NOSUBSTITUTE = 0x020;
constexpr ULONG VAR_FOURDIGITYEARS = 0x040;
constexpr ULONG VAR_CALENDAR_THAI = 0x080;
constexpr ULONG VAR_CALENDAR_GREGORIAN = 0x100;

// Dates and system times. Milliseconds are ignored on the way in and 0 on the way out; the time
// is rounded to the nearest second. A day of 0 is the last day of the month before, a day past
// the month's end runs into the next month, a month of 0 is December of the year before; years
// below 100 are two-digit years (0-49 are 2000-2049, 50-99 are 1950-1999). Out of range gives
// FALSE (E_INVALIDARG for the UDATE forms).
KZ_API INT SystemTimeToVariantTime(LPSYSTEMTIME system_time, DOUBLE *variant_time);
KZ_API INT VariantTimeToSystemTime(DOUBLE variant_time, LPSYSTEMTIME system_time);
KZ_API HRESULT VarDateFromUdate(UDATE *udate, ULONG flags, DATE *out);
KZ_API HRESULT VarUdateFromDate(DATE date, ULONG flags, UDATE *out);

// The conversion functions. Integers take reals, currency and decimals rounded half to even
// ("2.5" gives 2); a value outside the target's range gives DISP_E_OVERFLOW, a text that is not a
// number DISP_E_TYPEMISMATCH.
KZ_API HRESULT VarUI1FromI1(CHAR in, BYTE *out);
KZ_API HRESULT VarUI1FromI2(SHORT in, BYTE *out);
KZ_API HRESULT VarUI1FromUI2(USHORT in, BYTE *out);
KZ_API HRESULT VarUI1FromI4(LONG in, BYTE *out);
KZ_API HRESULT VarUI1FromUI4(ULONG in, BYTE *out);
KZ_API HRESULT VarUI1FromI8(LONG64 in, BYTE *out);
KZ_API HRESULT VarUI1FromUI8(ULONG64 in, BYTE *out);
KZ_API HRESULT VarUI1FromR4(FLOAT in, BYTE *out);
KZ_API HRESULT VarUI1FromR8(DOUBLE in, BYTE *out);
KZ_API HRESULT VarUI1FromCy(CY in, BYTE *out);
KZ_API HRESULT VarUI1FromDate(DATE in, BYTE *out);
KZ_API HRESULT VarUI1FromBool(VARIANT_BOOL in, BYTE *out);
KZ_API HRESULT VarUI1FromDec(const DECIMAL *in, BYTE *out);
KZ_API HRESULT VarUI1FromStr(LPCOLESTR in, LCID lcid, ULONG flags, BYTE *out);
KZ_API HRESULT VarUI1FromDisp(IDispatch *in, LCID lcid, BYTE *out);

KZ_API HRESULT VarI1FromUI1(BYTE in, CHAR *out);
KZ_API HRESULT VarI1FromI2(SHORT in, CHAR *out);
KZ_API HRESULT VarI1FromUI2(USHORT in, CHAR *out);
KZ_API HRESULT VarI1FromI4(LONG in, CHAR *out);
KZ_API HRESULT VarI1FromUI4(ULONG in, CHAR *out);
KZ_API HRESULT VarI1FromI8(LONG64 in, CHAR *out);
KZ_API HRESULT VarI1FromUI8(ULONG64 in, CHAR *out);
KZ_API HRESULT VarI1FromR4(FLOAT in, CHAR *out);
KZ_API HRESULT VarI1FromR8(DOUBLE in, CHAR *out);
KZ_API HRESULT VarI1FromCy(CY in, CHAR *out);
KZ_API HRESULT VarI1FromDate(DATE in, CHAR *out);
KZ_API HRESULT VarI1FromBool(VARIANT_BOOL in, CHAR *out);
KZ_API HRESULT VarI1FromDec(const DECIMAL *in, CHAR *out);
KZ_API HRESULT VarI1FromStr(LPCOLESTR in, LCID lcid, ULONG flags, CHAR *out);
KZ_API HRESULT VarI1FromDisp(IDispatch *in, LCID lcid, CHAR *out);

KZ_API HRESULT VarI2FromUI1(BYTE in, SHORT *out);
KZ_API HRESULT VarI2FromI1(CHAR in, SHORT *out);
KZ_API HRESULT VarI2FromUI2(USHORT in, SHORT *out);
KZ_API HRESULT VarI2FromI4(LONG in, SHORT *out);
KZ_API HRESULT VarI2FromUI4(ULONG in, SHORT *out);
KZ_API HRESULT VarI2FromI8(LONG64 in, SHORT *out);
KZ_API HRESULT VarI2FromUI8(ULONG64 in, SHORT *out);
KZ_API HRESULT VarI2FromR4(FLOAT in, SHORT *out);
KZ_API HRESULT VarI2FromR8(DOUBLE in, SHORT *out);
KZ_API HRESULT VarI2FromCy(CY in, SHORT *out);
KZ_API HRESULT VarI2FromDate(DATE in, SHORT *out);
KZ_API HRESULT VarI2FromBool(VARIANT_BOOL in, SHORT *out);
KZ_API HRESULT VarI2FromDec(const DECIMAL *in, SHORT *out);
KZ_API HRESULT VarI2FromStr(LPCOLESTR in, LCID lcid, ULONG flags, SHORT *out);
KZ_API HRESULT VarI2FromDisp(IDispatch *in, LCID lcid, SHORT *out);

KZ_API HRESULT VarUI2FromUI1(BYTE in, USHORT *out);
KZ_API HRESULT VarUI2FromI1(CHAR in, USHORT *out);
KZ_API HRESULT VarUI2FromI2(SHORT in, USHORT *out);
KZ_API HRESULT VarUI2FromI4(LONG in, USHORT *out);
KZ_API HRESULT VarUI2FromUI4(ULONG in, USHORT *out);
KZ_API HRESULT VarUI2FromI8(LONG64 in, USHORT *out);
KZ_API HRESULT VarUI2FromUI8(ULONG64 in, USHORT *out);
KZ_API HRESULT VarUI2FromR4(FLOAT in, USHORT *out);
KZ_API HRESULT VarUI2FromR8(DOUBLE in, USHORT *out);
KZ_API HRESULT VarUI2FromCy(CY in, USHORT *out);
KZ_API HRESULT VarUI2FromDate(DATE in, USHORT *out);
KZ_API HRESULT VarUI2FromBool(VARIANT_BOOL in, USHORT *out);
KZ_API HRESULT VarUI2FromDec(const DECIMAL *in, USHORT *out);
KZ_API HRESULT VarUI2FromStr(LPCOLESTR in, LCID lcid, ULONG flags, USHORT *out);
KZ_API HRESULT VarUI2FromDisp(IDispatch *in, LCID lcid, USHORT *out);

KZ_API HRESULT VarI4FromUI1(BYTE in, LONG *out);
KZ_API HRESULT VarI4FromI1(CHAR in, LONG *out);
KZ_API HRESULT VarI4FromI2(SHORT in, LONG *out);
KZ_API HRESULT VarI4FromUI2(USHORT in, LONG *out);
KZ_API HRESULT VarI4FromUI4(ULONG in, LONG *out);
KZ_API HRESULT VarI4FromI8(LONG64 in, LONG *out);
KZ_API HRESULT VarI4FromUI8(ULONG64 in, LONG *out);
KZ_API HRESULT VarI4FromR4(FLOAT in, LONG *out);
KZ_API HRESULT VarI4FromR8(DOUBLE in, LONG *out);
KZ_API HRESULT VarI4FromCy(CY in, LONG *out);
KZ_API HRESULT VarI4FromDate(DATE in, LONG *out);
KZ_API HRESULT VarI4FromBool(VARIANT_BOOL in, LONG *out);
KZ_API HRESULT VarI4FromDec(const DECIMAL *in, LONG *out);
KZ_API HRESULT VarI4FromStr(LPCOLESTR in, LCID lcid, ULONG flags, LONG *out);
KZ_API HRESULT VarI4FromDisp(IDispatch *in, LCID lcid, LONG *out);

KZ_API HRESULT VarUI4FromUI1(BYTE in, ULONG *out);
KZ_API HRESULT VarUI4FromI1(CHAR in, ULONG *out);
KZ_API HRESULT VarUI4FromI2(SHORT in, ULONG *out);
KZ_API HRESULT VarUI4FromUI2(USHORT in, ULONG *out);
KZ_API HRESULT VarUI4FromI4(LONG in, ULONG *out);
KZ_API HRESULT VarUI4FromI8(LONG64 in, ULONG *out);
KZ_API HRESULT VarUI4FromUI8(ULONG64 in, ULONG *out);
KZ_API HRESULT VarUI4FromR4(FLOAT in, ULONG *out);
KZ_API HRESULT VarUI4FromR8(DOUBLE in, ULONG *out);
KZ_API HRESULT VarUI4FromCy(CY in, ULONG *out);
KZ_API HRESULT VarUI4FromDate(DATE in, ULONG *out);
KZ_API HRESULT VarUI4FromBool(VARIANT_BOOL in, ULONG *out);
KZ_API HRESULT VarUI4FromDec(const DECIMAL *in, ULONG *out);
KZ_API HRESULT VarUI4FromStr(LPCOLESTR in, LCID lcid, ULONG flags, ULONG *out);
KZ_API HRESULT VarUI4FromDisp(IDispatch *in, LCID lcid, ULONG *out);

KZ_API HRESULT VarI8FromUI1(BYTE in, LONG64 *out);
KZ_API HRESULT VarI8FromI1(CHAR in, LONG64 *out);
KZ_API HRESULT VarI8FromI2(SHORT in, LONG64 *out);
KZ_API HRESULT VarI8FromUI2(USHORT in, LONG64 *out);
KZ_API HRESULT VarI8FromI4(LONG in, LONG64 *out);
KZ_API HRESULT VarI8FromUI4(ULONG in, LONG64 *out);
KZ_API HRESULT VarI8FromUI8(ULONG64 in, LONG64 *out);
KZ_API HRESULT VarI8FromR4(FLOAT in, LONG64 *out);
KZ_API HRESULT VarI8FromR8(DOUBLE in, LONG64 *out);
KZ_API HRESULT VarI8FromCy(CY in, LONG64 *out);
KZ_API HRESULT VarI8FromDate(DATE in, LONG64 *out);
KZ_API HRESULT VarI8FromBool(VARIANT_BOOL in, LONG64 *out);
KZ_API HRESULT VarI8FromDec(const DECIMAL *in, LONG64 *out);
KZ_API HRESULT VarI8FromStr(LPCOLESTR in, LCID lcid, ULONG flags, LONG64 *out);
KZ_API HRESULT VarI8FromDisp(IDispatch *in, LCID lcid, LONG64 *out);

KZ_API HRESULT VarUI8FromUI1(BYTE in, ULONG64 *out);
KZ_API HRESULT VarUI8FromI1(CHAR in, ULONG64 *out);
KZ_API HRESULT VarUI8FromI2(SHORT in, ULONG64 *out);
KZ_API HRESULT VarUI8FromUI2(USHORT in, ULONG64 *out);
KZ_API HRESULT VarUI8FromI4(LONG in, ULONG64 *out);
KZ_API HRESULT VarUI8FromUI4(ULONG in, ULONG64 *out);
KZ_API HRESULT VarUI8FromI8(LONG64 in, ULONG64 *out);
KZ_API HRESULT VarUI8FromR4(FLOAT in, ULONG64 *out);
KZ_API HRESULT VarUI8FromR8(DOUBLE in, ULONG64 *out);
KZ_API HRESULT VarUI8FromCy(CY in, ULONG64 *out);
KZ_API HRESULT VarUI8FromDate(DATE in, ULONG64 *out);
KZ_API HRESULT VarUI8FromBool(VARIANT_BOOL in, ULONG64 *out);
KZ_API HRESULT VarUI8FromDec(const DECIMAL *in, ULONG64 *out);
KZ_API HRESULT VarUI8FromStr(LPCOLESTR in, LCID lcid, ULONG flags, ULONG64 *out);
KZ_API HRESULT VarUI8FromDisp(IDispatch *in, LCID lcid, ULONG64 *out);

KZ_API HRESULT VarR4FromUI1(BYTE in, FLOAT *out);
KZ_API HRESULT VarR4FromI1(CHAR in, FLOAT *out);
KZ_API HRESULT VarR4FromI2(SHORT in, FLOAT *out);
KZ_API HRESULT VarR4FromUI2(USHORT in, FLOAT *out);
KZ_API HRESULT VarR4FromI4(LONG in, FLOAT *out);
KZ_API HRESULT VarR4FromUI4(ULONG in, FLOAT *out);
KZ_API HRESULT VarR4FromI8(LONG64 in, FLOAT *out);
KZ_API HRESULT VarR4FromUI8(ULONG64 in, FLOAT *out);
KZ_API HRESULT VarR4FromR8(DOUBLE in, FLOAT *out);
KZ_API HRESULT VarR4FromCy(CY in, FLOAT *out);
KZ_API HRESULT VarR4FromDate(DATE in, FLOAT *out);
KZ_API HRESULT VarR4FromBool(VARIANT_BOOL in, FLOAT *out);
KZ_API HRESULT VarR4FromDec(const DECIMAL *in, FLOAT *out);
KZ_API HRESULT VarR4FromStr(LPCOLESTR in, LCID lcid, ULONG flags, FLOAT *out);
KZ_API HRESULT VarR4FromDisp(IDispatch *in, LCID lcid, FLOAT *out);

KZ_API HRESULT VarR8FromUI1(BYTE in, DOUBLE *out);
KZ_API HRESULT VarR8FromI1(CHAR in, DOUBLE *out);
KZ_API HRESULT VarR8FromI2(SHORT in, DOUBLE *out);
KZ_API HRESULT VarR8FromUI2(USHORT in, DOUBLE *out);
KZ_API HRESULT VarR8FromI4(LONG in, DOUBLE *out);
KZ_API HRESULT VarR8FromUI4(ULONG in, DOUBLE *out);
KZ_API HRESULT VarR8FromI8(LONG64 in, DOUBLE *out);
KZ_API HRESULT VarR8FromUI8(ULONG64 in, DOUBLE *out);
KZ_API HRESULT VarR8FromR4(FLOAT in, DOUBLE *out);
KZ_API HRESULT VarR8FromCy(CY in, DOUBLE *out);
KZ_API HRESULT VarR8FromDate(DATE in, DOUBLE *out);
KZ_API HRESULT VarR8FromBool(VARIANT_BOOL in, DOUBLE *out);
KZ_API HRESULT VarR8FromDec(const DECIMAL *in, DOUBLE *out);
KZ_API HRESULT VarR8FromStr(LPCOLESTR in, LCID lcid, ULONG flags, DOUBLE *out);
KZ_API HRESULT VarR8FromDisp(IDispatch *in, LCID lcid, DOUBLE *out);

KZ_API HRESULT VarCyFromUI1(BYTE in, CY *out);
KZ_API HRESULT VarCyFromI1(CHAR in, CY *out);
KZ_API HRESULT VarCyFromI2(SHORT in, CY *out);
KZ_API HRESULT VarCyFromUI2(USHORT in, CY *out);
KZ_API HRESULT VarCyFromI4(LONG in, CY *out);
KZ_API HRESULT VarCyFromUI4(ULONG in, CY *out);
KZ_API HRESULT VarCyFromI8(LONG64 in, CY *out);
KZ_API HRESULT VarCyFromUI8(ULONG64 in, CY *out);
KZ_API HRESULT VarCyFromR4(FLOAT in, CY *out);
KZ_API HRESULT VarCyFromR8(DOUBLE in, CY *out);
KZ_API HRESULT VarCyFromDate(DATE in, CY *out);
KZ_API HRESULT VarCyFromBool(VARIANT_BOOL in, CY *out);
KZ_API HRESULT VarCyFromDec(const DECIMAL *in, CY *out);
KZ_API HRESULT VarCyFromStr(LPCOLESTR in, LCID lcid, ULONG flags, CY *out);
KZ_API HRESULT VarCyFromDisp(IDispatch *in, LCID lcid, CY *out);

KZ_API HRESULT VarDateFromUI1(BYTE in, DATE *out);
KZ_API HRESULT VarDateFromI1(CHAR in, DATE *out);
KZ_API HRESULT VarDateFromI2(SHORT in, DATE *out);
KZ_API HRESULT VarDateFromUI2(USHORT in, DATE *out);
KZ_API HRESULT VarDateFromI4(LONG in, DATE *out);
KZ_API HRESULT VarDateFromUI4(ULONG in, DATE *out);
KZ_API HRESULT VarDateFromI8(LONG64 in, DATE *out);
KZ_API HRESULT VarDateFromUI8(ULONG64 in, DATE *out);
KZ_API HRESULT VarDateFromR4(FLOAT in, DATE *out);
KZ_API HRESULT VarDateFromR8(DOUBLE in, DATE *out);
KZ_API HRESULT VarDateFromCy(CY in, DATE *out);
KZ_API HRESULT VarDateFromBool(VARIANT_BOOL in, DATE *out);
KZ_API HRESULT VarDateFromDec(const DECIMAL *in, DATE *out);
KZ_API HRESULT VarDateFromStr(LPCOLESTR in, LCID lcid, ULONG flags, DATE *out);
KZ_API HRESULT VarDateFromDisp(IDispatch *in, LCID lcid, DATE *out);

KZ_API HRESULT VarBoolFromUI1(BYTE in, VARIANT_BOOL *out);
KZ_API HRESULT VarBoolFromI1(CHAR in, VARIANT_BOOL *out);
KZ_API HRESULT VarBoolFromI2(SHORT in, VARIANT_BOOL *out);
KZ_API HRESULT VarBoolFromUI2(USHORT in, VARIANT_BOOL *out);
KZ_API HRESULT VarBoolFromI4(LONG in, VARIANT_BOOL *out);
KZ_API HRESULT VarBoolFromUI4(ULONG in, VARIANT_BOOL *out);
KZ_API HRESULT VarBoolFromI8(LONG64 in, VARIANT_BOOL *out);
KZ_API HRESULT VarBoolFromUI8(ULONG64 in, VARIANT_BOOL *out);
KZ_API HRESULT VarBoolFromR4(FLOAT in, VARIANT_BOOL *out);
KZ_API HRESULT VarBoolFromR8(DOUBLE in, VARIANT_BOOL *out);
KZ_API HRESULT VarBoolFromCy(CY in, VARIANT_BOOL *out);
KZ_API HRESULT VarBoolFromDate(DATE in, VARIANT_BOOL *out);
KZ_API HRESULT VarBoolFromDec(const DECIMAL *in, VARIANT_BOOL *out);
KZ_API HRESULT VarBoolFromStr(LPCOLESTR in, LCID lcid, ULONG flags, VARIANT_BOOL *out);
KZ_API HRESULT VarBoolFromDisp(IDispatch *in, LCID lcid, VARIANT_BOOL *out);

KZ_API HRESULT VarDecFromUI1(BYTE in, DECIMAL *out);
KZ_API HRESULT VarDecFromI1(CHAR in, DECIMAL *out);
KZ_API HRESULT VarDecFromI2(SHORT in, DECIMAL *out);
KZ_API HRESULT VarDecFromUI2(USHORT in, DECIMAL *out);
KZ_API HRESULT VarDecFromI4(LONG in, DECIMAL *out);
KZ_API HRESULT VarDecFromUI4(ULONG in, DECIMAL *out);
KZ_API HRESULT VarDecFromI8(LONG64 in, DECIMAL *out);
KZ_API HRESULT VarDecFromUI8(ULONG64 in, DECIMAL *out);
KZ_API HRESULT VarDecFromR4(FLOAT in, DECIMAL *out);
KZ_API HRESULT VarDecFromR8(DOUBLE in, DECIMAL *out);
KZ_API HRESULT VarDecFromCy(CY in, DECIMAL *out);
KZ_API HRESULT VarDecFromDate(DATE in, DECIMAL *out);
KZ_API HRESULT VarDecFromBool(VARIANT_BOOL in, DECIMAL *out);
KZ_API HRESULT VarDecFromStr(LPCOLESTR in, LCID lcid, ULONG flags, DECIMAL *out);
KZ_API HRESULT VarDecFromDisp(IDispatch *in, LCID lcid, DECIMAL *out);

// Text forms. Reals have 15 significant digits (7 for R4), "1E+15" and "1E-05" beyond the fixed
// range; currency and decimals drop trailing zeros; dates take the locale's short date and long
// time ("1/2/2018 12:30:45 PM"), without the time for whole days and without the date on day 0
// (VAR_DATEVALUEONLY and VAR_TIMEVALUEONLY force one part); booleans are "True" and "False".
KZ_API HRESULT VarBstrFromUI1(BYTE in, LCID lcid, ULONG flags, BSTR *out);
KZ_API HRESULT VarBstrFromI1(CHAR in, LCID lcid, ULONG flags, BSTR *out);
KZ_API HRESULT VarBstrFromI2(SHORT in, LCID lcid, ULONG flags, BSTR *out);
KZ_API HRESULT VarBstrFromUI2(USHORT in, LCID lcid, ULONG flags, BSTR *out);
KZ_API HRESULT VarBstrFromI4(LONG in, LCID lcid, ULONG flags, BSTR *out);
KZ_API HRESULT VarBstrFromUI4(ULONG in, LCID lcid, ULONG flags, BSTR *out);
KZ_API HRESULT VarBstrFromI8(LONG64 in, LCID lcid, ULONG flags, BSTR *out);
KZ_API HRESULT VarBstrFromUI8(ULONG64 in, LCID lcid, ULONG flags, BSTR *out);
KZ_API HRESULT VarBstrFromR4(FLOAT in, LCID lcid, ULONG flags, BSTR *out);
KZ_API HRESULT VarBstrFromR8(DOUBLE in, LCID lcid, ULONG flags, BSTR *out);
KZ_API HRESULT VarBstrFromCy(CY in, LCID lcid, ULONG flags, BSTR *out);
KZ_API HRESULT VarBstrFromDate(DATE in, LCID lcid, ULONG flags, BSTR *out);
KZ_API HRESULT VarBstrFromBool(VARIANT_BOOL in, LCID lcid, ULONG flags, BSTR *out);
KZ_API HRESULT VarBstrFromDec(const DECIMAL *in, LCID lcid, ULONG flags, BSTR *out);
KZ_API HRESULT VarBstrFromDisp(IDispatch *in, LCID lcid, ULONG flags, BSTR *out);
