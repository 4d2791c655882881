// How the program starts, runs and stops: the start screen with its backdrop
// rotation, the main loop that pumps events and bounces Picture1, the regular
// and screen-saver modes, and the information page.
#pragma once

#include "modes/run_host.h"
#include "state/app_state.h"

namespace tavrel {

// Entered once, with the window on the screen; never returns. The start
// screen, the first values, the first generation, then the main loop.
[[noreturn]] void startup(RunHost& host, AppState& st);

// One turn of the main loop: moves Picture1, bounces it off the edges and
// pumps events.
void mainLoopTurn(RunHost& host, AppState& st);

// Handlers.
void command3Click(RunHost& host, AppState& st);
void command1Click(RunHost& host, AppState& st);
void ssaverClick(RunHost& host, AppState& st);
void regmodeClick(RunHost& host, AppState& st);
void timer1Tick(RunHost& host, AppState& st);
void timer2Tick(RunHost& host, AppState& st);
void timer4Tick(RunHost& host, AppState& st);
void timer7Tick(RunHost& host, AppState& st);
void orderinfoClick(RunHost& host, AppState& st);
void windowMouseDown(RunHost& host, AppState& st);

// Shows the next sample picture of the information page.
void nextslide(RunHost& host, AppState& st);

// Names of the backdrop files of slots 2 to 7.
std::string backdropFile(int slot);

}  // namespace tavrel
