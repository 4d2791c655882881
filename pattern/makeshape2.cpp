#include "pattern/makeshape2.h"

#include <utility>

#include "pattern/tile.h"

namespace tavrel {

using namespace stages;

namespace tile {

void restartPoint(Surface& win, AppState& st, Orbit& o, Centre c) {
  const double half = st.swidth / 2;
  win.Line(LineFlags::Box, c.x - half + 1, c.y - half + 1, c.x + half - 1, c.y + half - 1,
           OutlineColor);
  st.hhmn = 0;
  placeAtCentre(st, o, c);
}

bool reachesFrame(const AppState& st, Centre c) {
  const double half = st.swidth / 2;
  return Int(st.a) <= c.x - half || Int(st.a) >= c.x + half || Int(st.b) <= c.y - half ||
         Int(st.b) >= c.y + half;
}

bool tooManyCrossings(const AppState& st) {
  return st.hhmn > st.swidth / 4;
}

void cornerPatch(Surface& win, AppState& st, Centre c) {
  const double half = st.swidth / 2;
  const double leftX = c.x - half + 6, rightX = c.x + half - 6, y = c.y - half + 6;
  if (win.Point(leftX, y) != QBColor(15)) return;
  st.fillcolor = win.Point(rightX, y);
  brushChange(win, st);
  win.FloodFill(win.hDC(), CLng(leftX), CLng(y), OutlineColor);
}

}  // namespace tile

using namespace tile;

GenerationStats makeshape2(GeneratorHost& host, AppState& st) {
  GenerationStats stats;
  Surface& win = host.SurfaceWindow();

  // The arms start at the centre, and the window loses its picture.
  Recipe made = setUp(host, st, Generator::pattern);

  Orbit o;
  Walker walk;
  walk.normaliseTwist = false;  // a pattern's twist stays raw
  // The side count has no other input to this walk: with eight sides the
  // loop ends after its first turn, before p1 has moved.
  const double turnlimit = 0;

  for (;;) {  // restart point
    const Centre c = centreOf(host);
    restartPoint(win, st, o, c);
    double turncount = 0;

    bool failed = false;
    const int passes = st.nsides == 8 ? 2 : 1;
    for (int pass = 0; pass < passes && !failed; ++pass) {
      walk.startDraws(st);
      drawGuideCross(win, st, c);
      // Arms: all eight images grow until p1 reaches the frame; the second
      // pass of an eight-sided tile plots the diagonal points instead.
      long turns = 0;
      for (;;) {
        if (++turns > kTurnCap) {
          failed = true;
          break;
        }
        if (pass == 0)
          plotEdgePoints(win, st, o, true);
        else
          plotDiagonals(win, o);
        walk.twistTiming(st);
        if (reachesFrame(st, c)) break;
        turncount = turncount + 1;
        if (st.nsides == 8 && turncount >= turnlimit) break;
        moveEdgePoints(st, o, walk.stepx, walk.stepy);
        if (win.Point(st.a, st.b) == OutlineColor) st.hhmn = st.hhmn + 1;
        walk.updateAfterStep();
      }
      stats.turns += turns;
    }
    if (!failed && tooManyCrossings(st) && stats.restarts < kRestartsBeforeAnyCrossingPasses)
      failed = true;
    if (!failed) break;

    countRestart(stats.restarts);
    wipeForRestart(win, st, c, stats.restarts);
  }

  const Centre c = centreOf(host);
  paintRegions(host, st, o, c);
  sizePicture1(host, st);
  cornerPatch(win, st, c);
  copyToPicture1(host, st, c, std::move(made));
  return stats;
}

}  // namespace tavrel
