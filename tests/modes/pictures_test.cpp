// Keeping pictures, without a window: the palette from a file or the
// editor, the print of a tile or a shape, and files never written over.
#include "modes/pictures.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "modes/program.h"
#include "tests/modes/fake_run_host.h"
#include "tests/temp_dir.h"

namespace tavrel {
namespace {

namespace fs = std::filesystem;

TEST(Pictures, PalettesComeFromAFileOrTheEditorAndABrokenFileChangesNothing) {
  const testing_support::TempDir temp;
  const fs::path& dir = temp.path;
  std::ofstream(dir / "two.gpl") << "GIMP Palette\n# two\n1 2 3\n4 5 6 second\n";
  std::ofstream(dir / "broken.gpl") << "GIMP Palette\n1 2\n";
  FakeRunHost host(300, 200);
  Program program(host);
  for (const char* file : {"broken.gpl", ""}) {  // broken, and cancelled
    host.chosenFile = *file ? (dir / file).string() : "";
    program.menuClick(Menu::impcolor);
    EXPECT_EQ(program.st.userColors, basicPalette()) << file;
  }
  EXPECT_EQ(host.messages.size(), 1u);
  // The first fifteen colours, in order; fewer leave the rest as they were,
  // more are passed over (nothing is written past the palette).
  for (int n : {1, 14, 15, 16, 40}) {
    std::ofstream file(dir / "n.gpl");
    file << "GIMP Palette\n";
    for (int i = 1; i <= n; ++i) file << i << " " << i + 1 << " 9 colour " << i << "\n";
    file.close();
    program.st.userColors = basicPalette();
    const double tilerepeat = program.st.tilerepeat = 7;
    host.chosenFile = (dir / "n.gpl").string();
    program.menuClick(Menu::impcolor);
    for (int i = 1; i <= 15; ++i)
      EXPECT_EQ(program.st.userColors[i], i <= n ? Colour(0x090000 | (i + 1) << 8 | i) : QBColor(i))
          << n << " colours, entry " << i;
    EXPECT_EQ(program.st.tilerepeat, tilerepeat) << n;
    EXPECT_EQ(host.notes.back(),
              "Imported " + std::to_string(std::min(n, 15)) + " colours from " + host.chosenFile);
  }
  program.st.userColors = basicPalette();
  program.st.tilerepeat = 0;
  host.chosenFile = (dir / "two.gpl").string();
  program.menuClick(Menu::impcolor);
  UserPalette expected = basicPalette();
  expected[1] = 0x030201;
  expected[2] = 0x060504;
  EXPECT_EQ(program.st.userColors, expected);
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
  EXPECT_EQ(host.prints, 1);
  EXPECT_TRUE(host.printedRepeat);
  // The size printed at is offered first at the next print.
  EXPECT_EQ(host.offeredSize, 5);
  host.printedSize = 20;
  program.menuClick(Menu::hgfhg);
  host.printedSize = 0;
  program.menuClick(Menu::hgfhg);
  EXPECT_EQ(host.offeredSize, 20);

  const std::uint8_t bytes[] = {1, 2, 3};
  EXPECT_EQ(writeNewFile(dir / "new", "a", "png", bytes), dir / "new" / "a.png");
  EXPECT_EQ(writeNewFile(dir / "new", "a", "png", bytes), dir / "new" / "a-2.png");
  EXPECT_EQ(fs::file_size(dir / "new" / "a.png"), 3u);
}

}  // namespace
}  // namespace tavrel
