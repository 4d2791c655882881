// What both generators share, run over both: the set-up's clamps, the rules
// every picture keeps, and the pictures of known seeds. Recipes that make
// pictures again are tested through the renderer and the window.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <sstream>
#include <vector>

#include "pattern/makeshape2.h"
#include "shape/makeshape.h"
#include "stages/stages.h"

namespace tavrel {
namespace {

using GeneratorFn = GenerationStats (*)(GeneratorHost&, AppState&);

// One picture. The user palette makes every third colour white, the others
// dark greys.
struct Generation {
  mutable HeadlessHost host;
  AppState st;
  std::uint32_t seed;
  Picture picture;
  Generation(GeneratorFn generate, int w, int h, std::uint32_t seed, double tcolor,
             const std::string& sides, double ssmode = 0)
      : host(w, h), seed(seed) {
    st.rnd.Randomize(seed);
    st.tcolor = tcolor, st.ssmode = ssmode;
    for (int n = 1; n <= 15; ++n) st.userColors[n] = n % 3 == 0 ? kWhite : 0x010203 * n;
    host.fields[3] = sides;
    generate(host, st);
    picture = host.SurfacePicture1().Image();
  }
  const Surface& win() const { return host.SurfaceWindow(); }
  Colour at(int x, int y) const { return picture->at(x, y); }
  // Whether a pixel of the window lies in the square, whose corner is Picture1's (1, 1).
  bool inSquare(int x, int y) const {
    return std::abs(x - win().width() / 2 - 0.5) < 50 &&
           std::abs(y - win().height() / 2 - 0.5) < 50;
  }
};

class Generators : public testing::TestWithParam<GeneratorFn> {};

TEST_P(Generators, SetUpClampsAndWritesBackTheFields) {
  // Text1, Text3 and Text5 as typed and after; fancy strokes; detail and complexity.
  const std::tuple<const char*, const char*, bool, double, double> cases[] = {
      {"0 25 10", "0 25 10", true, 0, 2},    {"-3 1 abc", "0 1 1", true, 12, 2},
      {"99 16 99", "20 16 50", false, 5, 1}, {"7 24 0", "7 24 1", true, 1, 2},
      {"x 2.5 3", "0 2.5 3", true, 11, 2},   {"0 30 1", "0 25 1", true, 0, 2},
      {"0 abc 1", "0 1 1", true, 12, 2}};
  for (const auto& [typed, after, fancy, detailfz, complexy] : cases) {
    HeadlessHost host(300, 240);
    std::istringstream(typed) >> host.fields[0] >> host.fields[2] >> host.fields[4];
    host.fields[1] = "7";
    host.option2 = fancy;
    AppState st;
    GetParam()(host, st);
    EXPECT_EQ(host.fields[0] + ' ' + host.fields[2] + ' ' + host.fields[4], after) << typed;
    EXPECT_EQ(host.fields[1], "100");
    EXPECT_EQ(std::pair(st.detailfz, st.complexy), std::pair(detailfz, complexy)) << typed;
  }
}

// Why a picture is right: the rules every picture keeps, each a row that
// counts the pixels breaking it, checked on every picture of the runs below.
// With the tables of the surface (fills, erase limits), of the walker and of
// the set-up's clamps they say what the pinned pictures further down only
// witness.
TEST_P(Generators, EveryPictureKeepsTheRules) {
  const bool tile = GetParam() == makeshape2;
  const auto twin = [&](const Generation& g, double tcolor, double ssmode) {
    return Generation(GetParam(), g.win().width(), g.win().height(), g.seed, tcolor,
                      g.host.fields[3], ssmode);
  };
  const std::pair<const char*, std::function<void(const Generation&, int& bad)>> rules[] = {
      {"Picture1 is the square and a margin of one black pixel",
       [](const Generation& g, int& bad) {
         for (int i = 0; i < 102; ++i)
           bad += g.at(i, 0) + g.at(i, 101) + g.at(0, i) + g.at(101, i) != 0;
         bad += (g.picture->width != 102) + (g.picture->height != 102);
       }},
      {"the square mirrors both ways and, but for a shape of two sides, across its diagonal; "
       "colours too, but where a region stayed white",
       [&](const Generation& g, int& bad) {
         const auto differ = [&](int x, int y, int mx, int my) {
           const Colour a = g.at(x, y), b = g.at(mx, my);
           return (a == OutlineColor) != (b == OutlineColor) ||
                  (a != b && a != kWhite && b != kWhite);
         };
         for (int y = 1; y <= 99; ++y)
           for (int x = 1; x <= 99; ++x)
             bad += differ(x, y, 100 - x, y) + differ(x, y, x, 100 - y) +
                    ((tile || g.st.nsides != 2) && differ(x, y, y, x));
       }},
      {"neighbours in the square have one colour unless one is the boundary: fills take whole "
       "regions",
       [](const Generation& g, int& bad) {
         for (int y = 1; y <= 100; ++y)
           for (int x = 1; x <= 100; ++x)
             for (auto [nx, ny] : {std::pair{x + 1, y}, {x, y + 1}})
               bad += nx <= 100 && ny <= 100 && g.at(x, y) != OutlineColor &&
                      g.at(nx, ny) != OutlineColor && g.at(x, y) != g.at(nx, ny);
       }},
      {"basic colours are the 13 usable ones, or white where no fill came",
       [](const Generation& g, int& bad) {
         for (int y = 1; g.st.tcolor == kBasicColours && y <= 100; ++y)
           for (int x = 1; x <= 100; ++x) {
             int n = 0;
             while (n < 16 && QBColor(n) != g.at(x, y)) ++n;
             bad += n == 0 || n == 7 || (n == 16 && g.at(x, y) != OutlineColor);
           }
       }},
      {"up to the fixed box all is the boundary colour but the square, which the screen-saver "
       "covers too; beyond the box nothing is touched",
       [](const Generation& g, int& bad) {
         for (int y = 0; g.win().width() / 2 + 50 <= 1000 && y < g.win().height(); ++y)
           for (int x = 0; x < g.win().width(); ++x)
             bad += x > 1000 || y > 1000                    ? g.win().pixel(x, y) != kWhite
                    : !g.inSquare(x, y) || g.st.ssmode == 1 ? g.win().pixel(x, y) != OutlineColor
                                                            : 0;
       }},
      {"a tile's frame stands 49 pixels out from the centre",
       [&](const Generation& g, int& bad) {
         for (int i = 1; tile && i <= 99; ++i)
           for (auto [x, y] : {std::pair{1, i}, {i, 1}, {99, i}, {i, 99}})
             bad += g.at(x, y) != OutlineColor;
       }},
      {"the screen-saver's picture is the one regular mode shows",
       [&](const Generation& g, int& bad) {
         bad = g.st.ssmode == 1 && *twin(g, g.st.tcolor, 0).picture != *g.picture;
       }},
      {"user colours paint the regions basic colours paint, and only in the square",
       [&](const Generation& g, int& bad) {
         if (g.st.tcolor != kUserColours) return;
         const Generation basic = twin(g, kBasicColours, g.st.ssmode);
         const auto user = [&](Colour c) {
           for (int n = 1; n <= 14; ++n)
             if (n != 7 && c == QBColor(n)) return g.st.userColors[n];
           return c;
         };
         for (int y = 0; y < g.win().height(); ++y)
           for (int x = 0; x < g.win().width(); ++x) {
             const Colour b = basic.win().pixel(x, y);
             bad += g.win().pixel(x, y) != (g.inSquare(x, y) ? user(b) : b);
           }
         for (int y = 0; y < 102; ++y)
           for (int x = 0; x < 102; ++x) bad += g.at(x, y) != user(basic.at(x, y));
       }},
  };
  // Side counts that fail most strokes or all of them, and a square beyond
  // the fixed box, end too.
  // Width, height, colours, sides, screen-saver mode.
  const std::tuple<int, int, double, const char*, double> runs[] = {
      {401, 301, kTrueColours, "4", 0},   {401, 301, kBasicColours, "8", 0},
      {400, 300, kBasicColours, "4", 0},  {400, 300, kTrueColours, "8", 0},
      {300, 240, kBasicColours, "2", 0},  {1100, 300, kUserColours, "4", 0},
      {640, 480, kTrueColours, "4", 1},   {2600, 240, kUserColours, "4", 0},
      {300, 240, kBasicColours, "0", 0},  {300, 240, kBasicColours, "-4", 0},
      {300, 240, kBasicColours, "1e9", 0}};
  for (const auto& [width, height, tcolor, sides, ssmode] : runs)
    for (std::uint32_t seed = 1; seed <= 3; ++seed) {
      const Generation g(GetParam(), width, height, seed, tcolor, sides, ssmode);
      for (const auto& [what, rule] : rules) {
        int bad = 0;
        rule(g, bad);
        EXPECT_EQ(bad, 0) << what << "\n"
                          << width << "x" << height << " colours " << tcolor << " sides " << sides
                          << " seed " << seed;
      }
    }
}

// The pictures of a seed, pinned: no change may alter what the generators
// make (the renderer's files of seed 11 give the same). FNV-1a over
// Picture1's pixels of pictures in a row on one surface: in true colours, in
// basic colours, in basic colours with eight sides and regular strokes, with
// two sides (the tile treats two as four), in true colours with eight sides
// (the painter's second draw), and on a wide and a tall surface, where the
// surface's bookkeeping of what a generation leaves to erase spans far more
// than the box the pictures are made in: the same on both.
TEST_P(Generators, PicturesOfKnownSeedsStayTheSame) {
  // Width, height, colours, sides, fancy strokes, pictures, and the sums of both generators.
  const std::tuple<int, int, double, const char*, bool, int, std::uint64_t, std::uint64_t> rows[] =
      {
          {640, 480, kTrueColours, "4", true, 10, 0x84107505e365f8ecull, 0x03b58fc70b0e387bull},
          {640, 480, kBasicColours, "4", true, 10, 0xa1ee1a7fcbd41513ull, 0x1f931934c67ebd2bull},
          {640, 480, kBasicColours, "8", false, 10, 0xc05b36bdcc1d6cc0ull, 0xc26972f0e79eb743ull},
          {640, 480, kTrueColours, "2", true, 10, 0xc2d2d6cd4e401279ull, 0x03b58fc70b0e387bull},
          {640, 480, kTrueColours, "8", true, 10, 0xea49f9bfbf23c938ull, 0x4b0989712f64baa3ull},
          {4000, 600, kTrueColours, "4", true, 18, 0x4593b71aee1bbeb7ull, 0x04eec58dd5593d8full},
          {600, 4000, kTrueColours, "4", true, 18, 0x4593b71aee1bbeb7ull, 0x04eec58dd5593d8full},
      };
  for (const auto& [width, height, tcolor, sides, fancy, pictures, shape, tile] : rows) {
    HeadlessHost host(width, height);
    host.fields[3] = sides, host.option2 = fancy;
    AppState st;
    st.rnd.Randomize(11);
    st.tcolor = tcolor;
    std::uint64_t h = 1469598103934665603ull;
    for (int i = 0; i < pictures; ++i) {
      GetParam()(host, st);
      const Picture p = host.SurfacePicture1().Image();
      for (Colour c : p->pixels) h = (h ^ static_cast<std::uint32_t>(c)) * 1099511628211ull;
    }
    EXPECT_EQ(h, GetParam() == makeshape ? shape : tile)
        << width << "x" << height << " colours " << tcolor << " sides " << sides;
  }
}

INSTANTIATE_TEST_SUITE_P(Both, Generators, testing::Values(makeshape, makeshape2),
                         [](const auto& info) {
                           return std::string(info.param == makeshape ? "makeshape" : "makeshape2");
                         });

}  // namespace
}  // namespace tavrel
