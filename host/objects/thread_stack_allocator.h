// The working memory of RapidJSON's readers, writers and documents under construction, kept by
// each thread from one use to the next. Header-only: kzhost's own JSON helpers use it too.
//
//   rapidjson::GenericReader<rapidjson::UTF8<>, rapidjson::UTF8<>, ThreadStackAllocator>
//       reader(ThreadStackAllocator::Instance());
#pragma once

#include <malloc.h>

#include <cstddef>
#include <cstdlib>

namespace kz::host {

// RapidJSON takes a stack for every parse and every write and gives it back at the end, and one
// request parses and writes several small texts: each would cost a malloc and a free. This
// allocator keeps a few of the blocks given back on each thread and hands them out again. Blocks
// over kKeepBytes go back to the system, so that a thread does not sit on the memory of one
// large text.
class ThreadStackAllocator {
 public:
  static const bool kNeedFree = true;
  static constexpr std::size_t kKeepBytes = 16 * 1024;

  // The instance to give RapidJSON's constructors, which otherwise make one on the heap.
  static ThreadStackAllocator *Instance() {
    static ThreadStackAllocator instance;
    return &instance;
  }

  void *Malloc(std::size_t size) { return Realloc(nullptr, 0, size); }

  void *Realloc(void *block, std::size_t, std::size_t size) {
    if (size == 0) {
      Free(block);
      return nullptr;
    }
    if (block != nullptr) return std::realloc(block, size);
    Spares &spares = TheSpares();
    for (Spare &spare : spares.kept) {
      if (spare.block != nullptr && spare.size >= size) {
        void *taken = spare.block;
        spare.block = nullptr;
        return taken;
      }
    }
    return std::malloc(size);
  }

  static void Free(void *block) {
    if (block == nullptr) return;
    const std::size_t size = malloc_usable_size(block);
    if (size <= kKeepBytes) {
      for (Spare &spare : TheSpares().kept) {
        if (spare.block == nullptr) {
          spare = {block, size};
          return;
        }
      }
    }
    std::free(block);
  }

 private:
  struct Spare {
    void *block = nullptr;
    std::size_t size = 0;
  };
  // A reader, the document it fills and a writer can be at work at once on one thread.
  struct Spares {
    Spare kept[4];
    ~Spares() {
      for (Spare &spare : kept) std::free(spare.block);
    }
  };
  static Spares &TheSpares() {
    thread_local Spares spares;
    return spares;
  }
};

}  // namespace kz::host
