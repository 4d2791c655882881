#include "canvas/image_io.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <set>
#include <utility>
#include <variant>
#include <vector>

#include "canvas/png_text.h"
#include "tests/temp_dir.h"

namespace tavrel {
namespace {

namespace fs = std::filesystem;

// 5 x 3, channels that differ in every byte, so a swap of red and blue shows.
ImageData smallColours() {
  ImageData img{5, 3, {}};
  for (int i = 0; i < 15; ++i) img.pixels.push_back(static_cast<Colour>(0x102030 * (i + 1)));
  return img;
}

TEST(Zoom, EveryPixelBecomesABlockAndPngColoursAndTextsComeBackExact) {
  const ImageData img = smallColours(), big = zoomed(img, 3);
  ASSERT_EQ(std::pair(big.width, big.height), std::pair(15, 9));
  for (int y = 0; y < 9; ++y)
    for (int x = 0; x < 15; ++x) EXPECT_EQ(big.at(x, y), img.at(x / 3, y / 3)) << x << "," << y;

  const PngTexts texts = {
      {"Tavrel recipe", "a=1\nb=ü\n"}, {"Comment", ""}, {"Long", std::string(70000, 'x')}};
  const auto back = decodePng(encodePng(smallColours(), texts)).value();
  EXPECT_EQ(back.image, smallColours());
  EXPECT_EQ(back.texts, texts);
  EXPECT_EQ(*back.text("Comment"), "");
  EXPECT_EQ(decodePng(encodePng(smallColours()))->text("Comment"), nullptr);
  // libpng refuses a picture without pixels and an empty keyword.
  EXPECT_TRUE(encodePng(ImageData{}).empty());
  EXPECT_TRUE(encodePng(smallColours(), {{"", "x"}}).empty());
}

TEST(Png, BrokenOrHugeFilesGiveNothing) {
  const Bytes good = encodePng(smallColours(), {{"k", "x=1"}});
  for (std::size_t n = 0; n < good.size(); ++n)
    EXPECT_FALSE(decodePng(std::span(good.data(), n))) << "cut at " << n;
  EXPECT_FALSE(decodePng(encodeBmp(smallColours())));
  // One pixel past the largest side, either way; the largest itself reads.
  const ImageData widest{16384, 1, std::vector<Colour>(16384, 0x123456)};
  EXPECT_EQ(decodePng(encodePng(widest))->image, widest);
  EXPECT_FALSE(decodePng(encodePng(ImageData{16385, 1, std::vector<Colour>(16385)})));
  EXPECT_FALSE(decodePng(encodePng(ImageData{1, 16385, std::vector<Colour>(16385)})));
}

// The recipe reader reads nothing past the bytes it is given, from memory or
// from a file cut short at every length: each cut lies inside a buffer that
// goes on with the rest of the file, so a read past the cut would find the
// chunk whole there. A text longer than the limit, or with another keyword,
// is never given.
TEST(Png, TheTextReaderStopsWhereItsBytesStop) {
  const testing_support::TempDir temp;
  const Bytes file = encodePng(smallColours(), {{"Other", "y"}, {"Tavrel recipe", "x=1\n"}});
  ASSERT_EQ(std::get<std::string>(pngText(file, "Tavrel recipe", 100)), "x=1\n");
  EXPECT_EQ(std::get<PngTextProblem>(pngText(file, "Tavrel recipe", 3)), PngTextProblem::tooLarge);
  EXPECT_EQ(std::get<PngTextProblem>(pngText(file, "Tavrel", 100)), PngTextProblem::noText);
  // The text is there once its chunk, check sum included, is whole.
  const std::string bytes(file.begin(), file.end());
  const std::size_t chunk = bytes.find("iTXtTavrel recipe") - 4;
  const std::size_t whole =
      chunk + 12 + (std::uint8_t(bytes[chunk + 2]) << 8 | std::uint8_t(bytes[chunk + 3]));
  for (std::size_t n = 0; n < file.size(); ++n) {
    const auto inMemory = pngText(std::span(file.data(), n), "Tavrel recipe", 100);
    ASSERT_EQ(std::holds_alternative<std::string>(inMemory), n >= whole) << "cut at " << n;
    writeFile(temp.path / "cut.png", std::span(file.data(), n));
    const auto inFile = readPngText(temp.path / "cut.png", "Tavrel recipe", 100);
    ASSERT_EQ(inFile, inMemory) << "cut at " << n;
  }
}

TEST(Files, WrittenWholeOrNotAtAll) {
  const testing_support::TempDir dir;
  fs::create_directories(dir / "taken.png" / "inside");
  ASSERT_TRUE(writeFile(dir / "p.png", encodePng(smallColours())));
  EXPECT_EQ(readPng(dir / "p.png").value().image, smallColours());
  // A folder in the way, or no folder to write into: no file, no temporary one.
  EXPECT_FALSE(writeFile(dir / "taken.png", encodePng(smallColours())));
  EXPECT_FALSE(writeFile(dir / "no" / "x.png", encodePng(smallColours())));
  std::set<fs::path> left;
  for (const auto& e : fs::directory_iterator(dir.path)) left.insert(e.path().filename());
  EXPECT_EQ(left, (std::set<fs::path>{"p.png", "taken.png"}));
  // Names planted ahead where temporaries would go if their names could be
  // guessed (the process and a count) do not stop a write.
  for (unsigned n = 0; n < 1000; ++n) {
    char name[64];
    std::snprintf(name, sizeof name, ".q.png.%d.%08x.tmp", static_cast<int>(getpid()), n);
    fs::create_directory(dir / name);
  }
  EXPECT_TRUE(writeFile(dir / "q.png", encodePng(smallColours())));
}

}  // namespace
}  // namespace tavrel
