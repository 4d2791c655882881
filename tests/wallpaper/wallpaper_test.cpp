// The wallpaper: the picture composed for each screen, the desktop found
// from the session, and tavrel-render --wallpaper on desktops that take it
// through a program (GNOME's settings, read back from a key file; a
// stand-in for Plasma's tool) or on none at all.
#include "wallpaper/wallpaper.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <fstream>
#include <regex>

#include "state/recipe.h"
#include "tests/temp_dir.h"

namespace tavrel::wallpaper {
namespace {

namespace fs = std::filesystem;

// A box of 102 x 102 whose every pixel is its own colour.
ImageData numbered() {
  ImageData p{102, 102, {}};
  for (int i = 0; i < 102 * 102; ++i) p.pixels.push_back(static_cast<Colour>(i + 1));
  return p;
}

TEST(Wallpaper, OneGridRunsOverEveryOutputAtItsOwnScale) {
  const ImageData box = numbered();
  // Side by side at scales 1 and 2, and one at scale 3 below them, reaching
  // left of the origin: every device pixel shows the pixel of the one grid
  // of program pixels, each `zoom` layout pixels wide, at its place in the
  // layout.
  const Output outputs[] = {
      {"A", 0, 0, 1024, 768, 1024, 768},
      {"B", 1024, 0, 800, 600, 1600, 1200},
      {"C", -333, 768, 300, 200, 900, 600},
  };
  const int zoom = 2;
  for (const Output& o : outputs) {
    SCOPED_TRACE(o.name);
    const ImageData img = wallpaperFor(o, box, true, zoom);
    ASSERT_EQ(std::pair(img.width, img.height), std::pair(o.deviceWidth, o.deviceHeight));
    const int s = static_cast<int>(o.scale());
    for (int v = 0; v < img.height; v += 7)
      for (int u = 0; u < img.width; u += 5) {
        // The layout pixel under the device pixel, then the program pixel.
        const int lx = o.x + u / s, ly = o.y + v / s;
        const auto wrap = [](int n) { return ((n % kTilePeriod) + kTilePeriod) % kTilePeriod; };
        const int px = wrap(lx >= 0 ? lx / zoom : -((-lx + zoom - 1) / zoom));
        const int py = wrap(ly >= 0 ? ly / zoom : -((-ly + zoom - 1) / zoom));
        ASSERT_EQ(img.at(u, v), box.at(1 + px, 1 + py)) << u << "," << v;
      }
  }
  // A shape stands in the middle of black, each pixel a block of the zoom.
  const ImageData shape = wallpaperFor(outputs[1], box, false, zoom);
  const int left = (1600 - 102 * 4) / 2, top = (1200 - 102 * 4) / 2;
  EXPECT_EQ(shape.at(left - 1, top), kBlack);
  EXPECT_EQ(shape.at(left, top), box.at(0, 0));
  EXPECT_EQ(shape.at(left + 4 * 102 - 1, top + 4 * 102 - 1), box.at(101, 101));
  EXPECT_EQ(shape.at(left + 4 * 102, top), kBlack);
  EXPECT_EQ(std::count(shape.pixels.begin(), shape.pixels.end(), kBlack), 1600 * 1200 - 408 * 408);

  // The zoom follows the largest output, in layout pixels; what a desktop
  // reports is taken only within bounds.
  EXPECT_EQ(layoutZoom(outputs, std::nullopt), 1);
  const Output uhd[] = {{"4K", 0, 0, 1920, 1080, 3840, 2160}, outputs[0]};
  EXPECT_EQ(layoutZoom(uhd, std::nullopt), 2);
  EXPECT_EQ(layoutZoom(uhd, "3"), 3);
  for (const Output& bad :
       {Output{"", 0, 0, 0, 768, 1024, 768}, Output{"", 0, 0, 100, 100, 100, 16385},
        Output{"", 0, 0, 100, 100, 1000, 1000}, Output{"", 20000, 0, 9, 9, 9, 9}})
    EXPECT_FALSE(usable(bad)) << bad.width << "x" << bad.height;
  EXPECT_TRUE(usable(outputs[2]));
}

TEST(Wallpaper, TheDesktopComesFromTheSession) {
  const struct {
    const char *current, *sway, *display;
    Desktop desktop;
  } cases[] = {
      {"GNOME", nullptr, ":0", Desktop::gnome},
      {"ubuntu:GNOME", nullptr, nullptr, Desktop::gnome},
      {"KDE", "/run/sway", ":0", Desktop::kde},
      {"sway", nullptr, nullptr, Desktop::sway},
      {nullptr, "/run/sway.sock", ":0", Desktop::sway},
      {"XFCE", "", ":0", Desktop::x11},
      {"GNOMEISH", nullptr, "", Desktop::none},
      {nullptr, nullptr, nullptr, Desktop::none},
  };
  for (const auto& c : cases)
    EXPECT_EQ(desktopOf(c.current, c.sway, c.display), c.desktop)
        << (c.current ? c.current : "-") << (c.sway ? c.sway : "-")
        << (c.display ? c.display : "-");
}

// The renderer on desktops that take a wallpaper through a program, with
// the session's variables of each: what it was given, the file it wrote,
// one line each way; the last five runs kept.
TEST(Wallpaper, TheRendererSetsItOnEachDesktopOrSaysWhereItIs) {
  const testing_support::TempDir dir;
  const fs::path data = dir / "data", bin = dir / "bin", config = dir / "config";
  fs::create_directories(bin);
  // Plasma's tool, standing in: it keeps what it was given.
  std::ofstream(bin / "plasma-apply-wallpaperimage")
      << "#!/bin/sh\nprintf '%s\\n' \"$@\" >>'" << (dir / "plasma").string() << "'\n";
  fs::permissions(bin / "plasma-apply-wallpaperimage", fs::perms::owner_all);
  const std::string session = "env -u DISPLAY -u WAYLAND_DISPLAY -u SWAYSOCK XDG_DATA_HOME='" +
                              data.string() + "' XDG_CONFIG_HOME='" + config.string() +
                              "' GSETTINGS_BACKEND=keyfile PATH='" + bin.string() + ":" +
                              std::getenv("PATH") + "' ";
  const auto run = [&](const std::string& variables, const std::string& options, std::string& out) {
    const std::string command = session + variables + " '" TAVREL_RENDER "' --wallpaper " +
                                options + " >'" + (dir / "out").string() + "' 2>&1";
    const int raw = std::system(command.c_str());
    std::ifstream in(dir / "out");
    out.assign(std::istreambuf_iterator<char>(in), {});
    return WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
  };
  const auto gsetting = [&](const char* key) {
    const std::string command = "XDG_CONFIG_HOME='" + config.string() +
                                "' GSETTINGS_BACKEND=keyfile gsettings get "
                                "org.gnome.desktop.background " +
                                key + " >'" + (dir / "got").string() + "'";
    EXPECT_EQ(std::system(command.c_str()), 0) << command;
    std::ifstream in(dir / "got");
    return std::string(std::istreambuf_iterator<char>(in), {});
  };
  const std::string file = data.string() + R"(/tavrel/wallpaper/\d{8}-\d{6}(\.\d+)?-)";
  const struct {
    std::string variables, options;
    int exit;
    std::string said;                 // a pattern of all it printed, "FILE" for the file
    std::string uri = "", mode = "";  // GNOME's settings after it; empty: not GNOME
    bool plasma = false;
  } cases[] = {
      {"XDG_CURRENT_DESKTOP=GNOME", "--generator pattern --screen 640x480", 0,
       "FILE: set on GNOME\n", "FILE", "'wallpaper'"},
      {"XDG_CURRENT_DESKTOP=ubuntu:GNOME", "--seed 3", 0, "FILE: set on GNOME\n", "FILE",
       "'centered'"},
      {"XDG_CURRENT_DESKTOP=KDE", "--generator pattern", 0, "FILE: set on KDE Plasma\n", "", "",
       true},
      {"XDG_CURRENT_DESKTOP=KDE PATH=/usr/bin:/bin", "", 1,
       "tavrel-render: plasma-apply-wallpaperimage is not installed; the picture is in 'FILE'\n",
       "", "", false},
      {"", "--seed 5 --screen 300x200", 0,
       "FILE: no desktop found to set it on; the desktop was not changed\n", "", "", false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.variables + " " + c.options);
    std::string out;
    EXPECT_EQ(run(c.variables, c.options, out), c.exit) << out;
    std::smatch m;
    const std::string kind = c.options.find("pattern") != std::string::npos ? "pattern" : "shape";
    // Without --seed, the seed taken from the clock comes first.
    const std::string said = "(?:seed=\\d+\n)?" + std::regex_replace(c.said, std::regex("FILE"),
                                                                     "(" + file + kind + ".png)");
    ASSERT_TRUE(std::regex_match(out, m, std::regex(said))) << out;
    const fs::path made = m[1].str();
    const auto png = readPng(made);
    ASSERT_TRUE(png);
    EXPECT_TRUE(png->text(kRecipeKeyword));
    if (c.options.find("--screen ") != std::string::npos) {
      const std::string size = c.options.substr(c.options.find("--screen ") + 9);
      EXPECT_EQ(std::to_string(png->image.width) + "x" + std::to_string(png->image.height), size);
    }
    if (!c.uri.empty()) {
      EXPECT_EQ(gsetting("picture-uri"), "'file://" + made.string() + "'\n");
      EXPECT_EQ(gsetting("picture-uri-dark"), "'file://" + made.string() + "'\n");
      EXPECT_EQ(gsetting("picture-options"), c.mode + "\n");
    }
    if (c.plasma) {
      std::ifstream in(dir / "plasma");
      EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), made.string() + "\n");
    }
  }
  // Five runs so far: two more, and the oldest two are gone.
  std::string out;
  for (int i = 0; i < 2; ++i) ASSERT_EQ(run("", "--screen 20x20", out), 0) << out;
  EXPECT_EQ(std::distance(fs::directory_iterator(data / "tavrel" / "wallpaper"), {}),
            static_cast<long>(kRunsKept));
}

}  // namespace
}  // namespace tavrel::wallpaper
