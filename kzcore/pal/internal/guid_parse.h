// The registry text form of a GUID, "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}", read from 8-bit or
// 16-bit text and written as 16-bit text. Not installed.
#pragma once

#include <cstddef>

#include <kzcore/pal/guid.h>

namespace kz::pal::internal {

// Units in the text form, braces included, without a terminator.
inline constexpr std::size_t kGuidTextLength = 38;

template <class Char>
constexpr int HexValue(Char c) {
  return c >= '0' && c <= '9' ? static_cast<int>(c - '0')
         : c >= 'a' && c <= 'f' ? static_cast<int>(c - 'a' + 10)
         : c >= 'A' && c <= 'F' ? static_cast<int>(c - 'A' + 10)
                                : -1;
}

// Reads exactly the 38 units at `text`: braces, the four hyphens and hexadecimal digits of
// either case, nothing else (no sign, no blank). `guid` is written only on success.
template <class Char>
bool ParseGuidText(const Char *text, GUID &guid) {
  if (text[0] != '{' || text[37] != '}') return false;
  for (int at : {9, 14, 19, 24})
    if (text[at] != '-') return false;
  // Positions of the 32 digits, two per byte, in the order of the bytes as written.
  static constexpr unsigned char kDigits[] = {1,  3,  5,  7,  10, 12, 15, 17, 20, 22, 25, 27, 29, 31, 33, 35};
  unsigned char bytes[16];
  for (int i = 0; i < 16; ++i) {
    int high = HexValue(text[kDigits[i]]);
    int low = HexValue(text[kDigits[i] + 1]);
    if (high < 0 || low < 0) return false;
    bytes[i] = static_cast<unsigned char>(high << 4 | low);
  }
  guid.Data1 = static_cast<DWORD>(bytes[0]) << 24 | static_cast<DWORD>(bytes[1]) << 16 |
               static_cast<DWORD>(bytes[2]) << 8 | bytes[3];
  guid.Data2 = static_cast<WORD>(bytes[4] << 8 | bytes[5]);
  guid.Data3 = static_cast<WORD>(bytes[6] << 8 | bytes[7]);
  for (int i = 0; i < 8; ++i) guid.Data4[i] = bytes[8 + i];
  return true;
}

// Writes the 38 units of the text form with upper-case digits, and a terminator after them.
template <class Char>
void FormatGuidText(const GUID &guid, Char *out) {
  constexpr char kHex[] = "0123456789ABCDEF";
  unsigned char bytes[16] = {
      static_cast<unsigned char>(guid.Data1 >> 24), static_cast<unsigned char>(guid.Data1 >> 16),
      static_cast<unsigned char>(guid.Data1 >> 8),  static_cast<unsigned char>(guid.Data1),
      static_cast<unsigned char>(guid.Data2 >> 8),  static_cast<unsigned char>(guid.Data2),
      static_cast<unsigned char>(guid.Data3 >> 8),  static_cast<unsigned char>(guid.Data3)};
  for (int i = 0; i < 8; ++i) bytes[8 + i] = guid.Data4[i];
  Char *p = out;
  *p++ = '{';
  for (int i = 0; i < 16; ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) *p++ = '-';
    *p++ = static_cast<Char>(kHex[bytes[i] >> 4]);
    *p++ = static_cast<Char>(kHex[bytes[i] & 0xF]);
  }
  *p++ = '}';
  *p = 0;
}

}  // namespace kz::pal::internal
