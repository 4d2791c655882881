#include "window/session.h"

#include <QApplication>
#include <QLoggingCategory>
#include <QScreen>
#include <cmath>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "canvas/display_scale.h"
#include "window/desktop_probe.h"
#include "window/embedded.h"

namespace tavrel {

namespace {

Q_LOGGING_CATEGORY(scaleLog, "tavrel.scale", QtWarningMsg)

QScreen* screenOrPrimary(QScreen* s) {
  return s ? s : QGuiApplication::primaryScreen();
}

// The display scale of a screen of `width` x `height` device pixels, whose
// pixels the toolkit draws `ratio` to its own; about the height a menu bar
// and a title take off the maximised window.
double totalScale(int width, int height, double ratio) {
  std::optional<std::string_view> override;
  if (const char* s = std::getenv(kScaleVariable)) override = s;
  return chooseDisplayScale(width, height - static_cast<int>(std::lround(50 * ratio)), override);
}

// The program's share of the display scale: the total over the factor Qt
// draws this screen at, whoever set it.
double scaleFor(QScreen* screen) {
  const double ratio = screen ? screen->devicePixelRatio() : 1;
  const QRect available = screen ? screen->availableGeometry() : QRect(0, 0, 1024, 768);
  const double total = totalScale(static_cast<int>(std::lround(available.width() * ratio)),
                                  static_cast<int>(std::lround(available.height() * ratio)), ratio);
  qCDebug(scaleLog, "display scale %g: Qt %g, the program %g", total, ratio, total / ratio);
  return total / ratio;
}

// The controls were laid out for a small sans-serif face of 8 points, about
// 11 pixels, with the widths of the common office face; the whole window,
// menus included, takes one font of those metrics, scaled with it. Qt's
// own dialogs take it at Qt's scale alone, as they take their icons and
// margins, so that they look at every size as they do at the design size.
Form* formWithFont(double scale) {
  QFont font = QApplication::font();
  font.setFamilies({"Liberation Sans", "Arial", "DejaVu Sans"});
  font.setPixelSize(11);
  QApplication::setFont(font);
  font.setPixelSize(static_cast<int>(11 * scale + 0.5));
  for (const char* ofTheWindow : {"QMainWindow", "QMenu"}) QApplication::setFont(font, ofTheWindow);
  return new Form(scale);
}

// Variables of the environment that only Qt reads, set for it while the
// application is made and then given back as they were.
class ForQt {
 public:
  void set(const char* name, const std::string& value) {
    if (std::getenv(name)) return;  // the user's own stands
    setenv(name, value.c_str(), 1);
    set_.push_back(name);
  }
  ~ForQt() {
    for (const char* name : set_) unsetenv(name);
  }

 private:
  std::vector<const char*> set_;
};

}  // namespace

std::unique_ptr<QApplication> Session::makeApplication(int& argc, char** argv) {
  ForQt env;
  // The window's updates are small and come every frame: a picture moving a
  // pixel at a time. Through shared memory, Qt's X11 backing store keeps a
  // region of every update the server may still be reading and clears it
  // only on a round trip to the server, so it grows frame by frame and
  // uniting into it becomes most of a frame's work. Plain image requests
  // keep nothing.
  env.set("QT_XCB_NO_MITSHM", "1");
  // Qt scales its own widgets and dialogs by a whole factor, so that its
  // pixel is a whole number of device pixels; the program's scale takes the
  // rest (canvas/display_scale.h). Qt reads its factor only when the
  // application is made, so the desktop is asked first. Where the user has
  // set Qt's scaling, that stands.
  bool usersOwn = false;
  for (const char* name :
       {"QT_SCALE_FACTOR", "QT_SCREEN_SCALE_FACTORS", "QT_ENABLE_HIGHDPI_SCALING",
        "QT_SCALE_FACTOR_ROUNDING_POLICY", "QT_FONT_DPI", "QT_USE_PHYSICAL_DPI",
        "QT_DEVICE_PIXEL_RATIO", "QT_AUTO_SCREEN_SCALE_FACTOR"})
    usersOwn = usersOwn || std::getenv(name);
  if (!usersOwn) {
    QGuiApplication::setHighDpiScaleFactorRoundingPolicy(
        Qt::HighDpiScaleFactorRoundingPolicy::Round);
    if (const auto desktop = probeDesktop(argc, argv)) {
      const ScaleShare share = shareDisplayScale(
          totalScale(desktop->width, desktop->height, desktop->factor), desktop->factor);
      if (share.toolkit > 1) env.set("QT_SCALE_FACTOR", std::to_string(share.toolkit));
    }
  }
  return std::make_unique<QApplication>(argc, argv);
}

Session::Session(QScreen* screen) : Session(scaleFor(screenOrPrimary(screen))) {
  screen_ = screenOrPrimary(screen);
}

Session::Session(double scale) : form_(formWithFont(scale)), program_(*form_), screen_(nullptr) {
  loadEmbeddedPictures(*form_);
  form_->setEvents(&program_);
  program_.loadSettings();
}

void Session::show() {
  QScreen* s = screenOrPrimary(screen_);
  if (s) form_->setGeometry(s->availableGeometry());
  form_->showMaximized();
}

}  // namespace tavrel
