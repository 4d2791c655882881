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
  Menu tickedOf(std::initializer_list<Menu> group) {
    Menu found = *group.begin();
    int n = 0;
    for (Menu m : group)
      if (host.checked[m]) found = m, ++n;
    EXPECT_EQ(n, 1);
    return found;
  }
};

TEST_F(Menus, TickGroupsStayExclusiveAndGuardsHold) {
  const auto speed = {Menu::tslow, Menu::tfast};
  program.menuClick(Menu::tfast);  // already ticked: nothing
  st.nwait4 = 7;
  program.menuClick(Menu::tfast);
  EXPECT_EQ(st.nwait4, 7);
  program.menuClick(Menu::tslow);
  EXPECT_EQ(st.nwait4, 1);
  EXPECT_EQ(tickedOf(speed), Menu::tslow);
  program.menuClick(Menu::tfast);
  EXPECT_EQ(st.nwait4, 0);

  const auto colours = {Menu::tcolorm, Menu::bcolorm, Menu::uedit};
  program.menuClick(Menu::bcolorm);
  EXPECT_EQ(st.tcolor, kBasicColours);
  program.menuClick(Menu::uedit);
  EXPECT_EQ(st.tcolor, kUserColours);
  EXPECT_EQ(tickedOf(colours), Menu::uedit);
  st.tcolor = 5;
  program.menuClick(Menu::tcolorm);
  program.menuClick(Menu::tcolorm);  // chosen again: the same value written again
  EXPECT_EQ(st.tcolor, kTrueColours);
  EXPECT_EQ(tickedOf(colours), Menu::tcolorm);

  program.menuClick(Menu::scenter);
  EXPECT_EQ(st.centerf, 1);
  program.menuClick(Menu::snormal);
  EXPECT_EQ(st.centerf, 0);
  EXPECT_EQ(tickedOf({Menu::snormal, Menu::scenter}), Menu::snormal);
}

TEST_F(Menus, PatternModesChooseTheGeneratorsAndTheRepeat) {
  const auto modes = {Menu::csingle, Menu::cpp9, Menu::cpattern};
  program.menuClick(Menu::cpp9);
  EXPECT_EQ(st.mpattern, 1);
  EXPECT_EQ(st.ggmbj, 1);
  EXPECT_EQ(st.tilerepeat, 0);
  // "Create pattern" can be chosen from either other entry.
  program.menuClick(Menu::cpattern);
  EXPECT_EQ(tickedOf(modes), Menu::cpattern);
  EXPECT_EQ(st.tilerepeat, 1);
  EXPECT_EQ(st.ggmbj, 1);
  program.menuClick(Menu::cpp9);  // guarded: the generator is the tile's already
  EXPECT_EQ(tickedOf(modes), Menu::cpattern);
  program.menuClick(Menu::csingle);
  EXPECT_EQ(st.mpattern, 0);
  EXPECT_EQ(st.ggmbj, 0);
  EXPECT_EQ(st.tilerepeat, 0);
  program.menuClick(Menu::cpattern);
  EXPECT_EQ(st.mpattern, 1);
  EXPECT_EQ(st.tilerepeat, 1);
  EXPECT_EQ(tickedOf(modes), Menu::cpattern);
}

TEST_F(Menus, OptionButtonsAndFieldLimits) {
  program.optionClick(false);
  EXPECT_EQ(st.complexy, 1);
  program.optionClick(true);
  EXPECT_EQ(st.complexy, 2);

  const struct {
    Field field;
    const char* typed;
    const char* after;
  } cases[] = {{Field::Text3, "26", "25"}, {Field::Text3, "25", "25"}, {Field::Text3, "0", "0"},
               {Field::Text5, "99", "50"}, {Field::Text5, "x", "x"},   {Field::Text2, "401", "400"},
               {Field::Text6, "30", "25"}, {Field::Text7, "10", "9"},  {Field::Text7, "9", "9"}};
  for (const auto& c : cases) {
    host.setText(c.field, c.typed);
    if (c.field == Field::Text6 || c.field == Field::Text7)
      program.textChanged(c.field);
    else
      program.keyUp(c.field);
    EXPECT_EQ(host.text(c.field), c.after) << c.typed;
  }
  // A number beyond what the field can hold is passed over, not a crash.
  host.setText(Field::Text5, "1e999");
  program.keyUp(Field::Text5);
  EXPECT_EQ(host.text(Field::Text5), "1e999");
}

TEST_F(Menus, SideStepperRunsFromFourToSixtyFour) {
  st.ssg = 4;
  for (int i = 0; i < 6; ++i) program.keyDown(Field::Text4, kKeyUp);
  EXPECT_EQ(host.text(Field::Text4), "64");
  program.keyDown(Field::Text4, kKeyLeft);
  EXPECT_EQ(host.text(Field::Text4), "32");
  for (int i = 0; i < 6; ++i) program.keyDown(Field::Text4, kKeyDown);
  EXPECT_EQ(host.text(Field::Text4), "4");
  program.keyDown(Field::Text4, 'A');  // any key writes the value
  EXPECT_EQ(st.ssg, 4);
}

TEST_F(Menus, QuitEndsTheProgram) {
  EXPECT_THROW(program.menuClick(Menu::quit), ProgramEnded);
}

}  // namespace
}  // namespace tavrel
