#include <kzcore/pal/guid_text.h>

namespace {

constexpr char kHex[] = "0123456789ABCDEF";

OLECHAR *PutHex(OLECHAR *out, std::uint64_t value, int digits) {
  for (int i = digits - 1; i >= 0; --i) out[i] = static_cast<OLECHAR>(kHex[(value >> (4 * (digits - 1 - i))) & 0xF]);
  return out + digits;
}

}  // namespace

int StringFromGUID2(REFGUID guid, LPOLESTR text, int max) {
  if (text == nullptr || max < 39) return 0;
  OLECHAR *p = text;
  *p++ = u'{';
  p = PutHex(p, guid.Data1, 8);
  *p++ = u'-';
  p = PutHex(p, guid.Data2, 4);
  *p++ = u'-';
  p = PutHex(p, guid.Data3, 4);
  *p++ = u'-';
  p = PutHex(p, guid.Data4[0], 2);
  p = PutHex(p, guid.Data4[1], 2);
  *p++ = u'-';
  for (int i = 2; i < 8; ++i) p = PutHex(p, guid.Data4[i], 2);
  *p++ = u'}';
  *p = 0;
  return 39;
}
