#include <benchmark/benchmark.h>
#include <zlib.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <istream>
#include <memory>
#include <random>
#include <span>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "casefile/reader.h"
#include "casefile/stream.h"
#include "casefile/writer.h"
#include "pairedRuns.h"
#include "recordData.h"

// The casefile library's Reader against zlib inflating the same blocks, and against itself.

namespace {

constexpr std::size_t kBlock = 4'190'208;
constexpr std::size_t kRecord = 320;
constexpr int kReads = 400;
constexpr std::size_t kLetters = std::size_t{64} << 20;

void require(bool ok) {
  if (!ok) {
    std::abort();
  }
}

void write(const std::string& name, std::span<const std::byte> data) {
  casefile::Writer writer = casefile::Writer::create(name);
  writer.writeDictionary(data.first(1000));
  writer.write(data);
  writer.finish();
}

const std::string& recordFile() {
  static const bench::ScratchFile file("readerBench.case");
  static const std::string name = [] {
    write(file.name(), std::as_bytes(std::span(bench::sharedData())));
    return file.name();
  }();
  return name;
}

casefile::Reader reader(std::size_t threads = 1) {
  casefile::ReaderOptions options;
  options.row0 = 1000;
  options.threads = threads;
  return casefile::Reader::open(recordFile(), options);
}

// The file's blocks as zlib is given them.
class CompressedBlocks {
 public:
  CompressedBlocks() : plain_(std::make_unique_for_overwrite<unsigned char[]>(kBlock)) {
    const casefile::Reader blocks = reader();
    std::ifstream in(recordFile(), std::ios::binary);
    for (std::size_t i = 0; i < blocks.blockCount(); ++i) {
      const casefile::Block block = blocks.block(i);
      std::vector<unsigned char> bytes(static_cast<std::size_t>(block.compressedSize));
      in.seekg(static_cast<std::streamoff>(block.filePosition));
      in.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
      blocks_.push_back(std::move(bytes));
    }
  }

  void inflate(std::size_t number) {
    const auto& bytes = blocks_[number];
    uLongf length = kBlock;
    require(uncompress(plain_.get(), &length, bytes.data(), static_cast<uLong>(bytes.size())) == Z_OK);
    benchmark::DoNotOptimize(plain_.get());
  }

 private:
  std::unique_ptr<unsigned char[]> plain_;
  std::vector<std::vector<unsigned char>> blocks_;
};

// Where records are read: so many of a hundred in the first four blocks, the others anywhere.
std::vector<std::int64_t> positions(int percentInFourBlocks, unsigned seed = 1) {
  std::minstd_rand random(seed);
  std::vector<std::int64_t> found;
  const std::size_t records = bench::kDataSize / kRecord;
  for (int i = 0; i < kReads; ++i) {
    const bool near = static_cast<int>(random() % 100) < percentInFourBlocks;
    const std::size_t among = near ? 4 * kBlock / kRecord : records;
    found.push_back(1000 + static_cast<std::int64_t>(random() % among * kRecord));
  }
  return found;
}

void readEach(const casefile::Reader& from, const std::vector<std::int64_t>& where) {
  std::byte record[kRecord];
  for (const std::int64_t position : where) {
    require(from.readAt(record, position) == kRecord);
    benchmark::DoNotOptimize(record);
  }
}

// Records by random number; bare, zlib inflates each one's block.
void randomRecords(benchmark::State& state) {
  const auto where = positions(static_cast<int>(state.range(0)));
  CompressedBlocks blocks;
  bench::runPaired(
      state, kReads * kRecord,
      [&] {
        for (const std::int64_t position : where) {
          blocks.inflate(static_cast<std::size_t>(position - 1000) / kBlock);
        }
      },
      [&] { readEach(reader(), where); });
}
BENCHMARK(randomRecords)->ArgName("percent_in_4_blocks")->Arg(0)->Arg(80)->Iterations(5)->UseManualTime();

void readOnThreads(const std::vector<std::vector<std::int64_t>>& wheres, bool together) {
  const casefile::Reader from = reader();
  if (!together) {
    for (const auto& where : wheres) {
      readEach(from, where);
    }
    return;
  }
  std::vector<std::thread> threads;
  threads.reserve(wheres.size());
  for (const auto& where : wheres) {
    threads.emplace_back([&from, &where] { readEach(from, where); });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

// Four threads on one Reader against one that does the work of all; `cpu_ratio` tells what sharing costs. With all
// records in four blocks nearly every read is a lookup, many times as many as any decoding leaves time for.
void fourThreadsOnOneReader(benchmark::State& state) {
  const auto percent = static_cast<int>(state.range(0));
  const unsigned rounds = percent == 100 ? 250 : 1;
  std::vector<std::vector<std::int64_t>> wheres(4);
  for (unsigned round = 0; round < 4 * rounds; ++round) {
    const auto more = positions(percent, round + 1);
    wheres[round % 4].insert(wheres[round % 4].end(), more.begin(), more.end());
  }
  bench::runPaired(
      state, std::size_t{4} * rounds * kReads * kRecord, [&] { readOnThreads(wheres, false); },
      [&] { readOnThreads(wheres, true); });
}
BENCHMARK(fourThreadsOnOneReader)->ArgName("percent_in_4_blocks")->Arg(80)->Arg(100)->Iterations(5)->UseManualTime();

// In order: two threads against one. The speed-up is 1 / time_ratio on two idle processors.
void inOrderOnTwoThreads(benchmark::State& state) {
  const auto readAll = [](std::size_t threads) {
    std::int64_t bytes = 0;
    const casefile::Reader from = reader(threads);
    from.read({from.row0(), from.size()}, [&](std::span<const std::byte> piece, std::int64_t) {
      bytes += static_cast<std::int64_t>(piece.size());
    });
    require(bytes == static_cast<std::int64_t>(bench::kDataSize));
  };
  bench::runPaired(
      state, bench::kDataSize, [&] { readAll(1); }, [&] { readAll(2); });
}
BENCHMARK(inOrderOnTwoThreads)->Iterations(7)->UseManualTime();

std::size_t countLines(std::istream& in) {
  std::string line;
  std::size_t lines = 0;
  for (; std::getline(in, line); ++lines) {
    benchmark::DoNotOptimize(line.data());
  }
  return lines;
}

// Lines out of a compressed file, against the same lines out of an uncompressed one and the decoding alone.
void lines(benchmark::State& state) {
  std::string text;
  for (int number = 0; text.size() < kLetters; ++number) {
    text += "case " + std::to_string(number) + ", answered " + std::to_string(number % 7) + " of " +
            std::to_string(number % 911) + " questions\n";
  }
  const bench::ScratchFile plain("readerBench.txt");
  const bench::ScratchFile compressed("readerBenchLines.case");
  std::ofstream(plain.name(), std::ios::binary) << text;
  write(compressed.name(), std::as_bytes(std::span(text)));
  casefile::ReaderOptions options;
  options.row0 = 1000;
  options.threads = 1;
  std::size_t plainLines = 0;
  std::size_t compressedLines = 0;
  bench::runPaired(
      state, text.size(),
      [&] {
        std::ifstream in(plain.name(), std::ios::binary);
        plainLines = countLines(in);
        const casefile::Reader from = casefile::Reader::open(compressed.name(), options);
        from.read({from.row0(), from.size()},
                  [](std::span<const std::byte> piece, std::int64_t) { benchmark::DoNotOptimize(piece.data()); });
      },
      [&] {
        const casefile::Reader from = casefile::Reader::open(compressed.name(), options);
        casefile::InputStream in(from);
        compressedLines = countLines(in);
      });
  require(plainLines == compressedLines);
}
BENCHMARK(lines)->Iterations(7)->UseManualTime();

}  // namespace
