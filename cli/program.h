// What the three programs share around their work: where a seed comes from
// when none is given, and one way to end on a failure nobody handled.
#pragma once

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <string>

#include "canvas/text.h"

namespace tavrel::cli {

// The version every program names with --version.
inline constexpr const char* kVersion = TAVREL_VERSION;

// What --version prints: the program, its version and its licence.
inline std::string versionText(const char* program) {
  return std::string(program) + " " + kVersion +
         "\nCopyright The Tavrel authors\n"
         "MIT licence: free to use, change and pass on, without warranty.\n";
}

// Why no X display could be opened, in the same words in every program.
inline std::string displayProblem(const char* display) {
  if (display == nullptr || *display == '\0') return "no display to draw on (DISPLAY is not set)";
  return "cannot open the display " + quotedText(display);
}

// A seed from the clock, different for runs a nanosecond apart.
inline std::uint32_t seedFromClock() {
  const auto ticks = static_cast<std::uint64_t>(
      std::chrono::system_clock::now().time_since_epoch() / std::chrono::nanoseconds(1));
  return static_cast<std::uint32_t>(ticks ^ (ticks >> 32));
}

// Runs a program's main body. A failure that escapes it is one line on
// stderr, "program: what happened", and status 1; never a crash.
template <typename Body>
int guardedMain(const char* program, Body&& body) {
  try {
    return body();
  } catch (const std::exception& e) {
    // Shown as it is when quoting would change nothing but add the quotes.
    const std::string what = e.what(), quoted = quotedText(what);
    std::fprintf(stderr, "%s: %s\n", program,
                 (quoted.size() == what.size() + 2 ? what : quoted).c_str());
  } catch (...) {
    std::fprintf(stderr, "%s: stopped by an unexpected failure\n", program);
  }
  return 1;
}

}  // namespace tavrel::cli
