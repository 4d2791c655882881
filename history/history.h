// Pictures are never lost: every picture a program shows or writes is kept
// as its recipe, with a lasting number, the time and the program, in one
// file under $XDG_STATE_HOME/tavrel/ that every program running at once
// (a module per monitor, the window, the renderer) adds to.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "canvas/files.h"
#include "state/recipe.h"

namespace tavrel {

struct HistoryEntry {
  std::uint64_t number = 0;           // lasting: no other picture ever gets it
  std::int64_t time = 0;              // seconds since 1970-01-01 UTC
  std::string program;                // one of kHistoryPrograms
  std::optional<std::uint32_t> seed;  // of the run that made it, when the run had one
  std::uint64_t place = 1;            // its place in that run, from 1
  Recipe recipe;

  bool operator==(const HistoryEntry&) const = default;
};

inline constexpr std::string_view kHistoryPrograms[] = {"tavrel", "tavrel-render", "tavrel-saver"};

// The newest kHistoryKept pictures are kept. The file may hold up to
// kHistorySlack more before it is cut back, so that the cutting, which
// rewrites the file, comes once in a hundred pictures.
inline constexpr std::uint64_t kHistoryKept = 1000;
inline constexpr std::uint64_t kHistorySlack = 100;
// A record is a few kilobytes (most of it the random source's state); one
// longer than this, or a file longer than a full history of them, is broken.
inline constexpr std::size_t kMaxHistoryRecord = 16 * 1024;
inline constexpr std::size_t kMaxHistoryFile =
    (kHistoryKept + kHistorySlack) * kMaxHistoryRecord + 64;

// The file: a header line naming the number after which its numbering
// starts, then one record per picture, oldest first:
//   tavrel-history 1 after=0
//   picture 1 1764065702 tavrel-render 42 1
//   generator=shape ... (the recipe, as a PNG carries it)
//   end
std::string historyHeader(std::uint64_t after);
std::string historyRecord(const HistoryEntry& e);

// A whole history read back; nothing when any of it is broken: a bad header
// or record head, a record cut short, too long or out of order, a recipe
// that recipeFromText refuses, anything after the last record.
struct HistoryText {
  std::uint64_t after = 0;
  std::vector<HistoryEntry> entries;
};
std::optional<HistoryText> parseHistory(std::string_view text);

// $XDG_STATE_HOME/tavrel, else ~/.local/state/tavrel; empty when neither
// folder is known.
std::filesystem::path historyFolder();

class History {
 public:
  // A line of warning, without the program's name; by default
  // "<program>: <line>" on stderr.
  using Warn = std::function<void(const std::string&)>;

  // The history in `folder` (created when missing); `program` names the
  // records this one adds.
  History(std::filesystem::path folder, std::string program, Warn warn = {});

  // Adds a picture under the next number, cutting the oldest away beyond
  // kHistoryKept. False when it could not be kept (a full disk, a folder
  // that can't be written): the first time in a run, one line of warning
  // says why, and the caller goes on without it.
  bool add(const Recipe& recipe, std::optional<std::uint32_t> seed, std::uint64_t place);

  // The newest kHistoryKept pictures, oldest first. A broken file is moved aside as
  // history.broken with one line of warning, and a new one begun whose
  // numbers go on after the last number still readable in the old one.
  std::vector<HistoryEntry> entries();

  std::filesystem::path file() const { return folder_ / "history"; }

 private:
  struct Ends;
  std::optional<FileHandle> lock();
  std::optional<FileHandle> openHistory(int dir, Ends& ends);
  bool beginAfterBroken(int dir, const std::string& why);
  void warnOnce(bool& warned, const std::string& line);

  std::filesystem::path folder_;
  std::string program_;
  Warn warn_;
  bool warnedFailure_ = false, warnedBroken_ = false;
};

// The history a program keeps, or none: with --no-history (`optedOut`),
// with "history=off" in the settings file, tavrel.ini, which all three
// programs read for it, or when no folder for it is known.
std::optional<History> historyFor(std::string program, bool optedOut);

}  // namespace tavrel
