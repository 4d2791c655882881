#include "canvas/surface.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace tavrel {
namespace {

constexpr Colour W = kWhite;

Surface whiteSurface(int w, int h) {
  Surface s(w, h, kBlack);
  s.setBackColor(OutlineColor);
  s.setBackColor(QBColor(15));
  return s;
}

int count(const Surface& s, Colour c) {
  int n = 0;
  for (int y = 0; y < s.height(); ++y)
    for (int x = 0; x < s.width(); ++x) n += s.pixel(x, y) == c;
  return n;
}

void selectBrush(Surface& s, Colour c) {
  const Long brush = s.CreateSolidBrush(c);
  s.DeleteObject(s.SelectObject(s.hDC(), brush));
}

TEST(Surface, ErasePlotAndPoint) {
  Surface s = whiteSurface(10, 10);
  EXPECT_EQ(count(s, W), 100);
  s.Line(LineFlags::Line, 3.4, 5.6, 4.4, 6.6, OutlineColor);
  EXPECT_EQ(count(s, W), 99);
  EXPECT_EQ(s.Point(3.4, 5.6), OutlineColor);
  EXPECT_EQ(s.pixel(3, 6), OutlineColor);
  s.plot(6.5, 2.5, 0x123456);  // ties to even: pixel (6, 2)
  EXPECT_EQ(s.pixel(6, 2), 0x123456);
  for (auto [x, y] : {std::pair{-1.0, 0.0}, {10.0, 0.0}, {0.0, 9.6}}) EXPECT_EQ(s.Point(x, y), -1);
  s.plot(-3, 4, OutlineColor);  // off the surface: nothing, no error
  EXPECT_EQ(count(s, W), 98);
  // Longer lines stop one pixel short of their end; absurd ones are clipped.
  s.Line(LineFlags::Line, 0, 9, 6, 7, 0x00FF00);
  s.Line(LineFlags::Line, -5, 3, 1e9, 3, 0x0000FF);
  EXPECT_EQ(std::pair(count(s, 0x00FF00), count(s, 0x0000FF)), std::pair(6, 10));
}

TEST(Surface, BoxesAreClipped) {
  Surface narrow = whiteSurface(800, 20);
  narrow.Line(LineFlags::Box, -10, -10, 1000, 1000, OutlineColor);
  EXPECT_EQ(count(narrow, W), 800 * 20);  // the box's edges all lie beyond it
  Surface s = whiteSurface(12, 12);
  s.Line(LineFlags::FilledBox, 8, 8, 2, 3, 0x00FF00);  // corners in any order, both included
  EXPECT_EQ(count(s, 0x00FF00), 7 * 6);
  s.Line(LineFlags::Box, 1, 1, 4, 3, OutlineColor);
  EXPECT_EQ(s.pixel(1, 1), OutlineColor);
  EXPECT_EQ(s.pixel(4, 3), OutlineColor);
  EXPECT_EQ(s.pixel(2, 4), 0x00FF00);
}

TEST(Surface, FloodFillIsAFourConnectedBoundaryFill) {
  Surface s = whiteSurface(20, 20);
  // A diamond of diagonal steps closes its inside for the fill.
  for (int i = 0; i < 5; ++i) {
    s.plot(10 + i, 5 + i, 1);
    s.plot(15 - i, 10 + i, 1);
    s.plot(10 - i, 15 - i, 1);
    s.plot(5 + i, 10 - i, 1);
  }
  selectBrush(s, 0x0000FF);
  EXPECT_NE(s.FloodFill(s.hDC(), 10, 10, OutlineColor), 0);
  EXPECT_EQ(s.pixel(10, 10), 0x0000FF);
  EXPECT_EQ(s.pixel(1, 1), W);
  const int inside = count(s, 0x0000FF);
  EXPECT_GT(inside, 20);

  // On the boundary or off the surface nothing is painted.
  EXPECT_EQ(s.FloodFill(s.hDC(), 10, 5, OutlineColor), 0);
  EXPECT_EQ(s.FloodFill(s.hDC(), -1, 5, OutlineColor), 0);
  EXPECT_EQ(count(s, 0x0000FF), inside);

  // The brush may be the boundary colour itself: the outside becomes one mass.
  selectBrush(s, OutlineColor);
  s.FloodFill(s.hDC(), 1, 1, OutlineColor);
  EXPECT_EQ(count(s, W), 0);
  EXPECT_EQ(count(s, 0x0000FF), inside);

  // Earlier colours stop nothing; repainting in the same colour works too.
  selectBrush(s, 0x00FF00);
  s.Line(LineFlags::FilledBox, 9, 9, 11, 11, 0x777777);
  s.FloodFill(s.hDC(), 10, 8, OutlineColor);
  EXPECT_EQ(count(s, 0x00FF00), inside);
  s.FloodFill(s.hDC(), 10, 12, OutlineColor);
  EXPECT_EQ(count(s, 0x00FF00), inside);
}

// Erasing is lazy and wipes touch only what was drawn: none of it may show.
TEST(Surface, CheapErasesLookLikeFullOnes) {
  Surface s(30, 20, kBlack);
  s.Line(LineFlags::FilledBox, 0, 0, 29, 19, 0x00FFFF);
  s.setBackColor(OutlineColor);
  s.setBackColor(W);
  EXPECT_EQ(count(s, W), 600);
  for (int i = 0; i < 30; ++i) s.plot(i, i % 20, OutlineColor);
  s.plot(25, 3, 0x0000FF);
  s.Line(LineFlags::FilledBox, 0, 0, 20, 10, W);  // the wipe of a smaller box
  for (int y = 0; y <= 10; ++y)
    for (int x = 0; x <= 20; ++x) ASSERT_EQ(s.pixel(x, y), W);
  EXPECT_EQ(s.pixel(25, 3), 0x0000FF);
  EXPECT_EQ(s.pixel(21, 1), OutlineColor);
  selectBrush(s, 0x00FF00);
  s.FloodFill(s.hDC(), 2, 15, OutlineColor);
  s.Cls();
  EXPECT_EQ(count(s, W), 600);

  auto picture = std::make_shared<ImageData>();
  picture->width = 3;
  picture->height = 2;
  picture->pixels.assign(6, 0x010203);
  s.setPicture(picture);
  EXPECT_EQ(s.pixel(2, 1), 0x010203);
  EXPECT_EQ(s.pixel(3, 1), W);
  s.plot(1, 1, OutlineColor);
  s.Cls();  // the picture shows again under nothing
  EXPECT_EQ(s.pixel(1, 1), 0x010203);
  s.setPicture(nullptr);
  s.plot(29, 19, OutlineColor);
  s.resize(40, 25);  // what fits is kept, the rest takes the back colour
  EXPECT_EQ(s.pixel(29, 19), OutlineColor);
  EXPECT_EQ(count(s, W), 999);
}

// The same drawing on the surface and on a model that erases at once and
// keeps no books: after every step the two hold the same pixels. Each row
// drives the lazy erase across one of its limits: the journal of single
// pixels (its fold at a million writes, the 4096 a wipe may leave behind),
// box outlines drawn pixel by pixel or as edges (8192 pixels), erasing to
// another colour and back, a background picture, a resize.
class Model {
 public:
  Model(int w, int h, Colour back) : w_(w), h_(h), back_(back), px_(w * h, back) {}
  void plot(int x, int y, Colour c) {
    if (x >= 0 && y >= 0 && x < w_ && y < h_) px_[y * w_ + x] = c;
  }
  void fill(int x0, int y0, int x1, int y1, Colour c) {
    for (int y = std::min(y0, y1); y <= std::max(y0, y1); ++y)
      for (int x = std::min(x0, x1); x <= std::max(x0, x1); ++x) plot(x, y, c);
  }
  void box(int x0, int y0, int x1, int y1, Colour c) {
    fill(x0, y0, x1, y0, c), fill(x0, y1, x1, y1, c), fill(x0, y0, x0, y1, c),
        fill(x1, y0, x1, y1, c);
  }
  void erase(Colour back, const ImageData* picture) {
    back_ = back;
    px_.assign(px_.size(), back);
    if (picture)
      for (int y = 0; y < picture->height; ++y)
        for (int x = 0; x < picture->width; ++x) plot(x, y, picture->at(x, y));
  }
  void resize(int w, int h) {
    std::vector<Colour> next(w * h, back_);
    for (int y = 0; y < std::min(h, h_); ++y)
      for (int x = 0; x < std::min(w, w_); ++x) next[y * w + x] = px_[y * w_ + x];
    w_ = w, h_ = h, px_.swap(next);
  }
  int mismatches(const Surface& s) const {
    if (s.width() != w_ || s.height() != h_) return -1;
    int n = 0;
    for (int y = 0; y < h_; ++y)
      for (int x = 0; x < w_; ++x) n += s.pixel(x, y) != px_[y * w_ + x];
    return n;
  }

 private:
  int w_, h_;
  Colour back_;
  std::vector<Colour> px_;
};

TEST(Surface, LazyErasingAgreesWithEagerErasingAcrossItsLimits) {
  auto picture = std::make_shared<ImageData>();
  picture->width = 7;
  picture->height = 5;
  picture->pixels.assign(35, 0x0A0B0C);
  // Each step: a letter and its numbers. p N C: N single pixels of colour C
  // scattered over the surface; q N C: N pixels right of x = 150; b/f X0 Y0
  // X1 Y1 C: a box outline or a filled box; k C: back colour C (an erase);
  // c: Cls; i / n: the picture set / taken away; r W H: resize.
  const struct {
    const char* what;
    std::vector<std::string> steps;
  } rows[] = {
      {"a wipe leaves 4096 pixels", {"k 16777215", "q 4096 1", "f 0 0 149 39 16777215", "c"}},
      {"a wipe leaves 4097 pixels", {"k 16777215", "q 4097 1", "f 0 0 149 39 16777215", "c"}},
      {"a wipe takes them all", {"k 16777215", "p 5000 255", "f -5 -5 400 100 16777215", "c"}},
      {"outline of 8192", {"k 16777215", "b 10 10 4069 45 1", "c"}},
      {"outline of 8194", {"k 16777215", "b 10 10 4070 45 1", "f 0 0 299 39 16777215", "c"}},
      {"outline beyond the edges", {"k 16777215", "b -3000 -10 3000 30 65280", "c"}},
      {"a million writes", {"k 16777215", "p 1048575 1", "c"}},
      {"a million and two", {"k 16777215", "p 1048578 1", "c", "p 3 2", "c"}},
      {"erase to another colour and back",
       {"k 255", "p 300 1", "f 5 5 50 30 65280", "k 16777215", "p 300 1", "k 16777215"}},
      {"a filled box in another colour, then a wipe",
       {"k 16777215", "f 100 0 299 39 255", "f 0 0 199 39 16777215", "c"}},
      {"the picture under it all", {"i", "p 200 1", "c", "f 0 0 3 3 16777215", "n", "c"}},
      {"resize keeps what fits", {"k 16777215", "p 500 1", "r 200 50", "c", "r 300 40", "c"}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    Surface s(300, 40, kBlack);
    Model m(300, 40, kBlack);
    const ImageData* shown = nullptr;
    Colour back = kBlack;
    std::uint32_t seed = 12345;
    const auto next = [&](int below) {
      seed = seed * 1103515245u + 12345u;
      return static_cast<int>((seed >> 8) % static_cast<std::uint32_t>(below));
    };
    for (const std::string& step : row.steps) {
      std::istringstream in(step);
      char op = 0;
      in >> op;
      long long n = 0;
      int x0 = 0, y0 = 0, x1 = 0, y1 = 0;
      Colour c = 0;
      if (op == 'p' || op == 'q') {
        in >> n >> c;
        for (long long i = 0; i < n; ++i) {
          const int x = op == 'q' ? 150 + next(150) : next(300), y = next(40);
          s.plot(x, y, c);
          m.plot(x, y, c);
        }
      } else if (op == 'b' || op == 'f') {
        in >> x0 >> y0 >> x1 >> y1 >> c;
        s.Line(op == 'b' ? LineFlags::Box : LineFlags::FilledBox, x0, y0, x1, y1, c);
        op == 'b' ? m.box(x0, y0, x1, y1, c) : m.fill(x0, y0, x1, y1, c);
      } else if (op == 'k' || op == 'c' || op == 'i' || op == 'n') {
        if (op == 'k') in >> back, s.setBackColor(back);
        if (op == 'c') s.Cls();
        if (op == 'i' || op == 'n') {
          shown = op == 'i' ? picture.get() : nullptr;
          s.setPicture(op == 'i' ? picture : nullptr);
        }
        m.erase(back, shown);
      } else if (op == 'r') {
        in >> x1 >> y1;
        s.resize(x1, y1);
        m.resize(x1, y1);
      }
      ASSERT_EQ(m.mismatches(s), 0) << step;
    }
  }
}

}  // namespace
}  // namespace tavrel
