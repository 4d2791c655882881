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
#include <filesystem>
#include <functional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>

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
