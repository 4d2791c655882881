#include "x_probe.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <memory>

namespace tavrel::saver::test {

namespace {

struct FreeDeleter {
  void operator()(void* p) const { std::free(p); }
};

struct Channel {
  int shift = 0, bits = 0;
  explicit Channel(std::uint32_t mask) : shift(std::countr_zero(mask)), bits(std::popcount(mask)) {}
  std::uint32_t widen(std::uint32_t pixel) const {
    const std::uint32_t top = (1u << bits) - 1;
    return ((pixel >> shift) & top) * 255 / top;
  }
};

const xcb_visualtype_t* visualOf(xcb_connection_t* c, xcb_visualid_t id) {
  for (auto s = xcb_setup_roots_iterator(xcb_get_setup(c)); s.rem; xcb_screen_next(&s))
    for (auto d = xcb_screen_allowed_depths_iterator(s.data); d.rem; xcb_depth_next(&d))
      for (auto v = xcb_depth_visuals_iterator(d.data); v.rem; xcb_visualtype_next(&v))
        if (v.data->visual_id == id) return v.data;
  return nullptr;
}

}  // namespace

bool Shot::near(Colour a, Colour b) const {
  for (int shift : {0, 8, 16})
    if (std::abs(((a >> shift) & 0xFF) - ((b >> shift) & 0xFF)) > tolerance) return false;
  return true;
}

std::optional<Shot> grab(xcb_connection_t* c, xcb_window_t window, int x, int y, int width,
                         int height) {
  if (width == 0) {
    std::unique_ptr<xcb_get_geometry_reply_t, FreeDeleter> g(
        xcb_get_geometry_reply(c, xcb_get_geometry(c, window), nullptr));
    if (!g) return std::nullopt;
    width = g->width;
    height = g->height;
  }
  std::unique_ptr<xcb_get_image_reply_t, FreeDeleter> img(xcb_get_image_reply(
      c,
      xcb_get_image(c, XCB_IMAGE_FORMAT_Z_PIXMAP, window, static_cast<std::int16_t>(x),
                    static_cast<std::int16_t>(y), static_cast<std::uint16_t>(width),
                    static_cast<std::uint16_t>(height), ~0u),
      nullptr));
  if (!img) return std::nullopt;
  const xcb_visualtype_t* v = visualOf(c, img->visual);
  if (v == nullptr) return std::nullopt;
  int bpp = 0, pad = 0;
  for (auto f = xcb_setup_pixmap_formats_iterator(xcb_get_setup(c)); f.rem; xcb_format_next(&f))
    if (f.data->depth == img->depth) {
      bpp = f.data->bits_per_pixel;
      pad = f.data->scanline_pad;
    }
  const bool msb = xcb_get_setup(c)->image_byte_order == XCB_IMAGE_ORDER_MSB_FIRST;
  const Channel r(v->red_mask), g(v->green_mask), b(v->blue_mask);
  const int stride = (width * bpp + pad - 1) / pad * pad / 8, bytes = bpp / 8;
  const std::uint8_t* data = xcb_get_image_data(img.get());
  Shot shot;
  shot.width = width;
  shot.height = height;
  shot.tolerance = (256 >> std::min({r.bits, g.bits, b.bits, 8})) / 2 + 1;
  if (std::min({r.bits, g.bits, b.bits}) >= 8) shot.tolerance = 0;
  shot.pixels.resize(static_cast<std::size_t>(width) * height);
  for (int row = 0; row < height; ++row)
    for (int col = 0; col < width; ++col) {
      const std::uint8_t* p = data + row * stride + col * bytes;
      std::uint32_t pixel = 0;
      for (int i = 0; i < bytes; ++i)
        pixel |= std::uint32_t{p[msb ? i : bytes - 1 - i]} << (8 * (bytes - 1 - i));
      shot.pixels[static_cast<std::size_t>(row) * width + col] =
          static_cast<Colour>(r.widen(pixel) | (g.widen(pixel) << 8) | (b.widen(pixel) << 16));
    }
  return shot;
}

std::optional<Place> locate(const Shot& shot, const ImageData& picture, int zoom, int overhang) {
  // Anchored on the picture's first pixel that is not black, so the search
  // skips every place whose pixel there differs.
  int ax = -1, ay = -1;
  for (int i = 0; i < picture.width * picture.height && ax < 0; ++i)
    if (!Shot::dark(picture.pixels[static_cast<std::size_t>(i)])) {
      ax = i % picture.width;
      ay = i / picture.width;
    }
  if (ax < 0) return std::nullopt;
  const int w = picture.width * zoom, h = picture.height * zoom;
  for (int y = 0; y + h <= shot.height + overhang; ++y)
    for (int x = 0; x + w <= shot.width + overhang; ++x) {
      if (x + ax * zoom >= shot.width || y + ay * zoom >= shot.height) continue;
      if (!shot.near(shot.at(x + ax * zoom, y + ay * zoom), picture.at(ax, ay))) continue;
      bool same = true;
      for (int py = 0; py < h && same; ++py)
        for (int px = 0; px < w && same; ++px) {
          if (x + px >= shot.width || y + py >= shot.height) continue;
          same = shot.near(shot.at(x + px, y + py), picture.at(px / zoom, py / zoom));
        }
      if (same) return Place{x, y};
    }
  return std::nullopt;
}

bool aloneOnBlack(const Shot& shot, Place at, int side) {
  int left = shot.width, top = shot.height, right = -1, bottom = -1, coloured = 0;
  for (int y = 0; y < shot.height; ++y)
    for (int x = 0; x < shot.width; ++x)
      if (!shot.nearBlack(x, y)) {
        ++coloured;
        left = std::min(left, x);
        right = std::max(right, x);
        top = std::min(top, y);
        bottom = std::max(bottom, y);
      }
  if (coloured == 0 || left < at.x || top < at.y || right >= at.x + side || bottom >= at.y + side)
    return false;
  int mismatches = 0;
  for (int y = top; y <= bottom; ++y)
    for (int x = left; x <= right; ++x) {
      const Colour here = shot.at(x, y);
      mismatches += !shot.near(here, shot.at(left + right - x, y));
      mismatches += !shot.near(here, shot.at(x, top + bottom - y));
    }
  return mismatches <= coloured / 50;
}

std::vector<xcb_window_t> topLevelWindows(xcb_connection_t* c) {
  const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(c)).data->root;
  std::unique_ptr<xcb_query_tree_reply_t, FreeDeleter> tree(
      xcb_query_tree_reply(c, xcb_query_tree(c, root), nullptr));
  if (!tree) return {};
  const xcb_window_t* children = xcb_query_tree_children(tree.get());
  return {children, children + xcb_query_tree_children_length(tree.get())};
}

}  // namespace tavrel::saver::test
