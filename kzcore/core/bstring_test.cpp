#include <kzcore/core/bstring.h>

#include <climits>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include <kzcore/core/string.h>
#include <kzcore/pal/bstr.h>
#include <kzcore/pal/module.h>

namespace {

// The whole BSTR by its own length, or nullopt-like "<null>" for null.
std::u16string Text(const BString &b) {
  const WCHAR *p = b;
  if (p == nullptr) return u"<null>";
  return std::u16string(p, SysStringLen(const_cast<WCHAR *>(p)));
}

const WCHAR kEmbedded[] = {u'a', u'b', 0, u'c', 0};  // "ab", a 0 unit, "c"

TEST(BStringConstruct, NullEmptyAndEmbeddedZeros) {
  const BString none(static_cast<const WCHAR *>(nullptr));
  EXPECT_EQ(static_cast<WCHAR *>(none), nullptr);
  EXPECT_TRUE(none.IsEmpty());
  EXPECT_EQ(none.GetLength(), 0u);
  EXPECT_EQ(none == u"", 0);  // null equals only null
  EXPECT_EQ(none == BString(), 1);
  EXPECT_EQ(Text(BString(none)), u"<null>");
  EXPECT_EQ(Text(BString(static_cast<const char *>(nullptr))), u"<null>");
  EXPECT_EQ(Text(BString(static_cast<const WCHAR *>(nullptr), 3)), u"<null>");

  // An empty String gives a real, empty BSTR.
  const BString empty{String()};
  ASSERT_NE(static_cast<WCHAR *>(empty), nullptr);
  EXPECT_EQ(empty.GetLength(), 0u);
  EXPECT_TRUE(empty.IsEmpty());
  EXPECT_EQ(empty == u"", 1);
  EXPECT_EQ(empty == BString(), 0);

  // The counted constructor keeps the 0 unit; a copy ends there.
  const BString counted(kEmbedded, 4);
  EXPECT_EQ(Text(counted), std::u16string(kEmbedded, 4));
  EXPECT_EQ(counted.GetLength(), 4u);
  EXPECT_EQ(Text(BString(counted)), u"ab");
  BString assigned;
  assigned = counted;
  EXPECT_EQ(Text(assigned), u"ab");
  const unsigned short raw[] = {0x41, 0, 0x42};
  EXPECT_EQ(Text(BString(raw, 3)), std::u16string(u"A\0B", 3));

  // A String with a 0 unit written into it is copied whole, by its length.
  String with_zero(u"xyz");
  with_zero.Replace(u'y', 0);
  EXPECT_EQ(Text(BString(with_zero)), std::u16string(u"x\0z", 3));

  const BString room(LONG{5});
  EXPECT_EQ(room.GetLength(), 5u);
  EXPECT_EQ(Text(BString(LONG{-1})), u"<null>");
}

TEST(BStringConstruct, NarrowModes) {
  // Mode 0 is UTF-8, up to the first invalid byte.
  EXPECT_EQ(Text(BString("Z\xC3\xBCrich")), u"Zürich");
  EXPECT_EQ(Text(BString("ab\xFF" "cd")), u"ab");
  EXPECT_EQ(Text(BString("")), u"");
  // Above 128 bytes the conversion leaves the stack buffer.
  std::string long_text;
  std::u16string long_expected;
  for (int i = 0; i < 300; ++i) {
    long_text += (i % 3 == 0) ? "\xE2\x82\xAC" : "q";
    long_expected += (i % 3 == 0) ? u'€' : u'q';
  }
  EXPECT_EQ(Text(BString(long_text.c_str())), long_expected);
  EXPECT_EQ(Text(BString(std::string(128, 'x').c_str())), std::u16string(128, u'x'));

  // Any other mode widens each byte with sign extension.
  std::string every_byte;
  for (int b = 1; b < 256; ++b) every_byte += static_cast<char>(b);
  const BString widened(every_byte.c_str(), 1);
  ASSERT_EQ(widened.GetLength(), 255u);
  for (int b = 1; b < 256; ++b) {
    const unsigned expected = b < 128 ? static_cast<unsigned>(b) : 0xFF00u | static_cast<unsigned>(b);
    EXPECT_EQ(static_cast<const WCHAR *>(widened)[b - 1], expected) << b;
  }
  EXPECT_EQ(Text(BString("\xE9", 1)), u"\xFFE9");
  EXPECT_EQ(Text(BString("\xE9", -7)), u"\xFFE9");
}

TEST(BStringConstruct, GuidInRegistryForm) {
  constexpr GUID unknown = kz::pal::GuidFromText("{00000000-0000-0000-C000-000000000046}");
  const BString text(unknown);
  EXPECT_EQ(text.GetLength(), 38u);
  EXPECT_EQ(Text(text), u"{00000000-0000-0000-C000-000000000046}");
  EXPECT_EQ(Text(BString(kz::pal::GuidFromText("{6b29fc40-ca47-1067-b31d-00dd010662da}"))),
            u"{6B29FC40-CA47-1067-B31D-00DD010662DA}");
}

TEST(BStringAssign, SelfOwnPointerNullAndNarrow) {
  BString b(u"text");
  const WCHAR *held = b;
  b = static_cast<const WCHAR *>(held);  // the very pointer: nothing happens
  EXPECT_EQ(static_cast<const WCHAR *>(b), held);
  EXPECT_EQ(Text(b), u"text");
  BString &same = b;
  b = same;
  EXPECT_EQ(static_cast<const WCHAR *>(b), held);

  b = static_cast<const WCHAR *>(nullptr);
  EXPECT_EQ(Text(b), u"<null>");
  b = "caf\xC3\xA9";
  EXPECT_EQ(Text(b), u"café");
  b = static_cast<const char *>(nullptr);
  EXPECT_EQ(Text(b), u"<null>");
  b = String(u"from String");
  EXPECT_EQ(Text(b), u"from String");
  b = String();
  EXPECT_EQ(Text(b), u"");
}

TEST(BStringOwnership, AddressDetachAndAttach) {
  BString b(u"held");
  BSTR *field = &b;  // frees the text at once, even though the caller may only look
  EXPECT_EQ(*field, nullptr);
  EXPECT_EQ(static_cast<WCHAR *>(b), nullptr);
  *field = SysAllocString(u"filled by a callee");  // freed by b's destructor
  EXPECT_EQ(Text(b), u"filled by a callee");

  BSTR taken = b.Detach();
  EXPECT_EQ(static_cast<WCHAR *>(b), nullptr);
  EXPECT_EQ(std::u16string(taken), u"filled by a callee");
  b.Attach(taken);  // no copy
  EXPECT_EQ(static_cast<WCHAR *>(b), taken);
  b.Attach(taken);  // attaching what it holds keeps it
  EXPECT_EQ(Text(b), u"filled by a callee");

  BString other(u"other");
  const WCHAR *others = other;
  b.Attach(other);
  EXPECT_EQ(static_cast<const WCHAR *>(b), others);
  EXPECT_EQ(static_cast<WCHAR *>(other), nullptr);
}

TEST(BStringAppend, FormsAndTheFailurePath) {
  BString b;
  EXPECT_EQ(b.Append(u"first"), S_OK);  // to a null object: the source text
  EXPECT_EQ(Text(b), u"first");

  const BString embedded(kEmbedded, 4);
  EXPECT_EQ(b.Append(embedded), S_OK);  // by the BSTR's length, the 0 unit too
  EXPECT_EQ(Text(b), u"first" + std::u16string(kEmbedded, 4));
  BString c(u"x");
  EXPECT_EQ(c.AppendBSTR(const_cast<WCHAR *>(static_cast<const WCHAR *>(embedded))), S_OK);
  EXPECT_EQ(Text(c), u"x" + std::u16string(kEmbedded, 4));
  BString d(u"x");
  EXPECT_EQ(d.Append(static_cast<const WCHAR *>(embedded)), S_OK);  // by lstrlenW: up to the 0
  EXPECT_EQ(Text(d), u"xab");
  EXPECT_EQ(d.Append(u"123456", 2), S_OK);
  EXPECT_EQ(Text(d), u"xab12");
  d += BString(u"!");
  EXPECT_EQ(Text(d), u"xab12!");
  d += d;  // appending itself
  EXPECT_EQ(Text(d), u"xab12!xab12!");

  BString n;
  EXPECT_EQ(n.Append(BString()), S_OK);  // nothing to a null object gives an empty text
  EXPECT_EQ(Text(n), u"");

  // A length no BSTR can have: E_OUTOFMEMORY and the object as it was. The source is not read.
  BString e(u"ab");
  const WCHAR *before = e;
  EXPECT_EQ(e.Append(u"z", INT_MAX), E_OUTOFMEMORY);
  EXPECT_EQ(static_cast<const WCHAR *>(e), before);
  EXPECT_EQ(Text(e), u"ab");
  EXPECT_EQ(e.Append(u"z", -1), E_INVALIDARG);
  EXPECT_EQ(e.Append(nullptr, 3), E_POINTER);
  EXPECT_EQ(e.Append(static_cast<const WCHAR *>(nullptr)), S_OK);
  EXPECT_EQ(Text(e), u"ab");
}

TEST(BStringCompare, EqualityAndNoCase) {
  const BString a(u"Road"), null_one;
  WCHAR mutable_text[] = u"Road";
  char narrow[] = "Road";
  EXPECT_EQ(a == u"Road", 1);
  EXPECT_EQ(a == mutable_text, 1);
  EXPECT_EQ(a == narrow, 1);
  EXPECT_EQ(a == "Road", 1);
  EXPECT_EQ(a != "Rail", 1);
  EXPECT_EQ(a == u"road", 0);
  EXPECT_EQ(a == BString(u"Road"), 1);
  EXPECT_EQ(a != BString(), 1);
  EXPECT_EQ(null_one == static_cast<const char *>(nullptr), 1);
  EXPECT_EQ(null_one == "", 0);
  EXPECT_EQ(BString("") == null_one, 0);
  EXPECT_EQ(BString("\xC3\xA9") == u"é", 1);
  // Units after an embedded 0 do not matter.
  EXPECT_EQ(BString(kEmbedded, 4) == BString(u"ab"), 1);
  EXPECT_EQ(BString(kEmbedded, 4) == u"abc", 0);

  EXPECT_EQ(a.CompareNoCase(u"ROAD"), 0);
  EXPECT_LT(a.CompareNoCase(u"roads"), 0);
  EXPECT_GT(a.CompareNoCase(u"rail"), 0);
  EXPECT_EQ(a.CompareNoCase(nullptr), 0x7FFFFFFF);
  EXPECT_EQ(null_one.CompareNoCase(u""), 0x7FFFFFFF);
}

// Texts around the sizes where loading reads again: the buffer starts at 256 units and grows by
// 256 while fewer than three units are left free after the text.
const std::u16string kUnits253(253, u'a');
const std::u16string kUnits254(254, u'b');
const std::u16string kUnits255(255, u'c');
const std::u16string kUnits700(700, u'd');
const KzStringResource kBStringStrings[] = {
    {8101, u"Layer"}, {8102, kUnits253.c_str()}, {8103, kUnits254.c_str()}, {8104, kUnits255.c_str()},
    {8105, kUnits700.c_str()}};
KZ_STRING_TABLE(kBStringStrings)

TEST(BStringResources, LoadsWholeTextsOfEverySize) {
  HMODULE self = KzModuleFromAddress(reinterpret_cast<const void *>(&kBStringStrings));
  ASSERT_NE(self, nullptr);
  EXPECT_EQ(Text(BString(8101, self)), u"Layer");
  BString b(u"old");
  for (auto [id, text] : {std::pair{8102, &kUnits253}, {8103, &kUnits254}, {8104, &kUnits255}, {8105, &kUnits700}}) {
    EXPECT_TRUE(b.LoadStringW(id, self));
    EXPECT_EQ(Text(b), *text) << id;
  }
  EXPECT_FALSE(b.LoadStringW(8199, self));
  EXPECT_EQ(Text(b), u"<null>");
  EXPECT_EQ(Text(BString(8199, self)), u"<null>");
}

}  // namespace
