#include "wallpaper/compose.h"

#include <algorithm>
#include <cmath>

#include "canvas/display_scale.h"

namespace tavrel::wallpaper {

namespace {

constexpr int kMaxSide = 16384;

// Rounds down for negative numbers too: places left of the layout's origin
// keep the grid.
int floorDiv(long long a, long long b) {
  return static_cast<int>(a >= 0 ? a / b : -((-a + b - 1) / b));
}

int floorMod(long long a, long long b) {
  return static_cast<int>(a - static_cast<long long>(floorDiv(a, b)) * b);
}

// Device pixels per program pixel on `o`.
int deviceZoom(const Output& o, int zoom) {
  return std::max(1, static_cast<int>(std::lround(zoom * o.scale())));
}

}  // namespace

bool usable(const Output& o) {
  const auto side = [](int n) { return n >= 1 && n <= kMaxSide; };
  const auto place = [](int n) { return n >= -kMaxSide && n <= kMaxSide; };
  const double s = o.scale();
  return side(o.width) && side(o.height) && side(o.deviceWidth) && side(o.deviceHeight) &&
         place(o.x) && place(o.y) && s >= 0.125 && s <= 8;
}

int layoutZoom(std::span<const Output> outputs, std::optional<std::string_view> scaleOverride) {
  const auto largest =
      std::max_element(outputs.begin(), outputs.end(), [](const Output& a, const Output& b) {
        return static_cast<long long>(a.width) * a.height <
               static_cast<long long>(b.width) * b.height;
      });
  if (largest == outputs.end()) return 1;
  return wholeDisplayScale(largest->width, largest->height, scaleOverride);
}

ImageData wallpaperFor(const Output& o, const ImageData& picture, bool tile, int zoom) {
  ImageData img;
  img.width = o.deviceWidth;
  img.height = o.deviceHeight;
  img.pixels.assign(static_cast<std::size_t>(img.width) * img.height, kBlack);
  const int z = deviceZoom(o, zoom);
  if (tile) {
    if (picture.width <= kTilePeriod || picture.height <= kTilePeriod) return img;
    // The output's top left device pixel, counted from the layout's origin.
    const long long left = std::llround(o.x * o.scale()), top = std::llround(o.y * o.scale());
    std::vector<int> column(static_cast<std::size_t>(img.width));
    for (int u = 0; u < img.width; ++u)
      column[static_cast<std::size_t>(u)] = 1 + floorMod(floorDiv(left + u, z), kTilePeriod);
    for (int v = 0; v < img.height; ++v) {
      const int row = 1 + floorMod(floorDiv(top + v, z), kTilePeriod);
      Colour* out = img.pixels.data() + static_cast<std::size_t>(v) * img.width;
      for (int u = 0; u < img.width; ++u)
        out[u] = picture.at(column[static_cast<std::size_t>(u)], row);
    }
    return img;
  }
  const int left = (img.width - picture.width * z) / 2, top = (img.height - picture.height * z) / 2;
  for (int v = std::max(0, top); v < std::min(img.height, top + picture.height * z); ++v) {
    Colour* out = img.pixels.data() + static_cast<std::size_t>(v) * img.width;
    const int y = (v - top) / z;
    for (int u = std::max(0, left); u < std::min(img.width, left + picture.width * z); ++u)
      out[u] = picture.at((u - left) / z, y);
  }
  return img;
}

}  // namespace tavrel::wallpaper
