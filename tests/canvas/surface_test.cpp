#include "canvas/surface.h"

#include <gtest/gtest.h>

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

}  // namespace
}  // namespace tavrel
