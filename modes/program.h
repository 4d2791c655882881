// The run modes behind one window: the state of the program, the handler of
// every event the window reports, and the steps of what goes by itself.
#pragma once

#include <deque>
#include <functional>
#include <optional>

#include "history/history.h"
#include "modes/run_host.h"
#include "state/app_state.h"
#include "state/bounce.h"

namespace tavrel {

class Program : public RunEvents {
 public:
  explicit Program(RunHost& host) : host_(host) {}

  AppState st;

  // The saved settings take the place of the design values, when there are any.
  void loadSettings();
  // Every picture shown goes to `history` too, while the settings keep it on.
  void keepHistory(std::optional<History> history) { history_ = std::move(history); }

  // The start screen, once, whoever asks for it first.
  void startup() override;
  void click(Control c) override;
  void optionClick(bool fancy) override;
  void menuClick(Menu m) override;
  void timerTick(TimerId t) override;
  void mouseDown() override;
  void keyUp(Field f) override;
  void keyDown(Field f, int keyCode) override;
  void textChanged(Field f) override;
  void resized(int oldWidth, int oldHeight) override;
  void answer(const std::function<void()>& handler) override;
  std::optional<Clock::time_point> advance(Clock::time_point now) override;

 private:
  // Where the start-up stands: each step returns, and the next one comes
  // at the next call of advance().
  enum class Phase { Before, StartScreen, Leaving, FirstPicture, Running };

  // Runs `handler` at once, or after the handler under way when it comes
  // during one (a generator's DoEvents, say): handlers never nest. A handler
  // holds what it needs by value, so a deferred one outlives its caller.
  void dispatch(std::function<void()> handler);
  // Hands the pictures made since the last call to the history.
  void keepInHistory();

  RunHost& host_;
  Phase phase_ = Phase::Before;
  bool busy_ = false;
  std::deque<std::function<void()>> deferred_;
  std::optional<StepClock> steps_;  // while Picture1 bounces
  Picture named_;  // the picture last named
  std::optional<History> history_;
  std::uint64_t kept_ = 0;  // pictures of the run handed to the history
};

}  // namespace tavrel
