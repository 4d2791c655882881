// Colour lists from GIMP palette files (.gpl).
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "canvas/convert.h"

namespace tavrel {

// The colours of a GIMP palette in file order, or a one-line message naming
// the line at fault. The file starts with a "GIMP Palette" line; then come
// "Name:" and "Columns:" lines, comments (#), blank lines and colour lines
// "R G B [name]" with values from 0 to 255. A file without colours is broken.
std::variant<std::vector<Colour>, std::string> parseGimpPalette(std::string_view text);
// The same for a file; a file that can't be read gives a message too.
std::variant<std::vector<Colour>, std::string> readGimpPalette(const std::filesystem::path& path);

}  // namespace tavrel
