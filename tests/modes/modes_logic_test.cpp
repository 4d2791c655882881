// The run modes' rules stepped through a window without a toolkit; the real
// window runs them end to end in tests/window/run_modes_test.cpp.
#include <gtest/gtest.h>

#include <set>

#include "modes/modes.h"
#include "modes/program.h"
#include "tests/modes/fake_run_host.h"

namespace tavrel {
namespace {

int slotOf(const std::string& file) {
  return file[7] - '0';
}

TEST(BackdropRotation, EachFileOncePerCycleNeverTwiceInARow) {
  FakeRunHost host(640, 480);
  AppState st;
  st.rnd.Randomize(99);
  // As the start screen leaves it: its first pick and the embedded picture shown.
  st.slideshown[5] = st.slideshown[1] = 1;
  st.lastpic = 5;
  for (int i = 2; i <= 7; ++i) host.files.insert(backdropFile(i));
  for (int tick = 0; tick < 5 + 6 * 20; ++tick) timer4Tick(host, st);
  ASSERT_EQ(host.loads.size(), 125u);
  std::set<int> firstCycle;
  for (int i = 0; i < 5; ++i) firstCycle.insert(slotOf(host.loads[i]));
  EXPECT_EQ(firstCycle, (std::set<int>{2, 3, 4, 6, 7}));
  for (int c = 0; c < 20; ++c) {
    std::set<int> cycle;
    for (int i = 0; i < 6; ++i) cycle.insert(slotOf(host.loads[5 + 6 * c + i]));
    EXPECT_EQ(cycle, (std::set<int>{2, 3, 4, 5, 6, 7})) << "cycle " << c;
  }
  int previous = 5;
  for (const auto& f : host.loads) {
    EXPECT_NE(slotOf(f), previous);
    previous = slotOf(f);
  }
  EXPECT_EQ(host.SurfaceWindow().picture()->at(0, 0), previous);
}

TEST(BackdropRotation, MissingFileCostsOneTickAndKeepsThePicture) {
  FakeRunHost host(640, 480);
  AppState st;
  st.slideshown[1] = 1;
  host.files.insert("example5.bmp");
  for (int tick = 0; tick < 18; ++tick) {
    timer4Tick(host, st);
    const Picture& shown = host.SurfaceWindow().picture();
    const bool fiveSeen =
        std::find(host.loads.begin(), host.loads.end(), "example5.bmp") != host.loads.end();
    EXPECT_EQ(shown != nullptr, fiveSeen);
    if (shown) {
      EXPECT_EQ(shown->at(0, 0), 5);
    }
    EXPECT_EQ(st.slideshown[1], 1);
  }
}

TEST(InformationPage, SlidesInCyclesOfSixAcrossClosingAndReopening) {
  FakeRunHost host(640, 480);
  AppState st;
  st.rnd.Randomize(3);
  std::vector<int> shown;
  auto record = [&] { shown.push_back(host.picture2->at(0, 0)); };
  for (int round = 0; round < 10; ++round) {
    orderinfoClick(host, st);
    record();
    EXPECT_TRUE(host.enabled[TimerId::Timer2]);
    orderinfoClick(host, st);  // already open: no new slide
    EXPECT_EQ(shown.back(), host.picture2->at(0, 0));
    for (int t = 0; t < round % 4; ++t) {
      timer2Tick(host, st);
      record();
    }
    windowMouseDown(host, st);
    EXPECT_FALSE(host.visible[Control::Label6]);
    EXPECT_FALSE(host.enabled[TimerId::Timer2]);
    EXPECT_TRUE(host.panelShown);
  }
  for (std::size_t i = 0; i + 6 <= shown.size(); i += 6)
    EXPECT_EQ(std::set<int>(shown.begin() + i, shown.begin() + i + 6),
              (std::set<int>{4, 5, 6, 7, 8, 9}));
  for (std::size_t i = 1; i < shown.size(); ++i) EXPECT_NE(shown[i], shown[i - 1]);
}

TEST(InformationPage, PressDoesNothingWhenClosedAndPanelFollowsTheMode) {
  FakeRunHost host(640, 480);
  AppState st;
  windowMouseDown(host, st);
  EXPECT_FALSE(host.panelShown);
  orderinfoClick(host, st);
  st.ssmode = 1;
  windowMouseDown(host, st);
  EXPECT_FALSE(host.panelShown);
  EXPECT_FALSE(host.visible[Control::Picture2]);
}

TEST(MainLoop, StepsAndBounces) {
  FakeRunHost host(640, 480);
  AppState st;
  st.swidth = 100;
  st.abb = 100;
  st.dbb = 100;
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
    EXPECT_TRUE(host.enabled[TimerId::Timer7]);
    timer7Tick(host, st);
  });
  mainLoopTurn(host, st);  // paced: 101 steps, one tick of Timer7
  EXPECT_NEAR(st.abb, 101.03, 1e-9);
  EXPECT_FALSE(host.enabled[TimerId::Timer7]);
  EXPECT_EQ(host.interval[TimerId::Timer7], 1);

  st.nwait4 = 0;
  st.abb = 640 - 100 - 0.015;  // one look-ahead step from the right edge
  mainLoopTurn(host, st);
  EXPECT_EQ(st.awb, -0.01);
  st.dbb = 0.005;
  mainLoopTurn(host, st);
  EXPECT_EQ(st.bwb, 0.01);
}

TEST(CreatePattern, ATileFillsTheWindowInRegularModeOnly) {
  FakeRunHost host(700, 500);
  Program program(host);
  AppState& st = program.st;
  st.rnd.Randomize(5);
  st.tcolor = kTrueColours;
  firstValues(st, 700, 500);
  program.menuClick(Menu::cpattern);
  program.click(Control::Command1);
  const Surface& win = host.SurfaceWindow();
  const Picture tile = host.SurfacePicture1().Image();
  // Neighbouring tiles share their frame lines: the window repeats every 98 pixels.
  for (int y = 0; y + 98 < 500; ++y)
    for (int x = 0; x + 98 < 700; ++x) {
      ASSERT_EQ(win.pixel(x, y), win.pixel(x + 98, y)) << x << "," << y;
      ASSERT_EQ(win.pixel(x, y), win.pixel(x, y + 98)) << x << "," << y;
    }
  // The tile stands where it was drawn, framed.
  for (int y = 1; y <= 98; ++y)
    for (int x = 1; x <= 98; ++x) ASSERT_EQ(win.pixel(350 - 50 + x, 250 - 50 + y), tile->at(x, y));

  // In screen-saver mode the tile bounces alone over the cover.
  program.menuClick(Menu::ssaver);
  program.timerTick(TimerId::Timer1);
  EXPECT_EQ(win.pixel(5, 5), OutlineColor);
  EXPECT_EQ(win.pixel(350, 250), OutlineColor);
  // A single shape stands alone again.
  program.menuClick(Menu::regmode);
  program.menuClick(Menu::csingle);
  program.click(Control::Command1);
  EXPECT_EQ(win.pixel(5, 5), OutlineColor);
}

}  // namespace
}  // namespace tavrel
