// tavrel-render: runs a generator without a window and writes its pictures as
// files, for wallpapers, batches and tests.
//
// Every option lives in one table below; parsing, defaults, --help and the
// error messages all come from it.

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <iostream>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <system_error>
#include <variant>

#include "canvas/display_scale.h"
#include "canvas/image_io.h"
#include "canvas/palette.h"
#include "canvas/png_text.h"
#include "cli/options.h"
#include "cli/program.h"
#include "history/history.h"
#include "pattern/makeshape2.h"
#include "shape/makeshape.h"
#include "stages/host.h"
#include "stages/stages.h"
#include "state/app_state.h"
#include "state/recipe.h"
#include "wallpaper/wallpaper.h"

namespace tavrel {
namespace {

namespace fs = std::filesystem;

constexpr int kMinSide = 200;
constexpr int kMaxSide = 16384;
constexpr int kMaxZoom = 16;
constexpr int kMaxMemory = 1 << 20;  // MiB: a terabyte
// The module draws on surfaces from this size up: a picture it showed may
// come back from the history on one narrower than --surface takes.
constexpr int kMinHistorySide = 120;

struct Settings {
  RunChoices run;
  std::optional<std::uint32_t> seed;  // none: taken from the clock
  long long count = 1;
  int width = 0, height = 0;
  std::vector<Colour> palette;               // the colours of --palette, in file order
  std::optional<fs::path> from;              // a picture whose recipe is made again
  std::optional<std::uint64_t> fromHistory;  // a picture of the history made again
  Recipe recipe;                             // read from `from` or the history
  bool list = false;                         // --history
  bool noHistory = false;
  bool wallpaper = false;
  wallpaper::Output screen;  // when no desktop tells the screen's size
  fs::path out;
  bool window = false;
  bool bmp = false;
  int zoom = 1;
  int maxMemory = 0;  // MiB a recipe from elsewhere may make the run take
  bool help = false;
  bool version = false;
};

using cli::Check;
using cli::kOk;
using cli::wholeNumber;

Check setGenerator(Settings& s, std::string_view v) {
  return cli::readChoice(v, s.run.generator);
}

Check setSeed(Settings& s, std::string_view v) {
  return cli::readSeed(v, s.seed);
}

Check setCount(Settings& s, std::string_view v) {
  const auto n = wholeNumber<long long>(v);
  if (!n || *n < 1) return quotedText(v) + " is not a count of 1 or more";
  s.count = *n;
  return kOk;
}

Check setSurface(Settings& s, std::string_view v) {
  const auto x = v.find_first_of("xX");
  const auto w = x == std::string_view::npos ? std::nullopt : wholeNumber<int>(v.substr(0, x));
  const auto h = x == std::string_view::npos ? std::nullopt : wholeNumber<int>(v.substr(x + 1));
  const auto inRange = [](std::optional<int> n) { return n && *n >= kMinSide && *n <= kMaxSide; };
  if (!inRange(w) || !inRange(h)) {
    return quotedText(v) + " is not a size from 200x200 to 16384x16384";
  }
  s.width = *w;
  s.height = *h;
  return kOk;
}

// A field text whose number overflows stops a generation with a run-time
// error; the window's two-character fields can never hold one, so here it is
// bad input.
Check fieldNumber(std::string_view v) {
  try {
    Val(v);
  } catch (const RuntimeError&) {
    return quotedText(v) + " is a number too large to hold";
  }
  return kOk;
}

// A recipe from elsewhere that the generators can't run: a field's number
// too large to hold, a surface outside what the programs draw on.
bool unusable(const Recipe& r, int minSide) {
  const auto fits = [minSide](int side) { return side >= minSide && side <= kMaxSide; };
  return !fits(r.width) || !fits(r.height) || fieldNumber(r.text1) || fieldNumber(r.text3) ||
         fieldNumber(r.text4);
}

// What a field can hold is what its picture's recipe can carry.
Check fieldText(std::string& field, std::string_view v) {
  if (!isFieldText(v))
    return quotedText(v) + " is not printable text of at most " + std::to_string(kMaxFieldText) +
           " bytes";
  field = v;
  return fieldNumber(v);
}

Check setDetail(Settings& s, std::string_view v) {
  return fieldText(s.run.detail, v);
}

Check setSides(Settings& s, std::string_view v) {
  return fieldText(s.run.sides, v);
}

Check setStyle(Settings& s, std::string_view v) {
  return cli::readChoice(v, s.run.style);
}

Check setColors(Settings& s, std::string_view v) {
  return cli::readChoice(v, s.run.colours);
}

Check setPalette(Settings& s, std::string_view v) {
  auto read = readGimpPalette(fs::path(v));
  if (auto* message = std::get_if<std::string>(&read)) return *message;
  s.palette = std::move(std::get<std::vector<Colour>>(read));
  return kOk;
}

Check setFrom(Settings& s, std::string_view v) {
  const fs::path file(v);
  const auto read = readPngText(file, kRecipeKeyword, kMaxRecipeText);
  if (const auto* problem = std::get_if<ReadProblem>(&read)) return describe(*problem, file);
  if (const auto* problem = std::get_if<PngTextProblem>(&read)) {
    switch (*problem) {
      case PngTextProblem::notPng:
        return quotedText(v) + " is not a PNG file that can be read";
      case PngTextProblem::noText:
        return quotedText(v) + " holds no recipe";
      case PngTextProblem::tooLarge:
        return quotedText(v) + " holds a recipe too large to be one";
    }
  }
  const auto recipe = recipeFromText(std::get<std::string>(read));
  if (!recipe || unusable(*recipe, kMinSide)) return quotedText(v) + " holds a broken recipe";
  s.from = file;
  s.recipe = *recipe;
  return kOk;
}

Check setFromHistory(Settings& s, std::string_view v) {
  const auto n = wholeNumber<std::uint64_t>(v);
  if (!n || *n < 1) return quotedText(v) + " is not a number of the history";
  s.fromHistory = *n;
  return kOk;
}

Check setScreen(Settings& s, std::string_view v) {
  const auto x = v.find_first_of("xX");
  const auto w = x == std::string_view::npos ? std::nullopt : wholeNumber<int>(v.substr(0, x));
  const auto h = x == std::string_view::npos ? std::nullopt : wholeNumber<int>(v.substr(x + 1));
  const auto inRange = [](std::optional<int> n) { return n && *n >= 1 && *n <= kMaxSide; };
  if (!inRange(w) || !inRange(h)) return quotedText(v) + " is not a size from 1x1 to 16384x16384";
  s.screen = {"", 0, 0, *w, *h, *w, *h};
  return kOk;
}

Check setOut(Settings& s, std::string_view v) {
  if (v.empty()) return "the folder name is empty";
  s.out = fs::path(v);
  return kOk;
}

Check setScreensaver(Settings& s, std::string_view) {
  s.run.screensaver = true;
  return kOk;
}

Check setZoom(Settings& s, std::string_view v) {
  return cli::readWhole(v, 1, kMaxZoom, "a zoom", s.zoom);
}

Check setMaxMemory(Settings& s, std::string_view v) {
  return cli::readWhole(v, 1, kMaxMemory, "a number of MiB", s.maxMemory);
}

using Option = cli::Option<Settings>;

// Which options can't go together, as kinds of option: what a recipe holds,
// the count, the files written, and the ways to a picture other than the
// generators' own run.
enum Kind : unsigned {
  kRecipe = 1,
  kCount = 2,
  kFiles = 4,
  kFromFile = 8,
  kFromHistory = 16,
  kList = 32,
  kWallpaper = 64,
};

constexpr Option kOptions[] = {
    {"--generator", "shape|pattern", "shape", "the generator that draws", setGenerator, kRecipe},
    {"--seed", "N", "", "random seed, 0 to 4294967295 (default: the clock, printed)", setSeed,
     kRecipe},
    {"--count", "K", "1", "pictures made in a row, the state carried from one to the next",
     setCount, kCount},
    {"--surface", "WxH", "1024x768", "size of the drawing surface, 200x200 to 16384x16384",
     setSurface, kRecipe},
    {"--detail", "TEXT", "16", "text of the detail field, clamped as the window does", setDetail,
     kRecipe},
    {"--style", "fancy|regular", "fancy", "shape style", setStyle, kRecipe},
    {"--colors", "true|basic|user", "true", "true colours, the 15 basic ones, or a user palette",
     setColors, kRecipe},
    {"--palette", "FILE.gpl", "", "the first 15 colours become user colours 1 to 15", setPalette,
     kRecipe},
    {"--sides", "TEXT", "4", "text of the sides field, clamped as the window does", setSides,
     kRecipe},
    {"--screensaver", "", "", "generate as in screen-saver mode", setScreensaver, kRecipe},
    {"--out", "DIR", ".", "folder that receives the files; it must exist", setOut, kFiles},
    {"--window", "", "", "also write the whole surface as <name>-window.png",
     cli::setSwitch<&Settings::window>, kFiles},
    {"--bmp", "", "", "also write every picture as a 24-bit BMP next to its PNG",
     cli::setSwitch<&Settings::bmp>, kFiles},
    {"--zoom", "Z", "1", "enlarge the written pictures Z times (1 to 16)", setZoom, kFiles},
    {"--from", "FILE.png", "", "make the picture of FILE again from the recipe it carries", setFrom,
     kFromFile, kRecipe | kCount | kFromHistory | kList},
    {"--history", "", "", "list the pictures kept in the history, newest first",
     cli::setSwitch<&Settings::list>, kList, kRecipe | kCount | kFiles | kFromHistory | kWallpaper},
    {"--from-history", "N", "", "make picture N of the history again", setFromHistory, kFromHistory,
     kRecipe | kCount | kList},
    {"--wallpaper", "", "", "set the picture as the desktop's wallpaper (a tile or a shape)",
     cli::setSwitch<&Settings::wallpaper>, kWallpaper, kCount | kFiles | kList},
    {"--screen", "WxH", "1920x1080", "the screen's size, where no desktop tells it", setScreen,
     kWallpaper},
    {"--no-history", "", "", "write nothing to the history", cli::setSwitch<&Settings::noHistory>},
    {"--max-memory", "MIB", "512", "memory a run from a recipe may take, in MiB", setMaxMemory},
    {"--help", "", "", "show this text and exit (also -h)", cli::setSwitch<&Settings::help>},
    {"--version", "", "", "show the version and exit", cli::setSwitch<&Settings::version>},
};

void printHelp() {
  std::cout << "Usage: tavrel-render [OPTION]...\n"
               "       tavrel-render --from FILE.png [--zoom Z] [--window] [--bmp] [--out DIR]\n"
               "       tavrel-render --history\n"
               "       tavrel-render --wallpaper [OPTION]...\n"
               "       tavrel-render --from-history N [--zoom Z] [--window] [--bmp] [--out DIR]\n"
               "Makes random mirror-symmetric pictures without a window. Picture i goes to\n"
               "DIR/<generator>-<seed>-<i>.png, the 102 x 102 box of the finished shape;\n"
               "one line per picture on stdout: file, restarts=N, ms=M. Every PNG carries the\n"
               "recipe of its picture in a text chunk '"
            << kRecipeKeyword
            << "'; --from makes that picture\n"
               "again, pixel for pixel, as DIR/<name of FILE>-again.png. Every picture the\n"
               "three programs show or write is kept in the history, the newest 1000, under\n"
               "a lasting number; --from-history N makes number N again as DIR/history-N.png.\n"
               "--wallpaper makes a picture for the screen, a pattern tile repeated edge to\n"
               "edge or a shape centred on black, and sets it on the desktop (GNOME, KDE\n"
               "Plasma, sway, a plain X11 desktop); the files go to\n"
               "$XDG_DATA_HOME/tavrel/wallpaper.\n\n"
            << cli::optionsHelp<Settings>(kOptions)
            << "\nBad input gives a one-line message and exit status 2, and writes no file.\n";
}

// Where a recipe from elsewhere came from, for messages.
std::string sourceName(const Settings& s) {
  if (s.fromHistory) return "picture " + std::to_string(*s.fromHistory) + " of the history";
  return s.from ? quotedText(s.from->string()) : std::string();
}

// The recipe of picture N from the history into the settings; a message
// when there is none.
std::optional<std::string> takeFromHistory(Settings& s) {
  const fs::path folder = historyFolder();
  if (folder.empty()) return "no folder for the history is known (HOME is not set)";
  const auto entries = History(folder, "tavrel-render").entries();
  const auto e = std::find_if(entries.begin(), entries.end(),
                              [&](const HistoryEntry& h) { return h.number == *s.fromHistory; });
  if (e == entries.end()) {
    std::string holds = entries.empty() ? "is empty"
                                        : "holds " + std::to_string(entries.front().number) +
                                              " to " + std::to_string(entries.back().number);
    return "--from-history: there is no picture " + std::to_string(*s.fromHistory) +
           " in the history, which " + holds;
  }
  if (unusable(e->recipe, kMinHistorySide)) return sourceName(s) + " holds a broken recipe";
  s.recipe = e->recipe;
  return std::nullopt;
}

// The history, newest first: number, local time, program, generator, seed.
int listHistory() {
  const fs::path folder = historyFolder();
  if (folder.empty()) {
    std::cerr << "tavrel-render: no folder for the history is known (HOME is not set)\n";
    return 1;
  }
  const auto entries = History(folder, "tavrel-render").entries();
  for (auto e = entries.rbegin(); e != entries.rend(); ++e) {
    const std::time_t time = e->time;
    std::tm local{};
    localtime_r(&time, &local);
    char when[32];
    std::strftime(when, sizeof when, "%Y-%m-%d %H:%M:%S", &local);
    char line[160];
    std::snprintf(line, sizeof line, "%6llu  %s  %-13s  %-7s  ",
                  static_cast<unsigned long long>(e->number), when, e->program.c_str(),
                  std::string(wordOf(e->recipe.generator)).c_str());
    std::cout << line << (e->seed ? "seed " + std::to_string(*e->seed) : std::string("no seed"))
              << ", picture " << e->place << "\n";
  }
  return 0;
}

// The most a run takes, in bytes, for a surface of `width` x `height`: the
// drawing surface and, with --window, its picture, enlarged, and encoded;
// the rest (the 102 x 102 box, the program itself) within a fixed margin.
std::uint64_t memoryFor(int width, int height, const Settings& s) {
  constexpr std::uint64_t kMargin = 16 << 20, kPixel = 4, kEncoded = 3;
  const std::uint64_t pixels = static_cast<std::uint64_t>(width) * height;
  const std::uint64_t zoomed = pixels * s.zoom * s.zoom;
  std::uint64_t bytes = kMargin + pixels * kPixel;
  if (s.window) bytes += pixels * kPixel + zoomed * (kPixel + kEncoded);
  return bytes;
}

// A combination check and a probe of the folder: all bad input is found
// before the first file is written.
std::optional<std::string> validate(const Settings& s, const std::vector<std::string_view>& given) {
  if (!s.palette.empty() && s.run.colours != ColourMode::user)
    return "--palette needs --colors user";
  if (std::find(given.begin(), given.end(), "--screen") != given.end() && !s.wallpaper)
    return "--screen needs --wallpaper";
  const bool elsewhere = s.from || s.fromHistory;
  const int width = elsewhere ? s.recipe.width : s.width;
  const int height = elsewhere ? s.recipe.height : s.height;
  // A recipe from elsewhere may ask for the largest surface: it is held to
  // a budget before anything is allocated for it.
  if (const std::uint64_t need = memoryFor(width, height, s);
      elsewhere && need > static_cast<std::uint64_t>(s.maxMemory) << 20)
    return sourceName(s) + " needs " + std::to_string((need + (1 << 20) - 1) >> 20) +
           " MiB for its " + std::to_string(width) + "x" + std::to_string(height) +
           " surface, more than --max-memory " + std::to_string(s.maxMemory);
  if (s.window && (static_cast<long long>(width) * s.zoom > kMaxSide ||
                   static_cast<long long>(height) * s.zoom > kMaxSide)) {
    return std::string("--window with --zoom ") + std::to_string(s.zoom) +
           " would make a picture wider or taller than 16384 pixels";
  }
  if (s.wallpaper) return std::nullopt;  // its files have a folder of their own
  std::error_code ec;
  if (!fs::is_directory(s.out, ec))
    return "--out: " + quotedText(s.out.string()) + " is not a folder";
  if (!canCreateFilesIn(s.out))
    return "--out: cannot write to the folder " + quotedText(s.out.string()) + ": " +
           std::strerror(errno);
  return std::nullopt;
}

// Gives what could not be written and why, if anything.
std::optional<std::string> writePicture(const fs::path& png, const ImageData& img,
                                        const Settings& s, const PngTexts& texts) {
  const auto failed = [](const fs::path& file) {
    return "cannot write " + quotedText(file.string()) + ": " + std::strerror(errno);
  };
  const ImageData big = zoomed(img, s.zoom);
  if (!writeFile(png, encodePng(big, texts))) return failed(png);
  if (!s.bmp) return std::nullopt;
  fs::path bmp = png;
  bmp.replace_extension(".bmp");
  if (!writeFile(bmp, encodeBmp(big))) return failed(bmp);
  return std::nullopt;
}

// The picture as the desktop's wallpaper: a line for each file and where it
// went; a line and status 1 when the desktop could not take it.
int setWallpaper(const Settings& s, const ImageData& picture, const PngTexts& texts, Generator g) {
  wallpaper::Request r{picture, texts, g, s.screen, std::nullopt};
  if (const char* scale = std::getenv(kScaleVariable)) r.scaleOverride = scale;
  const wallpaper::Outcome made = wallpaper::makeWallpaper(r);
  for (const std::string& line : made.lines) std::cout << line << "\n";
  if (!made.failed) return 0;
  std::cerr << "tavrel-render: " << *made.failed << "\n";
  return 1;
}

int render(const Settings& s) {
  const bool elsewhere = s.from || s.fromHistory;
  std::uint32_t seed = 0;
  if (!elsewhere) {
    seed = s.seed.value_or(cli::seedFromClock());
    if (!s.seed) std::cout << "seed=" << seed << std::endl;
  }
  RunChoices run = s.run;
  for (std::size_t n = 1; n <= 15 && n <= s.palette.size(); ++n) run.palette[n] = s.palette[n - 1];
  const Recipe first = elsewhere ? s.recipe : firstRecipe(run, s.width, s.height, seed);
  HeadlessHost host(first.width, first.height);
  AppState st;
  stages::startFrom(first, host, st);
  const auto generate = first.generator == Generator::pattern ? makeshape2 : makeshape;

  const long long count = elsewhere ? 1 : s.count;
  auto history = historyFor("tavrel-render", s.noHistory);
  for (long long i = 1; i <= count; ++i) {
    const auto start = std::chrono::steady_clock::now();
    GenerationStats stats;
    try {
      stats = generate(host, st);
    } catch (const ProgramEnded&) {
      std::cerr << "tavrel-render: the generator ended the program (its capture failed)\n";
      return 1;
    } catch (const RuntimeError& e) {
      std::cerr << "tavrel-render: the generator stopped with a run-time error: " << e.what()
                << "\n";
      return 1;
    }
    const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - start;

    const std::string name = s.fromHistory ? "history-" + std::to_string(*s.fromHistory)
                             : s.from      ? s.from->stem().string() + "-again"
                                           : std::string(wordOf(first.generator)) + "-" +
                                            std::to_string(seed) + "-" + std::to_string(i);
    const PngTexts texts = {{std::string(kRecipeKeyword), recipeToText(st.picture1Recipe)}};
    if (s.wallpaper) {
      if (history)
        history->add(st.picture1Recipe, elsewhere ? std::nullopt : std::optional(seed), 1);
      return setWallpaper(s, *host.SurfacePicture1().Image(), texts, first.generator);
    }
    const fs::path picture = s.out / (name + ".png");
    auto failed = writePicture(picture, *host.SurfacePicture1().Image(), s, texts);
    if (!failed && s.window)
      failed =
          writePicture(s.out / (name + "-window.png"), *host.SurfaceWindow().Image(), s, texts);
    if (failed) {
      std::cerr << "tavrel-render: " << *failed << "\n";
      return 1;
    }
    if (history)
      history->add(st.picture1Recipe, elsewhere ? std::nullopt : std::optional(seed),
                   static_cast<std::uint64_t>(i));
    char ms[32];
    std::snprintf(ms, sizeof ms, "%.3f", took.count());
    std::cout << picture.string() << " restarts=" << stats.restarts << " ms=" << ms << std::endl;
  }
  return 0;
}

int fail(const std::string& message) {
  std::cerr << "tavrel-render: " << message << " (see --help)\n";
  return 2;
}

int run(int argc, char** argv) {
  std::vector<std::string_view> given;
  const auto parsed = cli::parse<Settings>(
      kOptions, std::span<char* const>(argv + 1, static_cast<std::size_t>(argc - 1)), false,
      &given);
  if (const auto* message = std::get_if<std::string>(&parsed)) return fail(*message);
  Settings settings = std::get<Settings>(parsed);
  if (settings.help) {
    printHelp();
    return 0;
  }
  if (settings.version) {
    std::cout << cli::versionText("tavrel-render");
    return 0;
  }
  if (auto clash = cli::conflict<Settings>(kOptions, given)) return fail(*clash);
  if (settings.list) return listHistory();
  if (settings.fromHistory)
    if (auto problem = takeFromHistory(settings)) return fail(*problem);
  if (auto problem = validate(settings, given)) return fail(*problem);
  return render(settings);
}

}  // namespace
}  // namespace tavrel

int main(int argc, char** argv) {
  using namespace tavrel;
  return cli::guardedMain("tavrel-render", [&] { return run(argc, argv); });
}
