#include "modes/settings.h"

#include <cerrno>
#include <sstream>
#include <system_error>
#include <type_traits>

#include "canvas/files.h"
#include "canvas/text.h"
#include "modes/menus.h"
#include "modes/pictures.h"

namespace tavrel {

namespace {

constexpr const char* kSection = "[tavrel]";

std::string_view trimmedBlanks(std::string_view s) {
  while (!s.empty() && s.front() == ' ') s.remove_prefix(1);
  while (!s.empty() && s.back() == ' ') s.remove_suffix(1);
  return s;
}

// A text as the field takes it when typed: only what can be typed (no
// control character, no byte that is not UTF-8), two characters at most,
// without the blanks around them, and the field's own upper limit at the key
// release.
std::string asTyped(std::string_view text, double limit) {
  std::string t;
  for (std::size_t kept = 0, at = 0; at < text.size() && kept < 2;) {
    std::size_t length = 1;
    while (length < 4 && at + length < text.size() &&
           (static_cast<unsigned char>(text[at + length]) & 0xC0) == 0x80)
      ++length;
    const std::string_view character = text.substr(at, length);
    at += length;
    if (!isPrintableText(character)) continue;
    t += character;
    ++kept;
  }
  t = std::string(trimmedBlanks(t));
  try {
    if (Val(t) > limit) t = LTrim(Str(limit));
  } catch (const RuntimeError&) {
    t = LTrim(Str(limit));
  }
  return t;
}

}  // namespace

Settings parseSettings(std::string_view ini) {
  return settingsFrom(settingsValues(ini));
}

Settings settingsFrom(const SettingsValues& values) {
  auto value = [&](std::string_view key) -> const std::string* {
    auto it = values.find(key);
    return it == values.end() ? nullptr : &it->second;
  };

  Settings s;
  if (auto v = value("detail")) s.detail = asTyped(*v, 25);
  if (auto v = value("seconds")) s.seconds = asTyped(*v, 50);
  // A word the vocabulary does not know leaves the design value.
  const auto choice = [&](auto& into) {
    using Choice = std::remove_reference_t<decltype(into)>;
    if (auto v = value(Vocabulary<Choice>::name))
      if (auto c = choiceOf<Choice>(*v)) into = *c;
  };
  choice(s.style);
  choice(s.speed);
  choice(s.colours);
  choice(s.pattern);
  choice(s.history);
  if (auto v = value("palette")) paletteFromText(*v, s.palette);
  if (auto v = value("zoom")) {
    try {
      const double z = Val(*v);
      if (z >= 1) s.zoom = static_cast<int>(std::min<double>(z, kMaxSaveZoom));
    } catch (const RuntimeError&) {
      s.zoom = kMaxSaveZoom;  // a number too large to read
    }
  }
  if (auto v = value("printsize")) {
    try {
      const double cm = Val(*v);
      if (cm > 0) s.printsize = nearestPrintSize(cm);
    } catch (const RuntimeError&) {
      s.printsize = nearestPrintSize(1e9);  // a number too large to read
    }
  }
  return s;
}

std::string formatSettings(const Settings& s) {
  std::ostringstream out;
  out << kSection << "\n"
      << "detail=" << s.detail << "\n"
      << "seconds=" << s.seconds << "\n"
      << "style=" << wordOf(s.style) << "\n"
      << "speed=" << wordOf(s.speed) << "\n"
      << "colors=" << wordOf(s.colours) << "\n"
      << "pattern=" << wordOf(s.pattern) << "\n"
      << "palette=" << paletteToText(s.palette) << "\n"
      << "zoom=" << s.zoom << "\n"
      << "printsize=" << s.printsize << "\n"
      << "history=" << wordOf(s.history) << "\n";
  return out.str();
}

Settings currentSettings(RunHost& host, const AppState& st) {
  Settings s;
  s.detail = host.text(Field::Text3);
  s.seconds = host.text(Field::Text5);
  s.style = host.option2Value() ? Style::fancy : Style::regular;
  s.speed = host.isChecked(Menu::tslow) ? Speed::slow : Speed::fast;
  s.colours = host.isChecked(Menu::bcolorm) ? ColourMode::basic
              : host.isChecked(Menu::uedit) ? ColourMode::user
                                            : ColourMode::trueColours;
  s.pattern = host.isChecked(Menu::cpattern) ? PatternMode::repeat
              : host.isChecked(Menu::cpp9)   ? PatternMode::part
                                             : PatternMode::single;
  s.palette = st.userColors;
  s.zoom = static_cast<int>(st.savezoom);
  s.printsize = st.printsize;
  s.history = st.history;
  return s;
}

void applySettings(RunHost& host, AppState& st, const Settings& s) {
  host.setText(Field::Text3, s.detail);
  host.setText(Field::Text5, s.seconds);
  host.selectOption2(s.style == Style::fancy);
  optionClick(st, s.style == Style::fancy);
  if (s.speed == Speed::slow) {
    tslowClick(host, st);
  } else {
    tfastClick(host, st);
  }
  if (s.colours == ColourMode::basic) {
    bcolormClick(host, st);
  } else if (s.colours == ColourMode::user) {
    ueditClick(host, st);
  } else {
    tcolormClick(host, st);
  }
  // Through "Create single shape" first, whose guard every other mode passes.
  csingleClick(host, st);
  if (s.pattern == PatternMode::part) cpp9Click(host, st);
  if (s.pattern == PatternMode::repeat) cpatternClick(host, st);
  st.userColors = s.palette;
  st.savezoom = s.zoom;
  st.printsize = s.printsize;
  st.history = s.history;
}

std::optional<Settings> readSettingsFile(const std::filesystem::path& path) {
  const auto values = readSettingsValues(path);
  if (!values) return std::nullopt;
  return settingsFrom(*values);
}

void saveSettingsClick(RunHost& host, AppState& st) {
  const std::filesystem::path path = settingsPath();
  if (path.empty()) {
    host.showMessage("The settings could not be saved: no home folder is known.");
    return;
  }
  std::error_code ec;
  std::filesystem::create_directories(path.parent_path(), ec);
  if (!ec && !writeFile(path, formatSettings(currentSettings(host, st))))
    ec = std::error_code(errno, std::generic_category());
  if (ec) {
    host.showMessage("The settings could not be saved to " + path.string() + ": " + ec.message() +
                     ".");
    return;
  }
  host.showNote("Settings saved to " + path.string());
}

void restoredClick(RunHost& host, AppState& st) {
  applySettings(host, st, Settings{});
  std::error_code ec;
  const std::filesystem::path path = settingsPath();
  if (!path.empty()) std::filesystem::remove(path, ec);
  host.showNote("Default settings restored");
}

}  // namespace tavrel
