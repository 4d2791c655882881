// The window the module draws in, through xcb: a window of the daemon's, the
// root window, or one of its own. The picture goes to the server once, into
// a pixmap; a frame copies it to its new place and clears only what it left.
#pragma once

#include <xcb/xcb.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <variant>

#include "canvas/surface.h"
#include "saver/pixels.h"
#include "saver/settings.h"
#include "saver/show.h"

namespace tavrel::saver {

// Why the module cannot draw: the message and the exit status, 2 when the
// window it was given does not exist, 1 when a piece is missing.
struct Refusal {
  std::string message;
  int status = 1;
};

class XScreen {
 public:
  // Connects to $DISPLAY and binds the target window.
  static std::variant<std::unique_ptr<XScreen>, Refusal> open(const Resolved& target);
  ~XScreen();
  XScreen(const XScreen&) = delete;
  XScreen& operator=(const XScreen&) = delete;

  // The connection's file descriptor, to wait on.
  int fd() const { return xcb_get_file_descriptor(c_); }
  int width() const { return width_; }
  int height() const { return height_; }
  const PixelFormat& format() const { return format_; }

  // Reads everything the server has sent. Once the module should end: an
  // empty text when its window went away or was closed, which ends it
  // quietly; else what failed (an X error, a lost connection), in one line.
  std::optional<std::string> handleEvents();
  // What a broken connection is said as.
  std::string lost() const;
  // Whether the window changed size since the last call.
  bool takeResize();
  // Blackens the whole window; the picture is drawn again at the next show.
  void clear();
  // Uploads the picture, enlarged `zoom` times; it appears at the next show.
  void setPicture(const ImageData& img, int zoom);
  // The picture's top left corner at (x, y) in device pixels. Draws only
  // what changed since the last call; true when it drew.
  bool show(int x, int y);
  // A line of text over the top left corner, enlarged `zoom` times; sent
  // to the server only when it changed.
  void showText(std::string_view text, int zoom);
  // Sends what is queued; false when the connection broke.
  bool flush();
  // Waits until the server has carried out every request sent so far.
  void sync();

 private:
  XScreen(xcb_connection_t* c, xcb_window_t window) : c_(c), window_(window) {}
  std::optional<Refusal> bind(const Resolved& target, int screenNumber);
  bool createOwnWindow(const xcb_screen_t* screen);
  void fill(const Rect& r);
  void putImage(xcb_drawable_t to, const ImageData& img, int zoom, int x, int y);
  void allocateColours(const ImageData& img);

  xcb_connection_t* c_;
  std::string displayName_;
  xcb_window_t window_;
  bool ownWindow_ = false;
  xcb_atom_t deleteWindow_ = XCB_NONE;
  int width_ = 0, height_ = 0;
  bool resized_ = false;
  std::uint8_t depth_ = 0;
  PixelFormat format_;
  std::size_t maxRequestBytes_ = 0;
  xcb_gcontext_t gc_ = 0;  // black foreground, no exposure events from copies
  // On a screen with a colour map: the cells of the colours in use, and
  // which of them this module allocated.
  xcb_colormap_t colormap_ = 0;
  std::unordered_map<Colour, std::uint32_t> cells_;
  std::unordered_set<Colour> allocated_;
  xcb_pixmap_t pixmap_ = 0;
  // The --fps line, uploaded when it changes and copied at every frame.
  xcb_pixmap_t textPixmap_ = 0;
  std::string text_;
  Rect textRect_;
  Rect picture_;               // the pixmap's size
  std::optional<Rect> shown_;  // where the picture stands on the window, if anywhere
  bool redraw_ = false;        // the picture must be copied even where it stands
};

}  // namespace tavrel::saver
