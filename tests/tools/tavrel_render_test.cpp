// Runs the built tavrel-render as its users do and looks at what it leaves
// behind.

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
#include "history/history.h"
#include "state/recipe.h"
#include "tests/temp_dir.h"

namespace tavrel {
namespace {

namespace fs = std::filesystem;
using testing_support::slurp;

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

std::string inQuotes(const fs::path& p) {
  return '\'' + p.string() + '\'';
}

class RenderTest : public testing::Test {
 protected:
  // A history and a home of the test's own, and no desktop to set a
  // wallpaper on.
  RenderTest() {
    ::setenv("XDG_STATE_HOME", state_.path.c_str(), 1);
    ::setenv("HOME", (state_ / "home").c_str(), 1);
    for (const char* v :
         {"DISPLAY", "WAYLAND_DISPLAY", "SWAYSOCK", "XDG_CURRENT_DESKTOP", "XSCREENSAVER_WINDOW"})
      ::unsetenv(v);
  }

  // A shell command run in the test's folder: its exit status, and what it
  // printed in out_ and err_.
  int shell(const std::string& command) {
    const fs::path out = state_ / "stdout", err = state_ / "stderr";
    const int raw = std::system(
        ("cd " + inQuotes(root_) + " && " + command + " >" + inQuotes(out) + " 2>" + inQuotes(err))
            .c_str());
    out_ = slurp(out), err_ = slurp(err);
    return WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
  }
  // The program, at most 30 seconds; `before` goes before it: variables, env.
  int render(const std::string& args, const std::string& before = "",
             const std::string& program = TAVREL_RENDER) {
    return shell(before + "timeout -s KILL 30 " + inQuotes(program) + ' ' + args);
  }

  fs::path folder(const std::string& name) {
    fs::create_directories(root_ / name);
    return root_ / name;
  }

  testing_support::TempDir temp_, state_;
  const fs::path& root_ = temp_.path;
  std::string out_, err_;
};

// Every rule of the options, a line each: the arguments, the exit status,
// and the line on stderr after "tavrel-render: ". A value at a bound is
// taken, and the run goes on to the folder `none`, which is missing; one
// past the bound is refused. Then which options can't go together, every
// pair both ways round. Nothing refused writes a file.
TEST_F(RenderTest, EveryOptionRuleHasItsLine) {
  const fs::path in = folder("in");
  ASSERT_EQ(render("--seed 1 --surface 400x300 --no-history --out in"), 0) << err_;
  fs::rename(in / "shape-1-1.png", in / "p.png");
  const PngFile made = png(in / "p.png");
  const std::string recipe = made.texts.at(0).second;
  // The picture again, its recipe changed, or none; and with its pixels broken.
  const auto variant = [&](const std::string& name, const std::string& from,
                           const std::string& to) {
    std::string text = recipe;
    text.replace(text.find(from), from.size(), to);
    ASSERT_TRUE(writeFile(in / name, encodePng(made.image, {{std::string(kRecipeKeyword), text}})));
  };
  variant("huge.png", "text3=16", "text3=1e309");
  for (const std::string size : {"199x300", "200x200", "1024x1024", "16384x16384"})
    variant(size + ".png", "surface=400x300", "surface=" + size);
  for (std::size_t length : {kMaxRecipeText, kMaxRecipeText + 1})  // an unknown key first
    variant(std::to_string(length) + ".png", "",
            "z=" + std::string(length - recipe.size() - 3, 'z') + "\n");
  ASSERT_TRUE(writeFile(in / "plain.png", encodePng(made.image)));
  std::string pixels = slurp(in / "p.png");
  pixels[pixels.find("IDAT") + 10] ^= 1;
  std::ofstream(in / "pixels.png", std::ios::binary) << pixels;
  EXPECT_FALSE(readPng(in / "pixels.png"));
  std::ofstream(in / "p.gpl") << "GIMP Palette\n1 2 3\n";
  ASSERT_EQ(::mkfifo((in / "fifo").c_str(), 0600), 0);
  // The history: that picture, then on surfaces just narrower than the
  // module's narrowest, at it, and the largest.
  History history(state_ / "tavrel", "tavrel-saver");
  Recipe r = recipeFromText(recipe).value();
  for (int width : {400, 119, 120, 16384}) {
    r.width = width, r.height = width == 16384 ? width : 300;
    ASSERT_TRUE(history.add(r, 1, 1));
  }

  const std::string none = "--out: 'none' is not a folder", a100(100, 'a');
  const std::string size = " is not a size from 200x200 to 16384x16384";
  const std::string screen = " is not a size from 1x1 to 16384x16384";
  const std::string memory = " is not a number of MiB from 1 to 1048576";
  const std::string seed = " is not a seed from 0 to 4294967295",
                    text = " is not printable text of at most 256 bytes";
  const std::string zoom = "--window with --zoom 16 would make a picture wider or taller than ";
  const std::string largest = " needs 1040 MiB for its 16384x16384 surface, more than ";
  // The arguments, the exit status, what is said (then " (see --help)" when the exit is 2).
  const std::tuple<std::string, int, std::string> rows[] = {
      {"--seed 4294967295 --out none", 2, none},
      {"--seed 4294967296", 2, "--seed: '4294967296'" + seed},
      {"--seed 1x", 2, "--seed: '1x'" + seed},
      {"--seed", 2, "--seed needs a value (N)"},
      {"--count 1 --out none", 2, none},
      {"--count 0", 2, "--count: '0' is not a count of 1 or more"},
      {"--surface 200x200 --out none", 2, none},
      {"--surface 16384X16384 --out none", 2, none},
      {"--surface 199x200", 2, "--surface: '199x200'" + size},
      {"--surface 200x199", 2, "--surface: '200x199'" + size},
      {"--surface 16385x200", 2, "--surface: '16385x200'" + size},
      {"--surface 200x16385", 2, "--surface: '200x16385'" + size},
      {"--zoom 1 --out none", 2, none},
      {"--zoom 16 --out none", 2, none},
      {"--zoom 0", 2, "--zoom: '0' is not a zoom from 1 to 16"},
      {"--zoom 17", 2, "--zoom: '17' is not a zoom from 1 to 16"},
      {"--max-memory 1048576 --out none", 2, none},
      {"--max-memory 0", 2, "--max-memory: '0'" + memory},
      {"--max-memory 1048577", 2, "--max-memory: '1048577'" + memory},
      {"--wallpaper --no-history --screen 1x16384", 0, ""},
      {"--wallpaper --no-history --screen 16384x1", 0, ""},
      {"--wallpaper --screen 0x1", 2, "--screen: '0x1'" + screen},
      {"--wallpaper --screen 1x0", 2, "--screen: '1x0'" + screen},
      {"--wallpaper --screen 16385x1", 2, "--screen: '16385x1'" + screen},
      {"--wallpaper --screen 1x16385", 2, "--screen: '1x16385'" + screen},
      {"--screen 8x8", 2, "--screen needs --wallpaper"},
      {"--generator circles", 2, "--generator: generator must be shape or pattern, not 'circles'"},
      {"--colors many", 2, "--colors: colors must be true, basic or user, not 'many'"},
      {"--style Fancy", 2, "--style: style must be fancy or regular, not 'Fancy'"},
      {"--style \"$(printf 'a\\nb')\"", 2, "--style: style must be fancy or regular, not 'a\\nb'"},
      {"--detail= --sides " + a100 + a100 + a100.substr(44) + " --out none", 2, none},
      {"--sides " + a100 + a100 + a100.substr(43), 2, "--sides: '" + a100 + "...'" + text},
      {"--sides \"$(printf '4\\377')\"", 2, "--sides: '4\\xff'" + text},
      {"--detail 1e309", 2, "--detail: '1e309' is a number too large to hold"},
      {"-seed 1", 2, "unknown option '-seed'"},
      {"--window=1", 2, "--window takes no value"},
      {"--palette in/p.gpl", 2, "--palette needs --colors user"},
      {"--colors user --palette in/p.gpl --out none", 2, none},
      {"--colors user --palette in/fifo", 2, "--palette: 'in/fifo' is not a regular file"},
      {"--window --zoom 16 --surface 1024x200 --out none", 2, none},
      {"--window --zoom 16 --surface 200x1024 --out none", 2, none},
      {"--window --zoom 16 --surface 1025x200", 2, zoom + "16384 pixels"},
      {"--window --zoom 16 --surface 200x1025", 2, zoom + "16384 pixels"},
      {"--zoom 16 --surface 16384x16384 --out none", 2, none},
      {"--out in/p.gpl", 2, "--out: 'in/p.gpl' is not a folder"},
      // Recipes from a file, and the memory a run from one may take.
      {"--from in/none.png", 2, "--from: 'in/none.png' can't be read"},
      {"--from in", 2, "--from: 'in' is not a regular file"},
      {"--from in/p.gpl", 2, "--from: 'in/p.gpl' is not a PNG file that can be read"},
      {"--from in/plain.png", 2, "--from: 'in/plain.png' holds no recipe"},
      {"--from in/pixels.png --out none", 2, none},
      {"--from in/65536.png --out none", 2, none},
      {"--from in/65537.png", 2, "--from: 'in/65537.png' holds a recipe too large to be one"},
      {"--from in/huge.png", 2, "--from: 'in/huge.png' holds a broken recipe"},
      {"--from in/199x300.png", 2, "--from: 'in/199x300.png' holds a broken recipe"},
      {"--from in/200x200.png --out none", 2, none},
      {"--from in/16384x16384.png", 2, "'in/16384x16384.png'" + largest + "--max-memory 512"},
      {"--from in/1024x1024.png --max-memory 20 --out none", 2, none},
      {"--from in/1024x1024.png --max-memory 19", 2,
       "'in/1024x1024.png' needs 20 MiB for its 1024x1024 surface, more than --max-memory 19"},
      {"--from in/p.png --window --zoom 16 --max-memory 222 --out none", 2, none},
      {"--from in/p.png --window --zoom 16 --max-memory 221", 2,
       "'in/p.png' needs 222 MiB for its 400x300 surface, more than --max-memory 221"},
      // Pictures of the history.
      {"--from-history 0", 2, "--from-history: '0' is not a number of the history"},
      {"--from-history x", 2, "--from-history: 'x' is not a number of the history"},
      {"--from-history 1 --out none", 2, none},
      {"--from-history 2", 2, "picture 2 of the history holds a broken recipe"},
      {"--from-history 3 --out none", 2, none},
      {"--from-history 4", 2, "picture 4 of the history" + largest + "--max-memory 512"},
      {"--from-history 5", 2,
       "--from-history: there is no picture 5 in the history, which holds 1 to 4"},
  };
  for (const auto& [args, exit, said] : rows) {
    SCOPED_TRACE(args.substr(0, 100));
    EXPECT_EQ(render(args), exit) << err_;
    EXPECT_EQ(err_, exit == 2 ? "tavrel-render: " + said + " (see --help)\n" : said);
    EXPECT_TRUE(exit != 2 || out_.empty()) << out_;
  }
  // Without a folder for the history, it can be neither listed nor read.
  const std::string homeless = "env -u HOME XDG_STATE_HOME=relative ";
  EXPECT_EQ(render("--history", homeless), 1);
  EXPECT_EQ(err_, "tavrel-render: no folder for the history is known (HOME is not set)\n");
  EXPECT_EQ(render("--from-history 1", homeless), 2);
#ifndef __SANITIZE_ADDRESS__  // whose reserved space no memory limit allows
  // A surface that memory can't hold is one line and status 1.
  EXPECT_EQ(render("--surface 16384x16384 --out in", "prlimit --as=300000000 "), 1);
  EXPECT_EQ(err_, "tavrel-render: std::bad_alloc\n");
#endif

  // Which options each way to a picture other than the generators' own run
  // refuses; the options it takes go on to other checks.
  std::istringstream options(
      "--generator=shape --seed=1 --count=1 --surface=400x300 --detail=5 --style=fancy "
      "--colors=user --palette=in/p.gpl --sides=4 --screensaver --out=none --window --bmp "
      "--zoom=2 --from=in/p.png --history --from-history=1 --wallpaper --screen=8x8 --no-history "
      "--max-memory=9");
  const std::string recipeOptions =
      "--generator --seed --count --surface --detail --style --colors --palette --sides "
      "--screensaver ";
  const std::pair<std::string, std::string> ways[] = {
      // a way, the options it refuses
      {"--from in/p.png --max-memory 1", recipeOptions + "--history --from-history"},
      {"--from-history 1 --max-memory 1", recipeOptions + "--history --from"},
      {"--history",
       recipeOptions + "--out --window --bmp --zoom --from --from-history --wallpaper --screen"},
      {"--wallpaper --screen 8x8 --no-history", "--count --out --window --bmp --zoom --history"},
  };
  for (std::string option; options >> option;)
    for (const auto& [args, refuses] : ways) {
      const std::string way = args.substr(0, args.find(' '));
      const std::string name = option.substr(0, option.find('='));
      const bool refused = (' ' + refuses + ' ').find(' ' + name + ' ') != std::string::npos;
      for (bool wayFirst : {true, false}) {
        const std::string both = wayFirst ? args + ' ' + option : option + ' ' + args;
        SCOPED_TRACE(both);
        render(both);
        const std::string clash =
            wayFirst ? name + " can't go with " + way : way + " can't go with " + name;
        EXPECT_EQ(err_ == "tavrel-render: " + clash + " (see --help)\n", refused) << err_;
        EXPECT_EQ(err_.find("can't go with") != std::string::npos, refused) << err_;
      }
    }
  EXPECT_EQ(filesIn(root_), (std::set<std::string>{"in"}));
}

// A run without options makes one picture from a seed of the clock, which
// it prints first, and nothing else.
TEST_F(RenderTest, ARunWithoutOptionsMakesOnePicture) {
  ASSERT_EQ(render(""), 0) << err_;
  std::smatch m;
  ASSERT_TRUE(std::regex_match(
      out_, m, std::regex(R"(seed=(\d+)\n\./(shape-\1-1\.png) restarts=\d+ ms=[\d.]+\n)")))
      << out_;
  EXPECT_EQ(filesIn(root_), (std::set<std::string>{m[2].str()}));
  EXPECT_EQ(png(root_ / m[2].str()).image.width, 102);
}

// Every picture written is kept in the history, listed newest first, and
// made again from its recipe alone: by --from-history, with the options it
// was written with, byte for byte the files first written; by --from, the
// same pixels at any zoom, the same strokes thrown away. Both generators,
// every colour mode, both run modes, a second picture going on from the
// state the first left. --no-history keeps a run out of the history. Each
// run writes a picture per count, each with its window and BMP.
TEST_F(RenderTest, EveryPictureIsKeptAndMadeAgain) {
  const fs::path in = folder("in"), first = folder("first"), again = folder("again");
  // Four colours, and sixteen: the first fifteen are taken, the rest stay basic.
  std::ofstream(in / "4.gpl") << "GIMP Palette\n9 9 9\n255 255 255\n1 0 0\n0 0 128\n";
  std::string sixteen = "GIMP Palette\n";
  for (int i = 1; i <= 16; ++i) sixteen += std::to_string(i) + " 0 0\n";
  std::ofstream(in / "16.gpl") << sixteen;
  const std::pair<std::string, int> runs[] = {
      // options, zoom
      {"--seed 3 --sides 8 --detail 5 --count 2 --surface 400x300", 3},
      {"--seed 4 --style regular --screensaver --colors basic --surface 300x240", 1},
      {"--seed 5 --generator pattern --colors user --palette in/4.gpl --count 2", 2},
      {"--seed 6 --colors user --palette in/16.gpl --surface 400x300", 1},
      {"--from first/shape-3-2.png", 3},
  };
  std::vector<std::tuple<std::string, std::string, int>> made;  // file, restarts, zoom; in order
  for (const auto& [options, zoom] : runs) {
    ASSERT_EQ(render(options + " --zoom " + std::to_string(zoom) + " --window --bmp --out first"),
              0)
        << err_;
    std::istringstream lines(out_);
    std::smatch m;
    for (std::string line; std::getline(lines, line);)
      if (std::regex_match(line, m, std::regex("(.*) (restarts=[0-9]+) ms=.*")))
        made.emplace_back(m[1].str(), m[2].str(), zoom);
  }
  ASSERT_EQ(render("--seed 8 --no-history --out first"), 0) << err_;
  ASSERT_EQ(made.size(), 7u);
  EXPECT_EQ(filesIn(first).size(), 7u * 4 + 1);

  ASSERT_EQ(render("--history"), 0) << err_;
  std::string listed;  // newest first
  int number = 7;
  for (const char* what :
       {"shape    no seed, picture 1", "shape    seed 6, picture 1", "pattern  seed 5, picture 2",
        "pattern  seed 5, picture 1", "shape    seed 4, picture 1", "shape    seed 3, picture 2",
        "shape    seed 3, picture 1"})
    listed += "     " + std::to_string(number--) +
              R"(  \d{4}-\d\d-\d\d \d\d:\d\d:\d\d  tavrel-render  )" + what + "\n";
  EXPECT_TRUE(std::regex_match(out_, std::regex(listed))) << out_;
  for (std::size_t i = 0; i < made.size(); ++i) {
    const auto& [file, restarts, zoom] = made[i];
    SCOPED_TRACE(file);
    const std::string n = std::to_string(i + 1), stem = fs::path(file).stem().string();
    ASSERT_EQ(render("--no-history --from-history " + n + " --window --bmp --out again --zoom " +
                     std::to_string(zoom)),
              0)
        << err_;
    for (const std::string suffix : {".png", "-window.png", ".bmp", "-window.bmp"})
      EXPECT_TRUE(slurp(again / ("history-" + n + suffix)) == slurp(first / (stem + suffix)))
          << suffix;
    ASSERT_EQ(render("--no-history --from " + file + " --out again"), 0) << err_;
    EXPECT_EQ(out_.rfind("again/" + stem + "-again.png " + restarts + " ms=", 0), 0u) << out_;
    const PngFile before = png(root_ / file), remade = png(again / (stem + "-again.png"));
    EXPECT_EQ(zoomed(remade.image, zoom), before.image);
    EXPECT_EQ(remade.texts, before.texts);
  }
  // Screen-saver mode covers the square; the palette files' colours became
  // user colours 1 to 15, in order.
  const ImageData covered = png(first / "shape-4-1-window.png").image;
  EXPECT_EQ(std::ranges::count(covered.pixels, OutlineColor), std::ssize(covered.pixels));
  const auto paletteOf = [&](const char* file) {
    const Recipe r = recipeFromText(png(first / file).texts.at(0).second).value();
    return std::vector<Colour>(&r.palette[1], &r.palette[16]);
  };
  const UserPalette basic = basicPalette();
  std::vector<Colour> four = {0x090909, 0xFFFFFF, 0x000001, 0x800000}, fifteen;
  four.insert(four.end(), &basic[5], &basic[16]);
  for (Colour c = 1; c <= 15; ++c) fifteen.push_back(c);  // colours are 0xBBGGRR
  EXPECT_EQ(paletteOf("pattern-5-1.png"), four);
  EXPECT_EQ(paletteOf("shape-6-1.png"), fifteen);
  // Two pictures pinned by their pixels: a change of the generators shows
  // here first.
  const auto sum = [](const fs::path& file) {
    const Bytes bmp = encodeBmp(png(file).image);
    return crc32(0, bmp.data(), static_cast<uInt>(bmp.size()));
  };
  EXPECT_EQ(sum(first / "shape-3-2.png"), 2964510047u);
  EXPECT_EQ(sum(first / "pattern-5-2-window.png"), 2038043060u);
}

// What can't be written: a picture's file is named with the reason, status
// 1; a link planted where a picture goes is replaced, never followed. On a
// full disk the history is one line, every picture is written all the
// same, and the history keeps what fitted, every record whole.
TEST_F(RenderTest, WhatCannotBeWrittenIsOneLine) {
  for (const std::string blocked : {"shape-5-1-window.png", "shape-5-1.bmp"}) {
    fs::create_directories(root_ / blocked / blocked);  // a folder in the way of one file
    EXPECT_EQ(render("--seed 5 --window --bmp --out " + blocked), 1);
    EXPECT_EQ(err_,
              "tavrel-render: cannot write '" + blocked + "/" + blocked + "': Is a directory\n");
  }
  const fs::path out = folder("out"), state = folder("state");
  std::ofstream(root_ / "victim") << "keep";
  for (const char* name : {"shape-1-1.png.tmp", "shape-1-1.png", ".tavrel-render-probe"})
    fs::create_symlink(root_ / "victim", out / name);
  ASSERT_EQ(render("--seed 1 --out out"), 0) << err_;
  EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(out / "shape-1-1.png")));
  EXPECT_EQ(slurp(root_ / "victim"), "keep");

  fs::remove_all(out);
  fs::create_directory(out);
  EXPECT_EQ(shell(std::string(::geteuid() == 0 ? "unshare -m" : "unshare -rm") +
                  " sh -c 'mount -t tmpfs -o size=48k tmpfs state && XDG_STATE_HOME=\"$PWD/state\""
                  " timeout -s KILL 10 " TAVREL_RENDER " --seed 8 --count 12 --out out;"
                  " status=$?; cp state/tavrel/history kept; exit $status'"),
            0);
  EXPECT_EQ(err_, "tavrel-render: pictures can't be kept in the history in '" + state.string() +
                      "/tavrel': No space left on device; the show goes on without it\n");
  EXPECT_EQ(filesIn(out).size(), 12u);
  const auto kept = parseHistory(slurp(root_ / "kept")).value().entries;
  EXPECT_GT(kept.size(), 0u);
  EXPECT_LT(kept.size(), 12u);
}

// Every program answers -h (as --help, which the manual page's test runs)
// and --version (with its licence) on stdout with status 0, with no display
// and before anything else; an option nobody knows is one line that quotes
// it, and status 2. The two that draw say in one line that there is no
// display, and end with status 1.
TEST_F(RenderTest, EveryProgramAnswersHelpAndVersionWithoutADisplay) {
  std::vector<std::pair<std::string, std::string>> programs{{"tavrel-render", TAVREL_RENDER}};
#ifdef TAVREL_SAVER
  programs.emplace_back("tavrel-saver", TAVREL_SAVER);
#endif
#ifdef TAVREL_APP
  programs.emplace_back("tavrel", TAVREL_APP);
#endif
  for (const auto& [name, path] : programs) {
    EXPECT_EQ(render("--version", "", path), 0) << name;
    EXPECT_EQ(out_, name + " " + TAVREL_VERSION_TEXT +
                        "\nCopyright The Tavrel authors\n"
                        "MIT licence: free to use, change and pass on, without warranty.\n");
    EXPECT_EQ(render("-h", "", path), 0) << name;
    EXPECT_TRUE(out_.starts_with("Usage: " + name + " ")) << out_;
    EXPECT_EQ(render("\"$(printf -- '--a\\nb')\"", "", path), 2) << name;
    EXPECT_EQ(err_, name + ": unknown option '--a\\nb' (see --help)\n");
    if (name == "tavrel-render") continue;
    EXPECT_EQ(render("", "env -u QT_QPA_PLATFORM -u XSCREENSAVER_WINDOW ", path), 1) << name;
    EXPECT_EQ(err_, name + ": no display to draw on (DISPLAY is not set)\n");
  }
}

}  // namespace
}  // namespace tavrel
