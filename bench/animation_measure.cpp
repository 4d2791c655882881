// Measures how the screen-saver feels: how fast Picture1 travels at both
// speeds and how much of a core the process takes meanwhile, in the real
// window and the real main loop. Run under a display (Xvfb will do):
//   xvfb-run -s "-screen 0 1280x800x24" build/bench/tavrel_animation_measure
#include <sys/resource.h>

#include <QApplication>
#include <QLineEdit>
#include <QPushButton>
#include <QTimer>
#include <chrono>
#include <cmath>
#include <cstdio>

#include "modes/modes.h"
#include "window/form.h"

namespace {

struct Ended {};

double cpuSeconds() {
  rusage u{};
  getrusage(RUSAGE_SELF, &u);
  return static_cast<double>(u.ru_utime.tv_sec + u.ru_stime.tv_sec) +
         static_cast<double>(u.ru_utime.tv_usec + u.ru_stime.tv_usec) / 1e6;
}

}  // namespace

int main(int argc, char** argv) {
  using namespace tavrel;
  using Clock = std::chrono::steady_clock;
  QApplication app(argc, argv);
  const double seconds = argc > 1 ? std::atof(argv[1]) : 10;
  Form form(1);
  AppState& st = form.st;
  form.endHook = [] { throw Ended{}; };
  form.onCommand3 = [&] { command3Click(form, st); };
  form.onSsaver = [&] { ssaverClick(form, st); };
  form.onRegmode = [&] { regmodeClick(form, st); };
  form.Timer1.tick = [&] { timer1Tick(form, st); };
  form.Timer7.tick = [&] { timer7Tick(form, st); };
  form.show();

  // Travel along x, with the bounces unfolded, and CPU over one phase.
  struct Phase {
    const char* name;
    double startX = 0, startCpu = 0, travelled = 0, lastX = 0;
    Clock::time_point start;
  } phase{"-", 0, 0, 0, 0, {}};
  auto begin = [&](const char* name) {
    phase = Phase{name, st.abb, cpuSeconds(), 0, st.abb, Clock::now()};
  };
  auto report = [&] {
    const double wall = std::chrono::duration<double>(Clock::now() - phase.start).count();
    std::printf("%-22s %7.1f px/s  CPU %5.1f%% of a core\n", phase.name, phase.travelled / wall,
                100 * (cpuSeconds() - phase.startCpu) / wall);
  };
  QTimer sampler;
  QObject::connect(&sampler, &QTimer::timeout, [&] {
    phase.travelled += std::fabs(st.abb - phase.lastX);
    phase.lastX = st.abb;
  });
  sampler.start(5);

  const int ms = static_cast<int>(seconds * 1000);
  QTimer::singleShot(200, [&] { form.Command3->click(); });
  QTimer::singleShot(1000, [&] {
    form.Text5->setText("5");
    form.ssaver->trigger();
    begin("screen-saver, Fast");
  });
  QTimer::singleShot(1000 + ms, [&] {
    report();
    form.tslow->trigger();
    begin("screen-saver, Slow");
  });
  QTimer::singleShot(1000 + 2 * ms, [&] {
    report();
    form.tfast->trigger();
    form.regmode->trigger();
    begin("regular mode");
  });
  QTimer::singleShot(1000 + 2 * ms + 3000, [&] {
    report();
    form.quit->trigger();
  });
  try {
    startup(form, st);
  } catch (const Ended&) {
  }
  return 0;
}
