#include "blockWriting.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <utility>

#include "blockBytes.h"
#include "caseTable.h"
#include "casefile/error.h"

namespace casefile {
BlockWriting::BlockWriting(BlockTarget& file, WritingStart start, const Compressing& how, ProgressReport& report)
    : file_(file),
      row0_(start.row0),
      logicalStart_(start.logicalPos),
      known_(start.known),
      blocksBefore_(start.records.size()),
      report_(report),
      pool_(std::make_shared<pipeline::BufferPool>(kBlockSize, 0)),
      slots_(how.threads > 1 ? how.threads + 1 : 1),
      encoder_(how.encoder),
      workers_(how.threads),
      records_(std::move(start.records)),
      fileEnd_(start.filePos),
      line_(*this, how.threads) {
  report_.begin(Phase::writing, 0);
  if (how.threads > 1) {
    threads_.emplace(how.threads, 0, [this](std::size_t worker) { line_.workUntilClosed(worker); });
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

std::span<std::byte> BlockWriting::room() {
  Slot& slot = slotOf(handedOver_);
  if (filled_ == 0 && handedOver_ >= slots_.size()) {
    line_.awaitDelivered(handedOver_ - slots_.size() + 1);
  }
  if (!slot.bytes) {
    // Whoever has filled a block fills more of them.
    slot.bytes.emplace(pool_, handedOver_ == 0 ? 0 : kBlockSize);
  }
  return {slot.bytes->data() + filled_, kBlockSize - filled_};
}

void BlockWriting::advance(std::size_t count) {
  filled_ += count;
  if (filled_ == kBlockSize) {
    handOver();
  }
}

void BlockWriting::write(std::span<const std::byte> bytes) {
  while (!bytes.empty()) {
    const std::span<std::byte> free = room();
    const std::size_t count = std::min(bytes.size(), free.size());
    std::memcpy(free.data(), bytes.data(), count);
    bytes = bytes.subspan(count);
    advance(count);
  }
}

void BlockWriting::writeBlock(std::span<const std::byte> compressed) {
  std::memcpy(room().data(), compressed.data(), compressed.size());
  filled_ = kBlockSize;
  handOver(compressed.size());
}

void BlockWriting::handOver(std::size_t compressedSize) {
  Slot& slot = slotOf(handedOver_);
  slot.size = std::exchange(filled_, 0);
  slot.compressedSize = compressedSize;
  ++handedOver_;
  line_.offer(1);
  if (!threads_) {
    line_.workOnce(0);
    line_.rethrow();
  }
}

void BlockWriting::make(std::size_t item, std::size_t worker) {
  Worker& own = workers_[worker];
  if (!own.made) {
    own.made.emplace(pool_, slotOf(item).size);
  }
  if (slotOf(item).compressedSize > 0) {
    requireWholeBlock(item, own);
  } else {
    compress(item, own);
  }
}

void BlockWriting::compress(std::size_t block, Worker& worker) {
  if (!worker.encoder) {
    worker.encoder = datasource::form::makeEncoder(encoder_);
  }
  Slot& slot = slotOf(block);
  const auto size = compressInto(*worker.encoder, slot.bytes->data(), slot.size, worker.made->data());
  if (!size) {
    refuse(ErrorKind::doesNotFit, block, " does not fit its compressed form: the data hardly compress");
  }
  worker.size = *size;
}

// What is put into a file must come out of it.
void BlockWriting::requireWholeBlock(std::size_t block, Worker& worker) {
  Slot& slot = slotOf(block);
  if (!isWholeBlock(slot.bytes->data(), slot.compressedSize, worker.made->data())) {
    refuse(ErrorKind::damaged, block, " cannot be written: what was given is no compressed block");
  }
}

void BlockWriting::refuse(ErrorKind kind, std::size_t block, const char* why) {
  const LogicalRange range = rangeOf(block);
  throw Error(kind, blockName(blocksBefore_ + block, range) + why, {file_.name(), "write", {}, {}, range});
}

void BlockWriting::deliver(std::size_t item, std::size_t worker) {
  const Slot& slot = slotOf(item);
  const Worker& own = workers_[worker];
  const bool ready = slot.compressedSize > 0;
  const std::size_t size = ready ? slot.compressedSize : own.size;
  const LogicalRange range = rangeOf(item);
  file_.writeAt(ready ? slot.bytes->data() : own.made->data(), size, fileEnd_);
  records_.push_back({range.start, fileEnd_, static_cast<std::int32_t>(range.size), static_cast<std::int32_t>(size)});
  fileEnd_ += static_cast<int64>(size);
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
