// The module as the daemons run it: a real X server, a window that the
// "daemon" (this test) owns, the module drawing in it, signals to end it.
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <charconv>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>

#include "history/history.h"
#include "saver_process.h"
#include "x_probe.h"

namespace tavrel::saver::test {
namespace {

std::string hex(std::uint32_t id) {
  char text[16] = "0x";
  return {text, std::to_chars(text + 2, text + sizeof text, id, 16).ptr};
}

// Each test: an Xvfb of its own, the test's connection to it, and the module.
class SaverX : public ::testing::Test {
 protected:
  bool openDisplay(const std::string& screen) {
    int fds[2];
    if (pipe(fds) != 0) return false;
    server_.emplace(std::vector<std::string>{"Xvfb", "-displayfd", std::to_string(fds[1]),
                                             "-screen", "0", screen, "-nolisten", "tcp", "-br",
                                             "-noreset"});
    close(fds[1]);
    // The server writes its display number once it accepts connections.
    pollfd p{fds[0], POLLIN, 0};
    char number[16] = {};
    if (poll(&p, 1, 10000) <= 0 || read(fds[0], number, sizeof number - 1) <= 0) return false;
    close(fds[0]);
    setenv("DISPLAY", std::string(":").append(std::to_string(std::atoi(number))).c_str(), 1);
    unsetenv("TAVREL_SCALE");
    unsetenv("WAYLAND_DISPLAY");
    c_ = xcb_connect(nullptr, nullptr);
    screen_ = xcb_setup_roots_iterator(xcb_get_setup(c_)).data;
    return xcb_connection_has_error(c_) == 0;
  }
  void TearDown() override {
    modules_.clear();
    if (c_) xcb_disconnect(c_);
  }

  // A window as a daemon makes one: white, mapped, a child of the root.
  xcb_window_t hostWindow(std::int16_t x, std::int16_t y, std::uint16_t w, std::uint16_t h) {
    const xcb_window_t win = xcb_generate_id(c_);
    xcb_create_window(c_, XCB_COPY_FROM_PARENT, win, screen_->root, x, y, w, h, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, screen_->root_visual, XCB_CW_BACK_PIXEL,
                      &screen_->white_pixel);
    xcb_map_window(c_, win);
    std::free(xcb_get_input_focus_reply(c_, xcb_get_input_focus(c_), nullptr));
    return win;
  }

  // The module with these options, the daemon's variable set to `window`
  // unless that is empty.
  Child& startModule(const std::string& options, const std::string& window = "") {
    std::vector<std::string> args{TAVREL_SAVER};
    std::istringstream words(options);
    for (std::string w; words >> w;) args.push_back(w);
    window.empty() ? unsetenv("XSCREENSAVER_WINDOW")
                   : setenv("XSCREENSAVER_WINDOW", window.c_str(), 1);
    return *modules_.emplace_back(std::make_unique<Child>(args));
  }

  // Where the picture stands once it shows in the window alone on black,
  // mirror-symmetric, at a place `wanted`.
  std::optional<Place> waitForPicture(
      xcb_window_t win, const ImageData& picture, int zoom = 1,
      const std::function<bool(Place)>& wanted = [](Place) { return true; }) {
    for (const auto end = Clock::now() + 2s; Clock::now() < end;
         std::this_thread::sleep_for(10ms)) {
      const auto shot = grab(c_, win);
      const auto at = shot ? locate(*shot, picture, zoom) : std::nullopt;
      if (at && aloneOnBlack(*shot, *at, zoom) && wanted(*at)) return at;
    }
    return std::nullopt;
  }

  std::optional<Child> server_;
  xcb_connection_t* c_ = nullptr;
  xcb_screen_t* screen_ = nullptr;
  std::vector<std::unique_ptr<Child>> modules_;
};

TEST_F(SaverX, InTheGivenWindowOnlyAPictureThatMovesIsReplacedAndEndsOnSigterm) {
  ASSERT_TRUE(openDisplay("640x480x24"));
  const auto pictures = rendered("--seed 11", 2);
  const ImageData &first = pictures[0], &second = pictures[1];
  const xcb_window_t host = hostWindow(60, 40, 400, 300);
  Child& module = startModule("--window-id " + hex(host) + " --seed 11 --interval 1");
  const auto shown = waitForPicture(host, first);
  ASSERT_TRUE(shown) << module.stderrText();
  // Held up a moment, as on a busy machine, it catches up in one jump. It
  // travels diagonally; the strips it leaves and the screen around its
  // window stay black, and it made no window.
  module.signal(SIGSTOP);
  std::this_thread::sleep_for(100ms);
  module.signal(SIGCONT);
  const auto moved = waitForPicture(screen_->root, first, 1,
                                    [&](Place at) { return std::abs(at.x - 60 - shown->x) >= 8; });
  ASSERT_TRUE(moved);
  EXPECT_EQ(std::abs(moved->x - 60 - shown->x), std::abs(moved->y - 40 - shown->y));
  const Reply<xcb_query_tree_reply_t> tree(
      xcb_query_tree_reply(c_, xcb_query_tree(c_, screen_->root), nullptr));
  EXPECT_EQ(xcb_query_tree_children_length(tree.get()), 1);  // the host window
  EXPECT_TRUE(waitForPicture(host, second));
  // It ends as the signal says, so the daemon sees a module it stopped.
  module.signal(SIGTERM);
  EXPECT_EQ(module.waitExit(1000ms), 128 + SIGTERM);
}

// A server that stops reading: the module's uploads fill the connection and
// its write blocks; SIGTERM still ends it within a second.
TEST_F(SaverX, SigtermEndsItWhileTheServerIsStalled) {
  ASSERT_TRUE(openDisplay("640x480x24"));
  const xcb_window_t host = hostWindow(0, 0, 640, 480);
  setenv("TAVREL_SCALE", "4", 1);  // pictures of 666 kB each
  Child& module = startModule("--window-id " + hex(host) + " --seed 4");
  ASSERT_TRUE(waitForPicture(host, rendered("--seed 4", 1)[0], 4)) << module.stderrText();
  server_->signal(SIGSTOP);
  for (int i = 0; i < 3; ++i) {
    module.signal(SIGUSR1);
    std::this_thread::sleep_for(300ms);
  }
  module.signal(SIGTERM);
  EXPECT_EQ(module.waitExit(1000ms), 128 + SIGTERM);
  server_->signal(SIGCONT);
}

// On a 16-bit screen: the root window in crisp pixel pairs, and a settings
// dialog's preview, one device pixel a program pixel, until it is destroyed.
TEST_F(SaverX, SixteenBitRootWindowAndAPreviewUntilItIsDestroyed) {
  ASSERT_TRUE(openDisplay("1920x1080x16"));
  const std::string pattern = "--seed 30 --generator pattern --colors basic --detail 5";
  Child& root = startModule("--root " + pattern);
  const auto onRoot = waitForPicture(screen_->root, rendered(pattern, 1)[0], 2);
  ASSERT_TRUE(onRoot) << root.stderrText();
  EXPECT_EQ(onRoot->x % 2 + onRoot->y % 2, 0);

  const auto pictures = rendered("--seed 3", 2);
  const ImageData &first = pictures[0], &second = pictures[1];
  // A decimal id given outright wins over the daemon's variable.
  const xcb_window_t preview = hostWindow(0, 0, 200, 150);
  Child& module =
      startModule("-window-id " + std::to_string(preview) + " -seed 3", hex(screen_->root));
  ASSERT_TRUE(waitForPicture(preview, first)) << module.stderrText();
  // SIGUSR1: the next picture, long before the 10-second interval.
  module.signal(SIGUSR1);
  EXPECT_TRUE(waitForPicture(preview, second));
  // The daemon destroys its window: the module ends, quietly.
  xcb_destroy_window(c_, preview);
  xcb_flush(c_);
  EXPECT_EQ(module.waitExit(1000ms), 0);
  EXPECT_EQ(module.stderrText(), "");
}

// An 8-bit screen with a colour map: the colours a picture needs are
// allocated, every pixel exact; a picture with more colours than the map
// holds shows in the nearest ones.
TEST_F(SaverX, EightBitScreenWithAColourMap) {
  ASSERT_TRUE(openDisplay("640x480x8"));
  const auto* visual = xcb_depth_visuals(xcb_screen_allowed_depths_iterator(screen_).data);
  if (screen_->root_depth != 8 || visual->_class != XCB_VISUAL_CLASS_PSEUDO_COLOR)
    GTEST_SKIP() << "Xvfb gave no 8-bit colour map";
  const std::string basic = "--seed 6 --colors basic";
  Child& module = startModule("--root " + basic + " --interval 1");
  const auto pictures = rendered(basic, 2);
  EXPECT_TRUE(waitForPicture(screen_->root, pictures[0])) << module.stderrText();
  EXPECT_TRUE(waitForPicture(screen_->root, pictures[1])) << module.stderrText();
  module.signal(SIGTERM);
  EXPECT_EQ(module.waitExit(1000ms), 128 + SIGTERM);

  // Every free cell taken by another client, set to a colour cube of five
  // levels a channel: the module's picture shows in the cube's nearest colours.
  std::vector<std::uint32_t> taken;
  for (;;) {
    const Reply<xcb_alloc_color_cells_reply_t> r(xcb_alloc_color_cells_reply(
        c_, xcb_alloc_color_cells(c_, 0, screen_->default_colormap, 1, 0), nullptr));
    if (!r) break;
    taken.push_back(xcb_alloc_color_cells_pixels(r.get())[0]);
  }
  ASSERT_GE(taken.size(), 125u);
  std::vector<xcb_coloritem_t> cube;
  for (std::uint32_t i = 0; i < 125; ++i) {
    const auto level = [&](int n) { return static_cast<std::uint16_t>(n % 5 * 0x3FFF); };
    cube.push_back({taken[i], level(static_cast<int>(i)), level(static_cast<int>(i) / 5),
                    level(static_cast<int>(i) / 25),
                    XCB_COLOR_FLAG_RED | XCB_COLOR_FLAG_GREEN | XCB_COLOR_FLAG_BLUE, 0});
  }
  xcb_store_colors(c_, screen_->default_colormap, static_cast<std::uint32_t>(cube.size()),
                   cube.data());
  Child& nearest = startModule("--root " + basic);
  // What the picture looks like in the map's nearest colours.
  std::vector<std::uint32_t> cells(256);
  for (std::uint32_t i = 0; i < 256; ++i) cells[i] = i;
  const Reply<xcb_query_colors_reply_t> map(xcb_query_colors_reply(
      c_, xcb_query_colors(c_, screen_->default_colormap, 256, cells.data()), nullptr));
  ASSERT_TRUE(map);
  ImageData expected = pictures[0];
  for (Colour& c : expected.pixels) {
    const Colour wanted = c;
    long best = -1;
    for (int i = 0; i < 256; ++i) {
      const xcb_rgb_t& v = xcb_query_colors_colors(map.get())[i];
      long d = 0;
      for (auto [level, shift] : {std::pair{v.red, 0}, {v.green, 8}, {v.blue, 16}})
        d += ((level >> 8) - static_cast<long>(wanted >> shift & 0xFF)) *
             ((level >> 8) - static_cast<long>(wanted >> shift & 0xFF));
      if (best < 0 || d < best)
        best = d, c = static_cast<Colour>(v.red >> 8 | (v.green >> 8) << 8 | (v.blue >> 8) << 16);
    }
  }
  EXPECT_NE(expected, pictures[0]);
  EXPECT_TRUE(waitForPicture(screen_->root, expected)) << nearest.stderrText();
}

// Only its own window's going is a quiet end (above): another error of the
// server's, or a lost connection, is one line and status 1, which a daemon
// can tell from a dismissal.
TEST_F(SaverX, OtherXErrorsAndALostConnectionAreOneLineAndStatusOne) {
  ASSERT_TRUE(openDisplay("320x240x24"));
  // Another client frees the graphics context the module made right after
  // its window (X resources have no owner), or has the server close the
  // module's connection.
  const std::tuple<const char*, std::function<void(xcb_window_t)>, std::string> cases[] = {
      {"a request refused", [&](xcb_window_t own) { xcb_free_gc(c_, own + 1); },
       "tavrel-saver: the X server refused a request: BadGC"},
      {"the connection cut", [&](xcb_window_t own) { xcb_kill_client(c_, own); },
       "tavrel-saver: lost the connection to the display '" + std::string(std::getenv("DISPLAY")) +
           "'"},
  };
  for (const auto& [what, act, says] : cases) {
    Child& module = startModule("--window --seed 1");
    // Its window, once mapped: its graphics context is made by then.
    xcb_window_t own = XCB_NONE;
    for (const auto end = Clock::now() + 2s; own == XCB_NONE && Clock::now() < end;) {
      const Reply<xcb_query_tree_reply_t> tree(
          xcb_query_tree_reply(c_, xcb_query_tree(c_, screen_->root), nullptr));
      if (xcb_query_tree_children_length(tree.get()) == 0) continue;
      const xcb_window_t w = xcb_query_tree_children(tree.get())[0];
      const Reply<xcb_get_window_attributes_reply_t> a(
          xcb_get_window_attributes_reply(c_, xcb_get_window_attributes(c_, w), nullptr));
      if (a && a->map_state == XCB_MAP_STATE_VIEWABLE) own = w;
    }
    ASSERT_NE(own, XCB_NONE) << what;
    act(own);
    xcb_flush(c_);
    EXPECT_EQ(module.waitExit(2000ms), 1) << what;
    const std::string err = module.stderrText();
    EXPECT_EQ(err.rfind(says, 0), 0u) << err;
    EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 1) << err;
  }
}

// A module on each of two monitors and the renderer, all adding to one
// history at once: every picture kept whole under a number of its own, and
// each made again from it as it was shown or written.
TEST_F(SaverX, TwoModulesAndTheRendererKeepOneHistory) {
  ASSERT_TRUE(openDisplay("640x480x24"));
  const testing_support::TempDir dir;
  setenv("XDG_STATE_HOME", (dir / "state").c_str(), 1);
  std::filesystem::create_directories(dir / "out");
  const std::string modules[] = {"--seed 21", "--seed 22 --generator pattern --colors basic"};
  for (const std::string& options : modules) startModule("--window --interval 1 " + options);
  Child renderer({TAVREL_RENDER, "--seed", "23", "--count", "40", "--out", dir / "out"});
  History history(dir / "state" / "tavrel", "tavrel-render");
  const auto shown = [&](std::uint32_t seed) {
    return std::ranges::count_if(history.entries(), [&](auto& e) { return e.seed == seed; });
  };
  ASSERT_EQ(renderer.waitExit(20s), 0) << renderer.stderrText();
  for (const auto end = Clock::now() + 10s; Clock::now() < end && (shown(21) < 3 || shown(22) < 3);)
    std::this_thread::sleep_for(100ms);
  for (auto& module : modules_) module->signal(SIGTERM);
  for (auto& module : modules_) EXPECT_EQ(module->waitExit(1000ms), 128 + SIGTERM);

  const auto entries = history.entries();
  ASSERT_GE(entries.size(), 46u);
  std::map<std::uint32_t, std::vector<ImageData>> moduleShows;
  for (std::uint32_t seed : {21u, 22u})
    moduleShows[seed] = rendered(modules[seed - 21], static_cast<int>(shown(seed)));
  for (std::size_t i = 0; i < entries.size(); ++i) {
    const HistoryEntry& e = entries[i];
    SCOPED_TRACE(e.number);
    EXPECT_EQ(e.number, i + 1);
    const std::string again = (dir / "again").string(), name = std::to_string(e.number);
    std::filesystem::create_directories(again);
    const std::string remake = "'" TAVREL_RENDER "' --no-history --from-history " + name +
                               " --out '" + again + "' >/dev/null";
    ASSERT_EQ(std::system(remake.c_str()), 0);
    const auto made = readPng(again + "/history-" + name + ".png");
    ASSERT_TRUE(made);
    if (e.program == "tavrel-render") {
      const auto bytes = [](const std::filesystem::path& p) {
        std::ifstream in(p, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), {});
      };
      EXPECT_TRUE(bytes(again + "/history-" + name + ".png") ==
                  bytes(dir / "out" / ("shape-23-" + std::to_string(e.place) + ".png")));
    } else {
      EXPECT_EQ(e.program, "tavrel-saver");
      EXPECT_EQ(made->image, moduleShows.at(*e.seed).at(e.place - 1));
    }
  }
}

// The wallpaper of a plain X11 desktop: the root window's pixmap holds the
// tile repeated over the whole screen, named in both properties; a second
// takes its place and the first pixmap is freed, so that a change a day
// leaks nothing.
TEST_F(SaverX, TheWallpaperIsTheRootPixmapAndTheOneBeforeIsFreed) {
  ASSERT_TRUE(openDisplay("1280x800x24"));
  const testing_support::TempDir dir;
  setenv("XDG_DATA_HOME", dir.path.c_str(), 1);
  unsetenv("XDG_CURRENT_DESKTOP");
  unsetenv("SWAYSOCK");
  const auto rootPixmap = [&](const char* name) {
    const Reply<xcb_intern_atom_reply_t> a(
        xcb_intern_atom_reply(c_, xcb_intern_atom(c_, 0, std::strlen(name), name), nullptr));
    const Reply<xcb_get_property_reply_t> p(xcb_get_property_reply(
        c_, xcb_get_property(c_, 0, screen_->root, a->atom, XCB_ATOM_PIXMAP, 0, 1), nullptr));
    return p && xcb_get_property_value_length(p.get()) == 4
               ? *static_cast<xcb_pixmap_t*>(xcb_get_property_value(p.get()))
               : XCB_NONE;
  };
  const auto alive = [&](xcb_pixmap_t p) {
    return Reply<xcb_get_geometry_reply_t>(
               xcb_get_geometry_reply(c_, xcb_get_geometry(c_, p), nullptr)) != nullptr;
  };
  std::vector<xcb_pixmap_t> set;
  for (const char* seed : {"7", "8"}) {
    const std::string command = "'" TAVREL_RENDER "' --wallpaper --generator pattern --seed " +
                                std::string(seed) + " --no-history >/dev/null";
    ASSERT_EQ(std::system(command.c_str()), 0) << command;
    const xcb_pixmap_t p = rootPixmap("_XROOTPMAP_ID");
    ASSERT_NE(p, XCB_NONE);
    EXPECT_EQ(rootPixmap("ESETROOT_PMAP_ID"), p);
    // The tile's pixels 1 to 98 over the whole screen, one device pixel
    // each at this size, in the pixmap and on the bare root window alike.
    const ImageData tile = rendered("--generator pattern --seed " + std::string(seed), 1)[0];
    for (xcb_drawable_t shown : {p, screen_->root}) {
      const auto shot = grab(c_, shown);
      ASSERT_TRUE(shot);
      ASSERT_EQ(std::pair(shot->width, shot->height), std::pair(1280, 800));
      for (int y = 0; y < 800; ++y)
        for (int x = 0; x < 1280; ++x)
          ASSERT_EQ(shot->at(x, y), tile.at(1 + x % 98, 1 + y % 98)) << x << "," << y;
    }
    set.push_back(p);
  }
  EXPECT_NE(set[0], set[1]);
  EXPECT_FALSE(alive(set[0]));
  EXPECT_TRUE(alive(set[1]));
}

TEST_F(SaverX, BadInputGivesOneLineAndAnExitStatus) {
  ASSERT_TRUE(openDisplay("320x240x24"));
  const std::tuple<const char*, const char*, int, std::string> cases[] = {
      {"--bogus", "", 2, "unknown option '--bogus'"},
      {"-interval 0", "", 2, "'0' is not a number of seconds"},
      {"--window-id zz", "", 2, "'zz' is not a window id"},
      {"-root", "junk", 2, "XSCREENSAVER_WINDOW 'junk'"},
      {"--window-id 0x1fffff0", "", 2, "there is no window 0x1fffff0"},
      {"", "0x1fffff0", 2, "there is no window 0x1fffff0"},
  };
  for (const auto& [args, variable, status, says] : cases) {
    Child& module = startModule(args, variable);
    EXPECT_EQ(module.waitExit(2000ms), status) << says;
    const std::string err = module.stderrText();
    EXPECT_NE(err.find(says), std::string::npos) << err;
    EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 1) << err;
  }
}

}  // namespace
}  // namespace tavrel::saver::test
