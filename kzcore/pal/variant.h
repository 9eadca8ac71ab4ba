// OLE automation values: VARIANT with the Windows 64-bit layout (24 bytes: the type tag, three
// reserved words and the value union; a DECIMAL shares the whole record), CY, DECIMAL, SAFEARRAY,
// and the value functions.
//
//   VARIANT v;
//   VariantInit(&v);
//   v.vt = VT_I4; v.lVal = 42;
//   VariantChangeType(&v, &v, 0, VT_BSTR);   // v.bstrVal == u"42"
//   VariantClear(&v);
#pragma once

#include <kzcore/pal/bstr.h>
#include <kzcore/pal/com.h>

using VARTYPE = USHORT;
using FLOAT = float;
using DOUBLE = double;

enum VARENUM : VARTYPE {
  VT_EMPTY = 0,
  VT_NULL = 1,
  VT_I2 = 2,
  VT_I4 = 3,
  VT_R4 = 4,
  VT_R8 = 5,
  VT_CY = 6,
  VT_DATE = 7,
  VT_BSTR = 8,
  VT_DISPATCH = 9,
  VT_ERROR = 10,
  VT_BOOL = 11,
  VT_VARIANT = 12,
  VT_UNKNOWN = 13,
  VT_DECIMAL = 14,
  VT_I1 = 16,
  VT_UI1 = 17,
  VT_UI2 = 18,
  VT_UI4 = 19,
  VT_I8 = 20,
  VT_UI8 = 21,
  VT_INT = 22,
  VT_UINT = 23,
  VT_VOID = 24,
  VT_HRESULT = 25,
  VT_PTR = 26,
  VT_SAFEARRAY = 27,
  VT_CARRAY = 28,
  VT_USERDEFINED = 29,
  VT_LPSTR = 30,
  VT_LPWSTR = 31,
  VT_RECORD = 36,
  VT_INT_PTR = 37,
  VT_UINT_PTR = 38,
  VT_FILETIME = 64,
  VT_BLOB = 65,
  VT_CLSID = 72,
  VT_VECTOR = 0x1000,
  VT_ARRAY = 0x2000,
  VT_BYREF = 0x4000,
  VT_RESERVED = 0x8000,
  VT_ILLEGAL = 0xFFFF,
  VT_ILLEGALMASKED = 0x0FFF,
  VT_TYPEMASK = 0x0FFF,
};

union CY {
  struct {
    ULONG Lo;
    LONG Hi;
  };
  LONGLONG int64;
};
static_assert(sizeof(CY) == 8);

struct DECIMAL {
  USHORT wReserved;
  union {
    struct {
      BYTE scale;
      BYTE sign;
    };
    USHORT signscale;
  };
  ULONG Hi32;
  union {
    struct {
      ULONG Lo32;
      ULONG Mid32;
    };
    ULONGLONG Lo64;
  };
};
static_assert(sizeof(DECIMAL) == 16);
constexpr BYTE DECIMAL_NEG = 0x80;

struct SAFEARRAYBOUND {
  ULONG cElements;
  LONG lLbound;
};

struct SAFEARRAY {
  USHORT cDims;
  USHORT fFeatures;
  ULONG cbElements;
  ULONG cLocks;
  PVOID pvData;
  SAFEARRAYBOUND rgsabound[1];
};
static_assert(sizeof(SAFEARRAY) == 32);
using LPSAFEARRAY = SAFEARRAY *;

struct ITypeInfo;
struct IRecordInfo;
struct tagVARIANT;
using DISPID = LONG;

constexpr DISPID DISPID_VALUE = 0;
constexpr DISPID DISPID_UNKNOWN = -1;
constexpr DISPID DISPID_PROPERTYPUT = -3;
constexpr WORD DISPATCH_METHOD = 0x1;
constexpr WORD DISPATCH_PROPERTYGET = 0x2;
constexpr WORD DISPATCH_PROPERTYPUT = 0x4;
constexpr WORD DISPATCH_PROPERTYPUTREF = 0x8;

struct DISPPARAMS {
  tagVARIANT *rgvarg;
  DISPID *rgdispidNamedArgs;
  UINT cArgs;
  UINT cNamedArgs;
};

struct EXCEPINFO {
  WORD wCode;
  WORD wReserved;
  BSTR bstrSource;
  BSTR bstrDescription;
  BSTR bstrHelpFile;
  DWORD dwHelpContext;
  PVOID pvReserved;
  HRESULT (*pfnDeferredFillIn)(EXCEPINFO *);
  SCODE scode;
};

struct IDispatch : IUnknown {
  virtual HRESULT GetTypeInfoCount(UINT *count) = 0;
  virtual HRESULT GetTypeInfo(UINT index, LCID lcid, ITypeInfo **info) = 0;
  virtual HRESULT GetIDsOfNames(REFIID riid, LPOLESTR *names, UINT count, LCID lcid, DISPID *ids) = 0;
  virtual HRESULT Invoke(DISPID id, REFIID riid, LCID lcid, WORD flags, DISPPARAMS *params,
                         struct tagVARIANT *result, EXCEPINFO *exception, UINT *arg_error) = 0;
};
KZ_DECLARE_IID(IDispatch, "{00020400-0000-0000-C000-000000000046}");

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wpedantic"
struct tagVARIANT {
  union {
    struct {
      VARTYPE vt;
      WORD wReserved1;
      WORD wReserved2;
      WORD wReserved3;
      union {
        LONGLONG llVal;
        LONG lVal;
        BYTE bVal;
        SHORT iVal;
        FLOAT fltVal;
        DOUBLE dblVal;
        VARIANT_BOOL boolVal;
        SCODE scode;
        CY cyVal;
        DATE date;
        BSTR bstrVal;
        IUnknown *punkVal;
        IDispatch *pdispVal;
        SAFEARRAY *parray;
        BYTE *pbVal;
        SHORT *piVal;
        LONG *plVal;
        LONGLONG *pllVal;
        FLOAT *pfltVal;
        DOUBLE *pdblVal;
        VARIANT_BOOL *pboolVal;
        SCODE *pscode;
        CY *pcyVal;
        DATE *pdate;
        BSTR *pbstrVal;
        IUnknown **ppunkVal;
        IDispatch **ppdispVal;
        SAFEARRAY **pparray;
        tagVARIANT *pvarVal;
        PVOID byref;
        CHAR cVal;
        USHORT uiVal;
        ULONG ulVal;
        ULONGLONG ullVal;
        INT intVal;
        UINT uintVal;
        DECIMAL *pdecVal;
        CHAR *pcVal;
        USHORT *puiVal;
        ULONG *pulVal;
        ULONGLONG *pullVal;
        INT *pintVal;
        UINT *puintVal;
        struct {
          PVOID pvRecord;
          IRecordInfo *pRecInfo;
        };
      };
    };
    DECIMAL decVal;
  };
};
#pragma GCC diagnostic pop
static_assert(sizeof(tagVARIANT) == 24, "VARIANT keeps the Windows 64-bit layout");

using VARIANT = tagVARIANT;
using VARIANTARG = tagVARIANT;
using LPVARIANT = VARIANT *;

#define V_VT(v) ((v)->vt)
#define V_ISBYREF(v) (V_VT(v) & VT_BYREF)
#define V_ISARRAY(v) (V_VT(v) & VT_ARRAY)
#define V_I1(v) ((v)->cVal)
#define V_UI1(v) ((v)->bVal)
#define V_I2(v) ((v)->iVal)
#define V_UI2(v) ((v)->uiVal)
#define V_I4(v) ((v)->lVal)
#define V_UI4(v) ((v)->ulVal)
#define V_I8(v) ((v)->llVal)
#define V_UI8(v) ((v)->ullVal)
#define V_INT(v) ((v)->intVal)
#define V_UINT(v) ((v)->uintVal)
#define V_R4(v) ((v)->fltVal)
#define V_R8(v) ((v)->dblVal)
#define V_CY(v) ((v)->cyVal)
#define V_DATE(v) ((v)->date)
#define V_BSTR(v) ((v)->bstrVal)
#define V_BOOL(v) ((v)->boolVal)
#define V_ERROR(v) ((v)->scode)
#define V_DECIMAL(v) ((v)->decVal)
#define V_UNKNOWN(v) ((v)->punkVal)
#define V_DISPATCH(v) ((v)->pdispVal)
#define V_ARRAY(v) ((v)->parray)
#define V_BYREF(v) ((v)->byref)
#define V_VARIANTREF(v) ((v)->pvarVal)

// VariantChangeType flags.
constexpr USHORT VARIANT_NOVALUEPROP = 0x01;
constexpr USHORT VARIANT_ALPHABOOL = 0x02;
constexpr USHORT VARIANT_NOUSEROVERRIDE = 0x04;
constexpr USHORT VARIANT_CALENDAR_HIJRI = 0x08;
constexpr USHORT VARIANT_LOCALBOOL = 0x10;

KZ_API void VariantInit(VARIANT *v);
// Frees what the value owns (text, array, interface reference) and leaves VT_EMPTY; a reference
// (VT_BYREF) owns nothing. DISP_E_BADVARTYPE for a tag no variant carries, DISP_E_ARRAYISLOCKED
// for a locked array, which then stays.
KZ_API HRESULT VariantClear(VARIANT *v);
// Clears `dst` and copies: text and arrays deep, interfaces with a reference added, VT_BYREF
// values as the reference itself. On failure `dst` is unchanged.
KZ_API HRESULT VariantCopy(VARIANT *dst, const VARIANT *src);
// As VariantCopy, copying the value a VT_BYREF variant refers to.
KZ_API HRESULT VariantCopyInd(VARIANT *dst, const VARIANT *src);
// Converts to `vt` (in place when dst == src). References are followed; an object is converted
// through its value property unless VARIANT_NOVALUEPROP; arrays convert only to their own type,
// except that a byte array (VT_ARRAY | VT_UI1) and a BSTR convert into each other byte for byte.
// On success dst is cleared and receives the value; on failure dst is unchanged.
KZ_API HRESULT VariantChangeType(VARIANT *dst, const VARIANT *src, USHORT flags, VARTYPE vt);
KZ_API HRESULT VariantChangeTypeEx(VARIANT *dst, const VARIANT *src, LCID lcid, USHORT flags, VARTYPE vt);
