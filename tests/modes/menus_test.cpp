// The small handlers of menus and fields, through the events the window
// reports, on a window without a toolkit.
#include "modes/menus.h"

#include <gtest/gtest.h>

#include "modes/program.h"
#include "tests/modes/fake_run_host.h"

namespace tavrel {
namespace {

struct Menus : testing::Test {
  FakeRunHost host{640, 480};
  Program program{host};
  AppState& st = program.st;

  // The one ticked entry of a group.
  Menu ticked(std::initializer_list<Menu> group) {
    std::vector<Menu> on;
    for (Menu m : group)
      if (host.checked[m]) on.push_back(m);
    EXPECT_EQ(on.size(), 1u);
    return on.empty() ? *group.begin() : on[0];
  }
};

TEST_F(Menus, TickGroupsStayExclusiveAndGuardsHold) {
  st.nwait4 = 7;
  program.menuClick(Menu::tfast);  // already ticked: nothing
  EXPECT_EQ(st.nwait4, 7);
  program.menuClick(Menu::tslow);
  EXPECT_EQ(st.nwait4, 1);
  EXPECT_EQ(ticked({Menu::tslow, Menu::tfast}), Menu::tslow);
  program.menuClick(Menu::tfast);
  EXPECT_EQ(st.nwait4, 0);

  const auto colours = {Menu::tcolorm, Menu::bcolorm, Menu::uedit};
  for (auto [entry, tcolor] : {std::pair{Menu::bcolorm, kBasicColours},
                               {Menu::uedit, kUserColours},
                               {Menu::tcolorm, kTrueColours}}) {
    st.tcolor = 5;
    program.menuClick(entry);
    program.menuClick(entry);  // chosen again: the same value written again
    EXPECT_EQ(st.tcolor, tcolor);
    EXPECT_EQ(ticked(colours), entry);
  }
  program.menuClick(Menu::scenter);
  EXPECT_EQ(st.centerf, 1);
  program.menuClick(Menu::snormal);
  EXPECT_EQ(st.centerf, 0);
  EXPECT_EQ(ticked({Menu::snormal, Menu::scenter}), Menu::snormal);
  EXPECT_THROW(program.menuClick(Menu::quit), ProgramEnded);
}

TEST_F(Menus, PatternModesChooseTheGeneratorsAndTheRepeat) {
  // The entry clicked, the one ticked after, the generator and the repeat.
  for (auto [click, tick, generator, repeat] : {std::tuple{Menu::cpp9, Menu::cpp9, 1, 0},
                                                {Menu::cpattern, Menu::cpattern, 1, 1},
                                                {Menu::cpp9, Menu::cpattern, 1, 1},  // guarded
                                                {Menu::csingle, Menu::csingle, 0, 0},
                                                {Menu::cpattern, Menu::cpattern, 1, 1}}) {
    program.menuClick(click);
    EXPECT_EQ(ticked({Menu::csingle, Menu::cpp9, Menu::cpattern}), tick);
    EXPECT_EQ(std::tuple(st.mpattern, st.ggmbj, st.tilerepeat),
              std::tuple(generator, generator, repeat));
  }
}

TEST_F(Menus, OptionButtonsFieldLimitsAndTheSideStepper) {
  program.optionClick(false);
  EXPECT_EQ(st.complexy, 1);
  program.optionClick(true);
  EXPECT_EQ(st.complexy, 2);

  const struct {
    Field field;
    const char *typed, *after;
  } cases[] = {
      {Field::Text3, "26", "25"},      {Field::Text3, "25", "25"}, {Field::Text3, "0", "0"},
      {Field::Text5, "99", "50"},      {Field::Text5, "x", "x"},   {Field::Text2, "401", "400"},
      {Field::Text6, "30", "25"},      {Field::Text7, "10", "9"},  {Field::Text7, "9", "9"},
      {Field::Text5, "1e999", "1e999"}};  // too large to read: passed over
  for (const auto& c : cases) {
    host.setText(c.field, c.typed);
    if (c.field == Field::Text6 || c.field == Field::Text7)
      program.textChanged(c.field);
    else
      program.keyUp(c.field);
    EXPECT_EQ(host.text(c.field), c.after) << c.typed;
  }

  st.ssg = 4;
  for (int i = 0; i < 6; ++i) program.keyDown(Field::Text4, kKeyUp);
  EXPECT_EQ(host.text(Field::Text4), "64");
  program.keyDown(Field::Text4, kKeyLeft);
  EXPECT_EQ(host.text(Field::Text4), "32");
  for (int i = 0; i < 6; ++i) program.keyDown(Field::Text4, kKeyDown);
  EXPECT_EQ(host.text(Field::Text4), "4");
}

}  // namespace
}  // namespace tavrel
