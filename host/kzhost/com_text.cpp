#include "com_text.h"

#include <algorithm>
#include <cstring>

#include "json_text.h"

namespace kzhost {

// The conversions run for every text of every request, so they are done here directly rather
// than through the C-runtime pair. UTF-8 to UTF-16 counts the units in one pass (checking the
// text) and writes them straight into the BSTR in a second.
Bstr Bstr::FromUtf8(std::string_view utf8) {
  if (utf8.size() > 0x7FFFFFF0u) return Bstr();
  const auto *begin = reinterpret_cast<const unsigned char *>(utf8.data());
  const auto *end = begin + utf8.size();
  // Nearly every text is ASCII, which is checked and then widened unit for byte.
  const unsigned char *ascii = begin;
  while (ascii < end && *ascii - 1u < 0x7Fu) ++ascii;
  if (ascii == end) {
    BSTR text = SysAllocStringLen(nullptr, static_cast<UINT>(utf8.size()));
    if (text != nullptr) std::copy(begin, end, text);
    return Bstr(text);
  }
  size_t units = static_cast<size_t>(ascii - begin);
  for (const unsigned char *p = ascii; p < end;) {
    if (*p - 1u < 0x7Fu) {  // ASCII other than 0
      ++units;
      ++p;
      continue;
    }
    unsigned cp;
    int length = *p == 0 ? 0 : DecodeUtf8(p, end, &cp);
    if (length == 0) return Bstr();  // a 0 byte, or not well-formed
    units += cp >= 0x10000 ? 2 : 1;
    p += length;
  }
  BSTR text = SysAllocStringLen(nullptr, static_cast<UINT>(units));
  if (text == nullptr) return Bstr();
  WCHAR *out = text;
  for (const unsigned char *p = begin; p < end;) {
    if (*p < 0x80) {
      *out++ = *p++;
      continue;
    }
    unsigned cp;
    p += DecodeUtf8(p, end, &cp);
    if (cp >= 0x10000) {
      cp -= 0x10000;
      *out++ = static_cast<WCHAR>(0xD800 + (cp >> 10));
      *out++ = static_cast<WCHAR>(0xDC00 + (cp & 0x3FF));
    } else {
      *out++ = static_cast<WCHAR>(cp);
    }
  }
  return Bstr(text);
}

std::optional<std::string> ToUtf8(const WCHAR *text) {
  std::string out;
  if (text == nullptr) return out;
  for (const WCHAR *p = text; *p != 0; ++p) {
    unsigned c = *p;
    if (c < 0x80) {
      out.push_back(static_cast<char>(c));
    } else if (c < 0x800) {
      out.push_back(static_cast<char>(0xC0 | (c >> 6)));
      out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    } else if (c >= 0xD800 && c <= 0xDFFF) {
      if (c > 0xDBFF || p[1] < 0xDC00 || p[1] > 0xDFFF) return std::nullopt;  // a lone surrogate
      unsigned cp = 0x10000 + ((c - 0xD800) << 10) + (p[1] - 0xDC00u);
      ++p;
      out.push_back(static_cast<char>(0xF0 | (cp >> 18)));
      out.push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    } else {
      out.push_back(static_cast<char>(0xE0 | (c >> 12)));
      out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    }
  }
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
