#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "Datasource/fileStream.h"
#include "Datasource/platform/cRuntime.h"
#include "compressedForm.h"
#include "pairedRuns.h"
#include "recordData.h"

// Sequential reading with the worker, while the reader works W per block; D is the time that a block's read
// takes without the worker, measured in the same run. The bytes come from
//   0  the page cache: D is one copy, as long as the copy out of the worker's buffer;
//   1  the disk, the file dropped from the page cache before every pass: the system reads ahead itself;
//   2  a device of 500 MB/s that nobody reads ahead: a read that is over sooner waits for the rest of its time.

namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

enum class Source : int { pageCache, disk, device };

constexpr double kDeviceBytesPerSecond = 500e6;

int readLikeTheDevice(int descriptor, void* buffer, unsigned int count) {
  const auto start = Clock::now();
  const auto result = static_cast<int>(read(descriptor, buffer, count));
  std::this_thread::sleep_until(
      start + std::chrono::duration_cast<Clock::duration>(Seconds(std::max(result, 0) / kDeviceBytesPerSecond)));
  return result;
}

/// While it lives, the library's reads take the device's time.
class DeviceReads {
 public:
  DeviceReads() : table_(datasource::platform::cRuntime()) {
    table_._read = readLikeTheDevice;
    datasource::platform::replaceCRuntime(&table_);
  }
  ~DeviceReads() { datasource::platform::replaceCRuntime(nullptr); }
  DeviceReads(const DeviceReads&) = delete;
  DeviceReads& operator=(const DeviceReads&) = delete;

 private:
  datasource::platform::CRuntimeCalls table_;
};

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

void readWorking(const std::string& name, Source source, bool withWorker, Seconds workPerBlock) {
  if (source == Source::disk) {
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

Seconds readTimePerBlock(const std::string& name, Source source) {
  readWorking(name, source, false, Seconds(0));
  const auto start = Clock::now();
  readWorking(name, source, false, Seconds(0));
  return Seconds(Clock::now() - start) / (static_cast<double>(bench::kDataSize) / kBlockSize);
}

void ReadAhead(benchmark::State& state) {
  pinToTwoProcessors();
  const bench::ScratchFile file("plain");
  file.fill();
  const auto source = static_cast<Source>(state.range(1));
  std::optional<DeviceReads> device;
  if (source == Source::device) {
    device.emplace();
  }
  const Seconds work = readTimePerBlock(file.name(), source) * static_cast<double>(state.range(0));
  state.counters["work_per_block_s"] = work.count();
  bench::runPaired(
      state, bench::kDataSize, [&] { readWorking(file.name(), source, false, work); },
      [&] { readWorking(file.name(), source, true, work); });
}
BENCHMARK(ReadAhead)
    ->ArgNames({"W_over_D", "source"})
    ->ArgsProduct({{0, 1}, {0, 1, 2}})
    ->Iterations(9)
    ->UseManualTime()
    ->Unit(benchmark::kSecond);

}  // namespace
