// The module and the other programs a test starts, the pictures the
// renderer makes for it to compare with, and a screen's pixels as a person
// sees them, read back as ImageMagick and grim write them.
#pragma once

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "canvas/display_scale.h"
#include "canvas/image_io.h"
#include "saver/show.h"
#include "tests/temp_dir.h"

namespace tavrel::saver::test {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
namespace fs = std::filesystem;

// A program the test starts, in a process group of its own that is killed
// with the test however the test ends, so nothing it started outlives it;
// its standard error is kept.
class Child {
 public:
  explicit Child(const std::vector<std::string>& argv) : err_(memfd_create("stderr", MFD_CLOEXEC)) {
    const pid_t parent = getpid();
    pid_ = fork();
    if (pid_ < 0) throw std::runtime_error("fork failed");
    if (pid_ > 0) {
      setpgid(pid_, pid_);  // as the child does, whichever comes first
      return;
    }
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) _exit(127);
    setpgid(0, 0);
    dup2(err_, 2);
    std::vector<char*> args;
    for (const std::string& a : argv) args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);
    execvp(args[0], args.data());
    _exit(127);
  }
  ~Child() {
    if (kill(-pid_, SIGKILL) != 0 && !status_) kill(pid_, SIGKILL);
    if (!status_) waitpid(pid_, nullptr, 0);
    close(err_);
  }
  pid_t pid() const { return pid_; }
  void signal(int sig) const { kill(pid_, sig); }
  // The exit status once it ended within `limit`; 128 + n for signal n.
  std::optional<int> waitExit(std::chrono::milliseconds limit) {
    const auto end = Clock::now() + limit;
    for (int raw = 0; !status_ && Clock::now() < end; std::this_thread::sleep_for(5ms))
      if (waitpid(pid_, &raw, WNOHANG) == pid_)
        status_ = WIFEXITED(raw) ? WEXITSTATUS(raw) : 128 + WTERMSIG(raw);
    return status_;
  }
  std::string stderrText() const {
    std::string text(static_cast<std::size_t>(lseek(err_, 0, SEEK_END)), '\0');
    return pread(err_, text.data(), text.size(), 0) < 0 ? "" : text;
  }

 private:
  int err_;
  pid_t pid_ = -1;
  std::optional<int> status_;
};

// Whether `done` comes true within `limit`, asked every 20 ms.
inline bool eventually(std::chrono::milliseconds limit, const std::function<bool()>& done) {
  for (const auto end = Clock::now() + limit; Clock::now() < end; std::this_thread::sleep_for(20ms))
    if (done()) return true;
  return false;
}

// Runs a program to its end; whether it succeeded.
inline bool run(const std::vector<std::string>& argv) {
  return Child(argv).waitExit(10s) == 0;
}

inline std::vector<std::string> words(const std::string& text) {
  std::vector<std::string> argv;
  std::istringstream in(text);
  for (std::string w; in >> w;) argv.push_back(w);
  return argv;
}

// A screen's pixels as ImageMagick and grim write them, in PNG files.
using Shot = ImageData;
inline std::optional<Shot> readShot(const fs::path& file) {
  auto png = readPng(file);
  return png ? std::optional(std::move(png->image)) : std::nullopt;
}
// Black as a person sees it; the outline colour 1 counts as black.
inline bool dark(Colour c) {
  return std::max({c & 0xFF, c >> 8 & 0xFF, c >> 16 & 0xFF}) < 24;
}
// Near enough for a display of 16 bits a pixel.
inline bool near(Colour a, Colour b) {
  for (int shift : {0, 8, 16})
    if (std::abs((a >> shift & 0xFF) - (b >> shift & 0xFF)) > 8) return false;
  return true;
}

// The pictures tavrel-render --screensaver writes with these options, in order:
// the module must show these.
inline std::vector<ImageData> rendered(const std::string& options, int count) {
  const testing_support::TempDir dir;
  const std::string command = "'" TAVREL_RENDER "' --screensaver --no-history --count " +
                              std::to_string(count) + " --out '" + dir.path.string() + "' " +
                              options + " >/dev/null";
  std::vector<fs::path> files;
  if (std::system(command.c_str()) == 0)
    for (const auto& file : fs::directory_iterator(dir.path)) files.push_back(file);
  std::ranges::sort(files);  // NAME-1.png, NAME-2.png, ...
  std::vector<ImageData> pictures;
  for (const auto& file : files) pictures.push_back(readShot(file).value_or(ImageData{}));
  if (std::ssize(pictures) != count) throw std::runtime_error("no pictures from " + command);
  return pictures;
}

struct Place {
  int x = 0, y = 0;
};

// How many device pixels a program pixel of the module takes on a screen
// of the shot's size: the display-scale rule's.
inline int zoomOf(const Shot& shot) {
  const char* scale = std::getenv(kScaleVariable);
  return layoutFor(shot.width, shot.height,
                   scale ? std::optional<std::string_view>(scale) : std::nullopt)
      .zoom;
}

// Where the picture stands when the shot shows it alone on black, enlarged
// as the module enlarges it: its top left corner, found from its first
// pixel that is not black. Its right and bottom edges may lie beyond the
// shot's.
inline std::optional<Place> find(const Shot& shot, const ImageData& picture) {
  const int zoom = zoomOf(shot);
  const auto firstLit = [](const std::vector<Colour>& pixels) {
    return static_cast<int>(std::ranges::find_if_not(pixels, dark) - pixels.begin());
  };
  const int p = firstLit(picture.pixels), s = firstLit(shot.pixels);
  const Place at{s % shot.width - p % picture.width * zoom,
                 s / shot.width - p / picture.width * zoom};
  if (s == std::ssize(shot.pixels) || at.x < 0 || at.y < 0) return std::nullopt;
  for (int y = 0; y < shot.height; ++y)
    for (int x = 0; x < shot.width; ++x) {
      const int px = (x - at.x) / zoom, py = (y - at.y) / zoom;
      const bool in = x >= at.x && y >= at.y && px < picture.width && py < picture.height;
      if (in ? !near(shot.at(x, y), picture.at(px, py)) : !dark(shot.at(x, y))) return std::nullopt;
    }
  return at;
}

// Whether the --fps line stands in the shot's top left corner: white dots
// on black, two program pixels from the corner, as wide as "0.0 fps".
inline bool textShown(const Shot& shot) {
  const int zoom = zoomOf(shot);
  const ImageData shortest = textPicture("0.0 fps");
  bool white = false;
  for (int y = 2 * zoom; y < (2 + shortest.height) * zoom; ++y)
    for (int x = 2 * zoom; x < (2 + shortest.width) * zoom; ++x) {
      if (!dark(shot.at(x, y)) && !near(shot.at(x, y), kWhite)) return false;
      white = white || !dark(shot.at(x, y));
    }
  return white;
}

// The modules a test starts, and what a screen shows of them.
class ModuleTest : public ::testing::Test {
 protected:
  // Only what the test itself sets chooses the desktop and the module's way.
  ModuleTest() {
    for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY", "SWAYSOCK", "XDG_CURRENT_DESKTOP",
                             "XSCREENSAVER_WINDOW", "TAVREL_SCALE", "TAVREL_SAVER_SHELL"})
      unsetenv(name);
  }
  Child& startModule(const std::string& options) {
    std::vector<std::string> argv = words(options);
    argv.insert(argv.begin(), TAVREL_SAVER);
    return *modules_.emplace_back(std::make_unique<Child>(argv));
  }
  // A screen's pixels: an X window's (an id, or "root") or a Wayland output's.
  virtual std::optional<Shot> shot(const std::string& where) = 0;
  // Whether the screen comes to be as `is` says within `limit`.
  bool shows(const std::string& where, const std::function<bool(const Shot&)>& is,
             std::chrono::milliseconds limit = 3s) {
    return eventually(limit, [&] {
      const auto s = shot(where);
      return s && is(*s);
    });
  }
  // Where the picture stands once the screen shows it alone on black, at a
  // place `wanted`.
  std::optional<Place> waitOn(
      const std::string& where, const ImageData& picture,
      const std::function<bool(Place)>& wanted = [](Place) { return true; }) {
    std::optional<Place> at;
    shows(
        where, [&](const Shot& s) { return (at = find(s, picture)) && wanted(*at); }, 2s);
    return at;
  }
  void TearDown() override { modules_.clear(); }

  testing_support::TempDir dir_;
  std::vector<std::unique_ptr<Child>> modules_;
};

}  // namespace tavrel::saver::test
