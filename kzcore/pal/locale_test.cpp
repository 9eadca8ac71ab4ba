#include <kzcore/pal/locale.h>

#include <string>

#include <gtest/gtest.h>

#include <kzcore/pal/sync.h>

#include "tests/support/environment_scope.h"

namespace {

std::u16string Item(LCID locale, LCTYPE type) {
  WCHAR text[16];
  const int n = GetLocaleInfoW(locale, type, text, 16);
  if (n == 0) return u"<failed>";
  EXPECT_EQ(static_cast<std::size_t>(n), std::u16string(text).size() + 1);
  return text;
}

// The separators Windows gives for these locales.
TEST(GetLocaleInfoW, SeparatorsOfKnownLocales) {
  struct Row {
    LCID locale;
    const char16_t *decimal, *thousand, *date, *time;
  };
  const Row rows[] = {
      {0x0409, u".", u",", u"/", u":"},  // English (United States)
      {0x0407, u",", u".", u".", u":"},  // German (Germany)
      {0x040B, u",", nullptr, u".", u"."},  // Finnish: the time separator is a full stop
      {0x0411, u".", u",", u"/", u":"},  // Japanese
      {0x0413, u",", u".", u"-", u":"},  // Dutch (Netherlands)
      {LOCALE_INVARIANT, u".", u",", u"/", u":"},
  };
  for (const Row &row : rows) {
    SCOPED_TRACE(row.locale);
    EXPECT_EQ(Item(row.locale, LOCALE_SDECIMAL), row.decimal);
    if (row.thousand != nullptr) {
      EXPECT_EQ(Item(row.locale, LOCALE_STHOUSAND), row.thousand);
    }
    EXPECT_EQ(Item(row.locale, LOCALE_SDATE), row.date);
    EXPECT_EQ(Item(row.locale, LOCALE_STIME), row.time);
    EXPECT_EQ(Item(row.locale, LOCALE_SDECIMAL | LOCALE_NOUSEROVERRIDE), row.decimal);
  }
}

TEST(GetLocaleInfoW, TheDefaultsFollowTheLocaleEnvironment) {
  {
    kztest::EnvironmentScope german("LC_ALL", "de_DE.UTF-8");
    EXPECT_EQ(Item(LOCALE_USER_DEFAULT, LOCALE_SDECIMAL), u",");
    EXPECT_EQ(Item(LOCALE_SYSTEM_DEFAULT, LOCALE_STHOUSAND), u".");
    EXPECT_EQ(Item(0, LOCALE_SDATE), u".");
  }
  kztest::EnvironmentScope english("LC_ALL", "C");
  EXPECT_EQ(Item(LOCALE_USER_DEFAULT, LOCALE_SDECIMAL), u".");
}

TEST(GetLocaleInfoW, SizesAndRefusals) {
  EXPECT_EQ(GetLocaleInfoW(0x0409, LOCALE_SDECIMAL, nullptr, 0), 2);
  WCHAR text[4] = {u'x', u'x', u'x', 0};
  EXPECT_EQ(GetLocaleInfoW(0x0409, LOCALE_SDECIMAL, text, 2), 2);
  EXPECT_EQ(std::u16string(text), u".");

  auto refusal = [](LCID locale, LCTYPE type, WCHAR *buffer, int size) {
    SetLastError(0);
    EXPECT_EQ(GetLocaleInfoW(locale, type, buffer, size), 0);
    return GetLastError();
  };
  EXPECT_EQ(refusal(0x0409, LOCALE_SDECIMAL, text, 1), ERROR_INSUFFICIENT_BUFFER);
  EXPECT_EQ(refusal(0x0409, 0x1234, text, 4), ERROR_INVALID_FLAGS);
  EXPECT_EQ(refusal(0x0409, LOCALE_SDECIMAL | LOCALE_RETURN_NUMBER, text, 4), ERROR_INVALID_FLAGS);
  EXPECT_EQ(refusal(0x0409, LOCALE_SDECIMAL, text, -1), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(refusal(0x0409, LOCALE_SDECIMAL, nullptr, 4), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(refusal(0x7FFF, LOCALE_SDECIMAL, text, 4), ERROR_INVALID_PARAMETER);  // no such locale
}

}  // namespace
