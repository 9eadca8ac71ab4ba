// The JSON object of the JSON service (CLSID_JSONObject): a RapidJSON document whose root is an
// object, its members in the order they were added.
#pragma once

#include <host/objects/json_value.h>
#include <kzcore/core/unknown.h>

namespace kz::host {

class JSONObject final : public Unknown, public IJSONObject, public json::IJSONValueSource {
 public:
  JSONObject();

  KZ_DELEGATING_IUNKNOWN
  HRESULT InternalQueryInterface(REFIID riid, void **ppv) override;
  const WCHAR *GetClassName() override { return u"JSONObject"; }
  HRESULT GetCLSID(GUID *clsid) override;

  HRESULT Parse(LPCOLESTR text) override;
  HRESULT ToJSONString(BSTR *text) override;
  HRESULT Clear() override;
  HRESULT AddString(LPCOLESTR name, LPCOLESTR value) override;
  HRESULT AddBoolean(LPCOLESTR name, VARIANT_BOOL value) override;
  HRESULT AddInteger(LPCOLESTR name, LONGLONG value) override;
  HRESULT AddNumber(LPCOLESTR name, double value) override;
  HRESULT AddNumberWithPrecision(LPCOLESTR name, double value, LONG precision) override;
  HRESULT AddNull(LPCOLESTR name) override;
  HRESULT AddObject(LPCOLESTR name, IJSONObject *value) override;
  HRESULT AddArray(LPCOLESTR name, IJSONArray *value) override;
  HRESULT GetMemberCount(LONG *count) override;
  HRESULT GetMemberName(LONG index, BSTR *name) override;
  HRESULT GetMemberType(LPCOLESTR name, JSONType *type) override;
  HRESULT GetString(LPCOLESTR name, BSTR *value) override;
  HRESULT GetNumber(LPCOLESTR name, double *value) override;
  HRESULT GetBoolean(LPCOLESTR name, VARIANT_BOOL *value) override;
  HRESULT GetObject(LPCOLESTR name, IJSONObject **value) override;
  HRESULT GetArray(LPCOLESTR name, IJSONArray **value) override;

  const json::Value &JSONValue() override { return document_; }
  LONG JSONDepth() override { return depth_; }
  // Takes a copy of `value`, an object, nesting at most `depth` deep.
  void Assign(const json::Value &value, LONG depth);

 private:
  // Enters `value` under `name`, replacing the value of a member of that name in its place.
  HRESULT Put(LPCOLESTR name, json::Value &value, LONG depth);
  // The member's value; null with JSON_E_NOTFOUND (or E_POINTER) in `failure` when absent.
  const json::Value *Find(LPCOLESTR name, HRESULT &failure) const;

  json::PooledDocument document_;
  LONG depth_ = 1;  // the nesting of the document at most
};

}  // namespace kz::host
