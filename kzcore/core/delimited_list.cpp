#include <kzcore/core/delimited_list.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <new>

#include <kzcore/pal/wide.h>

namespace {

// The token array lives in one allocation behind a small header: the number of lists holding it
// and the number of slots. The lists point at the slots, so a copy gives out the very pointers of
// its source.
struct TokenHeader {
  std::size_t holders;
  std::size_t slots;
};
static_assert(sizeof(TokenHeader) % alignof(WCHAR *) == 0);

TokenHeader *HeaderOf(WCHAR **tokens) { return reinterpret_cast<TokenHeader *>(tokens) - 1; }

WCHAR **NewTokenArray(std::size_t slots) {
  auto *header = static_cast<TokenHeader *>(std::calloc(1, sizeof(TokenHeader) + slots * sizeof(WCHAR *)));
  if (header == nullptr) throw std::bad_alloc();
  header->holders = 1;
  header->slots = slots;
  return reinterpret_cast<WCHAR **>(header + 1);
}

bool Blank(WCHAR c) { return c == u' ' || c == u'\t' || c == u'\n'; }

// A new terminated copy of [begin, end), cut at both ends when trimming.
WCHAR *NewToken(const WCHAR *begin, const WCHAR *end, bool trim) {
  if (trim) {
    while (begin < end && Blank(*begin)) ++begin;
    while (end > begin && Blank(end[-1])) --end;
  }
  const std::size_t length = static_cast<std::size_t>(end - begin);
  auto *token = static_cast<WCHAR *>(std::malloc((length + 1) * sizeof(WCHAR)));
  if (token == nullptr) throw std::bad_alloc();
  if (length != 0) std::memcpy(token, begin, length * sizeof(WCHAR));
  token[length] = 0;
  return token;
}

}  // namespace

DelimitedList::DelimitedList(const String &text, WCHAR delimiter, bool trim) : m_delimiters(delimiter) {
  Build(text, trim, true);
}

DelimitedList::DelimitedList(const WCHAR *text, const WCHAR *delimiters, bool trim, bool ignore_empty)
    : m_delimiters(delimiters) {
  Build(text, trim, ignore_empty);
}

DelimitedList::DelimitedList(const DelimitedList &other)
    : m_count(other.m_count), m_delimiters(other.m_delimiters), m_tokens(other.m_tokens) {
  if (m_tokens != nullptr) ++HeaderOf(m_tokens)->holders;
}

DelimitedList &DelimitedList::operator=(const DelimitedList &other) {
  if (this == &other || m_tokens == other.m_tokens) {
    m_count = other.m_count;
    return *this;
  }
  FreeTokens();
  m_count = other.m_count;
  m_delimiters = other.m_delimiters;
  m_tokens = other.m_tokens;
  if (m_tokens != nullptr) ++HeaderOf(m_tokens)->holders;
  return *this;
}

DelimitedList::~DelimitedList() { FreeTokens(); }

void DelimitedList::Build(const WCHAR *text, bool trim, bool ignore_empty) {
  m_count = CountTokens(text);
  // Without delimiters there is no room for tokens, so nothing is built.
  if (m_count == 0) return;
  m_tokens = NewTokenArray(static_cast<std::size_t>(m_count));
  try {
    const bool built = ignore_empty ? BuildTokensIgnoreNulls(text, trim) : BuildTokensKeepNulls(text, trim);
    if (!built) FreeTokens();
  } catch (...) {
    FreeTokens();  // the destructor does not run for a constructor that throws
    throw;
  }
}

int DelimitedList::CountTokens(const WCHAR *text) const {
  if (text == nullptr || m_delimiters.IsEmpty()) return 0;
  int count = 1;
  for (const WCHAR *p = text; *p != 0; ++p)
    if (wcschr(m_delimiters, *p) != nullptr) ++count;
  return count;
}

bool DelimitedList::BuildTokensKeepNulls(const WCHAR *text, bool trim) {
  const std::size_t slots = HeaderOf(m_tokens)->slots;
  std::size_t n = 0;
  const WCHAR *p = text;
  while (n < slots) {
    const WCHAR *delimiter = wcspbrk(p, m_delimiters);
    const WCHAR *end = delimiter != nullptr ? delimiter : p + wcslen(p);
    m_tokens[n++] = NewToken(p, end, trim);
    if (delimiter == nullptr) break;
    p = delimiter + 1;
  }
  m_count = static_cast<int>(n);
  return true;
}

bool DelimitedList::BuildTokensIgnoreNulls(const WCHAR *text, bool trim) {
  const std::size_t slots = HeaderOf(m_tokens)->slots;
  std::size_t n = 0;
  const WCHAR *p = text;
  while (n < slots) {
    p += wcsspn(p, m_delimiters);  // runs of delimiters and those at the ends give no token
    if (*p == 0) break;
    const WCHAR *end = p + wcscspn(p, m_delimiters);
    m_tokens[n++] = NewToken(p, end, trim);
    p = end;
  }
  // The count was an upper bound: the tokens found are the count.
  m_count = static_cast<int>(n);
  return true;
}

void DelimitedList::FreeTokens() {
  if (m_tokens != nullptr) {
    TokenHeader *header = HeaderOf(m_tokens);
    if (--header->holders == 0) {
      for (std::size_t i = 0; i < header->slots; ++i) std::free(m_tokens[i]);
      std::free(header);
    }
  }
  m_tokens = nullptr;
  m_count = 0;
}
