// The module and the other programs a test starts, and the pictures the
// renderer makes for it to compare with.
#pragma once

#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "canvas/image_io.h"
#include "tests/temp_dir.h"

namespace tavrel::saver::test {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

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
    std::vector<char*> args(argv.size() + 1);  // ends in a null pointer
    for (std::size_t i = 0; i < argv.size(); ++i) args[i] = const_cast<char*>(argv[i].c_str());
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

// The pictures tavrel-render --screensaver writes with these options, in order:
// the module must show these.
inline std::vector<ImageData> rendered(const std::string& options, int count) {
  const testing_support::TempDir dir;
  const std::string command = "'" TAVREL_RENDER "' --screensaver --count " + std::to_string(count) +
                              " --out '" + dir.path.string() + "' " + options + " >/dev/null";
  std::vector<std::filesystem::path> files;
  if (std::system(command.c_str()) == 0)
    for (const auto& file : std::filesystem::directory_iterator(dir.path)) files.push_back(file);
  std::ranges::sort(files);  // NAME-1.png, NAME-2.png, ...
  std::vector<ImageData> pictures;
  for (const auto& file : files) pictures.push_back(readPng(file).value_or(PngFile{}).image);
  if (std::ssize(pictures) != count) throw std::runtime_error("no pictures from " + command);
  return pictures;
}

}  // namespace tavrel::saver::test
