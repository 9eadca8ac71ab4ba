#include <host/objects/uid_object.h>

#include <kzcore/pal/bstr.h>
#include <kzcore/pal/clsid.h>

namespace kz::host {

HRESULT UIDObject::InternalQueryInterface(REFIID riid, void **ppv) {
  if (ppv != nullptr && riid == KZ_IID(IUID)) return Answer(static_cast<IUID *>(this), ppv);
  if (ppv != nullptr && riid == KZ_IID(IUIDInternal)) return Answer(static_cast<IUIDInternal *>(this), ppv);
  return Unknown::InternalQueryInterface(riid, ppv);
}

HRESULT UIDObject::GetCLSID(GUID *clsid) {
  if (clsid == nullptr) return E_POINTER;
  *clsid = CLSID_UID;
  return S_OK;
}

HRESULT UIDObject::get_Value(BSTR *text) {
  if (text == nullptr) return E_POINTER;
  *text = nullptr;
  LPOLESTR formatted = nullptr;
  HRESULT hr = StringFromCLSID(value_, &formatted);
  if (FAILED(hr)) return hr;
  *text = SysAllocString(formatted);
  CoTaskMemFree(formatted);
  return *text != nullptr ? S_OK : E_OUTOFMEMORY;
}

HRESULT UIDObject::put_Value(LPCOLESTR text) {
  if (text == nullptr) return E_INVALIDARG;
  GUID value;
  HRESULT hr = CLSIDFromString(text, &value);
  if (FAILED(hr)) return hr;
  value_ = value;
  return S_OK;
}

HRESULT UIDObject::get_SubType(LONG *subtype) {
  if (subtype == nullptr) return E_POINTER;
  *subtype = subtype_;
  return S_OK;
}

HRESULT UIDObject::put_SubType(LONG subtype) {
  subtype_ = subtype;
  return S_OK;
}

HRESULT UIDObject::Generate() { return CoCreateGuid(&value_); }

HRESULT UIDObject::Compare(IUID *other, VARIANT_BOOL *equal) {
  if (equal == nullptr) return E_POINTER;
  *equal = VARIANT_FALSE;
  if (other == nullptr) return E_INVALIDARG;
  // Through the public interface, so that any implementation of it compares.
  BSTR text = nullptr;
  LONG subtype = 0;
  HRESULT hr = other->get_Value(&text);
  if (SUCCEEDED(hr)) hr = other->get_SubType(&subtype);
  GUID value = GUID_NULL;
  if (SUCCEEDED(hr)) hr = IIDFromString(text, &value);
  SysFreeString(text);
  if (FAILED(hr)) return hr;
  *equal = value == value_ && subtype == subtype_ ? VARIANT_TRUE : VARIANT_FALSE;
  return S_OK;
}

HRESULT UIDObject::Set(const GUID *value, LONG subtype) {
  if (value == nullptr) return E_POINTER;
  value_ = *value;
  subtype_ = subtype;
  return S_OK;
}

HRESULT UIDObject::Get(GUID *value, LONG *subtype) {
  if (value == nullptr || subtype == nullptr) return E_POINTER;
  *value = value_;
  *subtype = subtype_;
  return S_OK;
}

}  // namespace kz::host
