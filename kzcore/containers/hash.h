// Hash: the library's chained hash table. Each bucket's chain is kept sorted by the entries'
// stored hash codes, so a search stops at the first greater code and a change of the bucket count
// relinks the entries where they are, without allocating or hashing anything again.
//
//   Hash<LONG, LONG, IUnknown *, IUnknown *> objects;       // 17 buckets
//   objects.SetSize(4096);                                  // the load is the caller's business
//   objects.SetAt(42, unknown);                             // 0: added; 1: replaced
//   if (IUnknown **found = objects.Lookup(42)) (*found)->AddRef();
//
//   auto pos = objects.GetStartPosition();
//   while (pos.entry != nullptr) {
//     LONG key;
//     IUnknown *value;
//     objects.GetNextAssoc(pos, key, value);
//   }
//
// Keys hash as follows (HashKeyTraits; specialise it for a key type of your own):
// - integers: the key itself as an unsigned 32-bit number;
// - pointers: h = h * 33 + byte over the pointer's 8 bytes from the lowest, from 5381, masked
//   with 0x7FFFFFFF;
// - String keys taken as text: HashProc.
// The bucket is the hash modulo the bucket count.
//
// Kept on purpose:
// - SetAt never grows the table; only SetSize changes the bucket count (17 at least).
// - operator= copies the table's three fields as they stand: both tables then share one bucket
//   array and one set of entries, and only one of them may be destroyed or emptied. Whatever the
//   target held before is left behind, not freed. There is no copy constructor.
// - Iteration is not guarded against changes: removing the entry at a position leaves the
//   position dangling.
// - A failed allocation throws std::bad_alloc and leaves the table as it was.
// Memory: entries come from blocks that the table holds until RemoveAll or its destruction; a
// removed entry's room serves the next insertion.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <new>
#include <type_traits>

#include <kzcore/core/hash_proc.h>
#include <kzcore/core/string.h>
#include <kzcore/pal/com.h>
#include <kzcore/pal/types.h>

// The hash of a pointer key: every byte of the address takes part.
inline ULONG HashPointerKey(const void *key) {
  auto bits = reinterpret_cast<std::uintptr_t>(key);
  ULONG h = 5381;
  for (size_t i = 0; i < sizeof bits; ++i, bits >>= 8) h = h * 33 + static_cast<ULONG>(bits & 0xFF);
  return h & 0x7FFFFFFF;
}

// How a table hashes an argument key and compares it with a stored key.
template <class KEY, class ARG_KEY>
struct HashKeyTraits {
  static ULONG Hash(ARG_KEY key) {
    if constexpr (std::is_pointer_v<ARG_KEY>) {
      return HashPointerKey(key);
    } else {
      static_assert(std::is_integral_v<ARG_KEY> || std::is_enum_v<ARG_KEY>, "specialise HashKeyTraits for this key");
      return static_cast<ULONG>(key);
    }
  }
  static bool Equal(const KEY &stored, ARG_KEY key) { return stored == key; }
};

// Text keys: a null text is the empty text, as String takes it.
template <>
struct HashKeyTraits<String, const WCHAR *> {
  static ULONG Hash(const WCHAR *key) { return HashProc(key); }
  static bool Equal(const String &stored, const WCHAR *key) { return stored.Compare(key) == 0; }
};

template <class KEY, class ARG_KEY, class VALUE, class ARG_VALUE>
class Hash {
  using Traits = HashKeyTraits<KEY, ARG_KEY>;

 public:
  // The link comes first and the code sits between key and value: with a 4-byte key or value
  // the padding disappears and an entry of the exported tables takes 24 bytes, not 32.
  struct Entry {
    Entry *next;
    KEY key;
    ULONG hash;
    VALUE value;
  };
  // Where an iteration stands. The end is bucket -1 with a null entry.
  struct HashPosition {
    LONG bucket;
    Entry *entry;
  };

  Hash() : Hash(17) {}
  // `size` buckets, taken as given; a size below 1 gives 17 buckets.
  explicit Hash(LONG size) : size_(size < 1 ? 17 : size), buckets_(NewBuckets(size_)) {}
  Hash(const Hash &) = delete;
  ~Hash() {
    RemoveAll();
    DeleteBuckets(buckets_);
  }
  Hash &operator=(const Hash &other) {
    size_ = other.size_;
    count_ = other.count_;
    buckets_ = other.buckets_;
    return *this;
  }

  LONG GetCount() const { return count_; }
  LONG GetSize() const { return size_; }

  // The value stored under `key`, in its entry, or null.
  VALUE *Lookup(ARG_KEY key) const {
    Entry *e = Find(key, Traits::Hash(key));
    return e != nullptr ? &e->value : nullptr;
  }
  // 1 and the value in `out`, or 0 with `out` untouched.
  int Lookup(ARG_KEY key, VALUE &out) const {
    Entry *e = Find(key, Traits::Hash(key));
    if (e == nullptr) return 0;
    out = e->value;
    return 1;
  }

  // 1 when the key was there and its value was replaced, 0 when an entry was added.
  int SetAt(ARG_KEY key, ARG_VALUE value) {
    const ULONG h = Traits::Hash(key);
    Entry **slot = &buckets_[h % static_cast<ULONG>(size_)];
    Entry *const head = *slot;
    Entry *prev = head;
    for (Entry *e = head; e != nullptr && e->hash <= h; e = e->next) {
      if (e->hash == h && Traits::Equal(e->key, key)) {
        e->value = value;
        return 1;
      }
      prev = e;
    }
    Entry *added = MakeEntry(key, h, value);
    if (head == nullptr) {
      *slot = added;
    } else if (prev == head && h <= head->hash) {
      added->next = head;
      *slot = added;
    } else {
      added->next = prev->next;
      prev->next = added;
    }
    ++count_;
    return 0;
  }

  // 1 when removed, 0 when absent.
  int RemoveKey(ARG_KEY key) {
    const ULONG h = Traits::Hash(key);
    for (Entry **link = &buckets_[h % static_cast<ULONG>(size_)]; *link != nullptr; link = &(*link)->next) {
      Entry *e = *link;
      if (e->hash < h) continue;
      if (e->hash > h) return 0;
      if (Traits::Equal(e->key, key)) {
        *link = e->next;
        DropEntry(e);
        --count_;
        return 1;
      }
    }
    return 0;
  }

  // Frees every entry; the bucket count stays.
  void RemoveAll();
  // Changes the bucket count to `size`, or 17 if that is less, relinking the entries.
  void SetSize(LONG size);

  HashPosition GetStartPosition() const {
    for (LONG i = 0; i < size_; ++i) {
      if (buckets_[i] != nullptr) return {i, buckets_[i]};
    }
    return {-1, nullptr};
  }
  // Gives the key and value at `position` and moves it on; at the end position nothing happens
  // and `key` and `value` are left as they are. The caller stops once the position's entry is
  // null.
  void GetNextAssoc(HashPosition &position, KEY &key, VALUE &value) const;

 private:
  // Entries are carved from blocks of the general allocator, each block twice the size of all
  // before it (up to 64 Ki entries), and a removed entry's room goes on a free list for the next
  // one. RemoveAll gives the blocks back. This keeps an insertion to a few stores and lets a table
  // of plain keys and values be emptied without visiting its entries. The block list lives in
  // front of the bucket array, so a table and its shallow copies share it with the entries.
  struct Block {
    Block *next;
  };
  struct Pool {
    Block *blocks;
    void *free;  // removed entries' room, linked through its first word
    char *bump;  // the unused rest of the newest block
    char *end;
    size_t entries;  // room in all blocks
  };
  static constexpr size_t kFront = (sizeof(Pool) + alignof(std::max_align_t) - 1) & ~(alignof(std::max_align_t) - 1);
  static constexpr size_t kBlockFront = (sizeof(Block) + alignof(Entry) - 1) & ~(alignof(Entry) - 1);
  static constexpr bool kPlainEntries =
      std::is_trivially_destructible_v<KEY> && std::is_trivially_destructible_v<VALUE>;

  // A zeroed bucket array with an empty pool in front; throws std::bad_alloc.
  static Entry **NewBuckets(LONG size) {
    char *raw = static_cast<char *>(::operator new(kFront + static_cast<size_t>(size) * sizeof(Entry *)));
    new (raw) Pool{nullptr, nullptr, nullptr, nullptr, 0};
    auto **buckets = reinterpret_cast<Entry **>(raw + kFront);
    std::fill(buckets, buckets + size, nullptr);
    return buckets;
  }
  static void DeleteBuckets(Entry **buckets) { ::operator delete(reinterpret_cast<char *>(buckets) - kFront); }
  Pool &EntryPool() const { return *reinterpret_cast<Pool *>(reinterpret_cast<char *>(buckets_) - kFront); }

  Entry *MakeEntry(ARG_KEY key, ULONG h, ARG_VALUE value) {
    Pool &pool = EntryPool();
    void *room = pool.free;
    if (room != nullptr) {
      pool.free = *static_cast<void **>(room);
    } else {
      if (pool.bump == pool.end) AddBlock(pool);
      room = pool.bump;
      pool.bump += sizeof(Entry);
    }
    try {
      return new (room) Entry{nullptr, KEY(key), h, VALUE(value)};
    } catch (...) {
      *static_cast<void **>(room) = pool.free;
      pool.free = room;
      throw;
    }
  }
  void DropEntry(Entry *e) {
    Pool &pool = EntryPool();
    e->~Entry();
    *reinterpret_cast<void **>(e) = pool.free;
    pool.free = e;
  }
  static void AddBlock(Pool &pool) {
    size_t n = pool.entries < 8 ? 8 : pool.entries;
    if (n > 65536) n = 65536;
    char *raw = static_cast<char *>(::operator new(kBlockFront + n * sizeof(Entry)));
    pool.blocks = new (raw) Block{pool.blocks};
    pool.bump = raw + kBlockFront;
    pool.end = pool.bump + n * sizeof(Entry);
    pool.entries += n;
  }

  // The search: lower codes are passed over, a greater code ends it, equal codes compare keys.
  Entry *Find(ARG_KEY key, ULONG h) const {
    for (Entry *e = buckets_[h % static_cast<ULONG>(size_)]; e != nullptr; e = e->next) {
      if (e->hash < h) continue;
      if (e->hash > h) return nullptr;
      if (Traits::Equal(e->key, key)) return e;
    }
    return nullptr;
  }
  // Links an entry behind every entry of lower or equal code in its bucket and counts it.
  void MoveEntry(Entry *entry) {
    Entry **link = &buckets_[entry->hash % static_cast<ULONG>(size_)];
    while (*link != nullptr && (*link)->hash <= entry->hash) link = &(*link)->next;
    entry->next = *link;
    *link = entry;
    ++count_;
  }

  LONG size_;
  LONG count_ = 0;
  Entry **buckets_;
};

template <class KEY, class ARG_KEY, class VALUE, class ARG_VALUE>
void Hash<KEY, ARG_KEY, VALUE, ARG_VALUE>::RemoveAll() {
  if constexpr (!kPlainEntries) {
    for (LONG i = 0; i < size_; ++i) {
      for (Entry *e = buckets_[i]; e != nullptr;) {
        Entry *next = e->next;
        e->~Entry();
        e = next;
      }
    }
  }
  std::fill(buckets_, buckets_ + size_, nullptr);
  Pool &pool = EntryPool();
  for (Block *b = pool.blocks; b != nullptr;) {
    Block *next = b->next;
    ::operator delete(b);
    b = next;
  }
  pool = Pool{nullptr, nullptr, nullptr, nullptr, 0};
  count_ = 0;
}

template <class KEY, class ARG_KEY, class VALUE, class ARG_VALUE>
void Hash<KEY, ARG_KEY, VALUE, ARG_VALUE>::SetSize(LONG size) {
  if (size < 17) size = 17;
  Entry **fresh = NewBuckets(size);  // throws before anything changes
  Entry **old = buckets_;
  const LONG old_size = size_;
  new (reinterpret_cast<char *>(fresh) - kFront) Pool(EntryPool());
  buckets_ = fresh;
  size_ = size;
  count_ = 0;
  for (LONG i = 0; i < old_size; ++i) {
    for (Entry *e = old[i]; e != nullptr;) {
      Entry *next = e->next;
      MoveEntry(e);
      e = next;
    }
  }
  DeleteBuckets(old);
}

template <class KEY, class ARG_KEY, class VALUE, class ARG_VALUE>
void Hash<KEY, ARG_KEY, VALUE, ARG_VALUE>::GetNextAssoc(HashPosition &position, KEY &key, VALUE &value) const {
  Entry *e = position.entry;
  if (e == nullptr) return;
  key = e->key;
  value = e->value;
  if (e->next != nullptr) {
    position.entry = e->next;
    return;
  }
  for (std::int64_t i = position.bucket < 0 ? 0 : std::int64_t{position.bucket} + 1; i < size_; ++i) {
    if (buckets_[i] != nullptr) {
      position = {static_cast<LONG>(i), buckets_[i]};
      return;
    }
  }
  position = {-1, nullptr};
}

// Built once in the library: the tables that cross its boundary.
extern template class KZ_API Hash<LONG, LONG, IUnknown *, IUnknown *>;
extern template class KZ_API Hash<IUnknown *, IUnknown *, LONG, LONG>;
extern template class KZ_API Hash<String, const WCHAR *, String, const WCHAR *>;
