#include "state/recipe.h"

#include <charconv>
#include <cstdio>
#include <map>

#include "canvas/random.h"
#include "canvas/text.h"

namespace tavrel {

UserPalette basicPalette() {
  UserPalette p{};
  for (int n = 1; n <= 15; ++n) p[n] = QBColor(n);
  return p;
}

namespace {

std::string hexColour(Colour c) {
  char buf[8];
  std::snprintf(buf, sizeof buf, "#%02x%02x%02x", c & 0xFF, (c >> 8) & 0xFF, (c >> 16) & 0xFF);
  return buf;
}

std::optional<Colour> colourFromHex(std::string_view s) {
  unsigned v = 0;
  if (s.size() != 7 || s[0] != '#') return std::nullopt;
  const auto [end, ec] = std::from_chars(s.data() + 1, s.data() + 7, v, 16);
  if (ec != std::errc{} || end != s.data() + 7) return std::nullopt;
  return static_cast<Colour>(((v >> 16) & 0xFF) | (v & 0xFF00) | ((v & 0xFF) << 16));
}

template <typename T>
std::optional<T> number(std::string_view s) {
  T v{};
  const auto [end, ec] = std::from_chars(s.data(), s.data() + s.size(), v);
  if (ec != std::errc{} || end != s.data() + s.size() || s.empty()) return std::nullopt;
  return v;
}

}  // namespace

Recipe firstRecipe(const RunChoices& c, int width, int height, std::uint32_t seed) {
  Recipe r;
  r.generator = c.generator;
  r.width = width;
  r.height = height;
  r.text3 = c.detail;
  r.text4 = c.sides;
  r.style = c.style;
  r.colours = c.colours;
  r.ssmode = c.screensaver ? 1 : 0;
  r.random = Random(seed).state();
  r.palette = c.palette;
  return r;
}

std::string paletteToText(const UserPalette& p) {
  std::string t;
  for (int n = 1; n <= 15; ++n) t += hexColour(p[n]) + (n < 15 ? "," : "");
  return t;
}

bool paletteFromText(std::string_view text, UserPalette& into) {
  bool all = true;
  for (int n = 1; n <= 15 && !text.empty(); ++n) {
    const auto comma = text.find(',');
    std::string_view entry = text.substr(0, comma);
    while (!entry.empty() && entry.front() == ' ') entry.remove_prefix(1);
    while (!entry.empty() && entry.back() == ' ') entry.remove_suffix(1);
    if (const auto c = colourFromHex(entry)) {
      into[n] = *c;
    } else {
      all = false;
    }
    text = comma == std::string_view::npos ? std::string_view{} : text.substr(comma + 1);
  }
  return all && text.empty();
}

bool isFieldText(std::string_view text) {
  return text.size() <= kMaxFieldText && isPrintableText(text);
}

std::string recipeToText(const Recipe& r) {
  std::string t = "generator=";
  t += wordOf(r.generator);
  t += "\nsurface=" + std::to_string(r.width) + "x" + std::to_string(r.height);
  t += "\ntext1=" + r.text1 + "\ntext3=" + r.text3 + "\ntext4=" + r.text4;
  t += "\nstyle=" + std::string(wordOf(r.style));
  t += "\ncolors=" + std::string(wordOf(r.colours));
  t += "\nscreensaver=" + std::to_string(r.ssmode == 1 ? 1 : 0);
  t += "\nlastcolor=" + std::to_string(r.lastcolor);
  t += "\npalette=" + paletteToText(r.palette);
  t += "\nrandom=" + r.random + "\n";
  return t;
}

std::optional<Recipe> recipeFromText(std::string_view text) {
  if (text.size() > kMaxRecipeText) return std::nullopt;
  std::map<std::string, std::string, std::less<>> fields;
  while (!text.empty()) {
    const auto nl = text.find('\n');
    std::string_view line = text.substr(0, nl);
    text = nl == std::string_view::npos ? std::string_view{} : text.substr(nl + 1);
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    const auto eq = line.find('=');
    if (eq == std::string_view::npos) continue;
    fields.emplace(std::string(line.substr(0, eq)), std::string(line.substr(eq + 1)));
  }
  auto field = [&](std::string_view key) -> const std::string* {
    auto it = fields.find(key);
    return it == fields.end() ? nullptr : &it->second;
  };
  for (const char* key : {"generator", "surface", "text1", "text3", "text4", "style", "colors",
                          "screensaver", "lastcolor", "palette", "random"})
    if (!field(key)) return std::nullopt;

  Recipe r;
  const auto generator = choiceOf<Generator>(*field("generator"));
  const auto style = choiceOf<Style>(*field("style"));
  const auto colours = choiceOf<ColourMode>(*field("colors"));
  if (!generator || !style || !colours) return std::nullopt;
  r.generator = *generator;
  r.style = *style;
  r.colours = *colours;

  const std::string& size = *field("surface");
  const auto x = size.find('x');
  if (x == std::string::npos) return std::nullopt;
  const auto w = number<int>(std::string_view(size).substr(0, x));
  const auto h = number<int>(std::string_view(size).substr(x + 1));
  if (!w || !h || *w < 1 || *h < 1 || *w > 16384 || *h > 16384) return std::nullopt;
  r.width = *w;
  r.height = *h;

  r.text1 = *field("text1");
  r.text3 = *field("text3");
  r.text4 = *field("text4");
  if (!isFieldText(r.text1) || !isFieldText(r.text3) || !isFieldText(r.text4)) return std::nullopt;

  const std::string& saver = *field("screensaver");
  if (saver != "0" && saver != "1") return std::nullopt;
  r.ssmode = saver == "1" ? 1 : 0;

  const auto last = number<Long>(*field("lastcolor"));
  if (!last) return std::nullopt;
  r.lastcolor = *last;

  if (!paletteFromText(*field("palette"), r.palette)) return std::nullopt;

  // Kept as the source writes it, whatever leading zeros or spaces it had.
  Random source;
  if (!source.setState(*field("random"))) return std::nullopt;
  r.random = source.state();
  return r;
}

}  // namespace tavrel
