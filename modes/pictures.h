// Keeping a picture: saved as a PNG that can make it again, printed, and the
// colours of user colour mode edited or imported.
#pragma once

#include <filesystem>
#include <optional>
#include <span>
#include <string>

#include "modes/run_host.h"
#include "state/app_state.h"

namespace tavrel {

// What a picture shows, in words, for a screen reader: "Pattern tile, fancy
// style, basic colours, seed 4242, picture 3" (the run's seed and the
// picture's number in the run).
std::string pictureName(const Recipe& r, std::uint32_t seed, long number);

// "Save shape" and the key S: the picture of Picture1, enlarged savezoom
// times, into a new file of the Pictures folder's "Tavrel" folder.
void saveShapeClick(RunHost& host, AppState& st);
// The sizes offered for printing 100 picture pixels, in centimetres.
inline constexpr double kPrintSizes[] = {2.5, 5, 10, 20};
// The offered size nearest to `centimetres`.
double nearestPrintSize(double centimetres);

// "Print pattern" and the key P: a tile repeated over the page, a shape
// centred, at the size printed last.
void printPatternClick(RunHost& host, AppState& st);
// "Edit colors" and "Import color scale": the user palette.
void editColorsClick(RunHost& host, AppState& st);
void impcolorClick(RunHost& host, AppState& st);
// The colours of a palette file into the user palette, with a note; a
// message when it can't be read.
void importPalette(RunHost& host, AppState& st, const std::string& file);

// Writes `bytes` to `folder`/`stem`.`extension`, or to `stem`-2, -3 ... when
// that is taken: never over a file. Gives the path written, or nothing and
// the system's reason in `why`.
std::optional<std::filesystem::path> writeNewFile(const std::filesystem::path& folder,
                                                  const std::string& stem,
                                                  const std::string& extension,
                                                  std::span<const std::uint8_t> bytes,
                                                  std::string* why = nullptr);

}  // namespace tavrel
