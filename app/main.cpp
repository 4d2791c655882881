// tavrel: the window, its start screen, the first shape and the main loop.
#include <QApplication>
#include <QScreen>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string_view>

#include "window/display_scale.h"
#include "window/embedded.h"
#include "window/form.h"
#include "window/run.h"

int main(int argc, char** argv) {
  using namespace tavrel;
  const bool platformChosen = std::getenv("QT_QPA_PLATFORM") != nullptr;
  if (!platformChosen && !std::getenv("DISPLAY") && !std::getenv("WAYLAND_DISPLAY")) {
    std::fprintf(stderr, "tavrel: no display to show the window on (DISPLAY is not set)\n");
    return 1;
  }
  QApplication app(argc, argv);
  QScreen* screen = QGuiApplication::primaryScreen();
  const QRect available = screen ? screen->availableGeometry() : QRect(0, 0, 1024, 768);
  std::optional<std::string_view> override;
  if (const char* s = std::getenv(kScaleVariable)) override = s;
  // About the height a menu bar and a title take off the maximised window.
  const double scale = chooseDisplayScale(available.width(), available.height() - 50, override);
  // The controls were laid out for a small sans-serif face of about 10 pixels.
  QFont font = app.font();
  font.setPixelSize(static_cast<int>(10 * scale + 0.5));
  app.setFont(font);

  Form form(scale);
  loadEmbeddedPictures(form);
  connectRunModes(form);

  // Without a window manager nobody maximises the window: fill the screen.
  form.setGeometry(available);
  form.showMaximized();
  return app.exec();
}
