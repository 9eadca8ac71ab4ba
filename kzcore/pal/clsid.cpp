// Identifier texts, programmatic identifiers and new GUIDs. The lookups of programmatic
// identifiers belong to the class registry; this file gives them their Windows shape.
#include <kzcore/pal/clsid.h>

#include <uuid/uuid.h>

#include <cstring>
#include <string>

#include <kzcore/pal/internal/class_registry.h>
#include <kzcore/pal/internal/guid_parse.h>
#include <kzcore/pal/wide.h>

namespace {

using kz::pal::internal::kGuidTextLength;

HRESULT FormatToTaskMemory(const GUID &guid, LPOLESTR *text) {
  if (text == nullptr) return E_INVALIDARG;
  *text = static_cast<LPOLESTR>(CoTaskMemAlloc((kGuidTextLength + 1) * sizeof(OLECHAR)));
  if (*text == nullptr) return E_OUTOFMEMORY;
  kz::pal::internal::FormatGuidText(guid, *text);
  return S_OK;
}

}  // namespace

HRESULT CLSIDFromString(LPCOLESTR text, LPCLSID clsid) {
  if (clsid == nullptr) return E_INVALIDARG;
  if (text == nullptr) {
    *clsid = CLSID_NULL;
    return S_OK;
  }
  if (wcslen(text) == kGuidTextLength && kz::pal::internal::ParseGuidText(text, *clsid)) return S_OK;
  CLSID found;
  if (kz::pal::internal::ClassOfProgID(text, found)) {
    *clsid = found;
    return S_OK;
  }
  *clsid = CLSID_NULL;
  return CO_E_CLASSSTRING;
}

HRESULT IIDFromString(LPCOLESTR text, IID *iid) {
  if (iid == nullptr) return E_INVALIDARG;
  if (text == nullptr) {
    *iid = IID_NULL;
    return S_OK;
  }
  if (wcslen(text) != kGuidTextLength) return E_INVALIDARG;
  return kz::pal::internal::ParseGuidText(text, *iid) ? S_OK : CO_E_IIDSTRING;
}

HRESULT CLSIDFromProgID(LPCOLESTR prog_id, LPCLSID clsid) {
  if (prog_id == nullptr || clsid == nullptr) return E_INVALIDARG;
  return kz::pal::internal::ClassOfProgID(prog_id, *clsid) ? S_OK : CO_E_CLASSSTRING;
}

HRESULT ProgIDFromCLSID(REFCLSID clsid, LPOLESTR *prog_id) {
  if (prog_id == nullptr) return E_INVALIDARG;
  *prog_id = nullptr;
  std::u16string found;
  if (!kz::pal::internal::ProgIDOfClass(clsid, found)) return REGDB_E_CLASSNOTREG;
  auto *copy = static_cast<LPOLESTR>(CoTaskMemAlloc((found.size() + 1) * sizeof(OLECHAR)));
  if (copy == nullptr) return E_OUTOFMEMORY;
  std::memcpy(copy, found.c_str(), (found.size() + 1) * sizeof(OLECHAR));
  *prog_id = copy;
  return S_OK;
}

HRESULT StringFromCLSID(REFCLSID clsid, LPOLESTR *text) { return FormatToTaskMemory(clsid, text); }

HRESULT StringFromIID(REFIID iid, LPOLESTR *text) { return FormatToTaskMemory(iid, text); }

HRESULT CoCreateGuid(GUID *guid) {
  if (guid == nullptr) return E_INVALIDARG;
  uuid_t bytes;
  uuid_generate_random(bytes);
  // The bytes of a UUID are its text order, which is big-endian in the GUID's three numbers.
  guid->Data1 = static_cast<DWORD>(bytes[0]) << 24 | static_cast<DWORD>(bytes[1]) << 16 |
                static_cast<DWORD>(bytes[2]) << 8 | bytes[3];
  guid->Data2 = static_cast<WORD>(bytes[4] << 8 | bytes[5]);
  guid->Data3 = static_cast<WORD>(bytes[6] << 8 | bytes[7]);
  std::memcpy(guid->Data4, bytes + 8, 8);
  return S_OK;
}
