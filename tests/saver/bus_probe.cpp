// The desktop's D-Bus messages as the module's loop sees them, one line
// each on stdout, for the bus tests to read. Commands on stdin, one a line:
// "watch MS" (an idle watch), "take" and "release" (the sleep delay).
// Ends when stdin closes.
#include <poll.h>
#include <unistd.h>

#include <cstdio>
#include <iostream>
#include <string>

#include "saver/desktop_bus.h"

using tavrel::saver::DesktopBus;

namespace {

void say(const std::string& line) {
  std::cout << line << std::endl;
}

void command(DesktopBus& bus, const std::string& line) {
  if (line.rfind("watch ", 0) == 0) {
    if (bus.watchIdle(std::chrono::milliseconds(std::stoll(line.substr(6))))) say("watching");
  } else if (line == "take") {
    bus.takeSleepDelay();
  } else if (line == "release") {
    bus.releaseSleepDelay();
  }
}

}  // namespace

int main() {
  DesktopBus bus;
  say(std::string("monitor ") + (bus.hasIdleMonitor() ? "yes" : "no"));
  say(std::string("logind ") + (bus.hasLogind() ? "yes" : "no"));
  say("ready");
  std::string input;
  bool held = false;
  for (;;) {
    for (const auto& w : bus.takeWarnings()) say("warning: " + w);
    for (auto e : bus.takeEvents()) say(tavrel::saver::name(e));
    if (held != bus.holdsSleepDelay()) say((held = !held) ? "delay held" : "delay released");

    auto fds = bus.descriptors();
    fds.push_back({STDIN_FILENO, POLLIN, 0});
    int timeout = -1;
    if (auto at = bus.wake()) {
      const auto left =
          std::chrono::ceil<std::chrono::milliseconds>(*at - DesktopBus::Clock::now());
      timeout = static_cast<int>(std::max<std::int64_t>(0, left.count()));
    }
    if (poll(fds.data(), fds.size(), timeout) < 0) return 1;
    if (fds.back().revents != 0) {
      char buffer[256];
      const ssize_t n = read(STDIN_FILENO, buffer, sizeof buffer);
      if (n <= 0) return 0;
      input.append(buffer, static_cast<std::size_t>(n));
      for (std::size_t end; (end = input.find('\n')) != std::string::npos;) {
        command(bus, input.substr(0, end));
        input.erase(0, end + 1);
      }
    }
    bus.process();
  }
}
