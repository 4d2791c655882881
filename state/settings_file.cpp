#include "state/settings_file.h"

#include <cstdlib>

#include "canvas/files.h"

namespace tavrel {

namespace {

std::string_view trimmed(std::string_view s) {
  while (!s.empty() && (s.front() == ' ' || s.front() == '\t')) s.remove_prefix(1);
  while (!s.empty() && (s.back() == ' ' || s.back() == '\t' || s.back() == '\r'))
    s.remove_suffix(1);
  return s;
}

}  // namespace

std::filesystem::path settingsPath() {
  std::filesystem::path base;
  if (const char* xdg = std::getenv("XDG_CONFIG_HOME"); xdg && *xdg == '/') {
    base = xdg;
  } else if (const char* home = std::getenv("HOME"); home && *home) {
    base = std::filesystem::path(home) / ".config";
  } else {
    return {};
  }
  return base / "tavrel" / "tavrel.ini";
}

SettingsValues settingsValues(std::string_view ini) {
  SettingsValues values;
  while (!ini.empty()) {
    const auto nl = ini.find('\n');
    const std::string_view line = trimmed(ini.substr(0, nl));
    ini = nl == std::string_view::npos ? std::string_view{} : ini.substr(nl + 1);
    const auto eq = line.find('=');
    if (line.empty() || line[0] == '#' || line[0] == ';' || eq == std::string_view::npos) continue;
    values[std::string(trimmed(line.substr(0, eq)))] = std::string(trimmed(line.substr(eq + 1)));
  }
  return values;
}

std::optional<SettingsValues> readSettingsValues(const std::filesystem::path& path) {
  // A settings file is a few hundred bytes; a longer one is read up to its
  // last whole line within the limit.
  const auto read = readFileCapped(path, kMaxSettingsFile, true);
  const auto* text = std::get_if<std::string>(&read);
  if (!text) return std::nullopt;
  return settingsValues(*text);
}

}  // namespace tavrel
