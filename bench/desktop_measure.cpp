// Measures how the program behaves on a real desktop: the share of a core it
// takes at rest and in screen-saver mode, how fast the picture travels at
// both speeds, and how long a real click on the menu bar takes to show the
// menu in every state. The program is wired up as the executable does it;
// clicks and keys go through the X server (XTest). One screen per run:
//   Xvfb :9 -screen 0 1920x1080x24 & DISPLAY=:9 build/bench/tavrel_desktop_measure
#include <sys/resource.h>

#include <QApplication>
#include <QMenu>
#include <QMenuBar>
#include <QPushButton>
#include <QScreen>
#include <QTimer>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <deque>
#include <functional>
#include <vector>

#include "window/session.h"

// After Qt: the X headers define names Qt uses.
#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>

namespace {

using Clock = std::chrono::steady_clock;

double cpuSeconds() {
  rusage u{};
  getrusage(RUSAGE_SELF, &u);
  return static_cast<double>(u.ru_utime.tv_sec + u.ru_stime.tv_sec) +
         static_cast<double>(u.ru_utime.tv_usec + u.ru_stime.tv_usec) / 1e6;
}

// Real input through the X server, from a connection of our own.
class Input {
 public:
  Input() : display_(XOpenDisplay(nullptr)) {}
  ~Input() {
    if (display_) XCloseDisplay(display_);
  }
  bool ok() const { return display_ != nullptr; }
  void click(QPoint global) {
    XTestFakeMotionEvent(display_, -1, global.x(), global.y(), 0);
    XTestFakeButtonEvent(display_, 1, True, 0);
    XTestFakeButtonEvent(display_, 1, False, 0);
    XFlush(display_);
  }
  void key(KeySym k) {
    const KeyCode code = XKeysymToKeycode(display_, k);
    XTestFakeKeyEvent(display_, code, True, 0);
    XTestFakeKeyEvent(display_, code, False, 0);
    XFlush(display_);
  }

 private:
  Display* display_;
};

// The time from a click to the first paint of the menu it opens.
class MenuWatch : public QObject {
 public:
  explicit MenuWatch(QMenu* menu) { menu->installEventFilter(this); }
  Clock::time_point clicked{}, painted{};
  bool seen = false;

 protected:
  bool eventFilter(QObject*, QEvent* e) override {
    if (e->type() == QEvent::Paint && !seen) {
      painted = Clock::now();
      seen = true;
    }
    return false;
  }
};

// Steps one after another, each some time after the last one ended.
class Script {
 public:
  void then(int afterMs, std::function<void(std::function<void()> done)> step) {
    steps_.push_back({afterMs, std::move(step)});
  }
  void then(int afterMs, std::function<void()> step) {
    then(afterMs, [step](std::function<void()> done) {
      step();
      done();
    });
  }
  void next() {
    if (steps_.empty()) return;
    auto [ms, step] = std::move(steps_.front());
    steps_.pop_front();
    QTimer::singleShot(ms, [this, step] { step([this] { next(); }); });
  }

 private:
  std::deque<std::pair<int, std::function<void(std::function<void()>)>>> steps_;
};

double median(std::vector<double> v) {
  if (v.empty()) return NAN;
  std::sort(v.begin(), v.end());
  return v[v.size() / 2];
}

}  // namespace

int main(int argc, char** argv) {
  using namespace tavrel;
  auto app = Session::makeApplication(argc, argv);
  Input input;
  if (!input.ok()) {
    std::fprintf(stderr, "tavrel_desktop_measure: no X display\n");
    return 1;
  }
  const int seconds = argc > 1 ? std::max(1, std::atoi(argv[1])) : 5;
  Session session;
  Form& form = session.form();
  Program& program = session.program();
  session.show();
  const double hz = form.screen()->refreshRate();

  QMenu* options = form.menuBar()->actions().at(0)->menu();
  MenuWatch watch(options);
  auto optionsTitle = [&] {
    const QRect r = form.menuBar()->actionGeometry(options->menuAction());
    return form.menuBar()->mapToGlobal(r.center());
  };
  QWidget* picture1 = form.findChild<QWidget*>("Picture1");
  // A menu entry clicked, as the menu bar reports it.
  auto menu = [&](Menu m) { form.action(m)->trigger(); };
  const QSize screen = form.screen()->size();
  std::printf("screen %dx%d at %.0f Hz, display scale %.2f\n", screen.width(), screen.height(), hz,
              form.scale());

  Script script;
  // One measured phase: CPU and, when the picture moves, its speed in
  // program pixels a second.
  auto phase = [&](const char* name) {
    struct State {
      double cpu = 0, travelled = 0;
      QPoint last;
      Clock::time_point start;
      QTimer sampler;
    };
    auto st = std::make_shared<State>();
    script.then(300, [&, st, name](std::function<void()> done) {
      st->cpu = cpuSeconds();
      st->start = Clock::now();
      st->last = picture1->pos();
      QObject::connect(&st->sampler, &QTimer::timeout, [&, st] {
        const QPoint p = picture1->pos();
        st->travelled += std::max(std::abs(p.x() - st->last.x()), std::abs(p.y() - st->last.y()));
        st->last = p;
      });
      st->sampler.start(100);
      QTimer::singleShot(seconds * 1000, [&, st, name, done] {
        st->sampler.stop();
        const double wall = std::chrono::duration<double>(Clock::now() - st->start).count();
        std::printf("%-32s CPU %5.2f%% of a core", name, 100 * (cpuSeconds() - st->cpu) / wall);
        if (form.isVisible(Control::Picture1))
          std::printf("   picture %5.1f px/s", st->travelled / form.scale() / wall);
        std::printf("\n");
        done();
      });
    });
  };
  // Real clicks on "Options": the time until the menu is painted.
  auto menuLatency = [&](const char* name, int clicks) {
    auto times = std::make_shared<std::vector<double>>();
    for (int i = 0; i < clicks; ++i) {
      script.then(170 + 97 * i, [&, times](std::function<void()> done) {
        watch.seen = false;
        watch.clicked = Clock::now();
        input.click(optionsTitle());
        auto poll = std::make_shared<std::function<void(int)>>();
        *poll = [&, times, done, poll](int left) {
          if (watch.seen || left == 0) {
            times->push_back(watch.seen ? std::chrono::duration<double, std::milli>(watch.painted -
                                                                                    watch.clicked)
                                              .count()
                                        : INFINITY);
            input.key(XK_Escape);
            QTimer::singleShot(100, done);
            return;
          }
          QTimer::singleShot(5, [poll, left] { (*poll)(left - 1); });
        };
        (*poll)(400);
      });
    }
    script.then(0, [times, name] {
      std::printf("%-32s menu shown after %6.1f ms median, %6.1f ms at most (%zu clicks)\n", name,
                  median(*times), *std::max_element(times->begin(), times->end()), times->size());
    });
  };

  script.then(1000, [&] {
    input.click(form.findChild<QPushButton*>("Command3")->mapToGlobal(QPoint(40, 16)));
  });
  script.then(1500, [&] { form.setText(Field::Text5, "1"); });
  phase("regular mode, at rest");
  menuLatency("regular mode", 5);
  script.then(200, [&] { menu(Menu::orderinfo); });
  menuLatency("information page, regular", 3);
  script.then(200, [&] { program.mouseDown(); });
  script.then(200, [&] { menu(Menu::ssaver); });
  phase("screen-saver, Fast");
  menuLatency("screen-saver, Fast (Timer1 1 s)", 8);
  // A dialog open over the screen-saver: the picture goes on travelling.
  script.then(200, [&] { menu(Menu::fgdfgfg); });
  phase("screen-saver, Fast, a dialog open");
  script.then(200, [&] {
    if (QWidget* dialog = QApplication::activeModalWidget()) dialog->close();
  });
  script.then(200, [&] { menu(Menu::tslow); });
  phase("screen-saver, Slow");
  menuLatency("screen-saver, Slow (Timer1 1 s)", 8);
  script.then(200, [&] { menu(Menu::orderinfo); });
  menuLatency("information page, screen-saver", 3);
  script.then(200, [&] {
    program.mouseDown();
    menu(Menu::tfast);
    menu(Menu::regmode);
  });
  phase("regular mode, at rest again");
  script.then(100, [&] { menu(Menu::quit); });
  script.next();
  return app->exec();
}
