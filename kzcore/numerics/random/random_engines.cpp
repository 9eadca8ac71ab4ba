#include <ctime>
#include <utility>

#include <kzcore/numerics/random/random_generator.h>
#include <kzcore/pal/crt_random.h>

namespace {

// A seed of 0 means the clock: the current time in seconds, its low 32 bits.
unsigned SeedOrClock(unsigned seed) {
  return seed != 0 ? seed : static_cast<unsigned>(std::time(nullptr));
}

}  // namespace

RandomGeneratorRAND::RandomGeneratorRAND(unsigned seed) : state_(SeedOrClock(seed)) {
  // Kept as it has always been: a zero seed stores the clock but seeds the runtime with 0.
  kz::crt::srand(seed);
}

void RandomGeneratorRAND::PutState(unsigned state) {
  state_ = state;
  kz::crt::srand(state);
}

unsigned RandomGeneratorRAND::PutSeed(unsigned seed) {
  kz::crt::srand(seed);
  return state_;
}

double RandomGeneratorRAND::Uniform01() { return (kz::crt::rand() + 1) / 32769.0; }

RandomGeneratorACM599::RandomGeneratorACM599(unsigned seed)
    : state_(663608941u - SeedOrClock(seed) * 1640531532u) {}

unsigned RandomGeneratorACM599::PutSeed(unsigned seed) {
  state_ = 4 * SeedOrClock(seed) + 1;
  return state_;
}

RandomGeneratorMersenneTwister::RandomGeneratorMersenneTwister(unsigned seed) { PutSeed(seed); }

unsigned RandomGeneratorMersenneTwister::PutSeed(unsigned seed) {
  std::uint32_t w = SeedOrClock(seed);
  words_[0] = w;
  for (int i = 1; i < kWords; ++i) {
    w = 1812433253u * (w ^ (w >> 30)) + static_cast<std::uint32_t>(i);
    words_[i] = w;
  }
  index_ = kWords;
  return 0;
}

void RandomGeneratorMersenneTwister::Regenerate() {
  constexpr int kM = 397;
  constexpr std::uint32_t kUpper = 0x80000000u, kLower = 0x7FFFFFFFu, kMatrix = 0x9908B0DFu;
  int i = 0;
  for (; i < kWords - kM; ++i) {
    std::uint32_t y = (words_[i] & kUpper) | (words_[i + 1] & kLower);
    words_[i] = words_[i + kM] ^ (y >> 1) ^ ((y & 1) ? kMatrix : 0);
  }
  for (; i < kWords - 1; ++i) {
    std::uint32_t y = (words_[i] & kUpper) | (words_[i + 1] & kLower);
    words_[i] = words_[i + (kM - kWords)] ^ (y >> 1) ^ ((y & 1) ? kMatrix : 0);
  }
  std::uint32_t y = (words_[kWords - 1] & kUpper) | (words_[0] & kLower);
  words_[kWords - 1] = words_[kM - 1] ^ (y >> 1) ^ ((y & 1) ? kMatrix : 0);
  index_ = 0;
}

RandomGenerator::RandomGenerator(unsigned seed, RandomGeneratorType type) : seed_(seed), type_(type) {
  Initialize(type, seed);
}

namespace {

// A copy of an engine with its state and caches, by its concrete type.
RandomGeneratorBase *CopyEngine(const RandomGeneratorBase *e) {
  if (!e) return nullptr;
  if (auto *rand = dynamic_cast<const RandomGeneratorRAND *>(e)) return new RandomGeneratorRAND(*rand);
  if (auto *acm = dynamic_cast<const RandomGeneratorACM599 *>(e)) return new RandomGeneratorACM599(*acm);
  if (auto *mt = dynamic_cast<const RandomGeneratorMersenneTwister *>(e))
    return new RandomGeneratorMersenneTwister(*mt);
  return nullptr;
}

}  // namespace

// A copy continues the same stream, independently of the source.
RandomGenerator::RandomGenerator(const RandomGenerator &other)
    : seed_(other.seed_), type_(other.type_), engine_(CopyEngine(other.engine_)) {}

RandomGenerator &RandomGenerator::operator=(const RandomGenerator &other) {
  if (this == &other) return *this;
  RandomGeneratorBase *copy = CopyEngine(other.engine_);
  delete engine_;
  engine_ = copy;
  seed_ = other.seed_;
  type_ = other.type_;
  return *this;
}

RandomGenerator::RandomGenerator(RandomGenerator &&other) noexcept
    : seed_(other.seed_), type_(other.type_), engine_(std::exchange(other.engine_, nullptr)) {}

RandomGenerator &RandomGenerator::operator=(RandomGenerator &&other) noexcept {
  if (this != &other) {
    delete engine_;
    engine_ = std::exchange(other.engine_, nullptr);
    seed_ = other.seed_;
    type_ = other.type_;
  }
  return *this;
}

RandomGenerator::~RandomGenerator() { delete engine_; }

void RandomGenerator::Initialize(RandomGeneratorType type, unsigned seed) {
  delete engine_;
  engine_ = nullptr;
  type_ = type;
  seed_ = seed;
  switch (type) {
    case veskRandomGeneratorStandardCRand:
      engine_ = new RandomGeneratorRAND(seed);
      break;
    case veskRandomGeneratorACM599:
      engine_ = new RandomGeneratorACM599(seed);
      break;
    case veskRandomGeneratorMersenneTwister:
      engine_ = new RandomGeneratorMersenneTwister(seed);
      break;
    default:
      break;  // not a valid type: no engine
  }
}
