// The desktop's wallpaper: the screens learnt from the desktop, a picture
// made for each, written under $XDG_DATA_HOME/tavrel/wallpaper/ and set the
// way the desktop takes it.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "canvas/image_io.h"
#include "state/choices.h"
#include "wallpaper/compose.h"

namespace tavrel::wallpaper {

// GNOME takes its background settings, KDE Plasma its wallpaper tool, sway
// a background per output through its IPC, a plain X11 desktop the root
// window's pixmap.
enum class Desktop { none, gnome, kde, sway, x11 };

// The desktop of the session: XDG_CURRENT_DESKTOP naming GNOME or KDE, then
// sway's socket (SWAYSOCK), then an X display; each argument a variable's
// text, or null when unset.
Desktop desktopOf(const char* currentDesktop, const char* swaySocket, const char* display);
Desktop currentDesktop();

// The outputs as the desktop's display server reports them; none, and why,
// when it can't be asked. Wayland: every wl_output with its place and size
// in the layout (xdg-output) and its current mode; X11: the root window.
std::vector<Output> waylandOutputs(std::string& why);
std::vector<Output> xRoot(std::string& why);

// Sets `image`, the size of the root window, as the root window's
// background pixmap of a plain X11 desktop, naming it in _XROOTPMAP_ID and
// ESETROOT_PMAP_ID for programs that show the desktop through, and frees the
// pixmap a setter left there before: a change a day leaks nothing. A message
// when it could not.
std::optional<std::string> setRootPixmap(const ImageData& image);

// Runs a program with its arguments, at most 10 seconds: nothing, or what
// went wrong (its exit and the first line it wrote on stderr).
std::optional<std::string> runProgram(const std::vector<std::string>& argv);

// $XDG_DATA_HOME/tavrel/wallpaper, else ~/.local/share/tavrel/wallpaper;
// empty when neither is known.
std::filesystem::path wallpaperFolder();
// The pictures of this many runs are kept in the folder; older ones go.
inline constexpr std::size_t kRunsKept = 5;

struct Request {
  ImageData picture;  // the box the generator left
  PngTexts texts;     // its recipe, carried by every file
  Generator generator = Generator::shape;
  Output screen;                             // the screen when the desktop tells none
  std::optional<std::string> scaleOverride;  // TAVREL_SCALE
};
struct Outcome {
  std::vector<std::string> lines;     // for stdout: each file and where it went
  std::optional<std::string> failed;  // one line: what could not be done
};
// Makes the pictures for the current desktop's screens (a tile for a
// pattern, a shape centred otherwise), writes them, keeps the last few runs
// and sets them on the desktop.
Outcome makeWallpaper(const Request& r);

}  // namespace tavrel::wallpaper
