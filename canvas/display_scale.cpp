#include "canvas/display_scale.h"

#include <algorithm>
#include <cmath>

#include "canvas/convert.h"

namespace tavrel {

double chooseDisplayScale(int width, int height, std::optional<std::string_view> override) {
  if (override) {
    // Anything else, a number too large for a double included: chosen as usual.
    try {
      const double s = Val(*override);
      if (s >= 0.5 && s <= 8) return s;
    } catch (const RuntimeError&) {
    }
  }
  constexpr double kTargetWidth = 1000, kMinHeight = 500;
  double s = std::min(width / kTargetWidth, height / kMinHeight);
  // Screens near the design size stay at one device pixel per pixel.
  if (s < 1.25) return 1;
  return s;
}

int wholeDisplayScale(int width, int height, std::optional<std::string_view> override) {
  return std::max(1, static_cast<int>(std::lround(chooseDisplayScale(width, height, override))));
}

ScaleShare shareDisplayScale(double total, int desktop) {
  desktop = std::max(1, desktop);
  // Rounded down: above the rule, the toolkit's dialogs could outgrow the screen.
  const int toolkit = desktop > 1 ? 1 : std::max(1, static_cast<int>(std::floor(total + 1e-9)));
  return {toolkit, total / (toolkit * desktop)};
}

}  // namespace tavrel
