// UTF8Util: UTF-8 for the wire, and URL encoding of values.
//
//   char *bytes = nullptr;
//   unsigned size = 0;
//   if (UTF8Util::W2UTF8(u"Zürich", -1, &bytes, &size) == S_OK) {   // -1: with the terminator
//     Send(bytes, size);                                           // 8 bytes, the 0 counted
//     delete[] bytes;
//   }
//   String query = UTF8Util::UrlEncodeValue(u"a b&c");               // "a%20b%26c"
//
// The conversions never reject text: a lone surrogate becomes U+FFFD (three bytes), and each
// maximal invalid part of a UTF-8 sequence one U+FFFD unit, as the platform's UTF-8 code page does
// with flags 0.
//
// Lengths are in units (wide text) or bytes (UTF-8). A length of -1 converts up to and including
// the text's terminator, which the result then holds and its size counts; any other length
// converts exactly that much, 0 units and bytes included, and adds no terminator. A length of 0 is
// the empty text.
//
// Results: S_OK; E_POINTER for a null output pointer; E_OUTOFMEMORY when the result cannot be
// allocated; otherwise the platform conversion's last error, unchanged, as a positive value:
// ERROR_INSUFFICIENT_BUFFER (122) when a caller's buffer is too small, ERROR_INVALID_PARAMETER
// (87) for a null source text. Those are not negative HRESULTs, so test a result against S_OK,
// never with FAILED.
#pragma once

#include <kzcore/core/string.h>
#include <kzcore/pal/types.h>

namespace UTF8Util {

// Bytes of the UTF-8 form of `length` units of `text`.
KZ_API HRESULT QueryUTF8Size(const WCHAR *text, int length, unsigned *size);
// Units of the UTF-16 form of `length` bytes of `text`.
KZ_API HRESULT QueryWSize(const char *text, int length, unsigned *size);
// Converts into the caller's buffer of `size` bytes (or units), which must hold the whole result.
KZ_API HRESULT W2UTF8(const WCHAR *text, int length, char *buffer, unsigned size);
KZ_API HRESULT UTF82W(const char *text, int length, WCHAR *buffer, unsigned size);
// Allocates the result with new[]; the caller frees it with delete[]. `*out` is null and `*size`
// 0 unless the result is S_OK. An empty result is still an allocation (of one byte) to free.
KZ_API HRESULT W2UTF8(const WCHAR *text, int length, char **out, unsigned *size);
// The whole BSTR by its own length (embedded 0 units included); no terminator. A null BSTR is the
// empty text.
KZ_API HRESULT BSTR2UTF8(BSTR text, char **out, unsigned *size);
// The BSTR up to its first 0 unit, with a terminator that `*size` counts.
KZ_API HRESULT BSTR2UTF8NullTerminated(BSTR text, char **out, unsigned *size);
// A new BSTR holding the converted units (the terminator too for a length of -1); the caller frees
// it with SysFreeString. `*out` is cleared first.
KZ_API HRESULT UTF82BSTR(const char *text, int length, BSTR *out);

// Percent-encoding for a URL query value. Letters, digits and - _ . ! ~ * ' ( ) stay; a space is
// "%20" (never "+"); every other unit becomes the lower-case escapes of its UTF-8 bytes. A
// surrogate is encoded by itself as three bytes: pairs are not joined. Null gives an empty string.
KZ_API String UrlEncodeValue(const WCHAR *text);

}  // namespace UTF8Util
