// The signals the module answers: SIGTERM, SIGINT and SIGHUP end it, SIGUSR1
// asks for a new picture. They arrive as bytes on a descriptor the main loop
// waits on, so nothing is done inside a handler but note them.
#pragma once

namespace tavrel::saver {

// How the module ends: an exit status, or the signal that ended it, which it
// raises again once it has cleaned up, so its parent sees what ended it.
struct Ending {
  int status = 0;
  int signal = 0;
};

// Installs the handlers; false when it cannot. A signal that ends the module
// also arms a watchdog: should the main loop not have ended it within half a
// second (stalled in a write to a server that reads nothing), the signal's
// own default action does.
bool catchSignals();
// Readable when a signal arrived.
int signalDescriptor();
// The signal that arrived first among those not yet taken; 0 for none.
int takeSignal();
// Whether the signal ends the module.
bool ends(int signal);
// Ends the process as `e` says; returns the status only if the signal did
// not end it.
int finish(const Ending& e);

}  // namespace tavrel::saver
