// The editor of the user palette: one swatch for each basic colour.
#pragma once

#include <optional>

#include "state/recipe.h"

class QWidget;

namespace tavrel {

// The palette as the user left it with OK; nothing when cancelled.
std::optional<UserPalette> editPalette(QWidget* parent, const UserPalette& current);

}  // namespace tavrel
