#include <kzcore/core/delimited_list.h>

#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

std::vector<std::u16string> Tokens(const DelimitedList &list) {
  std::vector<std::u16string> out;
  for (int i = 0; i < list.Count(); ++i) out.emplace_back(list[i]);
  return out;
}

using Texts = std::vector<std::u16string>;

// A separate splitter on std::u16string: cut at every delimiter, then trim and drop as asked.
Texts Split(const std::u16string &text, const std::u16string &delimiters, bool trim, bool ignore_empty) {
  Texts pieces(1);
  for (char16_t c : text) {
    if (delimiters.find(c) != std::u16string::npos) {
      pieces.emplace_back();
    } else {
      pieces.back() += c;
    }
  }
  Texts out;
  for (std::u16string piece : pieces) {
    if (ignore_empty && piece.empty()) continue;  // empty before trimming: a blank token stays
    if (trim) {
      const auto first = piece.find_first_not_of(u" \t\n");
      const auto last = piece.find_last_not_of(u" \t\n");
      piece = first == std::u16string::npos ? u"" : piece.substr(first, last - first + 1);
    }
    out.push_back(piece);
  }
  return out;
}

TEST(DelimitedList, EmptyTokensKeptOrIgnored) {
  EXPECT_EQ(Tokens(DelimitedList(u"a,,b", u",", false, false)), (Texts{u"a", u"", u"b"}));
  EXPECT_EQ(Tokens(DelimitedList(u"a,,b", u",", false, true)), (Texts{u"a", u"b"}));
  EXPECT_EQ(Tokens(DelimitedList(u",a,", u",", false, false)), (Texts{u"", u"a", u""}));
  EXPECT_EQ(Tokens(DelimitedList(u"", u",", false, false)), (Texts{u""}));
  EXPECT_EQ(Tokens(DelimitedList(u" a , b ", u",", true, true)), (Texts{u"a", u"b"}));
  EXPECT_EQ(Tokens(DelimitedList(u"a; ;b", u";", true, true)), (Texts{u"a", u"", u"b"}));  // blank stays
  EXPECT_EQ(Tokens(DelimitedList(u" \r\n", u";", true, true)), (Texts{u"\r"}));  // carriage return is kept
  EXPECT_EQ(Tokens(DelimitedList(u"a;b,c d", u";, ", false, true)), (Texts{u"a", u"b", u"c", u"d"}));

  // Counted as two tokens from the one delimiter; building finds none.
  EXPECT_EQ(DelimitedList(u",", u",", false, true).Count(), 0);
  EXPECT_EQ(DelimitedList(String(u",,,"), u',').Count(), 0);
  EXPECT_EQ(Tokens(DelimitedList(String(u" x ,, y"), u',', true)), (Texts{u"x", u"y"}));
  EXPECT_EQ(Tokens(DelimitedList(String(u" x ,, y"), u',')), (Texts{u" x ", u" y"}));
}

TEST(DelimitedList, NoDelimitersOrNoTextGiveNoTokens) {
  EXPECT_EQ(DelimitedList(u"a,b", u"", false, false).Count(), 0);
  EXPECT_EQ(DelimitedList(u"a,b", nullptr, false, true).Count(), 0);
  EXPECT_EQ(DelimitedList(nullptr, u",", false, false).Count(), 0);
  EXPECT_EQ(DelimitedList(String(u"a,b"), WCHAR{0}).Count(), 0);
}

// Copies are views on the same tokens: the same pointers. Either may go first.
TEST(DelimitedList, CopiesShareTheTokensAndEitherMayGoFirst) {
  auto *original = new DelimitedList(u"x|y|z", u"|", false, true);
  DelimitedList view(*original);
  ASSERT_EQ(view.Count(), 3);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(view[i], (*original)[i]);
  delete original;  // the view still holds the tokens
  EXPECT_EQ(Tokens(view), (Texts{u"x", u"y", u"z"}));

  DelimitedList other(u"p q", u" ", false, true);
  const WCHAR *p = other[0];
  view = other;  // gives up its hold on x, y, z (the last one: freed) and shares p, q
  EXPECT_EQ(view[0], p);
  EXPECT_EQ(Tokens(view), (Texts{u"p", u"q"}));
  view = view;
  EXPECT_EQ(Tokens(view), (Texts{u"p", u"q"}));
  DelimitedList empty(nullptr, u",", false, true);
  view = empty;
  EXPECT_EQ(view.Count(), 0);
  EXPECT_EQ(Tokens(other), (Texts{u"p", u"q"}));
}

TEST(DelimitedList, RandomTextsAgreeWithASeparateSplitter) {
  std::mt19937 rng(31337);
  const std::u16string alphabet = u"ab ;,\t\n\r\u00E9";
  const std::u16string delimiter_sets[] = {u";", u";,", u" ", u"\u00E9,"};
  for (int round = 0; round < 2000; ++round) {
    std::u16string text;
    for (int n = static_cast<int>(rng() % 30); n > 0; --n) text += alphabet[rng() % alphabet.size()];
    const std::u16string &delimiters = delimiter_sets[rng() % 4];
    const bool trim = rng() % 2, ignore_empty = rng() % 2;
    const DelimitedList list(text.c_str(), delimiters.c_str(), trim, ignore_empty);
    ASSERT_EQ(Tokens(list), Split(text, delimiters, trim, ignore_empty))
        << "text [" << std::string(text.begin(), text.end()) << "] trim " << trim << " ignore " << ignore_empty;
    if (delimiters.size() == 1) {
      ASSERT_EQ(Tokens(DelimitedList(String(text.c_str()), delimiters[0], trim)), Split(text, delimiters, trim, true));
    }
  }
}

}  // namespace
