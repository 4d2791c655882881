#include "saver/pixels.h"

#include <gtest/gtest.h>

namespace tavrel::saver {
namespace {

// Colours are 0x00BBGGRR.
constexpr Colour kRed = 0x0000FF, kGreen = 0x00FF00, kBlue = 0xFF0000;

PixelFormat rgb888(int bpp = 32) {
  return {0xFF0000, 0x00FF00, 0x0000FF, 0, bpp, 32, false};
}
PixelFormat rgb565() {
  return {0xF800, 0x07E0, 0x001F, 0, 16, 32, false};
}

TEST(SaverPixels, ChannelsGoToTheirMasks) {
  EXPECT_EQ(pixelOf(rgb888(), 0x00332211), 0x112233u);
  EXPECT_EQ(pixelOf(rgb888(), kWhite), 0xFFFFFFu);
  EXPECT_EQ(pixelOf(rgb888(), kBlack), 0u);
  // Blue in the high bits, as some servers order them.
  const PixelFormat bgr{0x0000FF, 0x00FF00, 0xFF0000, 0, 32, 32, false};
  EXPECT_EQ(pixelOf(bgr, 0x00332211), 0x332211u);
  // 16 bits: 5, 6 and 5 bits, rounded to the nearest level.
  EXPECT_EQ(pixelOf(rgb565(), kWhite), 0xFFFFu);
  EXPECT_EQ(pixelOf(rgb565(), kRed), 0xF800u);
  EXPECT_EQ(pixelOf(rgb565(), kGreen), 0x07E0u);
  EXPECT_EQ(pixelOf(rgb565(), kBlue), 0x001Fu);
  EXPECT_EQ(pixelOf(rgb565(), 0x00204080), (16u << 11) | (16u << 5) | 4u);
  EXPECT_EQ(pixelOf(rgb565(), 0x00020202), 0u);  // too dark for a level: black
  // 10 bits a channel.
  const PixelFormat deep{0x3FF00000, 0xFFC00, 0x3FF, 0, 32, 32, false};
  EXPECT_EQ(pixelOf(deep, kWhite), 0x3FFFFFFFu);
  EXPECT_EQ(pixelOf(deep, kRed), 0x3FF00000u);
}

TEST(SaverPixels, SpareBitsOfADeepWindowAreOpaque) {
  PixelFormat argb = rgb888();
  argb.alphaMask = 0xFF000000;
  EXPECT_EQ(pixelOf(argb, kBlack), 0xFF000000u);
  EXPECT_EQ(pixelOf(argb, 0x00332211), 0xFF112233u);
}

TEST(SaverPixels, SupportedFormats) {
  EXPECT_TRUE(supported(rgb888(32)));
  EXPECT_TRUE(supported(rgb888(24)));
  EXPECT_TRUE(supported(rgb565()));
  PixelFormat f = rgb888(8);
  EXPECT_FALSE(supported(f));
  f = rgb888();
  f.redMask = 0;
  EXPECT_FALSE(supported(f));
  f = rgb888();
  f.scanlinePad = 12;
  EXPECT_FALSE(supported(f));
}

ImageData twoByTwo() {
  return {2, 2, {kRed, kGreen, kBlue, kWhite}};
}

TEST(SaverPixels, EnlargedBlocksInTheServersByteOrder) {
  // 32 bits, least significant byte first: B G R X.
  const auto img = serverImage(twoByTwo(), 3, rgb888());
  ASSERT_EQ(img.size(), 6u * 6 * 4);
  const auto at = [&](int x, int y) { return &img[(y * 6 + x) * 4]; };
  for (int y = 0; y < 3; ++y)
    for (int x = 0; x < 3; ++x) {
      EXPECT_EQ(at(x, y)[2], 0xFF);  // red's R
      EXPECT_EQ(at(x, y)[1], 0);
      EXPECT_EQ(at(x + 3, y)[1], 0xFF);  // green
      EXPECT_EQ(at(x + 3, y)[2], 0);
      EXPECT_EQ(at(x, y + 3)[0], 0xFF);  // blue
      EXPECT_EQ(at(x, y + 3)[2], 0);
    }
  // Most significant byte first: X R G B.
  PixelFormat msb = rgb888();
  msb.msbFirst = true;
  const auto big = serverImage(twoByTwo(), 1, msb);
  EXPECT_EQ(big[1], 0xFF);  // red: 00 FF 00 00
  EXPECT_EQ(big[3], 0);
  EXPECT_EQ(big[6], 0xFF);  // green: 00 00 FF 00
  EXPECT_EQ(big[7], 0);
}

TEST(SaverPixels, RowsPaddedToTheScanlineUnit) {
  // 16 bits: 2 x 2 enlarged 3 times is 6 pixels, 12 bytes, a multiple of 4.
  EXPECT_EQ(bytesPerRow(rgb565(), 6), 12);
  EXPECT_EQ(bytesPerRow(rgb565(), 3), 8);
  const auto img = serverImage(ImageData{1, 1, {kRed}}, 3, rgb565());
  ASSERT_EQ(img.size(), 3u * 8);
  for (int y = 0; y < 3; ++y) {
    EXPECT_EQ(img[y * 8 + 4], 0x00);  // 0xF800, low byte first
    EXPECT_EQ(img[y * 8 + 5], 0xF8);
    EXPECT_EQ(img[y * 8 + 6], 0);  // padding
  }
  PixelFormat msb = rgb565();
  msb.msbFirst = true;
  EXPECT_EQ(serverImage(ImageData{1, 1, {kRed}}, 1, msb)[0], 0xF8);
  // 24 bits packed: 5 pixels, 15 bytes, padded to 16.
  EXPECT_EQ(bytesPerRow(rgb888(24), 5), 16);
  const auto packed = serverImage(ImageData{1, 1, {0x00332211}}, 5, rgb888(24));
  ASSERT_EQ(packed.size(), 5u * 16);
  EXPECT_EQ(packed[12], 0x33);  // fifth pixel: B G R
  EXPECT_EQ(packed[13], 0x22);
  EXPECT_EQ(packed[14], 0x11);
}

}  // namespace
}  // namespace tavrel::saver
