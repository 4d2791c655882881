// What Qt will find on the desktop, asked before Qt starts: Qt takes its
// scale factor only when the application object is made, and the display
// scale needs the screen's size, which Qt knows only after that.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace tavrel {

struct DesktopScreen {
  int width = 0, height = 0;  // the screen the window opens on, in device pixels
  // The whole factor Qt takes from the desktop by itself: Xft.dpi / 96 on
  // X, the output's scale on Wayland, rounded half up as the window has Qt
  // round it.
  int factor = 1;
};

// The platforms Qt tries, in its order: the one given to -platform, else
// those of QT_QPA_PLATFORM, else Wayland where a Wayland session or display
// is named, then X where a display is; each without its ':' options.
std::vector<std::string> platformsQtTries(int argc, char** argv);

// The desktop of the first of those platforms that answers, X through xcb
// and Wayland through libwayland-client; none where none does, or where the
// first is neither (offscreen, say).
std::optional<DesktopScreen> probeDesktop(int argc, char** argv);

}  // namespace tavrel
