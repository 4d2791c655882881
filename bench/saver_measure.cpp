// Measures the screen-saver module as a daemon runs it, under Xvfb at
// 1920x1080 and 3840x2160, Fast and Slow: the share of a core that the
// module and the X server take, the time from exec to the first picture on
// the screen, and the work of one frame and of one new picture.
//   build/bench/tavrel_saver_measure [SECONDS [RUNS]]
// Needs Xvfb. Figures are medians over the runs.
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "saver/show.h"
#include "saver/x_screen.h"

namespace {

using namespace tavrel::saver;
using Clock = std::chrono::steady_clock;

constexpr std::uint32_t kSeed = 2024;

// A child that dies with this program, its output dropped; `fd3`, when
// set, is its descriptor 3.
pid_t spawn(const std::vector<std::string>& argv, int fd3 = -1) {
  const pid_t parent = getpid();
  const pid_t pid = fork();
  if (pid == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) _exit(127);
    const int null = open("/dev/null", O_WRONLY);
    dup2(null, 1);
    dup2(null, 2);
    if (fd3 >= 0) dup2(fd3, 3);
    std::vector<char*> args;
    for (const auto& a : argv) args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);
    execvp(args[0], args.data());
    _exit(127);
  }
  return pid;
}

void stop(pid_t pid) {
  kill(pid, SIGTERM);
  int status = 0;
  waitpid(pid, &status, 0);
}

// User and system time of a process so far, in seconds.
double cpuSeconds(pid_t pid) {
  std::ifstream in("/proc/" + std::to_string(pid) + "/stat");
  std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  std::istringstream fields(text.substr(text.rfind(')') + 2));
  std::string f;
  long ticks = 0;
  for (int i = 3; i <= 15 && fields >> f; ++i)
    if (i >= 14) ticks += std::stol(f);
  return static_cast<double>(ticks) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

struct Server {
  pid_t pid = -1;
  std::string display;
};

Server startXvfb(const std::string& size) {
  int fds[2];
  if (pipe(fds) != 0) std::exit(1);
  Server s;
  s.pid = spawn(
      {"Xvfb", "-displayfd", "3", "-screen", "0", size + "x24", "-nolisten", "tcp", "-noreset"},
      fds[1]);
  close(fds[1]);
  pollfd p{fds[0], POLLIN, 0};
  char c = 0;
  std::string number;
  while (poll(&p, 1, 10000) > 0 && read(fds[0], &c, 1) == 1 && c != '\n') number += c;
  close(fds[0]);
  if (number.empty()) {
    std::fprintf(stderr, "Xvfb did not start\n");
    std::exit(1);
  }
  s.display = ":" + number;
  return s;
}

// Whether anything but black shows in the middle of the screen.
bool pictureShows(xcb_connection_t* c, xcb_window_t root, int w, int h) {
  constexpr int kSide = 32;
  xcb_get_image_reply_t* img = xcb_get_image_reply(
      c,
      xcb_get_image(c, XCB_IMAGE_FORMAT_Z_PIXMAP, root,
                    static_cast<std::int16_t>(w / 2 - kSide / 2),
                    static_cast<std::int16_t>(h / 2 - kSide / 2), kSide, kSide, 0x00FFFFFF),
      nullptr);
  if (img == nullptr) return false;
  const std::uint8_t* data = xcb_get_image_data(img);
  const int length = xcb_get_image_data_length(img);
  const bool any = std::any_of(data, data + length, [](std::uint8_t b) { return b > 24; });
  std::free(img);
  return any;
}

double median(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  return v.empty() ? 0 : v[v.size() / 2];
}

struct Run {
  double moduleShare, serverShare, startupMs;
};

Run measureModule(const std::string& size, int w, int h, bool fast, double seconds) {
  const Server server = startXvfb(size);
  xcb_connection_t* c = xcb_connect(server.display.c_str(), nullptr);
  const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(c)).data->root;
  setenv("DISPLAY", server.display.c_str(), 1);
  unsetenv("XSCREENSAVER_WINDOW");
  const auto start = Clock::now();
  const pid_t module = spawn(
      {TAVREL_SAVER, "--root", "--seed", std::to_string(kSeed), "--speed", fast ? "fast" : "slow"});
  while (!pictureShows(c, root, w, h) && Clock::now() - start < std::chrono::seconds(10))
    std::this_thread::sleep_for(std::chrono::microseconds(500));
  const double startupMs = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
  // CPU over the run, leaving the start-up out.
  const double module0 = cpuSeconds(module), server0 = cpuSeconds(server.pid);
  const auto t0 = Clock::now();
  std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
  const double wall = std::chrono::duration<double>(Clock::now() - t0).count();
  const Run r{100 * (cpuSeconds(module) - module0) / wall,
              100 * (cpuSeconds(server.pid) - server0) / wall, startupMs};
  stop(module);
  xcb_disconnect(c);
  stop(server.pid);
  return r;
}

// The module's own drawing code, timed in this process: a frame is one
// move of the picture and waiting until the server has drawn it.
void measureFrames(const std::string& size) {
  const Server server = startXvfb(size);
  setenv("DISPLAY", server.display.c_str(), 1);
  auto opened = XScreen::open(Resolved{Target::root, 0});
  if (!std::holds_alternative<std::unique_ptr<XScreen>>(opened)) {
    std::fprintf(stderr, "%s\n", std::get<Refusal>(opened).message.c_str());
    std::exit(1);
  }
  XScreen& screen = *std::get<std::unique_ptr<XScreen>>(opened);
  const Layout layout = layoutFor(screen.width(), screen.height(), std::nullopt);
  Pictures pictures(Settings{}, kSeed, layout.width, layout.height);
  tavrel::Random directions(kSeed);
  tavrel::Bounce bounce = firstBounce(layout.width, layout.height, directions);
  std::vector<double> frames, newPictures;
  for (int p = 0; p < 20; ++p) {
    const auto t0 = Clock::now();
    const tavrel::Picture picture = pictures.next();
    screen.setPicture(*picture, layout.zoom);
    screen.show(bounce.left() * layout.zoom, bounce.top() * layout.zoom);
    screen.sync();
    newPictures.push_back(std::chrono::duration<double, std::milli>(Clock::now() - t0).count());
    for (int f = 0; f < 50; ++f) {
      const auto f0 = Clock::now();
      bounce.step();
      screen.show(bounce.left() * layout.zoom, bounce.top() * layout.zoom);
      screen.sync();
      frames.push_back(std::chrono::duration<double, std::milli>(Clock::now() - f0).count());
    }
  }
  std::printf(
      "%-9s frame: median %.3f ms, new picture (generation, upload, first frame): median %.2f ms\n",
      size.c_str(), median(frames), median(newPictures));
  opened = Refusal{};
  stop(server.pid);
}

}  // namespace

int main(int argc, char** argv) {
  const double seconds = argc > 1 ? std::atof(argv[1]) : 10;
  const int runs = argc > 2 ? std::atoi(argv[2]) : 3;
  struct Screen {
    const char* size;
    int w, h;
  };
  for (const Screen s : {Screen{"1920x1080", 1920, 1080}, Screen{"3840x2160", 3840, 2160}}) {
    for (const bool fast : {true, false}) {
      std::vector<double> module, server, startup;
      for (int i = 0; i < runs; ++i) {
        const Run r = measureModule(s.size, s.w, s.h, fast, seconds);
        module.push_back(r.moduleShare);
        server.push_back(r.serverShare);
        startup.push_back(r.startupMs);
      }
      std::printf(
          "%-9s %-4s module %4.1f%% of a core, X server %4.1f%%, together %4.1f%%; "
          "start-up %5.1f ms\n",
          s.size, fast ? "fast" : "slow", median(module), median(server),
          median(module) + median(server), median(startup));
      std::fflush(stdout);
    }
    measureFrames(s.size);
  }
}
