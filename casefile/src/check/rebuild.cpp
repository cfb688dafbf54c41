#include "rebuild.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <new>
#include <numeric>
#include <string>

#include "blockCodec.h"
#include "blockReader.h"
#include "casefile/error.h"

namespace casefile {
namespace {

using datasource::form::CodecResult;
using datasource::form::Verdict;

constexpr auto kHead = static_cast<int64>(kHeadingSize);

// Copies bytes from file position `from` up to `to` to a position of the output, and leaves holes where the source has
// some, but for the last byte, which makes the output that long.
void copyBytes(SourceReader& source, int64 from, int64 to, int64 position, BlockTarget& output,
               ProgressReport& report) {
  constexpr std::size_t kPiece = std::size_t{256} << 10;
  std::vector<unsigned char> piece(kPiece);
  while (from < to) {
    if (const int64 data = std::min(source.nextData(from), to - 1); data > from) {
      report.advance(data - from);
      position += data - from;
      from = data;
    }
    const auto wanted = static_cast<std::size_t>(std::min<int64>(to - from, static_cast<int64>(kPiece)));
    if (source.read(piece.data(), wanted, from) != wanted) {
      throw Error(ErrorKind::system, "became shorter while it was read", {source.name(), "read", {}, from, {}});
    }
    output.writeAt(piece.data(), wanted, position);
    from += static_cast<int64>(wanted);
    position += static_cast<int64>(wanted);
    report.advance(static_cast<int64>(wanted));
  }
}

int64 bytesToCopy(const BlockChain& chain) {
  return std::accumulate(chain.records.begin(), chain.records.end(), chain.row0,
                         [](int64 sum, const bInfo& record) { return sum + record.translateSize; });
}

std::vector<unsigned char> compressedZeros(std::size_t count) {
  const std::vector<unsigned char> zeros(count);
  std::vector<unsigned char> compressed(kBlockSize);
  const CodecResult result =
      datasource::form::compressBlock(zeros.data(), zeros.size(), compressed.data(), compressed.size());
  if (result.verdict != Verdict::complete) {
    throw std::bad_alloc();
  }
  compressed.resize(result.produced);
  return compressed;
}

}  // namespace

// ---- Rebuild

Rebuild::Rebuild(SourceReader& source, const BlockChain& chain, bool swapped, bool fillGaps, BlockTarget& output,
                 ProgressReport& report)
    : source_(source),
      chain_(chain),
      swapped_(swapped),
      fillGaps_(fillGaps),
      output_(output),
      report_(report),
      logicalEnd_(chain.row0),
      fileEnd_(chain.row0 + kHead) {}

void Rebuild::run() {
  report_.begin(Phase::writing, bytesToCopy(chain_));
  records_.reserve(chain_.records.size());
  copyBytes(source_, 0, chain_.row0, 0, output_, report_);
  std::size_t done = 0;
  for (const BlockGap& gap : chain_.gaps) {
    copyBlocks(done, gap.nextKept);
    done = gap.nextKept;
    if (fillGaps_) {
      fill(gap);
    }
  }
  copyBlocks(done, chain_.records.size());
  writeHeadingAndTable();
}

// They lie back to back.
void Rebuild::copyBlocks(std::size_t from, std::size_t to) {
  if (from == to) {
    return;
  }
  const bInfo& last = chain_.records[to - 1];
  copyBytes(source_, chain_.records[from].translatePos, last.translatePos + last.translateSize, fileEnd_, output_,
            report_);
  for (std::size_t block = from; block < to; ++block) {
    addBlock(chain_.records[block].orginalSize, chain_.records[block].translateSize);
  }
}

void Rebuild::addBlock(std::int32_t plainSize, std::int32_t compressedSize) {
  records_.push_back({logicalEnd_, fileEnd_, plainSize, compressedSize});
  logicalEnd_ += plainSize;
  fileEnd_ += compressedSize;
}

void Rebuild::fill(const BlockGap& gap) {
  std::vector<unsigned char> compressed;
  std::size_t holds = 0;
  for (int64 rest = gap.range.size; rest > 0;) {
    const std::size_t count = static_cast<std::size_t>(std::min<int64>(rest, static_cast<int64>(kBlockSize)));
    if (holds != count) {
      compressed = compressedZeros(count);
      holds = count;
    }
    output_.writeAt(compressed.data(), compressed.size(), fileEnd_);
    addBlock(static_cast<std::int32_t>(count), static_cast<std::int32_t>(compressed.size()));
    rest -= static_cast<int64>(count);
    report_.advance(0);
  }
  zeroBytes_ += gap.range.size;
}

void Rebuild::writeHeadingAndTable() {
  std::vector<unsigned char> table(tableLength(records_.size()));
  encode(tableHeader(kBlockSize, records_.size()), table.data(), swapped_);
  for (std::size_t block = 0; block < records_.size(); ++block) {
    encode(records_[block], table.data() + tableLength(block), swapped_);
  }
  output_.writeAt(table.data(), table.size(), fileEnd_);
  std::array<unsigned char, kHeadingSize> heading{};
  encode(compressionHeading{chain_.row0, fileEnd_, static_cast<int64>(table.size())}, heading.data(), swapped_);
  output_.writeAt(heading.data(), heading.size(), chain_.row0);
}

// ---- PlainRebuild

PlainRebuild::PlainRebuild(SourceReader& source, const BlockChain& chain, BlockTarget& output, ProgressReport& report)
    : source_(source), chain_(chain), output_(output), report_(report) {}

void PlainRebuild::Worker::allocate() {
  if (!compressed) {
    compressed = std::make_unique_for_overwrite<unsigned char[]>(kBlockSize);
    plain = std::make_unique_for_overwrite<unsigned char[]>(kBlockSize);
  }
}

void PlainRebuild::run(std::size_t threads) {
  report_.begin(Phase::writing, chain_.logicalEnd);
  copyBytes(source_, 0, chain_.row0, 0, output_, report_);
  workers_ = std::vector<Worker>(std::max<std::size_t>(1, std::min(threads, chain_.records.size())));
  pipeline::runInOrder(*this, chain_.records.size(), workers_.size());
}

void PlainRebuild::make(std::size_t item, std::size_t worker) {
  Worker& own = workers_[worker];
  own.allocate();
  const bInfo& record = chain_.records[item];
  const auto result =
      datasource::form::readBlock(source_, record, {own.compressed.get(), own.plain.get(), kBlockSize, kBlockSize});
  if (result.state != datasource::form::BlockState::sound) {
    throw Error(ErrorKind::damaged, "changed while it was read",
                {source_.name(), "read", {}, record.translatePos, LogicalRange{record.orginalPos, record.orginalSize}});
  }
}

void PlainRebuild::deliver(std::size_t item, std::size_t worker) {
  const bInfo& record = chain_.records[item];
  output_.writeAt(workers_[worker].plain.get(), static_cast<std::size_t>(record.orginalSize), record.orginalPos);
  report_.advance(record.orginalSize);
}

int64 PlainRebuild::addDamagedBlock() {
  Worker& own = workers_.front();
  own.allocate();
  const std::size_t count = source_.read(own.compressed.get(), kBlockSize, chain_.fileEnd);
  const CodecResult result =
      datasource::form::decompressBlock(own.compressed.get(), count, own.plain.get(), kBlockSize);
  if (!result.started) {
    throw std::bad_alloc();
  }
  output_.writeAt(own.plain.get(), result.produced, chain_.logicalEnd);
  return static_cast<int64>(result.produced);
}

}  // namespace casefile
