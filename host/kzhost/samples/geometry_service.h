// The sample geometry service: operations on the library's points, envelopes and point sets.
// A point is {"x":1,"y":2}, an envelope {"xmin":0,"ymin":0,"xmax":2,"ymax":1}; a list of points is
// an array of [x,y] pairs, and a polygon's rings an array of such lists.
//
//   /services/Geometry/envelopeUnionArea?envelopes=[{...},{...}]
//       {"area":7,"dimension":2,"extent":{"xmin":0,"ymin":0,"xmax":3,"ymax":3}}: the area the
//       envelopes cover together (each place once), and the envelope of them all. When every
//       envelope is flat the measure is their length along the line they share ("dimension":1),
//       or 0 for points ("dimension":0).
//   /services/Geometry/pointInEnvelope?point={...}&envelope={...}
//       {"contains":true,"properlyContains":false,"location":"boundary"}
//   /services/Geometry/convexHull?points=[[0,0],[4,0],[4,3],[2,1]]
//       {"hull":[[0,0],[4,3],[4,0]],"area":6,"width":2.4,"diameter":5}: the hull's corners,
//       clockwise from the lowest point, its area, its least width and its greatest extent.
//   /services/Geometry/pointInPolygon?point={...}&rings=[[[0,0],[0,4],[4,4],[4,0]],[...]]
//       {"contains":true,"location":"interior"}: rings are closed when their last point is not
//       their first; a point inside an odd number of rings is inside the polygon.
#pragma once

#include "rest_service.h"

KZ_DEFINE_GUID(CLSID_KzGeometryService, "{8F005008-47FE-4A00-A4EA-080D762B653E}");

namespace kzhost {

class GeometryService final : public RESTService {
 public:
  // The most envelopes one union takes: its cost grows with the square of the count.
  static constexpr LONG kMaxEnvelopes = 2000;
  // The most points one request takes, over all its rings.
  static constexpr LONG kMaxPoints = 200000;

  GeometryService();
  const WCHAR *GetClassName() override { return u"GeometryService"; }
  HRESULT GetCLSID(GUID *clsid) override;
};

}  // namespace kzhost
