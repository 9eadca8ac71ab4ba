// Heaps in the Win32 shape: the process heap and private heaps, blocks that know their size, and
// null (never an exception) when memory cannot be had.
//
//   HANDLE heap = GetProcessHeap();
//   auto *p = static_cast<double *>(HeapAlloc(heap, HEAP_ZERO_MEMORY, 100 * sizeof(double)));
//   if (p == nullptr) return E_OUTOFMEMORY;
//   void *q = HeapReAlloc(heap, 0, p, 200 * sizeof(double));  // the first 100 values stay
//   if (q != nullptr) p = static_cast<double *>(q);              // on failure p is still valid
//   HeapFree(heap, 0, p);
//
// A private heap with a maximum size is a fixed budget: its blocks together never take more than
// that many bytes, and an allocation that would go beyond gives null. Destroying a private heap
// releases every block still in it.
#pragma once

#include <kzcore/pal/types.h>

constexpr DWORD HEAP_NO_SERIALIZE = 0x00000001;
constexpr DWORD HEAP_GENERATE_EXCEPTIONS = 0x00000004;
constexpr DWORD HEAP_ZERO_MEMORY = 0x00000008;
constexpr DWORD HEAP_REALLOC_IN_PLACE_ONLY = 0x00000010;
constexpr DWORD HEAP_CREATE_ENABLE_EXECUTE = 0x00040000;

// The process heap: always the same handle, never null, never destroyed.
KZ_API HANDLE GetProcessHeap();

// A private heap. A maximum of 0 makes a heap that grows as needed; any other maximum (rounded up
// to whole 4 KiB pages, and at least the initial size) caps the bytes of all its blocks together,
// and a single block must then stay below 0x7FFF8 bytes. HEAP_NO_SERIALIZE leaves locking to the
// caller; other options are accepted and have no effect here (see heap.cpp).
KZ_API HANDLE HeapCreate(DWORD options, SIZE_T initial_size, SIZE_T maximum_size);
// Releases the heap and every block still allocated from it. FALSE with ERROR_INVALID_HANDLE for
// a handle that is not a live private heap (the process heap included).
KZ_API BOOL HeapDestroy(HANDLE heap);

// A block of `bytes` bytes (0 is allowed and gives a block of its own), aligned for any type;
// HEAP_ZERO_MEMORY clears it. Null on failure, without touching the thread's last error.
KZ_API LPVOID HeapAlloc(HANDLE heap, DWORD flags, SIZE_T bytes);
// Resizes a block. The contents up to the smaller of the two sizes are kept; with
// HEAP_ZERO_MEMORY the bytes beyond the old size are cleared; with HEAP_REALLOC_IN_PLACE_ONLY the
// block must not move. Null on failure, and the old block is then untouched and still valid.
KZ_API LPVOID HeapReAlloc(HANDLE heap, DWORD flags, LPVOID block, SIZE_T bytes);
// TRUE when released; a null block is accepted and gives TRUE. FALSE with ERROR_INVALID_HANDLE
// for an unknown heap, ERROR_INVALID_PARAMETER for a block that belongs to another heap.
KZ_API BOOL HeapFree(HANDLE heap, DWORD flags, LPVOID block);
// The size asked for when the block was made or last resized; (SIZE_T)-1 on failure.
KZ_API SIZE_T HeapSize(HANDLE heap, DWORD flags, LPCVOID block);
