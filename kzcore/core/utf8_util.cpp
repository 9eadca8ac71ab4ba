#include <kzcore/core/utf8_util.h>

#include <climits>
#include <new>

#include <kzcore/pal/bstr.h>
#include <kzcore/pal/code_page.h>
#include <kzcore/pal/sync.h>
#include <kzcore/pal/wide.h>

namespace {

// A caller's buffer size as the platform takes it; larger buffers are used up to INT_MAX.
int Capacity(unsigned size) { return size > INT_MAX ? INT_MAX : static_cast<int>(size); }

// The platform's answer to a failed conversion, unchanged.
HRESULT LastError() { return static_cast<HRESULT>(GetLastError()); }

// The platform refuses an empty source; for these functions it is the empty text, and a null
// source goes on to the platform, which refuses it.
bool EmptySource(const void *text, int length) { return text != nullptr && length == 0; }

}  // namespace

namespace UTF8Util {

HRESULT QueryUTF8Size(const WCHAR *text, int length, unsigned *size) {
  if (size == nullptr) return E_POINTER;
  *size = 0;
  if (EmptySource(text, length)) return S_OK;
  const int n = WideCharToMultiByte(CP_UTF8, 0, text, length, nullptr, 0, nullptr, nullptr);
  if (n == 0) return LastError();
  *size = static_cast<unsigned>(n);
  return S_OK;
}

HRESULT QueryWSize(const char *text, int length, unsigned *size) {
  if (size == nullptr) return E_POINTER;
  *size = 0;
  if (EmptySource(text, length)) return S_OK;
  const int n = MultiByteToWideChar(CP_UTF8, 0, text, length, nullptr, 0);
  if (n == 0) return LastError();
  *size = static_cast<unsigned>(n);
  return S_OK;
}

HRESULT W2UTF8(const WCHAR *text, int length, char *buffer, unsigned size) {
  if (buffer == nullptr) return E_POINTER;
  if (EmptySource(text, length)) return S_OK;
  // A buffer of size 0 would turn the call into a size query.
  if (size == 0 && text != nullptr) return static_cast<HRESULT>(ERROR_INSUFFICIENT_BUFFER);
  if (WideCharToMultiByte(CP_UTF8, 0, text, length, buffer, Capacity(size), nullptr, nullptr) == 0) return LastError();
  return S_OK;
}

HRESULT UTF82W(const char *text, int length, WCHAR *buffer, unsigned size) {
  if (buffer == nullptr) return E_POINTER;
  if (EmptySource(text, length)) return S_OK;
  if (size == 0 && text != nullptr) return static_cast<HRESULT>(ERROR_INSUFFICIENT_BUFFER);
  if (MultiByteToWideChar(CP_UTF8, 0, text, length, buffer, Capacity(size)) == 0) return LastError();
  return S_OK;
}

HRESULT W2UTF8(const WCHAR *text, int length, char **out, unsigned *size) {
  if (out == nullptr || size == nullptr) return E_POINTER;
  *out = nullptr;
  *size = 0;
  unsigned needed = 0;
  HRESULT hr = QueryUTF8Size(text, length, &needed);
  if (hr != S_OK) return hr;
  char *bytes = new (std::nothrow) char[needed == 0 ? 1 : needed];
  if (bytes == nullptr) return E_OUTOFMEMORY;
  if (needed == 0) {
    bytes[0] = 0;
  } else if ((hr = W2UTF8(text, length, bytes, needed)) != S_OK) {
    delete[] bytes;
    return hr;
  }
  *out = bytes;
  *size = needed;
  return S_OK;
}

HRESULT BSTR2UTF8(BSTR text, char **out, unsigned *size) {
  static const WCHAR kEmpty[] = {0};
  const UINT length = SysStringLen(text);
  if (length > INT_MAX) return E_OUTOFMEMORY;  // no UTF-8 result of it could be sized
  return W2UTF8(text != nullptr ? text : kEmpty, static_cast<int>(length), out, size);
}

HRESULT BSTR2UTF8NullTerminated(BSTR text, char **out, unsigned *size) {
  static const WCHAR kEmpty[] = {0};
  // -1: up to the first 0 unit, the terminator converted too.
  return W2UTF8(text != nullptr ? text : kEmpty, -1, out, size);
}

HRESULT UTF82BSTR(const char *text, int length, BSTR *out) {
  if (out == nullptr) return E_POINTER;
  *out = nullptr;
  unsigned units = 0;
  HRESULT hr = QueryWSize(text, length, &units);
  if (hr != S_OK) return hr;
  BSTR result = SysAllocStringLen(nullptr, units);
  if (result == nullptr) return E_OUTOFMEMORY;
  if (units != 0 && (hr = UTF82W(text, length, result, units)) != S_OK) {
    SysFreeString(result);
    return hr;
  }
  result[units] = 0;
  *out = result;
  return S_OK;
}

String UrlEncodeValue(const WCHAR *text) {
  if (text == nullptr) return String();
  static constexpr char kHex[] = "0123456789abcdef";
  const std::size_t length = wcslen(text);
  // The first block is sized for the text itself: values are mostly plain.
  String result(static_cast<const WCHAR *>(nullptr), length > 0xFFFFFFF0u ? 0 : static_cast<ULONG>(length));
  // Escapes are gathered in a small buffer and appended in runs.
  WCHAR buffer[256 + 16];
  std::size_t used = 0;
  auto escape = [&](unsigned byte) {
    buffer[used++] = u'%';
    buffer[used++] = static_cast<WCHAR>(kHex[byte >> 4]);
    buffer[used++] = static_cast<WCHAR>(kHex[byte & 0xF]);
  };
  for (const WCHAR *p = text; *p != 0; ++p) {
    const unsigned u = *p;
    if ((u >= u'A' && u <= u'Z') || (u >= u'a' && u <= u'z') || (u >= u'0' && u <= u'9') || u == u'-' ||
        u == u'_' || u == u'.' || u == u'!' || u == u'~' || u == u'*' || u == u'\'' || u == u'(' || u == u')') {
      buffer[used++] = static_cast<WCHAR>(u);
    } else if (u == u' ') {
      escape(0x20);
    } else if (u < 0x80) {
      escape(u);
    } else if (u < 0x800) {
      escape(0xC0 | (u >> 6));
      escape(0x80 | (u & 0x3F));
    } else {
      // A surrogate half too: pairs are not joined.
      escape(0xE0 | (u >> 12));
      escape(0x80 | ((u >> 6) & 0x3F));
      escape(0x80 | (u & 0x3F));
    }
    if (used >= 256) {
      buffer[used] = 0;
      result += buffer;
      used = 0;
    }
  }
  buffer[used] = 0;
  result += buffer;
  return result;
}

}  // namespace UTF8Util
