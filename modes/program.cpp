#include "modes/program.h"

#include <exception>

#include "modes/menus.h"
#include "modes/modes.h"
#include "modes/pictures.h"
#include "modes/settings.h"

namespace tavrel {

namespace {

// Handlers run inside the event pumps of the start-up, whose failures are
// passed over: a handler that fails is skipped, and the program goes on.
// The end of the program goes through.
template <typename Handler>
void passOverFailure(Handler&& handler) {
  try {
    handler();
  } catch (const std::exception&) {
  }
}

}  // namespace

void Program::loadSettings() {
  const std::filesystem::path path = settingsPath();
  if (path.empty()) return;
  const auto settings = readSettingsFile(path);
  if (settings) passOverFailure([&] { applySettings(host_, st, *settings); });
}

void Program::startup() {
  if (started_) return;
  started_ = true;
  tavrel::startup(host_, st);
}

void Program::click(Control c) {
  passOverFailure([&] {
    if (c == Control::Command1) command1Click(host_, st);
    if (c == Control::Command3) command3Click(host_, st);
  });
}

void Program::optionClick(bool fancy) {
  tavrel::optionClick(st, fancy);
}

void Program::menuClick(Menu m) {
  passOverFailure([&] {
    switch (m) {
      case Menu::regmode:
        return regmodeClick(host_, st);
      case Menu::ssaver:
        return ssaverClick(host_, st);
      case Menu::tslow:
        return tslowClick(host_, st);
      case Menu::tfast:
        return tfastClick(host_, st);
      case Menu::uedit:
        return ueditClick(host_, st);
      case Menu::tcolorm:
        return tcolormClick(host_, st);
      case Menu::bcolorm:
        return bcolormClick(host_, st);
      case Menu::quit:
        return host_.End();
      case Menu::csingle:
        return csingleClick(host_, st);
      case Menu::cpp9:
        return cpp9Click(host_, st);
      case Menu::cpattern:
        return cpatternClick(host_, st);
      case Menu::snormal:
        return snormalClick(host_, st);
      case Menu::scenter:
        return scenterClick(host_, st);
      case Menu::orderinfo:
        return orderinfoClick(host_, st);
      case Menu::impcolor:
        return impcolorClick(host_, st);
      case Menu::fgdfgfg:
        return editColorsClick(host_, st);
      case Menu::hgfhg:
        return printPatternClick(host_, st);
      case Menu::sdfdssdf:
        return saveShapeClick(host_, st);
      case Menu::fghfghg:
        return saveSettingsClick(host_, st);
      case Menu::restored:
        return restoredClick(host_, st);
      default:
        return;  // an entry without an action
    }
  });
}

void Program::timerTick(TimerId t) {
  passOverFailure([&] {
    switch (t) {
      case TimerId::Timer1:
        return timer1Tick(host_, st);
      case TimerId::Timer2:
        return timer2Tick(host_, st);
      case TimerId::Timer4:
        return timer4Tick(host_, st);
      case TimerId::Timer7:
        return timer7Tick(host_, st);
    }
  });
}

void Program::mouseDown() {
  passOverFailure([&] { windowMouseDown(host_, st); });
}

void Program::keyUp(Field f) {
  if (f == Field::Text2 || f == Field::Text3 || f == Field::Text5)
    passOverFailure([&] { clampFieldToLimit(host_, f); });
}

void Program::keyDown(Field f, int keyCode) {
  if (f == Field::Text4) passOverFailure([&] { text4KeyDown(host_, st, keyCode); });
}

void Program::textChanged(Field f) {
  if (f == Field::Text6 || f == Field::Text7) passOverFailure([&] { clampFieldToLimit(host_, f); });
}

}  // namespace tavrel
