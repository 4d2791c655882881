// The module on a Wayland desktop: a full-screen overlay on every output
// (layer-shell, or a full-screen xdg-shell window where the compositor has
// no layer-shell), each with its own bounce of the same pictures.
#pragma once

#include <cstdint>
#include <string>
#include <variant>

#include "saver/settings.h"
#include "saver/signals.h"

namespace tavrel::saver {

// Set to "xdg", full-screen xdg-shell windows even where layer-shell is offered.
inline constexpr const char* kShellVariable = "TAVREL_SAVER_SHELL";

// Shows the pictures until input (unless told to keep on), a signal or the
// compositor's going away ends it; the message when it cannot start.
std::variant<Ending, std::string> runWayland(const Settings& s, std::uint32_t seed);

}  // namespace tavrel::saver
