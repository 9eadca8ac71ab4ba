// String: the library's text class. UTF-16 text in one reference-counted block, held by a single
// pointer to the first text unit.
//
//   String name(u"Roads");
//   String copy = name;                 // shares the block: one increment, no allocation
//   copy += u" and rails";              // copy gets a block of its own first
//   name.Format(u"%s: %d", u"Layer", 7);
//   LONG at = copy.Find(u"rails");      // 10
//
// The block is laid out as a 12-byte header followed by the text and a 0 unit:
//
//   [reference count: 32 bits][capacity in bytes: 32 bits][length in units: 32 bits][text...][0]
//                                                                                   ^ the pointer
//
// The header lies at negative offsets from the text pointer (count three words before, capacity
// two, length one). This layout is part of the contract: inline members, other classes of the
// library and modules outside it read the length there, so it never changes.
//
// Sharing rules, kept on purpose:
// - The count is a plain integer, not atomic, so that a copy stays one increment. A String may be
//   handed to another thread only as a deep copy.
// - Every String has a block, the empty one too; empty strings are not shared.
// - Replace writes into the block without unsharing it: all sharers see the change.
// - Capacity never shrinks during a block's life; overwriting an unshared string whose block is
//   large enough does not allocate.
#pragma once

#include <cstdarg>

#include <kzcore/pal/types.h>

struct IStream;
struct tagVARIANT;

class KZ_API String {
 public:
  // An empty string in a private 76-byte block.
  String();
  String(const String &other) : m_pchData(other.m_pchData) { ++Header(m_pchData)->refs; }
  // Copies the text (null is the empty text) into a block sized for max(length, minimum) units;
  // the length is the text's own.
  String(const WCHAR *text, ULONG minimum = 0);
  // Converts UTF-8 text (null is the empty text); conversion stops at an invalid byte.
  String(const char *text);
  // One unit; a 0 unit gives the empty string.
  String(WCHAR unit);
  // Changes the caller's variant to VT_BSTR in place unless it has that type, then copies the text
  // up to its first 0 unit. A failed change throws its HRESULT as a LONG.
  String(tagVARIANT &value);
  // Loads string resource `id` of `instance`.
  String(int id, HINSTANCE instance);
  ~String() {
    if (--Header(m_pchData)->refs == 0) FreeBlock(m_pchData);
  }

  // Drops this object's block first, then shares the source's. There is deliberately no test for
  // self-assignment: the order of these two steps is kept.
  String &operator=(const String &other);
  String &operator=(const WCHAR *text);
  String &operator=(const char *text);
  String &operator=(WCHAR unit);

  // The text; never null.
  operator const WCHAR *() const { return m_pchData; }
  ULONG GetLength() const { return Header(m_pchData)->length; }
  ULONG GetLengthImpl() const { return Header(m_pchData)->length; }
  bool IsEmpty() const { return GetLength() == 0; }
  // Unchecked.
  WCHAR GetAt(ULONG index) const { return m_pchData[index]; }
  // False when the index is not below the length. Writing a 0 unit cuts the length there.
  bool SetAt(ULONG index, WCHAR unit);
  void Empty();
  // A new BSTR of the full length; the caller frees it.
  BSTR MakeBSTR() const;
  // Bytes the text takes as narrow (UTF-8) text; when a unit has no narrow form, the length, or
  // twice the length for Chinese, Japanese and Korean.
  ULONG GetByteLength() const;
  // GetByteLength, doubled for Chinese with sublanguage 1 or 3, whose EUC forms are counted at two
  // bytes a character.
  ULONG GetEucByteLength() const;

  // Appending. A null or empty argument (or a 0 unit) leaves the string untouched, not even
  // unshared.
  String &operator+=(const WCHAR *text);
  String &operator+=(const char *text);
  String &operator+=(WCHAR unit) {
    // The common case inline: an unshared block with room takes the unit where it is, exactly as
    // the general path would leave it.
    BlockHeader *h = Header(m_pchData);
    const ULONG length = h->length;
    // Every block holds at least 31 units, so room for length + 1 units is 2 * length + 16 bytes.
    if (unit != 0 && h->refs == 1 && std::uint64_t{length} * 2 + 16 <= h->capacity) {
      m_pchData[length] = unit;
      m_pchData[length + 1] = 0;
      h->length = length + 1;
      return *this;
    }
    return AppendUnit(unit);
  }
  // Appends up to `count` units from source + start, stopping at a 0 unit. A null source, or one
  // whose first unit is 0, leaves the string untouched.
  void AppendN(const WCHAR *source, LONG start, LONG count);
  void AppendN(const char *source, LONG start, LONG count);

  void MakeLower();
  void MakeUpper();
  // Remove space, tab and line feed; carriage return is deliberately not among them.
  void TrimLeft();
  void TrimRight();
  void TrimLeft(WCHAR unit);
  void TrimRight(WCHAR unit);
  // Replaces `old_unit` by `new_unit` over the whole text; returns how many were replaced.
  LONG Replace(WCHAR old_unit, WCHAR new_unit);
  // Replaces within [start, end], where `end` is inclusive when it lies inside the text and the
  // last unit otherwise; a one-unit range does nothing. Writes without unsharing.
  LONG Replace(UINT start, UINT end, WCHAR old_unit, WCHAR new_unit);
  String Right(ULONG count) const;
  String Left(ULONG count) const;
  // Up to `count` units from `start`; a negative count takes all that are available.
  String Mid(ULONG start, LONG count) const;
  // A new string that fits `bytes` bytes of narrow text without splitting a character. For
  // languages without double-byte text, `bytes` is taken as a count of units.
  String AnsiTruncate(ULONG bytes) const;
  // Appends the units from `start` to the end to `out`, which is deliberately not cleared first;
  // a start at or past the end empties `out`.
  void GetTail(UINT start, String *out) const;

  // Searches: the index of the hit, or -1.
  LONG Find(WCHAR unit) const;
  // Direction 0 searches backward from the end, any other value forward from the start.
  LONG Find(int direction, WCHAR unit) const;
  LONG ReverseFind(WCHAR unit) const;
  LONG Find(const WCHAR *text) const;
  LONG Find(const WCHAR *text, ULONG start) const;
  // A hit whose neighbours are not letters or digits.
  LONG FindWholeWord(const WCHAR *text) const;
  LONG FindNoCase(const WCHAR *text, ULONG start = 0) const;

  // -1, 0 or 1 by unsigned 16-bit units.
  int Compare(const WCHAR *text) const;
  // _wcsicmp; with a null argument, 0x7FFFFFFF, the library's "not comparable" mark.
  int CompareNoCase(const WCHAR *text) const;

  // printf-style formatting with the wide conventions (%s wide, %S narrow) into this string.
  void FormatV(const WCHAR *format, va_list args);
  void Format(const WCHAR *format, ...);
  void Format(int id, HINSTANCE instance, ...);
  // Message formatting with numbered inserts (%1, %2!d!); a failure gives the empty string.
  void FormatMessageV(const WCHAR *format, va_list *args);
  void FormatMessageW(const WCHAR *format, ...);
  void FormatMessageW(int id, HINSTANCE instance, ...);
  // Loads string resource `id`; false (and an empty string) when there is none.
  bool LoadStringW(int id, HINSTANCE instance);

  // wcstod of the text; the rest after the number is ignored.
  double AsDouble() const;
  LONG AsLong() const;
  // dBASE numeric field text. The sign comes from the integer part only, so "-0.5" reads as 0.5:
  // kept, the field format relies on it.
  double AsDBaseDouble() const;

  // Stream form: a 4-byte byte count (length * 2 + 2, top bit cleared) and the text with its 0
  // unit, little-endian.
  HRESULT Write(IStream *stream) const;
  HRESULT Read(IStream *stream);

 private:
  struct BlockHeader {
    ULONG refs;      // plain, not atomic: see above
    ULONG capacity;  // bytes of the whole block, header and terminator included
    ULONG length;    // units, terminator not counted
  };
  static_assert(sizeof(BlockHeader) == 12);

  // A string without a block yet, for members that size the block themselves: a string that has
  // no block gets exactly the bytes it needs.
  struct NoBlock {};
  explicit String(NoBlock) : m_pchData(nullptr) {}
  static String Sized(ULONG length);

  static BlockHeader *Header(const WCHAR *text) {
    return reinterpret_cast<BlockHeader *>(const_cast<WCHAR *>(text)) - 1;
  }
  static void FreeBlock(WCHAR *text);
  // Bytes of a block for `length` units: room for at least 31 units, the header and a terminator.
  static constexpr std::uint64_t Need(std::uint64_t length) { return (length > 31 ? length : 31) * 2 + 14; }
  String &AppendUnit(WCHAR unit);
  // Prepares a block for `length` units: see string.cpp.
  void CreateStringData(ULONG length, bool keep, ULONG start);
  void SetLengthImpl(ULONG length) { Header(m_pchData)->length = length; }
  void EmptyBlock();
  bool InBlock(const void *p) const;
  void AssignUtf8(const char *text);
  void TrimLeftSet(const WCHAR *set);
  void TrimRightSet(const WCHAR *set);

  WCHAR *m_pchData;
};

static_assert(sizeof(String) == sizeof(void *), "a String is one pointer");
