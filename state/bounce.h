// The picture's travel in screen-saver mode, for the window and the module
// alike: diagonal, one program pixel a step, turning before the square would
// pass an edge; the steps come by the clock, so the speed is the same on a
// display of any refresh rate.
#pragma once

#include <chrono>

namespace tavrel {

class Bounce {
 public:
  // The square of `side` pixels kept inside `width` x `height`, starting at
  // (`left`, `top`) and going right when `right`, down when `down`.
  Bounce(int width, int height, int side, int left, int top, bool right, bool down);
  void step();
  // Keeps the square inside a window that changed size; one smaller than the
  // square has it centred, and still.
  void resize(int width, int height);
  int left() const { return x_.pos; }
  int top() const { return y_.pos; }

 private:
  struct Axis {
    int pos = 0, extent = 0, side = 0, dir = 1;
    void step();
    void turnAtEdges();
    void resize(int newExtent);
  };
  Axis x_, y_;
};

// When steps fall due: one every period. After a stall (a suspended
// machine, a stopped process, a long generation) the picture goes on from
// where it stood rather than jumping.
class StepClock {
 public:
  using Clock = std::chrono::steady_clock;

  StepClock(Clock::time_point start, Clock::duration period)
      : period_(period), next_(start + period) {}
  // The steps due up to `now` since the last call.
  int take(Clock::time_point now);
  Clock::time_point next() const { return next_; }
  Clock::duration period() const { return period_; }

 private:
  Clock::duration period_;
  Clock::time_point next_;
};

// Time between two steps: Fast travels 60 pixels a second, Slow 32.
StepClock::Clock::duration bounceStepPeriod(bool fast);

}  // namespace tavrel
