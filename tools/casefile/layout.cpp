#include "layout.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

#include "failure.h"

namespace casefile {
namespace {

constexpr auto kBlock = static_cast<int64>(kBlockSize);
constexpr auto kRecord = static_cast<int64>(kRecordSize);
constexpr auto kHead = static_cast<int64>(kHeadingSize);
constexpr std::size_t kPiece = 2048 * kRecordSize;
constexpr std::size_t kMostFaults = 1000;

int64 logicalEndOf(const bInfo& record) { return record.orginalPos + record.orginalSize; }
int64 fileEndOf(const bInfo& record) { return record.translatePos + record.translateSize; }

std::string number(int64 value) { return std::to_string(value); }

bool liesInFile(const compressionHeading& table, int64 fileSize) {
  return table._infoPos >= 0 && table._size >= 0 && table._infoPos <= fileSize &&
         table._size <= fileSize - table._infoPos;
}

// Checks heading and table of one file; faults are collected in the layout.
class LayoutReader {
 public:
  LayoutReader(ByteSource& source, const Place& place) : source_(source) {
    layout_.place = place;
    layout_.fileSize = source.size();
  }

  Layout run() {
    if (readHeading() && readTable()) {
      checkLogicalPositions();
      checkFilePositions();
      checkSizes();
    }
    if (unlisted_ > 0) {
      layout_.faults.push_back({std::to_string(unlisted_) + " more faults are not listed", {}, unlistedHinder_});
    }
    return std::move(layout_);
  }

 private:
  void fault(const std::string& what) { layout_.faults.push_back({what, std::nullopt, true}); }
  void blockFault(std::size_t block, const std::string& what, bool hinders = true) {
    if (layout_.faults.size() < kMostFaults) {
      layout_.faults.push_back({what, block, hinders});
    } else {
      ++unlisted_;
      unlistedHinder_ = unlistedHinder_ || hinders;
    }
  }

  bool readHeading() {
    std::array<unsigned char, kHeadingSize> bytes{};
    if (source_.read(bytes.data(), bytes.size(), layout_.place.row0) != bytes.size()) {
      fault("the file ends inside the heading");
      return false;
    }
    layout_.heading = decode<compressionHeading>(bytes.data(), layout_.place.swapped);
    const compressionHeading& heading = layout_.heading;
    if (heading._caseStartPos != layout_.place.row0) {
      fault("the heading names " + number(heading._caseStartPos) + " as its position");
    }
    if (heading._size < kRecord || heading._size % kRecord != 0) {
      fault("the heading gives " + number(heading._size) + " as the table's length");
      return false;
    }
    if (heading._infoPos < layout_.place.row0 + kHead || !liesInFile(heading, layout_.fileSize)) {
      fault("the position table is not in the file (" + number(heading._size) + " bytes at " +
            number(heading._infoPos) + ", the file has " + number(layout_.fileSize) + ")");
      return false;
    }
    return true;
  }

  bool readTable() {
    const compressionHeading& heading = layout_.heading;
    if (heading._size > kLargestTable) {
      fault("the position table is longer than " + number(kLargestTable) + " bytes");
      return false;
    }
    // A table longer than blocks of one byte would need is no table; nothing is allocated for it.
    if (heading._size / kRecord - 1 > heading._infoPos - layout_.place.row0 - kHead) {
      fault("the position table has more records than the file has room for blocks");
      return false;
    }
    std::array<unsigned char, kRecordSize> header{};
    if (source_.read(header.data(), header.size(), heading._infoPos) != header.size() || !readRecords()) {
      fault("the position table cannot be read to its end");
      return false;
    }
    checkTableHeader(decode<bInfo>(header.data(), layout_.place.swapped));
    return true;
  }

  // Returns: false when the file ends before the table.
  bool readRecords() {
    std::vector<unsigned char> piece(kPiece);
    std::size_t breaks = 0;
    const int64 first = layout_.heading._infoPos + kRecord;
    for (int64 at = first; at < layout_.tableEnd();) {
      if (at > first) {
        throwIfInterrupted();  // a table of one piece is read at once
      }
      const auto count = static_cast<std::size_t>(std::min<int64>(layout_.tableEnd() - at, kPiece));
      if (source_.read(piece.data(), count, at) != count) {
        return false;
      }
      breaks += takeRecords(piece.data(), count);
      at += static_cast<int64>(count);
      if (breaks > kMostFaults) {
        leaveTable(at);
        return true;
      }
    }
    return true;
  }

  // Returns: how many of these records cannot be used or do not follow the one before.
  std::size_t takeRecords(const unsigned char* bytes, std::size_t count) {
    std::size_t breaks = 0;
    for (std::size_t at = 0; at < count; at += kRecordSize) {
      const auto record = decode<bInfo>(bytes + at, layout_.place.swapped);
      const bool follows = layout_.records.empty() || (isUsable(layout_.records.back()) &&
                                                       record.orginalPos == logicalEndOf(layout_.records.back()) &&
                                                       record.translatePos == fileEndOf(layout_.records.back()));
      breaks += isUsable(record) && follows ? 0 : 1;
      layout_.records.push_back(record);
    }
    return breaks;
  }

  void leaveTable(int64 at) {
    layout_.unreadRecords = static_cast<std::size_t>((layout_.tableEnd() - at) / kRecord);
    fault("the position table is damaged in more than " + std::to_string(kMostFaults) + " places; its last " +
          std::to_string(layout_.unreadRecords) + " records were not read");
  }

  void checkTableHeader(const bInfo& header) {
    const int64 count = layout_.heading._size / kRecord - 1;
    if (header.orginalPos != kHeaderRecordMark || header.translatePos != 0) {
      fault("the position table does not begin with its mark");
    }
    if (header.orginalSize != kBlock) {
      fault("the position table gives " + number(header.orginalSize) + " as the block size");
    }
    if (header.translateSize != count) {
      fault("the position table announces " + number(header.translateSize) + " blocks and has " + number(count));
    }
  }

  // A block's wrong size shows at the next block, whose start then is off the sum but on the grid of
  // whole blocks.
  void checkLogicalPositions() {
    int64 expected = layout_.place.row0;
    for (std::size_t i = 0; i < layout_.records.size(); ++i) {
      const bInfo& record = layout_.records[i];
      const int64 onGrid = layout_.place.row0 + static_cast<int64>(i) * kBlock;
      if (record.orginalPos != expected && record.orginalPos == onGrid && i > 0) {
        blockFault(i - 1, "its size does not reach to the next block");
        expected = onGrid;
      } else if (record.orginalPos != expected) {
        blockFault(
            i, "its record gives " + number(record.orginalPos) + " as its logical position, not " + number(expected));
      }
      layout_.logicalStarts.push_back(expected);
      const bool believable = record.orginalSize > 0 && record.orginalSize <= kBlock;
      expected += believable ? record.orginalSize : kBlock;
    }
  }

  // A block's wrong compressed size shows at the next block, which then agrees with what follows it.
  void checkFilePositions() {
    int64 expected = layout_.place.row0 + kHead;
    const std::size_t count = layout_.records.size();
    for (std::size_t i = 0; i < count; ++i) {
      const bInfo& record = layout_.records[i];
      if (record.translatePos != expected) {
        const int64 next = i + 1 < count ? layout_.records[i + 1].translatePos : layout_.heading._infoPos;
        const bool fitsNext = isUsable(record) && record.translatePos + record.translateSize == next;
        if (i > 0 && fitsNext) {
          blockFault(i - 1, "its compressed size does not reach to the next block");
        } else {
          blockFault(
              i, "its record gives " + number(record.translatePos) + " as its file position, not " + number(expected));
        }
        expected = fitsNext ? record.translatePos : expected;
      }
      expected += std::max(record.translateSize, 0);
    }
    if (layout_.heading._infoPos != expected) {
      fault("the position table lies at " + number(layout_.heading._infoPos) + ", the blocks end at " +
            number(expected));
    }
  }

  void checkSizes() {
    for (std::size_t i = 0; i < layout_.records.size(); ++i) {
      const bInfo& record = layout_.records[i];
      if (!isUsable(record) || record.translatePos + record.translateSize > layout_.fileSize) {
        blockFault(i, "its record gives impossible sizes");
      } else if (record.orginalSize < kBlock && i + 1 < layout_.records.size()) {
        blockFault(i, "it is shorter than a block and not the last", false);
      }
    }
  }

  ByteSource& source_;
  Layout layout_;
  std::size_t unlisted_ = 0;
  bool unlistedHinder_ = false;
};

}  // namespace

int64 Layout::logicalEnd() const noexcept {
  return records.empty() ? place.row0 : logicalStarts.back() + believedSize(records.size() - 1);
}

int64 Layout::believedSize(std::size_t block) const noexcept {
  if (block + 1 < logicalStarts.size()) {
    return logicalStarts[block + 1] - logicalStarts[block];
  }
  const std::int32_t size = records[block].orginalSize;
  return size > 0 && size <= kBlock ? size : kBlock;
}

int64 Layout::blocksEnd() const noexcept {
  if (records.empty()) {
    return place.row0 + kHead;
  }
  return isUsable(records.back()) ? fileEndOf(records.back()) : heading._infoPos;
}

int64 Layout::tableEnd() const noexcept {
  return liesInFile(heading, fileSize) ? heading._infoPos + heading._size : fileSize;
}

std::size_t Layout::blockAt(int64 logical) const noexcept {
  const auto after = std::upper_bound(logicalStarts.begin(), logicalStarts.end(), logical);
  return static_cast<std::size_t>(after - logicalStarts.begin()) - 1;
}

Layout readLayout(ByteSource& source, const Place& place) { return LayoutReader(source, place).run(); }

void requireReadable(const Layout& layout, const std::string& file) {
  for (const Fault& fault : layout.faults) {
    if (fault.hindersReading) {
      const std::string where = fault.block ? blockName(layout, *fault.block) + ": " : "";
      throw Failure(file, where + fault.what + " (casefile verify lists the damage, casefile recover rescues)");
    }
  }
}

std::string rangeName(int64 start, int64 size) {
  return size <= 1 ? "logical byte " + number(start)
                   : "logical bytes " + number(start) + " to " + number(start + size - 1);
}

std::string blockName(const Layout& layout, std::size_t block) {
  return "block " + std::to_string(block) + " (" + rangeName(layout.logicalStarts[block], layout.believedSize(block)) +
         ")";
}

}  // namespace casefile
