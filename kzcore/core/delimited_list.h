// DelimitedList: a text cut into tokens once, at construction, and given out by index.
//
//   DelimitedList fields(u"name; kind ;; size", u";", true, true);
//   for (int i = 0; i < fields.Count(); ++i) Use(fields[i]);   // "name", "kind", "size"
//
//   DelimitedList cells(u"a,,b", u",", false, false);           // "a", "", "b"
//
// Any unit of the delimiter set ends a token. Keeping empty tokens, two adjacent delimiters or one
// at either end give an empty token; ignoring them, runs of delimiters count as one and the ends
// give none. Trimming removes space, tab and line feed at both ends of each token (as
// String::TrimLeft and TrimRight do); a token that was blank stays, as an empty token.
//
// A list without delimiters (an empty set, or the unit 0 as the one delimiter) or without a text
// has no tokens.
//
// Copies are shallow, kept so on purpose for their small use as views: a copy shares the
// delimiter string and the very token array of its source, so the pointers it gives out are the
// source's. The tokens are freed when the last list holding them goes; the count of holders is
// plain, not atomic, so a list and its copies belong to one thread.
#pragma once

#include <kzcore/core/string.h>
#include <kzcore/pal/types.h>

class KZ_API DelimitedList {
 public:
  // One delimiter; empty tokens are always ignored.
  DelimitedList(const String &text, WCHAR delimiter, bool trim = false);
  DelimitedList(const WCHAR *text, const WCHAR *delimiters, bool trim = false, bool ignore_empty = true);
  DelimitedList(const DelimitedList &other);
  DelimitedList &operator=(const DelimitedList &other);
  virtual ~DelimitedList();

  int Count() const { return m_count; }
  // The token's text, terminated. Not checked: the index must lie in 0 to Count() - 1.
  const WCHAR *operator[](int index) const { return m_tokens[index]; }

 private:
  void Build(const WCHAR *text, bool trim, bool ignore_empty);
  bool BuildTokensKeepNulls(const WCHAR *text, bool trim);
  bool BuildTokensIgnoreNulls(const WCHAR *text, bool trim);
  // The units of the delimiter set in the text, plus one; 0 without delimiters or text.
  int CountTokens(const WCHAR *text) const;
  // Gives up this list's hold on the tokens (freeing them when it was the last) and sets the
  // count to 0.
  void FreeTokens();

  int m_count = 0;
  String m_delimiters;
  WCHAR **m_tokens = nullptr;
};
