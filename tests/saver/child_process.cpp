#include "child_process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace tavrel::saver::test {

namespace fs = std::filesystem;

ChildProcess::ChildProcess(const std::vector<std::string>& argv,
                           const std::map<std::string, std::string>& env, int keepFd) {
  // Unique among the children alive in this test.
  const std::string stem = "tavrel-saver-child-" + std::to_string(::getpid()) + "-" +
                           std::to_string(reinterpret_cast<std::uintptr_t>(this));
  out_ = fs::temp_directory_path() / (stem + ".out");
  err_ = fs::temp_directory_path() / (stem + ".err");
  const pid_t parent = ::getpid();
  pid_ = ::fork();
  if (pid_ < 0) throw std::runtime_error("fork failed");
  if (pid_ == 0) {
    // Dies with the test, however the test ends.
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != parent) ::_exit(127);
    for (const auto& [name, value] : env) {
      if (value.empty()) {
        ::unsetenv(name.c_str());
      } else {
        ::setenv(name.c_str(), value.c_str(), 1);
      }
    }
    const int out = ::open(out_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    const int err = ::open(err_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    ::dup2(out, 1);
    ::dup2(err, 2);
    if (keepFd >= 0) {
      ::dup2(keepFd, 3);
    }
    std::vector<char*> args;
    for (const auto& a : argv) args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);
    ::execvp(args[0], args.data());
    ::_exit(127);
  }
}

ChildProcess::~ChildProcess() {
  if (!status_) {
    ::kill(pid_, SIGKILL);
    int raw = 0;
    ::waitpid(pid_, &raw, 0);
  }
  std::error_code ec;
  fs::remove(out_, ec);
  fs::remove(err_, ec);
}

void ChildProcess::signal(int sig) const {
  if (!status_) ::kill(pid_, sig);
}

std::optional<int> ChildProcess::waitExit(std::chrono::milliseconds limit) {
  const auto end = std::chrono::steady_clock::now() + limit;
  while (!status_) {
    int raw = 0;
    const pid_t r = ::waitpid(pid_, &raw, WNOHANG);
    if (r == pid_) {
      status_ = WIFEXITED(raw) ? WEXITSTATUS(raw) : 128 + WTERMSIG(raw);
      break;
    }
    if (std::chrono::steady_clock::now() >= end) break;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return status_;
}

bool ChildProcess::running() {
  return !waitExit(std::chrono::milliseconds(0));
}

std::string ChildProcess::stderrText() const {
  std::ifstream in(err_);
  std::ostringstream s;
  s << in.rdbuf();
  return s.str();
}

XServer::XServer(const std::string& screen) {
  int fds[2];
  if (::pipe(fds) != 0) throw std::runtime_error("pipe failed");
  process_.emplace(std::vector<std::string>{"Xvfb", "-displayfd", "3", "-screen", "0", screen,
                                            "-nolisten", "tcp", "-noreset"},
                   std::map<std::string, std::string>{}, fds[1]);
  ::close(fds[1]);
  // The server writes its display number once it accepts connections.
  pollfd p{fds[0], POLLIN, 0};
  std::string number;
  char c = 0;
  while (::poll(&p, 1, 10000) > 0 && ::read(fds[0], &c, 1) == 1 && c != '\n') number += c;
  ::close(fds[0]);
  if (number.empty()) throw std::runtime_error("Xvfb did not start");
  display_ = ":" + number;
}

}  // namespace tavrel::saver::test
