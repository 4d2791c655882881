// The choices the three programs share, and the one place that knows their
// words: options, settings files and recipes all parse and print them here.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace tavrel {

enum class Generator { shape, pattern };
enum class ColourMode { trueColours, basic, user };
enum class Style { fancy, regular };
enum class Speed { fast, slow };
// What the window's "Pattern mode" menu makes: a shape, a tile, or a tile
// repeated over the window.
enum class PatternMode { single, part, repeat };
// Whether the pictures shown and written are kept in the history file.
enum class HistoryMode { on, off };

template <typename Choice>
struct Vocabulary;

template <>
struct Vocabulary<Generator> {
  static constexpr std::string_view name = "generator";
  static constexpr std::pair<Generator, std::string_view> words[] = {
      {Generator::shape, "shape"}, {Generator::pattern, "pattern"}};
};
template <>
struct Vocabulary<ColourMode> {
  static constexpr std::string_view name = "colors";
  static constexpr std::pair<ColourMode, std::string_view> words[] = {
      {ColourMode::trueColours, "true"}, {ColourMode::basic, "basic"}, {ColourMode::user, "user"}};
};
template <>
struct Vocabulary<Style> {
  static constexpr std::string_view name = "style";
  static constexpr std::pair<Style, std::string_view> words[] = {{Style::fancy, "fancy"},
                                                                 {Style::regular, "regular"}};
};
template <>
struct Vocabulary<Speed> {
  static constexpr std::string_view name = "speed";
  static constexpr std::pair<Speed, std::string_view> words[] = {{Speed::slow, "slow"},
                                                                 {Speed::fast, "fast"}};
};
template <>
struct Vocabulary<PatternMode> {
  static constexpr std::string_view name = "pattern";
  static constexpr std::pair<PatternMode, std::string_view> words[] = {
      {PatternMode::single, "single"},
      {PatternMode::part, "part"},
      {PatternMode::repeat, "repeat"}};
};

template <>
struct Vocabulary<HistoryMode> {
  static constexpr std::string_view name = "history";
  static constexpr std::pair<HistoryMode, std::string_view> words[] = {{HistoryMode::on, "on"},
                                                                       {HistoryMode::off, "off"}};
};

template <typename Choice>
constexpr std::string_view wordOf(Choice c) {
  for (const auto& [choice, word] : Vocabulary<Choice>::words)
    if (choice == c) return word;
  return {};
}

// Exact words only: no case folding, no blanks.
template <typename Choice>
constexpr std::optional<Choice> choiceOf(std::string_view word) {
  for (const auto& [choice, w] : Vocabulary<Choice>::words)
    if (w == word) return choice;
  return std::nullopt;
}

// "true|basic|user", as a usage line shows the values.
template <typename Choice>
std::string wordsOf() {
  std::string out;
  for (const auto& [choice, word] : Vocabulary<Choice>::words) {
    if (!out.empty()) out += '|';
    out += word;
  }
  return out;
}

// The colour modes are also the values of AppState::tcolor.
inline constexpr double kBasicColours = 0, kTrueColours = 1, kUserColours = 2;
constexpr double tcolorOf(ColourMode m) {
  return m == ColourMode::basic  ? kBasicColours
         : m == ColourMode::user ? kUserColours
                                 : kTrueColours;
}
constexpr ColourMode colourModeOf(double tcolor) {
  return tcolor == kBasicColours  ? ColourMode::basic
         : tcolor == kUserColours ? ColourMode::user
                                  : ColourMode::trueColours;
}

}  // namespace tavrel
