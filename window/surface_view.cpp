#include "window/surface_view.h"

#include <QMouseEvent>
#include <QPainter>
#include <algorithm>
#include <cmath>

#include "window/image_convert.h"

namespace tavrel {

SurfaceView::SurfaceView(Surface& surface, double scale, QWidget* parent)
    : QWidget(parent), surface_(surface), scale_(scale) {
  setAttribute(Qt::WA_OpaquePaintEvent);
}

bool SurfaceView::refresh() {
  const bool resized = image_.width() != surface_.width() || image_.height() != surface_.height();
  if (!resized && surface_.version() == version_) return false;
  PixelRect damage = surface_.takeDamage();
  if (resized) {
    image_ = QImage(surface_.width(), surface_.height(), QImage::Format_RGB32);
    damage = {0, 0, surface_.width() - 1, surface_.height() - 1};
  }
  version_ = surface_.version();
  if (damage.empty()) return false;
  copyPixels(surface_.scanline(0), surface_.width(), damage.left, damage.top, damage.right,
             damage.bottom, image_);
  update(QRect(static_cast<int>(std::floor(damage.left * scale_)),
               static_cast<int>(std::floor(damage.top * scale_)),
               static_cast<int>(std::ceil((damage.right - damage.left + 1) * scale_)) + 2,
               static_cast<int>(std::ceil((damage.bottom - damage.top + 1) * scale_)) + 2));
  return true;
}

void SurfaceView::paintEvent(QPaintEvent* e) {
  if (onFirstPaint) {
    auto first = std::move(onFirstPaint);
    onFirstPaint = nullptr;
    first();
  }
  QPainter p(this);
  // Nearest neighbour: a program pixel never blurs into its neighbours.
  p.setRenderHint(QPainter::SmoothPixmapTransform, false);
  const QRect image(0, 0, static_cast<int>(std::ceil(image_.width() * scale_)),
                    static_cast<int>(std::ceil(image_.height() * scale_)));
  // Only what is exposed, from just the program pixels under it: a moving
  // picture repaints a small strip, not the whole window's image.
  for (const QRect& r : e->region()) {
    const int x0 = static_cast<int>(std::floor(r.left() / scale_));
    const int y0 = static_cast<int>(std::floor(r.top() / scale_));
    const int x1 = std::min(image_.width(), static_cast<int>(std::ceil((r.right() + 1) / scale_)));
    const int y1 =
        std::min(image_.height(), static_cast<int>(std::ceil((r.bottom() + 1) / scale_)));
    if (x1 > x0 && y1 > y0) {
      p.setClipRect(r);
      p.drawImage(QRectF(x0 * scale_, y0 * scale_, (x1 - x0) * scale_, (y1 - y0) * scale_), image_,
                  QRectF(x0, y0, x1 - x0, y1 - y0));
      p.setClipping(false);
    }
    for (const QRect& beyond : QRegion(r).subtracted(image)) p.fillRect(beyond, Qt::black);
  }
}

void SurfaceView::mousePressEvent(QMouseEvent* e) {
  if (onPress) {
    onPress();
    e->accept();
  } else {
    e->ignore();
  }
}

}  // namespace tavrel
