// What is the tile's own: the frame test and crossing limit, the corner
// patch, and the eight-sided tile. What both
// generators share is in tests/stages/generators_test.cpp.
#include "pattern/makeshape2.h"

#include <gtest/gtest.h>

#include "pattern/tile.h"

namespace tavrel {
namespace {

using stages::Centre;

constexpr Colour kWhite15 = 0xFFFFFF;

struct Tile {
  HeadlessHost host{400, 300};
  AppState st;
  GenerationStats stats;

  explicit Tile(std::uint32_t seed, std::string sides = "4", double tcolor = 1) {
    st.rnd.Randomize(seed);
    st.tcolor = tcolor;
    st.swidth = 100;
    host.fields[3] = std::move(sides);
    stats = makeshape2(host, st);
  }
  Colour at(int x, int y) { return host.SurfacePicture1().pixel(x, y); }
};

TEST(TileWalk, FrameTestRoundsDownOnBothSidesAndCrossingLimitIs25) {
  AppState st;
  st.swidth = 100;
  const Centre c{400, 300};
  st.b = 300;
  st.a = c.x - 49.5;
  EXPECT_TRUE(tile::reachesFrame(st, c));
  st.a = c.x + 49.5;
  EXPECT_FALSE(tile::reachesFrame(st, c));
  st.a = c.x + 50;
  EXPECT_TRUE(tile::reachesFrame(st, c));
  st.a = c.x;
  st.b = c.y + 49.99;
  EXPECT_FALSE(tile::reachesFrame(st, c));
  st.b = c.y - 49.01;
  EXPECT_TRUE(tile::reachesFrame(st, c));

  st.hhmn = 25;
  EXPECT_FALSE(tile::tooManyCrossings(st));
  st.hhmn = 26;
  EXPECT_TRUE(tile::tooManyCrossings(st));
  st.nsides = 0;  // the side count does not scale a tile's limit
  EXPECT_TRUE(tile::tooManyCrossings(st));
}

// A tile quarter: the frame, and a diagonal arm closing off the top left
// corner. The patch looks at (56, 56) on the left and (144, 56) on the right.
TEST(TileCornerPatch, TheLeftCornerTakesTheRightOnesColourOnlyWhenItIsWhite) {
  const struct {
    Colour paintLeft, right;  // paintLeft 0: the left corner stays white
    Colour leftAfter, brushAfter;
  } cases[] = {
      {0x0000FF, kWhite15, 0x0000FF, 0x123456},  // already painted: nothing, not even the brush
      {0, 0x00AA00, 0x00AA00, 0x00AA00},         // the right one's colour
      {0, kWhite15, kWhite15, kWhite15},         // white on white
      {0, OutlineColor, OutlineColor, OutlineColor},  // the right sample on an arm
  };
  for (const auto& k : cases) {
    Surface win(200, 200, kWhite15);
    AppState st;
    st.swidth = 100;
    st.fillcolor = 0x123456;
    win.Line(LineFlags::Box, 51, 51, 149, 149, OutlineColor);
    win.Line(LineFlags::Line, 52, 70, 71, 51, OutlineColor);
    if (k.paintLeft) win.Line(LineFlags::FilledBox, 56, 56, 56, 56, k.paintLeft);
    win.Line(LineFlags::FilledBox, 144, 56, 144, 56, k.right);
    tile::cornerPatch(win, st, {100, 100});
    EXPECT_EQ(win.Point(56, 56), k.leftAfter);
    EXPECT_EQ(win.Point(53, 53), k.paintLeft ? kWhite15 : k.leftAfter);  // the whole region
    EXPECT_EQ(win.Point(100, 100), kWhite15);  // beyond the arm
    EXPECT_EQ(st.fillcolor, k.brushAfter);
  }
}

TEST(Makeshape2, EightSidesGiveFrameCentrePixelAndOneColour) {
  for (std::uint32_t seed : {1u, 2u, 3u}) {
    Tile t(seed, "8", seed == 3 ? 0 : 1);
    EXPECT_EQ(t.stats.restarts, 0);
    const Colour inside = t.at(10, 10);
    EXPECT_NE(inside, kWhite15);
    EXPECT_NE(inside, OutlineColor);
    for (int y = 1; y <= 100; ++y)
      for (int x = 1; x <= 100; ++x) {
        const bool frame = x == 1 || x == 99 || y == 1 || y == 99 || x == 100 || y == 100;
        const bool centre = x == 50 && y == 50;
        ASSERT_EQ(t.at(x, y), frame || centre ? OutlineColor : inside)
            << "seed " << seed << " at " << x << "," << y;
      }
  }
}


}  // namespace
}  // namespace tavrel
