#include "saver/settings.h"

#include <charconv>

#include "cli/options.h"

namespace tavrel::saver {

namespace {

using cli::Check;
using cli::kOk;
using cli::wholeNumber;

Check setRoot(Settings& s, std::string_view) {
  s.target = Target::root;
  return kOk;
}

Check setWindowId(Settings& s, std::string_view v) {
  const auto id = parseWindowId(v);
  if (!id) return quotedText(v) + " is not a window id (hex with 0x, or decimal)";
  s.target = Target::windowId;
  s.windowId = *id;
  return kOk;
}

Check setOwnWindow(Settings& s, std::string_view) {
  s.target = Target::ownWindow;
  return kOk;
}

Check setWayland(Settings& s, std::string_view) {
  s.target = Target::wayland;
  return kOk;
}

Check keepOnInput(Settings& s, std::string_view) {
  s.inputExits = false;
  return kOk;
}

Check setInterval(Settings& s, std::string_view v) {
  return cli::readWhole(v, 1, 50, "a number of seconds", s.interval);
}

// A day at most: beyond it, a number is more likely a slip than a wish.
constexpr int kLongest = 86400;

Check setIdle(Settings& s, std::string_view v) {
  int seconds = 0;
  if (Check c = cli::readWhole(v, 1, kLongest, "a number of seconds", seconds)) return c;
  s.idle = seconds;
  return kOk;
}

Check setLockAfter(Settings& s, std::string_view v) {
  int seconds = 0;
  if (Check c = cli::readWhole(v, 1, kLongest, "a number of seconds", seconds)) return c;
  s.lockAfter = seconds;
  return kOk;
}

Check setLockCommand(Settings& s, std::string_view v) {
  if (v.find_first_not_of(" \t") == std::string_view::npos) return std::string("is empty");
  s.lockCommand = v;
  return kOk;
}

Check setSpeed(Settings& s, std::string_view v) {
  return cli::readChoice(v, s.speed);
}

Check setGenerator(Settings& s, std::string_view v) {
  return cli::readChoice(v, s.run.generator);
}

// The module has no palette of its own to paint with.
Check setColors(Settings& s, std::string_view v) {
  return cli::readChoice(v, s.run.colours, {ColourMode::trueColours, ColourMode::basic});
}

Check setStyle(Settings& s, std::string_view v) {
  return cli::readChoice(v, s.run.style);
}

Check setDetail(Settings& s, std::string_view v) {
  int detail = 0;
  if (Check c = cli::readWhole(v, 1, 25, "a detail", detail)) return c;
  s.run.detail = std::to_string(detail);
  return kOk;
}

Check setSeed(Settings& s, std::string_view v) {
  return cli::readSeed(v, s.seed);
}

using Option = cli::Option<Settings>;

constexpr Option kOptions[] = {
    {"--root", "", "", "draw in $XSCREENSAVER_WINDOW, or in the root window", setRoot},
    {"--window-id", "ID", "", "draw in the window ID (hex with 0x, or decimal)", setWindowId},
    {"--window", "", "", "draw in a window of its own", setOwnWindow},
    {"--wayland", "", "", "draw on every output of the Wayland desktop", setWayland},
    {"--interval", "S", "10", "seconds between pictures, 1 to 50", setInterval},
    {"--speed", "slow|fast", "fast", "how fast the picture travels", setSpeed},
    {"--generator", "shape|pattern", "shape", "the generator that draws", setGenerator},
    {"--colors", "true|basic", "true", "true colours or the 15 basic ones", setColors},
    {"--style", "fancy|regular", "fancy", "shape style", setStyle},
    {"--detail", "N", "16", "detail, 1 to 25", setDetail},
    {"--seed", "N", "", "random seed, 0 to 4294967295 (default: the clock)", setSeed},
    {"--fps", "", "", "show the frame rate in a corner", cli::setSwitch<&Settings::fps>},
    {"--no-input-exit", "", "", "on Wayland, keep running on keys and pointer", keepOnInput},
    {"--idle", "S", "", "stay; pictures after S idle seconds, 1 to 86400", setIdle},
    {"--lock-after", "S", "", "run the lock command after S seconds of pictures", setLockAfter},
    {"--lock-command", "CMD", "loginctl lock-session", "how to lock, run by sh -c", setLockCommand},
    {"--no-history", "", "", "keep the pictures shown out of the history",
     cli::setSwitch<&Settings::noHistory>},
    {"--help", "", "", "show this text and exit (also -h)", cli::setSwitch<&Settings::help>},
    {"--version", "", "", "show the version and exit", cli::setSwitch<&Settings::version>},
};

}  // namespace

std::optional<std::uint32_t> parseWindowId(std::string_view text) {
  int base = 10;
  if (text.starts_with("0x") || text.starts_with("0X")) {
    text.remove_prefix(2);
    base = 16;
  }
  std::uint64_t id = 0;
  const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), id, base);
  if (text.empty() || ec != std::errc{} || end != text.data() + text.size()) return std::nullopt;
  if (id == 0 || id > 0xFFFFFFFFu) return std::nullopt;
  return static_cast<std::uint32_t>(id);
}

std::variant<Settings, std::string> parseSettings(std::span<char* const> args) {
  return cli::parse<Settings>(kOptions, args, true);
}

std::string helpText() {
  return "Usage: tavrel-saver [OPTION]...\n"
         "A screen-saver module: random mirror-symmetric pictures bouncing on black, a new\n"
         "one every few seconds. Options take one dash or two. With no window option it\n"
         "draws in $XSCREENSAVER_WINDOW when that is set, else on Wayland when\n"
         "$WAYLAND_DISPLAY is set, else in a window of its own; the last window option\n"
         "given counts. On Wayland it covers every output and the first key, button or\n"
         "pointer motion ends it; with --idle it stays, shows whenever the desktop has\n"
         "been idle that long, and waits again after the input that ends the show.\n\n" +
         cli::optionsHelp<Settings>(kOptions) +
         "\nSIGTERM, SIGINT and SIGHUP end it; SIGUSR1 starts a new picture. Bad input\n"
         "gives a one-line message and exit status 2.\n";
}

std::variant<Resolved, std::string> chooseTarget(const Settings& s, const char* screensaverWindow,
                                                 const char* waylandDisplay) {
  const auto set = [](const char* v) { return v != nullptr && *v != '\0'; };
  if (s.idle || s.lockAfter) {
    // On X11 the daemon watches idleness and locks.
    if (s.target != Target::unset && s.target != Target::wayland)
      return std::string(s.idle ? "--idle" : "--lock-after") +
             " is for Wayland desktops; on X11, XScreenSaver starts the module and locks";
    if (s.idle && !s.inputExits)
      return std::string(
          "--idle takes its pictures away at the first input: not with --no-input-exit");
    return Resolved{Target::wayland, 0};
  }
  if (s.target == Target::windowId) return Resolved{Target::windowId, s.windowId};
  if (s.target == Target::ownWindow) return Resolved{Target::ownWindow, 0};
  if (s.target == Target::wayland) return Resolved{Target::wayland, 0};
  if (!set(screensaverWindow)) {
    if (s.target == Target::root) return Resolved{Target::root, 0};
    return Resolved{set(waylandDisplay) ? Target::wayland : Target::ownWindow, 0};
  }
  const auto id = parseWindowId(screensaverWindow);
  if (!id) return "XSCREENSAVER_WINDOW " + quotedText(screensaverWindow) + " is not a window id";
  return Resolved{Target::windowId, *id};
}

}  // namespace tavrel::saver
