// Process memory in the Win32 shapes the library and its callers use: local memory (the buffers
// FormatMessageW allocates), global memory (the blocks behind memory streams and clipboard-style
// hand-overs), task memory (COM text handed between modules) and the process heap.
//
//   HGLOBAL h = GlobalAlloc(GMEM_MOVEABLE | GMEM_ZEROINIT, 64);
//   auto *bytes = static_cast<BYTE *>(GlobalLock(h));   // the block, pinned until unlocked
//   GlobalUnlock(h);
//   GlobalFree(h);
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

constexpr UINT GMEM_FIXED = 0x0000;
constexpr UINT GMEM_MOVEABLE = 0x0002;
constexpr UINT GMEM_NOCOMPACT = 0x0010;
constexpr UINT GMEM_NODISCARD = 0x0020;
constexpr UINT GMEM_ZEROINIT = 0x0040;
constexpr UINT GMEM_MODIFY = 0x0080;
constexpr UINT GMEM_DISCARDABLE = 0x0100;
constexpr UINT GMEM_SHARE = 0x2000;
constexpr UINT GMEM_DDESHARE = 0x2000;
constexpr UINT GPTR = GMEM_FIXED | GMEM_ZEROINIT;
constexpr UINT GHND = GMEM_MOVEABLE | GMEM_ZEROINIT;
// GlobalFlags results.
constexpr UINT GMEM_DISCARDED = 0x4000;
constexpr UINT GMEM_INVALID_HANDLE = 0x8000;
constexpr UINT GMEM_LOCKCOUNT = 0x00FF;
constexpr DWORD ERROR_NOT_LOCKED = 158;

// Global memory. A fixed block's handle is its address. A moveable block's handle is not an
// address: GlobalLock gives the address and counts a lock, and the block may move (under the
// same handle) only when GlobalReAlloc is asked to. A moveable block of 0 bytes has no memory
// (GlobalLock gives null). Every handle is checked: a freed or foreign handle fails with
// ERROR_INVALID_HANDLE instead of touching memory.
KZ_API HGLOBAL GlobalAlloc(UINT flags, SIZE_T bytes);
// Resizes, keeping the contents; GMEM_ZEROINIT zeroes what grows. A fixed block grows in place
// or, with GMEM_MOVEABLE, moves and gets a new handle; a locked moveable block moves only with
// GMEM_MOVEABLE. Null (ERROR_NOT_ENOUGH_MEMORY) when it cannot.
KZ_API HGLOBAL GlobalReAlloc(HGLOBAL mem, SIZE_T bytes, UINT flags);
KZ_API LPVOID GlobalLock(HGLOBAL mem);
// Nonzero while the block stays locked; FALSE with ERROR_SUCCESS when the last lock went, with
// ERROR_NOT_LOCKED when there was none.
KZ_API BOOL GlobalUnlock(HGLOBAL mem);
// The size asked for (exactly: Windows may round it up).
KZ_API SIZE_T GlobalSize(HGLOBAL mem);
// Frees the block, locked or not. Null on success, the handle when it is not a valid one.
KZ_API HGLOBAL GlobalFree(HGLOBAL mem);
// GMEM_DISCARDED and the lock count, or GMEM_INVALID_HANDLE.
KZ_API UINT GlobalFlags(HGLOBAL mem);
// The handle of the block that starts at `address`.
KZ_API HGLOBAL GlobalHandle(LPCVOID address);
