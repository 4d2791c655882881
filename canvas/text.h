// Text that came from outside: checked before it is kept, and made safe
// before it is shown in a message.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tavrel {

// Valid UTF-8 without control characters (C0, DEL, C1): text that can stand
// on one line of a message, a file of lines or a PNG text chunk.
bool isPrintableText(std::string_view text);

// The text in single quotes for a one-line message: a control character or
// a byte that is not UTF-8 shown as an escape (\n, \t, \x01), a character
// that would turn or break the line (a direction override, a line
// separator, an invisible joiner) as \u202e, and what
// would take more than `limit` places (a character one, an escape as many as
// it has characters) cut, with "..." after the cut.
inline constexpr std::size_t kQuoteLimit = 100;
std::string quotedText(std::string_view text, std::size_t limit = kQuoteLimit);

}  // namespace tavrel
