#include "pairedRuns.h"

#include <algorithm>
#include <chrono>
#include <ctime>
#include <vector>

namespace bench {

namespace {

/// What one run took: seconds by the clock, and seconds of processor time of all threads together.
struct Cost {
  double clock = 0;
  double processor = 0;
};

Cost costOf(const std::function<void()>& work) {
  const auto start = std::chrono::steady_clock::now();
  const std::clock_t processorStart = std::clock();
  work();
  const std::clock_t processorEnd = std::clock();
  return {std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(),
          static_cast<double>(processorEnd - processorStart) / CLOCKS_PER_SEC};
}

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const std::size_t middle = values.size() / 2;
  return values.size() % 2 != 0 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

}  // namespace

void runPaired(benchmark::State& state, std::size_t bytes, const std::function<void()>& bare,
               const std::function<void()>& library) {
  bare();  // warm caches
  library();
  std::vector<double> bareTimes;
  std::vector<double> libraryTimes;
  std::vector<double> ratios;
  std::vector<double> processorRatios;
  bool bareFirst = true;
  for ([[maybe_unused]] auto pass : state) {
    Cost bareCost = bareFirst ? costOf(bare) : Cost{};
    const Cost libraryCost = costOf(library);
    if (!bareFirst) {
      bareCost = costOf(bare);
    }
    bareFirst = !bareFirst;
    bareTimes.push_back(bareCost.clock);
    libraryTimes.push_back(libraryCost.clock);
    ratios.push_back(libraryCost.clock / bareCost.clock);
    processorRatios.push_back(libraryCost.processor / bareCost.processor);
    state.SetIterationTime(libraryCost.clock);
  }
  state.counters["bare_s"] = median(bareTimes);
  state.counters["library_s"] = median(libraryTimes);
  state.counters["library_MB/s"] = static_cast<double>(bytes) / 1e6 / median(libraryTimes);
  state.counters["time_ratio"] = median(ratios);
  state.counters["cpu_ratio"] = median(processorRatios);
}

}  // namespace bench
