// What the run modes need of the window, beyond what a generator needs: the
// controls they show and hide, the menus, the timers and the pictures.
#pragma once

#include <cstdint>
#include <string>

#include "shape/host.h"

namespace tavrel {

enum class Control { Command1, Command3, Label6, Picture1, Picture2 };
enum class Menu { options, patmode5, orderinfo, regmode, ssaver };
enum class TimerId { Timer1, Timer2, Timer4, Timer7 };

class RunHost : public GeneratorHost {
 public:
  virtual bool isVisible(Control c) = 0;
  virtual void setVisible(Control c, bool visible) = 0;
  // The controls of the regular screen, shown and hidden as one step.
  virtual void showControlPanel() = 0;
  virtual void hideControlPanel() = 0;

  virtual void setMenuVisible(Menu m, bool visible) = 0;
  virtual void setChecked(Menu m, bool checked) = 0;

  virtual void setTimerEnabled(TimerId t, bool enabled) = 0;
  virtual void setTimerInterval(TimerId t, Long milliseconds) = 0;

  // Picture1.Left, then Picture1.Top, in window pixels.
  virtual void movePicture1(float left, float top) = 0;

  // Reads a bitmap file from the working directory; false when it can't.
  virtual bool LoadPicture(const std::string& fileName, Picture& out) = 0;
  // The picture held by Picture4 .. Picture9.
  virtual Picture slidePicture(int box) = 0;
  virtual void setPicture2(Picture p) = 0;

  // The seed of Randomize.
  virtual std::uint32_t secondsSinceMidnight() = 0;
};

}  // namespace tavrel
