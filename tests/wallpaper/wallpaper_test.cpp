// The wallpaper: the picture composed for each screen, the desktop found
// from the session, and tavrel-render --wallpaper on desktops that take it
// through a program (GNOME's settings, read back from a key file; a
// stand-in for Plasma's tool) or on none at all.
#include "wallpaper/wallpaper.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cmath>
#include <fstream>
#include <regex>

#include "state/recipe.h"
#include "tests/temp_dir.h"

namespace tavrel::wallpaper {
namespace {

namespace fs = std::filesystem;

TEST(Wallpaper, OneGridRunsOverEveryOutputAtItsOwnScale) {
  ImageData box{102, 102, {}};  // every pixel its own colour
  for (int i = 0; i < 102 * 102; ++i) box.pixels.push_back(static_cast<Colour>(i + 1));
  // Side by side at scales 1 and 2, one at scale 3 below them reaching left
  // of the origin, one at an eighth: every device pixel shows the pixel of
  // the one grid of program pixels, each `zoom` layout pixels wide, at its
  // place in the layout.
  const Output outputs[] = {
      {"A", 0, 0, 1024, 768, 1024, 768},
      {"B", 1024, 0, 800, 600, 1600, 1200},
      {"C", -333, 768, 300, 200, 900, 600},
      {"D", 0, -800, 800, 800, 100, 100},
  };
  const int zoom = 2;
  for (const Output& o : outputs) {
    SCOPED_TRACE(o.name);
    const ImageData img = wallpaperFor(o, box, true, zoom);
    ASSERT_EQ(std::pair(img.width, img.height), std::pair(o.deviceWidth, o.deviceHeight));
    const int z = std::max(1, static_cast<int>(std::lround(zoom * o.scale())));
    const auto cell = [&](int place, int device) {  // the grid's cell under a device pixel
      const long long at = std::llround(place * o.scale()) + device;
      return 1 + static_cast<int>(((at >= 0 ? at / z : -((-at + z - 1) / z)) % 98 + 98) % 98);
    };
    for (int v = 0; v < img.height; v += 7)
      for (int u = 0; u < img.width; u += 5)
        ASSERT_EQ(img.at(u, v), box.at(cell(o.x, u), cell(o.y, v))) << u << "," << v;
  }
  // A shape stands in the middle of black, each pixel a block of the zoom;
  // on a screen smaller than the box, its middle.
  const ImageData shape = wallpaperFor(outputs[1], box, false, zoom);
  const int left = (1600 - 102 * 4) / 2, top = (1200 - 102 * 4) / 2;
  EXPECT_EQ(shape.at(left - 1, top), kBlack);
  EXPECT_EQ(shape.at(left, top), box.at(0, 0));
  EXPECT_EQ(shape.at(left + 4 * 102 - 1, top + 4 * 102 - 1), box.at(101, 101));
  EXPECT_EQ(shape.at(left + 4 * 102, top), kBlack);
  EXPECT_EQ(std::count(shape.pixels.begin(), shape.pixels.end(), kBlack), 1600 * 1200 - 408 * 408);
  const ImageData middle = wallpaperFor({"", 0, 0, 50, 40, 50, 40}, box, false, 1);
  EXPECT_EQ(middle.at(0, 0), box.at(26, 31));
  EXPECT_EQ(middle.at(49, 39), box.at(75, 70));

  // The zoom follows the largest output, in layout pixels.
  EXPECT_EQ(layoutZoom(outputs, std::nullopt), 1);
  const Output uhd[] = {{"4K", 0, 0, 1920, 1080, 3840, 2160}, outputs[0]};
  EXPECT_EQ(layoutZoom(uhd, std::nullopt), 2);
  EXPECT_EQ(layoutZoom(uhd, "3"), 3);
  // What a desktop reports is drawn for within bounds: sides 1 to 16384,
  // places within 16384 of the origin, scales 1/8 to 8; one past any, not.
  for (const Output& o : {Output{"", -16384, 16384, 1, 1, 1, 1}, Output{"", 0, 0, 16, 16, 2, 2},
                          Output{"", 0, 0, 2048, 16384, 16384, 16384}})
    EXPECT_TRUE(usable(o)) << o.width << "x" << o.height;
  for (const Output& o : {Output{"", 0, 0, 0, 9, 9, 9}, Output{"", 0, 0, 9, 0, 9, 9},
                          Output{"", 0, 0, 9, 9, 9, 16385}, Output{"", -16385, 0, 9, 9, 9, 9},
                          Output{"", 0, 16385, 9, 9, 9, 9}, Output{"", 0, 0, 17, 17, 2, 2},
                          Output{"", 0, 0, 2047, 16, 16384, 16}})
    EXPECT_FALSE(usable(o)) << o.x << "," << o.y << " " << o.width << "x" << o.height;
}

TEST(Wallpaper, TheDesktopComesFromTheSession) {
  const std::tuple<const char*, const char*, const char*, Desktop> cases[] = {
      {"GNOME", nullptr, ":0", Desktop::gnome},   {"KDE", "/run/sway", ":0", Desktop::kde},
      {"sway", nullptr, nullptr, Desktop::sway},  {nullptr, "/run/sway.sock", ":0", Desktop::sway},
      {"XFCE", "", ":0", Desktop::x11},           {"GNOMEISH", nullptr, "", Desktop::none},
      {nullptr, nullptr, nullptr, Desktop::none},
  };
  for (const auto& [current, sway, display, desktop] : cases)
    EXPECT_EQ(desktopOf(current, sway, display), desktop)
        << (current ? current : "-") << (sway ? sway : "-") << (display ? display : "-");
}

// The renderer on desktops that take a wallpaper through a program, with
// the session's variables of each: what it was given, the file it wrote,
// one line each way; what could not be done, one line and status 1; the
// pictures of the last five runs kept, each picture in the history.
TEST(Wallpaper, TheRendererSetsItOnEachDesktopOrSaysWhereItIs) {
  const testing_support::TempDir dir;
  // Plasma's tool, standing in: it keeps what it was given, and fails when
  // asked to.
  fs::create_directories(dir / "bin");
  std::ofstream(dir / "bin" / "plasma-apply-wallpaperimage")
      << "#!/bin/sh\n[ -z \"$FAIL\" ] || { echo no plasma here >&2; exit 3; }\n"
      << "printf '%s\\n' \"$@\" >>" << (dir / "plasma").string() << "\n";
  fs::permissions(dir / "bin" / "plasma-apply-wallpaperimage", fs::perms::owner_all);
  const std::string session = "cd '" + dir.path.string() +
                              "' && env -u DISPLAY -u WAYLAND_DISPLAY -u SWAYSOCK HOME=\"$PWD\" "
                              "XDG_DATA_HOME=\"$PWD/data\" XDG_STATE_HOME=\"$PWD/state\" "
                              "XDG_CONFIG_HOME=\"$PWD/config\" GSETTINGS_BACKEND=keyfile "
                              "PATH=\"$PWD/bin:$PATH\" ";
  const auto run = [&](const std::string& command) {
    const int raw = std::system((session + command + " >out 2>&1").c_str());
    return std::pair(WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, testing_support::slurp(dir / "out"));
  };
  const std::string render = "'" TAVREL_RENDER "' --wallpaper ";
  const std::string gsettings = "gsettings get org.gnome.desktop.background ";
  // Built by appending: g++ 12 warns falsely about "(" + string.
  std::string file = "(";
  file += dir.path.string() + R"(/data/tavrel/wallpaper/\d{8}-\d{6}(\.\d+)?-)";
  // The variables, the options, the exit status, a pattern of all it printed
  // ("FILE" for the file), GNOME's settings after it, Plasma's arguments.
  const std::tuple<std::string, std::string, int, std::string, std::string, std::string> cases[] = {
      {"XDG_CURRENT_DESKTOP=GNOME", "--generator pattern --screen 640x480", 0,
       "FILE: set on GNOME\n", "'FILE'\n'FILE'\n'wallpaper'\n", ""},
      {"XDG_CURRENT_DESKTOP=ubuntu:GNOME", "--seed 3", 0, "FILE: set on GNOME\n",
       "'FILE'\n'FILE'\n'centered'\n", ""},
      {"XDG_CURRENT_DESKTOP=KDE", "--generator pattern", 0, "FILE: set on KDE Plasma\n", "",
       "FILE\n"},
      {"XDG_CURRENT_DESKTOP=KDE FAIL=1", "", 1,
       "tavrel-render: plasma-apply-wallpaperimage failed with status 3: 'no plasma here'; the "
       "picture is in 'FILE'\n",
       "", ""},
      {"XDG_CURRENT_DESKTOP=KDE PATH=/usr/bin:/bin", "", 1,
       "tavrel-render: plasma-apply-wallpaperimage is not installed; the picture is in 'FILE'\n",
       "", ""},
      {"", "--seed 5 --screen 300x200", 0,
       "FILE: no desktop found to set it on; the desktop was not changed\n", "", ""},
  };
  for (const auto& [variables, options, status, pattern, settings, plasma] : cases) {
    SCOPED_TRACE(variables + " " + options);
    fs::remove(dir / "plasma");
    const auto [exit, out] = run(variables + " " + render + options);
    EXPECT_EQ(exit, status) << out;
    std::smatch m;
    const std::string kind = options.find("pattern") != std::string::npos ? "pattern" : "shape";
    // Without --seed, the seed taken from the clock comes first.
    const std::string said =
        "(?:seed=\\d+\n)?" + std::regex_replace(pattern, std::regex("FILE"), file + kind + ".png)");
    ASSERT_TRUE(std::regex_match(out, m, std::regex(said))) << out;
    const auto png = readPng(m[1].str());
    ASSERT_TRUE(png && png->text(kRecipeKeyword));
    if (const auto size = options.find("--screen "); size != std::string::npos) {
      EXPECT_EQ(std::to_string(png->image.width) + "x" + std::to_string(png->image.height),
                options.substr(size + 9));
    }
    if (!settings.empty()) {
      EXPECT_EQ(run("sh -c '" + gsettings + "picture-uri; " + gsettings + "picture-uri-dark; " +
                    gsettings + "picture-options'")
                    .second,
                std::regex_replace(settings, std::regex("FILE"), "file://" + m[1].str()));
    }
    EXPECT_EQ(testing_support::slurp(dir / "plasma"),
              std::regex_replace(plasma, std::regex("FILE"), m[1].str()));
  }
  // Six runs so far: one more, and the oldest two are gone; every picture
  // set is in the history, as picture 1 of its run.
  auto [exit, out] = run(render + "--seed 9 --screen 20x20");
  ASSERT_EQ(exit, 0) << out;
  EXPECT_TRUE(fs::exists(out.substr(0, out.find(':'))));
  EXPECT_EQ(std::distance(fs::directory_iterator(dir / "data/tavrel/wallpaper"), {}),
            static_cast<long>(kRunsKept));
  std::tie(exit, out) = run("'" TAVREL_RENDER "' --history");
  EXPECT_TRUE(std::regex_match(out, std::regex("(.*seed \\d+, picture 1\n){7}"))) << out;
}

}  // namespace
}  // namespace tavrel::wallpaper
