// What the resident module asks of the system: a command run beside the
// loop, and one module per Wayland display.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace tavrel::saver {

// A command run through `sh -c`, never waited for: its end shows on a
// descriptor the loop polls, and it is reaped then.
class Command {
 public:
  Command() = default;
  ~Command();
  Command(const Command&) = delete;
  Command& operator=(const Command&) = delete;

  // Starts `text`; false when it could not. One still running from before
  // is let be, and reaped whenever it ends and this is called again.
  bool start(const std::string& text);
  // Readable once the command ended; -1 while none runs.
  int fd() const { return pidfd_; }
  // True once the command ended (reaped now); false while it runs.
  bool reap();

 private:
  pid_t pid_ = -1;
  int pidfd_ = -1;
  std::vector<pid_t> earlier_;  // started before and still running
};

// Holds the lock file of one Wayland display in the runtime folder while the
// module lives: the descriptor, or the message when another module holds it
// or it cannot be made.
std::variant<int, std::string> holdDisplayLock(const char* runtimeDir, const char* display);

}  // namespace tavrel::saver
