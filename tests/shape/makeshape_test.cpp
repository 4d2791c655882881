// What is the single shape's own: with two sides only p1 to p4 are drawn, so
// the shape mirrors left to right and top to bottom but not across the
// diagonal. What both generators share is in tests/stages/generators_test.cpp.
#include "shape/makeshape.h"

#include <gtest/gtest.h>

#include "tests/symmetry.h"

namespace tavrel {
namespace {

TEST(Makeshape, TwoSidesMirrorOnlyAcrossTheAxes) {
  int diagonalMismatches = 0;
  for (std::uint32_t seed = 1; seed <= 6; ++seed) {
    HeadlessHost host(401, 301);
    host.fields[3] = "2";
    AppState st;
    st.rnd.Randomize(seed);
    st.tcolor = kTrueColours;
    makeshape(host, st);
    const Picture p = host.SurfacePicture1().Image();
    auto outline = [&](int x, int y) { return p->at(x, y) == OutlineColor; };
    auto same = [](bool a, bool b) { return a == b; };
    EXPECT_EQ(testing_support::mirrorMismatches(1, 1, 99, 99, false, outline, same), 0) << seed;
    diagonalMismatches += testing_support::mirrorMismatches(1, 1, 99, 99, true, outline, same);
  }
  EXPECT_GT(diagonalMismatches, 0);
}

}  // namespace
}  // namespace tavrel
