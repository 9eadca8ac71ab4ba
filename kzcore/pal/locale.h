// The user's language as Windows language identifiers, taken from the POSIX locale environment
// (LC_ALL, then LC_MESSAGES or LC_CTYPE, then LANG): "ja_JP.UTF-8" is 0x0411, "zh_CN" 0x0804,
// "de_DE" 0x0407. An unset, "C" or "POSIX" locale is English (United States), 0x0409.
//
//   LANGID id = GetUserDefaultLangID();   // PRIMARYLANGID(id) == LANG_JAPANESE for ja_JP
#pragma once

#include <kzcore/pal/types.h>

// The regional language (LC_ALL, LC_CTYPE, LANG).
KZ_API LANGID GetUserDefaultLangID();
// The interface language (LC_ALL, LC_MESSAGES, LANG).
KZ_API LANGID GetUserDefaultUILanguage();
KZ_API LCID GetUserDefaultLCID();
// The language identifier of a POSIX locale name such as "pt_BR.UTF-8"; 0 when unknown.
KZ_API LANGID KzLangIdFromLocaleName(const char *name);

// Locale information. The separators below come from the locale data of ICU for the language
// identifier (the same data that formats numbers and dates for that language).
using LCTYPE = DWORD;
constexpr LCID LOCALE_INVARIANT = 0x007F;
constexpr LCID LOCALE_USER_DEFAULT = 0x0400;
constexpr LCID LOCALE_SYSTEM_DEFAULT = 0x0800;
constexpr LCTYPE LOCALE_SDECIMAL = 0x0E;   // decimal separator
constexpr LCTYPE LOCALE_STHOUSAND = 0x0F;  // digit group separator
constexpr LCTYPE LOCALE_SDATE = 0x1D;      // date separator
constexpr LCTYPE LOCALE_STIME = 0x1E;      // time separator
constexpr LCTYPE LOCALE_NOUSEROVERRIDE = 0x80000000;
constexpr LCTYPE LOCALE_USE_CP_ACP = 0x40000000;
constexpr LCTYPE LOCALE_RETURN_NUMBER = 0x20000000;

// Copies the text of item `type` for `locale` with its terminator into `buffer` and returns the
// units written, terminator counted; with `size` 0 it returns the units needed and writes nothing.
// Failures return 0 with the last error: ERROR_INSUFFICIENT_BUFFER, ERROR_INVALID_FLAGS for an
// item other than the four separators (or LOCALE_RETURN_NUMBER with them), ERROR_INVALID_PARAMETER
// for an unknown locale, a negative size or a null buffer with a size.
//
// Linux: the user and system defaults (and the neutral locale 0) are the language of the POSIX
// locale environment (GetUserDefaultLCID); there are no user overrides, so LOCALE_NOUSEROVERRIDE
// changes nothing. The date and time separators are the first separator of the locale's short
// date and short time patterns. The invariant locale answers ".", ",", "/" and ":".
KZ_API int GetLocaleInfoW(LCID locale, LCTYPE type, LPWSTR buffer, int size);
