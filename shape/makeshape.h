// The single-shape generator: one random stroke seen through an eight-fold
// mirror group closes into an outline; its regions take random colours; the
// square ends in Picture1.
#pragma once

#include "stages/host.h"
#include "state/app_state.h"

namespace tavrel {

GenerationStats makeshape(GeneratorHost& host, AppState& st);

}  // namespace tavrel
