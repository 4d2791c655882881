#include "canvas/image_io.h"

#include <gtest/gtest.h>
#include <png.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <vector>

namespace tavrel {
namespace {

namespace fs = std::filesystem;

template <typename F>
ImageData make(int w, int h, F f) {
  ImageData img{w, h, {}};
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) img.pixels.push_back(f(x, y));
  }
  return img;
}

// Channels that differ in every byte, so a swap of red and blue shows.
ImageData smallColours() {
  return make(5, 3,
              [](int x, int y) { return static_cast<Colour>(0x102030 * (x + 1) + 0x070503 * y); });
}

std::uint32_t little32(const Bytes& b, std::size_t at) {
  return b[at] | (std::uint32_t{b[at + 1]} << 8) | (std::uint32_t{b[at + 2]} << 16) |
         (std::uint32_t{b[at + 3]} << 24);
}

struct TempDir {
  fs::path path;
  TempDir() {
    path = fs::temp_directory_path() /
           ("tavrel-image-io-" + std::to_string(::getpid()) + "-" +
            ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::remove_all(path);
    fs::create_directories(path);
  }
  ~TempDir() { fs::remove_all(path); }
};

TEST(Zoom, EveryPixelBecomesABlock) {
  const ImageData img = smallColours();
  const ImageData big = zoomed(img, 3);
  ASSERT_EQ(big.width, 15);
  ASSERT_EQ(big.height, 9);
  for (int y = 0; y < 9; ++y) {
    for (int x = 0; x < 15; ++x) EXPECT_EQ(big.at(x, y), img.at(x / 3, y / 3)) << x << "," << y;
  }
  EXPECT_EQ(zoomed(img, 1), img);
}

// A PNG written by libpng straight from bytes, in a format of the test's
// choosing: what other programs hand us.
Bytes libpngFile(png_uint_32 w, png_uint_32 h, int colourType, int depth, int interlace,
                 const Bytes& raw, const std::vector<png_color>& palette = {}) {
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png_create_info_struct(png);
  Bytes out;
  png_set_write_fn(
      png, &out,
      [](png_structp p, png_bytep d, std::size_t n) {
        auto* o = static_cast<Bytes*>(png_get_io_ptr(p));
        o->insert(o->end(), d, d + n);
      },
      nullptr);
  png_set_IHDR(png, info, w, h, depth, colourType, interlace, PNG_COMPRESSION_TYPE_DEFAULT,
               PNG_FILTER_TYPE_DEFAULT);
  if (!palette.empty()) png_set_PLTE(png, info, palette.data(), static_cast<int>(palette.size()));
  png_write_info(png, info);
  std::vector<png_bytep> rows(h);
  const std::size_t stride = raw.size() / h;
  for (png_uint_32 y = 0; y < h; ++y) rows[y] = const_cast<png_bytep>(raw.data() + y * stride);
  png_write_image(png, rows.data());
  png_write_end(png, info);
  png_destroy_write_struct(&png, &info);
  return out;
}

TEST(Png, ColoursAndTextsComeBackExact) {
  std::uint32_t noise = 1;
  const ImageData noisy = make(300, 40, [&noise](int, int) {
    noise = noise * 1103515245u + 12345u;
    return static_cast<Colour>((noise >> 8) & 0xFFFFFF);
  });
  const PngTexts texts = {
      {"Tavrel recipe", "a=1\nb=ü\n"}, {"Comment", ""}, {"Long", std::string(70000, 'x')}};
  for (const ImageData& img :
       {smallColours(), make(1, 1, [](int, int) { return Colour{0xFF}; }), noisy}) {
    const auto back = decodePng(encodePng(img, texts));
    ASSERT_TRUE(back) << img.width;
    EXPECT_EQ(back->image, img) << img.width;
    EXPECT_EQ(back->texts, texts);
  }
  const auto plain = decodePng(encodePng(smallColours()));
  ASSERT_TRUE(plain);
  EXPECT_TRUE(plain->texts.empty());
  EXPECT_EQ(plain->text("Tavrel recipe"), nullptr);
  EXPECT_EQ(*decodePng(encodePng(smallColours(), texts))->text("Comment"), "");
  // libpng refuses a picture without pixels and an empty keyword.
  EXPECT_TRUE(encodePng(ImageData{}).empty());
  EXPECT_TRUE(encodePng(smallColours(), {{"", "x"}}).empty());
}

TEST(Png, OtherFormatsBecome8BitRgb) {
  // Grey, 2 x 1.
  auto got = decodePng(libpngFile(2, 1, PNG_COLOR_TYPE_GRAY, 8, PNG_INTERLACE_NONE, {0x00, 0x7F}));
  ASSERT_TRUE(got);
  EXPECT_EQ(got->image, make(2, 1, [](int x, int) { return x ? Colour{0x7F7F7F} : kBlack; }));
  // RGBA: alpha dropped, the colour kept.
  got = decodePng(
      libpngFile(1, 1, PNG_COLOR_TYPE_RGB_ALPHA, 8, PNG_INTERLACE_NONE, {0x11, 0x22, 0x33, 0x00}));
  ASSERT_TRUE(got);
  EXPECT_EQ(got->image.pixels, std::vector<Colour>{0x332211});
  // 16 bits a channel: the high bytes.
  got = decodePng(libpngFile(1, 1, PNG_COLOR_TYPE_RGB, 16, PNG_INTERLACE_NONE,
                             {0x11, 0xFF, 0x22, 0x00, 0x33, 0x80}));
  ASSERT_TRUE(got);
  EXPECT_EQ(got->image.pixels, std::vector<Colour>{0x332211});
  // Two-bit palette indices.
  got = decodePng(libpngFile(3, 1, PNG_COLOR_TYPE_PALETTE, 2, PNG_INTERLACE_NONE, {0b00011000},
                             {{1, 2, 3}, {4, 5, 6}, {7, 8, 9}}));
  ASSERT_TRUE(got);
  EXPECT_EQ(got->image.pixels, (std::vector<Colour>{0x030201, 0x060504, 0x090807}));
  // Interlaced: seven passes merged.
  const ImageData img =
      make(11, 9, [](int x, int y) { return static_cast<Colour>(0x0A0B0C * x + 0x010301 * y); });
  Bytes raw;
  for (Colour c : img.pixels)
    raw.insert(raw.end(), {std::uint8_t(c), std::uint8_t(c >> 8), std::uint8_t(c >> 16)});
  got = decodePng(libpngFile(11, 9, PNG_COLOR_TYPE_RGB, 8, PNG_INTERLACE_ADAM7, raw));
  ASSERT_TRUE(got);
  EXPECT_EQ(got->image, img);
}

TEST(Png, BrokenOrHugeFilesGiveNothing) {
  const Bytes good = encodePng(smallColours(), {{"Tavrel recipe", "x=1"}});
  ASSERT_TRUE(decodePng(good));
  for (std::size_t n = 0; n < good.size(); ++n)
    EXPECT_FALSE(decodePng(std::span(good.data(), n))) << "cut at " << n;
  Bytes bad = good;
  bad[0] = 'X';
  EXPECT_FALSE(decodePng(bad));
  // A changed pixel byte fails the image data's checksum.
  bad = good;
  const auto idat = std::search(bad.begin(), bad.end(), std::begin("IDAT"), std::end("IDAT") - 1);
  ASSERT_NE(idat, bad.end());
  idat[6] ^= 0x40;
  EXPECT_FALSE(decodePng(bad));
  EXPECT_FALSE(decodePng(encodeBmp(smallColours())));

  const Bytes wide = libpngFile(16385, 1, PNG_COLOR_TYPE_GRAY, 1, PNG_INTERLACE_NONE, Bytes(2049));
  EXPECT_FALSE(decodePng(wide));
  const Bytes tall = libpngFile(1, 16385, PNG_COLOR_TYPE_GRAY, 1, PNG_INTERLACE_NONE, Bytes(16385));
  EXPECT_FALSE(decodePng(tall));
  const auto widest = decodePng(
      libpngFile(16384, 1, PNG_COLOR_TYPE_GRAY, 1, PNG_INTERLACE_NONE, Bytes(2048, 0xFF)));
  ASSERT_TRUE(widest);
  EXPECT_EQ(widest->image.width, 16384);
}

TEST(Bmp, HeaderAndBottomUpPaddedRows) {
  const ImageData img = make(
      2, 2, [](int x, int y) { return static_cast<Colour>(0x030201 + 0x101010 * (x + 2 * y)); });
  const Bytes bmp = encodeBmp(img);
  ASSERT_EQ(bmp.size(), 54u + 2 * 8);
  EXPECT_EQ(bmp[0], 'B');
  EXPECT_EQ(bmp[1], 'M');
  EXPECT_EQ(little32(bmp, 2), bmp.size());
  EXPECT_EQ(little32(bmp, 10), 54u);
  EXPECT_EQ(little32(bmp, 14), 40u);
  EXPECT_EQ(little32(bmp, 18), 2u);
  EXPECT_EQ(little32(bmp, 22), 2u);
  EXPECT_EQ(bmp[28], 24);
  EXPECT_EQ(little32(bmp, 38), 3780u);
  EXPECT_EQ(little32(bmp, 42), 3780u);
  // The first stored row is the bottom one, blue first; rows pad to 4 bytes.
  const Colour bottomLeft = img.at(0, 1);
  EXPECT_EQ(bmp[54], (bottomLeft >> 16) & 0xFF);
  EXPECT_EQ(bmp[55], (bottomLeft >> 8) & 0xFF);
  EXPECT_EQ(bmp[56], bottomLeft & 0xFF);
  EXPECT_EQ(bmp[60], 0);
  EXPECT_EQ(bmp[61], 0);
}

TEST(Files, WriteThenReadAndFailuresLeaveNothing) {
  TempDir dir;
  const ImageData img = smallColours();
  const fs::path file = dir.path / "p.bmp";
  const Bytes bmp = encodeBmp(img);
  ASSERT_TRUE(writeFile(file, bmp));
  std::ifstream in(file, std::ios::binary);
  EXPECT_EQ(Bytes(std::istreambuf_iterator<char>(in), {}), bmp);
  EXPECT_FALSE(fs::exists(dir.path / "p.bmp.tmp"));
  ASSERT_TRUE(writeFile(dir.path / "p.png", encodePng(img, {{"k", "v"}})));
  const auto png = readPng(dir.path / "p.png");
  ASSERT_TRUE(png);
  EXPECT_EQ(png->image, img);
  EXPECT_EQ(png->texts, (PngTexts{{"k", "v"}}));
  EXPECT_FALSE(readPng(dir.path / "missing.png"));
  EXPECT_FALSE(readPng(dir.path));
  EXPECT_FALSE(readPng(file));

  EXPECT_FALSE(writeFile(dir.path / "no" / "such" / "x.png", encodePng(img)));
  EXPECT_FALSE(fs::exists(dir.path / "no"));
}

}  // namespace
}  // namespace tavrel
