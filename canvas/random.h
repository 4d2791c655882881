// The uniform source behind Rnd.
#pragma once

#include <cstdint>
#include <random>
#include <sstream>
#include <string>

namespace tavrel {

// Each draw takes one 32-bit output of a Mersenne twister, keeps its top 24
// bits and divides by 2^24: a float in [0, 1) that is exact in a double, so
// Int(Rnd * n) stays below n for every n up to 16777215.
class Random {
 public:
  explicit Random(std::uint32_t seed = 0) : engine_(seed) {}

  void Randomize(std::uint32_t seed) { engine_.seed(seed); }

  float Rnd() { return static_cast<float>(engine_() >> 8) * (1.0f / 16777216.0f); }

  // The whole state as text, and back: a picture made again starts from the
  // very draws it started from. setState leaves the source alone and gives
  // false for a text that is no state.
  std::string state() const {
    std::ostringstream out;
    out << engine_;
    return out.str();
  }
  bool setState(const std::string& text) {
    std::istringstream in(text);
    std::mt19937 e;
    in >> e;
    if (in.fail() || !(in >> std::ws).eof()) return false;
    engine_ = e;
    return true;
  }

 private:
  std::mt19937 engine_;
};

}  // namespace tavrel
