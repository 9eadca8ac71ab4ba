#include <kzcore/numerics/random/random_generator.h>

#include <cstdint>
#include <ctime>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include <kzcore/pal/crt_random.h>

namespace {

constexpr double kTwoToMinus32 = 1.0 / 4294967296.0;

std::u16string NameOf(RandomGenerator &g) { return g.Name(); }

TEST(RandomGenerator, NamesAndTypes) {
  RandomGenerator a(1, veskRandomGeneratorStandardCRand), b(1, veskRandomGeneratorACM599),
      c(1, veskRandomGeneratorMersenneTwister);
  EXPECT_EQ(NameOf(a), u"StandardCRand");
  EXPECT_EQ(NameOf(b), u"AlgorithmACM599");
  EXPECT_EQ(NameOf(c), u"MersenneTwister");
  c.PutType(veskRandomGeneratorACM599);
  EXPECT_EQ(NameOf(c), u"AlgorithmACM599");
  EXPECT_EQ(c.Uniform01(), b.Uniform01());
  // Not a valid type: no engine, and nothing happens.
  RandomGenerator bad(1, static_cast<RandomGeneratorType>(7));
  EXPECT_EQ(bad.Engine(), nullptr);
  EXPECT_EQ(bad.Uniform01(), 0.0);
  EXPECT_TRUE(bad.RandomPoint(WKSEnvelope(0.0, 0.0, 1.0, 1.0)).IsEmpty());
}

TEST(RandomGeneratorMersenneTwister, WordStreamEqualsStdMt19937) {
  for (unsigned seed : {5489u, 1u, 42u, 20240229u, 0x80000000u, 0xFFFFFFFFu}) {
    RandomGeneratorMersenneTwister mine(seed);
    std::mt19937 ref(seed);
    for (int i = 0; i < 5000; ++i) ASSERT_EQ(mine.NextWord(), ref()) << seed << " " << i;
  }
  RandomGeneratorMersenneTwister again(1);
  again.PutSeed(42);
  std::mt19937 ref(42);
  for (int i = 0; i < 700; ++i) ASSERT_EQ(again.NextWord(), ref());
  EXPECT_EQ(again.GetState(), 0u);
}

TEST(RandomGeneratorMersenneTwister, UniformIsTheCentredWord) {
  RandomGenerator g(5489, veskRandomGeneratorMersenneTwister);
  std::mt19937 ref(5489);
  for (int i = 0; i < 1000; ++i) ASSERT_EQ(g.Uniform01(), (ref() + 0.5) * kTwoToMinus32);
  g.PutState(5489);  // reseeds
  EXPECT_EQ(g.Uniform01(), (3499211612.0 + 0.5) * kTwoToMinus32);
}

TEST(RandomGeneratorACM599, SeedingAndStream) {
  RandomGeneratorACM599 a(1);
  EXPECT_EQ(a.GetState(), static_cast<std::uint32_t>(5u * 663608941u));
  EXPECT_EQ(a.PutSeed(1), 5u);
  EXPECT_EQ(a.GetState(), 5u);
  // Construction is PutSeed advanced by one step.
  for (unsigned seed : {1u, 2u, 99u, 0xDEADBEEFu}) {
    RandomGeneratorACM599 built(seed), seeded(seed);
    seeded.PutSeed(seed);
    seeded.Uniform01();
    std::uint64_t state = built.GetState();
    for (int i = 0; i < 1000; ++i) {
      state = (state * 663608941u) % (std::uint64_t{1} << 32);
      double u = built.Uniform01();
      ASSERT_EQ(u, static_cast<double>(state) * kTwoToMinus32);
      ASSERT_EQ(u, seeded.Uniform01());
      ASSERT_GT(u, 0.0);  // an odd state never reaches 0
      ASSERT_LT(u, 1.0);
    }
  }
  a.PutState(0);
  EXPECT_EQ(a.Uniform01(), 0.0);
}

TEST(RandomGeneratorRAND, RuntimeStreamInTheOpenInterval) {
  RandomGenerator g(1, veskRandomGeneratorStandardCRand);
  EXPECT_EQ(g.GetState(), 1u);
  const int first[] = {41, 18467, 6334, 26500};
  for (int r : first) EXPECT_EQ(g.Uniform01(), (r + 1) / 32769.0);
  // PutSeed reseeds the runtime only; PutState does both.
  g.PutSeed(1);
  EXPECT_EQ(g.GetState(), 1u);
  EXPECT_EQ(g.Uniform01(), 42 / 32769.0);
  g.PutState(1);
  EXPECT_EQ(g.Uniform01(), 42 / 32769.0);
  // A zero seed stores the clock but seeds the runtime with 0: state 2531011 gives 38 first.
  std::uint32_t before = static_cast<std::uint32_t>(std::time(nullptr));
  RandomGenerator z(0, veskRandomGeneratorStandardCRand);
  std::uint32_t after = static_cast<std::uint32_t>(std::time(nullptr));
  EXPECT_GE(z.GetState(), before);
  EXPECT_LE(z.GetState(), after);
  EXPECT_EQ(z.Uniform01(), 39 / 32769.0);
  // The extremes of the runtime never give 0 or 1.
  for (int i = 0; i < 100000; ++i) {
    double u = z.Uniform01();
    ASSERT_GT(u, 0.0);
    ASSERT_LT(u, 1.0);
  }
}

TEST(RandomGenerator, SeedZeroMeansTheClock) {
  std::uint32_t before = static_cast<std::uint32_t>(std::time(nullptr));
  RandomGeneratorACM599 a(0);
  std::uint32_t after = static_cast<std::uint32_t>(std::time(nullptr));
  bool matched = false;
  for (std::uint32_t t = before; t <= after; ++t)
    matched |= a.GetState() == static_cast<std::uint32_t>(663608941u - t * 1640531532u);
  EXPECT_TRUE(matched);
  RandomGeneratorMersenneTwister m(0);
  std::uint32_t w = m.NextWord();
  matched = false;
  for (std::uint32_t t = before; t <= after + 1; ++t) matched |= std::mt19937(t)() == w;
  EXPECT_TRUE(matched);
}

TEST(RandomGenerator, ResetCopyAndSeedBookkeeping) {
  for (auto type : {veskRandomGeneratorACM599, veskRandomGeneratorMersenneTwister,
                    veskRandomGeneratorStandardCRand}) {
    RandomGenerator g(77, type);
    double first[5];
    for (double &v : first) v = g.Normal(0, 1);
    g.Reset();
    for (double v : first) EXPECT_EQ(g.Normal(0, 1), v);  // the stored spare is forgotten too
    g.PutSeed(5);
    EXPECT_EQ(g.GetSeed(), 77u);
    if (type == veskRandomGeneratorStandardCRand) continue;  // one shared runtime state
    // A copy continues the same stream, caches included, independently of the source.
    g.Reset();
    g.Normal(0, 1);  // leaves a spare
    RandomGenerator copy = g;
    double a = g.Normal(0, 1), b = g.Uniform01();
    EXPECT_EQ(copy.Normal(0, 1), a);
    EXPECT_EQ(copy.Uniform01(), b);
    RandomGenerator moved = std::move(copy);
    EXPECT_EQ(moved.Uniform01(), g.Uniform01());
  }
}

}  // namespace
