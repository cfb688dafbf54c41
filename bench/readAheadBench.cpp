#include <fcntl.h>
#include <sched.h>

#include <chrono>
#include <cstdlib>
#include <vector>

#include "Datasource/fileStream.h"
#include "compressedForm.h"
#include "pairedRuns.h"
#include "recordData.h"

// Sequential reading with the worker, while the reader works W per block; D is the time that a block's read
// takes here. Both W are measured in one run, so that D is this machine's.

namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

void workFor(Seconds duration) {
  for (const auto end = Clock::now() + std::chrono::duration_cast<Clock::duration>(duration); Clock::now() < end;) {
  }
}

void readWorking(const std::string& name, bool withWorker, Seconds workPerBlock) {
  static std::vector<unsigned char> block(kBlockSize / 4);
  VORN_FileStream stream(name.c_str(), "rb");
  if (withWorker) {
    stream.EnableMultiThreadReading();
  }
  while (stream.Read(block.data(), block.size()) == block.size()) {
    workFor(workPerBlock / 4);
  }
}

Seconds readTimePerBlock(const std::string& name) {
  const auto start = Clock::now();
  readWorking(name, false, Seconds(0));
  return Seconds(Clock::now() - start) / static_cast<double>(bench::kDataSize / kBlockSize);
}

void ReadAhead(benchmark::State& state) {
  const bench::ScratchFile file("plain");
  file.fill();
  readTimePerBlock(file.name());
  const Seconds work = readTimePerBlock(file.name()) * static_cast<double>(state.range(0));
  state.counters["work_per_block_s"] = work.count();
  bench::runPaired(
      state, bench::kDataSize, [&] { readWorking(file.name(), false, work); },
      [&] { readWorking(file.name(), true, work); });
}
BENCHMARK(ReadAhead)->ArgName("W_over_D")->Arg(0)->Arg(1)->Iterations(15)->UseManualTime()->Unit(benchmark::kSecond);

}  // namespace
