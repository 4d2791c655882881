// The meeting point of the run modes and the window. RunHost is what the run
// modes need of the window beyond what a generator needs: the controls they
// show and hide, the menus, the timers and the pictures. RunEvents is what
// the window hands back: every event of its controls, to the handlers.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "stages/host.h"
#include "state/recipe.h"

namespace tavrel {

enum class Control { Command1, Command3, Label6, Picture1, Picture2 };

// Every entry of the menu tree, by its name, with its caption; a name that
// heads a submenu is marked so.
enum class Menu {
  options,    // "Options" (submenu)
  regmode,    // "Regular mode"
  ssaver,     // "Screen-Saver mode"
  hfggf,      // "Animation speed" (submenu)
  tslow,      // "Slow"
  tfast,      // "Fast"
  impcolor,   // "Import color scale"
  colormode,  // "Color mode" (submenu)
  uedit,      // "User defined colors"
  tcolorm,    // "True color (16000000 colors)"
  bcolorm,    // "Basic color (15 colors)"
  fgdfgfg,    // "Edit colors"
  hgfhg,      // "Print pattern (press "P")"
  sdfdssdf,   // "Save shape (press "S")"
  fgdgf,      // "Auto-print" (hidden)
  dfsdffd,    // "Auto-save" (hidden)
  fghfghg,    // "Save settings"
  restored,   // "Restore default settings"
  sfancy,     // "sfancy" (hidden)
  quit,       // "Quit"
  patmode5,   // "Pattern mode" (submenu)
  csingle,    // "Create single shape"
  cpp9,       // "Create part of pattern"
  cpattern,   // "Create pattern"
  tyhfghgfh,  // "Complexity of shape" (submenu, hidden)
  snormal,    // "Shapes simple"
  scenter,    // "Shapes complex"
  orderinfo,  // "Ordering information"

  // Stepping through the pictures of the run, in Options.
  prevpic,  // "Previous picture" (Alt+Left)
  nextpic,  // "Next picture" (Alt+Right)
};

enum class TimerId { Timer1, Timer2, Timer4 };

// Key codes the side stepper of Text4 reacts to.
enum KeyCode : int { kKeyLeft = 37, kKeyUp = 38, kKeyRight = 39, kKeyDown = 40 };

class RunHost : public virtual GeneratorHost {
 public:
  virtual bool isVisible(Control c) = 0;
  virtual void setVisible(Control c, bool visible) = 0;
  // The controls of the regular screen, shown and hidden as one step.
  virtual void showControlPanel() = 0;
  virtual void hideControlPanel() = 0;
  // Selects "Shapes Fancy" (true) or "Shapes Regular" (false).
  virtual void selectOption2(bool fancy) = 0;

  virtual void setMenuVisible(Menu m, bool visible) = 0;
  virtual bool isChecked(Menu m) = 0;
  virtual void setChecked(Menu m, bool checked) = 0;

  // Screen-saver mode fills the screen, and hides the pointer while it
  // rests; regular mode shows the maximised window.
  virtual void showAsScreenSaver(bool on) = 0;

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

  // What a screen reader calls the picture on show, at each new picture.
  virtual void namePicture(const std::string& name) = 0;

  // Services of the desktop: the folder for saved pictures, a short note on
  // the window that goes by itself, a message the user closes, the print
  // dialog, the colour editor and a file chooser. The dialogs return at
  // once and the show goes on behind them; an answer comes later as an
  // event of its own (none when the user cancels).
  virtual std::string picturesFolder() = 0;
  virtual void showNote(const std::string& text) = 0;
  virtual void showMessage(const std::string& text) = 0;
  // `centimetres`: the printed size offered first; `chosen` gets the size
  // the user printed at.
  virtual void printPicture(const ImageData& picture, bool repeatTile, double centimetres,
                            std::function<void(double)> chosen) = 0;
  virtual void editColours(const UserPalette& current,
                           std::function<void(const UserPalette&)> edited) = 0;
  virtual void choosePaletteFile(std::function<void(const std::string&)> chosen) = 0;
};

class RunEvents {
 public:
  virtual ~RunEvents() = default;

  using Clock = std::chrono::steady_clock;

  // The window is on the screen for the first time.
  virtual void startup() = 0;
  // Moves on whatever goes by itself (the start-up's steps, the bounce) up
  // to `now`: after every event, and when the time it last asked for has
  // come. The time it wants to be called again; none: nothing moves.
  virtual std::optional<Clock::time_point> advance(Clock::time_point now) = 0;
  // A dialog's answer, handled as every event is.
  virtual void answer(const std::function<void()>& handler) = 0;
  // A click of Command1 or Command3.
  virtual void click(Control c) = 0;
  // A click of Option1 (fancy false) or Option2 (fancy true).
  virtual void optionClick(bool fancy) = 0;
  virtual void menuClick(Menu m) = 0;
  virtual void timerTick(TimerId t) = 0;
  // A mouse button pressed on the bare surface of the window.
  virtual void mouseDown() = 0;
  // Keys in the fields: released in Text2, Text3, Text5; pressed in Text4
  // (with its key code); and a changed text in Text6, Text7.
  virtual void keyUp(Field f) = 0;
  virtual void keyDown(Field f, int keyCode) = 0;
  virtual void textChanged(Field f) = 0;
  // The window's surface took a new size; it was `oldWidth` x `oldHeight`.
  virtual void resized(int oldWidth, int oldHeight) = 0;
};

}  // namespace tavrel
