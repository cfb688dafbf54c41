#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

#include "filePosInfo.h"

// Looking up a block in a table of 1,000,000 records.

namespace {

constexpr int64 kRow0 = 1000;
constexpr std::size_t kRecords = 1000000;

filePosInfo& table() {
  static filePosInfo* const made = [] {
    filePosInfo writing(kBlockSize);
    int64 file = kRow0 + 24;
    for (std::size_t i = 0; i < kRecords; ++i) {
      writing.add(kRow0 + static_cast<int64>(i * kBlockSize), static_cast<std::int32_t>(kBlockSize), file, 100000);
      file += 100000;
    }
    const auto [bytes, length] = writing.serialise();
    auto* const reading = new filePosInfo(kBlockSize);
    reading->loadForRead(bytes, length, false);
    return reading;
  }();
  return *made;
}

void FindNextBlock(benchmark::State& state) {
  filePosInfo& records = table();
  int64 position = kRow0;
  std::size_t index = 0;
  for ([[maybe_unused]] auto pass : state) {
    benchmark::DoNotOptimize(records.find(position));
    position += static_cast<int64>(kBlockSize);
    if (++index == kRecords) {
      index = 0;
      position = kRow0;
    }
  }
}
BENCHMARK(FindNextBlock);

void FindRandomBlock(benchmark::State& state) {
  filePosInfo& records = table();
  std::mt19937_64 random(7);
  std::vector<int64> positions(1 << 16);
  for (int64& position : positions) {
    position = kRow0 + static_cast<int64>(random() % (kRecords * kBlockSize));
  }
  std::size_t next = 0;
  for ([[maybe_unused]] auto pass : state) {
    benchmark::DoNotOptimize(records.find(positions[next++ & (positions.size() - 1)]));
  }
}
BENCHMARK(FindRandomBlock);

}  // namespace
