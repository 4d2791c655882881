#include "window/form.h"

#include <QApplication>
#include <QButtonGroup>
#include <QCloseEvent>
#include <QDir>
#include <QFileDialog>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMenuBar>
#include <QMessageBox>
#include <QPushButton>
#include <QRadioButton>
#include <QScreen>
#include <QShortcut>
#include <QStandardPaths>
#include <QTime>
#include <cmath>

#include "canvas/image_io.h"
#include "window/colours_dialog.h"
#include "window/controls.h"
#include "window/image_convert.h"
#include "window/menu_bar.h"
#include "window/picture_file.h"
#include "window/print.h"
#include "window/surface_view.h"

namespace tavrel {

namespace {

QString q(const std::string& s) {
  return QString::fromStdString(s);
}

}  // namespace

// While watching, the pointer goes after a few seconds at rest over the
// window and comes back as soon as it moves or a button is pressed.
class RestingPointer : public QObject {
 public:
  explicit RestingPointer(QWidget* window) : QObject(window), window_(window) {
    rest_.setSingleShot(true);
    connect(&rest_, &QTimer::timeout, this, [this] { window_->setCursor(Qt::BlankCursor); });
  }
  void watch(bool on) {
    if (on) {
      qApp->installEventFilter(this);
      moved();
    } else {
      qApp->removeEventFilter(this);
      rest_.stop();
      window_->unsetCursor();
    }
  }

 protected:
  bool eventFilter(QObject*, QEvent* e) override {
    // A picture that moves under a still pointer is no movement of it.
    if ((e->type() == QEvent::MouseMove && QCursor::pos() != at_) ||
        e->type() == QEvent::MouseButtonPress)
      moved();
    return false;
  }

 private:
  void moved() {
    at_ = QCursor::pos();
    if (window_->testAttribute(Qt::WA_SetCursor)) window_->unsetCursor();
    rest_.start(3000);
  }

  QWidget* window_;
  QTimer rest_;
  QPoint at_;
};

Form::Form(double scale, QWidget* parent)
    : QMainWindow(parent), scale_(scale), window_(592, 552, kBlack), picture1_(201, 161, kBlack) {
  setWindowTitle("Tavrel");
  installSurfaceViewAccessibility();
  view_ = new SurfaceView(window_, scale_, this);
  view_->setAccessibleName("Sample picture");
  view_->setObjectName("SurfaceWindow");
  view_->onPress = [this] { report([](RunEvents& e) { e.mouseDown(); }); };
  view_->onFirstPaint = [this] {
    // After this paint has finished.
    QTimer::singleShot(0, this, [this] { report([](RunEvents& e) { e.startup(); }); });
  };
  setCentralWidget(view_);
  Controls c = buildControls(view_, picture1_, scale_, this);
  command1_ = c.command1;
  command3_ = c.command3;
  label6_ = c.label6;
  note_ = c.note;
  picture2_ = c.picture2;
  picture1View_ = c.picture1;
  option1_ = c.option1;
  option2_ = c.option2;
  fields_ = c.fields;
  panel_ = std::move(c.panel);
  offstage_ = std::move(c.offstage);
  menus_ = std::make_unique<MenuBar>(
      menuBar(), [this](Menu m) { report([m](RunEvents& e) { e.menuClick(m); }); });
  connectControls();
  resize(static_cast<int>(592 * scale_),
         static_cast<int>(552 * scale_) + menuBar()->sizeHint().height());
  for (int i = 0; i < static_cast<int>(timers_.size()); ++i) {
    const auto id = static_cast<TimerId>(i);
    connect(&timers_[i].timer, &QTimer::timeout, this,
            [this, id] { report([id](RunEvents& e) { e.timerTick(id); }); });
  }
  timer(TimerId::Timer2).interval = 3000;
  timer(TimerId::Timer4).interval = 5000;
  timer(TimerId::Timer4).enabled = true;
  armTimer(timer(TimerId::Timer4));
  frame_.setSingleShot(true);
  frame_.setTimerType(Qt::PreciseTimer);
  connect(&frame_, &QTimer::timeout, this, [this] { report([](RunEvents&) {}); });
}

Form::~Form() = default;

QAction* Form::action(Menu m) const {
  return menus_->action(m);
}

int Form::px(double twips) const {
  return static_cast<int>(std::lround(twips / 15 * scale_));
}

// Every event goes to the program the same way: its handler, then whatever
// goes by itself moved on to now, then the screen brought up to date, and
// the frame timer set for the next step. The end of the program ends it all.
void Form::report(const std::function<void(RunEvents&)>& event) {
  if (!events_ || ended_) return;
  try {
    event(*events_);
    const auto now = Clock::now();
    const auto next = events_->advance(now);
    present();
    if (next) {
      const auto wait = std::chrono::ceil<std::chrono::milliseconds>(*next - now).count();
      frame_.start(static_cast<int>(std::clamp<long long>(wait, 0, 24 * 3600 * 1000)));
    } else {
      frame_.stop();
    }
  } catch (const ProgramEnded&) {
    finish();
  }
}

void Form::finish() {
  ended_ = true;
  frame_.stop();
  for (FormTimer& t : timers_) t.timer.stop();
  // Closing the last window ends the event loop, and with it the program.
  close();
  QCoreApplication::exit(0);
}

// The controls' events go to the program, each as one event.
void Form::connectControls() {
  connect(command1_, &QPushButton::clicked, this,
          [this] { report([](RunEvents& e) { e.click(Control::Command1); }); });
  connect(command3_, &QPushButton::clicked, this,
          [this] { report([](RunEvents& e) { e.click(Control::Command3); }); });
  for (Field f : {Field::Text6, Field::Text7})
    connect(field(f), &QLineEdit::textChanged, this,
            [this, f] { report([f](RunEvents& e) { e.textChanged(f); }); });
  auto* group = new QButtonGroup(this);
  group->addButton(option1_);
  group->addButton(option2_);
  connect(option1_, &QRadioButton::clicked, this,
          [this] { report([](RunEvents& e) { e.optionClick(false); }); });
  connect(option2_, &QRadioButton::clicked, this,
          [this] { report([](RunEvents& e) { e.optionClick(true); }); });
  noteTimer_.setSingleShot(true);
  connect(&noteTimer_, &QTimer::timeout, note_, &QLabel::hide);
  // On the information page a key that a click would equal goes back, as
  // the click does; the keys are the page's only while it is up.
  for (const QKeySequence& key : {QKeySequence(Qt::Key_Escape), QKeySequence(Qt::Key_Return),
                                  QKeySequence(Qt::Key_Enter), QKeySequence(Qt::Key_Space)}) {
    auto* back = new QShortcut(key, this);
    back->setEnabled(false);
    connect(back, &QShortcut::activated, this,
            [this] { report([](RunEvents& e) { e.mouseDown(); }); });
    pageKeys_.push_back(back);
  }
  // F10 takes the keyboard to the menus, as on other desktops' windows; F11
  // fills the screen or leaves it, in either mode.
  connect(new QShortcut(QKeySequence(Qt::Key_F10), this), &QShortcut::activated, this,
          [this] { menus_->takeKeys(); });
  connect(new QShortcut(QKeySequence(Qt::Key_F11), this), &QShortcut::activated, this,
          [this] { isFullScreen() ? showMaximized() : showFullScreen(); });
  pointer_ = new RestingPointer(this);
}

bool Form::eventFilter(QObject* watched, QEvent* e) {
  if (e->type() == QEvent::KeyRelease || e->type() == QEvent::KeyPress) {
    // Alt with a letter is for the menus: a field never types it.
    const auto* key = static_cast<QKeyEvent*>(e);
    if (e->type() == QEvent::KeyPress && key->modifiers().testFlag(Qt::AltModifier) &&
        !key->modifiers().testFlag(Qt::ControlModifier) && !key->text().isEmpty())
      return true;
    for (int i = 0; i < kFieldCount; ++i) {
      if (watched != fields_[i]) continue;
      const Field f = static_cast<Field>(i);
      if (e->type() == QEvent::KeyRelease) {
        report([f](RunEvents& ev) { ev.keyUp(f); });
      } else {
        int code = 0;
        switch (static_cast<QKeyEvent*>(e)->key()) {
          case Qt::Key_Left:
            code = kKeyLeft;
            break;
          case Qt::Key_Up:
            code = kKeyUp;
            break;
          case Qt::Key_Right:
            code = kKeyRight;
            break;
          case Qt::Key_Down:
            code = kKeyDown;
            break;
          default:
            break;
        }
        report([f, code](RunEvents& ev) { ev.keyDown(f, code); });
      }
    }
  }
  return QMainWindow::eventFilter(watched, e);
}

void Form::resizeEvent(QResizeEvent* e) {
  QMainWindow::resizeEvent(e);
  const int oldWidth = window_.width(), oldHeight = window_.height();
  window_.resize(static_cast<int>(view_->width() / scale_),
                 static_cast<int>(view_->height() / scale_));
  if (window_.width() != oldWidth || window_.height() != oldHeight)
    report([oldWidth, oldHeight](RunEvents& ev) { ev.resized(oldWidth, oldHeight); });
}

void Form::closeEvent(QCloseEvent* e) {
  e->accept();
  if (ended_) return;
  ended_ = true;
  frame_.stop();
  for (FormTimer& t : timers_) t.timer.stop();
  QCoreApplication::exit(0);
}

// GeneratorHost

std::string Form::text(Field f) {
  return field(f)->text().toStdString();
}

void Form::setText(Field f, const std::string& s) {
  if (field(f)->text() != q(s)) field(f)->setText(q(s));
}

bool Form::option2Value() {
  return option2_->isChecked();
}

// A window that fills the screen is maximised already.
void Form::maximize() {
  if (windowState() & (Qt::WindowMaximized | Qt::WindowFullScreen)) return;
  showMaximized();
}

[[noreturn]] void Form::End() {
  throw ProgramEnded{};
}

// Generators run to their end: events that come meanwhile wait in Qt's
// queue and are handled after them.
void Form::DoEvents() {}

// What changed on the surfaces is copied to the views, which Qt paints in
// its own time; Picture1 goes where it now stands.
void Form::present() {
  if (view_->stale()) view_->refresh();
  if (picture1View_->stale()) picture1View_->refresh();
  if (picture1Visible_) placePicture1();
}

void Form::placePicture1() {
  picture1View_->place(QPoint(static_cast<int>(std::nearbyint(picture1Left_)),
                              static_cast<int>(std::nearbyint(picture1Top_))),
                       picture1Visible_);
}

// RunHost

bool Form::isVisible(Control c) {
  switch (c) {
    case Control::Command1:
      return !command1_->isHidden();
    case Control::Command3:
      return !command3_->isHidden();
    case Control::Label6:
      return !label6_->isHidden();
    case Control::Picture1:
      return picture1Visible_;
    case Control::Picture2:
      return !picture2_->isHidden();
  }
  return false;
}

void Form::setVisible(Control c, bool visible) {
  switch (c) {
    case Control::Command1:
      command1_->setVisible(visible);
      break;
    case Control::Command3:
      // Once "Click to begin" is gone, the button under it is the user's,
      // and takes the keyboard focus with it rather than a field.
      command1_->setFocusPolicy(visible ? Qt::NoFocus : Qt::StrongFocus);
      command3_->setVisible(visible);
      if (!visible) command1_->setFocus();
      break;
    case Control::Label6:
      label6_->setVisible(visible);
      for (QShortcut* key : pageKeys_) key->setEnabled(visible);
      break;
    case Control::Picture1:
      picture1Visible_ = visible;
      placePicture1();
      break;
    case Control::Picture2:
      picture2_->setVisible(visible);
      break;
  }
}

void Form::showControlPanel() {
  for (QWidget* w : panel_) w->show();
  // Keys that were in no control of the panel, hidden with it, come back to
  // its first one.
  if (std::find(panel_.begin(), panel_.end(), focusWidget()) == panel_.end() &&
      command1_->focusPolicy() != Qt::NoFocus)
    command1_->setFocus();
}

void Form::hideControlPanel() {
  // Rather than wander through the controls going away, the keys go to the
  // window.
  if (std::find(panel_.begin(), panel_.end(), focusWidget()) != panel_.end())
    focusWidget()->clearFocus();
  for (QWidget* w : panel_) w->hide();
}

void Form::selectOption2(bool fancy) {
  (fancy ? option2_ : option1_)->setChecked(true);
}

void Form::setMenuVisible(Menu m, bool visible) {
  menus_->setVisible(m, visible);
}

bool Form::isChecked(Menu m) {
  return menus_->isChecked(m);
}

void Form::setChecked(Menu m, bool checked) {
  menus_->setChecked(m, checked);
}

void Form::showAsScreenSaver(bool on) {
  if (on == saver_) return;
  saver_ = on;
  pointer_->watch(on);
  if (on)
    showFullScreen();
  else
    showMaximized();
}

void Form::armTimer(FormTimer& t) {
  // An interval of 0 stops the timer, as a disabled one.
  if (t.enabled && t.interval > 0) {
    t.timer.start(static_cast<int>(std::min<Long>(t.interval, 24L * 3600 * 1000)));
  } else {
    t.timer.stop();
  }
}

void Form::setTimerEnabled(TimerId id, bool enabled) {
  FormTimer& t = timer(id);
  if (enabled == t.enabled && (t.timer.isActive() || !enabled)) return;
  t.enabled = enabled;
  armTimer(t);
}

void Form::setTimerInterval(TimerId id, Long milliseconds) {
  FormTimer& t = timer(id);
  t.interval = milliseconds;
  armTimer(t);
}

void Form::movePicture1(float left, float top) {
  picture1Left_ = left;
  picture1Top_ = top;
}

bool Form::LoadPicture(const std::string& fileName, Picture& out) {
  if (fileName.empty()) {
    out = nullptr;
    return true;
  }
  auto img = readBitmap(backdrops_.isEmpty() ? q(fileName) : backdrops_ + '/' + q(fileName));
  if (!img) return false;
  out = std::make_shared<const ImageData>(std::move(*img));
  return true;
}

Picture Form::slidePicture(int box) {
  return box >= 4 && box <= 9 ? slides_[box] : nullptr;
}

void Form::setSlidePicture(int box, Picture p) {
  if (box >= 4 && box <= 9) slides_[box] = std::move(p);
}

void Form::setPicture2(Picture p) {
  if (!p) {
    picture2_->clear();
    return;
  }
  picture2_->setPixmap(QPixmap::fromImage(
      toQImage(*p).scaled(std::lround(p->width * scale_), std::lround(p->height * scale_),
                          Qt::IgnoreAspectRatio, Qt::FastTransformation)));
}

std::string Form::picturesFolder() {
  return QStandardPaths::writableLocation(QStandardPaths::PicturesLocation).toStdString();
}

void Form::showNote(const std::string& text) {
  note_->setText(q(text));
  note_->adjustSize();
  note_->move(px(120), view_->height() - note_->height() - px(120));
  note_->raise();
  note_->show();
  noteTimer_.start(6000);
}

// The dialogs are window-modal and open without a loop of their own: Qt's
// one loop goes on, and with it the show behind them.

void Form::showMessage(const std::string& text) {
  auto* box = new QMessageBox(QMessageBox::Warning, "Tavrel", q(text), QMessageBox::Ok, this);
  box->setAttribute(Qt::WA_DeleteOnClose);
  box->open();
}

void Form::printPicture(const ImageData& picture, bool repeatTile, double centimetres,
                        std::function<void(double)> chosen) {
  printWithDialog(this, picture, repeatTile, centimetres, [this, chosen](double printed) {
    report([&](RunEvents& e) { e.answer([chosen, printed] { chosen(printed); }); });
  });
}

void Form::editColours(const UserPalette& current, std::function<void(const UserPalette&)> edited) {
  editPalette(this, current, [this, edited](const UserPalette& palette) {
    report([&](RunEvents& e) { e.answer([edited, palette] { edited(palette); }); });
  });
}

void Form::choosePaletteFile(std::function<void(const std::string&)> chosen) {
  auto* dialog = new QFileDialog(this, "Import color scale", QDir::homePath(),
                                 "GIMP palettes (*.gpl);;All files (*)");
  dialog->setAttribute(Qt::WA_DeleteOnClose);
  dialog->setFileMode(QFileDialog::ExistingFile);
  connect(dialog, &QFileDialog::fileSelected, this, [this, chosen](const QString& file) {
    const std::string path = file.toStdString();
    report([&](RunEvents& e) { e.answer([chosen, path] { chosen(path); }); });
  });
  dialog->open();
}

// The window's surface shows the picture in regular mode, Picture1 in
// screen-saver mode: both take its name.
void Form::namePicture(const std::string& name) {
  view_->setAccessibleName(q(name));
  picture1View_->setAccessibleName(q(name));
}

std::uint32_t Form::secondsSinceMidnight() {
  return static_cast<std::uint32_t>(QTime::currentTime().msecsSinceStartOfDay() / 1000);
}

}  // namespace tavrel
