// Keeping pictures, without a window: the palette from a file or the
// editor, the print of a tile or a shape, and files never written over.
#include "modes/pictures.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "canvas/image_io.h"
#include "modes/program.h"
#include "tests/modes/fake_run_host.h"
#include "tests/temp_dir.h"

namespace tavrel {
namespace {

namespace fs = std::filesystem;

TEST(Pictures, PalettesComeFromAFileOrTheEditorAndABrokenFileChangesNothing) {
  const testing_support::TempDir temp;
  std::ofstream(temp / "broken.gpl") << "GIMP Palette\n1 2\n";
  FakeRunHost host(300, 200);
  Program program(host);
  for (const char* file : {"broken.gpl", ""}) {  // broken, and cancelled
    host.chosenFile = *file ? (temp / file).string() : "";
    program.menuClick(Menu::impcolor);
    EXPECT_EQ(program.st.userColors, basicPalette()) << file;
  }
  EXPECT_EQ(host.messages.size(), 1u);
  // The first fifteen colours, in order; fewer leave the rest as they were,
  // more are passed over (nothing is written past the palette).
  for (int n : {1, 14, 15, 16, 40}) {
    std::ofstream file(temp / "n.gpl");
    file << "GIMP Palette\n# a comment\n";
    for (int i = 1; i <= n; ++i) file << i << " " << i + 1 << " 9" << (i % 2 ? " named\n" : "\n");
    file.close();
    program.st.userColors = basicPalette();
    const double tilerepeat = program.st.tilerepeat = 7;
    host.chosenFile = (temp / "n.gpl").string();
    program.menuClick(Menu::impcolor);
    for (int i = 1; i <= 15; ++i)
      EXPECT_EQ(program.st.userColors[i], i <= n ? Colour(0x090000 | (i + 1) << 8 | i) : QBColor(i))
          << n << " colours, entry " << i;
    EXPECT_EQ(program.st.tilerepeat, tilerepeat) << n;
    EXPECT_EQ(host.notes.back(),
              "Imported " + std::to_string(std::min(n, 15)) + " colours from " + host.chosenFile);
  }
  const UserPalette expected = program.st.userColors;
  program.menuClick(Menu::fgdfgfg);  // the editor cancelled
  EXPECT_EQ(program.st.userColors, expected);
  host.editedPalette = basicPalette();
  program.menuClick(Menu::fgdfgfg);
  EXPECT_EQ(program.st.userColors, basicPalette());

  // Nothing to print before a picture; then a tile prints as a repeat.
  program.menuClick(Menu::hgfhg);
  EXPECT_EQ(host.prints, 0);
  program.menuClick(Menu::cpp9);
  program.click(Control::Command1);
  program.menuClick(Menu::hgfhg);
  // The size printed at is offered first at the next print.
  EXPECT_EQ(std::tuple(host.prints, host.printedRepeat, host.offeredSize),
            std::tuple(1, true, 5.0));
  host.printedSize = 20;
  program.menuClick(Menu::hgfhg);
  host.printedSize = 0;
  program.menuClick(Menu::hgfhg);
  EXPECT_EQ(host.offeredSize, 20);
}

// Previous and Next in regular mode: each picture of the run back as it was
// shown, the window and Picture1 alike, whatever made it; nothing past either
// end; a new picture goes on as if no step had been taken; Save shape saves
// the one on show; the history has each picture once, in order.
TEST(Pictures, PreviousAndNextGiveBackThePicturesOfTheRunAsTheyWere) {
  const testing_support::TempDir temp;
  // The window (empty where a picture was made in screen-saver mode) and Picture1.
  using Shown = std::pair<ImageData, ImageData>;
  const auto shownBy = [](FakeRunHost& host, bool onWindow) {
    return Shown{onWindow ? *host.SurfaceWindow().Image() : ImageData{},
                 *host.SurfacePicture1().Image()};
  };
  // A run of shapes, a tile over the window, user and basic colours, and two
  // pictures made in screen-saver mode, the second brought back by Regular mode.
  const auto run = [&](FakeRunHost& host, Program& program, std::vector<Shown>* shown) {
    program.st.rnd.Randomize(7);
    firstValues(program.st, 640, 480);
    program.st.userColors[3] = 0x445566;
    // The steps to each picture, and whether it stands on the window.
    const auto menu = [&](Menu m) { return [&program, m] { program.menuClick(m); }; };
    const auto click = [&] { program.click(Control::Command1); };
    const auto tick = [&] { program.timerTick(TimerId::Timer1); };
    for (const auto& [steps, onWindow] :
         {std::pair{std::vector<std::function<void()>>{click}, true},
          {{menu(Menu::cpattern), click}, true},
          {{menu(Menu::uedit), menu(Menu::csingle), click}, true},
          {{menu(Menu::ssaver), tick}, false},
          {{tick, menu(Menu::regmode)}, true},
          {{menu(Menu::bcolorm), click}, true}}) {
      for (const auto& step : steps) step();
      if (shown) shown->push_back(shownBy(host, onWindow));
    }
  };
  FakeRunHost host(640, 480);
  host.pictures = temp.path.string();
  Program program(host);
  std::vector<std::string> warnings;
  program.keepHistory(History(temp / "state", "tavrel",
                              [&](const std::string& line) { warnings.push_back(line); }));
  std::vector<Shown> shown;
  run(host, program, &shown);
  ASSERT_EQ(shown.size(), 6u);

  // A step of Previous or Next, and the picture that must be on show after it.
  const auto onShow = [&](Menu step, std::size_t i) {
    SCOPED_TRACE(i);
    program.menuClick(step);
    EXPECT_TRUE(shownBy(host, !shown[i].first.pixels.empty()) == shown[i]);
    EXPECT_EQ(program.st.picture1Recipe, program.st.shown[i].recipe);
  };
  for (std::size_t i = shown.size() - 1; i-- > 0;) onShow(Menu::prevpic, i);
  onShow(Menu::prevpic, 0);  // at the oldest: nothing
  program.menuClick(Menu::sdfdssdf);
  const auto saved = readPng(std::filesystem::directory_iterator(temp / "Tavrel")->path());
  ASSERT_TRUE(saved);
  EXPECT_EQ(saved->image, zoomed(shown[0].second, 4));
  EXPECT_EQ(recipeFromText(*saved->text(kRecipeKeyword)), program.st.shown[0].recipe);
  for (std::size_t i = 1; i < shown.size(); ++i) onShow(Menu::nextpic, i);
  onShow(Menu::nextpic, shown.size() - 1);  // at the newest: nothing
  // In screen-saver mode they do nothing either.
  program.menuClick(Menu::ssaver);
  program.menuClick(Menu::prevpic);
  EXPECT_EQ(*host.SurfacePicture1().Image(), shown.back().second);
  program.menuClick(Menu::regmode);

  // Three back, then a new picture: the one the run makes without a step.
  for (int i = 0; i < 3; ++i) program.menuClick(Menu::prevpic);
  program.click(Control::Command1);
  FakeRunHost twinHost(640, 480);
  Program twin(twinHost);
  run(twinHost, twin, nullptr);
  twin.menuClick(Menu::ssaver);
  twin.menuClick(Menu::regmode);
  twin.click(Control::Command1);
  EXPECT_TRUE(shownBy(host, true) == shownBy(twinHost, true));

  // The history: each picture made once, in order, none for a step.
  const auto kept = History(temp / "state", "tavrel").entries();
  ASSERT_EQ(kept.size(), 7u);
  for (std::size_t i = 0; i < kept.size(); ++i)
    EXPECT_TRUE(std::tuple(kept[i].number, kept[i].place, kept[i].program, kept[i].recipe) ==
                std::tuple(i + 1, i + 1, "tavrel", program.st.shown[i].recipe))
        << i;
  EXPECT_TRUE(warnings.empty());
}

}  // namespace
}  // namespace tavrel
