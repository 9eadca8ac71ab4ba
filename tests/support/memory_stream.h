// A small IStream over a byte vector for tests, with hooks to make reads and writes fail or run
// short, so that callers' handling of stream results can be exercised.
#pragma once

#include <vector>

#include <kzcore/pal/stream.h>

namespace kztest {

class MemoryStream final : public IStream {
 public:
  MemoryStream() = default;
  explicit MemoryStream(std::vector<unsigned char> bytes) : data_(std::move(bytes)) {}

  std::vector<unsigned char> &bytes() { return data_; }
  void Rewind() { pos_ = 0; }
  // Fail every call after `calls` successful reads (writes) with `hr`.
  void FailReadsAfter(int calls, HRESULT hr) { read_budget_ = calls, read_error_ = hr; }
  void FailWritesAfter(int calls, HRESULT hr) { write_budget_ = calls, write_error_ = hr; }

  HRESULT QueryInterface(REFIID riid, void **ppv) override;
  ULONG AddRef() override { return ++refs_; }
  ULONG Release() override { return --refs_; }  // lives on the test's stack
  HRESULT Read(void *buffer, ULONG bytes, ULONG *read) override;
  HRESULT Write(const void *buffer, ULONG bytes, ULONG *written) override;
  HRESULT Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER *new_position) override;
  HRESULT SetSize(ULARGE_INTEGER new_size) override;
  HRESULT CopyTo(IStream *, ULARGE_INTEGER, ULARGE_INTEGER *, ULARGE_INTEGER *) override { return E_NOTIMPL; }
  HRESULT Commit(DWORD) override { return S_OK; }
  HRESULT Revert() override { return S_OK; }
  HRESULT LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return E_NOTIMPL; }
  HRESULT UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return E_NOTIMPL; }
  HRESULT Stat(STATSTG *stat, DWORD flags) override;
  HRESULT Clone(IStream **) override { return E_NOTIMPL; }

 private:
  std::vector<unsigned char> data_;
  std::size_t pos_ = 0;
  ULONG refs_ = 1;
  int read_budget_ = -1, write_budget_ = -1;
  HRESULT read_error_ = S_OK, write_error_ = S_OK;
};

}  // namespace kztest
