#include "wallpaper/wallpaper.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <map>
#include <regex>

#include "canvas/files.h"
#include "canvas/text.h"

extern char** environ;

namespace tavrel::wallpaper {

namespace fs = std::filesystem;

namespace {

bool names(const char* list, std::string_view desktop) {
  // XDG_CURRENT_DESKTOP is a list such as "ubuntu:GNOME".
  std::string_view rest = list ? list : "";
  while (!rest.empty()) {
    const auto colon = rest.find(':');
    if (rest.substr(0, colon) == desktop) return true;
    rest = colon == std::string_view::npos ? std::string_view{} : rest.substr(colon + 1);
  }
  return false;
}

bool set(const char* v) {
  return v != nullptr && *v != '\0';
}

// What a file name may hold of an output's name.
std::string fileSafe(std::string_view name) {
  std::string out;
  for (char c : name.substr(0, 32))
    out += std::isalnum(static_cast<unsigned char>(c)) || c == '-' || c == '.' ? c : '_';
  return out;
}

// sway reads the path of a background after expanding it like a shell: only
// paths without a character a shell would act on are handed over.
bool plainForSway(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) {
    return std::isalnum(static_cast<unsigned char>(c)) || std::strchr("/._-+,@%=:", c);
  });
}

// A file: URI, every byte outside the unreserved ones escaped.
std::string fileUri(const fs::path& path) {
  std::string uri = "file://";
  for (unsigned char c : path.string()) {
    if (std::isalnum(c) || std::strchr("/-._~", c)) {
      uri += static_cast<char>(c);
    } else {
      char hex[4];
      std::snprintf(hex, sizeof hex, "%%%02X", c);
      uri += hex;
    }
  }
  return uri;
}

// Local time as 20261125-141700.
std::string stamp() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  char buf[32];
  std::strftime(buf, sizeof buf, "%Y%m%d-%H%M%S", &local);
  return buf;
}

// The files of earlier runs beyond the last kRunsKept, removed; only regular
// files named as this program names them.
void keepLastRuns(const fs::path& folder) {
  static const std::regex name(
      R"((\d{8}-\d{6})(\.(\d{1,3}))?-(shape|pattern)(-[A-Za-z0-9._-]+)?\.png)");
  // Newest first: by the second, then by the run within it.
  std::map<std::pair<std::string, int>, std::vector<fs::path>, std::greater<>> runs;
  std::error_code ec;
  for (const auto& e : fs::directory_iterator(folder, ec)) {
    std::smatch m;
    const std::string file = e.path().filename().string();
    if (e.is_regular_file(ec) && !e.is_symlink(ec) && std::regex_match(file, m, name))
      runs[{m[1].str(), m[3].matched ? std::stoi(m[3].str()) : 1}].push_back(e.path());
  }
  std::size_t run = 0;
  for (const auto& [when, files] : runs)
    if (++run > kRunsKept)
      for (const fs::path& f : files) fs::remove(f, ec);
}

// The number of the last run within the second `when` (the first is 1),
// or 0.
int lastRunIn(const fs::path& folder, const std::string& when) {
  int last = 0;
  std::error_code ec;
  for (const auto& e : fs::directory_iterator(folder, ec)) {
    const std::string file = e.path().filename().string();
    if (!file.starts_with(when)) continue;
    int n = 1;
    if (file[when.size()] == '.') n = std::atoi(file.c_str() + when.size() + 1);
    last = std::max(last, n);
  }
  return last;
}

struct Placed {
  Output output;
  fs::path file;
};

std::optional<std::string> setOn(Desktop d, const std::vector<Placed>& placed, bool tile) {
  const fs::path& first = placed.front().file;
  switch (d) {
    case Desktop::gnome: {
      // A GVariant string: in single quotes, a quote or backslash escaped.
      std::string uri = "'";
      for (char c : fileUri(first))
        uri += c == '\'' || c == '\\' ? std::string{'\\', c} : std::string{c};
      uri += "'";
      const std::string schema = "org.gnome.desktop.background";
      for (const char* key : {"picture-uri", "picture-uri-dark"})
        if (auto failed = runProgram({"gsettings", "set", schema, key, uri})) return failed;
      return runProgram(
          {"gsettings", "set", schema, "picture-options", tile ? "'wallpaper'" : "'centered'"});
    }
    case Desktop::kde:
      return runProgram({"plasma-apply-wallpaperimage", first.string()});
    case Desktop::sway:
      for (const Placed& p : placed) {
        if (!plainForSway(p.file.string()) || !plainForSway(p.output.name))
          return "sway can't be given " + quotedText(p.file.string());
        if (auto failed = runProgram({"swaymsg", "output", p.output.name, "bg", p.file.string(),
                                      tile ? "tile" : "center"}))
          return failed;
      }
      return std::nullopt;
    case Desktop::x11:
    case Desktop::none:
      break;
  }
  return std::nullopt;
}

std::string_view nameOf(Desktop d) {
  switch (d) {
    case Desktop::gnome:
      return "GNOME";
    case Desktop::kde:
      return "KDE Plasma";
    case Desktop::sway:
      return "sway";
    case Desktop::x11:
      return "the X11 root window";
    case Desktop::none:
      break;
  }
  return "no desktop";
}

}  // namespace

Desktop desktopOf(const char* currentDesktop, const char* swaySocket, const char* display) {
  if (names(currentDesktop, "GNOME")) return Desktop::gnome;
  if (names(currentDesktop, "KDE")) return Desktop::kde;
  if (set(swaySocket) || names(currentDesktop, "sway")) return Desktop::sway;
  if (set(display)) return Desktop::x11;
  return Desktop::none;
}

Desktop currentDesktop() {
  return desktopOf(std::getenv("XDG_CURRENT_DESKTOP"), std::getenv("SWAYSOCK"),
                   std::getenv("DISPLAY"));
}

std::optional<std::string> runProgram(const std::vector<std::string>& argv) {
  int err[2];
  if (::pipe2(err, O_CLOEXEC) != 0) return "cannot run " + argv[0] + ": " + std::strerror(errno);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, err[1], 2);
  std::vector<char*> args;
  for (const std::string& a : argv) args.push_back(const_cast<char*>(a.c_str()));
  args.push_back(nullptr);
  pid_t pid = 0;
  const int spawned = posix_spawnp(&pid, args[0], &actions, nullptr, args.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  ::close(err[1]);
  if (spawned != 0) {
    ::close(err[0]);
    if (spawned == ENOENT) return argv[0] + " is not installed";
    return "cannot run " + argv[0] + ": " + std::strerror(spawned);
  }
  // What it says, up to its end or the time allowed.
  std::string said;
  const auto giveUp = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  bool late = false;
  for (;;) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        giveUp - std::chrono::steady_clock::now());
    pollfd p{err[0], POLLIN, 0};
    if (left.count() <= 0 || ::poll(&p, 1, static_cast<int>(left.count())) == 0) {
      late = true;
      break;
    }
    char buf[512];
    const ssize_t n = ::read(err[0], buf, sizeof buf);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    if (said.size() < 4096) said.append(buf, static_cast<std::size_t>(n));
  }
  ::close(err[0]);
  if (late) ::kill(pid, SIGKILL);
  int status = 0;
  while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  if (late) return argv[0] + " did not finish within 10 seconds";
  if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return std::nullopt;
  std::string why =
      WIFEXITED(status) && WEXITSTATUS(status) == 127
          ? "is not installed"
          : "failed with status " +
                std::to_string(WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status));
  const std::string firstLine = said.substr(0, said.find('\n'));
  if (!firstLine.empty()) why += ": " + quotedText(firstLine);
  return argv[0] + " " + why;
}

fs::path wallpaperFolder() {
  if (const char* xdg = std::getenv("XDG_DATA_HOME"); xdg && *xdg == '/')
    return fs::path(xdg) / "tavrel" / "wallpaper";
  if (const char* home = std::getenv("HOME"); home && *home)
    return fs::path(home) / ".local" / "share" / "tavrel" / "wallpaper";
  return {};
}

Outcome makeWallpaper(const Request& r) {
  Outcome out;
  const Desktop desktop = currentDesktop();
  const bool tile = r.generator == Generator::pattern;

  // The screens, as the desktop's display server reports them.
  std::string why;
  std::vector<Output> outputs;
  const bool onWayland = set(std::getenv("WAYLAND_DISPLAY"));
  if (desktop == Desktop::sway ||
      (desktop != Desktop::x11 && desktop != Desktop::none && onWayland))
    outputs = waylandOutputs(why);
  else if (desktop != Desktop::none)
    outputs = xRoot(why);
  if (outputs.empty() && desktop == Desktop::sway) {
    out.failed = "sway's outputs can't be learnt: " + why;
    return out;
  }
  if (outputs.empty() && desktop == Desktop::x11) {
    out.failed = why;
    return out;
  }
  if (outputs.empty()) outputs.push_back(r.screen);
  const int zoom = layoutZoom(outputs, r.scaleOverride);
  // GNOME and Plasma take one picture for every monitor: the largest's.
  if (desktop != Desktop::sway && outputs.size() > 1) {
    Output largest = *std::max_element(outputs.begin(), outputs.end(), [](auto& a, auto& b) {
      return static_cast<long long>(a.deviceWidth) * a.deviceHeight <
             static_cast<long long>(b.deviceWidth) * b.deviceHeight;
    });
    largest.x = largest.y = 0;
    outputs.assign(1, largest);
  }

  const fs::path folder = wallpaperFolder();
  if (folder.empty()) {
    out.failed = "no folder for the wallpaper is known (HOME is not set)";
    return out;
  }
  std::error_code ec;
  fs::create_directories(folder, ec);
  if (ec) {
    out.failed = "cannot make the folder " + quotedText(folder.string()) + ": " + ec.message();
    return out;
  }
  // A run's files share their first name; a later run within the same
  // second takes a number after the last one's.
  const std::string when = stamp(), kind(wordOf(r.generator));
  std::vector<Placed> placed;
  std::optional<ImageData> root;  // kept for the X server
  for (int run = lastRunIn(folder, when) + 1; run < 1000 && placed.empty(); ++run) {
    const std::string stem = when + (run > 1 ? "." + std::to_string(run) : "") + "-" + kind;
    for (const Output& o : outputs) {
      const std::string name =
          stem + (desktop == Desktop::sway ? "-" + fileSafe(o.name) : std::string()) + ".png";
      ImageData image = wallpaperFor(o, r.picture, tile, zoom);
      const NewFile written = writeFileIfAbsent(folder / name, encodePng(image, r.texts));
      if (desktop == Desktop::x11) root = std::move(image);
      if (written == NewFile::exists && placed.empty()) break;
      if (written != NewFile::written) {
        out.failed =
            "cannot write " + quotedText((folder / name).string()) + ": " + std::strerror(errno);
        return out;
      }
      placed.push_back({o, folder / name});
    }
  }
  keepLastRuns(folder);

  if (desktop == Desktop::none) {
    out.lines.push_back(placed.front().file.string() +
                        ": no desktop found to set it on; the desktop was not changed");
    return out;
  }
  out.failed = desktop == Desktop::x11 ? setRootPixmap(*root) : setOn(desktop, placed, tile);
  if (out.failed) *out.failed += "; the picture is in " + quotedText(placed.front().file.string());
  for (const Placed& p : placed)
    out.lines.push_back(
        p.file.string() + ": set on " + std::string(nameOf(desktop)) +
        (p.output.name.empty() || desktop == Desktop::gnome || desktop == Desktop::kde
             ? ""
             : " output " + p.output.name));
  if (out.failed) out.lines.clear();
  return out;
}

}  // namespace tavrel::wallpaper
