#include "saver/show.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>

#include "canvas/convert.h"

namespace tavrel::saver {
namespace {

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
  b.resize(80, 60);  // a window smaller than the square: centred
  EXPECT_EQ(walk(b, 0), (std::array{-10, -10, -20, -20}));
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

// The --fps line: 12 program pixels a character, two a dot, white on black;
// a character the font lacks is a space.
TEST(SaverText, DotsOfTwoProgramPixelsAndBlanksForTheUnknown) {
  const auto lit = [](const ImageData& img) {
    return std::count(img.pixels.begin(), img.pixels.end(), kWhite);
  };
  const ImageData one = textPicture("1");
  EXPECT_EQ(std::pair(one.width, one.height), std::pair(14, 18));
  EXPECT_EQ(lit(one), 10 * 4);      // the 10 dots of a "1"
  EXPECT_EQ(one.at(6, 2), kWhite);  // its top dot, the font's third column
  EXPECT_EQ(lit(textPicture("x?")), 0);
  EXPECT_EQ(textPicture("60.0 fps").width, 98);
  EXPECT_EQ(lit(textPicture("88")), 2 * lit(textPicture("8")));
}

}  // namespace
}  // namespace tavrel::saver
