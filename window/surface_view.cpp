#include "window/surface_view.h"

#include <QAccessibleWidget>
#include <QMouseEvent>
#include <QPainter>
#include <algorithm>
#include <cmath>
#include <cstring>

#include "window/image_convert.h"
#include "window/server_stage.h"

namespace tavrel {

namespace {

// A view is a picture to a screen reader, seen where it is on the screen,
// the one the server's stage shows included.
class AccessibleView : public QAccessibleWidget {
 public:
  explicit AccessibleView(SurfaceView* view) : QAccessibleWidget(view, QAccessible::Graphic) {}
  QAccessible::State state() const override {
    QAccessible::State s = QAccessibleWidget::state();
    if (static_cast<const SurfaceView*>(widget())->onScreen()) s.invisible = s.offscreen = false;
    return s;
  }
  QRect rect() const override {
    const QWidget* w = widget();
    if (!static_cast<const SurfaceView*>(w)->onScreen()) return {};
    return QRect(w->mapToGlobal(QPoint(0, 0)), w->size());
  }
};

QAccessibleInterface* accessibleView(const QString&, QObject* object) {
  if (auto* view = dynamic_cast<SurfaceView*>(object)) return new AccessibleView(view);
  return nullptr;
}

}  // namespace

void installSurfaceViewAccessibility() {
  QAccessible::removeFactory(accessibleView);  // once, however many windows are made
  QAccessible::installFactory(accessibleView);
}

SurfaceView::SurfaceView(Surface& surface, double scale, QWidget* parent)
    : QWidget(parent), surface_(surface), scale_(scale) {
  setAttribute(Qt::WA_OpaquePaintEvent);
}

SurfaceView::~SurfaceView() = default;

namespace {

// Within `box`, the pixels of `from` that differ from `shown` are copied to
// `shown` and, converted, to `image`; returns the box around them. A
// generation in screen-saver mode draws over the whole window and leaves it
// as it was: comparing rows is far cheaper than converting and repainting them.
PixelRect copyChanged(const Colour* from, int stride, const PixelRect& box, Colour* shown,
                      QImage& image) {
  PixelRect changed;
  const std::size_t width = static_cast<std::size_t>(box.right - box.left + 1);
  for (int y = box.top; y <= box.bottom; ++y) {
    const std::size_t row = static_cast<std::size_t>(y) * stride;
    const Colour* in = from + row;
    Colour* was = shown + row;
    if (std::memcmp(in + box.left, was + box.left, width * sizeof(Colour)) == 0) continue;
    int first = box.left, last = box.right;
    while (in[first] == was[first]) ++first;
    while (in[last] == was[last]) --last;
    std::copy(in + first, in + last + 1, was + first);
    copyPixels(from, stride, first, y, last, y, image);
    changed.unite({first, y, last, y});
  }
  return changed;
}

}  // namespace

bool SurfaceView::refresh() {
  const bool resized = image_.width() != surface_.width() || image_.height() != surface_.height();
  if (!resized && surface_.version() == version_) return false;
  PixelRect damage = surface_.takeDamage();
  version_ = surface_.version();
  const int w = surface_.width(), h = surface_.height();
  if (resized) {
    image_ = QImage(w, h, QImage::Format_RGB32);
    damage = {0, 0, w - 1, h - 1};
    shown_.assign(static_cast<std::size_t>(w) * h, 0);
    if (w > 0 && h > 0) std::copy_n(surface_.scanline(0), shown_.size(), shown_.begin());
    copyPixels(surface_.scanline(0), w, 0, 0, w - 1, h - 1, image_);
  } else {
    if (damage.empty()) return false;
    damage = copyChanged(surface_.scanline(0), w, damage, shown_.data(), image_);
  }
  if (damage.empty()) return false;
  const QRect changed(static_cast<int>(std::floor(damage.left * scale_)),
                      static_cast<int>(std::floor(damage.top * scale_)),
                      static_cast<int>(std::ceil((damage.right - damage.left + 1) * scale_)) + 2,
                      static_cast<int>(std::ceil((damage.bottom - damage.top + 1) * scale_)) + 2);
  serverStale_ = true;
  stageStale_ |= changed;
  update(changed);
  return true;
}

void SurfaceView::paintEvent(QPaintEvent* e) {
  if (onFirstPaint) {
    auto first = std::move(onFirstPaint);
    onFirstPaint = nullptr;
    first();
  }
  QPainter p(this);
  paintExposed(p, e->region());
}

void SurfaceView::paintExposed(QPainter& p, const QRegion& exposed) {
  // Nearest neighbour: a program pixel never blurs into its neighbours.
  p.setRenderHint(QPainter::SmoothPixmapTransform, false);
  const QRect image(0, 0, static_cast<int>(std::ceil(image_.width() * scale_)),
                    static_cast<int>(std::ceil(image_.height() * scale_)));
  // Only what is exposed, from just the program pixels under it: a moving
  // picture repaints a small strip, not the whole window's image.
  for (const QRect& r : exposed) {
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

QImage SurfaceView::rendered(qreal devicePixelRatio) {
  if (stale()) refresh();
  QImage out(std::max(1, qRound(width() * devicePixelRatio)),
             std::max(1, qRound(height() * devicePixelRatio)), QImage::Format_RGB32);
  out.setDevicePixelRatio(devicePixelRatio);
  QPainter p(&out);
  paintExposed(p, QRegion(rect()));
  return out;
}

void SurfaceView::place(QPoint at, bool visible) {
  at_ = at;
  const QRect target(static_cast<int>(std::lround(at.x() * scale_)),
                     static_cast<int>(std::lround(at.y() * scale_)),
                     static_cast<int>(std::lround(surface_.width() * scale_)),
                     static_cast<int>(std::lround(surface_.height() * scale_)));
  if (geometry() != target) setGeometry(target);
  auto* ground = dynamic_cast<SurfaceView*>(parentWidget());
  const bool staged = ground && ground->stage(visible ? this : nullptr);
  onStage_ = visible && staged;
  setVisible(visible && !staged);
}

bool SurfaceView::stage(SurfaceView* picture) {
  if (stage_ && (!picture || !stage_->childOf(window()))) stage_.reset();
  if (!stage_ && picture && !noStage_) {
    stage_ = ServerStage::create(window());
    noStage_ = !stage_;
    stageStale_ = rect();
    picture->serverStale_ = true;
  }
  // Widgets over the view (the information page, a note) are Qt's to
  // show, and the moving picture with them.
  const QObjectList& kids = children();
  const bool staged =
      stage_ && std::none_of(kids.begin(), kids.end(), [picture](QObject* o) {
        return o != picture && o->isWidgetType() && static_cast<QWidget*>(o)->isVisible();
      });
  // Under the stage Qt need not paint the view; it paints it whole again
  // when the stage goes.
  setUpdatesEnabled(!staged);
  if (!staged) {
    if (stage_) stage_->hide();
    return false;
  }
  const qreal ratio = window()->devicePixelRatioF();
  const auto device = [ratio](QPointF p) {
    return QPoint(qRound(p.x() * ratio), qRound(p.y() * ratio));
  };
  const QSize size(qRound(width() * ratio), qRound(height() * ratio));
  if (size != stage_->size() || !stageStale_.isEmpty()) {
    // Under a moving picture the view is mostly of one colour: then the
    // server needs no image of it.
    if (const auto colour = oneColour()) {
      stage_->setGround(*colour, size);
    } else {
      const QRect changed(device(stageStale_.topLeft()) - QPoint(1, 1),
                          device(stageStale_.bottomRight() + QPoint(1, 1)) + QPoint(1, 1));
      stage_->setGround(rendered(ratio), changed);
    }
    stageStale_ = QRect();
  }
  if (picture->serverStale_) {
    stage_->setPicture(picture->rendered(ratio));
    picture->serverStale_ = false;
  }
  // From the picture's place in program pixels: each step is the same
  // number of device pixels, give or take one.
  stage_->show(device(mapTo(window(), QPoint(0, 0))),
               device(QPointF(picture->at_) * picture->scale_));
  return true;
}

std::optional<QRgb> SurfaceView::oneColour() const {
  const QRgb first = image_.isNull() ? qRgb(0, 0, 0) : image_.pixel(0, 0);
  for (int y = 0; y < image_.height(); ++y) {
    const auto* row = reinterpret_cast<const QRgb*>(image_.constScanLine(y));
    if (!std::all_of(row, row + image_.width(), [first](QRgb p) { return p == first; }))
      return std::nullopt;
  }
  // Beyond the surface the view is black.
  const bool beyond = width() > std::ceil(image_.width() * scale_) ||
                      height() > std::ceil(image_.height() * scale_);
  if (beyond && qRgb(0, 0, 0) != first) return std::nullopt;
  return first;
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
