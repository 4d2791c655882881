// The stages that both generators share: field set-up, the sixteen mirror
// points, the stroke walker, the region painter and the capture. Each
// generator calls them in its own order; where the two differ, the
// difference is a parameter here.
#pragma once

#include "stages/host.h"
#include "state/app_state.h"

namespace tavrel::stages {

// The whole-pixel centre of window and shape: Int(ScaleWidth / 2), Int(ScaleHeight / 2).
struct Centre {
  double x = 0, y = 0;
};
Centre centreOf(GeneratorHost& host);

// Set-up of a generation: the fields read, clamped and written back around
// the one event pump (the second reading counts), the parameters derived,
// the colour table cleared and the window erased all white. A pattern tile
// also empties the window's picture right after the pump and sets centerf.
// Gives the recipe of the picture, taken right after the pump.
Recipe setUp(GeneratorHost& host, AppState& st, Generator g);
// Its steps: the fields (run twice), the derived parameters, the colour
// table and the white window.
void readFields(GeneratorHost& host, AppState& st);
void deriveParameters(GeneratorHost& host, AppState& st);
void clearColoursAndWindow(GeneratorHost& host, AppState& st);
// What a generation that starts now will read besides its random draws.
Recipe recipeNow(GeneratorHost& host, const AppState& st, Generator g);
// Puts a headless host and the state where the recipe's generation started.
void startFrom(const Recipe& r, HeadlessHost& host, AppState& st);

// p2..p8 and q1..q8; p1 is (st.a, st.b) and p5's y lives in st.p5ytext.
struct Orbit {
  double p2x = 0, p2y = 0, p3x = 0, p3y = 0, p4x = 0, p4y = 0, p5x = 0;
  double p6x = 0, p6y = 0, p7x = 0, p7y = 0, p8x = 0, p8y = 0;
  double qx[8] = {}, qy[8] = {};
};

// The start layout of every stroke of a shape and of every scan: on the rim.
void placeOnRim(AppState& st, Orbit& o, Centre c);
// Every point at the centre: the anchors of a pattern's arms.
void placeAtCentre(AppState& st, Orbit& o, Centre c);

// One walker move of the eight edge points.
void moveEdgePoints(AppState& st, Orbit& o, double stepx, double stepy);
// The diagonal points' share of a move, for the x part and the y part.
void moveDiagonalsX(Orbit& o, double qshift);
void moveDiagonalsY(Orbit& o, double qshift);

// Plots of one turn: the edge points and the diagonal points.
void plotEdgePoints(Surface& win, const AppState& st, const Orbit& o, bool withSides);
void plotDiagonals(Surface& win, const Orbit& o);
// The grey cross to the left of the shape that stands while a stroke is drawn.
void drawGuideCross(Surface& win, const AppState& st, Centre c);
// Wipes the fixed drawing box white before a new stroke; after many
// restarts also the shape's own square (see kRestartsBeforeSquareWipe).
void wipeForRestart(Surface& win, const AppState& st, Centre c, long restarts);

// Velocity, acceleration and twist of a stroke; all pairs at unit size but
// the raw twist of a pattern.
struct Walker {
  double stepx = 0, stepy = 0, bendx = 0, bendy = 0, twistx = 0, twisty = 0;
  double stepcount = 0, stepperiod = 0;
  bool normaliseTwist = true;

  void startDraws(AppState& st);
  void twistDraw(AppState& st);
  void twistTiming(AppState& st);
  void updateAfterStep();
};

// Scales a pair so that its larger magnitude is 1, keeping both signs.
void normalise(double& u, double& v);

// Selects a new brush in st.fillcolor: create, select, delete both handles.
void brushChange(Surface& win, AppState& st);

// Background fill and the scan of one quarter, each white region flooded
// with its seven images in one random colour.
void paintRegions(GeneratorHost& host, AppState& st, Orbit& o, Centre c);

// In user colour mode, each colour a basic-colour region can take becomes
// the user palette's colour of the same number, in the shape's square.
void applyUserColours(Surface& win, const AppState& st, Centre c);

// Capture, in two halves: the box takes its size, then receives the square
// and the recipe that made it.
void sizePicture1(GeneratorHost& host, const AppState& st);
void copyToPicture1(GeneratorHost& host, AppState& st, Centre c, Recipe made);

// Ways out of states that would otherwise never end. None of them changes a
// stroke that passes before it applies.
// A stroke still walking after this many turns is thrown away.
inline constexpr long kTurnCap = 100000;
// From this many restarts on, a wipe also clears the shape's own square:
// where it reaches past the fixed box the wipe leaves old strokes behind, and
// every new stroke would count them as crossings for ever.
inline constexpr long kRestartsBeforeSquareWipe = 1000;
// From this many restarts on, a stroke that reaches its end inside the area
// is kept whatever its crossings (a side count below zero fails them all).
inline constexpr long kRestartsBeforeAnyCrossingPasses = 20000;
// Bounds that no state of the random source but the refused all-zero one
// comes near (the longest run of zero draws any other state makes is a few
// hundred, and a generation takes at most some tens of thousands of
// restarts): past them a generation stops with a run-time error instead of
// running for ever.
inline constexpr long kDrawsWithoutUse = 1L << 20;
inline constexpr long kRestartCap = 1L << 20;
// Counts the draws of a loop that draws until a number is usable.
class DrawCount {
 public:
  void operator++();

 private:
  long draws_ = 0;
};
// Counts a restart of a generation against kRestartCap.
void countRestart(long& restarts);

}  // namespace tavrel::stages
