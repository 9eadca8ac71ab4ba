// The wide C-runtime functions of the library, on 16-bit units. They keep the Windows names and
// behaviour; they are C++ overloads taking WCHAR, so they do not collide with the C library's
// 32-bit wchar_t functions. Character classes and case mapping come from ICU (simple, one unit to
// one unit mappings, the locale-independent Unicode data). The narrow code page is UTF-8.
//
//   size_t n = wcslen(u"Roads");                  // 5
//   const WCHAR *hit = wcsstr(u"a/b/c", u"/c");   // points at "/c"
//   int c = _wcsicmp(u"ABC", u"abc");             // 0
//
// A null destination passed as a literal must be typed, as both families accept a pointer:
// mbstowcs(static_cast<WCHAR *>(nullptr), text, 0).
#pragma once

// The standard headers come first: namespace std takes the C library's functions by
// using-declarations, which must see only the C versions (std::stol takes &std::wcstol).
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <cwctype>
#include <string>

#include <kzcore/pal/types.h>


KZ_API std::size_t wcslen(const WCHAR *s);
KZ_API std::size_t wcsnlen(const WCHAR *s, std::size_t max);
KZ_API int lstrlenW(const WCHAR *s);  // null gives 0
KZ_API WCHAR *wcscpy(WCHAR *dst, const WCHAR *src);
KZ_API WCHAR *wcsncpy(WCHAR *dst, const WCHAR *src, std::size_t n);
KZ_API WCHAR *wcscat(WCHAR *dst, const WCHAR *src);
KZ_API int wcscmp(const WCHAR *a, const WCHAR *b);
KZ_API int wcsncmp(const WCHAR *a, const WCHAR *b, std::size_t n);
KZ_API const WCHAR *wcschr(const WCHAR *s, WCHAR c);
KZ_API WCHAR *wcschr(WCHAR *s, WCHAR c);
KZ_API const WCHAR *wcsrchr(const WCHAR *s, WCHAR c);
KZ_API WCHAR *wcsrchr(WCHAR *s, WCHAR c);
KZ_API const WCHAR *wcsstr(const WCHAR *s, const WCHAR *needle);
KZ_API WCHAR *wcsstr(WCHAR *s, const WCHAR *needle);
KZ_API const WCHAR *wcspbrk(const WCHAR *s, const WCHAR *set);
KZ_API WCHAR *wcspbrk(WCHAR *s, const WCHAR *set);
KZ_API std::size_t wcsspn(const WCHAR *s, const WCHAR *set);
KZ_API std::size_t wcscspn(const WCHAR *s, const WCHAR *set);
// Case-insensitive comparisons: each unit is lowered with towlower, then compared as unsigned.
KZ_API int _wcsicmp(const WCHAR *a, const WCHAR *b);
KZ_API int _wcsnicmp(const WCHAR *a, const WCHAR *b, std::size_t n);
KZ_API WCHAR *_wcsdup(const WCHAR *s);  // free() the result
KZ_API WCHAR *_wcslwr(WCHAR *s);
KZ_API WCHAR *_wcsupr(WCHAR *s);

// Character classes and case. A surrogate unit is neither alphanumeric nor printable and maps to
// itself.
KZ_API WCHAR towlower(WCHAR c);
KZ_API WCHAR towupper(WCHAR c);
KZ_API int iswalpha(WCHAR c);
KZ_API int iswdigit(WCHAR c);
KZ_API int iswalnum(WCHAR c);
KZ_API int iswspace(WCHAR c);
KZ_API int iswupper(WCHAR c);
KZ_API int iswlower(WCHAR c);
KZ_API int iswprint(WCHAR c);
KZ_API int iswxdigit(WCHAR c);

// Numbers. Leading white space and a sign are accepted; the end pointer, when given, is set past
// the last unit used (at the start when nothing was read). Integers saturate on overflow and set
// errno to ERANGE. wcstod reads what strtod reads in the "C" locale (decimal and hexadecimal
// forms, "inf", "nan"); the result does not depend on the process's locale.
KZ_API double wcstod(const WCHAR *s, WCHAR **end);
KZ_API LONG wcstol(const WCHAR *s, WCHAR **end, int base);
KZ_API ULONG wcstoul(const WCHAR *s, WCHAR **end, int base);
KZ_API LONGLONG wcstoll(const WCHAR *s, WCHAR **end, int base);
KZ_API ULONGLONG wcstoull(const WCHAR *s, WCHAR **end, int base);
KZ_API LONGLONG _wcstoi64(const WCHAR *s, WCHAR **end, int base);
KZ_API LONG _wtol(const WCHAR *s);
KZ_API int _wtoi(const WCHAR *s);
KZ_API LONGLONG _wtoi64(const WCHAR *s);
KZ_API double _wtof(const WCHAR *s);

// Narrow and wide text, with UTF-8 as the narrow code page.
//
// mbstowcs converts at most `count` units (a surrogate pair is two) and writes a terminating 0
// when there is room. With a null destination it returns the units the whole text needs. Meeting
// a byte that is not valid UTF-8 it stops there: the units converted so far stay in the
// destination, followed by a 0 unit when there is room, and the result is (size_t)-1.
//
// wcstombs writes at most `count` bytes, never a partial character, and a terminating 0 when
// there is room; a null destination asks for the byte count. A lone surrogate has no narrow form:
// the result is then (size_t)-1.
KZ_API std::size_t mbstowcs(WCHAR *dst, const char *src, std::size_t count);
KZ_API std::size_t wcstombs(char *dst, const WCHAR *src, std::size_t count);
