#include "canvas/palette.h"

#include <algorithm>
#include <charconv>

#include "canvas/files.h"
#include "canvas/text.h"

namespace tavrel {

namespace {

constexpr std::string_view kBlanks = " \t\r\f\v";

std::string_view trimmed(std::string_view s) {
  const auto first = s.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return s.substr(first, s.find_last_not_of(kBlanks) - first + 1);
}

// The next blank-separated word of `rest`, taken off its front.
std::string_view nextWord(std::string_view& rest) {
  rest = rest.substr(std::min(rest.size(), rest.find_first_not_of(kBlanks)));
  const auto end = std::min(rest.size(), rest.find_first_of(kBlanks));
  const std::string_view word = rest.substr(0, end);
  rest = rest.substr(end);
  return word;
}

}  // namespace

std::variant<std::vector<Colour>, std::string> parseGimpPalette(std::string_view text) {
  std::vector<Colour> colours;
  int number = 0;
  while (!text.empty()) {
    const auto nl = text.find('\n');
    const std::string_view line = trimmed(text.substr(0, nl));
    text = nl == std::string_view::npos ? std::string_view{} : text.substr(nl + 1);
    ++number;
    const std::string at = "line " + std::to_string(number) + ": ";
    if (number == 1) {
      if (line != "GIMP Palette") return at + "not a GIMP palette (no 'GIMP Palette' header)";
      continue;
    }
    if (line.empty() || line[0] == '#' || line.starts_with("Name:") || line.starts_with("Columns:"))
      continue;
    std::string_view rest = line;
    int channel[3];
    for (int& c : channel) {
      const std::string_view word = nextWord(rest);
      const auto [end, ec] = std::from_chars(word.data(), word.data() + word.size(), c);
      if (word.empty()) return at + "a colour needs three values, 'R G B [name]'";
      if (ec == std::errc::invalid_argument || end != word.data() + word.size())
        return at + quotedText(word) + " is not a number";
      if (ec == std::errc::result_out_of_range || c < 0 || c > 255)
        return at + quotedText(word) + " is not a value from 0 to 255";
    }
    colours.push_back(static_cast<Colour>(channel[0] | (channel[1] << 8) | (channel[2] << 16)));
  }
  if (number == 0) return "the file is empty";
  if (colours.empty()) return "the palette holds no colours";
  return colours;
}

std::variant<std::vector<Colour>, std::string> readGimpPalette(const std::filesystem::path& path) {
  // Far more than any palette needs; keeps a wrong file from filling memory.
  constexpr std::size_t kMaxSize = 1 << 20;
  const auto read = readFileCapped(path, kMaxSize);
  if (const auto* problem = std::get_if<ReadProblem>(&read))
    return describe(*problem, path, "a palette");
  auto result = parseGimpPalette(std::get<std::string>(read));
  if (auto* message = std::get_if<std::string>(&result))
    *message = quotedText(path.string()) + ", " + *message;
  return result;
}

}  // namespace tavrel
