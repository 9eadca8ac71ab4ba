#include <kzcore/core/bstring.h>

#include <climits>
#include <string>

#include <gtest/gtest.h>

#include <kzcore/core/string.h>
#include <kzcore/pal/bstr.h>
#include <kzcore/pal/module.h>

namespace {

// The whole BSTR by its own length, or "<null>".
std::u16string Text(const BString &b) {
  WCHAR *p = b;
  return p == nullptr ? u"<null>" : std::u16string(p, SysStringLen(p));
}

const WCHAR kEmbedded[] = {u'a', u'b', 0, u'c', 0};  // "ab", a 0 unit, "c"

TEST(BStringConstruct, NullEmptyAndEmbeddedZeros) {
  const BString none(static_cast<const WCHAR *>(nullptr));
  EXPECT_TRUE(none.IsEmpty());
  EXPECT_EQ(none.GetLength(), 0u);
  EXPECT_EQ(none == u"", 0);  // null equals only null
  EXPECT_EQ(none == BString(), 1);
  EXPECT_EQ(Text(BString(none)), u"<null>");
  EXPECT_EQ(Text(BString(static_cast<const WCHAR *>(nullptr), 3)), u"<null>");

  const BString empty{String()};  // an empty String gives a real, empty BSTR
  EXPECT_EQ(Text(empty), u"");
  EXPECT_TRUE(empty.IsEmpty());
  EXPECT_EQ(empty == BString(), 0);

  // The counted and String forms keep a 0 unit; a copy ends there.
  const BString counted(kEmbedded, 4);
  EXPECT_EQ(Text(counted), std::u16string(kEmbedded, 4));
  EXPECT_EQ(Text(BString(counted)), u"ab");
  BString assigned;
  assigned = counted;
  EXPECT_EQ(Text(assigned), u"ab");
  String with_zero(u"xyz");
  with_zero.Replace(u'y', 0);
  EXPECT_EQ(Text(BString(with_zero)), std::u16string(u"x\0z", 3));
  EXPECT_EQ(BString(LONG{5}).GetLength(), 5u);
  EXPECT_EQ(Text(BString(kz::pal::GuidFromText("{6b29fc40-ca47-1067-b31d-00dd010662da}"))),
            u"{6B29FC40-CA47-1067-B31D-00DD010662DA}");
}

TEST(BStringConstruct, NarrowModes) {
  // Mode 0 is UTF-8 up to the first invalid byte, on the stack below 129 bytes and on the heap above.
  EXPECT_EQ(Text(BString("Z\xC3\xBCrich")), u"Zürich");
  EXPECT_EQ(Text(BString("ab\xFF" "cd")), u"ab");
  EXPECT_EQ(Text(BString(static_cast<const char *>(nullptr))), u"<null>");
  std::string long_text;
  for (int i = 0; i < 100; ++i) long_text += "q\xE2\x82\xAC";
  std::u16string long_expected;
  for (int i = 0; i < 100; ++i) long_expected += u"q€";
  EXPECT_EQ(Text(BString(long_text.c_str())), long_expected);

  // Any other mode widens each byte with sign extension.
  std::string every_byte;
  for (int b = 1; b < 256; ++b) every_byte += static_cast<char>(b);
  const std::u16string widened = Text(BString(every_byte.c_str(), 1));
  ASSERT_EQ(widened.size(), 255u);
  for (int b = 1; b < 256; ++b) EXPECT_EQ(widened[b - 1], b < 128 ? b : 0xFF00 | b) << b;
  EXPECT_EQ(Text(BString("\xE9", -7)), u"\xFFE9");
}

TEST(BStringAssign, OwnPointerIsANoOp) {
  BString b(u"text");
  const WCHAR *held = b;
  b = held;
  BString &same = b;
  b = same;
  EXPECT_EQ(static_cast<const WCHAR *>(b), held);
  EXPECT_EQ(Text(b), u"text");
  b = static_cast<const WCHAR *>(nullptr);
  EXPECT_EQ(Text(b), u"<null>");
  b = "caf\xC3\xA9";
  EXPECT_EQ(Text(b), u"café");
  b = String();
  EXPECT_EQ(Text(b), u"");
}

TEST(BStringOwnership, AddressDetachAndAttach) {
  BString b(u"held");
  BSTR *field = &b;  // frees the text at once, even when the caller only wanted to look
  EXPECT_EQ(*field, nullptr);
  *field = SysAllocString(u"from a callee");  // now b's, freed by its destructor
  EXPECT_EQ(Text(b), u"from a callee");

  BSTR taken = b.Detach();
  EXPECT_EQ(Text(b), u"<null>");
  b.Attach(taken);
  b.Attach(taken);  // attaching what it holds keeps it
  EXPECT_EQ(static_cast<WCHAR *>(b), taken);
  BString other(u"other");
  b.Attach(other);
  EXPECT_EQ(Text(b), u"other");
  EXPECT_EQ(Text(other), u"<null>");
}

TEST(BStringAppend, FormsAndTheFailurePath) {
  BString b;
  EXPECT_EQ(b.Append(u"first"), S_OK);  // to a null object: the source text
  EXPECT_EQ(b.Append(BString(kEmbedded, 4)), S_OK);  // by the BSTR's length, the 0 unit too
  EXPECT_EQ(Text(b), u"first" + std::u16string(kEmbedded, 4));
  BString d(u"x");
  EXPECT_EQ(d.Append(kEmbedded), S_OK);  // by lstrlenW: up to the 0
  EXPECT_EQ(d.Append(u"123456", 2), S_OK);
  d += d;
  EXPECT_EQ(Text(d), u"xab12xab12");
  BString n;
  EXPECT_EQ(n.Append(BString()), S_OK);  // nothing appended to null gives an empty text
  EXPECT_EQ(Text(n), u"");

  // A length no BSTR can have: E_OUTOFMEMORY and the object as it was; the source is not read.
  BString e(u"ab");
  const WCHAR *before = e;
  EXPECT_EQ(e.Append(u"z", INT_MAX), E_OUTOFMEMORY);
  EXPECT_EQ(e.Append(u"z", -1), E_INVALIDARG);
  EXPECT_EQ(e.Append(nullptr, 3), E_POINTER);
  EXPECT_EQ(static_cast<const WCHAR *>(e), before);
  EXPECT_EQ(Text(e), u"ab");
}

TEST(BStringCompare, EqualityAndNoCase) {
  const BString a(u"Road"), none;
  char narrow[] = "Road";
  EXPECT_EQ(a == narrow, 1);
  EXPECT_EQ(a != "Rail", 1);
  EXPECT_EQ(a == u"road", 0);
  EXPECT_EQ(none == static_cast<const char *>(nullptr), 1);
  EXPECT_EQ(none == "", 0);
  EXPECT_EQ(BString("\xC3\xA9") == u"é", 1);
  EXPECT_EQ(BString(kEmbedded, 4) == BString(u"ab"), 1);  // units after a 0 do not count
  EXPECT_EQ(a.CompareNoCase(u"ROAD"), 0);
  EXPECT_LT(a.CompareNoCase(u"roads"), 0);
  EXPECT_EQ(a.CompareNoCase(nullptr), 0x7FFFFFFF);
  EXPECT_EQ(none.CompareNoCase(u""), 0x7FFFFFFF);
}

// Texts around the sizes where loading reads again: the buffer starts at 256 units and grows by
// 256 while fewer than three units are left free after the text.
const std::u16string kUnits253(253, u'a'), kUnits254(254, u'b'), kUnits700(700, u'd');
const KzStringResource kBStringStrings[] = {
    {8101, u"Layer"}, {8102, kUnits253.c_str()}, {8103, kUnits254.c_str()}, {8104, kUnits700.c_str()}};
KZ_STRING_TABLE(kBStringStrings)

TEST(BStringResources, LoadsWholeTextsOfEverySize) {
  HMODULE self = KzModuleFromAddress(reinterpret_cast<const void *>(&kBStringStrings));
  EXPECT_EQ(Text(BString(8101, self)), u"Layer");
  BString b(u"old");
  for (auto [id, text] : {std::pair{8102, &kUnits253}, {8103, &kUnits254}, {8104, &kUnits700}}) {
    EXPECT_TRUE(b.LoadStringW(id, self));
    EXPECT_EQ(Text(b), *text) << id;
  }
  EXPECT_FALSE(b.LoadStringW(8199, self));
  EXPECT_EQ(Text(b), u"<null>");
}

}  // namespace
