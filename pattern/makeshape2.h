// The pattern generator: eight mirrored arms grow from the centre out to a
// frame, the regions between them take random colours, and the framed square
// tile ends in Picture1.
#pragma once

#include "stages/host.h"
#include "state/app_state.h"

namespace tavrel {

GenerationStats makeshape2(GeneratorHost& host, AppState& st);

}  // namespace tavrel
