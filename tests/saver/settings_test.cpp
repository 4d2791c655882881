#include "saver/settings.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

namespace tavrel::saver {
namespace {

std::variant<Settings, std::string> parse(std::initializer_list<const char*> args) {
  std::vector<std::string> text(args.begin(), args.end());
  std::vector<char*> argv;
  for (auto& t : text) argv.push_back(t.data());
  return parseSettings(argv);
}

Settings ok(std::initializer_list<const char*> args) {
  auto r = parse(args);
  if (auto* m = std::get_if<std::string>(&r)) ADD_FAILURE() << *m;
  return std::get<Settings>(r);
}

TEST(SaverSettings, WindowIdsInHexOrDecimalAndTheLastWindowOptionCounts) {
  EXPECT_EQ(parseWindowId("0x400001"), 0x400001u);
  EXPECT_EQ(parseWindowId("0XABCdef"), 0xABCDEFu);
  EXPECT_EQ(parseWindowId("4194305"), 4194305u);
  EXPECT_EQ(parseWindowId("0xFFFFFFFF"), 0xFFFFFFFFu);
  for (const char* bad :
       {"", "0x", "0", "0x0", "x12", "12a", "0x12g", "-5", "+5", " 5", "0x100000000", "4294967296"})
    EXPECT_FALSE(parseWindowId(bad)) << bad;
  const Settings s = ok({"--root", "-window-id=0x2a"});
  EXPECT_EQ(s.target, Target::windowId);
  EXPECT_EQ(s.windowId, 42u);
  EXPECT_EQ(ok({"--window-id", "42", "-root"}).target, Target::root);
}

TEST(SaverSettings, TargetFromTheEnvironment) {
  const auto resolved = [](std::initializer_list<const char*> args, const char* variable) {
    auto r = chooseTarget(ok(args), variable);
    if (std::holds_alternative<std::string>(r)) return Resolved{Target::unset, 0};
    return std::get<Resolved>(r);
  };
  // --root: the daemon's window when it names one, else the root window.
  EXPECT_EQ(resolved({"--root"}, "0x1e00007").target, Target::windowId);
  EXPECT_EQ(resolved({"--root"}, "0x1e00007").windowId, 0x1e00007u);
  EXPECT_EQ(resolved({"--root"}, "31457287").windowId, 31457287u);
  EXPECT_EQ(resolved({"--root"}, nullptr).target, Target::root);
  EXPECT_EQ(resolved({"--root"}, "").target, Target::root);
  // No window option: as --root under a daemon, a window of its own else.
  EXPECT_EQ(resolved({}, "0x10").target, Target::windowId);
  EXPECT_EQ(resolved({}, nullptr).target, Target::ownWindow);
  // A window given outright wins over the variable.
  EXPECT_EQ(resolved({"--window-id", "0x20"}, "0x10").windowId, 0x20u);
  EXPECT_EQ(resolved({"--window"}, "0x10").target, Target::ownWindow);
  const auto bad = chooseTarget(ok({"--root"}), "screen");
  ASSERT_TRUE(std::holds_alternative<std::string>(bad));
  EXPECT_EQ(std::get<std::string>(bad), "XSCREENSAVER_WINDOW 'screen' is not a window id");
}

// The daemon's settings dialog builds command lines from the module's XML
// file: every one of them must be accepted.
TEST(SaverSettings, EveryOptionOfTheSettingsFileIsAccepted) {
  std::ifstream in(TAVREL_SAVER_XML);
  ASSERT_TRUE(in) << TAVREL_SAVER_XML;
  const std::string xml((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  const auto attribute = [](const std::string& element, const std::string& name) {
    const std::string key = " " + name + "=\"";
    const auto at = element.find(key);
    if (at == std::string::npos) return std::string();
    const auto from = at + key.size();
    return element.substr(from, element.find('"', from) - from);
  };
  std::vector<std::string> lines;
  for (auto open = xml.find('<'); open != std::string::npos; open = xml.find('<', open + 1)) {
    // Attributes may stand on the element's following lines.
    std::string e = xml.substr(open, xml.find('>', open) - open);
    std::replace(e.begin(), e.end(), '\n', ' ');
    for (const char* name : {"arg", "arg-set", "arg-unset"}) {
      const std::string arg = attribute(e, name);
      if (arg.empty()) continue;
      if (const auto pct = arg.find('%'); pct != std::string::npos) {
        for (const char* bound : {"low", "high", "default"})
          lines.push_back(std::string(arg).replace(pct, 1, attribute(e, bound)));
      } else {
        lines.push_back(arg);
      }
    }
  }
  EXPECT_GE(lines.size(), 12u);
  for (const std::string& line : lines) {
    std::istringstream words(line);
    std::vector<std::string> text{std::istream_iterator<std::string>(words), {}};
    std::vector<char*> argv;
    for (auto& t : text) argv.push_back(t.data());
    const auto r = parseSettings(argv);
    EXPECT_TRUE(std::holds_alternative<Settings>(r))
        << line << ": " << (r.index() ? std::get<std::string>(r) : "");
  }
  EXPECT_NE(xml.find("<screensaver name=\"tavrel-saver\" _label=\"Tavrel\">"), std::string::npos);
}

}  // namespace
}  // namespace tavrel::saver
