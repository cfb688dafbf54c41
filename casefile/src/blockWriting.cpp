#include "blockWriting.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include "blockCodec.h"
#include "caseTable.h"
#include "casefile/error.h"

namespace casefile {
namespace {

using datasource::form::CodecResult;
using datasource::form::Verdict;

unsigned char* bytesOf(pipeline::PooledBuffer& buffer) { return reinterpret_cast<unsigned char*>(buffer.data()); }

}  // namespace

BlockWriting::BlockWriting(BlockTarget& file, WritingStart start, std::size_t threads, ProgressReport& report)
    : file_(file),
      row0_(start.row0),
      logicalStart_(start.logicalPos),
      known_(start.known),
      blocksBefore_(start.records.size()),
      report_(report),
      pool_(std::make_shared<pipeline::BufferPool>(kBlockSize, 0)),
      slots_(threads > 1 ? threads + 1 : 1),
      compressed_(threads),
      records_(std::move(start.records)),
      fileEnd_(start.filePos),
      line_(*this, threads) {
  report_.begin(Phase::writing, 0);
  if (threads > 1) {
    threads_.emplace(threads, 0, [this](std::size_t worker) { line_.workUntilClosed(worker); });
    if (threads_->size() == 0) {
      threads_.reset();
    }
  }
}

BlockWriting::~BlockWriting() {
  line_.abandon();
  threads_.reset();
}

// Where the block's bytes belong. All blocks written before it are whole.
LogicalRange BlockWriting::rangeOf(std::size_t block) {
  return {logicalStart_ + static_cast<int64>(block) * static_cast<int64>(kBlockSize),
          static_cast<int64>(slotOf(block).size)};
}

void BlockWriting::write(std::span<const std::byte> bytes) {
  while (!bytes.empty()) {
    Slot& slot = slotOf(handedOver_);
    if (filled_ == 0 && handedOver_ >= slots_.size()) {
      line_.awaitDelivered(handedOver_ - slots_.size() + 1);
    }
    if (!slot.bytes) {
      slot.bytes.emplace(pool_);
    }
    const std::size_t count = std::min(bytes.size(), kBlockSize - filled_);
    std::memcpy(slot.bytes->data() + filled_, bytes.data(), count);
    filled_ += count;
    bytes = bytes.subspan(count);
    if (filled_ == kBlockSize) {
      handOver();
    }
  }
}

void BlockWriting::handOver() {
  slotOf(handedOver_).size = std::exchange(filled_, 0);
  ++handedOver_;
  line_.offer(1);
  if (!threads_) {
    line_.workOnce(0);
    line_.rethrow();
  }
}

void BlockWriting::make(std::size_t item, std::size_t worker) {
  Slot& slot = slotOf(item);
  Compressed& compressed = compressed_[worker];
  if (!compressed.bytes) {
    compressed.bytes.emplace(pool_);
  }
  const CodecResult result = datasource::form::compressBlock(bytesOf(*slot.bytes), slot.size,
                                                             bytesOf(*compressed.bytes), compressed.bytes->capacity());
  if (result.verdict == Verdict::outputFull) {
    const LogicalRange range = rangeOf(item);
    throw Error(ErrorKind::doesNotFit,
                blockName(blocksBefore_ + item, range) + " does not fit its compressed form: the data hardly compress",
                {file_.name(), "write", {}, {}, range});
  }
  if (result.verdict != Verdict::complete) {
    throw std::bad_alloc();
  }
  compressed.size = result.produced;
}

void BlockWriting::deliver(std::size_t item, std::size_t worker) {
  Compressed& compressed = compressed_[worker];
  const LogicalRange range = rangeOf(item);
  file_.writeAt(compressed.bytes->data(), compressed.size, fileEnd_);
  records_.push_back(
      {range.start, fileEnd_, static_cast<std::int32_t>(range.size), static_cast<std::int32_t>(compressed.size)});
  fileEnd_ += static_cast<int64>(compressed.size);
  report_.advance(item == 0 ? range.size - known_ : range.size);
}

void BlockWriting::finish() {
  if (filled_ > 0) {
    handOver();
  }
  line_.close();
  line_.awaitDelivered(handedOver_);
  threads_.reset();
  writeTable();
}

void BlockWriting::writeTable() {
  std::vector<unsigned char> table(tableLength(records_.size()));
  encode(tableHeader(kBlockSize, records_.size()), table.data());
  for (std::size_t i = 0; i < records_.size(); ++i) {
    encode(records_[i], table.data() + tableLength(i));
  }
  file_.writeAt(table.data(), table.size(), fileEnd_);
  unsigned char heading[kHeadingSize];
  encode(compressionHeading{row0_, fileEnd_, static_cast<int64>(table.size())}, heading);
  file_.writeAt(heading, sizeof heading, row0_);
}

}  // namespace casefile
