#include "canvas/surface.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

namespace tavrel {
namespace {

constexpr Colour W = kWhite;

long count(const Surface& s, Colour c) {
  return std::ranges::count(s.Image()->pixels, c);
}

TEST(Surface, PlotsLandWherePointReadsAndLinesStopShortOfTheirEnd) {
  Surface s(10, 10, W);
  s.Line(LineFlags::Line, 3.4, 5.6, 4.4, 6.6, OutlineColor);  // a step of one: one pixel
  EXPECT_EQ(count(s, W), 99);
  EXPECT_EQ(s.Point(3.4, 5.6), OutlineColor);
  EXPECT_EQ(s.pixel(3, 6), OutlineColor);
  s.plot(6.5, 2.5, 0x123456);  // ties to even: pixel (6, 2)
  EXPECT_EQ(s.pixel(6, 2), 0x123456);
  for (auto [x, y] : {std::pair{-1.0, 0.0}, {10.0, 0.0}, {0.0, 9.6}}) EXPECT_EQ(s.Point(x, y), -1);
  s.plot(-3, 4, OutlineColor);  // off the surface: nothing, no error
  s.Line(LineFlags::Line, 0, 9, 6, 7, 0x00FF00);
  EXPECT_EQ(std::pair(count(s, W), count(s, 0x00FF00)), std::pair(92L, 6L));
}

// The same drawing on the surface and on a model that erases at once, fills
// by visiting neighbours and keeps no books: after every step the two hold
// the same pixels, and every pixel that changed lies in the damage the
// surface reports. Erasing is lazy and a wipe back to the erase colour
// rewrites only what was drawn since, so each row drives one writer and then
// a wipe or an erase, or the bookkeeping across one of its limits: the
// journal of single pixels (its fold at 2^20 writes, the 4096 a wipe may
// leave behind), box outlines drawn pixel by pixel up to 8192 pixels or as
// edges beyond.
struct Model {
  int w, h;
  Colour back;
  std::vector<Colour> px = std::vector<Colour>(w * h, back);
  Colour& at(int x, int y) { return px[y * w + x]; }
  void fill(int x0, int y0, int x1, int y1, Colour c) {
    for (int y = std::max(std::min(y0, y1), 0); y <= std::min(std::max(y0, y1), h - 1); ++y)
      for (int x = std::max(std::min(x0, x1), 0); x <= std::min(std::max(x0, x1), w - 1); ++x)
        at(x, y) = c;
  }
  void box(int x0, int y0, int x1, int y1, Colour c) {
    fill(x0, y0, x1, y0, c), fill(x0, y1, x1, y1, c), fill(x0, y0, x0, y1, c),
        fill(x1, y0, x1, y1, c);
  }
  // A line along an axis, its end left out.
  void line(int x0, int y0, int x1, int y1, Colour c) {
    if (x0 != x1 || y0 != y1)
      fill(x0, y0, x1 - (x1 > x0) + (x1 < x0), y1 - (y1 > y0) + (y1 < y0), c);
  }
  bool flood(int x, int y, Colour brush) {
    if (x < 0 || y < 0 || x >= w || y >= h || at(x, y) == OutlineColor) return false;
    std::vector<bool> seen(px.size());
    seen[y * w + x] = true;
    for (std::vector<int> todo{y * w + x}; !todo.empty();) {
      const int i = todo.back();
      todo.pop_back();
      for (int n : {i % w ? i - 1 : -1, (i + 1) % w ? i + 1 : -1, i - w, i + w})
        if (n >= 0 && n < w * h && !seen[n] && px[n] != OutlineColor)
          seen[n] = true, todo.push_back(n);
    }
    for (std::size_t i = 0; i < px.size(); ++i) px[i] = seen[i] ? brush : px[i];
    return true;
  }
  void paste(const ImageData& p, int dx, int dy) {
    for (int y = 0; y < p.height; ++y)
      for (int x = 0; x < p.width; ++x) fill(dx + x, dy + y, dx + x, dy + y, p.at(x, y));
  }
};

TEST(Surface, LazyErasingAgreesWithEagerErasingAcrossItsLimits) {
  const auto picture = std::make_shared<ImageData>(ImageData{7, 5, std::vector(35, 0x0A0B0C)});
  // Each step: a letter and its numbers. p N C: N single pixels of colour C
  // scattered over the surface; q N C: N pixels right of x = 150; b/f X0 Y0
  // X1 Y1 C: a box outline or a filled box; l X0 Y0 X1 Y1 C: a line along an
  // axis; F X Y C: a fill in brush C up to the boundary colour 1; P X Y: the
  // picture copied to (X, Y); k C: back colour C (an erase); c: Cls; i / n:
  // the picture set / taken away; r W H: resize.
  const std::pair<const char*, std::vector<std::string>> rows[] = {
      {"a wipe leaves 4096 pixels", {"k 16777215", "q 4096 1", "f 0 0 149 39 16777215", "c"}},
      {"a wipe leaves 4097 pixels", {"k 16777215", "q 4097 1", "f 0 0 149 39 16777215", "c"}},
      {"a wipe takes them all", {"k 16777215", "p 5000 255", "f -5 -5 400 100 16777215", "c"}},
      {"outline of 8192", {"k 16777215", "b 10 10 4069 45 1", "c"}},
      {"outline of 8194", {"k 16777215", "b 10 10 4070 45 1", "f 0 0 299 39 16777215", "c"}},
      {"outlines beyond the edges",
       {"k 16777215", "b -10 -10 1000 1000 1", "b -10 -10 9000 9000 1", "b -3000 -10 3000 30 65280",
        "c"}},
      {"a million writes", {"k 16777215", "p 1048575 1", "c"}},
      {"a million and two", {"k 16777215", "p 1048578 1", "c", "p 3 2", "c"}},
      {"erase to another colour and back",
       {"k 255", "p 300 1", "f 5 5 50 30 65280", "k 16777215", "p 300 1", "k 16777215"}},
      {"filled boxes, corners either way, then a wipe",
       {"k 16777215", "f 100 0 299 39 255", "f 8 8 2 3 65280", "f 0 0 199 39 16777215", "c"}},
      {"lines far past the edges, then a wipe",
       {"k 16777215", "l -5 3 1e9 3 255", "l 7 -50000 7 50000 255", "l 9 9 9 20 255",
        "l 40 9 30 9 1", "f 0 0 299 39 16777215", "c"}},
      {"fills stop only at the boundary colour, then a wipe",
       {"k 16777215", "p 4000 1", "p 500 255", "F 150 20 65280", "F 150 20 65280", "F 10 10 255",
        "F 0 0 1", "F -1 5 255", "F 300 5 255", "F 5 40 255", "f 0 0 299 39 16777215", "c"}},
      {"a fill over the picture, then a wipe",
       {"i", "p 200 1", "F 3 2 65280", "F 3 2 65280", "F 20 20 1", "f 0 0 3 3 16777215", "c"}},
      {"pictures copied past the edges, then a wipe",
       {"k 16777215", "P -2 -1", "P 296 37", "P 100 10", "f 0 0 299 39 16777215", "c"}},
      {"the picture under it all", {"i", "n", "i", "p 200 1", "c", "f 0 0 3 3 16777215", "n", "c"}},
      {"resize keeps what fits",
       {"k 16777215", "p 500 1", "r 200 50", "c", "r 300 40", "p 10 1", "f 0 0 299 39 16777215"}},
  };
  for (const auto& [what, steps] : rows) {
    SCOPED_TRACE(what);
    Surface s(300, 40, kBlack);
    Model m{300, 40, kBlack};
    bool shown = false;
    std::uint32_t seed = 12345;
    const auto next = [&](int below) {
      seed = seed * 1103515245u + 12345u;
      return static_cast<int>((seed >> 8) % static_cast<std::uint32_t>(below));
    };
    for (const std::string& step : steps) {
      std::istringstream in(step.substr(1));
      const char op = step[0];
      // Whole numbers but for the far ends of lines.
      const std::vector<double> v{std::istream_iterator<double>(in), {}};
      const Colour c = v.empty() ? 0 : static_cast<Colour>(v.back());  // the last is a colour
      const auto whole = [&](int i) { return static_cast<int>(std::clamp(v[i], -1e6, 1e6)); };
      Model before = m;
      if (op == 'p' || op == 'q') {
        for (int i = 0; i < v[0]; ++i) {
          const int x = op == 'q' ? 150 + next(150) : next(300), y = next(40);
          s.plot(x, y, c);
          m.fill(x, y, x, y, c);
        }
      } else if (op == 'b' || op == 'f' || op == 'l') {
        s.Line(op == 'b'   ? LineFlags::Box
               : op == 'f' ? LineFlags::FilledBox
                           : LineFlags::Line,
               v[0], v[1], v[2], v[3], c);
        (m.*(op == 'b'   ? &Model::box
             : op == 'f' ? &Model::fill
                         : &Model::line))(whole(0), whole(1), whole(2), whole(3), c);
      } else if (op == 'F') {
        s.DeleteObject(s.SelectObject(s.hDC(), s.CreateSolidBrush(c)));
        ASSERT_EQ(s.FloodFill(s.hDC(), whole(0), whole(1), OutlineColor) != 0,
                  m.flood(whole(0), whole(1), c))
            << step;
      } else if (op == 'P') {
        s.PaintPicture(*picture, v[0], v[1], 7, 5, 0, 0, 7, 5);
        m.paste(*picture, whole(0), whole(1));
      } else if (op == 'r') {
        s.resize(whole(0), whole(1));
        Model next{whole(0), whole(1), m.back};  // keeping what fits
        next.paste({m.w, m.h, m.px}, 0, 0);
        m = next;
      } else {  // an erase
        if (op == 'k') s.setBackColor(m.back = c);
        if (op == 'c') s.Cls();
        if (op == 'i' || op == 'n') s.setPicture((shown = op == 'i') ? picture : nullptr);
        m.fill(0, 0, m.w, m.h, m.back);
        if (shown) m.paste(*picture, 0, 0);
      }
      ASSERT_EQ(std::pair(s.width(), s.height()), std::pair(m.w, m.h));
      const PixelRect damage = s.takeDamage();
      int bad = 0;
      for (int y = 0; y < m.h; ++y)
        for (int x = 0; x < m.w; ++x)
          bad += s.pixel(x, y) != m.at(x, y) ||
                 (before.px.size() == m.px.size() && before.w == m.w &&
                  before.at(x, y) != m.at(x, y) && !damage.contains(x, y));
      ASSERT_EQ(bad, 0) << step;
    }
  }
}

}  // namespace
}  // namespace tavrel
