#include <host/objects/json_writer.h>

#include <cstring>
#include <string>

#include <kzcore/pal/safe_array.h>

namespace kz::host {

JSONWriter::JSONWriter()
    : buffer_(ThreadStackAllocator::Instance()), writer_(buffer_, ThreadStackAllocator::Instance()) {}

HRESULT JSONWriter::InternalQueryInterface(REFIID riid, void **ppv) {
  if (ppv != nullptr && riid == KZ_IID(IJSONWriter)) return Answer(static_cast<IJSONWriter *>(this), ppv);
  if (ppv != nullptr && riid == KZ_IID(IJSONNumericProperty))
    return Answer(static_cast<IJSONNumericProperty *>(this), ppv);
  return Unknown::InternalQueryInterface(riid, ppv);
}

HRESULT JSONWriter::GetCLSID(GUID *clsid) {
  if (clsid == nullptr) return E_POINTER;
  *clsid = CLSID_JSONWriter;
  return S_OK;
}

HRESULT JSONWriter::Initialize() {
  buffer_.Clear();
  writer_.Reset(buffer_);
  open_.clear();
  complete_ = false;
  return S_OK;
}

HRESULT JSONWriter::Begin(LPCOLESTR name, LONG depth) {
  if (complete_) return E_UNEXPECTED;
  const bool in_object = !open_.empty() && open_.back();
  if ((name != nullptr) != in_object) return E_UNEXPECTED;
  if (static_cast<LONG>(open_.size()) + depth > kJSONMaxDepth) return E_INVALIDARG;
  if (name == nullptr) return S_OK;
  std::string key;
  if (!json::Utf8FromUtf16(name, key)) return E_INVALIDARG;
  writer_.Key(key.data(), static_cast<rapidjson::SizeType>(key.size()), true);
  return S_OK;
}

void JSONWriter::Ended() {
  if (open_.empty()) complete_ = true;
}

template <class Interface>
HRESULT JSONWriter::WriteValueOf(LPCOLESTR name, Interface *source) {
  if (source == nullptr) return E_POINTER;
  LONG depth = 1;
  json::IJSONValueSource *own = nullptr;
  if (SUCCEEDED(source->QueryInterface(KZ_IID(json::IJSONValueSource), reinterpret_cast<void **>(&own)))) {
    // An object of this module is written from its tree as it stands: nothing runs in between
    // that could change it.
    HRESULT hr = Begin(name, own->JSONDepth());
    if (SUCCEEDED(hr)) {
      json::WriteValue(own->JSONValue(), writer_);
      Ended();
    }
    own->Release();
    return hr;
  }
  json::Document copy;
  HRESULT hr = json::CopyValueOf(source, copy.GetAllocator(), copy, depth);
  if (SUCCEEDED(hr)) hr = Begin(name, depth);
  if (FAILED(hr)) return hr;
  json::WriteValue(copy, writer_);
  Ended();
  return S_OK;
}

HRESULT JSONWriter::WriteObject(LPCOLESTR name, IJSONObject *object) { return WriteValueOf(name, object); }

HRESULT JSONWriter::WriteArray(LPCOLESTR name, IJSONArray *array) { return WriteValueOf(name, array); }

HRESULT JSONWriter::StartObject(LPCOLESTR name) {
  HRESULT hr = Begin(name, 1);
  if (FAILED(hr)) return hr;
  writer_.StartObject();
  open_.push_back(true);
  return S_OK;
}

HRESULT JSONWriter::StartArray(LPCOLESTR name) {
  HRESULT hr = Begin(name, 1);
  if (FAILED(hr)) return hr;
  writer_.StartArray();
  open_.push_back(false);
  return S_OK;
}

HRESULT JSONWriter::Close(bool object) {
  if (open_.empty() || open_.back() != object) return E_UNEXPECTED;
  if (object)
    writer_.EndObject();
  else
    writer_.EndArray();
  open_.pop_back();
  Ended();
  return S_OK;
}

HRESULT JSONWriter::EndObject() { return Close(true); }

HRESULT JSONWriter::EndArray() { return Close(false); }

HRESULT JSONWriter::WriteString(LPCOLESTR name, LPCOLESTR value) {
  if (value == nullptr) return E_POINTER;
  std::string text;
  if (!json::Utf8FromUtf16(value, text)) return E_INVALIDARG;
  HRESULT hr = Begin(name, 0);
  if (FAILED(hr)) return hr;
  writer_.String(text.data(), static_cast<rapidjson::SizeType>(text.size()), true);
  Ended();
  return S_OK;
}

HRESULT JSONWriter::WriteBoolean(LPCOLESTR name, VARIANT_BOOL value) {
  HRESULT hr = Begin(name, 0);
  if (FAILED(hr)) return hr;
  writer_.Bool(value != VARIANT_FALSE);
  Ended();
  return S_OK;
}

HRESULT JSONWriter::WriteInteger(LPCOLESTR name, LONGLONG value) {
  HRESULT hr = Begin(name, 0);
  if (FAILED(hr)) return hr;
  writer_.Int64(value);
  Ended();
  return S_OK;
}

HRESULT JSONWriter::WriteNull(LPCOLESTR name) {
  HRESULT hr = Begin(name, 0);
  if (FAILED(hr)) return hr;
  writer_.Null();
  Ended();
  return S_OK;
}

HRESULT JSONWriter::AddNumberProperty(LPCOLESTR name, double value, LONG precision) {
  double rounded;
  if (!json::RoundToPrecision(value, precision, rounded)) return E_INVALIDARG;
  HRESULT hr = Begin(name, 0);
  if (FAILED(hr)) return hr;
  json::WriteNumber(rounded, writer_);
  Ended();
  return S_OK;
}

HRESULT JSONWriter::GetText(BSTR *text) {
  if (text == nullptr) return E_POINTER;
  *text = nullptr;
  if (!complete_) return E_UNEXPECTED;
  return json::BstrFromUtf8(buffer_.GetString(), buffer_.GetSize(), text);
}

HRESULT JSONWriter::GetBytes(SAFEARRAY **bytes) {
  if (bytes == nullptr) return E_POINTER;
  *bytes = nullptr;
  if (!complete_) return E_UNEXPECTED;
  const std::size_t size = buffer_.GetSize();
  if (size > 0xFFFFFFFFu) return E_OUTOFMEMORY;
  SAFEARRAY *array = SafeArrayCreateVector(VT_UI1, 0, static_cast<ULONG>(size));
  if (array == nullptr) return E_OUTOFMEMORY;
  void *data = nullptr;
  HRESULT hr = SafeArrayAccessData(array, &data);
  if (FAILED(hr)) {
    SafeArrayDestroy(array);
    return hr;
  }
  std::memcpy(data, buffer_.GetString(), size);
  SafeArrayUnaccessData(array);
  *bytes = array;
  return S_OK;
}

}  // namespace kz::host
