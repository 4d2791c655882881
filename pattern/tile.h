// The stages of a pattern tile that a single shape doesn't have.
#pragma once

#include "stages/stages.h"

namespace tavrel::tile {

// The frame 49 pixels out from the centre, a fresh crossing count, and every
// point of the stroke anchored at the centre.
void restartPoint(Surface& win, AppState& st, stages::Orbit& o, stages::Centre c);
// Whether p1 has reached the frame; rounds down on both sides.
bool reachesFrame(const AppState& st, stages::Centre c);
// A stroke that ran into drawn pixels more often than this is thrown away.
bool tooManyCrossings(const AppState& st);
// Gives the top left corner of the tile the colour of the top right one when
// the painter left it white: the scan never visits that quarter itself.
void cornerPatch(Surface& win, AppState& st, stages::Centre c);

}  // namespace tavrel::tile
