#include <kzcore/numerics/geometry/polygon_area.h>

void PolygonAreaAndCentroid::Reset(bool wantCentroid) {
  newRing_ = true;
  wantCentroid_ = wantCentroid;
  ringArea_ = totalArea_ = 0.0;
  ringMomentX_ = ringMomentY_ = 0.0;
  totalMomentX_ = totalMomentY_ = 0.0;
  anchorX_ = anchorY_ = 0.0;
  previousX_ = previousY_ = 0.0;
}

void PolygonAreaAndCentroid::AddPoints(LONG n, const WKSPoint *points) {
  if (n < 1 || !points) return;
  LONG i = 0;
  if (newRing_) {
    anchorX_ = points[0].x;
    anchorY_ = points[0].y;
    previousX_ = previousY_ = 0.0;
    i = 1;
  }
  double px = previousX_, py = previousY_, area = ringArea_;
  double mx = ringMomentX_, my = ringMomentY_;
  for (; i < n; ++i) {
    double dx = points[i].x - anchorX_, dy = points[i].y - anchorY_;
    double c = py * dx - px * dy;
    area += c;
    if (wantCentroid_) {
      mx += (px + dx) * c;
      my += (dy + py) * c;
    }
    px = dx;
    py = dy;
  }
  previousX_ = px;
  previousY_ = py;
  ringArea_ = area;
  ringMomentX_ = mx;
  ringMomentY_ = my;
  newRing_ = false;
}

void PolygonAreaAndCentroid::CloseRing() {
  if (ringArea_ != 0) {
    totalArea_ += ringArea_;
    if (wantCentroid_) {
      totalMomentX_ += ringMomentX_ / 3.0 + ringArea_ * anchorX_;
      totalMomentY_ += ringMomentY_ / 3.0 + anchorY_ * ringArea_;
    }
  }
  ringArea_ = ringMomentX_ = ringMomentY_ = 0.0;
  newRing_ = true;
}

void PolygonAreaAndCentroid::Append(const PolygonAreaAndCentroid &other) {
  PolygonAreaAndCentroid o = other;  // o may be this one
  bool hasPoints = !o.newRing_ || o.totalArea_ != 0 || o.totalMomentX_ != 0 || o.totalMomentY_ != 0;
  if (!hasPoints) return;
  CloseRing();
  totalArea_ += o.totalArea_;
  if (wantCentroid_) {
    totalMomentX_ += o.totalMomentX_;
    totalMomentY_ += o.totalMomentY_;
  }
  if (!o.newRing_) {
    newRing_ = false;
    ringArea_ = o.ringArea_;
    ringMomentX_ = wantCentroid_ ? o.ringMomentX_ : 0.0;
    ringMomentY_ = wantCentroid_ ? o.ringMomentY_ : 0.0;
    anchorX_ = o.anchorX_;
    anchorY_ = o.anchorY_;
    previousX_ = o.previousX_;
    previousY_ = o.previousY_;
  }
}

double PolygonAreaAndCentroid::Area() {
  CloseRing();
  return totalArea_ * 0.5;
}

WKSPoint PolygonAreaAndCentroid::Centroid() {
  if (ringArea_ != 0) CloseRing();
  if (wantCentroid_ && totalArea_ != 0)
    return WKSPoint{totalMomentX_ / totalArea_, totalMomentY_ / totalArea_};
  return WKSPoint::EmptyPoint();
}
