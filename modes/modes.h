// How the program starts, runs and stops: the start screen with its backdrop
// rotation, the bounce of Picture1, the regular and screen-saver modes, and
// the information page.
#pragma once

#include "modes/run_host.h"
#include "state/app_state.h"

namespace tavrel {

// The start-up in three steps, each of which returns: the start screen
// (a backdrop, "Click to begin", no menus); once that button is gone, the
// end of the backdrop rotation and a black surface; then the first values
// and the first picture.
void startScreen(RunHost& host, AppState& st);
void leaveStartScreen(RunHost& host, AppState& st);
void firstPicture(RunHost& host, AppState& st);

// `steps` steps of the bounce of Picture1, when it bounces.
void bounceSteps(RunHost& host, AppState& st, int steps);

// Handlers.
void command3Click(RunHost& host, AppState& st);
void command1Click(RunHost& host, AppState& st);
void ssaverClick(RunHost& host, AppState& st);
void regmodeClick(RunHost& host, AppState& st);
void timer1Tick(RunHost& host, AppState& st);
void timer2Tick(RunHost& host, AppState& st);
void timer4Tick(RunHost& host, AppState& st);
void orderinfoClick(RunHost& host, AppState& st);
void windowMouseDown(RunHost& host, AppState& st);
// The window grew or shrank (full screen and back): the black box the
// pictures stand in reaches into what it gained.
void windowResized(RunHost& host, const AppState& st, int oldWidth, int oldHeight);
// "Previous picture" and "Next picture": in regular mode, the picture before
// or after the one on show, exactly as it was shown, made again off screen
// from its recipe; the run's own random source goes on untouched, so the
// next new picture is the one the run would have made anyway.
void prevpicClick(RunHost& host, AppState& st);
void nextpicClick(RunHost& host, AppState& st);

// Shows the next sample picture of the information page.
void nextslide(RunHost& host, AppState& st);

// Names of the backdrop files of slots 2 to 7.
std::string backdropFile(int slot);

}  // namespace tavrel
