// The run modes behind one window: the state of the program, and the handler
// of every event the window reports.
#pragma once

#include "modes/run_host.h"
#include "state/app_state.h"

namespace tavrel {

class Program : public RunEvents {
 public:
  explicit Program(RunHost& host) : host_(host) {}

  AppState st;

  // The saved settings take the place of the design values, when there are any.
  void loadSettings();

  // The start-up runs once, whoever asks for it first; it never returns.
  void startup() override;
  void click(Control c) override;
  void optionClick(bool fancy) override;
  void menuClick(Menu m) override;
  void timerTick(TimerId t) override;
  void mouseDown() override;
  void keyUp(Field f) override;
  void keyDown(Field f, int keyCode) override;
  void textChanged(Field f) override;

 private:
  RunHost& host_;
  bool started_ = false;
};

}  // namespace tavrel
