#include "com_text.h"

#include <gtest/gtest.h>

#include <random>

#include <kzcore/pal/wide.h>

#include "json_text.h"

namespace kzhost {
namespace {

// The platform layer's own UTF-8 conversions are the reference for the host's one-pass ones.
std::optional<std::u16string> ReferenceWide(const std::string &utf8) {
  size_t n = mbstowcs(static_cast<WCHAR *>(nullptr), utf8.c_str(), 0);
  if (n == static_cast<size_t>(-1)) return std::nullopt;
  std::u16string out(n + 1, u'\0');
  mbstowcs(out.data(), utf8.c_str(), n + 1);
  out.resize(n);
  return out;
}

std::optional<std::string> ReferenceNarrow(const std::u16string &wide) {
  size_t n = wcstombs(nullptr, wide.c_str(), 0);
  if (n == static_cast<size_t>(-1)) return std::nullopt;
  std::string out(n + 1, '\0');
  wcstombs(out.data(), wide.c_str(), n + 1);
  out.resize(n);
  return out;
}

TEST(ComTextTest, ConversionsAgreeWithThePlatformOnes) {
  std::mt19937 random(7);
  // Units from every range that matters: ASCII, two- and three-byte forms, surrogates (paired
  // or not), the ends of the planes.
  const char16_t picks[] = {u'a', u'~', 0x7F, 0x80, 0x7FF, 0x800, 0xFFFF, 0xD800, 0xDBFF, 0xDC00, 0xDFFF, 0xE9, 0x65E5};
  for (int round = 0; round < 2000; ++round) {
    std::u16string wide;
    int length = static_cast<int>(random() % 8);
    for (int i = 0; i < length; ++i) wide.push_back(picks[random() % std::size(picks)]);
    auto narrow = ToUtf8(wide.c_str());
    auto expected = ReferenceNarrow(wide);
    ASSERT_EQ(narrow.has_value(), expected.has_value()) << round;
    if (!narrow) continue;
    EXPECT_EQ(*narrow, *expected);
    Bstr back = Bstr::FromUtf8(*narrow);
    ASSERT_NE(back.get(), nullptr);
    EXPECT_EQ(std::u16string(back.get(), SysStringLen(back.get())), wide);
    EXPECT_EQ(std::u16string(back.get(), SysStringLen(back.get())), ReferenceWide(*narrow).value());
  }
  for (const char *bad : {"\xC0\x80", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xE6\x97", "\x80", "a\xFF"}) {
    EXPECT_EQ(Bstr::FromUtf8(bad).get(), nullptr) << bad;
    EXPECT_FALSE(ReferenceWide(bad)) << bad;
  }
  EXPECT_EQ(Bstr::FromUtf8(std::string("a\0b", 3)).get(), nullptr);  // a BSTR for the host holds no 0
  EXPECT_EQ(ToUtf8(nullptr).value(), "");
}

TEST(JsonTextTest, ParsingIsBoundedInDepthAndLeavesNullOnFailure) {
  rapidjson::Document doc;
  EXPECT_TRUE(ParseJson(R"({"a":[1,{"b":null}]})", doc));
  EXPECT_TRUE(doc["a"][1]["b"].IsNull());
  std::string deep = std::string(10, '[') + std::string(10, ']');
  EXPECT_TRUE(ParseJson(deep, doc, 10));
  EXPECT_FALSE(ParseJson(deep, doc, 9));
  EXPECT_TRUE(doc.IsNull());
  EXPECT_FALSE(ValidJson(std::string(100000, '['), kMaxJsonDepth));
  for (const char *bad : {"", "{", "{\"a\":}", "[1,]", "\"\xFF\"", "1 2", "nan"}) EXPECT_FALSE(ValidJson(bad, 8)) << bad;
  std::string escaped;
  AppendJsonString(escaped, "a\"\\\n\x1F\xC3\xA9");
  EXPECT_TRUE(ParseJson(escaped, doc));
  EXPECT_STREQ(doc.GetString(), "a\"\\\n\x1F\xC3\xA9");
}

// The one-pass member reader answers what a parsed tree answers, on texts that test each rule.
TEST(JsonTextTest, MemberStringAgreesWithTheParsedTree) {
  for (const char *text :
       {R"({"Content-Type":"text/plain"})", R"(  {"a":1, "Content-Type" : "x/y" } )",
        R"({"a":{"Content-Type":"inner"},"Content-Type":"outer"})", R"({"a":["Content-Type","b"]})",
        R"({"Content-Type":"first","Content-Type":"second"})", R"({"Content-Type":7})", R"({"Content-Type":null})",
        R"({"content-type":"lower"})", R"(["Content-Type","x"])", R"("Content-Type")", R"({"Content-Type":"x"} 1)",
        R"({"Content-Type":"x")", "", "{}", "{\"Content-Type\":\"\xFF\"}"}) {
    rapidjson::Document doc;
    std::optional<std::string> expected;
    if (ParseJson(text, doc) && doc.IsObject()) {
      auto it = doc.FindMember("Content-Type");
      if (it != doc.MemberEnd() && it->value.IsString())
        expected = std::string(it->value.GetString(), it->value.GetStringLength());
    }
    EXPECT_EQ(MemberString(text, "Content-Type"), expected) << text;
    // The wide form, read without a conversion, answers the same.
    if (Bstr wide = Bstr::FromUtf8(text); wide.get() != nullptr) {
      EXPECT_EQ(MemberString(static_cast<const char16_t *>(wide.get()), "Content-Type"), expected) << text;
    }
  }
  EXPECT_EQ(MemberString(u"{\"Content-Type\":\"\xD800x\"}", "Content-Type"), std::nullopt);  // lone surrogate
  EXPECT_EQ(MemberString(static_cast<const char16_t *>(nullptr), "Content-Type"), std::nullopt);
}

}  // namespace
}  // namespace kzhost
