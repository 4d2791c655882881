// The module on a Wayland desktop: a headless sway of the test's own (as an
// unprivileged user when the test runs as root, which sway's seat needs), its
// outputs read back with grim, keys from wtype and a pointer of our own.
#include <gtest/gtest.h>
#include <pwd.h>

#include <cstdio>
#include <fstream>
#include <functional>
#include <sstream>

#include "saver/show.h"
#include "saver_process.h"
#include "x_probe.h"

namespace tavrel::saver::test {
namespace {

namespace fs = std::filesystem;

bool onPath(const std::string& tool) {
  return std::system(("command -v " + tool + " >/dev/null").c_str()) == 0;
}

// A grim shot in PPM: "P6", width, height, 255, then RGB bytes.
std::optional<Shot> readPpm(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  std::string magic;
  int width = 0, height = 0, top = 0;
  if (!(in >> magic >> width >> height >> top) || magic != "P6" || top != 255) return std::nullopt;
  in.get();
  std::vector<unsigned char> rgb(static_cast<std::size_t>(width) * height * 3);
  if (!in.read(reinterpret_cast<char*>(rgb.data()), static_cast<std::streamsize>(rgb.size())))
    return std::nullopt;
  Shot shot{width, height, 0, {}};
  for (std::size_t i = 0; i < rgb.size(); i += 3)
    shot.pixels.push_back(static_cast<Colour>(rgb[i] | rgb[i + 1] << 8 | rgb[i + 2] << 16));
  return shot;
}

class SaverWayland : public ::testing::Test {
 protected:
  void SetUp() override {
    for (const char* tool : {"sway", "swaymsg", "grim", "wtype", "setpriv"})
      if (!onPath(tool)) GTEST_SKIP() << tool << " is not installed";
    // The compositor's runtime folder is the test's own: its sockets never
    // meet another run's.
    fs::permissions(dir_.path, fs::perms::owner_all, fs::perm_options::replace);
    std::ofstream(dir_ / "config") << "xwayland disable\ndefault_border none\n";
    std::vector<std::string> sway{"setpriv", "--pdeathsig", "KILL", "--"};
    if (getuid() == 0) {
      const char* user = "tavrel-saver-test";
      if (getpwnam(user) == nullptr)
        std::system(
            ("useradd --system --create-home --shell /bin/sh " + std::string(user)).c_str());
      const passwd* pw = getpwnam(user);
      ASSERT_NE(pw, nullptr) << "cannot make the user " << user;
      for (const auto& entry : fs::recursive_directory_iterator(dir_.path))
        ASSERT_EQ(chown(entry.path().c_str(), pw->pw_uid, pw->pw_gid), 0);
      ASSERT_EQ(chown(dir_.path.c_str(), pw->pw_uid, pw->pw_gid), 0);
      sway.insert(sway.begin() + 1, {"--reuid=" + std::to_string(pw->pw_uid),
                                     "--regid=" + std::to_string(pw->pw_gid), "--init-groups"});
    }
    const std::string home = "HOME=" + dir_.path.string(),
                      runtime = "XDG_RUNTIME_DIR=" + dir_.path.string();
    sway.insert(sway.end(),
                {"env", "-i", "PATH=/usr/local/bin:/usr/bin:/bin", home, runtime,
                 "WLR_BACKENDS=headless", "WLR_RENDERER=pixman", "WLR_LIBINPUT_NO_DEVICES=1",
                 "sway", "-c", (dir_ / "config").string()});
    sway_.emplace(sway);
    // Sway names its sockets itself.
    for (const auto end = Clock::now() + 10s; Clock::now() < end && !ready();
         std::this_thread::sleep_for(20ms)) {
    }
    ASSERT_TRUE(ready()) << "sway did not start: " << sway_->stderrText();
    unsetenv("DISPLAY");
    unsetenv("XSCREENSAVER_WINDOW");
    unsetenv("TAVREL_SCALE");
    unsetenv("TAVREL_SAVER_SHELL");
  }

  void TearDown() override { modules_.clear(); }

  bool ready() {
    for (const auto& entry : fs::directory_iterator(dir_.path)) {
      const std::string name = entry.path().filename();
      if (name.starts_with("wayland-") && !name.ends_with(".lock")) display_ = name;
      if (name.starts_with("sway-ipc.")) ipc_ = entry.path();
    }
    if (display_.empty() || ipc_.empty()) return false;
    setenv("XDG_RUNTIME_DIR", dir_.path.c_str(), 1);
    setenv("WAYLAND_DISPLAY", display_.c_str(), 1);
    setenv("SWAYSOCK", ipc_.c_str(), 1);
    return swaymsg("-t get_version");
  }

  // Runs a program to its end; whether it succeeded.
  static bool run(const std::vector<std::string>& argv) {
    Child child(argv);
    return child.waitExit(10s) == 0;
  }
  static bool swaymsg(const std::string& command) {
    std::vector<std::string> argv{"swaymsg", "-q"};
    std::istringstream words(command);
    for (std::string w; words >> w;) argv.push_back(w);
    return run(argv);
  }
  static bool key() { return run({"wtype", "-s", "300", "x"}); }
  static bool pointer(const std::string& what) {
    std::vector<std::string> argv{TAVREL_WL_POINTER};
    std::istringstream words(what);
    for (std::string w; words >> w;) argv.push_back(w);
    return run(argv);
  }

  std::optional<Shot> shot(const std::string& output) {
    const fs::path file = dir_ / ("shot-" + output + ".ppm");
    if (!run({"grim", "-t", "ppm", "-o", output, file.string()})) return std::nullopt;
    return readPpm(file);
  }

  Child& startModule(const std::string& options) {
    std::vector<std::string> args{TAVREL_SAVER};
    std::istringstream words(options);
    for (std::string w; words >> w;) args.push_back(w);
    return *modules_.emplace_back(std::make_unique<Child>(args));
  }

  // Where the picture stands once the output shows it alone on black, at a
  // place `wanted`, enlarged as the display-scale rule says for the output's
  // size in device pixels.
  std::optional<Place> waitForPicture(
      const std::string& output, const ImageData& picture,
      const std::function<bool(Place)>& wanted = [](Place) { return true; }) {
    for (const auto end = Clock::now() + 2s; Clock::now() < end;
         std::this_thread::sleep_for(20ms)) {
      const auto s = shot(output);
      if (!s) continue;
      const int zoom = layoutFor(s->width, s->height, std::nullopt).zoom;
      const auto at = locate(*s, picture, zoom);
      if (at && aloneOnBlack(*s, *at, zoom) && wanted(*at)) return at;
    }
    return std::nullopt;
  }

  testing_support::TempDir dir_;
  std::string display_;
  fs::path ipc_;
  std::optional<Child> sway_;
  std::vector<std::unique_ptr<Child>> modules_;
};

// Two outputs of different sizes, one of them at scale 2; one added and one
// taken away while it runs.
TEST_F(SaverWayland, EveryOutputShowsThePictureAsOutputsComeAndGo) {
  ASSERT_TRUE(swaymsg("create_output"));
  ASSERT_TRUE(swaymsg("output HEADLESS-1 mode 1024x768 position 0 0"));
  ASSERT_TRUE(swaymsg("output HEADLESS-2 mode 2560x1440 scale 2 position 1024 0"));
  const auto pictures = rendered("--seed 5", 2);
  const ImageData& picture = pictures[0];
  // With no window option, WAYLAND_DISPLAY chooses Wayland.
  Child& module = startModule("--seed 5");
  const auto first = waitForPicture("HEADLESS-1", picture);
  ASSERT_TRUE(first) << module.stderrText();
  const auto large = waitForPicture("HEADLESS-2", picture);
  ASSERT_TRUE(large) << module.stderrText();
  // Crisp at scale 2: the picture matched pixel for pixel in device pixels,
  // and it travels in whole blocks of the zoom.
  const int zoom = layoutFor(2560, 1440, std::nullopt).zoom;
  EXPECT_EQ(large->x % zoom + large->y % zoom, 0) << zoom;
  EXPECT_TRUE(waitForPicture("HEADLESS-1", picture, [&](Place at) {
    return std::abs(at.x - first->x) >= 4 && std::abs(at.x - first->x) == std::abs(at.y - first->y);
  })) << "the picture does not travel diagonally";

  // Added later, and at scale 2 with a zoom of 2: the picture moves as a
  // surface of its own there, where at 2560x1440 (zoom 3) it is drawn into
  // buffers that cover the output.
  ASSERT_TRUE(swaymsg("create_output"));
  ASSERT_TRUE(swaymsg("output HEADLESS-3 mode 2048x1536 scale 2 position 0 1440"));
  const auto added = waitForPicture("HEADLESS-3", picture);
  ASSERT_TRUE(added) << "nothing on an output added later";
  EXPECT_TRUE(waitForPicture("HEADLESS-3", picture, [&](Place at) {
    return at.x != added->x && (at.x - added->x) % 2 + (at.y - added->y) % 2 == 0;
  })) << "the picture does not travel in whole blocks at scale 2";
  // An output that goes away takes its surface along; back, it has a new one.
  ASSERT_TRUE(swaymsg("output HEADLESS-3 disable"));
  EXPECT_FALSE(module.waitExit(300ms)) << module.stderrText();
  EXPECT_TRUE(waitForPicture("HEADLESS-1", picture));
  ASSERT_TRUE(swaymsg("output HEADLESS-3 enable"));
  EXPECT_TRUE(waitForPicture("HEADLESS-3", picture)) << "nothing on an output back again";
  // SIGUSR1: the next picture everywhere, long before the interval.
  module.signal(SIGUSR1);
  EXPECT_TRUE(waitForPicture("HEADLESS-1", pictures[1]));
  EXPECT_TRUE(waitForPicture("HEADLESS-2", pictures[1]));

  module.signal(SIGTERM);
  EXPECT_EQ(module.waitExit(1000ms), 128 + SIGTERM);
  EXPECT_EQ(module.stderrText(), "");
}

// The first key, motion or button ends it with status 0, unless told to keep
// on; a signal ends it within a second as the signal says.
TEST_F(SaverWayland, InputEndsItUnlessToldToKeepOn) {
  const ImageData picture = rendered("--seed 8", 1)[0];
  const std::function<bool()> key = [] { return SaverWayland::key(); };
  const std::function<bool()> motion = [] { return pointer("move 40 30"); };
  const std::function<bool()> button = [] { return pointer("press"); };
  const std::tuple<const char*, const char*, std::vector<std::function<bool()>>> cases[] = {
      {"a key", "", {key}},
      {"pointer motion", "", {motion}},
      {"a pointer button", "", {button}},
      {"all three", "--no-input-exit", {key, motion, button}},
  };
  for (const auto& [what, option, inputs] : cases) {
    Child& module = startModule(std::string("--wayland --seed 8 ") + option);
    ASSERT_TRUE(waitForPicture("HEADLESS-1", picture)) << what << ": " << module.stderrText();
    for (const auto& input : inputs) ASSERT_TRUE(input()) << what;
    if (*option == '\0') {
      EXPECT_EQ(module.waitExit(1000ms), 0) << what;
      continue;
    }
    EXPECT_FALSE(module.waitExit(500ms)) << what;
    EXPECT_TRUE(waitForPicture("HEADLESS-1", picture)) << what;
    module.signal(SIGINT);
    EXPECT_EQ(module.waitExit(1000ms), 128 + SIGINT) << what;
  }
}

// Where the compositor offers no layer-shell: a full-screen xdg-shell window
// on each output, which keys end all the same.
TEST_F(SaverWayland, FullScreenWindowsWithoutLayerShell) {
  ASSERT_TRUE(swaymsg("create_output"));
  ASSERT_TRUE(swaymsg("output HEADLESS-2 mode 1600x900 position 1280 0"));
  setenv("TAVREL_SAVER_SHELL", "xdg", 1);
  const ImageData picture = rendered("--seed 12 --generator pattern", 1)[0];
  Child& module = startModule("--wayland --seed 12 --generator pattern");
  EXPECT_TRUE(waitForPicture("HEADLESS-1", picture)) << module.stderrText();
  EXPECT_TRUE(waitForPicture("HEADLESS-2", picture)) << module.stderrText();
  ASSERT_TRUE(key());
  EXPECT_EQ(module.waitExit(1000ms), 0);
}

// A daemon must tell a lost compositor from a dismissal: one line, status 1.
TEST_F(SaverWayland, TheCompositorGoingAwayIsOneLineAndStatusOne) {
  Child& module = startModule("--wayland --seed 3");
  ASSERT_TRUE(waitForPicture("HEADLESS-1", rendered("--seed 3", 1)[0])) << module.stderrText();
  sway_->signal(SIGTERM);
  EXPECT_EQ(module.waitExit(1000ms), 1);
  EXPECT_EQ(module.stderrText(), "tavrel-saver: lost the connection to the Wayland compositor\n");
}

#ifdef TAVREL_APP
// Lines of the shot where most of the pixels are light, as a menu bar is.
bool lightRow(const Shot& shot, int top, int bottom) {
  for (int y = top; y < bottom && y < shot.height; ++y) {
    int light = 0;
    for (int x = 0; x < shot.width; ++x) light += (shot.at(x, y) & 0xFF) > 180;
    if (light * 10 > shot.width * 9) return true;
  }
  return false;
}

// The window natively on Wayland: it starts, "Click to begin" takes a click
// of the pointer, the menu bar comes, and it quits when the compositor
// closes it.
TEST_F(SaverWayland, TheWindowRunsNatively) {
  ASSERT_TRUE(swaymsg("output HEADLESS-1 mode 1024x768"));
  const testing_support::TempDir config;
  setenv("XDG_CONFIG_HOME", config.path.c_str(), 1);
  setenv("QT_QPA_PLATFORM", "wayland", 1);
  setenv("DBUS_SESSION_BUS_ADDRESS", "disabled:", 1);
  // Qt 6.4's Wayland plugin leaves the globals it bound at exit (wl_shm,
  // wl_compositor ...): a sanitized build would report them as its own.
  setenv("ASAN_OPTIONS", "detect_leaks=0", 1);
  setenv("TAVREL_SCALE", "1", 1);
  Child app({"sh", "-c", "cd '" TAVREL_SAMPLES "' && exec '" TAVREL_APP "'"});
  // The button: the light box at the top left of the black start screen
  // (not the white of a window not yet drawn).
  std::optional<Shot> start;
  int left = 0, top = 0, right = -1, bottom = -1;
  const auto button = [&] {
    return right - left > 30 && right - left < 150 && bottom - top > 10 && bottom - top < 60;
  };
  for (const auto end = Clock::now() + 10s; Clock::now() < end && !button();) {
    std::this_thread::sleep_for(100ms);
    start = shot("HEADLESS-1");
    if (!start) continue;
    left = top = 200;
    right = bottom = -1;
    for (int y = 0; y < 200; ++y)
      for (int x = 0; x < 200; ++x)
        if (const Colour c = start->at(x, y);
            std::min({c & 0xFF, c >> 8 & 0xFF, c >> 16 & 0xFF}) > 0xE8) {
          left = std::min(left, x), top = std::min(top, y);
          right = std::max(right, x), bottom = std::max(bottom, y);
        }
  }
  ASSERT_TRUE(button()) << "no start screen: " << app.stderrText();
  EXPECT_FALSE(lightRow(*start, 0, top));
  ASSERT_TRUE(pointer("click " + std::to_string((left + right) / 2) + " " +
                      std::to_string((top + bottom) / 2) + " 1024 768"));
  bool menus = false;
  for (const auto end = Clock::now() + 10s; Clock::now() < end && !menus;) {
    std::this_thread::sleep_for(100ms);
    const auto s = shot("HEADLESS-1");
    menus = s && lightRow(*s, 0, top);
  }
  EXPECT_TRUE(menus) << "no menu bar after the click: " << app.stderrText();
  ASSERT_TRUE(swaymsg("[app_id=io.github.tavrel.Tavrel] kill"));
  EXPECT_EQ(app.waitExit(10s), 0) << app.stderrText();
}
#endif

TEST(SaverWaylandMissing, NoCompositorGivesOneLineAndExitOne) {
  const testing_support::TempDir runtime;
  const std::tuple<const char*, std::string> cases[] = {
      {runtime.path.c_str(), "cannot connect to the Wayland compositor 'tavrel-none'"},
      {nullptr, "cannot connect to the Wayland compositor: XDG_RUNTIME_DIR is not set"},
  };
  for (const auto& [folder, says] : cases) {
    folder ? setenv("XDG_RUNTIME_DIR", folder, 1) : unsetenv("XDG_RUNTIME_DIR");
    setenv("WAYLAND_DISPLAY", "tavrel-none", 1);
    Child module({TAVREL_SAVER, "--wayland"});
    EXPECT_EQ(module.waitExit(2000ms), 1) << says;
    EXPECT_EQ(module.stderrText(), "tavrel-saver: " + says + "\n");
  }
}

}  // namespace
}  // namespace tavrel::saver::test
