// Pictures to files: PNG and 24-bit BMP. Colours stay
// exact; the encoders depend on nothing but their input, so the same picture
// always gives the same bytes.
#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <vector>

#include "canvas/surface.h"

namespace tavrel {

using Bytes = std::vector<std::uint8_t>;

// The picture enlarged `zoom` times by nearest neighbour; zoom 1 is a copy.
ImageData zoomed(const ImageData& img, int zoom);

// An 8-bit RGB PNG of the picture.
Bytes encodePng(const ImageData& img);
// A 24-bit uncompressed BMP, rows bottom-up.
Bytes encodeBmp(const ImageData& img);

// Writes through a temporary file and a rename, so a reader never sees half
// a file. False when the file could not be written.
bool writeFile(const std::filesystem::path& path, std::span<const std::uint8_t> bytes);

}  // namespace tavrel
