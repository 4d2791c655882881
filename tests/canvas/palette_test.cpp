#include "canvas/palette.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "tests/temp_dir.h"

namespace tavrel {
namespace {

TEST(GimpPalette, ColoursInFileOrderOrOneLineNamingTheBrokenOne) {
  // Names, comments, blank lines, tabs, CR LF and repeats; no newline at the end.
  const auto got = parseGimpPalette(
      "GIMP Palette\r\nName: Sea\r\nColumns: 4\n# a comment\n\n255   0   0\tRed one\n"
      "  0 128 255 Blue  with spaces\n\t1 2 3\n255 0 0\n0 0 0");
  ASSERT_TRUE(std::holds_alternative<std::vector<Colour>>(got)) << std::get<std::string>(got);
  EXPECT_EQ(std::get<std::vector<Colour>>(got),
            (std::vector<Colour>{0x0000FF, 0xFF8000, 0x030201, 0x0000FF, 0}));

  const std::pair<const char*, const char*> cases[] = {
      {"", "empty"},
      {"GIMP palette\n255 0 0\n", "line 1: "},
      {"GIMP Palette\nName: x\n# only a comment\n", "no colours"},
      {"GIMP Palette\n1 2 3\n12 ab 4\n", "line 3: 'ab' is not a number"},
      {"GIMP Palette\n1 2\n", "line 2: "},
      {"GIMP Palette\n1 2 3x\n", "line 2: '3x'"},
      {"GIMP Palette\n0 256 0\n", "line 2: '256' is not a value from 0 to 255"},
      {"GIMP Palette\n\n-1 0 0\n", "line 3: '-1'"},
      {"GIMP Palette\n0 0 99999999999999999999\n", "line 2: "},
      {"GIMP Palette\n1 \x01\xff 3\n", "line 2: '\\x01\\xff' is not a number"},
  };
  for (const auto& [text, message] : cases) {
    const std::string m = std::get<std::string>(parseGimpPalette(text));
    EXPECT_NE(m.find(message), std::string::npos) << text << " gave: " << m;
    EXPECT_EQ(m.find('\n'), std::string::npos) << m;
  }
}

TEST(GimpPalette, OnlyARegularFileOfAtMostOneMebibyteIsRead) {
  const testing_support::TempDir dir;
  const std::string palette = "GIMP Palette\n1 2 3\n";
  std::ofstream(dir / "large.gpl") << palette << std::string((1 << 20) - palette.size() + 1, '#');
  std::ofstream(dir / "fits.gpl") << palette << std::string((1 << 20) - palette.size(), '#');
  std::filesystem::create_symlink(dir / "fits.gpl", dir / "link.gpl");
  const std::pair<const char*, const char*> cases[] = {
      {"large.gpl", "' is too large for a palette"},
      {"fits.gpl", ""},
      {"link.gpl", ""},
      {"missing.gpl", "' can't be read"},
      {"", "' is not a regular file"},  // the folder
  };
  for (const auto& [name, message] : cases) {
    const auto read = readGimpPalette(dir / name);
    const auto* said = std::get_if<std::string>(&read);
    EXPECT_TRUE(*message ? said && said->ends_with(message)
                         : read == decltype(read)(std::vector<Colour>{0x030201}))
        << name << ": " << (said ? *said : "");
  }
}

}  // namespace
}  // namespace tavrel
