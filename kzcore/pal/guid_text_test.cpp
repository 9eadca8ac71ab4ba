#include <kzcore/pal/guid_text.h>

#include <random>
#include <string>

#include <gtest/gtest.h>

namespace {

// Reference rows of StringFromGUID2 from a Windows-compatible run: the identifier, the
// buffer size, the result and the text.
TEST(StringFromGUID2, ReferenceRows) {
  struct Row {
    const char *guid;
    int max;
    const char16_t *text;
  };
  const Row rows[] = {
      {"{78FF7FA1-FB2F-11D1-94A2-080009EEBECB}", 39, u"{78FF7FA1-FB2F-11D1-94A2-080009EEBECB}"},
      {"{0000ABCD-0001-000F-0001-02030A0B0C0D}", 39, u"{0000ABCD-0001-000F-0001-02030A0B0C0D}"},
      {"{0000ABCD-0001-000F-0001-02030A0B0C0D}", 40, u"{0000ABCD-0001-000F-0001-02030A0B0C0D}"},
  };
  for (const Row &row : rows) {
    WCHAR text[40];
    EXPECT_EQ(StringFromGUID2(kz::pal::GuidFromText(row.guid), text, row.max), 39) << row.guid;
    EXPECT_EQ(std::u16string(text), row.text);
  }
}

TEST(StringFromGUID2, ShortOrNullBuffersGetNothing) {
  WCHAR text[39];
  text[0] = u'x';
  EXPECT_EQ(StringFromGUID2(GUID_NULL, text, 38), 0);
  EXPECT_EQ(text[0], u'x');
  EXPECT_EQ(StringFromGUID2(GUID_NULL, nullptr, 39), 0);
  EXPECT_EQ(StringFromGUID2(GUID_NULL, text, -1), 0);
}

// The text parses back to the same identifier, for random identifiers (the parser is the
// compile-time one of guid.h, written apart from this formatter).
TEST(StringFromGUID2, RoundTripsThroughTheParser) {
  std::mt19937 rng(7);
  for (int i = 0; i < 200; ++i) {
    GUID g{static_cast<DWORD>(rng()), static_cast<WORD>(rng()), static_cast<WORD>(rng()), {}};
    for (BYTE &b : g.Data4) b = static_cast<BYTE>(rng());
    WCHAR text[39];
    ASSERT_EQ(StringFromGUID2(g, text, 39), 39);
    const std::string narrow(text, text + 38);  // braces, digits and hyphens are ASCII
    EXPECT_TRUE(kz::pal::GuidFromText(narrow.c_str()) == g) << narrow;
  }
}

}  // namespace
