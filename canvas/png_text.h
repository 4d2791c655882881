// One text chunk of a PNG file, found without reading the picture: the
// chunks are walked one by one, each one that is not the text wanted is
// skipped unread, and the text itself is read only up to a limit.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <string_view>
#include <variant>

#include "canvas/files.h"

namespace tavrel {

enum class PngTextProblem {
  notPng,    // no PNG signature and header, a chunk cut short, a bad check sum
  noText,    // no text chunk with the keyword before the end
  tooLarge,  // the text, packed or unpacked, is longer than the limit
};

// The text of the first tEXt, zTXt or iTXt chunk with `keyword`, at most
// `limit` bytes once unpacked. At most 65,536 chunks are looked at.
using PngTextResult = std::variant<std::string, PngTextProblem, ReadProblem>;
PngTextResult pngText(std::span<const std::uint8_t> file, std::string_view keyword,
                      std::size_t limit);
PngTextResult readPngText(const std::filesystem::path& path, std::string_view keyword,
                          std::size_t limit);

}  // namespace tavrel
