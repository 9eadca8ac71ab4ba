#include <kzcore/core/string_array.h>

#include <cstdint>
#include <cstdlib>
#include <new>

StringArray::StringArray(const StringArray &other) { *this = other; }

StringArray &StringArray::operator=(const StringArray &other) {
  if (this == &other) return *this;
  SetSize(other.m_nSize);
  for (int i = 0; i < m_nSize; ++i) *m_pData[i] = *other.m_pData[i];
  return *this;
}

void StringArray::SetSize(int size, int grow_by) {
  if (grow_by > 0) m_nGrowBy = grow_by;
  if (size == m_nSize) return;
  if (size < 0) throw InvalidSize;
  if (size > m_nMaxSize) {
    const int shortfall = size - m_nMaxSize;
    const std::int64_t capacity =
        shortfall <= m_nGrowBy ? std::int64_t{m_nMaxSize} + m_nGrowBy : std::int64_t{size};
    // The slot count is an int; a grow-by that would pass its range takes the new size instead.
    const int slots = capacity > 0x7FFFFFFF ? size : static_cast<int>(capacity);
    auto *data = static_cast<String **>(std::realloc(m_pData, sizeof(String *) * static_cast<std::size_t>(slots)));
    if (data == nullptr) throw std::bad_alloc();
    m_pData = data;
    // The capacity counts only slots that hold a String, so a failed allocation leaves the array
    // whole.
    while (m_nMaxSize < slots) {
      m_pData[m_nMaxSize] = new String;
      ++m_nMaxSize;
    }
  }
  m_nSize = size;
}

void StringArray::RemoveAll() {
  for (int i = 0; i < m_nMaxSize; ++i) delete m_pData[i];
  std::free(m_pData);
  m_pData = nullptr;
  m_nSize = 0;
  m_nMaxSize = 0;
}

void StringArray::CheckIndex(int index) const {
  if (index < 0 || index >= m_nSize) throw InvalidIndex;
}

String &StringArray::operator[](int index) {
  CheckIndex(index);
  return *m_pData[index];
}

String StringArray::Get(int index) const {
  CheckIndex(index);
  return *m_pData[index];
}

void StringArray::Set(int index, const String &value) {
  CheckIndex(index);
  // A copy first: the value may be this very element, and a String dropped its block before it
  // takes the new one.
  const String copy(value);
  *m_pData[index] = copy;
}

void StringArray::Set(int index, const WCHAR *value) {
  CheckIndex(index);
  *m_pData[index] = value;
}

void StringArray::Insert(const String &value, int index) {
  if (index != -1 && (index < 0 || index >= m_nSize)) throw InvalidIndex;
  // Held before the elements move: the value may be one of them.
  const String copy(value);
  SetSize(m_nSize + 1);
  const int position = index == -1 ? m_nSize - 1 : index;
  for (int i = m_nSize - 1; i > position; --i) *m_pData[i] = *m_pData[i - 1];
  *m_pData[position] = copy;
}

void StringArray::Insert(const WCHAR *value, int index) {
  if (index != -1 && (index < 0 || index >= m_nSize)) throw InvalidIndex;
  // A copy of the text first: it may lie in an element's block.
  const String copy(value);
  SetSize(m_nSize + 1);
  const int position = index == -1 ? m_nSize - 1 : index;
  for (int i = m_nSize - 1; i > position; --i) *m_pData[i] = *m_pData[i - 1];
  *m_pData[position] = static_cast<const WCHAR *>(copy);
}

void StringArray::Remove(int index, int count) {
  CheckIndex(index);
  if (count < 0 || std::int64_t{index} + count > m_nSize) throw InvalidCount;
  if (count == 0) return;  // nothing moves (an element assigned to itself would lose its block)
  for (int i = index + count; i < m_nSize; ++i) *m_pData[i - count] = *m_pData[i];
  m_nSize -= count;
}

namespace {

// qsort takes a comparison of two const void *; the array's comparison takes two const String **.
// The comparison of the sort in progress on this thread is called through this adapter rather
// than through a cast function pointer, whose call would not be defined.
thread_local StringArray::CompareProc sort_compare = nullptr;

int CompareSlots(const void *a, const void *b) {
  return sort_compare(static_cast<const String **>(const_cast<void *>(a)),
                      static_cast<const String **>(const_cast<void *>(b)));
}

}  // namespace

void StringArray::Sort(CompareProc compare) {
  if (m_nSize < 2 || compare == nullptr) return;
  // Saved and restored: a comparison may itself sort another array.
  const CompareProc outer = sort_compare;
  sort_compare = compare;
  std::qsort(m_pData, static_cast<std::size_t>(m_nSize), sizeof(String *), CompareSlots);
  sort_compare = outer;
}

int StringArray::Compare(const String **a, const String **b) { return (*a)->Compare(**b); }
