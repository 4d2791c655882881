// Cost of one generation and of the background fill. A shape takes from a
// few to over a hundred restarts, so each benchmark runs over many seeds and
// reports the median and the 90th percentile per picture.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <vector>

#include "pattern/makeshape2.h"
#include "shape/makeshape.h"

namespace tavrel {
namespace {

constexpr int kSeeds = 250;

using GeneratorFn = GenerationStats (*)(GeneratorHost&, AppState&);

void perPicture(benchmark::State& state, GeneratorFn generate) {
  const int w = static_cast<int>(state.range(0)), h = static_cast<int>(state.range(1));
  std::vector<double> ms;
  for (auto _ : state) {
    ms.clear();
    double restarts = 0;
    // One window for all pictures, as in the program, where each
    // generation starts from what the last one left.
    HeadlessHost host(w, h);
    AppState st;
    st.tcolor = 1;
    st.swidth = 100;
    for (int seed = 1; seed <= kSeeds; ++seed) {
      st.rnd.Randomize(static_cast<std::uint32_t>(seed));
      const auto t0 = std::chrono::steady_clock::now();
      const GenerationStats stats = generate(host, st);
      const auto t1 = std::chrono::steady_clock::now();
      ms.push_back(std::chrono::duration<double, std::milli>(t1 - t0).count());
      restarts += static_cast<double>(stats.restarts);
    }
    std::sort(ms.begin(), ms.end());
    state.counters["median_ms"] = ms[ms.size() / 2];
    state.counters["p90_ms"] = ms[ms.size() * 9 / 10];
    state.counters["mean_restarts"] = restarts / kSeeds;
  }
}

void BM_makeshape(benchmark::State& state) {
  perPicture(state, makeshape);
}
void BM_makeshape2(benchmark::State& state) {
  perPicture(state, makeshape2);
}

// The fill that paints everything round an outline, as after a passing stroke.
void BM_backgroundFill(benchmark::State& state) {
  const int w = static_cast<int>(state.range(0)), h = static_cast<int>(state.range(1));
  Surface win(w, h, kWhite);
  for (auto _ : state) {
    state.PauseTiming();
    win.setBackColor(kWhite);
    for (int i = 0; i < 400; ++i) win.plot(w / 2 - 40 + i % 80, h / 2 - 40 + (i / 80) * 20, 1);
    win.Line(LineFlags::Box, -10, -10, 1000, 1000, OutlineColor);
    const Long brush = win.CreateSolidBrush(OutlineColor);
    win.DeleteObject(win.SelectObject(win.hDC(), brush));
    state.ResumeTiming();
    benchmark::DoNotOptimize(win.FloodFill(win.hDC(), 1, 1, OutlineColor));
  }
}

BENCHMARK(BM_makeshape)
    ->Args({1024, 768})
    ->Args({1920, 1080})
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_makeshape2)
    ->Args({1024, 768})
    ->Args({1920, 1080})
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_backgroundFill)->Args({1024, 768})->Args({1920, 1080})->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace tavrel

BENCHMARK_MAIN();
