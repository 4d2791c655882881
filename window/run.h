// Hands the window's events to the run modes: the buttons, the menu entries
// of the modes, the timers, the mouse and the first showing of the window.
#pragma once

#include "window/form.h"

namespace tavrel {

void connectRunModes(Form& form);

}  // namespace tavrel
