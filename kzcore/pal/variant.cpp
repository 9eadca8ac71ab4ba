#include <kzcore/pal/variant.h>

#include <cstdio>
#include <cstring>

void VariantInit(VARIANT *v) { v->vt = VT_EMPTY; }

HRESULT VariantClear(VARIANT *v) {
  if (v == nullptr) return E_INVALIDARG;
  if (!(v->vt & VT_BYREF)) {
    switch (v->vt) {
      case VT_BSTR: SysFreeString(v->bstrVal); break;
      case VT_UNKNOWN:
      case VT_DISPATCH:
        if (v->punkVal != nullptr) v->punkVal->Release();
        break;
      default: break;
    }
  }
  v->vt = VT_EMPTY;
  return S_OK;
}

HRESULT VariantCopy(VARIANT *dst, const VARIANT *src) {
  if (dst == nullptr || src == nullptr) return E_INVALIDARG;
  if (dst == src) return S_OK;
  VARIANT copy = *src;
  if (!(src->vt & VT_BYREF)) {
    if (src->vt == VT_BSTR && src->bstrVal != nullptr) {
      copy.bstrVal = SysAllocStringLen(src->bstrVal, SysStringLen(src->bstrVal));
      if (copy.bstrVal == nullptr) return E_OUTOFMEMORY;
    } else if ((src->vt == VT_UNKNOWN || src->vt == VT_DISPATCH) && src->punkVal != nullptr) {
      src->punkVal->AddRef();
    }
  }
  VariantClear(dst);
  *dst = copy;
  return S_OK;
}

namespace {

HRESULT ToText(const VARIANT &src, BSTR *out) {
  char buf[32];
  switch (src.vt) {
    case VT_EMPTY: *out = SysAllocString(u""); return *out ? S_OK : E_OUTOFMEMORY;
    case VT_BSTR:
      *out = SysAllocStringLen(src.bstrVal, SysStringLen(src.bstrVal));
      return (*out || src.bstrVal == nullptr) ? S_OK : E_OUTOFMEMORY;
    case VT_I1: std::snprintf(buf, sizeof buf, "%d", static_cast<signed char>(src.cVal)); break;
    case VT_UI1: std::snprintf(buf, sizeof buf, "%u", src.bVal); break;
    case VT_I2: std::snprintf(buf, sizeof buf, "%d", src.iVal); break;
    case VT_UI2: std::snprintf(buf, sizeof buf, "%u", src.uiVal); break;
    case VT_I4:
    case VT_INT: std::snprintf(buf, sizeof buf, "%d", src.lVal); break;
    case VT_UI4:
    case VT_UINT: std::snprintf(buf, sizeof buf, "%u", src.ulVal); break;
    case VT_I8: std::snprintf(buf, sizeof buf, "%lld", static_cast<long long>(src.llVal)); break;
    case VT_UI8: std::snprintf(buf, sizeof buf, "%llu", static_cast<unsigned long long>(src.ullVal)); break;
    case VT_BOOL: std::snprintf(buf, sizeof buf, "%d", src.boolVal); break;
    default: return DISP_E_TYPEMISMATCH;
  }
  OLECHAR wide[32];
  std::size_t n = std::strlen(buf);
  for (std::size_t i = 0; i <= n; ++i) wide[i] = static_cast<OLECHAR>(buf[i]);
  *out = SysAllocStringLen(wide, static_cast<UINT>(n));
  return *out ? S_OK : E_OUTOFMEMORY;
}

}  // namespace

HRESULT VariantChangeTypeEx(VARIANT *dst, const VARIANT *src, LCID, USHORT, VARTYPE vt) {
  if (dst == nullptr || src == nullptr) return E_INVALIDARG;
  if (vt == src->vt) return VariantCopy(dst, src);
  if (vt != VT_BSTR) return DISP_E_TYPEMISMATCH;
  BSTR text = nullptr;
  HRESULT hr = ToText(*src, &text);
  if (FAILED(hr)) return hr;
  VariantClear(dst);
  dst->vt = VT_BSTR;
  dst->bstrVal = text;
  return S_OK;
}

HRESULT VariantChangeType(VARIANT *dst, const VARIANT *src, USHORT flags, VARTYPE vt) {
  return VariantChangeTypeEx(dst, src, 0, flags, vt);
}
