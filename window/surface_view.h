// Shows a surface on the screen, each program pixel a crisp block of device
// pixels. Only what changed is copied and repainted.
#pragma once

#include <QImage>
#include <QRegion>
#include <QWidget>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "canvas/surface.h"

namespace tavrel {

class ServerStage;

// A screen reader sees a view as a picture, named by its accessible name.
void installSurfaceViewAccessibility();

class SurfaceView : public QWidget {
 public:
  SurfaceView(Surface& surface, double scale, QWidget* parent = nullptr);
  ~SurfaceView() override;

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

  // Places a view that moves over its parent (Picture1) with its top left
  // corner at `at`, in program pixels of the parent, shown or hidden. Where Qt draws on X and the
  // parent is a view with nothing else over it, the parent keeps both on the server, as a stage and
  // the picture on it, and the widget itself stays hidden: see ServerStage.
  void place(QPoint at, bool visible);
  // Shown on the screen, by Qt or on the server's stage: what a screen
  // reader is told, since a picture on the stage is a hidden widget to Qt.
  bool onScreen() const { return isVisible() || onStage_; }
  // What the view shows, as an image of `devicePixelRatio` device pixels
  // to the pixel, painted as paintEvent paints it.
  QImage rendered(qreal devicePixelRatio);

  // A press of a mouse button on the bare surface; empty: the press is not
  // this widget's.
  std::function<void()> onPress;
  // Called once, at the first paint: the window is on the screen.
  std::function<void()> onFirstPaint;

 protected:
  void paintEvent(QPaintEvent* e) override;
  void mousePressEvent(QMouseEvent* e) override;

 private:
  void paintExposed(QPainter& p, const QRegion& exposed);
  // Shows `picture`, a view that moves over this one, on a stage that the
  // server keeps; false where it can't (not on X, or other widgets over
  // this view): the picture is then Qt's to show. None: the server forgets
  // the stage.
  bool stage(SurfaceView* picture);
  // The one colour the view shows, when it shows one.
  std::optional<QRgb> oneColour() const;

  Surface& surface_;
  double scale_;
  QImage image_;
  // The surface's pixels as `image_` shows them: a cheap way to tell which
  // damaged pixels really changed.
  std::vector<Colour> shown_;
  std::uint64_t version_ = ~std::uint64_t{0};
  QPoint at_;                // where place() put it, in program pixels
  bool onStage_ = false;     // shown by the parent's stage
  bool serverStale_ = true;  // a stage shows an older picture than image_
  std::unique_ptr<ServerStage> stage_;
  bool noStage_ = false;  // the platform has none
  QRect stageStale_;      // what changed since the stage was last sent, in widget pixels
};

}  // namespace tavrel
