#include "formRules.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include "arithmetic.h"

namespace datasource::form {
namespace {

constexpr auto kHead = static_cast<int64>(kHeadingSize);
constexpr auto kRecord = static_cast<int64>(kRecordSize);
constexpr auto kBlock = static_cast<std::int32_t>(kBlockSize);
constexpr int64 kLargestTable = INT32_MAX;

struct Entry {
  const char* name;
  Rule rule;
  Effect effect;
};

constexpr Entry kRules[] = {
    {"headingIsWhole", Rule::headingIsWhole, Effect::hindersReading},
    {"headingNamesItsPlace", Rule::headingNamesItsPlace, Effect::hindersReading},
    {"tableHasHeader", Rule::tableHasHeader, Effect::hindersReading},
    {"tableLiesInFile", Rule::tableLiesInFile, Effect::hindersReading},
    {"tableFitsOneTransfer", Rule::tableFitsOneTransfer, Effect::hindersReading},
    {"tableIsReadable", Rule::tableIsReadable, Effect::hindersReading},
    {"headerHasMark", Rule::headerHasMark, Effect::hindersReading},
    {"headerBlockSizeIsSize", Rule::headerBlockSizeIsSize, Effect::hindersReading},
    {"headerCountIsCount", Rule::headerCountIsCount, Effect::hindersReading},
    {"tableIsWholeRecords", Rule::tableIsWholeRecords, Effect::hindersReading},
    {"tableHoldsItsRecords", Rule::tableHoldsItsRecords, Effect::hindersReading},
    {"blocksHaveRoom", Rule::blocksHaveRoom, Effect::hindersReading},
    {"headerBlockSizeIsUsual", Rule::headerBlockSizeIsUsual, Effect::deservesAWord},
    {"headerFilePosIsNought", Rule::headerFilePosIsNought, Effect::deservesAWord},
    {"recordIsPossible", Rule::recordIsPossible, Effect::hindersReading},
    {"blockReachesNext", Rule::blockReachesNext, Effect::hindersReading},
    {"blockStartsAtPrevious", Rule::blockStartsAtPrevious, Effect::hindersReading},
    {"blockReachesNextInFile", Rule::blockReachesNextInFile, Effect::hindersReading},
    {"blockStartsAtPreviousInFile", Rule::blockStartsAtPreviousInFile, Effect::hindersReading},
    {"onlyLastBlockIsShort", Rule::onlyLastBlockIsShort, Effect::skipsBytes},
    {"tableLiesBehindBlocks", Rule::tableLiesBehindBlocks, Effect::hindersReading},
    {"tableFollowsBlocks", Rule::tableFollowsBlocks, Effect::deservesAWord},
    {"tableHidesNoBlock", Rule::tableHidesNoBlock, Effect::hindersReading},
    {"breaksAreFew", Rule::breaksAreFew, Effect::hindersReading},
    {"lastBlockFillsItsRecord", Rule::lastBlockFillsItsRecord, Effect::hindersAppending},
};

constexpr bool eachStandsAtItsPlace() {
  for (std::size_t i = 0; i < std::size(kRules); ++i) {
    if (static_cast<std::size_t>(kRules[i].rule) != i) {
      return false;
    }
  }
  return std::size(kRules) == static_cast<std::size_t>(Rule::lastBlockFillsItsRecord) + 1;
}
static_assert(eachStandsAtItsPlace());

const Entry& entryOf(Rule rule) noexcept { return kRules[static_cast<std::size_t>(rule)]; }

}  // namespace

Effect effectOf(Rule rule) noexcept { return entryOf(rule).effect; }
const char* nameOf(Rule rule) noexcept { return entryOf(rule).name; }

const Fault* firstHindrance(const std::vector<Fault>& faults) noexcept {
  const auto found = std::find_if(faults.begin(), faults.end(), [](const Fault& f) { return f.hindersReading(); });
  return found == faults.end() ? nullptr : &*found;
}

bool tableLiesInFile(const compressionHeading& heading, int64 fileSize) noexcept {
  return heading._size >= 0 && heading._infoPos >= 0 && heading._infoPos <= fileSize &&
         heading._size <= fileSize - heading._infoPos;
}

bool checkHeading(const compressionHeading& heading, int64 row0, int64 fileSize, std::vector<Fault>& faults) {
  if (heading._caseStartPos != row0) {
    faults.push_back({Rule::headingNamesItsPlace, {}, heading._caseStartPos, row0});
  }
  if (heading._size < kRecord) {
    faults.push_back({Rule::tableHasHeader, {}, heading._size, kRecord});
    return false;
  }
  if (!tableLiesInFile(heading, fileSize)) {
    faults.push_back({Rule::tableLiesInFile, {}, heading._infoPos, fileSize - heading._size});
    return false;
  }
  if (heading._size > kLargestTable) {
    faults.push_back({Rule::tableFitsOneTransfer, {}, heading._size, kLargestTable});
    return false;
  }
  return true;
}

void checkHeaderAlone(const bInfo& header, std::vector<Fault>& faults) {
  if (header.orginalPos != kHeaderRecordMark) {
    faults.push_back({Rule::headerHasMark, {}, header.orginalPos, kHeaderRecordMark});
  }
  if (header.orginalSize <= 0) {
    faults.push_back({Rule::headerBlockSizeIsSize, {}, header.orginalSize, kBlock});
  }
  if (header.translateSize < 0) {
    faults.push_back({Rule::headerCountIsCount, {}, header.translateSize, 0});
  }
}

bool checkTableHeader(const bInfo& header, const compressionHeading& heading, int64 row0, std::vector<Fault>& faults) {
  checkHeaderAlone(header, faults);
  const int64 count = heading._size / kRecord - 1;
  const bool wholeRecords = heading._size % kRecord == 0;
  if (!wholeRecords) {
    faults.push_back({Rule::tableIsWholeRecords, {}, heading._size, (count + 1) * kRecord});
  }
  if (header.translateSize != count && header.translateSize >= 0) {
    faults.push_back({Rule::tableHoldsItsRecords, {}, header.translateSize, count});
  }
  // Every block has a byte at least. Sums are avoided: the positions may be anything.
  const int64 room = heading._infoPos - kHead < row0 ? 0 : heading._infoPos - kHead - row0;
  if (count > room) {
    faults.push_back({Rule::blocksHaveRoom, {}, count, room});
  }
  if (header.orginalSize != kBlock && header.orginalSize > 0) {
    faults.push_back({Rule::headerBlockSizeIsUsual, {}, header.orginalSize, kBlock});
  }
  if (header.translatePos != 0) {
    faults.push_back({Rule::headerFilePosIsNought, {}, header.translatePos, 0});
  }
  return wholeRecords && count <= room;
}

AppendExtent overwrittenByAppend(int64 row0, const std::optional<bInfo>& last) noexcept {
  if (!last) {
    return {positionPlus(row0, kHeadingSize), row0, false};
  }
  if (last->orginalSize < kBlock) {
    return {last->translatePos, last->orginalPos, true};
  }
  return {positionPlus(last->translatePos, last->translateSize), positionPlus(last->orginalPos, last->orginalSize),
          false};
}

bool needsProofOfLastBlock(int64 blocksEnd, int64 tablePos) noexcept { return blocksEnd != tablePos; }

}  // namespace datasource::form
