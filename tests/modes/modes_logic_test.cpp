// The run modes' rules stepped through a window without a toolkit; the real
// window runs them end to end in tests/window/run_modes_test.cpp.
#include <gtest/gtest.h>

#include <set>

#include "modes/modes.h"
#include "modes/program.h"
#include "tests/modes/fake_run_host.h"

namespace tavrel {
namespace {

struct Modes : testing::Test {
  FakeRunHost host{640, 480};
  AppState st;
  // Each run of `n` picks after the first `skip` holds every one of `all`.
  void cyclesOf(const std::vector<int>& picks, std::size_t skip, const std::set<int>& all) {
    for (std::size_t i = skip; i + all.size() <= picks.size(); i += all.size())
      EXPECT_EQ(std::set<int>(picks.begin() + i, picks.begin() + i + all.size()), all) << i;
    for (std::size_t i = 1; i < picks.size(); ++i) EXPECT_NE(picks[i], picks[i - 1]) << i;
  }
};

TEST_F(Modes, BackdropsEachOncePerCycleNeverTwiceInARowAndAMissingFileKeepsThePicture) {
  st.rnd.Randomize(99);
  // As the start screen leaves it: its first pick and the embedded picture shown.
  st.slideshown[5] = st.slideshown[1] = 1;
  st.lastpic = 5;
  for (int i = 2; i <= 7; i += i == 3 ? 2 : 1) host.files.insert(backdropFile(i));  // no 4
  host.SurfaceWindow().setPicture(FakeRunHost::filled(5));
  std::vector<int> picks{5};
  for (int tick = 0; tick < 5 + 6 * 20; ++tick) {
    timer4Tick(host, st);
    picks.push_back(host.loads.back()[7] - '0');
    EXPECT_EQ(st.slideshown[1], 1);
    // The failed load of slot 4 leaves the picture before it.
    const int shown = picks.back() != 4 ? picks.back() : picks[picks.size() - 2];
    EXPECT_EQ(host.SurfaceWindow().picture()->at(0, 0), shown) << tick;
  }
  EXPECT_EQ(std::set<int>(picks.begin() + 1, picks.begin() + 6), (std::set<int>{2, 3, 4, 6, 7}));
  cyclesOf(picks, 6, {2, 3, 4, 5, 6, 7});
}

TEST_F(Modes, SlidesInCyclesOfSixAcrossClosingAndReopening) {
  st.rnd.Randomize(3);
  std::vector<int> shown;
  windowMouseDown(host, st);  // the page closed: a press does nothing
  EXPECT_FALSE(host.panelShown);
  for (int round = 0; round < 10; ++round) {
    orderinfoClick(host, st);
    shown.push_back(host.picture2->at(0, 0));
    orderinfoClick(host, st);  // already open: no new slide
    EXPECT_EQ(shown.back(), host.picture2->at(0, 0));
    for (int t = 0; t < round % 4; ++t) {
      timer2Tick(host, st);
      shown.push_back(host.picture2->at(0, 0));
    }
    st.ssmode = round % 2;
    windowMouseDown(host, st);
    EXPECT_FALSE(host.visible[Control::Label6]);
    EXPECT_FALSE(host.enabled[TimerId::Timer2]);
    EXPECT_EQ(host.panelShown, round % 2 == 0);  // the panel follows the mode
  }
  cyclesOf(shown, 0, {4, 5, 6, 7, 8, 9});
}

using namespace std::chrono_literals;

// The start-up in steps that return, and at rest nothing to wake for.
TEST(Program, StartUpInStepsThatReturnThenNothingMovesAtRest) {
  FakeRunHost host(640, 480);
  for (int i = 2; i <= 7; ++i) host.files.insert(backdropFile(i));
  Program program(host);
  const RunEvents::Clock::time_point t0{};
  program.startup();
  ASSERT_EQ(host.loads.size(), 1u);  // the first backdrop
  EXPECT_NE(host.loads[0], backdropFile(1));
  EXPECT_EQ(program.advance(t0), std::nullopt);  // the start screen waits for a click
  program.timerTick(TimerId::Timer4);
  EXPECT_EQ(host.loads.size(), 2u);
  program.startup();  // once only
  EXPECT_EQ(host.loads.size(), 2u);

  program.click(Control::Command3);
  EXPECT_FALSE(host.visible[Control::Command3]);
  EXPECT_TRUE(host.panelShown);
  // Leaving the start screen: black, and straight on to the first picture.
  EXPECT_EQ(program.advance(t0), t0);
  EXPECT_FALSE(host.enabled[TimerId::Timer4]);
  EXPECT_EQ(host.SurfaceWindow().picture(), nullptr);
  EXPECT_EQ(host.SurfaceWindow().pixel(320, 240), kBlack);
  EXPECT_EQ(program.advance(t0 + 1ms), std::nullopt);  // regular mode at rest
  EXPECT_EQ(program.st.swidth, 100);
  EXPECT_NE(host.SurfacePicture1().pixel(50, 50), kBlack);  // the first shape
  for (int i = 1; i <= 7; ++i) EXPECT_EQ(program.st.slideshown[i], 0) << i;
}

// In screen-saver mode the picture travels by the clock: Fast 60 and Slow
// 32 pixels a second, however often it is asked; back in regular mode
// nothing moves.
TEST(Program, TheBounceGoesByTimeNotByTurns) {
  FakeRunHost host(1000, 1000);  // room to travel without turning
  Program program(host);
  program.st.rnd.Randomize(5);
  firstValues(program.st, 1000, 1000);
  host.setText(Field::Text5, "7");
  program.menuClick(Menu::ssaver);
  ASSERT_TRUE(host.visible[Control::Picture1]);
  // It starts where the shape stood, and a new picture comes every 7 s.
  const auto start = std::pair(host.left, host.top);
  EXPECT_EQ(start, std::pair(450.0f, 450.0f));
  EXPECT_TRUE(host.enabled[TimerId::Timer1]);
  EXPECT_EQ(host.interval[TimerId::Timer1], 7000);
  const RunEvents::Clock::time_point t0{};
  EXPECT_EQ(program.advance(t0), t0 + bounceStepPeriod(true));
  const auto travel = [&](RunEvents::Clock::time_point from, auto every, int turns) {
    const auto before = std::pair(host.left, host.top);
    for (int i = 1; i <= turns; ++i) program.advance(from + every * i);
    const float x = std::abs(host.left - before.first), y = std::abs(host.top - before.second);
    EXPECT_EQ(x, y);  // diagonal
    return x;
  };
  // One second asked for at 144, 30 and 60 turns a second: the same 60
  // pixels, give or take the step on the second's edge.
  EXPECT_NEAR(travel(t0, 1000000us / 144, 144), 60, 1);
  EXPECT_NEAR(travel(t0 + 1s, 1000000us / 30, 30), 60, 1);
  program.menuClick(Menu::tslow);
  EXPECT_NEAR(travel(t0 + 2s, 1000000us / 60, 60), 32, 1);
  EXPECT_NE(std::pair(host.left, host.top), start);
  program.menuClick(Menu::regmode);
  EXPECT_EQ(program.advance(t0 + 4s), std::nullopt);
  EXPECT_FALSE(host.enabled[TimerId::Timer1]);
  EXPECT_FALSE(host.visible[Control::Picture1]);
}

// An event that comes while a handler runs (here through the generator's
// DoEvents) is handled after it, never inside it: the pictures are those of
// the two events one after the other.
TEST(Program, ATickDuringAGenerationIsHandledAfterIt) {
  const auto run = [](bool duringGeneration) {
    FakeRunHost host(640, 480);
    Program program(host);
    program.st.rnd.Randomize(11);
    program.st.tcolor = kTrueColours;
    firstValues(program.st, 640, 480);
    program.menuClick(Menu::ssaver);
    if (duringGeneration) host.events.push_back([&] { program.timerTick(TimerId::Timer1); });
    program.click(Control::Command1);
    if (!duringGeneration) program.timerTick(TimerId::Timer1);
    EXPECT_TRUE(host.events.empty());
    return *host.SurfacePicture1().Image();
  };
  EXPECT_EQ(run(true).pixels, run(false).pixels);
}

// On a window wider than the generators' 1000-pixel square.
TEST(CreatePattern, ATileFillsTheWindowInRegularModeOnly) {
  FakeRunHost host(1100, 500);
  Program program(host);
  program.st.rnd.Randomize(5);
  program.st.tcolor = kTrueColours;
  firstValues(program.st, 1100, 500);
  program.menuClick(Menu::cpattern);
  program.click(Control::Command1);
  const Surface& win = host.SurfaceWindow();
  const Picture tile = host.SurfacePicture1().Image();
  // Neighbouring tiles share their frame lines: the window repeats every 98
  // pixels, and the tile stands where it was drawn.
  for (int y = 0; y + 98 < 500; ++y)
    for (int x = 0; x + 98 < 1100; ++x)
      ASSERT_TRUE(win.pixel(x, y) == win.pixel(x + 98, y) &&
                  win.pixel(x, y) == win.pixel(x, y + 98))
          << x << "," << y;
  for (int y = 1; y <= 98; ++y)
    for (int x = 1; x <= 98; ++x) ASSERT_EQ(win.pixel(500 + x, 200 + y), tile->at(x, y));
  // The screen-saver fills the screen; the tiles go, beyond the box too.
  program.menuClick(Menu::ssaver);
  EXPECT_TRUE(host.fullScreen);
  for (int y = 0; y < 500; ++y)
    for (int x = 1001; x < 1100; ++x) ASSERT_EQ(win.pixel(x, y), win.BackColor()) << x << "," << y;
  // What the full screen adds to the window takes the box's black.
  host.SurfaceWindow().resize(1100, 540);
  program.resized(1100, 500);
  EXPECT_EQ(win.pixel(10, 520), OutlineColor);
  EXPECT_EQ(win.pixel(1050, 520), win.BackColor());
  // It bounces the tile alone over the cover.
  program.timerTick(TimerId::Timer1);
  EXPECT_EQ(win.pixel(350, 250), OutlineColor);
  program.menuClick(Menu::regmode);
  EXPECT_FALSE(host.fullScreen);
}

}  // namespace
}  // namespace tavrel
