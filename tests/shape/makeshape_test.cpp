#include "shape/makeshape.h"

#include <gtest/gtest.h>

namespace tavrel {
namespace {

struct Generation {
  HeadlessHost host;
  AppState st;
  GenerationStats stats;

  Generation(int w, int h, std::uint32_t seed, double tcolor = 1, std::string sides = "4",
             std::string detail = "16", double ssmode = 0)
      : host(w, h) {
    st.rnd.Randomize(seed);
    st.tcolor = tcolor;
    st.ssmode = ssmode;
    host.fields[3] = std::move(sides);
    host.fields[2] = std::move(detail);
    stats = makeshape(host, st);
  }
  Colour pic(int x, int y) { return host.SurfacePicture1().pixel(x, y); }
};

TEST(MakeshapeSetUp, ClampsAndWritesBackTheFields) {
  struct Case {
    const char* text3;
    const char* shown;
    double detailfz;
  } cases[] = {{"25", "25", 0}, {"1", "1", 12},     {"2", "2", 12},  {"16", "16", 5},
               {"24", "24", 1}, {"2.5", "2.5", 11}, {"30", "25", 0}, {"abc", "1", 12}};
  for (const Case& c : cases) {
    Generation r(300, 240, 1, 1, "4", c.text3);
    EXPECT_EQ(r.host.fields[2], c.shown) << c.text3;
    EXPECT_EQ(r.st.detailfz, c.detailfz) << c.text3;
  }
  HeadlessHost host(300, 240);
  host.fields[0] = "-3";
  host.fields[1] = "7";
  host.fields[4] = "abc";
  AppState st;
  st.centerf = 1;
  makeshape(host, st);
  EXPECT_EQ(host.fields[0], "0");
  EXPECT_EQ(host.fields[1], "100");
  EXPECT_EQ(host.fields[4], "1");
  EXPECT_EQ(host.doEventsCalls, 1);
  host.fields[0] = "99";
  host.fields[4] = "99";
  host.option2 = false;
  makeshape(host, st);
  EXPECT_EQ(host.fields[0], "20");
  EXPECT_EQ(host.fields[4], "50");
  EXPECT_EQ(st.complexy, 1);
  EXPECT_EQ(st.centerf, 0);
  EXPECT_EQ(st.swidth, 100);
  EXPECT_EQ(st.circle2, 1);
  for (int i : {0, 7, 15}) EXPECT_EQ(st.usedcolors[i], 1);
}

// Mismatches of the picture with its mirror images; its centre pixel is
// Picture1's (50, 50), one pixel inside the captured square's middle.
// Two sides draw p1..p4 only: mirror images left to right and top to bottom,
// but not across the diagonal.
int asymmetry(Generation& r, bool colours, bool diagonal) {
  int bad = 0;
  for (int y = 1; y <= 99; ++y)
    for (int x = 1; x <= 99; ++x) {
      const Colour c = r.pic(x, y);
      for (auto [mx, my] :
           {std::pair{100 - x, y}, {x, 100 - y}, {diagonal ? y : x, diagonal ? x : y}}) {
        const Colour m = r.pic(mx, my);
        if (colours ? (c != m && c != kWhite && m != kWhite) : ((c == 1) != (m == 1))) ++bad;
      }
    }
  return bad;
}

TEST(Makeshape, ShapesAreSymmetricFilledAndFramed) {
  struct Variant {
    double tcolor;
    const char* sides;
    const char* detail;
  } variants[] = {{1, "4", "16"}, {0, "4", "1"}, {1, "2", "25"}, {0, "8", "16"}, {1, "8", "5"}};
  for (const Variant& v : variants)
    for (std::uint32_t seed = 1; seed <= 6; ++seed) {
      Generation r(401, 301, seed, v.tcolor, v.sides, v.detail);
      SCOPED_TRACE(testing::Message() << "seed " << seed << " sides " << v.sides);
      const bool diagonal = std::string(v.sides) != "2";
      EXPECT_EQ(asymmetry(r, false, diagonal), 0);
      EXPECT_EQ(asymmetry(r, true, diagonal), 0);
      // The box: the square with a one-pixel margin in the box's black.
      ASSERT_EQ(r.host.SurfacePicture1().width(), 102);
      ASSERT_EQ(r.host.SurfacePicture1().height(), 102);
      for (int i = 0; i < 102; ++i)
        for (auto [x, y] : {std::pair{i, 0}, {i, 101}, {0, i}, {101, i}}) ASSERT_EQ(r.pic(x, y), 0);
      // Outside the outline all is the boundary colour, and the quarter that
      // the scan walks holds no white pixel.
      const Surface& win = r.host.SurfaceWindow();
      EXPECT_EQ(r.pic(1, 1), OutlineColor);
      EXPECT_EQ(win.pixel(3, 3), OutlineColor);
      EXPECT_EQ(win.pixel(400, 300), OutlineColor);
      for (int y = 150 - 50; y <= 150; ++y)
        for (int x = 200; x <= 250; ++x) ASSERT_NE(win.pixel(x, y), kWhite) << x << "," << y;
    }
}

TEST(Makeshape, DeterministicAndCoveredInScreenSaverMode) {
  Generation a(640, 480, 77), b(640, 480, 77), cover(640, 480, 77, 1, "4", "16", 1);
  EXPECT_EQ(*a.host.SurfacePicture1().Image(), *b.host.SurfacePicture1().Image());
  EXPECT_EQ(*a.host.SurfaceWindow().Image(), *b.host.SurfaceWindow().Image());
  EXPECT_EQ(a.stats.restarts, b.stats.restarts);
  EXPECT_EQ(*cover.host.SurfacePicture1().Image(), *a.host.SurfacePicture1().Image());
  const Surface& win = cover.host.SurfaceWindow();
  for (int y = 0; y < 480; ++y)
    for (int x = 0; x < 640; ++x) ASSERT_EQ(win.pixel(x, y), OutlineColor);
}

TEST(Makeshape, BeyondTheFixedBoxNothingIsTouched) {
  Generation r(1100, 300, 3);
  const Surface& win = r.host.SurfaceWindow();
  for (int y = 0; y < 300; ++y) {
    EXPECT_EQ(win.pixel(1000, y), OutlineColor);
    for (int x = 1001; x < 1100; ++x) ASSERT_EQ(win.pixel(x, y), kWhite);
  }
}

TEST(Makeshape, EveryOptionEnds) {
  // Side counts that fail most strokes, or all of them, and a surface whose
  // square lies wholly beyond the box still give a picture.
  for (const char* sides : {"0", "-4"}) {
    Generation r(300, 240, 5, 1, sides);
    EXPECT_EQ(r.host.SurfacePicture1().width(), 102);
  }
  Generation wide(2600, 240, 5);
  EXPECT_GE(wide.stats.restarts, 0);
}

}  // namespace
}  // namespace tavrel
