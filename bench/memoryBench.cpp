#include <benchmark/benchmark.h>
#include <malloc.h>
#include <unistd.h>

#include <cstddef>
#include <fstream>
#include <memory>

#include "Datasource/zcmpsFilestr.h"
#include "recordData.h"

// Bytes that streams keep (allocated) and bytes that they touch before any use (resident).

namespace {

std::size_t allocated() {
  const struct mallinfo2 info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

std::size_t resident() {
  std::size_t total = 0;
  std::size_t pages = 0;
  std::ifstream("/proc/self/statm") >> total >> pages;
  return pages * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

void StreamMemory(benchmark::State& state) {
  const bench::ScratchFile file("memory");
  for ([[maybe_unused]] auto pass : state) {
    const std::size_t before = allocated();
    const std::size_t residentBefore = resident();
    const VORN_FileStream stream(file.name().c_str(), "w+b");
    const std::size_t withStream = allocated();
    const auto compressed = std::make_unique<zcmpsFilestr>(stream);
    state.counters["stream_bytes"] = static_cast<double>(withStream - before);
    state.counters["compressed_bytes"] = static_cast<double>(allocated() - withStream);
    state.counters["touched_bytes"] = static_cast<double>(resident() - residentBefore);
  }
}
BENCHMARK(StreamMemory)->Iterations(1);

}  // namespace
