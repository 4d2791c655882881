// The formats the X tests can't reach: fewer bits than 8 a channel, other
// channel orders, alpha, the other byte order, packed 24-bit rows.
#include "saver/pixels.h"

#include <gtest/gtest.h>

namespace tavrel::saver {
namespace {

constexpr Colour kRed = 0x0000FF;  // colours are 0x00BBGGRR

PixelFormat rgb888(int bpp = 32) {
  return {0xFF0000, 0x00FF00, 0x0000FF, 0, bpp, 32, false};
}

TEST(SaverPixels, ChannelsGoToTheirMasksRoundedToTheirLevels) {
  const PixelFormat rgb565{0xF800, 0x07E0, 0x001F, 0, 16, 32, false};
  EXPECT_EQ(pixelOf(rgb565, kWhite), 0xFFFFu);
  EXPECT_EQ(pixelOf(rgb565, kRed), 0xF800u);
  EXPECT_EQ(pixelOf(rgb565, 0x00204080), (16u << 11) | (16u << 5) | 4u);
  EXPECT_EQ(pixelOf(rgb565, 0x00020202), 0u);
  const PixelFormat bgr{0x0000FF, 0x00FF00, 0xFF0000, 0, 32, 32, false};
  EXPECT_EQ(pixelOf(bgr, 0x00332211), 0x332211u);
  const PixelFormat deep{0x3FF00000, 0xFFC00, 0x3FF, 0, 32, 32, false};
  EXPECT_EQ(pixelOf(deep, kWhite), 0x3FFFFFFFu);
  // The spare bits of a 32-bit window are alpha: opaque.
  PixelFormat argb = rgb888();
  argb.alphaMask = 0xFF000000;
  EXPECT_EQ(pixelOf(argb, kBlack), 0xFF000000u);
}

TEST(SaverPixels, MostSignificantByteFirstAndPackedRows) {
  PixelFormat msb = rgb888();
  msb.msbFirst = true;
  const auto big = serverImage(ImageData{2, 1, {kRed, 0x00FF00}}, 1, msb);
  EXPECT_EQ(big, (std::vector<std::uint8_t>{0, 0xFF, 0, 0, 0, 0, 0xFF, 0}));
  // 24 bits a pixel: 5 pixels take 15 bytes, padded to 16.
  const auto packed = serverImage(ImageData{1, 1, {0x00332211}}, 5, rgb888(24));
  ASSERT_EQ(packed.size(), 5u * 16);
  EXPECT_EQ(packed[12], 0x33);  // the fifth pixel of the first row: B G R
  EXPECT_EQ(packed[14], 0x11);
  EXPECT_EQ(packed[15], 0);
  EXPECT_EQ(packed[16 * 4 + 14], 0x11);  // the fifth row
  EXPECT_FALSE(supported(rgb888(8)));
}

}  // namespace
}  // namespace tavrel::saver
