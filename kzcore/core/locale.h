// VESKLocale: which language the family's programs speak, decided once per process.
//
// This is the part the text classes and the library frame use: the regional and interface
// languages as Windows language identifiers, the right-to-left switches, and the language
// resource library. The language of a process can be pinned for tests and hosts with
// SetLanguageForProcess before first use.
//
//   if (VESKLocale::GetLangID() == LANG_JAPANESE) ... // double-byte narrow text
#pragma once

#include <kzcore/pal/types.h>

namespace VESKLocale {

// The regional language: primary language and sublanguage of the user's language identifier.
KZ_API USHORT GetLangID();
KZ_API USHORT GetCountryID();
// Country shifted left by 10, or'ed with language.
KZ_API USHORT GetLocale();
// The same for the user interface.
KZ_API USHORT GetUILangID();
KZ_API USHORT GetUICountryID();
KZ_API USHORT GetUILocale();

// Right-to-left interface switches; false while no right-to-left language is in use.
KZ_API bool IsRightToLeftLanguage();
KZ_API bool IsRightToLeft();
KZ_API bool IsRightToLeftUI();

// Puts the calling thread in the chosen regional locale. Called for every thread that enters the
// library.
KZ_API void SetThreadLocale();

// The language resource library of `module`, or null when the built-in (English) resources serve.
KZ_API HINSTANCE LoadLocalizedRes(HMODULE module);

// Replaces the regional language (and with it the text rules that depend on it) for the rest of
// the process. Meant for hosts that decide the language themselves, and for tests.
KZ_API void SetLanguageForProcess(LANGID regional);

}  // namespace VESKLocale
