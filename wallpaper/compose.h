// A picture for the screen: a pattern tile repeated edge to edge, or a shape
// centred on black, for each output of the desktop at its own scale, the
// tiles of every output on one grid over the desktop's layout.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "canvas/surface.h"

namespace tavrel::wallpaper {

// One screen of the desktop: its place and size in the desktop's layout (the
// compositor's logical pixels; on X11, device pixels), and its size in
// device pixels.
struct Output {
  std::string name;  // as the desktop names it; empty for the one X11 screen
  int x = 0, y = 0, width = 0, height = 0;
  int deviceWidth = 0, deviceHeight = 0;

  // Device pixels per layout pixel.
  double scale() const { return width > 0 ? static_cast<double>(deviceWidth) / width : 1; }
  bool operator==(const Output&) const = default;
};

// What a desktop may report and still be drawn for: sizes of 1 to 16384
// pixels, places within a layout of that size, a scale of 1/8 to 8.
bool usable(const Output& o);

// Layout pixels per program pixel: the display-scale rule (`scaleOverride`
// as TAVREL_SCALE gives it) for the largest output, in its layout pixels.
int layoutZoom(std::span<const Output> outputs, std::optional<std::string_view> scaleOverride);

// The period of a tile repeated edge to edge: neighbouring tiles share their
// frame lines, as the window repeats them.
inline constexpr int kTilePeriod = 98;

// The picture of `o` at its device size. `picture` is the box the generator
// left (Picture1): with `tile`, its pixels 1 to kTilePeriod each way repeat
// with the box's pixel (1, 1) at the layout's origin; without, the whole box
// stands in the middle of black. Each program pixel is a block of `zoom`
// layout pixels, rounded to whole device pixels.
ImageData wallpaperFor(const Output& o, const ImageData& picture, bool tile, int zoom);

}  // namespace tavrel::wallpaper
