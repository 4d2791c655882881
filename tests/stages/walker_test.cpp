#include <gtest/gtest.h>

#include <cmath>

#include "stages/stages.h"

namespace tavrel {
namespace {

using namespace stages;

TEST(Walker, NormalisingKeepsSignsAndMakesTheLargerMagnitudeOne) {
  struct Case {
    double u, v, wantU, wantV;
  } cases[] = {{1, 0.3, 1, 0.3},      {-1, 1, -1, 1},       {0.5, -0.25, 1, -0.5},
               {-0.2, 0.8, -0.25, 1}, {3, 3, 1, 1},         {-2, 2, -1, 1},
               {0.1, 0.1, 1, 1},      {-4, 0.5, -1, 0.125}, {0.25, -1, 0.25, -1}};
  for (const Case& c : cases) {
    double u = c.u, v = c.v;
    normalise(u, v);
    EXPECT_DOUBLE_EQ(u, c.wantU) << c.u << "," << c.v;
    EXPECT_DOUBLE_EQ(v, c.wantV) << c.u << "," << c.v;
  }
}

TEST(Walker, StartDrawsAndTwists) {
  for (double complexy : {1.0, 2.0}) {
    AppState st;
    st.rnd.Randomize(static_cast<std::uint32_t>(complexy));
    st.complexy = complexy;
    st.detailfz = 3;
    bool negativeTwist = false;
    for (int i = 0; i < 500; ++i) {
      Walker w;
      w.startDraws(st);
      EXPECT_GT(w.stepy, 0);
      EXPECT_GT(w.bendy, 0);
      EXPECT_NE(w.stepx, 0);
      EXPECT_LT(std::fabs(w.stepx), 1);
      EXPECT_EQ(std::max(std::fabs(w.twistx), std::fabs(w.twisty)), 1);
      EXPECT_EQ(w.stepperiod, 3);
      negativeTwist |= w.twisty < 0;
      if (complexy == 1) {
        EXPECT_GT(w.twisty, 0);
      }
    }
    EXPECT_EQ(negativeTwist, complexy == 2);
  }
}

TEST(Walker, TwistStandsForDetailPlusOneTurns) {
  for (double detailfz : {0.0, 5.0, 12.0}) {
    AppState st;
    st.detailfz = detailfz;
    st.complexy = 2;
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

// The sixteen points stay the orbit of p1 under the mirror group.
TEST(Points, MirrorInvariantsHoldAtEveryStep) {
  AppState st;
  st.rnd.Randomize(8);
  st.swidth = 100;
  st.complexy = 2;
  Orbit o;
  const Centre c{400, 301};
  placeOnRim(st, o, c);
  EXPECT_EQ(st.a, o.p2x);
  EXPECT_EQ(o.p3y, o.p4y);
  EXPECT_EQ(o.qx[0], o.qx[1]);
  EXPECT_NEAR(c.x - o.qx[0], 50 / std::sqrt(2.0), 1e-12);
  Walker w;
  w.startDraws(st);
  const double r2 = std::sqrt(2.0);
  for (int step = 0; step < 2000; ++step) {
    moveEdgePoints(st, o, w.stepx, w.stepy);
    moveDiagonalsX(o, w.stepx / r2);
    moveDiagonalsY(o, w.stepy / r2);
    w.updateAfterStep();
    const double X = st.a - c.x, Y = st.b - c.y;
    const double U = (X + Y) / r2, V = (Y - X) / r2;
    // Each point less the centre, and where the group puts p1's image.
    const std::pair<double, double> images[] = {
        {o.p2x - c.x, -X},  {o.p2y - c.y, Y},  {o.p3x - c.x, -X}, {o.p3y - c.y, -Y},
        {o.p4x - c.x, X},   {o.p4y - c.y, -Y}, {o.p5x - c.x, Y},  {o.p6x - c.x, Y},
        {o.p6y - c.y, X},   {o.p7x - c.x, -Y}, {o.p7y - c.y, X},  {o.p8x - c.x, -Y},
        {o.p8y - c.y, -X},  {o.qx[0] - c.x, U}, {o.qy[0] - c.y, V}, {o.qx[1] - c.x, V},
        {o.qy[1] - c.y, U}, {o.qx[2] - c.x, U}, {o.qy[2] - c.y, -V}, {o.qx[3] - c.x, V},
        {o.qy[3] - c.y, -U}, {o.qx[4] - c.x, -U}, {o.qy[4] - c.y, -V}, {o.qx[5] - c.x, -V},
        {o.qy[5] - c.y, -U}, {o.qx[6] - c.x, -U}, {o.qy[6] - c.y, V}, {o.qx[7] - c.x, -V},
        {o.qy[7] - c.y, U}};
    for (std::size_t i = 0; i < std::size(images); ++i)
      ASSERT_NEAR(images[i].first, images[i].second, 1e-9) << "image " << i << " step " << step;
    ASSERT_NEAR(st.p5ytext.value() - c.y, -X, 1e-8);  // drifts by the 15-digit rounding
    // From the second step on a step moves p1 by exactly one pixel on one axis.
    ASSERT_EQ(std::max(std::fabs(w.stepx), std::fabs(w.stepy)), 1);
  }
}

}  // namespace
}  // namespace tavrel
