#include "window/print.h"

#include <QComboBox>
#include <QFormLayout>
#include <QPainter>
#include <QPrintDialog>
#include <QPrinter>
#include <cmath>
#include <memory>

#include "window/image_convert.h"

namespace tavrel {

void paintPage(QPrinter& printer, const ImageData& picture, bool repeatTile, double centimetres) {
  if (picture.width < 5 || picture.height < 5) return;
  // Whole dots per picture pixel: no pixel is drawn wider than its neighbour.
  const double dotsPerPixel = centimetres / 2.54 * printer.resolution() / 100;
  const int dots = std::max(1, static_cast<int>(std::lround(dotsPerPixel)));
  const QRect area(QPoint(0, 0), printer.pageRect(QPrinter::DevicePixel).size().toSize());
  QPainter painter(&printer);
  painter.setRenderHint(QPainter::SmoothPixmapTransform, false);
  painter.setRenderHint(QPainter::LosslessImageRendering);  // exact colours in a PDF too
  if (repeatTile) {
    // Inside the black box frame: the tile from one frame line to the next.
    const int period = picture.width - 4;
    const QImage tile =
        toQImage(picture, QRect(1, 1, period, period))
            .scaled(period * dots, period * dots, Qt::IgnoreAspectRatio, Qt::FastTransformation);
    for (int y = 0; y < area.height(); y += tile.height())
      for (int x = 0; x < area.width(); x += tile.width()) painter.drawImage(QPoint(x, y), tile);
  } else {
    const QImage shape = toQImage(picture).scaled(picture.width * dots, picture.height * dots,
                                                  Qt::IgnoreAspectRatio, Qt::FastTransformation);
    painter.drawImage(
        QPoint((area.width() - shape.width()) / 2, (area.height() - shape.height()) / 2), shape);
  }
}

void printWithDialog(QWidget* parent, const ImageData& picture, bool repeatTile, double centimetres,
                     std::function<void(double)> printed) {
  auto printer = std::make_shared<QPrinter>(QPrinter::HighResolution);
  printer->setResolution(300);  // fine enough for crisp blocks, small enough for a PDF
  auto* dialog = new QPrintDialog(printer.get(), parent);
  dialog->setAttribute(Qt::WA_DeleteOnClose);
  dialog->setWindowTitle("Print pattern");
  auto* options = new QWidget;
  options->setWindowTitle("Picture");
  auto* size = new QComboBox(options);
  for (double cm : kPrintSizes) size->addItem(QString("%1 cm").arg(cm, 0, 'g', 3), cm);
  size->setCurrentIndex(std::max(0, size->findData(nearestPrintSize(centimetres))));
  auto* layout = new QFormLayout(options);
  layout->addRow(repeatTile ? "Size of one tile:" : "Size of the shape:", size);
  dialog->setOptionTabs({options});
  QObject::connect(dialog, &QDialog::accepted, dialog,
                   [printer, picture, repeatTile, size, printed] {
                     const double cm = size->currentData().toDouble();
                     paintPage(*printer, picture, repeatTile, cm);
                     printed(cm);
                   });
  dialog->open();
}

}  // namespace tavrel
