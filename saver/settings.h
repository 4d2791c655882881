// The module's command line: one option table gives parsing, defaults,
// --help and the error messages. Daemons pass options with one dash or two.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>

#include "state/recipe.h"

namespace tavrel::saver {

// Where the pictures go.
enum class Target {
  unset,      // chosen from the environment: see chooseTarget
  root,       // XSCREENSAVER_WINDOW, or the root window when it is unset
  windowId,   // the window given by number
  ownWindow,  // a window of its own, for trying the module out
  wayland,    // every output of a Wayland desktop
};

inline RunChoices screenSaverRun() {
  RunChoices r;
  r.screensaver = true;
  return r;
}

struct Settings {
  Target target = Target::unset;
  std::uint32_t windowId = 0;
  int interval = 10;  // seconds between pictures
  Speed speed = Speed::fast;
  // The pictures' choices; a module always generates as in screen-saver mode.
  RunChoices run = screenSaverRun();
  std::optional<std::uint32_t> seed;  // none: taken from the clock
  bool fps = false;
  bool inputExits = true;  // on Wayland the first key, button or motion ends it
  bool noHistory = false;  // the pictures shown are not kept in the history
  // --idle: resident on Wayland, the pictures after this many seconds of idleness.
  std::optional<int> idle;
  // Seconds of pictures before the lock command runs; none: never.
  std::optional<int> lockAfter;
  std::string lockCommand;
  bool help = false;
  bool version = false;
};

// A window id as X tools print it: hex with 0x, or decimal; never 0 (None)
// and never above 32 bits.
std::optional<std::uint32_t> parseWindowId(std::string_view text);

// The settings, or the message for the first bad argument.
std::variant<Settings, std::string> parseSettings(std::span<char* const> args);

std::string helpText();

// The window that `--root` and an unset target stand for, given
// XSCREENSAVER_WINDOW and WAYLAND_DISPLAY (null or empty when unset): the
// daemon's window when XSCREENSAVER_WINDOW is set, else the root window for
// --root; with no window option, Wayland when WAYLAND_DISPLAY is set and a
// window of its own otherwise; Wayland with --idle or --lock-after, which the
// X11 options refuse. A variable that holds no window id gives the message.
struct Resolved {
  Target target;
  std::uint32_t windowId;
};
std::variant<Resolved, std::string> chooseTarget(const Settings& s, const char* screensaverWindow,
                                                 const char* waylandDisplay);

}  // namespace tavrel::saver
