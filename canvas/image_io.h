// Pictures to and from files: PNG both ways (through libpng), 24-bit BMP
// out. Colours stay exact; the encoders depend on nothing but their input,
// so the same picture always gives the same bytes.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "canvas/files.h"
#include "canvas/surface.h"

namespace tavrel {

using Bytes = std::vector<std::uint8_t>;

// The picture enlarged `zoom` times by nearest neighbour; zoom 1 is a copy.
ImageData zoomed(const ImageData& img, int zoom);

// Text chunks of a PNG: keyword, then text.
using PngTexts = std::vector<std::pair<std::string, std::string>>;

// An 8-bit RGB PNG of the picture, each text in a compressed iTXt chunk: a
// UTF-8 text without NUL under a Latin-1 keyword, which libpng cuts to 79
// characters and single spaces. Empty for what libpng refuses: a picture
// without pixels, an empty keyword.
Bytes encodePng(const ImageData& img, const PngTexts& texts = {});

struct PngFile {
  ImageData image;
  PngTexts texts;
  // The text of the first chunk with the keyword; nullptr if there is none.
  const std::string* text(std::string_view keyword) const;
};

// Reads any PNG that libpng reads, as 8-bit RGB: palettes and grey expanded,
// 16-bit channels cut to 8, alpha dropped. A file that is broken or cut
// short, or wider or taller than 16384 pixels, gives nothing.
std::optional<PngFile> decodePng(std::span<const std::uint8_t> file);
std::optional<PngFile> readPng(const std::filesystem::path& path);
// A 24-bit uncompressed BMP, rows bottom-up.
Bytes encodeBmp(const ImageData& img);

}  // namespace tavrel
