#include "canvas/surface.h"

#include <algorithm>
#include <cstdlib>

#include "canvas/scan.h"

namespace tavrel {

namespace {

// Past this many single-pixel writes the journal folds into a rectangle.
constexpr std::size_t kJournalLimit = 1u << 20;
// Journal entries that a wipe left in place, before they fold.
constexpr std::size_t kJournalLeftoverLimit = 4096;
// Box outlines with fewer pixels than this are journalled pixel by pixel.
constexpr int kSmallOutline = 8192;

PixelRect normalised(int x0, int y0, int x1, int y1) {
  return {std::min(x0, x1), std::min(y0, y1), std::max(x0, x1), std::max(y0, y1)};
}

}  // namespace

void PixelRect::unite(const PixelRect& r) {
  if (r.empty()) return;
  if (empty()) {
    *this = r;
    return;
  }
  left = std::min(left, r.left);
  top = std::min(top, r.top);
  right = std::max(right, r.right);
  bottom = std::max(bottom, r.bottom);
}

PixelRect PixelRect::intersected(const PixelRect& r) const {
  PixelRect out{std::max(left, r.left), std::max(top, r.top), std::min(right, r.right),
                std::min(bottom, r.bottom)};
  if (out.empty()) return {};
  return out;
}

Surface::Surface(int width, int height, Colour backColor)
    : width_(std::max(width, 0)),
      height_(std::max(height, 0)),
      back_(backColor),
      px_(static_cast<std::size_t>(width_) * height_, backColor),
      erased_colour_(backColor) {}

void Surface::resize(int width, int height) {
  width = std::max(width, 0);
  height = std::max(height, 0);
  if (width == width_ && height == height_) return;
  flush();
  std::vector<Colour> next(static_cast<std::size_t>(width) * height, back_);
  const int w = std::min(width, width_), h = std::min(height, height_);
  for (int y = 0; y < h; ++y)
    std::copy_n(&px_[index(0, y)], w, &next[static_cast<std::size_t>(y) * width]);
  px_.swap(next);
  width_ = width;
  height_ = height;
  // What was kept is no longer known to be erased; the new pixels are.
  erased_colour_ = back_;
  journal_.clear();
  unsure_ = h > 0 && w > 0 ? PixelRect{0, 0, w - 1, h - 1} : PixelRect{};
  damage_ = bounds();
  ++version_;
}

void Surface::setBackColor(Colour c) {
  back_ = c;
  erase_pending_ = true;
  ++version_;
}

void Surface::Cls() {
  erase_pending_ = true;
  ++version_;
}

void Surface::setPicture(Picture p) {
  picture_ = std::move(p);
  erase_pending_ = true;
  ++version_;
}

void Surface::flush() const {
  if (erase_pending_) [[unlikely]]
    eraseNow();
}

void Surface::eraseNow() const {
  erase_pending_ = false;
  if (erased_colour_ == back_) {
    // Only what changed since the last erase to this colour needs work.
    fillRect(unsure_.intersected(bounds()), back_);
    for (std::uint32_t i : journal_) px_[i] = back_;
  } else {
    scan::fill(px_.data(), static_cast<int>(px_.size()), back_);
  }
  journal_.clear();
  unsure_ = {};
  erased_colour_ = back_;
  if (picture_ && picture_->width > 0 && picture_->height > 0) {
    const int w = std::min(picture_->width, width_), h = std::min(picture_->height, height_);
    for (int y = 0; y < h; ++y)
      std::copy_n(&picture_->pixels[static_cast<std::size_t>(y) * picture_->width], w,
                  &px_[index(0, y)]);
    if (w > 0 && h > 0) unsure_ = {0, 0, w - 1, h - 1};
  }
  damage_ = bounds();
  ++version_;
}

void Surface::touched(const PixelRect& r) const {
  damage_.unite(r);
  ++version_;
}

void Surface::fillRect(const PixelRect& r, Colour c) const {
  if (r.empty()) return;
  const int w = r.right - r.left + 1;
  for (int y = r.top; y <= r.bottom; ++y) scan::fill(&px_[index(r.left, y)], w, c);
  touched(r);
}

void Surface::foldJournal() const {
  for (std::uint32_t j : journal_) {
    const int jx = static_cast<int>(j % width_), jy = static_cast<int>(j / width_);
    unsure_.unite({jx, jy, jx, jy});
  }
  journal_.clear();
}

void Surface::setPixel(int x, int y, Colour c) {
  if (static_cast<unsigned>(x) >= static_cast<unsigned>(width_) ||
      static_cast<unsigned>(y) >= static_cast<unsigned>(height_))
    return;
  const std::size_t i = index(x, y);
  px_[i] = c;
  if (journal_.size() >= kJournalLimit) [[unlikely]]
    foldJournal();
  journal_.push_back(static_cast<std::uint32_t>(i));
  touched({x, y, x, y});
}

Picture Surface::Image() const {
  flush();
  auto img = std::make_shared<ImageData>();
  img->width = width_;
  img->height = height_;
  img->pixels = px_;
  return img;
}

const Colour* Surface::scanline(int y) const {
  flush();
  return &px_[index(0, y)];
}

PixelRect Surface::takeDamage() {
  flush();
  PixelRect d = damage_.intersected(bounds());
  damage_ = {};
  return d;
}

void Surface::plot(double x, double y, Colour c) {
  flush();
  setPixel(pixelOf(x), pixelOf(y), c);
}

Colour Surface::Point(double x, double y) const {
  flush();
  const int ix = pixelOf(x), iy = pixelOf(y);
  if (static_cast<unsigned>(ix) >= static_cast<unsigned>(width_) ||
      static_cast<unsigned>(iy) >= static_cast<unsigned>(height_))
    return -1;
  return px_[index(ix, iy)];
}

void Surface::lineSegment(int x0, int y0, int x1, int y1, Colour c) {
  // Bresenham from (x0, y0) up to but not including (x1, y1).
  const int dx = std::abs(x1 - x0), sx = x0 < x1 ? 1 : -1;
  const int dy = -std::abs(y1 - y0), sy = y0 < y1 ? 1 : -1;
  int err = dx + dy;
  while (x0 != x1 || y0 != y1) {
    setPixel(x0, y0, c);
    const int e2 = 2 * err;
    if (e2 >= dy) {
      err += dy;
      x0 += sx;
    }
    if (e2 <= dx) {
      err += dx;
      y0 += sy;
    }
  }
}

void Surface::Line(LineFlags flags, double x1, double y1, double x2, double y2, Colour c) {
  flush();
  switch (flags) {
    case LineFlags::Line: {
      // The start lands where Point reads; the end is the start plus the
      // rounded extent, so a step of one pixel marks exactly one pixel.
      const int x0 = pixelOf(x1), y0 = pixelOf(y1);
      const int ex = x0 + pixelOf(static_cast<double>(CSng(x2)) - CSng(x1));
      const int ey = y0 + pixelOf(static_cast<double>(CSng(y2)) - CSng(y1));
      if (ex == x0 + 1 && ey == y0 + 1) {
        setPixel(x0, y0, c);
        return;
      }
      // Keep absurd lengths off the loop: nothing beyond the surface is drawn.
      const int limit = 4 * (width_ + height_) + 8;
      if (std::abs(ex - x0) > limit || std::abs(ey - y0) > limit) {
        if (ey == y0 || ex == x0) {
          const PixelRect span = normalised(x0, y0, ex == x0 ? ex : ex - (ex > x0 ? 1 : -1),
                                            ey == y0 ? ey : ey - (ey > y0 ? 1 : -1));
          PixelRect clipped = span.intersected(bounds());
          fillRect(clipped, c);
          unsure_.unite(clipped);
        }
        return;
      }
      lineSegment(x0, y0, ex, ey, c);
      return;
    }
    case LineFlags::Box: {
      const PixelRect r = normalised(pixelOf(x1), pixelOf(y1), pixelOf(x2), pixelOf(y2));
      const long long perimeter = 2LL * (r.right - r.left + 1) + 2LL * (r.bottom - r.top + 1);
      if (perimeter <= kSmallOutline) {
        for (int x = r.left; x <= r.right; ++x) {
          setPixel(x, r.top, c);
          setPixel(x, r.bottom, c);
        }
        for (int y = r.top + 1; y < r.bottom; ++y) {
          setPixel(r.left, y, c);
          setPixel(r.right, y, c);
        }
        return;
      }
      const PixelRect edges[4] = {{r.left, r.top, r.right, r.top},
                                  {r.left, r.bottom, r.right, r.bottom},
                                  {r.left, r.top, r.left, r.bottom},
                                  {r.right, r.top, r.right, r.bottom}};
      for (const PixelRect& e : edges) {
        const PixelRect clipped = e.intersected(bounds());
        fillRect(clipped, c);
        unsure_.unite(clipped);
      }
      return;
    }
    case LineFlags::FilledBox: {
      const PixelRect r =
          normalised(pixelOf(x1), pixelOf(y1), pixelOf(x2), pixelOf(y2)).intersected(bounds());
      if (r.empty()) return;
      if (c == erased_colour_) {
        // Back to the erase colour: only pixels drawn since need rewriting.
        fillRect(r.intersected(unsure_), c);
        auto kept = std::remove_if(journal_.begin(), journal_.end(), [&](std::uint32_t i) {
          const int x = static_cast<int>(i % width_), y = static_cast<int>(i / width_);
          if (!r.contains(x, y)) return false;
          px_[i] = c;
          return true;
        });
        journal_.erase(kept, journal_.end());
        if (r.contains(unsure_)) unsure_ = {};
        // Pixels drawn outside the box stay; past a handful they fold into
        // the unsure rectangle so that later wipes don't walk them again.
        if (journal_.size() > kJournalLeftoverLimit) foldJournal();
        touched(r);
      } else {
        fillRect(r, c);
        unsure_.unite(r);
      }
      return;
    }
  }
}

Long Surface::CreateSolidBrush(Colour c) {
  const Long handle = next_brush_++;
  brushes_.emplace_back(handle, c);
  return handle;
}

Long Surface::SelectObject(Long /*hdc*/, Long brush) {
  auto it = std::find_if(brushes_.begin(), brushes_.end(),
                         [&](const auto& b) { return b.first == brush; });
  if (it == brushes_.end()) return 0;
  const Long previous = current_brush_;
  current_brush_ = brush;
  brush_colour_ = it->second;
  return previous;
}

void Surface::DeleteObject(Long brush) {
  if (brush == current_brush_) return;
  std::erase_if(brushes_, [&](const auto& b) { return b.first == brush; });
}

Long Surface::FloodFill(Long /*hdc*/, Long x, Long y, Colour boundary) {
  flush();
  if (x < 0 || y < 0 || x >= width_ || y >= height_) return 0;
  Colour* px = px_.data();
  const int w = width_, h = height_;
  if (px[index(x, y)] == boundary) return 0;
  const Colour brush = brush_colour_;
  if (version_ == last_fill_version_ && brush == last_fill_brush_ &&
      boundary == last_fill_boundary_ && px[index(x, y)] == brush) {
    for (std::size_t k = 0; k < fill_spans_.size(); k += 3)
      if (fill_spans_[k] == y && x >= fill_spans_[k + 1] && x <= fill_spans_[k + 2]) return 1;
  }

  // Pass one floods the region with the boundary colour itself, which marks
  // each pixel as done; pass two, needed only when the brush differs, paints
  // the recorded spans. So a region that already has the brush colour, or
  // patches of it, ends like any other.
  const bool record = brush != boundary;
  fill_spans_.clear();
  fill_stack_.clear();
  PixelRect box;
  auto fillSpan = [&](Colour* row, int y, int l, int r) {
    scan::fill(row + l, r - l + 1, boundary);
    if (record) {
      fill_spans_.push_back(y);
      fill_spans_.push_back(l);
      fill_spans_.push_back(r);
    }
    box.unite({l, y, r, y});
  };
  auto push = [&](int y, int l, int r, int dy) {
    if (y < 0 || y >= h) return;
    fill_stack_.insert(fill_stack_.end(), {y, l, r, dy});
  };
  {
    Colour* row = px + static_cast<std::size_t>(y) * w;
    const int l = scan::findEqualBackward(row, x, boundary) + 1;
    const int r = scan::findEqual(row, x, w, boundary) - 1;
    fillSpan(row, y, l, r);
    push(y + 1, l, r, 1);
    push(y - 1, l, r, -1);
  }
  // Each entry: the span [x1, x2] of row y - dy is done; explore row y.
  while (!fill_stack_.empty()) {
    const int dy = fill_stack_.back();
    const int x2 = fill_stack_[fill_stack_.size() - 2];
    const int x1 = fill_stack_[fill_stack_.size() - 3];
    const int sy = fill_stack_[fill_stack_.size() - 4];
    fill_stack_.resize(fill_stack_.size() - 4);
    Colour* row = px + static_cast<std::size_t>(sy) * w;
    int xs = x1;
    while (xs <= x2) {
      xs = scan::findNotEqual(row, xs, x2 + 1, boundary);
      if (xs > x2) break;
      // Only the first run can reach left of the parent span.
      const int l = xs == x1 ? scan::findEqualBackward(row, x1, boundary) + 1 : xs;
      const int r = scan::findEqual(row, xs, w, boundary) - 1;
      fillSpan(row, sy, l, r);
      push(sy + dy, l, r, dy);
      // Overhangs beyond the parent span lead back the other way.
      if (l < x1) push(sy - dy, l, x1 - 1, -dy);
      if (r > x2) push(sy - dy, x2 + 1, r, -dy);
      xs = r + 2;
    }
  }
  if (record) {
    for (std::size_t k = 0; k < fill_spans_.size(); k += 3) {
      Colour* row = px + static_cast<std::size_t>(fill_spans_[k]) * w;
      scan::fill(row + fill_spans_[k + 1], fill_spans_[k + 2] - fill_spans_[k + 1] + 1, brush);
    }
  }
  unsure_.unite(box);
  touched(box);
  last_fill_version_ = version_;
  last_fill_brush_ = brush;
  last_fill_boundary_ = boundary;
  return 1;
}

void Surface::recolour(const PixelRect& r, std::span<const std::pair<Colour, Colour>> map) {
  flush();
  const PixelRect area = r.intersected(bounds());
  if (area.empty() || map.empty()) return;
  for (int y = area.top; y <= area.bottom; ++y) {
    Colour* row = &px_[index(0, y)];
    for (int x = area.left; x <= area.right; ++x)
      for (const auto& [from, to] : map)
        if (row[x] == from) {
          row[x] = to;
          break;
        }
  }
  unsure_.unite(area);
  touched(area);
}

bool Surface::paintPixels(const Colour* pixels, int srcW, int srcH, double dx, double dy, double dw,
                          double dh, double sx, double sy, double sw, double sh) {
  flush();
  const int ix = pixelOf(dx), iy = pixelOf(dy), iw = pixelOf(dw), ih = pixelOf(dh);
  const int jx = pixelOf(sx), jy = pixelOf(sy), jw = pixelOf(sw), jh = pixelOf(sh);
  if (iw <= 0 || ih <= 0 || jw <= 0 || jh <= 0) return true;
  PixelRect changed;
  for (int row = 0; row < ih; ++row) {
    const int ty = iy + row;
    if (ty < 0 || ty >= height_) continue;
    const int fy = jy + static_cast<int>(static_cast<long long>(row) * jh / ih);
    if (fy < 0 || fy >= srcH) continue;
    for (int col = 0; col < iw; ++col) {
      const int tx = ix + col;
      if (tx < 0 || tx >= width_) continue;
      const int fx = jx + static_cast<int>(static_cast<long long>(col) * jw / iw);
      if (fx < 0 || fx >= srcW) continue;
      px_[index(tx, ty)] = pixels[static_cast<std::size_t>(fy) * srcW + fx];
      changed.unite({tx, ty, tx, ty});
    }
  }
  unsure_.unite(changed);
  touched(changed);
  return true;
}

bool Surface::PaintPicture(const ImageData& src, double dx, double dy, double dw, double dh,
                           double sx, double sy, double sw, double sh) {
  return paintPixels(src.pixels.data(), src.width, src.height, dx, dy, dw, dh, sx, sy, sw, sh);
}

bool Surface::PaintPicture(const Surface& src, double dx, double dy, double dw, double dh,
                           double sx, double sy, double sw, double sh) {
  if (&src == this) return PaintPicture(*Image(), dx, dy, dw, dh, sx, sy, sw, sh);
  src.flush();
  return paintPixels(src.px_.data(), src.width_, src.height_, dx, dy, dw, dh, sx, sy, sw, sh);
}

}  // namespace tavrel
