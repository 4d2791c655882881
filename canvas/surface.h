// In-memory pixel surfaces: the persistent image of the window and of the
// picture box that holds a finished shape.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <utility>
#include <vector>

#include "canvas/convert.h"

namespace tavrel {

// A picture: an immutable block of pixels, shared by reference between boxes.
struct ImageData {
  int width = 0;
  int height = 0;
  std::vector<Colour> pixels;  // row-major, top row first

  Colour at(int x, int y) const { return pixels[static_cast<std::size_t>(y) * width + x]; }
  bool operator==(const ImageData&) const = default;
};
using Picture = std::shared_ptr<const ImageData>;

// Pixel rectangle, both corners included; empty when right < left.
struct PixelRect {
  int left = 0, top = 0, right = -1, bottom = -1;

  bool empty() const { return right < left || bottom < top; }
  bool contains(int x, int y) const { return x >= left && x <= right && y >= top && y <= bottom; }
  bool contains(const PixelRect& r) const {
    return r.empty() || (r.left >= left && r.right <= right && r.top >= top && r.bottom <= bottom);
  }
  void unite(const PixelRect& r);
  PixelRect intersected(const PixelRect& r) const;
  bool operator==(const PixelRect&) const = default;
};

enum class LineFlags { Line = 6, Box = 22, FilledBox = 38 };

// A surface holds a persistent image, a back colour, an optional background
// picture at (0, 0) and a current brush. Coordinates are pixels, origin top
// left, y downwards. Drawing off the surface is clipped in silence.
//
// Erasing is lazy: an erase (BackColor, Cls, a new Picture) is only carried
// out at the next access, so two erases in a row cost one. The surface also
// remembers which pixels still hold the colour of the last erase, so wiping a
// box back to that colour touches only what was drawn since.
class Surface {
 public:
  Surface(int width, int height, Colour backColor = kBlack);

  int width() const { return width_; }
  int height() const { return height_; }
  // New size; what fits is kept, new pixels take the back colour.
  void resize(int width, int height);

  Colour BackColor() const { return back_; }
  // Sets the erase colour and erases the whole surface to it.
  void setBackColor(Colour c);
  // Erases to the back colour, leaving the background picture showing.
  void Cls();

  const Picture& picture() const { return picture_; }
  // Replaces the background picture (nullptr clears it) and shows it afresh.
  void setPicture(Picture p);
  // The current content as a picture of its own.
  Picture Image() const;

  void Line(LineFlags flags, double x1, double y1, double x2, double y2, Colour c);
  // The one-pixel mark of a walker: Line 6 from (x, y) to (x + 1, y + 1).
  void plot(double x, double y, Colour c);
  // Colour of the pixel at (x, y); -1 off the surface.
  Colour Point(double x, double y) const;

  // Brushes shrink to colours behind small handles; one selected at a time.
  Long hDC() const { return 1; }
  Long CreateSolidBrush(Colour c);
  // Makes the brush current and returns the handle of the brush it replaced.
  Long SelectObject(Long hdc, Long brush);
  // Refused, without harm, for the current brush.
  void DeleteObject(Long brush);
  Colour brushColour() const { return brush_colour_; }

  // 4-connected boundary fill from (x, y) in the brush colour; stops only at
  // `boundary` and the edges. Returns nonzero when it painted.
  Long FloodFill(Long hdc, Long x, Long y, Colour boundary);

  // Copies a rectangle of `src` here, source pixels replacing destination
  // pixels; clipped on both sides. Unequal sizes scale by nearest neighbour.
  bool PaintPicture(const ImageData& src, double dx, double dy, double dw, double dh, double sx,
                    double sy, double sw, double sh);
  bool PaintPicture(const Surface& src, double dx, double dy, double dw, double dh, double sx,
                    double sy, double sw, double sh);

  // Within `r`, every pixel of a colour `from` in `map` takes its `to`.
  void recolour(const PixelRect& r, std::span<const std::pair<Colour, Colour>> map);

  // Direct scanline access, for display and tests.
  const Colour* scanline(int y) const;
  Colour pixel(int x, int y) const { return scanline(y)[x]; }
  // Bounding box of everything changed since the last call.
  PixelRect takeDamage();
  // Increments on every change, for views that redraw lazily.
  std::uint64_t version() const { return version_; }

 private:
  void flush() const;
  void eraseNow() const;
  void touched(const PixelRect& r) const;
  void foldJournal() const;
  void fillRect(const PixelRect& r, Colour c) const;
  void setPixel(int x, int y, Colour c);
  void lineSegment(int x0, int y0, int x1, int y1, Colour c);
  bool paintPixels(const Colour* pixels, int srcW, int srcH, double dx, double dy, double dw,
                   double dh, double sx, double sy, double sw, double sh);
  PixelRect bounds() const { return {0, 0, width_ - 1, height_ - 1}; }
  std::size_t index(int x, int y) const { return static_cast<std::size_t>(y) * width_ + x; }

  int width_;
  int height_;
  Colour back_;
  Picture picture_;

  // Content, and the bookkeeping of lazy erasing; mutable because reading a
  // pixel carries out an erase that is still pending.
  mutable std::vector<Colour> px_;
  mutable bool erase_pending_ = false;
  // Every pixel outside `unsure_` holds `erased_colour_`, except the pixels
  // listed in `journal_` (what single-pixel drawing changed since).
  mutable Colour erased_colour_;
  mutable PixelRect unsure_;
  mutable std::vector<std::uint32_t> journal_;

  mutable PixelRect damage_;
  mutable std::uint64_t version_ = 0;

  Colour brush_colour_ = kBlack;
  Long current_brush_ = 0;
  Long next_brush_ = 1;
  std::vector<std::pair<Long, Colour>> brushes_;  // live, unselected handles

  std::vector<int> fill_stack_;           // reused by FloodFill
  std::vector<std::int32_t> fill_spans_;  // row, left, right of each span of the last fill
  // The last fill, while nothing else has changed the surface: a seed inside
  // it with the same brush and boundary would repaint it unchanged.
  std::uint64_t last_fill_version_ = ~std::uint64_t{0};
  Colour last_fill_brush_ = 0;
  Colour last_fill_boundary_ = 0;
};

}  // namespace tavrel
