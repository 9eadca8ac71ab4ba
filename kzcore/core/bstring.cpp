#include <kzcore/core/bstring.h>

#include <cstring>
#include <memory>

#include <kzcore/core/string.h>
#include <kzcore/pal/bstr.h>
#include <kzcore/pal/guid_text.h>
#include <kzcore/pal/module.h>
#include <kzcore/pal/wide.h>

namespace {

// UTF-8 to a new BSTR, up to the first invalid byte. Texts under 129 bytes with their terminator
// convert on the stack.
BSTR AllocateFromUtf8(const char *text) {
  if (text == nullptr) return nullptr;
  const std::size_t size = std::strlen(text) + 1;  // a UTF-8 text has no more units than bytes
  WCHAR local[129];
  std::unique_ptr<WCHAR[]> heap;
  WCHAR *buffer = local;
  if (size > 129) {
    heap.reset(new WCHAR[size]);
    buffer = heap.get();
  }
  // An invalid byte stops the conversion; what came before it stays, terminated.
  mbstowcs(buffer, text, size);
  return SysAllocString(buffer);
}

}  // namespace

BString::BString(const BString &other) : m_bstr(SysAllocString(other.m_bstr)) {}

BString::BString(const String &text) : m_bstr(SysAllocStringLen(text, text.GetLength())) {}

BString::BString(const WCHAR *text) : m_bstr(SysAllocString(text)) {}

BString::BString(const WCHAR *text, LONG count)
    : m_bstr(text != nullptr && count >= 0 ? SysAllocStringLen(text, static_cast<UINT>(count)) : nullptr) {}

BString::BString(LONG count)
    : m_bstr(count >= 0 ? SysAllocStringLen(nullptr, static_cast<UINT>(count)) : nullptr) {}

BString::BString(const char *text, int mode) : m_bstr(nullptr) {
  if (text == nullptr) return;
  if (mode == 0) {
    m_bstr = AllocateFromUtf8(text);
    return;
  }
  const std::size_t length = std::strlen(text);
  if (length > 0x7FFFFFF0u) return;
  m_bstr = SysAllocStringLen(nullptr, static_cast<UINT>(length));
  if (m_bstr == nullptr) return;
  for (std::size_t i = 0; i < length; ++i)
    m_bstr[i] = static_cast<WCHAR>(static_cast<SHORT>(static_cast<signed char>(text[i])));
}

BString::BString(const GUID &guid) : m_bstr(nullptr) {
  WCHAR text[40] = {};
  StringFromGUID2(guid, text, 40);
  m_bstr = SysAllocString(text);
}

BString::BString(int id, HINSTANCE instance) : m_bstr(nullptr) { LoadStringW(id, instance); }

BString::~BString() { Free(); }

void BString::Free() {
  if (m_bstr != nullptr) SysFreeString(m_bstr);
  m_bstr = nullptr;
}

BString &BString::operator=(const BString &other) {
  if (this == std::addressof(other)) return *this;
  Free();
  m_bstr = SysAllocString(other.m_bstr);
  return *this;
}

BString &BString::operator=(const String &text) {
  Free();
  m_bstr = SysAllocStringLen(text, text.GetLength());
  return *this;
}

BString &BString::operator=(const WCHAR *text) {
  if (text == m_bstr) return *this;
  Free();
  m_bstr = SysAllocString(text);
  return *this;
}

BString &BString::operator=(const char *text) {
  Free();
  m_bstr = AllocateFromUtf8(text);
  return *this;
}

BSTR *BString::operator&() {
  Free();
  return &m_bstr;
}

BSTR BString::Detach() {
  BSTR text = m_bstr;
  m_bstr = nullptr;
  return text;
}

void BString::Attach(BSTR text) {
  if (text == m_bstr) return;  // taking what it already holds must not free it
  Free();
  m_bstr = text;
}

void BString::Attach(BString &other) {
  if (std::addressof(other) == this) return;
  Free();
  m_bstr = other.Detach();
}

UINT BString::GetLength() const { return m_bstr == nullptr ? 0 : SysStringLen(m_bstr); }

int BString::CompareNoCase(const WCHAR *text) const {
  if (m_bstr == nullptr || text == nullptr) return 0x7FFFFFFF;
  return _wcsicmp(m_bstr, text);
}

HRESULT BString::Append(const BString &other) {
  return Append(other.m_bstr, static_cast<int>(SysStringLen(other.m_bstr)));
}

HRESULT BString::AppendBSTR(BSTR text) { return Append(text, static_cast<int>(SysStringLen(text))); }

HRESULT BString::Append(const WCHAR *text) { return Append(text, lstrlenW(text)); }

HRESULT BString::Append(const WCHAR *text, int count) {
  if (count < 0) return E_INVALIDARG;
  if (text == nullptr && count > 0) return E_POINTER;
  const UINT own = GetLength();
  const std::uint64_t length = std::uint64_t{own} + static_cast<std::uint64_t>(count);
  if (length > 0xFFFFFFFFu) return E_OUTOFMEMORY;
  BSTR joined = SysAllocStringLen(nullptr, static_cast<UINT>(length));
  if (joined == nullptr) return E_OUTOFMEMORY;
  if (own != 0) std::memcpy(joined, m_bstr, std::size_t{own} * sizeof(WCHAR));
  // The source may be this object's own text (appending a BString to itself): it is read before
  // the old BSTR is freed.
  if (count != 0) std::memcpy(joined + own, text, static_cast<std::size_t>(count) * sizeof(WCHAR));
  joined[length] = 0;
  Free();
  m_bstr = joined;
  return S_OK;
}

int BString::Equals(const WCHAR *text) const {
  if (m_bstr == nullptr || text == nullptr) return m_bstr == nullptr && text == nullptr;
  return wcscmp(m_bstr, text) == 0;
}

int BString::operator==(char *text) const { return *this == static_cast<const char *>(text); }

int BString::operator==(const char *text) const {
  const BString other(text, 0);
  return Equals(other.m_bstr);
}

bool BString::LoadStringW(int id, HINSTANCE instance) {
  Free();
  // The buffer grows by 256 units at a time while fewer than three units are left free after the
  // text, which means it may have been cut.
  int size = 256;
  std::unique_ptr<WCHAR[]> buffer;
  int n;
  for (;;) {
    buffer.reset(new WCHAR[static_cast<std::size_t>(size)]);
    n = ::LoadStringW(instance, static_cast<UINT>(id), buffer.get(), size);
    if (n == 0) return false;
    if (size - n >= 3) break;
    size += 256;
  }
  m_bstr = SysAllocStringLen(buffer.get(), static_cast<UINT>(n));
  return true;
}
