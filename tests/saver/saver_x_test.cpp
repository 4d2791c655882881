// The module as the daemons run it: a real X server, a window that the
// "daemon" (this test) owns, the module drawing in it, signals to end it.
#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <memory>
#include <thread>

#include "child_process.h"
#include "saver/show.h"
#include "x_probe.h"

namespace tavrel::saver::test {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr Colour kGrey = 0x404040;      // the host window's own background
constexpr Colour kDarkBlue = 0x800000;  // the root window's, around it

std::string hex(std::uint32_t id) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%x", id);
  return text;
}

// Tries until it holds or the time is up.
bool eventually(std::chrono::milliseconds limit, const std::function<bool()>& holds) {
  const auto end = Clock::now() + limit;
  do {
    if (holds()) return true;
    std::this_thread::sleep_for(20ms);
  } while (Clock::now() < end);
  return holds();
}

// The pictures the module shows with these options, in order.
std::vector<ImageData> expectedPictures(const Settings& s, std::uint32_t seed, int count) {
  Pictures pictures(s, seed, 400, 300);
  std::vector<ImageData> out;
  for (int i = 0; i < count; ++i) out.push_back(*pictures.next());
  return out;
}

class SaverX : public ::testing::Test {
 protected:
  explicit SaverX(const std::string& screen = "1920x1080x24") : server_(screen) {}

  void SetUp() override {
    c_ = xcb_connect(server_.display().c_str(), nullptr);
    ASSERT_EQ(xcb_connection_has_error(c_), 0);
    screen_ = xcb_setup_roots_iterator(xcb_get_setup(c_)).data;
    // A root of a colour the module never draws, to see that it stays put.
    const std::uint32_t back = pixel(kDarkBlue);
    xcb_change_window_attributes(c_, screen_->root, XCB_CW_BACK_PIXEL, &back);
    xcb_clear_area(c_, 0, screen_->root, 0, 0, 0, 0);
    sync();
  }
  void TearDown() override {
    module_.reset();
    xcb_disconnect(c_);
  }

  std::uint32_t pixel(Colour c) const { return (c & 0xFF) << 16 | (c & 0xFF00) | (c >> 16 & 0xFF); }
  void sync() { std::free(xcb_get_input_focus_reply(c_, xcb_get_input_focus(c_), nullptr)); }

  // A window as a daemon makes one: mapped, a child of the root.
  xcb_window_t hostWindow(int x, int y, int w, int h) {
    const xcb_window_t win = xcb_generate_id(c_);
    const std::uint32_t values[] = {pixel(kGrey)};
    xcb_create_window(c_, XCB_COPY_FROM_PARENT, win, screen_->root, static_cast<std::int16_t>(x),
                      static_cast<std::int16_t>(y), static_cast<std::uint16_t>(w),
                      static_cast<std::uint16_t>(h), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
                      screen_->root_visual, XCB_CW_BACK_PIXEL, values);
    xcb_map_window(c_, win);
    sync();
    return win;
  }

  ChildProcess& startModule(const std::vector<std::string>& args,
                            std::map<std::string, std::string> env = {}) {
    std::vector<std::string> argv{TAVREL_SAVER};
    argv.insert(argv.end(), args.begin(), args.end());
    env.emplace("DISPLAY", server_.display());
    env.emplace("XSCREENSAVER_WINDOW", "");
    env.emplace("TAVREL_SCALE", "");
    module_ = std::make_unique<ChildProcess>(argv, env);
    return *module_;
  }

  // Where the picture stands in the window, once it shows there.
  std::optional<Place> waitForPicture(xcb_window_t win, const ImageData& picture, int zoom = 1,
                                      std::chrono::milliseconds limit = 2000ms) {
    std::optional<Place> at;
    eventually(limit, [&] {
      const auto shot = grab(c_, win);
      at = shot ? locate(*shot, picture, zoom, 2 * zoom) : std::nullopt;
      return at.has_value();
    });
    return at;
  }

  XServer server_;
  xcb_connection_t* c_ = nullptr;
  xcb_screen_t* screen_ = nullptr;
  std::unique_ptr<ChildProcess> module_;
};

TEST_F(SaverX, DrawsTheRenderersPicturesInTheGivenWindowAndNowhereElse) {
  const auto pictures = expectedPictures(Settings{}, 11, 2);
  const auto before = topLevelWindows(c_);
  const xcb_window_t host = hostWindow(60, 40, 400, 300);
  ChildProcess& module = startModule({"--window-id", hex(host), "--seed", "11"});

  const auto first = waitForPicture(host, pictures[0]);
  ASSERT_TRUE(first) << module.stderrText();
  const auto shot = grab(c_, host);
  ASSERT_TRUE(shot);
  EXPECT_TRUE(aloneOnBlack(*shot, *first, 102));
  // The root around the window is untouched, and no window was added.
  const auto root = grab(c_, screen_->root, 0, 0, 600, 400);
  ASSERT_TRUE(root);
  int outside = 0;
  for (int y = 0; y < root->height; ++y)
    for (int x = 0; x < root->width; ++x)
      if (x < 60 || x >= 460 || y < 40 || y >= 340) outside += root->at(x, y) != kDarkBlue;
  EXPECT_EQ(outside, 0);
  EXPECT_EQ(topLevelWindows(c_).size(), before.size() + 1);

  // It travels diagonally.
  std::this_thread::sleep_for(300ms);
  const auto later = waitForPicture(host, pictures[0]);
  ASSERT_TRUE(later);
  const int dx = std::abs(later->x - first->x), dy = std::abs(later->y - first->y);
  EXPECT_GT(dx, 5);
  EXPECT_EQ(dx, dy);

  // Held up a moment, as on a busy machine, it catches up in one jump and
  // leaves nothing behind.
  module.signal(SIGSTOP);
  std::this_thread::sleep_for(200ms);
  module.signal(SIGCONT);
  std::this_thread::sleep_for(100ms);
  const auto after = grab(c_, host);
  ASSERT_TRUE(after);
  const auto jumped = locate(*after, pictures[0], 1, 2);
  ASSERT_TRUE(jumped);
  EXPECT_TRUE(aloneOnBlack(*after, *jumped, 102));

  // SIGUSR1: the next picture at once, long before the interval.
  module.signal(SIGUSR1);
  EXPECT_TRUE(waitForPicture(host, pictures[1], 1, 1000ms));
  EXPECT_TRUE(module.running());
}

TEST_F(SaverX, WindowFromTheDaemonsVariableOrADecimalIdWithOneDash) {
  const auto pictures = expectedPictures(Settings{}, 3, 1);
  const xcb_window_t a = hostWindow(0, 0, 300, 250);
  ChildProcess& viaVariable =
      startModule({"-root", "-seed", "3"}, {{"XSCREENSAVER_WINDOW", hex(a)}});
  EXPECT_TRUE(waitForPicture(a, pictures[0])) << viaVariable.stderrText();

  const xcb_window_t b = hostWindow(400, 0, 300, 250);
  ChildProcess& byNumber = startModule({"-window-id", std::to_string(b), "-seed", "3"});
  EXPECT_TRUE(waitForPicture(b, pictures[0])) << byNumber.stderrText();
}

TEST_F(SaverX, RootWindowInCrispPixelMultiples) {
  // 1920 x 1080: two device pixels a program pixel.
  const auto pictures = expectedPictures(Settings{}, 8, 1);
  ChildProcess& module = startModule({"--root", "--seed", "8", "--speed", "slow"});
  const auto at = waitForPicture(screen_->root, pictures[0], 2);
  ASSERT_TRUE(at) << module.stderrText();
  EXPECT_EQ(at->x % 2, 0);
  EXPECT_EQ(at->y % 2, 0);
}

TEST_F(SaverX, NextPictureAfterTheInterval) {
  Settings pattern;
  pattern.generator = Generator::pattern;
  const auto pictures = expectedPictures(pattern, 21, 3);
  const xcb_window_t host = hostWindow(0, 0, 400, 300);
  const auto start = Clock::now();
  startModule(
      {"--window-id", hex(host), "--seed", "21", "--interval", "1", "--generator", "pattern"});
  ASSERT_TRUE(waitForPicture(host, pictures[0]));
  ASSERT_TRUE(waitForPicture(host, pictures[1]));
  ASSERT_TRUE(waitForPicture(host, pictures[2]));
  // The third comes two intervals after the first, give or take a frame.
  EXPECT_GE(Clock::now() - start, 1900ms);
}

TEST_F(SaverX, SigtermEndsItWithinASecond) {
  const auto pictures = expectedPictures(Settings{}, 4, 1);
  const xcb_window_t host = hostWindow(0, 0, 400, 300);
  ChildProcess& module = startModule({"--window-id", hex(host), "--seed", "4"});
  ASSERT_TRUE(waitForPicture(host, pictures[0]));
  module.signal(SIGTERM);
  EXPECT_EQ(module.waitExit(1000ms), 0);
}

TEST_F(SaverX, EndsQuietlyWhenItsWindowIsDestroyed) {
  const auto pictures = expectedPictures(Settings{}, 4, 1);
  const xcb_window_t host = hostWindow(0, 0, 400, 300);
  ChildProcess& module = startModule({"--window-id", hex(host), "--seed", "4", "--fps"});
  ASSERT_TRUE(waitForPicture(host, pictures[0]));
  xcb_destroy_window(c_, host);
  sync();
  EXPECT_EQ(module.waitExit(1000ms), 0);
  EXPECT_EQ(module.stderrText(), "");
}

TEST_F(SaverX, PreviewShowsTheWholePictureAndFollowsResizes) {
  const auto pictures = expectedPictures(Settings{}, 6, 1);
  const xcb_window_t host = hostWindow(10, 10, 200, 150);
  ChildProcess& module = startModule({"--window-id", hex(host), "--seed", "6"});
  ASSERT_TRUE(waitForPicture(host, pictures[0])) << module.stderrText();
  // Over two seconds it reaches the edges; whatever it leaves out there is
  // the black of its frame.
  const ImageData& p = pictures[0];
  for (int i = 0; i < 10; ++i) {
    const auto shot = grab(c_, host);
    ASSERT_TRUE(shot);
    const auto at = locate(*shot, p, 1, 2);
    ASSERT_TRUE(at) << "shot " << i;
    for (int y = 0; y < p.height; ++y)
      for (int x = 0; x < p.width; ++x)
        if (at->x + x >= 200 || at->y + y >= 150) {
          ASSERT_TRUE(Shot::dark(p.at(x, y)));
        }
    std::this_thread::sleep_for(200ms);
  }
  // A smaller window: the picture moves inside it, the rest is black.
  const std::uint32_t size[] = {160, 120};
  xcb_configure_window(c_, host, XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT, size);
  sync();
  std::this_thread::sleep_for(300ms);
  const auto shot = grab(c_, host);
  ASSERT_TRUE(shot);
  const auto at = locate(*shot, p, 1, 2);
  ASSERT_TRUE(at);
  EXPECT_LE(at->x, 60);
  EXPECT_LE(at->y, 20);
  EXPECT_TRUE(aloneOnBlack(*shot, *at, 102));
}

TEST_F(SaverX, OwnWindowOnlyWhenAsked) {
  const auto pictures = expectedPictures(Settings{}, 2, 1);
  const auto before = topLevelWindows(c_);
  ChildProcess& module = startModule({"--window", "--seed", "2"});
  std::vector<xcb_window_t> now;
  ASSERT_TRUE(eventually(2000ms, [&] {
    return (now = topLevelWindows(c_)).size() > before.size();
  })) << module.stderrText();
  EXPECT_TRUE(waitForPicture(now.back(), pictures[0]));
}

TEST_F(SaverX, DeepWindowOfAnArgbVisual) {
  // Compositing lockers may hand over a 32-bit window; its spare bits are alpha.
  xcb_visualid_t visual = 0;
  for (auto d = xcb_screen_allowed_depths_iterator(screen_); d.rem; xcb_depth_next(&d))
    if (d.data->depth == 32)
      for (auto v = xcb_depth_visuals_iterator(d.data); v.rem; xcb_visualtype_next(&v))
        if (v.data->_class == XCB_VISUAL_CLASS_TRUE_COLOR) visual = v.data->visual_id;
  if (visual == 0) GTEST_SKIP() << "the server has no 32-bit visual";
  const xcb_colormap_t map = xcb_generate_id(c_);
  xcb_create_colormap(c_, XCB_COLORMAP_ALLOC_NONE, map, screen_->root, visual);
  const xcb_window_t host = xcb_generate_id(c_);
  const std::uint32_t values[] = {0, 0, map};
  xcb_create_window(c_, 32, host, screen_->root, 0, 0, 300, 200, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
                    visual, XCB_CW_BACK_PIXEL | XCB_CW_BORDER_PIXEL | XCB_CW_COLORMAP, values);
  xcb_map_window(c_, host);
  sync();
  const auto pictures = expectedPictures(Settings{}, 12, 1);
  ChildProcess& module = startModule({"--window-id", hex(host), "--seed", "12"});
  EXPECT_TRUE(waitForPicture(host, pictures[0])) << module.stderrText();
}

class SaverX16 : public SaverX {
 protected:
  SaverX16() : SaverX("640x480x16") {}
};

TEST_F(SaverX16, SixteenBitDisplay) {
  Settings pattern;
  pattern.generator = Generator::pattern;
  const auto pictures = expectedPictures(pattern, 30, 1);
  const xcb_window_t host = hostWindow(0, 0, 400, 300);
  ChildProcess& module =
      startModule({"--window-id", hex(host), "--seed", "30", "--generator", "pattern"});
  EXPECT_TRUE(waitForPicture(host, pictures[0])) << module.stderrText();
}

// How the module answers a command line it can't use, and a window that
// isn't there.
TEST_F(SaverX, BadInputGivesOneLineAndAnExitStatus) {
  struct Case {
    std::vector<std::string> args;
    std::map<std::string, std::string> env;
    int status;
    std::string says;
  };
  const Case cases[] = {
      {{"--bogus"}, {}, 2, "unknown option '--bogus'"},
      {{"-interval", "0"}, {}, 2, "'0' is not a number of seconds"},
      {{"--window-id", "zz"}, {}, 2, "'zz' is not a window id"},
      {{"--window-id"}, {}, 2, "--window-id needs a value"},
      {{"-root"}, {{"XSCREENSAVER_WINDOW", "junk"}}, 2, "XSCREENSAVER_WINDOW 'junk'"},
      {{"--window-id", "0x1fffff0"}, {}, 1, "there is no window 0x1fffff0"},
      {{"--root"}, {{"DISPLAY", ":99999"}}, 1, "cannot open the display ':99999'"},
  };
  for (const Case& c : cases) {
    ChildProcess& module = startModule(c.args, c.env);
    EXPECT_EQ(module.waitExit(2000ms), c.status) << c.says;
    const std::string err = module.stderrText();
    EXPECT_NE(err.find(c.says), std::string::npos) << err;
    EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 1) << err;
  }
  ChildProcess& help = startModule({"--help"});
  EXPECT_EQ(help.waitExit(2000ms), 0);
}

}  // namespace
}  // namespace tavrel::saver::test
