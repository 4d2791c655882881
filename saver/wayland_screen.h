// The module on a Wayland desktop: a full-screen overlay on every output
// (layer-shell, or a full-screen xdg-shell window where the compositor has
// no layer-shell), each with its own bounce of the same pictures; at once
// (--wayland) or whenever the desktop is idle (--idle).
#pragma once

#include <cstdint>
#include <string>
#include <variant>

#include "saver/settings.h"
#include "saver/signals.h"

namespace tavrel::saver {

// Runs until input ends the show (--wayland), a signal ends it, or the
// compositor goes away; the message when it cannot start or the
// compositor went away.
std::variant<Ending, std::string> runWayland(const Settings& s, std::uint32_t seed);

}  // namespace tavrel::saver
