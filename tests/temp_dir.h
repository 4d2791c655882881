// A folder of a test's own, removed with all it holds when the test ends.
#pragma once

#include <stdlib.h>

#include <filesystem>
#include <stdexcept>
#include <string>

namespace tavrel::testing_support {

struct TempDir {
  std::filesystem::path path;
  TempDir() {
    std::string name = std::filesystem::temp_directory_path() / "tavrel-test-XXXXXX";
    if (!::mkdtemp(name.data())) throw std::runtime_error("no temporary folder");
    path = name;
  }
  ~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  std::filesystem::path operator/(const std::filesystem::path& p) const { return path / p; }
};

}  // namespace tavrel::testing_support
