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
  template <typename Seq>
  void cyclesOf(const Seq& picks, std::size_t skip, const std::set<int>& all) {
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
  Picture first;
  host.LoadPicture(backdropFile(5), first);
  host.SurfaceWindow().setPicture(first);
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

TEST_F(Modes, MainLoopStepsPacesAndBounces) {
  st.swidth = 100;
  st.abb = st.dbb = 100;
  st.awb = 0.01;
  st.bwb = -0.01;
  mainLoopTurn(host, st);  // hidden: two plain steps
  EXPECT_NEAR(st.abb, 100.02, 1e-9);
  EXPECT_NEAR(st.dbb, 99.98, 1e-9);
  EXPECT_EQ(host.left, CSng(st.abb));

  host.visible[Control::Picture1] = true;
  st.nwait4 = 1;
  host.events.push_back([&] {
    EXPECT_EQ(st.awb, 0.01);  // back to the plain step before any handler runs
    timer7Tick(host, st);
  });
  mainLoopTurn(host, st);  // paced: 101 steps, one tick of Timer7
  EXPECT_NEAR(st.abb, 101.03, 1e-9);
  EXPECT_FALSE(host.enabled[TimerId::Timer7]);
  EXPECT_EQ(host.interval[TimerId::Timer7], 1);

  st.nwait4 = 0;
  st.abb = 640 - 100 - 0.015;  // one look-ahead step from the right edge
  st.dbb = 0.005;
  mainLoopTurn(host, st);
  EXPECT_EQ(st.awb, -0.01);
  EXPECT_EQ(st.bwb, 0.01);
}

TEST(CreatePattern, ATileFillsTheWindowInRegularModeOnly) {
  FakeRunHost host(700, 500);
  Program program(host);
  program.st.rnd.Randomize(5);
  program.st.tcolor = kTrueColours;
  firstValues(program.st, 700, 500);
  program.menuClick(Menu::cpattern);
  program.click(Control::Command1);
  const Surface& win = host.SurfaceWindow();
  const Picture tile = host.SurfacePicture1().Image();
  // Neighbouring tiles share their frame lines: the window repeats every 98
  // pixels, and the tile stands where it was drawn.
  for (int y = 0; y + 98 < 500; ++y)
    for (int x = 0; x + 98 < 700; ++x) {
      ASSERT_EQ(win.pixel(x, y), win.pixel(x + 98, y)) << x << "," << y;
      ASSERT_EQ(win.pixel(x, y), win.pixel(x, y + 98)) << x << "," << y;
    }
  for (int y = 1; y <= 98; ++y)
    for (int x = 1; x <= 98; ++x) ASSERT_EQ(win.pixel(300 + x, 200 + y), tile->at(x, y));
  // The screen-saver bounces the tile alone over the cover.
  program.menuClick(Menu::ssaver);
  program.timerTick(TimerId::Timer1);
  EXPECT_EQ(win.pixel(350, 250), OutlineColor);
}

}  // namespace
}  // namespace tavrel
