// The settings file, tavrel.ini: the window keeps its settings there, and
// every program reads the keys it shares with the window.
#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace tavrel {

// $XDG_CONFIG_HOME/tavrel/tavrel.ini, or ~/.config/tavrel/tavrel.ini; empty
// when neither folder is known.
std::filesystem::path settingsPath();

// Each "key = value" line, blanks around both taken off; comments (# or ;),
// section heads and lines without '=' are passed over; the last of a key counts.
using SettingsValues = std::map<std::string, std::string, std::less<>>;
SettingsValues settingsValues(std::string_view ini);

// The values of a file; nothing for a file that is missing, not a regular
// file or unreadable. At most kMaxSettingsFile bytes are read, whole lines only.
inline constexpr std::size_t kMaxSettingsFile = 64 * 1024;
std::optional<SettingsValues> readSettingsValues(const std::filesystem::path& path);

}  // namespace tavrel
