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
  // The entry clicked, what it sets, and what each of two clicks leaves there
  // after the value was spoilt: a ticked speed does nothing, the rest write.
  for (auto [click, field, first, again] :
       {std::tuple{Menu::tfast, &AppState::nwait4, 7.0, 7.0},
        {Menu::tslow, &AppState::nwait4, 1.0, 7.0},
        {Menu::tfast, &AppState::nwait4, 0.0, 7.0},
        {Menu::bcolorm, &AppState::tcolor, kBasicColours, kBasicColours},
        {Menu::uedit, &AppState::tcolor, kUserColours, kUserColours},
        {Menu::tcolorm, &AppState::tcolor, kTrueColours, kTrueColours},
        {Menu::scenter, &AppState::centerf, 1.0, 1.0},
        {Menu::snormal, &AppState::centerf, 0.0, 0.0}}) {
    for (double after : {first, again}) {
      st.*field = 7;
      program.menuClick(click);
      EXPECT_EQ(st.*field, after);
    }
    EXPECT_TRUE(host.checked[click]);
    ticked({Menu::tslow, Menu::tfast});
    ticked({Menu::tcolorm, Menu::bcolorm, Menu::uedit});
    ticked({Menu::snormal, Menu::scenter});
  }
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

  const std::tuple<Field, const char*, const char*> cases[] = {
      {Field::Text3, "26", "25"},      {Field::Text3, "25", "25"}, {Field::Text3, "0", "0"},
      {Field::Text5, "99", "50"},      {Field::Text5, "x", "x"},   {Field::Text2, "401", "400"},
      {Field::Text6, "30", "25"},      {Field::Text7, "10", "9"},  {Field::Text7, "9", "9"},
      {Field::Text5, "1e999", "1e999"}};  // too large to read: passed over
  for (const auto& [field, typed, after] : cases) {
    host.setText(field, typed);
    field == Field::Text6 || field == Field::Text7 ? program.textChanged(field)
                                                   : program.keyUp(field);
    EXPECT_EQ(host.text(field), after) << typed;
  }

  // The side stepper: keys pressed so many times, and what it shows after.
  st.ssg = 4;
  for (auto [key, times, after] : {std::tuple{kKeyUp, 6, "64"},
                                   {kKeyLeft, 1, "32"},
                                   {kKeyDown, 6, "4"},
                                   {kKeyRight, 1, "8"}}) {
    for (int i = 0; i < times; ++i) program.keyDown(Field::Text4, key);
    EXPECT_EQ(host.text(Field::Text4), after);
  }
}

}  // namespace
}  // namespace tavrel
