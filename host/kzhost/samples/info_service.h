// The sample information service: what this host and its library are.
//
//   /services/Info                         a description, the REST version and the topics' keys
//   /services/Info/topics                  the topics (a default collection)
//   /services/Info/library                 one topic; the same as /services/Info/topics/library
//   /services/Info/echo?text=...           answers {"text": <the value given>}
//   /services/Info/process                 the process's figures (needs the capability "Admin")
#pragma once

#include "rest_service.h"

KZ_DEFINE_GUID(CLSID_KzInfoService, "{F46C1406-65EC-4742-AB95-FBD5E59ACE77}");

namespace kzhost {

class InfoService final : public RESTService {
 public:
  InfoService();
  const WCHAR *GetClassName() override { return u"InfoService"; }
  HRESULT GetCLSID(GUID *clsid) override;
};

}  // namespace kzhost
