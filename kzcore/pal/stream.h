// Streams: ISequentialStream and IStream in the Windows slot order.
#pragma once

#include <kzcore/pal/com.h>

union LARGE_INTEGER {
  struct {
    DWORD LowPart;
    LONG HighPart;
  };
  LONGLONG QuadPart;
};
union ULARGE_INTEGER {
  struct {
    DWORD LowPart;
    DWORD HighPart;
  };
  ULONGLONG QuadPart;
};

struct FILETIME {
  DWORD dwLowDateTime;
  DWORD dwHighDateTime;
};

struct STATSTG {
  LPOLESTR pwcsName;
  DWORD type;
  ULARGE_INTEGER cbSize;
  FILETIME mtime;
  FILETIME ctime;
  FILETIME atime;
  DWORD grfMode;
  DWORD grfLocksSupported;
  CLSID clsid;
  DWORD grfStateBits;
  DWORD reserved;
};

constexpr DWORD STREAM_SEEK_SET = 0;
constexpr DWORD STREAM_SEEK_CUR = 1;
constexpr DWORD STREAM_SEEK_END = 2;
constexpr DWORD STGTY_STORAGE = 1;
constexpr DWORD STGTY_STREAM = 2;
constexpr DWORD STGTY_LOCKBYTES = 3;
constexpr DWORD STATFLAG_DEFAULT = 0;
constexpr DWORD STATFLAG_NONAME = 1;
constexpr DWORD STGC_DEFAULT = 0;

struct ISequentialStream : IUnknown {
  virtual HRESULT Read(void *buffer, ULONG bytes, ULONG *read) = 0;
  virtual HRESULT Write(const void *buffer, ULONG bytes, ULONG *written) = 0;
};
KZ_DECLARE_IID(ISequentialStream, "{0C733A30-2A1C-11CE-ADE5-00AA0044773D}");

struct IStream : ISequentialStream {
  virtual HRESULT Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER *new_position) = 0;
  virtual HRESULT SetSize(ULARGE_INTEGER new_size) = 0;
  virtual HRESULT CopyTo(IStream *target, ULARGE_INTEGER bytes, ULARGE_INTEGER *read,
                         ULARGE_INTEGER *written) = 0;
  virtual HRESULT Commit(DWORD flags) = 0;
  virtual HRESULT Revert() = 0;
  virtual HRESULT LockRegion(ULARGE_INTEGER offset, ULARGE_INTEGER bytes, DWORD lock_type) = 0;
  virtual HRESULT UnlockRegion(ULARGE_INTEGER offset, ULARGE_INTEGER bytes, DWORD lock_type) = 0;
  virtual HRESULT Stat(STATSTG *stat, DWORD flags) = 0;
  virtual HRESULT Clone(IStream **clone) = 0;
};
KZ_DECLARE_IID(IStream, "{0000000C-0000-0000-C000-000000000046}");
using LPSTREAM = IStream *;

// A stream over global memory. The stream's size starts as GlobalSize(memory) and the memory
// grows with it; clones share the memory (and its size) with their own positions. With
// delete_on_release the memory is freed when the last stream over it is released; a null
// `memory` makes a new moveable block. Positions and sizes are limited to 32 bits.
//
//   IStream *stream = nullptr;
//   CreateStreamOnHGlobal(nullptr, TRUE, &stream);
//   stream->Write("abc", 3, nullptr);
//   HGLOBAL memory = nullptr;
//   GetHGlobalFromStream(stream, &memory);   // GlobalSize(memory) == 3
//   stream->Release();                       // frees the memory
KZ_API HRESULT CreateStreamOnHGlobal(HGLOBAL memory, BOOL delete_on_release, LPSTREAM *stream);
// The memory under a stream made by CreateStreamOnHGlobal; E_INVALIDARG for any other stream.
KZ_API HRESULT GetHGlobalFromStream(LPSTREAM stream, HGLOBAL *memory);
