// The settings file: what it keeps, how a hand-edited one is read, and the
// two menu entries that write and remove it.
#include "modes/settings.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "modes/program.h"
#include "tests/modes/fake_run_host.h"
#include "tests/temp_dir.h"

namespace tavrel {
namespace {

namespace fs = std::filesystem;

TEST(SettingsFile, KeepsEverySettingAndReadsAHandEditedFileAsTheFieldsWould) {
  Settings s{"7", "3", false, true, kUserColours, PatternMode::repeat, basicPalette(), 9};
  s.palette[3] = 0x123456;
  EXPECT_EQ(parseSettings(formatSettings(s)), s);
  EXPECT_EQ(parseSettings("\x01\xff garbage\n=\n[x]\nzoom\n"), Settings{});

  const Settings edited = parseSettings(
      "# by hand\n  detail = 999\nseconds=0\nstyle=weird\nspeed=slow\ncolors=basic\n"
      "pattern=part\npalette=#ff0000, nonsense ,#00ff00\nzoom=1000\n");
  // Two characters typed, then the field's upper limit; the lower limit comes
  // with the next generation; unreadable entries keep their design values.
  Settings expected{"25", "0", true, true, kBasicColours, PatternMode::part, basicPalette(),
                    kMaxSaveZoom};
  expected.palette[1] = 0x0000FF;
  expected.palette[3] = 0x00FF00;
  EXPECT_EQ(edited, expected);
  EXPECT_EQ(parseSettings("zoom=-3").zoom, 4);
  EXPECT_EQ(parseSettings("zoom=1e999").zoom, kMaxSaveZoom);
  EXPECT_EQ(parseSettings("seconds=1e999").seconds, "1e");
}

class SettingsEntries : public testing::Test {
 protected:
  void SetUp() override { ::setenv("XDG_CONFIG_HOME", dir_.path.c_str(), 1); }
  void TearDown() override { ::unsetenv("XDG_CONFIG_HOME"); }
  testing_support::TempDir dir_;
};

TEST_F(SettingsEntries, SavedSettingsComeBackAtStartAndRestoreRemovesThem) {
  EXPECT_EQ(settingsPath(), dir_.path / "tavrel" / "tavrel.ini");
  Settings saved;
  {
    FakeRunHost host(640, 480);
    Program program(host);
    program.loadSettings();  // no file: the design values stand
    EXPECT_EQ(currentSettings(host, program.st), Settings{});
    host.setText(Field::Text3, "5");
    program.menuClick(Menu::tslow);
    program.menuClick(Menu::uedit);
    program.menuClick(Menu::cpattern);
    program.st.userColors[4] = 0xABCDEF;
    program.menuClick(Menu::fghfghg);
    EXPECT_TRUE(host.messages.empty());
    saved = currentSettings(host, program.st);
  }
  // Read back through the handlers: the ticks and what they set.
  FakeRunHost host(640, 480);
  Program program(host);
  program.loadSettings();
  EXPECT_EQ(currentSettings(host, program.st), saved);
  EXPECT_EQ(std::tuple(program.st.nwait4, program.st.tcolor, program.st.tilerepeat),
            std::tuple(1.0, kUserColours, 1.0));

  program.menuClick(Menu::restored);
  EXPECT_FALSE(fs::exists(settingsPath()));
  EXPECT_EQ(currentSettings(host, program.st), Settings{});
  EXPECT_EQ(program.st.mpattern, 0);
}

TEST_F(SettingsEntries, AFolderThatCantBeWrittenGivesAMessage) {
  std::ofstream(dir_ / "tavrel") << "a file where the folder should be";
  FakeRunHost host(640, 480);
  Program program(host);
  program.menuClick(Menu::fghfghg);
  EXPECT_EQ(host.messages.size(), 1u);
}

}  // namespace
}  // namespace tavrel
