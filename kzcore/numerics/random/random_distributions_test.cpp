#include <kzcore/numerics/random/random_generator.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <map>
#include <numeric>
#include <vector>

#include <gtest/gtest.h>

#include <kzcore/numerics/random/internal/ln_factorial.h>

namespace {

struct Moments {
  double mean, var;
};

Moments Sample(int n, const std::function<double()> &draw) {
  double s = 0, s2 = 0;
  for (int i = 0; i < n; ++i) {
    double x = draw();
    s += x;
    s2 += x * x;
  }
  double mean = s / n;
  return {mean, s2 / n - mean * mean};
}

// The sample mean within 5 standard errors, the variance within a relative tolerance.
void ExpectMoments(const char *what, int n, const std::function<double()> &draw, double mean,
                   double var, double varTolerance = 0.05) {
  Moments m = Sample(n, draw);
  EXPECT_NEAR(m.mean, mean, 5 * std::sqrt(var / n)) << what;
  EXPECT_NEAR(m.var, var, varTolerance * var) << what;
}

// The integral of f over [a, b] by Simpson's rule.
template <class F>
double Simpson(F f, double a, double b, int steps) {
  const double h = (b - a) / steps;
  double s = 0;
  for (int i = 0; i <= steps; ++i) s += ((i == 0 || i == steps) ? 1 : (i % 2 ? 4 : 2)) * f(a + i * h);
  return s * h / 3;
}

TEST(RandomDistributions, ContinuousMoments) {
  RandomGenerator g(20240601, veskRandomGeneratorMersenneTwister);
  const int n = 200000;
  ExpectMoments("uniform", n, [&] { return g.Uniform(-2, 6); }, 2, 64.0 / 12);
  ExpectMoments("exponential", n, [&] { return g.Exponential(3); }, 3, 9);
  ExpectMoments("normal", n, [&] { return g.Normal(10, 2); }, 10, 4);
  // Third and fourth powers of the normal (means 0 and 3, variances 15 and 96): Box-Muller pairs
  // are independent normals.
  ExpectMoments("normal cubed", n, [&] { return std::pow(g.Normal(0, 1), 3); }, 0, 15, 0.2);
  ExpectMoments("normal to the fourth", n, [&] { return std::pow(g.Normal(0, 1), 4); }, 3, 96, 0.2);
  for (double shape : {1.0, 1.7, 2.5, 5.0, 40.0})
    ExpectMoments("gamma", n, [&] { return g.Gamma(shape, 0.5); }, shape * 0.5, shape * 0.25);
}

// With shape <= 1 the acceptance test of the first branch always passes (w = 1/u >= 1 >= x), so
// the draws follow x^(a-1) on [0, 1] and x^(a-1) e^-x above 1, not the gamma density. Its
// moments come from numerical integration here.
TEST(RandomDistributions, GammaBelowOneKeepsItsFirstBranchAsItIs) {
  RandomGenerator g(99, veskRandomGeneratorMersenneTwister);
  for (double a : {0.3, 0.6, 0.9}) {
    auto tail = [&](double power) {  // from 1 to 60 of x^power e^-x
      return Simpson([&](double x) { return std::pow(x, power) * std::exp(-x); }, 1, 60, 200000);
    };
    double z = 1 / a + tail(a - 1);
    double m1 = (1 / (a + 1) + tail(a)) / z;
    double m2 = (1 / (a + 2) + tail(a + 1)) / z;
    ExpectMoments("gamma below one", 300000, [&] { return g.Gamma(a, 2.0); }, 2 * m1,
                  4 * (m2 - m1 * m1));
    // The moments lie close to the gamma's; the shape below 1 tells the two apart. Among draws
    // up to 1, the share up to 0.5 is 0.5^a here; for the gamma density it is larger.
    int low = 0, half = 0;
    for (int i = 0; i < 300000; ++i) {
      double x = g.Gamma(a, 1.0);
      if (x <= 1) ++low;
      if (x <= 0.5) ++half;
    }
    auto gammaMass = [&](double upTo) {  // integral of x^(a-1) e^-x from 0, with x = t^(1/a)
      return Simpson([&](double t) { return std::exp(-std::pow(t, 1 / a)); }, 0, std::pow(upTo, a), 20000);
    };
    double share = double(half) / low, se = std::sqrt(share * (1 - share) / low);
    EXPECT_NEAR(share, std::pow(0.5, a), 5 * se) << a;
    EXPECT_GT(gammaMass(0.5) / gammaMass(1.0) - std::pow(0.5, a), 10 * se) << a;
  }
}

TEST(RandomDistributions, DiscreteMoments) {
  RandomGenerator g(7, veskRandomGeneratorMersenneTwister);
  const int n = 200000;
  for (double mean : {0.5, 4.0, 30.0, 700.0})
    ExpectMoments("poisson", n, [&] { return g.Poisson(mean); }, mean, mean);
  ExpectMoments("poisson, normal approximation", 20000, [&] { return g.Poisson(5000.0); }, 5000, 5000, 0.1);
  for (double p : {0.3, 0.8, 0.95}) {
    double q = 1 - p;
    ExpectMoments("geometric", n, [&] { return g.Geometric(p); }, p / q, p / (q * q), 0.08);
  }
  struct {
    LONG n;
    double p;
  } binomials[] = {{20, 0.3}, {10, 0.9}, {1000, 0.4}, {500, 0.8}, {100000, 0.5}, {40, 0.5}};
  for (auto b : binomials)
    ExpectMoments("binomial", n, [&] { return g.Binomial(b.n, b.p); }, b.n * b.p,
                  b.n * b.p * (1 - b.p));
  ExpectMoments("negative binomial", n, [&] { return g.NegativeBinomial(3, 0.4); }, 3 * 0.4 / 0.6,
                3 * 0.4 / (0.6 * 0.6));
}

// The Binomial set-up of the ratio-of-uniforms method: the whole distribution, not only the
// moments, against the exact probabilities.
TEST(RandomDistributions, BinomialMatchesExactProbabilities) {
  RandomGenerator g(11, veskRandomGeneratorMersenneTwister);
  const LONG trials = 60;
  const double p = 0.35;
  const int n = 300000;
  std::vector<int> count(trials + 1);
  for (int i = 0; i < n; ++i) count[g.Binomial(trials, p)]++;
  double chi = 0;
  int cells = 0;
  for (LONG k = 0; k <= trials; ++k) {
    double pk = std::exp(std::lgamma(trials + 1.0) - std::lgamma(k + 1.0) - std::lgamma(trials - k + 1.0) +
                         k * std::log(p) + (trials - k) * std::log(1 - p));
    double e = pk * n;
    if (e < 5) continue;
    chi += (count[k] - e) * (count[k] - e) / e;
    ++cells;
  }
  EXPECT_LT(chi, cells + 4 * std::sqrt(2.0 * cells)) << cells;
}

TEST(RandomDistributions, DrawOrderRules) {
  // The second Normal uses the spare: no draw.
  RandomGenerator g(3, veskRandomGeneratorACM599), twin(3, veskRandomGeneratorACM599);
  g.Normal(0, 1);
  g.Normal(0, 1);
  twin.Uniform01();
  twin.Uniform01();
  EXPECT_EQ(g.Uniform01(), twin.Uniform01());
  // The pair is (r sin t, r cos t) of one draw pair, the sine first.
  RandomGenerator n(5, veskRandomGeneratorMersenneTwister), u(5, veskRandomGeneratorMersenneTwister);
  double r = std::sqrt(-2 * std::log(u.Uniform01())), t = u.Uniform01() * 2 * M_PI;
  EXPECT_NEAR(n.Normal(0, 1), r * std::sin(t), 1e-12);
  EXPECT_NEAR(n.Normal(0, 1), r * std::cos(t), 1e-12);
  // Gamma of shape 1 is one draw, equal to the exponential of the same draw.
  RandomGenerator a(8, veskRandomGeneratorMersenneTwister), b(8, veskRandomGeneratorMersenneTwister);
  for (int i = 0; i < 100; ++i) ASSERT_EQ(a.Gamma(1.0, 2.5), b.Exponential(2.5));
  EXPECT_EQ(a.Uniform01(), b.Uniform01());
  // Uniform and Exponential take one draw each.
  RandomGenerator c(9, veskRandomGeneratorMersenneTwister), d(9, veskRandomGeneratorMersenneTwister);
  double u0 = d.Uniform01();
  EXPECT_EQ(c.Uniform(1, 3), 1 + u0 * 2);
  EXPECT_EQ(c.Exponential(2), -(std::log(d.Uniform01()) * 2));
}

TEST(RandomDistributions, GeometricEdgesAndCachedP) {
  RandomGenerator g(1, veskRandomGeneratorMersenneTwister);
  EXPECT_EQ(g.Geometric(0), 2147483647);
  EXPECT_EQ(g.Geometric(-1), 2147483647);
  EXPECT_EQ(g.Geometric(1), 0);
  // A p <= 0 keeps the last p in force: after p = 1, 0 gives 0 again.
  EXPECT_EQ(g.Geometric(0), 0);
  RandomGenerator h(2, veskRandomGeneratorMersenneTwister), k(2, veskRandomGeneratorMersenneTwister);
  h.Geometric(0.5);
  k.Geometric(0.5);
  for (int i = 0; i < 50; ++i) ASSERT_EQ(h.Geometric(0), k.Geometric(0.5));
}

TEST(RandomDistributions, BinomialFlipsAboveOneHalf) {
  RandomGenerator a(4, veskRandomGeneratorMersenneTwister), b(4, veskRandomGeneratorMersenneTwister);
  for (LONG n : {12L, 3000L})
    for (int i = 0; i < 200; ++i) ASSERT_EQ(a.Binomial(n, 0.75), n - b.Binomial(n, 0.25));
  RandomGenerator c(4, veskRandomGeneratorMersenneTwister);
  EXPECT_EQ(c.Binomial(10, 0), 0);
  EXPECT_EQ(c.Binomial(10, 1), 10);
  EXPECT_EQ(c.Binomial(0, 0.5), 0);
  EXPECT_EQ(c.Binomial(10, std::nan("")), 0);
}

TEST(RandomDistributions, MultinomialIndexAndInteger) {
  RandomGenerator g(12, veskRandomGeneratorMersenneTwister);
  const double w[] = {2, 0, 1, 5};
  std::vector<double> sums(4);
  const int rounds = 20000;
  for (int r = 0; r < rounds; ++r) {
    LONG out[4] = {9, 9, 9, 9};
    g.Multinomial(40, 4, w, out);
    EXPECT_EQ(out[1], 0);
    ASSERT_EQ(out[0] + out[1] + out[2] + out[3], 40);
    for (int i = 0; i < 4; ++i) sums[i] += out[i];
  }
  for (int i = 0; i < 4; ++i) EXPECT_NEAR(sums[i] / rounds, 40 * w[i] / 8, 0.1) << i;

  const double cdf[] = {0.1, 0.1, 0.55, 0.9, 1.0};
  std::vector<int> linear(5), bisect(5);
  const int n = 100000;
  for (int i = 0; i < n; ++i) {
    linear[g.RandomIndex(cdf)]++;
    bisect[g.RandomIndex(cdf, 5)]++;
  }
  const double p[] = {0.1, 0, 0.45, 0.35, 0.1};
  for (int i = 0; i < 5; ++i) {
    double se = std::sqrt(p[i] * (1 - p[i]) / n);
    EXPECT_NEAR(linear[i] / double(n), p[i], 5 * se + 1e-12) << i;
    EXPECT_NEAR(bisect[i] / double(n), p[i], 5 * se + 1e-12) << i;
  }

  std::map<LONG, int> seen;
  for (int i = 0; i < 3000; ++i) seen[g.Integer(5, 3)]++;
  ASSERT_EQ(seen.size(), 3u);
  EXPECT_EQ(seen.begin()->first, 3);
  EXPECT_EQ(seen.rbegin()->first, 5);
  for (auto &kv : seen) EXPECT_NEAR(kv.second, 1000, 150);
  EXPECT_EQ(g.Integer(-7, -7), -7);
  // Spans that overflow 32 bits stay within their bounds and reach both halves.
  int negative = 0;
  for (int i = 0; i < 1000; ++i) negative += g.Integer(2147483647, -2147483647 - 1) < 0;
  EXPECT_NEAR(negative, 500, 80);
  for (int i = 0; i < 1000; ++i) ASSERT_LE(g.Integer(-2147483647 - 1, -2147483647 + 1), -2147483647 + 1);
}

TEST(RandomDistributions, ShufflesArePermutationsWithEqualOdds) {
  RandomGenerator g(21, veskRandomGeneratorMersenneTwister);
  struct Record {
    int id;
    char pad[8];
  };
  std::map<std::vector<int>, int> seen;
  const int n = 60000;
  for (int i = 0; i < n; ++i) {
    Record r[3] = {{0, "a"}, {1, "b"}, {2, "c"}};
    g.RandomizeSet(r, 3, sizeof(Record));
    std::vector<int> order = {r[0].id, r[1].id, r[2].id};
    for (const Record &x : r) ASSERT_EQ(x.pad[0], "abc"[x.id]);  // records move whole
    seen[order]++;
  }
  ASSERT_EQ(seen.size(), 6u);
  double chi = 0;
  for (auto &kv : seen) chi += (kv.second - n / 6.0) * (kv.second - n / 6.0) / (n / 6.0);
  EXPECT_LT(chi, 20.5);  // 5 degrees of freedom, p = 0.001
  char bytes[5] = {'a', 'b', 'c', 'd', 'e'};
  g.RandomizeSet(bytes, 5, 1);
  std::sort(bytes, bytes + 5);
  EXPECT_EQ(std::memcmp(bytes, "abcde", 5), 0);
  g.RandomizeSet(nullptr, 0, 4);
  g.RandomizeSet(nullptr, 1, 4);

  std::vector<int> hits(20);
  for (int i = 0; i < 20000; ++i) {
    LONG out[20];
    g.RandomAscendingIntegers(5, 20, out);
    for (int j = 0; j < 5; ++j) {
      ASSERT_GE(out[j], 0);
      ASSERT_LT(out[j], 20);
      if (j) {
        ASSERT_LT(out[j - 1], out[j]);
      }
      hits[out[j]]++;
    }
  }
  for (int h : hits) EXPECT_NEAR(h, 5000, 300);
  LONG all[4];
  g.RandomAscendingIntegers(9, 4, all);  // more than there are: all of them
  EXPECT_EQ(all[0], 0);
  EXPECT_EQ(all[3], 3);
}

TEST(RandomDistributions, AscendingUniform) {
  RandomGenerator g(31, veskRandomGeneratorMersenneTwister);
  const ULONG n = 9;
  std::vector<double> mean(n);
  const int rounds = 20000;
  for (int r = 0; r < rounds; ++r) {
    double out[n];
    double sum = g.AscendingUniform(n, out);
    for (ULONG i = 0; i < n; ++i) {
      if (i) {
        ASSERT_LT(out[i - 1], out[i]);
      }
      mean[i] += out[i] / sum;
    }
    ASSERT_LT(out[n - 1], sum);
  }
  // Normalised spacings are uniform order statistics: the i-th has mean (i+1)/(n+1).
  for (ULONG i = 0; i < n; ++i) EXPECT_NEAR(mean[i] / rounds, (i + 1.0) / (n + 1), 0.005) << i;

  double out[50];
  ULONG count = g.AscendingUniform(10.0, false, 1.0, 50, out);
  EXPECT_EQ(count, 11u);  // floor(10/1)+1 values fit
  for (ULONG i = 0; i < count; ++i) {
    ASSERT_GE(out[i], 0);
    ASSERT_LE(out[i], 10.0);
    if (i) {
      ASSERT_GE(out[i] - out[i - 1], 1.0 - 1e-12);
    }
  }
  count = g.AscendingUniform(10.0, true, 2.0, 50, out);
  EXPECT_EQ(count, 5u);  // with a gap kept before the end
  EXPECT_LE(out[count - 1], 8.0);
  count = g.AscendingUniform(3.0, false, 0.0, 4, out);
  EXPECT_EQ(count, 4u);
  EXPECT_LT(out[3], 3.0);
}

TEST(LnFactorial, TableIsCorrectlyRoundedAndSeriesContinuesIt) {
  using kz::random_internal::LnFactorial;
  long double sum = 0;
  for (long k = 0; k < 102; ++k) {
    if (k > 1) sum += std::log(static_cast<long double>(k));
    ASSERT_EQ(LnFactorial(k), static_cast<double>(sum)) << k;
  }
  for (long k : {102L, 150L, 1000L, 123456L})
    EXPECT_NEAR(LnFactorial(k), std::lgamma(k + 1.0), 1e-12 * std::lgamma(k + 1.0)) << k;
}

}  // namespace
