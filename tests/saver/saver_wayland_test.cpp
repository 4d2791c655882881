// The module on Wayland desktops: headless compositors of the test's own
// (sway, KWin, weston; GNOME's is saver_gnome_test.py's), run as the user
// tavrel-saver-test when the test runs as root, as their seats need; the
// outputs read back with grim, keys from wtype, and pointer, fake input and
// an idle-inhibiting window from wl_tool.
#include "saver_probe.h"

namespace tavrel::saver::test {
namespace {

// What sway shows of a desktop with no background.
constexpr Colour kGrey = 0x3F3F3F;

class Desktop : public ModuleTest {
 protected:
  // Whether a tool the test needs is not installed: a failure under CI (CI
  // set), elsewhere a reason to skip the test.
  static bool lacks(std::initializer_list<const char*> tools) {
    for (const char* tool : tools)
      if (std::system(("command -v " + std::string(tool) + " >/dev/null").c_str()) != 0) {
        if (std::getenv("CI")) ADD_FAILURE() << tool << " is not installed";
        [&] { GTEST_SKIP() << tool << " is not installed"; }();
        return true;
      }
    return false;
  }

  // The compositor's sockets are in a runtime folder of the test's own,
  // where they never meet another run's.
  void SetUp() override {
    fs::permissions(dir_.path, fs::perms::owner_all, fs::perm_options::replace);
    setenv("XDG_RUNTIME_DIR", dir_.path.c_str(), 1);
  }
  void TearDown() override {
    ModuleTest::TearDown();
    guests_.clear();
    // The compositor and what it started (a bus's daemon) end together.
    if (compositor_) kill(-compositor_->pid(), SIGTERM), compositor_->waitExit(5s);
  }

  // `command` as the test's guest: the test user's, with an environment of
  // its own (and `env`), the folder its home.
  std::vector<std::string> guest(const std::vector<std::string>& command,
                                 const std::vector<std::string>& env = {}) {
    std::vector<std::string> argv{"setpriv", "--pdeathsig", "KILL", "--"};
    if (getuid() == 0) {
      // Another test may make the user at the same time: what counts is that it exists. The
      // folder is the guest's own from here on; a file that went meanwhile is no matter.
      const std::string user = "tavrel-saver-test";
      (void)!std::system(("id " + user +
                          " >/dev/null 2>&1 || useradd --system --create-home --shell /bin/sh " +
                          user)
                             .c_str());
      (void)run({"chown", "-hR", user + ":", dir_.path});
      argv.insert(argv.begin() + 1, {"--reuid=" + user, "--regid=" + user, "--init-groups"});
    }
    argv.insert(argv.end(),
                {"env", "-i", "PATH=/usr/local/bin:/usr/bin:/bin", "HOME=" + dir_.path.string(),
                 "XDG_RUNTIME_DIR=" + dir_.path.string()});
    if (const char* display = std::getenv("WAYLAND_DISPLAY"))
      argv.push_back(std::string("WAYLAND_DISPLAY=") + display);
    argv.insert(argv.end(), env.begin(), env.end());
    argv.insert(argv.end(), command.begin(), command.end());
    return argv;
  }
  // Starts the compositor as the guest; true once `ready` says so.
  bool startCompositor(const std::vector<std::string>& command, const std::function<bool()>& ready,
                       const std::vector<std::string>& env = {}) {
    compositor_.emplace(guest(command, env));
    return eventually(20s, ready);
  }
  // A bus of the test's own, on which nothing can be started by activation.
  static std::vector<std::string> privateBus(std::vector<std::string> command) {
    command.insert(command.begin(),
                   {"dbus-run-session", "--config-file=" TAVREL_SESSION_BUS, "--"});
    return command;
  }
  bool tool(const std::string& what) {
    std::vector<std::string> argv = words(what);
    argv.insert(argv.begin(), TAVREL_WL_TOOL);
    return run(guest(argv));
  }
  Child& startGuest(const std::vector<std::string>& command) {
    return *guests_.emplace_back(std::make_unique<Child>(guest(command)));
  }

  // Whether the module draws: it wakes for some 30 frames in half a second
  // while it does, and for nothing while it waits or nobody sees it.
  static int wakeups(const Child& module, std::chrono::milliseconds span) {
    const auto count = [&] {
      std::ifstream status("/proc/" + std::to_string(module.pid()) + "/status");
      for (std::string line; std::getline(status, line);)
        if (line.starts_with("voluntary_ctxt_switches:")) return std::stoi(line.substr(24));
      return -1000;
    };
    const int before = count();
    std::this_thread::sleep_for(span);
    return count() - before;
  }
  static bool drawsWithin(const Child& module, std::chrono::seconds limit) {
    return eventually(limit, [&] { return wakeups(module, 250ms) >= 5; });
  }
  static bool stopsWithin(const Child& module, std::chrono::seconds limit) {
    return eventually(limit, [&] { return wakeups(module, 300ms) <= 1; });
  }
  // Waiting, it wakes at most for a few events of its start or of another
  // client, and spins for none; drawing, for a frame every 16 or 31 ms.
  static bool waits(const Child& module, std::chrono::milliseconds span) {
    const auto busy = [&] {  // time on a CPU
      long long ns = 0;
      std::ifstream("/proc/" + std::to_string(module.pid()) + "/schedstat") >> ns;
      return std::chrono::nanoseconds(ns);
    };
    const auto before = busy();
    return wakeups(module, span) <= 8 && busy() - before < span / 10;
  }

  // --idle 2: the pictures come after the idle time and not before (as
  // `firstShow` sees them); each of `inputs` takes them away, and they come
  // back after the next idle time; an inhibitor keeps them away. A second
  // --idle on the display is refused.
  void idleCycles(const std::vector<std::string>& inputs, const std::function<void()>& firstShow) {
    Child& module = startModule("--idle 2 --seed 8");
    std::this_thread::sleep_for(400ms);  // its start: connections and questions
    EXPECT_TRUE(waits(module, 1000ms)) << module.stderrText();
    ASSERT_TRUE(drawsWithin(module, 5s)) << module.stderrText();
    firstShow();
    for (const std::string& input : inputs) {
      ASSERT_TRUE(input == "key" ? run({"wtype", "-s", "300", "x"}) : tool(input)) << input;
      EXPECT_TRUE(stopsWithin(module, 2s)) << input;
      EXPECT_TRUE(waits(module, 1000ms)) << input << ": back before the idle time";
      EXPECT_TRUE(drawsWithin(module, 5s)) << input << ": not back after the idle time";
    }
    startGuest({TAVREL_WL_TOOL, "window"});
    ASSERT_TRUE(tool(inputs.back()));
    EXPECT_TRUE(stopsWithin(module, 2s));
    EXPECT_TRUE(waits(module, 4000ms)) << "the inhibitor was not heeded";
    guests_.clear();
    EXPECT_TRUE(drawsWithin(module, 5s)) << "not back once the inhibitor went";
    Child& second = startModule("--idle 2");
    EXPECT_EQ(second.waitExit(2s), 1);
    EXPECT_NE(second.stderrText().find("already running"), std::string::npos);
    EXPECT_FALSE(module.waitExit(0ms)) << module.stderrText();
  }

  // --lock-after 2 with a lock command that notes when it ran: it runs once
  // the pictures have shown that long, with the pictures down, and the
  // pictures stay away after it.
  void lockCommand(const std::string& screenNow = "") {
    const fs::path noted = dir_ / "locked";
    Child& module = *modules_.emplace_back(std::make_unique<Child>(
        std::vector<std::string>{TAVREL_SAVER, "--idle", "1", "--lock-after", "2", "--lock-command",
                                 "date +%s.%N >>'" + noted.string() + "'; " + screenNow}));
    ASSERT_TRUE(drawsWithin(module, 5s)) << module.stderrText();
    const double shown =
        std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
    EXPECT_TRUE(stopsWithin(module, 4s));
    eventually(2s, [&] { return fs::exists(noted); });
    double ran = 0;
    ASSERT_TRUE(std::ifstream(noted) >> ran) << "the lock command did not run";
    // The pictures are seen drawing half a second after they came, at worst.
    EXPECT_GE(ran - shown, 2 - 0.6) << "before its time";
    EXPECT_LE(ran - shown, 2 + 1.0) << "a second late";
    EXPECT_TRUE(waits(module, 2500ms)) << "pictures again over the locker";
  }

  std::optional<Shot> shot(const std::string& output) override {
    const fs::path file = dir_ / ("shot-" + output + ".png");
    return run({"grim", "-o", output, file.string()}) ? readShot(file) : std::nullopt;
  }

  std::optional<Child> compositor_;
  std::vector<std::unique_ptr<Child>> guests_;
};

class SaverWayland : public Desktop {
 protected:
  void SetUp() override {
    if (lacks({"sway", "swaymsg", "grim", "wtype", "setpriv"})) return;
    Desktop::SetUp();
    std::ofstream(dir_ / "config") << "xwayland disable\ndefault_border none\n";
    ASSERT_TRUE(startCompositor(
        {"sway", "-c", (dir_ / "config").string()}, [this] { return ready(); },
        {"WLR_BACKENDS=headless", "WLR_RENDERER=pixman", "WLR_LIBINPUT_NO_DEVICES=1"}))
        << "sway did not start: " << compositor_->stderrText();
  }

  // Sway names its sockets itself.
  bool ready() {
    for (const auto& entry : fs::directory_iterator(dir_.path)) {
      const std::string name = entry.path().filename();
      if (name.starts_with("wayland-") && !name.ends_with(".lock"))
        setenv("WAYLAND_DISPLAY", name.c_str(), 1);
      if (name.starts_with("sway-ipc.")) setenv("SWAYSOCK", entry.path().c_str(), 1);
    }
    return std::getenv("WAYLAND_DISPLAY") && std::getenv("SWAYSOCK") && swaymsg("-t get_version");
  }
  static bool swaymsg(const std::string& command) {
    std::vector<std::string> argv = words(command);
    argv.insert(argv.begin(), {"swaymsg", "-q"});
    return run(argv);
  }
  // Whether the output comes to show `colour` everywhere, as a locker or a
  // desktop does and the pictures never do.
  bool showsOnly(const std::string& output, Colour colour) {
    return shows(output, [&](const Shot& s) {
      return std::ranges::count(s.pixels, colour) == std::ssize(s.pixels);
    });
  }
};

// The wallpaper on sway, on two outputs side by side, the second at scale 2:
// each shows the tile in its own device pixels, all on one grid over the
// layout, so that it runs on unbroken across the seam.
TEST_F(SaverWayland, TheWallpaperTileRunsOnAcrossTwoOutputs) {
  ASSERT_TRUE(
      swaymsg("create_output ; output HEADLESS-1 mode 1000x700 position 0 0 ; "
              "output HEADLESS-2 mode 1600x1200 scale 2 position 1000 0"));
  // The file is the compositor's to read.
  setenv("XDG_DATA_HOME", (dir_ / "data").c_str(), 1);
  ASSERT_TRUE(
      run({TAVREL_RENDER, "--wallpaper", "--generator", "pattern", "--seed", "9", "--no-history"}));
  const ImageData tile = rendered("--generator pattern --seed 9", 1)[0];
  // The layout's zoom is 1 (the larger output, 1000x700 layout pixels); the
  // second output's layout pixels are 2 device pixels each way and begin
  // at x = 1000, 20 pixels into a tile.
  const std::tuple<const char*, int, int, int, int> outputs[] = {
      {"HEADLESS-1", 0, 1, 1000, 700}, {"HEADLESS-2", 1000, 2, 1600, 1200}};
  for (const auto& [name, left, scale, width, height] : outputs) {
    ImageData want{width, height, {}};  // once swaybg has drawn it
    for (int y = 0; y < height; ++y)
      for (int x = 0; x < width; ++x)
        want.pixels.push_back(tile.at(1 + (left + x / scale) % 98, 1 + y / scale % 98));
    EXPECT_TRUE(shows(
        name, [&](const Shot& s) { return s == want; }, 5s))
        << name << ": the tile is not on the one grid";
  }
}

// Two outputs of different sizes, one of them at scale 2; one added and one
// taken away while it runs, and one whose scale changes. A daemon must tell
// a lost compositor from a dismissal: one line, status 1.
TEST_F(SaverWayland, EveryOutputShowsThePictureAsOutputsComeAndGo) {
  ASSERT_TRUE(
      swaymsg("create_output ; output HEADLESS-1 mode 1024x768 position 0 0 ; "
              "output HEADLESS-2 mode 2560x1440 scale 2 position 1024 0"));
  const auto pictures = rendered("--seed 5", 2);
  const ImageData& picture = pictures[0];
  // With no window option, WAYLAND_DISPLAY chooses Wayland.
  Child& module = startModule("--seed 5");
  const auto first = waitOn("HEADLESS-1", picture);
  ASSERT_TRUE(first) << module.stderrText();
  // Crisp at scale 2: the picture matched pixel for pixel in device pixels,
  // and it travels in whole blocks of the zoom, 3 at 2560x1440.
  const auto large = waitOn("HEADLESS-2", picture);
  ASSERT_TRUE(large) << module.stderrText();
  EXPECT_EQ(large->x % 3 + large->y % 3, 0);
  EXPECT_TRUE(waitOn("HEADLESS-1", picture, [&](Place at) {
    return std::abs(at.x - first->x) >= 4 && std::abs(at.x - first->x) == std::abs(at.y - first->y);
  })) << "the picture does not travel diagonally";

  // Added later, and at scale 2 with a zoom of 2: the picture moves as a
  // surface of its own there, where at 2560x1440 (zoom 3) it is drawn into
  // buffers that cover the output.
  ASSERT_TRUE(swaymsg("create_output ; output HEADLESS-3 mode 2048x1536 scale 2 position 0 1440"));
  const auto added = waitOn("HEADLESS-3", picture);
  ASSERT_TRUE(added) << "nothing on an output added later";
  EXPECT_TRUE(waitOn("HEADLESS-3", picture, [&](Place at) {
    return at.x != added->x && (at.x - added->x) % 2 + (at.y - added->y) % 2 == 0;
  })) << "the picture does not travel in whole blocks at scale 2";
  // An output that goes away takes its surface along; back, it has a new one.
  ASSERT_TRUE(swaymsg("output HEADLESS-3 disable"));
  EXPECT_FALSE(module.waitExit(300ms)) << module.stderrText();
  EXPECT_TRUE(waitOn("HEADLESS-1", picture));
  ASSERT_TRUE(swaymsg("output HEADLESS-3 enable"));
  EXPECT_TRUE(waitOn("HEADLESS-3", picture)) << "nothing on an output back again";
  // A scale that changes on a live output: the same device pixels.
  ASSERT_TRUE(swaymsg("output HEADLESS-1 scale 2 ; output HEADLESS-3 scale 1"));
  for (const char* name : {"HEADLESS-1", "HEADLESS-3"})
    EXPECT_TRUE(waitOn(name, picture)) << name << ": not at its pixels after a scale change";
  // SIGUSR1: the next picture everywhere, long before the interval.
  module.signal(SIGUSR1);
  EXPECT_TRUE(waitOn("HEADLESS-1", pictures[1]));
  EXPECT_TRUE(waitOn("HEADLESS-2", pictures[1]));

  compositor_->signal(SIGTERM);
  EXPECT_EQ(module.waitExit(1000ms), 1);
  EXPECT_EQ(module.stderrText(), "tavrel-saver: lost the connection to the Wayland compositor\n");
}

// Where the compositor offers no layer-shell: a full-screen xdg-shell window
// on each output, at every scale; the key that ends them never reaches the
// application that has the focus after them. Nothing is drawn that nobody can
// see: a window out of sight gets no frame callbacks (as on outputs that are
// off, which headless compositors cannot switch off), and the module wakes
// for nothing until it is seen again. Told to keep on, input does not end it
// (the frame rate shows in the corner with --fps); a signal does, as it says.
TEST_F(SaverWayland, FullScreenWindowsWithoutLayerShell) {
  ASSERT_TRUE(swaymsg("create_output ; output HEADLESS-2 mode 2560x1440 scale 2 position 1280 0"));
  Child& application = startGuest({TAVREL_WL_TOOL, "window"});
  setenv("TAVREL_SAVER_SHELL", "xdg", 1);
  const ImageData picture = rendered("--seed 12 --generator pattern", 1)[0];
  Child& module = startModule("--wayland --seed 12 --generator pattern");
  EXPECT_TRUE(waitOn("HEADLESS-1", picture)) << module.stderrText();
  EXPECT_TRUE(waitOn("HEADLESS-2", picture)) << module.stderrText();
  ASSERT_TRUE(run({"wtype", "-s", "300", "x"}));
  EXPECT_EQ(module.waitExit(1000ms), 0);
  EXPECT_EQ(application.stderrText(), "");

  Child& unseen = startModule("--wayland --no-input-exit --seed 4 --fps");
  EXPECT_TRUE(shows("HEADLESS-2", textShown)) << "no frame rate in the corner";
  ASSERT_TRUE(run({"wtype", "-s", "300", "x"}) && tool("move 40 30") && tool("press"));
  EXPECT_FALSE(unseen.waitExit(500ms));
  EXPECT_TRUE(shows("HEADLESS-2", textShown));
  ASSERT_TRUE(swaymsg("[app_id=tavrel-saver] move scratchpad"));
  EXPECT_TRUE(stopsWithin(unseen, 1s));
  EXPECT_TRUE(waits(unseen, 2000ms)) << "drawing out of sight";
  ASSERT_TRUE(swaymsg("[app_id=tavrel-saver] scratchpad show"));
  EXPECT_TRUE(drawsWithin(unseen, 2s));
  unseen.signal(SIGINT);
  EXPECT_EQ(unseen.waitExit(1000ms), 128 + SIGINT);
}

// --idle on sway, which tells idleness by org_kde_kwin_idle: the first show
// covers the output as --wayland does.
TEST_F(SaverWayland, IdleByKeysPointerAndAnInhibitor) {
  const ImageData picture = rendered("--seed 8", 1)[0];
  idleCycles({"key", "press", "move 40 30"}, [&] { EXPECT_TRUE(waitOn("HEADLESS-1", picture)); });
}

// The lock command runs with the pictures down: what the output shows then
// is sway's grey. A locker that comes over the pictures (swaylock, which
// takes the keyboard) stops them at once, and nothing of them is left after
// it. The README's lines: the module resident, and swayidle for the lock
// alone, whose -w waits for each command it runs, so the module is not one.
TEST_F(SaverWayland, LockCommandLockersAndSwayidle) {
  if (lacks({"swaylock", "swayidle"})) return;
  const fs::path atLock = dir_ / "at-lock.png";
  lockCommand("grim -o HEADLESS-1 '" + atLock.string() + "'");
  const auto shown = readShot(atLock);
  EXPECT_TRUE(shown && std::ranges::count(shown->pixels, kGrey) == shown->width * shown->height);

  const std::vector<std::string> lockers[] = {
      {"swaylock", "-c", "336699"},
      {"swayidle", "-w", "timeout", "3", "swaylock -f -c 336699", "before-sleep",
       "swaylock -f -c 336699"},
  };
  for (const auto& locker : lockers) {
    modules_.clear();
    // A keyboard for the locker to take; it would type after 60 s.
    startGuest({"wtype", "-s", "60000", "x"});
    Child& module = startModule("--idle 1 --seed 2");
    ASSERT_TRUE(drawsWithin(module, 5s)) << locker[0] << ": " << module.stderrText();
    startGuest(locker);
    EXPECT_TRUE(stopsWithin(module, 5s)) << locker[0] << ": drawing behind the locker";
    EXPECT_TRUE(showsOnly("HEADLESS-1", 0x996633)) << locker[0];
    EXPECT_TRUE(waits(module, 2500ms)) << locker[0] << ": pictures over the locker";
    // Unlocked (swaylock -f has left the tests' reach: it goes with sway).
    guests_.clear();
    if (locker[0] == "swaylock") {
      EXPECT_TRUE(showsOnly("HEADLESS-1", kGrey)) << "pictures left after the lock";
    }
  }
}

#ifdef TAVREL_APP
// The window natively on Wayland: its black start screen, under the name of
// its desktop entry; it quits when the compositor closes it.
TEST_F(SaverWayland, TheWindowRunsNatively) {
  setenv("QT_QPA_PLATFORM", "wayland", 1);
  // Qt 6.4's Wayland plugin leaves the globals it bound at exit (wl_shm,
  // wl_compositor ...): a sanitized build would report them as its own.
  setenv("ASAN_OPTIONS", "detect_leaks=0", 1);
  // A bus of its own: whatever it would start there (a desktop portal)
  // cannot be started, and nothing outlives the test.
  Child app(privateBus({"sh", "-c", "cd '" TAVREL_SAMPLES "' && exec '" TAVREL_APP "'"}));
  const auto black = [](const Shot& s) {
    return std::ranges::count(s.pixels, kBlack) > std::ssize(s.pixels) / 2;
  };
  EXPECT_TRUE(shows("HEADLESS-1", black, 10s)) << "no start screen: " << app.stderrText();
  ASSERT_TRUE(swaymsg("[app_id=io.github.tavrel.Tavrel] kill"));
  EXPECT_EQ(app.waitExit(10s), 0) << app.stderrText();
}
#endif

// KWin, headless, on a bus of its own: it tells idleness by
// ext-idle-notify-v1 and takes input from its fake input, which it gives to
// clients of its own user. Its binary carries a file capability that a
// container may not grant, so a copy without it runs.
TEST_F(Desktop, KWinIdleByKeysPointerAndAnInhibitorAndTheLockCommand) {
  if (lacks({"kwin_wayland", "dbus-run-session", "setpriv"})) return;
  const fs::path kwin = dir_ / "kwin_wayland";
  fs::copy_file("/usr/bin/kwin_wayland", kwin);
  ASSERT_TRUE(startCompositor(privateBus({kwin.string(), "--virtual", "--no-lockscreen", "--socket",
                                          "wayland-t", "--width", "1024", "--height", "768"}),
                              [this] { return fs::exists(dir_ / "wayland-t"); },
                              {"KWIN_WAYLAND_NO_PERMISSION_CHECKS=1"}))
      << "kwin did not start: " << compositor_->stderrText();
  setenv("WAYLAND_DISPLAY", "wayland-t", 1);
  idleCycles({"key 30", "press", "move 20 20"}, [] {});
  modules_.clear();
  lockCommand();
}

// Weston tells no idleness: --idle says so in one line; the pictures come
// by hand, full-screen windows as weston has no layer-shell.
TEST_F(Desktop, WestonByHandOnly) {
  if (lacks({"weston", "setpriv"})) return;
  ASSERT_TRUE(startCompositor({"weston", "--backend=headless-backend.so", "--socket=wayland-w"},
                              [this] { return fs::exists(dir_ / "wayland-w"); }))
      << compositor_->stderrText();
  setenv("WAYLAND_DISPLAY", "wayland-w", 1);
  Child& idle = startModule("--idle 300");
  EXPECT_EQ(idle.waitExit(2s), 1);
  EXPECT_TRUE(idle.stderrText().starts_with("tavrel-saver: the desktop tells no idleness: "))
      << idle.stderrText();
  Child& module = startModule("--wayland --seed 1");
  EXPECT_TRUE(drawsWithin(module, 5s)) << module.stderrText();
}

TEST(SaverWaylandMissing, NoCompositorGivesOneLineAndExitOne) {
  const testing_support::TempDir runtime;
  const std::tuple<const char*, std::string> cases[] = {
      {runtime.path.c_str(), "cannot connect to the Wayland compositor 'tavrel-none'"},
      {nullptr, "cannot connect to the Wayland compositor: XDG_RUNTIME_DIR is not set"},
      {"", "cannot connect to the Wayland compositor: XDG_RUNTIME_DIR is not set"},
  };
  for (const auto& [folder, says] : cases) {
    folder ? setenv("XDG_RUNTIME_DIR", folder, 1) : unsetenv("XDG_RUNTIME_DIR");
    setenv("WAYLAND_DISPLAY", "tavrel-none", 1);
    for (const char* how : {"--wayland", "--idle=60"}) {
      Child module({TAVREL_SAVER, how});
      EXPECT_EQ(module.waitExit(2000ms), 1) << says;
      EXPECT_EQ(module.stderrText(), "tavrel-saver: " + says + "\n");
    }
  }
}

}  // namespace
}  // namespace tavrel::saver::test
