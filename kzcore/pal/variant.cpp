#include <kzcore/pal/variant.h>

#include <cstring>

#include <kzcore/pal/internal/variant_convert.h>
#include <kzcore/pal/oleaut.h>
#include <kzcore/pal/safe_array.h>

using kz::pal::IsValidVariantType;

namespace {

// The bytes a VT_BYREF pointer refers to, for the types held in the 8-byte value slot.
std::size_t ReferencedSize(VARTYPE base) {
  switch (base) {
    case VT_I1: case VT_UI1: return 1;
    case VT_I2: case VT_UI2: case VT_BOOL: return 2;
    case VT_I4: case VT_UI4: case VT_INT: case VT_UINT: case VT_R4: case VT_ERROR: return 4;
    default: return 8;
  }
}

// A shallow view of the value a VT_BYREF variant refers to: nothing is copied or referenced.
HRESULT Dereference(const VARIANT &src, VARIANT *view) {
  if (!(src.vt & VT_BYREF)) {
    *view = src;
    return S_OK;
  }
  if (src.byref == nullptr) return E_INVALIDARG;
  const VARTYPE vt = src.vt & ~VT_BYREF;
  if (vt == VT_VARIANT) {
    // One level only: a reference to a variant that is itself a reference is refused.
    if (src.pvarVal->vt & VT_BYREF) return E_INVALIDARG;
    *view = *src.pvarVal;
    return S_OK;
  }
  std::memset(view, 0, sizeof *view);
  if (vt == VT_DECIMAL) {
    view->decVal = *src.pdecVal;
  } else if (vt & VT_ARRAY) {
    view->parray = *src.pparray;
  } else {
    std::memcpy(&view->llVal, src.byref, ReferencedSize(vt));
  }
  view->vt = vt;
  return S_OK;
}

HRESULT ConvertObject(const VARIANT &view, LCID lcid, USHORT flags, ULONG var_flags, bool alpha,
                      VARTYPE vt, VARIANT *out) {
  IUnknown *object = view.punkVal;
  if (vt == VT_UNKNOWN || vt == VT_DISPATCH) {
    out->vt = vt;
    out->punkVal = nullptr;
    if (object == nullptr) return S_OK;
    const IID &iid = vt == VT_UNKNOWN ? KZ_IID(IUnknown) : KZ_IID(IDispatch);
    void *converted = nullptr;
    if (FAILED(object->QueryInterface(iid, &converted)) || converted == nullptr) return E_NOINTERFACE;
    out->punkVal = static_cast<IUnknown *>(converted);
    return S_OK;
  }
  if (flags & VARIANT_NOVALUEPROP) return DISP_E_TYPEMISMATCH;
  VARIANT value;
  HRESULT hr = kz::pal::ValueOfObject(object, lcid, &value);
  if (FAILED(hr)) return hr;
  hr = (value.vt & (VT_BYREF | VT_ARRAY)) ? DISP_E_TYPEMISMATCH
                                          : kz::pal::ConvertScalar(value, vt, lcid, var_flags, alpha, out);
  VariantClear(&value);
  return hr;
}

}  // namespace

void VariantInit(VARIANT *v) {
  if (v == nullptr) return;
  v->vt = VT_EMPTY;
  v->wReserved1 = v->wReserved2 = v->wReserved3 = 0;
}

HRESULT VariantClear(VARIANT *v) {
  if (v == nullptr) return E_INVALIDARG;
  if (!IsValidVariantType(v->vt)) return DISP_E_BADVARTYPE;
  if (!(v->vt & VT_BYREF)) {
    if (v->vt & VT_ARRAY) {
      // A locked array stays with the variant: nothing changes.
      if (HRESULT hr = SafeArrayDestroy(v->parray); FAILED(hr)) return hr;
    } else if (v->vt == VT_BSTR) {
      SysFreeString(v->bstrVal);
    } else if (v->vt == VT_UNKNOWN || v->vt == VT_DISPATCH) {
      if (v->punkVal != nullptr) v->punkVal->Release();
    }
  }
  v->vt = VT_EMPTY;
  return S_OK;
}

HRESULT VariantCopy(VARIANT *dst, const VARIANT *src) {
  if (dst == nullptr || src == nullptr) return E_INVALIDARG;
  if (!IsValidVariantType(src->vt)) return DISP_E_BADVARTYPE;
  if (dst == src) return S_OK;
  // The copy is made before the target is cleared, so a failure leaves the target as it was and
  // a source that lives inside the target stays readable.
  VARIANT copy = *src;
  if (!(src->vt & VT_BYREF)) {
    if (src->vt & VT_ARRAY) {
      if (HRESULT hr = SafeArrayCopy(src->parray, &copy.parray); FAILED(hr)) return hr;
    } else if (src->vt == VT_BSTR && src->bstrVal != nullptr) {
      copy.bstrVal = SysAllocStringByteLen(reinterpret_cast<const char *>(src->bstrVal),
                                           SysStringByteLen(src->bstrVal));
      if (copy.bstrVal == nullptr) return E_OUTOFMEMORY;
    } else if ((src->vt == VT_UNKNOWN || src->vt == VT_DISPATCH) && src->punkVal != nullptr) {
      src->punkVal->AddRef();
    }
  }
  if (HRESULT hr = VariantClear(dst); FAILED(hr)) {
    VariantClear(&copy);
    return hr;
  }
  *dst = copy;
  return S_OK;
}

HRESULT VariantCopyInd(VARIANT *dst, const VARIANT *src) {
  if (dst == nullptr || src == nullptr) return E_INVALIDARG;
  if (!IsValidVariantType(src->vt)) return DISP_E_BADVARTYPE;
  VARIANT view;
  if (HRESULT hr = Dereference(*src, &view); FAILED(hr)) return hr;
  if (dst == src) {
    // In place: the view still refers to memory outside the variant, so copy it first.
    VARIANT copy;
    VariantInit(&copy);
    if (HRESULT hr = VariantCopy(&copy, &view); FAILED(hr)) return hr;
    *dst = copy;
    return S_OK;
  }
  return VariantCopy(dst, &view);
}

HRESULT VariantChangeTypeEx(VARIANT *dst, const VARIANT *src, LCID lcid, USHORT flags, VARTYPE vt) {
  if (dst == nullptr || src == nullptr) return E_INVALIDARG;
  if (!IsValidVariantType(src->vt) || !IsValidVariantType(vt) || (vt & VT_BYREF)) return DISP_E_BADVARTYPE;
  VARIANT view;
  if (HRESULT hr = Dereference(*src, &view); FAILED(hr)) return hr;

  ULONG var_flags = 0;
  if (flags & VARIANT_NOUSEROVERRIDE) var_flags |= LOCALE_NOUSEROVERRIDE;
  if (flags & VARIANT_LOCALBOOL) var_flags |= VAR_LOCALBOOL;
  if (flags & VARIANT_CALENDAR_HIJRI) var_flags |= VAR_CALENDAR_HIJRI;
  const bool alpha = (flags & (VARIANT_ALPHABOOL | VARIANT_LOCALBOOL)) != 0;

  VARIANT result;
  VariantInit(&result);
  HRESULT hr;
  if (view.vt == vt) {
    hr = VariantCopy(&result, &view);
  } else if (view.vt == VT_BSTR && vt == (VT_ARRAY | VT_UI1)) {
    result.vt = vt;
    hr = VectorFromBstr(view.bstrVal, &result.parray);
  } else if (view.vt == (VT_ARRAY | VT_UI1) && vt == VT_BSTR) {
    result.vt = vt;
    hr = BstrFromVector(view.parray, &result.bstrVal);
  } else if ((view.vt | vt) & VT_ARRAY) {
    // Other arrays convert only to arrays of their own type.
    hr = DISP_E_TYPEMISMATCH;
  } else if (vt == VT_EMPTY) {
    hr = S_OK;
  } else if (view.vt == VT_DISPATCH || view.vt == VT_UNKNOWN) {
    hr = ConvertObject(view, lcid, flags, var_flags, alpha, vt, &result);
  } else {
    hr = kz::pal::ConvertScalar(view, vt, lcid, var_flags, alpha, &result);
  }
  if (FAILED(hr)) return hr;
  if (HRESULT cleared = VariantClear(dst); FAILED(cleared)) {
    VariantClear(&result);
    return cleared;
  }
  *dst = result;
  return S_OK;
}

HRESULT VariantChangeType(VARIANT *dst, const VARIANT *src, USHORT flags, VARTYPE vt) {
  return VariantChangeTypeEx(dst, src, 0, flags, vt);
}
