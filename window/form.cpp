#include "window/form.h"

#include <QApplication>
#include <QButtonGroup>
#include <QCloseEvent>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMenuBar>
#include <QPushButton>
#include <QRadioButton>
#include <QScreen>
#include <QStyle>
#include <QTime>
#include <QTimer>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include "canvas/image_io.h"
#include "window/surface_view.h"

namespace tavrel {

namespace {

using Clock = std::chrono::steady_clock;
// The classic desktop timer resolution.
constexpr auto kTimerPeriod = std::chrono::microseconds(15625);

void setBackground(QWidget* w, int r, int g, int b) {
  QPalette p = w->palette();
  p.setColor(QPalette::Window, QColor(r, g, b));
  p.setColor(QPalette::Base, QColor(r, g, b));
  w->setPalette(p);
  w->setAutoFillBackground(true);
}

// The captions were laid out for a narrow system face; with a wider one a
// caption that would be cut at its control's edge gets a smaller size.
void fitCaption(QWidget* w, const QString& caption, int room) {
  QFont f = w->font();
  int size = QFontInfo(f).pixelSize();
  const int smallest = std::max(6, size * 2 / 3);
  while (size > smallest && QFontMetrics(f).horizontalAdvance(caption) > room) {
    f.setPixelSize(--size);
  }
  w->setFont(f);
}

QString q(const std::string& s) {
  return QString::fromStdString(s);
}

}  // namespace

Form::Form(double scale, QWidget* parent)
    : QMainWindow(parent), scale_(scale), window_(592, 552, kBlack), picture1_(201, 161, kBlack) {
  setWindowTitle("Tavrel");
  view_ = new SurfaceView(window_, scale_, this);
  view_->onPress = [this] {
    if (onMouseDown) onMouseDown();
  };
  view_->onFirstPaint = [this] {
    // After this paint has finished: the start-up never returns.
    QTimer::singleShot(0, this, [this] {
      if (!started_ && onStartup) {
        started_ = true;
        onStartup();
      }
    });
  };
  setCentralWidget(view_);
  buildControls();
  buildMenus();
  resize(static_cast<int>(592 * scale_),
         static_cast<int>(552 * scale_) + menuBar()->sizeHint().height());
  Timer2.interval = 3000;
  Timer4.interval = 5000;
  Timer4.enabled = true;
  armTimer(Timer4);
  Timer7.enabled = true;  // with interval 0: idle
}

Form::~Form() = default;

int Form::px(double twips) const {
  return static_cast<int>(std::lround(twips / 15 * scale_));
}

void Form::buildControls() {
  auto place = [this](QWidget* w, int left, int top, int width, int height) {
    w->setGeometry(px(left), px(top), px(width), px(height));
  };
  auto label = [&](const char* caption, int left, int top, int width, int r, int g, int b) {
    auto* l = new QLabel(caption, view_);
    place(l, left, top, width, 255);
    setBackground(l, r, g, b);
    fitCaption(l, l->text(), l->width());
    l->hide();
    return l;
  };
  auto field = [&](const char* text, int left, int top, int maxLength, bool enabled) {
    auto* t = new QLineEdit(text, view_);
    place(t, left, top, 375, 285);
    if (maxLength > 0) t->setMaxLength(maxLength);
    t->setEnabled(enabled);
    t->installEventFilter(this);
    t->hide();
    return t;
  };

  Command1 = new QPushButton("Create random shape", view_);
  place(Command1, 120, 240, 1215, 495);
  Command3 = new QPushButton("Click to begin", view_);
  place(Command3, 120, 240, 1215, 495);
  Command3->raise();  // the same rectangle, in front
  for (QPushButton* b : {Command1, Command3}) fitCaption(b, b->text(), b->width() - px(90));
  connect(Command1, &QPushButton::clicked, this, [this] {
    if (onCommand1) onCommand1();
  });
  connect(Command3, &QPushButton::clicked, this, [this] {
    if (onCommand3) onCommand3();
  });

  Label2 = label("Size of shape: (40 to 400):", 120, 1560, 1935, 0, 255, 0);
  Label3 = label("Detail of shape (1 to 25):", 120, 2160, 1815, 128, 255, 255);
  Label4 = label("Number of sides (4 or 8):", 120, 2160, 1935, 128, 255, 255);
  Label7 = label("Complexity (1 to 25):", 120, 3120, 1575, 128, 255, 255);
  Label8 = label("Smoothness (1 to 9):", 120, 3720, 1575, 0, 255, 255);
  Label5 = label("Seconds waited (scr-mode):", 120, 7200, 2055, 0, 255, 0);
  Label1 = label("Complexity of shape (0 to 20):", 3120, 6000, 2175, 0, 255, 0);
  Label6 = new QLabel(
      "Tavrel draws random pictures with an eight-fold mirror symmetry. One random stroke, "
      "seen through the mirrors, closes into an outline, and every region inside takes a "
      "colour of its own. Choose a pattern tile or a single shape, true or basic colours, and "
      "let the screen-saver mode show a new picture every few seconds. Press a mouse button "
      "on the window to go back.",
      view_);
  place(Label6, 120, 240, 2655, 2055);
  Label6->setWordWrap(true);
  Label6->setAlignment(Qt::AlignTop | Qt::AlignLeft);
  {
    const QColor text = palette().color(QPalette::Active, QPalette::HighlightedText);
    setBackground(Label6, text.red(), text.green(), text.blue());
  }
  Label6->setAttribute(Qt::WA_NoMousePropagation);
  Label6->hide();

  Text1 = field("0", 5280, 6000, 2, true);
  Text2 = field("100", 2040, 1560, 3, false);
  Text3 = field("16", 1920, 2160, 2, true);
  Text4 = field("4", 2040, 2160, 2, false);
  Text5 = field("10", 2160, 7200, 2, true);
  Text6 = field("1", 1680, 3120, 0, false);
  Text7 = field("2", 1680, 3720, 0, false);
  auto clampOnChange = [this](QLineEdit* t, double limit, const char* text) {
    connect(t, &QLineEdit::textChanged, this, [t, limit, text] {
      if (Val(t->text().toStdString()) > limit) t->setText(text);
    });
  };
  clampOnChange(Text6, 25, "25");
  clampOnChange(Text7, 9, "9");

  Option1 = new QRadioButton("Shapes Regular", view_);
  place(Option1, 120, 4920, 1095, 495);
  Option2 = new QRadioButton("Shapes Fancy", view_);
  place(Option2, 120, 5760, 1095, 495);
  for (QRadioButton* o : {Option1, Option2}) {
    setBackground(o, 255, 0, 0);
    QPalette p = o->palette();
    p.setColor(QPalette::Button, QColor(255, 0, 0));  // the style paints this role behind them
    p.setColor(QPalette::Base, Qt::white);            // the indicator stays readable
    o->setPalette(p);
    const int indicator = o->style()->pixelMetric(QStyle::PM_ExclusiveIndicatorWidth, nullptr, o) +
                          o->style()->pixelMetric(QStyle::PM_RadioButtonLabelSpacing, nullptr, o);
    fitCaption(o, o->text(), o->width() - indicator - px(30));
    o->hide();
  }
  auto* group = new QButtonGroup(this);
  group->addButton(Option1);
  group->addButton(Option2);
  Option2->setChecked(true);
  connect(Option1, &QRadioButton::clicked, this, [this] { st.complexy = 1; });
  connect(Option2, &QRadioButton::clicked, this, [this] { st.complexy = 2; });

  Picture1 = new SurfaceView(picture1_, scale_, view_);
  Picture1->setGeometry(px(3120), px(1320), px(3015), px(2415));
  Picture1->setAttribute(Qt::WA_NoMousePropagation);
  Picture1->hide();
  Picture2 = new QLabel(view_);
  place(Picture2, 0, 2520, 3015, 3135);
  setBackground(Picture2, 0, 0, 0);
  Picture2->setAlignment(Qt::AlignTop | Qt::AlignLeft);
  Picture2->setAttribute(Qt::WA_NoMousePropagation);
  Picture2->hide();
  // The bouncing picture passes in front of the information page.
  Picture1->raise();
}

QAction* Form::entry(QMenu* menu, const char* caption, bool checked, bool enabled, bool visible,
                     std::function<void()> handler) {
  QAction* a = menu->addAction(caption);
  a->setCheckable(true);
  tick(a, checked);
  a->setEnabled(enabled);
  a->setVisible(visible);
  connect(a, &QAction::triggered, this, [this, a, handler] {
    a->setChecked(ticks_[a]);  // ticks move only by the handlers
    if (handler) handler();
  });
  return a;
}

void Form::tick(QAction* a, bool on) {
  ticks_[a] = on;
  a->setChecked(on);
  ++activity_;
}

bool Form::ticked(QAction* a) const {
  auto it = ticks_.find(a);
  return it != ticks_.end() && it->second;
}

void Form::buildMenus() {
  QMenuBar* bar = menuBar();
  options = bar->addMenu("Options");
  regmode = entry(options, "Regular mode", true, true, true, [this] {
    if (onRegmode) onRegmode();
  });
  ssaver = entry(options, "Screen-Saver mode", false, true, true, [this] {
    if (onSsaver) onSsaver();
  });
  hfggf = options->addMenu("Animation speed");
  tslow = entry(hfggf, "Slow", false, true, true, [this] {
    if (ticked(tslow)) return;
    st.nwait4 = 1;
    tick(tslow, true);
    tick(tfast, false);
  });
  tfast = entry(hfggf, "Fast", true, true, true, [this] {
    if (ticked(tfast)) return;
    st.nwait4 = 0;
    tick(tslow, false);
    tick(tfast, true);
  });
  impcolor = entry(options, "Import color scale", false, false, false);
  colormode = options->addMenu("Color mode");
  uedit = entry(colormode, "User defined colors", false, false, true);
  tcolorm = entry(colormode, "True color (16000000 colors)", true, true, true, [this] {
    tick(tcolorm, true);
    tick(bcolorm, false);
    st.tcolor = 1;
  });
  bcolorm = entry(colormode, "Basic color (15 colors)", false, true, true, [this] {
    tick(bcolorm, true);
    tick(tcolorm, false);
    st.tcolor = 0;
  });
  fgdfgfg = entry(options, "Edit colors", false, false, true);
  hgfhg = entry(options, "Print pattern (press \"P\")", false, false, true);
  sdfdssdf = entry(options, "Save shape (press \"S\")", false, false, true);
  fgdgf = entry(options, "Auto-print", false, false, false);
  dfsdffd = entry(options, "Auto-save", false, false, false);
  fghfghg = entry(options, "Save settings", false, false, true);
  restored = entry(options, "Restore default settings", false, false, true);
  sfancy = entry(options, "sfancy", true, true, false);
  quit = entry(options, "Quit", false, true, true, [this] { End(); });

  patmode5 = bar->addMenu("Pattern mode");
  csingle = entry(patmode5, "Create single shape", true, true, true, [this] {
    if (st.mpattern == 0) return;
    st.ggmbj = 0;
    st.mpattern = 0;
    tick(csingle, true);
    tick(cpattern, false);
    tick(cpp9, false);
  });
  cpp9 = entry(patmode5, "Create part of pattern", false, true, true, [this] {
    if (st.mpattern == 1) return;
    st.ggmbj = 1;
    st.mpattern = 1;
    tick(csingle, false);
    tick(cpattern, false);
    tick(cpp9, true);
  });
  cpattern = entry(patmode5, "Create pattern", false, false, true, [this] {
    if (st.mpattern == 1) return;
    st.mpattern = 1;
    tick(csingle, false);
    tick(cpattern, true);
  });

  tyhfghgfh = bar->addMenu("Complexity of shape");
  tyhfghgfh->menuAction()->setVisible(false);
  snormal = entry(tyhfghgfh, "Shapes simple", false, true, true, [this] {
    st.centerf = 0;
    tick(snormal, true);
    tick(scenter, false);
  });
  scenter = entry(tyhfghgfh, "Shapes complex", true, true, true, [this] {
    st.centerf = 1;
    tick(snormal, false);
    tick(scenter, true);
  });

  orderinfo = bar->addAction("Ordering information");
  connect(orderinfo, &QAction::triggered, this, [this] {
    if (onOrderinfo) onOrderinfo();
  });
}

bool Form::eventFilter(QObject* watched, QEvent* e) {
  if (e->type() == QEvent::KeyRelease) {
    // The fields' own upper limits, tested at every key release.
    const struct {
      QLineEdit* field;
      double limit;
      const char* text;
    } limits[] = {{Text2, 400, "400"}, {Text3, 25, "25"}, {Text5, 50, "50"}};
    for (const auto& l : limits)
      if (watched == l.field && Val(l.field->text().toStdString()) > l.limit)
        l.field->setText(l.text);
  }
  if (e->type() == QEvent::KeyPress && watched == Text4) {
    // The side stepper: arrows halve or double, any key writes the value.
    const int key = static_cast<QKeyEvent*>(e)->key();
    if ((key == Qt::Key_Left || key == Qt::Key_Down) && st.ssg > 4) st.ssg = st.ssg / 2;
    if ((key == Qt::Key_Up || key == Qt::Key_Right) && st.ssg < 64) st.ssg = st.ssg * 2;
    Text4->setText(q(LTrim(Str(st.ssg))));
    st.ssg = Val(Text4->text().toStdString());
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
  End();
}

// GeneratorHost

QLineEdit* fieldOf(Form& f, Field which) {
  switch (which) {
    case Field::Text1:
      return f.Text1;
    case Field::Text2:
      return f.Text2;
    case Field::Text3:
      return f.Text3;
    case Field::Text4:
      return f.Text4;
    case Field::Text5:
      return f.Text5;
  }
  return f.Text1;
}

std::string Form::text(Field f) {
  return fieldOf(*this, f)->text().toStdString();
}

void Form::setText(Field f, const std::string& s) {
  QLineEdit* t = fieldOf(*this, f);
  if (t->text() != q(s)) {
    t->setText(q(s));
    ++activity_;
  }
}

bool Form::option2Value() {
  return Option2->isChecked();
}

void Form::maximize() {
  if (windowState() & Qt::WindowMaximized) return;
  showMaximized();
}

[[noreturn]] void Form::End() {
  if (endHook) endHook();
  std::fflush(nullptr);
  std::_Exit(0);
}

FormTimer& Form::timer(TimerId t) {
  switch (t) {
    case TimerId::Timer1:
      return Timer1;
    case TimerId::Timer2:
      return Timer2;
    case TimerId::Timer4:
      return Timer4;
    case TimerId::Timer7:
      return Timer7;
  }
  return Timer1;
}

void Form::armTimer(FormTimer& t) {
  // Due at the first tick of the 1/64 s clock once the interval, rounded up
  // to whole periods, has passed.
  const auto now = Clock::now();
  const auto periods =
      std::max<long>(1, (t.interval * 1000L + kTimerPeriod.count() - 1) / kTimerPeriod.count());
  const auto earliest = now + periods * kTimerPeriod;
  const auto sinceEpoch = earliest.time_since_epoch();
  const auto grid = (sinceEpoch + kTimerPeriod - std::chrono::nanoseconds(1)) / kTimerPeriod;
  t.due = Clock::time_point(std::chrono::duration_cast<Clock::duration>(grid * kTimerPeriod));
}

void Form::fireDueTimers() {
  const auto now = Clock::now();
  for (FormTimer* t : {&Timer1, &Timer2, &Timer4, &Timer7}) {
    if (!t->enabled || t->interval <= 0 || now < t->due) continue;
    armTimer(*t);  // overdue several times: one tick
    ++activity_;
    if (t->tick) t->tick();
  }
}

void Form::bringScreenUpToDate() {
  bool changed = view_->refresh();
  changed |= Picture1->refresh();
  const QRect target(static_cast<int>(std::lround(std::nearbyint(picture1Left_) * scale_)),
                     static_cast<int>(std::lround(std::nearbyint(picture1Top_) * scale_)),
                     static_cast<int>(std::lround(picture1_.width() * scale_)),
                     static_cast<int>(std::lround(picture1_.height() * scale_)));
  const bool moved = Picture1->geometry() != target;
  if (!changed && !(moved && picture1Visible_)) {
    if (moved) Picture1->setGeometry(target);
    return;
  }
  // A frame at most once per refresh of the display, as a swap to the
  // screen would wait for it; the loop sleeps meanwhile instead of spinning.
  const double hz = screen() && screen()->refreshRate() > 1 ? screen()->refreshRate() : 60;
  const auto frame =
      std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(1 / hz));
  const auto next = lastFrame_ + frame;
  if (Clock::now() < next) std::this_thread::sleep_until(next);
  lastFrame_ = Clock::now();
  if (moved) Picture1->setGeometry(target);
  QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
}

void Form::DoEvents() {
  QCoreApplication::processEvents(QEventLoop::AllEvents);
  fireDueTimers();
  const std::uint64_t seen = activity_ + window_.version() + picture1_.version();
  bringScreenUpToDate();
  if (seen == activitySeen_) {
    // Nothing has changed since the last call: wait for an event or for the
    // next timer instead of turning for nothing.
    auto wait = std::chrono::milliseconds(50);
    const auto now = Clock::now();
    for (FormTimer* t : {&Timer1, &Timer2, &Timer4, &Timer7})
      if (t->enabled && t->interval > 0)
        wait = std::min(wait, std::chrono::duration_cast<std::chrono::milliseconds>(
                                  std::max(t->due - now, Clock::duration::zero())));
    if (wait.count() > 0) {
      QTimer::singleShot(static_cast<int>(wait.count()), Qt::PreciseTimer, this, [] {});
      QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
  }
  activitySeen_ = activity_ + window_.version() + picture1_.version();
}

// RunHost

bool Form::isVisible(Control c) {
  switch (c) {
    case Control::Command1:
      return !Command1->isHidden();
    case Control::Command3:
      return !Command3->isHidden();
    case Control::Label6:
      return !Label6->isHidden();
    case Control::Picture1:
      return picture1Visible_;
    case Control::Picture2:
      return !Picture2->isHidden();
  }
  return false;
}

void Form::setVisible(Control c, bool visible) {
  ++activity_;
  switch (c) {
    case Control::Command1:
      Command1->setVisible(visible);
      break;
    case Control::Command3:
      Command3->setVisible(visible);
      break;
    case Control::Label6:
      Label6->setVisible(visible);
      break;
    case Control::Picture1:
      picture1Visible_ = visible;
      Picture1->setVisible(visible);
      break;
    case Control::Picture2:
      Picture2->setVisible(visible);
      break;
  }
}

void Form::showControlPanel() {
  ++activity_;
  for (QWidget* w :
       std::initializer_list<QWidget*>{Command1, Label2, Text2, Label3, Text3, Label5, Text5,
                                       Label7, Text6, Label8, Text7, Option1, Option2})
    w->show();
  for (QWidget* w : std::initializer_list<QWidget*>{Label1, Text1, Label4, Text4}) w->hide();
}

void Form::hideControlPanel() {
  ++activity_;
  for (QWidget* w : std::initializer_list<QWidget*>{Command1, Label2, Text2, Label3, Text3, Label5,
                                                    Text5, Label7, Text6, Label8, Text7, Option1,
                                                    Option2, Label1, Text1, Label4, Text4})
    w->hide();
}

void Form::setMenuVisible(Menu m, bool visible) {
  ++activity_;
  switch (m) {
    case Menu::options:
      options->menuAction()->setVisible(visible);
      break;
    case Menu::patmode5:
      patmode5->menuAction()->setVisible(visible);
      break;
    case Menu::orderinfo:
      orderinfo->setVisible(visible);
      break;
    case Menu::regmode:
      regmode->setVisible(visible);
      break;
    case Menu::ssaver:
      ssaver->setVisible(visible);
      break;
  }
}

void Form::setChecked(Menu m, bool checked) {
  switch (m) {
    case Menu::regmode:
      tick(regmode, checked);
      break;
    case Menu::ssaver:
      tick(ssaver, checked);
      break;
    default:
      break;
  }
}

void Form::setTimerEnabled(TimerId id, bool enabled) {
  FormTimer& t = timer(id);
  if (enabled && !t.enabled) armTimer(t);
  t.enabled = enabled;
  ++activity_;
}

void Form::setTimerInterval(TimerId id, Long milliseconds) {
  FormTimer& t = timer(id);
  t.interval = milliseconds;
  if (t.enabled) armTimer(t);
  ++activity_;
}

void Form::movePicture1(float left, float top) {
  if (left == picture1Left_ && top == picture1Top_) return;
  picture1Left_ = left;
  picture1Top_ = top;
  ++activity_;
}

bool Form::LoadPicture(const std::string& fileName, Picture& out) {
  if (fileName.empty()) {
    out = nullptr;
    return true;
  }
  auto img = readBmp(fileName);
  if (!img) return false;
  out = std::make_shared<const ImageData>(std::move(*img));
  return true;
}

Picture Form::slidePicture(int box) {
  return box >= 4 && box <= 9 ? slides[box] : nullptr;
}

void Form::setPicture2(Picture p) {
  ++activity_;
  if (!p) {
    Picture2->clear();
    return;
  }
  QImage img(p->width, p->height, QImage::Format_RGB32);
  for (int y = 0; y < p->height; ++y)
    for (int x = 0; x < p->width; ++x) {
      const Colour c = p->at(x, y);
      img.setPixel(x, y, qRgb(c & 0xFF, (c >> 8) & 0xFF, (c >> 16) & 0xFF));
    }
  Picture2->setPixmap(
      QPixmap::fromImage(img.scaled(std::lround(p->width * scale_), std::lround(p->height * scale_),
                                    Qt::IgnoreAspectRatio, Qt::FastTransformation)));
}

std::uint32_t Form::secondsSinceMidnight() {
  return static_cast<std::uint32_t>(QTime::currentTime().msecsSinceStartOfDay() / 1000);
}

}  // namespace tavrel
