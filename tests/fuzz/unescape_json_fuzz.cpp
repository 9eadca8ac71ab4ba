// unescapeJSONString on any units, by both forms; and escaping any text then unescaping it gives
// the text back.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include <kzcore/core/text_conversions.h>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  // The units in a buffer of their own, so that reading past the range is caught.
  const std::size_t units = size / 2;
  std::vector<WCHAR> text(units);
  if (units != 0) std::memcpy(text.data(), data, units * 2);

  const String by_length = unescapeJSONString(text.data(), static_cast<LONG>(units));
  const String by_range = unescapeJSONString(text.data(), text.data() + units);
  if (by_length.GetLength() != by_range.GetLength() || by_length.Compare(by_range) != 0) std::abort();
  if (by_length.GetLength() > units) std::abort();  // an escape never gives more units than it takes

  // The round trip, for the text up to its first 0 unit (a String holds no more).
  std::vector<WCHAR> terminated(text);
  terminated.push_back(0);
  const String original(terminated.data());
  const String escaped = escapeJSONString(original);
  const String back = unescapeJSONString(escaped, static_cast<LONG>(escaped.GetLength()));
  if (back.GetLength() != original.GetLength() || back.Compare(original) != 0) std::abort();
  return 0;
}
