// The program as the executable runs it: the window, the run modes behind
// it, the embedded pictures, and the display scale and font they are shown
// at. Whatever runs the program (the executable, its benchmarks, its tests)
// wires it up here, the one way.
#pragma once

#include <memory>

#include "modes/program.h"
#include "window/form.h"

class QApplication;
class QScreen;

namespace tavrel {

class Session {
 public:
  // The window for `screen` (the primary screen when null), at the display
  // scale chosen for it; needs a QApplication.
  explicit Session(QScreen* screen = nullptr);
  // At a scale given by the caller.
  explicit Session(double scale);

  Form& form() { return *form_; }
  Program& program() { return program_; }
  // Maximised over the screen's available area, even without a window manager.
  void show();

  // The application object, made as the program needs it: Qt's platform
  // told first what it reads only then (see session.cpp), and the
  // environment given back as it was, so that nothing of it reaches a
  // process started from the program. `argc` must outlive it, as Qt's own.
  static std::unique_ptr<QApplication> makeApplication(int& argc, char** argv);

 private:
  std::unique_ptr<Form> form_;
  Program program_;
  QScreen* screen_ = nullptr;
};

}  // namespace tavrel
