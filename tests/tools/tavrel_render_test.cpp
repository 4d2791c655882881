// Runs the built tavrel-render and looks at what it leaves behind.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <optional>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "canvas/convert.h"
#include "canvas/image_io.h"
#include "state/recipe.h"

namespace tavrel {
namespace {

namespace fs = std::filesystem;

std::string slurp(const fs::path& p) {
  std::ifstream in(p, std::ios::binary);
  std::ostringstream s;
  s << in.rdbuf();
  return s.str();
}

// The pixels of a BMP as the renderer writes them: 24 bits, a 54-byte
// header, rows bottom-up and padded to 4 bytes.
std::optional<ImageData> readOwnBmp(const fs::path& p) {
  const std::string b = slurp(p);
  auto at = [&b](std::size_t i) { return std::uint32_t{static_cast<std::uint8_t>(b[i])}; };
  auto little32 = [&at](std::size_t i) {
    return at(i) | at(i + 1) << 8 | at(i + 2) << 16 | at(i + 3) << 24;
  };
  if (b.size() < 54 || b[0] != 'B' || b[1] != 'M' || little32(10) != 54) return std::nullopt;
  ImageData img{static_cast<int>(little32(18)), static_cast<int>(little32(22)), {}};
  const std::size_t stride = (static_cast<std::size_t>(img.width) * 3 + 3) / 4 * 4;
  if (b.size() != 54 + stride * img.height) return std::nullopt;
  for (int y = 0; y < img.height; ++y)
    for (int x = 0; x < img.width; ++x) {
      const std::size_t p = 54 + stride * (img.height - 1 - y) + 3 * x;
      img.pixels.push_back(at(p + 2) | at(p + 1) << 8 | at(p) << 16);
    }
  return img;
}

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

struct Outcome {
  int status = -1;
  std::string out, err;
};

class RenderTest : public ::testing::Test {
 protected:
  void SetUp() override {
    root_ = fs::temp_directory_path() /
            ("tavrel-render-test-" + std::to_string(::getpid()) + "-" +
             ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::remove_all(root_);
    fs::create_directories(root_ / "logs");
  }
  void TearDown() override { fs::remove_all(root_); }

  // A fresh empty folder under the test's root.
  fs::path folder(const std::string& name) {
    fs::create_directories(root_ / name);
    return root_ / name;
  }

  Outcome render(const std::string& args) {
    const fs::path out = root_ / "logs" / "out", err = root_ / "logs" / "err";
    const std::string command = std::string("'") + TAVREL_RENDER + "' " + args + " >'" +
                                out.string() + "' 2>'" + err.string() + "'";
    Outcome r;
    const int raw = std::system(command.c_str());
    r.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    r.out = slurp(out);
    r.err = slurp(err);
    return r;
  }

  static std::set<std::string> filesIn(const fs::path& dir) {
    std::set<std::string> names;
    for (const auto& e : fs::directory_iterator(dir)) names.insert(e.path().filename().string());
    return names;
  }

  // A written PNG; an empty one if it can't be read.
  static PngFile png(const fs::path& p) {
    auto f = readPng(p);
    EXPECT_TRUE(f) << p;
    return f ? *f : PngFile{};
  }

  static std::string quoted(const fs::path& p) { return "'" + p.string() + "'"; }

  static std::pair<int, int> pngSize(const fs::path& p) {
    const std::string b = slurp(p);
    if (b.size() < 24 || b.compare(12, 4, "IHDR") != 0) return {0, 0};
    auto big32 = [&](std::size_t at) {
      int v = 0;
      for (int i = 0; i < 4; ++i) v = (v << 8) | static_cast<unsigned char>(b[at + i]);
      return v;
    };
    return {big32(16), big32(20)};
  }

  fs::path root_;
};

TEST_F(RenderTest, BadInputIsOneLineExitTwoAndNoFile) {
  const fs::path dir = folder("out"), in = folder("in");
  const std::string outArg = " --out " + quoted(dir);
  { std::ofstream(root_ / "plain-file") << "x"; }
  { std::ofstream(in / "good.gpl") << "GIMP Palette\n1 2 3\n"; }
  { std::ofstream(in / "bad.gpl") << "GIMP Palette\n1 2 300\n"; }
  ASSERT_EQ(render("--seed 1 --surface 1100x300 --out " + quoted(in)).status, 0);
  const fs::path made = in / "shape-1-1.png";
  const std::string recipe = *png(made).text(kRecipeKeyword);
  // PNGs whose recipe is missing, broken, or makes a bad surface or field.
  const auto withRecipe = [&](const std::string& name, const std::string& from,
                              const std::string& to) {
    std::string text = recipe;
    text.replace(text.find(from), from.size(), to);
    const PngTexts texts = {{std::string(kRecipeKeyword), text}};
    ASSERT_TRUE(writeFile(in / name, encodePng(png(made).image, texts)));
  };
  ASSERT_TRUE(writeFile(in / "plain.png", encodePng(png(made).image)));
  withRecipe("cut.png", "random=", "random=1 2 3");
  withRecipe("small.png", "surface=1100x300", "surface=100x100");
  withRecipe("huge.png", "text3=16", "text3=1e309");
  const std::string from = "--from " + quoted(made) + " ";
  const std::vector<std::string> bad = {
      "--bogus",
      "--seed 4294967296",
      "--seed -1",
      "--seed 12abc",
      "--seed",
      "--count 0",
      "--count -3",
      "--surface 199x768",
      "--surface 1024x16385",
      "--surface 1024",
      "--surface x",
      "--zoom 0",
      "--zoom 17",
      "--generator circles",
      "--style plain",
      "--colors many",
      "--window=yes",
      "--window --zoom 16 --surface 2000x300",
      "--detail 1e309",
      "--sides -1e309",
      "--sides " + std::string(400, '9'),
      "--colors user --palette " + quoted(in / "bad.gpl"),
      "--colors user --palette " + quoted(in / "missing.gpl"),
      "--palette " + quoted(in / "good.gpl"),
      "--from " + quoted(in / "missing.png"),
      "--from " + quoted(in / "good.gpl"),
      "--from " + quoted(in / "plain.png"),
      "--from " + quoted(in / "cut.png"),
      "--from " + quoted(in / "small.png"),
      "--from " + quoted(in / "huge.png"),
      from + "--seed 1",
      from + "--count 1",
      from + "--generator shape",
      from + "--colors true",
      from + "--colors user --palette " + quoted(in / "good.gpl"),
      from + "--style fancy",
      from + "--detail 16",
      from + "--sides 4",
      from + "--surface 1024x768",
      from + "--screensaver",
      from + "--window --zoom 16",
  };
  for (const std::string& args : bad) {
    const Outcome r = render(args + outArg);
    EXPECT_EQ(r.status, 2) << args;
    EXPECT_EQ(linesOf(r.err).size(), 1u) << args << ": " << r.err;
    EXPECT_EQ(r.err.rfind("tavrel-render: ", 0), 0u) << args;
    EXPECT_EQ(r.out, "") << args;
  }
  for (const fs::path& unwritable : {root_ / "missing", root_ / "plain-file"}) {
    const Outcome r = render("--seed 1 --out '" + unwritable.string() + "'");
    EXPECT_EQ(r.status, 2) << unwritable;
    EXPECT_EQ(linesOf(r.err).size(), 1u) << r.err;
  }
  EXPECT_TRUE(filesIn(dir).empty());
  EXPECT_EQ(filesIn(root_), (std::set<std::string>{"in", "logs", "out", "plain-file"}));
}

TEST_F(RenderTest, AFailedWriteNamesItsFile) {
  // A folder in the way of one file, the others free.
  for (const std::string blocked : {"shape-5-1-window.png", "shape-5-1.bmp"}) {
    const fs::path dir = folder(blocked + "-test");
    fs::create_directory(dir / blocked);
    const Outcome r = render("--seed 5 --window --bmp --out " + quoted(dir));
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "tavrel-render: cannot write " + quoted(dir / blocked) + "\n");
  }
}

TEST_F(RenderTest, FromMakesEveryPictureAgainAtAnyZoom) {
  const fs::path in = folder("in");
  { std::ofstream(in / "p.gpl") << "GIMP Palette\n9 9 9\n255 255 255\n1 0 0\n0 0 128\n9 9 9\n"; }
  // Both generators, all colour modes, both run modes; later pictures go on
  // from the state the earlier ones left.
  const std::vector<std::string> histories = {
      "--seed 3 --count 3",
      "--seed 4 --count 3 --colors basic --screensaver --style regular",
      "--seed 5 --count 3 --generator pattern --sides 8",
      "--seed 6 --count 3 --generator pattern --colors basic --screensaver",
      "--seed 8 --count 3 --colors user --palette " + quoted(in / "p.gpl") +
          " --sides 8 --detail 5",
      "--seed 9 --count 2 --generator pattern --colors user --palette " + quoted(in / "p.gpl"),
  };
  for (std::size_t h = 0; h < histories.size(); ++h) {
    const fs::path dir = folder("h" + std::to_string(h)),
                   again = folder("again" + std::to_string(h));
    const Outcome first = render(histories[h] + " --surface 400x300 --window --out " + quoted(dir));
    ASSERT_EQ(first.status, 0) << histories[h] << ": " << first.err;
    fs::path last;
    for (const std::string& line : linesOf(first.out)) {
      // "FILE restarts=N ms=M"
      const std::string picture = line.substr(0, line.find(" restarts="));
      const std::string restarts = line.substr(picture.size(), line.find(" ms=") - picture.size());
      const std::string stem = fs::path(picture).stem().string();
      const Outcome r = render("--from " + quoted(picture) + " --window --out " + quoted(again));
      ASSERT_EQ(r.status, 0) << picture << ": " << r.err;
      // The same strokes thrown away, the same pixels, the same recipe.
      const fs::path made = again / (stem + "-again.png");
      EXPECT_EQ(r.out.substr(0, r.out.find(" ms=")), made.string() + restarts);
      const PngFile original = png(picture), remade = png(made);
      EXPECT_EQ(remade.image, original.image) << picture;
      EXPECT_EQ(remade.texts, original.texts) << picture;
      const PngFile window = png(dir / (stem + "-window.png"));
      EXPECT_EQ(window.texts, original.texts) << picture;
      EXPECT_EQ(png(again / (stem + "-again-window.png")).image, window.image) << picture;
      last = picture;
    }
    const Outcome big = render("--from " + quoted(last) + " --zoom 3 --out " + quoted(again));
    ASSERT_EQ(big.status, 0) << big.err;
    EXPECT_EQ(png(again / (last.stem().string() + "-again.png")).image, zoomed(png(last).image, 3));
  }
}

TEST_F(RenderTest, UserColoursPaintTheRegionsOfBasicColours) {
  const fs::path in = folder("in");
  // Fewer than 15 colours; and more, with repeats, white, the outline's
  // colour and basic colour 1 among them.
  std::vector<Colour> many = {kWhite, OutlineColor, QBColor(1), 0x070707, 0x070707};
  for (Colour n = 6; n <= 17; ++n) many.push_back(n * 0x0D0A03);
  const std::vector<Colour> few = {0x1E140A, 0x3C3228};
  for (const auto& colours : {few, many}) {
    const fs::path palette = in / (std::to_string(colours.size()) + ".gpl");
    UserPalette user = basicPalette();
    {
      std::ofstream file(palette);
      file << "GIMP Palette\n";
      for (std::size_t i = 0; i < colours.size(); ++i) {
        const Colour c = colours[i];
        file << (c & 0xFF) << " " << (c >> 8 & 0xFF) << " " << (c >> 16) << " name " << i << "\n";
        if (i < 15) user[i + 1] = c;
      }
    }
    for (const std::string generator : {"shape --count 2", "pattern"}) {
      const fs::path basic = folder("basic"),
                     mine = folder(palette.stem().string() + generator.substr(0, 5));
      const std::string opts = " --seed 21 --generator " + generator + " --out ";
      ASSERT_EQ(render("--colors basic" + opts + quoted(basic)).status, 0);
      ASSERT_EQ(render("--colors user --palette " + quoted(palette) + opts + quoted(mine)).status,
                0);
      for (const auto& name : filesIn(mine)) {
        ImageData expected = png(basic / name).image;
        for (Colour& c : expected.pixels) {
          for (int n = 1; n <= 14; ++n)
            if (n != 7 && c == QBColor(n)) {
              c = user[n];
              break;
            }
        }
        EXPECT_EQ(png(mine / name).image, expected) << palette << " " << name;
      }
    }
  }
}

TEST_F(RenderTest, FileNamesLinesAndSizes) {
  const fs::path dir = folder("out");
  const Outcome r =
      render("--seed 7 --count 2 --window --surface 400x300 --out '" + dir.string() + "'");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(filesIn(dir), (std::set<std::string>{"shape-7-1.png", "shape-7-1-window.png",
                                                 "shape-7-2.png", "shape-7-2-window.png"}));
  const auto lines = linesOf(r.out);
  ASSERT_EQ(lines.size(), 2u) << r.out;
  for (int i = 1; i <= 2; ++i) {
    const std::regex line((dir / ("shape-7-" + std::to_string(i) + ".png")).string() +
                          R"( restarts=\d+ ms=\d+(\.\d+)?)");
    EXPECT_TRUE(std::regex_match(lines[i - 1], line)) << lines[i - 1];
    EXPECT_EQ(pngSize(dir / ("shape-7-" + std::to_string(i) + ".png")), std::make_pair(102, 102));
    EXPECT_EQ(pngSize(dir / ("shape-7-" + std::to_string(i) + "-window.png")),
              std::make_pair(400, 300));
  }
}

TEST_F(RenderTest, SameSeedSameBytesAndTheCountCarriesOn) {
  const fs::path a = folder("a"), b = folder("b"), single = folder("single"),
                 other = folder("other");
  const std::string opts = " --seed 2024 --window --surface 300x240 --out ";
  ASSERT_EQ(render("--count 3" + opts + "'" + a.string() + "'").status, 0);
  ASSERT_EQ(render("--count 3" + opts + "'" + b.string() + "'").status, 0);
  ASSERT_EQ(filesIn(a).size(), 6u);
  for (const std::string& name : filesIn(a)) {
    EXPECT_EQ(slurp(a / name), slurp(b / name)) << name;
  }
  // The first picture doesn't depend on what follows; the next ones go on
  // from the state the first left.
  ASSERT_EQ(render("--count 1" + opts + "'" + single.string() + "'").status, 0);
  EXPECT_EQ(slurp(single / "shape-2024-1.png"), slurp(a / "shape-2024-1.png"));
  EXPECT_NE(slurp(a / "shape-2024-1.png"), slurp(a / "shape-2024-2.png"));
  EXPECT_NE(slurp(a / "shape-2024-2.png"), slurp(a / "shape-2024-3.png"));

  ASSERT_EQ(render("--seed 2025 --surface 300x240 --out '" + other.string() + "'").status, 0);
  EXPECT_NE(slurp(other / "shape-2025-1.png"), slurp(a / "shape-2024-1.png"));
}

TEST_F(RenderTest, ASeedFromTheClockIsPrintedAndReplays) {
  const fs::path dir = folder("clock"), again = folder("again");
  const Outcome r = render("--surface 300x240 --out '" + dir.string() + "'");
  ASSERT_EQ(r.status, 0) << r.err;
  const auto lines = linesOf(r.out);
  ASSERT_EQ(lines.size(), 2u) << r.out;
  std::smatch m;
  ASSERT_TRUE(std::regex_match(lines[0], m, std::regex(R"(seed=(\d+))"))) << lines[0];
  const std::string file = "shape-" + m[1].str() + "-1.png";
  ASSERT_TRUE(fs::exists(dir / file));
  ASSERT_EQ(
      render("--seed " + m[1].str() + " --surface 300x240 --out '" + again.string() + "'").status,
      0);
  EXPECT_EQ(slurp(dir / file), slurp(again / file));
}

TEST_F(RenderTest, ZoomAndBmpShowTheSamePixelsBigger) {
  const fs::path one = folder("one"), three = folder("three");
  const std::string opts = " --seed 99 --bmp --window --surface 300x200 --out ";
  ASSERT_EQ(render("--zoom 1" + opts + "'" + one.string() + "'").status, 0);
  ASSERT_EQ(render("--zoom 3" + opts + "'" + three.string() + "'").status, 0);
  EXPECT_EQ(pngSize(three / "shape-99-1.png"), std::make_pair(306, 306));
  EXPECT_EQ(pngSize(three / "shape-99-1-window.png"), std::make_pair(900, 600));
  for (const std::string stem : {"shape-99-1", "shape-99-1-window"}) {
    const auto small = readOwnBmp(one / (stem + ".bmp"));
    const auto big = readOwnBmp(three / (stem + ".bmp"));
    ASSERT_TRUE(small && big) << stem;
    EXPECT_EQ(*big, zoomed(*small, 3)) << stem;
  }
}

TEST_F(RenderTest, OptionsReachTheGenerator) {
  const fs::path basic = folder("basic"), saver = folder("saver"), pattern = folder("pattern");
  ASSERT_EQ(render("--seed 5 --colors basic --bmp --out '" + basic.string() + "'").status, 0);
  const auto picture = readOwnBmp(basic / "shape-5-1.bmp");
  ASSERT_TRUE(picture);
  std::set<Colour> palette = {OutlineColor};
  for (int n = 0; n < 16; ++n) palette.insert(QBColor(n));
  for (Colour c : picture->pixels) EXPECT_TRUE(palette.count(c)) << std::hex << c;

  // Screen-saver mode covers the drawing square after the capture.
  ASSERT_EQ(render("--seed 5 --screensaver --window --bmp --surface 400x300 --out '" +
                   saver.string() + "'")
                .status,
            0);
  const auto window = readOwnBmp(saver / "shape-5-1-window.bmp");
  ASSERT_TRUE(window);
  EXPECT_TRUE(std::all_of(window->pixels.begin(), window->pixels.end(),
                          [](Colour c) { return c == OutlineColor; }));
  const auto covered = readOwnBmp(saver / "shape-5-1.bmp");
  ASSERT_TRUE(covered);
  EXPECT_FALSE(std::all_of(covered->pixels.begin(), covered->pixels.end(),
                           [](Colour c) { return c == OutlineColor; }));

  ASSERT_EQ(render("--generator pattern --seed 3 --out '" + pattern.string() + "'").status, 0);
  EXPECT_EQ(pngSize(pattern / "pattern-3-1.png"), std::make_pair(102, 102));
}

}  // namespace
}  // namespace tavrel
