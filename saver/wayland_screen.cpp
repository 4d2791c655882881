#include "saver/wayland_screen.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <utility>
#include <vector>

#ifdef TAVREL_SAVER_BUS
#include "saver/desktop_bus.h"
#endif
#include "saver/process.h"
#include "saver/resident.h"
#include "saver/show.h"
#include "saver/wayland_display.h"

namespace tavrel::saver {

namespace {

using Clock = Show::Clock;

Resident::Config residentConfig(const Settings& s) {
  Resident::Config c;
  c.resident = s.idle.has_value();
  if (s.lockAfter) c.lockAfter = std::chrono::seconds(*s.lockAfter);
  return c;
}

// The Wayland backend: its wait, and the pictures on the outputs.
class WaylandScreen {
 public:
  WaylandScreen(const Settings& s, std::uint32_t seed)
      : settings_(s),
        // The compositor's frame callbacks pace the drawing: a step due
        // before the next frame could show it is taken at the callback, not
        // woken for.
        show_(s, seed, bounceStepPeriod(s.speed == Speed::fast)),
        resident_(residentConfig(s), Clock::now()) {}
  ~WaylandScreen() {
    if (lockFile_ >= 0) close(lockFile_);
  }
  std::optional<std::string> start();
  std::variant<Ending, std::string> run();

 private:
  void feed(Clock::time_point now);
  void hearBus(Clock::time_point now);
  void carryOut(Clock::time_point now);
  Clock::time_point present(Clock::time_point now);

  const Settings& settings_;
  WaylandDisplay display_;
  Show show_;
  Resident resident_;
  Command lockCommand_;
  int lockFile_ = -1;
  bool clearing_ = false;  // the pictures are coming down before the lock command
  // The user is back, as the bus said; heeded once the compositor has sent
  // everything before it, so that a key pressed on the pictures is seen held.
  bool backByBus_ = false;
#ifdef TAVREL_SAVER_BUS
  // The desktop's lock and sleep, GNOME's idleness and its inhibition.
  std::optional<DesktopBus> bus_;
  bool busIdle_ = false;       // idleness comes from GNOME's idle monitor
  bool inhibited_ = false;     // the session manager holds idleness back
  bool idleHeldBack_ = false;  // idle while it did, with no input since
#endif
};

std::optional<std::string> WaylandScreen::start() {
  if (auto problem = display_.connect()) return problem;
#ifdef TAVREL_SAVER_BUS
  bus_.emplace();
#endif
  if (!settings_.idle) return std::nullopt;
  // The compositor's own word where it gives it, else GNOME's idle monitor.
  bool told = display_.idle.offered() && display_.seats.first();
#ifdef TAVREL_SAVER_BUS
  if (!told && bus_->hasIdleMonitor())
    told = busIdle_ = bus_->watchIdle(std::chrono::seconds(*settings_.idle));
#endif
  if (!told)
    return std::string(
        "the desktop tells no idleness: the Wayland compositor offers neither ext-idle-notify-v1 "
        "nor org_kde_kwin_idle, and no GNOME idle monitor is on the session bus");
  auto held = holdDisplayLock(std::getenv("XDG_RUNTIME_DIR"), std::getenv("WAYLAND_DISPLAY"));
  if (auto* message = std::get_if<std::string>(&held)) return *message;
  lockFile_ = std::get<int>(held);
  // The first show comes with a picture ready.
  show_.prepare();
  return std::nullopt;
}

// What the sources said since the last wake, told to the resident.
void WaylandScreen::feed(Clock::time_point now) {
  Seats& seats = display_.seats;
  // With --no-input-exit nothing the user does ends the show: a locker
  // that shows the pictures behind itself holds the keyboard.
  const bool heeded = settings_.inputExits;
  if (seats.takeInput() && heeded) resident_.active(now);
  // A key pressed on the pictures ends them at its release.
  if (display_.idle.takeResumed() && !seats.held()) resident_.active(now);
  if (backByBus_ && display_.confirmed()) {
    backByBus_ = false;
    if (!seats.held()) resident_.active(now);
  }
  hearBus(now);
  if (display_.idle.takeIdle()) resident_.idle(now);
  for (const auto& o : display_.outputs)
    if (o->takeClosed()) resident_.active(now);
  if (display_.covering() && resident_.pictures() && heeded) {
    // Overlays made anew after such a to and fro are under a locker, if one
    // came, and do not get the keyboard.
    if (display_.globals.layerShell && seats.takeRefocused()) {
      display_.cover(false);
      display_.cover(true);
      seats.startShow();
    }
    // A locker takes the keyboard: from the pictures, or, where an overlay
    // is given the keyboard as it appears, before them.
    const bool shown =
        std::ranges::any_of(display_.outputs, [](auto& o) { return o->presented(); });
    if (seats.keyboardLost() || (display_.globals.layerShell && shown && seats.keyboardSettled() &&
                                 !seats.keyboardOnPictures()))
      resident_.lostKeyboard(now);
  }
  if (clearing_ && display_.confirmed()) resident_.cleared(now);
  resident_.tick(now);
}

// What the desktop said over D-Bus; its warnings, where its watching was
// asked for (--idle, --lock-after).
void WaylandScreen::hearBus([[maybe_unused]] Clock::time_point now) {
#ifdef TAVREL_SAVER_BUS
  for (const BusEvent e : bus_->takeEvents()) {
    switch (e) {
      case BusEvent::Idle:
        idleHeldBack_ = inhibited_;
        if (!inhibited_) resident_.idle(now);
        break;
      case BusEvent::Active:
        idleHeldBack_ = false;
        backByBus_ = true;
        display_.confirm();
        break;
      case BusEvent::Inhibited:
      case BusEvent::NotInhibited:
        inhibited_ = e == BusEvent::Inhibited;
        // The monitor tells of idleness once: idle still, the pictures come now.
        if (!inhibited_ && std::exchange(idleHeldBack_, false)) resident_.idle(now);
        break;
      case BusEvent::Sleep:
      case BusEvent::Wake:
        resident_.sleep(e == BusEvent::Sleep, now);
        break;
      case BusEvent::Lock:
      case BusEvent::ScreenSaverActive:
        resident_.locked(now);
        break;
      case BusEvent::Unlock:
      case BusEvent::ScreenSaverInactive:
        resident_.unlocked(now);
        break;
      case BusEvent::IdleMonitorGone:
        break;  // said among the warnings
    }
  }
  const auto warnings = bus_->takeWarnings();
  if (settings_.idle || settings_.lockAfter)
    for (const std::string& w : warnings) std::cerr << "tavrel-saver: " << w << "\n";
#endif
}

// The resident's state on the screen, and its requests carried out.
void WaylandScreen::carryOut(Clock::time_point now) {
  const bool pictures = resident_.pictures();
  if (pictures != display_.covering()) {
    if (pictures) {
      show_.start(now);
      display_.seats.startShow();
    }
    display_.cover(pictures);
    // Between shows the next picture is made at once, not at the idle time.
    if (!pictures && settings_.idle) show_.prepare();
  }
  const bool clearing = resident_.state() == Resident::State::clearing;
  if (clearing && !clearing_) display_.confirm();
  clearing_ = clearing;

  const Resident::Requests r = resident_.take();
  // GNOME's idle monitor watches anew by itself after each input.
  if (r.rearm && display_.idle.offered())
    display_.idle.arm(display_.seats.first(), static_cast<std::uint32_t>(*settings_.idle) * 1000);
  if (r.runLock && !lockCommand_.start(settings_.lockCommand))
    std::cerr << "tavrel-saver: cannot run the lock command\n";
#ifdef TAVREL_SAVER_BUS
  if (r.holdSleep) bus_->takeSleepDelay();
  if (r.releaseSleep) bus_->releaseSleepDelay();
#endif
}

// Draws on every output that can show a frame; when to wake for the next.
Clock::time_point WaylandScreen::present(Clock::time_point now) {
  bool canDraw = false;
  for (const auto& o : display_.outputs) {
    const auto layout = o->layout();
    if (!layout) continue;
    show_.place(o->key(), layout->width, layout->height);
    canDraw = canDraw || o->ready();
  }
  const Show::Frame frame = show_.frame(now, canDraw);
  bool drew = false;
  for (const auto& o : display_.outputs)
    if (const auto layout = o->layout())
      drew = o->draw(show_, show_.place(o->key(), layout->width, layout->height)) || drew;
  if (drew) show_.drew(now);
  return frame.wake;
}

std::variant<Ending, std::string> WaylandScreen::run() {
  for (;;) {
    Clock::time_point now = Clock::now();
    feed(now);
    carryOut(now);
    if (resident_.state() == Resident::State::ended) return Ending{};
    Clock::time_point wake = resident_.wake();
    if (resident_.pictures()) wake = std::min(wake, present(now));

    const short events = display_.prepare();
    if (events == 0) return display_.lost();
    std::vector<pollfd> fds = {{display_.fd(), events, 0},
                               {signalDescriptor(), POLLIN, 0},
                               {lockCommand_.fd(), POLLIN, 0}};
#ifdef TAVREL_SAVER_BUS
    for (const pollfd& p : bus_->descriptors()) fds.push_back(p);
    if (const auto at = bus_->wake()) wake = std::min(wake, *at);
#endif
    int timeout = -1;
    if (wake != Show::kNever) {
      const auto wait = std::chrono::ceil<std::chrono::milliseconds>(wake - Clock::now());
      timeout = static_cast<int>(std::clamp<long long>(wait.count(), 0, 24 * 3600 * 1000));
    }
    // A lock command's descriptor is -1 while none runs: poll passes it by.
    const int n = poll(fds.data(), fds.size(), timeout);
    const bool read = display_.read(n > 0 ? fds[0].revents : 0);
#ifdef TAVREL_SAVER_BUS
    bus_->process();
#endif
    now = Clock::now();
    // A signal first: one that ends the module together with the
    // compositor's going is no failure.
    if (n > 0 && (fds[1].revents & POLLIN)) {
      while (const int signal = takeSignal()) {
        if (ends(signal)) return Ending{0, signal};
        show_.pictureNow(now);
      }
    }
    if (!read) return display_.lost();
    if (n > 0 && (fds[2].revents & POLLIN) && lockCommand_.reap()) resident_.lockCommandEnded(now);
  }
}

}  // namespace

std::variant<Ending, std::string> runWayland(const Settings& s, std::uint32_t seed) {
  WaylandScreen screen(s, seed);
  if (auto problem = screen.start()) return *problem;
  return screen.run();
}

}  // namespace tavrel::saver
