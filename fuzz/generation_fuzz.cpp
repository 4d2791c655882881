// A recipe to one whole generation, as `tavrel-render --from` runs it: every
// recipe the renderer accepts makes a picture, without a run-time error and
// within libFuzzer's time limit. Surfaces stay at most 1200 pixels a side so
// that a run takes milliseconds; nothing in a generation depends on the size
// beyond that.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "canvas/convert.h"
#include "fuzz/check.h"
#include "pattern/makeshape2.h"
#include "shape/makeshape.h"
#include "stages/stages.h"
#include "state/recipe.h"

using namespace tavrel;

namespace {

bool readable(const std::string& field) {
  try {
    Val(field);
    return true;
  } catch (const RuntimeError&) {
    return false;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto recipe = recipeFromText(std::string_view(reinterpret_cast<const char*>(data), size));
  if (!recipe) return 0;
  const auto fits = [](int side) { return side >= 200 && side <= 1200; };
  if (!fits(recipe->width) || !fits(recipe->height)) return 0;
  if (!readable(recipe->text1) || !readable(recipe->text3) || !readable(recipe->text4)) return 0;
  HeadlessHost host(recipe->width, recipe->height);
  AppState st;
  stages::startFrom(*recipe, host, st);
  try {
    if (recipe->generator == Generator::pattern)
      makeshape2(host, st);
    else
      makeshape(host, st);
  } catch (const RuntimeError& e) {
    std::fprintf(stderr, "run-time error: %s\n", e.what());
    fuzz::require(false, "an accepted recipe makes its picture");
  }
  fuzz::require(host.SurfacePicture1().Image() != nullptr, "a generation leaves a picture");
  // Field texts come back as the generation clamped them; the rest as given.
  const Recipe& made = st.picture1Recipe;
  fuzz::require(made.random == recipe->random && made.width == recipe->width &&
                    made.height == recipe->height && made.generator == recipe->generator,
                "the picture carries the recipe it was made from");
  return 0;
}
