// PolygonAreaAndCentroid: accumulates the signed area, and optionally the centroid, of a polygon
// whose rings arrive in pieces. Each ring is measured relative to its first point (its anchor), so
// polygons far from the origin keep their precision.
//
// Areas are signed as WKSPoint::Area: a clockwise ring counts positive, a counter-clockwise one
// (a hole, in the family's orientation) negative. Rings needn't be closed: the fan's last triangle
// has the anchor as a corner, and a repeated first point adds nothing.
//
//   PolygonAreaAndCentroid acc(true);
//   acc.AddPoints(n1, shell);            // a ring may come in several calls
//   acc.StartNewRing();
//   acc.AddPoints(n2, hole);
//   double area = acc.Area();
//   WKSPoint c = acc.Centroid();         // x empty when the area is 0
#pragma once

#include <kzcore/numerics/geometry/wks_point.h>
#include <kzcore/pal/types.h>

class KZ_API PolygonAreaAndCentroid {
 public:
  // The default accumulates the centroid too.
  PolygonAreaAndCentroid() : PolygonAreaAndCentroid(true) {}
  explicit PolygonAreaAndCentroid(bool wantCentroid) { Reset(wantCentroid); }
  void Reset(bool wantCentroid);

  // True until a ring has points.
  bool IsEmpty() const { return newRing_; }
  // Closes the running ring: the next points begin another.
  void StartNewRing() { CloseRing(); }
  // Feeds n points of the running ring; the first point of a new ring becomes its anchor. A call
  // with no points (n < 1 or a null pointer) changes nothing.
  void AddPoints(LONG n, const WKSPoint *points);
  // Leaves this accumulator as if o's rings had been fed to it after its own: this one's running
  // ring is closed, o's closed rings are added, and o's running ring, if any, goes on here. An o
  // with no running ring and nothing accumulated changes nothing. The centroid is meaningful when
  // both want it.
  void Append(const PolygonAreaAndCentroid &o);
  // Closes the running ring; the sum of the rings' signed areas.
  double Area();
  // Closes the running ring when its area isn't 0; the centroid, or a point with an empty x when
  // the centroid isn't wanted or the total area is 0.
  WKSPoint Centroid();

 private:
  void CloseRing();

  bool newRing_;
  bool wantCentroid_;
  // Doubled areas and the moments that go with them.
  double ringArea_;
  double totalArea_;
  double ringMomentX_;
  double ringMomentY_;
  double totalMomentX_;
  double totalMomentY_;
  double anchorX_;
  double anchorY_;
  double previousX_;
  double previousY_;
};
