// The UID object: a GUID and a subtype behind IUID and the internal interface that Guid uses.
// Made through the class registry under CLSID_UID once KzRegisterHostObjects has run.
#pragma once

#include <kzcore/core/unknown.h>
#include <kzcore/values/guid.h>

namespace kz::host {

class UIDObject final : public Unknown, public IUID, public IUIDInternal {
 public:
  UIDObject() = default;

  KZ_DELEGATING_IUNKNOWN
  HRESULT InternalQueryInterface(REFIID riid, void **ppv) override;
  const WCHAR *GetClassName() override { return u"UID"; }
  HRESULT GetCLSID(GUID *clsid) override;

  // IUID
  HRESULT get_Value(BSTR *text) override;
  HRESULT put_Value(LPCOLESTR text) override;
  HRESULT get_SubType(LONG *subtype) override;
  HRESULT put_SubType(LONG subtype) override;
  HRESULT Generate() override;
  HRESULT Compare(IUID *other, VARIANT_BOOL *equal) override;

  // IUIDInternal
  HRESULT Set(const GUID *value, LONG subtype) override;
  HRESULT Get(GUID *value, LONG *subtype) override;

 private:
  GUID value_ = GUID_NULL;
  LONG subtype_ = 0;
};

}  // namespace kz::host
