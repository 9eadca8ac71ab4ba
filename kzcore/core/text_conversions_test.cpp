#include <kzcore/core/text_conversions.h>

#include <optional>
#include <random>
#include <string>

#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <kzcore/pal/memory.h>

#include "tests/support/environment_scope.h"

namespace {

using Utf16 = rapidjson::UTF16<char16_t>;

std::u16string Text(const String &s) { return std::u16string(static_cast<const WCHAR *>(s), s.GetLength()); }

String Escape(const std::u16string &text) { return escapeJSONString(String(text.c_str())); }

std::u16string Unescape(const std::u16string &text) {
  return Text(unescapeJSONString(text.data(), static_cast<LONG>(text.size())));
}

// RapidJSON reads the escaped text as the inside of a JSON string; nullopt when it refuses it.
std::optional<std::u16string> ParsedByRapidJson(const String &escaped) {
  const std::u16string json = u"\"" + Text(escaped) + u"\"";
  rapidjson::GenericDocument<Utf16> document;
  document.Parse<rapidjson::kParseValidateEncodingFlag>(json.c_str());
  if (document.HasParseError() || !document.IsString()) return std::nullopt;
  return std::u16string(document.GetString(), document.GetStringLength());
}

// RapidJSON's writer, from UTF-16 to UTF-16: the quotes taken off.
std::u16string WrittenByRapidJson(const std::u16string &text) {
  rapidjson::GenericStringBuffer<Utf16> buffer;
  rapidjson::Writer<rapidjson::GenericStringBuffer<Utf16>, Utf16, Utf16> writer(buffer);
  writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
  const std::u16string out(buffer.GetString(), buffer.GetSize() / sizeof(char16_t));  // the size is in bytes
  return out.substr(1, out.size() - 2);
}

// Random text of every kind of unit: printable ASCII, controls, the escaped ones, other planes
// through valid pairs, unassigned and private use units; lone surrogates only when asked.
std::u16string RandomText(std::mt19937 &rng, std::size_t max, bool lone_surrogates) {
  std::u16string text;
  const std::size_t n = rng() % (max + 1);
  while (text.size() < n) {
    switch (rng() % 9) {
      case 0: text += static_cast<char16_t>(1 + rng() % 0x1F); break;
      case 1: text += u"\"\\/<>\b\f\n\r\t"[rng() % 10]; break;
      case 2: text += static_cast<char16_t>(0x7F + rng() % 0x80); break;
      case 3: {
        char16_t c = static_cast<char16_t>(0x100 + rng() % 0xFF00);
        if (c >= 0xD800 && c <= 0xDFFF && !lone_surrogates) c = 0x4E00;
        text += c;
        break;
      }
      case 4: text += rng() % 2 ? u"\U0001F600" : u"\U00010348"; break;
      default: text += static_cast<char16_t>(0x20 + rng() % 0x5F); break;
    }
  }
  return text;
}

TEST(EscapeJSONString, EachKindOfUnit) {
  EXPECT_EQ(Text(Escape(u"a/b<c")), u"a/b\\u003cc");
  EXPECT_EQ(Text(Escape(u"<>")), u"\\u003c\\u003e");
  EXPECT_EQ(Text(Escape(u"\b\t\n\f\r\"\\")), u"\\b\\t\\n\\f\\r\\\"\\\\");
  EXPECT_EQ(Text(Escape(u"\x01\x1F\x7F\x0B")), u"\\u0001\\u001F\\u007F\\u000B");
  // Not printable beyond ASCII: a pair's halves, unassigned, private use, a format character.
  EXPECT_EQ(Text(Escape(u"\U0001F600")), u"\\uD83D\\uDE00");
  EXPECT_EQ(Text(Escape(u"\u0378\uE000\u200B")), u"\\u0378\\uE000\\u200B");
  EXPECT_EQ(Text(Escape(u"é 日本 \u00A0")), u"é 日本 \u00A0");
  EXPECT_EQ(Text(Escape(u"")), u"");
  String zero(u"a-b");
  zero.Replace(u'-', 0);  // a 0 unit inside the length
  EXPECT_EQ(Text(escapeJSONString(zero)), u"ab");
  const std::u16string long_plain(5000, u'q');
  EXPECT_EQ(Text(Escape(long_plain + u"\n" + long_plain)), long_plain + u"\\n" + long_plain);
}

// The escaped text is JSON that RapidJSON reads back as the original.
TEST(EscapeJSONString, RapidJsonReadsBackTheInput) {
  std::mt19937 rng(1811);
  for (int round = 0; round < 3000; ++round) {
    const std::u16string text = RandomText(rng, round < 2500 ? 30 : 600, false);
    const String escaped = Escape(text);
    for (WCHAR c : Text(escaped)) {
      ASSERT_TRUE(c >= 0x20 && c != u'<' && c != u'>') << "a raw control or angle bracket in the output";
    }
    const std::optional<std::u16string> parsed = ParsedByRapidJson(escaped);
    ASSERT_TRUE(parsed.has_value()) << std::string(Text(escaped).begin(), Text(escaped).end());
    ASSERT_EQ(*parsed, text);
  }
}

TEST(UnescapeJSONString, InvertsEscapingOfAnyText) {
  std::mt19937 rng(2718);
  for (int round = 0; round < 2000; ++round) {
    const std::u16string text = RandomText(rng, 60, true);
    ASSERT_EQ(Text(unescapeJSONString(Escape(text), static_cast<LONG>(Escape(text).GetLength()))), text);
  }
}

// RapidJSON's writer escapes differently (controls only, upper-case digits, no angle brackets);
// the result must read back all the same.
TEST(UnescapeJSONString, ReadsWhatRapidJsonWrites) {
  std::mt19937 rng(3141);
  for (int round = 0; round < 2000; ++round) {
    const std::u16string text = RandomText(rng, 60, false);
    ASSERT_EQ(Unescape(WrittenByRapidJson(text)), text);
  }
}

TEST(UnescapeJSONString, LenientForms) {
  EXPECT_EQ(Unescape(u"\\x41"), u"A");
  EXPECT_EQ(Unescape(u"\\u00e9\\u00C9"), u"éÉ");
  EXPECT_EQ(Unescape(u"\\/\\\"\\\\\\b\\f\\n\\r\\t"), u"/\"\\\b\f\n\r\t");
  EXPECT_EQ(Unescape(u"abc\\"), u"abc");       // a lone backslash at the end ends the text
  EXPECT_EQ(Unescape(u"a\\qb"), u"ab");        // an unknown escape is dropped with its backslash
  EXPECT_EQ(Unescape(u"\\u00zA"), u"\n");      // a unit that is no digit counts as 0
  EXPECT_EQ(Unescape(u"a\\u0000b\\x00c"), u"abc");  // an escape giving 0 gives nothing
  EXPECT_EQ(Unescape(u"x\\u41"), u"x41");      // cut short: nothing for the escape
  EXPECT_EQ(Unescape(u"x\\x4"), u"x4");
  EXPECT_EQ(Unescape(u"\\u0041"), u"A");       // exactly enough units
  EXPECT_EQ(Unescape(std::u16string(u"ab\0cd", 5)), u"ab");  // a 0 unit ends the work
  EXPECT_EQ(Unescape(std::u16string(u"ab\\\0cd", 6)), u"ab");

  const std::u16string text = u"q\\tz";
  EXPECT_EQ(Text(unescapeJSONString(text.data(), text.data() + 3)), u"q\t");  // the range's end decides
  EXPECT_EQ(Text(unescapeJSONString(text.data(), text.data() + 2)), u"q");
  EXPECT_EQ(Text(unescapeJSONString(text.data(), text.data())), u"");
  EXPECT_EQ(Text(unescapeJSONString(text.data() + 2, text.data())), u"");
  EXPECT_EQ(Text(unescapeJSONString(text.data(), LONG{0})), u"");
  EXPECT_EQ(Text(unescapeJSONString(text.data(), LONG{-4})), u"");
  EXPECT_EQ(Text(unescapeJSONString(nullptr, LONG{4})), u"");
  EXPECT_EQ(Text(unescapeJSONString(static_cast<const WCHAR *>(nullptr), text.data())), u"");
}

// The mask's separators come from the user's locale, which the tests set through LC_ALL.
using LocaleScope = kztest::EnvironmentScope;

std::u16string Mask(const char16_t *text, const char16_t *mask) { return Text(ApplyFormatMask(text, mask)); }

TEST(ApplyFormatMask, TakesDigitsUnitsAndLiterals) {
  LocaleScope english("LC_ALL", "en_US.UTF-8");
  EXPECT_EQ(Mask(u"1234", u"##-##"), u"12-34");
  EXPECT_EQ(Mask(u"12", u"##-##"), u"12");          // the text ends first: no trailing literal
  EXPECT_EQ(Mask(u"123456", u"##"), u"12");          // the mask ends first
  EXPECT_EQ(Mask(u"1a34", u"####"), u"134");         // "#" takes a unit and keeps only a digit
  EXPECT_EQ(Mask(u"ab", u"(@)@"), u"(a)b");
  EXPECT_EQ(Mask(u"5", u"\\#\\\\#"), u"#\\5");       // escaped mask units are literals
  EXPECT_EQ(Mask(u"5", u"#\\"), u"5");
  EXPECT_EQ(Mask(u"", u"##"), u"");
  EXPECT_EQ(Mask(u"12", u""), u"");
}

TEST(ApplyFormatMask, CaseRulesAndRepetition) {
  LocaleScope english("LC_ALL", "en_US.UTF-8");
  EXPECT_EQ(Mask(u"hELLO wORLD", u">&<&*"), u"Hello");        // "*" repeats until the space
  EXPECT_EQ(Mask(u"hELLO wORLD", u">&<&*@>&<&*"), u"Hello World");
  EXPECT_EQ(Mask(u"aBc", u"&>&|&"), u"aBc");
  EXPECT_EQ(Mask(u"abc", u">&&<&"), u"ABc");
  EXPECT_EQ(Mask(u"éÉ1", u">&<&&"), u"Éé1");                   // 32 apart in Latin-1 too
  EXPECT_EQ(Mask(u"12 34", u"#*@#*"), u"12 34");
  EXPECT_EQ(Mask(u"12", u"*##"), u"12");                        // "*" first is ignored
  EXPECT_EQ(Mask(u"12", u"#-*#"), u"1-2");                      // a repeated literal ends the repetition
  EXPECT_EQ(Mask(u"a1b2c3 x", u"#*"), u"123");                  // repeated "#" drops what is no digit
}

TEST(ApplyFormatMask, SeparatorsComeFromTheUsersLocale) {
  {
    LocaleScope english("LC_ALL", "en_US.UTF-8");
    EXPECT_EQ(Mask(u"1.25", u"#.##"), u"1.25");
    EXPECT_EQ(Mask(u"125", u"#.##"), u"1.25");  // nothing to consume: the separator is written
    EXPECT_EQ(Mask(u"1/2/3", u"#/#/#"), u"1/2/3");
    EXPECT_EQ(Mask(u"1230", u"##:##"), u"12:30");
    EXPECT_EQ(Mask(u"1,000", u"#,###"), u"1,000");
  }
  LocaleScope german("LC_ALL", "de_DE.UTF-8");
  EXPECT_EQ(Mask(u"1.25", u"#.##"), u"1,25");   // "." is consumed as well as the locale's own
  EXPECT_EQ(Mask(u"1,25", u"#.##"), u"1,25");
  EXPECT_EQ(Mask(u"1,000", u"#,###"), u"1.000");
  EXPECT_EQ(Mask(u"24122026", u"##/##/####"), u"24.12.2026");
  EXPECT_EQ(Mask(u"1...2", u"#.*#"), u"1,,,2");  // a repeated separator while the text holds one
}

TEST(PackageText, ABlockWithTheTextAndItsTerminator) {
  for (const String &text : {String(u"Clip é日"), String()}) {
    HGLOBAL block = PackageText(text);
    ASSERT_NE(block, nullptr);
    const SIZE_T bytes = GlobalSize(block);
    EXPECT_EQ(bytes, text.GetLength() * 2 + 2);
    const auto *units = static_cast<const WCHAR *>(GlobalLock(block));
    ASSERT_NE(units, nullptr);
    EXPECT_EQ(std::u16string(units, bytes / 2), Text(text) + u'\0');
    GlobalUnlock(block);
    EXPECT_EQ(GlobalFree(block), nullptr);
  }
}

}  // namespace
