#include "modes/program.h"

#include <exception>

#include "modes/menus.h"
#include "modes/modes.h"
#include "modes/pictures.h"
#include "modes/settings.h"

namespace tavrel {

namespace {

// A handler that fails is skipped, and the program goes on; the end of the
// program goes through.
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
  if (settings) dispatch([this, s = *settings] { applySettings(host_, st, s); });
}

void Program::dispatch(std::function<void()> handler) {
  if (busy_) {
    deferred_.push_back(std::move(handler));
    return;
  }
  busy_ = true;
  struct Done {
    bool& busy;
    std::deque<std::function<void()>>& deferred;
    ~Done() {
      busy = false;
      deferred.clear();  // left behind only when the program ends
    }
  } done{busy_, deferred_};
  passOverFailure(handler);
  while (!deferred_.empty()) {
    const std::function<void()> next = std::move(deferred_.front());
    deferred_.pop_front();
    passOverFailure(next);
  }
  // Each capture, or a step back or forth, puts a picture into Picture1:
  // it is named by its number in the run.
  if (const Picture& shown = host_.SurfacePicture1().picture();
      shown && shown != named_ && !st.shown.empty()) {
    named_ = shown;
    const std::uint64_t number = st.picturesMade - st.shown.size() + 1 + st.onShow;
    host_.namePicture(pictureName(st.picture1Recipe, st.seed, static_cast<long>(number)));
  }
  keepInHistory();
}

void Program::keepInHistory() {
  const std::uint64_t made = st.picturesMade;
  const std::uint64_t fresh = std::min<std::uint64_t>(made - kept_, st.shown.size());
  kept_ = made;
  if (!history_ || st.history != HistoryMode::on) return;
  for (std::uint64_t i = fresh; i > 0; --i)
    history_->add(st.shown[st.shown.size() - i].recipe, st.seed, made - i + 1);
}

void Program::startup() {
  if (phase_ != Phase::Before) return;
  phase_ = Phase::StartScreen;
  dispatch([this] { startScreen(host_, st); });
}

std::optional<RunEvents::Clock::time_point> Program::advance(Clock::time_point now) {
  if (busy_) return now;
  switch (phase_) {
    case Phase::Leaving:
      // The black surface shows before the first picture is made.
      phase_ = Phase::FirstPicture;
      dispatch([this] { leaveStartScreen(host_, st); });
      return now;
    case Phase::FirstPicture:
      phase_ = Phase::Running;
      dispatch([this] { firstPicture(host_, st); });
      break;
    default:
      break;
  }
  if (!st.bounce || !host_.isVisible(Control::Picture1)) {
    steps_.reset();
    return std::nullopt;
  }
  // A change of speed counts from now.
  const auto period = bounceStepPeriod(st.nwait4 != 1);
  if (!steps_ || steps_->period() != period) steps_.emplace(now, period);
  const int steps = steps_->take(now);
  dispatch([this, steps] { bounceSteps(host_, st, steps); });
  return steps_->next();
}

void Program::click(Control c) {
  dispatch([this, c] {
    if (c == Control::Command1) command1Click(host_, st);
    if (c == Control::Command3) {
      command3Click(host_, st);
      if (phase_ == Phase::StartScreen) phase_ = Phase::Leaving;
    }
  });
}

void Program::optionClick(bool fancy) {
  dispatch([this, fancy] { tavrel::optionClick(st, fancy); });
}

void Program::answer(const std::function<void()>& handler) {
  dispatch(handler);  // a copy: the handler may come back after its caller is gone
}

void Program::menuClick(Menu m) {
  dispatch([this, m] {
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
      case Menu::prevpic:
        return prevpicClick(host_, st);
      case Menu::nextpic:
        return nextpicClick(host_, st);
      default:
        return;  // an entry without an action
    }
  });
}

void Program::timerTick(TimerId t) {
  dispatch([this, t] {
    switch (t) {
      case TimerId::Timer1:
        return timer1Tick(host_, st);
      case TimerId::Timer2:
        return timer2Tick(host_, st);
      case TimerId::Timer4:
        return timer4Tick(host_, st);
    }
  });
}

void Program::mouseDown() {
  dispatch([this] { windowMouseDown(host_, st); });
}

void Program::keyUp(Field f) {
  if (f == Field::Text2 || f == Field::Text3 || f == Field::Text5)
    dispatch([this, f] { clampFieldToLimit(host_, f); });
}

void Program::keyDown(Field f, int keyCode) {
  if (f == Field::Text4) dispatch([this, keyCode] { text4KeyDown(host_, st, keyCode); });
}

void Program::resized(int oldWidth, int oldHeight) {
  // A resize during a generation (which maximises the window first) waits
  // for it, and then has nothing to do: the new picture fills the window.
  const auto drawn = host_.SurfaceWindow().version();
  dispatch([this, oldWidth, oldHeight, drawn] {
    if (host_.SurfaceWindow().version() == drawn) windowResized(host_, st, oldWidth, oldHeight);
  });
}

void Program::textChanged(Field f) {
  if (f == Field::Text6 || f == Field::Text7) dispatch([this, f] { clampFieldToLimit(host_, f); });
}

}  // namespace tavrel
