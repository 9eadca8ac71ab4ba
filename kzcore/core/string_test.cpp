#include <kzcore/core/string.h>

#include <algorithm>
#include <cmath>
#include <optional>
#include <cstring>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include <kzcore/core/locale.h>
#include <kzcore/pal/locale.h>
#include <kzcore/pal/variant.h>
#include <kzcore/pal/wide.h>

#include <kzcore/pal/module.h>

#include "tests/support/memory_stream.h"

namespace {

// The block header, read at negative offsets as callers outside the library do.
struct Block {
  ULONG refs, capacity, length;
};
Block HeaderOf(const String &s) {
  Block b;
  std::memcpy(&b, reinterpret_cast<const char *>(static_cast<const WCHAR *>(s)) - 12, sizeof b);
  return b;
}

std::u16string Text(const String &s) { return std::u16string(static_cast<const WCHAR *>(s), s.GetLength()); }

// Bytes of a block sized for n units, as the block rules define it.
ULONG Need(ULONG n) { return std::max<ULONG>(n, 31) * 2 + 14; }

class LanguageScope {
 public:
  explicit LanguageScope(LANGID id) : saved_(VESKLocale::GetLocale()) { VESKLocale::SetLanguageForProcess(id); }
  ~LanguageScope() { VESKLocale::SetLanguageForProcess(saved_); }

 private:
  LANGID saved_;
};

TEST(StringBlock, EmptyStringsHaveAPrivateSmallestBlock) {
  String a, b;
  EXPECT_NE(static_cast<const WCHAR *>(a), static_cast<const WCHAR *>(b));
  for (const String *s : {&a, &b}) {
    const Block h = HeaderOf(*s);
    EXPECT_EQ(h.refs, 1u);
    EXPECT_EQ(h.capacity, 76u);
    EXPECT_EQ(h.length, 0u);
    EXPECT_EQ(static_cast<const WCHAR *>(*s)[0], 0);
  }
  EXPECT_EQ(HeaderOf(String(WCHAR{0})).capacity, 76u);
  EXPECT_EQ(HeaderOf(String(static_cast<const WCHAR *>(nullptr))).capacity, 76u);
}

TEST(StringBlock, ConstructionSizesExactlyAndGrowthJumpsTo268ThenByHalf) {
  const std::u16string units31(31, u'a'), units127(127, u'b'), units200(200, u'c');
  String s(units31.c_str());
  EXPECT_EQ(HeaderOf(s).capacity, 76u);
  s += u'x';  // 32 units: leaves the 76-byte block
  EXPECT_EQ(HeaderOf(s).capacity, 268u);
  EXPECT_EQ(Text(s), units31 + u"x");

  String t(units127.c_str());
  EXPECT_EQ(HeaderOf(t).capacity, 268u);
  t += u'x';  // need 270: 270 + 135
  EXPECT_EQ(HeaderOf(t).capacity, 405u);

  EXPECT_EQ(HeaderOf(String(units200.c_str())).capacity, Need(200));
  // The minimum sizes the block but not the length.
  String m(u"ab", 100);
  EXPECT_EQ(m.GetLength(), 2u);
  EXPECT_EQ(HeaderOf(m).capacity, Need(100));
}

TEST(StringBlock, OverwriteReusesAnUnsharedBlockAndNeverShrinksIt) {
  String s(std::u16string(100, u'z').c_str());
  const WCHAR *before = s;
  const ULONG capacity = HeaderOf(s).capacity;
  s = u"short";
  EXPECT_EQ(static_cast<const WCHAR *>(s), before);
  EXPECT_EQ(HeaderOf(s).capacity, capacity);
  EXPECT_EQ(Text(s), u"short");
  s = "narrow";
  EXPECT_EQ(static_cast<const WCHAR *>(s), before);
  EXPECT_EQ(Text(s), u"narrow");
}

TEST(StringSharing, CopiesShareUntilAMutatorUnshares) {
  String a(u"shared");
  String b = a;
  EXPECT_EQ(static_cast<const WCHAR *>(a), static_cast<const WCHAR *>(b));
  EXPECT_EQ(HeaderOf(a).refs, 2u);

  b += u"";  // an empty argument leaves the block shared
  b += static_cast<const WCHAR *>(nullptr);
  b += WCHAR{0};
  EXPECT_EQ(HeaderOf(a).refs, 2u);

  b += u"!";  // a shared block is left for one of at least 268 bytes
  EXPECT_NE(static_cast<const WCHAR *>(a), static_cast<const WCHAR *>(b));
  EXPECT_EQ(HeaderOf(b).capacity, 268u);
  EXPECT_EQ(HeaderOf(a).refs, 1u);
  EXPECT_EQ(Text(a), u"shared");
  EXPECT_EQ(Text(b), u"shared!");

  String c = a;
  c = b;  // drops a's share, takes b's
  EXPECT_EQ(HeaderOf(a).refs, 1u);
  EXPECT_EQ(HeaderOf(b).refs, 2u);
}

// TrimRight unshares even with nothing to trim, TrimLeft does not; Replace writes through to every
// sharer; Empty on a shared block takes a 268-byte block.
TEST(StringSharing, KeptOdditiesOfMutators) {
  String a(u"word"), b = a;
  b.TrimLeft();
  EXPECT_EQ(static_cast<const WCHAR *>(a), static_cast<const WCHAR *>(b));
  b.TrimRight();
  EXPECT_NE(static_cast<const WCHAR *>(a), static_cast<const WCHAR *>(b));
  EXPECT_EQ(HeaderOf(a).refs, 1u);

  String n(u"banana"), m = n;
  EXPECT_EQ(m.Replace(u'a', u'o'), 3);
  EXPECT_EQ(Text(n), u"bonono");

  b = a;
  b.Empty();
  EXPECT_EQ(HeaderOf(b).capacity, 268u);
  EXPECT_EQ(b.GetLength(), 0u);
  EXPECT_EQ(Text(a), u"word");
  String c(std::u16string(90, u'q').c_str());
  const ULONG capacity = HeaderOf(c).capacity;
  c = WCHAR{u'k'};  // an unshared block is kept
  EXPECT_EQ(HeaderOf(c).capacity, capacity);
  EXPECT_EQ(Text(c), u"k");
}

// Trimming of the default set (a carriage return is not in it), Mid, Find and appending are
// compared with std::u16string in the random test at the end.
TEST(StringEdit, KeptOddities) {
  String one(u"a");
  EXPECT_EQ(one.Replace(u'a', u'b'), 0);
  EXPECT_EQ(Text(one), u"a");
  String two(u"aa");
  EXPECT_EQ(two.Replace(u'a', u'b'), 2);
  String x(u"xxxx");
  EXPECT_EQ(x.Replace(1, 2, u'x', u'y'), 2);  // end inside the text is inclusive
  EXPECT_EQ(Text(x), u"xyyx");
  EXPECT_EQ(x.Replace(2, 2, u'y', u'z'), 0);
  String empty;
  EXPECT_EQ(empty.Replace(0, 5, u'a', u'b'), 0);

  String out(u"z");
  String(u"abc").GetTail(1, &out);
  EXPECT_EQ(Text(out), u"zbc");  // out is not cleared first
  String(u"abc").GetTail(9, &out);
  EXPECT_TRUE(out.IsEmpty());

  String s(u"abc");
  EXPECT_TRUE(s.SetAt(1, 0));
  EXPECT_EQ(s.GetLength(), 1u);
  EXPECT_EQ(Text(s), u"a");
  EXPECT_FALSE(s.SetAt(1, u'q'));
  EXPECT_FALSE(s.SetAt(static_cast<ULONG>(-1), u'q'));
}

TEST(StringEdit, TrimAppendAndCaseMapping) {
  String dots(u"..a..");
  dots.TrimLeft(u'.');
  dots.TrimRight(u'.');
  EXPECT_EQ(Text(dots), u"a");

  String a(u"ab");
  a.AppendN(u"0123456789", 3, 4);
  EXPECT_EQ(Text(a), u"ab3456");
  a.AppendN(u"xy", 0, 10);  // stops at the source's 0 unit
  EXPECT_EQ(Text(a), u"ab3456xy");
  a.AppendN(u"\0zz", 1, 2);  // the source's first unit decides, not the unit at start
  EXPECT_EQ(Text(a), u"ab3456xy");
  a.AppendN("hello", 1, 3);
  EXPECT_EQ(Text(a), u"ab3456xyell");

  String u(u"Straße Ärger");
  u.MakeUpper();
  EXPECT_EQ(Text(u), u"STRAßE ÄRGER");  // one unit to one unit: ß has no single upper unit
  u.MakeLower();
  EXPECT_EQ(Text(u), u"straße ärger");

  String self(u"echo");
  self += static_cast<const WCHAR *>(self);  // appending a string to itself
  EXPECT_EQ(Text(self), u"echoecho");
  self = static_cast<const WCHAR *>(self) + 4;  // assigning a part of itself
  EXPECT_EQ(Text(self), u"echo");
}

TEST(StringEdit, SubstringsCountPastTheEndAsTheWhole) {
  String s(u"abcd");
  EXPECT_EQ(Text(s.Left(3)), u"abc");
  EXPECT_EQ(Text(s.Left(99)), u"abcd");
  EXPECT_EQ(Text(s.Right(1)), u"d");
  EXPECT_EQ(Text(s.Right(99)), u"abcd");
  EXPECT_EQ(HeaderOf(s.Mid(0, 2)).capacity, 76u);
}

TEST(StringSearch, FindForms) {
  String aba(u"aba");
  EXPECT_EQ(aba.Find(0, u'a'), 2);
  EXPECT_EQ(aba.Find(1, u'a'), 0);
  EXPECT_EQ(aba.ReverseFind(u'b'), 1);
  EXPECT_EQ(aba.Find(u'z'), -1);
  EXPECT_EQ(String().Find(u'a'), -1);
  EXPECT_EQ(String(u"concat cat").FindWholeWord(u"cat"), 7);
  EXPECT_EQ(String(u"cat").FindWholeWord(u"cat"), 0);
  EXPECT_EQ(String(u"cats").FindWholeWord(u"cat"), -1);
  EXPECT_EQ(String(u"a.cat;").FindWholeWord(u"cat"), 2);
  EXPECT_EQ(String(u"abc").FindWholeWord(u""), -1);

  String s(u"one two one");
  EXPECT_EQ(s.Find(u"one", 1), 8);  // an index into the whole text
  EXPECT_EQ(s.Find(u"one", 11), -1);
  EXPECT_EQ(s.Find(static_cast<const WCHAR *>(nullptr)), -1);
  EXPECT_EQ(String().Find(u"x"), -1);

  String mixed(u"xxABcAbCabc");
  EXPECT_EQ(mixed.FindNoCase(u"abc"), 2);
  EXPECT_EQ(mixed.FindNoCase(u"ABC", 3), 5);
  EXPECT_EQ(mixed.FindNoCase(u"aBc", 6), 8);
  EXPECT_EQ(mixed.FindNoCase(u"abd"), -1);
  EXPECT_EQ(mixed.FindNoCase(u"x", 11), -1);
  EXPECT_EQ(String(u"ÄÖ-äö").FindNoCase(u"äö"), 0);
  EXPECT_EQ(String(u"1-2").FindNoCase(u"-2"), 1);
}

TEST(StringCompare, UnitOrderAndTheNotComparableMark) {
  EXPECT_EQ(String(u"abc").Compare(u"abd"), -1);
  EXPECT_EQ(String(u"\uFFFF").Compare(u"a"), 1);  // unsigned units
  EXPECT_EQ(String(u"ab").Compare(u"abc"), -1);
  EXPECT_EQ(String(u"ABC").CompareNoCase(u"abc"), 0);
  EXPECT_LT(String(u"abc").CompareNoCase(u"ABD"), 0);
  EXPECT_EQ(String(u"abc").CompareNoCase(nullptr), 2147483647);
}

TEST(StringConvert, NarrowTextIsUtf8AndStopsAtAnInvalidByte) {
  EXPECT_EQ(Text(String("h\xC3\xA9llo")), u"héllo");
  EXPECT_EQ(Text(String("ab\xFF" "cd")), u"ab");
  EXPECT_EQ(Text(String(static_cast<const char *>(nullptr))), u"");
  EXPECT_EQ(Text(String("\xF0\x9F\x98\x80")), u"\U0001F600");
  String s(u"x");
  s += "\xE2\x82\xAC\xC3";  // the euro sign, then a cut sequence
  EXPECT_EQ(Text(s), u"x€");
}

TEST(StringConvert, ByteLengthsFollowTheNarrowForm) {
  EXPECT_EQ(String(u"abc").GetByteLength(), 3u);
  EXPECT_EQ(String(u"日本").GetByteLength(), 6u);
  EXPECT_EQ(String(u"\U0001F600").GetByteLength(), 4u);
  const WCHAR lone[] = {u'a', 0xD800, u'b', 0};
  {
    LanguageScope english(0x0409);
    EXPECT_EQ(String(lone).GetByteLength(), 3u);
    EXPECT_EQ(String(lone).GetEucByteLength(), 3u);
  }
  {
    LanguageScope japanese(0x0411);
    EXPECT_EQ(String(lone).GetByteLength(), 6u);
  }
  {
    LanguageScope chinese(MAKELANGID(LANG_CHINESE, 1));
    EXPECT_EQ(String(u"日本").GetEucByteLength(), 12u);
  }
  {
    LanguageScope chinese(MAKELANGID(LANG_CHINESE, 2));
    EXPECT_EQ(String(u"日本").GetEucByteLength(), 6u);
  }
}

TEST(StringConvert, AnsiTruncateKeepsWholeCharacters) {
  {
    LanguageScope english(0x0409);
    EXPECT_EQ(Text(String(u"日本語").AnsiTruncate(2)), u"日本");  // a count of units
  }
  LanguageScope japanese(0x0411);
  EXPECT_EQ(Text(String(u"日本語").AnsiTruncate(7)), u"日本");
  EXPECT_EQ(Text(String(u"日本語").AnsiTruncate(9)), u"日本語");
  EXPECT_EQ(Text(String(u"a日b").AnsiTruncate(3)), u"a");
  const WCHAR lone[] = {u'a', 0xDC00, u'?', 0};
  EXPECT_EQ(Text(String(lone).AnsiTruncate(10)), u"a__");  // a failed conversion marks "?" as "_"
}

TEST(StringConvert, NumbersFromText) {
  EXPECT_EQ(String(u"-0.5").AsDBaseDouble(), 0.5);  // the sign of the integer part only
  EXPECT_EQ(String(u"-1.5").AsDBaseDouble(), -1.5);
  EXPECT_EQ(String(u"1.5e2").AsDBaseDouble(), 150.0);
  EXPECT_EQ(String(u"2.25E-1").AsDBaseDouble(), 2.25 * std::pow(10.0, -1));
  EXPECT_EQ(String(u"3.125xyz").AsDBaseDouble(), 3.125);
  EXPECT_EQ(String(u"  12.5abc").AsDouble(), 12.5);
  EXPECT_EQ(String(u"-77 rest").AsLong(), -77);
  EXPECT_EQ(String(u"99999999999").AsLong(), 2147483647);
}

TEST(StringVariant, ChangesTheCallersVariantInPlace) {
  VARIANT v;
  VariantInit(&v);
  v.vt = VT_I4;
  v.lVal = -42;
  String s(v);
  EXPECT_EQ(Text(s), u"-42");
  EXPECT_EQ(v.vt, VT_BSTR);
  EXPECT_EQ(std::u16string(v.bstrVal), u"-42");
  VariantClear(&v);

  v.vt = VT_BSTR;
  const OLECHAR embedded[] = {u'a', u'b', 0, u'c'};
  v.bstrVal = SysAllocStringLen(embedded, 4);
  EXPECT_EQ(Text(String(v)), u"ab");  // up to the first 0 unit
  VariantClear(&v);

  v.vt = VT_NULL;
  try {
    String failed(v);
    ADD_FAILURE() << "a null value has no text";
  } catch (LONG hr) {
    EXPECT_EQ(hr, DISP_E_TYPEMISMATCH);
  }
}

// Resources of this test program: a short text, and texts around the sizes where loading grows its
// buffer (1024 units, then 1536, then 2304).
const std::u16string kLong1022(1022, u'L');
const std::u16string kLong1021(1021, u'M');
const std::u16string kLong3000(3000, u'N');
const KzStringResource kTestStrings[] = {
    {7001, u"Layer %s has %d features"}, {7002, kLong1022.c_str()}, {7003, kLong1021.c_str()}, {7004, kLong3000.c_str()}};
KZ_STRING_TABLE(kTestStrings)

TEST(StringResources, LoadGrowsUntilTheWholeTextFits) {
  HMODULE self = KzModuleFromAddress(reinterpret_cast<const void *>(&kTestStrings));
  ASSERT_NE(self, nullptr);
  String s;
  EXPECT_TRUE(s.LoadStringW(7002, self));  // 1022 units leave fewer than three free: read again
  EXPECT_EQ(Text(s), kLong1022);
  EXPECT_EQ(HeaderOf(s).capacity, Need(1022));
  EXPECT_TRUE(s.LoadStringW(7003, self));
  EXPECT_EQ(Text(s), kLong1021);
  EXPECT_EQ(Text(String(7004, self)), kLong3000);
  EXPECT_FALSE(s.LoadStringW(7999, self));
  EXPECT_TRUE(s.IsEmpty());

  s.Format(7001, self, u"Roads", 12);
  EXPECT_EQ(Text(s), u"Layer Roads has 12 features");
}

// The conversions themselves are the formatting functions' (tested with them); here, that the
// estimate of the length covers what they write.
TEST(StringFormat, EstimateCoversTheOutput) {
  String s;
  s.Format(u"");
  EXPECT_TRUE(s.IsEmpty());
  s.Format(u"%s", nullptr);
  EXPECT_EQ(Text(s), u"(null)");
  s.Format(u"%d|%5s|%-4S|%c|%I64d|%%|%*d|%.*s", -12, u"ab", "xy", u'Q', LONGLONG{-9000000000}, 8, 7, 2, u"abcdef");
  EXPECT_EQ(Text(s), u"-12|   ab|xy  |Q|-9000000000|%|       7|ab");
  s.Format(u"%f", 1e300);  // 301 digits and 6 decimals still fit the estimate
  EXPECT_EQ(s.GetLength(), 308u);
  EXPECT_EQ(s.Left(4).Compare(u"1000"), 0);
  const std::u16string long_text(5000, u'w');
  s.Format(u"<%s>", long_text.c_str());
  EXPECT_EQ(s.GetLength(), 5002u);
}

TEST(StringFormat, MessageInserts) {
  String s;
  s.FormatMessageW(u"%2 before %1!d!", 5, u"second");
  EXPECT_EQ(Text(s), u"second before 5");
  s.FormatMessageW(u"%1!", 1);  // unterminated insert: a failure gives the empty string
  EXPECT_TRUE(s.IsEmpty());
}

TEST(StringStream, WriteAndReadRoundTrip) {
  kztest::MemoryStream stream;
  String text(u"Grid ☃ \U0001F600");
  ASSERT_EQ(text.Write(&stream), S_OK);
  const auto &bytes = stream.bytes();
  const ULONG expected_count = text.GetLength() * 2 + 2;
  ASSERT_EQ(bytes.size(), 4 + expected_count);
  EXPECT_EQ(bytes[0] | bytes[1] << 8 | bytes[2] << 16 | bytes[3] << 24, static_cast<int>(expected_count));
  EXPECT_EQ(bytes[4], 'G');
  EXPECT_EQ(bytes[5], 0);
  EXPECT_EQ(bytes[bytes.size() - 1], 0);
  EXPECT_EQ(bytes[bytes.size() - 2], 0);

  stream.Rewind();
  String back(u"old");
  EXPECT_EQ(back.Read(&stream), S_OK);
  EXPECT_EQ(Text(back), Text(text));
}

TEST(StringStream, ReadRejectsEmptyAndFailingStreams) {
  String s(u"unchanged");
  kztest::MemoryStream zero_count(std::vector<unsigned char>{0, 0, 0, 0, 'a', 0});
  EXPECT_EQ(s.Read(&zero_count), E_FAIL);
  kztest::MemoryStream nothing;
  EXPECT_EQ(s.Read(&nothing), E_FAIL);
  kztest::MemoryStream count_only(std::vector<unsigned char>{4, 0, 0, 0});
  EXPECT_EQ(s.Read(&count_only), E_FAIL);
  kztest::MemoryStream failing(std::vector<unsigned char>{4, 0, 0, 0, 'a', 0, 0, 0});
  failing.FailReadsAfter(0, STG_E_READFAULT);
  EXPECT_EQ(s.Read(&failing), STG_E_READFAULT);
  EXPECT_EQ(Text(s), u"unchanged");

  // A damaged count far beyond the data: the text that is there, without a huge allocation.
  kztest::MemoryStream damaged(std::vector<unsigned char>{0xFE, 0xFF, 0xFF, 0xFF, 'h', 0, 'i', 0});
  EXPECT_EQ(s.Read(&damaged), S_FALSE);
  EXPECT_EQ(Text(s), u"hi");

  kztest::MemoryStream write_fails;
  write_fails.FailWritesAfter(1, STG_E_MEDIUMFULL);
  EXPECT_EQ(String(u"x").Write(&write_fails), STG_E_MEDIUMFULL);
}

// Random edit sequences against std::u16string: the text must always agree, and the block rules
// (capacity never shrinks while a block is kept, a shared block is never written by mutators
// other than Replace) must hold.
TEST(StringDifferential, RandomEditsAgreeWithStdU16String) {
  std::mt19937 rng(20261122);
  const std::u16string alphabet = u"ab \t\nXYzé日\r";
  auto random_text = [&](int max) {
    std::u16string t;
    for (int n = static_cast<int>(rng() % (max + 1)); n > 0; --n) t += alphabet[rng() % alphabet.size()];
    return t;
  };
  const std::u16string trim = u" \t\n";
  for (int round = 0; round < 200; ++round) {
    String s;
    std::u16string model;
    for (int step = 0; step < 60; ++step) {
      std::optional<String> witness;  // sometimes the block is shared while it is edited
      if (rng() % 2) witness.emplace(s);
      const std::u16string before = model;
      const std::u16string arg = random_text(40);
      switch (rng() % 10) {
        case 0: s = arg.c_str(), model = arg; break;
        case 1: s += arg.c_str(), model += arg; break;
        case 2:
          if (!arg.empty()) s += arg[0], model += arg[0];
          break;
        case 3: {
          s.TrimLeft();
          model.erase(0, std::min(model.find_first_not_of(trim), model.size()));
          break;
        }
        case 4: {
          s.TrimRight();
          const auto last = model.find_last_not_of(trim);
          model.erase(last == std::u16string::npos ? 0 : last + 1);
          break;
        }
        case 5: {
          const ULONG start = rng() % 50;
          const LONG count = static_cast<LONG>(rng() % 50) - 5;
          String mid = s.Mid(start, count);
          const std::u16string expect =
              start >= model.size() ? u"" : model.substr(start, count < 0 ? std::u16string::npos : count);
          EXPECT_EQ(Text(mid), expect);
          break;
        }
        case 6: {
          const std::u16string needle = arg.substr(0, rng() % 3 + 1);
          const auto pos = model.find(needle);
          if (!model.empty() && !needle.empty()) {
            EXPECT_EQ(s.Find(needle.c_str()), pos == std::u16string::npos ? -1 : static_cast<LONG>(pos));
          }
          break;
        }
        case 7: s.MakeUpper(), std::transform(model.begin(), model.end(), model.begin(), [](WCHAR c) { return towupper(c); }); break;
        case 8: s.Empty(), model.clear(); break;
        case 9: s.AppendN(arg.c_str(), 1, 5), model += arg.empty() ? u"" : arg.substr(1, 5); break;
      }
      ASSERT_EQ(Text(s), model) << "round " << round << " step " << step;
      ASSERT_EQ(wcslen(s), s.GetLength());
      ASSERT_GE(HeaderOf(s).capacity, Need(s.GetLength()));
      if (witness) {
        ASSERT_EQ(Text(*witness), before) << "a sharer saw the edit";
      }
    }
  }
}

}  // namespace
