// Conversions between UTF-16 and narrow text: MultiByteToWideChar and WideCharToMultiByte for the
// UTF-8 code page.
//
//   int units = MultiByteToWideChar(CP_UTF8, 0, "caf\xC3\xA9", 5, nullptr, 0);   // 4
//   WCHAR text[4];
//   MultiByteToWideChar(CP_UTF8, 0, "caf\xC3\xA9", 5, text, 4);                    // u"café"
//
// With flags 0 invalid input is replaced, never rejected: each maximal invalid part of a UTF-8
// sequence (a lead byte with the continuation bytes that were still possible after it, or a
// stray byte) becomes one U+FFFD, and an unpaired surrogate becomes the three bytes of U+FFFD.
// With MB_ERR_INVALID_CHARS or WC_ERR_INVALID_CHARS such input fails with
// ERROR_NO_UNICODE_TRANSLATION instead. A byte order mark is text like any other.
//
// A source length of -1 (any negative length) converts up to and including the terminator, which
// the result then counts; any other length converts exactly that many units or bytes, 0 units and
// bytes included. A destination size of 0 asks for the size the result needs. Failures return 0
// and set the last error: ERROR_INVALID_PARAMETER (null or empty source, negative size, a
// destination that is the source, a result beyond INT_MAX), ERROR_INVALID_FLAGS,
// ERROR_INSUFFICIENT_BUFFER (nothing useful is left in the buffer then) or
// ERROR_NO_UNICODE_TRANSLATION. Success leaves the last error as it was.
#pragma once

#include <kzcore/pal/types.h>

constexpr UINT CP_ACP = 0;
constexpr UINT CP_UTF8 = 65001;

constexpr DWORD MB_ERR_INVALID_CHARS = 0x8;
constexpr DWORD WC_ERR_INVALID_CHARS = 0x80;

// Linux: only CP_UTF8 is known; any other code page fails with ERROR_INVALID_PARAMETER. As on
// Windows for UTF-8, the flags must be 0 or the one "invalid characters" flag.
KZ_API int MultiByteToWideChar(UINT code_page, DWORD flags, LPCSTR text, int bytes, LPWSTR buffer, int units);
// `default_char` and `used_default_char` must be null for UTF-8.
KZ_API int WideCharToMultiByte(UINT code_page, DWORD flags, LPCWSTR text, int units, LPSTR buffer, int bytes,
                               LPCSTR default_char, BOOL *used_default_char);
