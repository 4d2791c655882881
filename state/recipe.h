// Everything a generation reads besides its own random draws: enough to make
// the same picture again, at any size and without the history that led to it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "canvas/convert.h"
#include "state/choices.h"

namespace tavrel {

// The colour that takes the place of basic colour n (1 to 15) in user colour
// mode; index 0 is unused. By default each basic colour stands for itself.
using UserPalette = std::array<Colour, 16>;
UserPalette basicPalette();
// Entries 1 to 15 as "#rrggbb" separated by commas, and back: entries that
// can't be read, and entries missing at the end, stay as they are in `into`.
// Gives false when any entry couldn't be read.
std::string paletteToText(const UserPalette& p);
bool paletteFromText(std::string_view text, UserPalette& into);

struct Recipe {
  Generator generator = Generator::shape;
  int width = 0, height = 0;  // ScaleWidth x ScaleHeight of the surface drawn on
  // The field texts as the generation read them after its event pump.
  std::string text1 = "0", text3 = "16", text4 = "4";
  Style style = Style::fancy;  // Option2 selected, or Option1
  ColourMode colours = ColourMode::trueColours;
  double ssmode = 0;
  Long lastcolor = 0;
  std::string random;  // state of the source behind Rnd before the first draw
  UserPalette palette = basicPalette();

  bool operator==(const Recipe&) const = default;
};

// What a command-line program chooses for its run; with the seed and the
// surface they give the recipe of its first picture.
struct RunChoices {
  Generator generator = Generator::shape;
  std::string detail = "16", sides = "4";  // field texts, clamped as typed
  Style style = Style::fancy;
  ColourMode colours = ColourMode::trueColours;
  bool screensaver = false;
  UserPalette palette = basicPalette();
};
// The recipe of the first generation of a run: the choices, the seed and
// what start-up leaves in the state.
Recipe firstRecipe(const RunChoices& c, int width, int height, std::uint32_t seed);

// The keyword of the PNG text chunk that carries the recipe of its picture.
inline constexpr std::string_view kRecipeKeyword = "Tavrel recipe";

// The longest field text a recipe holds, and the longest recipe read.
inline constexpr std::size_t kMaxFieldText = 256;
inline constexpr std::size_t kMaxRecipeText = 64 * 1024;
// A text that a field of a recipe can hold: printable UTF-8 (one line of
// the recipe, valid in a PNG text chunk) of at most kMaxFieldText bytes.
bool isFieldText(std::string_view text);

// One "key=value" line per field; recipeFromText gives nothing for a text
// that lacks a field or holds a value out of range: a field text that is not
// isFieldText, a state that is no state of the random source.
std::string recipeToText(const Recipe& r);
std::optional<Recipe> recipeFromText(std::string_view text);

}  // namespace tavrel
