#include <kzcore/pal/code_page.h>

#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <unicode/ustring.h>

#include <kzcore/pal/sync.h>

namespace {

// Reference results of MultiByteToWideChar and WideCharToMultiByte for code page 65001, from a
// Windows-compatible run (user locale 1033). Each row: the source with its explicit
// length, the flags, the result of the conversion and of the size query (destination size 0),
// the last error after each (set to 0 before), and the output. Invalid UTF-8 whose count of
// replacements differs between Windows versions is not among them; the ICU comparison below
// covers it.
struct NarrowRow {
  const char *text;
  int bytes;
  DWORD flags;
  int result, size_query;
  DWORD error, size_error;
  std::vector<WCHAR> units;
};

const NarrowRow kNarrowRows[] = {
    {"\xC3", 1, 0x8, 0, 0, 1113, 1113, {}},
    {"\x61\xC3", 2, 0x0, 2, 2, 0, 0, {0x0061, 0xFFFD}},
    {"\xC0\x80", 2, 0x8, 0, 0, 1113, 1113, {}},
    {"\xE0\x80\x80", 3, 0x8, 0, 0, 1113, 1113, {}},
    {"\xED\xBF\xBF", 3, 0x8, 0, 0, 1113, 1113, {}},
    {"\xED\xA0\xBD\xED\xB8\x80", 6, 0x8, 0, 0, 1113, 1113, {}},
    {"\xF0\x9F\x98\x80", 4, 0x0, 2, 2, 0, 0, {0xD83D, 0xDE00}},
    {"\xF0\x9F\x98\x61", 4, 0x0, 2, 2, 0, 0, {0xFFFD, 0x0061}},
    {"\xF0\x9F\x98\x61", 4, 0x8, 0, 0, 1113, 1113, {}},
    {"\xE2\x82\x61", 3, 0x0, 2, 2, 0, 0, {0xFFFD, 0x0061}},
    {"\xE2\x82\x61", 3, 0x8, 0, 0, 1113, 1113, {}},
    {"\xE2\x82", 2, 0x0, 1, 1, 0, 0, {0xFFFD}},
    {"\xFF", 1, 0x0, 1, 1, 0, 0, {0xFFFD}},
    {"\xFF", 1, 0x8, 0, 0, 1113, 1113, {}},
    {"\xFE\xFF", 2, 0x8, 0, 0, 1113, 1113, {}},
    {"\xEF\xBB\xBF\x78", 4, 0x0, 2, 2, 0, 0, {0xFEFF, 0x0078}},
    {"\xEF\xBB\xBF\x78", 4, 0x8, 2, 2, 0, 0, {0xFEFF, 0x0078}},
    {"\xF8\x88\x80\x80\x80", 5, 0x0, 5, 5, 0, 0, {0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD}},
    {"\xF8\x88\x80\x80\x80", 5, 0x8, 0, 0, 1113, 1113, {}},
    {"\xE2\x82\xAC", 3, 0x0, 1, 1, 0, 0, {0x20AC}},
    {"\xE2\x82\xAC", 3, 0x8, 1, 1, 0, 0, {0x20AC}},
    {"\xC2\xA0", 2, 0x0, 1, 1, 0, 0, {0x00A0}},
    {"\xC2\xA0", 2, 0x8, 1, 1, 0, 0, {0x00A0}},
    {"\x61\x00\x62", 3, 0x0, 3, 3, 0, 0, {0x0061, 0x0000, 0x0062}},
    {"\xEF\xBF\xBF", 3, 0x0, 1, 1, 0, 0, {0xFFFF}},
    {"\xF4\x8F\xBF\xBF", 4, 0x8, 2, 2, 0, 0, {0xDBFF, 0xDFFF}},
};

struct WideRow {
  std::vector<WCHAR> units;
  DWORD flags;
  int result, size_query;
  DWORD error, size_error;
  std::vector<unsigned char> bytes;
};

const WideRow kWideRows[] = {
    {{0x0061, 0xD800, 0x0062}, 0x0, 5, 5, 0, 0, {0x61, 0xEF, 0xBF, 0xBD, 0x62}},
    {{0x0061, 0xD800, 0x0062}, 0x80, 0, 0, 1113, 1113, {}},
    {{0x0061, 0xDC00, 0x0062}, 0x80, 0, 0, 1113, 1113, {}},
    {{0xD800}, 0x80, 0, 0, 1113, 1113, {}},
    {{0xDC00, 0xD800}, 0x0, 6, 6, 0, 0, {0xEF, 0xBF, 0xBD, 0xEF, 0xBF, 0xBD}},
    {{0xD83D, 0xDE00}, 0x0, 4, 4, 0, 0, {0xF0, 0x9F, 0x98, 0x80}},
    {{0xD800, 0xD800}, 0x80, 0, 0, 1113, 1113, {}},
    {{0x0061, 0xD800}, 0x0, 4, 4, 0, 0, {0x61, 0xEF, 0xBF, 0xBD}},
    {{0xFFFF, 0xFFFE}, 0x80, 6, 6, 0, 0, {0xEF, 0xBF, 0xBF, 0xEF, 0xBF, 0xBE}},
    {{0x0061, 0x0000, 0x0062}, 0x0, 3, 3, 0, 0, {0x61, 0x00, 0x62}},
};

std::string Hex(const void *data, std::size_t bytes) {
  std::string out;
  char cell[4];
  for (std::size_t i = 0; i < bytes; ++i) {
    std::snprintf(cell, sizeof cell, "%02X ", static_cast<const unsigned char *>(data)[i]);
    out += cell;
  }
  return out;
}

TEST(CodePageTable, MultiByteToWideCharMatchesTheReferenceRows) {
  for (const NarrowRow &row : kNarrowRows) {
    SCOPED_TRACE(Hex(row.text, static_cast<std::size_t>(row.bytes)) + "flags " + std::to_string(row.flags));
    SetLastError(0);
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, row.flags, row.text, row.bytes, nullptr, 0), row.size_query);
    EXPECT_EQ(GetLastError(), row.size_error);
    WCHAR out[16] = {};
    SetLastError(0);
    const int n = MultiByteToWideChar(CP_UTF8, row.flags, row.text, row.bytes, out, 16);
    EXPECT_EQ(n, row.result);
    EXPECT_EQ(GetLastError(), row.error);
    if (n > 0) {
      EXPECT_EQ(std::vector<WCHAR>(out, out + n), row.units);
    }
  }
}

TEST(CodePageTable, WideCharToMultiByteMatchesTheReferenceRows) {
  for (const WideRow &row : kWideRows) {
    const int units = static_cast<int>(row.units.size());
    SCOPED_TRACE(Hex(row.units.data(), row.units.size() * 2) + "flags " + std::to_string(row.flags));
    SetLastError(0);
    EXPECT_EQ(WideCharToMultiByte(CP_UTF8, row.flags, row.units.data(), units, nullptr, 0, nullptr, nullptr),
              row.size_query);
    EXPECT_EQ(GetLastError(), row.size_error);
    char out[32] = {};
    SetLastError(0);
    const int n = WideCharToMultiByte(CP_UTF8, row.flags, row.units.data(), units, out, 32, nullptr, nullptr);
    EXPECT_EQ(n, row.result);
    EXPECT_EQ(GetLastError(), row.error);
    if (n > 0) {
      EXPECT_EQ(std::vector<unsigned char>(out, out + n), row.bytes);
    }
  }
}

TEST(CodePageArguments, LengthsSizesAndRefusals) {
  // -1 converts through the terminator and counts it.
  WCHAR wide[8];
  char narrow[8];
  EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "ab", -1, wide, 8), 3);
  EXPECT_EQ(std::u16string(wide), u"ab");
  EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, u"\u20AC", -1, nullptr, 0, nullptr, nullptr), 4);

  // A buffer exactly the size of the result is enough; one unit or byte less is not.
  EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "\xF0\x9F\x98\x80", 4, wide, 2), 2);
  EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, u"\u20AC", 1, narrow, 3, nullptr, nullptr), 3);
  auto error_of = [](int result) { return result == 0 ? GetLastError() : ERROR_SUCCESS; };
  EXPECT_EQ(error_of(MultiByteToWideChar(CP_UTF8, 0, "\xF0\x9F\x98\x80", 4, wide, 1)), ERROR_INSUFFICIENT_BUFFER);
  EXPECT_EQ(error_of(WideCharToMultiByte(CP_UTF8, 0, u"\u20AC", 1, narrow, 2, nullptr, nullptr)),
            ERROR_INSUFFICIENT_BUFFER);

  for (int result : {MultiByteToWideChar(CP_UTF8, 0, nullptr, 3, wide, 8), MultiByteToWideChar(CP_UTF8, 0, "ab", 0, wide, 8),
                     MultiByteToWideChar(CP_UTF8, 0, "ab", 2, wide, -1), MultiByteToWideChar(CP_UTF8, 0, "ab", 2, nullptr, 4),
                     MultiByteToWideChar(1252, 0, "ab", 2, wide, 8),
                     WideCharToMultiByte(CP_UTF8, 0, nullptr, 3, narrow, 8, nullptr, nullptr),
                     WideCharToMultiByte(CP_UTF8, 0, u"ab", 2, narrow, 8, "?", nullptr)}) {
    EXPECT_EQ(result, 0);
  }
  EXPECT_EQ(error_of(MultiByteToWideChar(CP_UTF8, 0, "ab", 0, wide, 8)), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(error_of(MultiByteToWideChar(CP_UTF8, 0x1, "ab", 2, wide, 8)), ERROR_INVALID_FLAGS);
  EXPECT_EQ(error_of(WideCharToMultiByte(CP_UTF8, 0x400, u"ab", 2, narrow, 8, nullptr, nullptr)), ERROR_INVALID_FLAGS);
  char same[8] = "abc";  // the same memory as source and destination
  EXPECT_EQ(error_of(MultiByteToWideChar(CP_UTF8, 0, same, 3, reinterpret_cast<WCHAR *>(same), 4)),
            ERROR_INVALID_PARAMETER);
}

// Random text against ICU's conversions with U+FFFD substitution, which follow the same rule for
// invalid UTF-8: one U+FFFD for each maximal part of a sequence that could still have become
// valid. Each conversion runs with an exact buffer and with a roomy one (a single pass).
TEST(CodePageIcu, Utf8ToUtf16OnRandomValidAndInvalidBytes) {
  // Pieces that make valid, cut, overlong and surrogate sequences likely, and stray bytes.
  const std::vector<std::string> pieces = {
      "a", " ", "\x7F", "\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x98\x80", "\xF4\x8F\xBF\xBF", "\xC3", "\xE2\x82",
      "\xF0\x9F\x98", "\xC0\x80", "\xE0\x80\x80", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xF5", "\xFF", "\x80",
      std::string(1, '\0'), "0123456789abcdef0123"};
  std::mt19937 rng(20260311);
  for (int round = 0; round < 3000; ++round) {
    std::string bytes;
    for (std::size_t n = 1 + rng() % (round < 2000 ? 40 : 400); bytes.size() < n;)
      bytes += rng() % 4 ? pieces[rng() % pieces.size()] : std::string(1, static_cast<char>(rng()));
    std::u16string expected(bytes.size(), u'\0');
    int32_t length = 0;
    UErrorCode status = U_ZERO_ERROR;
    u_strFromUTF8WithSub(expected.data(), static_cast<int32_t>(expected.size()), &length, bytes.data(),
                         static_cast<int32_t>(bytes.size()), 0xFFFD, nullptr, &status);
    ASSERT_TRUE(U_SUCCESS(status));
    expected.resize(static_cast<std::size_t>(length));
    const int size = static_cast<int>(bytes.size());
    ASSERT_EQ(MultiByteToWideChar(CP_UTF8, 0, bytes.data(), size, nullptr, 0), length) << Hex(bytes.data(), bytes.size());
    for (std::size_t room : {expected.size(), bytes.size() + 8}) {
      std::u16string out(room, u'\xAAAA');
      out.resize(static_cast<std::size_t>(MultiByteToWideChar(CP_UTF8, 0, bytes.data(), size, out.data(), static_cast<int>(room))));
      ASSERT_EQ(out, expected) << Hex(bytes.data(), bytes.size());
    }
    // The strict form fails exactly when something was replaced.
    const bool replaced = expected.find(u'\xFFFD') != std::u16string::npos;
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, bytes.data(), size, nullptr, 0) == 0, replaced);
  }
}

TEST(CodePageIcu, Utf16ToUtf8OnRandomUnitsWithLoneSurrogates) {
  std::mt19937 rng(20260312);
  for (int round = 0; round < 3000; ++round) {
    std::u16string units;
    for (std::size_t n = 1 + rng() % (round < 2000 ? 40 : 400); units.size() < n;) {
      const unsigned kind = rng() % 8;
      units += kind == 0   ? static_cast<char16_t>(0xD800 + rng() % 0x800)  // any surrogate, paired or not
               : kind == 1 ? static_cast<char16_t>(0x80 + rng() % 0x780)
               : kind == 2 ? static_cast<char16_t>(0x800 + rng() % 0xF800)
               : kind == 3 ? u'\xD83D'
                           : static_cast<char16_t>(rng() % 0x80);
      if (kind == 3) units += u'\xDE00';
    }
    std::string expected(units.size() * 3, '\0');
    int32_t length = 0, substitutions = 0;
    UErrorCode status = U_ZERO_ERROR;
    u_strToUTF8WithSub(expected.data(), static_cast<int32_t>(expected.size()), &length, units.data(),
                       static_cast<int32_t>(units.size()), 0xFFFD, &substitutions, &status);
    ASSERT_TRUE(U_SUCCESS(status));
    expected.resize(static_cast<std::size_t>(length));
    const int size = static_cast<int>(units.size());
    ASSERT_EQ(WideCharToMultiByte(CP_UTF8, 0, units.data(), size, nullptr, 0, nullptr, nullptr), length);
    for (std::size_t room : {expected.size(), units.size() * 3 + 8}) {
      std::string out(room, '\xAA');
      out.resize(static_cast<std::size_t>(
          WideCharToMultiByte(CP_UTF8, 0, units.data(), size, out.data(), static_cast<int>(room), nullptr, nullptr)));
      ASSERT_EQ(out, expected) << Hex(units.data(), units.size() * 2);
    }
    EXPECT_EQ(WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, units.data(), size, nullptr, 0, nullptr, nullptr) == 0,
              substitutions > 0);
  }
}

}  // namespace
