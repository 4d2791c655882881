// The settings a user can keep: one small INI file, written only when the
// user saves the settings, read at start when it exists.
#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "modes/run_host.h"
#include "state/app_state.h"
#include "state/settings_file.h"

namespace tavrel {

struct Settings {
  std::string detail = "16";   // the text of Text3
  std::string seconds = "10";  // the text of Text5
  Style style = Style::fancy;
  Speed speed = Speed::fast;
  ColourMode colours = ColourMode::trueColours;
  PatternMode pattern = PatternMode::single;
  UserPalette palette = basicPalette();
  int zoom = 4;          // how many times larger a saved picture is
  double printsize = 5;  // centimetres that 100 picture pixels take on paper
  // Whether the pictures shown go to the history; every program reads this key.
  HistoryMode history = HistoryMode::on;

  bool operator==(const Settings&) const = default;
};

inline constexpr int kMaxSaveZoom = 16;

// Reads what it can: each value as its field or menu would take it (texts
// clamped as typed), anything unreadable left at its design value.
Settings parseSettings(std::string_view ini);
Settings settingsFrom(const SettingsValues& values);
std::string formatSettings(const Settings& s);

// The settings of a file (see readSettingsValues); nothing for a file that
// is missing, not a regular file or unreadable.
std::optional<Settings> readSettingsFile(const std::filesystem::path& path);

// What the window shows now, and the settings put in place through the
// handlers, as if the user had chosen them.
Settings currentSettings(RunHost& host, const AppState& st);
void applySettings(RunHost& host, AppState& st, const Settings& s);

// The menu entries "Save settings" and "Restore default settings".
void saveSettingsClick(RunHost& host, AppState& st);
void restoredClick(RunHost& host, AppState& st);

}  // namespace tavrel
