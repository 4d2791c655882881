// Programs a test starts: killed when the test ends, and even when the test
// itself is killed, so no X server or module outlives it.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace tavrel::saver::test {

class ChildProcess {
 public:
  // Runs `argv` with the test's environment changed by `env` (an empty
  // value unsets). Standard output and error go to files; `keepFd`, when
  // not -1, stays open in the child as descriptor 3.
  ChildProcess(const std::vector<std::string>& argv, const std::map<std::string, std::string>& env,
               int keepFd = -1);
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  pid_t pid() const { return pid_; }
  void signal(int sig) const;
  // The exit status once it ended within `limit`; 128 + n for signal n.
  std::optional<int> waitExit(std::chrono::milliseconds limit);
  bool running();
  std::string stderrText() const;

 private:
  pid_t pid_ = -1;
  std::optional<int> status_;
  std::filesystem::path out_, err_;
};

// Xvfb on a display number of its own choosing.
class XServer {
 public:
  explicit XServer(const std::string& screen);  // e.g. "1920x1080x24"
  const std::string& display() const { return display_; }

 private:
  std::optional<ChildProcess> process_;
  std::string display_;
};

}  // namespace tavrel::saver::test
