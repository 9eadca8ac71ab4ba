#include "com_text.h"

#include <cstring>

#include <kzcore/pal/wide.h>

namespace kzhost {

Bstr Bstr::FromUtf8(std::string_view utf8) {
  if (utf8.find('\0') != std::string_view::npos) return Bstr();
  std::string copy(utf8);  // mbstowcs reads up to a 0 byte
  size_t units = mbstowcs(static_cast<WCHAR *>(nullptr), copy.c_str(), 0);
  if (units == static_cast<size_t>(-1) || units > 0x7FFFFFF0u) return Bstr();
  BSTR text = SysAllocStringLen(nullptr, static_cast<UINT>(units));
  if (text == nullptr) return Bstr();
  mbstowcs(text, copy.c_str(), units + 1);
  return Bstr(text);
}

std::optional<std::string> ToUtf8(const WCHAR *text) {
  if (text == nullptr) return std::string();
  size_t bytes = wcstombs(nullptr, text, 0);
  if (bytes == static_cast<size_t>(-1)) return std::nullopt;
  std::string out(bytes + 1, '\0');
  wcstombs(out.data(), text, out.size());
  out.resize(bytes);
  return out;
}

bool ArrayBytes(SAFEARRAY *array, const void **data, size_t *size) {
  VARTYPE vt = VT_EMPTY;
  if (array == nullptr || SafeArrayGetDim(array) != 1 || SafeArrayGetVartype(array, &vt) != S_OK || vt != VT_UI1)
    return false;
  *data = array->pvData;
  *size = array->rgsabound[0].cElements;
  return true;
}

SAFEARRAY *NewByteArray(std::string_view bytes) {
  if (bytes.size() > 0xFFFFFFFFu) return nullptr;
  SAFEARRAY *array = SafeArrayCreateVector(VT_UI1, 0, static_cast<ULONG>(bytes.size()));
  if (array != nullptr && !bytes.empty()) std::memcpy(array->pvData, bytes.data(), bytes.size());
  return array;
}

}  // namespace kzhost
