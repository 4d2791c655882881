// A folder of a test's own, removed with all it holds when the test ends.
#pragma once

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace tavrel::testing_support {

struct TempDir {
  std::filesystem::path path = [] {
    std::string name = std::filesystem::temp_directory_path() / "tavrel-test-XXXXXX";
    return ::mkdtemp(name.data()) ? name : throw std::filesystem::filesystem_error("mkdtemp", {});
  }();
  ~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
  }
  std::filesystem::path operator/(const std::filesystem::path& p) const { return path / p; }
};

// All a file holds; nothing when it can't be read.
inline std::string slurp(const std::filesystem::path& p) {
  std::ifstream in(p, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

}  // namespace tavrel::testing_support
