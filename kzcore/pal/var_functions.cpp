// The Var<To>From<From> family: each builds the source value and runs the shared conversion.
#include <cstring>

#include <kzcore/pal/internal/variant_convert.h>
#include <kzcore/pal/oleaut.h>

namespace {

using kz::pal::ConvertScalar;

template <class T>
VARIANT Wrap(VARTYPE vt, T value) {
  VARIANT v;
  v.vt = vt;
  v.wReserved1 = v.wReserved2 = v.wReserved3 = 0;
  v.llVal = 0;
  std::memcpy(&v.llVal, &value, sizeof value);
  return v;
}

VARIANT Wrap(VARTYPE, const DECIMAL &value) {
  VARIANT v;
  v.decVal = value;
  v.vt = VT_DECIMAL;
  return v;
}

template <class T>
void Unwrap(const VARIANT &v, T *out) {
  std::memcpy(out, &v.llVal, sizeof(T));
}

void Unwrap(const VARIANT &v, DECIMAL *out) {
  *out = v.decVal;
  out->wReserved = 0;
}

template <class T>
HRESULT Into(const VARIANT &src, VARTYPE vt, T *out, LCID lcid = 0, ULONG flags = 0) {
  if (out == nullptr) return E_INVALIDARG;
  VARIANT result;
  const HRESULT hr = ConvertScalar(src, vt, lcid, flags, vt == VT_BSTR, &result);
  if (SUCCEEDED(hr)) Unwrap(result, out);
  return hr;
}

template <class T>
HRESULT FromDecimal(const DECIMAL *in, VARTYPE vt, T *out, LCID lcid = 0, ULONG flags = 0) {
  if (in == nullptr) return E_INVALIDARG;
  return Into(Wrap(VT_DECIMAL, *in), vt, out, lcid, flags);
}

template <class T>
HRESULT FromText(LPCOLESTR in, LCID lcid, ULONG flags, VARTYPE vt, T *out) {
  if (in == nullptr) return E_INVALIDARG;
  VARIANT src = Wrap(VT_BSTR, in);
  return Into(src, vt, out, lcid, flags);
}

template <class T>
HRESULT FromObject(IDispatch *in, LCID lcid, ULONG flags, VARTYPE vt, T *out) {
  if (out == nullptr) return E_INVALIDARG;
  VARIANT value;
  HRESULT hr = kz::pal::ValueOfObject(in, lcid, &value);
  if (FAILED(hr)) return hr;
  hr = Into(value, vt, out, lcid, flags);
  VariantClear(&value);
  return hr;
}

}  // namespace


HRESULT VarUI1FromI1(CHAR in, BYTE *out) { return Into(Wrap(VT_I1, in), VT_UI1, out); }
HRESULT VarUI1FromI2(SHORT in, BYTE *out) { return Into(Wrap(VT_I2, in), VT_UI1, out); }
HRESULT VarUI1FromUI2(USHORT in, BYTE *out) { return Into(Wrap(VT_UI2, in), VT_UI1, out); }
HRESULT VarUI1FromI4(LONG in, BYTE *out) { return Into(Wrap(VT_I4, in), VT_UI1, out); }
HRESULT VarUI1FromUI4(ULONG in, BYTE *out) { return Into(Wrap(VT_UI4, in), VT_UI1, out); }
HRESULT VarUI1FromI8(LONG64 in, BYTE *out) { return Into(Wrap(VT_I8, in), VT_UI1, out); }
HRESULT VarUI1FromUI8(ULONG64 in, BYTE *out) { return Into(Wrap(VT_UI8, in), VT_UI1, out); }
HRESULT VarUI1FromR4(FLOAT in, BYTE *out) { return Into(Wrap(VT_R4, in), VT_UI1, out); }
HRESULT VarUI1FromR8(DOUBLE in, BYTE *out) { return Into(Wrap(VT_R8, in), VT_UI1, out); }
HRESULT VarUI1FromCy(CY in, BYTE *out) { return Into(Wrap(VT_CY, in), VT_UI1, out); }
HRESULT VarUI1FromDate(DATE in, BYTE *out) { return Into(Wrap(VT_DATE, in), VT_UI1, out); }
HRESULT VarUI1FromBool(VARIANT_BOOL in, BYTE *out) { return Into(Wrap(VT_BOOL, in), VT_UI1, out); }
HRESULT VarUI1FromDec(const DECIMAL *in, BYTE *out) { return FromDecimal(in, VT_UI1, out); }
HRESULT VarUI1FromStr(LPCOLESTR in, LCID lcid, ULONG flags, BYTE *out) {
  return FromText(in, lcid, flags, VT_UI1, out);
}
HRESULT VarUI1FromDisp(IDispatch *in, LCID lcid, BYTE *out) { return FromObject(in, lcid, 0, VT_UI1, out); }

HRESULT VarI1FromUI1(BYTE in, CHAR *out) { return Into(Wrap(VT_UI1, in), VT_I1, out); }
HRESULT VarI1FromI2(SHORT in, CHAR *out) { return Into(Wrap(VT_I2, in), VT_I1, out); }
HRESULT VarI1FromUI2(USHORT in, CHAR *out) { return Into(Wrap(VT_UI2, in), VT_I1, out); }
HRESULT VarI1FromI4(LONG in, CHAR *out) { return Into(Wrap(VT_I4, in), VT_I1, out); }
HRESULT VarI1FromUI4(ULONG in, CHAR *out) { return Into(Wrap(VT_UI4, in), VT_I1, out); }
HRESULT VarI1FromI8(LONG64 in, CHAR *out) { return Into(Wrap(VT_I8, in), VT_I1, out); }
HRESULT VarI1FromUI8(ULONG64 in, CHAR *out) { return Into(Wrap(VT_UI8, in), VT_I1, out); }
HRESULT VarI1FromR4(FLOAT in, CHAR *out) { return Into(Wrap(VT_R4, in), VT_I1, out); }
HRESULT VarI1FromR8(DOUBLE in, CHAR *out) { return Into(Wrap(VT_R8, in), VT_I1, out); }
HRESULT VarI1FromCy(CY in, CHAR *out) { return Into(Wrap(VT_CY, in), VT_I1, out); }
HRESULT VarI1FromDate(DATE in, CHAR *out) { return Into(Wrap(VT_DATE, in), VT_I1, out); }
HRESULT VarI1FromBool(VARIANT_BOOL in, CHAR *out) { return Into(Wrap(VT_BOOL, in), VT_I1, out); }
HRESULT VarI1FromDec(const DECIMAL *in, CHAR *out) { return FromDecimal(in, VT_I1, out); }
HRESULT VarI1FromStr(LPCOLESTR in, LCID lcid, ULONG flags, CHAR *out) {
  return FromText(in, lcid, flags, VT_I1, out);
}
HRESULT VarI1FromDisp(IDispatch *in, LCID lcid, CHAR *out) { return FromObject(in, lcid, 0, VT_I1, out); }

HRESULT VarI2FromUI1(BYTE in, SHORT *out) { return Into(Wrap(VT_UI1, in), VT_I2, out); }
HRESULT VarI2FromI1(CHAR in, SHORT *out) { return Into(Wrap(VT_I1, in), VT_I2, out); }
HRESULT VarI2FromUI2(USHORT in, SHORT *out) { return Into(Wrap(VT_UI2, in), VT_I2, out); }
HRESULT VarI2FromI4(LONG in, SHORT *out) { return Into(Wrap(VT_I4, in), VT_I2, out); }
HRESULT VarI2FromUI4(ULONG in, SHORT *out) { return Into(Wrap(VT_UI4, in), VT_I2, out); }
HRESULT VarI2FromI8(LONG64 in, SHORT *out) { return Into(Wrap(VT_I8, in), VT_I2, out); }
HRESULT VarI2FromUI8(ULONG64 in, SHORT *out) { return Into(Wrap(VT_UI8, in), VT_I2, out); }
HRESULT VarI2FromR4(FLOAT in, SHORT *out) { return Into(Wrap(VT_R4, in), VT_I2, out); }
HRESULT VarI2FromR8(DOUBLE in, SHORT *out) { return Into(Wrap(VT_R8, in), VT_I2, out); }
HRESULT VarI2FromCy(CY in, SHORT *out) { return Into(Wrap(VT_CY, in), VT_I2, out); }
HRESULT VarI2FromDate(DATE in, SHORT *out) { return Into(Wrap(VT_DATE, in), VT_I2, out); }
HRESULT VarI2FromBool(VARIANT_BOOL in, SHORT *out) { return Into(Wrap(VT_BOOL, in), VT_I2, out); }
HRESULT VarI2FromDec(const DECIMAL *in, SHORT *out) { return FromDecimal(in, VT_I2, out); }
HRESULT VarI2FromStr(LPCOLESTR in, LCID lcid, ULONG flags, SHORT *out) {
  return FromText(in, lcid, flags, VT_I2, out);
}
HRESULT VarI2FromDisp(IDispatch *in, LCID lcid, SHORT *out) { return FromObject(in, lcid, 0, VT_I2, out); }

HRESULT VarUI2FromUI1(BYTE in, USHORT *out) { return Into(Wrap(VT_UI1, in), VT_UI2, out); }
HRESULT VarUI2FromI1(CHAR in, USHORT *out) { return Into(Wrap(VT_I1, in), VT_UI2, out); }
HRESULT VarUI2FromI2(SHORT in, USHORT *out) { return Into(Wrap(VT_I2, in), VT_UI2, out); }
HRESULT VarUI2FromI4(LONG in, USHORT *out) { return Into(Wrap(VT_I4, in), VT_UI2, out); }
HRESULT VarUI2FromUI4(ULONG in, USHORT *out) { return Into(Wrap(VT_UI4, in), VT_UI2, out); }
HRESULT VarUI2FromI8(LONG64 in, USHORT *out) { return Into(Wrap(VT_I8, in), VT_UI2, out); }
HRESULT VarUI2FromUI8(ULONG64 in, USHORT *out) { return Into(Wrap(VT_UI8, in), VT_UI2, out); }
HRESULT VarUI2FromR4(FLOAT in, USHORT *out) { return Into(Wrap(VT_R4, in), VT_UI2, out); }
HRESULT VarUI2FromR8(DOUBLE in, USHORT *out) { return Into(Wrap(VT_R8, in), VT_UI2, out); }
HRESULT VarUI2FromCy(CY in, USHORT *out) { return Into(Wrap(VT_CY, in), VT_UI2, out); }
HRESULT VarUI2FromDate(DATE in, USHORT *out) { return Into(Wrap(VT_DATE, in), VT_UI2, out); }
HRESULT VarUI2FromBool(VARIANT_BOOL in, USHORT *out) { return Into(Wrap(VT_BOOL, in), VT_UI2, out); }
HRESULT VarUI2FromDec(const DECIMAL *in, USHORT *out) { return FromDecimal(in, VT_UI2, out); }
HRESULT VarUI2FromStr(LPCOLESTR in, LCID lcid, ULONG flags, USHORT *out) {
  return FromText(in, lcid, flags, VT_UI2, out);
}
HRESULT VarUI2FromDisp(IDispatch *in, LCID lcid, USHORT *out) { return FromObject(in, lcid, 0, VT_UI2, out); }

HRESULT VarI4FromUI1(BYTE in, LONG *out) { return Into(Wrap(VT_UI1, in), VT_I4, out); }
HRESULT VarI4FromI1(CHAR in, LONG *out) { return Into(Wrap(VT_I1, in), VT_I4, out); }
HRESULT VarI4FromI2(SHORT in, LONG *out) { return Into(Wrap(VT_I2, in), VT_I4, out); }
HRESULT VarI4FromUI2(USHORT in, LONG *out) { return Into(Wrap(VT_UI2, in), VT_I4, out); }
HRESULT VarI4FromUI4(ULONG in, LONG *out) { return Into(Wrap(VT_UI4, in), VT_I4, out); }
HRESULT VarI4FromI8(LONG64 in, LONG *out) { return Into(Wrap(VT_I8, in), VT_I4, out); }
HRESULT VarI4FromUI8(ULONG64 in, LONG *out) { return Into(Wrap(VT_UI8, in), VT_I4, out); }
HRESULT VarI4FromR4(FLOAT in, LONG *out) { return Into(Wrap(VT_R4, in), VT_I4, out); }
HRESULT VarI4FromR8(DOUBLE in, LONG *out) { return Into(Wrap(VT_R8, in), VT_I4, out); }
HRESULT VarI4FromCy(CY in, LONG *out) { return Into(Wrap(VT_CY, in), VT_I4, out); }
HRESULT VarI4FromDate(DATE in, LONG *out) { return Into(Wrap(VT_DATE, in), VT_I4, out); }
HRESULT VarI4FromBool(VARIANT_BOOL in, LONG *out) { return Into(Wrap(VT_BOOL, in), VT_I4, out); }
HRESULT VarI4FromDec(const DECIMAL *in, LONG *out) { return FromDecimal(in, VT_I4, out); }
HRESULT VarI4FromStr(LPCOLESTR in, LCID lcid, ULONG flags, LONG *out) {
  return FromText(in, lcid, flags, VT_I4, out);
}
HRESULT VarI4FromDisp(IDispatch *in, LCID lcid, LONG *out) { return FromObject(in, lcid, 0, VT_I4, out); }

HRESULT VarUI4FromUI1(BYTE in, ULONG *out) { return Into(Wrap(VT_UI1, in), VT_UI4, out); }
HRESULT VarUI4FromI1(CHAR in, ULONG *out) { return Into(Wrap(VT_I1, in), VT_UI4, out); }
HRESULT VarUI4FromI2(SHORT in, ULONG *out) { return Into(Wrap(VT_I2, in), VT_UI4, out); }
HRESULT VarUI4FromUI2(USHORT in, ULONG *out) { return Into(Wrap(VT_UI2, in), VT_UI4, out); }
HRESULT VarUI4FromI4(LONG in, ULONG *out) { return Into(Wrap(VT_I4, in), VT_UI4, out); }
HRESULT VarUI4FromI8(LONG64 in, ULONG *out) { return Into(Wrap(VT_I8, in), VT_UI4, out); }
HRESULT VarUI4FromUI8(ULONG64 in, ULONG *out) { return Into(Wrap(VT_UI8, in), VT_UI4, out); }
HRESULT VarUI4FromR4(FLOAT in, ULONG *out) { return Into(Wrap(VT_R4, in), VT_UI4, out); }
HRESULT VarUI4FromR8(DOUBLE in, ULONG *out) { return Into(Wrap(VT_R8, in), VT_UI4, out); }
HRESULT VarUI4FromCy(CY in, ULONG *out) { return Into(Wrap(VT_CY, in), VT_UI4, out); }
HRESULT VarUI4FromDate(DATE in, ULONG *out) { return Into(Wrap(VT_DATE, in), VT_UI4, out); }
HRESULT VarUI4FromBool(VARIANT_BOOL in, ULONG *out) { return Into(Wrap(VT_BOOL, in), VT_UI4, out); }
HRESULT VarUI4FromDec(const DECIMAL *in, ULONG *out) { return FromDecimal(in, VT_UI4, out); }
HRESULT VarUI4FromStr(LPCOLESTR in, LCID lcid, ULONG flags, ULONG *out) {
  return FromText(in, lcid, flags, VT_UI4, out);
}
HRESULT VarUI4FromDisp(IDispatch *in, LCID lcid, ULONG *out) { return FromObject(in, lcid, 0, VT_UI4, out); }

HRESULT VarI8FromUI1(BYTE in, LONG64 *out) { return Into(Wrap(VT_UI1, in), VT_I8, out); }
HRESULT VarI8FromI1(CHAR in, LONG64 *out) { return Into(Wrap(VT_I1, in), VT_I8, out); }
HRESULT VarI8FromI2(SHORT in, LONG64 *out) { return Into(Wrap(VT_I2, in), VT_I8, out); }
HRESULT VarI8FromUI2(USHORT in, LONG64 *out) { return Into(Wrap(VT_UI2, in), VT_I8, out); }
HRESULT VarI8FromI4(LONG in, LONG64 *out) { return Into(Wrap(VT_I4, in), VT_I8, out); }
HRESULT VarI8FromUI4(ULONG in, LONG64 *out) { return Into(Wrap(VT_UI4, in), VT_I8, out); }
HRESULT VarI8FromUI8(ULONG64 in, LONG64 *out) { return Into(Wrap(VT_UI8, in), VT_I8, out); }
HRESULT VarI8FromR4(FLOAT in, LONG64 *out) { return Into(Wrap(VT_R4, in), VT_I8, out); }
HRESULT VarI8FromR8(DOUBLE in, LONG64 *out) { return Into(Wrap(VT_R8, in), VT_I8, out); }
HRESULT VarI8FromCy(CY in, LONG64 *out) { return Into(Wrap(VT_CY, in), VT_I8, out); }
HRESULT VarI8FromDate(DATE in, LONG64 *out) { return Into(Wrap(VT_DATE, in), VT_I8, out); }
HRESULT VarI8FromBool(VARIANT_BOOL in, LONG64 *out) { return Into(Wrap(VT_BOOL, in), VT_I8, out); }
HRESULT VarI8FromDec(const DECIMAL *in, LONG64 *out) { return FromDecimal(in, VT_I8, out); }
HRESULT VarI8FromStr(LPCOLESTR in, LCID lcid, ULONG flags, LONG64 *out) {
  return FromText(in, lcid, flags, VT_I8, out);
}
HRESULT VarI8FromDisp(IDispatch *in, LCID lcid, LONG64 *out) { return FromObject(in, lcid, 0, VT_I8, out); }

HRESULT VarUI8FromUI1(BYTE in, ULONG64 *out) { return Into(Wrap(VT_UI1, in), VT_UI8, out); }
HRESULT VarUI8FromI1(CHAR in, ULONG64 *out) { return Into(Wrap(VT_I1, in), VT_UI8, out); }
HRESULT VarUI8FromI2(SHORT in, ULONG64 *out) { return Into(Wrap(VT_I2, in), VT_UI8, out); }
HRESULT VarUI8FromUI2(USHORT in, ULONG64 *out) { return Into(Wrap(VT_UI2, in), VT_UI8, out); }
HRESULT VarUI8FromI4(LONG in, ULONG64 *out) { return Into(Wrap(VT_I4, in), VT_UI8, out); }
HRESULT VarUI8FromUI4(ULONG in, ULONG64 *out) { return Into(Wrap(VT_UI4, in), VT_UI8, out); }
HRESULT VarUI8FromI8(LONG64 in, ULONG64 *out) { return Into(Wrap(VT_I8, in), VT_UI8, out); }
HRESULT VarUI8FromR4(FLOAT in, ULONG64 *out) { return Into(Wrap(VT_R4, in), VT_UI8, out); }
HRESULT VarUI8FromR8(DOUBLE in, ULONG64 *out) { return Into(Wrap(VT_R8, in), VT_UI8, out); }
HRESULT VarUI8FromCy(CY in, ULONG64 *out) { return Into(Wrap(VT_CY, in), VT_UI8, out); }
HRESULT VarUI8FromDate(DATE in, ULONG64 *out) { return Into(Wrap(VT_DATE, in), VT_UI8, out); }
HRESULT VarUI8FromBool(VARIANT_BOOL in, ULONG64 *out) { return Into(Wrap(VT_BOOL, in), VT_UI8, out); }
HRESULT VarUI8FromDec(const DECIMAL *in, ULONG64 *out) { return FromDecimal(in, VT_UI8, out); }
HRESULT VarUI8FromStr(LPCOLESTR in, LCID lcid, ULONG flags, ULONG64 *out) {
  return FromText(in, lcid, flags, VT_UI8, out);
}
HRESULT VarUI8FromDisp(IDispatch *in, LCID lcid, ULONG64 *out) { return FromObject(in, lcid, 0, VT_UI8, out); }

HRESULT VarR4FromUI1(BYTE in, FLOAT *out) { return Into(Wrap(VT_UI1, in), VT_R4, out); }
HRESULT VarR4FromI1(CHAR in, FLOAT *out) { return Into(Wrap(VT_I1, in), VT_R4, out); }
HRESULT VarR4FromI2(SHORT in, FLOAT *out) { return Into(Wrap(VT_I2, in), VT_R4, out); }
HRESULT VarR4FromUI2(USHORT in, FLOAT *out) { return Into(Wrap(VT_UI2, in), VT_R4, out); }
HRESULT VarR4FromI4(LONG in, FLOAT *out) { return Into(Wrap(VT_I4, in), VT_R4, out); }
HRESULT VarR4FromUI4(ULONG in, FLOAT *out) { return Into(Wrap(VT_UI4, in), VT_R4, out); }
HRESULT VarR4FromI8(LONG64 in, FLOAT *out) { return Into(Wrap(VT_I8, in), VT_R4, out); }
HRESULT VarR4FromUI8(ULONG64 in, FLOAT *out) { return Into(Wrap(VT_UI8, in), VT_R4, out); }
HRESULT VarR4FromR8(DOUBLE in, FLOAT *out) { return Into(Wrap(VT_R8, in), VT_R4, out); }
HRESULT VarR4FromCy(CY in, FLOAT *out) { return Into(Wrap(VT_CY, in), VT_R4, out); }
HRESULT VarR4FromDate(DATE in, FLOAT *out) { return Into(Wrap(VT_DATE, in), VT_R4, out); }
HRESULT VarR4FromBool(VARIANT_BOOL in, FLOAT *out) { return Into(Wrap(VT_BOOL, in), VT_R4, out); }
HRESULT VarR4FromDec(const DECIMAL *in, FLOAT *out) { return FromDecimal(in, VT_R4, out); }
HRESULT VarR4FromStr(LPCOLESTR in, LCID lcid, ULONG flags, FLOAT *out) {
  return FromText(in, lcid, flags, VT_R4, out);
}
HRESULT VarR4FromDisp(IDispatch *in, LCID lcid, FLOAT *out) { return FromObject(in, lcid, 0, VT_R4, out); }

HRESULT VarR8FromUI1(BYTE in, DOUBLE *out) { return Into(Wrap(VT_UI1, in), VT_R8, out); }
HRESULT VarR8FromI1(CHAR in, DOUBLE *out) { return Into(Wrap(VT_I1, in), VT_R8, out); }
HRESULT VarR8FromI2(SHORT in, DOUBLE *out) { return Into(Wrap(VT_I2, in), VT_R8, out); }
HRESULT VarR8FromUI2(USHORT in, DOUBLE *out) { return Into(Wrap(VT_UI2, in), VT_R8, out); }
HRESULT VarR8FromI4(LONG in, DOUBLE *out) { return Into(Wrap(VT_I4, in), VT_R8, out); }
HRESULT VarR8FromUI4(ULONG in, DOUBLE *out) { return Into(Wrap(VT_UI4, in), VT_R8, out); }
HRESULT VarR8FromI8(LONG64 in, DOUBLE *out) { return Into(Wrap(VT_I8, in), VT_R8, out); }
HRESULT VarR8FromUI8(ULONG64 in, DOUBLE *out) { return Into(Wrap(VT_UI8, in), VT_R8, out); }
HRESULT VarR8FromR4(FLOAT in, DOUBLE *out) { return Into(Wrap(VT_R4, in), VT_R8, out); }
HRESULT VarR8FromCy(CY in, DOUBLE *out) { return Into(Wrap(VT_CY, in), VT_R8, out); }
HRESULT VarR8FromDate(DATE in, DOUBLE *out) { return Into(Wrap(VT_DATE, in), VT_R8, out); }
HRESULT VarR8FromBool(VARIANT_BOOL in, DOUBLE *out) { return Into(Wrap(VT_BOOL, in), VT_R8, out); }
HRESULT VarR8FromDec(const DECIMAL *in, DOUBLE *out) { return FromDecimal(in, VT_R8, out); }
HRESULT VarR8FromStr(LPCOLESTR in, LCID lcid, ULONG flags, DOUBLE *out) {
  return FromText(in, lcid, flags, VT_R8, out);
}
HRESULT VarR8FromDisp(IDispatch *in, LCID lcid, DOUBLE *out) { return FromObject(in, lcid, 0, VT_R8, out); }

HRESULT VarCyFromUI1(BYTE in, CY *out) { return Into(Wrap(VT_UI1, in), VT_CY, out); }
HRESULT VarCyFromI1(CHAR in, CY *out) { return Into(Wrap(VT_I1, in), VT_CY, out); }
HRESULT VarCyFromI2(SHORT in, CY *out) { return Into(Wrap(VT_I2, in), VT_CY, out); }
HRESULT VarCyFromUI2(USHORT in, CY *out) { return Into(Wrap(VT_UI2, in), VT_CY, out); }
HRESULT VarCyFromI4(LONG in, CY *out) { return Into(Wrap(VT_I4, in), VT_CY, out); }
HRESULT VarCyFromUI4(ULONG in, CY *out) { return Into(Wrap(VT_UI4, in), VT_CY, out); }
HRESULT VarCyFromI8(LONG64 in, CY *out) { return Into(Wrap(VT_I8, in), VT_CY, out); }
HRESULT VarCyFromUI8(ULONG64 in, CY *out) { return Into(Wrap(VT_UI8, in), VT_CY, out); }
HRESULT VarCyFromR4(FLOAT in, CY *out) { return Into(Wrap(VT_R4, in), VT_CY, out); }
HRESULT VarCyFromR8(DOUBLE in, CY *out) { return Into(Wrap(VT_R8, in), VT_CY, out); }
HRESULT VarCyFromDate(DATE in, CY *out) { return Into(Wrap(VT_DATE, in), VT_CY, out); }
HRESULT VarCyFromBool(VARIANT_BOOL in, CY *out) { return Into(Wrap(VT_BOOL, in), VT_CY, out); }
HRESULT VarCyFromDec(const DECIMAL *in, CY *out) { return FromDecimal(in, VT_CY, out); }
HRESULT VarCyFromStr(LPCOLESTR in, LCID lcid, ULONG flags, CY *out) {
  return FromText(in, lcid, flags, VT_CY, out);
}
HRESULT VarCyFromDisp(IDispatch *in, LCID lcid, CY *out) { return FromObject(in, lcid, 0, VT_CY, out); }

HRESULT VarDateFromUI1(BYTE in, DATE *out) { return Into(Wrap(VT_UI1, in), VT_DATE, out); }
HRESULT VarDateFromI1(CHAR in, DATE *out) { return Into(Wrap(VT_I1, in), VT_DATE, out); }
HRESULT VarDateFromI2(SHORT in, DATE *out) { return Into(Wrap(VT_I2, in), VT_DATE, out); }
HRESULT VarDateFromUI2(USHORT in, DATE *out) { return Into(Wrap(VT_UI2, in), VT_DATE, out); }
HRESULT VarDateFromI4(LONG in, DATE *out) { return Into(Wrap(VT_I4, in), VT_DATE, out); }
HRESULT VarDateFromUI4(ULONG in, DATE *out) { return Into(Wrap(VT_UI4, in), VT_DATE, out); }
HRESULT VarDateFromI8(LONG64 in, DATE *out) { return Into(Wrap(VT_I8, in), VT_DATE, out); }
HRESULT VarDateFromUI8(ULONG64 in, DATE *out) { return Into(Wrap(VT_UI8, in), VT_DATE, out); }
HRESULT VarDateFromR4(FLOAT in, DATE *out) { return Into(Wrap(VT_R4, in), VT_DATE, out); }
HRESULT VarDateFromR8(DOUBLE in, DATE *out) { return Into(Wrap(VT_R8, in), VT_DATE, out); }
HRESULT VarDateFromCy(CY in, DATE *out) { return Into(Wrap(VT_CY, in), VT_DATE, out); }
HRESULT VarDateFromBool(VARIANT_BOOL in, DATE *out) { return Into(Wrap(VT_BOOL, in), VT_DATE, out); }
HRESULT VarDateFromDec(const DECIMAL *in, DATE *out) { return FromDecimal(in, VT_DATE, out); }
HRESULT VarDateFromStr(LPCOLESTR in, LCID lcid, ULONG flags, DATE *out) {
  return FromText(in, lcid, flags, VT_DATE, out);
}
HRESULT VarDateFromDisp(IDispatch *in, LCID lcid, DATE *out) { return FromObject(in, lcid, 0, VT_DATE, out); }

HRESULT VarBoolFromUI1(BYTE in, VARIANT_BOOL *out) { return Into(Wrap(VT_UI1, in), VT_BOOL, out); }
HRESULT VarBoolFromI1(CHAR in, VARIANT_BOOL *out) { return Into(Wrap(VT_I1, in), VT_BOOL, out); }
HRESULT VarBoolFromI2(SHORT in, VARIANT_BOOL *out) { return Into(Wrap(VT_I2, in), VT_BOOL, out); }
HRESULT VarBoolFromUI2(USHORT in, VARIANT_BOOL *out) { return Into(Wrap(VT_UI2, in), VT_BOOL, out); }
HRESULT VarBoolFromI4(LONG in, VARIANT_BOOL *out) { return Into(Wrap(VT_I4, in), VT_BOOL, out); }
HRESULT VarBoolFromUI4(ULONG in, VARIANT_BOOL *out) { return Into(Wrap(VT_UI4, in), VT_BOOL, out); }
HRESULT VarBoolFromI8(LONG64 in, VARIANT_BOOL *out) { return Into(Wrap(VT_I8, in), VT_BOOL, out); }
HRESULT VarBoolFromUI8(ULONG64 in, VARIANT_BOOL *out) { return Into(Wrap(VT_UI8, in), VT_BOOL, out); }
HRESULT VarBoolFromR4(FLOAT in, VARIANT_BOOL *out) { return Into(Wrap(VT_R4, in), VT_BOOL, out); }
HRESULT VarBoolFromR8(DOUBLE in, VARIANT_BOOL *out) { return Into(Wrap(VT_R8, in), VT_BOOL, out); }
HRESULT VarBoolFromCy(CY in, VARIANT_BOOL *out) { return Into(Wrap(VT_CY, in), VT_BOOL, out); }
HRESULT VarBoolFromDate(DATE in, VARIANT_BOOL *out) { return Into(Wrap(VT_DATE, in), VT_BOOL, out); }
HRESULT VarBoolFromDec(const DECIMAL *in, VARIANT_BOOL *out) { return FromDecimal(in, VT_BOOL, out); }
HRESULT VarBoolFromStr(LPCOLESTR in, LCID lcid, ULONG flags, VARIANT_BOOL *out) {
  return FromText(in, lcid, flags, VT_BOOL, out);
}
HRESULT VarBoolFromDisp(IDispatch *in, LCID lcid, VARIANT_BOOL *out) { return FromObject(in, lcid, 0, VT_BOOL, out); }

HRESULT VarDecFromUI1(BYTE in, DECIMAL *out) { return Into(Wrap(VT_UI1, in), VT_DECIMAL, out); }
HRESULT VarDecFromI1(CHAR in, DECIMAL *out) { return Into(Wrap(VT_I1, in), VT_DECIMAL, out); }
HRESULT VarDecFromI2(SHORT in, DECIMAL *out) { return Into(Wrap(VT_I2, in), VT_DECIMAL, out); }
HRESULT VarDecFromUI2(USHORT in, DECIMAL *out) { return Into(Wrap(VT_UI2, in), VT_DECIMAL, out); }
HRESULT VarDecFromI4(LONG in, DECIMAL *out) { return Into(Wrap(VT_I4, in), VT_DECIMAL, out); }
HRESULT VarDecFromUI4(ULONG in, DECIMAL *out) { return Into(Wrap(VT_UI4, in), VT_DECIMAL, out); }
HRESULT VarDecFromI8(LONG64 in, DECIMAL *out) { return Into(Wrap(VT_I8, in), VT_DECIMAL, out); }
HRESULT VarDecFromUI8(ULONG64 in, DECIMAL *out) { return Into(Wrap(VT_UI8, in), VT_DECIMAL, out); }
HRESULT VarDecFromR4(FLOAT in, DECIMAL *out) { return Into(Wrap(VT_R4, in), VT_DECIMAL, out); }
HRESULT VarDecFromR8(DOUBLE in, DECIMAL *out) { return Into(Wrap(VT_R8, in), VT_DECIMAL, out); }
HRESULT VarDecFromCy(CY in, DECIMAL *out) { return Into(Wrap(VT_CY, in), VT_DECIMAL, out); }
HRESULT VarDecFromDate(DATE in, DECIMAL *out) { return Into(Wrap(VT_DATE, in), VT_DECIMAL, out); }
HRESULT VarDecFromBool(VARIANT_BOOL in, DECIMAL *out) { return Into(Wrap(VT_BOOL, in), VT_DECIMAL, out); }
HRESULT VarDecFromStr(LPCOLESTR in, LCID lcid, ULONG flags, DECIMAL *out) {
  return FromText(in, lcid, flags, VT_DECIMAL, out);
}
HRESULT VarDecFromDisp(IDispatch *in, LCID lcid, DECIMAL *out) { return FromObject(in, lcid, 0, VT_DECIMAL, out); }

HRESULT VarBstrFromUI1(BYTE in, LCID lcid, ULONG flags, BSTR *out) {
  return Into(Wrap(VT_UI1, in), VT_BSTR, out, lcid, flags);
}
HRESULT VarBstrFromI1(CHAR in, LCID lcid, ULONG flags, BSTR *out) {
  return Into(Wrap(VT_I1, in), VT_BSTR, out, lcid, flags);
}
HRESULT VarBstrFromI2(SHORT in, LCID lcid, ULONG flags, BSTR *out) {
  return Into(Wrap(VT_I2, in), VT_BSTR, out, lcid, flags);
}
HRESULT VarBstrFromUI2(USHORT in, LCID lcid, ULONG flags, BSTR *out) {
  return Into(Wrap(VT_UI2, in), VT_BSTR, out, lcid, flags);
}
HRESULT VarBstrFromI4(LONG in, LCID lcid, ULONG flags, BSTR *out) {
  return Into(Wrap(VT_I4, in), VT_BSTR, out, lcid, flags);
}
HRESULT VarBstrFromUI4(ULONG in, LCID lcid, ULONG flags, BSTR *out) {
  return Into(Wrap(VT_UI4, in), VT_BSTR, out, lcid, flags);
}
HRESULT VarBstrFromI8(LONG64 in, LCID lcid, ULONG flags, BSTR *out) {
  return Into(Wrap(VT_I8, in), VT_BSTR, out, lcid, flags);
}
HRESULT VarBstrFromUI8(ULONG64 in, LCID lcid, ULONG flags, BSTR *out) {
  return Into(Wrap(VT_UI8, in), VT_BSTR, out, lcid, flags);
}
HRESULT VarBstrFromR4(FLOAT in, LCID lcid, ULONG flags, BSTR *out) {
  return Into(Wrap(VT_R4, in), VT_BSTR, out, lcid, flags);
}
HRESULT VarBstrFromR8(DOUBLE in, LCID lcid, ULONG flags, BSTR *out) {
  return Into(Wrap(VT_R8, in), VT_BSTR, out, lcid, flags);
}
HRESULT VarBstrFromCy(CY in, LCID lcid, ULONG flags, BSTR *out) {
  return Into(Wrap(VT_CY, in), VT_BSTR, out, lcid, flags);
}
HRESULT VarBstrFromDate(DATE in, LCID lcid, ULONG flags, BSTR *out) {
  return Into(Wrap(VT_DATE, in), VT_BSTR, out, lcid, flags);
}
HRESULT VarBstrFromBool(VARIANT_BOOL in, LCID lcid, ULONG flags, BSTR *out) {
  return Into(Wrap(VT_BOOL, in), VT_BSTR, out, lcid, flags);
}
HRESULT VarBstrFromDec(const DECIMAL *in, LCID lcid, ULONG flags, BSTR *out) {
  return FromDecimal(in, VT_BSTR, out, lcid, flags);
}
HRESULT VarBstrFromDisp(IDispatch *in, LCID lcid, ULONG flags, BSTR *out) {
  return FromObject(in, lcid, flags, VT_BSTR, out);
}
