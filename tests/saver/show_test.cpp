#include "saver/show.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "canvas/image_io.h"

namespace tavrel::saver {
namespace {

namespace fs = std::filesystem;

// The box of the square's places over `steps` steps, each of which must be
// one pixel each way.
std::array<int, 4> walk(Bounce& b, int steps) {
  std::array<int, 4> box{b.left(), b.left(), b.top(), b.top()};
  for (int i = 0; i < steps; ++i) {
    const int x = b.left(), y = b.top();
    b.step();
    EXPECT_TRUE(std::abs(b.left() - x) == 1 && std::abs(b.top() - y) == 1) << "step " << i;
    box = {std::min(box[0], b.left()), std::max(box[1], b.left()), std::min(box[2], b.top()),
           std::max(box[3], b.top())};
  }
  return box;
}

TEST(SaverBounce, DiagonalFromTheCentreTurningAtTheEdgesOfAnyWindowSize) {
  Random directions(5);
  Bounce b(400, 150, directions);
  EXPECT_EQ(b.left(), 150);
  EXPECT_EQ(b.top(), 25);
  EXPECT_EQ(walk(b, 1000), (std::array{0, 300, 0, 50}));
  b.resize(180, 130);
  EXPECT_EQ(walk(b, 500), (std::array{0, 80, 0, 30}));
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
            ASSERT_EQ(std::count_if(parts.begin(), parts.end(), in), in(was) && !in(now))
                << "move " << dx << "," << dy << " size " << size << " at " << x << "," << y;
          }
      }
}

// The module's pictures are the renderer's: same seed, same options, same
// order, whatever the window's size.
TEST(SaverPictures, TheRenderersInOrderAtAnyWindowSize) {
  Settings pattern;
  pattern.generator = Generator::pattern;
  pattern.trueColours = false;
  pattern.detail = 5;
  const fs::path dir = fs::temp_directory_path() / ("tavrel-saver-" + std::to_string(getpid()));
  fs::create_directories(dir);
  for (const auto& [s, seed, args, name] :
       {std::tuple{Settings{}, 42u, "--seed 42", "shape-42"},
        std::tuple{pattern, 7u, "--generator pattern --seed 7 --colors basic --detail 5",
                   "pattern-7"}}) {
    const std::string command = "'" TAVREL_RENDER "' --screensaver --count 2 --out '" +
                                dir.string() + "' " + args + " >/dev/null";
    EXPECT_EQ(std::system(command.c_str()), 0) << command;
    for (auto [w, h] : {std::pair{200, 150}, std::pair{960, 540}}) {
      Pictures pictures(s, seed, w, h);
      for (const char* i : {"-1.png", "-2.png"}) {
        const auto png = readPng(dir / (std::string(name) + i));
        EXPECT_TRUE(png && *pictures.next() == png->image) << args << " at " << w << "x" << h;
      }
    }
  }
  fs::remove_all(dir);
}

}  // namespace
}  // namespace tavrel::saver
