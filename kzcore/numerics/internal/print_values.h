// The text pieces of Vector::Print and Matrix::Print.
#pragma once

#include <charconv>
#include <string>

#include <kzcore/pal/types.h>

namespace kz::internal {

// "caption " when there is a caption.
inline void AppendCaption(std::u16string &text, const WCHAR *caption) {
  if (!caption || !*caption) return;
  text += caption;
  text += u' ';
}

inline void AppendAscii(std::u16string &text, const char *begin, const char *end) {
  for (; begin != end; ++begin) text += static_cast<char16_t>(*begin);
}

inline void AppendInteger(std::u16string &text, long long v) {
  char buf[24];
  auto r = std::to_chars(buf, buf + sizeof buf, v);
  AppendAscii(text, buf, r.ptr);
}

// The shortest text that reads back to the same double; "nan", "-nan", "inf", "-inf".
inline void AppendDouble(std::u16string &text, double v) {
  char buf[32];
  auto r = std::to_chars(buf, buf + sizeof buf, v);
  AppendAscii(text, buf, r.ptr);
}

}  // namespace kz::internal
