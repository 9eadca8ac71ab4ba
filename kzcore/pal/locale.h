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
