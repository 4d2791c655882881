// The settings file: what it keeps, how a hand-edited one is read, and the
// two menu entries that write and remove it.
#include "modes/settings.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "modes/pictures.h"
#include "modes/program.h"
#include "tests/modes/fake_run_host.h"
#include "tests/temp_dir.h"

namespace tavrel {
namespace {

namespace fs = std::filesystem;

TEST(SettingsFile, KeepsEverySettingAndReadsAHandEditedFileAsTheFieldsWould) {
  Settings s{
      "7", "3", Style::regular, Speed::slow, ColourMode::user, PatternMode::repeat, basicPalette(),
      9};
  s.palette[3] = 0x123456;
  s.history = HistoryMode::off;
  EXPECT_EQ(parseSettings(formatSettings(s)), s);
  EXPECT_EQ(parseSettings("\x01\xff garbage\n=\n[x]\nzoom\n"), Settings{});

  const Settings edited = parseSettings(
      "# by hand\n  detail = 999\nseconds=0\nstyle=weird\nspeed=slow\ncolors=basic\n"
      "pattern=part\npalette=#ff0000, nonsense ,#00ff00\nzoom=1000\n");
  // Two characters typed, then the field's upper limit; the lower limit comes
  // with the next generation; unreadable entries keep their design values.
  Settings expected{
      "25",           "0",         Style::fancy, Speed::slow, ColourMode::basic, PatternMode::part,
      basicPalette(), kMaxSaveZoom};
  expected.palette[1] = 0x0000FF;
  expected.palette[3] = 0x00FF00;
  EXPECT_EQ(edited, expected);
  EXPECT_EQ(parseSettings("zoom=-3").zoom, 4);
  EXPECT_EQ(parseSettings("history = off").history, HistoryMode::off);
  EXPECT_EQ(parseSettings("history=no").history, HistoryMode::on);
  EXPECT_EQ(parseSettings("zoom=1e999").zoom, kMaxSaveZoom);
  EXPECT_EQ(parseSettings("seconds=1e999").seconds, "1e");
  // A printed size is one of those offered: the nearest, or the largest.
  for (auto [text, cm] : {std::pair{"printsize=10", 10.0},
                          {"printsize=3", 2.5},
                          {"printsize=-1", 5.0},
                          {"printsize=x", 5.0},
                          {"printsize=1e999", 20.0}})
    EXPECT_EQ(parseSettings(text).printsize, cm) << text;
}

struct SettingsEntries : testing::Test {
  void SetUp() override { ::setenv("XDG_CONFIG_HOME", dir_.path.c_str(), 1); }
  void TearDown() override { ::setenv("XDG_CONFIG_HOME", guest_.c_str(), 1); }
  testing_support::TempDir dir_;
  const std::string guest_ = std::getenv("XDG_CONFIG_HOME");
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
    program.st.printsize = 10;
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

// Files from elsewhere where the window reads and writes: the settings at
// start, Save settings, Import color scale and Save shape.
TEST_F(SettingsEntries, FilesFromElsewhereAreReadWholeAndWritesFollowNoLink) {
  fs::create_directories(dir_ / "tavrel");
  const fs::path ini = settingsPath(), victim = dir_ / "victim";
  std::ofstream(victim) << "keep";
  // A line reaching past the read limit is not read; one ending at it is.
  const auto padded = [](std::size_t lineStart, const std::string& line) {
    return "[tavrel]\n#" + std::string(lineStart - 11, '-') + "\n" + line;
  };
  const std::tuple<std::string, const char*, const char*> cases[] = {
      {padded(kMaxSettingsFile - 8, "detail=15\n"), "16", "10"},
      {padded(kMaxSettingsFile - 10, "detail=15\n"), "15", "10"},
      {"detail=1\x01\nseconds=\t5 \x7f\n", "1", "5"},
      {"detail=\377\3767\nseconds= 4  \n", "7", "4"},
  };
  for (const auto& [file, detail, seconds] : cases) {
    std::ofstream(ini, std::ios::binary | std::ios::trunc) << file;
    FakeRunHost host(640, 480);
    Program program(host);
    program.loadSettings();
    EXPECT_EQ(host.text(Field::Text3), detail) << file.substr(0, 40);
    EXPECT_EQ(host.text(Field::Text5), seconds) << file.substr(0, 40);
  }

  // A FIFO as the settings file and as the palette is passed over at once.
  fs::remove(ini);
  ASSERT_EQ(::mkfifo(ini.c_str(), 0600), 0);
  FakeRunHost host(640, 480);
  Program program(host);
  program.loadSettings();
  EXPECT_EQ(currentSettings(host, program.st), Settings{});
  host.chosenFile = ini.string();
  program.menuClick(Menu::impcolor);
  EXPECT_EQ(program.st.userColors, basicPalette());
  ASSERT_EQ(host.messages.size(), 1u);
  EXPECT_TRUE(host.messages[0].ends_with("tavrel.ini' is not a regular file")) << host.messages[0];

  // Links planted at the settings file, its old temporary name and the
  // picture's name are replaced or passed by, never written through.
  fs::remove(ini);
  for (const fs::path& link : {ini, fs::path(ini.string() + ".new"), dir_ / "a.png"})
    fs::create_symlink(victim, link);
  program.menuClick(Menu::fghfghg);
  EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(ini)));
  const std::uint8_t bytes[] = {1, 2, 3};
  EXPECT_EQ(writeNewFile(dir_.path, "a", "png", bytes), dir_ / "a-2.png");
  EXPECT_EQ(writeNewFile(dir_.path, "a", "png", bytes), dir_ / "a-3.png");  // past its own too
  std::ifstream in(victim);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), "keep");

  // A save that fails says why, in the system's words.
  program.click(Control::Command1);
  host.pictures = victim.string();  // a file where the folder should be
  host.notes.clear();
  program.menuClick(Menu::sdfdssdf);
  EXPECT_EQ(host.notes, std::vector<std::string>{"The picture could not be saved in " +
                                                 victim.string() + "/Tavrel: Not a directory"});
  // And Save settings where a file stands for the settings' folder.
  fs::remove_all(dir_ / "tavrel");
  std::ofstream(dir_ / "tavrel") << "a file where the folder should be";
  program.menuClick(Menu::fghfghg);
  EXPECT_EQ(host.messages.size(), 2u);
}

}  // namespace
}  // namespace tavrel
