#include <kzcore/pal/stream.h>

#include <atomic>
#include <cstring>
#include <memory>

#include <kzcore/pal/memory.h>

namespace {

constexpr ULONGLONG kMaxStreamSize = 0xFFFFFFFFull;

// The memory and the size that a stream and its clones share.
struct SharedMemory {
  std::atomic<ULONG> streams{1};
  HGLOBAL memory = nullptr;
  ULONGLONG size = 0;
  bool delete_on_release = false;
};

class HGlobalStream final : public IStream {
 public:
  explicit HGlobalStream(SharedMemory *shared, ULONGLONG position = 0) : shared_(shared), position_(position) {}

  SharedMemory *shared() const { return shared_; }

  HRESULT QueryInterface(REFIID riid, void **ppv) override {
    if (ppv == nullptr) return E_POINTER;
    if (riid == KZ_IID(IUnknown) || riid == KZ_IID(ISequentialStream) || riid == KZ_IID(IStream)) {
      *ppv = static_cast<IStream *>(this);
      AddRef();
      return S_OK;
    }
    *ppv = nullptr;
    return E_NOINTERFACE;
  }

  ULONG AddRef() override { return ++refs_; }

  ULONG Release() override {
    const ULONG left = --refs_;
    if (left == 0) {
      if (--shared_->streams == 0) {
        if (shared_->delete_on_release) GlobalFree(shared_->memory);
        delete shared_;
      }
      delete this;
    }
    return left;
  }

  HRESULT Read(void *buffer, ULONG bytes, ULONG *read) override {
    if (buffer == nullptr) return STG_E_INVALIDPOINTER;
    ULONG count = 0;
    if (position_ < shared_->size) {
      const ULONGLONG available = shared_->size - position_;
      count = bytes < available ? bytes : static_cast<ULONG>(available);
      const void *data = GlobalLock(shared_->memory);
      if (data == nullptr) return STG_E_READFAULT;
      std::memcpy(buffer, static_cast<const char *>(data) + position_, count);
      GlobalUnlock(shared_->memory);
      position_ += count;
    }
    if (read != nullptr) *read = count;
    return S_OK;
  }

  HRESULT Write(const void *buffer, ULONG bytes, ULONG *written) override {
    if (written != nullptr) *written = 0;
    if (buffer == nullptr) return STG_E_INVALIDPOINTER;
    if (bytes == 0) return S_OK;
    const ULONGLONG end = position_ + bytes;
    if (end > kMaxStreamSize) return STG_E_MEDIUMFULL;
    if (end > shared_->size) {
      ULARGE_INTEGER size;
      size.QuadPart = end;
      if (FAILED(SetSize(size))) return STG_E_MEDIUMFULL;
    }
    void *data = GlobalLock(shared_->memory);
    if (data == nullptr) return STG_E_MEDIUMFULL;
    std::memcpy(static_cast<char *>(data) + position_, buffer, bytes);
    GlobalUnlock(shared_->memory);
    position_ = end;
    if (written != nullptr) *written = bytes;
    return S_OK;
  }

  HRESULT Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER *new_position) override {
    LONGLONG base;
    switch (origin) {
      case STREAM_SEEK_SET: base = 0; break;
      case STREAM_SEEK_CUR: base = static_cast<LONGLONG>(position_); break;
      case STREAM_SEEK_END: base = static_cast<LONGLONG>(shared_->size); break;
      default: return STG_E_INVALIDFUNCTION;
    }
    // The sum is taken in unsigned arithmetic, where it cannot overflow into undefined behaviour.
    const LONGLONG target = static_cast<LONGLONG>(static_cast<ULONGLONG>(base) + static_cast<ULONGLONG>(move.QuadPart));
    if ((move.QuadPart < 0 && target > base) || target < 0 || static_cast<ULONGLONG>(target) > kMaxStreamSize)
      return STG_E_INVALIDFUNCTION;
    position_ = static_cast<ULONGLONG>(target);
    if (new_position != nullptr) new_position->QuadPart = position_;
    return S_OK;
  }

  HRESULT SetSize(ULARGE_INTEGER new_size) override {
    if (new_size.QuadPart > kMaxStreamSize) return STG_E_INVALIDFUNCTION;
    if (new_size.QuadPart == shared_->size) return S_OK;
    HGLOBAL memory = GlobalReAlloc(shared_->memory, static_cast<SIZE_T>(new_size.QuadPart), GMEM_MOVEABLE | GMEM_ZEROINIT);
    if (memory == nullptr) return E_OUTOFMEMORY;
    shared_->memory = memory;
    shared_->size = new_size.QuadPart;
    return S_OK;
  }

  HRESULT CopyTo(IStream *target, ULARGE_INTEGER bytes, ULARGE_INTEGER *read, ULARGE_INTEGER *written) override {
    if (read != nullptr) read->QuadPart = 0;
    if (written != nullptr) written->QuadPart = 0;
    if (target == nullptr) return STG_E_INVALIDPOINTER;
    // Through a buffer: the target may be a clone whose writes move this very memory.
    constexpr ULONG kChunk = 64 * 1024;
    auto buffer = std::make_unique<char[]>(kChunk);
    // What there is to copy is fixed at the start: a clone of this stream as the target grows
    // the same memory while it is written.
    const ULONGLONG available = position_ < shared_->size ? shared_->size - position_ : 0;
    ULONGLONG left = bytes.QuadPart < available ? bytes.QuadPart : available;
    ULONGLONG total_read = 0, total_written = 0;
    HRESULT hr = S_OK;
    while (left > 0) {
      ULONG got = 0;
      hr = Read(buffer.get(), left < kChunk ? static_cast<ULONG>(left) : kChunk, &got);
      if (FAILED(hr) || got == 0) break;
      total_read += got;
      left -= got;
      ULONG put = 0;
      hr = target->Write(buffer.get(), got, &put);
      total_written += put;
      if (FAILED(hr)) break;
    }
    if (read != nullptr) read->QuadPart = total_read;
    if (written != nullptr) written->QuadPart = total_written;
    return hr;
  }

  HRESULT Commit(DWORD) override { return S_OK; }
  HRESULT Revert() override { return S_OK; }
  HRESULT LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return STG_E_INVALIDFUNCTION; }
  HRESULT UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return STG_E_INVALIDFUNCTION; }

  HRESULT Stat(STATSTG *stat, DWORD) override {
    if (stat == nullptr) return STG_E_INVALIDPOINTER;
    std::memset(stat, 0, sizeof *stat);
    stat->type = STGTY_STREAM;
    stat->cbSize.QuadPart = shared_->size;
    return S_OK;
  }

  HRESULT Clone(IStream **clone) override {
    if (clone == nullptr) return STG_E_INVALIDPOINTER;
    auto *copy = new (std::nothrow) HGlobalStream(shared_, position_);
    if (copy == nullptr) return E_OUTOFMEMORY;
    ++shared_->streams;
    *clone = copy;
    return S_OK;
  }

 private:
  ~HGlobalStream() = default;

  std::atomic<ULONG> refs_{1};
  SharedMemory *shared_;
  ULONGLONG position_;
};

}  // namespace

HRESULT CreateStreamOnHGlobal(HGLOBAL memory, BOOL delete_on_release, LPSTREAM *stream) {
  if (stream == nullptr) return E_INVALIDARG;
  *stream = nullptr;
  ULONGLONG size = 0;
  if (memory == nullptr) {
    memory = GlobalAlloc(GMEM_MOVEABLE | GMEM_NODISCARD | GMEM_SHARE, 0);
    if (memory == nullptr) return E_OUTOFMEMORY;
  } else {
    if (GlobalFlags(memory) == GMEM_INVALID_HANDLE) return E_INVALIDARG;
    size = GlobalSize(memory);
  }
  auto *shared = new (std::nothrow) SharedMemory;
  auto *created = shared == nullptr ? nullptr : new (std::nothrow) HGlobalStream(shared);
  if (created == nullptr) {
    delete shared;
    return E_OUTOFMEMORY;
  }
  shared->memory = memory;
  shared->size = size;
  shared->delete_on_release = delete_on_release != FALSE;
  *stream = created;
  return S_OK;
}

HRESULT GetHGlobalFromStream(LPSTREAM stream, HGLOBAL *memory) {
  if (stream == nullptr || memory == nullptr) return E_INVALIDARG;
  auto *own = dynamic_cast<HGlobalStream *>(stream);
  if (own == nullptr) return E_INVALIDARG;
  *memory = own->shared()->memory;
  return S_OK;
}
