#include "rangeReading.h"

#include <algorithm>

#include "casefile/error.h"

namespace casefile {
namespace {

constexpr auto kBlock = static_cast<int64>(kBlockSize);

}  // namespace

void readDictionary(SourceReader& source, std::span<std::byte> buffer, int64 position) {
  if (source.read(buffer.data(), buffer.size(), position) != buffer.size()) {
    throw Error(ErrorKind::damaged, "ends before its dictionary part does",
                {source.name(), "read", {}, position, LogicalRange{position, static_cast<int64>(buffer.size())}});
  }
}

RangeReading::RangeReading(SourceReader& source, const CaseTable& table, BlockSource& blocks, LogicalRange range,
                           Destination destination, ProgressReport& progress)
    : source_(source),
      table_(table),
      blocks_(blocks),
      range_(range),
      destination_(destination),
      progress_(progress),
      pool_(std::make_shared<pipeline::BufferPool>(kBlockSize, 0)) {
  const int64 plain = std::max<int64>(0, std::min(range.end(), table.row0()) - range.start);
  pieces_ = static_cast<std::size_t>((plain + kBlock - 1) / kBlock);
  items_ = pieces_;
  if (range.end() > table.row0()) {
    firstBlock_ = table.blockAt(std::max(range.start, table.row0()));
    items_ += table.blockAt(range.end() - 1) - firstBlock_ + 1;
  }
}

void RangeReading::run(std::size_t threads) {
  made_ = std::vector<std::optional<pipeline::DecodedBlock>>(std::max<std::size_t>(1, std::min(threads, items_)));
  progress_.begin(Phase::reading, range_.size);
  pipeline::runInOrder(*this, items_, made_.size());
}

// What an item holds of the range.
LogicalRange RangeReading::rangeOf(std::size_t item) const {
  if (item < pieces_) {
    const int64 start = range_.start + static_cast<int64>(item) * kBlock;
    return {start, std::min({kBlock, table_.row0() - start, range_.end() - start})};
  }
  const LogicalRange block = table_.range(firstBlock_ + item - pieces_);
  const int64 start = std::max(block.start, range_.start);
  return {start, std::min(block.end(), range_.end()) - start};
}

void RangeReading::give(std::size_t item, std::size_t worker) const {
  const LogicalRange range = rangeOf(item);
  const int64 first = item < pieces_ ? range.start : table_.range(firstBlock_ + item - pieces_).start;
  destination_.sink({made_[worker]->bytes.data() + (range.start - first), static_cast<std::size_t>(range.size)},
                    range.start);
}

void RangeReading::make(std::size_t item, std::size_t worker) {
  auto& made = made_[worker];
  if (!made) {
    made.emplace(pool_, static_cast<std::size_t>(range_.size));
  }
  if (item < pieces_) {
    const LogicalRange piece = rangeOf(item);
    readDictionary(source_, {made->bytes.data(), static_cast<std::size_t>(piece.size)}, piece.start);
  } else {
    blocks_.decode(firstBlock_ + item - pieces_, *made);
  }
  if (destination_.delivery == Delivery::unordered) {
    give(item, worker);
  }
}

void RangeReading::deliver(std::size_t item, std::size_t worker) {
  if (destination_.delivery == Delivery::inOrder) {
    give(item, worker);
  }
  progress_.advance(rangeOf(item).size);
}

}  // namespace casefile
