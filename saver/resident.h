// What the module does over time on a Wayland desktop, apart from any
// window system: pictures that come when the desktop is idle (or at once,
// for --wayland) and go at the first input, a lock command once they have
// shown a while, and the desktop's own lock and sleep. Its sources feed it
// events; the backend asks it whether the pictures are up, what to carry
// out and when to wake.
#pragma once

#include <chrono>
#include <optional>

namespace tavrel::saver {

class Resident {
 public:
  using Clock = std::chrono::steady_clock;
  static constexpr Clock::time_point kNever = Clock::time_point::max();

  struct Config {
    bool resident = false;  // --idle: waits, and waits again after each show
    std::optional<Clock::duration> lockAfter;
  };

  enum class State {
    waiting,   // for the desktop to be idle
    showing,   // the pictures are up
    clearing,  // taking them down before the lock command runs
    locked,    // a lock has the screen
    ended,     // --wayland: the show is over
  };

  // What the backend carries out, each asked once.
  struct Requests {
    bool rearm = false;         // watch for idleness anew: a full period from now
    bool runLock = false;       // run the lock command
    bool holdSleep = false;     // take the sleep delay inhibitor
    bool releaseSleep = false;  // let the system sleep
  };

  Resident(const Config& c, Clock::time_point now);

  // The desktop has been idle for the set time.
  void idle(Clock::time_point now);
  // The user is back: input on the pictures, or the idle watch says so.
  void active(Clock::time_point now);
  // Another client took the keyboard from the pictures: a locker.
  void lostKeyboard(Clock::time_point now);
  // The desktop's lock came up, or went away.
  void locked(Clock::time_point now);
  void unlocked(Clock::time_point now);
  // The compositor has taken the pictures down, as asked.
  void cleared(Clock::time_point now);
  // The lock command ended.
  void lockCommandEnded(Clock::time_point now);
  // The system is about to sleep (true), or woke (false).
  void sleep(bool before, Clock::time_point now);
  // Time passed.
  void tick(Clock::time_point now);

  State state() const { return state_; }
  bool pictures() const { return state_ == State::showing; }
  Requests take();
  // When tick() next has something to do.
  Clock::time_point wake() const;

 private:
  enum class Lock { byKeyboard, byCommand, byDesktop };
  void endShow(Clock::time_point now);
  void lock(Lock how, Clock::time_point now);
  void runLock(Clock::time_point now);
  void releaseSleep();

  Config config_;
  State state_;
  Lock lock_ = Lock::byCommand;
  Clock::time_point since_{};  // when the pictures came up
  // Sleep waits for the lock until then; kNever when no sleep is pending.
  Clock::time_point sleepDeadline_ = kNever;
  Requests requests_;
};

}  // namespace tavrel::saver
