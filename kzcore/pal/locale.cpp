#include <kzcore/pal/locale.h>

#include <cstdlib>
#include <cstring>
#include <deque>
#include <initializer_list>
#include <mutex>
#include <string>

#include <unicode/udat.h>
#include <unicode/uloc.h>
#include <unicode/unum.h>

#include <kzcore/pal/sync.h>

namespace {

struct Language {
  const char *code;  // ISO 639
  WORD primary;
};

// ISO 639 codes of the languages the family ships or that decide text rules (double-byte code
// pages for Chinese, Japanese and Korean).
constexpr Language kLanguages[] = {
    {"ar", 0x01}, {"bg", 0x02}, {"ca", 0x03}, {"zh", 0x04}, {"cs", 0x05}, {"da", 0x06}, {"de", 0x07},
    {"el", 0x08}, {"en", 0x09}, {"es", 0x0A}, {"fi", 0x0B}, {"fr", 0x0C}, {"he", 0x0D}, {"hu", 0x0E},
    {"is", 0x0F}, {"it", 0x10}, {"ja", 0x11}, {"ko", 0x12}, {"nl", 0x13}, {"nb", 0x14}, {"no", 0x14},
    {"pl", 0x15}, {"pt", 0x16}, {"ro", 0x18}, {"ru", 0x19}, {"hr", 0x1A}, {"sk", 0x1B}, {"sq", 0x1C},
    {"sv", 0x1D}, {"th", 0x1E}, {"tr", 0x1F}, {"ur", 0x20}, {"id", 0x21}, {"uk", 0x22}, {"be", 0x23},
    {"sl", 0x24}, {"et", 0x25}, {"lv", 0x26}, {"lt", 0x27}, {"fa", 0x29}, {"vi", 0x2A}, {"hi", 0x39},
};

struct Country {
  WORD primary;
  const char *code;  // ISO 3166
  WORD sub;
};

// Sublanguages that differ from the first one (SUBLANG 1) of their language.
constexpr Country kCountries[] = {
    {0x04, "TW", 1}, {0x04, "CN", 2}, {0x04, "HK", 3}, {0x04, "SG", 4}, {0x04, "MO", 5},
    {0x09, "GB", 2}, {0x09, "AU", 3}, {0x09, "CA", 4}, {0x09, "NZ", 5}, {0x09, "IE", 6},
    {0x07, "CH", 2}, {0x07, "AT", 3}, {0x0C, "BE", 2}, {0x0C, "CA", 3}, {0x0C, "CH", 4},
    {0x10, "CH", 2}, {0x13, "BE", 2}, {0x16, "PT", 2}, {0x0A, "MX", 2}, {0x1D, "FI", 2},
};

const char *LocaleName(const char *category) {
  for (const char *var : {"LC_ALL", category, "LANG"}) {
    const char *v = std::getenv(var);
    if (v != nullptr && *v != 0) return v;
  }
  return nullptr;
}

}  // namespace

LANGID KzLangIdFromLocaleName(const char *name) {
  if (name == nullptr) return 0;
  if (std::strcmp(name, "C") == 0 || std::strcmp(name, "POSIX") == 0 || std::strncmp(name, "C.", 2) == 0)
    return MAKELANGID(LANG_ENGLISH, 1);
  char language[4] = {}, country[4] = {};
  std::size_t i = 0;
  for (; i < 3 && name[i] >= 'a' && name[i] <= 'z'; ++i) language[i] = name[i];
  if (name[i] == '_') {
    const char *c = name + i + 1;
    for (std::size_t j = 0; j < 3 && c[j] >= 'A' && c[j] <= 'Z'; ++j) country[j] = c[j];
  }
  for (const Language &l : kLanguages) {
    if (std::strcmp(l.code, language) != 0) continue;
    WORD sub = 1;
    for (const Country &c : kCountries)
      if (c.primary == l.primary && std::strcmp(c.code, country) == 0) sub = c.sub;
    return MAKELANGID(l.primary, sub);
  }
  return 0;
}

LANGID GetUserDefaultLangID() {
  LANGID id = KzLangIdFromLocaleName(LocaleName("LC_CTYPE"));
  return id ? id : MAKELANGID(LANG_ENGLISH, 1);
}

LANGID GetUserDefaultUILanguage() {
  LANGID id = KzLangIdFromLocaleName(LocaleName("LC_MESSAGES"));
  return id ? id : MAKELANGID(LANG_ENGLISH, 1);
}

LCID GetUserDefaultLCID() { return GetUserDefaultLangID(); }

namespace {

// The separators of one locale, as GetLocaleInfoW gives them.
struct Separators {
  LCID locale;
  std::u16string decimal, thousand, date, time;
};

std::u16string NumberSymbol(const char *icu_locale, UNumberFormatSymbol symbol, const char16_t *fallback) {
  UErrorCode status = U_ZERO_ERROR;
  UNumberFormat *format = unum_open(UNUM_DECIMAL, nullptr, 0, icu_locale, nullptr, &status);
  std::u16string result = fallback;
  if (U_SUCCESS(status)) {
    UChar text[16];
    const int32_t n = unum_getSymbol(format, symbol, text, 16, &status);
    if (U_SUCCESS(status) && n > 0 && n < 16) result.assign(text, static_cast<std::size_t>(n));
  }
  unum_close(format);
  return result;
}

bool PatternLetter(char16_t c) { return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z'); }

// The separator after the first field of a short date or time pattern: "M/d/yy" gives "/",
// "dd.MM.yy" ".", "H.mm" ".". Quotes and spaces around it are left out; a pattern without one
// gives the fallback.
std::u16string PatternSeparator(const char *icu_locale, UDateFormatStyle time_style, UDateFormatStyle date_style,
                                const char16_t *fallback) {
  UErrorCode status = U_ZERO_ERROR;
  UDateFormat *format = udat_open(time_style, date_style, icu_locale, nullptr, -1, nullptr, -1, &status);
  std::u16string result = fallback;
  if (U_SUCCESS(status)) {
    UChar pattern[128];
    const int32_t n = udat_toPattern(format, false, pattern, 128, &status);
    if (U_SUCCESS(status) && n > 0 && n < 128) {
      int32_t i = 0;
      while (i < n && !PatternLetter(pattern[i])) ++i;  // to the first field
      while (i < n && PatternLetter(pattern[i])) ++i;   // past it
      std::u16string separator;
      for (; i < n && !PatternLetter(pattern[i]); ++i) {
        const char16_t c = pattern[i];
        if (c != u'\'' && c != u' ' && c != 0xA0 && c != 0x202F) separator += c;
      }
      if (!separator.empty()) result = separator;
    }
  }
  udat_close(format);
  return result;
}

// Null when ICU knows no locale for the identifier.
const Separators *SeparatorsFor(LCID locale) {
  static std::mutex lock;
  // A deque keeps its elements in place as it grows; it lives to the end of the process.
  static std::deque<Separators> *cache = new std::deque<Separators>;
  std::lock_guard<std::mutex> guard(lock);
  for (const Separators &s : *cache)
    if (s.locale == locale) return &s;
  Separators s{locale, u".", u",", u"/", u":"};
  if (locale != LOCALE_INVARIANT) {
    char name[ULOC_FULLNAME_CAPACITY];
    UErrorCode status = U_ZERO_ERROR;
    const int32_t n = uloc_getLocaleForLCID(locale, name, sizeof name, &status);
    if (U_FAILURE(status) || n <= 0 || n >= static_cast<int32_t>(sizeof name)) return nullptr;
    s.decimal = NumberSymbol(name, UNUM_DECIMAL_SEPARATOR_SYMBOL, u".");
    s.thousand = NumberSymbol(name, UNUM_GROUPING_SEPARATOR_SYMBOL, u",");
    s.date = PatternSeparator(name, UDAT_NONE, UDAT_SHORT, u"/");
    s.time = PatternSeparator(name, UDAT_SHORT, UDAT_NONE, u":");
  }
  cache->push_back(std::move(s));
  return &cache->back();
}

}  // namespace

int GetLocaleInfoW(LCID locale, LCTYPE type, LPWSTR buffer, int size) {
  const LCTYPE item = type & ~(LOCALE_NOUSEROVERRIDE | LOCALE_USE_CP_ACP);
  if (item != LOCALE_SDECIMAL && item != LOCALE_STHOUSAND && item != LOCALE_SDATE && item != LOCALE_STIME) {
    SetLastError(ERROR_INVALID_FLAGS);
    return 0;
  }
  if (size < 0 || (size > 0 && buffer == nullptr)) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return 0;
  }
  // Linux: the defaults are the language of the locale environment.
  if (locale == 0 || locale == LOCALE_USER_DEFAULT || locale == LOCALE_SYSTEM_DEFAULT) locale = GetUserDefaultLCID();
  const Separators *s = SeparatorsFor(locale);
  if (s == nullptr) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return 0;
  }
  const std::u16string &text = item == LOCALE_SDECIMAL    ? s->decimal
                               : item == LOCALE_STHOUSAND ? s->thousand
                               : item == LOCALE_SDATE     ? s->date
                                                          : s->time;
  const int needed = static_cast<int>(text.size()) + 1;
  if (size == 0) return needed;
  if (size < needed) {
    SetLastError(ERROR_INSUFFICIENT_BUFFER);
    return 0;
  }
  std::memcpy(buffer, text.c_str(), sizeof(WCHAR) * static_cast<std::size_t>(needed));
  return needed;
}
