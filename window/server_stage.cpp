#include "window/server_stage.h"

#include <xcb/xcb.h>

#include <QGuiApplication>
#include <QImage>
#include <QWidget>
#include <algorithm>
#include <bit>
#include <cstdlib>
#include <vector>

namespace tavrel {

namespace {

template <typename T>
struct Reply {
  T* p = nullptr;
  explicit Reply(T* reply) : p(reply) {}
  ~Reply() { std::free(p); }
  T* operator->() const { return p; }
  explicit operator bool() const { return p != nullptr; }
};

xcb_connection_t* connectionOfQt() {
  auto* x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
  return x11 ? x11->connection() : nullptr;
}

// The depth of the window when its pixels are QImage::Format_RGB32 as it
// lies in memory (TrueColor, eight bits a channel in the usual places, 32
// bits a pixel, in this machine's byte order); else 0.
std::uint8_t depthHoldingRgb32(xcb_connection_t* c, xcb_window_t window) {
  const Reply attributes(
      xcb_get_window_attributes_reply(c, xcb_get_window_attributes(c, window), nullptr));
  const Reply geometry(xcb_get_geometry_reply(c, xcb_get_geometry(c, window), nullptr));
  if (!attributes || !geometry) return 0;
  const xcb_setup_t* setup = xcb_get_setup(c);
  const bool littleEndian = std::endian::native == std::endian::little;
  if ((setup->image_byte_order == XCB_IMAGE_ORDER_LSB_FIRST) != littleEndian) return 0;
  bool format = false;
  for (auto f = xcb_setup_pixmap_formats_iterator(setup); f.rem; xcb_format_next(&f))
    if (f.data->depth == geometry->depth)
      format = f.data->bits_per_pixel == 32 && f.data->scanline_pad == 32;
  if (!format) return 0;
  for (auto s = xcb_setup_roots_iterator(setup); s.rem; xcb_screen_next(&s))
    for (auto d = xcb_screen_allowed_depths_iterator(s.data); d.rem; xcb_depth_next(&d))
      for (auto v = xcb_depth_visuals_iterator(d.data); v.rem; xcb_visualtype_next(&v))
        if (v.data->visual_id == attributes->visual)
          return v.data->_class == XCB_VISUAL_CLASS_TRUE_COLOR && v.data->red_mask == 0xFF0000 &&
                         v.data->green_mask == 0x00FF00 && v.data->blue_mask == 0x0000FF
                     ? geometry->depth
                     : 0;
  return 0;
}

}  // namespace

struct ServerStage::X {
  X(xcb_connection_t* connection, xcb_window_t in, std::uint8_t bits)
      : c(connection), parent(in), depth(bits) {}
  xcb_connection_t* c;
  xcb_window_t parent;
  std::uint8_t depth;
  xcb_window_t window = XCB_NONE;
  xcb_gcontext_t gc = XCB_NONE;
  // Fills with what lies under the picture: the ground's colour, or its
  // image as a tile.
  xcb_gcontext_t groundGc = XCB_NONE;
  xcb_pixmap_t ground = XCB_NONE;
  xcb_pixmap_t picture = XCB_NONE;
  QSize pictureSize;

  // Requests whose target may be gone already (the main window destroyed
  // first): an error there is nobody's business.
  void quietly(xcb_void_cookie_t cookie) { xcb_discard_reply(c, cookie.sequence); }

  xcb_pixmap_t pixmap(QSize size) {
    const xcb_pixmap_t p = xcb_generate_id(c);
    xcb_create_pixmap(c, depth, p, window, static_cast<std::uint16_t>(size.width()),
                      static_cast<std::uint16_t>(size.height()));
    return p;
  }

  ~X() {
    if (ground) quietly(xcb_free_pixmap_checked(c, ground));
    if (picture) quietly(xcb_free_pixmap_checked(c, picture));
    if (gc) quietly(xcb_free_gc_checked(c, gc));
    if (groundGc) quietly(xcb_free_gc_checked(c, groundGc));
    if (window) quietly(xcb_destroy_window_checked(c, window));
    xcb_flush(c);
  }
};

std::unique_ptr<ServerStage> ServerStage::create(QWidget* window) {
  xcb_connection_t* c = connectionOfQt();
  if (!c || !window) return nullptr;
  const auto parent = static_cast<xcb_window_t>(window->winId());
  const std::uint8_t depth = depthHoldingRgb32(c, parent);
  if (depth == 0) return nullptr;
  auto x = std::make_unique<X>(c, parent, depth);
  x->window = xcb_generate_id(c);
  // No events: presses and motion go on to the main window, and what the
  // server paints from the background needs nobody.
  const std::uint32_t values[] = {0, 0};
  xcb_create_window(c, XCB_COPY_FROM_PARENT, x->window, parent, 0, 0, 1, 1, 0,
                    XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT,
                    XCB_CW_BACK_PIXEL | XCB_CW_EVENT_MASK, values);
  x->gc = xcb_generate_id(c);
  const std::uint32_t noExposures = 0;
  xcb_create_gc(c, x->gc, parent, XCB_GC_GRAPHICS_EXPOSURES, &noExposures);
  x->groundGc = xcb_generate_id(c);
  xcb_create_gc(c, x->groundGc, parent, XCB_GC_GRAPHICS_EXPOSURES, &noExposures);
  return std::unique_ptr<ServerStage>(new ServerStage(std::move(x)));
}

Uncovered uncovered(const QRect& was, const QRect& now) {
  Uncovered u;
  const auto add = [&u](int x0, int y0, int x1, int y1) {  // [x0, x1) x [y0, y1)
    if (x1 > x0 && y1 > y0)
      u.rects[static_cast<std::size_t>(u.count++)] = QRect(x0, y0, x1 - x0, y1 - y0);
  };
  if (was.isEmpty()) return u;
  if (!was.intersects(now)) {
    add(was.left(), was.top(), was.right() + 1, was.bottom() + 1);
    return u;
  }
  const int top = std::max(was.top(), now.top()), bottom = std::min(was.bottom(), now.bottom());
  add(was.left(), was.top(), was.right() + 1, now.top());                // above
  add(was.left(), now.bottom() + 1, was.right() + 1, was.bottom() + 1);  // below
  add(was.left(), top, now.left(), bottom + 1);                          // to the left
  add(now.right() + 1, top, was.right() + 1, bottom + 1);                // to the right
  return u;
}

ServerStage::ServerStage(std::unique_ptr<X> x) : x_(std::move(x)) {}

ServerStage::~ServerStage() {
  hide();
}

bool ServerStage::childOf(const QWidget* window) const {
  return window && static_cast<xcb_window_t>(window->internalWinId()) == x_->parent;
}

void ServerStage::resize(QSize size) {
  size = size.expandedTo(QSize(1, 1));
  if (size == size_) return;
  const std::uint32_t extent[] = {static_cast<std::uint32_t>(size.width()),
                                  static_cast<std::uint32_t>(size.height())};
  xcb_configure_window(x_->c, x_->window, XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT,
                       extent);
  size_ = size;
  redraw_ = true;
}

void ServerStage::setGround(QRgb colour, QSize size) {
  resize(size);
  if (x_->ground) {
    xcb_free_pixmap(x_->c, x_->ground);
    x_->ground = XCB_NONE;
  }
  const std::uint32_t pixel = colour & 0xFFFFFF;
  xcb_change_window_attributes(x_->c, x_->window, XCB_CW_BACK_PIXEL, &pixel);
  const std::uint32_t solid[] = {pixel, XCB_FILL_STYLE_SOLID};
  xcb_change_gc(x_->c, x_->groundGc, XCB_GC_FOREGROUND | XCB_GC_FILL_STYLE, solid);
  colourGround_ = true;
  clear(QRect(QPoint(0, 0), size_));
}

void ServerStage::setGround(const QImage& image, const QRect& changed) {
  QRect part = changed & image.rect();
  if (image.size() != size_ || !x_->ground) {
    resize(image.size());
    if (x_->ground) xcb_free_pixmap(x_->c, x_->ground);
    x_->ground = x_->pixmap(size_);
    xcb_change_window_attributes(x_->c, x_->window, XCB_CW_BACK_PIXMAP, &x_->ground);
    const std::uint32_t tiled[] = {XCB_FILL_STYLE_TILED, x_->ground};
    xcb_change_gc(x_->c, x_->groundGc, XCB_GC_FILL_STYLE | XCB_GC_TILE, tiled);
    part = image.rect();
  }
  colourGround_ = false;
  put(x_->ground, image, part);
  clear(part);
}

void ServerStage::setPicture(const QImage& picture) {
  const QSize size = picture.size().expandedTo(QSize(1, 1));
  if (size != x_->pictureSize) {
    if (x_->picture) xcb_free_pixmap(x_->c, x_->picture);
    x_->picture = x_->pixmap(size);
    x_->pictureSize = size;
  }
  put(x_->picture, picture, picture.rect());
  redraw_ = true;
}

void ServerStage::put(unsigned drawable, const QImage& image, const QRect& part) {
  if (part.isEmpty()) return;
  xcb_connection_t* c = x_->c;
  const QImage rgb32 =
      image.format() == QImage::Format_RGB32 ? image : image.convertToFormat(QImage::Format_RGB32);
  // Rows of the part, in strips that each fit in one request, its header included.
  const auto stride = static_cast<std::size_t>(part.width()) * 4;
  const std::size_t maxBytes = static_cast<std::size_t>(xcb_get_maximum_request_length(c)) * 4;
  const int rowsPerRequest = std::max(1, static_cast<int>((maxBytes - 64) / stride));
  std::vector<std::uint8_t> strip;
  for (int row = part.top(); row <= part.bottom(); row += rowsPerRequest) {
    const int rows = std::min(rowsPerRequest, part.bottom() + 1 - row);
    strip.resize(stride * static_cast<std::size_t>(rows));
    for (int r = 0; r < rows; ++r)
      std::copy_n(rgb32.constScanLine(row + r) + part.left() * 4, stride,
                  strip.begin() + static_cast<std::ptrdiff_t>(stride * r));
    xcb_put_image(c, XCB_IMAGE_FORMAT_Z_PIXMAP, drawable, x_->gc,
                  static_cast<std::uint16_t>(part.width()), static_cast<std::uint16_t>(rows),
                  static_cast<std::int16_t>(part.left()), static_cast<std::int16_t>(row), 0,
                  x_->depth, static_cast<std::uint32_t>(strip.size()), strip.data());
  }
}

// Paints `r` of the stage from its background; the picture there is drawn
// again at the next show.
void ServerStage::clear(const QRect& r) {
  if (!shown_ || r.isEmpty()) return;
  xcb_clear_area(x_->c, 0, x_->window, static_cast<std::int16_t>(r.x()),
                 static_cast<std::int16_t>(r.y()), static_cast<std::uint16_t>(r.width()),
                 static_cast<std::uint16_t>(r.height()));
  if (r.intersects(picture_)) redraw_ = true;
}

void ServerStage::show(QPoint at, QPoint picture) {
  xcb_connection_t* c = x_->c;
  if (!shown_ || at != at_) {
    const std::uint32_t place[] = {static_cast<std::uint32_t>(at.x()),
                                   static_cast<std::uint32_t>(at.y())};
    xcb_configure_window(c, x_->window, XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y, place);
    at_ = at;
  }
  if (!shown_) {
    // Mapped, it is painted from its background at once.
    xcb_map_window(c, x_->window);
    shown_ = true;
    picture_ = QRect();
    redraw_ = true;
  }
  const QRect now(picture, x_->pictureSize);
  if (x_->picture && (redraw_ || now != picture_)) {
    xcb_copy_area(c, x_->picture, x_->window, x_->gc, 0, 0, static_cast<std::int16_t>(now.x()),
                  static_cast<std::int16_t>(now.y()), static_cast<std::uint16_t>(now.width()),
                  static_cast<std::uint16_t>(now.height()));
    const Uncovered bare = uncovered(picture_, now);
    picture_ = now;
    redraw_ = false;
    xcb_rectangle_t left[4];
    for (int k = 0; k < bare.count; ++k) {
      const QRect& r = bare.rects[static_cast<std::size_t>(k)];
      left[k] = {static_cast<std::int16_t>(r.x()), static_cast<std::int16_t>(r.y()),
                 static_cast<std::uint16_t>(r.width()), static_cast<std::uint16_t>(r.height())};
    }
    const auto count = static_cast<std::uint32_t>(bare.count);
    if (count) xcb_poly_fill_rectangle(c, x_->window, x_->groundGc, count, left);
  }
  xcb_flush(c);
}

void ServerStage::hide() {
  if (!shown_) return;
  x_->quietly(xcb_unmap_window_checked(x_->c, x_->window));
  xcb_flush(x_->c);
  shown_ = false;
  picture_ = QRect();
}

}  // namespace tavrel
