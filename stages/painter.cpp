#include <cmath>

#include "stages/stages.h"

namespace tavrel::stages {

namespace {

const double kSqr2 = std::sqrt(2.0);

// Fills the region under (x, y) in the current brush. A fill is complete when
// it returns, so reading the pixel back and filling again while it looks
// unpainted could change nothing; it would only loop for ever where the
// seed's pixel and the read-back pixel part.
void floodWithReadBack(Surface& win, double x, double y) {
  win.FloodFill(win.hDC(), CLng(x), CLng(y), OutlineColor);
}

bool usableBasicColourLeft(const AppState& st) {
  for (int c = 1; c <= 14; ++c)
    if (c != 7 && st.usedcolors[c] != 1) return true;
  return false;
}

}  // namespace

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
  // User colours are drawn as basic colours and take their own colours at
  // the capture, so that they make exactly the same regions.
  const bool basic = st.tcolor != kTrueColours;

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

    for (;;) {  // pixel visits along the row
      DrawCount count;
      for (;;) {  // one visit; `continue` draws again
        ++count;
        if (win.Point(st.a, st.b) == white) {
          double colorcode = Int(st.Rnd() * 14) + 1;
          if (!basic) colorcode = Int(st.Rnd() * 16777215) + 1;
          if (colorcode == st.lastcolor) continue;
          st.lastcolor = static_cast<Long>(colorcode);
          if (basic && colorcode == 7) continue;
          st.fillcolor =
              basic ? QBColor(static_cast<int>(colorcode)) : static_cast<Long>(colorcode);
          if (st.fillcolor == grey || st.fillcolor == 1 || st.fillcolor == white) continue;
          if (!(basic && usedcount == 13)) {
            bool used = false;
            for (int i = 1; i <= usedcount && !used; ++i) used = st.usedcolors[i] == colorcode;
            if (used) continue;
          }
          usedcount = usedcount + 1;
          if (basic && usedcount > 13) usedcount = 1;
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
            if (basic && !usableBasicColourLeft(st))
              for (int k = 1; k <= 14; ++k)
                if (k != 7) st.usedcolors[k] = 0;
            double colorcode = Int(st.Rnd() * 14) + 1;
            if (!basic) colorcode = Int(st.Rnd() * 16777215) + 1;
            if (basic &&
                (st.usedcolors[static_cast<std::size_t>(colorcode)] == 1 || colorcode == 7))
              continue;
            st.fillcolor =
                basic ? QBColor(static_cast<int>(colorcode)) : static_cast<Long>(colorcode);
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

}  // namespace tavrel::stages
