#include "faultWords.h"

#include <string>

namespace casefile {
namespace {

using datasource::form::Effect;
using datasource::form::Rule;
using FormFault = datasource::form::Fault;

constexpr auto kRecord = static_cast<int64>(kRecordSize);

std::string number(int64 value) { return std::to_string(value); }

std::string wordsForHeading(const FormFault& fault, const Layout& layout) {
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

std::string wordsForTable(const FormFault& fault, const Layout& layout) {
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

std::string wordsFor(const FormFault& fault, const Layout& layout) {
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

FaultKind kindOf(Rule rule) {
  switch (rule) {
    case Rule::headingIsWhole:
      return FaultKind::headingCut;
    case Rule::headingNamesItsPlace:
      return FaultKind::headingPlace;
    case Rule::tableHasHeader:
    case Rule::tableIsWholeRecords:
      return FaultKind::tableLength;
    case Rule::tableLiesInFile:
      return FaultKind::tablePlace;
    case Rule::tableFitsOneTransfer:
      return FaultKind::tableTooLong;
    case Rule::tableIsReadable:
      return FaultKind::tableUnreadable;
    case Rule::headerHasMark:
      return FaultKind::tableMark;
    case Rule::headerBlockSizeIsSize:
    case Rule::headerBlockSizeIsUsual:
      return FaultKind::tableBlockSize;
    case Rule::headerCountIsCount:
    case Rule::tableHoldsItsRecords:
    case Rule::blocksHaveRoom:
      return FaultKind::tableCount;
    case Rule::headerFilePosIsNought:
      return FaultKind::tableHeaderPosition;
    case Rule::recordIsPossible:
      return FaultKind::recordImpossible;
    case Rule::blockReachesNext:
    case Rule::blockStartsAtPrevious:
      return FaultKind::logicalPosition;
    case Rule::blockReachesNextInFile:
    case Rule::blockStartsAtPreviousInFile:
      return FaultKind::blockPosition;
    case Rule::onlyLastBlockIsShort:
      return FaultKind::shortBlock;
    case Rule::tableLiesBehindBlocks:
    case Rule::tableFollowsBlocks:
      return FaultKind::tableNotAtBlocksEnd;
    case Rule::tableHidesNoBlock:
      return FaultKind::hiddenBlock;
    case Rule::breaksAreFew:
      return FaultKind::tooManyBreaks;
    case Rule::lastBlockFillsItsRecord:
      return FaultKind::streamSize;
  }
  return FaultKind::unlisted;
}

// The file position of what breaks a rule about the file.
int64 placeOf(const FormFault& fault, const Layout& layout) {
  if (fault.rule == Rule::tableHidesNoBlock) {
    return fault.expected;
  }
  const bool isHeading = fault.rule <= Rule::tableFitsOneTransfer || fault.rule == Rule::tableIsWholeRecords;
  return isHeading ? layout.place.row0 : layout.heading._infoPos;
}

}  // namespace

Fault inPublicTerms(const FormFault& fault, const Layout& layout) {
  Fault told;
  told.kind = kindOf(fault.rule);
  told.block = fault.block;
  if (fault.block) {
    told.filePosition = layout.records[*fault.block].translatePos;
    told.range = layout.believedRange(*fault.block);
  } else {
    told.filePosition = placeOf(fault, layout);
  }
  told.what = wordsFor(fault, layout);
  told.hindersReading = fault.hindersReading();
  told.isDamage = effectOf(fault.rule) != Effect::deservesAWord;
  return told;
}

}  // namespace casefile
