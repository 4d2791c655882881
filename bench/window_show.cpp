// The window as the executable starts it, put into screen-saver mode with
// no input: "Click to begin", the seconds between pictures, then the menu
// entry. It prints "showing" once the picture travels, and runs until it is
// killed. A measuring program runs it and watches its CPU from outside.
//   build/bench/tavrel_window_show [SECONDS_BETWEEN_PICTURES] [slow]
#include <QApplication>
#include <QPushButton>
#include <QTimer>
#include <cstdio>
#include <cstring>
#include <string>

#include "window/session.h"

int main(int argc, char** argv) {
  using namespace tavrel;
  const std::string seconds = argc > 1 ? argv[1] : "10";
  const bool slow = argc > 2 && std::strcmp(argv[2], "slow") == 0;
  auto app = Session::makeApplication(argc, argv);
  Session session;
  Form& form = session.form();
  session.show();
  QTimer::singleShot(1000, [&] { form.findChild<QPushButton*>("Command3")->click(); });
  QTimer::singleShot(2500, [&] {
    form.setText(Field::Text5, seconds);
    form.action(slow ? Menu::tslow : Menu::tfast)->trigger();
    form.action(Menu::ssaver)->trigger();
    std::printf("showing\n");
    std::fflush(stdout);
  });
  return app->exec();
}
