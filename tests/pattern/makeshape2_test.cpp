// What is the tile's own: the frame test and crossing limit, and the corner
// patch. What both generators share, and the pictures of known seeds with
// two and eight sides, are in tests/stages/generators_test.cpp.
#include "pattern/makeshape2.h"

#include <gtest/gtest.h>

#include "pattern/tile.h"

namespace tavrel {
namespace {

using stages::Centre;

TEST(TileWalk, FrameTestCrossingLimitAndCornerPatch) {
  AppState st;
  st.swidth = 100;
  const Centre c{400, 300};
  const std::tuple<double, double, bool> frame[] = {
      {-49.5, 0, true}, {49.5, 0, false}, {50, 0, true}, {0, 49.99, false}, {0, -49.01, true}};
  for (auto [a, b, reaches] : frame) {
    st.a = c.x + a, st.b = c.y + b;
    EXPECT_EQ(tile::reachesFrame(st, c), reaches) << a << "," << b;
  }
  // The side count does not scale a tile's limit.
  for (auto [hhmn, nsides, tooMany] : {std::tuple{25, 4, false}, {26, 4, true}, {26, 0, true}}) {
    st.hhmn = hhmn, st.nsides = nsides;
    EXPECT_EQ(tile::tooManyCrossings(st), tooMany) << hhmn << " " << nsides;
  }

  // A tile quarter: the frame, and a diagonal arm closing off the top left
  // corner. The patch looks at (56, 56) on the left and (144, 56) on the right.
  // Painted left, right, then the left and the brush after; 0: the left stays white.
  const std::array<Colour, 4> cases[] = {
      {0x0000FF, kWhite, 0x0000FF, 0x123456},  // already painted: nothing, not even the brush
      {0, 0x00AA00, 0x00AA00, 0x00AA00},       // the right one's colour
      {0, kWhite, kWhite, kWhite},             // white on white
      {0, OutlineColor, OutlineColor, OutlineColor},  // the right sample on an arm
  };
  for (const auto& [paintLeft, right, leftAfter, brushAfter] : cases) {
    Surface win(200, 200, kWhite);
    AppState st;
    st.swidth = 100, st.fillcolor = 0x123456;
    win.Line(LineFlags::Box, 51, 51, 149, 149, OutlineColor);
    win.Line(LineFlags::Line, 52, 70, 71, 51, OutlineColor);
    if (paintLeft) win.Line(LineFlags::FilledBox, 56, 56, 56, 56, paintLeft);
    win.Line(LineFlags::FilledBox, 144, 56, 144, 56, right);
    tile::cornerPatch(win, st, {100, 100});
    EXPECT_EQ(win.Point(56, 56), leftAfter);
    EXPECT_EQ(win.Point(53, 53), paintLeft ? kWhite : leftAfter);  // the whole region
    EXPECT_EQ(st.fillcolor, brushAfter);
  }
}

}  // namespace
}  // namespace tavrel
