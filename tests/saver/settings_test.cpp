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

}  // namespace
}  // namespace tavrel::saver
