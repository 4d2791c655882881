#include "window/controls.h"

#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QProxyStyle>
#include <QPushButton>
#include <QRadioButton>
#include <QStyleOptionButton>
#include <QStylePainter>
#include <cmath>

#include "window/surface_view.h"

namespace tavrel {

namespace {

// Whether the user works the window by keys: a key was pressed since the
// last mouse button. The focus mark shows then, and a click takes it away, as
// a mouse user needs no mark.
class KeysInUse : public QObject {
 public:
  explicit KeysInUse(QObject* parent) : QObject(parent) { qApp->installEventFilter(this); }
  bool on = false;

 protected:
  bool eventFilter(QObject*, QEvent* e) override {
    const bool key = e->type() == QEvent::KeyPress;
    if ((key || e->type() == QEvent::MouseButtonPress) && key != on) {
      on = key;
      if (QWidget* w = QApplication::focusWidget()) w->update();
    }
    return false;
  }
};

// A control that draws the window's focus mark along its edges: a white
// ring round a black one, which reads against the black window and on every
// background of a control (white fields, grey buttons, red option boxes).
template <typename Base>
class Marked : public Base {
 public:
  template <typename... Args>
  explicit Marked(const KeysInUse* keys, Args&&... args)
      : Base(std::forward<Args>(args)...), keys_(keys) {}

 protected:
  void paintFocusMark(QPainter& p) {
    if (!this->hasFocus() || !keys_->on) return;
    const int width = std::max(2, this->fontMetrics().height() / 7);
    const int thin = std::max(1, width / 2);
    const QRect outer = this->rect(), inner = outer.adjusted(thin, thin, -thin, -thin);
    const auto ring = [&p](const QRect& r, int w, Qt::GlobalColor c) {
      p.fillRect(r.left(), r.top(), r.width(), w, c);
      p.fillRect(r.left(), r.bottom() - w + 1, r.width(), w, c);
      p.fillRect(r.left(), r.top(), w, r.height(), c);
      p.fillRect(r.right() - w + 1, r.top(), w, r.height(), c);
    };
    ring(outer, thin, Qt::white);
    ring(inner, width, Qt::black);
  }

 private:
  const KeysInUse* keys_;
};

// A push button whose caption wraps onto as many lines as the button needs,
// in the window's one font.
class WrappingButton : public Marked<QPushButton> {
 public:
  using Marked::Marked;

 protected:
  void paintEvent(QPaintEvent*) override {
    QStylePainter p(this);
    QStyleOptionButton o;
    initStyleOption(&o);
    const QString caption = o.text;
    o.text.clear();
    p.drawControl(QStyle::CE_PushButton, o);
    const QRect room = style()->subElementRect(QStyle::SE_PushButtonContents, &o, this);
    p.setPen(
        palette().color(isEnabled() ? QPalette::Active : QPalette::Disabled, QPalette::ButtonText));
    p.drawText(room, Qt::AlignCenter | Qt::TextWordWrap, caption);
    paintFocusMark(p);
  }
};

// An option button whose caption wraps beside its indicator.
class WrappingRadio : public Marked<QRadioButton> {
 public:
  using Marked::Marked;

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
    paintFocusMark(p);
  }
};

// An input field with the window's focus mark.
class InputField : public Marked<QLineEdit> {
 public:
  using Marked::Marked;

 protected:
  void paintEvent(QPaintEvent* e) override {
    QLineEdit::paintEvent(e);
    QPainter p(this);
    paintFocusMark(p);
  }
};

// Option buttons whose round indicator grows with the display scale, as
// their captions do.
class ScaledIndicators : public QProxyStyle {
 public:
  explicit ScaledIndicators(double scale) : scale_(scale) {}
  int pixelMetric(PixelMetric metric, const QStyleOption* option,
                  const QWidget* widget) const override {
    const int base = QProxyStyle::pixelMetric(metric, option, widget);
    if (metric == PM_ExclusiveIndicatorWidth || metric == PM_ExclusiveIndicatorHeight ||
        metric == PM_RadioButtonLabelSpacing)
      return static_cast<int>(std::lround(base * scale_));
    return base;
  }

 private:
  double scale_;
};

// The design rectangles, in twips.
struct Place {
  const char* name;
  int left, top, width, height;
};

// Each field with the label beside it. Text1 and Text4 never come on the
// screen: they and their labels only hold values.
struct FieldRow {
  Field field;
  Place at;
  const char* text;
  int maxLength;  // 0: any
  bool enabled;
  Place labelAt;
  const char* caption;
  int r, g, b;  // the label's colour
  bool shown;
};
constexpr FieldRow kFields[] = {
    {Field::Text1,
     {"Text1", 5280, 6000, 375, 285},
     "0",
     2,
     true,
     {"Label1", 3120, 6000, 2175, 255},
     "Complexity of shape (0 to 20):",
     0,
     255,
     0,
     false},
    {Field::Text2,
     {"Text2", 2040, 1560, 375, 285},
     "100",
     3,
     false,
     {"Label2", 120, 1560, 1935, 255},
     "Size of shape: (40 to 400):",
     0,
     255,
     0,
     true},
    {Field::Text3,
     {"Text3", 1920, 2160, 375, 285},
     "16",
     2,
     true,
     {"Label3", 120, 2160, 1815, 255},
     "Detail of shape (1 to 25):",
     128,
     255,
     255,
     true},
    {Field::Text4,
     {"Text4", 2040, 2160, 375, 285},
     "4",
     2,
     false,
     {"Label4", 120, 2160, 1935, 255},
     "Number of sides (4 or 8):",
     128,
     255,
     255,
     false},
    {Field::Text5,
     {"Text5", 2160, 7200, 375, 285},
     "10",
     2,
     true,
     {"Label5", 120, 7200, 2055, 255},
     "Seconds waited (scr-mode):",
     0,
     255,
     0,
     true},
    {Field::Text6,
     {"Text6", 1680, 3120, 375, 285},
     "1",
     0,
     false,
     {"Label7", 120, 3120, 1575, 255},
     "Complexity (1 to 25):",
     128,
     255,
     255,
     true},
    {Field::Text7,
     {"Text7", 1680, 3720, 375, 285},
     "2",
     0,
     false,
     {"Label8", 120, 3720, 1575, 255},
     "Smoothness (1 to 9):",
     0,
     255,
     255,
     true},
};

constexpr Place kCommand1{"Command1", 120, 240, 1215, 495};
constexpr Place kCommand3{"Command3", 120, 240, 1215, 495};
constexpr Place kLabel6{"Label6", 120, 240, 2655, 2055};
constexpr Place kOption1{"Option1", 120, 4920, 1095, 495};
constexpr Place kOption2{"Option2", 120, 5760, 1095, 495};
constexpr Place kPicture1{"Picture1", 3120, 1320, 3015, 2415};
constexpr Place kPicture2{"Picture2", 0, 2520, 3015, 3135};

}  // namespace

void setBackground(QWidget* w, int r, int g, int b) {
  QPalette p = w->palette();
  p.setColor(QPalette::Window, QColor(r, g, b));
  p.setColor(QPalette::Base, QColor(r, g, b));
  w->setPalette(p);
  w->setAutoFillBackground(true);
}

Controls buildControls(QWidget* view, Surface& picture1, double scale, QObject* keys) {
  const auto px = [scale](int twips) {
    return static_cast<int>(std::lround(twips / 15.0 * scale));
  };
  const auto place = [&](QWidget* w, const Place& p) {
    w->setObjectName(p.name);
    w->setGeometry(px(p.left), px(p.top), px(p.width), px(p.height));
    return w;
  };
  Controls c;
  auto* keysInUse = new KeysInUse(view);
  // Never on the screen, so never shown to a screen reader: a window of
  // their own that is never made.
  c.offstage = std::make_unique<QWidget>();
  for (const FieldRow& row : kFields) {
    QWidget* parent = row.shown ? view : c.offstage.get();
    auto* l = new QLabel(row.caption, parent);
    place(l, row.labelAt);
    setBackground(l, row.r, row.g, row.b);
    l->setWordWrap(true);
    l->hide();
    auto* t = new InputField(keysInUse, row.text, parent);
    place(t, row.at);
    if (row.maxLength > 0) t->setMaxLength(row.maxLength);
    t->setEnabled(row.enabled);
    t->installEventFilter(keys);
    t->hide();
    // A screen reader names the field by the label beside it.
    l->setBuddy(t);
    c.fields[static_cast<int>(row.field)] = t;
    if (row.shown) c.panel.insert(c.panel.end(), {l, t});
  }

  c.command1 = new WrappingButton(keysInUse, "Create random shape", view);
  place(c.command1, kCommand1);
  // Covered by "Click to begin" at first: no key may reach it then.
  c.command1->setFocusPolicy(Qt::NoFocus);
  c.command3 = new WrappingButton(keysInUse, "Click to begin", view);
  place(c.command3, kCommand3);
  c.command3->raise();     // the same rectangle, in front
  c.command3->setFocus();  // keys go to the one button the user can see

  c.label6 = new QLabel(
      "Tavrel draws random pictures with eight-fold mirror symmetry: a random stroke seen "
      "through the mirrors closes into an outline, and each region takes a colour of its "
      "own.\n\nClick the window or press Esc to go back.",
      view);
  place(c.label6, kLabel6);
  c.label6->setWordWrap(true);
  c.label6->setMargin(px(60));
  c.label6->setAlignment(Qt::AlignTop | Qt::AlignLeft);
  {
    const QColor text = view->palette().color(QPalette::Active, QPalette::HighlightedText);
    setBackground(c.label6, text.red(), text.green(), text.blue());
  }
  c.label6->setAttribute(Qt::WA_NoMousePropagation);
  c.label6->hide();

  c.option1 = new WrappingRadio(keysInUse, "Shapes Regular", view);
  place(c.option1, kOption1);
  c.option2 = new WrappingRadio(keysInUse, "Shapes Fancy", view);
  place(c.option2, kOption2);
  auto* indicators = new ScaledIndicators(scale);
  indicators->setParent(view);
  for (QRadioButton* o : {c.option1, c.option2}) {
    // Tab stops once in the pair, at the selected one; the arrows move
    // between them.
    o->setFocusPolicy(Qt::ClickFocus);
    QObject::connect(o, &QRadioButton::toggled, o, [o](bool selected) {
      o->setFocusPolicy(selected ? Qt::StrongFocus : Qt::ClickFocus);
    });
    o->setStyle(indicators);
    setBackground(o, 255, 0, 0);
    QPalette p = o->palette();
    p.setColor(QPalette::Button, QColor(255, 0, 0));  // the style paints this role behind them
    p.setColor(QPalette::Base, Qt::white);            // the indicator stays readable
    o->setPalette(p);
    o->hide();
  }
  c.option2->setChecked(true);

  c.picture1 = new SurfaceView(picture1, scale, view);
  place(c.picture1, kPicture1);
  c.picture1->setAttribute(Qt::WA_NoMousePropagation);
  c.picture1->hide();
  c.picture2 = new QLabel(view);
  place(c.picture2, kPicture2);
  c.picture2->setAccessibleName("Sample picture");
  setBackground(c.picture2, 0, 0, 0);
  c.picture2->setAlignment(Qt::AlignTop | Qt::AlignLeft);
  c.picture2->setAttribute(Qt::WA_NoMousePropagation);
  c.picture2->hide();
  // The bouncing picture passes in front of the information page.
  c.picture1->raise();

  // A short note along the bottom of the window, over everything, that goes by itself.
  c.note = new QLabel(view);
  c.note->setObjectName("Note");
  c.note->setAutoFillBackground(true);
  setBackground(c.note, 255, 255, 224);
  c.note->setMargin(px(60));
  c.note->hide();

  c.panel.insert(c.panel.begin(), c.command1);
  c.panel.insert(c.panel.end(), {c.option1, c.option2});
  // Tab goes as one reads the panel: top to bottom.
  const auto field = [&](Field f) -> QWidget* { return c.fields[static_cast<int>(f)]; };
  QWidget* previous = c.command1;
  for (QWidget* next :
       {field(Field::Text2), field(Field::Text3), field(Field::Text6), field(Field::Text7),
        static_cast<QWidget*>(c.option1), static_cast<QWidget*>(c.option2), field(Field::Text5)}) {
    QWidget::setTabOrder(previous, next);
    previous = next;
  }
  return c;
}

}  // namespace tavrel
