#ifndef DATASOURCE_BENCH_PAIREDRUNS_H
#define DATASOURCE_BENCH_PAIREDRUNS_H

#include <benchmark/benchmark.h>

#include <cstddef>
#include <functional>

namespace bench {

/// Runs `bare` and `library` in turn, as often as the benchmark asks (in changing order, so that neither
/// gains from going first), and reports the medians: library_s, bare_s, MB/s of the library, and
/// `time_ratio`, the median of library time / bare time, pair by pair (below 1: the library is faster), and
/// `cpu_ratio`, the same of the processor time, which counts where the machine is not idle.
void runPaired(benchmark::State& state, std::size_t bytes, const std::function<void()>& bare,
               const std::function<void()>& library);

}  // namespace bench

#endif
