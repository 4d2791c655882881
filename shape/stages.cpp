#include "shape/stages.h"

#include <cmath>

namespace tavrel::stages {

namespace {

const double kSqr2 = std::sqrt(2.0);

// Draws 1 or 2, then one more Rnd: the value lands in [0, 1) or [-1, 0).
double signedDraw(AppState& st) {
  const double s = Int(2 * st.Rnd()) + 1;
  const double r = st.Rnd();
  return s == 1 ? r : r - 1;
}

// Fills the region under (x, y) in the current brush. The classic caller
// repeats the fill while the pixel still reads unpainted; on an exact surface
// one fill settles it, and a repeat from the same seed could change nothing
// (it would only loop for ever where the seed and the read-back pixel part).
void floodWithReadBack(Surface& win, double x, double y) {
  win.FloodFill(win.hDC(), CLng(x), CLng(y), OutlineColor);
}

bool usableBasicColourLeft(const AppState& st) {
  for (int c = 1; c <= 14; ++c)
    if (c != 7 && st.usedcolors[c] != 1) return true;
  return false;
}

}  // namespace

Centre centreOf(GeneratorHost& host) {
  return {Int(host.ScaleWidth() / 2.0), Int(host.ScaleHeight() / 2.0)};
}

void readFields(GeneratorHost& host, AppState& st) {
  double waitsec = Val(host.text(Field::Text5));
  if (waitsec < 1) waitsec = 1;
  if (waitsec > 50) waitsec = 50;
  host.setText(Field::Text5, LTrim(Str(waitsec)));

  st.detailf = Val(host.text(Field::Text3));
  if (st.detailf < 1) st.detailf = 1;
  if (st.detailf > 25) st.detailf = 25;
  host.setText(Field::Text3, CStr(Val(CStr(st.detailf))));
  st.detailfz = (25 - st.detailf) + 1;

  st.swidth = 100;
  host.setText(Field::Text2, CStr(Val(CStr(st.swidth))));

  st.complexy2 = Val(host.text(Field::Text1));
  if (st.complexy2 > 20) st.complexy2 = 20;
  if (st.complexy2 < 0) st.complexy2 = 0;
  host.setText(Field::Text1, CStr(Val(CStr(st.complexy2))));
}

void deriveParameters(GeneratorHost& host, AppState& st) {
  st.nsides = Val(host.text(Field::Text4));
  st.complexy = 1;
  if (host.option2Value()) st.complexy = 2;
  st.detailfz = Int((st.swidth / 200) * st.detailfz);
  st.sharpf = 1;
  if (st.sharpf == 1) st.circle2 = 1;
}

void clearColoursAndWindow(GeneratorHost& host, AppState& st) {
  // `a` is the loop counter here, as it always was; the restart point sets it anew.
  for (st.a = 1; st.a <= 15; ++st.a) st.usedcolors[static_cast<std::size_t>(st.a)] = 0;
  st.usedcolors[7] = 1;
  st.usedcolors[0] = 1;
  st.usedcolors[15] = 1;
  Surface& win = host.SurfaceWindow();
  win.setBackColor(OutlineColor);
  win.setBackColor(QBColor(15));
}

void setUp(GeneratorHost& host, AppState& st, double centerf, bool clearWindowPicture) {
  host.maximize();
  readFields(host, st);
  host.DoEvents();
  if (clearWindowPicture) {
    host.SurfaceWindow().setPicture(nullptr);
    host.SurfaceWindow().Cls();
  }
  readFields(host, st);
  deriveParameters(host, st);
  st.centerf = centerf;
  clearColoursAndWindow(host, st);
}

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

void Walker::startDraws(AppState& st) {
  stepcount = 0;
  do {
    stepx = signedDraw(st);
    stepy = st.Rnd();
  } while (!(stepx != 0 && stepy != 0));
  do {
    bendx = signedDraw(st);
    bendy = st.Rnd();
  } while (!(bendx != 0 && bendy != 0));
  twistDraw(st);
  stepperiod = st.detailfz;
}

void Walker::twistDraw(AppState& st) {
  do {
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

void brushChange(Surface& win, AppState& st) {
  st.fillbrush = win.CreateSolidBrush(st.fillcolor);
  st.oldbrush = win.SelectObject(win.hDC(), st.fillbrush);
  win.DeleteObject(st.fillbrush);  // refused: it is the current brush
  win.DeleteObject(st.oldbrush);
}

void paintRegions(GeneratorHost& host, AppState& st, Orbit& o, Centre c) {
  Surface& win = host.SurfaceWindow();
  const Colour white = QBColor(15);
  const Colour grey = QBColor(7);

  // Background: everything outside the outline, up to the fixed box, takes
  // the boundary colour, so that only the inside stays white.
  win.Line(LineFlags::Box, -10, -10, 1000, 1000, OutlineColor);
  st.fillcolor = 1;
  brushChange(win, st);
  win.FloodFill(win.hDC(), 1, 1, OutlineColor);  // no repeat needed, as in floodWithReadBack

  // Scan set-up: the top of the square is the first pixel.
  double usedcount = 0;
  placeOnRim(st, o, c);
  const double unit = 1 / kSqr2;
  const double rightEdge = c.x + st.swidth / 2;

  for (;;) {  // rows
    usedcount = 0;
    st.az = st.a;
    st.bz = st.b;
    const Orbit saved = o;
    const DecimalText savedP5y = st.p5ytext;

    for (;;) {    // pixel visits along the row
      for (;;) {  // one visit; `continue` draws again
        if (win.Point(st.a, st.b) == white) {
          double colorcode = Int(st.Rnd() * 14) + 1;
          if (st.tcolor == 1) colorcode = Int(st.Rnd() * 16777215) + 1;
          if (colorcode == st.lastcolor) continue;
          st.lastcolor = static_cast<Long>(colorcode);
          if (st.tcolor == 0 && colorcode == 7) continue;
          st.fillcolor =
              st.tcolor == 0 ? QBColor(static_cast<int>(colorcode)) : static_cast<Long>(colorcode);
          if (st.fillcolor == grey || st.fillcolor == 1 || st.fillcolor == white) continue;
          if (!(st.tcolor == 0 && usedcount == 13)) {
            bool used = false;
            for (int i = 1; i <= usedcount && !used; ++i) used = st.usedcolors[i] == colorcode;
            if (used) continue;
          }
          usedcount = usedcount + 1;
          if (st.tcolor == 0 && usedcount > 13) usedcount = 1;
          st.usedcolors[static_cast<std::size_t>(usedcount)] = colorcode;
          brushChange(win, st);
          floodWithReadBack(win, st.a, st.b);
          floodWithReadBack(win, o.p2x, o.p2y);
          floodWithReadBack(win, o.p3x, o.p3y);
          floodWithReadBack(win, o.p4x, o.p4y);
          floodWithReadBack(win, o.p5x, st.p5ytext.value());
          floodWithReadBack(win, o.p6x, o.p6y);
          floodWithReadBack(win, o.p7x, o.p7y);
          floodWithReadBack(win, o.p8x, o.p8y);
        }
        if (st.nsides == 8) {
          const Colour atQ1 = win.Point(o.qx[0], o.qy[0]);
          const Colour atScan = win.Point(st.a, st.b);
          if (atQ1 == white || (atQ1 != atScan && atScan != white && atScan != OutlineColor)) {
            // Every usable basic colour marked would leave no draw that
            // passes; the marks start over instead.
            if (st.tcolor == 0 && !usableBasicColourLeft(st))
              for (int k = 1; k <= 14; ++k)
                if (k != 7) st.usedcolors[k] = 0;
            double colorcode = Int(st.Rnd() * 14) + 1;
            if (st.tcolor == 1) colorcode = Int(st.Rnd() * 16777215) + 1;
            if (st.tcolor == 0 &&
                (st.usedcolors[static_cast<std::size_t>(colorcode)] == 1 || colorcode == 7))
              continue;
            st.fillcolor = st.tcolor == 0 ? QBColor(static_cast<int>(colorcode))
                                          : static_cast<Long>(colorcode);
            const Colour here = win.Point(st.a, st.b);
            if (here != white && here != OutlineColor) st.fillcolor = here;
            if (colorcode < 16) st.usedcolors[static_cast<std::size_t>(colorcode)] = 1;
            if (st.fillcolor != white) {
              brushChange(win, st);
              for (int i = 0; i < 8; ++i) floodWithReadBack(win, o.qx[i], o.qy[i]);
            }
          }
        }
        break;
      }
      // Column move.
      st.a = st.a + 1;
      if (st.a > rightEdge) break;
      o.p2x = o.p2x - 1;
      o.p3x = o.p3x + 1;
      o.p4x = o.p4x - 1;
      st.p5ytext = st.p5ytext.value() + 1;
      o.p6y = o.p6y - 1;
      o.p7y = o.p7y + 1;
      o.p8y = o.p8y - 1;
      moveDiagonalsX(o, unit);
    }

    st.a = st.az;
    st.b = st.bz;
    o = saved;
    st.p5ytext = savedP5y;

    // Row move.
    st.b = st.b + 1;
    if (Int(st.b) >= Int(o.p3y)) break;
    moveDiagonalsY(o, unit);
    o.p2y = o.p2y + 1;
    o.p3y = o.p3y - 1;
    o.p4y = o.p4y - 1;
    o.p5x = o.p5x + 1;
    o.p6x = o.p6x + 1;
    o.p7x = o.p7x - 1;
    o.p8x = o.p8x - 1;
  }
}

void sizePicture1(GeneratorHost& host, const AppState& st) {
  Surface& pic = host.SurfacePicture1();
  const int side = static_cast<int>(st.swidth + 2);
  pic.resize(pic.width(), side);  // Height first, then Width
  pic.resize(side, side);
}

void copyToPicture1(GeneratorHost& host, AppState& st, Centre c) {
  Surface& pic = host.SurfacePicture1();
  Surface& win = host.SurfaceWindow();
  pic.setPicture(nullptr);
  pic.Cls();
  const double w = st.swidth;
  if (!pic.PaintPicture(win, 1, 1, w, w, c.x - w / 2 + 1, c.y - w / 2 + 1, w, w)) host.End();
  Picture drawn = pic.Image();
  if (!drawn) host.End();
  pic.setPicture(std::move(drawn));
  if (st.ssmode == 1) win.Line(LineFlags::FilledBox, 0, 0, 1000, 1000, OutlineColor);
  st.centerf = 0;
}

}  // namespace tavrel::stages
