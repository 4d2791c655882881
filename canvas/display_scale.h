// How many device pixels one program pixel takes, for the window and for
// the screen-saver module alike. The drawing was laid out
// for screens of 800x600 to 1024x768: fills stay inside a fixed 1000-pixel
// box and the control panel needs 500 pixels of height. A larger screen gets
// one scale for the whole window that keeps the client area near 1000
// program pixels wide and never below 500 tall.
#pragma once

#include <optional>
#include <string_view>

namespace tavrel {

// Environment variable that overrides the choice, e.g. TAVREL_SCALE=2.
inline constexpr const char* kScaleVariable = "TAVREL_SCALE";

// `width` and `height`: the client area the maximised window would have, in
// device pixels. `override`: the variable's text, when set.
double chooseDisplayScale(int width, int height, std::optional<std::string_view> override = {});
// The same rounded to a whole number of device pixels, at least 1: every
// program pixel a crisp block, as the module and the wallpaper draw them.
int wholeDisplayScale(int width, int height, std::optional<std::string_view> override = {});

// The whole scale shared between the toolkit, which scales its own widgets
// and dialogs (icons, margins, arrows) by a whole number, so that a pixel of
// its own is a whole number of device pixels, and the program, which scales
// its drawing, controls and font by the rest. Where the desktop has given
// the toolkit a factor of its own (`desktop` above 1) that stands, and the
// toolkit takes none of ours: nothing is scaled twice.
struct ScaleShare {
  int toolkit;     // the factor given to the toolkit, on top of the desktop's
  double program;  // device pixels per program pixel, over the toolkit's pixels
};
ScaleShare shareDisplayScale(double total, int desktop);

}  // namespace tavrel
