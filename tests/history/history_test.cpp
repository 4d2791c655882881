// The history file: what it reads back, its bound, its lasting numbers under
// writers at once, what becomes of a file that is not a history, and the
// settings file's key that keeps every program out of it.
#include "history/history.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <thread>

#include "canvas/random.h"
#include "tests/temp_dir.h"

namespace tavrel {
namespace {

namespace fs = std::filesystem;
using testing_support::slurp;

Recipe recipeOf(std::uint32_t seed) {
  RunChoices run;
  run.generator = seed % 2 ? Generator::pattern : Generator::shape;
  return firstRecipe(run, 640, 480, seed);
}

HistoryEntry entry(std::uint64_t number, std::uint32_t seed) {
  return {number, 1764065702, "tavrel-render", seed, 1, recipeOf(seed)};
}

// Each field of a record at its limit is read; one past it, or anything
// broken, and nothing of the file is.
TEST(HistoryText, ReadsWhatItWritesAndRefusesEveryBrokenPart) {
  const HistoryEntry unseeded{8, 1764065702, "tavrel", std::nullopt, 12, recipeOf(2)};
  const std::string good = historyHeader(4) + historyRecord(entry(5, 1)) + historyRecord(unseeded);
  const auto read = parseHistory(good).value();
  EXPECT_EQ(read.after, 4u);
  EXPECT_EQ(read.entries, (std::vector<HistoryEntry>{entry(5, 1), unseeded}));

  const auto changed = [&](std::string_view from, std::string_view to) {
    std::string text = good;
    text.replace(text.find(from), from.size(), to);
    return text;
  };
  const std::pair<std::string, bool> rows[] = {
      {historyHeader(0), true},
      {"", false},
      {"garbage\n", false},
      {changed("tavrel-history 1", "tavrel-history 2"), false},
      {changed("after=4", "after=5"), false},      // a number not after the header's
      {changed("after=4", "after=04"), false},     // a number not as the file writes it
      {changed("picture 8", "picture 5"), false},  // the same number twice
      {changed("picture 8", "picture x"), false},
      {changed("1764065702", "0"), true},  // the first second
      {changed("1764065702", "-1"), false},
      {changed("tavrel-render", "someone"), false},  // no program of ours
      {changed("tavrel-render", "tavrel-render\x01"), false},
      {changed(" 1 1\ngenerator", " 4294967295 1\ngenerator"), true},  // the largest seed
      {changed(" 1 1\ngenerator", " 4294967296 1\ngenerator"), false},
      {changed(" 1\ngenerator", " 1 0\ngenerator"), false},  // a word too many
      {changed(" 12\ngenerator", " 0\ngenerator"), false},   // no place 0
      {changed("surface=640x480", "surface=0x480"), false},  // a recipe refused
      {changed("text1=0", "text1=0\nz=1"), false},           // a line recipeToText would not write
      {changed("end\npicture", "picture"), false},           // a record without its end
      {good.substr(0, good.size() - 1), false},              // the last one cut short
      {good + "x", false},                                   // something after the last
      {changed("text1=0", "text1=0\nz=" + std::string(kMaxHistoryRecord, 'x')), false},
  };
  for (const auto& [text, read] : rows) EXPECT_EQ(parseHistory(text).has_value(), read) << text;
}

struct HistoryFile : testing::Test {
  History history(std::string program = "tavrel-render") {
    return History(dir_ / "tavrel", std::move(program),
                   [this](const std::string& line) { warnings_.push_back(line); });
  }
  // The first and the last number read back, and how many there are.
  std::tuple<std::uint64_t, std::uint64_t, std::size_t> kept() {
    const auto all = history().entries();
    if (all.empty()) return {0, 0, 0};
    return {all.front().number, all.back().number, all.size()};
  }

  testing_support::TempDir dir_;
  const fs::path file_ = dir_ / "tavrel" / "history";
  std::vector<std::string> warnings_;
};

TEST_F(HistoryFile, KeepsTheNewestThousandUnderNumbersNeverGivenTwice) {
  // Writers at once, each through a history of its own: every record whole,
  // every number given once.
  std::vector<std::thread> writers;
  for (std::uint32_t w = 0; w < 4; ++w)
    writers.emplace_back([this, w] {
      History h = history("tavrel-saver");
      for (std::uint32_t i = 0; i < 25; ++i) EXPECT_TRUE(h.add(recipeOf(w * 100 + i), w, i + 1));
    });
  for (auto& t : writers) t.join();
  const auto all = history().entries();
  ASSERT_EQ(all.size(), 100u);
  for (std::size_t i = 0; i < all.size(); ++i) {
    EXPECT_EQ(all[i].number, i + 1);
    EXPECT_EQ(all[i].recipe,
              recipeOf(*all[i].seed * 100 + static_cast<std::uint32_t>(all[i].place) - 1));
  }

  // 1100 pictures in all: the newest 1000 are read; one more and the file
  // itself holds no more than those.
  History h = history();
  for (std::uint32_t i = 100; i < 1100; ++i) ASSERT_TRUE(h.add(recipeOf(i), i, 1));
  EXPECT_EQ(kept(), std::tuple(101u, 1100u, 1000u));
  ASSERT_TRUE(h.add(recipeOf(7), 7, 1));
  const auto cut = parseHistory(slurp(file_)).value();
  EXPECT_EQ(cut.after, 101u);
  EXPECT_EQ(cut.entries.size(), kHistoryKept);
  EXPECT_EQ(cut.entries.back(),
            (HistoryEntry{1101, cut.entries.back().time, "tavrel-render", 7, 1, recipeOf(7)}));
  EXPECT_EQ(kept(), std::tuple(102u, 1101u, 1000u));
  // Nothing but the file beside it, and nothing said.
  EXPECT_EQ(std::distance(fs::directory_iterator(dir_ / "tavrel"), {}), 1);
  EXPECT_TRUE(warnings_.empty());
}

// Whatever stands at the history's name that is not a history: moved aside
// with one line, a new file begun whose numbers go on after the last one
// readable, by a reader and by a writer alike; a link is never followed.
TEST_F(HistoryFile, ABrokenFileIsMovedAsideWithOneLineAndItsNumbersGoOn) {
  const fs::path elsewhere = dir_ / "elsewhere";
  const std::string good = historyHeader(40) + historyRecord(entry(41, 1));
  std::string refused = good + historyRecord(entry(57, 2));
  refused.replace(refused.rfind("surface="), 9, "surface=-");
  // What stands there, what the file holds, the number the next picture gets, and why.
  const std::tuple<std::string, std::string, std::uint64_t, const char*> cases[] = {
      {"garbage", "\x89PNG garbage\n", 1, "is broken"},
      {"cut short", good.substr(0, good.size() - 3), 42, "is broken"},
      {"a recipe refused", refused, 58, "is broken"},
      {"huge", good, 42, "is too large to be one"},
      {"a FIFO", "", 1, "is not a regular file"},
      {"a link", good, 1, "is not a regular file"},
      {"a folder", "", 1, "is not a regular file"},
  };
  for (bool reader : {true, false})
    for (const auto& [name, text, next, why] : cases) {
      SCOPED_TRACE(name + (reader ? ", read" : ", written"));
      fs::remove_all(dir_ / "tavrel");
      fs::create_directories(dir_ / "tavrel");
      ASSERT_EQ(name == "a FIFO" ? ::mkfifo(file_.c_str(), 0600) : 0, 0);
      if (name == "a folder") fs::create_directory(file_);
      if (!text.empty()) std::ofstream(name == "a link" ? elsewhere : file_) << text;
      if (name == "huge") fs::resize_file(file_, std::uintmax_t{1} << 32);  // sparse
      if (name == "a link") fs::create_symlink(elsewhere, file_);
      warnings_.clear();
      History h = history();
      EXPECT_TRUE(!reader || h.entries().empty());
      ASSERT_TRUE(h.add(recipeOf(3), 3, 1));
      ASSERT_TRUE(h.add(recipeOf(4), 4, 2));
      EXPECT_EQ(kept(), std::tuple(next, next + 1, 2u));
      ASSERT_EQ(warnings_.size(), 1u);
      EXPECT_EQ(warnings_[0], "the history '" + file_.string() + "' " + why +
                                  "; it is moved aside to '" + file_.string() +
                                  ".broken' and a new one begun");
      EXPECT_TRUE(fs::exists(fs::symlink_status(dir_ / "tavrel" / "history.broken")));
    }
  EXPECT_EQ(slurp(elsewhere), good);
}

// "history=off" in the settings file keeps every program out of the
// history, as --no-history keeps one run; the file is read as the window
// reads it: blanks around, the last of a key counting.
TEST(HistoryFor, TheSettingsFileOrTheRunTurnsItOff) {
  const fs::path ini = fs::path(std::getenv("XDG_CONFIG_HOME")) / "tavrel" / "tavrel.ini";
  fs::create_directories(ini.parent_path());
  const std::pair<std::string, bool> rows[] = {
      {"", true},
      {"[tavrel]\nhistory=off\n", false},
      {"history = off", false},
      {"history=on", true},
      {"history=Off", true},
      {"history=", true},
      {"history=off\x01", true},
      {"history=off\nhistory=on", true},
      {"history=on\nhistory=off", false},
  };
  for (const auto& [text, kept] : rows) {
    std::ofstream(ini) << text;
    EXPECT_EQ(historyFor("tavrel", false).has_value(), kept) << text;
    EXPECT_FALSE(historyFor("tavrel", true));
  }
}

}  // namespace
}  // namespace tavrel
