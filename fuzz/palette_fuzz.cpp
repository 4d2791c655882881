// The GIMP palette reader: colours of 24 bits, or one printable line that
// says why not.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "canvas/palette.h"
#include "canvas/text.h"
#include "fuzz/check.h"

using namespace tavrel;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto read = parseGimpPalette(std::string_view(reinterpret_cast<const char*>(data), size));
  if (const auto* message = std::get_if<std::string>(&read)) {
    fuzz::require(isPrintableText(*message), "a message is one printable line");
    fuzz::require(message->size() < 500, "a message is short");
    return 0;
  }
  const auto& colours = std::get<std::vector<Colour>>(read);
  fuzz::require(!colours.empty(), "a palette holds colours");
  for (Colour c : colours) fuzz::require(c >= 0 && c <= 0xFFFFFF, "a colour has 24 bits");
  return 0;
}
