// The one record of everything that outlives a single call: settings chosen
// by the user, the state of a generation, the animation and the pictures.
// Every handler and both generators read and write it directly.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "canvas/convert.h"
#include "canvas/random.h"
#include "state/bounce.h"
#include "state/recipe.h"

namespace tavrel {

// A number that lives as its decimal text: every store loses all beyond 15
// significant digits. Held as the value the text stands for.
class DecimalText {
 public:
  DecimalText() = default;
  DecimalText& operator=(double x) {
    value_ = roundTrip15(x);
    return *this;
  }
  double value() const { return value_; }
  std::string text() const { return CStr(value_); }

 private:
  double value_ = 0;
};

struct AppState {
  // Settings chosen by the user.
  double tcolor = 0;    // 1 true colours, 0 basic colours, 2 the user palette
  double mpattern = 0;  // generator for the button and the first shape: 0 shape, 1 pattern
  Integer ggmbj = 0;    // generator for the screen-saver tick
  double ssmode = 0;    // 0 regular, 1 screen-saver
  double nwait4 = 0;    // 1 slow, 0 fast
  double complexy = 0;  // 1 regular, 2 fancy
  double detailf = 0;
  double nsides = 0;
  double ssg = 0;
  double swidth = 0;
  double complexy2 = 0;
  UserPalette userColors = basicPalette();  // what basic colours become in user colour mode
  double tilerepeat = 0;  // 1: a new tile is repeated over the window in regular mode
  double savezoom = 4;    // how many times larger a saved picture is than Picture1
  double printsize = 5;   // centimetres that 100 picture pixels take on paper
  HistoryMode history = HistoryMode::on;  // whether the pictures shown go to the history

  // State of a generation.
  double a = 0, b = 0;
  double az = 0, bz = 0;
  double detailfz = 0;
  double hhmn = 0;
  double centerf = 0;
  double circle2 = 0;
  double sharpf = 0;
  DecimalText p5ytext;
  Long fillcolor = 0;
  Long fillbrush = 0;
  Long oldbrush = 0;
  Long lastcolor = 0;
  std::array<double, 1001> usedcolors{};

  // Animation and pictures. Picture1's place and ways; in screen-saver mode
  // the bounce carries it.
  double abb = 0, dbb = 0;
  double awb = 0, bwb = 0;
  std::optional<Bounce> bounce;
  std::vector<Long> slideshown = std::vector<Long>(100001, 0);
  double lastpic = 0;
  double lastslide = 0;
  Recipe picture1Recipe;  // what made the picture that Picture1 holds

  // The pictures of this run, newest last, for stepping back and forth in
  // regular mode: what made each, and whether it was repeated over the window.
  struct Shown {
    Recipe recipe;
    bool repeated = false;
  };
  std::deque<Shown> shown;         // the newest kShownKept
  std::size_t onShow = 0;          // the one on the window
  std::uint64_t picturesMade = 0;  // in this run, those no longer in `shown` counted

  // The source behind Rnd; seeded once by Randomize, with `seed`.
  Random rnd;
  std::uint32_t seed = 0;
  double Rnd() { return rnd.Rnd(); }
};

// How many pictures of a run can be stepped back to.
inline constexpr std::size_t kShownKept = 1000;

// The values every run gives the state before its first generation, on a
// drawing surface of the given size: the one start shared by the window, the
// renderer and the screen-saver module.
void firstValues(AppState& st, double scaleWidth, double scaleHeight);

}  // namespace tavrel
