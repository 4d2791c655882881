#include "state/bounce.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>

namespace tavrel {
namespace {

using namespace std::chrono_literals;
using Clock = StepClock::Clock;

// The box of the square's places over `steps` steps, each of which must be
// one pixel each way.
std::array<int, 4> walk(Bounce& b, int steps) {
  std::array<int, 4> box{b.left(), b.left(), b.top(), b.top()};
  for (int i = 0; i < steps; ++i) {
    const int x = b.left(), y = b.top();
    b.step();
    EXPECT_TRUE(std::abs(b.left() - x) == 1 && std::abs(b.top() - y) == 1) << "step " << i;
    box = {std::min(box[0], b.left()), std::max(box[1], b.left()), std::min(box[2], b.top()),
           std::max(box[3], b.top())};
  }
  return box;
}

TEST(Bounce, DiagonalTurningAtTheEdgesStepByTimeAndAStallIsNotCaughtUp) {
  Bounce b(400, 150, 100, 150, 25, true, false);
  b.step();
  EXPECT_EQ(std::pair(b.left(), b.top()), std::pair(151, 24));
  // The square of 100 stays inside, and reaches every edge.
  EXPECT_EQ(walk(b, 1000), (std::array{0, 300, 0, 50}));
  b.resize(180, 130);
  EXPECT_EQ(walk(b, 500), (std::array{0, 80, 0, 30}));
  b.resize(80, 60);  // a window smaller than the square: centred, still
  EXPECT_EQ(walk(b, 0), (std::array{-10, -10, -20, -20}));
  b.step();
  EXPECT_EQ(std::pair(b.left(), b.top()), std::pair(-10, -20));
  // Starting at an edge going out, it turns before it passes it.
  Bounce edge(300, 300, 100, 0, 200, false, true);
  edge.step();
  EXPECT_EQ(std::pair(edge.left(), edge.top()), std::pair(1, 199));

  const Clock::time_point t0{};
  StepClock clock(t0, 10ms);
  // Not yet due, the first step; at 45 ms the late ones of 20, 30 and 40
  // come together; after a stall, one step, not 85, and the clock goes on
  // from there.
  const std::pair<Clock::duration, int> cases[] = {{5ms, 0},  {10ms, 1},  {19ms, 0},  {45ms, 3},
                                                   {50ms, 1}, {900ms, 1}, {905ms, 0}, {910ms, 1}};
  for (const auto& [at, steps] : cases)
    EXPECT_EQ(clock.take(t0 + at), steps) << (at / 1ms) << " ms";
  // The two speeds as pixels a second.
  EXPECT_EQ(1s / bounceStepPeriod(true), 60);
  EXPECT_EQ(1s / bounceStepPeriod(false), 32);
}

}  // namespace
}  // namespace tavrel
