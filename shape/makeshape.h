// The single-shape generator: one random stroke seen through an eight-fold
// mirror group closes into an outline; its regions take random colours; the
// square ends in Picture1.
#pragma once

#include "shape/host.h"
#include "state/app_state.h"

namespace tavrel {

// What one generation did, for the renderer and the benchmarks.
struct GenerationStats {
  long restarts = 0;  // strokes thrown away
  long turns = 0;     // walker turns, all strokes counted
};

GenerationStats makeshape(GeneratorHost& host, AppState& st);

}  // namespace tavrel
