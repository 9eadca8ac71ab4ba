// UTF8Util on any bytes and any units: sizes agree with conversions, valid UTF-8 comes back
// unchanged through UTF-16, and any units come back with only their lone surrogates replaced.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include <kzcore/core/utf8_util.h>
#include <kzcore/pal/bstr.h>
#include <kzcore/pal/code_page.h>

namespace {

bool IsHigh(WCHAR u) { return u >= 0xD800 && u <= 0xDBFF; }
bool IsLow(WCHAR u) { return u >= 0xDC00 && u <= 0xDFFF; }

void BytesToUnitsAndBack(const char *bytes, int length) {
  unsigned units = 0;
  if (UTF8Util::QueryWSize(bytes, length, &units) != S_OK) std::abort();
  if (units > static_cast<unsigned>(length)) std::abort();
  std::vector<WCHAR> wide(units + 1);
  if (UTF8Util::UTF82W(bytes, length, wide.data(), units) != S_OK) std::abort();
  BSTR bstr = nullptr;
  if (UTF8Util::UTF82BSTR(bytes, length, &bstr) != S_OK || SysStringLen(bstr) != units) std::abort();
  if (units != 0 && std::memcmp(bstr, wide.data(), units * 2) != 0) std::abort();
  SysFreeString(bstr);

  char *back = nullptr;
  unsigned back_size = 0;
  if (UTF8Util::W2UTF8(wide.data(), static_cast<int>(units), &back, &back_size) != S_OK) std::abort();
  std::unique_ptr<char[]> owned(back);
  // Valid input comes back byte for byte; any result is itself valid.
  const bool valid = MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, bytes, length, nullptr, 0) != 0;
  if (valid && (back_size != static_cast<unsigned>(length) || std::memcmp(back, bytes, back_size) != 0)) std::abort();
  if (back_size != 0 && MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, back, static_cast<int>(back_size), nullptr, 0) == 0)
    std::abort();
}

void UnitsToBytesAndBack(const WCHAR *text, int length) {
  unsigned size = 0;
  if (UTF8Util::QueryUTF8Size(text, length, &size) != S_OK) std::abort();
  std::vector<char> bytes(size + 1);
  if (UTF8Util::W2UTF8(text, length, bytes.data(), size) != S_OK) std::abort();
  unsigned units = 0;
  if (UTF8Util::QueryWSize(bytes.data(), static_cast<int>(size), &units) != S_OK) std::abort();
  if (units != static_cast<unsigned>(length)) std::abort();  // one unit for each lone surrogate
  std::vector<WCHAR> back(units + 1);
  if (UTF8Util::UTF82W(bytes.data(), static_cast<int>(size), back.data(), units) != S_OK) std::abort();
  for (int i = 0; i < length; ++i) {
    const bool paired = (IsHigh(text[i]) && i + 1 < length && IsLow(text[i + 1])) ||
                        (IsLow(text[i]) && i > 0 && IsHigh(text[i - 1]));
    const WCHAR expected = (IsHigh(text[i]) || IsLow(text[i])) && !paired ? 0xFFFD : text[i];
    if (back[static_cast<std::size_t>(i)] != expected) std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  if (size == 0 || size > (1u << 20)) return 0;
  std::vector<char> bytes(data, data + size);
  BytesToUnitsAndBack(bytes.data(), static_cast<int>(size));
  const std::size_t units = size / 2;
  if (units != 0) {
    std::vector<WCHAR> text(units);
    std::memcpy(text.data(), data, units * 2);
    UnitsToBytesAndBack(text.data(), static_cast<int>(units));
  }
  return 0;
}
