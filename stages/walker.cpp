#include <cmath>

#include "stages/stages.h"

namespace tavrel::stages {

namespace {

const double kSqr2 = std::sqrt(2.0);

// Draws 1 or 2, then one more Rnd: the value lands in [0, 1) or [-1, 0).
double signedDraw(AppState& st) {
  const double s = Int(2 * st.Rnd()) + 1;
  const double r = st.Rnd();
  return s == 1 ? r : r - 1;
}

}  // namespace

void placeOnRim(AppState& st, Orbit& o, Centre c) {
  const double half = st.swidth / 2;
  const double qreach = (st.swidth / 2) / kSqr2;
  st.a = c.x;
  st.b = c.y - half;
  o.p2x = st.a;
  o.p2y = st.b;
  o.p3x = c.x;
  o.p3y = c.y + half;
  o.p4x = o.p3x;
  o.p4y = o.p3y;
  o.p5x = c.x - half;
  st.p5ytext = c.y;
  o.p6x = o.p5x;
  o.p6y = c.y;
  o.p7x = c.x + half;
  o.p7y = c.y;
  o.p8x = o.p7x;
  o.p8y = o.p7y;
  const double qxStart[8] = {c.x - qreach, c.x - qreach, c.x - qreach, c.x - qreach,
                             c.x + qreach, c.x + qreach, c.x + qreach, c.x + qreach};
  const double qyStart[8] = {c.y - qreach, c.y - qreach, c.y + qreach, c.y + qreach,
                             c.y + qreach, c.y + qreach, c.y - qreach, c.y - qreach};
  for (int i = 0; i < 8; ++i) {
    o.qx[i] = qxStart[i];
    o.qy[i] = qyStart[i];
  }
}

void placeAtCentre(AppState& st, Orbit& o, Centre c) {
  st.a = c.x;
  st.b = c.y;
  o.p2x = o.p3x = o.p4x = o.p5x = o.p6x = o.p7x = o.p8x = c.x;
  o.p2y = o.p3y = o.p4y = o.p6y = o.p7y = o.p8y = c.y;
  st.p5ytext = c.y;
  for (int i = 0; i < 8; ++i) {
    o.qx[i] = c.x;
    o.qy[i] = c.y;
  }
}

void moveEdgePoints(AppState& st, Orbit& o, double stepx, double stepy) {
  st.a = st.a + stepx;
  st.b = st.b + stepy;
  o.p2x = o.p2x - stepx;
  o.p2y = o.p2y + stepy;
  o.p3x = o.p3x - stepx;
  o.p3y = o.p3y - stepy;
  o.p4x = o.p4x + stepx;
  o.p4y = o.p4y - stepy;
  // The quarter-turn images take x from stepy and y from stepx.
  o.p5x = o.p5x + stepy;
  st.p5ytext = st.p5ytext.value() - stepx;
  o.p6x = o.p6x + stepy;
  o.p6y = o.p6y + stepx;
  o.p7x = o.p7x - stepy;
  o.p7y = o.p7y + stepx;
  o.p8x = o.p8x - stepy;
  o.p8y = o.p8y - stepx;
}

// Signs of the diagonal table: what one part of a move adds to qN's x and y.
namespace {
constexpr int kXPartX[8] = {+1, -1, +1, -1, -1, +1, -1, +1};
constexpr int kXPartY[8] = {-1, +1, +1, -1, +1, -1, -1, +1};
constexpr int kYPartX[8] = {+1, +1, +1, +1, -1, -1, -1, -1};
constexpr int kYPartY[8] = {+1, +1, -1, -1, -1, -1, +1, +1};
}  // namespace

namespace {
void shiftDiagonals(Orbit& o, double qshift, const int (&xSigns)[8], const int (&ySigns)[8]) {
  for (int i = 0; i < 8; ++i) {
    o.qx[i] = xSigns[i] > 0 ? o.qx[i] + qshift : o.qx[i] - qshift;
    o.qy[i] = ySigns[i] > 0 ? o.qy[i] + qshift : o.qy[i] - qshift;
  }
}
}  // namespace

void moveDiagonalsX(Orbit& o, double qshift) {
  shiftDiagonals(o, qshift, kXPartX, kXPartY);
}
void moveDiagonalsY(Orbit& o, double qshift) {
  shiftDiagonals(o, qshift, kYPartX, kYPartY);
}

void plotEdgePoints(Surface& win, const AppState& st, const Orbit& o, bool withSides) {
  win.plot(st.a, st.b, OutlineColor);
  win.plot(o.p2x, o.p2y, OutlineColor);
  win.plot(o.p3x, o.p3y, OutlineColor);
  win.plot(o.p4x, o.p4y, OutlineColor);
  if (!withSides) return;
  win.plot(o.p5x, st.p5ytext.value(), OutlineColor);
  win.plot(o.p6x, o.p6y, OutlineColor);
  win.plot(o.p7x, o.p7y, OutlineColor);
  win.plot(o.p8x, o.p8y, OutlineColor);
}

void plotDiagonals(Surface& win, const Orbit& o) {
  for (int i = 0; i < 8; ++i) win.plot(o.qx[i], o.qy[i], OutlineColor);
}

void drawGuideCross(Surface& win, const AppState& st, Centre c) {
  const double w = st.swidth;
  win.Line(LineFlags::Line, c.x - w * 2, c.y, c.x - w, c.y, QBColor(7));
  win.Line(LineFlags::Line, c.x - w * 2 + w / 2, c.y - w / 2, c.x - w * 2 + w / 2, c.y + w / 2,
           QBColor(7));
}

void wipeForRestart(Surface& win, const AppState& st, Centre c, long restarts) {
  win.Line(LineFlags::FilledBox, 0, 0, 1000, 1000, QBColor(15));
  if (restarts < kRestartsBeforeSquareWipe) return;
  const double reach = st.swidth / 2 + 1;
  win.Line(LineFlags::FilledBox, c.x - reach, c.y - reach, c.x + reach, c.y + reach, QBColor(15));
}

void normalise(double& u, double& v) {
  const double au = std::fabs(u), av = std::fabs(v);
  if (!(au > 1 || av > 1) && !(au < 1 && av < 1)) return;
  if (std::fabs(u) >= std::fabs(v)) {
    if (u != 0) v = std::copysign(std::fabs(v / u), v);
    if (u < 0)
      u = -1;
    else if (u > 0)
      u = 1;
  }
  if (std::fabs(v) > std::fabs(u)) {
    if (v != 0) u = std::copysign(std::fabs(u / v), u);
    if (v < 0)
      v = -1;
    else if (v > 0)
      v = 1;
  }
}

void DrawCount::operator++() {
  if (++draws_ > kDrawsWithoutUse) throw RuntimeError("the random source draws no usable numbers");
}

void countRestart(long& restarts) {
  if (++restarts > kRestartCap) throw RuntimeError("no stroke passes");
}

void Walker::startDraws(AppState& st) {
  stepcount = 0;
  DrawCount count;
  do {
    ++count;
    stepx = signedDraw(st);
    stepy = st.Rnd();
  } while (!(stepx != 0 && stepy != 0));
  do {
    ++count;
    bendx = signedDraw(st);
    bendy = st.Rnd();
  } while (!(bendx != 0 && bendy != 0));
  twistDraw(st);
  stepperiod = st.detailfz;
}

void Walker::twistDraw(AppState& st) {
  DrawCount count;
  do {
    ++count;
    twistx = signedDraw(st);
    twisty = st.Rnd();
    if (st.complexy == 2) twisty = signedDraw(st);
  } while (!(std::fabs(twistx) != std::fabs(twisty) && twistx != 0 && twisty != 0));
  if (normaliseTwist) normalise(twistx, twisty);
}

void Walker::twistTiming(AppState& st) {
  stepcount = stepcount + 1;
  if (stepcount > stepperiod) {
    stepperiod = st.detailfz;
    stepcount = 0;
    twistDraw(st);
  }
}

void Walker::updateAfterStep() {
  do {
    stepx = stepx + bendx;
    stepy = stepy + bendy;
  } while (!(stepx != 0 && stepy != 0));
  normalise(stepx, stepy);
  do {
    bendx = bendx + twistx;
    bendy = bendy + twisty;
  } while (!(bendx != 0 && bendy != 0));
  normalise(bendx, bendy);
}

}  // namespace tavrel::stages
