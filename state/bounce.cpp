#include "state/bounce.h"

#include <algorithm>

namespace tavrel {

Bounce::Bounce(int width, int height, int side, int left, int top, bool right, bool down) {
  x_ = {left, width, side, right ? 1 : -1};
  y_ = {top, height, side, down ? 1 : -1};
  x_.turnAtEdges();
  y_.turnAtEdges();
}

void Bounce::Axis::step() {
  // Too short to travel: the square stays where it is.
  if (extent < side + 2) return;
  pos += dir;
  turnAtEdges();
}

void Bounce::Axis::turnAtEdges() {
  if (extent < side + 2) return;
  if (pos + side + dir > extent || pos + dir < 0) dir = -dir;
}

void Bounce::Axis::resize(int newExtent) {
  extent = newExtent;
  if (extent < side + 2) {
    pos = extent / 2 - side / 2;
    return;
  }
  pos = std::clamp(pos, 0, extent - side);
  turnAtEdges();
}

void Bounce::step() {
  x_.step();
  y_.step();
}

void Bounce::resize(int width, int height) {
  x_.resize(width);
  y_.resize(height);
}

int StepClock::take(Clock::time_point now) {
  // A backlog longer than this is dropped, not caught up.
  constexpr auto kStall = std::chrono::milliseconds(250);
  if (now < next_) return 0;
  if (now - next_ > kStall) {
    next_ = now + period_;
    return 1;
  }
  const auto late = (now - next_) / period_;
  next_ += period_ * (late + 1);
  return static_cast<int>(late) + 1;
}

StepClock::Clock::duration bounceStepPeriod(bool fast) {
  return std::chrono::microseconds(fast ? 1000000 / 60 : 1000000 / 32);
}

}  // namespace tavrel
