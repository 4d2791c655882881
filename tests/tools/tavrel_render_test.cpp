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
  const fs::path dir = folder("out");
  { std::ofstream(root_ / "plain-file") << "x"; }
  const std::string outArg = " --out '" + dir.string() + "'";
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
  EXPECT_EQ(filesIn(root_), (std::set<std::string>{"logs", "out", "plain-file"}));
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
