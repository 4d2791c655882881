#include "saver/process.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>
#include <vector>

#include "canvas/text.h"

extern char** environ;

namespace tavrel::saver {

Command::~Command() {
  if (pidfd_ >= 0) close(pidfd_);
}

bool Command::start(const std::string& text) {
  std::erase_if(earlier_, [](pid_t pid) { return waitpid(pid, nullptr, WNOHANG) != 0; });
  if (pid_ > 0 && !reap()) {
    // Still running (a locker that stays in front): let it be.
    earlier_.push_back(pid_);
    if (pidfd_ >= 0) close(pidfd_);
    pidfd_ = -1;
    pid_ = -1;
  }
  // The child starts with the signals as a new process has them: the
  // module ignores SIGPIPE, and a locker must not.
  posix_spawnattr_t attr;
  posix_spawnattr_init(&attr);
  sigset_t none, defaults;
  sigemptyset(&none);
  sigemptyset(&defaults);
  sigaddset(&defaults, SIGPIPE);
  posix_spawnattr_setsigmask(&attr, &none);
  posix_spawnattr_setsigdefault(&attr, &defaults);
  posix_spawnattr_setflags(&attr, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  char sh[] = "sh", dashC[] = "-c";
  std::string command = text;
  char* argv[] = {sh, dashC, command.data(), nullptr};
  pid_t pid = -1;
  const int failed = posix_spawn(&pid, "/bin/sh", nullptr, &attr, argv, environ);
  posix_spawnattr_destroy(&attr);
  if (failed != 0) return false;
  pid_ = pid;
  pidfd_ = static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
  return true;
}

bool Command::reap() {
  if (pid_ <= 0) return true;
  int status = 0;
  if (waitpid(pid_, &status, WNOHANG) == 0) return false;
  if (pidfd_ >= 0) close(pidfd_);
  pidfd_ = -1;
  pid_ = -1;
  return true;
}

std::variant<int, std::string> holdDisplayLock(const char* runtimeDir, const char* display) {
  if (runtimeDir == nullptr || *runtimeDir == '\0') return "XDG_RUNTIME_DIR is not set";
  // A display given as a path is named by its last part.
  std::string_view name = display && *display ? display : "wayland-0";
  name = name.substr(name.rfind('/') + 1);
  const std::string path = std::string(runtimeDir) + "/tavrel-saver-" + std::string(name) + ".lock";
  const int fd = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
  struct stat st {};
  if (fd < 0 || fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
    if (fd >= 0) close(fd);
    return "cannot make the lock file " + quotedText(path);
  }
  if (flock(fd, LOCK_EX | LOCK_NB) != 0) {
    close(fd);
    return "another tavrel-saver --idle is already running on the Wayland display " +
           quotedText(name);
  }
  return fd;
}

}  // namespace tavrel::saver
