// Tokenize against a plain reference split. Input: a flags byte (trim, lower), a count of
// delimiter units (0 to 7), the delimiters, then the text, all as UTF-16 units.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <kzcore/pal/wide.h>
#include <kzcore/server/rest/rest_dispatcher.h>

namespace {

// Runs between delimiters, each trimmed of blank, tab and line feed and lowered when asked,
// empty ones dropped.
std::vector<std::u16string> Reference(const std::u16string &text, const std::u16string &delimiters, bool trim,
                                      bool lower) {
  std::vector<std::u16string> tokens;
  std::u16string token;
  auto flush = [&] {
    if (trim) {
      const char16_t *blanks = u" \t\n";
      size_t first = token.find_first_not_of(blanks);
      token = first == std::u16string::npos ? u"" : token.substr(first, token.find_last_not_of(blanks) - first + 1);
    }
    if (lower)
      for (char16_t &unit : token) unit = towlower(unit);
    if (!token.empty()) tokens.push_back(token);
    token.clear();
  };
  for (char16_t unit : text) {
    if (delimiters.find(unit) != std::u16string::npos)
      flush();
    else
      token += unit;
  }
  flush();
  return tokens;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size < 2) return 0;
  const bool trim = (data[0] & 1) != 0;
  const bool lower = (data[0] & 2) != 0;
  const bool noDelimiters = (data[0] & 4) != 0;
  size_t count = data[1] % 8;
  data += 2;
  size -= 2;
  std::vector<char16_t> units(size / 2);
  std::memcpy(units.data(), data, units.size() * 2);
  if (count > units.size()) count = units.size();
  // Both texts end at their first zero unit, as C text does.
  std::u16string delimiters(units.begin(), units.begin() + count);
  delimiters = delimiters.substr(0, delimiters.find(u'\0'));
  std::u16string text(units.begin() + count, units.end());
  text = text.substr(0, text.find(u'\0'));

  StringArray out;
  RESTSupport::Tokenize(text.c_str(), out, noDelimiters ? nullptr : delimiters.c_str(), trim, lower);
  std::vector<std::u16string> got;
  for (int i = 0; i < out.GetSize(); ++i) got.emplace_back(out.Get(i));
  if (got != Reference(text, noDelimiters ? u"" : delimiters, trim, lower)) std::abort();
  return 0;
}
