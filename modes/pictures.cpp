#include "modes/pictures.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <ctime>
#include <system_error>

#include "canvas/files.h"
#include "canvas/image_io.h"
#include "canvas/palette.h"

namespace tavrel {

namespace {

// Local time as 20261123-101502.
std::string timestamp() {
  const std::time_t now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
  std::tm local{};
  localtime_r(&now, &local);
  char buf[32];
  std::strftime(buf, sizeof buf, "%Y%m%d-%H%M%S", &local);
  return buf;
}

bool hasPicture(const AppState& st) {
  return st.picture1Recipe.width > 0;  // a generation has left one
}

}  // namespace

std::optional<std::filesystem::path> writeNewFile(const std::filesystem::path& folder,
                                                  const std::string& stem,
                                                  const std::string& extension,
                                                  std::span<const std::uint8_t> bytes,
                                                  std::string* why) {
  const auto fail = [why](const std::error_code& reason) {
    if (why) *why = reason.message();
    return std::nullopt;
  };
  std::error_code ec;
  std::filesystem::create_directories(folder, ec);
  if (ec) return fail(ec);
  for (int n = 1; n < 10000; ++n) {
    std::string name = stem;
    if (n > 1) name.append(1, '-').append(std::to_string(n));
    name.append(1, '.').append(extension);
    const std::filesystem::path path = folder / name;
    const NewFile written = writeFileIfAbsent(path, bytes);
    if (written == NewFile::exists) continue;
    if (written == NewFile::written) return path;
    return fail(std::error_code(errno, std::generic_category()));
  }
  return fail(std::make_error_code(std::errc::file_exists));
}

std::string pictureName(const Recipe& r, std::uint32_t seed, long number) {
  const char* colours = r.colours == ColourMode::basic  ? "basic"
                        : r.colours == ColourMode::user ? "user"
                                                        : "true";
  return std::string(r.generator == Generator::pattern ? "Pattern tile" : "Shape") + ", " +
         std::string(wordOf(r.style)) + " style, " + colours + " colours, seed " +
         std::to_string(seed) + ", picture " + std::to_string(number);
}

void saveShapeClick(RunHost& host, AppState& st) {
  if (!hasPicture(st)) return;
  const Picture shape = host.SurfacePicture1().Image();
  const int zoom = std::clamp(static_cast<int>(st.savezoom), 1, 16);
  const Bytes png = encodePng(zoomed(*shape, zoom),
                              {{std::string(kRecipeKeyword), recipeToText(st.picture1Recipe)}});
  const std::string folder = host.picturesFolder();
  const std::string kind(wordOf(st.picture1Recipe.generator));
  std::string why = "no Pictures folder is known";
  const auto written = folder.empty() ? std::nullopt
                                      : writeNewFile(std::filesystem::path(folder) / "Tavrel",
                                                     kind + "-" + timestamp(), "png", png, &why);
  if (!written) {
    host.showNote("The picture could not be saved in " + folder + "/Tavrel: " + why);
    return;
  }
  host.showNote("Saved to " + written->string());
}

double nearestPrintSize(double centimetres) {
  double best = kPrintSizes[1];
  for (double size : kPrintSizes)
    if (std::abs(size - centimetres) < std::abs(best - centimetres)) best = size;
  return best;
}

void printPatternClick(RunHost& host, AppState& st) {
  if (!hasPicture(st)) return;
  host.printPicture(*host.SurfacePicture1().Image(),
                    st.picture1Recipe.generator == Generator::pattern, st.printsize,
                    [&st](double centimetres) { st.printsize = nearestPrintSize(centimetres); });
}

void editColorsClick(RunHost& host, AppState& st) {
  host.editColours(st.userColors, [&st](const UserPalette& edited) { st.userColors = edited; });
}

void impcolorClick(RunHost& host, AppState& st) {
  host.choosePaletteFile([&host, &st](const std::string& file) { importPalette(host, st, file); });
}

void importPalette(RunHost& host, AppState& st, const std::string& file) {
  if (file.empty()) return;
  const auto read = readGimpPalette(file);
  if (const auto* message = std::get_if<std::string>(&read)) {
    host.showMessage("The colour scale was not imported: " + *message);
    return;
  }
  // The first fifteen colours, in order; fewer leave the rest as they were.
  const auto& colours = std::get<std::vector<Colour>>(read);
  for (std::size_t i = 0; i < colours.size() && i < 15; ++i) st.userColors[i + 1] = colours[i];
  host.showNote("Imported " + std::to_string(std::min<std::size_t>(colours.size(), 15)) +
                " colours from " + file);
}

}  // namespace tavrel
