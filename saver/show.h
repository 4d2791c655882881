// What the module shows, apart from any window system: the pictures in the
// order the generators make them, the bounce that carries them over the
// window, and the clock that says when each is due.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string_view>
#include <vector>

#include "canvas/random.h"
#include "canvas/surface.h"
#include "history/history.h"
#include "saver/settings.h"
#include "stages/host.h"
#include "state/app_state.h"
#include "state/bounce.h"

namespace tavrel::saver {

// Side of the square the bounce keeps inside the window; the picture box
// around it is 102 pixels, its black frame may pass the right and bottom edge.
inline constexpr int kSquare = 100;

// How the window's device pixels map to program pixels: the display-scale
// rule of the program's window, rounded to a whole number so every program
// pixel is a crisp block.
struct Layout {
  int zoom = 1;               // device pixels per program pixel, each way
  int width = 1, height = 1;  // the window in program pixels
  bool operator==(const Layout&) const = default;
};
Layout layoutFor(int deviceWidth, int deviceHeight, std::optional<std::string_view> scaleOverride);

// The pictures in order, made exactly as tavrel-render --screensaver makes
// them with the same seed and options, each kept in the history as it is
// made unless --no-history or the settings file turned that off.
class Pictures {
 public:
  Pictures(const Settings& s, std::uint32_t seed, int width, int height);
  // The next picture: the 102 x 102 box of the finished shape; none when the
  // generation failed, which leaves the sequence going on from where it was.
  Picture next();

 private:
  HeadlessHost host_;
  AppState st_;
  Generator generator_;
  std::uint32_t seed_;
  std::uint64_t made_ = 0;
  std::optional<History> history_;
};

// The bounce as the window's screen-saver mode starts it: the square where
// the generators centre it, each way chosen by a coin of `directions`.
Bounce firstBounce(int width, int height, Random& directions);

// When steps and pictures are due. Steps come at a fixed period; after a
// stall (a suspended machine, a stopped process) the picture goes on from
// where it stood rather than jumping.
class Timeline {
 public:
  using Clock = StepClock::Clock;

  Timeline(Clock::time_point start, Clock::duration interval, Clock::duration stepPeriod);

  struct Due {
    int steps = 0;
    bool picture = false;
  };
  // What fell due up to `now` since the last call; the first picture is due
  // at the start.
  Due take(Clock::time_point now);
  // The next picture at `at`, the one after an interval later.
  void nextPictureAt(Clock::time_point at) { nextPicture_ = at; }
  // The earliest time something falls due.
  Clock::time_point wake() const { return std::min(steps_.next(), nextPicture_); }
  Clock::duration interval() const { return interval_; }
  Clock::duration stepPeriod() const { return steps_.period(); }

 private:
  Clock::duration interval_;
  StepClock steps_;
  Clock::time_point nextPicture_;
};

// A rectangle of device pixels.
struct Rect {
  int x = 0, y = 0, width = 0, height = 0;
  bool empty() const { return width <= 0 || height <= 0; }
  bool operator==(const Rect&) const = default;
};

// What of `was` lies outside `now`: at most four rectangles, the bands above
// and below `now` and the parts left and right of it, for a move to clear.
std::vector<Rect> uncovered(const Rect& was, const Rect& now);

// A line of text as a picture in program pixels, white on black with a
// margin, so that it grows with the zoom as the picture does: digits, '.',
// ' ', 'f', 'p' and 's', each of a 5 x 7 dot font at two program pixels a
// dot; other characters show as spaces.
ImageData textPicture(std::string_view text);

// Frames drawn in the last whole second, as the text --fps shows.
class FrameRate {
 public:
  explicit FrameRate(Timeline::Clock::time_point start) : since_(start) {}
  // Counts a frame; true when the text changed.
  bool frame(Timeline::Clock::time_point now);
  const char* text() const { return text_; }

 private:
  Timeline::Clock::time_point since_;
  int frames_ = 0;
  char text_[32] = "";
};

// The show's one step, apart from any window system: the pictures, a
// bounce on each screen, the --fps line and when to be woken next. A backend
// calls frame() whenever it wakes, draws what it says and waits until the
// time it gives or until its own sources have something; it owns only that
// wait and how it presents.
class Show {
 public:
  using Clock = Timeline::Clock;
  static constexpr Clock::time_point kNever = Clock::time_point::max();

  // `lead`: how far ahead of a wake-up the steps are taken, for a backend
  // whose frames show a little after they are drawn.
  Show(const Settings& s, std::uint32_t seed, Clock::duration lead = {});

  // A new show at `now`: every bounce from the middle of its screen, and
  // the next picture, at once.
  void start(Clock::time_point now);
  // Makes the next picture ahead of the show, so that it starts with it.
  void prepare();
  // Screen `key` (the backend's n-th screen, from 0) at `width` x `height`
  // program pixels: its bounce starts in the middle, each way by a coin of
  // a source of its own, and stays inside as the screen changes size.
  const Bounce& place(int key, int width, int height);
  void forget(int key);

  struct Frame {
    bool picture = false;  // a new picture to show
    Clock::time_point wake = kNever;
  };
  // What fell due by `now`. While no screen can draw (outputs off, or all
  // waiting for the compositor) nothing is taken and nothing is woken for:
  // the backend calls again when one can.
  Frame frame(Clock::time_point now, bool canDraw = true);
  // A frame was drawn at `now`; with --fps, true when the line changed.
  bool drew(Clock::time_point now);
  // A new picture at once (SIGUSR1).
  void pictureNow(Clock::time_point now) { timeline_.nextPictureAt(now); }

  const ImageData* picture() const { return current_.get(); }
  std::uint64_t pictureVersion() const { return pictureVersion_; }
  // The --fps line once a second has been counted; none before, or without --fps.
  const ImageData* text() const { return textVersion_ ? &text_ : nullptr; }
  std::uint64_t textVersion() const { return textVersion_; }
  const char* rateText() const { return rate_.text(); }

 private:
  Random& directions(int key);

  std::uint32_t seed_;
  Clock::duration lead_;
  bool fps_;
  Pictures pictures_;
  Timeline timeline_;
  FrameRate rate_;
  Picture current_, prepared_;
  std::uint64_t pictureVersion_ = 0;
  bool newPicture_ = false;  // not yet told by frame()
  ImageData text_;
  std::uint64_t textVersion_ = 0;
  std::map<int, Random> directions_;
  std::map<int, Bounce> bounces_;
};

}  // namespace tavrel::saver
