#include "history/history.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <thread>

#include "canvas/text.h"
#include "state/settings_file.h"

namespace tavrel {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kHeaderStart = "tavrel-history 1 after=";
constexpr std::string_view kHead = "picture ";
constexpr std::string_view kEnd = "end\n";
constexpr const char* kFileName = "history";
constexpr const char* kBrokenName = "history.broken";

// A number as the file writes it: decimal digits, no leading zero.
template <typename T>
std::optional<T> number(std::string_view s) {
  T v{};
  const auto [end, ec] = std::from_chars(s.data(), s.data() + s.size(), v);
  if (s.empty() || ec != std::errc{} || end != s.data() + s.size()) return std::nullopt;
  if (s.size() > 1 && s[0] == '0') return std::nullopt;
  return v;
}

std::vector<std::string_view> words(std::string_view line) {
  std::vector<std::string_view> out;
  while (!line.empty() && out.size() < 8) {
    const auto space = line.find(' ');
    out.push_back(line.substr(0, space));
    line = space == std::string_view::npos ? std::string_view{} : line.substr(space + 1);
  }
  return out;
}

// "tavrel-history 1 after=N" without its newline.
std::optional<std::uint64_t> headerAfter(std::string_view line) {
  if (!line.starts_with(kHeaderStart)) return std::nullopt;
  return number<std::uint64_t>(line.substr(kHeaderStart.size()));
}

// A record as it stands in the file, its recipe not yet read.
struct RawRecord {
  std::string_view whole;  // from "picture" to "end\n"
  std::string_view recipe;
  HistoryEntry head;  // all but the recipe
};

// "picture N TIME PROGRAM SEED|- PLACE" without its newline.
std::optional<HistoryEntry> recordHead(std::string_view line) {
  const auto w = words(line);
  if (w.size() != 6 || w[0] != "picture") return std::nullopt;
  HistoryEntry e;
  const auto n = number<std::uint64_t>(w[1]);
  const auto t = number<std::int64_t>(w[2]);
  const auto place = number<std::uint64_t>(w[5]);
  if (!n || !t || *t < 0 || !place || *place < 1) return std::nullopt;
  if (std::find(std::begin(kHistoryPrograms), std::end(kHistoryPrograms), w[3]) ==
      std::end(kHistoryPrograms))
    return std::nullopt;
  if (w[4] != "-") {
    const auto seed = number<std::uint32_t>(w[4]);
    if (!seed) return std::nullopt;
    e.seed = *seed;
  }
  e.number = *n;
  e.time = *t;
  e.program = std::string(w[3]);
  e.place = *place;
  return e;
}

// The records that begin at `text`, each after the number before it; nothing
// when the text is not all whole records.
std::optional<std::vector<RawRecord>> records(std::string_view text, std::uint64_t after) {
  std::vector<RawRecord> out;
  while (!text.empty()) {
    if (out.size() >= kHistoryKept + kHistorySlack) return std::nullopt;
    const auto endAt = text.find("\nend\n");
    const auto headEnd = text.find('\n');
    if (endAt == std::string_view::npos || headEnd > endAt) return std::nullopt;
    RawRecord r;
    r.whole = text.substr(0, endAt + 5);
    if (r.whole.size() > kMaxHistoryRecord) return std::nullopt;
    const auto head = recordHead(text.substr(0, headEnd));
    if (!head || head->number <= after) return std::nullopt;
    r.head = *head;
    r.recipe = text.substr(headEnd + 1, endAt - headEnd);
    after = head->number;
    out.push_back(r);
    text.remove_prefix(r.whole.size());
  }
  return out;
}

// A recipe exactly as recipeToText writes it, as every record's is: a record
// that swallowed another, or holds lines of its own, is refused.
std::optional<Recipe> writtenRecipe(std::string_view text) {
  auto recipe = recipeFromText(text);
  if (!recipe || recipeToText(*recipe) != text) return std::nullopt;
  return recipe;
}

struct Layout {
  std::uint64_t after = 0;
  std::size_t headerSize = 0;
  std::vector<RawRecord> records;
};

std::optional<Layout> layoutOf(std::string_view text) {
  const auto nl = text.find('\n');
  if (nl == std::string_view::npos) return std::nullopt;
  const auto after = headerAfter(text.substr(0, nl));
  if (!after) return std::nullopt;
  auto rs = records(text.substr(nl + 1), *after);
  if (!rs) return std::nullopt;
  return Layout{*after, nl + 1, std::move(*rs)};
}

// The highest number still readable in a broken file: its header's, or a
// record head's.
std::uint64_t lastReadable(std::string_view text) {
  std::uint64_t last = 0;
  if (const auto nl = text.find('\n'); nl != std::string_view::npos)
    last = headerAfter(text.substr(0, nl)).value_or(0);
  for (std::size_t at = 0; (at = text.find(kHead, at)) != std::string_view::npos; ++at) {
    if (at > 0 && text[at - 1] != '\n') continue;
    const auto nl = text.find('\n', at);
    if (nl == std::string_view::npos) break;
    if (const auto head = recordHead(text.substr(at, nl - at))) last = std::max(last, head->number);
  }
  return last;
}

std::string describeErrno(int error) {
  return std::strerror(error);
}

// Exactly n bytes at `offset`, or fewer when the file ends.
std::string readAt(int fd, std::size_t n, off_t offset) {
  std::string out(n, '\0');
  std::size_t got = 0;
  while (got < n) {
    const ssize_t r = ::pread(fd, out.data() + got, n - got, offset + static_cast<off_t>(got));
    if (r < 0 && errno == EINTR) continue;
    if (r <= 0) break;
    got += static_cast<std::size_t>(r);
  }
  out.resize(got);
  return out;
}

bool writeAll(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t n = ::write(fd, bytes.data(), bytes.size());
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      if (n == 0) errno = ENOSPC;
      return false;
    }
    bytes.remove_prefix(static_cast<std::size_t>(n));
  }
  return true;
}

}  // namespace

std::string historyHeader(std::uint64_t after) {
  return std::string(kHeaderStart) + std::to_string(after) + "\n";
}

std::string historyRecord(const HistoryEntry& e) {
  std::string out(kHead);
  out += std::to_string(e.number) + " " + std::to_string(e.time) + " " + e.program + " ";
  out += e.seed ? std::to_string(*e.seed) : "-";
  out += " " + std::to_string(e.place) + "\n" + recipeToText(e.recipe);
  out += kEnd;
  return out;
}

std::optional<HistoryText> parseHistory(std::string_view text) {
  if (text.size() > kMaxHistoryFile) return std::nullopt;
  const auto layout = layoutOf(text);
  if (!layout) return std::nullopt;
  HistoryText out;
  out.after = layout->after;
  for (const RawRecord& r : layout->records) {
    auto recipe = writtenRecipe(r.recipe);
    if (!recipe) return std::nullopt;
    HistoryEntry e = r.head;
    e.recipe = std::move(*recipe);
    out.entries.push_back(std::move(e));
  }
  return out;
}

fs::path historyFolder() {
  if (const char* xdg = std::getenv("XDG_STATE_HOME"); xdg && *xdg == '/')
    return fs::path(xdg) / "tavrel";
  if (const char* home = std::getenv("HOME"); home && *home)
    return fs::path(home) / ".local" / "state" / "tavrel";
  return {};
}

// Where the file stands: the number its numbering starts after and the
// number of its newest record (`after` when it holds none), and its size.
struct History::Ends {
  std::uint64_t after = 0, last = 0;
  off_t size = 0;
};

History::History(fs::path folder, std::string program, Warn warn)
    : folder_(std::move(folder)), program_(std::move(program)), warn_(std::move(warn)) {
  if (!warn_)
    warn_ = [name = program_](const std::string& line) {
      std::fprintf(stderr, "%s: %s\n", name.c_str(), line.c_str());
    };
}

void History::warnOnce(bool& warned, const std::string& line) {
  if (warned) return;
  warned = true;
  warn_(line);
}

// The folder, locked for this process alone: every reader and writer holds
// the lock, so a record is never seen half written and never lost to a
// rewrite under way. The folder is locked rather than the file, which a
// rewrite replaces.
std::optional<FileHandle> History::lock() {
  std::error_code ec;
  fs::create_directories(folder_.parent_path(), ec);
  if (::mkdir(folder_.c_str(), 0700) != 0 && errno != EEXIST) return std::nullopt;
  FileHandle dir(::open(folder_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!dir) return std::nullopt;
  // Holders keep it for a record or a rewrite of the file, milliseconds;
  // one stopped while holding it costs a few seconds, not the show.
  const auto giveUp = std::chrono::steady_clock::now() + std::chrono::seconds(3);
  auto pause = std::chrono::milliseconds(1);
  while (::flock(dir.get(), LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK && errno != EINTR) return std::nullopt;
    if (std::chrono::steady_clock::now() > giveUp) {
      errno = EWOULDBLOCK;
      return std::nullopt;
    }
    std::this_thread::sleep_for(pause);
    pause = std::min(pause * 2, std::chrono::milliseconds(50));
  }
  return dir;
}

// Moves whatever stands at the file's name aside and begins a new file whose
// numbers go on after the last readable one.
bool History::beginAfterBroken(int dir, const std::string& why) {
  std::uint64_t after = 0;
  FileHandle old(::openat(dir, kFileName, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  struct stat st {};
  if (old && ::fstat(old.get(), &st) == 0 && S_ISREG(st.st_mode)) {
    // A file too large to be a history is looked at only at its end.
    const off_t from = std::max<off_t>(0, st.st_size - static_cast<off_t>(kMaxHistoryFile));
    if (from > 0) after = lastReadable(readAt(old.get(), kMaxHistoryRecord, 0));
    const std::string end = readAt(old.get(), static_cast<std::size_t>(st.st_size - from), from);
    after = std::max(after, lastReadable(end));
  }
  old = FileHandle();
  const fs::path broken = folder_ / kBrokenName;
  if (::renameat(dir, kFileName, dir, kBrokenName) != 0) {
    warnedFailure_ = true;  // the one warning of the run
    warnOnce(warnedBroken_, "the history " + quotedText(file().string()) + " " + why +
                                " and can't be moved aside: " + describeErrno(errno));
    return false;
  }
  warnOnce(warnedBroken_, "the history " + quotedText(file().string()) + " " + why +
                              "; it is moved aside to " + quotedText(broken.string()) +
                              " and a new one begun");
  return writeFile(file(), historyHeader(after));
}

// The file open for appending, and where it stands; a broken file is moved
// aside first, a missing one begun.
std::optional<FileHandle> History::openHistory(int dir, Ends& ends) {
  for (int attempt = 0; attempt < 2; ++attempt) {
    FileHandle f(::openat(dir, kFileName, O_RDWR | O_APPEND | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (!f && errno == ENOENT) {
      if (!writeFile(file(), historyHeader(0))) return std::nullopt;
      continue;
    }
    std::string why;
    struct stat st {};
    if (!f) {
      if (errno != ELOOP && errno != ENXIO && errno != EISDIR && errno != EWOULDBLOCK)
        return std::nullopt;
      why = "is not a regular file";
    } else if (::fstat(f.get(), &st) != 0) {
      return std::nullopt;
    } else if (!S_ISREG(st.st_mode)) {
      why = "is not a regular file";
    } else if (static_cast<std::uint64_t>(st.st_size) > kMaxHistoryFile) {
      why = "is too large to be one";
    } else {
      // The header and the newest record tell all a writer needs.
      ends.size = st.st_size;
      const std::string head = readAt(f.get(), 64, 0);
      const auto nl = head.find('\n');
      const auto after = nl == std::string::npos
                             ? std::nullopt
                             : headerAfter(std::string_view(head).substr(0, nl));
      if (after) {
        ends.after = ends.last = *after;
        if (static_cast<std::size_t>(st.st_size) == nl + 1) return f;
        const off_t from = std::max<off_t>(static_cast<off_t>(nl),
                                           st.st_size - static_cast<off_t>(kMaxHistoryRecord) - 1);
        const std::string tail = readAt(f.get(), static_cast<std::size_t>(st.st_size - from), from);
        const auto at = tail.rfind("\n" + std::string(kHead));
        const auto last = at == std::string::npos
                              ? std::nullopt
                              : records(std::string_view(tail).substr(at + 1), *after);
        if (last && last->size() == 1 && writtenRecipe(last->front().recipe)) {
          ends.last = last->front().head.number;
          return f;
        }
      }
      why = "is broken";
    }
    if (attempt > 0 || !beginAfterBroken(dir, why)) return std::nullopt;
  }
  return std::nullopt;
}

bool History::add(const Recipe& recipe, std::optional<std::uint32_t> seed, std::uint64_t place) {
  const auto failed = [&] {
    warnOnce(warnedFailure_, "pictures can't be kept in the history in " +
                                 quotedText(folder_.string()) + ": " + describeErrno(errno) +
                                 "; the show goes on without it");
    return false;
  };
  const auto dir = lock();
  if (!dir) return failed();
  for (int attempt = 0; attempt < 2; ++attempt) {
    Ends ends;
    const auto f = openHistory(dir->get(), ends);
    if (!f) return failed();
    const HistoryEntry e{ends.last + 1, static_cast<std::int64_t>(std::time(nullptr)),
                         program_,      seed,
                         place,         recipe};
    const std::string record = historyRecord(e);
    if (ends.last - ends.after < kHistoryKept + kHistorySlack) {
      if (writeAll(f->get(), record)) return true;
      const int error = errno;
      // Nothing half written stays: the file ends with its last whole record.
      if (::ftruncate(f->get(), ends.size) != 0)
        beginAfterBroken(dir->get(), "could not be mended after a failed write");
      errno = error;
      return failed();
    }
    // Full: the file is written anew with the newest records and this one.
    const std::string text = readAt(f->get(), static_cast<std::size_t>(ends.size), 0);
    const auto layout = layoutOf(text);
    if (!layout) {
      if (!beginAfterBroken(dir->get(), "is broken")) return failed();
      continue;
    }
    const std::size_t n = layout->records.size();
    const std::size_t from = n > kHistoryKept - 1 ? n - (kHistoryKept - 1) : 0;
    std::string cut =
        historyHeader(from < n ? layout->records[from].head.number - 1 : layout->after);
    cut.reserve(text.size() + record.size());
    for (std::size_t i = from; i < n; ++i) cut += layout->records[i].whole;
    cut += record;
    return writeFile(file(), cut) || failed();
  }
  return false;
}

std::vector<HistoryEntry> History::entries() {
  const auto dir = lock();
  if (!dir) {
    warnOnce(warnedFailure_, "the history in " + quotedText(folder_.string()) +
                                 " can't be read: " + describeErrno(errno));
    return {};
  }
  FileHandle f(::openat(dir->get(), kFileName, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (!f && errno == ENOENT) return {};
  std::string why = "is not a regular file";
  struct stat st {};
  if (f && ::fstat(f.get(), &st) == 0 && S_ISREG(st.st_mode)) {
    why = "is too large to be one";
    if (static_cast<std::uint64_t>(st.st_size) <= kMaxHistoryFile) {
      why = "is broken";
      auto text = parseHistory(readAt(f.get(), static_cast<std::size_t>(st.st_size), 0));
      if (text) {
        // The file may hold a few more than are kept, until it is next cut.
        auto& all = text->entries;
        if (all.size() > kHistoryKept) all.erase(all.begin(), all.end() - kHistoryKept);
        return std::move(all);
      }
    }
  }
  f = FileHandle();
  beginAfterBroken(dir->get(), why);
  return {};
}

std::optional<History> historyFor(std::string program, bool optedOut) {
  if (optedOut) return std::nullopt;
  const fs::path ini = settingsPath();
  if (!ini.empty())
    if (const auto values = readSettingsValues(ini)) {
      const auto it = values->find(Vocabulary<HistoryMode>::name);
      if (it != values->end() && choiceOf<HistoryMode>(it->second) == HistoryMode::off)
        return std::nullopt;
    }
  fs::path folder = historyFolder();
  if (folder.empty()) return std::nullopt;
  return History(std::move(folder), std::move(program));
}

}  // namespace tavrel
