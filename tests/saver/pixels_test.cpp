#include "saver/pixels.h"

#include <gtest/gtest.h>

namespace tavrel::saver {
namespace {

using Bytes = std::vector<std::uint8_t>;

TEST(SaverPixels, SixteenBitsRoundEachChannelToItsLevels) {
  const PixelFormat rgb565{0xF800, 0x07E0, 0x001F, 0, 16, 32, false};
  // Colours are 0x00BBGGRR: white, (0x80, 0x40, 0x20), near black, red.
  EXPECT_EQ(serverImage(ImageData{4, 1, {kWhite, 0x00204080, 0x00020202, 0x0000FF}}, 1, rgb565),
            (Bytes{0xFF, 0xFF, 0x04, 0x82, 0x00, 0x00, 0x00, 0xF8}));
}

TEST(SaverPixels, TwentyFourAndThirtyTwoBitsInEitherByteOrder) {
  // The spare bits of a 32-bit window are alpha: opaque.
  const PixelFormat argb{0xFF0000, 0x00FF00, 0x0000FF, 0xFF000000, 32, 32, true};
  EXPECT_EQ(serverImage(ImageData{2, 1, {0x0000FF, 0x00332211}}, 1, argb),
            (Bytes{0xFF, 0xFF, 0, 0, 0xFF, 0x11, 0x22, 0x33}));
  // Packed 24 bits, zoomed 5 times: 15 bytes a row, padded to 16.
  const PixelFormat rgb{0xFF0000, 0x00FF00, 0x0000FF, 0, 24, 32, false};
  const Bytes packed = serverImage(ImageData{1, 1, {0x00332211}}, 5, rgb);
  ASSERT_EQ(packed.size(), 5u * 16);
  EXPECT_EQ(Bytes(packed.begin() + 64 + 12, packed.end()), (Bytes{0x33, 0x22, 0x11, 0}));
}

TEST(SaverPixels, EightBitsThroughTheCellsOfAColourMap) {
  const std::unordered_map<Colour, std::uint32_t> cells{{kWhite, 7}, {0x0000FF, 200}};
  PixelFormat mapped{0, 0, 0, 0, 8, 32, false, &cells};
  EXPECT_TRUE(supported(mapped));
  // Zoomed twice: rows of 4 bytes padded to 4; a colour not in the map is cell 0.
  EXPECT_EQ(serverImage(ImageData{2, 1, {kWhite, 0x0000FF}}, 2, mapped),
            (Bytes{7, 7, 200, 200, 7, 7, 200, 200}));
  EXPECT_EQ(pixelOf(mapped, 0x123456), 0u);
  mapped.bitsPerPixel = 16;
  EXPECT_FALSE(supported(mapped));
}

}  // namespace
}  // namespace tavrel::saver
