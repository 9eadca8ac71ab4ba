// A module's view of the installed library: the umbrella header, a String, a BSTR.
#include <cstdio>

#include <kzcore/kzcore.h>

int main() {
  String text;
  text.Format(u"%s: %d features", u"Roads", 42);
  BSTR copy = text.MakeBSTR();
  const bool ok = SysStringLen(copy) == 18 && text.Compare(u"Roads: 42 features") == 0;
  SysFreeString(copy);
  std::puts(ok ? "consumer ok" : "consumer FAILED");
  return ok ? 0 : 1;
}
