// Fuzz input as OLE text: the bytes taken two at a time as 16-bit units, 0-terminated, and one
// byte chosen to pick the locale the text is read in.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include <kzcore/pal/types.h>

struct FuzzText {
  std::vector<OLECHAR> units;
  LCID lcid = 0;

  FuzzText(const uint8_t *data, size_t size) {
    static constexpr LCID kLocales[] = {0, 1033, 2057, 1031};
    if (size > 0) {
      lcid = kLocales[data[0] % 4];
      ++data;
      --size;
    }
    units.resize(size / 2 + 1);
    std::memcpy(units.data(), data, size / 2 * 2);
    units[size / 2] = 0;
  }
  const OLECHAR *text() const { return units.data(); }
};
