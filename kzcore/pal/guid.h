// GUID values with the registry text form, and compile-time interface identifiers.
//
// An interface names its identifier once, beside its declaration:
//
//   struct IRoads : IUnknown { ... };
//   KZ_DECLARE_IID(IRoads, "{6B29FC40-CA47-1067-B31D-00DD010662DA}");
//
// and code asks for it with KZ_IID(IRoads) (a const GUID &) where Windows code writes __uuidof.
#pragma once

#include <kzcore/pal/types.h>

struct GUID {
  DWORD Data1;
  WORD Data2;
  WORD Data3;
  BYTE Data4[8];

  friend constexpr bool operator==(const GUID &a, const GUID &b) {
    if (a.Data1 != b.Data1 || a.Data2 != b.Data2 || a.Data3 != b.Data3) return false;
    for (int i = 0; i < 8; ++i)
      if (a.Data4[i] != b.Data4[i]) return false;
    return true;
  }
};
static_assert(sizeof(GUID) == 16);

using _GUID = GUID;
using IID = GUID;
using CLSID = GUID;
using REFGUID = const GUID &;
using REFIID = const IID &;
using REFCLSID = const CLSID &;
using LPGUID = GUID *;
using LPCLSID = CLSID *;

inline bool IsEqualGUID(REFGUID a, REFGUID b) { return a == b; }
inline bool IsEqualIID(REFIID a, REFIID b) { return a == b; }
inline bool IsEqualCLSID(REFCLSID a, REFCLSID b) { return a == b; }

inline constexpr GUID GUID_NULL{};
inline constexpr IID IID_NULL{};
inline constexpr CLSID CLSID_NULL{};

namespace kz::pal {

constexpr int HexDigit(char c) {
  return c >= '0' && c <= '9'   ? c - '0'
         : c >= 'a' && c <= 'f' ? c - 'a' + 10
         : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                : throw "not a hexadecimal digit";
}

constexpr unsigned long long HexField(const char *s, int n) {
  unsigned long long v = 0;
  for (int i = 0; i < n; ++i) v = v * 16 + static_cast<unsigned long long>(HexDigit(s[i]));
  return v;
}

// Parses "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}" (braces optional) at compile time.
constexpr GUID GuidFromText(const char *s) {
  if (*s == '{') ++s;
  GUID g{};
  g.Data1 = static_cast<DWORD>(HexField(s, 8));
  if (s[8] != '-' || s[13] != '-' || s[18] != '-' || s[23] != '-') throw "malformed GUID text";
  g.Data2 = static_cast<WORD>(HexField(s + 9, 4));
  g.Data3 = static_cast<WORD>(HexField(s + 14, 4));
  g.Data4[0] = static_cast<BYTE>(HexField(s + 19, 2));
  g.Data4[1] = static_cast<BYTE>(HexField(s + 21, 2));
  for (int i = 0; i < 6; ++i) g.Data4[2 + i] = static_cast<BYTE>(HexField(s + 24 + 2 * i, 2));
  return g;
}

// Specialised by KZ_DECLARE_IID for every interface.
template <class Interface>
struct InterfaceId;

}  // namespace kz::pal

#define KZ_DECLARE_IID(Interface, text)                                   \
  template <>                                                             \
  struct kz::pal::InterfaceId<Interface> {                                \
    static constexpr GUID value = kz::pal::GuidFromText(text);            \
  }

#define KZ_IID(Interface) (kz::pal::InterfaceId<Interface>::value)

// Defines a named GUID constant from its text form.
#define KZ_DEFINE_GUID(name, text) inline constexpr GUID name = kz::pal::GuidFromText(text)
