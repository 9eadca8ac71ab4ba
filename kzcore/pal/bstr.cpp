#include <kzcore/pal/bstr.h>

#include <cstdlib>
#include <cstring>

#include <kzcore/pal/wide.h>

namespace {

constexpr std::size_t kPrefix = sizeof(DWORD);

// Allocates prefix + bytes + a 0 unit (two 0 bytes) and writes the prefix; the text is uninitialised.
BSTR AllocateBytes(UINT bytes) {
  auto *block = static_cast<unsigned char *>(std::malloc(kPrefix + std::size_t{bytes} + sizeof(OLECHAR)));
  if (block == nullptr) return nullptr;
  DWORD length = bytes;
  std::memcpy(block, &length, kPrefix);
  block[kPrefix + bytes] = 0;
  block[kPrefix + bytes + 1] = 0;
  return reinterpret_cast<BSTR>(block + kPrefix);
}

unsigned char *BlockOf(BSTR bstr) { return reinterpret_cast<unsigned char *>(bstr) - kPrefix; }

}  // namespace

BSTR SysAllocString(const OLECHAR *text) {
  if (text == nullptr) return nullptr;
  return SysAllocStringLen(text, static_cast<UINT>(wcslen(text)));
}

BSTR SysAllocStringLen(const OLECHAR *text, UINT length) {
  if (length > (0xFFFFFFFFu - kPrefix - sizeof(OLECHAR)) / sizeof(OLECHAR)) return nullptr;
  BSTR b = AllocateBytes(length * static_cast<UINT>(sizeof(OLECHAR)));
  if (b == nullptr) return nullptr;
  if (text != nullptr)
    std::memcpy(b, text, std::size_t{length} * sizeof(OLECHAR));
  else
    std::memset(b, 0, std::size_t{length} * sizeof(OLECHAR));
  return b;
}

BSTR SysAllocStringByteLen(const char *bytes, UINT length) {
  if (length > 0xFFFFFFFFu - kPrefix - sizeof(OLECHAR)) return nullptr;
  BSTR b = AllocateBytes(length);
  if (b == nullptr) return nullptr;
  if (bytes != nullptr)
    std::memcpy(b, bytes, length);
  else
    std::memset(b, 0, length);
  return b;
}

INT SysReAllocStringLen(BSTR *bstr, const OLECHAR *text, UINT length) {
  if (bstr == nullptr) return FALSE;
  // The source may lie inside the old string, so the new one is made before the old is freed.
  BSTR fresh = SysAllocStringLen(text, length);
  if (fresh == nullptr) return FALSE;
  SysFreeString(*bstr);
  *bstr = fresh;
  return TRUE;
}

INT SysReAllocString(BSTR *bstr, const OLECHAR *text) {
  if (bstr == nullptr) return FALSE;
  return SysReAllocStringLen(bstr, text, text == nullptr ? 0 : static_cast<UINT>(wcslen(text)));
}

void SysFreeString(BSTR bstr) {
  if (bstr != nullptr) std::free(BlockOf(bstr));
}

UINT SysStringByteLen(BSTR bstr) {
  if (bstr == nullptr) return 0;
  DWORD length;
  std::memcpy(&length, BlockOf(bstr), kPrefix);
  return length;
}

UINT SysStringLen(BSTR bstr) { return SysStringByteLen(bstr) / sizeof(OLECHAR); }
