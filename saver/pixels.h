// Pictures as the X server stores them: a TrueColor pixel format described
// by the visual's masks and the server's image layout, or the 8-bit pixels
// of a colour map.
#pragma once

#include <cstdint>
#include <unordered_map>
#include <vector>

#include "canvas/surface.h"

namespace tavrel::saver {

struct PixelFormat {
  std::uint32_t redMask = 0, greenMask = 0, blueMask = 0;
  std::uint32_t alphaMask = 0;  // bits of the depth no colour uses: set, so a pixel is opaque
  int bitsPerPixel = 32;        // 16, 24 or 32
  int scanlinePad = 32;         // every row starts on a multiple of this many bits
  bool msbFirst = false;        // byte order of the server's images
  // On a screen with a colour map: the cell of each colour, as the server
  // allocated it or matched it; colours not in it show as cell 0.
  const std::unordered_map<Colour, std::uint32_t>* cells = nullptr;
};

// Whether serverImage can write the format.
bool supported(const PixelFormat& f);

// The pixel value of a colour (0x00BBGGRR).
std::uint32_t pixelOf(const PixelFormat& f, Colour c);

int bytesPerRow(const PixelFormat& f, int width);

// The picture enlarged `zoom` times, pixel for pixel, as the bytes of a
// ZPixmap image in the format.
std::vector<std::uint8_t> serverImage(const ImageData& img, int zoom, const PixelFormat& f);

}  // namespace tavrel::saver
