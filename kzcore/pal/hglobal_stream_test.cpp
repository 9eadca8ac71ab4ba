#include <kzcore/pal/stream.h>

#include <cstring>
#include <random>
#include <string>

#include <gtest/gtest.h>
#include <support/memory_stream.h>

#include <kzcore/pal/memory.h>

namespace {

LARGE_INTEGER Offset(LONGLONG n) {
  LARGE_INTEGER x;
  x.QuadPart = n;
  return x;
}

ULARGE_INTEGER Size(ULONGLONG n) {
  ULARGE_INTEGER x;
  x.QuadPart = n;
  return x;
}

ULONGLONG Tell(IStream *s) {
  ULARGE_INTEGER at;
  s->Seek(Offset(0), STREAM_SEEK_CUR, &at);
  return at.QuadPart;
}

// Random reads, writes, seeks and resizes against a string holding the same bytes.
TEST(HGlobalStream, BehavesLikeAByteStringUnderRandomOperations) {
  IStream *stream = nullptr;
  ASSERT_EQ(CreateStreamOnHGlobal(nullptr, TRUE, &stream), S_OK);
  std::string model;
  std::size_t position = 0;
  std::mt19937 random(3);
  for (int i = 0; i < 3000; ++i) {
    const unsigned length = random() % 300;
    switch (random() % 4) {
      case 0: {
        std::string bytes(length, '\0');
        for (char &c : bytes) c = static_cast<char>(random());
        ULONG written = 0;
        ASSERT_EQ(stream->Write(bytes.data(), length, &written), S_OK);
        ASSERT_EQ(written, length);
        // The gap a write leaves reads as zeros; writing nothing changes nothing.
        if (length == 0) break;
        if (position > model.size()) model.resize(position, '\0');
        model.replace(position, std::min<std::size_t>(length, model.size() - position), bytes);
        position += length;
        break;
      }
      case 1: {
        std::string bytes(length, '\x55');
        ULONG read = 12345;
        ASSERT_EQ(stream->Read(bytes.data(), length, &read), S_OK);
        const std::size_t want = position < model.size() ? std::min<std::size_t>(length, model.size() - position) : 0;
        ASSERT_EQ(read, want);
        if (want > 0) {
          ASSERT_EQ(bytes.substr(0, read), model.substr(position, want));
        }
        position += want;
        break;
      }
      case 2: {
        const LONGLONG target = static_cast<LONGLONG>(random() % (model.size() + 100));
        const DWORD origin = random() % 3;
        const LONGLONG base = origin == STREAM_SEEK_SET ? 0 : origin == STREAM_SEEK_CUR ? position : model.size();
        ULARGE_INTEGER at;
        ASSERT_EQ(stream->Seek(Offset(target - base), origin, &at), S_OK);
        position = static_cast<std::size_t>(target);
        ASSERT_EQ(at.QuadPart, position);
        break;
      }
      case 3: {
        const std::size_t size = random() % (model.size() + 200);
        ASSERT_EQ(stream->SetSize(Size(size)), S_OK);
        model.resize(size, '\0');
        ASSERT_EQ(Tell(stream), position);  // resizing does not move the position
        break;
      }
    }
    STATSTG stat;
    ASSERT_EQ(stream->Stat(&stat, STATFLAG_NONAME), S_OK);
    ASSERT_EQ(stat.cbSize.QuadPart, model.size());
  }
  HGLOBAL memory = nullptr;
  ASSERT_EQ(GetHGlobalFromStream(stream, &memory), S_OK);
  ASSERT_EQ(GlobalSize(memory), model.size());
  EXPECT_EQ(std::memcmp(GlobalLock(memory), model.data(), model.size()), 0);
  GlobalUnlock(memory);
  EXPECT_EQ(stream->Release(), 0u);  // frees the memory (the leak checker watches)
}

TEST(HGlobalStream, WrapsExistingMemoryAndClonesShareIt) {
  HGLOBAL memory = GlobalAlloc(GMEM_MOVEABLE, 5);
  std::memcpy(GlobalLock(memory), "hello", 5);
  GlobalUnlock(memory);
  IStream *stream = nullptr;
  ASSERT_EQ(CreateStreamOnHGlobal(memory, FALSE, &stream), S_OK);
  char buffer[8] = {};
  ULONG read = 0;
  ASSERT_EQ(stream->Read(buffer, 8, &read), S_OK);
  EXPECT_EQ(read, 5u);
  EXPECT_EQ(std::string(buffer, 5), "hello");
  EXPECT_EQ(stream->Read(buffer, 8, &read), S_OK);  // at the end: nothing, and no error
  EXPECT_EQ(read, 0u);

  IStream *clone = nullptr;
  ASSERT_EQ(stream->Clone(&clone), S_OK);
  EXPECT_EQ(Tell(clone), 5u);
  ASSERT_EQ(clone->Write(", world", 7, nullptr), S_OK);
  STATSTG stat;
  stream->Stat(&stat, STATFLAG_DEFAULT);
  EXPECT_EQ(stat.cbSize.QuadPart, 12u);  // one size for both
  EXPECT_EQ(stat.type, STGTY_STREAM);
  EXPECT_EQ(Tell(stream), 5u);  // positions are their own
  ASSERT_EQ(stream->Read(buffer, 7, &read), S_OK);
  EXPECT_EQ(std::string(buffer, 7), ", world");

  // Copying a stream onto its own clone: the data moves while it is copied.
  stream->Seek(Offset(0), STREAM_SEEK_SET, nullptr);
  ULARGE_INTEGER copied_read, copied_written;
  ASSERT_EQ(stream->CopyTo(clone, Size(100), &copied_read, &copied_written), S_OK);
  EXPECT_EQ(copied_read.QuadPart, 12u);
  EXPECT_EQ(copied_written.QuadPart, 12u);
  HGLOBAL now = nullptr;
  GetHGlobalFromStream(clone, &now);
  EXPECT_EQ(GlobalSize(now), 24u);
  EXPECT_EQ(std::string(static_cast<char *>(GlobalLock(now)), 24), "hello, worldhello, world");
  GlobalUnlock(now);

  stream->Release();
  clone->Release();
  // Not deleted on release: the memory is still the caller's.
  EXPECT_EQ(GlobalSize(now), 24u);
  EXPECT_EQ(GlobalFree(now), nullptr);
}

TEST(HGlobalStream, RefusesBadArgumentsAndForeignStreams) {
  IStream *stream = nullptr;
  ASSERT_EQ(CreateStreamOnHGlobal(nullptr, TRUE, &stream), S_OK);
  EXPECT_EQ(stream->Read(nullptr, 1, nullptr), STG_E_INVALIDPOINTER);
  EXPECT_EQ(stream->Write(nullptr, 1, nullptr), STG_E_INVALIDPOINTER);
  EXPECT_EQ(stream->Seek(Offset(-1), STREAM_SEEK_SET, nullptr), STG_E_INVALIDFUNCTION);
  EXPECT_EQ(stream->Seek(Offset(0), 7, nullptr), STG_E_INVALIDFUNCTION);
  EXPECT_EQ(stream->Seek(Offset(LLONG_MIN), STREAM_SEEK_END, nullptr), STG_E_INVALIDFUNCTION);
  EXPECT_EQ(stream->SetSize(Size(0x100000000ull)), STG_E_INVALIDFUNCTION);
  EXPECT_EQ(stream->Seek(Offset(0xFFFFFFFFll), STREAM_SEEK_SET, nullptr), S_OK);
  EXPECT_EQ(stream->Write("x", 1, nullptr), STG_E_MEDIUMFULL);
  EXPECT_EQ(stream->LockRegion(Size(0), Size(1), 0), STG_E_INVALIDFUNCTION);
  EXPECT_EQ(stream->Stat(nullptr, 0), STG_E_INVALIDPOINTER);
  ISequentialStream *sequential = nullptr;
  ASSERT_EQ(stream->QueryInterface(&sequential), S_OK);
  sequential->Release();

  // A failing target stops the copy and reports what got through.
  stream->Seek(Offset(0), STREAM_SEEK_SET, nullptr);
  std::string bytes(200000, 'z');
  stream->Write(bytes.data(), static_cast<ULONG>(bytes.size()), nullptr);
  stream->Seek(Offset(0), STREAM_SEEK_SET, nullptr);
  kztest::MemoryStream target;
  target.FailWritesAfter(1, STG_E_MEDIUMFULL);
  ULARGE_INTEGER read, written;
  EXPECT_EQ(stream->CopyTo(&target, Size(bytes.size()), &read, &written), STG_E_MEDIUMFULL);
  EXPECT_EQ(written.QuadPart, target.bytes().size());
  EXPECT_LT(written.QuadPart, bytes.size());

  EXPECT_EQ(stream->Release(), 0u);

  HGLOBAL memory = nullptr;
  EXPECT_EQ(GetHGlobalFromStream(&target, &memory), E_INVALIDARG);
  EXPECT_EQ(GetHGlobalFromStream(nullptr, &memory), E_INVALIDARG);
  int not_a_handle = 0;
  EXPECT_EQ(CreateStreamOnHGlobal(&not_a_handle, FALSE, &stream), E_INVALIDARG);
  EXPECT_EQ(stream, nullptr);
}

}  // namespace
