// The recipe parser: what it accepts is written back and read again to the
// very same recipe.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "canvas/random.h"
#include "fuzz/check.h"
#include "state/recipe.h"

using namespace tavrel;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto recipe = recipeFromText(std::string_view(reinterpret_cast<const char*>(data), size));
  if (!recipe) return 0;
  fuzz::require(Random().setState(recipe->random), "an accepted state is a state");
  const std::string written = recipeToText(*recipe);
  const auto again = recipeFromText(written);
  fuzz::require(again.has_value(), "a written recipe reads back");
  fuzz::require(*again == *recipe, "a recipe read back is the recipe written");
  fuzz::require(recipeToText(*again) == written, "a recipe writes the same text twice");
  return 0;
}
