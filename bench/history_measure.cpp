// Measures what keeping a picture in the history costs the program that
// shows it: the time of each add, the history in a scratch folder under
// /tmp (or the folder given), over 1500 pictures: from the 1101st on, about
// every hundredth add cuts the file back to its bound. And the time to read it all
// back, as tavrel-render --history does.
//   build/bench/tavrel_history_measure [FOLDER]
// Prints the median, the 99th percentile and the longest add, the median of
// the adds that cut the file back, and the file's size at its bound.
#include <stdlib.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <vector>

#include "history/history.h"

int main(int argc, char** argv) {
  using namespace tavrel;
  using Clock = std::chrono::steady_clock;
  std::string folder = argc > 1 ? argv[1] : "/tmp/tavrel-history-XXXXXX";
  if (argc <= 1 && !::mkdtemp(folder.data())) return 1;
  History history(std::filesystem::path(folder) / "tavrel", "tavrel");
  RunChoices run;
  std::vector<double> adds, cuts;
  std::uintmax_t largest = 0, size = 0;
  for (std::uint32_t i = 0; i < 1500; ++i) {
    const Recipe r = firstRecipe(run, 1000, 700, i);
    const auto start = Clock::now();
    if (!history.add(r, 1234, i + 1)) return 1;
    adds.push_back(std::chrono::duration<double, std::micro>(Clock::now() - start).count());
    const std::uintmax_t now = std::filesystem::file_size(history.file());
    if (now < size) cuts.push_back(adds.back());
    size = now;
    largest = std::max(largest, now);
  }
  const auto start = Clock::now();
  const std::size_t read = history.entries().size();
  const double readMs = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
  std::vector<double> sorted = adds;
  std::sort(sorted.begin(), sorted.end());
  std::printf("adds: %zu, median %.0f us, 99th percentile %.0f us, longest %.1f ms\n",
              sorted.size(), sorted[sorted.size() / 2], sorted[sorted.size() * 99 / 100],
              sorted.back() / 1000);
  std::sort(cuts.begin(), cuts.end());
  if (!cuts.empty())
    std::printf("%zu adds cut the file back: median %.1f ms\n", cuts.size(),
                cuts[cuts.size() / 2] / 1000);
  std::printf("file at its bound: %.1f MB; all %zu entries read back in %.0f ms\n",
              static_cast<double>(largest) / 1e6, read, readMs);
  if (argc <= 1) std::filesystem::remove_all(folder);
  return 0;
}
