// The small handlers of the menus, the option buttons and the fields. Each
// flips ticks and writes a setting of AppState, or clamps a field; the
// settings take effect at their next read.
#pragma once

#include "modes/run_host.h"
#include "state/app_state.h"

namespace tavrel {

// Colour mode: true colours, the basic colours, or the user palette.
void tcolormClick(RunHost& host, AppState& st);
void bcolormClick(RunHost& host, AppState& st);
void ueditClick(RunHost& host, AppState& st);
// Animation speed.
void tfastClick(RunHost& host, AppState& st);
void tslowClick(RunHost& host, AppState& st);
// Pattern mode: a single shape, a tile, or a tile repeated over the window.
void csingleClick(RunHost& host, AppState& st);
void cpp9Click(RunHost& host, AppState& st);
void cpatternClick(RunHost& host, AppState& st);
// The hidden start layout entries.
void snormalClick(RunHost& host, AppState& st);
void scenterClick(RunHost& host, AppState& st);
// Shapes Regular (fancy false) or Shapes Fancy.
void optionClick(AppState& st, bool fancy);

// The upper limits of the fields, tested at each key release (Text2, Text3,
// Text5) or change (Text6, Text7): above it the text becomes the limit.
void clampFieldToLimit(RunHost& host, Field f);
// The side stepper of Text4: arrows halve or double ssg, every key writes it.
void text4KeyDown(RunHost& host, AppState& st, int keyCode);

}  // namespace tavrel
