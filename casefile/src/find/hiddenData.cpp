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

constexpr auto kHead = static_cast<int64>(kHeadingSize);
constexpr auto kBlock = static_cast<int64>(kBlockSize);
using Sign = HeadingSearch::Sign;

// What was found behind a table, and where.
struct Hidden {
  std::string words;
  int64 position = 0;
};

Hidden ofPlace(const std::string& what, int64 row0, int64 position) {
  return {what + " at row-0 position " + std::to_string(row0), position};
}

// What a find tells about the place of case data that are not those at `own`.
std::optional<Hidden> placeTold(SourceReader& source, BlockProbe& probe, const HeadingSearch::Find& find, int64 own) {
  if (find.sign == Sign::ownPosition && hasHeadingAt(source, find.position)) {
    return ofPlace("a heading", find.position, find.position);
  }
  if (find.sign == Sign::zeroHeading && probe.plainSizeAt(find.position + kHead) > 0) {
    return ofPlace("a heading that was never written, with a sound block,", find.position, find.position);
  }
  if (find.sign == Sign::tableBeginning) {
    if (const auto named = placeNamedByTable(source, find.position); named && named->row0 != own) {
      return ofPlace("a position table of case data", named->row0, find.position);
    }
  }
  return std::nullopt;
}

// The first hint behind the table that names a place, else the first whole block there.
std::optional<Hidden> searchBehind(SourceReader& source, const CaseTable& table, ProgressReport& report) {
  HeadingSearch search(source, HeadingSearch::Signs::placesAndBlocks, report);
  BlockProbe probe(source, report);
  std::optional<Hidden> block;
  int64 from = table.tableEnd();
  while (const auto find = search.next(from)) {
    if (auto place = placeTold(source, probe, *find, table.row0())) {
      return place;
    }
    if (!block && find->sign == Sign::blockBeginning && probe.plainSizeAt(find->position) == kBlock) {
      block = Hidden{"a whole block, at file position " + std::to_string(find->position), find->position};
    }
    from = find->position + 1;
  }
  return block;
}

}  // namespace

void refuseHiddenData(SourceReader& source, const CaseTable& table, ProgressReport& report) {
  if (table.tableEnd() >= source.size()) {
    return;
  }
  if (const auto hidden = searchBehind(source, table, report)) {
    throw Error(
        ErrorKind::notADataFile,
        "row-0 position " + std::to_string(table.row0()) + " is not all: behind its table lies " + hidden->words,
        {source.name(), "open", {}, hidden->position, {}});
  }
}

}  // namespace casefile
