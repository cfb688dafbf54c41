#include "hiddenData.h"

#include <optional>
#include <string>

#include "blockProbe.h"
#include "casefile/error.h"
#include "compressedForm.h"
#include "headingSearch.h"
#include "locate.h"
#include "placeNamedByTable.h"

namespace casefile {
namespace {

constexpr auto kBlock = static_cast<int64>(kBlockSize);
using Sign = HeadingSearch::Sign;

HiddenData ofPlace(const std::string& what, int64 row0, int64 position) {
  return {what + " at row-0 position " + std::to_string(row0), position};
}

// What a find tells about the place of case data that are not those at `own`.
std::optional<HiddenData> placeTold(SourceReader& source, BlockProbe& probe, const HeadingSearch::Find& find,
                                    int64 own) {
  if (find.sign == Sign::ownPosition && hasHeadingAt(source, find.position)) {
    return ofPlace("a heading", find.position, find.position);
  }
  if (find.sign == Sign::zeroHeading && probe.hasBlockBehind(find.position)) {
    return ofPlace("a heading that was never written, with a sound block,", find.position, find.position);
  }
  if (find.sign == Sign::tableBeginning) {
    if (const auto named = placeNamedByTable(source, find.position); named && named->row0 != own) {
      return ofPlace("a position table of case data", named->row0, find.position);
    }
  }
  return std::nullopt;
}

// What lies behind the bytes of the case data at `own`.
struct Behind {
  int64 own = 0;
  int64 from = 0;
  bool wholeBlocksTell = true;  // of themselves that there are other case data
};

// The first hint that names a place, else the first whole block.
std::optional<HiddenData> search(SourceReader& source, const Behind& behind, ProgressReport& report) {
  if (behind.from >= source.size()) {
    return std::nullopt;
  }
  using Signs = HeadingSearch::Signs;
  HeadingSearch search(source, behind.wholeBlocksTell ? Signs::placesAndBlocks : Signs::places, report);
  BlockProbe probe(source, report);
  std::optional<HiddenData> block;
  int64 from = behind.from;
  while (const auto find = search.next(from)) {
    if (auto place = placeTold(source, probe, *find, behind.own)) {
      return place;
    }
    if (!block && find->sign == Sign::blockBeginning && probe.plainSizeAt(find->position) == kBlock) {
      block = HiddenData{"a whole block, at file position " + std::to_string(find->position), find->position};
    }
    from = find->position + 1;
  }
  return block;
}

std::optional<HiddenData> inWords(std::optional<HiddenData> found, const char* behindWhat) {
  if (found) {
    found->words = std::string("is not all: behind its ") + behindWhat + " lies " + found->words;
  }
  return found;
}

}  // namespace

std::optional<HiddenData> hiddenData(SourceReader& source, const Layout& layout, int64 blocksEnd,
                                     ProgressReport& report) {
  const bool endIsKnown = layout.tellsItsEnd();
  const Behind behind{layout.place.row0, endIsKnown ? layout.tableEnd() : blocksEnd, endIsKnown};
  return inWords(search(source, behind, report), endIsKnown ? "table" : "blocks");
}

void refuseHiddenData(SourceReader& source, const CaseTable& table, ProgressReport& report) {
  const auto hidden = inWords(search(source, {table.row0(), table.tableEnd(), true}, report), "table");
  if (hidden) {
    throw Error(ErrorKind::notADataFile, "row-0 position " + std::to_string(table.row0()) + " " + hidden->words,
                {source.name(), "choose", {}, hidden->position, {}});
  }
}

}  // namespace casefile
