// The uniform source behind Rnd.
#pragma once

#include <cstdint>
#include <random>
#include <sstream>
#include <string>
#include <string_view>

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
  // false for a text that is no state of the twister: it takes 624 words
  // below 2^32 and an index from 0 to 624, in decimal digits and spaces
  // only, and refuses the one state that draws nothing but zeros for ever.
  std::string state() const {
    std::ostringstream out;
    out << engine_;
    return out.str();
  }
  bool setState(std::string_view text) {
    std::mt19937 e;
    if (!validState(text)) return false;
    std::istringstream in{std::string(text)};
    in >> e;
    if (in.fail()) return false;
    engine_ = e;
    return true;
  }

 private:
  static bool validState(std::string_view text) {
    constexpr std::size_t kWords = std::mt19937::state_size;
    std::uint64_t word = 0;
    std::size_t count = 0;
    bool inWord = false, live = false;
    for (std::size_t i = 0; i <= text.size(); ++i) {
      const char c = i < text.size() ? text[i] : ' ';
      if (c >= '0' && c <= '9') {
        word = word * 10 + static_cast<unsigned>(c - '0');
        if (word > 0xFFFFFFFFu || (!inWord && count == kWords + 1)) return false;
        inWord = true;
      } else if (c == ' ') {
        if (!inWord) continue;
        // Only the top bit of the first word takes part in the next twist.
        if (count < kWords) live = live || (count == 0 ? (word >> 31) != 0 : word != 0);
        if (count == kWords && word > kWords) return false;
        ++count;
        word = 0;
        inWord = false;
      } else {
        return false;
      }
    }
    return count == kWords + 1 && live;
  }

  std::mt19937 engine_;
};

}  // namespace tavrel
