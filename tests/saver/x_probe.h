// Looks at an X server as a person would: what a window shows, where a
// picture stands in it, which windows the clients made.
#pragma once

#include <xcb/xcb.h>

#include <optional>
#include <vector>

#include "canvas/surface.h"

namespace tavrel::saver::test {

// Pixels read back from a window, widened to 0x00BBGGRR.
struct Shot {
  int width = 0, height = 0;
  std::vector<Colour> pixels;
  int tolerance = 0;  // how far a channel may be from its 8-bit value on this display

  Colour at(int x, int y) const { return pixels[static_cast<std::size_t>(y) * width + x]; }
  bool near(Colour a, Colour b) const;
  // Black as a person sees it; the outline colour 1 counts as black.
  static bool dark(Colour c) {
    return (c & 0xFF) < 24 && (c >> 8 & 0xFF) < 24 && (c >> 16 & 0xFF) < 24;
  }
  bool nearBlack(int x, int y) const { return dark(at(x, y)); }
};

// A rectangle of a window, or all of it when width is 0; none when it can't be read.
std::optional<Shot> grab(xcb_connection_t* c, xcb_window_t window, int x = 0, int y = 0,
                         int width = 0, int height = 0);

struct Place {
  int x = 0, y = 0;
};
// Where the picture, enlarged `zoom` times, stands in the shot: its top left
// corner. Up to `overhang` pixels of it may lie beyond the right and bottom
// edges.
std::optional<Place> locate(const Shot& shot, const ImageData& picture, int zoom, int overhang = 0);

// Whether everything but black in the shot lies inside the square of
// `side` at `at`, and is mirror-symmetric left to right and top to bottom:
// a picture alone on black, as a person sees it.
bool aloneOnBlack(const Shot& shot, Place at, int side);

// The root window's children, in stacking order.
std::vector<xcb_window_t> topLevelWindows(xcb_connection_t* c);

}  // namespace tavrel::saver::test
