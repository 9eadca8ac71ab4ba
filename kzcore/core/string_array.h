// StringArray: the library's list of texts, indexed from 0, with exceptions for misuse.
//
//   StringArray names;
//   names.Insert(u"Roads", -1);        // -1 appends
//   names.Insert(u"Rails", 0);         // before the first element
//   String first = names[0];           // "Rails", sharing the element's block
//   names.Remove(0, 1);
//   try { names.Get(5); } catch (StringArray::Errors e) { ... }   // InvalidIndex
//
// Each slot points to a String of its own on the heap, so a String & taken from the array stays
// valid while the slot array grows, and Sort moves pointers, not texts. Moving elements for Insert
// and Remove shares text blocks; no text is copied.
//
// Slots are kept up to the capacity, each with a live String, also beyond the size: shrinking
// frees nothing, so SetSize down and up again shows the old texts in the old slots. A caller that
// wants fresh elements sets them.
//
// Elements share text blocks with plain counts, so an array and its copies belong to one thread.
#pragma once

#include <kzcore/core/string.h>
#include <kzcore/pal/types.h>

class KZ_API StringArray {
 public:
  // Thrown by value on misuse.
  enum Errors {
    InvalidSize = 0,   // a negative size
    InvalidIndex = 1,  // an index out of range
    InvalidCount = 2,  // a range that passes the end of the array
  };
  using CompareProc = int (*)(const String **, const String **);

  StringArray() = default;
  // The size of the source, each element sharing the source's text block. The grow-by value is
  // not copied.
  StringArray(const StringArray &other);
  StringArray &operator=(const StringArray &other);
  ~StringArray() { RemoveAll(); }

  int GetSize() const { return m_nSize; }
  // A grow-by above 0 replaces the stored one (which starts at 10); 0 or -1 keeps it. When the
  // new size passes the capacity, the capacity rises by the grow-by value, or to the new size when
  // that is further. A negative size throws InvalidSize.
  void SetSize(int size, int grow_by = -1);
  // Destroys every String in every slot and frees the slots; the grow-by value stays.
  void RemoveAll();

  // Index checks throw InvalidIndex for an index outside 0 to size - 1.
  String operator[](int index) const { return Get(index); }
  String &operator[](int index);
  String Get(int index) const;
  void Set(int index, const String &value);
  void Set(int index, const WCHAR *value);  // null sets an empty text

  // Inserts before the element at `index`, or at the end for -1; any other index not below the
  // size throws InvalidIndex (so an empty array takes only -1).
  void Insert(const String &value, int index = -1);
  void Insert(const WCHAR *value, int index = -1);  // null inserts an empty text
  // Removes `count` elements from `index`. An index outside 0 to size - 1 throws InvalidIndex, a
  // range beyond the end or a negative count InvalidCount. The slots freed at the end keep their
  // strings.
  void Remove(int index, int count = 1);

  // qsort over the elements in use; the default order is ascending by unsigned 16-bit units.
  void Sort(CompareProc compare = &StringArray::Compare);

 private:
  static int Compare(const String **a, const String **b);
  void CheckIndex(int index) const;

  String **m_pData = nullptr;
  int m_nSize = 0;
  int m_nMaxSize = 0;
  int m_nGrowBy = 10;
};
