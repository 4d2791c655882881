// Looks at an X server as a person would: what a window shows, and where a
// picture stands in it.
#pragma once

#include <xcb/xcb.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <optional>
#include <vector>

#include "canvas/surface.h"
#include "tests/symmetry.h"

namespace tavrel::saver::test {

template <typename T>
using Reply = std::unique_ptr<T, decltype([](T* p) { std::free(p); })>;

// Pixels read back from a window, widened to 0x00BBGGRR; `tolerance` is how
// far a channel may be from its 8-bit value on this display.
struct Shot {
  int width = 0, height = 0, tolerance = 0;
  std::vector<Colour> pixels;

  Colour at(int x, int y) const { return pixels[static_cast<std::size_t>(y) * width + x]; }
  bool near(Colour a, Colour b) const {
    for (int shift : {0, 8, 16})
      if (std::abs((a >> shift & 0xFF) - (b >> shift & 0xFF)) > tolerance) return false;
    return true;
  }
  // Black as a person sees it; the outline colour 1 counts as black.
  static bool dark(Colour c) { return std::max({c & 0xFF, c >> 8 & 0xFF, c >> 16 & 0xFF}) < 24; }
};

// The whole window's pixels as Xvfb sends them: at depth 8 a cell of the
// window's colour map, at depth 16 two bytes of 5-6-5 bits a pixel, above
// that four bytes, blue first.
inline std::optional<Shot> grab(xcb_connection_t* c, xcb_window_t window) {
  const Reply<xcb_get_geometry_reply_t> g(
      xcb_get_geometry_reply(c, xcb_get_geometry(c, window), nullptr));
  if (!g) return std::nullopt;
  const auto asked =
      xcb_get_image(c, XCB_IMAGE_FORMAT_Z_PIXMAP, window, 0, 0, g->width, g->height, ~0u);
  const Reply<xcb_get_image_reply_t> img(xcb_get_image_reply(c, asked, nullptr));
  if (!img) return std::nullopt;
  if (img->depth == 8) {
    const Reply<xcb_get_window_attributes_reply_t> a(
        xcb_get_window_attributes_reply(c, xcb_get_window_attributes(c, window), nullptr));
    std::vector<std::uint32_t> cells(256);
    for (std::uint32_t i = 0; i < 256; ++i) cells[i] = i;
    const Reply<xcb_query_colors_reply_t> map(
        xcb_query_colors_reply(c, xcb_query_colors(c, a->colormap, 256, cells.data()), nullptr));
    if (!map || xcb_query_colors_colors_length(map.get()) != 256) return std::nullopt;
    const xcb_rgb_t* rgb = xcb_query_colors_colors(map.get());
    Shot shot{g->width, g->height, 0, {}};
    const int stride = xcb_get_image_data_length(img.get()) / g->height;
    for (int y = 0; y < shot.height; ++y)
      for (int x = 0; x < shot.width; ++x) {
        const xcb_rgb_t& v = rgb[xcb_get_image_data(img.get())[y * stride + x]];
        shot.pixels.push_back(
            static_cast<Colour>(v.red >> 8 | (v.green >> 8) << 8 | (v.blue >> 8) << 16));
      }
    return shot;
  }
  // Five bits a channel at depth 16 widen to within 5 of their 8-bit value.
  const bool deep = img->depth > 16;
  Shot shot{g->width, g->height, deep ? 0 : 5, {}};
  const int stride = xcb_get_image_data_length(img.get()) / g->height;
  for (int y = 0; y < shot.height; ++y)
    for (int x = 0; x < shot.width; ++x) {
      const std::uint8_t* p = xcb_get_image_data(img.get()) + y * stride + x * (deep ? 4 : 2);
      const unsigned v = p[0] | p[1] << 8;
      shot.pixels.push_back(static_cast<Colour>(
          deep ? p[2] | p[1] << 8 | p[0] << 16
               : (v >> 11) * 255 / 31 | (v >> 5 & 63) * 255 / 63 << 8 | (v & 31) * 255 / 31 << 16));
    }
  return shot;
}

using Place = xcb_point_t;

// Where the picture, enlarged `zoom` times, stands in a shot where nothing
// else shows: its top left corner, found from the first pixel that is not
// black. Its right and bottom edges may lie beyond the shot's.
inline std::optional<Place> locate(const Shot& shot, const ImageData& picture, int zoom) {
  const auto firstLit = [](const std::vector<Colour>& pixels) {
    return static_cast<int>(std::find_if_not(pixels.begin(), pixels.end(), Shot::dark) -
                            pixels.begin());
  };
  const int p = firstLit(picture.pixels), s = firstLit(shot.pixels);
  const Place at{static_cast<int16_t>(s % shot.width - p % picture.width * zoom),
                 static_cast<int16_t>(s / shot.width - p / picture.width * zoom)};
  if (s == shot.width * shot.height || at.x < 0 || at.y < 0) return std::nullopt;
  for (int y = 0; y < picture.height * zoom && at.y + y < shot.height; ++y)
    for (int x = 0; x < picture.width * zoom && at.x + x < shot.width; ++x)
      if (!shot.near(shot.at(at.x + x, at.y + y), picture.at(x / zoom, y / zoom)))
        return std::nullopt;
  return at;
}

// Whether the shot is black but for the 102-pixel box of a picture at `at`,
// enlarged `zoom` times, whose square mirrors left to right and top to bottom.
inline bool aloneOnBlack(const Shot& shot, Place at, int zoom) {
  int stray = 0, coloured = 0;
  for (int y = 0; y < shot.height; ++y)
    for (int x = 0; x < shot.width; ++x) {
      const bool inBox = x >= at.x && y >= at.y && x < at.x + 102 * zoom && y < at.y + 102 * zoom;
      (inBox ? coloured : stray) += !Shot::dark(shot.at(x, y));
    }
  return stray == 0 && coloured > 0 &&
         testing_support::mirrorMismatches(
             at.x + zoom, at.y + zoom, at.x + 100 * zoom - 1, at.y + 100 * zoom - 1, false,
             [&](int x, int y) { return shot.at(x, y); },
             [&](Colour a, Colour b) { return shot.near(a, b); }) <= coloured / 50;
}

}  // namespace tavrel::saver::test
