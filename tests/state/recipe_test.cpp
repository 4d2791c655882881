// The words the programs share, and the recipe a picture carries: what is
// written is read back the same, and every field of a recipe from elsewhere
// is held to its own limits.
#include "state/recipe.h"

#include <gtest/gtest.h>

#include <string>

#include "canvas/random.h"

namespace tavrel {
namespace {

template <typename Choice>
void wordsBothWays(std::string_view joined) {
  EXPECT_EQ(wordsOf<Choice>(), joined);
  for (const auto& [choice, word] : Vocabulary<Choice>::words) {
    const std::string w(word);
    EXPECT_EQ(choiceOf<Choice>(w), choice) << w;
    EXPECT_EQ(wordOf(choice), w);
    // Only the exact word: no other case, no blanks, nothing after it.
    for (const std::string& near : {w + ' ', ' ' + w, w + '\0', char(w[0] - 32) + w.substr(1), {}})
      EXPECT_FALSE(choiceOf<Choice>(near)) << near;
  }
}

TEST(Vocabulary, EveryChoiceIsItsWordBothWays) {
  wordsBothWays<Generator>("shape|pattern");
  wordsBothWays<ColourMode>("true|basic|user");
  wordsBothWays<Style>("fancy|regular");
  wordsBothWays<Speed>("slow|fast");
  wordsBothWays<PatternMode>("single|part|repeat");
  for (auto [m, tcolor] :
       {std::pair{ColourMode::trueColours, 1.0}, {ColourMode::basic, 0.0}, {ColourMode::user, 2.0}})
    EXPECT_EQ(std::pair(tcolorOf(m), colourModeOf(tcolor)), std::pair(tcolor, m));
}

// A recipe's text with the line of `key` replaced by `line` (removed when
// empty), or with `line` added when the key is new.
std::string with(const std::string& text, const std::string& key, const std::string& line) {
  const auto at = text.find(key + "=");
  if (at == std::string::npos) return text + line + "\n";
  const auto end = text.find('\n', at);
  return text.substr(0, at) + line + (line.empty() ? "" : "\n") + text.substr(end + 1);
}

TEST(Recipe, IsReadBackAsWrittenAndEachFieldHeldToItsOwnLimits) {
  RunChoices choices;
  choices.generator = Generator::pattern;
  choices.detail = "25";
  choices.style = Style::regular;
  choices.colours = ColourMode::user;
  choices.screensaver = true;
  choices.palette[15] = 0x123456;
  Recipe r = firstRecipe(choices, 16384, 200, 7);
  r.text1 = std::string(kMaxFieldText, '9');
  r.lastcolor = -2147483647 - 1;
  const std::string text = recipeToText(r);
  ASSERT_EQ(recipeFromText(text), r) << text;

  const std::string longest(kMaxFieldText, 'x');
  // A palette of one colour is taken: the rest stay basic. Unknown keys and
  // lines without '=' are passed over.
  const std::tuple<std::string, std::string, bool> rows[] = {
      {"generator", "generator=pattern", true},
      {"generator", "generator=patterns", false},
      {"generator", "generator=", false},
      {"generator", "", false},
      {"surface", "surface=1x1", true},
      {"surface", "surface=16384x16384", true},
      {"surface", "surface=16385x16384", false},
      {"surface", "surface=16384x16385", false},
      {"surface", "surface=0x200", false},
      {"surface", "surface=200x0", false},
      {"surface", "surface=200x", false},
      {"surface", "surface=200 200", false},
      {"surface", "surface=-1x200", false},
      {"text1", "text1=", true},
      {"text1", "text1=" + longest, true},
      {"text1", "text1=" + longest + "x", false},
      {"text3", "text3=" + longest + "x", false},
      {"text4", "text4=" + longest + "x", false},
      {"text1", "text1=a\tb", false},
      {"text3", "text3=\x7f", false},
      {"text4", "text4=\xff", false},
      {"text3", "text3=grün", true},
      {"style", "style=regular", true},
      {"style", "style=Regular", false},
      {"colors", "colors=basic", true},
      {"colors", "colors=truecolor", false},
      {"screensaver", "screensaver=0", true},
      {"screensaver", "screensaver=2", false},
      {"screensaver", "screensaver=", false},
      {"lastcolor", "lastcolor=2147483647", true},
      {"lastcolor", "lastcolor=2147483648", false},
      {"lastcolor", "lastcolor=-2147483649", false},
      {"lastcolor", "lastcolor=1.5", false},
      {"palette", "palette=#000000", true},
      {"palette", "palette=#00000", false},
      {"palette", "palette=" + paletteToText(basicPalette()) + ",#000000", false},
      {"palette", "palette=" + paletteToText(basicPalette()), true},
      {"random", "random=" + Random(0).state(), true},
      {"random", "random=1 2 3", false},
      {"random", "", false},
      {"zzz", "zzz=1", true},
      {"zzz", "no equals sign", true}};
  for (const auto& [key, line, taken] : rows)
    EXPECT_EQ(recipeFromText(with(text, key, line)).has_value(), taken) << key << ": " << line;
  // A key written twice counts the first time.
  EXPECT_EQ(recipeFromText(text + "style=fancy\n").value().style, Style::regular);
  EXPECT_FALSE(recipeFromText(text + std::string(kMaxRecipeText, '#')));
}

}  // namespace
}  // namespace tavrel
