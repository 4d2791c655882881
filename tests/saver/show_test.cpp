#include "saver/show.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "canvas/image_io.h"

namespace tavrel::saver {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

TEST(SaverLayout, ScaleOfTheWindowInWholePixels) {
  EXPECT_EQ(layoutFor(1920, 1080, {}), (Layout{2, 960, 540}));
  EXPECT_EQ(layoutFor(3840, 2160, {}), (Layout{4, 960, 540}));
  EXPECT_EQ(layoutFor(2560, 1440, {}), (Layout{3, 853, 480}));
  EXPECT_EQ(layoutFor(1280, 1024, {}), (Layout{1, 1280, 1024}));
  EXPECT_EQ(layoutFor(200, 150, {}), (Layout{1, 200, 150}));  // a settings dialog's preview
  EXPECT_EQ(layoutFor(3840, 2160, "2"), (Layout{2, 1920, 1080}));
}

// Every position a bounce takes in `steps` steps.
struct Path {
  int minX = 1 << 30, maxX = -(1 << 30), minY = 1 << 30, maxY = -(1 << 30);
  bool diagonal = true;  // each step one pixel each way
};
Path walk(Bounce& b, int steps) {
  Path p;
  for (int i = 0; i < steps; ++i) {
    const int x = b.left(), y = b.top();
    b.step();
    p.diagonal = p.diagonal && std::abs(b.left() - x) == 1 && std::abs(b.top() - y) == 1;
    p.minX = std::min(p.minX, b.left());
    p.maxX = std::max(p.maxX, b.left());
    p.minY = std::min(p.minY, b.top());
    p.maxY = std::max(p.maxY, b.top());
  }
  return p;
}

TEST(SaverBounce, StartsCentredAndTurnsAtTheEdges) {
  for (std::uint32_t seed : {1u, 2u, 3u, 4u}) {
    Random directions(seed);
    Bounce b(400, 150, directions);
    EXPECT_EQ(b.left(), 150);
    EXPECT_EQ(b.top(), 25);
    // The square reaches each edge and never passes it.
    const Path p = walk(b, 3000);
    EXPECT_TRUE(p.diagonal);
    EXPECT_EQ(p.minX, 0);
    EXPECT_EQ(p.maxX, 300);
    EXPECT_EQ(p.minY, 0);
    EXPECT_EQ(p.maxY, 50);
  }
}

TEST(SaverBounce, ResizeKeepsTheSquareInsideAndTooSmallStandsStill) {
  Random directions(5);
  Bounce b(1000, 800, directions);
  walk(b, 137);
  b.resize(180, 130);
  EXPECT_LE(b.left(), 80);
  EXPECT_LE(b.top(), 30);
  const Path p = walk(b, 500);
  EXPECT_GE(p.minX, 0);
  EXPECT_LE(p.maxX, 80);
  EXPECT_GE(p.minY, 0);
  EXPECT_LE(p.maxY, 30);
  // A window narrower than the square: that way it stays centred.
  b.resize(80, 300);
  const Path narrow = walk(b, 300);
  EXPECT_EQ(narrow.minX, -10);
  EXPECT_EQ(narrow.maxX, -10);
  EXPECT_EQ(narrow.maxY, 200);
}

TEST(SaverTimeline, StepsOnThePeriodPicturesOnTheIntervalOrOnRequest) {
  const Timeline::Clock::time_point t0{};
  Timeline t(t0, 10s, stepPeriod(true));
  EXPECT_TRUE(t.take(t0).picture);
  EXPECT_EQ(t.wake(), t0 + stepPeriod(true));
  EXPECT_EQ(t.take(t0 + 5 * stepPeriod(true) + 1ms).steps, 5);
  EXPECT_EQ(t.take(t0 + 200ms).steps, 7);  // 60 a second
  EXPECT_FALSE(t.take(t0 + 9999ms).picture);
  EXPECT_TRUE(t.take(t0 + 10s).picture);
  t.pictureNow(t0 + 13s);
  EXPECT_TRUE(t.take(t0 + 13s).picture);
  EXPECT_FALSE(t.take(t0 + 22s).picture);
  EXPECT_TRUE(t.take(t0 + 23s).picture);
  // A minute stopped: one step and one picture, no burst, then on as before.
  const Timeline::Due late = t.take(t0 + 83s);
  EXPECT_EQ(late.steps, 1);
  EXPECT_TRUE(late.picture);
  EXPECT_FALSE(t.take(t0 + 92s).picture);
  EXPECT_TRUE(t.take(t0 + 93s).picture);
  EXPECT_EQ(2 * stepPeriod(true), stepPeriod(false));
}

TEST(SaverUncovered, ClearsExactlyWhatTheMoveLeft) {
  // Every pixel of the old place outside the new one, once; nothing else.
  const Rect was{10, 20, 6, 5};
  for (int dx = -8; dx <= 8; ++dx)
    for (int dy = -7; dy <= 7; ++dy)
      for (int size : {6, 3, 0}) {
        const Rect now{was.x + dx, was.y + dy, size, size};
        const auto parts = uncovered(was, now);
        EXPECT_LE(parts.size(), 4u);
        for (int y = 0; y < 40; ++y)
          for (int x = 0; x < 40; ++x) {
            const auto in = [&](const Rect& r) {
              return x >= r.x && x < r.x + r.width && y >= r.y && y < r.y + r.height;
            };
            const int covered = static_cast<int>(std::count_if(parts.begin(), parts.end(), in));
            ASSERT_EQ(covered, in(was) && !in(now) ? 1 : 0)
                << "move " << dx << "," << dy << " size " << size << " at " << x << "," << y;
          }
      }
}

// The module's pictures are the renderer's: same seed, same options, same
// order, whatever the window's size.
class SaverPictures : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = fs::temp_directory_path() /
           ("tavrel-saver-pictures-" + std::to_string(::getpid()) + "-" +
            ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::remove_all(dir_);
    fs::create_directories(dir_);
  }
  void TearDown() override { fs::remove_all(dir_); }

  // Picture i (from 1) as tavrel-render writes it.
  ImageData rendered(const std::string& args, const std::string& name, int i) {
    const std::string command = std::string("'") + TAVREL_RENDER + "' --screensaver --out '" +
                                dir_.string() + "' " + args + " >/dev/null";
    if (std::system(command.c_str()) != 0) ADD_FAILURE() << command;
    const auto png = readPng(dir_ / (name + "-" + std::to_string(i) + ".png"));
    return png ? png->image : ImageData{};
  }

  fs::path dir_;
};

TEST_F(SaverPictures, SameAsTheRenderersAtAnyWindowSize) {
  struct Case {
    Settings s;
    std::uint32_t seed;
    std::string args, name;
  };
  Settings pattern;
  pattern.generator = Generator::pattern;
  Settings plain;
  plain.trueColours = false;
  plain.fancy = false;
  plain.detail = 5;
  const Case cases[] = {
      {Settings{}, 42, "--seed 42 --count 3", "shape-42"},
      {pattern, 7, "--generator pattern --seed 7 --count 3", "pattern-7"},
      {plain, 1234, "--seed 1234 --count 3 --colors basic --style regular --detail 5",
       "shape-1234"},
  };
  for (const Case& c : cases) {
    const ImageData expected[] = {rendered(c.args, c.name, 1), rendered(c.args, c.name, 2),
                                  rendered(c.args, c.name, 3)};
    ASSERT_EQ(expected[0].width, 102);
    EXPECT_FALSE(expected[0] == expected[1]);
    // A preview, 1080p and 4K in program pixels, and a window smaller than the picture.
    for (auto [w, h] :
         {std::pair{200, 150}, std::pair{960, 540}, std::pair{1024, 768}, std::pair{80, 60}}) {
      Pictures pictures(c.s, c.seed, w, h);
      for (const ImageData& e : expected) {
        const Picture p = pictures.next();
        ASSERT_TRUE(p);
        EXPECT_TRUE(*p == e) << c.args << " at " << w << "x" << h;
      }
    }
  }
  // Pictures go on alike after the window changes size.
  Pictures pictures(Settings{}, 42, 200, 150);
  pictures.next();
  pictures.resize(960, 540);
  EXPECT_TRUE(*pictures.next() == rendered("--seed 42 --count 3", "shape-42", 2));
}

}  // namespace
}  // namespace tavrel::saver
