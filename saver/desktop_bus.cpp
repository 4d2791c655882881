#include "saver/desktop_bus.h"

#include <fcntl.h>
#include <systemd/sd-bus.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace tavrel::saver {

namespace {

constexpr const char* kMonitorName = "org.gnome.Mutter.IdleMonitor";
constexpr const char* kMonitorPath = "/org/gnome/Mutter/IdleMonitor/Core";
constexpr const char* kSessionManager = "org.gnome.SessionManager";
constexpr const char* kLogind = "org.freedesktop.login1";
constexpr const char* kLogindPath = "/org/freedesktop/login1";
constexpr const char* kLogindManager = "org.freedesktop.login1.Manager";
// The session manager's flag for "idle", as IsInhibited takes it.
constexpr std::uint32_t kInhibitIdle = 8;
// A peer that does not answer holds the start back this long at most, and
// an answer later than this is a warning.
constexpr std::uint64_t kCallTimeoutUs = 5'000'000;

// Another program's words, fit for one line of ours: the first line, no
// control characters, not too long.
std::string oneLine(const char* text) {
  constexpr std::size_t kLongest = 160;
  std::string line;
  for (const char* c = text; *c != '\0' && *c != '\n' && line.size() < kLongest; ++c)
    line += static_cast<unsigned char>(*c) < 0x20 || *c == 0x7f ? '?' : *c;
  return line;
}

struct Error {
  sd_bus_error e = SD_BUS_ERROR_NULL;
  ~Error() { sd_bus_error_free(&e); }
  std::string text(int r) const {
    return e.message ? oneLine(e.message) : std::strerror(r < 0 ? -r : r);
  }
};

struct Reply {
  sd_bus_message* m = nullptr;
  ~Reply() { sd_bus_message_unref(m); }
};

bool hasOwner(sd_bus* bus, const char* name) {
  Error err;
  Reply reply;
  int owned = 0;
  return sd_bus_call_method(bus, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                            "org.freedesktop.DBus", "NameHasOwner", &err.e, &reply.m, "s",
                            name) >= 0 &&
         sd_bus_message_read(reply.m, "b", &owned) >= 0 && owned;
}

}  // namespace

const char* name(BusEvent e) {
  switch (e) {
    case BusEvent::Idle:
      return "idle";
    case BusEvent::Active:
      return "active";
    case BusEvent::IdleMonitorGone:
      return "idle-monitor-gone";
    case BusEvent::Inhibited:
      return "inhibited";
    case BusEvent::NotInhibited:
      return "not-inhibited";
    case BusEvent::Sleep:
      return "sleep";
    case BusEvent::Wake:
      return "wake";
    case BusEvent::Lock:
      return "lock";
    case BusEvent::Unlock:
      return "unlock";
    case BusEvent::ScreenSaverActive:
      return "screensaver-active";
    case BusEvent::ScreenSaverInactive:
      return "screensaver-inactive";
  }
  return "?";
}

struct DesktopBus::State {
  sd_bus* session = nullptr;
  sd_bus* system = nullptr;
  std::vector<BusEvent> events;
  std::vector<std::string> warnings;

  bool monitor = false;
  std::uint32_t idleWatch = 0, activeWatch = 0;
  bool activeAsked = false;
  bool inhibited = false;
  bool screenSaverActive = false;

  bool logind = false;
  int delay = -1;
  sd_bus_slot* delayAsked = nullptr;

  ~State() {
    releaseDelay();
    sd_bus_flush_close_unref(session);
    sd_bus_flush_close_unref(system);
  }

  void warn(std::string line) { warnings.push_back(std::move(line)); }

  void releaseDelay() {
    delayAsked = sd_bus_slot_unref(delayAsked);
    if (delay >= 0) close(delay);
    delay = -1;
  }

  // The session bus: the compositor's idle monitor, the session manager,
  // the desktop's screen-saver.
  void listenToSession() {
    int r = sd_bus_open_user(&session);
    if (r < 0) {
      session = nullptr;
      // sd-bus says "no medium" when it has no address to try.
      warn("no session bus (" +
           std::string(r == -ENOMEDIUM
                           ? "neither DBUS_SESSION_BUS_ADDRESS nor XDG_RUNTIME_DIR is set"
                           : std::strerror(-r)) +
           "): GNOME's idle monitor and session manager and the desktop's screen-saver are not "
           "watched");
      return;
    }
    sd_bus_set_method_call_timeout(session, kCallTimeoutUs);
    const std::string gone = std::string("type='signal',sender='org.freedesktop.DBus',") +
                             "interface='org.freedesktop.DBus',member='NameOwnerChanged',arg0='" +
                             kMonitorName + "'";
    r = sd_bus_add_match(session, nullptr, gone.c_str(), onMonitorOwner, this);
    if (r >= 0)
      r = sd_bus_match_signal(session, nullptr, kMonitorName, kMonitorPath, kMonitorName,
                              "WatchFired", onWatchFired, this);
    for (const char* member : {"InhibitorAdded", "InhibitorRemoved"})
      if (r >= 0)
        r = sd_bus_match_signal(session, nullptr, kSessionManager, "/org/gnome/SessionManager",
                                kSessionManager, member, onInhibitorChange, this);
    // KDE sends the freedesktop signal from two paths; state() drops the repeat.
    for (const char* iface : {"org.gnome.ScreenSaver", "org.freedesktop.ScreenSaver"})
      if (r >= 0)
        r = sd_bus_match_signal(session, nullptr, nullptr, nullptr, iface, "ActiveChanged",
                                onScreenSaver, this);
    if (r < 0) {
      warn("the session bus refuses to listen (" + std::string(std::strerror(-r)) + ")");
      session = sd_bus_flush_close_unref(session);
      return;
    }
    monitor = hasOwner(session, kMonitorName);
    if (hasOwner(session, kSessionManager)) {
      Error err;
      Reply reply;
      int held = 0;
      if (sd_bus_call_method(session, kSessionManager, "/org/gnome/SessionManager", kSessionManager,
                             "IsInhibited", &err.e, &reply.m, "u", kInhibitIdle) >= 0 &&
          sd_bus_message_read(reply.m, "b", &held) >= 0)
        inhibitedNow(held);
    }
  }

  // The system bus: logind's sleep, and the lock of this session.
  void listenToSystem() {
    int r = sd_bus_open_system(&system);
    if (r < 0) {
      system = nullptr;
      warn("no system bus (" + std::string(std::strerror(-r)) +
           "): sleep and lock are not watched");
      return;
    }
    sd_bus_set_method_call_timeout(system, kCallTimeoutUs);
    if (!hasOwner(system, kLogind)) {
      warn("no logind on the system bus: sleep and lock are not watched");
      system = sd_bus_flush_close_unref(system);
      return;
    }
    logind = true;
    r = sd_bus_match_signal(system, nullptr, kLogind, kLogindPath, kLogindManager,
                            "PrepareForSleep", onPrepareForSleep, this);
    if (r < 0) {
      warn("the system bus refuses to listen (" + std::string(std::strerror(-r)) +
           "): sleep and lock are not watched");
      return;
    }
    const std::string path = sessionPath();
    if (path.empty()) return;
    for (const char* member : {"Lock", "Unlock"})
      if (r >= 0)
        r = sd_bus_match_signal(system, nullptr, kLogind, path.c_str(),
                                "org.freedesktop.login1.Session", member, onLock, this);
    if (r < 0)
      warn("the system bus refuses to listen (" + std::string(std::strerror(-r)) +
           "): lock is not watched");
  }

  // The logind session whose lock counts: XDG_SESSION_ID's, else the
  // user's display session, which is what a user service has. Empty, with a
  // warning, when there is none.
  std::string sessionPath() {
    Error err;
    Reply reply;
    const char* path = nullptr;
    const char* id = std::getenv("XDG_SESSION_ID");
    if (id != nullptr && *id != '\0') {
      int r = sd_bus_call_method(system, kLogind, kLogindPath, kLogindManager, "GetSession", &err.e,
                                 &reply.m, "s", id);
      if (r >= 0 && sd_bus_message_read(reply.m, "o", &path) >= 0) return path;
      warn("logind knows no session " + std::string(id) + " (" + err.text(r) +
           "): lock is not watched");
      return {};
    }
    int r = sd_bus_call_method(system, kLogind, kLogindPath, kLogindManager, "GetUser", &err.e,
                               &reply.m, "u", static_cast<std::uint32_t>(getuid()));
    if (r >= 0 && sd_bus_message_read(reply.m, "o", &path) >= 0) {
      Error perr;
      Reply display;
      const char* sid = nullptr;
      r = sd_bus_get_property(system, kLogind, path, "org.freedesktop.login1.User", "Display",
                              &perr.e, &display.m, "(so)");
      if (r >= 0 && sd_bus_message_read(display.m, "(so)", &sid, &path) >= 0 && *sid != '\0')
        return path;
      if (r < 0) {
        warn("logind does not say the user's display session (" + perr.text(r) +
             "): lock is not watched");
        return {};
      }
    } else if (r < 0) {
      warn("logind knows no user " + std::to_string(getuid()) + " (" + err.text(r) +
           "): lock is not watched");
      return {};
    }
    warn("logind knows no display session of this user: lock is not watched");
    return {};
  }

  void inhibitedNow(bool held) {
    if (held == inhibited) return;
    inhibited = held;
    events.push_back(held ? BusEvent::Inhibited : BusEvent::NotInhibited);
  }

  void armActiveWatch() {
    if (session == nullptr || activeWatch != 0 || activeAsked) return;
    activeAsked =
        sd_bus_call_method_async(session, nullptr, kMonitorName, kMonitorPath, kMonitorName,
                                 "AddUserActiveWatch", onActiveWatch, this, "") >= 0;
    if (!activeAsked) warn("the idle monitor cannot be asked for input");
  }

  // A method's error as a warning; true when there was one.
  bool failed(sd_bus_message* m, const char* what) {
    const sd_bus_error* e = sd_bus_message_get_error(m);
    if (e == nullptr) return false;
    warn(std::string(what) + " (" + oneLine(e->message ? e->message : e->name) + ")");
    return true;
  }

  static State& of(void* data) { return *static_cast<State*>(data); }

  static int onWatchFired(sd_bus_message* m, void* data, sd_bus_error*) {
    State& s = of(data);
    std::uint32_t id = 0;
    if (sd_bus_message_read(m, "u", &id) < 0 || id == 0) return 0;
    if (id == s.idleWatch) {
      s.events.push_back(BusEvent::Idle);
      s.armActiveWatch();
    } else if (id == s.activeWatch) {
      s.activeWatch = 0;
      s.events.push_back(BusEvent::Active);
    }
    return 0;
  }

  static int onActiveWatch(sd_bus_message* m, void* data, sd_bus_error*) {
    State& s = of(data);
    s.activeAsked = false;
    if (s.failed(m, "the idle monitor refuses to watch for input")) return 0;
    std::uint32_t id = 0;
    if (sd_bus_message_read(m, "u", &id) >= 0) s.activeWatch = id;
    return 0;
  }

  static int onMonitorOwner(sd_bus_message* m, void* data, sd_bus_error*) {
    State& s = of(data);
    const char *name = nullptr, *before = nullptr, *after = nullptr;
    if (sd_bus_message_read(m, "sss", &name, &before, &after) < 0) return 0;
    s.monitor = *after != '\0';
    // Watches belong to the monitor that made them.
    if (!s.monitor) s.monitorGone();
    return 0;
  }

  void monitorGone() {
    const bool watching = idleWatch != 0;
    idleWatch = activeWatch = 0;
    activeAsked = false;
    if (watching) events.push_back(BusEvent::IdleMonitorGone);
  }

  static int onInhibitorChange(sd_bus_message*, void* data, sd_bus_error*) {
    State& s = of(data);
    if (sd_bus_call_method_async(s.session, nullptr, kSessionManager, "/org/gnome/SessionManager",
                                 kSessionManager, "IsInhibited", onInhibited, data, "u",
                                 kInhibitIdle) < 0)
      s.warn("the session manager cannot be asked whether idleness is held back");
    return 0;
  }

  static int onInhibited(sd_bus_message* m, void* data, sd_bus_error*) {
    State& s = of(data);
    int held = 0;
    if (!s.failed(m, "the session manager does not say whether idleness is held back") &&
        sd_bus_message_read(m, "b", &held) >= 0)
      s.inhibitedNow(held);
    return 0;
  }

  static int onScreenSaver(sd_bus_message* m, void* data, sd_bus_error*) {
    State& s = of(data);
    int active = 0;
    if (sd_bus_message_read(m, "b", &active) < 0 || bool(active) == s.screenSaverActive) return 0;
    s.screenSaverActive = active;
    s.events.push_back(active ? BusEvent::ScreenSaverActive : BusEvent::ScreenSaverInactive);
    return 0;
  }

  static int onPrepareForSleep(sd_bus_message* m, void* data, sd_bus_error*) {
    int sleeping = 0;
    if (sd_bus_message_read(m, "b", &sleeping) >= 0)
      of(data).events.push_back(sleeping ? BusEvent::Sleep : BusEvent::Wake);
    return 0;
  }

  static int onLock(sd_bus_message* m, void* data, sd_bus_error*) {
    of(data).events.push_back(
        std::strcmp(sd_bus_message_get_member(m), "Lock") == 0 ? BusEvent::Lock : BusEvent::Unlock);
    return 0;
  }

  static int onDelay(sd_bus_message* m, void* data, sd_bus_error*) {
    State& s = of(data);
    s.delayAsked = sd_bus_slot_unref(s.delayAsked);
    if (s.failed(m, "logind gives no sleep delay")) return 0;
    int fd = -1;
    // The message owns its descriptor; ours must not pass to the lock
    // command, or sleep would wait for it.
    if (sd_bus_message_read(m, "h", &fd) >= 0) s.delay = fcntl(fd, F_DUPFD_CLOEXEC, 3);
    if (s.delay < 0) s.warn("logind's sleep delay came without a descriptor");
    return 0;
  }

  // Reads and dispatches one bus; false when it has closed. A bounded
  // number of messages at a time, so that a flood cannot hold the loop: what
  // is left makes wake() due at once.
  bool process(sd_bus* bus) {
    constexpr int kMostMessages = 64;
    int r = 1;
    for (int n = 0; n < kMostMessages && r > 0; ++n) r = sd_bus_process(bus, nullptr);
    return r >= 0 && sd_bus_is_open(bus) > 0;
  }
};

DesktopBus::DesktopBus() : state_(std::make_unique<State>()) {
  state_->listenToSession();
  state_->listenToSystem();
}

DesktopBus::~DesktopBus() = default;

bool DesktopBus::hasIdleMonitor() const {
  return state_->monitor;
}

bool DesktopBus::watchIdle(std::chrono::milliseconds after) {
  State& s = *state_;
  if (!s.monitor) {
    s.warn("GNOME's idle monitor is not on the session bus");
    return false;
  }
  if (s.idleWatch != 0)
    sd_bus_call_method_async(s.session, nullptr, kMonitorName, kMonitorPath, kMonitorName,
                             "RemoveWatch", nullptr, nullptr, "u", s.idleWatch);
  s.idleWatch = 0;
  Error err;
  Reply reply;
  std::uint32_t id = 0;
  const auto ms = static_cast<std::uint64_t>(std::max<std::int64_t>(1, after.count()));
  int r = sd_bus_call_method(s.session, kMonitorName, kMonitorPath, kMonitorName, "AddIdleWatch",
                             &err.e, &reply.m, "t", ms);
  if (r < 0 || sd_bus_message_read(reply.m, "u", &id) < 0 || id == 0) {
    s.warn("the idle monitor refuses an idle watch (" + err.text(r) + ")");
    return false;
  }
  s.idleWatch = id;
  return true;
}

bool DesktopBus::hasLogind() const {
  return state_->logind;
}

void DesktopBus::takeSleepDelay() {
  State& s = *state_;
  if (s.system == nullptr || !s.logind || s.delay >= 0 || s.delayAsked != nullptr) return;
  int r = sd_bus_call_method_async(s.system, &s.delayAsked, kLogind, kLogindPath, kLogindManager,
                                   "Inhibit", State::onDelay, &s, "ssss", "sleep", "tavrel-saver",
                                   "Taking the screen-saver down before sleep", "delay");
  if (r < 0) s.warn("logind cannot be asked for a sleep delay (" + std::string(strerror(-r)) + ")");
}

void DesktopBus::releaseSleepDelay() {
  state_->releaseDelay();
}

bool DesktopBus::holdsSleepDelay() const {
  return state_->delay >= 0;
}

std::vector<pollfd> DesktopBus::descriptors() const {
  std::vector<pollfd> fds;
  for (sd_bus* bus : {state_->session, state_->system}) {
    if (bus == nullptr) continue;
    const int fd = sd_bus_get_fd(bus), events = sd_bus_get_events(bus);
    if (fd >= 0 && events >= 0) fds.push_back({fd, static_cast<short>(events), 0});
  }
  return fds;
}

std::optional<DesktopBus::Clock::time_point> DesktopBus::wake() const {
  std::optional<Clock::time_point> earliest;
  for (sd_bus* bus : {state_->session, state_->system}) {
    std::uint64_t at = 0;
    if (bus == nullptr || sd_bus_get_timeout(bus, &at) < 0 || at == UINT64_MAX) continue;
    // sd-bus counts on the monotonic clock in microseconds, which is the
    // steady clock's on Linux.
    const auto nowUs = static_cast<std::uint64_t>(
        std::chrono::duration_cast<std::chrono::microseconds>(Clock::now().time_since_epoch())
            .count());
    const auto in = std::chrono::microseconds(at > nowUs ? at - nowUs : 0);
    const auto when = Clock::now() + std::chrono::ceil<Clock::duration>(in);
    if (!earliest || when < *earliest) earliest = when;
  }
  return earliest;
}

void DesktopBus::process() {
  State& s = *state_;
  if (s.session != nullptr && !s.process(s.session)) {
    s.warn("the session bus closed");
    s.session = sd_bus_flush_close_unref(s.session);
    s.monitor = false;
    s.monitorGone();
  }
  if (s.system != nullptr && !s.process(s.system)) {
    s.warn("the system bus closed: sleep and lock are no longer watched");
    s.releaseDelay();
    s.system = sd_bus_flush_close_unref(s.system);
    s.logind = false;
  }
}

std::vector<BusEvent> DesktopBus::takeEvents() {
  return std::exchange(state_->events, {});
}

std::vector<std::string> DesktopBus::takeWarnings() {
  return std::exchange(state_->warnings, {});
}

}  // namespace tavrel::saver
