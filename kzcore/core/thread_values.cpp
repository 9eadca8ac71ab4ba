#include <kzcore/core/thread_values.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>

#include <kzcore/core/internal/frame_state.h>

namespace {

using kz::core::internal::CriticalSectionLock;

// Field order kept as the table has always laid out its entries.
struct Entry {
  std::uint32_t key;
  std::uint32_t thread;
  std::uint32_t value;
  Entry *next;
  std::uint32_t hash;
};

// A chained table of 17 buckets, never resized. The hash of a key is the key shifted right by 4,
// so keys 1 to 15 share bucket 0: the weak spread is accepted for the few keys the store serves.
// Each chain is sorted by ascending hash, so a search stops at the first larger hash.
class Table {
 public:
  static constexpr std::uint32_t kBuckets = 17;

  // Made by a static initialiser; at process exit frees every entry left, then the array.
  Table() : buckets_(static_cast<Entry **>(std::calloc(kBuckets, sizeof(Entry *)))) {}
  ~Table() {
    if (buckets_ == nullptr) return;
    for (std::uint32_t b = 0; b < kBuckets; ++b) {
      for (Entry *e = buckets_[b]; e != nullptr;) {
        Entry *next = e->next;
        delete e;
        e = next;
      }
    }
    std::free(buckets_);
    buckets_ = nullptr;
    count_ = 0;
  }
  Table(const Table &) = delete;
  Table &operator=(const Table &) = delete;

  bool usable() const { return buckets_ != nullptr; }

  // The link that points at the entry of (key, thread), or at the place where it belongs: after
  // every entry with the same hash, before the first larger one.
  Entry **Find(std::uint32_t key, std::uint32_t thread) {
    const std::uint32_t hash = key >> 4;
    Entry **link = &buckets_[hash % kBuckets];
    while (*link != nullptr && (*link)->hash < hash) link = &(*link)->next;
    for (; *link != nullptr && (*link)->hash == hash; link = &(*link)->next)
      if ((*link)->key == key && (*link)->thread == thread) return link;
    return link;
  }

  static bool Holds(Entry *const *link, std::uint32_t key, std::uint32_t thread) {
    return *link != nullptr && (*link)->key == key && (*link)->thread == thread;
  }

  void Insert(Entry **link, std::uint32_t key, std::uint32_t thread, std::uint32_t value) {
    auto *entry = new (std::nothrow) Entry{key, thread, value, *link, key >> 4};
    if (entry == nullptr) return;  // nothing is reported: the store has no result to say it in
    *link = entry;
    ++count_;
  }

  void Remove(Entry **link) {
    Entry *entry = *link;
    *link = entry->next;
    delete entry;
    --count_;
  }

 private:
  Entry **buckets_;
  std::uint32_t count_ = 0;
};

Table g_table;
std::atomic<std::uint32_t> g_last_key{0};

// The table may be used only while the library is loaded: before attach and after detach its
// lock does not exist.
bool Ready() { return g_table.usable() && kz::core::internal::ThreadValueLockReady(); }

}  // namespace

extern "C" {

DWORD TLS_Alloc() { return g_last_key.fetch_add(1, std::memory_order_relaxed) + 1; }

void TLS_Free(DWORD key) {
  if (!Ready()) return;
  const DWORD thread = GetCurrentThreadId();
  CriticalSectionLock hold(kz::core::internal::ThreadValueLock());
  Entry **link = g_table.Find(key, thread);
  if (Table::Holds(link, key, thread)) g_table.Remove(link);
}

void TLS_GetValue(DWORD key, DWORD *value) {
  if (value == nullptr) return;
  *value = 0;
  if (!Ready()) return;
  const DWORD thread = GetCurrentThreadId();
  CriticalSectionLock hold(kz::core::internal::ThreadValueLock());
  Entry **link = g_table.Find(key, thread);
  if (Table::Holds(link, key, thread)) *value = (*link)->value;
}

void TLS_SetValue(DWORD key, DWORD value) {
  if (!Ready()) return;
  const DWORD thread = GetCurrentThreadId();
  CriticalSectionLock hold(kz::core::internal::ThreadValueLock());
  Entry **link = g_table.Find(key, thread);
  if (Table::Holds(link, key, thread))
    (*link)->value = value;
  else
    g_table.Insert(link, key, thread, value);
}
}
