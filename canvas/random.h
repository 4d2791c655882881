// The uniform source behind Rnd.
#pragma once

#include <cstdint>
#include <random>

namespace tavrel {

// Each draw takes one 32-bit output of a Mersenne twister, keeps its top 24
// bits and divides by 2^24: a float in [0, 1) that is exact in a double, so
// Int(Rnd * n) stays below n for every n up to 16777215.
class Random {
 public:
  explicit Random(std::uint32_t seed = 0) : engine_(seed) {}

  void Randomize(std::uint32_t seed) { engine_.seed(seed); }

  float Rnd() { return static_cast<float>(engine_() >> 8) * (1.0f / 16777216.0f); }

 private:
  std::mt19937 engine_;
};

}  // namespace tavrel
