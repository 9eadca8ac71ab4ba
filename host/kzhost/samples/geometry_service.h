// The sample geometry service: operations on the library's points and envelopes. Points are
// {"x":1,"y":2}, envelopes {"xmin":0,"ymin":0,"xmax":2,"ymax":1}.
//
//   /services/Geometry/envelopeUnionArea?envelopes=[{...},{...}]
//       {"area":7,"dimension":2,"extent":{"xmin":0,"ymin":0,"xmax":3,"ymax":3}}: the area the
//       envelopes cover together (each place once), and the envelope of them all. When every
//       envelope is flat the measure is their length along the line they share ("dimension":1),
//       or 0 for points ("dimension":0).
//   /services/Geometry/pointInEnvelope?point={...}&envelope={...}
//       {"contains":true,"properlyContains":false,"location":"boundary"}
#pragma once

#include "sample_service.h"

KZ_DEFINE_GUID(CLSID_KzGeometryService, "{8F005008-47FE-4A00-A4EA-080D762B653E}");

namespace kzhost {

class GeometryService final : public SampleService {
 public:
  // The most envelopes one union takes: its cost grows with the square of the count.
  static constexpr size_t kMaxEnvelopes = 2000;

  const WCHAR *GetClassName() override { return u"GeometryService"; }
  HRESULT GetCLSID(GUID *clsid) override;

 protected:
  std::string_view SchemaText() const override;
  SampleAnswer Handle(const SampleRequest &request) override;
};

}  // namespace kzhost
