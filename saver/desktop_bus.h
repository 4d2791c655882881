// What the desktop says over D-Bus that the module's idle loop needs: when
// GNOME's compositor finds the desktop idle or active again, whether its
// session manager holds idleness back, when logind is about to put the system
// to sleep or asks this session to lock, and when the desktop's own
// screen-saver comes up. Also the logind delay that holds sleep back while
// the pictures come down.
//
// Nothing here blocks once the object is made: the loop polls the
// descriptors, then calls process(), then takes the events. A bus that is
// not there is a warning, never a failure: the module idles without it.
#pragma once

#include <poll.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tavrel::saver {

enum class BusEvent {
  Idle,                 // the desktop has had no input for the time given to watchIdle
  Active,               // input again after Idle
  IdleMonitorGone,      // the compositor's idle monitor left the bus: no more Idle
  Inhibited,            // the session manager holds idleness back (a video plays)
  NotInhibited,         // ... and no longer does
  Sleep,                // the system goes to sleep as soon as the delay is released
  Wake,                 // the system woke from sleep
  Lock,                 // logind asks this session to lock
  Unlock,               // logind asks this session to unlock
  ScreenSaverActive,    // the desktop's own screen-saver or lock screen came up
  ScreenSaverInactive,  // ... and went away
};
const char* name(BusEvent e);

class DesktopBus {
 public:
  using Clock = std::chrono::steady_clock;

  // Connects to the session bus and the system bus, each where it exists,
  // and listens. A few calls wait for their answer here, none later. The
  // session is XDG_SESSION_ID's, else the user's display session. When the
  // session manager holds idleness back already, Inhibited is the first
  // event.
  DesktopBus();
  ~DesktopBus();
  DesktopBus(const DesktopBus&) = delete;
  DesktopBus& operator=(const DesktopBus&) = delete;

  // Whether GNOME's compositor offers its idle monitor on the session bus.
  bool hasIdleMonitor() const;
  // Idle comes after `after` without input, again after each Active; Active
  // comes at the first input after each Idle. Replaces an earlier watch.
  // Waits for the compositor's answer: call it at start. False, with a
  // warning, when there is no idle monitor or it refuses.
  bool watchIdle(std::chrono::milliseconds after);

  // Whether logind is there to ask for the sleep delay.
  bool hasLogind() const;
  // Holds sleep back until released (or logind's own limit, a few seconds):
  // asked for without waiting; holdsSleepDelay() says when it is held.
  // Asking while it is held or asked for does nothing.
  void takeSleepDelay();
  // Lets sleep go on; also cancels a delay asked for and not yet given.
  void releaseSleepDelay();
  bool holdsSleepDelay() const;

  // What to add to the loop's poll: one entry per connected bus, its events
  // set as the bus needs them now (ask again before each poll).
  std::vector<pollfd> descriptors() const;
  // When the buses need process() even without input (a call's answer
  // overdue, a message already read); none for never.
  std::optional<Clock::time_point> wake() const;
  // Reads and dispatches what arrived, writes what waits to be sent; cheap
  // when nothing did. Call it after each poll. A bus that closed becomes a
  // warning and is dropped.
  void process();

  // The events since the last call, oldest first.
  std::vector<BusEvent> takeEvents();
  // Warnings since the last call, oldest first, each one line without the
  // program's name or a newline.
  std::vector<std::string> takeWarnings();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace tavrel::saver
