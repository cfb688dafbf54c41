#include "layout.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "failure.h"
#include "formReading.h"
#include "formRules.h"
#include "notes.h"

namespace casefile::program {
namespace {

using datasource::form::Effect;
using datasource::form::FormReading;
using datasource::form::Rule;
using datasource::form::TableRecord;

constexpr auto kBlock = static_cast<int64>(kBlockSize);
constexpr auto kRecord = static_cast<int64>(kRecordSize);
constexpr auto kHead = static_cast<int64>(kHeadingSize);
constexpr std::size_t kBetweenLooks = 2048;  // records between two looks at signals

int64 fileEndOf(const bInfo& record) { return record.translatePos + record.translateSize; }

std::string number(int64 value) { return std::to_string(value); }

bool liesInFile(const compressionHeading& table, int64 fileSize) {
  return table._infoPos >= 0 && table._size >= 0 && table._infoPos <= fileSize &&
         table._size <= fileSize - table._infoPos;
}

std::string wordsForHeading(const datasource::form::Fault& fault, const Layout& layout) {
  const compressionHeading& heading = layout.heading;
  switch (fault.rule) {
    case Rule::headingIsWhole:
      return "the file ends inside the heading";
    case Rule::headingNamesItsPlace:
      return "the heading names " + number(fault.found) + " as its position";
    case Rule::tableHasHeader:
    case Rule::tableIsWholeRecords:
      return "the heading gives " + number(heading._size) + " as the table's length";
    case Rule::tableLiesInFile:
      return "the position table is not in the file (" + number(heading._size) + " bytes at " +
             number(heading._infoPos) + ", the file has " + number(layout.fileSize) + ")";
    case Rule::tableFitsOneTransfer:
      return "the position table is longer than " + number(fault.expected) + " bytes";
    default:
      return "the position table cannot be read to its end";
  }
}

std::string wordsForTable(const datasource::form::Fault& fault, const Layout& layout) {
  switch (fault.rule) {
    case Rule::headerHasMark:
      return "the position table does not begin with its mark";
    case Rule::headerBlockSizeIsSize:
    case Rule::headerBlockSizeIsUsual:
      return "the position table gives " + number(fault.found) + " as the block size";
    case Rule::headerCountIsCount:
    case Rule::tableHoldsItsRecords:
      return "the position table announces " + number(fault.found) + " blocks and has " +
             number(layout.heading._size / kRecord - 1);
    case Rule::blocksHaveRoom:
      return "the position table has more records than the file has room for blocks";
    case Rule::headerFilePosIsNought:
      return "the position table's header record gives " + number(fault.found) + " as a file position, not 0";
    case Rule::tableLiesBehindBlocks:
    case Rule::tableFollowsBlocks:
      return "the position table lies at " + number(fault.found) + ", the blocks end at " + number(fault.expected);
    case Rule::tableHidesNoBlock:
      return "the position table hides blocks: another one begins where its blocks end, at " + number(fault.expected);
    case Rule::breaksAreFew:
      return "the position table is damaged in more than " + number(fault.expected) + " places; its last " +
             number(fault.found) + " records were not read";
    default:
      return wordsForHeading(fault, layout);
  }
}

std::string wordsFor(const datasource::form::Fault& fault, const Layout& layout) {
  switch (fault.rule) {
    case Rule::recordIsPossible:
      return "its record gives impossible sizes";
    case Rule::blockReachesNext:
      return "its size does not reach to the next block";
    case Rule::blockStartsAtPrevious:
      return "its record gives " + number(fault.found) + " as its logical position, not " + number(fault.expected);
    case Rule::blockReachesNextInFile:
      return "its compressed size does not reach to the next block";
    case Rule::blockStartsAtPreviousInFile:
      return "its record gives " + number(fault.found) + " as its file position, not " + number(fault.expected);
    case Rule::onlyLastBlockIsShort:
      return "it is shorter than a block and not the last";
    default:
      return wordsForTable(fault, layout);
  }
}

void takeFaults(const FormReading& form, Layout& layout) {
  for (const datasource::form::Fault& fault : form.faults()) {
    layout.faults.push_back(
        {wordsFor(fault, layout), fault.block, fault.hindersReading(), effectOf(fault.rule) != Effect::deservesAWord});
  }
  if (form.unlistedFaults() > 0) {
    layout.faults.push_back(
        {std::to_string(form.unlistedFaults()) + " more faults are not listed", {}, form.unlistedHinder()});
  }
}

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

bool Layout::isDamaged() const noexcept {
  return std::any_of(faults.begin(), faults.end(), [](const Fault& fault) { return fault.isDamage; });
}

Layout readLayout(NamedReader& source, const Place& place) {
  FormReading form(source, place.row0, place.swapped, FormReading::Leave::behindAThousandBreaks);
  Layout layout;
  layout.place = place;
  layout.fileSize = source.size();
  if (form.readHeading() && form.readTableHeader()) {
    form.readRecords([&layout](const TableRecord& next) {
      if (layout.records.size() % kBetweenLooks == kBetweenLooks - 1) {
        throwIfInterrupted();  // a table of one piece is read at once
      }
      layout.records.push_back(next.record);
      layout.logicalStarts.push_back(next.logicalStart);
    });
  }
  layout.heading = form.heading();
  layout.unreadRecords = form.unreadRecords();
  takeFaults(form, layout);
  return layout;
}

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

void tellLayout(const Layout& layout, const std::string& file) {
  sayDetail(file, "row-0 position " + std::to_string(layout.place.row0) + ", " +
                      (layout.place.swapped ? "the other byte order" : "this machine's byte order") + ", " +
                      std::to_string(layout.records.size()) + " blocks");
}

std::string blockName(const Layout& layout, std::size_t block) {
  return "block " + std::to_string(block) + " (" + rangeName(layout.logicalStarts[block], layout.believedSize(block)) +
         ")";
}

}  // namespace casefile::program
