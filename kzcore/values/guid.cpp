#include <kzcore/values/guid.h>

#include <cstddef>

#include <kzcore/pal/clsid.h>
#include <kzcore/pal/wide.h>
#include <kzcore/platform/object_creation.h>

namespace {

// What the creating constructors ask of the class registry.
constexpr DWORD kUIDContext = 23;  // in-process, handler, local and remote servers

}  // namespace

Guid::Guid(IUID *uid) : value_(GUID_NULL), subtype_(0), uid_(nullptr) {
  static_assert(offsetof(Guid, value_) == 0, "the address of a Guid is the address of its value");
  if (uid == nullptr) return;
  if (FAILED(uid->QueryInterface(KZ_IID(IUIDInternal), reinterpret_cast<void **>(&uid_)))) {
    uid_ = nullptr;
    return;
  }
  uid_->Get(&value_, &subtype_);
}

Guid::Guid(const _GUID &value, LONG subtype) : value_(value), subtype_(subtype), uid_(nullptr) {
  MakeObject();
}

Guid::Guid(const char *text, LONG subtype) : value_(GUID_NULL), subtype_(subtype), uid_(nullptr) {
  WCHAR wide[129] = {};
  if (text != nullptr) mbstowcs(wide, text, 128);
  wide[128] = 0;
  CLSIDFromString(text != nullptr ? wide : nullptr, &value_);
  MakeObject();
}

Guid::Guid(const Guid &other) : value_(other.value_), subtype_(other.subtype_), uid_(other.uid_) {
  if (uid_ != nullptr) uid_->AddRef();
}

// Kept a copy: the source keeps its object.
Guid::Guid(Guid &&other) : Guid(static_cast<const Guid &>(other)) {}

Guid &Guid::operator=(const Guid &other) {
  Share(other);
  return *this;
}

Guid &Guid::operator=(Guid &&other) {
  Share(other);
  return *this;
}

Guid::~Guid() {
  if (uid_ != nullptr) uid_->Release();
}

void Guid::Share(const Guid &other) {
  value_ = other.value_;
  subtype_ = other.subtype_;
  if (uid_ == other.uid_) return;
  // The new reference first: the old object may be the last holder of the new one.
  if (other.uid_ != nullptr) other.uid_->AddRef();
  IUIDInternal *old = uid_;
  uid_ = other.uid_;
  if (old != nullptr) old->Release();
}

void Guid::MakeObject() {
  IUnknown *object = nullptr;
  if (FAILED(KzCreateInstance(CLSID_UID, nullptr, kUIDContext, KZ_IID(IUnknown), reinterpret_cast<void **>(&object))) ||
      object == nullptr)
    return;
  if (SUCCEEDED(OleRun(object)) &&
      FAILED(object->QueryInterface(KZ_IID(IUIDInternal), reinterpret_cast<void **>(&uid_))))
    uid_ = nullptr;
  object->Release();
  // Linux: a UID class that is not registered leaves the Guid without an object instead of
  // calling through a null pointer.
  if (uid_ != nullptr) uid_->Set(&value_, subtype_);
}

Guid::operator IUID *() const {
  if (uid_ == nullptr) return nullptr;
  IUID *uid = nullptr;
  if (FAILED(uid_->QueryInterface(KZ_IID(IUID), reinterpret_cast<void **>(&uid)))) return nullptr;
  // The Guid's own reference keeps the object alive.
  uid->Release();
  return uid;
}

Guid::operator tagVARIANT() const {
  VARIANT v;
  VariantInit(&v);
  v.vt = VT_UNKNOWN;
  v.punkVal = uid_;
  return v;
}
