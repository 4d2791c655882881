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
  for (const auto& file : files) pictures.push_back(readPng(file).value_or(PngFile{}).image);
  if (std::ssize(pictures) != count) throw std::runtime_error("no pictures from " + command);
  return pictures;
}

// A screen's pixels, 0x00BBGGRR, from a PPM file of 8-bit channels.
struct Shot {
  int width = 0, height = 0;
  std::vector<Colour> pixels;
  Colour at(int x, int y) const { return pixels[static_cast<std::size_t>(y) * width + x]; }
  // Black as a person sees it; the outline colour 1 counts as black.
  static bool dark(Colour c) { return std::max({c & 0xFF, c >> 8 & 0xFF, c >> 16 & 0xFF}) < 24; }
  // Near enough for a display of 16 bits a pixel.
  static bool near(Colour a, Colour b) {
    for (int shift : {0, 8, 16})
      if (std::abs((a >> shift & 0xFF) - (b >> shift & 0xFF)) > 8) return false;
    return true;
  }
};

inline std::optional<Shot> readPpm(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  std::string magic;
  int top = 0;
  Shot shot;
  if (!(in >> magic >> shot.width >> shot.height >> top) || magic != "P6" || top != 255) return {};
  in.get();
  std::vector<unsigned char> rgb(static_cast<std::size_t>(shot.width) * shot.height * 3);
  if (!in.read(reinterpret_cast<char*>(rgb.data()), static_cast<std::streamsize>(rgb.size())))
    return std::nullopt;
  for (std::size_t i = 0; i < rgb.size(); i += 3)
    shot.pixels.push_back(static_cast<Colour>(rgb[i] | rgb[i + 1] << 8 | rgb[i + 2] << 16));
  return shot;
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
    return static_cast<int>(std::ranges::find_if_not(pixels, Shot::dark) - pixels.begin());
  };
  const int p = firstLit(picture.pixels), s = firstLit(shot.pixels);
  const Place at{s % shot.width - p % picture.width * zoom,
                 s / shot.width - p / picture.width * zoom};
  if (s == std::ssize(shot.pixels) || at.x < 0 || at.y < 0) return std::nullopt;
  for (int y = 0; y < shot.height; ++y)
    for (int x = 0; x < shot.width; ++x) {
      const int px = (x - at.x) / zoom, py = (y - at.y) / zoom;
      const bool in = x >= at.x && y >= at.y && px < picture.width && py < picture.height;
      if (in ? !Shot::near(shot.at(x, y), picture.at(px, py)) : !Shot::dark(shot.at(x, y)))
        return std::nullopt;
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
      if (!Shot::dark(shot.at(x, y)) && !Shot::near(shot.at(x, y), kWhite)) return false;
      white = white || !Shot::dark(shot.at(x, y));
    }
  return white;
}

// The modules a test starts, and what a screen shows of them.
class ModuleTest : public ::testing::Test {
 protected:
  Child& startModule(const std::string& options) {
    std::vector<std::string> argv = words(options);
    argv.insert(argv.begin(), TAVREL_SAVER);
    return *modules_.emplace_back(std::make_unique<Child>(argv));
  }
  // Where the picture stands once `shot` shows it alone on black, at a
  // place `wanted`.
  std::optional<Place> waitForPicture(
      const std::function<std::optional<Shot>()>& shot, const ImageData& picture,
      const std::function<bool(Place)>& wanted = [](Place) { return true; }) {
    std::optional<Place> at;
    eventually(2s, [&] {
      const auto s = shot();
      return (at = s ? find(*s, picture) : std::nullopt) && wanted(*at);
    });
    return at;
  }
  void TearDown() override { modules_.clear(); }

  testing_support::TempDir dir_;
  std::vector<std::unique_ptr<Child>> modules_;
};

}  // namespace tavrel::saver::test
