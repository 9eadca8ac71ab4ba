#include <kzcore/pal/locale.h>

#include <cstdlib>
#include <cstring>
#include <initializer_list>

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
