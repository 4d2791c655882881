// The window's screen-saver mode against the screen-saver module, the same
// show side by side under the same load: each on an Xvfb of its own, both
// at once, a new picture every few seconds, Fast. It takes the CPU of each
// program and of its X server from /proc over the same seconds, for every
// screen size at 96 and at 192 dpi (Xft.dpi, as a desktop sets it), once
// both are past their first new picture, and prints the medians of several
// runs and of the ratio window / module.
//   build/bench/tavrel_saver_side_by_side [SECONDS [RUNS [INTERVAL [SCREEN...]]]]
// SCREEN: WIDTHxHEIGHT, or WIDTHxHEIGHT@DPI for one dpi only.
// Needs Xvfb; run it from the top of the repository or anywhere else.
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <xcb/xcb.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {

// A child that dies with this program, its error output dropped; `out`,
// when given, receives the read end of a pipe from its standard output.
pid_t spawn(const std::vector<std::string>& argv, const std::vector<std::string>& env,
            int* out = nullptr, int fd3 = -1) {
  int pipeFds[2] = {-1, -1};
  if (out && pipe(pipeFds) != 0) std::exit(1);
  const pid_t parent = getpid();
  const pid_t pid = fork();
  if (pid == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) _exit(127);
    const int null = open("/dev/null", O_WRONLY);
    dup2(out ? pipeFds[1] : null, 1);
    dup2(null, 2);
    if (fd3 >= 0) dup2(fd3, 3);
    // "NAME=" takes NAME out of the environment.
    for (const std::string& e : env) {
      if (e.back() == '=')
        unsetenv(e.substr(0, e.size() - 1).c_str());
      else
        putenv(const_cast<char*>(e.c_str()));
    }
    std::vector<char*> args;
    for (const auto& a : argv) args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);
    execvp(args[0], args.data());
    _exit(127);
  }
  if (out) {
    close(pipeFds[1]);
    *out = pipeFds[0];
  }
  return pid;
}

void stop(pid_t pid) {
  kill(pid, SIGKILL);
  int status = 0;
  waitpid(pid, &status, 0);
}

// User and system time of a process so far, in seconds.
double cpuSeconds(pid_t pid) {
  std::ifstream in("/proc/" + std::to_string(pid) + "/stat");
  std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  if (text.empty()) return 0;
  std::istringstream fields(text.substr(text.rfind(')') + 2));
  std::string f;
  long ticks = 0;
  for (int i = 3; i <= 15 && fields >> f; ++i)
    if (i >= 14) ticks += std::stol(f);
  return static_cast<double>(ticks) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

// Reads a line from `fd` within `seconds`; empty when none came.
std::string readLine(int fd, int seconds) {
  std::string line;
  const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
  char c = 0;
  while (std::chrono::steady_clock::now() < until) {
    pollfd p{fd, POLLIN, 0};
    if (poll(&p, 1, 100) <= 0) continue;
    if (read(fd, &c, 1) != 1) break;
    if (c == '\n') return line;
    line += c;
  }
  return {};
}

struct Server {
  pid_t pid = -1;
  std::string display;
};

Server startXvfb(const std::string& size, int dpi) {
  int fds[2];
  if (pipe(fds) != 0) std::exit(1);
  Server s;
  s.pid = spawn(
      {"Xvfb", "-displayfd", "3", "-screen", "0", size + "x24", "-nolisten", "tcp", "-noreset"}, {},
      nullptr, fds[1]);
  close(fds[1]);
  const std::string number = readLine(fds[0], 10);
  close(fds[0]);
  if (number.empty()) {
    std::fprintf(stderr, "Xvfb did not start\n");
    std::exit(1);
  }
  s.display = ":" + number;
  // The desktop's scale, as xrdb leaves it on the root window.
  xcb_connection_t* c = xcb_connect(s.display.c_str(), nullptr);
  if (xcb_connection_has_error(c)) {
    std::fprintf(stderr, "cannot connect to Xvfb %s\n", s.display.c_str());
    std::exit(1);
  }
  const std::string resources = "Xft.dpi:\t" + std::to_string(dpi) + "\n";
  xcb_change_property(c, XCB_PROP_MODE_REPLACE,
                      xcb_setup_roots_iterator(xcb_get_setup(c)).data->root,
                      XCB_ATOM_RESOURCE_MANAGER, XCB_ATOM_STRING, 8,
                      static_cast<std::uint32_t>(resources.size()), resources.data());
  std::free(xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));
  xcb_disconnect(c);
  return s;
}

double median(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  return v.empty() ? 0 : v[v.size() / 2];
}

struct Run {
  double window, windowServer, module, moduleServer;
};

// One run: both shows started, given time to settle, then measured over the
// same seconds, in which each makes its new pictures.
Run measure(const std::string& size, int dpi, double seconds, const std::string& interval,
            const std::filesystem::path& config) {
  const Server a = startXvfb(size, dpi), b = startXvfb(size, dpi);
  const std::vector<std::string> common = {
      "QT_QPA_PLATFORM=xcb", "XDG_CONFIG_HOME=" + config.string(),
      "DBUS_SESSION_BUS_ADDRESS=disabled:", "WAYLAND_DISPLAY=", "XSCREENSAVER_WINDOW="};
  std::vector<std::string> windowEnv = common, moduleEnv = common;
  windowEnv.push_back("DISPLAY=" + a.display);
  moduleEnv.push_back("DISPLAY=" + b.display);
  int out = -1;
  const pid_t window = spawn({TAVREL_WINDOW_SHOW, interval}, windowEnv, &out);
  const pid_t module =
      spawn({TAVREL_SAVER, "--root", "--interval", interval, "--speed", "fast"}, moduleEnv);
  if (readLine(out, 30) != "showing") {
    std::fprintf(stderr, "the window did not reach screen-saver mode on %s\n", size.c_str());
    std::exit(1);
  }
  close(out);
  // Past the first new picture: what goes with entering the mode (the
  // window's first cover of near-black, say) is over on both sides.
  std::this_thread::sleep_for(std::chrono::seconds(std::stoi(interval) + 2));
  const double w0 = cpuSeconds(window), wx0 = cpuSeconds(a.pid);
  const double m0 = cpuSeconds(module), mx0 = cpuSeconds(b.pid);
  const auto t0 = std::chrono::steady_clock::now();
  std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
  const double w1 = cpuSeconds(window), wx1 = cpuSeconds(a.pid);
  const double m1 = cpuSeconds(module), mx1 = cpuSeconds(b.pid);
  const double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
  for (pid_t p : {window, module, a.pid, b.pid}) stop(p);
  const auto share = [wall](double from, double to) { return 100 * (to - from) / wall; };
  return {share(w0, w1), share(wx0, wx1), share(m0, m1), share(mx0, mx1)};
}

}  // namespace

int main(int argc, char** argv) {
  const double seconds = argc > 1 ? std::atof(argv[1]) : 20;
  const int runs = argc > 2 ? std::max(1, std::atoi(argv[2])) : 5;
  const std::string interval = argc > 3 ? argv[3] : "10";
  char folder[] = "/tmp/tavrel-side-by-side.XXXXXX";
  if (!mkdtemp(folder)) return 1;
  const std::filesystem::path config = folder;
  std::printf("%.0f s a run, %d runs, a new picture every %s s, Fast; %% of a core, medians\n",
              seconds, runs, interval.c_str());
  std::printf("%-9s %4s  %21s  %21s  %s\n", "screen", "dpi", "window + X = total",
              "module + X = total", "window / module");
  std::vector<std::pair<std::string, int>> screens;
  for (int i = 4; i < argc; ++i) {
    const std::string arg = argv[i];
    const auto at = arg.find('@');
    if (at != std::string::npos) {
      screens.emplace_back(arg.substr(0, at), std::atoi(arg.c_str() + at + 1));
    } else {
      screens.emplace_back(arg, 96);
      screens.emplace_back(arg, 192);
    }
  }
  if (screens.empty())
    for (const char* size : {"1024x768", "1920x1080", "3840x2160"})
      for (const int dpi : {96, 192}) screens.emplace_back(size, dpi);
  for (const auto& [size, dpi] : screens) {
    {
      std::vector<double> w, wx, wt, m, mx, mt, ratio;
      for (int i = 0; i < runs; ++i) {
        const Run r = measure(size, dpi, seconds, interval, config);
        w.push_back(r.window);
        wx.push_back(r.windowServer);
        wt.push_back(r.window + r.windowServer);
        m.push_back(r.module);
        mx.push_back(r.moduleServer);
        mt.push_back(r.module + r.moduleServer);
        ratio.push_back((r.window + r.windowServer) / std::max(0.01, r.module + r.moduleServer));
      }
      std::printf("%-9s %4d  %5.2f + %5.2f = %5.2f  %5.2f + %5.2f = %5.2f  %.2f (%.2f to %.2f)\n",
                  size.c_str(), dpi, median(w), median(wx), median(wt), median(m), median(mx),
                  median(mt), median(ratio), *std::min_element(ratio.begin(), ratio.end()),
                  *std::max_element(ratio.begin(), ratio.end()));
      std::fflush(stdout);
    }
  }
  std::filesystem::remove_all(config);
}
