// DelimitedList on any text and delimiter set: the first byte chooses the options and the
// number of delimiter units, the rest is units. Checks every token against the text.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include <kzcore/core/delimited_list.h>
#include <kzcore/pal/wide.h>

namespace {

void Check(const DelimitedList &list, const WCHAR *text, const WCHAR *delimiters, bool trim, bool ignore_empty) {
  std::size_t delimiter_units = 0;
  for (const WCHAR *p = text; *p != 0; ++p)
    if (*delimiters != 0 && wcschr(delimiters, *p) != nullptr) ++delimiter_units;
  if (list.Count() < 0 || static_cast<std::size_t>(list.Count()) > delimiter_units + 1) std::abort();
  if (!ignore_empty && *delimiters != 0 && static_cast<std::size_t>(list.Count()) != delimiter_units + 1) std::abort();
  std::size_t total = 0;
  for (int i = 0; i < list.Count(); ++i) {
    const WCHAR *token = list[i];
    if (token == nullptr) std::abort();
    for (const WCHAR *p = token; *p != 0; ++p)
      if (wcschr(delimiters, *p) != nullptr) std::abort();  // no token holds a delimiter
    if (ignore_empty && !trim && *token == 0) std::abort();  // only trimming leaves an empty token
    total += wcslen(token);
  }
  if (total > wcslen(text)) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  if (size < 1) return 0;
  const bool trim = data[0] & 1, ignore_empty = data[0] & 2;
  const std::size_t units = (size - 1) / 2;
  std::vector<WCHAR> all(units);
  if (units != 0) std::memcpy(all.data(), data + 1, units * 2);
  const std::size_t delimiter_count = std::min<std::size_t>(data[0] >> 2, units);
  std::vector<WCHAR> delimiters(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(delimiter_count));
  delimiters.push_back(0);
  std::vector<WCHAR> text(all.begin() + static_cast<std::ptrdiff_t>(delimiter_count), all.end());
  text.push_back(0);

  const DelimitedList list(text.data(), delimiters.data(), trim, ignore_empty);
  Check(list, text.data(), delimiters.data(), trim, ignore_empty);
  {
    DelimitedList view(list);  // shares the tokens; either may go first
    Check(view, text.data(), delimiters.data(), trim, ignore_empty);
  }
  Check(list, text.data(), delimiters.data(), trim, ignore_empty);

  const DelimitedList single(String(text.data()), delimiters[0], trim);
  const WCHAR one[] = {delimiters[0], 0};
  Check(single, text.data(), one, trim, true);
  return 0;
}
