// The distributions of RandomGeneratorBase. Each draws from Uniform01 in exactly the order written
// here, so that a seed reproduces every result; set-up values are kept in state blocks keyed by
// the parameters they were made for.
#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>

#include <kzcore/numerics/internal/truncate.h>
#include <kzcore/numerics/random/internal/ln_factorial.h>
#include <kzcore/numerics/random/random_generator.h>

namespace kz::random_internal {

struct NormalState {
  bool haveSpare = true;
  double spare = 0.0;
};

struct PoissonState {
  double mean = -1.0;
  double p0 = 0.0;
};

struct GammaState {
  double shape = -1.0;
  double e = std::exp(1.0);
  double b = 0, a = 0, m = 0, d = 0, rootShape = 0;
};

struct GeometricState {
  bool useLog = false;
  double p = 0;
  double factor = 0;
};

struct BinomialState {
  double p = 0;
  LONG n = 0;
  double q = 0;  // the lesser of p and 1-p
  double c = 0;  // 1 - q
  bool small = true;
  bool notFlipped = true;
  double q0 = 0;
  // The ratio-of-uniforms values.
  double a = 0, s = 0, h = 0, r = 0, lr = 0, b = 0, g = 0;
  LONG m = 0;

  BinomialState() { SetUp(1, 0.5); }

  void SetUp(LONG count, double prob) {
    p = prob;
    n = count;
    notFlipped = prob <= 0.5;
    q = notFlipped ? prob : 1 - prob;
    c = 1 - q;
    double np = n * q;
    small = 10.0 >= np;
    if (small) {
      q0 = std::pow(c, n);
      return;
    }
    a = np + 0.5;
    s = std::sqrt(np * c + 0.5);
    h = s * 1.7155277699214135 + 0.8989161620588986;
    r = q / c;
    lr = std::log(r);
    m = kz::internal::FloorToLong((std::int64_t{n} + 1) * q);
    double top = std::floor(a + 7.0 * s), end = std::int64_t{n} + 1.0;
    b = top < end ? top : end;
    g = LnFactorial(std::int64_t{n} - m) + LnFactorial(m);
  }
};

}  // namespace kz::random_internal

using namespace kz::random_internal;
using kz::internal::FloorToLong;
using kz::internal::TruncateToLong;

namespace {

template <typename T>
T *CopyBlock(const T *p) {
  return p ? new T(*p) : nullptr;
}

template <typename T>
void ReplaceBlock(T *&p, const T *source) {
  T *copy = CopyBlock(source);
  delete p;
  p = copy;
}

template <typename T>
T &Block(T *&p) {
  if (!p) p = new T();
  return *p;
}

constexpr double kTwoPi = 6.283185307179586;
constexpr double kPi = 3.141592653589793;

}  // namespace

RandomGeneratorBase::RandomGeneratorBase() = default;

RandomGeneratorBase::~RandomGeneratorBase() {
  delete normal_;
  delete binomial_;
  delete poisson_;
  delete gamma_;
  delete geometric_;
}

RandomGeneratorBase::RandomGeneratorBase(const RandomGeneratorBase &other)
    : normal_(CopyBlock(other.normal_)),
      binomial_(CopyBlock(other.binomial_)),
      poisson_(CopyBlock(other.poisson_)),
      gamma_(CopyBlock(other.gamma_)),
      geometric_(CopyBlock(other.geometric_)) {}

RandomGeneratorBase &RandomGeneratorBase::operator=(const RandomGeneratorBase &other) {
  if (this != &other) {
    ReplaceBlock(normal_, other.normal_);
    ReplaceBlock(binomial_, other.binomial_);
    ReplaceBlock(poisson_, other.poisson_);
    ReplaceBlock(gamma_, other.gamma_);
    ReplaceBlock(geometric_, other.geometric_);
  }
  return *this;
}

double RandomGeneratorBase::Uniform(double a, double b) {
  double u = Uniform01();
  return a + u * (b - a);
}

double RandomGeneratorBase::Exponential(double mean) { return -(std::log(Uniform01()) * mean); }

double RandomGeneratorBase::Normal(double mean, double sd) {
  NormalState &s = Block(normal_);
  s.haveSpare = !s.haveSpare;
  double z;
  if (s.haveSpare) {
    z = s.spare;
  } else {
    double r = std::sqrt(2 * (-std::log(Uniform01())));
    double t = Uniform01() * kTwoPi;
    double c = std::cos(t);
    s.spare = c * r;
    if (t > kPi) r = -r;
    z = std::sqrt(1 - c * c) * r;  // |sin t|, signed by the half turn: no sine is needed
  }
  return z * sd + mean;
}

LONG RandomGeneratorBase::Poisson(double mean) {
  PoissonState &s = Block(poisson_);
  if (mean != s.mean) {
    s.mean = mean;
    s.p0 = std::exp(-mean);
  }
  if (s.p0 == 0) {
    // Linux: beyond a mean of about 745 exp(-mean) is 0 and the inversion below would never end;
    // such means are drawn from the normal approximation instead.
    double k = std::floor(mean + std::sqrt(mean) * Normal(0.0, 1.0) + 0.5);
    if (!(k > 0)) return 0;
    return k >= 2147483647.0 ? LONG{0x7FFFFFFF} : static_cast<LONG>(k);
  }
  LONG k = 0;
  double p = s.p0, sum = s.p0;
  double u = Uniform01();
  while (u > sum) {
    k += 1;
    p = (mean / k) * p;
    sum += p;
    if (p == 0) break;  // the tail has underflowed: the sum cannot grow any more
  }
  return k;
}

double RandomGeneratorBase::Gamma(double shape, double scale) {
  if (shape == 1.0) return (std::log(Uniform01()) * -1.0) * scale;
  // Linux: a NaN or infinite shape matches none of the methods (or makes them loop for ever).
  if (!std::isfinite(shape)) return shape * scale;
  GammaState &g = Block(gamma_);
  if (shape != g.shape) {
    g.shape = shape;
    if (shape <= 1) {
      g.b = (g.e + shape) / g.e;
    } else {
      g.a = shape - 1;
      g.b = (shape - 1 / (shape * 6.0)) / g.a;
      g.m = 2.0 / g.a;
      g.d = g.m + 2.0;
      if (shape > 2.5) g.rootShape = std::sqrt(shape);
    }
  }
  double x;
  if (shape <= 1) {
    for (;;) {
      double p = Uniform01() * g.b;
      if (p <= 1) {
        x = std::pow(p, 1 / shape);
        double u = Uniform01();
        // exp of the positive logarithm, kept as the family's streams have always had it: w is at
        // least 1, so this branch accepts at once.
        double w = std::exp(-std::log(u));
        if (w >= x) break;
      } else {
        x = -std::log((g.b - p) / shape);
        double u = Uniform01();
        if (std::pow(u, 1 / (shape - 1)) >= x) break;
      }
    }
  } else {
    double v;
    for (;;) {
      double u1, u2;
      if (shape <= 2.5) {
        u1 = Uniform01();
        u2 = Uniform01();
      } else {
        double ua = Uniform01(), ub = Uniform01();
        u1 = (1 - ua * 1.857764) / g.rootShape + ub;
        u2 = ub;
        if (!(0 < u1 && u1 < 1)) continue;
      }
      v = (u2 * g.b) / u1;
      double t = ((g.m * u1 - g.d) + v) + 1 / v;
      if (t <= 0) break;
      if (((g.m * std::log(u1) - std::log(v)) + v) - 1 <= 0) break;
    }
    x = g.a * v;
  }
  return x * scale;
}

LONG RandomGeneratorBase::NegativeBinomial(double r, double p) {
  double g = Gamma(r, 1.0);
  return Poisson((g * p) / (1 - p));
}

LONG RandomGeneratorBase::Geometric(double p) {
  GeometricState &s = Block(geometric_);
  if (p > 0 && p != s.p) {
    s.p = p;
    s.useLog = p > 0.9;
    if (s.useLog) s.factor = -1 / std::log(p);
  }
  // By the cached p: a p <= 0 leaves the last one in force.
  double cp = s.p;
  if (0 >= cp) return 0x7FFFFFFF;
  if (cp >= 1) return 0;
  if (s.useLog) return FloorToLong(s.factor * (std::log(Uniform01()) * -1.0));
  double q = 1 - cp;
  LONG k = 0;
  double w = q, sum = q;
  double u = Uniform01();
  while (u > sum) {
    k += 1;
    w = cp * w;
    sum += w;
    if (w == 0) break;  // underflow: the sum cannot grow any more
  }
  return k;
}

LONG RandomGeneratorBase::Binomial(LONG n, double p) {
  // Linux: a NaN p would keep the ratio-of-uniforms loop from ever accepting.
  if (std::isnan(p)) return 0;
  BinomialState &s = Block(binomial_);
  if (n != s.n || p != s.p) s.SetUp(n, p);
  LONG k = 0;
  if (s.small) {
    double u = Uniform01();
    double w = s.q0, sum = s.q0;
    while (u > sum) {
      // k never passes n; a rounding shortfall of the sum would otherwise loop for ever.
      if (k >= n) break;
      k += 1;
      w = w * (((std::int64_t{n} + 1 - k) * s.q) / (k * s.c));
      sum += w;
    }
  } else {
    for (;;) {
      double u = Uniform01(), v = Uniform01();
      double x = s.a + ((v - 0.5) * s.h) / u;
      if (x < 0 || !(s.b > x)) continue;
      k = FloorToLong(x);
      double t = (((k - s.m) * s.lr + s.g) - LnFactorial(k)) - LnFactorial(std::int64_t{n} - k);
      if (t >= (4.0 - u) * u - 3.0) break;
      if (!(1 > (u - t) * u)) continue;
      if (t >= std::log(u) * 2.0) break;
    }
  }
  return s.notFlipped ? k : n - k;
}

void RandomGeneratorBase::Multinomial(LONG n, LONG k, const double *weights, LONG *out) {
  double total = 0;
  for (LONG i = 0; i < k; ++i) total += weights[i];
  for (LONG i = 0; i < k; ++i) out[i] = 0;
  LONG rest = n;
  for (LONG i = 0; i < k && rest >= 1; ++i) {
    LONG x = Binomial(rest, weights[i] / total);
    out[i] = x;
    rest -= x;
    total -= weights[i];
  }
}

LONG RandomGeneratorBase::RandomIndex(const double *cdf) {
  double u = Uniform01();
  LONG i = 0;
  while (u > cdf[i]) ++i;
  return i;
}

LONG RandomGeneratorBase::RandomIndex(const double *cdf, LONG n) {
  double u = Uniform01();
  LONG lo = 0, hi = n - 1;
  while (lo < hi) {
    LONG mid = (lo + hi) >> 1;
    if (u > cdf[mid])
      lo = mid + 1;
    else if (mid == 0 || !(cdf[mid - 1] > u))
      return mid;
    else
      hi = mid - 1;
  }
  return lo;
}

LONG RandomGeneratorBase::Integer(LONG a, LONG b) {
  // The span in 64 bits, so that bounds far apart cannot overflow.
  std::int64_t span = a > b ? std::int64_t{a} - b : std::int64_t{b} - a;
  double k = std::floor(Uniform01() * static_cast<double>(span + 1) + 0.0);
  return static_cast<LONG>((a < b ? a : b) + static_cast<std::int64_t>(k));
}

void RandomGeneratorBase::RandomizeSet(void *items, unsigned count, unsigned size) {
  char *p = static_cast<char *>(items);
  for (unsigned m = count; m >= 2; --m, p += size) {
    unsigned j = static_cast<unsigned>(TruncateToLong(Uniform01() * m + 0.0));
    if (j != 0 && j < m) std::swap_ranges(p, p + size, p + static_cast<size_t>(j) * size);
  }
}

void RandomGeneratorBase::RandomAscendingIntegers(LONG k, LONG n, LONG *out) {
  for (LONG i = 0; i < n; ++i) out[i] = i;
  if (k > n) k = n;  // no more distinct values than there are
  for (LONG i = 0; i < k; ++i) {
    LONG j = Integer(i, n - 1);
    std::swap(out[i], out[j]);
  }
  if (k > 0) std::sort(out, out + k);
}

double RandomGeneratorBase::AscendingUniform(ULONG n, double *out) {
  double s = -std::log(Uniform01());
  for (ULONG i = 0; i < n; ++i) {
    out[i] = s;
    s = s - std::log(Uniform01());
  }
  return s;
}

ULONG RandomGeneratorBase::AscendingUniform(double length, bool gapAtEnd, double gap, ULONG count,
                                            double *out) {
  const int start = gapAtEnd ? 1 : 0;
  ULONG n = count;
  if (gap > 0) {
    double fit = std::floor(length / gap) + 1 - start;
    if (!(fit >= 0)) fit = 0;
    if (fit < static_cast<double>(n)) n = static_cast<ULONG>(fit);
  }
  double room = length - ((static_cast<double>(n) - 1) + start) * gap;
  double sum = AscendingUniform(n, out);
  for (ULONG i = 0; i < n; ++i) out[i] = i * gap + out[i] * (room / sum);
  return n;
}
