#include <kzcore/pal/wide.h>

#include <unicode/ustring.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cinttypes>
#include <clocale>
#include <cstdlib>
#include <random>
#include <string>

#include <gtest/gtest.h>

namespace {

std::u16string Widen(const std::string &ascii) { return std::u16string(ascii.begin(), ascii.end()); }

TEST(WideStrings, SearchAndCopyFunctions) {
  const WCHAR *s = u"a/b/c";
  EXPECT_EQ(wcsstr(s, u"/c"), s + 3);
  EXPECT_EQ(wcsstr(s, u""), s);
  EXPECT_EQ(wcsstr(s, u"/d"), nullptr);
  EXPECT_EQ(wcschr(s, u'/'), s + 1);
  EXPECT_EQ(wcschr(s, 0), s + 5);  // the terminator is part of the string
  EXPECT_EQ(wcsrchr(s, u'/'), s + 3);
  EXPECT_EQ(wcspbrk(s, u"cb"), s + 2);
  EXPECT_EQ(wcsspn(u"aab", u"a"), 2u);
  EXPECT_EQ(wcscspn(u"aab", u"b"), 2u);
  EXPECT_EQ(lstrlenW(nullptr), 0);
  EXPECT_EQ(lstrlenW(u"four"), 4);
  WCHAR buf[8];
  wcsncpy(buf, u"ab", 5);
  EXPECT_EQ(buf[2], 0);
  EXPECT_EQ(buf[4], 0);
  wcscat(buf, u"cd");
  EXPECT_EQ(std::u16string(buf), u"abcd");
  EXPECT_EQ(wcscmp(u"\u00E9", u"z"), 1);  // units compare unsigned
}

TEST(WideStrings, CaseInsensitiveComparisonLowersBothSides) {
  EXPECT_EQ(_wcsicmp(u"ABC", u"abc"), 0);
  EXPECT_EQ(_wcsicmp(u"ÄÖÜ", u"äöü"), 0);
  EXPECT_EQ(_wcsicmp(u"ΣΑΣ", u"σασ"), 0);
  // Lowered, "A" is 0x61 and sorts after "_" (0x5F), as with Microsoft's run-time library.
  EXPECT_GT(_wcsicmp(u"A", u"_"), 0);
  EXPECT_LT(_wcsicmp(u"ab", u"abc"), 0);
  EXPECT_EQ(_wcsnicmp(u"HELLO world", u"hello WORLD!", 11), 0);
  EXPECT_NE(_wcsnicmp(u"HELLO world", u"hello WORLD!", 12), 0);
  EXPECT_EQ(_wcsnicmp(u"x", u"y", 0), 0);
}

TEST(WideStrings, CharacterClassesAndCaseMappingKeepOneUnit) {
  EXPECT_EQ(towupper(u'ß'), u'ß');  // no single-unit capital
  EXPECT_EQ(towupper(u'é'), u'É');
  EXPECT_EQ(towlower(u'Ж'), u'ж');
  EXPECT_EQ(towlower(u'İ'), u'i');
  EXPECT_EQ(towupper(u'5'), u'5');
  EXPECT_EQ(towlower(static_cast<WCHAR>(0xD83D)), 0xD83D);
  EXPECT_TRUE(iswalnum(u'é'));
  EXPECT_TRUE(iswalnum(u'٣'));  // Arabic-Indic digit three
  EXPECT_TRUE(iswalnum(u'日'));
  EXPECT_FALSE(iswalnum(u'-'));
  EXPECT_FALSE(iswalnum(u' '));
  EXPECT_FALSE(iswalnum(static_cast<WCHAR>(0xDC00)));
  EXPECT_TRUE(iswspace(u'\t'));
  EXPECT_TRUE(iswspace(u'\u3000'));
  EXPECT_FALSE(iswspace(u'x'));
}

// Integers read as the C library reads them, at Windows' widths: glibc's strtoll is the reference,
// narrowed to 32 bits for LONG with the same saturation.
TEST(WideNumbers, IntegersAgreeWithTheCLibraryAtWindowsWidths) {
  std::mt19937 rng(7);
  const char *pieces[] = {" ", "\t", "+", "-", "0", "0x", "0X", "7", "9", "f", "F", "z", "12345678901",
                          "2147483647", "2147483648", "9223372036854775807", "99999999999999999999", "."};
  for (int round = 0; round < 20000; ++round) {
    std::string text;
    for (int n = rng() % 5; n >= 0; --n) text += pieces[rng() % std::size(pieces)];
    const std::u16string wide = Widen(text);
    for (int base : {0, 10, 16, 8}) {
      char *ref_end;
      errno = 0;
      long long ref = std::strtoll(text.c_str(), &ref_end, base);
      const bool ref_range = errno == ERANGE;
      WCHAR *end;
      errno = 0;
      const LONGLONG got64 = wcstoll(wide.c_str(), &end, base);
      ASSERT_EQ(got64, ref) << text << " base " << base;
      ASSERT_EQ(end - wide.c_str(), ref_end - text.c_str()) << text;
      ASSERT_EQ(errno == ERANGE, ref_range) << text;

      if (!ref_range) {
        long long narrowed = ref > INT32_MAX ? INT32_MAX : ref < INT32_MIN ? INT32_MIN : ref;
        errno = 0;
        ASSERT_EQ(wcstol(wide.c_str(), &end, base), narrowed) << text << " base " << base;
        ASSERT_EQ(errno == ERANGE, narrowed != ref) << text;
        if (base == 10) {
          ASSERT_EQ(_wtol(wide.c_str()), narrowed) << text;
        }
      }
    }
  }
}

TEST(WideNumbers, UnsignedReadsNegateAndSaturate) {
  WCHAR *end;
  EXPECT_EQ(wcstoul(u"-1", &end, 10), 0xFFFFFFFFu);
  EXPECT_EQ(wcstoul(u"4294967296", &end, 10), 0xFFFFFFFFu);
  EXPECT_EQ(wcstoull(u"18446744073709551615", &end, 10), 0xFFFFFFFFFFFFFFFFull);
  EXPECT_EQ(wcstol(u"xyz", &end, 10), 0);
  EXPECT_EQ(*end, u'x');  // nothing read: the end is the start
  EXPECT_EQ(wcstol(u"  -", &end, 10), 0);
  EXPECT_EQ(end[0], u' ');
  EXPECT_EQ(wcstol(u"0x", &end, 16), 0);
  EXPECT_EQ(*end, u'x');  // "0" read, the "x" is not a prefix without a digit after it
  EXPECT_EQ(_wtoi(nullptr), 0);
}

TEST(WideNumbers, DoublesAgreeWithStrtodInTheCLocale) {
  std::mt19937 rng(11);
  const char *pieces[] = {" ", "-", "+", "1", "0", "9", ".", "e", "E", "-", "5", "x", "inf", "nan", "0x1p3", "1e400"};
  for (int round = 0; round < 20000; ++round) {
    std::string text;
    for (int n = rng() % 6; n >= 0; --n) text += pieces[rng() % std::size(pieces)];
    char *ref_end;
    const double ref = std::strtod(text.c_str(), &ref_end);
    const std::u16string wide = Widen(text);
    WCHAR *end;
    const double got = wcstod(wide.c_str(), &end);
    ASSERT_EQ(end - wide.c_str(), ref_end - text.c_str()) << text;
    if (std::isnan(ref)) {
      ASSERT_TRUE(std::isnan(got)) << text;
    } else {
      ASSERT_EQ(got, ref) << text;
    }
  }
  // Non-ASCII text ends the number.
  WCHAR *end;
  EXPECT_EQ(wcstod(u"2.5日", &end), 2.5);
  EXPECT_EQ(*end, u'日');
}

TEST(WideNumbers, DoublesIgnoreTheProcessLocale) {
  const char *saved = std::setlocale(LC_NUMERIC, nullptr);
  const std::string keep = saved ? saved : "C";
  if (std::setlocale(LC_NUMERIC, "de_DE.UTF-8") == nullptr) std::setlocale(LC_NUMERIC, "C.UTF-8");
  EXPECT_EQ(wcstod(u"1.5", nullptr), 1.5);
  std::setlocale(LC_NUMERIC, keep.c_str());
}

std::u16string IcuFromUtf8(const std::string &utf8) {
  std::u16string out(utf8.size() + 1, 0);
  int32_t length = 0;
  UErrorCode status = U_ZERO_ERROR;
  u_strFromUTF8(out.data(), static_cast<int32_t>(out.size()), &length, utf8.c_str(),
                static_cast<int32_t>(utf8.size()), &status);
  EXPECT_TRUE(U_SUCCESS(status));
  out.resize(length);
  return out;
}

std::string RandomUtf8(std::mt19937 &rng) {
  std::string s;
  for (int n = rng() % 30; n > 0; --n) {
    char32_t cp;
    switch (rng() % 4) {
      case 0: cp = 1 + rng() % 0x7F; break;
      case 1: cp = 0x80 + rng() % 0x780; break;
      case 2: cp = 0x800 + rng() % 0xF800; break;
      default: cp = 0x10000 + rng() % 0x100000; break;
    }
    if (cp >= 0xD800 && cp <= 0xDFFF) cp = 0xE000;
    if (cp < 0x80) {
      s += static_cast<char>(cp);
    } else if (cp < 0x800) {
      s += static_cast<char>(0xC0 | (cp >> 6));
      s += static_cast<char>(0x80 | (cp & 0x3F));
    } else if (cp < 0x10000) {
      s += static_cast<char>(0xE0 | (cp >> 12));
      s += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
      s += static_cast<char>(0x80 | (cp & 0x3F));
    } else {
      s += static_cast<char>(0xF0 | (cp >> 18));
      s += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
      s += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
      s += static_cast<char>(0x80 | (cp & 0x3F));
    }
  }
  return s;
}

TEST(WideNarrow, Utf8ConversionsAgreeWithIcuAndRoundTrip) {
  std::mt19937 rng(3);
  for (int round = 0; round < 5000; ++round) {
    const std::string utf8 = RandomUtf8(rng);
    const std::u16string expected = IcuFromUtf8(utf8);
    ASSERT_EQ(mbstowcs(static_cast<WCHAR *>(nullptr), utf8.c_str(), 0), expected.size());
    std::u16string wide(expected.size() + 1, u'#');
    ASSERT_EQ(mbstowcs(wide.data(), utf8.c_str(), wide.size()), expected.size());
    ASSERT_EQ(wide[expected.size()], 0);
    wide.resize(expected.size());
    ASSERT_EQ(wide, expected);

    ASSERT_EQ(wcstombs(nullptr, wide.c_str(), 0), utf8.size());
    std::string narrow(utf8.size() + 1, '#');
    ASSERT_EQ(wcstombs(narrow.data(), wide.c_str(), narrow.size()), utf8.size());
    narrow.resize(utf8.size());
    ASSERT_EQ(narrow, utf8);
  }
}

TEST(WideNarrow, InvalidInputStopsOrFails) {
  WCHAR out[16];
  // Overlong forms, encoded surrogates, bytes beyond U+10FFFF and cut sequences are invalid.
  for (const char *bad : {"ab\xC0\x80", "ab\xED\xA0\x80", "ab\xF4\x90\x80\x80", "ab\xE2\x82", "ab\xFF", "ab\x80"}) {
    std::fill(std::begin(out), std::end(out), u'#');
    EXPECT_EQ(mbstowcs(out, bad, 16), static_cast<std::size_t>(-1)) << bad;
    EXPECT_EQ(std::u16string(out), u"ab") << bad;  // what was converted, then a terminator
    EXPECT_EQ(mbstowcs(static_cast<WCHAR *>(nullptr), bad, 0), static_cast<std::size_t>(-1));
  }
  // A destination too small for a surrogate pair takes none of it.
  std::fill(std::begin(out), std::end(out), u'#');
  EXPECT_EQ(mbstowcs(out, "a\xF0\x9F\x98\x80", 2), 1u);
  EXPECT_EQ(out[1], u'#');

  const WCHAR lone[] = {u'a', 0xD800, u'b', 0};
  char narrow[16];
  EXPECT_EQ(wcstombs(narrow, lone, sizeof narrow), static_cast<std::size_t>(-1));
  EXPECT_EQ(wcstombs(nullptr, lone, 0), static_cast<std::size_t>(-1));
  // Never a partial character at the end of a short destination.
  std::fill(std::begin(narrow), std::end(narrow), '#');
  EXPECT_EQ(wcstombs(narrow, u"a€", 3), 1u);
  EXPECT_EQ(narrow[1], '#');
}

}  // namespace
