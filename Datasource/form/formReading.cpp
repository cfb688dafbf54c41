#include "formReading.h"

#include <algorithm>
#include <array>
#include <utility>

#include "arithmetic.h"
#include "blockCodec.h"

namespace datasource::form {
namespace {

constexpr auto kRecord = static_cast<int64>(kRecordSize);
constexpr auto kBlock = static_cast<int64>(kBlockSize);
constexpr int64 kPiece = 2048 * kRecord;
constexpr std::size_t kMostFaults = 1000;

int64 fileEndOf(const bInfo& record) { return positionPlus(record.translatePos, record.translateSize); }

}  // namespace

// ---- ChainCheck

ChainCheck::ChainCheck(int64 row0, int64 tablePos, int64 fileSize, std::size_t count) noexcept
    : row0_(row0),
      tablePos_(tablePos),
      fileSize_(fileSize),
      count_(count),
      logicalEnd_(row0),
      fileEnd_(positionPlus(row0, kHeadingSize)) {}

void ChainCheck::add(Rule rule, std::size_t block, int64 found, int64 expected) {
  const Fault fault{rule, block, found, expected};
  if (faults_.size() < kMostFaults) {
    faults_.push_back(fault);
    return;
  }
  ++unlisted_;
  unlistedHinder_ = unlistedHinder_ || fault.hindersReading();
}

void ChainCheck::countBreak(const bInfo& record) {
  const bool follows = !pending_ || (isUsable(*pending_) &&
                                     record.orginalPos == positionPlus(pending_->orginalPos, pending_->orginalSize) &&
                                     record.translatePos == fileEndOf(*pending_));
  breaks_ += isUsable(record) && follows ? 0 : 1;
}

// A block's wrong size shows at the next block, whose start then is off the sum but on the grid of whole blocks.
int64 ChainCheck::checkLogicalPosition(const bInfo& record) {
  const int64 onGrid = positionPlus(row0_, static_cast<int64>(index_) * kBlock);
  if (record.orginalPos != logicalEnd_ && record.orginalPos == onGrid) {  // so it is not the first
    add(Rule::blockReachesNext, index_ - 1, logicalEnd_, onGrid);
    logicalEnd_ = onGrid;
  } else if (record.orginalPos != logicalEnd_) {
    add(Rule::blockStartsAtPrevious, index_, record.orginalPos, logicalEnd_);
  }
  const int64 start = logicalEnd_;
  const bool believable = record.orginalSize > 0 && record.orginalSize <= kBlock;
  logicalEnd_ = positionPlus(logicalEnd_, believable ? record.orginalSize : kBlock);
  return start;
}

// A block's wrong compressed size shows at the next block, which then agrees with what follows it.
void ChainCheck::checkFilePosition(int64 nextPos) {
  const std::size_t block = index_ - 1;
  const bInfo& record = *pending_;
  if (record.translatePos != fileEnd_) {
    const bool fitsNext = isUsable(record) && fileEndOf(record) == nextPos;
    if (block > 0 && fitsNext) {
      add(Rule::blockReachesNextInFile, block - 1, fileEnd_, record.translatePos);
    } else {
      add(Rule::blockStartsAtPreviousInFile, block, record.translatePos, fileEnd_);
    }
    fileEnd_ = fitsNext ? record.translatePos : fileEnd_;
  }
  fileEnd_ = positionPlus(fileEnd_, std::max(record.translateSize, 0));
}

void ChainCheck::checkSizes(const bInfo& record) {
  if (!isUsable(record) || fileEndOf(record) > fileSize_) {
    add(Rule::recordIsPossible, index_, record.translateSize, 0);
  } else if (record.orginalSize < kBlock && index_ + 1 < count_) {
    add(Rule::onlyLastBlockIsShort, index_, record.orginalSize, kBlock);
  }
}

int64 ChainCheck::take(const bInfo& record) {
  countBreak(record);
  if (pending_) {
    checkFilePosition(record.translatePos);
  }
  const int64 start = checkLogicalPosition(record);
  checkSizes(record);
  pending_ = record;
  ++index_;
  return start;
}

int64 ChainCheck::finish() {
  if (pending_) {
    checkFilePosition(tablePos_);
    pending_.reset();
  }
  return fileEnd_;
}

// ---- FormReading

FormReading::FormReading(RandomAccessReader& file, int64 row0, bool swapped, Leave leave)
    : file_(file), row0_(row0), swapped_(swapped), leave_(leave), fileSize_(file.size()) {}

bool FormReading::readHeading() {
  std::array<unsigned char, kHeadingSize> bytes{};
  const std::size_t got = file_.read(bytes.data(), bytes.size(), row0_);
  if (got != bytes.size()) {
    faults_.push_back({Rule::headingIsWhole, {}, static_cast<int64>(got), static_cast<int64>(bytes.size())});
    return false;
  }
  return useHeading(decode<compressionHeading>(bytes.data(), swapped_));
}

bool FormReading::useHeading(const compressionHeading& heading) {
  heading_ = heading;
  return checkHeading(heading_, row0_, fileSize_, faults_);
}

std::size_t FormReading::recordCount() const noexcept { return static_cast<std::size_t>(heading_._size / kRecord - 1); }

/// Reads the piece of the table that starts at file position `from`.
bool FormReading::loadPiece(int64 from) {
  const int64 rest = heading_._infoPos + heading_._size - from;
  piece_.resize(static_cast<std::size_t>(std::min(rest, kPiece)));
  const std::size_t got = file_.read(piece_.data(), piece_.size(), from);
  if (got != piece_.size()) {
    faults_.push_back({Rule::tableIsReadable, {}, static_cast<int64>(got), static_cast<int64>(piece_.size())});
    return false;
  }
  return true;
}

bool FormReading::readTableHeader() {
  if (!loadPiece(heading_._infoPos)) {
    return false;
  }
  tableHeader_ = decode<bInfo>(piece_.data(), swapped_);
  return checkTableHeader(tableHeader_, heading_, row0_, faults_);
}

bool FormReading::isToBeLeft(ChainCheck& chain) const {
  return leave_ == Leave::atFirstHindrance ? firstHindrance(chain.faults()) != nullptr : chain.breaks() > kMostFaults;
}

void FormReading::takeFaults(ChainCheck& chain) {
  faults_.insert(faults_.end(), chain.faults().begin(), chain.faults().end());
  unlisted_ = chain.unlistedFaults();
  unlistedHinder_ = chain.unlistedHinder();
}

bool FormReading::readRecords(const std::function<void(const TableRecord&)>& take) {
  const std::size_t count = recordCount();
  ChainCheck chain(row0_, heading_._infoPos, fileSize_, count);
  std::size_t done = 0;
  std::size_t at = kRecordSize;  // the first piece begins with the header record
  while (done < count) {
    if (at == piece_.size()) {
      if (isToBeLeft(chain) || !loadPiece(heading_._infoPos + static_cast<int64>(tableLength(done)))) {
        break;
      }
      at = 0;
    }
    const auto record = decode<bInfo>(piece_.data() + at, swapped_);
    take({record, piece_.data() + at, chain.take(record)});
    at += kRecordSize;
    ++done;
  }
  unread_ = count - done;
  if (unread_ == 0) {
    blocksEnd_ = chain.finish();
  }
  if (unread_ > 0 && leave_ == Leave::behindAThousandBreaks && isToBeLeft(chain)) {
    faults_.push_back({Rule::breaksAreFew, {}, static_cast<int64>(unread_), static_cast<int64>(kMostFaults)});
  }
  takeFaults(chain);
  if (unread_ > 0) {
    return false;
  }
  checkBehindBlocks();
  return true;
}

void FormReading::checkBehindBlocks() {
  const int64 tablePos = heading_._infoPos;
  if (blocksEnd_ > tablePos) {
    faults_.push_back({Rule::tableLiesBehindBlocks, {}, tablePos, blocksEnd_});
  }
  if (blocksEnd_ >= tablePos) {
    return;
  }
  faults_.push_back({Rule::tableFollowsBlocks, {}, tablePos, blocksEnd_});
  std::array<unsigned char, 2> bytes{};
  if (file_.read(bytes.data(), bytes.size(), blocksEnd_) == bytes.size() && beginsZlibStream(bytes.data())) {
    faults_.push_back({Rule::tableHidesNoBlock, {}, tablePos, blocksEnd_});
  }
}

}  // namespace datasource::form
