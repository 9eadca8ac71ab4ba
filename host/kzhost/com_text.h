// Between the host's UTF-8 texts and the BSTRs and byte arrays of the service interface, with
// owners that free them.
//
//   Bstr input = Bstr::FromUtf8("{\"text\":\"hi\"}");
//   service->HandleRESTRequest(..., input.get(), ..., properties.out(), body.out());
//   std::string type = ToUtf8(properties.get());
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <kzcore/pal/bstr.h>
#include <kzcore/pal/safe_array.h>

namespace kzhost {

class Bstr {
 public:
  Bstr() = default;
  explicit Bstr(BSTR owned) : text_(owned) {}
  Bstr(const Bstr &) = delete;
  Bstr &operator=(const Bstr &) = delete;
  Bstr(Bstr &&other) noexcept : text_(other.release()) {}
  Bstr &operator=(Bstr &&other) noexcept {
    if (this != &other) reset(other.release());
    return *this;
  }
  ~Bstr() { SysFreeString(text_); }

  // Null when `utf8` is not valid UTF-8 or holds a 0 byte.
  static Bstr FromUtf8(std::string_view utf8);

  BSTR get() const { return text_; }
  // For an out argument: frees what is held and hands out the slot.
  BSTR *out() {
    reset(nullptr);
    return &text_;
  }
  BSTR release() {
    BSTR t = text_;
    text_ = nullptr;
    return t;
  }
  void reset(BSTR t) {
    SysFreeString(text_);
    text_ = t;
  }

 private:
  BSTR text_ = nullptr;
};

// The UTF-8 form of a wide text; nothing when it holds a lone surrogate. Null is the empty text.
std::optional<std::string> ToUtf8(const WCHAR *text);

// A byte array made by a service, destroyed with its owner.
class ByteArray {
 public:
  ByteArray() = default;
  ByteArray(const ByteArray &) = delete;
  ByteArray &operator=(const ByteArray &) = delete;
  ByteArray(ByteArray &&other) noexcept : array_(other.release()) {}
  ByteArray &operator=(ByteArray &&other) noexcept {
    if (this != &other) {
      SafeArrayDestroy(array_);
      array_ = other.release();
    }
    return *this;
  }
  ~ByteArray() { SafeArrayDestroy(array_); }
  SAFEARRAY **out() {
    SafeArrayDestroy(array_);
    array_ = nullptr;
    return &array_;
  }
  SAFEARRAY *release() {
    SAFEARRAY *a = array_;
    array_ = nullptr;
    return a;
  }
  SAFEARRAY *get() const { return array_; }

 private:
  SAFEARRAY *array_ = nullptr;
};

// The bytes of a one-dimensional VT_UI1 array; false for any other array.
bool ArrayBytes(SAFEARRAY *array, const void **data, size_t *size);
// A new VT_UI1 vector holding `bytes`, or null when memory runs out.
SAFEARRAY *NewByteArray(std::string_view bytes);

}  // namespace kzhost
