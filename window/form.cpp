#include "window/form.h"

#include <QApplication>
#include <QButtonGroup>
#include <QCloseEvent>
#include <QDir>
#include <QFileDialog>
#include <QMessageBox>
#include <QShortcut>
#include <QStandardPaths>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMenuBar>
#include <QProxyStyle>
#include <QPushButton>
#include <QRadioButton>
#include <QScreen>
#include <QStyleOptionButton>
#include <QStyleOptionMenuItem>
#include <QStylePainter>
#include <QTime>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "canvas/image_io.h"
#include "window/colours_dialog.h"
#include "window/picture_file.h"
#include "window/print.h"
#include "window/surface_view.h"

namespace tavrel {

namespace {

void setBackground(QWidget* w, int r, int g, int b) {
  QPalette p = w->palette();
  p.setColor(QPalette::Window, QColor(r, g, b));
  p.setColor(QPalette::Base, QColor(r, g, b));
  w->setPalette(p);
  w->setAutoFillBackground(true);
}

QString q(const std::string& s) {
  return QString::fromStdString(s);
}

// A push button whose caption wraps onto as many lines as the button needs,
// in the window's one font.
class WrappingButton : public QPushButton {
 public:
  using QPushButton::QPushButton;

 protected:
  void paintEvent(QPaintEvent*) override {
    QStylePainter p(this);
    QStyleOptionButton o;
    initStyleOption(&o);
    const QString caption = o.text;
    o.text.clear();
    p.drawControl(QStyle::CE_PushButton, o);
    const QRect room = style()->subElementRect(QStyle::SE_PushButtonContents, &o, this);
    p.setPen(palette().color(isEnabled() ? QPalette::Active : QPalette::Disabled,
                             QPalette::ButtonText));
    p.drawText(room, Qt::AlignCenter | Qt::TextWordWrap, caption);
  }
};

// An option button whose caption wraps beside its indicator.
class WrappingRadio : public QRadioButton {
 public:
  using QRadioButton::QRadioButton;

 protected:
  void paintEvent(QPaintEvent*) override {
    QStylePainter p(this);
    QStyleOptionButton o;
    initStyleOption(&o);
    const QString caption = o.text;
    o.text.clear();
    p.drawControl(QStyle::CE_RadioButton, o);
    QRect room = style()->subElementRect(QStyle::SE_RadioButtonContents, &o, this);
    room.setRight(rect().right());
    p.setPen(palette().color(QPalette::WindowText));
    p.drawText(room, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextWordWrap, caption);
  }
};

// Menu entries show a tick when ticked and nothing when not: no empty box.
class PlainTicks : public QProxyStyle {
 public:
  void drawControl(ControlElement element, const QStyleOption* option, QPainter* painter,
                   const QWidget* widget) const override {
    if (element == CE_MenuItem) {
      if (const auto* item = qstyleoption_cast<const QStyleOptionMenuItem*>(option);
          item && item->checkType != QStyleOptionMenuItem::NotCheckable && !item->checked) {
        QStyleOptionMenuItem plain = *item;
        plain.checkType = QStyleOptionMenuItem::NotCheckable;
        QProxyStyle::drawControl(element, &plain, painter, widget);
        return;
      }
    }
    QProxyStyle::drawControl(element, option, painter, widget);
  }
};

}  // namespace

Form::Form(double scale, QWidget* parent)
    : QMainWindow(parent), scale_(scale), window_(592, 552, kBlack), picture1_(201, 161, kBlack) {
  setWindowTitle("Tavrel");
  view_ = new SurfaceView(window_, scale_, this);
  view_->setObjectName("SurfaceWindow");
  view_->onPress = [this] { report([](RunEvents& e) { e.mouseDown(); }); };
  view_->onFirstPaint = [this] {
    // After this paint has finished.
    QTimer::singleShot(0, this, [this] { report([](RunEvents& e) { e.startup(); }); });
  };
  setCentralWidget(view_);
  buildControls();
  buildMenus();
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

void Form::buildControls() {
  auto place = [this](QWidget* w, const char* name, int left, int top, int width, int height) {
    w->setObjectName(name);
    w->setGeometry(px(left), px(top), px(width), px(height));
  };
  auto label = [&](const char* name, const char* caption, int left, int top, int width, int r,
                   int g, int b) {
    auto* l = new QLabel(caption, view_);
    place(l, name, left, top, width, 255);
    setBackground(l, r, g, b);
    l->setWordWrap(true);
    l->hide();
    return l;
  };
  auto makeField = [&](Field f, const char* name, const char* text, int left, int top, int maxLength,
                   bool enabled) {
    auto* t = new QLineEdit(text, view_);
    place(t, name, left, top, 375, 285);
    if (maxLength > 0) t->setMaxLength(maxLength);
    t->setEnabled(enabled);
    t->installEventFilter(this);
    t->hide();
    fields_[static_cast<int>(f)] = t;
    return t;
  };

  command1_ = new WrappingButton("Create random shape", view_);
  place(command1_, "Command1", 120, 240, 1215, 495);
  // Covered by "Click to begin" at first: no key may reach it then.
  command1_->setFocusPolicy(Qt::NoFocus);
  command3_ = new WrappingButton("Click to begin", view_);
  place(command3_, "Command3", 120, 240, 1215, 495);
  command3_->raise();  // the same rectangle, in front
  command3_->setFocus();  // keys go to the one button the user can see
  connect(command1_, &QPushButton::clicked, this,
          [this] { report([](RunEvents& e) { e.click(Control::Command1); }); });
  connect(command3_, &QPushButton::clicked, this,
          [this] { report([](RunEvents& e) { e.click(Control::Command3); }); });

  QLabel* label1 = label("Label1", "Complexity of shape (0 to 20):", 3120, 6000, 2175, 0, 255, 0);
  QLabel* label2 = label("Label2", "Size of shape: (40 to 400):", 120, 1560, 1935, 0, 255, 0);
  QLabel* label3 = label("Label3", "Detail of shape (1 to 25):", 120, 2160, 1815, 128, 255, 255);
  QLabel* label4 = label("Label4", "Number of sides (4 or 8):", 120, 2160, 1935, 128, 255, 255);
  QLabel* label5 = label("Label5", "Seconds waited (scr-mode):", 120, 7200, 2055, 0, 255, 0);
  QLabel* label7 = label("Label7", "Complexity (1 to 25):", 120, 3120, 1575, 128, 255, 255);
  QLabel* label8 = label("Label8", "Smoothness (1 to 9):", 120, 3720, 1575, 0, 255, 255);
  label6_ = new QLabel(
      "Tavrel draws random pictures with an eight-fold mirror symmetry: one random stroke, "
      "seen through the mirrors, closes into an outline, and every region inside takes a "
      "colour of its own. The screen-saver mode shows a new picture every few seconds.\n\n"
      "Press a mouse button on the window to go back.",
      view_);
  place(label6_, "Label6", 120, 240, 2655, 2055);
  label6_->setWordWrap(true);
  label6_->setAlignment(Qt::AlignTop | Qt::AlignLeft);
  {
    const QColor text = palette().color(QPalette::Active, QPalette::HighlightedText);
    setBackground(label6_, text.red(), text.green(), text.blue());
  }
  label6_->setAttribute(Qt::WA_NoMousePropagation);
  label6_->hide();

  QLineEdit* text1 = makeField(Field::Text1, "Text1", "0", 5280, 6000, 2, true);
  QLineEdit* text2 = makeField(Field::Text2, "Text2", "100", 2040, 1560, 3, false);
  QLineEdit* text3 = makeField(Field::Text3, "Text3", "16", 1920, 2160, 2, true);
  QLineEdit* text4 = makeField(Field::Text4, "Text4", "4", 2040, 2160, 2, false);
  QLineEdit* text5 = makeField(Field::Text5, "Text5", "10", 2160, 7200, 2, true);
  QLineEdit* text6 = makeField(Field::Text6, "Text6", "1", 1680, 3120, 0, false);
  QLineEdit* text7 = makeField(Field::Text7, "Text7", "2", 1680, 3720, 0, false);
  for (Field f : {Field::Text6, Field::Text7})
    connect(field(f), &QLineEdit::textChanged, this,
            [this, f] { report([f](RunEvents& e) { e.textChanged(f); }); });

  option1_ = new WrappingRadio("Shapes Regular", view_);
  place(option1_, "Option1", 120, 4920, 1095, 495);
  option2_ = new WrappingRadio("Shapes Fancy", view_);
  place(option2_, "Option2", 120, 5760, 1095, 495);
  for (QRadioButton* o : {option1_, option2_}) {
    setBackground(o, 255, 0, 0);
    QPalette p = o->palette();
    p.setColor(QPalette::Button, QColor(255, 0, 0));  // the style paints this role behind them
    p.setColor(QPalette::Base, Qt::white);            // the indicator stays readable
    o->setPalette(p);
    o->hide();
  }
  auto* group = new QButtonGroup(this);
  group->addButton(option1_);
  group->addButton(option2_);
  option2_->setChecked(true);
  connect(option1_, &QRadioButton::clicked, this,
          [this] { report([](RunEvents& e) { e.optionClick(false); }); });
  connect(option2_, &QRadioButton::clicked, this,
          [this] { report([](RunEvents& e) { e.optionClick(true); }); });

  picture1View_ = new SurfaceView(picture1_, scale_, view_);
  picture1View_->setObjectName("Picture1");
  picture1View_->setGeometry(px(3120), px(1320), px(3015), px(2415));
  picture1View_->setAttribute(Qt::WA_NoMousePropagation);
  picture1View_->hide();
  picture2_ = new QLabel(view_);
  place(picture2_, "Picture2", 0, 2520, 3015, 3135);
  setBackground(picture2_, 0, 0, 0);
  picture2_->setAlignment(Qt::AlignTop | Qt::AlignLeft);
  picture2_->setAttribute(Qt::WA_NoMousePropagation);
  picture2_->hide();
  // The bouncing picture passes in front of the information page.
  picture1View_->raise();

  // A short note along the bottom of the window, over everything, that goes by itself.
  note_ = new QLabel(view_);
  note_->setObjectName("Note");
  note_->setAutoFillBackground(true);
  setBackground(note_, 255, 255, 224);
  note_->setMargin(px(60));
  note_->hide();
  noteTimer_.setSingleShot(true);
  connect(&noteTimer_, &QTimer::timeout, note_, &QLabel::hide);

  // S and P do what their menu entries do; a field being typed in keeps them.
  for (auto [key, entry] : {std::pair{Qt::Key_S, Menu::sdfdssdf}, std::pair{Qt::Key_P, Menu::hgfhg}})
    connect(new QShortcut(QKeySequence(key), this), &QShortcut::activated, this,
            [this, entry] { report([entry](RunEvents& e) { e.menuClick(entry); }); });

  panelShown_ = {command1_, label2, text2, label3, text3, label5, text5,
                 label7,    text6,  label8, text7, option1_, option2_};
  panelHidden_ = {label1, text1, label4, text4};
}

void Form::buildMenus() {
  auto* ticks = new PlainTicks;
  ticks->setParent(this);
  QMenuBar* bar = menuBar();
  struct Entry {
    Menu name;
    Menu parent;  // the menu it belongs to; itself for the bar's own entries
    const char* caption;
    bool ticked, enabled, visible;
    bool heads;  // heads a submenu
  };
  const Entry tree[] = {
      {Menu::options, Menu::options, "Options", false, true, true, true},
      {Menu::regmode, Menu::options, "Regular mode", true, true, true, false},
      {Menu::ssaver, Menu::options, "Screen-Saver mode", false, true, true, false},
      {Menu::hfggf, Menu::options, "Animation speed", false, true, true, true},
      {Menu::tslow, Menu::hfggf, "Slow", false, true, true, false},
      {Menu::tfast, Menu::hfggf, "Fast", true, true, true, false},
      {Menu::impcolor, Menu::options, "Import color scale", false, true, true, false},
      {Menu::colormode, Menu::options, "Color mode", false, true, true, true},
      {Menu::uedit, Menu::colormode, "User defined colors", false, true, true, false},
      {Menu::tcolorm, Menu::colormode, "True color (16000000 colors)", true, true, true, false},
      {Menu::bcolorm, Menu::colormode, "Basic color (15 colors)", false, true, true, false},
      {Menu::fgdfgfg, Menu::options, "Edit colors", false, true, true, false},
      {Menu::hgfhg, Menu::options, "Print pattern (press \"P\")", false, true, true, false},
      {Menu::sdfdssdf, Menu::options, "Save shape (press \"S\")", false, true, true, false},
      {Menu::fgdgf, Menu::options, "Auto-print", false, false, false, false},
      {Menu::dfsdffd, Menu::options, "Auto-save", false, false, false, false},
      {Menu::fghfghg, Menu::options, "Save settings", false, true, true, false},
      {Menu::restored, Menu::options, "Restore default settings", false, true, true, false},
      {Menu::sfancy, Menu::options, "sfancy", true, true, false, false},
      {Menu::quit, Menu::options, "Quit", false, true, true, false},
      {Menu::patmode5, Menu::patmode5, "Pattern mode", false, true, true, true},
      {Menu::csingle, Menu::patmode5, "Create single shape", true, true, true, false},
      {Menu::cpp9, Menu::patmode5, "Create part of pattern", false, true, true, false},
      {Menu::cpattern, Menu::patmode5, "Create pattern", false, true, true, false},
      {Menu::tyhfghgfh, Menu::tyhfghgfh, "Complexity of shape", false, true, false, true},
      {Menu::snormal, Menu::tyhfghgfh, "Shapes simple", false, true, true, false},
      {Menu::scenter, Menu::tyhfghgfh, "Shapes complex", true, true, true, false},
      {Menu::orderinfo, Menu::orderinfo, "Ordering information", false, true, true, false},
  };
  std::map<Menu, QMenu*> submenus;
  for (const Entry& e : tree) {
    QAction* a = nullptr;
    const bool onBar = e.parent == e.name;
    if (e.heads) {
      QMenu* m = onBar ? bar->addMenu(e.caption) : submenus.at(e.parent)->addMenu(e.caption);
      m->setStyle(ticks);
      submenus[e.name] = m;
      a = m->menuAction();
    } else {
      a = onBar ? bar->addAction(e.caption) : submenus.at(e.parent)->addAction(e.caption);
      a->setCheckable(!onBar);
      a->setChecked(e.ticked);
      const Menu name = e.name;
      connect(a, &QAction::triggered, this, [this, a, name](bool checked) {
        // Ticks move only by the handlers, not by the click itself.
        if (a->isCheckable()) a->setChecked(!checked);
        report([name](RunEvents& ev) { ev.menuClick(name); });
      });
    }
    a->setEnabled(e.enabled);
    a->setVisible(e.visible);
    menus_[e.name] = a;
  }
}

bool Form::eventFilter(QObject* watched, QEvent* e) {
  if (e->type() == QEvent::KeyRelease || e->type() == QEvent::KeyPress) {
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
  window_.resize(static_cast<int>(view_->width() / scale_),
                 static_cast<int>(view_->height() / scale_));
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

void Form::maximize() {
  if (windowState() & Qt::WindowMaximized) return;
  showMaximized();
}

[[noreturn]] void Form::End() {
  throw ProgramEnded{};
}

// Generators run to their end: events that come meanwhile wait in Qt's
// queue and are handled after them.
void Form::DoEvents() {}

QRect Form::picture1Target() const {
  return QRect(static_cast<int>(std::lround(std::nearbyint(picture1Left_) * scale_)),
               static_cast<int>(std::lround(std::nearbyint(picture1Top_) * scale_)),
               static_cast<int>(std::lround(picture1_.width() * scale_)),
               static_cast<int>(std::lround(picture1_.height() * scale_)));
}

// What changed on the surfaces is copied to the views, which Qt paints in
// its own time; Picture1 goes where it now stands.
void Form::present() {
  if (view_->stale()) view_->refresh();
  if (picture1View_->stale()) picture1View_->refresh();
  if (picture1Visible_) placePicture1();
}

void Form::placePicture1() {
  if (picture1View_->geometry() != picture1Target()) picture1View_->setGeometry(picture1Target());
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
      break;
    case Control::Picture1:
      picture1Visible_ = visible;
      if (visible) placePicture1();
      picture1View_->setVisible(visible);
      break;
    case Control::Picture2:
      picture2_->setVisible(visible);
      break;
  }
}

void Form::showControlPanel() {
  for (QWidget* w : panelShown_) w->show();
  for (QWidget* w : panelHidden_) w->hide();
}

void Form::hideControlPanel() {
  for (QWidget* w : panelShown_) w->hide();
  for (QWidget* w : panelHidden_) w->hide();
}

void Form::selectOption2(bool fancy) {
  (fancy ? option2_ : option1_)->setChecked(true);
}

void Form::setMenuVisible(Menu m, bool visible) {
  menus_.at(m)->setVisible(visible);
}

bool Form::isChecked(Menu m) {
  return menus_.at(m)->isChecked();
}

void Form::setChecked(Menu m, bool checked) {
  menus_.at(m)->setChecked(checked);
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
  auto img = readBitmap(q(fileName));
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
  QImage img(p->width, p->height, QImage::Format_RGB32);
  for (int y = 0; y < p->height; ++y)
    for (int x = 0; x < p->width; ++x) {
      const Colour c = p->at(x, y);
      img.setPixel(x, y, qRgb(c & 0xFF, (c >> 8) & 0xFF, (c >> 16) & 0xFF));
    }
  picture2_->setPixmap(
      QPixmap::fromImage(img.scaled(std::lround(p->width * scale_), std::lround(p->height * scale_),
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

void Form::printPicture(const ImageData& picture, bool repeatTile) {
  printWithDialog(this, picture, repeatTile);
}

void Form::editColours(const UserPalette& current,
                       std::function<void(const UserPalette&)> edited) {
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

std::uint32_t Form::secondsSinceMidnight() {
  return static_cast<std::uint32_t>(QTime::currentTime().msecsSinceStartOfDay() / 1000);
}

}  // namespace tavrel
