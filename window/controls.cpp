#include "window/controls.h"

#include <QLabel>
#include <QLineEdit>
#include <QProxyStyle>
#include <QPushButton>
#include <QRadioButton>
#include <QStyleOptionButton>
#include <QStylePainter>
#include <cmath>

#include "window/surface_view.h"

namespace tavrel {

namespace {

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
    p.setPen(
        palette().color(isEnabled() ? QPalette::Active : QPalette::Disabled, QPalette::ButtonText));
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

struct LabelRow {
  Place at;
  const char* caption;
  int r, g, b;
};
constexpr LabelRow kLabels[] = {
    {{"Label1", 3120, 6000, 2175, 255}, "Complexity of shape (0 to 20):", 0, 255, 0},
    {{"Label2", 120, 1560, 1935, 255}, "Size of shape: (40 to 400):", 0, 255, 0},
    {{"Label3", 120, 2160, 1815, 255}, "Detail of shape (1 to 25):", 128, 255, 255},
    {{"Label4", 120, 2160, 1935, 255}, "Number of sides (4 or 8):", 128, 255, 255},
    {{"Label5", 120, 7200, 2055, 255}, "Seconds waited (scr-mode):", 0, 255, 0},
    {{"Label7", 120, 3120, 1575, 255}, "Complexity (1 to 25):", 128, 255, 255},
    {{"Label8", 120, 3720, 1575, 255}, "Smoothness (1 to 9):", 0, 255, 255},
};

struct FieldRow {
  Field field;
  Place at;
  const char* text;
  int maxLength;  // 0: any
  bool enabled;
};
constexpr FieldRow kFields[] = {
    {Field::Text1, {"Text1", 5280, 6000, 375, 285}, "0", 2, true},
    {Field::Text2, {"Text2", 2040, 1560, 375, 285}, "100", 3, false},
    {Field::Text3, {"Text3", 1920, 2160, 375, 285}, "16", 2, true},
    {Field::Text4, {"Text4", 2040, 2160, 375, 285}, "4", 2, false},
    {Field::Text5, {"Text5", 2160, 7200, 375, 285}, "10", 2, true},
    {Field::Text6, {"Text6", 1680, 3120, 375, 285}, "1", 0, false},
    {Field::Text7, {"Text7", 1680, 3720, 375, 285}, "2", 0, false},
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
  std::array<QLabel*, std::size(kLabels)> labels{};
  for (std::size_t i = 0; i < std::size(kLabels); ++i) {
    const LabelRow& row = kLabels[i];
    auto* l = new QLabel(row.caption, view);
    place(l, row.at);
    setBackground(l, row.r, row.g, row.b);
    l->setWordWrap(true);
    l->hide();
    labels[i] = l;
  }
  for (const FieldRow& row : kFields) {
    auto* t = new QLineEdit(row.text, view);
    place(t, row.at);
    if (row.maxLength > 0) t->setMaxLength(row.maxLength);
    t->setEnabled(row.enabled);
    t->installEventFilter(keys);
    t->hide();
    c.fields[static_cast<int>(row.field)] = t;
  }

  c.command1 = new WrappingButton("Create random shape", view);
  place(c.command1, kCommand1);
  // Covered by "Click to begin" at first: no key may reach it then.
  c.command1->setFocusPolicy(Qt::NoFocus);
  c.command3 = new WrappingButton("Click to begin", view);
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

  c.option1 = new WrappingRadio("Shapes Regular", view);
  place(c.option1, kOption1);
  c.option2 = new WrappingRadio("Shapes Fancy", view);
  place(c.option2, kOption2);
  auto* indicators = new ScaledIndicators(scale);
  indicators->setParent(view);
  for (QRadioButton* o : {c.option1, c.option2}) {
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

  const auto field = [&](Field f) -> QWidget* { return c.fields[static_cast<int>(f)]; };
  c.panelShown = {c.command1,
                  labels[1],
                  field(Field::Text2),
                  labels[2],
                  field(Field::Text3),
                  labels[4],
                  field(Field::Text5),
                  labels[5],
                  field(Field::Text6),
                  labels[6],
                  field(Field::Text7),
                  c.option1,
                  c.option2};
  c.panelHidden = {labels[0], field(Field::Text1), labels[3], field(Field::Text4)};
  return c;
}

}  // namespace tavrel
