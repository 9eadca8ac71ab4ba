// UTF-8 and UTF-16 conversions at the boundary with the operating system (file names, standard
// error). Not installed.
#pragma once

#include <string>
#include <string_view>

#include <kzcore/pal/types.h>

namespace kz::pal::internal {

// Strict form for names handed to the operating system: false when the text holds a lone
// surrogate, which no UTF-8 name can carry. A null text gives an empty result.
bool Utf8FromWide(const WCHAR *text, std::string &out);
// Lenient forms for text shown to people: what cannot be converted becomes U+FFFD.
std::string Utf8FromWideLossy(const WCHAR *text);
std::u16string WideFromUtf8(std::string_view text);

}  // namespace kz::pal::internal
