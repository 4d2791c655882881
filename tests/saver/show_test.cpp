#include "saver/show.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>

#include "canvas/convert.h"

namespace tavrel::saver {
namespace {

TEST(SaverBounce, StartsCentredEachWayByACoin) {
  // A window of 400 x 150 around a square of 100; the source of seed 5
  // gives one way each, in the order x, y.
  Random coins(5);
  const bool right = static_cast<int>(2 * coins.Rnd()) == 0;
  const bool down = static_cast<int>(2 * coins.Rnd()) == 0;
  Random directions(5);
  Bounce b = firstBounce(400, 150, directions);
  EXPECT_EQ(std::pair(b.left(), b.top()), std::pair(150, 25));
  b.step();
  EXPECT_EQ(std::pair(b.left(), b.top()), std::pair(right ? 151 : 149, down ? 26 : 24));
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
