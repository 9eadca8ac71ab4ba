// WKSEnvelope and WKSEnvelopeZ: the axis-aligned bounding boxes of the family. Plain records with
// value semantics, no virtual operation and no heap; nothing here reports failure, and every
// question about an empty box has a fixed answer.
//
// A box is empty exactly when `xmin` is a NaN (SetEmpty writes only `xmin`; the other fields keep
// what they held and mean nothing). In a WKSEnvelopeZ a NaN `zmin` means "no valid z": the box is
// not empty, and its z range is left out of the tests.
//
// Corners are numbered clockwise from the lower left: 0 lower left, 1 upper left, 2 upper right,
// 3 lower right; an index is masked with 3, so -1 means 3. -DBL_MAX and DBL_MAX stand for the ends
// of an unbounded axis: setting one coordinate of an empty box makes an open strip.
//
//   WKSEnvelope box(0.0, 0.0, 10.0, 5.0);
//   box.AddPoint(WKSPoint{12, -1});             // (0, -1, 12, 5)
//   if (box.Contains(WKSPoint{3, 3})) ...
//   WKSEnvelope both = box * WKSEnvelope(5.0, 2.0, 20.0, 20.0);   // (5, 2, 12, 5)
//   double covered = WKSEnvelope::AreaOfUnion(boxes, n, &dim);
#pragma once

#include <cfloat>
#include <cmath>
#include <type_traits>

#include <kzcore/numerics/empty_value.h>
#include <kzcore/numerics/geometry/wks_point.h>
#include <kzcore/pal/types.h>

struct WKSEnvelopeZ;

struct KZ_API WKSEnvelope {
  double xmin;
  double ymin;
  double xmax;
  double ymax;

  // Construction. The forms from two corners are normalised; the centred forms are not.
  WKSEnvelope() : xmin(kEmptyValue), ymin(0.0), xmax(0.0), ymax(0.0) {}
  explicit WKSEnvelope(double v) : xmin(v), ymin(v), xmax(v), ymax(v) {}
  WKSEnvelope(double x, double y) : xmin(x), ymin(y), xmax(x), ymax(y) {}
  WKSEnvelope(double x1, double y1, double x2, double y2) { PutCoords(x1, y1, x2, y2); }
  // A point box; the point is not checked for emptiness.
  explicit WKSEnvelope(const WKSPoint &p) : xmin(p.x), ymin(p.y), xmax(p.x), ymax(p.y) {}
  WKSEnvelope(const WKSPoint &a, const WKSPoint &b) { PutCoords(a, b); }
  WKSEnvelope(const WKSPoint &c, double r) : xmin(c.x - r), ymin(c.y - r), xmax(c.x + r), ymax(c.y + r) {}
  WKSEnvelope(const WKSPoint &c, double w, double h) { PutCoords(c, w, h); }
  WKSEnvelope(LONG n, const WKSPoint *points) { DefineFromWKSPoints(n, points); }
  WKSEnvelope(LONG n, const WKSEnvelope *boxes) { DefineFromWKSEnvelopes(n, boxes); }
  // x and y of the 3D box; all four the empty value when it is empty.
  WKSEnvelope(const WKSEnvelopeZ &b);
  WKSEnvelope &operator=(const WKSEnvelopeZ &b);

  WKSEnvelope &PutCoords(double x1, double y1, double x2, double y2) {
    xmin = x1;
    ymin = y1;
    xmax = x2;
    ymax = y2;
    return Normalize();
  }
  WKSEnvelope &PutCoords(const WKSPoint &a, const WKSPoint &b) { return PutCoords(a.x, a.y, b.x, b.y); }
  WKSEnvelope &PutCoords(const WKSPoint &c, double w, double h) {
    xmin = c.x - w * 0.5;
    ymin = c.y - h * 0.5;
    xmax = c.x + w * 0.5;
    ymax = c.y + h * 0.5;
    return *this;
  }
  // The four fields in field order from an array, normalised.
  WKSEnvelope &PutCoords(const double *const v) { return PutCoords(v[0], v[1], v[2], v[3]); }
  WKSEnvelope &DefineFromWKSPoints(LONG n, const WKSPoint *points) {
    xmin = kEmptyValue;
    return AddPoints(n, points);
  }
  WKSEnvelope &DefineFromWKSEnvelopes(LONG n, const WKSEnvelope *boxes) {
    xmin = kEmptyValue;
    return AddEnvelopes(n, boxes);
  }

  bool IsEmpty() const { return std::isnan(xmin); }
  WKSEnvelope &SetEmpty() {
    xmin = kEmptyValue;
    return *this;
  }
  // Swaps min and max fields that are out of order; nothing on an empty box.
  WKSEnvelope &Normalize();

  // Readers: the empty value (or a point of empty values) on an empty box; sizes are 0.0 there.
  double XMin() const { return IsEmpty() ? kEmptyValue : xmin; }
  double YMin() const { return IsEmpty() ? kEmptyValue : ymin; }
  double XMax() const { return IsEmpty() ? kEmptyValue : xmax; }
  double YMax() const { return IsEmpty() ? kEmptyValue : ymax; }
  double Width() const { return IsEmpty() ? 0.0 : xmax - xmin; }
  double Height() const { return IsEmpty() ? 0.0 : ymax - ymin; }
  double Area() const { return IsEmpty() ? 0.0 : (ymax - ymin) * (xmax - xmin); }
  double MaxDimension() const;
  double MinDimension() const;
  WKSPoint LowerLeft() const { return Corner(xmin, ymin); }
  WKSPoint LowerRight() const { return Corner(xmax, ymin); }
  WKSPoint UpperLeft() const { return Corner(xmin, ymax); }
  WKSPoint UpperRight() const { return Corner(xmax, ymax); }
  WKSPoint MidLeft() const { return Corner(xmin, (ymax + ymin) * 0.5); }
  WKSPoint MidUpper() const { return Corner((xmax + xmin) * 0.5, ymax); }
  WKSPoint MidRight() const { return Corner(xmax, (ymax + ymin) * 0.5); }
  WKSPoint MidLower() const { return Corner((xmax + xmin) * 0.5, ymin); }
  WKSPoint Center() const { return Corner((xmax + xmin) * 0.5, (ymax + ymin) * 0.5); }
  // Corner i&3, clockwise from the lower left.
  WKSPoint operator[](LONG i) const;
  void QueryCoords(double *x1, double *y1, double *x2, double *y2) const;
  void QueryCoords(double *const v) const { QueryCoords(v, v + 1, v + 2, v + 3); }

  // Setters. On an empty box one coordinate opens a strip that runs from -DBL_MAX to DBL_MAX in
  // the other axis, and a later setter of the same axis closes it.
  WKSEnvelope &put_XMin(double v);
  WKSEnvelope &put_XMax(double v);
  WKSEnvelope &put_YMin(double v);
  WKSEnvelope &put_YMax(double v);
  // A corner pulled across the opposite side swaps with it; on an empty box the box collapses
  // onto the point.
  WKSEnvelope &put_LowerLeft(const WKSPoint &p) { return put_LowerLeft(p.x, p.y); }
  WKSEnvelope &put_LowerRight(const WKSPoint &p) { return put_LowerRight(p.x, p.y); }
  WKSEnvelope &put_UpperLeft(const WKSPoint &p) { return put_UpperLeft(p.x, p.y); }
  WKSEnvelope &put_UpperRight(const WKSPoint &p) { return put_UpperRight(p.x, p.y); }
  WKSEnvelope &put_LowerLeft(double x, double y);
  WKSEnvelope &put_LowerRight(double x, double y);
  WKSEnvelope &put_UpperLeft(double x, double y);
  WKSEnvelope &put_UpperRight(double x, double y);
  // Keep xmin (ymin); a negative size extends to the other side. No change on an empty box.
  WKSEnvelope &put_Width(double w);
  WKSEnvelope &put_Height(double h);
  WKSEnvelope &CenterAt(const WKSPoint &p) { return CenterAt(p.x, p.y); }
  WKSEnvelope &CenterAt(double x, double y);
  WKSEnvelope &Move(double dx, double dy);

  // Growing. An empty point or box adds nothing; an empty self takes the argument.
  WKSEnvelope &AddPoint(double x, double y);
  WKSEnvelope &AddPoint(const WKSPoint &p) { return p.IsEmpty() ? *this : AddPoint(p.x, p.y); }
  WKSEnvelope &AddPoints(LONG n, const WKSPoint *const points);
  WKSEnvelope &AddEnvelope(const WKSEnvelope &o);
  WKSEnvelope &AddEnvelopes(LONG n, const WKSEnvelope *const boxes);
  WKSEnvelope &Union(const WKSEnvelope &o) { return AddEnvelope(o); }
  WKSEnvelope &operator+=(const WKSEnvelope &o) { return AddEnvelope(o); }
  WKSEnvelope operator+(const WKSEnvelope &o) const {
    WKSEnvelope r = *this;
    return r.AddEnvelope(o);
  }
  // The box of boxes[0..n-1]. Reads boxes[0] whatever n is.
  static WKSEnvelope Union(const WKSEnvelope *const boxes, LONG n);

  // Narrowing. Apart boxes, or an empty one, leave self empty (only xmin is written then).
  WKSEnvelope &Intersect(const WKSEnvelope &o);
  WKSEnvelope &operator*=(const WKSEnvelope &o) { return Intersect(o); }
  WKSEnvelope operator*(const WKSEnvelope &o) const {
    WKSEnvelope r = *this;
    return r.Intersect(o);
  }
  // A mutator in spite of its name: intersects self with o and tells whether anything is left.
  bool Intersects(const WKSEnvelope &o) { return !Intersect(o).IsEmpty(); }

  // The kernel of the predicates; callers test for empty boxes first. flags (may be null) gets
  // which sides of o lie within self: 1 left, 2 top, 4 right, 8 bottom. The result: 1 the
  // boundaries don't meet, 2 the interiors don't meet, 4 self contains o, 8 o contains self.
  LONG FindRelation(const WKSEnvelope &o, LONG *flags) const;
  bool Contains(const WKSEnvelope &o) const;
  bool Overlaps(const WKSEnvelope &o) const;
  bool Touches(const WKSEnvelope &o) const;
  bool Disjoint(const WKSEnvelope &o) const;
  bool DisjointInteriors(const WKSEnvelope &o) const;
  // Two empty boxes are equal; otherwise the four fields compare exactly.
  bool Equals(const WKSEnvelope &o) const;
  bool operator==(const WKSEnvelope &o) const { return Equals(o); }
  bool operator!=(const WKSEnvelope &o) const { return !Equals(o); }
  bool Contains(const WKSPoint &p) const { return Contains(p.x, p.y); }
  bool Contains(double x, double y) const {
    return !IsEmpty() && xmax >= x && ymax >= y && x >= xmin && y >= ymin;
  }
  bool ProperContains(const WKSPoint &p) const { return ProperContains(p.x, p.y); }
  bool ProperContains(double x, double y) const {
    return !IsEmpty() && xmax > x && ymax > y && x > xmin && y > ymin;
  }
  // Whether the segment a-b misses the box.
  bool Disjoint(const WKSPoint &a, const WKSPoint &b) const;

  // Euclidean gaps; the empty value when self is empty.
  double Distance(const WKSPoint &p) const;
  double Distance(const WKSEnvelope &o) const;

  // Grows each side by dx, dy (or scales by them about the centre when asRatio: 2 doubles the
  // size). A shrink past the middle collapses that axis onto its middle.
  WKSEnvelope &Expand(double dx, double dy, bool asRatio);
  // p with each coordinate moved onto a side closer than tol.
  WKSPoint Snap(const WKSPoint &p, double tol) const;
  // Fits the box to a grid, outward (grow) or inward; false on an empty box or when an axis is
  // too small to hold a grid cell inward (that axis is left alone).
  bool Snap(bool grow, double xStep, double yStep, double xOrigin, double yOrigin);
  // The box of this box turned by a radians about c.
  WKSEnvelope &Rotate(const WKSPoint &c, double a);
  // Pushes the box into b keeping its size as far as it fits; true when anything moved.
  bool Constrain(const WKSEnvelope &b);

  // The boundary as a path: from the lower left corner clockwise (up the left side, along the
  // top, down the right, back along the bottom).
  // The point at distance d; the result is the side index, not masked (a second round gives 4
  // and above), or -1 on an empty box.
  LONG PointOnWindow(double d, WKSPoint &out) const;
  // The side (0 to 3) of the point at distance d, or -1 on an empty box.
  LONG EnvelopeSide(double d) const;
  // The inverse of PointOnWindow; a point off the boundary is projected onto it first.
  double BoundaryDistance(const WKSPoint &p) const;
  // Moves p onto the nearest side (clamping what lies outside).
  void ProjectToBoundary(WKSPoint &p) const;
  // 0 left, 1 upper left, 2 top, 3 upper right, 4 right, 5 lower right, 6 bottom, 7 lower left,
  // 8 strictly inside, 9 outside. Each axis is judged alone.
  LONG BoundaryLocation(const WKSPoint &p, double tol) const;

  // The corners into out[0..n-1], repeating after four, so n = 5 closes the ring.
  void QueryCorners(LONG n, WKSPoint *const out, bool clockwise) const;
  void QueryCorners(LONG n, WKSPoint *const out) const { QueryCorners(n, out, true); }
  // The closed boundary with nx extra points on each horizontal side and ny on each vertical one;
  // the count written, or 0 for bad arguments. Too small a maxPoints gives the plain corners.
  LONG Densify(LONG nx, LONG ny, LONG maxPoints, WKSPoint *out, bool clockwise) const;
  // Clips a-b to the box in place (Liang-Barsky). extension bits 1 and 2 open the start and end.
  // range (two doubles, may be null) gets the parameter interval; false when nothing is left.
  bool ClipLine(WKSPoint &a, WKSPoint &b, LONG extension, double *range, bool *clipped) const;

  // What the boxes alone say of two geometries that touch every side of their boxes: whether
  // they must cross (the boxes cross like a plus sign), and an upper bound for their distance.
  bool GeometriesIntersectBasedOnEnvelopes(const WKSEnvelope &o) const;
  double UpperLimitForMinDistBetweenGeometriesBasedOnEnvelopes(const WKSEnvelope &o) const;

  // Combination of many boxes.
  // The relative waste of merging a and b: the area the merged box covers that neither covers,
  // over norm (or over the merged area when norm isn't > 0); DBL_MAX when either is empty.
  static double AreaIncreaseRatio(WKSEnvelope a, WKSEnvelope b, double norm);
  // The area of the union of n boxes (a plane sweep, quadratic by design). When all boxes are
  // flat it measures their union along the line they share instead and writes 1 into *dimension
  // (0 when they are points); on a normal set *dimension is not written.
  static double AreaOfUnion(WKSEnvelope *const boxes, LONG n, int *dimension);
  // Merges boxes in place, cheapest pair first, until at most maxCount remain (maxCount<1: no
  // count goal) and no merge wastes more than tolerance of the reference area. The result is the
  // number of boxes left at the head of the array. The array needs room for one box even for n=0.
  static LONG CombineEnvelopes(WKSEnvelope *const boxes, LONG n, double minArea, double tolerance,
                               LONG maxCount);
  // The same, measuring the waste against the exact union of the original boxes of both clusters.
  // For small sets: each round costs an AreaOfUnion per pair.
  static LONG CombineEnvelopesByArea(WKSEnvelope *const boxes, LONG n, double minArea,
                                     double tolerance, LONG maxCount);

 private:
  WKSPoint Corner(double x, double y) const {
    return IsEmpty() ? WKSPoint::EmptyPoint() : WKSPoint{x, y};
  }
};

struct KZ_API WKSEnvelopeZ {
  double xmin;
  double ymin;
  double zmin;
  double xmax;
  double ymax;
  double zmax;

  WKSEnvelopeZ() : xmin(kEmptyValue), ymin(0.0), zmin(kEmptyValue), xmax(0.0), ymax(0.0), zmax(0.0) {}
  explicit WKSEnvelopeZ(const WKSPointZ &p)
      : xmin(p.x), ymin(p.y), zmin(p.z), xmax(p.x), ymax(p.y), zmax(p.z) {}
  WKSEnvelopeZ(const WKSPointZ &a, const WKSPointZ &b) { PutCoords(a, b); }
  WKSEnvelopeZ(double x1, double y1, double z1, double x2, double y2, double z2) {
    PutCoords(x1, y1, z1, x2, y2, z2);
  }
  // x and y from the box (empty values if it is empty); z invalid.
  WKSEnvelopeZ(const WKSEnvelope &b);
  // As the constructor, except that zmax keeps what it held.
  WKSEnvelopeZ &operator=(const WKSEnvelope &b);

  WKSEnvelopeZ &PutCoords(const WKSPointZ &a, const WKSPointZ &b) {
    return PutCoords(a.x, a.y, a.z, b.x, b.y, b.z);
  }
  WKSEnvelopeZ &PutCoords(double x1, double y1, double z1, double x2, double y2, double z2) {
    xmin = x1;
    ymin = y1;
    zmin = z1;
    xmax = x2;
    ymax = y2;
    zmax = z2;
    return Normalize();
  }
  void QueryCoords(double *const v) const;
  WKSEnvelopeZ &PutZs(double z1, double z2) {
    zmin = z1;
    zmax = z2;
    return *this;
  }
  WKSEnvelopeZ &ScaleZs(double f);

  bool IsEmpty() const { return std::isnan(xmin); }
  WKSEnvelopeZ &SetEmpty() {
    xmin = kEmptyValue;
    return *this;
  }
  bool ValidZ() const { return !std::isnan(zmin); }
  WKSEnvelopeZ &SetInvalidZ() {
    zmin = kEmptyValue;
    return *this;
  }
  WKSEnvelopeZ &Normalize();

  // The plain fields, with no check for emptiness.
  double XMin() const { return xmin; }
  double YMin() const { return ymin; }
  double ZMin() const { return zmin; }
  double XMax() const { return xmax; }
  double YMax() const { return ymax; }
  double ZMax() const { return zmax; }
  // The extent per axis (no emptiness check); an axis other than 0, 1, 2 gives the empty value.
  WKSPointZ Range() const { return WKSPointZ{xmax - xmin, ymax - ymin, zmax - zmin}; }
  double Range(int axis) const;
  WKSPointZ Center() const;
  // Over x, y, and z when it is valid; 0.0 on an empty box.
  double MaxDimension() const;
  double MinDimension() const;

  // Corners: index i&7 runs XminYminZmin, XminYmaxZmin, XmaxYmaxZmin, XmaxYminZmin, then the same
  // at zmax. An empty box gives a point of empty values.
  WKSPointZ operator[](LONG i) const;
  WKSPointZ XminYminZmin() const { return (*this)[0]; }
  WKSPointZ XminYmaxZmin() const { return (*this)[1]; }
  WKSPointZ XmaxYmaxZmin() const { return (*this)[2]; }
  WKSPointZ XmaxYminZmin() const { return (*this)[3]; }
  WKSPointZ XminYminZmax() const { return (*this)[4]; }
  WKSPointZ XminYmaxZmax() const { return (*this)[5]; }
  WKSPointZ XmaxYmaxZmax() const { return (*this)[6]; }
  WKSPointZ XmaxYminZmax() const { return (*this)[7]; }
  WKSEnvelopeZ &put_XminYminZmin(const WKSPointZ &p);
  static int OppositeCorner(int i) { return i >= 4 ? (i - 2) & 3 : ((i - 2) & 3) + 4; }
  // One of three corners listed for each corner in a fixed table (the table is kept as it has
  // always been; several of its rows are not the geometric neighbours). Out of range: empty.
  WKSPointZ NeighborCorner(int corner, int which) const;

  // Growing and narrowing. z takes part only where both sides have a valid z.
  WKSEnvelopeZ &AddPoint(const WKSPointZ &p);
  WKSEnvelopeZ &Union(const WKSEnvelopeZ &o);
  WKSEnvelopeZ &Intersect(const WKSEnvelopeZ &o);

  // As in 2D, with z joined in when both boxes have a valid z (flags 16 and 32; full containment
  // is then 63).
  LONG FindRelation(const WKSEnvelopeZ &o, LONG *flags) const;
  bool Disjoint(const WKSEnvelopeZ &o) const;
  bool Contains(const WKSEnvelopeZ &o) const;
  bool Contains(double x, double y, double z) const;
  bool Contains(const WKSPointZ &p) const { return Contains(p.x, p.y, p.z); }
  bool Equals(const WKSEnvelopeZ &o) const;
  bool operator==(const WKSEnvelopeZ &o) const { return Equals(o); }
  bool operator!=(const WKSEnvelopeZ &o) const { return !Equals(o); }

  // No collapsing: sides that cross swap.
  WKSEnvelopeZ &Expand(double dx, double dy, double dz, bool asRatio);
  WKSEnvelopeZ &Expand(WKSPointZ d, bool asRatio) { return Expand(d.x, d.y, d.z, asRatio); }
  double Distance(const WKSPointZ &p) const;
  double Distance(const WKSEnvelopeZ &o) const;
  // Each axis becomes -size/2 .. size/2.
  WKSEnvelopeZ &CenterAboutOrigin();

  bool GeometriesIntersectBasedOnEnvelopes(const WKSEnvelopeZ &o) const;
  // An upper bound for the distance between two geometries that each touch every face of their
  // box: each has a point on every face, so the distance is at most the farthest distance between
  // some face of one box and some face of the other; the bound is the least of these over the 36
  // pairs of faces (so it holds for points, curves and surfaces alike, also where the boxes
  // cross). Without valid z on both sides the 2D bound of the boxes' x and y.
  double UpperLimitForMinDistBetweenGeometriesBasedOnEnvelopes(const WKSEnvelopeZ &o) const;
};

static_assert(std::is_standard_layout_v<WKSEnvelope> && std::is_standard_layout_v<WKSEnvelopeZ>);
static_assert(std::is_trivially_copyable_v<WKSEnvelope> && std::is_trivially_copyable_v<WKSEnvelopeZ>);
static_assert(sizeof(WKSEnvelope) == 4 * sizeof(double) && sizeof(WKSEnvelopeZ) == 6 * sizeof(double));
