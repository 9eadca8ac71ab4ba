#include <host/objects/json_object.h>

#include <algorithm>
#include <new>
#include <string>

namespace kz::host {

JSONObject::JSONObject() { document_.SetObject(); }

HRESULT JSONObject::InternalQueryInterface(REFIID riid, void **ppv) {
  if (ppv != nullptr && riid == KZ_IID(IJSONObject)) return Answer(static_cast<IJSONObject *>(this), ppv);
  if (ppv != nullptr && riid == KZ_IID(json::IJSONValueSource))
    return Answer(static_cast<json::IJSONValueSource *>(this), ppv);
  return Unknown::InternalQueryInterface(riid, ppv);
}

HRESULT JSONObject::GetCLSID(GUID *clsid) {
  if (clsid == nullptr) return E_POINTER;
  *clsid = CLSID_JSONObject;
  return S_OK;
}

HRESULT JSONObject::Parse(LPCOLESTR text) {
  if (text == nullptr) return E_POINTER;
  LONG depth = 1;
  document_.Reset();
  if (!json::ParseDocument(text, document_, depth) || !document_.IsObject()) {
    Clear();
    return E_INVALIDARG;
  }
  depth_ = depth;
  return S_OK;
}

HRESULT JSONObject::ToJSONString(BSTR *text) { return json::TextOf(document_, text); }

HRESULT JSONObject::Clear() {
  document_.Reset();
  document_.SetObject();
  depth_ = 1;
  return S_OK;
}

void JSONObject::Assign(const json::Value &value, LONG depth) {
  // `value` belongs to another document: this one's pool can be emptied first.
  document_.Reset();
  json::DeepCopy(value, document_.GetAllocator(), document_);
  depth_ = depth;
}

namespace {

// Whether the member name `utf8` spells `name`. Names are nearly always ASCII, compared unit by
// byte without a conversion; any other name is converted first (a lone surrogate matches
// nothing).
bool SameName(LPCOLESTR name, const json::Value &utf8) {
  const char *bytes = utf8.GetString();
  const size_t length = utf8.GetStringLength();
  size_t i = 0;
  for (const char16_t *p = name; *p != 0; ++p, ++i) {
    if (*p >= 0x80) {
      std::string key;
      return json::Utf8FromUtf16(name, key) && key.size() == length && std::equal(key.begin(), key.end(), bytes);
    }
    if (i >= length || static_cast<unsigned char>(bytes[i]) != *p) return false;
  }
  return i == length;
}

}  // namespace

HRESULT JSONObject::Put(LPCOLESTR name, json::Value &value, LONG depth) {
  if (name == nullptr) return E_POINTER;
  if (depth + 1 > kJSONMaxDepth) return E_INVALIDARG;
  for (auto &member : document_.GetObject()) {
    if (SameName(name, member.name)) {
      member.value = value;  // moves
      depth_ = std::max(depth_, depth + 1);
      return S_OK;
    }
  }
  std::string key;
  if (!json::Utf8FromUtf16(name, key)) return E_INVALIDARG;
  const auto length = static_cast<rapidjson::SizeType>(key.size());
  json::Value stored_name(key.data(), length, document_.GetAllocator());
  document_.AddMember(stored_name, value, document_.GetAllocator());
  depth_ = std::max(depth_, depth + 1);
  return S_OK;
}

const json::Value *JSONObject::Find(LPCOLESTR name, HRESULT &failure) const {
  failure = E_POINTER;
  if (name == nullptr) return nullptr;
  failure = JSON_E_NOTFOUND;
  for (const auto &member : document_.GetObject())
    if (SameName(name, member.name)) return &member.value;
  return nullptr;
}

HRESULT JSONObject::AddString(LPCOLESTR name, LPCOLESTR value) {
  json::Value made;
  HRESULT hr = json::StringValue(value, document_.GetAllocator(), made);
  return SUCCEEDED(hr) ? Put(name, made, 0) : hr;
}

HRESULT JSONObject::AddBoolean(LPCOLESTR name, VARIANT_BOOL value) {
  json::Value made(value != VARIANT_FALSE);
  return Put(name, made, 0);
}

HRESULT JSONObject::AddInteger(LPCOLESTR name, LONGLONG value) {
  json::Value made(static_cast<int64_t>(value));
  return Put(name, made, 0);
}

HRESULT JSONObject::AddNumber(LPCOLESTR name, double value) { return AddNumberWithPrecision(name, value, 0); }

HRESULT JSONObject::AddNumberWithPrecision(LPCOLESTR name, double value, LONG precision) {
  json::Value made;
  HRESULT hr = json::NumberValue(value, precision, made);
  return SUCCEEDED(hr) ? Put(name, made, 0) : hr;
}

HRESULT JSONObject::AddNull(LPCOLESTR name) {
  json::Value made;
  return Put(name, made, 0);
}

HRESULT JSONObject::AddObject(LPCOLESTR name, IJSONObject *value) {
  json::Value made;
  LONG depth = 1;
  HRESULT hr = json::CopyObjectValue(value, document_.GetAllocator(), made, depth);
  return SUCCEEDED(hr) ? Put(name, made, depth) : hr;
}

HRESULT JSONObject::AddArray(LPCOLESTR name, IJSONArray *value) {
  json::Value made;
  LONG depth = 1;
  HRESULT hr = json::CopyArrayValue(value, document_.GetAllocator(), made, depth);
  return SUCCEEDED(hr) ? Put(name, made, depth) : hr;
}

HRESULT JSONObject::GetMemberCount(LONG *count) {
  if (count == nullptr) return E_POINTER;
  *count = static_cast<LONG>(document_.MemberCount());
  return S_OK;
}

HRESULT JSONObject::GetMemberName(LONG index, BSTR *name) {
  if (name == nullptr) return E_POINTER;
  *name = nullptr;
  if (index < 0 || static_cast<rapidjson::SizeType>(index) >= document_.MemberCount()) return JSON_E_NOTFOUND;
  const json::Value &key = (document_.MemberBegin() + index)->name;
  return json::BstrFromUtf8(key.GetString(), key.GetStringLength(), name);
}

HRESULT JSONObject::GetMemberType(LPCOLESTR name, JSONType *type) {
  if (type == nullptr) return E_POINTER;
  HRESULT failure;
  const json::Value *value = Find(name, failure);
  if (value == nullptr) return failure;
  *type = json::TypeOf(*value);
  return S_OK;
}

HRESULT JSONObject::GetString(LPCOLESTR name, BSTR *value) {
  if (value == nullptr) return E_POINTER;
  *value = nullptr;
  HRESULT failure;
  const json::Value *found = Find(name, failure);
  return found != nullptr ? json::ReadString(*found, value) : failure;
}

HRESULT JSONObject::GetNumber(LPCOLESTR name, double *value) {
  if (value == nullptr) return E_POINTER;
  *value = 0;
  HRESULT failure;
  const json::Value *found = Find(name, failure);
  return found != nullptr ? json::ReadNumber(*found, value) : failure;
}

HRESULT JSONObject::GetBoolean(LPCOLESTR name, VARIANT_BOOL *value) {
  if (value == nullptr) return E_POINTER;
  *value = VARIANT_FALSE;
  HRESULT failure;
  const json::Value *found = Find(name, failure);
  return found != nullptr ? json::ReadBoolean(*found, value) : failure;
}

HRESULT JSONObject::GetObject(LPCOLESTR name, IJSONObject **value) {
  if (value == nullptr) return E_POINTER;
  *value = nullptr;
  HRESULT failure;
  const json::Value *found = Find(name, failure);
  return found != nullptr ? json::ReadObject(*found, std::max<LONG>(depth_ - 1, 1), value) : failure;
}

HRESULT JSONObject::GetArray(LPCOLESTR name, IJSONArray **value) {
  if (value == nullptr) return E_POINTER;
  *value = nullptr;
  HRESULT failure;
  const json::Value *found = Find(name, failure);
  return found != nullptr ? json::ReadArray(*found, std::max<LONG>(depth_ - 1, 1), value) : failure;
}

namespace json {

HRESULT ReadObject(const Value &value, LONG depth, IJSONObject **out) {
  if (out == nullptr) return E_POINTER;
  *out = nullptr;
  if (!value.IsObject()) return DISP_E_TYPEMISMATCH;
  auto *object = new (std::nothrow) JSONObject;
  if (object == nullptr) return E_OUTOFMEMORY;
  object->Assign(value, depth);
  HRESULT hr = object->InternalQueryInterface(KZ_IID(IJSONObject), reinterpret_cast<void **>(out));
  object->InternalRelease();
  return hr;
}

}  // namespace json

}  // namespace kz::host
