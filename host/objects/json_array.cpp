#include <host/objects/json_array.h>

#include <algorithm>
#include <new>

namespace kz::host {

JSONArray::JSONArray() { document_.SetArray(); }

HRESULT JSONArray::InternalQueryInterface(REFIID riid, void **ppv) {
  if (ppv != nullptr && riid == KZ_IID(IJSONArray)) return Answer(static_cast<IJSONArray *>(this), ppv);
  if (ppv != nullptr && riid == KZ_IID(json::IJSONValueSource))
    return Answer(static_cast<json::IJSONValueSource *>(this), ppv);
  return Unknown::InternalQueryInterface(riid, ppv);
}

HRESULT JSONArray::GetCLSID(GUID *clsid) {
  if (clsid == nullptr) return E_POINTER;
  *clsid = CLSID_JSONArray;
  return S_OK;
}

HRESULT JSONArray::Parse(LPCOLESTR text) {
  if (text == nullptr) return E_POINTER;
  LONG depth = 1;
  document_.Reset();
  if (!json::ParseDocument(text, document_, depth) || !document_.IsArray()) {
    Clear();
    return E_INVALIDARG;
  }
  depth_ = depth;
  return S_OK;
}

HRESULT JSONArray::ToJSONString(BSTR *text) { return json::TextOf(document_, text); }

HRESULT JSONArray::Clear() {
  document_.Reset();
  document_.SetArray();
  depth_ = 1;
  return S_OK;
}

void JSONArray::Assign(const json::Value &value, LONG depth) {
  // `value` belongs to another document: this one's pool can be emptied first.
  document_.Reset();
  json::DeepCopy(value, document_.GetAllocator(), document_);
  depth_ = depth;
}

HRESULT JSONArray::Append(json::Value &value, LONG depth) {
  if (depth + 1 > kJSONMaxDepth) return E_INVALIDARG;
  document_.PushBack(value, document_.GetAllocator());
  depth_ = std::max(depth_, depth + 1);
  return S_OK;
}

const json::Value *JSONArray::At(LONG index) const {
  if (index < 0 || static_cast<rapidjson::SizeType>(index) >= document_.Size()) return nullptr;
  return &document_[static_cast<rapidjson::SizeType>(index)];
}

HRESULT JSONArray::AddString(LPCOLESTR value) {
  json::Value made;
  HRESULT hr = json::StringValue(value, document_.GetAllocator(), made);
  return SUCCEEDED(hr) ? Append(made, 0) : hr;
}

HRESULT JSONArray::AddBoolean(VARIANT_BOOL value) {
  json::Value made(value != VARIANT_FALSE);
  return Append(made, 0);
}

HRESULT JSONArray::AddInteger(LONGLONG value) {
  json::Value made(static_cast<int64_t>(value));
  return Append(made, 0);
}

HRESULT JSONArray::AddNumber(double value) { return AddNumberWithPrecision(value, 0); }

HRESULT JSONArray::AddNumberWithPrecision(double value, LONG precision) {
  json::Value made;
  HRESULT hr = json::NumberValue(value, precision, made);
  return SUCCEEDED(hr) ? Append(made, 0) : hr;
}

HRESULT JSONArray::AddNull() {
  json::Value made;
  return Append(made, 0);
}

HRESULT JSONArray::AddObject(IJSONObject *value) {
  json::Value made;
  LONG depth = 1;
  HRESULT hr = json::CopyObjectValue(value, document_.GetAllocator(), made, depth);
  return SUCCEEDED(hr) ? Append(made, depth) : hr;
}

HRESULT JSONArray::AddArray(IJSONArray *value) {
  json::Value made;
  LONG depth = 1;
  HRESULT hr = json::CopyArrayValue(value, document_.GetAllocator(), made, depth);
  return SUCCEEDED(hr) ? Append(made, depth) : hr;
}

HRESULT JSONArray::GetCount(LONG *count) {
  if (count == nullptr) return E_POINTER;
  *count = static_cast<LONG>(document_.Size());
  return S_OK;
}

HRESULT JSONArray::GetType(LONG index, JSONType *type) {
  if (type == nullptr) return E_POINTER;
  const json::Value *found = At(index);
  if (found == nullptr) return JSON_E_NOTFOUND;
  *type = json::TypeOf(*found);
  return S_OK;
}

HRESULT JSONArray::GetString(LONG index, BSTR *value) {
  if (value == nullptr) return E_POINTER;
  *value = nullptr;
  const json::Value *found = At(index);
  return found != nullptr ? json::ReadString(*found, value) : JSON_E_NOTFOUND;
}

HRESULT JSONArray::GetNumber(LONG index, double *value) {
  if (value == nullptr) return E_POINTER;
  *value = 0;
  const json::Value *found = At(index);
  return found != nullptr ? json::ReadNumber(*found, value) : JSON_E_NOTFOUND;
}

HRESULT JSONArray::GetBoolean(LONG index, VARIANT_BOOL *value) {
  if (value == nullptr) return E_POINTER;
  *value = VARIANT_FALSE;
  const json::Value *found = At(index);
  return found != nullptr ? json::ReadBoolean(*found, value) : JSON_E_NOTFOUND;
}

HRESULT JSONArray::GetObject(LONG index, IJSONObject **value) {
  if (value == nullptr) return E_POINTER;
  *value = nullptr;
  const json::Value *found = At(index);
  return found != nullptr ? json::ReadObject(*found, std::max<LONG>(depth_ - 1, 1), value) : JSON_E_NOTFOUND;
}

HRESULT JSONArray::GetArray(LONG index, IJSONArray **value) {
  if (value == nullptr) return E_POINTER;
  *value = nullptr;
  const json::Value *found = At(index);
  return found != nullptr ? json::ReadArray(*found, std::max<LONG>(depth_ - 1, 1), value) : JSON_E_NOTFOUND;
}

namespace json {

HRESULT ReadArray(const Value &value, LONG depth, IJSONArray **out) {
  if (out == nullptr) return E_POINTER;
  *out = nullptr;
  if (!value.IsArray()) return DISP_E_TYPEMISMATCH;
  auto *array = new (std::nothrow) JSONArray;
  if (array == nullptr) return E_OUTOFMEMORY;
  array->Assign(value, depth);
  HRESULT hr = array->InternalQueryInterface(KZ_IID(IJSONArray), reinterpret_cast<void **>(out));
  array->InternalRelease();
  return hr;
}

}  // namespace json

}  // namespace kz::host
