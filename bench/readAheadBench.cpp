#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <vector>

#include "Datasource/fileStream.h"
#include "compressedForm.h"
#include "pairedRuns.h"
#include "recordData.h"

// Sequential reading with the worker, while the reader works W per block; D is the time that a block's read
// takes here, measured in the same run. "cold" drops the file from the page cache before every pass, so that
// the disk is read.

namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

void workFor(Seconds duration) {
  for (const auto end = Clock::now() + std::chrono::duration_cast<Clock::duration>(duration); Clock::now() < end;) {
  }
}

void dropFromCache(const std::string& name) {
  const int file = open(name.c_str(), O_RDONLY);
  fdatasync(file);
  posix_fadvise(file, 0, 0, POSIX_FADV_DONTNEED);
  close(file);
}

void pinToTwoProcessors() {
  cpu_set_t processors;
  CPU_ZERO(&processors);
  CPU_SET(0, &processors);
  CPU_SET(1, &processors);
  sched_setaffinity(0, sizeof(processors), &processors);
}

void readWorking(const std::string& name, bool cold, bool withWorker, Seconds workPerBlock) {
  if (cold) {
    dropFromCache(name);
  }
  static std::vector<unsigned char> block(kBlockSize / 4);
  VORN_FileStream stream(name.c_str(), "rb");
  if (withWorker) {
    stream.EnableMultiThreadReading();
  }
  while (stream.Read(block.data(), block.size()) == block.size()) {
    workFor(workPerBlock / 4);
  }
}

Seconds readTimePerBlock(const std::string& name, bool cold) {
  readWorking(name, cold, false, Seconds(0));
  const auto start = Clock::now();
  readWorking(name, cold, false, Seconds(0));
  return Seconds(Clock::now() - start) / (static_cast<double>(bench::kDataSize) / kBlockSize);
}

void ReadAhead(benchmark::State& state) {
  pinToTwoProcessors();
  const bench::ScratchFile file("plain");
  file.fill();
  const bool cold = state.range(1) != 0;
  const Seconds work = readTimePerBlock(file.name(), cold) * static_cast<double>(state.range(0));
  state.counters["work_per_block_s"] = work.count();
  bench::runPaired(
      state, bench::kDataSize, [&] { readWorking(file.name(), cold, false, work); },
      [&] { readWorking(file.name(), cold, true, work); });
}
BENCHMARK(ReadAhead)
    ->ArgNames({"W_over_D", "cold"})
    ->ArgsProduct({{0, 1}, {0, 1}})
    ->Iterations(9)
    ->UseManualTime()
    ->Unit(benchmark::kSecond);

}  // namespace
