#include <kzcore/pal/heap.h>

#include <malloc.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>

#include <kzcore/pal/sync.h>

// Every block carries a 16-byte header just before the caller's bytes: the size asked for (which
// HeapSize reports, as on Windows, rather than what malloc rounded it to) and a tag naming the
// heap, so that a block handed to the wrong heap is refused instead of corrupting it. Blocks of a
// private heap have two more words in front, linking them into their heap's list so that
// HeapDestroy can release them. Both header sizes keep malloc's 16-byte alignment.
namespace {

struct BlockHeader {
  SIZE_T size;
  std::uintptr_t tag;
};

struct HeapObject;

struct PrivateBlock {
  PrivateBlock *prev;
  PrivateBlock *next;
  BlockHeader header;
};

static_assert(sizeof(BlockHeader) == 16 && sizeof(PrivateBlock) == 32);
static_assert(alignof(std::max_align_t) <= 16);

// Above this no block can exist, and the header arithmetic cannot overflow.
constexpr SIZE_T kLargestBlock = static_cast<SIZE_T>(PTRDIFF_MAX) - 64;
// A heap with a maximum size takes blocks below this size only, as Windows' fixed heaps do.
constexpr SIZE_T kLargestFixedHeapBlock = 0x7FFF8;
constexpr SIZE_T kPage = 4096;
constexpr DWORD kHeapOptions = HEAP_NO_SERIALIZE | HEAP_GENERATE_EXCEPTIONS | HEAP_CREATE_ENABLE_EXECUTE;

struct HeapObject {
  constexpr explicit HeapObject(bool process_heap) : process(process_heap) {}

  bool process;
  DWORD options = 0;
  SIZE_T maximum = 0;  // 0: no limit
  SIZE_T used = 0;     // bytes of the live blocks, as asked for
  std::mutex lock;
  PrivateBlock blocks{&blocks, &blocks, {0, 0}};  // list head of a private heap
  HeapObject *next_live = nullptr;                 // in the list of live private heaps

  std::uintptr_t Tag() const { return reinterpret_cast<std::uintptr_t>(this) ^ 0x4B7A486561700000ull; }
};

constinit HeapObject g_process_heap(true);

// The live private heaps, so that a stale or made-up handle is refused instead of followed.
constinit std::mutex g_live_lock;
constinit HeapObject *g_live_heaps = nullptr;

HeapObject *Resolve(HANDLE handle) {
  if (handle == &g_process_heap) return &g_process_heap;
  if (handle == nullptr) return nullptr;
  std::lock_guard<std::mutex> guard(g_live_lock);
  for (HeapObject *h = g_live_heaps; h != nullptr; h = h->next_live) {
    if (h == handle) return h;
  }
  return nullptr;
}

BlockHeader *HeaderOf(const void *block) {
  return reinterpret_cast<BlockHeader *>(const_cast<char *>(static_cast<const char *>(block)) - sizeof(BlockHeader));
}

PrivateBlock *PrivateOf(const void *block) {
  return reinterpret_cast<PrivateBlock *>(const_cast<char *>(static_cast<const char *>(block)) - sizeof(PrivateBlock));
}

void *UserOf(PrivateBlock *b) { return reinterpret_cast<char *>(b) + sizeof(PrivateBlock); }

// Takes the heap's lock unless the heap or the call asks for no serialisation.
class HeapLock {
 public:
  HeapLock(HeapObject *heap, DWORD flags) {
    if (!heap->process && ((heap->options | flags) & HEAP_NO_SERIALIZE) == 0) {
      lock_ = &heap->lock;
      lock_->lock();
    }
  }
  ~HeapLock() {
    if (lock_ != nullptr) lock_->unlock();
  }
  HeapLock(const HeapLock &) = delete;
  HeapLock &operator=(const HeapLock &) = delete;

 private:
  std::mutex *lock_ = nullptr;
};

// Whether a private heap's budget admits a change from `old_bytes` to `new_bytes`.
bool Admits(const HeapObject *heap, SIZE_T old_bytes, SIZE_T new_bytes) {
  if (heap->maximum == 0) return true;
  if (new_bytes >= kLargestFixedHeapBlock) return false;
  return new_bytes <= heap->maximum - (heap->used - old_bytes);
}

void ZeroTail(void *block, SIZE_T from, SIZE_T to) {
  if (to > from) std::memset(static_cast<char *>(block) + from, 0, to - from);
}

}  // namespace

HANDLE GetProcessHeap() { return &g_process_heap; }

HANDLE HeapCreate(DWORD options, SIZE_T initial_size, SIZE_T maximum_size) {
  auto round_up = [](SIZE_T n) {
    return n > SIZE_MAX - (kPage - 1) ? SIZE_MAX & ~(kPage - 1) : (n + kPage - 1) & ~(kPage - 1);
  };
  auto *heap = new (std::nothrow) HeapObject(false);
  if (heap == nullptr) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
  }
  // Linux: HEAP_GENERATE_EXCEPTIONS has no structured exception to raise, so failures give null
  // as without it; HEAP_CREATE_ENABLE_EXECUTE is not honoured (blocks come from malloc).
  heap->options = options & kHeapOptions;
  if (maximum_size != 0) {
    heap->maximum = round_up(maximum_size);
    const SIZE_T initial = round_up(initial_size);
    if (heap->maximum < initial) heap->maximum = initial;
  }
  std::lock_guard<std::mutex> guard(g_live_lock);
  heap->next_live = g_live_heaps;
  g_live_heaps = heap;
  return heap;
}

BOOL HeapDestroy(HANDLE handle) {
  HeapObject *heap = nullptr;
  {
    std::lock_guard<std::mutex> guard(g_live_lock);
    for (HeapObject **link = &g_live_heaps; *link != nullptr; link = &(*link)->next_live) {
      if (*link == handle) {
        heap = *link;
        *link = heap->next_live;
        break;
      }
    }
  }
  if (heap == nullptr) {
    SetLastError(ERROR_INVALID_HANDLE);
    return FALSE;
  }
  for (PrivateBlock *b = heap->blocks.next; b != &heap->blocks;) {
    PrivateBlock *next = b->next;
    std::free(b);
    b = next;
  }
  delete heap;
  return TRUE;
}

LPVOID HeapAlloc(HANDLE handle, DWORD flags, SIZE_T bytes) {
  HeapObject *heap = Resolve(handle);
  if (heap == nullptr || bytes > kLargestBlock) return nullptr;
  const bool zero = (flags & HEAP_ZERO_MEMORY) != 0;
  if (heap->process) {
    void *raw = zero ? std::calloc(1, sizeof(BlockHeader) + bytes) : std::malloc(sizeof(BlockHeader) + bytes);
    if (raw == nullptr) return nullptr;
    auto *header = static_cast<BlockHeader *>(raw);
    *header = {bytes, heap->Tag()};
    return header + 1;
  }
  HeapLock lock(heap, flags);
  if (!Admits(heap, 0, bytes)) return nullptr;
  void *raw = zero ? std::calloc(1, sizeof(PrivateBlock) + bytes) : std::malloc(sizeof(PrivateBlock) + bytes);
  if (raw == nullptr) return nullptr;
  auto *b = static_cast<PrivateBlock *>(raw);
  b->header = {bytes, heap->Tag()};
  b->prev = &heap->blocks;
  b->next = heap->blocks.next;
  b->next->prev = b;
  heap->blocks.next = b;
  heap->used += bytes;
  return UserOf(b);
}

LPVOID HeapReAlloc(HANDLE handle, DWORD flags, LPVOID block, SIZE_T bytes) {
  HeapObject *heap = Resolve(handle);
  if (heap == nullptr || block == nullptr || bytes > kLargestBlock) return nullptr;
  HeapLock lock(heap, flags);
  BlockHeader *header = HeaderOf(block);
  if (header->tag != heap->Tag()) return nullptr;
  const SIZE_T old_bytes = header->size;
  if (!heap->process && !Admits(heap, old_bytes, bytes)) return nullptr;
  const SIZE_T front = heap->process ? sizeof(BlockHeader) : sizeof(PrivateBlock);
  char *raw = static_cast<char *>(block) - front;

  void *result = nullptr;
  if (flags & HEAP_REALLOC_IN_PLACE_ONLY) {
    // malloc cannot be asked to grow without moving; what it already gave is the limit.
    if (bytes > malloc_usable_size(raw) - front) return nullptr;
    header->size = bytes;
    result = block;
  } else {
    char *moved = static_cast<char *>(std::realloc(raw, front + bytes));
    if (moved == nullptr) return nullptr;
    result = moved + front;
    header = HeaderOf(result);
    header->size = bytes;
    if (!heap->process) {
      auto *b = reinterpret_cast<PrivateBlock *>(moved);
      b->prev->next = b;
      b->next->prev = b;
    }
  }
  if (!heap->process) heap->used = heap->used - old_bytes + bytes;
  if (flags & HEAP_ZERO_MEMORY) ZeroTail(result, old_bytes, bytes);
  return result;
}

BOOL HeapFree(HANDLE handle, DWORD flags, LPVOID block) {
  HeapObject *heap = Resolve(handle);
  if (heap == nullptr) {
    SetLastError(ERROR_INVALID_HANDLE);
    return FALSE;
  }
  if (block == nullptr) return TRUE;
  HeapLock lock(heap, flags);
  BlockHeader *header = HeaderOf(block);
  if (header->tag != heap->Tag()) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  header->tag = 0;
  if (heap->process) {
    std::free(header);
    return TRUE;
  }
  PrivateBlock *b = PrivateOf(block);
  b->prev->next = b->next;
  b->next->prev = b->prev;
  heap->used -= header->size;
  std::free(b);
  return TRUE;
}

SIZE_T HeapSize(HANDLE handle, DWORD flags, LPCVOID block) {
  HeapObject *heap = Resolve(handle);
  if (heap == nullptr || block == nullptr) return static_cast<SIZE_T>(-1);
  HeapLock lock(heap, flags);
  const BlockHeader *header = HeaderOf(block);
  return header->tag == heap->Tag() ? header->size : static_cast<SIZE_T>(-1);
}
