// The sample information service: what this host and its library are.
//
//   /services/Info                         a description and the list of topics
//   /services/Info/topics                  the topics (a default collection)
//   /services/Info/library                 one topic; the same as /services/Info/topics/library
//   /services/Info/echo?text=...           answers {"text": <the value given>}
//   /services/Info/process                 the process's figures (needs the capability "Admin")
#pragma once

#include "sample_service.h"

KZ_DEFINE_GUID(CLSID_KzInfoService, "{F46C1406-65EC-4742-AB95-FBD5E59ACE77}");

namespace kzhost {

class InfoService final : public SampleService {
 public:
  const WCHAR *GetClassName() override { return u"InfoService"; }
  HRESULT GetCLSID(GUID *clsid) override;

 protected:
  std::string_view SchemaText() const override;
  SampleAnswer Handle(const SampleRequest &request) override;
};

}  // namespace kzhost
