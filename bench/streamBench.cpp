#include <fcntl.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "Datasource/fileStream.h"
#include "compressedForm.h"
#include "pairedRuns.h"
#include "recordData.h"

// Sequential records through the buffered stream, against bare block-sized system calls plus one copy per
// record, and against the C and C++ runtime's own streams.

namespace {

struct Closing {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using CFile = std::unique_ptr<std::FILE, Closing>;

void require(bool ok) {
  if (!ok) {
    std::abort();
  }
}

unsigned char* recordBuffer() {
  static std::vector<unsigned char> buffer(4096);
  return buffer.data();
}

// The size is hidden from the compiler, so that the bare copy is a call like everybody's.
std::size_t hidden(std::int64_t size) {
  auto value = static_cast<std::size_t>(size);
  benchmark::DoNotOptimize(value);
  return value;
}

// Each side opens its file and makes its buffer anew.
template <typename Copy>
void bareBlocks(const std::string& name, std::size_t record, Copy copy) {
  const auto buffer = std::make_unique_for_overwrite<unsigned char[]>(kBlockSize);
  unsigned char* const block = buffer.get();
  const int file = open(name.c_str(), O_RDONLY);
  std::size_t start = 0;
  std::size_t valid = 0;
  for (;;) {
    while (start + record <= valid) {
      copy(block + start);
      benchmark::ClobberMemory();
      start += record;
    }
    const std::size_t rest = valid - start;
    std::memmove(block, block + start, rest);
    const ssize_t count = read(file, block + rest, kBlockSize - rest);
    if (count <= 0) {
      break;
    }
    start = 0;
    valid = rest + static_cast<std::size_t>(count);
  }
  close(file);
}

void bareRead(const std::string& name, std::size_t record) {
  bareBlocks(name, record, [record](const unsigned char* source) { std::memcpy(recordBuffer(), source, record); });
}

void bareWrite(const std::string& name, std::size_t record) {
  const auto buffer = std::make_unique_for_overwrite<unsigned char[]>(kBlockSize);
  unsigned char* const block = buffer.get();
  const int file = open(name.c_str(), O_CREAT | O_TRUNC | O_WRONLY, 0600);
  std::size_t fill = 0;
  for (std::size_t done = 0; done + record <= bench::kDataSize; done += record) {
    if (fill + record > kBlockSize) {
      require(write(file, block, fill) == static_cast<ssize_t>(fill));
      fill = 0;
    }
    std::memcpy(block + fill, recordBuffer(), record);
    benchmark::ClobberMemory();
    fill += record;
  }
  require(write(file, block, fill) == static_cast<ssize_t>(fill));
  close(file);
}

void libraryRead(const std::string& name, std::size_t record) {
  VORN_FileStream stream(name.c_str(), "rb");
  VORN_StrBaseIO& io = stream;
  while (io.Read(recordBuffer(), record) == record) {
    benchmark::ClobberMemory();
  }
}

void libraryWrite(const std::string& name, std::size_t record) {
  VORN_FileStream stream(name.c_str(), "wb");
  VORN_StrBaseIO& io = stream;
  for (std::size_t done = 0; done + record <= bench::kDataSize; done += record) {
    io.Write(recordBuffer(), record);
    benchmark::ClobberMemory();
  }
}

void freadAll(const std::string& name, std::size_t record) {
  const CFile file(std::fopen(name.c_str(), "rb"));
  while (std::fread(recordBuffer(), 1, record, file.get()) == record) {
    benchmark::ClobberMemory();
  }
}

void freadUnlockedAll(const std::string& name, std::size_t record) {
  const CFile file(std::fopen(name.c_str(), "rb"));
  while (fread_unlocked(recordBuffer(), 1, record, file.get()) == record) {
    benchmark::ClobberMemory();
  }
}

void ifstreamAll(const std::string& name, std::size_t record) {
  std::ifstream file(name, std::ios::binary);
  while (file.read(reinterpret_cast<char*>(recordBuffer()), static_cast<std::streamsize>(record))) {
    benchmark::ClobberMemory();
  }
}

using Reading = void (*)(const std::string&, std::size_t);

void readAgainst(benchmark::State& state, Reading other) {
  const bench::ScratchFile file("plain");
  file.fill();
  const std::size_t record = hidden(state.range(0));
  bench::runPaired(
      state, bench::kDataSize, [&] { other(file.name(), record); }, [&] { libraryRead(file.name(), record); });
}

void StreamReadAgainstBareCalls(benchmark::State& state) { readAgainst(state, bareRead); }
void StreamReadAgainstFread(benchmark::State& state) { readAgainst(state, freadAll); }
void StreamReadAgainstFreadUnlocked(benchmark::State& state) { readAgainst(state, freadUnlockedAll); }
void StreamReadAgainstIfstream(benchmark::State& state) { readAgainst(state, ifstreamAll); }

void StreamWriteAgainstBareCalls(benchmark::State& state) {
  const bench::ScratchFile bare("bare");
  const bench::ScratchFile file("file");
  const std::size_t record = hidden(state.range(0));
  bench::runPaired(
      state, bench::kDataSize, [&] { bareWrite(bare.name(), record); }, [&] { libraryWrite(file.name(), record); });
}

/// The same with copies whose length the compiler knows: the least that a record can cost.
template <std::size_t Record>
void StreamReadAgainstInlinedCopies(benchmark::State& state) {
  const bench::ScratchFile file("plain");
  file.fill();
  const std::size_t record = hidden(Record);
  bench::runPaired(
      state, bench::kDataSize,
      [&] {
        bareBlocks(file.name(), Record,
                   [](const unsigned char* source) { std::memcpy(recordBuffer(), source, Record); });
      },
      [&] { libraryRead(file.name(), record); });
}

#define INLINED_BENCHMARK(record) \
  BENCHMARK(StreamReadAgainstInlinedCopies<record>)->Iterations(9)->UseManualTime()->Unit(benchmark::kSecond)
INLINED_BENCHMARK(8);
INLINED_BENCHMARK(80);
INLINED_BENCHMARK(320);
INLINED_BENCHMARK(4096);

#define STREAM_BENCHMARK(function)                                                                         \
  BENCHMARK(function)->ArgName("record")->Arg(8)->Arg(80)->Arg(320)->Iterations(9)->UseManualTime()->Unit( \
      benchmark::kSecond)
STREAM_BENCHMARK(StreamReadAgainstBareCalls)->Arg(4096);
STREAM_BENCHMARK(StreamWriteAgainstBareCalls)->Arg(4096);
STREAM_BENCHMARK(StreamReadAgainstFread);
STREAM_BENCHMARK(StreamReadAgainstFreadUnlocked);
STREAM_BENCHMARK(StreamReadAgainstIfstream);

}  // namespace
