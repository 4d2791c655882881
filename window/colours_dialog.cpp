#include "window/colours_dialog.h"

#include <QColorDialog>
#include <QDialog>
#include <QDialogButtonBox>
#include <QGridLayout>
#include <QLabel>
#include <QPainter>
#include <QPushButton>
#include <QVBoxLayout>
#include <algorithm>
#include <array>
#include <memory>

#include "window/image_convert.h"

namespace tavrel {

namespace {

// A swatch shows its colour exactly and flat, edge to edge inside a thin
// frame, with its number in black or white, whichever reads on the colour.
class Swatch : public QPushButton {
 public:
  using QPushButton::QPushButton;
  void setColour(Colour c) {
    colour_ = c;
    // Its number and colour, as the eye reads them.
    setAccessibleName(QString("Colour %1, %2").arg(text(), toQColor(c).name()));
    update();
  }
  QSize sizeHint() const override {
    const QFontMetrics m = fontMetrics();
    return {m.horizontalAdvance("0") * 6, m.height() * 2};
  }

 protected:
  void paintEvent(QPaintEvent*) override {
    QPainter p(this);
    const QColor frame = hasFocus() ? palette().color(QPalette::Highlight) : QColor(Qt::gray);
    p.fillRect(rect(), frame);
    const int edge = std::max(1, fontMetrics().height() / 12);
    p.fillRect(rect().adjusted(edge, edge, -edge, -edge), toQColor(colour_));
    const QColor c = toQColor(colour_);
    const bool light = c.red() * 299 + c.green() * 587 + c.blue() * 114 > 128 * 1000;
    p.setPen(light ? Qt::black : Qt::white);
    p.drawText(rect(), Qt::AlignCenter, text());
  }

 private:
  Colour colour_ = 0;
};

void paintSwatch(QPushButton* b, Colour c) {
  static_cast<Swatch*>(b)->setColour(c);
}

}  // namespace

void editPalette(QWidget* parent, const UserPalette& current,
                 std::function<void(const UserPalette&)> accepted) {
  auto palette = std::make_shared<UserPalette>(current);
  auto* dialog = new QDialog(parent);
  dialog->setAttribute(Qt::WA_DeleteOnClose);
  dialog->setWindowTitle("Edit colors");
  auto* layout = new QVBoxLayout(dialog);
  layout->addWidget(new QLabel(
      "In user colour mode each basic colour of a picture takes the colour of its swatch."));
  auto* grid = new QGridLayout;
  auto swatches = std::make_shared<std::array<QPushButton*, 16>>();
  for (int n = 1; n <= 15; ++n) {
    auto* b = new Swatch(QString::number(n));
    paintSwatch(b, (*palette)[n]);
    if (n == 7 || n == 15) {
      // Grey and white are never a region's colour.
      b->setEnabled(false);
      b->setToolTip("Grey and white are never given to a region");
    }
    QObject::connect(b, &QPushButton::clicked, dialog, [dialog, palette, n, b] {
      auto* picker = new QColorDialog(toQColor((*palette)[n]), dialog);
      picker->setAttribute(Qt::WA_DeleteOnClose);
      picker->setWindowTitle(QString("Colour %1").arg(n));
      QObject::connect(picker, &QColorDialog::colorSelected, b, [palette, n, b](const QColor& c) {
        (*palette)[n] = fromQRgb(c.rgb());
        paintSwatch(b, (*palette)[n]);
      });
      picker->open();
    });
    grid->addWidget(b, (n - 1) / 5, (n - 1) % 5);
    (*swatches)[n] = b;
  }
  layout->addLayout(grid);
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel |
                                       QDialogButtonBox::Reset);
  QObject::connect(buttons, &QDialogButtonBox::accepted, dialog, &QDialog::accept);
  QObject::connect(buttons, &QDialogButtonBox::rejected, dialog, &QDialog::reject);
  QObject::connect(buttons->button(QDialogButtonBox::Reset), &QPushButton::clicked, dialog,
                   [palette, swatches] {
                     *palette = basicPalette();
                     for (int n = 1; n <= 15; ++n) paintSwatch((*swatches)[n], (*palette)[n]);
                   });
  QObject::connect(dialog, &QDialog::accepted, dialog, [palette, accepted] { accepted(*palette); });
  layout->addWidget(buttons);
  dialog->open();
}

}  // namespace tavrel
