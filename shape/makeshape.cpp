#include "shape/makeshape.h"

#include <cmath>
#include <utility>

#include "stages/stages.h"

namespace tavrel {

using namespace stages;

GenerationStats makeshape(GeneratorHost& host, AppState& st) {
  GenerationStats stats;
  Surface& win = host.SurfaceWindow();

  Recipe made = setUp(host, st, Generator::shape);

  Orbit o;
  Walker walk;
  const double sqr2 = std::sqrt(2.0);

  for (;;) {  // restart point
    st.hhmn = 0;
    const Centre c = centreOf(host);
    const double half = st.swidth / 2;
    placeOnRim(st, o, c);
    walk.startDraws(st);
    drawGuideCross(win, st, c);

    // Outline pass: plot the images of the stroke until p1 reaches the axis.
    bool failed = false;
    long turns = 0;
    for (;;) {
      if (++turns > kTurnCap) {
        failed = true;
        break;
      }
      plotEdgePoints(win, st, o, st.nsides != 2);
      if (st.nsides == 8) plotDiagonals(win, o);
      walk.twistTiming(st);
      if (st.a > c.x + half || st.a < c.x - half || st.b > c.y + half || st.b < c.y - half ||
          o.qx[0] > c.x + half || o.qx[0] < c.x - half || o.qy[0] > c.y + half ||
          o.qy[0] < c.y - half) {
        failed = true;
        break;
      }
      if (Int(st.b) >= Int(o.p3y)) break;
      // One walker step.
      moveEdgePoints(st, o, walk.stepx, walk.stepy);
      moveDiagonalsX(o, walk.stepx / sqr2);
      if (st.nsides == 8) plotDiagonals(win, o);  // the half-way plot
      moveDiagonalsY(o, walk.stepy / sqr2);
      // Crossing test: sees only earlier plots, p1's new place is not drawn yet.
      if (win.Point(st.a, st.b) == OutlineColor) st.hhmn = st.hhmn + 1;
      walk.updateAfterStep();
    }
    stats.turns += turns;
    if (!failed && st.hhmn > (st.swidth / 4) * (st.nsides / 4) &&
        stats.restarts < kRestartsBeforeAnyCrossingPasses)
      failed = true;
    if (!failed) break;

    // Wipe and restart.
    countRestart(stats.restarts);
    wipeForRestart(win, st, c, stats.restarts);
  }

  const Centre c = centreOf(host);
  paintRegions(host, st, o, c);
  sizePicture1(host, st);
  copyToPicture1(host, st, c, std::move(made));
  return stats;
}

}  // namespace tavrel
