// Process memory in the Win32 shapes the library and its callers use: local memory (the buffers
// FormatMessageW allocates), task memory (COM text handed between modules) and the process heap.
#pragma once

#include <kzcore/pal/types.h>

constexpr UINT LMEM_FIXED = 0x0;
constexpr UINT LMEM_ZEROINIT = 0x40;
constexpr UINT LPTR = LMEM_FIXED | LMEM_ZEROINIT;

// Local memory is always fixed on this platform: the handle is the pointer.
KZ_API HLOCAL LocalAlloc(UINT flags, SIZE_T bytes);
// Returns null on success, the handle on failure (as Windows does).
KZ_API HLOCAL LocalFree(HLOCAL mem);
KZ_API SIZE_T LocalSize(HLOCAL mem);
