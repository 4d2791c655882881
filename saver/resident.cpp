#include "saver/resident.h"

#include <algorithm>
#include <utility>

namespace tavrel::saver {

namespace {

// How long sleep waits for the lock to come up.
constexpr auto kSleepWait = std::chrono::seconds(3);

}  // namespace

Resident::Resident(const Config& c, Clock::time_point now)
    : config_(c), state_(c.resident ? State::waiting : State::showing), since_(now) {
  requests_.rearm = c.resident;
  requests_.holdSleep = c.lockAfter.has_value();
}

void Resident::idle(Clock::time_point now) {
  if (state_ != State::waiting) return;
  state_ = State::showing;
  since_ = now;
}

void Resident::active(Clock::time_point now) {
  // A lock that told of itself is left only when it says so; one seen only
  // as a lost keyboard has gone, or will take the keyboard again, when
  // the user is back.
  if (state_ == State::showing || (state_ == State::locked && lock_ != Lock::byDesktop))
    endShow(now);
}

void Resident::lostKeyboard(Clock::time_point now) {
  if (state_ == State::showing) lock(Lock::byKeyboard, now);
}

void Resident::locked(Clock::time_point now) {
  if (state_ != State::ended) lock(Lock::byDesktop, now);
}

void Resident::unlocked(Clock::time_point now) {
  if (state_ == State::locked) endShow(now);
}

void Resident::cleared(Clock::time_point now) {
  if (state_ == State::clearing) runLock(now);
}

void Resident::lockCommandEnded(Clock::time_point) {
  releaseSleep();
}

void Resident::sleep(bool before, Clock::time_point now) {
  if (!config_.lockAfter) return;  // no inhibitor is held
  if (!before) {
    sleepDeadline_ = kNever;
    requests_.holdSleep = true;
    return;
  }
  sleepDeadline_ = now + kSleepWait;
  switch (state_) {
    case State::waiting:
      runLock(now);
      break;
    case State::showing:
      state_ = State::clearing;
      break;
    case State::clearing:
      break;
    case State::locked:
    case State::ended:
      releaseSleep();
      break;
  }
}

void Resident::tick(Clock::time_point now) {
  if (state_ == State::showing && config_.lockAfter && now >= since_ + *config_.lockAfter)
    state_ = State::clearing;
  if (now >= sleepDeadline_) releaseSleep();
}

Resident::Requests Resident::take() {
  return std::exchange(requests_, Requests{});
}

Resident::Clock::time_point Resident::wake() const {
  Clock::time_point at = sleepDeadline_;
  if (state_ == State::showing && config_.lockAfter) at = std::min(at, since_ + *config_.lockAfter);
  return at;
}

void Resident::endShow(Clock::time_point) {
  if (!config_.resident) {
    state_ = State::ended;
    return;
  }
  state_ = State::waiting;
  requests_.rearm = true;
}

void Resident::lock(Lock how, Clock::time_point) {
  state_ = config_.resident ? State::locked : State::ended;
  lock_ = how;
  // The locker has the screen: sleep may go on, unless it is the lock
  // command's own locker, which says so by ending.
  if (how != Lock::byCommand) releaseSleep();
}

void Resident::runLock(Clock::time_point now) {
  requests_.runLock = true;
  lock(Lock::byCommand, now);
}

void Resident::releaseSleep() {
  if (sleepDeadline_ == kNever) return;
  sleepDeadline_ = kNever;
  requests_.releaseSleep = true;
}

}  // namespace tavrel::saver
