// The recipe reader of PNG files: any bytes give a text within the limit or
// a reason, and the text found goes to the recipe parser.
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <variant>

#include "canvas/png_text.h"
#include "fuzz/check.h"
#include "state/recipe.h"

using namespace tavrel;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // A small limit as well as the real one, so that the fuzzer reaches it.
  for (std::size_t limit : {std::size_t{64}, kMaxRecipeText}) {
    const auto found = pngText(std::span(data, size), kRecipeKeyword, limit);
    fuzz::require(!std::holds_alternative<ReadProblem>(found), "memory is never a file problem");
    if (const auto* text = std::get_if<std::string>(&found)) {
      fuzz::require(text->size() <= limit, "a text found is within the limit");
      recipeFromText(*text);
    }
  }
  return 0;
}
