#include "pairedRuns.h"

#include <algorithm>
#include <chrono>
#include <vector>

namespace bench {

namespace {

double secondsOf(const std::function<void()>& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
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
  bool bareFirst = true;
  for ([[maybe_unused]] auto pass : state) {
    double bareTime = bareFirst ? secondsOf(bare) : 0;
    const double libraryTime = secondsOf(library);
    if (!bareFirst) {
      bareTime = secondsOf(bare);
    }
    bareFirst = !bareFirst;
    bareTimes.push_back(bareTime);
    libraryTimes.push_back(libraryTime);
    ratios.push_back(libraryTime / bareTime);
    state.SetIterationTime(libraryTime);
  }
  state.counters["bare_s"] = median(bareTimes);
  state.counters["library_s"] = median(libraryTimes);
  state.counters["library_MB/s"] = static_cast<double>(bytes) / 1e6 / median(libraryTimes);
  state.counters["time_ratio"] = median(ratios);
}

}  // namespace bench
