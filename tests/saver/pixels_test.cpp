#include "saver/pixels.h"

#include <gtest/gtest.h>

namespace tavrel::saver {
namespace {

using Bytes = std::vector<std::uint8_t>;

// Colours are 0x00BBGGRR. Each row: the format, a row of pixels zoomed, the
// bytes the server gets (0 where a row is padded).
TEST(SaverPixels, EveryFormatTheServerTakes) {
  const std::unordered_map<Colour, std::uint32_t> cells{{kWhite, 7}, {0x0000FF, 200}};
  const struct {
    const char* what;
    PixelFormat format;
    std::vector<Colour> pixels;
    int zoom;
    Bytes bytes;
  } cases[] = {
      // White, (0x80, 0x40, 0x20), near black, red: each channel rounded.
      {"5-6-5",
       {0xF800, 0x07E0, 0x001F, 0, 16, 32, false},
       {kWhite, 0x00204080, 0x00020202, 0x0000FF},
       1,
       {0xFF, 0xFF, 0x04, 0x82, 0x00, 0x00, 0x00, 0xF8}},
      {"5-6-5, high byte first, rows of 16 bits",
       {0xF800, 0x07E0, 0x001F, 0, 16, 16, true},
       {0x0000FF, 0xFF0000, kBlack},
       1,
       {0xF8, 0x00, 0x00, 0x1F, 0, 0}},
      {"32 bits, the spare ones opaque",
       {0xFF0000, 0xFF00, 0xFF, 0xFF000000, 32, 32, true},
       {0x0000FF, 0x00332211},
       1,
       {0xFF, 0xFF, 0, 0, 0xFF, 0x11, 0x22, 0x33}},
      {"24 bits zoomed, rows of 8 bits",
       {0xFF0000, 0xFF00, 0xFF, 0, 24, 8, false},
       {0x00332211},
       2,
       {0x33, 0x22, 0x11, 0x33, 0x22, 0x11, 0x33, 0x22, 0x11, 0x33, 0x22, 0x11}},
      {"24 bits, rows of 32 bits",
       {0xFF0000, 0xFF00, 0xFF, 0, 24, 32, false},
       {0x00332211, kWhite},
       1,
       {0x33, 0x22, 0x11, 0xFF, 0xFF, 0xFF, 0, 0}},
      {"a colour map's cells; a colour not in it is cell 0",
       {0, 0, 0, 0, 8, 32, false, &cells},
       {kWhite, 0x0000FF, 0x123456},
       1,
       {7, 200, 0, 0}},
  };
  for (const auto& c : cases) {
    EXPECT_TRUE(supported(c.format)) << c.what;
    const ImageData img{static_cast<int>(c.pixels.size()), 1, c.pixels};
    EXPECT_EQ(serverImage(img, c.zoom, c.format), c.bytes) << c.what;
  }
  for (PixelFormat unsupported : {PixelFormat{0xF800, 0x07E0, 0x001F, 0, 8, 32, false},
                                  PixelFormat{0xF800, 0x07E0, 0, 0, 16, 32, false},
                                  PixelFormat{0xF800, 0x07E0, 0x001F, 0, 16, 24, false},
                                  PixelFormat{0, 0, 0, 0, 16, 32, false, &cells}})
    EXPECT_FALSE(supported(unsupported)) << unsupported.bitsPerPixel;
}

}  // namespace
}  // namespace tavrel::saver
