// Fuzz input as OLE text, 0-terminated. FuzzText: the bytes taken two at a time as 16-bit units,
// after one byte that picks the locale the text is read in. FuzzWideText: after one byte that
// picks the reading, the rest either as UTF-8 (even) or as 16-bit units (odd).
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <kzcore/pal/types.h>
#include <kzcore/pal/wide.h>

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

struct FuzzWideText {
  std::vector<OLECHAR> units;

  // Call only with size > 0.
  FuzzWideText(const uint8_t *data, size_t size) {
    const bool utf8 = data[0] % 2 == 0;
    ++data;
    --size;
    if (utf8) {
      std::string narrow(reinterpret_cast<const char *>(data), size);
      units.resize(size + 1);
      mbstowcs(units.data(), narrow.c_str(), size + 1);
      units.back() = 0;
    } else {
      units.resize(size / 2 + 1, 0);
      std::memcpy(units.data(), data, size / 2 * 2);
    }
  }
  const OLECHAR *text() const { return units.data(); }
};
