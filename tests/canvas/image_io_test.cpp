#include "canvas/image_io.h"

#include <gtest/gtest.h>
#include <png.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <utility>
#include <vector>

namespace tavrel {
namespace {

namespace fs = std::filesystem;

// 5 x 3, channels that differ in every byte, so a swap of red and blue shows.
ImageData smallColours() {
  ImageData img{5, 3, {}};
  for (int i = 0; i < 15; ++i) img.pixels.push_back(static_cast<Colour>(0x102030 * (i + 1)));
  return img;
}

TEST(Zoom, EveryPixelBecomesABlock) {
  const ImageData img = smallColours(), big = zoomed(img, 3);
  ASSERT_EQ(std::pair(big.width, big.height), std::pair(15, 9));
  for (int y = 0; y < 9; ++y)
    for (int x = 0; x < 15; ++x) EXPECT_EQ(big.at(x, y), img.at(x / 3, y / 3)) << x << "," << y;
  EXPECT_EQ(zoomed(img, 1), img);
}

TEST(Png, ColoursAndTextsComeBackExact) {
  const PngTexts texts = {
      {"Tavrel recipe", "a=1\nb=ü\n"}, {"Comment", ""}, {"Long", std::string(70000, 'x')}};
  const auto back = decodePng(encodePng(smallColours(), texts));
  ASSERT_TRUE(back);
  EXPECT_EQ(back->image, smallColours());
  EXPECT_EQ(back->texts, texts);
  EXPECT_EQ(*back->text("Comment"), "");
  EXPECT_EQ(decodePng(encodePng(smallColours()))->text("Comment"), nullptr);
  // libpng refuses a picture without pixels and an empty keyword.
  EXPECT_TRUE(encodePng(ImageData{}).empty());
  EXPECT_TRUE(encodePng(smallColours(), {{"", "x"}}).empty());
}

// What other programs write: an interlaced 8-bit palette PNG, made by libpng.
TEST(Png, AnInterlacedPaletteFileBecomesRgb) {
  Bytes indices;
  for (int i = 0; i < 11 * 9; ++i) indices.push_back(static_cast<std::uint8_t>(i % 7 % 3));
  png_color palette[] = {{1, 2, 3}, {4, 5, 6}, {7, 8, 9}};
  char* data = nullptr;
  std::size_t size = 0;
  FILE* file = ::open_memstream(&data, &size);
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png_create_info_struct(png);
  png_init_io(png, file);
  png_set_IHDR(png, info, 11, 9, 8, PNG_COLOR_TYPE_PALETTE, PNG_INTERLACE_ADAM7, 0, 0);
  png_set_PLTE(png, info, palette, 3);
  png_write_info(png, info);
  for (int pass = png_set_interlace_handling(png); pass > 0; --pass)
    for (int y = 0; y < 9; ++y) png_write_row(png, indices.data() + y * 11);
  png_write_end(png, info);
  png_destroy_write_struct(&png, &info);
  std::fclose(file);
  const auto got = decodePng(std::span(reinterpret_cast<std::uint8_t*>(data), size));
  std::free(data);
  ASSERT_TRUE(got);
  for (int i = 0; i < 11 * 9; ++i)
    EXPECT_EQ(got->image.pixels[i], 0x030201u + 0x030303u * indices[i]) << i;
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

TEST(Bmp, BottomUpBlueFirstRowsPaddedToFourBytes) {
  const Bytes bmp = encodeBmp(ImageData{2, 2, {0x0A0B0C, 0x1A1B1C, 0x2A2B2C, 0x3A3B3C}});
  // The file's size, where the pixels start; width, height, planes, bits a pixel.
  EXPECT_EQ(Bytes(bmp.begin(), bmp.begin() + 14),
            (Bytes{'B', 'M', 70, 0, 0, 0, 0, 0, 0, 0, 54, 0, 0, 0}));
  EXPECT_EQ(Bytes(bmp.begin() + 18, bmp.begin() + 30),
            (Bytes{2, 0, 0, 0, 2, 0, 0, 0, 1, 0, 24, 0}));
  EXPECT_EQ(Bytes(bmp.begin() + 54, bmp.end()), (Bytes{0x2A, 0x2B, 0x2C, 0x3A, 0x3B, 0x3C, 0, 0,
                                                       0x0A, 0x0B, 0x0C, 0x1A, 0x1B, 0x1C, 0, 0}));
}

TEST(Files, WrittenWholeOrNotAtAll) {
  const fs::path dir =
      fs::temp_directory_path() / ("tavrel-image-io-" + std::to_string(::getpid()));
  fs::create_directories(dir / "taken.png" / "inside");
  ASSERT_TRUE(writeFile(dir / "p.png", encodePng(smallColours())));
  const auto png = readPng(dir / "p.png");
  ASSERT_TRUE(png);
  EXPECT_EQ(png->image, smallColours());
  for (const fs::path& p : {dir / "missing.png", dir / "taken.png"}) EXPECT_FALSE(readPng(p)) << p;
  // A folder in the way, or no folder to write into: no file, no temporary one.
  EXPECT_FALSE(writeFile(dir / "taken.png", encodePng(smallColours())));
  EXPECT_FALSE(writeFile(dir / "no" / "x.png", encodePng(smallColours())));
  std::set<fs::path> left;
  for (const auto& e : fs::directory_iterator(dir)) left.insert(e.path().filename());
  EXPECT_EQ(left, (std::set<fs::path>{"p.png", "taken.png"}));
  fs::remove_all(dir);
}

}  // namespace
}  // namespace tavrel
