// tavrel: the window, its start screen, the first shape and the main loop.
#include <QApplication>
#include <cstdio>
#include <cstdlib>

#include "cli/program.h"
#include "window/session.h"

namespace {

int runWindow(int argc, char** argv) {
  const bool platformChosen = std::getenv("QT_QPA_PLATFORM") != nullptr;
  if (!platformChosen && !std::getenv("DISPLAY") && !std::getenv("WAYLAND_DISPLAY")) {
    std::fprintf(stderr, "tavrel: no display to show the window on (DISPLAY is not set)\n");
    return 1;
  }
  QApplication app(argc, argv);
  tavrel::Session session;
  session.show();
  return app.exec();
}

}  // namespace

int main(int argc, char** argv) {
  return tavrel::cli::guardedMain("tavrel", [&] { return runWindow(argc, argv); });
}
