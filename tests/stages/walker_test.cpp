// The walker's exact rules: pairs scaled to unit size keeping their signs,
// and a new twist every detail + 1 turns. Where the points go and what the
// strokes draw is pinned by the pictures of tests/stages/generators_test.cpp.
#include <gtest/gtest.h>

#include "stages/stages.h"

namespace tavrel {
namespace {

using namespace stages;

TEST(Walker, NormalisingKeepsSignsAndATwistStandsForDetailPlusOneTurns) {
  const std::tuple<double, double, double, double> cases[] = {
      {1, 0.3, 1, 0.3}, {0.5, -0.25, 1, -0.5}, {-0.2, 0.8, -0.25, 1},
      {-2, 2, -1, 1},   {-4, 0.5, -1, 0.125},  {0.25, -1, 0.25, -1}};
  for (auto [u, v, wantU, wantV] : cases) {
    normalise(u, v);
    EXPECT_EQ(std::pair(u, v), std::pair(wantU, wantV));
  }
  // A new twist every detail + 1 turns.
  for (double detailfz : {0.0, 5.0, 12.0}) {
    AppState st;
    st.detailfz = detailfz, st.complexy = 2;
    Walker w;
    w.startDraws(st);
    int draws = 0;
    for (int turn = 0; turn < 130; ++turn) {
      w.twistTiming(st);
      draws += w.stepcount == 0;  // a new twist was drawn this turn
    }
    EXPECT_EQ(draws, 130 / static_cast<int>(detailfz + 1)) << detailfz;
  }
}

}  // namespace
}  // namespace tavrel
