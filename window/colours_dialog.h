// The editor of the user palette: one swatch for each basic colour.
#pragma once

#include <functional>

#include "state/recipe.h"

class QWidget;

namespace tavrel {

// Opens the editor and returns; `accepted` gets the palette as the user
// left it with OK, and is not called when the user cancels.
void editPalette(QWidget* parent, const UserPalette& current,
                 std::function<void(const UserPalette&)> accepted);

}  // namespace tavrel
