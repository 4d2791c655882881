#include "saver/pixels.h"

#include <bit>
#include <cstring>

namespace tavrel::saver {

namespace {

// An 8-bit channel spread over the mask's bits, rounded.
std::uint32_t channel(std::uint32_t mask, std::uint32_t value8) {
  if (mask == 0) return 0;
  const int shift = std::countr_zero(mask);
  const int bits = std::popcount(mask);
  const std::uint32_t top = bits >= 32 ? 0xFFFFFFFFu : (1u << bits) - 1;
  const std::uint32_t v =
      static_cast<std::uint32_t>((static_cast<std::uint64_t>(value8) * top + 127) / 255);
  return (v << shift) & mask;
}

}  // namespace

bool supported(const PixelFormat& f) {
  if (f.cells)
    return f.bitsPerPixel == 8 &&
           (f.scanlinePad == 8 || f.scanlinePad == 16 || f.scanlinePad == 32);
  const bool bpp = f.bitsPerPixel == 16 || f.bitsPerPixel == 24 || f.bitsPerPixel == 32;
  const bool pad = f.scanlinePad == 8 || f.scanlinePad == 16 || f.scanlinePad == 32;
  return bpp && pad && f.redMask != 0 && f.greenMask != 0 && f.blueMask != 0;
}

std::uint32_t pixelOf(const PixelFormat& f, Colour c) {
  if (f.cells) {
    const auto it = f.cells->find(c);
    return it == f.cells->end() ? 0 : it->second;
  }
  const auto rgb = static_cast<std::uint32_t>(c);
  return channel(f.redMask, rgb & 0xFF) | channel(f.greenMask, (rgb >> 8) & 0xFF) |
         channel(f.blueMask, (rgb >> 16) & 0xFF) | f.alphaMask;
}

int bytesPerRow(const PixelFormat& f, int width) {
  const int bits = width * f.bitsPerPixel;
  return (bits + f.scanlinePad - 1) / f.scanlinePad * f.scanlinePad / 8;
}

std::vector<std::uint8_t> serverImage(const ImageData& img, int zoom, const PixelFormat& f) {
  const int width = img.width * zoom, height = img.height * zoom;
  const int stride = bytesPerRow(f, width);
  const int bytes = f.bitsPerPixel / 8;
  std::vector<std::uint8_t> out(static_cast<std::size_t>(stride) * height, 0);
  for (int y = 0; y < img.height; ++y) {
    // One device row, written once and copied to the zoom - 1 rows below it.
    std::uint8_t* row = &out[static_cast<std::size_t>(y) * zoom * stride];
    std::uint8_t* p = row;
    for (int x = 0; x < img.width; ++x) {
      const std::uint32_t v = pixelOf(f, img.at(x, y));
      std::uint8_t b[4];
      for (int i = 0; i < bytes; ++i) {
        const int byte = f.msbFirst ? bytes - 1 - i : i;
        b[i] = static_cast<std::uint8_t>(v >> (8 * byte));
      }
      for (int z = 0; z < zoom; ++z, p += bytes) std::memcpy(p, b, static_cast<std::size_t>(bytes));
    }
    for (int z = 1; z < zoom; ++z)
      std::memcpy(row + z * stride, row, static_cast<std::size_t>(stride));
  }
  return out;
}

}  // namespace tavrel::saver
