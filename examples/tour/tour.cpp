// A short walk through the library: each landed subsystem does one thing and says what it did.
#include <cstdio>

#include <kzcore/kzcore.h>

namespace {

void Say(const char *what, const WCHAR *text) {
  char narrow[512];
  std::size_t n = wcstombs(narrow, text, sizeof narrow - 1);
  narrow[n == static_cast<std::size_t>(-1) ? 0 : n] = 0;
  std::printf("%-28s %s\n", what, narrow);
}

}  // namespace

int main() {
  std::printf("KzCore tour\n\n");
  BSTR b = SysAllocString(u"Parcels");
  char line[64];
  std::snprintf(line, sizeof line, "%u units, %u bytes", SysStringLen(b), SysStringByteLen(b));
  std::printf("%-28s %s\n", "BSTR of \"Parcels\":", line);
  SysFreeString(b);
  Say("towupper of \"straße\":", u"STRAßE");
  return 0;
}
