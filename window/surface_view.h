// Shows a surface on the screen, each program pixel a crisp block of device
// pixels. Only what changed is copied and repainted.
#pragma once

#include <QImage>
#include <QWidget>
#include <functional>
#include <vector>

#include "canvas/surface.h"

namespace tavrel {

// A screen reader sees a view as a picture, named by its accessible name.
void installSurfaceViewAccessibility();

class SurfaceView : public QWidget {
 public:
  SurfaceView(Surface& surface, double scale, QWidget* parent = nullptr);

  // Copies what changed on the surface since the last call and asks for a
  // repaint of just that: pixels drawn over with what they held already
  // count as unchanged. True when anything changed.
  bool refresh();
  // Whether the surface changed since the last refresh.
  bool stale() const {
    return surface_.version() != version_ || image_.width() != surface_.width() ||
           image_.height() != surface_.height();
  }
  Surface& surface() { return surface_; }

  // A press of a mouse button on the bare surface; empty: the press is not
  // this widget's.
  std::function<void()> onPress;
  // Called once, at the first paint: the window is on the screen.
  std::function<void()> onFirstPaint;

 protected:
  void paintEvent(QPaintEvent* e) override;
  void mousePressEvent(QMouseEvent* e) override;

 private:
  Surface& surface_;
  double scale_;
  QImage image_;
  // The surface's pixels as `image_` shows them: a cheap way to tell which
  // damaged pixels really changed.
  std::vector<Colour> shown_;
  std::uint64_t version_ = ~std::uint64_t{0};
};

}  // namespace tavrel
