// The reductions of many boxes: union area by a plane sweep, the waste of a merge, and the
// greedy merging of boxes into fewer boxes.
#include <algorithm>
#include <cfloat>
#include <cmath>
#include <memory>
#include <vector>

#include <kzcore/numerics/geometry/wks_envelope.h>

namespace {

// A sweep event, and an entry of the active list: a position on an axis, the box's index in the
// caller's array, and whether this is the box's low side.
struct SweepEntry {
  double coordinate;
  LONG index;
  BYTE isStart;
};

// By coordinate, then by index; nothing more.
bool EntryBefore(const SweepEntry &a, const SweepEntry &b) {
  if (a.coordinate < b.coordinate) return true;
  if (b.coordinate < a.coordinate) return false;
  return a.index < b.index;
}

// Stable, so that equal keys keep their order; and safe on NaN coordinates, whose comparisons
// are not a strict order.
void SortEntries(std::vector<SweepEntry> &v) { std::stable_sort(v.begin(), v.end(), EntryBefore); }

// The length covered by a sorted list of start and end entries.
double CoveredLength(const std::vector<SweepEntry> &list) {
  double length = 0, previous = 0;
  int depth = 0;
  for (const SweepEntry &e : list) {
    if (depth > 0) length += e.coordinate - previous;
    previous = e.coordinate;
    depth += e.isStart ? 1 : -1;
  }
  return length;
}

// The active list of the sweep: the entries of the boxes that the sweep line cuts, kept in the
// event order. A sorted array: insertion and removal move memory, and the walk at every event
// (which the sweep does by design) runs over contiguous entries.
class ActiveList {
 public:
  void Insert(const SweepEntry &e) {
    entries_.insert(std::upper_bound(entries_.begin(), entries_.end(), e, EntryBefore), e);
  }
  void Remove(const SweepEntry &e) {
    auto it = std::lower_bound(entries_.begin(), entries_.end(), e, EntryBefore);
    auto same = [&](const SweepEntry &x) { return x.index == e.index && x.isStart == e.isStart; };
    if (it == entries_.end() || !same(*it)) it = std::find_if(entries_.begin(), entries_.end(), same);
    if (it != entries_.end()) entries_.erase(it);
  }
  double CoveredLength() const { return ::CoveredLength(entries_); }

 private:
  std::vector<SweepEntry> entries_;
};

}  // namespace

double WKSEnvelope::AreaIncreaseRatio(WKSEnvelope a, WKSEnvelope b, double norm) {
  if (a.IsEmpty() || b.IsEmpty()) return DBL_MAX;
  WKSEnvelope u = a + b;
  double area = u.Area();
  double denominator = norm > 0 ? norm : area;
  enum { kArea, kLength, kNone } mode = kArea;
  double m = 0;
  if (0 >= area) {
    // A flat union: the test is done on lengths.
    m = u.MaxDimension();
    denominator = norm > 0 ? std::sqrt(norm) : m;
    mode = m > 0 ? kLength : kNone;
  }
  if (denominator == 0) return 0.0;
  switch (mode) {
    case kArea:
      return (area - ((b.Area() + a.Area()) - (a * b).Area())) / denominator;
    case kLength:
      return (m - ((b.MaxDimension() + a.MaxDimension()) - (a * b).MaxDimension())) / denominator;
    default:
      return 1.0;
  }
}

double WKSEnvelope::AreaOfUnion(WKSEnvelope *const boxes, LONG n, int *dimension) {
  if (!boxes) return 0.0;
  WKSEnvelope u = Union(boxes, n);
  std::vector<SweepEntry> events;
  if (!u.IsEmpty() && u.Area() != 0) {
    if (n < 1) return 0.0;
    events.reserve(2 * static_cast<size_t>(n));
    for (LONG i = 0; i < n; ++i) {
      const WKSEnvelope &b = boxes[i];
      if (b.IsEmpty() || b.Area() == 0) continue;
      events.push_back({b.xmin, i, 1});
      events.push_back({b.xmax, i, 0});
    }
    if (events.empty()) return 0.0;
    SortEntries(events);
    ActiveList active;
    double total = 0;
    for (size_t k = 0; k + 1 < events.size(); ++k) {
      const SweepEntry &e = events[k];
      const WKSEnvelope &b = boxes[e.index];
      if (e.isStart) {
        active.Insert({b.ymin, e.index, 1});
        active.Insert({b.ymax, e.index, 0});
      } else {
        active.Remove({b.ymin, e.index, 1});
        active.Remove({b.ymax, e.index, 0});
      }
      double length = active.CoveredLength();
      double width = events[k + 1].coordinate - e.coordinate;
      total = width * length + total;
    }
    return total;
  }

  // All boxes are flat (or points): measure along the line they share.
  if (!dimension) return 0.0;
  double m = u.MaxDimension();
  if (m == 0) {
    *dimension = 0;
    return 0.0;
  }
  *dimension = 1;
  bool alongX = u.Height() == 0 || u.IsEmpty();
  for (LONG i = 0; i < n; ++i) {
    const WKSEnvelope &b = boxes[i];
    if (b.MaxDimension() == 0) continue;
    events.push_back({alongX ? b.xmin : b.ymin, i, 1});
    events.push_back({alongX ? b.xmax : b.ymax, i, 0});
  }
  if (events.empty()) return 0.0;
  SortEntries(events);
  return CoveredLength(events);
}

namespace {

// What CombineEnvelopes and CombineEnvelopesByArea share: the set-up, and the closing of gaps.
struct CombineSetup {
  bool done = false;  // the result is `result`
  LONG result = 0;
  double f = 0;       // the tolerance, clamped to 0..1
  LONG target = 0;
  double norm = 0;
};

CombineSetup SetUpCombine(WKSEnvelope *const boxes, LONG n, double minArea, double tolerance,
                          LONG maxCount) {
  CombineSetup s;
  // A NaN tolerance counts as 0, like any tolerance below the range.
  s.f = tolerance > 0 ? (tolerance > 1 ? 1.0 : tolerance) : 0.0;
  s.target = maxCount >= 1 ? maxCount : n;
  WKSEnvelope u = WKSEnvelope::Union(boxes, n);
  if (s.target == 1 || s.f == 1.0) {
    boxes[0] = u;
    s.done = true;
    s.result = 1;
    return s;
  }
  double area = u.IsEmpty() ? 0.0 : u.Area();
  double d = 0;
  if (area == 0) {
    d = u.MaxDimension();
    if (d == 0) {
      boxes[0] = u;
      s.done = true;
      s.result = 1;
      return s;
    }
  }
  s.norm = minArea > area ? minArea : area;
  if (s.norm == 0) s.norm = d * d;
  if (n < 2) {
    s.done = true;
    s.result = n;
  }
  return s;
}

LONG CloseGaps(WKSEnvelope *const boxes, LONG n, LONG remaining) {
  if (remaining == n) return n;
  LONG k = 0;
  for (LONG i = 0; i < n; ++i)
    if (!boxes[i].IsEmpty()) boxes[k++] = boxes[i];
  return k;
}

}  // namespace

LONG WKSEnvelope::CombineEnvelopes(WKSEnvelope *const boxes, LONG n, double minArea,
                                   double tolerance, LONG maxCount) {
  if (!boxes) return 0;
  CombineSetup s = SetUpCombine(boxes, n, minArea, tolerance, maxCount);
  if (s.done) return s.result;
  LONG remaining = n;
  while (remaining > 1) {
    double best = remaining > s.target ? 2.0 : s.f + 1e-7;
    LONG bi = 0, bj = 0;
    // Every round rescans all pairs, so that ties go to the first pair in array order. Emptied
    // slots give DBL_MAX and are never chosen.
    for (LONG i = 0; i < n - 1; ++i) {
      for (LONG j = i + 1; j < n; ++j) {
        double r = AreaIncreaseRatio(boxes[i], boxes[j], s.norm);
        if (best > r) {
          best = r;
          bi = i;
          bj = j;
        }
      }
    }
    if (remaining <= s.target && best > s.f) break;
    // When no pair beat the starting value, box 0 is merged with itself and emptied: accepted.
    boxes[bi].AddEnvelope(boxes[bj]);
    boxes[bj].xmin = kEmptyValue;
    remaining -= 1;
    if (remaining <= s.target && best > s.f) break;
  }
  return CloseGaps(boxes, n, remaining);
}

LONG WKSEnvelope::CombineEnvelopesByArea(WKSEnvelope *const boxes, LONG n, double minArea,
                                         double tolerance, LONG maxCount) {
  if (!boxes) return 0;
  CombineSetup s = SetUpCombine(boxes, n, minArea, tolerance, maxCount);
  if (s.done) return s.result;
  const double side = std::sqrt(s.norm);
  // Each slot heads a cluster; link chains the cluster's original boxes from its head.
  std::vector<WKSEnvelope> originals(boxes, boxes + n);
  std::vector<LONG> link(n, -1);
  std::vector<WKSEnvelope> scratch(n);
  // AreaOfUnion writes the dimension only for flat sets, so after one flat pair it keeps that
  // call's value until the next flat pair; this is the measure the merges have always used.
  int dim = -1;
  // Appends the chain that starts at `head` to scratch; bounded by n against a looping chain.
  auto appendChain = [&](LONG head, LONG count, LONG *last) {
    for (LONG c = head, steps = 0; c != -1 && steps < n && count < n; c = link[c], ++steps) {
      scratch[count++] = originals[c];
      if (last) *last = c;
    }
    return count;
  };
  LONG remaining = n;
  while (remaining > 1) {
    double best = remaining > s.target ? 2.0 : s.f + 1e-7;
    LONG bi = 0, bj = 0, tail = 0;
    for (LONG i = 0; i < n - 1; ++i) {
      if (boxes[i].IsEmpty()) continue;
      LONG last = i;
      LONG m = appendChain(i, 0, &last);
      for (LONG j = i + 1; j < n; ++j) {
        if (boxes[j].IsEmpty()) continue;
        LONG count = appendChain(j, m, nullptr);
        WKSEnvelope merged = boxes[i] + boxes[j];
        double a = merged.Area();
        if (a == 0) a = merged.MaxDimension();
        double c = AreaOfUnion(scratch.data(), count, &dim);
        double r = (a - c) / (dim == 1 ? side : s.norm);
        if (best > r) {
          best = r;
          bi = i;
          bj = j;
          tail = last;
        }
      }
    }
    if (remaining <= s.target && best > s.f) break;
    boxes[bi].AddEnvelope(boxes[bj]);
    boxes[bj].xmin = kEmptyValue;
    link[tail] = bj;
    remaining -= 1;
    if (remaining <= s.target && best > s.f) break;
  }
  return CloseGaps(boxes, n, remaining);
}
