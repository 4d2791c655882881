#include "saver/signals.h"

#include <fcntl.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

namespace tavrel::saver {

namespace {

int pipeEnds[2] = {-1, -1};
volatile std::sig_atomic_t ending = 0;

constexpr int kEnding[] = {SIGTERM, SIGINT, SIGHUP};

void noted(int signal) {
  const int saved = errno;
  const char byte = static_cast<char>(signal);
  [[maybe_unused]] const auto written = write(pipeEnds[1], &byte, 1);
  if (signal != SIGUSR1 && ending == 0) {
    ending = signal;
    const itimerval watchdog{{0, 0}, {0, 500000}};
    setitimer(ITIMER_REAL, &watchdog, nullptr);
  }
  errno = saved;
}

void watchdog(int) {
  std::signal(ending, SIG_DFL);
  raise(ending);
}

bool install(int signal, void (*handler)(int)) {
  struct sigaction action {};
  action.sa_handler = handler;
  sigemptyset(&action.sa_mask);
  action.sa_flags = SA_RESTART;
  return sigaction(signal, &action, nullptr) == 0;
}

}  // namespace

bool catchSignals() {
  if (pipe2(pipeEnds, O_CLOEXEC | O_NONBLOCK) != 0) return false;
  bool ok = install(SIGALRM, watchdog) && install(SIGUSR1, noted);
  for (int s : kEnding) ok = ok && install(s, noted);
  std::signal(SIGPIPE, SIG_IGN);  // a broken connection shows as an error instead
  return ok;
}

int signalDescriptor() {
  return pipeEnds[0];
}

int takeSignal() {
  char byte = 0;
  return read(pipeEnds[0], &byte, 1) == 1 ? static_cast<unsigned char>(byte) : 0;
}

bool ends(int signal) {
  return signal != 0 && signal != SIGUSR1;
}

int finish(const Ending& e) {
  if (e.signal == 0) return e.status;
  std::signal(e.signal, SIG_DFL);
  sigset_t only;
  sigemptyset(&only);
  sigaddset(&only, e.signal);
  sigprocmask(SIG_UNBLOCK, &only, nullptr);
  raise(e.signal);
  return 128 + e.signal;
}

}  // namespace tavrel::saver
