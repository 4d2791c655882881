#include "window/session.h"

#include <QApplication>
#include <QScreen>
#include <cstdlib>
#include <optional>
#include <string_view>

#include "canvas/display_scale.h"
#include "window/embedded.h"

namespace tavrel {

namespace {

QScreen* screenOrPrimary(QScreen* s) {
  return s ? s : QGuiApplication::primaryScreen();
}

double scaleFor(QScreen* screen) {
  const QRect available = screen ? screen->availableGeometry() : QRect(0, 0, 1024, 768);
  std::optional<std::string_view> override;
  if (const char* s = std::getenv(kScaleVariable)) override = s;
  // About the height a menu bar and a title take off the maximised window.
  return chooseDisplayScale(available.width(), available.height() - 50, override);
}

// The controls were laid out for a small sans-serif face of 8 points, about
// 11 pixels, with the widths of the common office face; the whole window,
// menus included, takes one font of those metrics, scaled with it.
Form* formWithFont(double scale) {
  QFont font = QApplication::font();
  font.setFamilies({"Liberation Sans", "Arial", "DejaVu Sans"});
  font.setPixelSize(static_cast<int>(11 * scale + 0.5));
  QApplication::setFont(font);
  return new Form(scale);
}

}  // namespace

Session::Session(QScreen* screen) : Session(scaleFor(screenOrPrimary(screen))) {
  screen_ = screenOrPrimary(screen);
}

Session::Session(double scale) : form_(formWithFont(scale)), program_(*form_), screen_(nullptr) {
  loadEmbeddedPictures(*form_);
  form_->setEvents(&program_);
  program_.loadSettings();
}

void Session::prepareApplication() {
  // The window's updates are small and come every frame: a picture moving a
  // pixel at a time. Through shared memory, Qt's X11 backing store keeps a
  // region of every update the server may still be reading and clears it
  // only on a round trip to the server, so it grows frame by frame and
  // uniting into it becomes most of a frame's work. Plain image requests
  // keep nothing.
  qputenv("QT_XCB_NO_MITSHM", "1");
}

void Session::show() {
  QScreen* s = screenOrPrimary(screen_);
  if (s) form_->setGeometry(s->availableGeometry());
  form_->showMaximized();
}

}  // namespace tavrel
