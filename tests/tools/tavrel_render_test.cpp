// Runs the built tavrel-render and looks at what it leaves behind.

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "canvas/image_io.h"
#include "state/recipe.h"
#include "tests/temp_dir.h"

namespace tavrel {
namespace {

namespace fs = std::filesystem;

std::string slurp(const fs::path& p) {
  std::ifstream in(p, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

std::set<std::string> filesIn(const fs::path& dir) {
  std::set<std::string> names;
  for (const auto& e : fs::directory_iterator(dir)) names.insert(e.path().filename().string());
  return names;
}

// A written PNG; an empty one if it can't be read.
PngFile png(const fs::path& p) {
  auto f = readPng(p);
  EXPECT_TRUE(f) << p;
  return f ? *f : PngFile{};
}

class RenderTest : public ::testing::Test {
 protected:
  static std::string quoted(const fs::path& p) { return '\'' + p.string() + '\''; }

  fs::path folder(const std::string& name) {
    fs::create_directories(root_ / name);
    return root_ / name;
  }

  // The exit status; what the run printed is left in out_ and err_.
  int render(const std::string& args) {
    const fs::path out = root_ / "stdout", err = root_ / "stderr";
    const std::string command =
        quoted(TAVREL_RENDER) + ' ' + args + " >" + quoted(out) + " 2>" + quoted(err);
    const int raw = std::system(command.c_str());
    out_ = slurp(out), err_ = slurp(err);
    return WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
  }

  testing_support::TempDir temp_;
  const fs::path& root_ = temp_.path;
  std::string out_, err_;
};

TEST_F(RenderTest, BadInputIsOneLineExitTwoAndNoFile) {
  const fs::path out = folder("out"), in = folder("in");
  { std::ofstream(root_ / "plain-file") << "x"; }
  { std::ofstream(in / "bad.gpl") << "GIMP Palette\n1 2 300\n"; }
  ASSERT_EQ(render("--seed 1 --surface 1100x300 --out " + quoted(in)), 0);
  const fs::path made = in / "shape-1-1.png";
  EXPECT_EQ(filesIn(in), (std::set<std::string>{"bad.gpl", made.filename()}));  // one picture
  const PngFile good = png(made);
  const std::string recipe = good.texts.at(0).second;
  // The picture without its recipe, and with a recipe cut short, holding a bad field or
  // a surface too narrow.
  ASSERT_TRUE(writeFile(in / "plain.png", encodePng(good.image)));
  const auto withRecipe = [&](const char* name, const std::string& from, const std::string& to) {
    std::string text = recipe;
    text.replace(text.find(from), from.size(), to);
    ASSERT_TRUE(writeFile(in / name, encodePng(good.image, {{std::string(kRecipeKeyword), text}})));
  };
  withRecipe("cut.png", "random=", "random=1 2 3");
  withRecipe("huge.png", "text3=16", "text3=1e309");
  withRecipe("narrow.png", "surface=1100x", "surface=199x");
  const auto refused = [&](const std::string& args) {
    EXPECT_EQ(render("--out " + quoted(out) + " " + args), 2) << args;
    EXPECT_TRUE(std::regex_match(err_, std::regex("tavrel-render: [^\n]+\n"))) << args << err_;
    EXPECT_EQ(out_, "") << args;
  };
  for (const char* args :
       {"--bogus", "-seed 1", "--seed", "--seed 4294967296", "--seed -1", "--count 0", "--surface 199x768",
        "--surface 1024x16385", "--surface 1024", "--zoom 0", "--zoom 17", "--generator circles",
        "--colors many", "--detail 1e309", "--window --zoom 16 --surface 2000x300"})
    refused(args);
  refused("--sides 1" + std::string(400, '0'));
  for (const char* name : {"bad.gpl", "missing.gpl"})
    refused("--colors user --palette " + quoted(in / name));
  for (const char* name :
       {"missing.png", "bad.gpl", "plain.png", "cut.png", "huge.png", "narrow.png"})
    refused("--from " + quoted(in / name));
  // What the recipe holds can't be given too; nor a zoom too large for its surface.
  for (const char* option :
       {"--generator shape", "--seed 1", "--colors true", "--screensaver", "--window --zoom 16"})
    refused("--from " + quoted(made) + " " + option);
  for (const char* name : {"missing", "plain-file"}) refused("--out " + quoted(root_ / name));
  EXPECT_TRUE(filesIn(out).empty());
  EXPECT_EQ(filesIn(root_), (std::set<std::string>{"in", "out", "plain-file", "stderr", "stdout"}));
}

TEST_F(RenderTest, AFailedWriteNamesItsFile) {
  // A folder in the way of one file, the others free.
  for (const std::string blocked : {"shape-5-1-window.png", "shape-5-1.bmp"}) {
    const fs::path dir = folder(blocked + "-test");
    fs::create_directory(dir / blocked);
    EXPECT_EQ(render("--seed 5 --window --bmp --out " + quoted(dir)), 1);
    EXPECT_EQ(err_, "tavrel-render: cannot write " + quoted(dir / blocked) + "\n");
  }
}

TEST_F(RenderTest, NamesLinesSizesAndTheSameSeedTwice) {
  const fs::path a = folder("a"), b = folder("b");
  const std::string opts = " --count 2 --window --surface 300x240 --out ";
  ASSERT_EQ(render(opts + quoted(a)), 0) << err_;
  // The seed taken from the clock first, then a line for each picture it names.
  const std::string line = R"(.png restarts=\d+ ms=[\d.]+\n)", dir = a.string();
  std::smatch m;
  ASSERT_TRUE(std::regex_match(out_, m,
                               std::regex(R"(seed=(\d+)\n)" + dir + R"(/shape-\1-1)" + line + dir +
                                          R"(/shape-\1-2)" + line)))
      << out_;
  const std::string stem = dir + "/shape-" + m[1].str();
  EXPECT_EQ(filesIn(a).size(), 4u);
  EXPECT_EQ(png(stem + "-2-window.png").image.height, 240);
  // The seed given makes the same files again.
  ASSERT_EQ(render("--seed " + m[1].str() + opts + quoted(b)), 0);
  for (const std::string& name : filesIn(a)) EXPECT_EQ(slurp(a / name), slurp(b / name)) << name;
}

TEST_F(RenderTest, FromMakesEveryPictureAgain) {
  const fs::path in = folder("in");
  { std::ofstream(in / "p.gpl") << "GIMP Palette\n9 9 9\n255 255 255\n1 0 0\n0 0 128\n"; }
  // Both generators, all colour modes, both run modes; later pictures go on
  // from the state the earlier ones left.
  const std::string histories[] = {
      "--seed 3 --sides 8 --detail 5",
      "--seed 4 --style regular --screensaver --colors basic",
      "--seed 5 --generator pattern --sides 8 --colors user --palette " + quoted(in / "p.gpl"),
  };
  const fs::path dir = folder("first"), again = folder("again");
  for (const std::string& history : histories) {
    ASSERT_EQ(render(history + " --count 2 --surface 400x300 --window --out " + quoted(dir)), 0)
        << history << ": " << err_;
    int zoom = 1;  // the second picture again at zoom 3
    std::istringstream lines(out_);
    for (std::string line; std::getline(lines, line);) {
      std::smatch m;  // FILE restarts=N ms=M
      ASSERT_TRUE(std::regex_match(line, m, std::regex("(.*) (restarts=[0-9]+) ms=.*"))) << line;
      const fs::path picture = m[1].str();
      const std::string stem = picture.stem().string();
      const std::string from = "--from " + quoted(picture) + " --window --bmp --zoom ";
      ASSERT_EQ(render(from + std::to_string(zoom) + " --out " + quoted(again)), 0) << from << err_;
      // The same strokes thrown away, the same pixels and recipe, bigger.
      const fs::path remade = again / (stem + "-again.png");
      EXPECT_EQ(out_.rfind(remade.string() + " " + m[2].str() + " ms=", 0), 0u) << out_;
      const PngFile before = png(picture), made = png(remade),
                    window = png(again / (stem + "-again-window.png"));
      EXPECT_EQ(made.image, zoomed(before.image, zoom)) << picture;
      EXPECT_EQ(made.texts, before.texts) << picture;
      EXPECT_EQ(window.image, zoomed(png(dir / (stem + "-window.png")).image, zoom)) << picture;
      const auto& shown = window.image.pixels;  // screen-saver mode covers the square
      if (history.find("--screensaver") != std::string::npos) {
        EXPECT_EQ(std::ranges::count(shown, OutlineColor), std::ssize(shown));
      }
      // The BMP holds the PNG's pixels.
      const Bytes bmp = encodeBmp(made.image);
      EXPECT_EQ(slurp(again / (stem + "-again.bmp")), std::string(bmp.begin(), bmp.end()));
      zoom = 3;
    }
  }
  // The palette file's colours became user colours 1 to 4, in order.
  const auto recipe = recipeFromText(png(dir / "pattern-5-1.png").texts.at(0).second);
  ASSERT_TRUE(recipe);
  EXPECT_EQ(std::vector<Colour>(&recipe->palette[1], &recipe->palette[6]),
            (std::vector<Colour>{0x090909, 0xFFFFFF, 0x000001, 0x800000, basicPalette()[5]}));
}

}  // namespace
}  // namespace tavrel
