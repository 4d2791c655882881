#include "saver/settings.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace tavrel::saver {
namespace {

using Args = std::vector<std::string>;

constexpr const char* kTargets[] = {"unset", "root", "windowId", "ownWindow", "wayland"};

std::variant<Settings, std::string> parsedOrSaid(Args args) {
  std::vector<char*> argv;
  for (auto& a : args) argv.push_back(a.data());
  return parseSettings(argv);
}

Settings parsed(const Args& args) {
  return std::get<Settings>(parsedOrSaid(args));
}

// The fields that differ from the defaults, as words: " interval=50 speed=slow".
std::string changed(const Settings& s) {
  const auto fields = [](const Settings& x) {
    std::ostringstream o;
    o << "target=" << kTargets[static_cast<int>(x.target)] << "\nid=" << x.windowId
      << "\ninterval=" << x.interval << "\nspeed=" << wordOf(x.speed)
      << "\ngenerator=" << wordOf(x.run.generator) << "\ncolors=" << wordOf(x.run.colours)
      << "\nstyle=" << wordOf(x.run.style) << "\ndetail=" << x.run.detail
      << "\nsaver=" << x.run.screensaver << "\nseed=" << (x.seed ? std::to_string(*x.seed) : "-")
      << "\nfps=" << x.fps << "\ninputExits=" << x.inputExits << "\nnoHistory=" << x.noHistory
      << "\nidle=" << x.idle.value_or(0) << "\nlockAfter=" << x.lockAfter.value_or(0)
      << "\nlock=" << x.lockCommand << "\nhelp=" << x.help << "\nversion=" << x.version;
    return o.str();
  };
  static const std::string defaults = fields(parsed({}));
  std::istringstream now(fields(s)), was(defaults);
  std::string out;
  for (std::string field, before; std::getline(now, field) && std::getline(was, before);)
    if (field != before) out += ' ' + field;
  return out;
}

// Every option at its limits and one past them, with one dash or two: the
// fields it sets and no other, or the one line it says.
TEST(SaverSettings, EveryOptionSetsItsOwnFieldWithinItsLimits) {
  const Settings d = parsed({});
  EXPECT_EQ(std::tuple(d.interval, d.run.detail, d.lockCommand),
            std::tuple(10, "16", "loginctl lock-session"));
  const std::pair<Args, std::string> cases[] = {
      {{}, ""},
      {{"--root"}, " target=root"},
      {{"-window-id=0x2a"}, " target=windowId id=42"},
      {{"--window-id", "42", "-root"}, " target=root id=42"},
      {{"--wayland"}, " target=wayland"},
      {{"--window-id", "42", "--window"}, " target=ownWindow id=42"},
      {{"--interval", "1", "--detail", "1", "--idle", "1", "--lock-after", "1", "--seed", "0"},
       " interval=1 detail=1 seed=0 idle=1 lockAfter=1"},
      {{"-interval", "50", "-detail", "25", "-idle", "86400", "-lock-after", "86400", "-seed",
        "4294967295"},
       " interval=50 detail=25 seed=4294967295 idle=86400 lockAfter=86400"},
      {{"--speed", "slow", "--generator", "pattern", "--colors", "basic", "--style", "regular"},
       " speed=slow generator=pattern colors=basic style=regular"},
      {{"--fps", "-no-history", "--no-input-exit", "--lock-command", "swaylock -f"},
       " fps=1 inputExits=0 noHistory=1 lock=swaylock -f"},
      {{"-h", "--version"}, " help=1 version=1"},
      {{"--window-id", "0"}, "--window-id: '0' is not a window id (hex with 0x, or decimal)"},
      {{"--interval", "0"}, "--interval: '0' is not a number of seconds from 1 to 50"},
      {{"--interval", "51"}, "--interval: '51' is not a number of seconds from 1 to 50"},
      {{"--interval", ""}, "--interval: '' is not a number of seconds from 1 to 50"},
      {{"--detail", "0"}, "--detail: '0' is not a detail from 1 to 25"},
      {{"--detail", "26"}, "--detail: '26' is not a detail from 1 to 25"},
      {{"--idle", "0"}, "--idle: '0' is not a number of seconds from 1 to 86400"},
      {{"--idle", "86401"}, "--idle: '86401' is not a number of seconds from 1 to 86400"},
      {{"--idle", "5m"}, "--idle: '5m' is not a number of seconds from 1 to 86400"},
      {{"--lock-after", "0"}, "--lock-after: '0' is not a number of seconds from 1 to 86400"},
      {{"-lock-after=86401"}, "--lock-after: '86401' is not a number of seconds from 1 to 86400"},
      {{"--seed", "4294967296"}, "--seed: '4294967296' is not a seed from 0 to 4294967295"},
      {{"--speed", "Fast"}, "--speed: speed must be slow or fast, not 'Fast'"},
      {{"--colors", "user"}, "--colors: colors must be true or basic, not 'user'"},
      {{"--lock-command", " \t"}, "--lock-command: is empty"},
      {{"--lock-command"}, "--lock-command needs a value (CMD)"},
      {{"--fps=1"}, "--fps takes no value"},
  };
  for (const auto& [args, says] : cases) {
    const auto r = parsedOrSaid(args);
    const auto* s = std::get_if<Settings>(&r);
    EXPECT_EQ(s ? changed(*s) : std::get<std::string>(r), says);
  }
}

TEST(SaverSettings, WindowIdsInHexOrDecimal) {
  EXPECT_EQ(parseWindowId("0XABCdef"), 0xABCDEFu);
  EXPECT_EQ(parseWindowId("4294967295"), 0xFFFFFFFFu);
  for (const char* bad : {"", "0x", "0", "x12", "12a", "-5", " 5", "0x100000000", "4294967296"})
    EXPECT_FALSE(parseWindowId(bad)) << bad;
}

// A daemon's X window always wins; with no window option, a Wayland desktop
// is chosen when there is one. Waiting for idleness and locking are the
// Wayland side's own, and input ends what --idle shows.
TEST(SaverSettings, TheTargetFromOptionsAndEnvironment) {
  const std::tuple<Args, const char*, const char*, std::string> cases[] = {
      {{}, nullptr, nullptr, "ownWindow 0"},
      {{}, "", "", "ownWindow 0"},
      {{}, nullptr, "wayland-1", "wayland 0"},
      {{}, "0x2a", "wayland-1", "windowId 42"},
      {{}, "junk", "wayland-1", "XSCREENSAVER_WINDOW 'junk' is not a window id"},
      {{"--root"}, nullptr, "wayland-1", "root 0"},
      {{"--root"}, "7", nullptr, "windowId 7"},
      {{"--window"}, "7", "wayland-1", "ownWindow 0"},
      {{"--window-id", "9"}, "7", "wayland-1", "windowId 9"},
      {{"--wayland"}, "7", nullptr, "wayland 0"},
      {{"--root", "--wayland"}, nullptr, nullptr, "wayland 0"},
      {{"--idle", "300"}, "7", nullptr, "wayland 0"},
      {{"--wayland", "--lock-after", "1"}, nullptr, "wayland-1", "wayland 0"},
      {{"--no-input-exit", "--lock-after", "1"}, nullptr, nullptr, "wayland 0"},
      {{"--idle", "9", "--root"}, nullptr, "w", "--idle is for Wayland desktops; on X11"},
      {{"--window-id", "7", "--lock-after", "5"}, nullptr, "w", "--lock-after is for Wayland"},
      {{"--idle", "9", "--window"}, nullptr, "w", "--idle is for Wayland desktops; on X11"},
      {{"--idle", "9", "--no-input-exit"}, nullptr, "w", "--idle takes its pictures away"},
  };
  for (const auto& [args, xWindow, wayland, says] : cases) {
    const auto chosen = chooseTarget(parsed(args), xWindow, wayland);
    const Resolved* r = std::get_if<Resolved>(&chosen);
    const std::string said =
        r ? std::string(kTargets[static_cast<int>(r->target)]) + " " + std::to_string(r->windowId)
          : std::get<std::string>(chosen);
    EXPECT_EQ(said.substr(0, says.size()), says) << (args.empty() ? "" : args[0]);
  }
}

}  // namespace
}  // namespace tavrel::saver
