#include "saver/pixels.h"

#include <gtest/gtest.h>

namespace tavrel::saver {
namespace {

using Bytes = std::vector<std::uint8_t>;

// Colours are 0x00BBGGRR. Each row: the format, a row of pixels zoomed, the
// bytes the server gets (0 where a row is padded).
TEST(SaverPixels, EveryFormatTheServerTakes) {
  const std::unordered_map<Colour, std::uint32_t> cells{{kWhite, 7}, {0x0000FF, 200}};
  const PixelFormat k565{0xF800, 0x07E0, 0x001F, 0, 16, 32, false},
      k565Big16{0xF800, 0x07E0, 0x001F, 0, 16, 16, true},
      k32{0xFF0000, 0xFF00, 0xFF, 0xFF000000, 32, 32, true},
      k24By8{0xFF0000, 0xFF00, 0xFF, 0, 24, 8, false},
      k24{0xFF0000, 0xFF00, 0xFF, 0, 24, 32, false}, map{0, 0, 0, 0, 8, 32, false, &cells},
      kTiny{0x6, 0x18, 0x1, 0, 16, 16, false};
  const std::tuple<PixelFormat, std::vector<Colour>, int, Bytes> cases[] = {
      // 5-6-5: white, (0x80, 0x40, 0x20), near black, red, each channel rounded.
      {k565, {kWhite, 0x204080, 0x020202, 0xFF}, 1, {255, 255, 4, 130, 0, 0, 0, 248}},
      // 5-6-5, high byte first, rows of 16 bits.
      {k565Big16, {0xFF, 0xFF0000, kBlack}, 1, {248, 0, 0, 31, 0, 0}},
      // 32 bits, the spare ones opaque.
      {k32, {0xFF, 0x332211}, 1, {255, 255, 0, 0, 255, 0x11, 0x22, 0x33}},
      // 24 bits zoomed, rows of 8 bits.
      {k24By8, {0x332211}, 2, {51, 34, 17, 51, 34, 17, 51, 34, 17, 51, 34, 17}},
      // 24 bits, rows of 32 bits.
      {k24, {0x332211, kWhite}, 1, {0x33, 0x22, 0x11, 255, 255, 255, 0, 0}},
      // Channels of 2, 2 and 1 bits, the last at bit 0.
      {kTiny, {kWhite, 0xFF0000}, 1, {0x1F, 0, 1, 0}},
      // A colour map's cells; a colour not in it is cell 0.
      {map, {kWhite, 0xFF, 0x123456}, 1, {7, 200, 0, 0}},
  };
  for (int row = 0; const auto& [format, pixels, zoom, bytes] : cases) {
    EXPECT_TRUE(supported(format)) << row;
    const ImageData img{static_cast<int>(pixels.size()), 1, pixels};
    EXPECT_EQ(serverImage(img, zoom, format), bytes) << row++;
  }
  for (PixelFormat unsupported : {PixelFormat{0xF800, 0x07E0, 0x001F, 0, 8, 32, false},
                                  PixelFormat{0xF800, 0x07E0, 0, 0, 16, 32, false},
                                  PixelFormat{0xF800, 0x07E0, 0x001F, 0, 16, 24, false},
                                  PixelFormat{0, 0, 0, 0, 16, 32, false, &cells}})
    EXPECT_FALSE(supported(unsupported)) << unsupported.bitsPerPixel;
}

}  // namespace
}  // namespace tavrel::saver
