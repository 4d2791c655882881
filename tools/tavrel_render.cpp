// tavrel-render: runs a generator without a window and writes its pictures as
// files, for wallpapers, batches and tests.
//
// Every option lives in one table below; parsing, defaults, --help and the
// error messages all come from it.

#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <system_error>
#include <variant>

#include "canvas/image_io.h"
#include "cli/options.h"
#include "pattern/makeshape2.h"
#include "shape/makeshape.h"
#include "stages/host.h"
#include "state/app_state.h"

namespace tavrel {
namespace {

namespace fs = std::filesystem;

constexpr int kMinSide = 200;
constexpr int kMaxSide = 16384;
constexpr int kMaxZoom = 16;

using GeneratorFn = GenerationStats (*)(GeneratorHost&, AppState&);

struct GeneratorChoice {
  std::string_view name;
  GeneratorFn run;  // nullptr while the generator isn't built
};

constexpr GeneratorChoice kGenerators[] = {
    {"shape", makeshape},
    {"pattern", makeshape2},
};

struct Settings {
  const GeneratorChoice* generator = nullptr;
  std::optional<std::uint32_t> seed;  // none: taken from the clock
  long long count = 1;
  int width = 0, height = 0;
  std::string detail;
  std::string sides;
  bool fancy = true;
  bool trueColours = true;
  bool screensaver = false;
  fs::path out;
  bool window = false;
  bool bmp = false;
  int zoom = 1;
  bool help = false;
};

using cli::Check;
using cli::inQuotes;
using cli::kOk;
using cli::wholeNumber;

Check setGenerator(Settings& s, std::string_view v) {
  for (const GeneratorChoice& g : kGenerators) {
    if (g.name == v) {
      s.generator = &g;
      return kOk;
    }
  }
  return std::string("unknown generator ") + inQuotes(v);
}

Check setSeed(Settings& s, std::string_view v) {
  const auto n = wholeNumber<std::uint64_t>(v);
  if (!n || *n > 4294967295u) return inQuotes(v) + " is not a seed from 0 to 4294967295";
  s.seed = static_cast<std::uint32_t>(*n);
  return kOk;
}

Check setCount(Settings& s, std::string_view v) {
  const auto n = wholeNumber<long long>(v);
  if (!n || *n < 1) return inQuotes(v) + " is not a count of 1 or more";
  s.count = *n;
  return kOk;
}

Check setSurface(Settings& s, std::string_view v) {
  const auto x = v.find_first_of("xX");
  const auto w = x == std::string_view::npos ? std::nullopt : wholeNumber<int>(v.substr(0, x));
  const auto h = x == std::string_view::npos ? std::nullopt : wholeNumber<int>(v.substr(x + 1));
  const auto inRange = [](std::optional<int> n) { return n && *n >= kMinSide && *n <= kMaxSide; };
  if (!inRange(w) || !inRange(h)) {
    return inQuotes(v) + " is not a size from 200x200 to 16384x16384";
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
    return inQuotes(v) + " is a number too large to hold";
  }
  return kOk;
}

Check setDetail(Settings& s, std::string_view v) {
  s.detail = v;
  return fieldNumber(v);
}

Check setSides(Settings& s, std::string_view v) {
  s.sides = v;
  return fieldNumber(v);
}

Check setStyle(Settings& s, std::string_view v) {
  if (v != "fancy" && v != "regular")
    return std::string("style must be fancy or regular, not ") + inQuotes(v);
  s.fancy = v == "fancy";
  return kOk;
}

Check setColors(Settings& s, std::string_view v) {
  if (v != "true" && v != "basic")
    return std::string("colors must be true or basic, not ") + inQuotes(v);
  s.trueColours = v == "true";
  return kOk;
}

Check setOut(Settings& s, std::string_view v) {
  if (v.empty()) return "the folder name is empty";
  s.out = fs::path(v);
  return kOk;
}

Check setZoom(Settings& s, std::string_view v) {
  const auto n = wholeNumber<int>(v);
  if (!n || *n < 1 || *n > kMaxZoom) return inQuotes(v) + " is not a zoom from 1 to 16";
  s.zoom = *n;
  return kOk;
}

Check setScreensaver(Settings& s, std::string_view) {
  s.screensaver = true;
  return kOk;
}
Check setWindow(Settings& s, std::string_view) {
  s.window = true;
  return kOk;
}
Check setBmp(Settings& s, std::string_view) {
  s.bmp = true;
  return kOk;
}
Check setHelp(Settings& s, std::string_view) {
  s.help = true;
  return kOk;
}

using Option = cli::Option<Settings>;

constexpr Option kOptions[] = {
    {"--generator", "shape|pattern", "shape", "the generator that draws", setGenerator},
    {"--seed", "N", "", "random seed, 0 to 4294967295 (default: the clock, printed)", setSeed},
    {"--count", "K", "1", "pictures made in a row, the state carried from one to the next",
     setCount},
    {"--surface", "WxH", "1024x768", "size of the drawing surface, 200x200 to 16384x16384",
     setSurface},
    {"--detail", "TEXT", "16", "text of the detail field, clamped as the window does", setDetail},
    {"--style", "fancy|regular", "fancy", "shape style", setStyle},
    {"--colors", "true|basic", "true", "true colours or the 16 basic ones", setColors},
    {"--sides", "TEXT", "4", "text of the sides field, clamped as the window does", setSides},
    {"--screensaver", "", "", "generate as in screen-saver mode", setScreensaver},
    {"--out", "DIR", ".", "folder that receives the files; it must exist", setOut},
    {"--window", "", "", "also write the whole surface as <name>-window.png", setWindow},
    {"--bmp", "", "", "also write every picture as a 24-bit BMP next to its PNG", setBmp},
    {"--zoom", "Z", "1", "enlarge the written pictures Z times (1 to 16)", setZoom},
    {"--help", "", "", "show this text and exit", setHelp},
};

void printHelp() {
  std::cout << "Usage: tavrel-render [OPTION]...\n"
               "Makes random mirror-symmetric pictures without a window. Picture i goes to\n"
               "DIR/<generator>-<seed>-<i>.png, the 102 x 102 box of the finished shape;\n"
               "one line per picture on stdout: file, restarts=N, ms=M.\n\n"
            << cli::optionsHelp<Settings>(kOptions)
            << "\nBad input gives a one-line message and exit status 2, and writes no file.\n";
}

// A combination check and a probe of the folder: all bad input is found
// before the first file is written.
std::optional<std::string> validate(const Settings& s) {
  if (s.window && (static_cast<long long>(s.width) * s.zoom > kMaxSide ||
                   static_cast<long long>(s.height) * s.zoom > kMaxSide)) {
    return std::string("--window with --zoom ") + std::to_string(s.zoom) +
           " would make a picture wider or taller than 16384 pixels";
  }
  std::error_code ec;
  if (!fs::is_directory(s.out, ec)) return inQuotes(s.out.string()) + " is not a folder";
  const fs::path probe = s.out / (".tavrel-render-probe-" + std::to_string(::getpid()));
  {
    std::ofstream test(probe, std::ios::binary);
    if (!test) return std::string("cannot write to the folder ") + inQuotes(s.out.string());
  }
  fs::remove(probe, ec);
  return std::nullopt;
}

std::uint32_t seedFromClock() {
  const auto ticks = static_cast<std::uint64_t>(
      std::chrono::system_clock::now().time_since_epoch() / std::chrono::nanoseconds(1));
  return static_cast<std::uint32_t>(ticks ^ (ticks >> 32));
}

// The values that start-up gives AppState before its first generation.
void startupValues(AppState& st, GeneratorHost& host, const Settings& s) {
  st.tcolor = s.trueColours ? 1 : 0;
  st.ssmode = s.screensaver ? 1 : 0;
  firstValues(st, host.ScaleWidth(), host.ScaleHeight());
}

// Gives the file that could not be written, if any.
std::optional<fs::path> writePicture(const fs::path& png, const ImageData& img, const Settings& s) {
  const ImageData big = zoomed(img, s.zoom);
  if (!writeFile(png, encodePng(big))) return png;
  if (!s.bmp) return std::nullopt;
  fs::path bmp = png;
  bmp.replace_extension(".bmp");
  if (!writeFile(bmp, encodeBmp(big))) return bmp;
  return std::nullopt;
}

int render(const Settings& s) {
  const std::uint32_t seed = s.seed.value_or(seedFromClock());
  if (!s.seed) std::cout << "seed=" << seed << std::endl;

  HeadlessHost host(s.width, s.height);
  host.fields[static_cast<int>(Field::Text3)] = s.detail;
  host.fields[static_cast<int>(Field::Text4)] = s.sides;
  host.option2 = s.fancy;
  AppState st;
  startupValues(st, host, s);
  st.rnd.Randomize(seed);

  const std::string stem = std::string(s.generator->name) + "-" + std::to_string(seed) + "-";
  for (long long i = 1; i <= s.count; ++i) {
    const auto start = std::chrono::steady_clock::now();
    GenerationStats stats;
    try {
      stats = s.generator->run(host, st);
    } catch (const ProgramEnded&) {
      std::cerr << "tavrel-render: the generator ended the program (its capture failed)\n";
      return 1;
    }
    const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - start;

    const fs::path picture = s.out / (stem + std::to_string(i) + ".png");
    auto failed = writePicture(picture, *host.SurfacePicture1().Image(), s);
    if (!failed && s.window) {
      const fs::path window = s.out / (stem + std::to_string(i) + "-window.png");
      failed = writePicture(window, *host.SurfaceWindow().Image(), s);
    }
    if (failed) {
      std::cerr << "tavrel-render: cannot write " << inQuotes(failed->string()) << "\n";
      return 1;
    }
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

}  // namespace
}  // namespace tavrel

int main(int argc, char** argv) {
  using namespace tavrel;
  const auto parsed = cli::parse<Settings>(
      kOptions, std::span<char* const>(argv + 1, static_cast<std::size_t>(argc - 1)));
  if (const auto* message = std::get_if<std::string>(&parsed)) return fail(*message);
  const Settings& settings = std::get<Settings>(parsed);
  if (settings.help) {
    printHelp();
    return 0;
  }
  if (auto problem = validate(settings)) return fail(*problem);
  if (settings.generator->run == nullptr) {
    return fail(std::string("the ") + std::string(settings.generator->name) +
                " generator is not built yet");
  }
  return render(settings);
}
