#include <kzcore/core/utf8_util.h>

#include <cctype>
#include <cstdio>
#include <memory>
#include <random>
#include <string>

#include <gtest/gtest.h>
#include <unicode/ustring.h>

#include <kzcore/pal/bstr.h>

namespace {

std::u16string Text(const String &s) { return std::u16string(static_cast<const WCHAR *>(s), s.GetLength()); }

// ICU's conversions with U+FFFD substitution: the reference for the replacement rules.
std::string IcuUtf8(const std::u16string &units) {
  std::string out(units.size() * 3 + 1, '\0');
  int32_t length = 0;
  UErrorCode status = U_ZERO_ERROR;
  u_strToUTF8WithSub(out.data(), static_cast<int32_t>(out.size()), &length, units.data(),
                     static_cast<int32_t>(units.size()), 0xFFFD, nullptr, &status);
  EXPECT_TRUE(U_SUCCESS(status));
  out.resize(static_cast<std::size_t>(length));
  return out;
}

std::u16string IcuUtf16(const std::string &bytes) {
  std::u16string out(bytes.size() + 1, u'\0');
  int32_t length = 0;
  UErrorCode status = U_ZERO_ERROR;
  u_strFromUTF8WithSub(out.data(), static_cast<int32_t>(out.size()), &length, bytes.data(),
                       static_cast<int32_t>(bytes.size()), 0xFFFD, nullptr, &status);
  EXPECT_TRUE(U_SUCCESS(status));
  out.resize(static_cast<std::size_t>(length));
  return out;
}

struct Utf8Result {
  HRESULT hr;
  std::string bytes;
};

Utf8Result Allocated(const WCHAR *text, int length) {
  char *out = reinterpret_cast<char *>(1);
  unsigned size = 99;
  const HRESULT hr = UTF8Util::W2UTF8(text, length, &out, &size);
  std::unique_ptr<char[]> owned(out);
  if (hr != S_OK) {
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(size, 0u);
    return {hr, ""};
  }
  return {hr, std::string(out, size)};
}

// The conversions themselves are compared with ICU at length in the platform's tests; here the
// forms of UTF8Util, on random units with lone surrogates and on bytes with damage.
TEST(UTF8Util, RandomTextAgreesWithIcuBothWays) {
  std::mt19937 rng(5150);
  for (int round = 0; round < 500; ++round) {
    std::u16string units;
    for (int n = static_cast<int>(rng() % 60) + 1; n > 0; --n) {
      const unsigned kind = rng() % 6;
      units += kind == 0   ? static_cast<char16_t>(0xD800 + rng() % 0x800)
               : kind == 1 ? static_cast<char16_t>(0x80 + rng() % 0xFF80)
                           : static_cast<char16_t>(1 + rng() % 0x7F);
    }
    const std::string expected = IcuUtf8(units);
    ASSERT_EQ(Allocated(units.data(), static_cast<int>(units.size())).bytes, expected);

    std::string bytes = expected;
    for (int k = static_cast<int>(rng() % 3); k > 0; --k) bytes[rng() % bytes.size()] = static_cast<char>(rng());
    BSTR bstr = nullptr;
    ASSERT_EQ(UTF8Util::UTF82BSTR(bytes.data(), static_cast<int>(bytes.size()), &bstr), S_OK);
    ASSERT_EQ(std::u16string(bstr, SysStringLen(bstr)), IcuUtf16(bytes));
    SysFreeString(bstr);
  }
}

// The bytes an allocating form gives (freed here).
template <class Convert>
std::string Bytes(Convert &&convert) {
  char *out = nullptr;
  unsigned size = 0;
  EXPECT_EQ(convert(&out, &size), S_OK);
  const std::string bytes(out, size);
  delete[] out;
  return bytes;
}

TEST(UTF8Util, TerminatorsAndLengths) {
  // -1 converts the terminator too and counts it; an explicit length adds none.
  unsigned size = 0;
  EXPECT_EQ(UTF8Util::QueryWSize("h\xC3\xA9", -1, &size), S_OK);
  EXPECT_EQ(size, 3u);
  EXPECT_EQ(Allocated(u"h\u00E9", -1).bytes, std::string("h\xC3\xA9", 4));
  EXPECT_EQ(Allocated(u"h\u00E9", 2).bytes, "h\xC3\xA9");

  const WCHAR embedded[] = {u'a', 0, u'b'};
  BSTR b = SysAllocStringLen(embedded, 3);
  EXPECT_EQ(Bytes([&](char **o, unsigned *n) { return UTF8Util::BSTR2UTF8(b, o, n); }), std::string("a\0b", 3));
  EXPECT_EQ(Bytes([&](char **o, unsigned *n) { return UTF8Util::BSTR2UTF8NullTerminated(b, o, n); }),
            std::string("a\0", 2));  // up to the 0 unit, which is counted
  SysFreeString(b);
  EXPECT_EQ(Bytes([](char **o, unsigned *n) { return UTF8Util::BSTR2UTF8(nullptr, o, n); }), "");  // null: empty
  EXPECT_EQ(Bytes([](char **o, unsigned *n) { return UTF8Util::BSTR2UTF8NullTerminated(nullptr, o, n); }),
            std::string(1, '\0'));

  BSTR converted = nullptr;
  ASSERT_EQ(UTF8Util::UTF82BSTR("ab", -1, &converted), S_OK);
  EXPECT_EQ(SysStringLen(converted), 3u);  // the terminator is one of its units
  SysFreeString(converted);
  ASSERT_EQ(UTF8Util::UTF82BSTR("ab", 0, &converted), S_OK);
  EXPECT_EQ(std::u16string(converted), u"");  // an empty text, not null
  SysFreeString(converted);
}

TEST(UTF8Util, FailuresAndTheirCodes) {
  unsigned size = 7;
  char narrow[4];
  WCHAR wide[4];
  EXPECT_EQ(UTF8Util::QueryWSize("x", 1, nullptr), E_POINTER);
  EXPECT_EQ(UTF8Util::W2UTF8(u"x", 1, static_cast<char *>(nullptr), 4), E_POINTER);
  EXPECT_EQ(UTF8Util::UTF82W("x", 1, nullptr, 4), E_POINTER);
  EXPECT_EQ(UTF8Util::W2UTF8(u"x", 1, static_cast<char **>(nullptr), &size), E_POINTER);
  EXPECT_EQ(UTF8Util::BSTR2UTF8(nullptr, nullptr, &size), E_POINTER);
  EXPECT_EQ(UTF8Util::UTF82BSTR("x", 1, nullptr), E_POINTER);

  // The platform's last error, unchanged: too small a buffer, and a null source.
  constexpr HRESULT kInsufficient = static_cast<HRESULT>(ERROR_INSUFFICIENT_BUFFER);
  constexpr HRESULT kInvalid = static_cast<HRESULT>(ERROR_INVALID_PARAMETER);
  EXPECT_EQ(UTF8Util::W2UTF8(u"\u20AC", 1, narrow, 2), kInsufficient);
  EXPECT_EQ(UTF8Util::W2UTF8(u"\u20AC", 1, narrow, 0), kInsufficient);
  EXPECT_EQ(UTF8Util::UTF82W("abcde", 5, wide, 4), kInsufficient);
  EXPECT_EQ(UTF8Util::QueryUTF8Size(nullptr, 3, &size), kInvalid);
  EXPECT_EQ(size, 0u);
  EXPECT_EQ(UTF8Util::QueryWSize(nullptr, -1, &size), kInvalid);
  EXPECT_EQ(Allocated(nullptr, 2).hr, kInvalid);
  BSTR converted = reinterpret_cast<BSTR>(1);
  EXPECT_EQ(UTF8Util::UTF82BSTR(nullptr, 2, &converted), kInvalid);
  EXPECT_EQ(converted, nullptr);  // cleared first
}

// Percent-encoding against a separate encoder over ICU's UTF-8, for text without surrogates.
std::string ReferenceUrlEncode(const std::u16string &text) {
  const std::string unreserved = "-_.!~*'()";
  std::string out;
  char cell[4];
  for (unsigned char byte : IcuUtf8(text)) {
    if (std::isalnum(byte) || unreserved.find(static_cast<char>(byte)) != std::string::npos) {
      out += static_cast<char>(byte);
    } else {
      std::snprintf(cell, sizeof cell, "%%%02x", byte);
      out += cell;
    }
  }
  return out;
}

TEST(UrlEncodeValue, AgreesWithAReferenceEncoder) {
  EXPECT_EQ(Text(UTF8Util::UrlEncodeValue(u"a b")), u"a%20b");
  EXPECT_EQ(Text(UTF8Util::UrlEncodeValue(nullptr)), u"");
  EXPECT_EQ(Text(UTF8Util::UrlEncodeValue(u"")), u"");
  // Surrogates one by one, three bytes each: a pair is not joined into one four-byte character.
  EXPECT_EQ(Text(UTF8Util::UrlEncodeValue(u"\U0001F600")), u"%ed%a0%bd%ed%b8%80");

  std::mt19937 rng(808);
  for (int round = 0; round < 500; ++round) {
    std::u16string text;
    for (int n = static_cast<int>(rng() % 400) + 1; n > 0; --n) {
      char16_t c;
      do {
        c = rng() % 3 ? static_cast<char16_t>(1 + rng() % 0x7F) : static_cast<char16_t>(1 + rng() % 0xFFFF);
      } while (c >= 0xD800 && c <= 0xDFFF);
      text += c;
    }
    const std::string expected = ReferenceUrlEncode(text);
    ASSERT_EQ(Text(UTF8Util::UrlEncodeValue(text.c_str())), std::u16string(expected.begin(), expected.end()));
  }
}

}  // namespace
