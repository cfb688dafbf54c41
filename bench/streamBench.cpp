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
void bareRead(const std::string& name, std::size_t record) {
  const auto buffer = std::make_unique_for_overwrite<unsigned char[]>(kBlockSize);
  unsigned char* const block = buffer.get();
  const int file = open(name.c_str(), O_RDONLY);
  std::size_t start = 0;
  std::size_t valid = 0;
  for (;;) {
    while (start + record <= valid) {
      std::memcpy(recordBuffer(), block + start, record);
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

constexpr int kPasses = 64;  // over one block, which stays in the buffer

template <std::size_t Record>
void inlinedCopies(const std::vector<unsigned char>& block) {
  for (int pass = 0; pass < kPasses; ++pass) {
    for (std::size_t start = 0; start + Record <= block.size(); start += Record) {
      std::memcpy(recordBuffer(), block.data() + start, Record);
      benchmark::ClobberMemory();
    }
  }
}

void readsFromTheBuffer(VORN_StrBaseIO& io, std::size_t record) {
  for (int pass = 0; pass < kPasses; ++pass) {
    io.Seek(0, VORN_StrBaseIO::SeekFromStart);
    for (std::size_t count = kBlockSize / record; count > 0; --count) {
      require(io.Read(recordBuffer(), record) == record);
      benchmark::ClobberMemory();
    }
  }
}

/// Records that lie in the stream's buffer, against copies whose length the compiler knows.
template <std::size_t Record>
void StreamReadInTheBufferAgainstInlinedCopies(benchmark::State& state) {
  const bench::ScratchFile file("block");
  const std::vector<unsigned char> block = bench::recordData(kBlockSize);
  {
    VORN_FileStream made(file.name().c_str(), "wb");
    made.Write(block.data(), block.size());
  }
  VORN_FileStream stream(file.name().c_str(), "rb");
  require(stream.Read(recordBuffer(), 1) == 1);
  const std::size_t record = hidden(Record);
  bench::runPaired(
      state, kPasses * kBlockSize, [&] { inlinedCopies<Record>(block); }, [&] { readsFromTheBuffer(stream, record); });
}

#define BUFFER_BENCHMARK(record)                               \
  BENCHMARK(StreamReadInTheBufferAgainstInlinedCopies<record>) \
      ->Iterations(15)                                         \
      ->UseManualTime()                                        \
      ->Unit(benchmark::kSecond)
BUFFER_BENCHMARK(8);
BUFFER_BENCHMARK(80);
BUFFER_BENCHMARK(320);
BUFFER_BENCHMARK(4096);

#define STREAM_BENCHMARK(function)                                                                         \
  BENCHMARK(function)->ArgName("record")->Arg(8)->Arg(80)->Arg(320)->Iterations(9)->UseManualTime()->Unit( \
      benchmark::kSecond)
STREAM_BENCHMARK(StreamReadAgainstBareCalls)->Arg(4096);
STREAM_BENCHMARK(StreamWriteAgainstBareCalls)->Arg(4096);
STREAM_BENCHMARK(StreamReadAgainstFread);
STREAM_BENCHMARK(StreamReadAgainstFreadUnlocked);
STREAM_BENCHMARK(StreamReadAgainstIfstream);

}  // namespace
