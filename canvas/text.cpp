#include "canvas/text.h"

#include <cstdint>
#include <cstdio>

namespace tavrel {

namespace {

// The length of the UTF-8 sequence at the front of `s`, and its code point;
// length 0 for a byte that starts no valid sequence (overlong forms,
// surrogates and code points past U+10FFFF included).
struct Sequence {
  std::size_t length = 0;
  std::uint32_t code = 0;
};

Sequence nextSequence(std::string_view s) {
  const auto byte = [&](std::size_t i) { return static_cast<std::uint8_t>(s[i]); };
  const std::uint8_t lead = byte(0);
  if (lead < 0x80) return {1, lead};
  std::size_t length = 0;
  std::uint32_t code = 0, least = 0;
  if ((lead & 0xE0) == 0xC0) {
    length = 2, code = lead & 0x1F, least = 0x80;
  } else if ((lead & 0xF0) == 0xE0) {
    length = 3, code = lead & 0x0F, least = 0x800;
  } else if ((lead & 0xF8) == 0xF0) {
    length = 4, code = lead & 0x07, least = 0x10000;
  } else {
    return {};
  }
  if (s.size() < length) return {};
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) return {};
    code = code << 6 | (byte(i) & 0x3F);
  }
  if (code < least || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) return {};
  return {length, code};
}

bool isControl(std::uint32_t code) {
  return code < 0x20 || (code >= 0x7F && code <= 0x9F);
}

// Characters that are printable but change how the rest of a line reads:
// direction marks, overrides and isolates, line and paragraph separators,
// and the invisible joiners and byte-order mark.
bool isFormatting(std::uint32_t code) {
  return code == 0x061C || (code >= 0x200B && code <= 0x200F) ||
         (code >= 0x2028 && code <= 0x202E) || (code >= 0x2060 && code <= 0x2069) || code == 0xFEFF;
}

}  // namespace

bool isPrintableText(std::string_view text) {
  while (!text.empty()) {
    const Sequence s = nextSequence(text);
    if (s.length == 0 || isControl(s.code)) return false;
    text.remove_prefix(s.length);
  }
  return true;
}

std::string quotedText(std::string_view text, std::size_t limit) {
  std::string out(1, '\'');
  for (std::size_t shown = 0; !text.empty();) {
    const Sequence s = nextSequence(text);
    std::string piece;
    std::size_t taken = 1;
    const bool printable = s.length > 0 && !isControl(s.code) && !isFormatting(s.code);
    if (s.length > 0 && isFormatting(s.code)) {
      char code[12];
      std::snprintf(code, sizeof code, "\\u%04x", static_cast<unsigned>(s.code));
      piece = code;
      taken = s.length;
    } else if (printable) {
      piece = text.substr(0, s.length);
      taken = s.length;
    } else if (text.front() == '\n') {
      piece = "\\n";
    } else if (text.front() == '\t') {
      piece = "\\t";
    } else if (text.front() == '\r') {
      piece = "\\r";
    } else {
      constexpr char kHex[] = "0123456789abcdef";
      const auto byte = static_cast<std::uint8_t>(text.front());
      piece = {'\\', 'x', kHex[byte >> 4], kHex[byte & 15]};
    }
    // A character takes one place, an escape as many as it has characters.
    const std::size_t places = printable ? 1 : piece.size();
    if (shown + places > limit) {
      out += "...";
      break;
    }
    out += piece;
    shown += places;
    text.remove_prefix(taken);
  }
  out += '\'';
  return out;
}

}  // namespace tavrel
