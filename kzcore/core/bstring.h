// BString: the owner of one BSTR, the text type of COM calls. String is the library's working
// text; BString holds what a COM call returned or will take. The two meet in a copy in each
// direction and share nothing.
//
//   BString name(u"Parcels");
//   BString id(KZ_IID(IUnknown));              // u"{00000000-0000-0000-C000-000000000046}"
//   BString result;
//   object->GetName(&result);                  // operator& frees what result held
//   if (result == u"Parcels") ...
//   result.Append(u" (copy)");
//
// A null BSTR is a legal state. It reads as empty (GetLength 0, IsEmpty true), but equality keeps
// it apart: a null BString equals only another null one, never u"".
#pragma once

#include <kzcore/pal/guid.h>
#include <kzcore/pal/types.h>

class String;

class KZ_API BString {
 public:
  BString() : m_bstr(nullptr) {}
  // Copies up to the first 0 unit of the source (a BSTR may hold more); null stays null.
  BString(const BString &other);
  // The whole text, by its length.
  BString(const String &text);
  // Null gives null.
  BString(const WCHAR *text);
  // Exactly `count` units, 0 units included; a null text gives null.
  BString(const WCHAR *text, LONG count);
  BString(const unsigned short *text, LONG count)
      : BString(reinterpret_cast<const WCHAR *>(text), count) {}
  // A BSTR of `count` units for a callee to fill.
  explicit BString(LONG count);
  // Narrow text; null gives null. Mode 0 converts UTF-8 (up to the first invalid byte, as
  // mbstowcs does). Any other mode widens each byte by itself with sign extension, so that bytes
  // of 128 and above become units of 0xFF80 and above: that mode carries byte strings that are
  // not text, unchanged in their low bytes.
  BString(const char *text, int mode = 0);
  // The registry form with braces, 38 units.
  BString(const GUID &guid);
  // String resource `id` of `instance`; null when there is none.
  BString(int id, HINSTANCE instance);
  ~BString();

  // Nothing when the source is this object; otherwise a copy up to the first 0 unit.
  BString &operator=(const BString &other);
  BString &operator=(const String &text);
  // Nothing when `text` is the very pointer this object holds. A pointer into the middle of the
  // held text is not allowed: the text is freed before it is read.
  BString &operator=(const WCHAR *text);
  // UTF-8, as mode 0 of the constructor.
  BString &operator=(const char *text);

  operator WCHAR *() const { return m_bstr; }
  // For output parameters of COM calls: frees the held BSTR, sets null, and gives the field's
  // address. Taking the address clears the content, so it is never for reading.
  BSTR *operator&();
  // Gives up the BSTR, which the caller then owns.
  BSTR Detach();
  // Takes `text` without copying, after freeing the held one.
  void Attach(BSTR text);
  // Takes the other's BSTR and leaves the other null.
  void Attach(BString &other);

  // 0 for null; a BSTR's own length otherwise, embedded 0 units counted.
  UINT GetLength() const;
  bool IsEmpty() const { return GetLength() == 0; }
  // _wcsicmp; 0x7FFFFFFF, the library's "not comparable" mark, when either side is null.
  int CompareNoCase(const WCHAR *text) const;

  // Appending. Each gives S_OK, or E_OUTOFMEMORY with the object unchanged. A null object takes
  // the source's text.
  HRESULT Append(const BString &other);  // by the source's BSTR length, 0 units included
  HRESULT AppendBSTR(BSTR text);         // the same
  HRESULT Append(const WCHAR *text);     // up to the source's first 0 unit
  // Exactly `count` units. A negative count gives E_INVALIDARG, a null text with a count above 0
  // E_POINTER; both leave the object unchanged.
  HRESULT Append(const WCHAR *text, int count);
  BString &operator+=(const BString &other) {
    Append(other);
    return *this;
  }

  // 1 when equal, else 0. Null equals only null; two texts compare up to their first 0 units.
  // Narrow text is converted as mode 0 of the constructor first.
  int operator==(const BString &other) const { return Equals(other.m_bstr); }
  int operator==(WCHAR *text) const { return Equals(text); }
  int operator==(const WCHAR *text) const { return Equals(text); }
  int operator==(char *text) const;
  int operator==(const char *text) const;
  int operator!=(const BString &other) const { return !Equals(other.m_bstr); }
  int operator!=(WCHAR *text) const { return !Equals(text); }
  int operator!=(const WCHAR *text) const { return !Equals(text); }
  int operator!=(char *text) const { return !(*this == text); }
  int operator!=(const char *text) const { return !(*this == text); }

  // Frees the held BSTR, then loads string resource `id`. False, with the object null, when
  // there is none.
  bool LoadStringW(int id, HINSTANCE instance);

 private:
  void Free();
  int Equals(const WCHAR *text) const;

  BSTR m_bstr;
};

static_assert(sizeof(BString) == sizeof(void *), "a BString is one BSTR pointer");
