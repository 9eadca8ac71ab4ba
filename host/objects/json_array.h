// The JSON array of the JSON service (CLSID_JSONArray): a RapidJSON document whose root is an
// array.
#pragma once

#include <host/objects/json_value.h>
#include <kzcore/core/unknown.h>

namespace kz::host {

class JSONArray final : public Unknown, public IJSONArray, public json::IJSONValueSource {
 public:
  JSONArray();

  KZ_DELEGATING_IUNKNOWN
  HRESULT InternalQueryInterface(REFIID riid, void **ppv) override;
  const WCHAR *GetClassName() override { return u"JSONArray"; }
  HRESULT GetCLSID(GUID *clsid) override;

  HRESULT Parse(LPCOLESTR text) override;
  HRESULT ToJSONString(BSTR *text) override;
  HRESULT Clear() override;
  HRESULT AddString(LPCOLESTR value) override;
  HRESULT AddBoolean(VARIANT_BOOL value) override;
  HRESULT AddInteger(LONGLONG value) override;
  HRESULT AddNumber(double value) override;
  HRESULT AddNumberWithPrecision(double value, LONG precision) override;
  HRESULT AddNull() override;
  HRESULT AddObject(IJSONObject *value) override;
  HRESULT AddArray(IJSONArray *value) override;
  HRESULT GetCount(LONG *count) override;
  HRESULT GetType(LONG index, JSONType *type) override;
  HRESULT GetString(LONG index, BSTR *value) override;
  HRESULT GetNumber(LONG index, double *value) override;
  HRESULT GetBoolean(LONG index, VARIANT_BOOL *value) override;
  HRESULT GetObject(LONG index, IJSONObject **value) override;
  HRESULT GetArray(LONG index, IJSONArray **value) override;

  const json::Value &JSONValue() override { return document_; }
  LONG JSONDepth() override { return depth_; }
  // Takes a copy of `value`, an array, nesting at most `depth` deep.
  void Assign(const json::Value &value, LONG depth);

 private:
  HRESULT Append(json::Value &value, LONG depth);
  // The element at `index`, or null when there is none.
  const json::Value *At(LONG index) const;

  json::PooledDocument document_;
  LONG depth_ = 1;
};

}  // namespace kz::host
