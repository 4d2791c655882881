// The settings reader: whatever the file holds gives settings that the
// fields could hold, and saving them and reading the file again gives the
// same settings.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "canvas/text.h"
#include "fuzz/check.h"
#include "modes/settings.h"

using namespace tavrel;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const Settings s = parseSettings(std::string_view(reinterpret_cast<const char*>(data), size));
  for (const std::string* field : {&s.detail, &s.seconds}) {
    fuzz::require(isPrintableText(*field), "a field text is printable");
    fuzz::require(field->size() <= 8, "a field text is as short as the field");
    fuzz::require(field->empty() || (field->front() != ' ' && field->back() != ' '),
                  "a field text has no blanks around it");
  }
  fuzz::require(s.zoom >= 1 && s.zoom <= kMaxSaveZoom, "the zoom is in range");
  fuzz::require(parseSettings(formatSettings(s)) == s, "saved settings read back the same");
  return 0;
}
