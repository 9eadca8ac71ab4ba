// The JSON writer of the JSON service (CLSID_JSONWriter): streams one document through a
// RapidJSON writer into UTF-8 bytes, checking the order of the calls itself so that a wrong call
// fails and writes nothing.
#pragma once

#include <vector>

#include <host/objects/json_value.h>
#include <kzcore/core/unknown.h>

namespace kz::host {

class JSONWriter final : public Unknown, public IJSONWriter, public IJSONNumericProperty {
 public:
  JSONWriter();

  KZ_DELEGATING_IUNKNOWN
  HRESULT InternalQueryInterface(REFIID riid, void **ppv) override;
  const WCHAR *GetClassName() override { return u"JSONWriter"; }
  HRESULT GetCLSID(GUID *clsid) override;

  HRESULT Initialize() override;
  HRESULT WriteObject(LPCOLESTR name, IJSONObject *object) override;
  HRESULT WriteArray(LPCOLESTR name, IJSONArray *array) override;
  HRESULT StartObject(LPCOLESTR name) override;
  HRESULT EndObject() override;
  HRESULT StartArray(LPCOLESTR name) override;
  HRESULT EndArray() override;
  HRESULT WriteString(LPCOLESTR name, LPCOLESTR value) override;
  HRESULT WriteBoolean(LPCOLESTR name, VARIANT_BOOL value) override;
  HRESULT WriteInteger(LPCOLESTR name, LONGLONG value) override;
  HRESULT WriteNull(LPCOLESTR name) override;
  HRESULT GetText(BSTR *text) override;
  HRESULT GetBytes(SAFEARRAY **bytes) override;

  HRESULT AddNumberProperty(LPCOLESTR name, double value, LONG precision) override;

 private:
  // Checks that a value named `name` (null for none) of nesting `depth` may come now, and writes
  // its name. Nothing is written when it may not.
  HRESULT Begin(LPCOLESTR name, LONG depth);
  // Writes an object or an array under `name`.
  template <class Interface>
  HRESULT WriteValueOf(LPCOLESTR name, Interface *source);
  // After a value: a value at the top ends the document.
  void Ended();
  HRESULT Close(bool object);

  json::StringBuffer buffer_;
  json::Writer writer_;
  std::vector<bool> open_;  // the objects (true) and arrays (false) now open, outermost first
  bool complete_ = false;
};

}  // namespace kz::host
