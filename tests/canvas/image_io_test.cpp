#include "canvas/image_io.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#ifdef TAVREL_TEST_HAVE_ZLIB
#include <zlib.h>
#endif

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

std::uint32_t big32(const Bytes& b, std::size_t at) {
  return (std::uint32_t{b[at]} << 24) | (std::uint32_t{b[at + 1]} << 16) |
         (std::uint32_t{b[at + 2]} << 8) | b[at + 3];
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

#ifdef TAVREL_TEST_HAVE_ZLIB
// A reader independent of the writer: zlib inflates, the filters are undone
// here, and the pixels come back as colours.
ImageData decodePng(const Bytes& png) {
  const Bytes signature = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
  EXPECT_TRUE(std::equal(signature.begin(), signature.end(), png.begin()));
  ImageData img;
  Bytes idat;
  for (std::size_t at = 8; at + 12 <= png.size();) {
    const std::uint32_t length = big32(png, at);
    const std::string type(png.begin() + at + 4, png.begin() + at + 8);
    const std::uint32_t crc = big32(png, at + 8 + length);
    EXPECT_EQ(crc, ::crc32(0, png.data() + at + 4, length + 4)) << type;
    if (type == "IHDR") {
      img.width = static_cast<int>(big32(png, at + 8));
      img.height = static_cast<int>(big32(png, at + 12));
      EXPECT_EQ(png[at + 16], 8);  // bit depth
      EXPECT_EQ(png[at + 17], 2);  // RGB
    }
    if (type == "IDAT")
      idat.insert(idat.end(), png.begin() + at + 8, png.begin() + at + 8 + length);
    at += 12 + length;
  }
  const std::size_t stride = static_cast<std::size_t>(img.width) * 3;
  Bytes raw((stride + 1) * img.height);
  uLongf rawSize = raw.size();
  EXPECT_EQ(uncompress(raw.data(), &rawSize, idat.data(), idat.size()), Z_OK);
  EXPECT_EQ(rawSize, raw.size());
  Bytes above(stride, 0);
  for (int y = 0; y < img.height; ++y) {
    const std::uint8_t filter = raw[y * (stride + 1)];
    Bytes row(raw.begin() + y * (stride + 1) + 1, raw.begin() + (y + 1) * (stride + 1));
    for (std::size_t i = 0; i < stride; ++i) {
      const int a = i >= 3 ? row[i - 3] : 0, b = above[i], c = i >= 3 ? above[i - 3] : 0;
      const int p = a + b - c, pa = std::abs(p - a), pb = std::abs(p - b), pc = std::abs(p - c);
      const int paeth = pa <= pb && pa <= pc ? a : (pb <= pc ? b : c);
      const int predicted[] = {0, a, b, (a + b) / 2, paeth};
      EXPECT_LT(filter, 5);
      row[i] = static_cast<std::uint8_t>(row[i] + predicted[filter % 5]);
    }
    for (std::size_t x = 0; x < static_cast<std::size_t>(img.width); ++x) {
      img.pixels.push_back(row[3 * x] | (row[3 * x + 1] << 8) | (row[3 * x + 2] << 16));
    }
    above = row;
  }
  return img;
}

TEST(Png, ColoursComeBackExactRedInTheLowByte) {
  const ImageData img = smallColours();
  EXPECT_EQ(decodePng(encodePng(img)), img);

  const ImageData one = make(1, 1, [](int, int) { return Colour{0x0000FF}; });
  const Bytes png = encodePng(one);
  EXPECT_EQ(decodePng(png), one);
}

TEST(Png, LongRunsNoiseAndFarRepeatsRoundTrip) {
  // Flat areas give matches of the longest length, noise gives literals, a
  // repeated row gives a match one row back; together they reach every
  // length and most distance codes.
  std::uint32_t noise = 1;
  const ImageData img = make(700, 60, [&noise](int x, int y) -> Colour {
    noise = noise * 1103515245u + 12345u;
    if (y < 20) return x < 350 ? kWhite : OutlineColor;
    if (y < 40) return static_cast<Colour>((noise >> 8) & 0xFFFFFF);
    return static_cast<Colour>((x * 37 + (y % 3) * 11) & 0xFFFFFF);
  });
  EXPECT_EQ(decodePng(encodePng(img)), img);
  const Bytes flat = encodePng(make(1000, 1000, [](int, int) { return kWhite; }));
  EXPECT_LT(flat.size(), 1000u * 1000 * 3 / 100) << "a flat picture should compress well";
}
#endif

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

  EXPECT_FALSE(writeFile(dir.path / "no" / "such" / "x.png", encodePng(img)));
  EXPECT_FALSE(fs::exists(dir.path / "no"));
}

}  // namespace
}  // namespace tavrel
