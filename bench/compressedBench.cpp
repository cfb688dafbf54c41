#include <fcntl.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "Datasource/zcmpsFilestr.h"
#include "compressedForm.h"
#include "pairedRuns.h"
#include "recordData.h"

// Compressed files against a bare loop over the same blocks: zlib and the system calls, nothing else.

namespace {

constexpr int64 kRow0 = 1000;
constexpr std::size_t kPiece = 8000;  // what an application moves at a time: 100 rows of 80 bytes

void require(bool ok) {
  if (!ok) {
    std::abort();
  }
}

/// Returns: the lengths of the compressed blocks.
std::vector<std::size_t> bareWrite(const std::string& name) {
  const auto& data = bench::sharedData();
  std::vector<std::size_t> lengths;
  std::vector<unsigned char> input(kBlockSize);
  const int file = open(name.c_str(), O_CREAT | O_TRUNC | O_WRONLY, 0600);
  for (std::size_t done = 0; done < data.size(); done += kBlockSize) {
    const std::size_t count = std::min(kBlockSize, data.size() - done);
    const auto output = std::make_unique_for_overwrite<unsigned char[]>(kBlockSize);
    z_stream stream{};
    require(deflateInit(&stream, 1) == Z_OK);
    stream.next_in = const_cast<unsigned char*>(data.data() + done);
    stream.avail_in = static_cast<uInt>(count);
    stream.next_out = output.get();
    stream.avail_out = kBlockSize;
    require(deflate(&stream, Z_FINISH) == Z_STREAM_END);
    lengths.push_back(kBlockSize - stream.avail_out);
    deflateEnd(&stream);
    require(write(file, output.get(), lengths.back()) == static_cast<ssize_t>(lengths.back()));
  }
  close(file);
  return lengths;
}

void bareRead(const std::string& name, const std::vector<std::size_t>& lengths) {
  // Each side opens its file and makes its buffers anew.
  const auto compressed = std::make_unique_for_overwrite<unsigned char[]>(kBlockSize);
  const auto plain = std::make_unique_for_overwrite<unsigned char[]>(kBlockSize);
  const int file = open(name.c_str(), O_RDONLY);
  for (const std::size_t length : lengths) {
    require(read(file, compressed.get(), length) == static_cast<ssize_t>(length));
    z_stream stream{};
    require(inflateInit(&stream) == Z_OK);
    stream.next_in = compressed.get();
    stream.avail_in = static_cast<uInt>(length);
    stream.next_out = plain.get();
    stream.avail_out = kBlockSize;
    require(inflate(&stream, Z_FINISH) == Z_STREAM_END);
    inflateEnd(&stream);
  }
  close(file);
}

void libraryWrite(const std::string& name, int mode) {
  const auto& data = bench::sharedData();
  VORN_FileStream plain(name.c_str(), "w+b");
  plain.Write(data.data(), kRow0);
  zcmpsFilestr stream(plain);
  stream.setMultiThread(mode);
  stream.setRow0Pos(kRow0);
  stream.Seek(kRow0, VORN_StrBaseIO::SeekFromStart);
  for (std::size_t done = 0; done < data.size(); done += kPiece) {
    stream.Write(data.data() + done, std::min(kPiece, data.size() - done));
  }
  require(stream.Close() == 1);
}

void libraryRead(const std::string& name, int mode) {
  static std::vector<unsigned char> record(kPiece);
  VORN_FileStream plain(name.c_str(), "rb");
  zcmpsFilestr stream(plain);
  stream.setMultiThread(mode);
  stream.readFilePosInfo(kRow0, false);
  std::size_t total = 0;
  while (const std::size_t count = stream.Read(record.data(), kPiece)) {
    benchmark::DoNotOptimize(record.data());
    total += count;
  }
  require(total == bench::kDataSize);
}

void CompressedWrite(benchmark::State& state) {
  const bench::ScratchFile bare("bare");
  const bench::ScratchFile file("file");
  bench::runPaired(
      state, bench::kDataSize, [&] { bareWrite(bare.name()); },
      [&] { libraryWrite(file.name(), static_cast<int>(state.range(0))); });
}
BENCHMARK(CompressedWrite)->ArgName("mode")->Arg(0)->Arg(1)->Iterations(7)->UseManualTime()->Unit(benchmark::kSecond);

void CompressedRead(benchmark::State& state) {
  const bench::ScratchFile bare("bare");
  const bench::ScratchFile file("file");
  const auto lengths = bareWrite(bare.name());
  libraryWrite(file.name(), 0);
  bench::runPaired(
      state, bench::kDataSize, [&] { bareRead(bare.name(), lengths); },
      [&] { libraryRead(file.name(), static_cast<int>(state.range(0))); });
}
BENCHMARK(CompressedRead)->ArgName("mode")->Arg(0)->Arg(2)->Iterations(15)->UseManualTime()->Unit(benchmark::kSecond);

}  // namespace
