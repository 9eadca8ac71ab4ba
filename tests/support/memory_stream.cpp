#include "memory_stream.h"

#include <algorithm>
#include <cstring>

namespace kztest {

HRESULT MemoryStream::QueryInterface(REFIID riid, void **ppv) {
  if (ppv == nullptr) return E_POINTER;
  if (riid == KZ_IID(IUnknown) || riid == KZ_IID(ISequentialStream) || riid == KZ_IID(IStream)) {
    *ppv = this;
    AddRef();
    return S_OK;
  }
  *ppv = nullptr;
  return E_NOINTERFACE;
}

HRESULT MemoryStream::Read(void *buffer, ULONG bytes, ULONG *read) {
  if (read_budget_ == 0) return read_error_;
  if (read_budget_ > 0) --read_budget_;
  std::size_t n = pos_ < data_.size() ? std::min<std::size_t>(bytes, data_.size() - pos_) : 0;
  if (n) std::memcpy(buffer, data_.data() + pos_, n);
  pos_ += n;
  if (read != nullptr) *read = static_cast<ULONG>(n);
  return n < bytes ? S_FALSE : S_OK;
}

HRESULT MemoryStream::Write(const void *buffer, ULONG bytes, ULONG *written) {
  if (write_budget_ == 0) return write_error_;
  if (write_budget_ > 0) --write_budget_;
  if (pos_ + bytes > data_.size()) data_.resize(pos_ + bytes);
  if (bytes) std::memcpy(data_.data() + pos_, buffer, bytes);
  pos_ += bytes;
  if (written != nullptr) *written = bytes;
  return S_OK;
}

HRESULT MemoryStream::Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER *new_position) {
  LONGLONG base = origin == STREAM_SEEK_SET ? 0
                  : origin == STREAM_SEEK_CUR ? static_cast<LONGLONG>(pos_)
                                              : static_cast<LONGLONG>(data_.size());
  if (origin > STREAM_SEEK_END) return STG_E_INVALIDFUNCTION;
  LONGLONG target = base + move.QuadPart;
  if (target < 0) return STG_E_INVALIDFUNCTION;
  pos_ = static_cast<std::size_t>(target);
  if (new_position != nullptr) new_position->QuadPart = pos_;
  return S_OK;
}

HRESULT MemoryStream::SetSize(ULARGE_INTEGER new_size) {
  data_.resize(static_cast<std::size_t>(new_size.QuadPart));
  return S_OK;
}

HRESULT MemoryStream::Stat(STATSTG *stat, DWORD) {
  if (stat == nullptr) return STG_E_INVALIDPOINTER;
  *stat = STATSTG{};
  stat->type = STGTY_STREAM;
  stat->cbSize.QuadPart = data_.size();
  return S_OK;
}

}  // namespace kztest
