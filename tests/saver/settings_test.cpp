#include "saver/settings.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace tavrel::saver {
namespace {

Settings parsed(std::vector<std::string> args) {
  std::vector<char*> argv;
  for (auto& a : args) argv.push_back(a.data());
  return std::get<Settings>(parseSettings(argv));
}

TEST(SaverSettings, WindowIdsInHexOrDecimalAndTheLastWindowOptionCounts) {
  EXPECT_EQ(parseWindowId("0XABCdef"), 0xABCDEFu);
  EXPECT_EQ(parseWindowId("4294967295"), 0xFFFFFFFFu);
  for (const char* bad : {"", "0x", "0", "x12", "12a", "-5", " 5", "0x100000000", "4294967296"})
    EXPECT_FALSE(parseWindowId(bad)) << bad;
  const Settings s = parsed({"--root", "-window-id=0x2a"});
  EXPECT_EQ(std::pair(s.target, s.windowId), std::pair(Target::windowId, 42u));
  EXPECT_EQ(parsed({"--window-id", "42", "-root"}).target, Target::root);
}

// A daemon's X window always wins; with no window option, a Wayland desktop
// is chosen when there is one.
TEST(SaverSettings, TheTargetFromOptionsAndEnvironment) {
  const std::tuple<std::vector<std::string>, const char*, const char*, Target, std::uint32_t>
      cases[] = {
          {{}, nullptr, nullptr, Target::ownWindow, 0},
          {{}, "", "", Target::ownWindow, 0},
          {{}, nullptr, "wayland-1", Target::wayland, 0},
          {{}, "0x2a", "wayland-1", Target::windowId, 42},
          {{"--root"}, nullptr, "wayland-1", Target::root, 0},
          {{"--root"}, "7", nullptr, Target::windowId, 7},
          {{"--window"}, "7", "wayland-1", Target::ownWindow, 0},
          {{"--window-id", "9"}, "7", "wayland-1", Target::windowId, 9},
          {{"--wayland"}, "7", nullptr, Target::wayland, 0},
          {{"--root", "--wayland"}, nullptr, nullptr, Target::wayland, 0},
          // Waiting for idleness and locking are the Wayland side's own.
          {{"--idle", "300"}, "7", nullptr, Target::wayland, 0},
          {{"--wayland", "--lock-after", "1"}, nullptr, "wayland-1", Target::wayland, 0},
      };
  for (const auto& [args, xWindow, wayland, target, id] : cases) {
    const auto chosen = chooseTarget(parsed(args), xWindow, wayland);
    ASSERT_TRUE(std::holds_alternative<Resolved>(chosen)) << args.size();
    const Resolved r = std::get<Resolved>(chosen);
    EXPECT_EQ(std::pair(r.target, r.windowId), std::pair(target, id))
        << (args.empty() ? "" : args[0]) << " " << (xWindow ? xWindow : "-") << " "
        << (wayland ? wayland : "-");
  }
  EXPECT_TRUE(std::holds_alternative<std::string>(chooseTarget(parsed({}), "junk", "wayland-1")));
  // On X11 the daemon watches idleness and locks; input ends what --idle shows.
  for (const std::vector<std::string>& refused : {std::vector<std::string>{"--idle", "9", "--root"},
                                                  {"--window-id", "7", "--lock-after", "5"},
                                                  {"--idle", "9", "--window"},
                                                  {"--idle", "9", "--no-input-exit"}})
    EXPECT_TRUE(std::holds_alternative<std::string>(chooseTarget(parsed(refused), nullptr, "w")))
        << refused[0] << " " << refused[2];
}

// The seconds of --idle and --lock-after at their limits and one past; the
// lock command as given, never empty.
TEST(SaverSettings, IdleAndLockOptions) {
  const std::tuple<std::vector<std::string>, std::string> cases[] = {
      {{"--idle", "1"}, ""},
      {{"--idle", "86400", "--lock-after", "86400"}, ""},
      {{"--idle", "0"}, "--idle: '0' is not a number of seconds from 1 to 86400"},
      {{"--lock-after", "86401"},
       "--lock-after: '86401' is not a number of seconds from 1 to 86400"},
      {{"--idle", "5m"}, "--idle: '5m' is not a number of seconds from 1 to 86400"},
      {{"--lock-command", " "}, "--lock-command: is empty"},
      {{"--lock-command"}, "--lock-command needs a value (CMD)"},
  };
  for (const auto& [args, says] : cases) {
    std::vector<std::string> owned = args;
    std::vector<char*> argv;
    for (auto& a : owned) argv.push_back(a.data());
    const auto r = parseSettings(argv);
    EXPECT_EQ(std::holds_alternative<Settings>(r) ? "" : std::get<std::string>(r), says);
  }
  const Settings s = parsed({"--idle", "86400", "--lock-command", "swaylock -f"});
  EXPECT_EQ(std::tuple(*s.idle, s.lockAfter, s.lockCommand),
            std::tuple(86400, std::optional<int>(), std::string("swaylock -f")));
  EXPECT_EQ(parsed({}).lockCommand, "loginctl lock-session");
  EXPECT_TRUE(parsed({}).inputExits);
  EXPECT_FALSE(parsed({"-no-input-exit"}).inputExits);
}

}  // namespace
}  // namespace tavrel::saver
