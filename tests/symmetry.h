// The one mirror check of the tests: how many pixels of a box differ from
// their images left to right, top to bottom and, when asked, across the
// diagonal. `same` decides when a pixel and its image agree.
#pragma once

#include <functional>

namespace tavrel::testing_support {

template <typename Pixel>
int mirrorMismatches(
    int left, int top, int right, int bottom, bool diagonal, Pixel pixel,
    const std::function<bool(decltype(pixel(0, 0)), decltype(pixel(0, 0)))>& same) {
  int bad = 0;
  for (int y = top; y <= bottom; ++y)
    for (int x = left; x <= right; ++x) {
      const auto c = pixel(x, y);
      const int mx = left + right - x, my = top + bottom - y;
      bad += !same(c, pixel(mx, y));
      bad += !same(c, pixel(x, my));
      if (diagonal) bad += !same(c, pixel(left + (y - top), top + (x - left)));
    }
  return bad;
}

}  // namespace tavrel::testing_support
