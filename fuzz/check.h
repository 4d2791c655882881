// What a fuzz target asserts: a broken promise stops the run, and libFuzzer
// keeps the input that broke it.
#pragma once

#include <cstdio>
#include <cstdlib>

namespace tavrel::fuzz {

inline void require(bool kept, const char* promise) {
  if (kept) return;
  std::fprintf(stderr, "broken promise: %s\n", promise);
  std::abort();
}

}  // namespace tavrel::fuzz
