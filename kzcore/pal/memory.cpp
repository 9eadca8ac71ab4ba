#include <kzcore/pal/memory.h>

#include <cstdlib>
#include <cstring>
#include <malloc.h>
#include <mutex>
#include <new>
#include <unordered_map>

#include <kzcore/pal/com.h>
#include <kzcore/pal/sync.h>

HLOCAL LocalAlloc(UINT flags, SIZE_T bytes) {
  void *p = (flags & LMEM_ZEROINIT) ? std::calloc(bytes ? bytes : 1, 1) : std::malloc(bytes ? bytes : 1);
  return p;
}

HLOCAL LocalFree(HLOCAL mem) {
  std::free(mem);
  return nullptr;
}

SIZE_T LocalSize(HLOCAL mem) { return mem == nullptr ? 0 : malloc_usable_size(mem); }

void *CoTaskMemAlloc(SIZE_T size) { return std::malloc(size ? size : 1); }

void *CoTaskMemRealloc(void *p, SIZE_T size) { return std::realloc(p, size ? size : 1); }

void CoTaskMemFree(void *p) { std::free(p); }

// Global memory: every live block is registered under its handle, so that handles can be
// checked and moveable handles stay put while their memory moves.
namespace {

struct GlobalBlock {
  void *data = nullptr;
  SIZE_T size = 0;
  SIZE_T capacity = 0;
  UINT locks = 0;
  bool moveable = false;
};

struct GlobalRegistry {
  std::mutex mutex;
  std::unordered_map<const void *, GlobalBlock *> blocks;  // by handle
};

GlobalRegistry &Registry() {
  static GlobalRegistry *registry = new GlobalRegistry;  // outlives every static destructor
  return *registry;
}

GlobalBlock *Find(GlobalRegistry &r, const void *handle) {
  const auto it = r.blocks.find(handle);
  return it == r.blocks.end() ? nullptr : it->second;
}

// Runs `use(registry, block)` on the block registered under `handle`, with the registry locked.
// An unknown handle sets ERROR_INVALID_HANDLE and gives `invalid`.
template <class Result, class Use>
Result WithBlock(const void *handle, Result invalid, Use use) {
  GlobalRegistry &r = Registry();
  std::lock_guard<std::mutex> lock(r.mutex);
  GlobalBlock *block = Find(r, handle);
  if (block == nullptr) {
    SetLastError(ERROR_INVALID_HANDLE);
    return invalid;
  }
  return use(r, *block);
}

// Grows the block's memory to hold `bytes`, by half again at least so that streams growing
// by small writes reallocate rarely.
bool Reserve(GlobalBlock *block, SIZE_T bytes) {
  if (bytes <= block->capacity && block->data != nullptr) return true;
  SIZE_T capacity = block->capacity + block->capacity / 2;
  if (capacity < bytes) capacity = bytes;
  void *data = std::realloc(block->data, capacity == 0 ? 1 : capacity);
  if (data == nullptr) return false;
  block->data = data;
  block->capacity = capacity;
  return true;
}

}  // namespace

HGLOBAL GlobalAlloc(UINT flags, SIZE_T bytes) {
  auto *block = new (std::nothrow) GlobalBlock;
  if (block == nullptr) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
  }
  block->moveable = (flags & GMEM_MOVEABLE) != 0;
  if (bytes != 0 || !block->moveable) {
    block->data = (flags & GMEM_ZEROINIT) ? std::calloc(bytes ? bytes : 1, 1) : std::malloc(bytes ? bytes : 1);
    if (block->data == nullptr) {
      delete block;
      SetLastError(ERROR_NOT_ENOUGH_MEMORY);
      return nullptr;
    }
    block->size = block->capacity = bytes;
  }
  const void *handle = block->moveable ? static_cast<const void *>(block) : block->data;
  GlobalRegistry &r = Registry();
  std::lock_guard<std::mutex> lock(r.mutex);
  r.blocks.emplace(handle, block);
  return const_cast<void *>(handle);
}

HGLOBAL GlobalReAlloc(HGLOBAL mem, SIZE_T bytes, UINT flags) {
  return WithBlock(mem, HGLOBAL{nullptr}, [&](GlobalRegistry &r, GlobalBlock &block) -> HGLOBAL {
    if (flags & GMEM_MODIFY) return mem;
    const SIZE_T old_size = block.size;
    const bool may_move = block.moveable ? block.locks == 0 || (flags & GMEM_MOVEABLE) : (flags & GMEM_MOVEABLE) != 0;
    if (bytes > block.capacity || block.data == nullptr) {
      if (!may_move || !Reserve(&block, bytes)) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
      }
      if (!block.moveable && block.data != mem) {
        // A fixed block that moved is a new handle.
        r.blocks.erase(mem);
        r.blocks.emplace(block.data, &block);
        mem = block.data;
      }
    }
    if ((flags & GMEM_ZEROINIT) && bytes > old_size)
      std::memset(static_cast<char *>(block.data) + old_size, 0, bytes - old_size);
    block.size = bytes;
    return mem;
  });
}

LPVOID GlobalLock(HGLOBAL mem) {
  return WithBlock(mem, LPVOID{nullptr}, [](GlobalRegistry &, GlobalBlock &block) -> LPVOID {
    if (!block.moveable) return block.data;
    if (block.data == nullptr || block.size == 0) return nullptr;
    if (block.locks < GMEM_LOCKCOUNT) ++block.locks;
    return block.data;
  });
}

BOOL GlobalUnlock(HGLOBAL mem) {
  return WithBlock(mem, BOOL{FALSE}, [](GlobalRegistry &, GlobalBlock &block) -> BOOL {
    if (!block.moveable || block.locks == 0) {
      SetLastError(ERROR_NOT_LOCKED);
      return FALSE;
    }
    if (--block.locks == 0) {
      SetLastError(ERROR_SUCCESS);
      return FALSE;
    }
    return TRUE;
  });
}

SIZE_T GlobalSize(HGLOBAL mem) {
  return WithBlock(mem, SIZE_T{0}, [](GlobalRegistry &, GlobalBlock &block) { return block.size; });
}

HGLOBAL GlobalFree(HGLOBAL mem) {
  if (mem == nullptr) return nullptr;
  // The block leaves the registry under the lock; its memory is freed after.
  GlobalBlock *none = nullptr;
  GlobalBlock *block = WithBlock(mem, none, [mem](GlobalRegistry &r, GlobalBlock &found) {
    r.blocks.erase(mem);
    return &found;
  });
  if (block == nullptr) return mem;
  std::free(block->data);
  delete block;
  return nullptr;
}

UINT GlobalFlags(HGLOBAL mem) {
  return WithBlock(mem, UINT{GMEM_INVALID_HANDLE}, [](GlobalRegistry &, GlobalBlock &block) -> UINT {
    return (block.moveable && block.size == 0 ? GMEM_DISCARDED : 0) | block.locks;
  });
}

HGLOBAL GlobalHandle(LPCVOID address) {
  if (address == nullptr) return nullptr;
  GlobalRegistry &r = Registry();
  std::lock_guard<std::mutex> lock(r.mutex);
  if (GlobalBlock *block = Find(r, address); block != nullptr && !block->moveable) return const_cast<void *>(address);
  for (const auto &[handle, block] : r.blocks)
    if (block->moveable && block->data == address) return const_cast<void *>(handle);
  SetLastError(ERROR_INVALID_HANDLE);
  return nullptr;
}
