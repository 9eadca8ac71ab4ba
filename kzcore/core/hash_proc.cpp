#include <kzcore/core/hash_proc.h>

ULONG HashProc(const WCHAR *text) {
  ULONG h = 0;
  if (text == nullptr) return h;
  for (; *text != 0; ++text) h = h * 33 + *text;
  return h;
}
