#include <kzcore/pal/internal/utf8.h>

#include <unicode/ustring.h>

#include <kzcore/pal/wide.h>

namespace kz::pal::internal {

namespace {

// Converts with ICU. A negative `substitute` makes an unpaired surrogate an error.
bool ToUtf8(const WCHAR *text, UChar32 substitute, std::string &out) {
  out.clear();
  if (text == nullptr) return true;
  const auto length = static_cast<int32_t>(wcslen(text));
  UErrorCode status = U_ZERO_ERROR;
  int32_t needed = 0;
  u_strToUTF8WithSub(nullptr, 0, &needed, text, length, substitute, nullptr, &status);
  if (status != U_BUFFER_OVERFLOW_ERROR && U_FAILURE(status)) return false;
  out.resize(static_cast<std::size_t>(needed));
  status = U_ZERO_ERROR;
  u_strToUTF8WithSub(out.data(), needed, &needed, text, length, substitute, nullptr, &status);
  // The terminator does not fit (the string owns it), which ICU reports as a warning only.
  if (U_FAILURE(status)) {
    out.clear();
    return false;
  }
  return true;
}

}  // namespace

bool Utf8FromWide(const WCHAR *text, std::string &out) { return ToUtf8(text, -1, out); }

std::string Utf8FromWideLossy(const WCHAR *text) {
  std::string out;
  ToUtf8(text, 0xFFFD, out);
  return out;
}

std::u16string WideFromUtf8(std::string_view text) {
  std::u16string out;
  if (text.empty()) return out;
  const auto length = static_cast<int32_t>(text.size());
  UErrorCode status = U_ZERO_ERROR;
  int32_t needed = 0;
  u_strFromUTF8WithSub(nullptr, 0, &needed, text.data(), length, 0xFFFD, nullptr, &status);
  if (status != U_BUFFER_OVERFLOW_ERROR && U_FAILURE(status)) return out;
  out.resize(static_cast<std::size_t>(needed));
  status = U_ZERO_ERROR;
  u_strFromUTF8WithSub(out.data(), needed, &needed, text.data(), length, 0xFFFD, nullptr, &status);
  if (U_FAILURE(status)) out.clear();
  return out;
}

}  // namespace kz::pal::internal
