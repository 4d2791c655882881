// The module as the daemons run it: a real X server, a window that the
// "daemon" (this test) owns, the module drawing in it, signals to end it.
#include <poll.h>
#include <xcb/xcb.h>

#include <charconv>
#include <cstring>

#include "history/history.h"
#include "saver_probe.h"

namespace tavrel::saver::test {
namespace {

template <typename T>
using Reply = std::unique_ptr<T, decltype([](T* p) { std::free(p); })>;

std::string hex(std::uint32_t id) {
  char text[16] = "0x";
  return {text, std::to_chars(text + 2, text + sizeof text, id, 16).ptr};
}

// Each test: an Xvfb of its own, the test's connection to it, and the module.
class SaverX : public ModuleTest {
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
    setenv("DISPLAY", (":" + std::to_string(std::atoi(number))).c_str(), 1);
    c_ = xcb_connect(nullptr, nullptr);
    screen_ = xcb_setup_roots_iterator(xcb_get_setup(c_)).data;
    root_ = screen_->root;
    return xcb_connection_has_error(c_) == 0;
  }
  void TearDown() override {
    ModuleTest::TearDown();
    if (c_) xcb_disconnect(c_);
  }

  // A window as a daemon makes one: white, mapped, a child of the root.
  xcb_window_t hostWindow(std::int16_t x, std::int16_t y, std::uint16_t w, std::uint16_t h) {
    const xcb_window_t win = xcb_generate_id(c_);
    xcb_create_window(c_, XCB_COPY_FROM_PARENT, win, root_, x, y, w, h, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, screen_->root_visual, XCB_CW_BACK_PIXEL,
                      &screen_->white_pixel);
    xcb_map_window(c_, win);
    sync();
    return win;
  }
  void sync() { std::free(xcb_get_input_focus_reply(c_, xcb_get_input_focus(c_), nullptr)); }
  std::vector<xcb_window_t> children() {
    const Reply<xcb_query_tree_reply_t> tree(
        xcb_query_tree_reply(c_, xcb_query_tree(c_, root_), nullptr));
    const xcb_window_t* first = xcb_query_tree_children(tree.get());
    return {first, first + xcb_query_tree_children_length(tree.get())};
  }

  std::optional<Shot> shot(const std::string& window) override {
    const fs::path file = dir_ / "shot.png";
    return run({"import", "-window", window, "png:" + file.string()}) ? readShot(file)
                                                                      : std::nullopt;
  }

  std::optional<Child> server_;
  xcb_connection_t* c_ = nullptr;
  xcb_screen_t* screen_ = nullptr;
  xcb_window_t root_ = XCB_NONE;
};

// The picture moves diagonally, the strips it leaves and the screen around
// its window stay black, and it makes no window; held up a moment, as on a
// busy machine, it catches up in one jump. It stays inside a window made
// smaller, the next picture comes after the interval, and it ends as the
// signal says, so the daemon sees a module it stopped. With --fps, the frame
// rate shows in the corner.
TEST_F(SaverX, InTheGivenWindowAPictureThatMovesIsReplacedAndEndsOnSigterm) {
  ASSERT_TRUE(openDisplay("640x480x24"));
  const auto pictures = rendered("--seed 11", 2);
  const xcb_window_t host = hostWindow(60, 40, 400, 300);
  Child& module = startModule("--window-id " + hex(host) + " --seed 11 --interval 2");
  const auto shown = waitOn(hex(host), pictures[0]);
  ASSERT_TRUE(shown) << module.stderrText();
  module.signal(SIGSTOP);
  std::this_thread::sleep_for(100ms);
  module.signal(SIGCONT);
  const auto moved =
      waitOn("root", pictures[0], [&](Place at) { return std::abs(at.x - 60 - shown->x) >= 8; });
  ASSERT_TRUE(moved);
  EXPECT_EQ(std::abs(moved->x - 60 - shown->x), std::abs(moved->y - 40 - shown->y));
  EXPECT_EQ(children(), std::vector<xcb_window_t>{host});
  // Made larger, the window's picture goes on along its diagonal, where a
  // new start would be in the middle.
  const std::uint32_t larger[] = {600, 400};
  xcb_configure_window(c_, host, XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT, larger);
  xcb_flush(c_);
  std::this_thread::sleep_for(500ms);
  EXPECT_TRUE(shows(hex(host), [&](const Shot& s) {
    for (const ImageData& p : pictures)
      if (const auto at = find(s, p))
        return std::abs(at->x + 60 - moved->x) == std::abs(at->y + 40 - moved->y);
    return false;
  }));
  const std::uint32_t smaller[] = {120, 110};
  xcb_configure_window(c_, host, XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT, smaller);
  xcb_flush(c_);
  EXPECT_TRUE(waitOn(hex(host), pictures[1], [](Place at) { return at.x <= 20 && at.y <= 10; }));
  module.signal(SIGTERM);
  EXPECT_EQ(module.waitExit(1000ms), 128 + SIGTERM);
  startModule("--window-id " + hex(host) + " --fps");
  EXPECT_TRUE(shows(hex(host), textShown)) << "no frame rate in the corner";
}

// A server that stops reading: the module's uploads fill the connection and
// its write blocks; SIGTERM still ends it within a second.
TEST_F(SaverX, SigtermEndsItWhileTheServerIsStalled) {
  ASSERT_TRUE(openDisplay("640x480x24"));
  const xcb_window_t host = hostWindow(0, 0, 640, 480);
  setenv("TAVREL_SCALE", "4", 1);  // pictures of 666 kB each
  Child& module = startModule("--window-id " + hex(host) + " --seed 4");
  ASSERT_TRUE(waitOn(hex(host), rendered("--seed 4", 1)[0])) << module.stderrText();
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
// dialog's preview, one device pixel a program pixel, then grown to the
// screen's size, until it is destroyed; with --fps, the frame rate over it.
TEST_F(SaverX, SixteenBitRootWindowAndAPreviewUntilItIsDestroyed) {
  ASSERT_TRUE(openDisplay("1920x1080x16"));
  const std::string pattern = "--seed 30 --generator pattern --colors basic --detail 5";
  Child& root = startModule("--root " + pattern);
  const auto onRoot = waitOn("root", rendered(pattern, 1)[0]);
  ASSERT_TRUE(onRoot) << root.stderrText();
  EXPECT_EQ(onRoot->x % 2 + onRoot->y % 2, 0);
  modules_.clear();

  const auto pictures = rendered("--seed 3", 2);
  // A decimal id given outright wins over the daemon's variable.
  const xcb_window_t preview = hostWindow(0, 0, 200, 150);
  setenv("XSCREENSAVER_WINDOW", hex(root_).c_str(), 1);
  Child& module = startModule("-window-id " + std::to_string(preview) + " -seed 3");
  ASSERT_TRUE(waitOn(hex(preview), pictures[0])) << module.stderrText();
  // SIGUSR1: the next picture, long before the 10-second interval.
  module.signal(SIGUSR1);
  EXPECT_TRUE(waitOn(hex(preview), pictures[1]));
  const std::uint32_t screen[] = {1920, 1080};
  xcb_configure_window(c_, preview, XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT, screen);
  xcb_flush(c_);
  EXPECT_TRUE(waitOn(hex(preview), pictures[1], [](Place at) { return at.x % 2 + at.y % 2 == 0; }));
  // The daemon destroys its window: the module ends, quietly.
  xcb_destroy_window(c_, preview);
  xcb_flush(c_);
  EXPECT_EQ(module.waitExit(1000ms), 0);
  EXPECT_EQ(module.stderrText(), "");
}

// An 8-bit screen with a colour map: the colours a picture needs are
// allocated, every pixel exact; with every free cell taken by another client
// and set to the colours of a cube of five levels a channel, the picture shows
// in the cube's nearest colours.
TEST_F(SaverX, EightBitScreenWithAColourMap) {
  ASSERT_TRUE(openDisplay("640x480x8"));
  const auto* visual = xcb_depth_visuals(xcb_screen_allowed_depths_iterator(screen_).data);
  if (screen_->root_depth != 8 || visual->_class != XCB_VISUAL_CLASS_PSEUDO_COLOR)
    GTEST_SKIP() << "Xvfb gave no 8-bit colour map";
  const std::string basic = "--seed 6 --colors basic";
  ImageData picture = rendered(basic, 1)[0];
  startModule("--root " + basic);
  EXPECT_TRUE(waitOn("root", picture));
  modules_.clear();  // its cells go back to the map with it
  static constexpr int kLevels[] = {0, 63, 127, 191, 255};
  std::vector<xcb_coloritem_t> cube;
  for (Reply<xcb_alloc_color_cells_reply_t> r;
       r.reset(xcb_alloc_color_cells_reply(
           c_, xcb_alloc_color_cells(c_, 0, screen_->default_colormap, 1, 0), nullptr)),
       r;) {
    const auto level = [n = cube.size()](std::size_t k) {
      return static_cast<std::uint16_t>(kLevels[n / k % 5] * 257);
    };
    cube.push_back({*xcb_alloc_color_cells_pixels(r.get()), level(1), level(5), level(25), 7, 0});
  }
  ASSERT_GE(cube.size(), 125u);
  xcb_store_colors(c_, screen_->default_colormap, static_cast<std::uint32_t>(cube.size()),
                   cube.data());
  for (Colour& c : picture.pixels)
    for (Colour was = std::exchange(c, 0); const int shift : {0, 8, 16})
      c |= static_cast<Colour>(*std::ranges::min_element(
               kLevels, {},
               [&](int l) { return std::abs(l - static_cast<int>(was >> shift & 0xFF)); }))
           << shift;
  startModule("--root " + basic);
  EXPECT_TRUE(waitOn("root", picture)) << "not in the map's nearest colours";
}

// Bad input, a window that isn't there, another error of the server's or a
// lost connection: one line and status 2 or 1, which a daemon can tell from
// a dismissal (only its own window's going is a quiet end, above). Another
// client frees the graphics context the module made right after its window
// (X resources have no owner), or has the server close its connection.
TEST_F(SaverX, BadInputAndFailuresAreOneLineAndAStatus) {
  ASSERT_TRUE(openDisplay("320x240x24"));
  const std::tuple<const char*, const char*, std::function<void(xcb_window_t)>, int, std::string>
      cases[] = {
          {"--bogus", "", nullptr, 2, "unknown option '--bogus' (see --help)"},
          {"-root", "junk", nullptr, 2, "XSCREENSAVER_WINDOW 'junk' is not a window id"},
          {"--window-id 0x1fffff0", "", nullptr, 2, "there is no window 0x1fffff0 on the display"},
          {"--window", "", [&](xcb_window_t own) { xcb_free_gc(c_, own + 1); }, 1,
           "the X server refused a request: BadGC"},
          {"--window", "", [&](xcb_window_t own) { xcb_kill_client(c_, own); }, 1,
           "lost the connection to the display '" + std::string(std::getenv("DISPLAY")) + "'"},
      };
  for (const auto& [args, variable, act, status, says] : cases) {
    *variable ? setenv("XSCREENSAVER_WINDOW", variable, 1) : unsetenv("XSCREENSAVER_WINDOW");
    Child& module = startModule(args);
    // Its window, once mapped: its graphics context is made by then.
    EXPECT_TRUE(!act || eventually(2s, [&] {
      const auto own = children();
      const Reply<xcb_get_window_attributes_reply_t> a(
          own.empty() ? nullptr
                      : xcb_get_window_attributes_reply(c_, xcb_get_window_attributes(c_, own[0]),
                                                        nullptr));
      return a && a->map_state == XCB_MAP_STATE_VIEWABLE && (act(own[0]), xcb_flush(c_) > 0);
    }));
    EXPECT_EQ(module.waitExit(2000ms), status) << args;
    const std::string err = module.stderrText();
    EXPECT_EQ(err.rfind("tavrel-saver: " + says, 0), 0u) << err;
    EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 1) << err;
  }
}

// A module on each of two monitors, both adding to one history at once:
// every picture kept under a number of its own, and each the module showed
// made again from it as it was shown.
TEST_F(SaverX, TwoModulesKeepOneHistory) {
  ASSERT_TRUE(openDisplay("640x480x24"));
  const std::string modules[] = {"--seed 21", "--seed 22 --generator pattern --colors basic"};
  for (const std::string& options : modules) startModule("--window --interval 1 " + options);
  History history(fs::path(std::getenv("XDG_STATE_HOME")) / "tavrel", "tavrel-render");
  const auto kept = [&](std::uint32_t seed) {
    return std::ranges::count_if(history.entries(), [&](auto& e) { return e.seed == seed; });
  };
  eventually(10s, [&] { return kept(21) >= 3 && kept(22) >= 3; });
  modules_.clear();
  const auto entries = history.entries();
  for (std::size_t i = 0; i < entries.size(); ++i) {
    const HistoryEntry& e = entries[i];
    const std::string name = std::to_string(e.number);
    EXPECT_EQ(e.number, i + 1);
    ASSERT_TRUE(e.program == "tavrel-saver" && (e.seed == 21u || e.seed == 22u)) << name;
    ASSERT_TRUE(run({TAVREL_RENDER, "--no-history", "--from-history", name, "--out", dir_.path}));
    const auto made = readPng(dir_ / ("history-" + name + ".png"));
    EXPECT_TRUE(made && made->image == rendered(modules[*e.seed - 21], e.place).back()) << name;
  }
}

// The wallpaper of a plain X11 desktop: the root window's pixmap holds the
// tile repeated over the whole screen, named in both properties; a second
// takes its place and the first pixmap is freed, so that a change a day
// leaks nothing.
TEST_F(SaverX, TheWallpaperIsTheRootPixmapAndTheOneBeforeIsFreed) {
  ASSERT_TRUE(openDisplay("1280x800x24"));
  const auto rootPixmap = [&](const char* name) {
    const Reply<xcb_intern_atom_reply_t> a(
        xcb_intern_atom_reply(c_, xcb_intern_atom(c_, 0, std::strlen(name), name), nullptr));
    const Reply<xcb_get_property_reply_t> p(xcb_get_property_reply(
        c_, xcb_get_property(c_, 0, root_, a->atom, XCB_ATOM_PIXMAP, 0, 1), nullptr));
    return p && xcb_get_property_value_length(p.get()) == 4
               ? *static_cast<xcb_pixmap_t*>(xcb_get_property_value(p.get()))
               : XCB_NONE;
  };
  const auto alive = [&](xcb_pixmap_t p) {
    return Reply<xcb_get_geometry_reply_t>(
               xcb_get_geometry_reply(c_, xcb_get_geometry(c_, p), nullptr)) != nullptr;
  };
  std::vector<xcb_pixmap_t> set;
  for (const std::string seed : {"7", "8"}) {
    ASSERT_TRUE(run(
        {TAVREL_RENDER, "--wallpaper", "--generator", "pattern", "--seed", seed, "--no-history"}));
    set.push_back(rootPixmap("_XROOTPMAP_ID"));
    ASSERT_NE(set.back(), XCB_NONE);
    EXPECT_EQ(rootPixmap("ESETROOT_PMAP_ID"), set.back());
    // The tile's pixels 1 to 98 over the whole screen, one device pixel
    // each at this size.
    const ImageData tile = rendered("--generator pattern --seed " + seed, 1)[0];
    std::vector<Colour> want;
    for (int i = 0; i < 1280 * 800; ++i)
      want.push_back(tile.at(1 + i % 1280 % 98, 1 + i / 1280 % 98));
    EXPECT_TRUE(shot("root") == (ImageData{1280, 800, want})) << seed;
  }
  EXPECT_NE(set[0], set[1]);
  EXPECT_FALSE(alive(set[0]));
  EXPECT_TRUE(alive(set[1]));
}

}  // namespace
}  // namespace tavrel::saver::test
