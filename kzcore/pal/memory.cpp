#include <kzcore/pal/memory.h>

#include <cstdlib>
#include <cstring>
#include <malloc.h>

#include <kzcore/pal/com.h>

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
