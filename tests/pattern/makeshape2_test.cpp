// What is the tile's own: the frame test and crossing limit, and the corner
// patch. What both generators share, and the pictures of known seeds with
// two and eight sides, are in tests/stages/generators_test.cpp.
#include "pattern/makeshape2.h"

#include <gtest/gtest.h>

#include "pattern/tile.h"

namespace tavrel {
namespace {

using stages::Centre;

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
      {0x0000FF, kWhite, 0x0000FF, 0x123456},  // already painted: nothing, not even the brush
      {0, 0x00AA00, 0x00AA00, 0x00AA00},       // the right one's colour
      {0, kWhite, kWhite, kWhite},             // white on white
      {0, OutlineColor, OutlineColor, OutlineColor},  // the right sample on an arm
  };
  for (const auto& k : cases) {
    Surface win(200, 200, kWhite);
    AppState st;
    st.swidth = 100;
    st.fillcolor = 0x123456;
    win.Line(LineFlags::Box, 51, 51, 149, 149, OutlineColor);
    win.Line(LineFlags::Line, 52, 70, 71, 51, OutlineColor);
    if (k.paintLeft) win.Line(LineFlags::FilledBox, 56, 56, 56, 56, k.paintLeft);
    win.Line(LineFlags::FilledBox, 144, 56, 144, 56, k.right);
    tile::cornerPatch(win, st, {100, 100});
    EXPECT_EQ(win.Point(56, 56), k.leftAfter);
    EXPECT_EQ(win.Point(53, 53), k.paintLeft ? kWhite : k.leftAfter);  // the whole region
    EXPECT_EQ(st.fillcolor, k.brushAfter);
  }
}

}  // namespace
}  // namespace tavrel
