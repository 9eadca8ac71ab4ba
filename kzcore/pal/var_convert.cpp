#include <kzcore/pal/internal/variant_convert.h>

#include <cmath>
#include <limits>
#include <type_traits>

#include <kzcore/pal/internal/decimal_math.h>
#include <kzcore/pal/internal/float_digits.h>
#include <kzcore/pal/internal/number_text.h>
#include <kzcore/pal/internal/ole_date.h>
#include <kzcore/pal/oleaut.h>
#include <kzcore/pal/wide.h>

namespace kz::pal {
namespace {

// A source value lifted to the few shapes the conversions work on.
enum class Kind { kSigned, kUnsigned, kReal, kCurrency, kDecimal, kBool, kText, kEmpty, kError, kOther };

struct Source {
  Kind kind = Kind::kOther;
  VARTYPE vt = VT_EMPTY;
  LONGLONG s = 0;
  ULONGLONG u = 0;
  double r = 0;
  DECIMAL d{};
  const OLECHAR *text = nullptr;
};

Source Lift(const VARIANT &v) {
  Source x;
  x.vt = v.vt;
  switch (v.vt) {
    case VT_EMPTY: x.kind = Kind::kEmpty; break;
    case VT_I1: x.kind = Kind::kSigned, x.s = static_cast<signed char>(v.cVal); break;
    case VT_I2: x.kind = Kind::kSigned, x.s = v.iVal; break;
    case VT_I4:
    case VT_INT: x.kind = Kind::kSigned, x.s = v.lVal; break;
    case VT_I8: x.kind = Kind::kSigned, x.s = v.llVal; break;
    case VT_UI1: x.kind = Kind::kUnsigned, x.u = v.bVal; break;
    case VT_UI2: x.kind = Kind::kUnsigned, x.u = v.uiVal; break;
    case VT_UI4:
    case VT_UINT: x.kind = Kind::kUnsigned, x.u = v.ulVal; break;
    case VT_UI8: x.kind = Kind::kUnsigned, x.u = v.ullVal; break;
    case VT_R4: x.kind = Kind::kReal, x.r = v.fltVal; break;
    case VT_R8: x.kind = Kind::kReal, x.r = v.dblVal; break;
    case VT_DATE: x.kind = Kind::kReal, x.r = v.date; break;
    case VT_CY: x.kind = Kind::kCurrency, x.s = v.cyVal.int64; break;
    case VT_DECIMAL: x.kind = Kind::kDecimal, x.d = v.decVal; break;
    case VT_BOOL: x.kind = Kind::kBool, x.s = v.boolVal; break;
    case VT_BSTR: x.kind = Kind::kText, x.text = v.bstrVal != nullptr ? v.bstrVal : u""; break;
    case VT_ERROR: x.kind = Kind::kError, x.s = v.scode; break;
    default: break;
  }
  return x;
}

template <class T>
HRESULT FitSigned(LONGLONG v, T *out) {
  if constexpr (std::is_signed_v<T>) {
    if (v < std::numeric_limits<T>::min() || v > std::numeric_limits<T>::max()) return DISP_E_OVERFLOW;
  } else {
    if (v < 0 || static_cast<ULONGLONG>(v) > std::numeric_limits<T>::max()) return DISP_E_OVERFLOW;
  }
  *out = static_cast<T>(v);
  return S_OK;
}

template <class T>
HRESULT FitUnsigned(ULONGLONG v, T *out) {
  if (v > static_cast<ULONGLONG>(std::numeric_limits<T>::max())) return DISP_E_OVERFLOW;
  *out = static_cast<T>(v);
  return S_OK;
}

// A magnitude with a sign, as text and decimals give it.
template <class T>
HRESULT FitMagnitude(ULONGLONG magnitude, bool negative, T *out) {
  if (!negative || magnitude == 0) return FitUnsigned(magnitude, out);
  if constexpr (std::is_signed_v<T>) {
    const ULONGLONG limit = static_cast<ULONGLONG>(std::numeric_limits<T>::max()) + 1;
    if (magnitude > limit) return DISP_E_OVERFLOW;
    *out = static_cast<T>(0 - magnitude);
    return S_OK;
  } else {
    return DISP_E_OVERFLOW;
  }
}

constexpr double TwoTo(int n) { return n == 0 ? 1.0 : 2.0 * TwoTo(n - 1); }

// Reals round half to even, as the integer conversions do everywhere.
template <class T>
HRESULT FitReal(double r, T *out) {
  if (std::isnan(r)) return DISP_E_OVERFLOW;
  const double rounded = std::nearbyint(r);
  constexpr int kValueBits = 8 * sizeof(T) - (std::is_signed_v<T> ? 1 : 0);
  constexpr double kLow = std::is_signed_v<T> ? -TwoTo(kValueBits) : 0.0;
  constexpr double kHigh = TwoTo(kValueBits);
  if (rounded < kLow || rounded >= kHigh) return DISP_E_OVERFLOW;
  if constexpr (std::is_signed_v<T>)
    *out = static_cast<T>(static_cast<LONGLONG>(rounded));
  else
    *out = static_cast<T>(static_cast<ULONGLONG>(rounded));
  return S_OK;
}

LONGLONG CurrencyToWhole(LONGLONG cy) {
  LONGLONG q = cy / 10000;
  const LONGLONG r = cy % 10000;
  const LONGLONG magnitude = r < 0 ? -r : r;
  if (magnitude > 5000 || (magnitude == 5000 && (q & 1) != 0)) q += cy < 0 ? -1 : 1;
  return q;
}

bool IsBooleanWord(const OLECHAR *text, VARIANT_BOOL *out) {
  while (*text == u' ' || (*text >= 0x09 && *text <= 0x0D)) ++text;
  const OLECHAR *end = text + wcslen(text);
  while (end > text && (end[-1] == u' ' || (end[-1] >= 0x09 && end[-1] <= 0x0D))) --end;
  auto equals = [&](const char *word) {
    const OLECHAR *p = text;
    for (; *word; ++word, ++p)
      if (p == end || towlower(*p) != static_cast<OLECHAR>(*word)) return false;
    return p == end;
  };
  if (equals("true")) return *out = VARIANT_TRUE, true;
  if (equals("false")) return *out = VARIANT_FALSE, true;
  return false;
}

template <class T>
HRESULT ToInteger(const Source &x, LCID lcid, T *out) {
  switch (x.kind) {
    case Kind::kEmpty: *out = 0; return S_OK;
    case Kind::kSigned: return FitSigned(x.s, out);
    case Kind::kUnsigned: return FitUnsigned(x.u, out);
    case Kind::kBool:
      // Unsigned targets take the boolean's bits: VARIANT_TRUE is all ones.
      if constexpr (std::is_signed_v<T>)
        return FitSigned(x.s, out);
      else
        return *out = static_cast<T>(x.s), S_OK;
    case Kind::kReal: return FitReal(x.r, out);
    case Kind::kCurrency: return FitSigned(CurrencyToWhole(x.s), out);
    case Kind::kDecimal: {
      if (!DecimalIsValid(x.d)) return E_INVALIDARG;
      const u128 whole = DivPow10RoundEven(DecimalMantissa(x.d), x.d.scale);
      if (whole > ~ULONGLONG{0}) return DISP_E_OVERFLOW;
      return FitMagnitude(static_cast<ULONGLONG>(whole), DecimalIsNegative(x.d), out);
    }
    case Kind::kText: {
      ParsedNumber n;
      if (HRESULT hr = ParseNumber(x.text, LocaleFor(lcid), &n); FAILED(hr)) return hr;
      if (n.radix) {
        // &H and &O texts give bit patterns: they fill the target's width, sign bit included.
        constexpr int kBits = 8 * sizeof(T);
        if (n.radix_overflow || (kBits < 64 && (n.bits >> (kBits % 64)) != 0)) return DISP_E_OVERFLOW;
        *out = static_cast<T>(n.bits);
        return S_OK;
      }
      ULONGLONG magnitude = 0;
      if (!ParsedToMagnitude(n, 0, &magnitude)) return DISP_E_OVERFLOW;
      return FitMagnitude(magnitude, n.negative, out);
    }
    default: return DISP_E_TYPEMISMATCH;
  }
}

HRESULT DecimalToDouble(const DECIMAL &d, double *out) {
  if (!DecimalIsValid(d)) return E_INVALIDARG;
  ParsedNumber n;
  char digits[40];
  char *end = digits + sizeof digits;
  char *first = WriteDigits<char>(DecimalMantissa(d), end);
  n.count = static_cast<int>(end - first);
  for (int i = 0; i < n.count; ++i) n.digits[i] = first[i];
  n.exponent = -d.scale;
  n.negative = DecimalIsNegative(d);
  return ParsedToDouble(n, out);
}

HRESULT ToDouble(const Source &x, LCID lcid, double *out) {
  switch (x.kind) {
    case Kind::kEmpty: *out = 0; return S_OK;
    case Kind::kSigned:
    case Kind::kBool: *out = static_cast<double>(x.s); return S_OK;
    case Kind::kUnsigned: *out = static_cast<double>(x.u); return S_OK;
    case Kind::kReal: *out = x.r; return S_OK;
    case Kind::kCurrency: *out = static_cast<double>(x.s) / 10000.0; return S_OK;
    case Kind::kDecimal: return DecimalToDouble(x.d, out);
    case Kind::kText: {
      ParsedNumber n;
      if (HRESULT hr = ParseNumber(x.text, LocaleFor(lcid), &n); FAILED(hr)) return hr;
      if (n.radix && n.radix_overflow) return DISP_E_OVERFLOW;
      return ParsedToDouble(n, out);
    }
    default: return DISP_E_TYPEMISMATCH;
  }
}

HRESULT ToSingle(const Source &x, LCID lcid, float *out) {
  if (x.kind == Kind::kSigned && x.vt == VT_I8) return *out = static_cast<float>(x.s), S_OK;
  if (x.kind == Kind::kUnsigned && x.vt == VT_UI8) return *out = static_cast<float>(x.u), S_OK;
  double d = 0;
  if (HRESULT hr = ToDouble(x, lcid, &d); FAILED(hr)) return hr;
  const float f = static_cast<float>(d);
  if (std::isinf(f) && !std::isinf(d)) return DISP_E_OVERFLOW;
  *out = f;
  return S_OK;
}

HRESULT ToCurrency(const Source &x, LCID lcid, LONGLONG *out) {
  constexpr LONGLONG kMaxWhole = std::numeric_limits<LONGLONG>::max() / 10000;
  switch (x.kind) {
    case Kind::kEmpty: *out = 0; return S_OK;
    case Kind::kSigned:
    case Kind::kBool:
      if (x.s > kMaxWhole || x.s < -kMaxWhole) return DISP_E_OVERFLOW;
      *out = x.s * 10000;
      return S_OK;
    case Kind::kUnsigned:
      if (x.u > static_cast<ULONGLONG>(kMaxWhole)) return DISP_E_OVERFLOW;
      *out = static_cast<LONGLONG>(x.u) * 10000;
      return S_OK;
    case Kind::kReal: {
      // Scaled in double arithmetic, then rounded half to even.
      const double scaled = std::nearbyint(x.r * 10000.0);
      if (std::isnan(scaled) || scaled < -9223372036854775808.0 || scaled >= 9223372036854775808.0)
        return DISP_E_OVERFLOW;
      *out = static_cast<LONGLONG>(scaled);
      return S_OK;
    }
    case Kind::kCurrency: *out = x.s; return S_OK;
    case Kind::kDecimal: {
      if (!DecimalIsValid(x.d)) return E_INVALIDARG;
      u128 m = DecimalMantissa(x.d);
      if (x.d.scale >= 4)
        m = DivPow10RoundEven(m, x.d.scale - 4);
      else
        m *= Pow10(4 - x.d.scale);
      if (m > ~ULONGLONG{0}) return DISP_E_OVERFLOW;
      return FitMagnitude(static_cast<ULONGLONG>(m), DecimalIsNegative(x.d), out);
    }
    case Kind::kText: {
      ParsedNumber n;
      if (HRESULT hr = ParseNumber(x.text, LocaleFor(lcid), &n); FAILED(hr)) return hr;
      // Kept on purpose: &H and &O texts never make currency.
      if (n.radix) return DISP_E_OVERFLOW;
      ULONGLONG magnitude = 0;
      if (!ParsedToMagnitude(n, 4, &magnitude)) return DISP_E_OVERFLOW;
      return FitMagnitude(magnitude, n.negative, out);
    }
    default: return DISP_E_TYPEMISMATCH;
  }
}

HRESULT ToDecimal(const Source &x, LCID lcid, DECIMAL *out) {
  switch (x.kind) {
    case Kind::kEmpty: SetDecimal(out, 0, 0, false); return S_OK;
    case Kind::kSigned:
    case Kind::kBool: {
      const ULONGLONG magnitude = x.s < 0 ? 0 - static_cast<ULONGLONG>(x.s) : static_cast<ULONGLONG>(x.s);
      SetDecimal(out, magnitude, 0, x.s < 0);
      return S_OK;
    }
    case Kind::kUnsigned: SetDecimal(out, x.u, 0, false); return S_OK;
    case Kind::kCurrency: {
      const ULONGLONG magnitude = x.s < 0 ? 0 - static_cast<ULONGLONG>(x.s) : static_cast<ULONGLONG>(x.s);
      SetDecimal(out, magnitude, 4, x.s < 0);
      return S_OK;
    }
    case Kind::kReal: {
      // A real gives its 15 significant digits (7 for R4), as its text form shows them.
      if (!std::isfinite(x.r) || std::fabs(x.r) >= 79228162514264337593543950336.0) return DISP_E_OVERFLOW;
      DecimalDigits digits;
      ShortDigits(x.r, x.vt == VT_R4 ? 7 : 15, &digits);
      ParsedNumber n;
      for (int i = 0; i < digits.count; ++i) n.digits[i] = digits.digits[i];
      n.count = digits.count;
      n.exponent = digits.point - digits.count;
      n.negative = digits.negative;
      if (n.exponent > 0) {
        // Write the integer out so the decimal has scale 0 rather than a rounded exponent.
        for (int i = 0; i < n.exponent; ++i) n.digits[n.count++] = '0';
        n.exponent = 0;
      }
      return ParsedToDecimal(n, out);
    }
    case Kind::kDecimal:
      if (!DecimalIsValid(x.d)) return E_INVALIDARG;
      SetDecimal(out, DecimalMantissa(x.d), x.d.scale, DecimalIsNegative(x.d));
      return S_OK;
    case Kind::kText: {
      ParsedNumber n;
      if (HRESULT hr = ParseNumber(x.text, LocaleFor(lcid), &n); FAILED(hr)) return hr;
      if (n.radix_overflow) return DISP_E_OVERFLOW;
      return ParsedToDecimal(n, out);
    }
    default: return DISP_E_TYPEMISMATCH;
  }
}

HRESULT ToDate(const Source &x, LCID lcid, ULONG flags, double *out) {
  if (x.kind == Kind::kText) return ParseDateText(x.text, lcid, flags, out);
  double d = 0;
  if (HRESULT hr = ToDouble(x, lcid, &d); FAILED(hr)) return hr;
  if (!(d > kFirstDay - 1.0 && d < kLastDay + 1.0)) return DISP_E_OVERFLOW;
  *out = d;
  return S_OK;
}

HRESULT ToBool(const Source &x, LCID lcid, VARIANT_BOOL *out) {
  bool value = false;
  switch (x.kind) {
    case Kind::kEmpty: break;
    case Kind::kSigned:
    case Kind::kBool:
    case Kind::kCurrency: value = x.s != 0; break;
    case Kind::kUnsigned: value = x.u != 0; break;
    case Kind::kReal: value = x.r != 0; break;
    case Kind::kDecimal:
      if (!DecimalIsValid(x.d)) return E_INVALIDARG;
      value = DecimalMantissa(x.d) != 0;
      break;
    case Kind::kText: {
      if (IsBooleanWord(x.text, out)) return S_OK;
      ParsedNumber n;
      if (HRESULT hr = ParseNumber(x.text, LocaleFor(lcid), &n); FAILED(hr)) return hr;
      if (n.radix) {
        // A bit pattern must fit the boolean's 16 bits.
        if (n.radix_overflow || n.bits > 0xFFFF) return DISP_E_OVERFLOW;
        value = n.bits != 0;
        break;
      }
      double d = 0;
      if (HRESULT hr = ParsedToDouble(n, &d); FAILED(hr)) return hr;
      value = d != 0;
      break;
    }
    default: return DISP_E_TYPEMISMATCH;
  }
  *out = value ? VARIANT_TRUE : VARIANT_FALSE;
  return S_OK;
}

HRESULT ToText(const Source &x, LCID lcid, ULONG flags, bool alpha_bool, BSTR *out) {
  const OleLocale &locale = LocaleFor(lcid);
  OLECHAR buffer[kNumberTextMax > kDateTextMax ? kNumberTextMax : kDateTextMax];
  int length = 0;
  switch (x.kind) {
    case Kind::kEmpty: break;
    case Kind::kSigned: length = FormatSigned(x.s, buffer); break;
    case Kind::kUnsigned: length = FormatUnsigned(x.u, buffer); break;
    case Kind::kBool:
      if (alpha_bool) {
        *out = SysAllocString(x.s != 0 ? u"True" : u"False");
        return *out != nullptr ? S_OK : E_OUTOFMEMORY;
      }
      length = FormatSigned(x.s, buffer);
      break;
    case Kind::kReal:
      if (x.vt == VT_DATE) {
        length = FormatDateText(x.r, lcid, flags, buffer);
        if (length < 0) return E_INVALIDARG;
      } else {
        length = FormatReal(x.r, x.vt == VT_R4 ? 7 : 15, locale.decimal, buffer);
      }
      break;
    case Kind::kCurrency: length = FormatCurrency(x.s, locale.decimal, buffer); break;
    case Kind::kDecimal:
      if (!DecimalIsValid(x.d)) return E_INVALIDARG;
      length = FormatDecimal(x.d, locale.decimal, buffer);
      break;
    case Kind::kText: {
      *out = SysAllocString(x.text);
      return *out != nullptr ? S_OK : E_OUTOFMEMORY;
    }
    default: return DISP_E_TYPEMISMATCH;
  }
  *out = SysAllocStringLen(buffer, static_cast<UINT>(length));
  return *out != nullptr ? S_OK : E_OUTOFMEMORY;
}

HRESULT ToError(const Source &x, SCODE *out) {
  switch (x.kind) {
    case Kind::kSigned: return FitSigned(x.s, out);
    case Kind::kUnsigned: return FitUnsigned(x.u, out);
    default: return DISP_E_TYPEMISMATCH;
  }
}

}  // namespace

bool IsValidVariantType(VARTYPE vt) {
  const VARTYPE base = vt & VT_TYPEMASK;
  const VARTYPE extra = vt & ~VT_TYPEMASK;
  if (extra != 0 && extra != VT_BYREF && extra != VT_ARRAY && extra != (VT_BYREF | VT_ARRAY)) return false;
  switch (base) {
    case VT_EMPTY:
    case VT_NULL: return extra == 0;
    case VT_VARIANT: return extra != 0;
    case VT_I2: case VT_I4: case VT_R4: case VT_R8: case VT_CY: case VT_DATE: case VT_BSTR:
    case VT_DISPATCH: case VT_ERROR: case VT_BOOL: case VT_UNKNOWN: case VT_DECIMAL: case VT_I1:
    case VT_UI1: case VT_UI2: case VT_UI4: case VT_I8: case VT_UI8: case VT_INT: case VT_UINT:
      return true;
    default: return false;
  }
}

HRESULT ConvertScalar(const VARIANT &src, VARTYPE vt, LCID lcid, ULONG var_flags, bool alpha_bool,
                      VARIANT *out) {
  const Source x = Lift(src);
  if (x.kind == Kind::kOther && src.vt != VT_NULL) return DISP_E_TYPEMISMATCH;
  VARIANT r;
  r.vt = vt;
  r.wReserved1 = r.wReserved2 = r.wReserved3 = 0;
  r.llVal = 0;
  HRESULT hr = DISP_E_TYPEMISMATCH;
  if (src.vt == VT_NULL) {
    // Null becomes nothing but null or empty.
    if (vt != VT_NULL && vt != VT_EMPTY) return DISP_E_TYPEMISMATCH;
    hr = S_OK;
  } else {
    switch (vt) {
      case VT_EMPTY: hr = S_OK; break;
      case VT_NULL: hr = x.kind == Kind::kEmpty ? S_OK : DISP_E_TYPEMISMATCH; break;
      case VT_I1: hr = ToInteger(x, lcid, reinterpret_cast<signed char *>(&r.cVal)); break;
      case VT_I2: hr = ToInteger(x, lcid, &r.iVal); break;
      case VT_I4:
      case VT_INT: hr = ToInteger(x, lcid, &r.lVal); break;
      case VT_I8: hr = ToInteger(x, lcid, &r.llVal); break;
      case VT_UI1: hr = ToInteger(x, lcid, &r.bVal); break;
      case VT_UI2: hr = ToInteger(x, lcid, &r.uiVal); break;
      case VT_UI4:
      case VT_UINT: hr = ToInteger(x, lcid, &r.ulVal); break;
      case VT_UI8: hr = ToInteger(x, lcid, &r.ullVal); break;
      case VT_R4: hr = ToSingle(x, lcid, &r.fltVal); break;
      case VT_R8: hr = ToDouble(x, lcid, &r.dblVal); break;
      case VT_CY: hr = ToCurrency(x, lcid, &r.cyVal.int64); break;
      case VT_DATE: hr = ToDate(x, lcid, var_flags, &r.date); break;
      case VT_BOOL: hr = ToBool(x, lcid, &r.boolVal); break;
      case VT_BSTR: hr = ToText(x, lcid, var_flags, alpha_bool, &r.bstrVal); break;
      case VT_ERROR: hr = ToError(x, &r.scode); break;
      case VT_DECIMAL: {
        DECIMAL d{};
        hr = ToDecimal(x, lcid, &d);
        if (SUCCEEDED(hr)) {
          r.decVal = d;
          r.vt = VT_DECIMAL;
        }
        break;
      }
      default: hr = DISP_E_TYPEMISMATCH; break;
    }
  }
  if (SUCCEEDED(hr)) *out = r;
  return hr;
}

HRESULT ValueOfObject(IUnknown *object, LCID lcid, VARIANT *out) {
  if (object == nullptr) return DISP_E_TYPEMISMATCH;
  IDispatch *dispatch = nullptr;
  if (FAILED(object->QueryInterface(KZ_IID(IDispatch), reinterpret_cast<void **>(&dispatch))) ||
      dispatch == nullptr)
    return DISP_E_TYPEMISMATCH;
  DISPPARAMS no_arguments{nullptr, nullptr, 0, 0};
  VARIANT value;
  VariantInit(&value);
  const HRESULT hr = dispatch->Invoke(DISPID_VALUE, IID_NULL, lcid, DISPATCH_PROPERTYGET, &no_arguments,
                                      &value, nullptr, nullptr);
  dispatch->Release();
  if (FAILED(hr)) {
    VariantClear(&value);
    return DISP_E_TYPEMISMATCH;
  }
  *out = value;
  return S_OK;
}

}  // namespace kz::pal
