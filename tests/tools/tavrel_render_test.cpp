// Runs the built tavrel-render and looks at what it leaves behind.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <zlib.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "canvas/image_io.h"
#include "canvas/random.h"
#include "history/history.h"
#include "state/recipe.h"
#include "tests/temp_dir.h"

namespace tavrel {
namespace {

namespace fs = std::filesystem;

std::string slurp(const fs::path& p) {
  std::ifstream in(p, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

std::set<std::string> filesIn(const fs::path& dir) {
  std::set<std::string> names;
  for (const auto& e : fs::directory_iterator(dir)) names.insert(e.path().filename().string());
  return names;
}

// A written PNG; an empty one if it can't be read.
PngFile png(const fs::path& p) {
  auto f = readPng(p);
  EXPECT_TRUE(f) << p;
  return f ? *f : PngFile{};
}

class RenderTest : public ::testing::Test {
 protected:
  // A history of each test's own.
  RenderTest() { ::setenv("XDG_STATE_HOME", state_.path.c_str(), 1); }

  static std::string quoted(const fs::path& p) { return '\'' + p.string() + '\''; }

  fs::path folder(const std::string& name) {
    fs::create_directories(root_ / name);
    return root_ / name;
  }

  // The exit status; what the run printed is left in out_ and err_. `limits`
  // goes before the program: prlimit and timeout.
  int render(const std::string& args, const std::string& limits = "",
             const std::string& program = TAVREL_RENDER) {
    const fs::path out = root_ / "stdout", err = root_ / "stderr";
    const std::string command =
        limits + quoted(program) + ' ' + args + " >" + quoted(out) + " 2>" + quoted(err);
    const int raw = std::system(command.c_str());
    out_ = slurp(out), err_ = slurp(err);
    return WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
  }

  // A shell command as it is, its output kept as render's is.
  int render_(const std::string& command) {
    const fs::path out = root_ / "stdout", err = root_ / "stderr";
    const int raw = std::system((command + " >" + quoted(out) + " 2>" + quoted(err)).c_str());
    out_ = slurp(out), err_ = slurp(err);
    return WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
  }

  testing_support::TempDir temp_, state_;
  const fs::path& root_ = temp_.path;
  std::string out_, err_;
};

TEST_F(RenderTest, BadInputIsOneLineExitTwoAndNoFile) {
  const fs::path out = folder("out"), in = folder("in");
  { std::ofstream(root_ / "plain-file") << "x"; }
  { std::ofstream(in / "bad.gpl") << "GIMP Palette\n1 2 300\n"; }
  ASSERT_EQ(render("--seed 1 --surface 1100x300 --out " + quoted(in)), 0);
  const fs::path made = in / "shape-1-1.png";
  EXPECT_EQ(filesIn(in), (std::set<std::string>{"bad.gpl", made.filename()}));  // one picture
  const PngFile good = png(made);
  const std::string recipe = good.texts.at(0).second;
  // The picture without its recipe, and with a recipe cut short, holding a bad field or
  // a surface too narrow.
  ASSERT_TRUE(writeFile(in / "plain.png", encodePng(good.image)));
  const auto withRecipe = [&](const char* name, const std::string& from, const std::string& to) {
    std::string text = recipe;
    text.replace(text.find(from), from.size(), to);
    ASSERT_TRUE(writeFile(in / name, encodePng(good.image, {{std::string(kRecipeKeyword), text}})));
  };
  withRecipe("cut.png", "random=", "random=1 2 3");
  withRecipe("huge.png", "text3=16", "text3=1e309");
  withRecipe("narrow.png", "surface=1100x", "surface=199x");
  const auto refused = [&](const std::string& args) {
    EXPECT_EQ(render("--out " + quoted(out) + " " + args), 2) << args;
    EXPECT_TRUE(std::regex_match(err_, std::regex("tavrel-render: [^\n]+\n"))) << args << err_;
    EXPECT_EQ(out_, "") << args;
  };
  for (const char* args :
       {"--bogus", "-seed 1", "--seed", "--seed 4294967296", "--seed -1", "--count 0",
        "--surface 199x768", "--surface 1024x16385", "--surface 1024", "--zoom 0", "--zoom 17",
        "--generator circles", "--colors many", "--detail 1e309",
        "--window --zoom 16 --surface 2000x300"})
    refused(args);
  refused("--sides 1" + std::string(400, '0'));
  for (const char* name : {"bad.gpl", "missing.gpl"})
    refused("--colors user --palette " + quoted(in / name));
  for (const char* name :
       {"missing.png", "bad.gpl", "plain.png", "cut.png", "huge.png", "narrow.png"})
    refused("--from " + quoted(in / name));
  // What the recipe holds can't be given too; nor a zoom too large for its surface.
  for (const char* option :
       {"--generator shape", "--seed 1", "--colors true", "--screensaver", "--window --zoom 16"})
    refused("--from " + quoted(made) + " " + option);
  // A history number that isn't one or names no picture kept; a listing or
  // a picture of the history with what it can't take.
  for (const char* args : {"--from-history 0", "--from-history x", "--from-history 99999",
                           "--from-history 1 --count 2", "--from-history 1 --seed 3", "--history",
                           "--history --generator shape"})
    refused(args);
  refused("--from-history 1 --from " + quoted(made));
  for (const char* name : {"missing", "plain-file"}) refused("--out " + quoted(root_ / name));
  EXPECT_TRUE(filesIn(out).empty());
  EXPECT_EQ(filesIn(root_), (std::set<std::string>{"in", "out", "plain-file", "stderr", "stdout"}));
}

TEST_F(RenderTest, AFailedWriteNamesItsFile) {
  // A folder in the way of one file, the others free.
  for (const std::string blocked : {"shape-5-1-window.png", "shape-5-1.bmp"}) {
    const fs::path dir = folder(blocked + "-test");
    fs::create_directory(dir / blocked);
    EXPECT_EQ(render("--seed 5 --window --bmp --out " + quoted(dir)), 1);
    EXPECT_EQ(err_, "tavrel-render: cannot write " + quoted(dir / blocked) + ": Is a directory\n");
  }
}

TEST_F(RenderTest, NamesLinesSizesAndTheSameSeedTwice) {
  const fs::path a = folder("a"), b = folder("b");
  const std::string opts = " --count 2 --window --surface 300x240 --out ";
  ASSERT_EQ(render(opts + quoted(a)), 0) << err_;
  // The seed taken from the clock first, then a line for each picture it names.
  const std::string line = R"(.png restarts=\d+ ms=[\d.]+\n)", dir = a.string();
  std::smatch m;
  ASSERT_TRUE(std::regex_match(out_, m,
                               std::regex(R"(seed=(\d+)\n)" + dir + R"(/shape-\1-1)" + line + dir +
                                          R"(/shape-\1-2)" + line)))
      << out_;
  const std::string stem = dir + "/shape-" + m[1].str();
  EXPECT_EQ(filesIn(a).size(), 4u);
  EXPECT_EQ(png(stem + "-2-window.png").image.height, 240);
  // The seed given makes the same files again.
  ASSERT_EQ(render("--seed " + m[1].str() + opts + quoted(b)), 0);
  for (const std::string& name : filesIn(a)) EXPECT_EQ(slurp(a / name), slurp(b / name)) << name;
}

TEST_F(RenderTest, FromMakesEveryPictureAgain) {
  const fs::path in = folder("in");
  { std::ofstream(in / "p.gpl") << "GIMP Palette\n9 9 9\n255 255 255\n1 0 0\n0 0 128\n"; }
  // Both generators, all colour modes, both run modes; later pictures go on
  // from the state the earlier ones left.
  const std::string histories[] = {
      "--seed 3 --sides 8 --detail 5",
      "--seed 4 --style regular --screensaver --colors basic",
      "--seed 5 --generator pattern --sides 8 --colors user --palette " + quoted(in / "p.gpl"),
  };
  const fs::path dir = folder("first"), again = folder("again");
  for (const std::string& history : histories) {
    ASSERT_EQ(render(history + " --count 2 --surface 400x300 --window --out " + quoted(dir)), 0)
        << history << ": " << err_;
    int zoom = 1;  // the second picture again at zoom 3
    std::istringstream lines(out_);
    for (std::string line; std::getline(lines, line);) {
      std::smatch m;  // FILE restarts=N ms=M
      ASSERT_TRUE(std::regex_match(line, m, std::regex("(.*) (restarts=[0-9]+) ms=.*"))) << line;
      const fs::path picture = m[1].str();
      const std::string stem = picture.stem().string();
      const std::string from = "--from " + quoted(picture) + " --window --bmp --zoom ";
      ASSERT_EQ(render(from + std::to_string(zoom) + " --out " + quoted(again)), 0) << from << err_;
      // The same strokes thrown away, the same pixels and recipe, bigger.
      const fs::path remade = again / (stem + "-again.png");
      EXPECT_EQ(out_.rfind(remade.string() + " " + m[2].str() + " ms=", 0), 0u) << out_;
      const PngFile before = png(picture), made = png(remade),
                    window = png(again / (stem + "-again-window.png"));
      EXPECT_EQ(made.image, zoomed(before.image, zoom)) << picture;
      EXPECT_EQ(made.texts, before.texts) << picture;
      EXPECT_EQ(window.image, zoomed(png(dir / (stem + "-window.png")).image, zoom)) << picture;
      const auto& shown = window.image.pixels;  // screen-saver mode covers the square
      if (history.find("--screensaver") != std::string::npos) {
        EXPECT_EQ(std::ranges::count(shown, OutlineColor), std::ssize(shown));
      }
      // The BMP holds the PNG's pixels.
      const Bytes bmp = encodeBmp(made.image);
      EXPECT_EQ(slurp(again / (stem + "-again.bmp")), std::string(bmp.begin(), bmp.end()));
      zoom = 3;
    }
  }
  // The palette file's colours became user colours 1 to 4, in order.
  const auto recipe = recipeFromText(png(dir / "pattern-5-1.png").texts.at(0).second);
  ASSERT_TRUE(recipe);
  EXPECT_EQ(std::vector<Colour>(&recipe->palette[1], &recipe->palette[6]),
            (std::vector<Colour>{0x090909, 0xFFFFFF, 0x000001, 0x800000, basicPalette()[5]}));
}

// Every picture written is kept in the history; --history lists it, newest
// first; --from-history makes it again, with the options it was written
// with byte for byte the files first written. --no-history and the settings
// file's key keep a run out of it.
TEST_F(RenderTest, TheHistoryKeepsEveryPictureWrittenAndMakesItAgain) {
  const fs::path first = folder("first"), again = folder("again"), config = folder("config");
  const std::string runs[] = {
      "--seed 3 --count 2 --zoom 3 --window --bmp --sides 8",
      "--seed 4 --generator pattern --colors basic --screensaver --surface 300x240",
      "--from " + quoted(first / "shape-3-2.png") + " --zoom 3 --window --bmp",
  };
  for (const std::string& run : runs) ASSERT_EQ(render(run + " --out " + quoted(first)), 0) << err_;
  ::setenv("XDG_CONFIG_HOME", config.c_str(), 1);
  fs::create_directories(config / "tavrel");
  std::ofstream(config / "tavrel" / "tavrel.ini") << "[tavrel]\nhistory=off\n";
  ASSERT_EQ(render("--seed 5 --out " + quoted(first)), 0);  // kept out, as is:
  ::unsetenv("XDG_CONFIG_HOME");
  ASSERT_EQ(render("--seed 6 --no-history --out " + quoted(first)), 0);

  ASSERT_EQ(render("--history"), 0) << err_;
  const std::string when = R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d  tavrel-render  )";
  EXPECT_TRUE(
      std::regex_match(out_, std::regex("     4  " + when + "shape    no seed, picture 1\n" +  //
                                        "     3  " + when + "pattern  seed 4, picture 1\n" +   //
                                        "     2  " + when + "shape    seed 3, picture 2\n" +   //
                                        "     1  " + when + "shape    seed 3, picture 1\n")))
      << out_;
  const std::string all = " --zoom 3 --window --bmp";
  const struct {
    int number;
    std::string stem, options;
  } written[] = {{1, "shape-3-1", all},
                 {2, "shape-3-2", all},
                 {3, "pattern-4-1", ""},
                 {4, "shape-3-2-again", all}};
  for (const auto& w : written) {
    ASSERT_EQ(render("--no-history --from-history " + std::to_string(w.number) + w.options +
                     " --out " + quoted(again)),
              0)
        << err_;
    const std::string made = "history-" + std::to_string(w.number);
    for (const std::string suffix : {".png", "-window.png", ".bmp", "-window.bmp"}) {
      if (!fs::exists(first / (w.stem + suffix))) continue;
      EXPECT_TRUE(slurp(again / (made + suffix)) == slurp(first / (w.stem + suffix)))
          << w.stem + suffix;
    }
  }
  EXPECT_EQ(filesIn(again).size(), 13u);
  // A picture of the history is held to the memory budget as a file's recipe is.
  Recipe huge = recipeFromText(png(first / "shape-3-1.png").texts.at(0).second).value();
  huge.width = huge.height = 16384;
  ASSERT_TRUE(History(state_.path / "tavrel", "tavrel").add(huge, 1, 1));
  EXPECT_EQ(render("--from-history 5 --out " + quoted(again)), 2);
  EXPECT_EQ(err_,
            "tavrel-render: picture 5 of the history needs 1040 MiB for its 16384x16384 "
            "surface, more than --max-memory 512 (see --help)\n");
}

// A history that can't be written, and one that is broken: one line, and
// every picture written all the same. On a full disk the history keeps
// what fitted, every record whole.
TEST_F(RenderTest, AHistoryInTroubleIsOneLineAndThePicturesGoOn) {
  const fs::path out = folder("out"), state = folder("state");
  const std::string asRoot = ::geteuid() == 0 ? "unshare -m " : "unshare -rm ";
  const struct {
    std::string run;  // "RENDER" stands for the renderer and its options
    std::string line;
  } cases[] = {
      {"sh -c 'mount -t tmpfs -o size=48k tmpfs " + quoted(state) + " && RENDER; status=$?; cp " +
           quoted(state / "tavrel" / "history") + " " + quoted(root_ / "kept") + "; exit $status'",
       "pictures can't be kept in the history in '" + (state / "tavrel").string() +
           "': No space left on device; the show goes on without it"},
      {"RENDER", "pictures can't be kept in the history in '" + (state / "tavrel").string() +
                     "': Not a directory; the show goes on without it"},
      {"RENDER", "the history '" + (state / "tavrel" / "history").string() +
                     "' is broken; it is moved aside to '" +
                     (state / "tavrel" / "history.broken").string() + "' and a new one begun"},
  };
  { std::ofstream(state / "tavrel") << "a file where the folder goes"; }
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    SCOPED_TRACE(i);
    if (i == 2) {
      fs::remove(state / "tavrel");
      fs::create_directory(state / "tavrel");
      std::ofstream(state / "tavrel" / "history") << "not a history\n";
    }
    std::string command = cases[i].run;
    const std::string render = "XDG_STATE_HOME=" + quoted(state) +
                               " '" TAVREL_RENDER "' --seed 8 --count 12 --out " + quoted(out);
    command.replace(command.find("RENDER"), 6, render);
    const std::string limits = i == 0 ? asRoot : "";
    EXPECT_EQ(render_(limits + command), 0) << err_;
    EXPECT_EQ(err_, "tavrel-render: " + cases[i].line + "\n");
    EXPECT_EQ(filesIn(out).size(), 12u);
    fs::remove_all(out);
    fs::create_directory(out);
  }
  // What the full disk took: whole records, fewer than all.
  const auto kept = parseHistory(slurp(root_ / "kept"));
  ASSERT_TRUE(kept);
  EXPECT_GT(kept->entries.size(), 0u);
  EXPECT_LT(kept->entries.size(), 12u);
}

// PNG files put together chunk by chunk, as a stranger might.
std::string pngChunk(std::string_view type, std::string_view data) {
  std::string c;
  for (int shift : {24, 16, 8, 0}) c += static_cast<char>(data.size() >> shift);
  c.append(type).append(data);
  const std::string_view summed = std::string_view(c).substr(4);
  const uLong sum = crc32(0, reinterpret_cast<const Bytef*>(summed.data()), summed.size());
  for (int shift : {24, 16, 8, 0}) c += static_cast<char>(sum >> shift);
  return c;
}

std::string packed(const std::string& text) {
  std::string out(compressBound(text.size()), '\0');
  uLongf size = out.size();
  compress2(reinterpret_cast<Bytef*>(out.data()), &size,
            reinterpret_cast<const Bytef*>(text.data()), text.size(), 9);
  out.resize(size);
  return out;
}

std::string pngStart(std::uint32_t width, std::uint32_t height) {
  std::string header;
  for (std::uint32_t v : {width, height})
    for (int shift : {24, 16, 8, 0}) header += static_cast<char>(v >> shift);
  header += std::string("\x08\x02\0\0\0", 5);  // 8-bit RGB
  return std::string("\x89PNG\r\n\x1a\n") + pngChunk("IHDR", header);
}

std::string recipeChunk(const std::string& recipe) {
  return pngChunk("iTXt",
                  std::string(kRecipeKeyword) + std::string("\0\x01\0\0\0", 5) + packed(recipe));
}

// Files, arguments and folders from elsewhere, each made to break a reader
// or a writer: a file that can't be used is refused in one printable line
// and exit 2, the others make their picture; all in bounded time (and
// memory where the file was about memory), nothing else written, nothing
// outside the folder touched.
TEST_F(RenderTest, UntrustedInputIsRefusedInOneLineWithinBounds) {
  const fs::path in = folder("in"), out = folder("out");
  ASSERT_EQ(render("--seed 9 --surface 400x300 --out " + quoted(in)), 0) << err_;
  const std::string recipe = png(in / "shape-9-1.png").texts.at(0).second;
  const auto withState = [&](const std::string& state) {
    std::string text = recipe;
    const auto at = text.find("random=") + 7;
    text.replace(at, text.find('\n', at) - at, state);
    return text;
  };
  std::string zeros;  // 624 words of zero and the index
  for (int i = 0; i < 625; ++i) zeros += i ? " 0" : "0";
  const std::string good = withState(Random(9).state());
  const auto write = [&](const std::string& name, const std::string& bytes) {
    std::ofstream(in / name, std::ios::binary) << bytes;
    return quoted(in / name);
  };
  const auto pngWith = [&](const std::string& name, const std::string& text) {
    return write(name, pngStart(400, 300) + recipeChunk(text) + pngChunk("IEND", ""));
  };
  const auto sized = [&](const std::string& name, const std::string& size) {
    std::string text = good;
    text.replace(text.find("surface=") + 8, 7, size);
    return pngWith(name, text);
  };
  std::string bigWord = good, negative = good, lowBitsOnly = zeros;
  bigWord.replace(bigWord.find("random=") + 7, 1, "4294967296");
  negative.replace(negative.find("random=") + 7, 0, "-");
  lowBitsOnly.replace(0, 1, "2147483647");  // the top bit of the first word takes part, no more

  // 300 text chunks of 16 MB each unpacked before the recipe; a picture
  // declaring 16384 x 16384 pixels; a chunk of 1 GiB (a sparse file).
  std::string chunks = pngStart(400, 300);
  const std::string bomb = packed(std::string(16 << 20, 'a'));
  for (int i = 0; i < 300; ++i)
    chunks += pngChunk("zTXt", "Other " + std::to_string(i) + std::string("\0\0", 2) + bomb);
  chunks += recipeChunk(good) + pngChunk("IEND", "");
  const std::string tooLarge = pngStart(400, 300) + recipeChunk(std::string(1 << 20, 'x'));
  {
    std::ofstream gig(in / "gig.png", std::ios::binary);
    gig << pngStart(400, 300) << std::string("\x40\0\0\0prVt", 8);
    gig.seekp(std::streamoff{1} << 30, std::ios::cur);
    gig << std::string(4, '\0') << recipeChunk(good) << pngChunk("IEND", "");
  }
  ASSERT_EQ(::mkfifo((in / "fifo").c_str(), 0600), 0);
  // Links planted where a careless writer would write: the old temporary
  // name, the picture's own name, a probe's name.
  { std::ofstream(root_ / "victim") << "keep"; }
  for (const char* name : {"shape-1-1.png.tmp", "shape-1-1.png", ".tavrel-render-probe"})
    fs::create_symlink(root_ / "victim", out / name);

    // Memory limits mean nothing to the address sanitizer's reserved space.
#ifdef __SANITIZE_ADDRESS__
  const std::string memory;
#else
  const std::string memory = "--as=100000000 ";
#endif
  const std::string time = "timeout -s KILL 20 prlimit --cpu=10 ";
  const std::string bounded = time.substr(0, time.size() - 1) + " " + memory;
  const std::string from = "--from ", notRegular = "' is not a regular file (see --help)\n";
  struct Case {
    std::string args;
    int exit;
    std::string message;  // stderr after "tavrel-render: "; the file written when exit 0
    std::string limits = "";
  };
  const Case cases[] = {
      // A random state with a word of 2^32, a negative word, all zeros, or
      // nothing but bits the twister never uses.
      {from + pngWith("big.png", bigWord), 2, "holds a broken recipe"},
      {from + pngWith("negative.png", negative), 2, "holds a broken recipe"},
      {from + pngWith("zeros.png", withState(zeros)), 2, "holds a broken recipe", time},
      {from + pngWith("low.png", withState(lowBitsOnly)), 2, "holds a broken recipe", time},
      // A FIFO or a folder where a file is read.
      {"--colors user --palette " + quoted(in / "fifo"), 2, "", time},
      {from + quoted(in / "fifo"), 2, "", time},
      {from + quoted(in), 2, ""},
      // Files that only need their recipe read.
      {from + write("chunks.png", chunks), 0, "chunks-again.png", bounded},
      {from + write("huge.png", pngStart(16384, 16384) + recipeChunk(good) +
                                    pngChunk("IDAT", packed(std::string(1 << 20, '\0'))) +
                                    pngChunk("IEND", "")),
       0, "huge-again.png", bounded},
      {from + quoted(in / "gig.png"), 0, "gig-again.png", bounded},
      {from + write("large.png", tooLarge), 2, "holds a recipe too large to be one", bounded},
      // A surface within the memory budget, one row past it, and the largest
      // surface of all, refused before anything is allocated for it.
      {"--max-memory 20 " + from + sized("at.png", "1024x1024"), 0, "at-again.png", bounded},
      {"--max-memory 20 " + from + sized("past.png", "1024x1025"), 2,
       "needs 21 MiB for its 1024x1025 surface, more than --max-memory 20"},
      {from + sized("largest.png", "16384x16384"), 2,
       "needs 1040 MiB for its 16384x16384 surface, more than --max-memory 512", bounded},
      {"--max-memory 1048577 --seed 1", 2,
       "--max-memory: '1048577' is not a number of MiB from 1 to 1048576"},
      // Text that isn't one printable line, or is far too long to echo.
      {"--sides \"$(printf '4\\377')\"", 2,
       "--sides: '4\\xff' is not printable text of at most 256 bytes"},
      {"--generator \"$(printf 'a\\nb')\"", 2,
       "--generator: generator must be shape or pattern, not 'a\\nb'"},
      {"--generator " + std::string(100000, 'x'), 2,
       "--generator: generator must be shape or pattern, not '" + std::string(100, 'x') + "...'"},
      // Writing past the links planted in the folder.
      {"--seed 1", 0, "shape-1-1.png"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.args.substr(0, 200));
    const int exit = render("--out " + quoted(out) + " " + c.args, c.limits);
    EXPECT_EQ(exit, c.exit) << err_;
    if (c.exit == 2) {
      EXPECT_EQ(out_, "");
      if (c.message.empty()) {  // a FIFO or folder, named in the message
        EXPECT_TRUE(err_.ends_with(notRegular)) << err_;
      } else if (c.message.starts_with("--")) {
        EXPECT_EQ(err_, "tavrel-render: " + c.message + " (see --help)\n");
      } else {
        EXPECT_TRUE(err_.ends_with("' " + c.message + " (see --help)\n")) << err_;
      }
      EXPECT_EQ(std::ranges::count(err_, '\n'), 1) << err_;
    } else {
      EXPECT_EQ(err_, "");
      EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(out / c.message))) << c.message;
      EXPECT_EQ(png(out / c.message).image.width, 102) << c.message;
      fs::remove(out / c.message);
    }
  }
  // Nothing but the links planted is left, and what they point to is as it was.
  EXPECT_EQ(filesIn(out), (std::set<std::string>{"shape-1-1.png.tmp", ".tavrel-render-probe"}));
  EXPECT_EQ(slurp(root_ / "victim"), "keep");
}

// Every program answers --help (or -h) and --version (with its licence) on
// stdout with status 0, with no display and before anything else; an option
// nobody knows is one line and status 2.
TEST_F(RenderTest, EveryProgramAnswersHelpAndVersionWithoutADisplay) {
  std::vector<std::pair<std::string, std::string>> programs{{"tavrel-render", TAVREL_RENDER}};
#ifdef TAVREL_SAVER
  programs.emplace_back("tavrel-saver", TAVREL_SAVER);
#endif
#ifdef TAVREL_APP
  programs.emplace_back("tavrel", TAVREL_APP);
#endif
  const std::string bare = "env -u DISPLAY -u WAYLAND_DISPLAY -u XSCREENSAVER_WINDOW ";
  for (const auto& [name, path] : programs) {
    EXPECT_EQ(render("--version", bare, path), 0) << name;
    EXPECT_EQ(out_, name + " " + TAVREL_VERSION_TEXT +
                        "\nCopyright The Tavrel authors\n"
                        "MIT licence: free to use, change and pass on, without warranty.\n");
    EXPECT_EQ(render("--help", bare, path), 0) << name;
    const std::string help = out_;
    EXPECT_TRUE(help.starts_with("Usage: " + name + " ")) << help;
    for (const char* option : {"\n  --help ", "\n  --version "})
      EXPECT_NE(help.find(option), std::string::npos) << name << " lists" << option;
    EXPECT_EQ(err_, "");
    EXPECT_EQ(render("-h", bare, path), 0) << name;
    EXPECT_EQ(out_, help) << name << " -h";
    EXPECT_EQ(render("--no-such-option", bare, path), 2) << name;
    EXPECT_EQ(std::count(err_.begin(), err_.end(), '\n'), 1) << err_;
    EXPECT_TRUE(err_.starts_with(name + ": ")) << err_;
  }
}

#ifdef TAVREL_SAVER
// The module echoes what it is given the same way.
TEST_F(RenderTest, TheModuleQuotesWhatItEchoes) {
  const struct {
    std::string args, message;
  } cases[] = {
      {"--window-id \"$(printf '1\\n2')\"",
       "--window-id: '1\\n2' is not a window id (hex with 0x, or decimal)"},
      {"--speed \"$(printf '\\1\\376')\"", "--speed: speed must be slow or fast, not '\\x01\\xfe'"},
      {"--style " + std::string(5000, 'y'),
       "--style: style must be fancy or regular, not '" + std::string(100, 'y') + "...'"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(render(c.args, "", TAVREL_SAVER), 2) << c.args;
    EXPECT_EQ(err_, "tavrel-saver: " + c.message + " (see --help)\n");
  }
}
#endif

}  // namespace
}  // namespace tavrel
