#include <kzcore/pal/crt_random.h>

#include <cstdint>

#include <gtest/gtest.h>

namespace {

// The first values of the family's C runtime after srand(1), as its documentation lists them.
TEST(CrtRandom, KnownStreamAfterSeedOne) {
  kz::crt::srand(1);
  const int expected[] = {41, 18467, 6334, 26500, 19169, 15724, 11478, 29358, 26962, 24464};
  for (int v : expected) EXPECT_EQ(kz::crt::rand(), v);
}

TEST(CrtRandom, FollowsTheLinearCongruence) {
  for (unsigned seed : {0u, 7u, 123456789u, 0xFFFFFFFFu}) {
    kz::crt::srand(seed);
    std::uint64_t state = seed;
    for (int i = 0; i < 1000; ++i) {
      state = (state * 214013 + 2531011) % (std::uint64_t{1} << 32);
      int r = kz::crt::rand();
      ASSERT_EQ(r, static_cast<int>((state >> 16) & 0x7FFF)) << seed << " " << i;
      ASSERT_GE(r, 0);
      ASSERT_LE(r, kz::crt::kRandMax);
    }
  }
}

}  // namespace
