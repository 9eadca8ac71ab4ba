// Random numbers: three engines that each give a stream of doubles in the unit interval, the
// distributions built on that one call, and RandomGenerator, the value that callers hold.
//
// A stream is reproducible from its seed and engine type alone: every distribution draws from
// Uniform01 in a fixed order. A seed of 0 means the clock (the current time in seconds). One
// generator belongs to one thread; RandomGeneratorRAND shares the C runtime's process-wide state
// between all its instances.
//
//   RandomGenerator gen(1234, veskRandomGeneratorMersenneTwister);
//   double u = gen.Uniform01();                 // (0, 1)
//   double h = gen.Normal(100.0, 15.0);
//   LONG k = gen.Binomial(50, 0.3);
//   WKSPoint p = gen.RandomPoint(WKSEnvelope(0.0, 0.0, 10.0, 10.0));
//   gen.Reset();                                // the same stream again
#pragma once

#include <cstdint>

#include <kzcore/numerics/geometry/wks_envelope.h>
#include <kzcore/numerics/geometry/wks_point.h>
#include <kzcore/pal/types.h>

enum RandomGeneratorType {
  veskRandomGeneratorStandardCRand = 0,
  veskRandomGeneratorACM599 = 1,
  veskRandomGeneratorMersenneTwister = 2,
};

namespace kz::random_internal {
struct NormalState;
struct BinomialState;
struct PoissonState;
struct GammaState;
struct GeometricState;
}  // namespace kz::random_internal

// The engines' base: the stream of one engine, and the distributions over it. The distributions
// keep set-up values keyed by their parameters in state blocks made on first use.
class KZ_API RandomGeneratorBase {
 public:
  RandomGeneratorBase();
  // Copies take their own copies of the state blocks.
  RandomGeneratorBase(const RandomGeneratorBase &other);
  RandomGeneratorBase &operator=(const RandomGeneratorBase &other);
  virtual ~RandomGeneratorBase();

  virtual unsigned GetState() = 0;
  virtual void PutState(unsigned state) = 0;
  // Restarts the stream from a seed (0: the clock); returns the engine's new state word.
  virtual unsigned PutSeed(unsigned seed) = 0;
  virtual double Uniform01() = 0;
  virtual const WCHAR *Name() = 0;

  // a + u*(b-a).
  double Uniform(double a, double b);
  double Exponential(double mean);
  // Box-Muller; every second call returns the value kept from the call before, without a draw.
  double Normal(double mean, double sd);
  // Sequential inversion, one draw per call.
  LONG Poisson(double mean);
  // Ahrens-Dieter GS for shape <= 1, Cheng-Feast GKM1 up to 2.5 and GKM2 above.
  double Gamma(double shape, double scale);
  LONG NegativeBinomial(double r, double p);
  // The number of continuations (probability p each) before the stop. p <= 0 keeps the last p
  // used; with none it gives 0x7FFFFFFF.
  LONG Geometric(double p);
  // Inversion while n*min(p, 1-p) <= 10, Stadlober's ratio of uniforms (BRUA) above.
  LONG Binomial(LONG n, double p);
  // n trials over k classes with the given weights (they needn't sum to one); out gets k counts.
  void Multinomial(LONG n, LONG k, const double *weights, LONG *out);
  // The first index whose cumulative probability is not below a draw. The first form searches
  // linearly, and the table must end with a value that stops it; the second bisects n entries.
  LONG RandomIndex(const double *cdf);
  LONG RandomIndex(const double *cdf, LONG n);
  // An integer between a and b inclusive, in either order.
  LONG Integer(LONG a, LONG b);
  // Shuffles count records of size bytes in place.
  void RandomizeSet(void *items, unsigned count, unsigned size);
  // k distinct integers from 0..n-1, ascending, in out[0..k-1]; out needs room for n.
  void RandomAscendingIntegers(LONG k, LONG n, LONG *out);

  // Points. In a box; on the segment a-b; in a triangle; in the quadrangle of four corners (split
  // along a diagonal that lies inside it).
  WKSPoint RandomPoint(const WKSEnvelope &box);
  WKSPoint RandomPoint(WKSPoint a, WKSPoint b);
  WKSPoint RandomPoint(const WKSPoint &a, const WKSPoint &b, const WKSPoint &c);
  WKSPoint RandomPoint(const WKSPoint *const corners);
  // A point of the figure that n points span, uniform over its area: their convex hull; the
  // triangles of consecutive triples; the quadrangles of consecutive quadruples. area (may be
  // null) receives the figure's area. A hull with no area gives a point on its longest extent;
  // triangles or quadrangles with no area, or too few points, give the empty point.
  WKSPoint RandomConvexHullPoint(const WKSPoint *const points, LONG n, double *area);
  WKSPoint RandomTriangulationPoint(const WKSPoint *const points, LONG n, double *area);
  WKSPoint RandomQuadrangulationPoint(const WKSPoint *const points, LONG n, double *area);

  // Spacings of a Poisson process: out[i] is the sum of i+1 exponential draws; the result is the
  // sum after n+1 draws, which normalises them.
  double AscendingUniform(ULONG n, double *out);
  // count values ascending on 0..length with at least gap between neighbours (and, with
  // gapAtEnd, before length as well); count is cut to what fits. The result is the count written.
  ULONG AscendingUniform(double length, bool gapAtEnd, double gap, ULONG count, double *out);
  // Up to count points in the box, no two closer than minDistance (dart throwing over a grid of
  // cells); the result is the number placed. It gives up after a long run of rejected darts.
  ULONG RandomPoints(const WKSEnvelope &box, double minDistance, ULONG count, WKSPoint *out);

 private:
  // Owned; null until first used. (Plain pointers keep <memory>, and with it <string>, out of
  // this header.)
  kz::random_internal::NormalState *normal_ = nullptr;
  kz::random_internal::BinomialState *binomial_ = nullptr;
  kz::random_internal::PoissonState *poisson_ = nullptr;
  kz::random_internal::GammaState *gamma_ = nullptr;
  kz::random_internal::GeometricState *geometric_ = nullptr;
};

// The C runtime's generator: (rand()+1)/32769 in (0, 1). The state word only remembers the seed.
class KZ_API RandomGeneratorRAND final : public RandomGeneratorBase {
 public:
  // Stores the seed (the clock for 0) but seeds the C runtime with the raw argument.
  explicit RandomGeneratorRAND(unsigned seed);
  unsigned GetState() override { return state_; }
  void PutState(unsigned state) override;
  // Seeds the C runtime only; the state word stays.
  unsigned PutSeed(unsigned seed) override;
  double Uniform01() override;
  const WCHAR *Name() override { return u"StandardCRand"; }

 private:
  unsigned state_;
};

// The multiplicative congruential generator of ACM Algorithm 599: state *= 663608941 (mod 2^32),
// the result state * 2^-32 in [0, 1).
class KZ_API RandomGeneratorACM599 final : public RandomGeneratorBase {
 public:
  // The state after one step from PutSeed(seed): the first value after construction is not the
  // first value after PutSeed with the same seed.
  explicit RandomGeneratorACM599(unsigned seed);
  unsigned GetState() override { return state_; }
  void PutState(unsigned state) override { state_ = state; }
  // state = 4*seed+1, odd as the generator needs.
  unsigned PutSeed(unsigned seed) override;
  double Uniform01() override {
    state_ *= 663608941u;
    return state_ * 2.3283064365386963e-10;
  }
  const WCHAR *Name() override { return u"AlgorithmACM599"; }

 private:
  std::uint32_t state_;
};

// MT19937 with the 2002 seeding; (y + 0.5) * 2^-32 in (0, 1).
class KZ_API RandomGeneratorMersenneTwister final : public RandomGeneratorBase {
 public:
  explicit RandomGeneratorMersenneTwister(unsigned seed);
  // Always 0: the state is not one word.
  unsigned GetState() override { return 0; }
  void PutState(unsigned state) override { PutSeed(state); }
  unsigned PutSeed(unsigned seed) override;
  double Uniform01() override { return (NextWord() + 0.5) * 2.3283064365386963e-10; }
  const WCHAR *Name() override { return u"MersenneTwister"; }
  // The next tempered 32-bit word of the stream.
  std::uint32_t NextWord() {
    if (index_ >= kWords) Regenerate();
    std::uint32_t y = words_[index_++];
    y ^= y >> 11;
    y ^= (y << 7) & 0x9D2C5680u;
    y ^= (y << 15) & 0xEFC60000u;
    y ^= y >> 18;
    return y;
  }

 private:
  static constexpr int kWords = 624;
  void Regenerate();
  std::uint32_t words_[kWords];
  int index_;
};

// The generator callers hold: a seed, an engine type and the engine. Every member of the engines
// is here under the same name.
class KZ_API RandomGenerator {
 public:
  RandomGenerator(unsigned seed, RandomGeneratorType type);
  RandomGenerator(const RandomGenerator &other);
  RandomGenerator &operator=(const RandomGenerator &other);
  RandomGenerator(RandomGenerator &&other) noexcept;
  RandomGenerator &operator=(RandomGenerator &&other) noexcept;
  ~RandomGenerator();

  // Makes a new engine of the type from the seed. A type outside the three makes no engine; the
  // members then do nothing and give 0 (a point: the empty point).
  void Initialize(RandomGeneratorType type, unsigned seed);
  // Restarts the stream from the stored seed; distribution caches start afresh.
  void Reset() { Initialize(type_, seed_); }
  void PutType(RandomGeneratorType type) { Initialize(type, seed_); }
  RandomGeneratorType GetType() const { return type_; }
  unsigned GetSeed() const { return seed_; }

  unsigned GetState() { return engine_ ? engine_->GetState() : 0; }
  void PutState(unsigned state) {
    if (engine_) engine_->PutState(state);
  }
  // Reseeds the engine; the stored seed (that Reset uses) stays.
  unsigned PutSeed(unsigned seed) { return engine_ ? engine_->PutSeed(seed) : 0; }
  double Uniform01() { return engine_ ? engine_->Uniform01() : 0.0; }
  const WCHAR *Name() { return engine_ ? engine_->Name() : u""; }
  RandomGeneratorBase *Engine() { return engine_; }

  double Uniform(double a, double b) { return engine_ ? engine_->Uniform(a, b) : 0.0; }
  double Exponential(double mean) { return engine_ ? engine_->Exponential(mean) : 0.0; }
  double Normal(double mean, double sd) { return engine_ ? engine_->Normal(mean, sd) : 0.0; }
  LONG Poisson(double mean) { return engine_ ? engine_->Poisson(mean) : 0; }
  double Gamma(double shape, double scale) { return engine_ ? engine_->Gamma(shape, scale) : 0.0; }
  LONG NegativeBinomial(double r, double p) { return engine_ ? engine_->NegativeBinomial(r, p) : 0; }
  LONG Geometric(double p) { return engine_ ? engine_->Geometric(p) : 0; }
  LONG Binomial(LONG n, double p) { return engine_ ? engine_->Binomial(n, p) : 0; }
  void Multinomial(LONG n, LONG k, const double *weights, LONG *out) {
    if (engine_) engine_->Multinomial(n, k, weights, out);
  }
  LONG RandomIndex(const double *cdf) { return engine_ ? engine_->RandomIndex(cdf) : 0; }
  LONG RandomIndex(const double *cdf, LONG n) { return engine_ ? engine_->RandomIndex(cdf, n) : 0; }
  LONG Integer(LONG a, LONG b) { return engine_ ? engine_->Integer(a, b) : 0; }
  void RandomizeSet(void *items, unsigned count, unsigned size) {
    if (engine_) engine_->RandomizeSet(items, count, size);
  }
  void RandomAscendingIntegers(LONG k, LONG n, LONG *out) {
    if (engine_) engine_->RandomAscendingIntegers(k, n, out);
  }
  WKSPoint RandomPoint(const WKSEnvelope &box) {
    return engine_ ? engine_->RandomPoint(box) : WKSPoint::EmptyPoint();
  }
  WKSPoint RandomPoint(WKSPoint a, WKSPoint b) {
    return engine_ ? engine_->RandomPoint(a, b) : WKSPoint::EmptyPoint();
  }
  WKSPoint RandomPoint(const WKSPoint &a, const WKSPoint &b, const WKSPoint &c) {
    return engine_ ? engine_->RandomPoint(a, b, c) : WKSPoint::EmptyPoint();
  }
  WKSPoint RandomPoint(const WKSPoint *const corners) {
    return engine_ ? engine_->RandomPoint(corners) : WKSPoint::EmptyPoint();
  }
  WKSPoint RandomConvexHullPoint(const WKSPoint *const points, LONG n, double *area) {
    return engine_ ? engine_->RandomConvexHullPoint(points, n, area) : WKSPoint::EmptyPoint();
  }
  WKSPoint RandomTriangulationPoint(const WKSPoint *const points, LONG n, double *area) {
    return engine_ ? engine_->RandomTriangulationPoint(points, n, area) : WKSPoint::EmptyPoint();
  }
  WKSPoint RandomQuadrangulationPoint(const WKSPoint *const points, LONG n, double *area) {
    return engine_ ? engine_->RandomQuadrangulationPoint(points, n, area) : WKSPoint::EmptyPoint();
  }
  double AscendingUniform(ULONG n, double *out) { return engine_ ? engine_->AscendingUniform(n, out) : 0.0; }
  ULONG AscendingUniform(double length, bool gapAtEnd, double gap, ULONG count, double *out) {
    return engine_ ? engine_->AscendingUniform(length, gapAtEnd, gap, count, out) : 0;
  }
  ULONG RandomPoints(const WKSEnvelope &box, double minDistance, ULONG count, WKSPoint *out) {
    return engine_ ? engine_->RandomPoints(box, minDistance, count, out) : 0;
  }

 private:
  unsigned seed_;
  RandomGeneratorType type_;
  RandomGeneratorBase *engine_ = nullptr;  // owned
};
