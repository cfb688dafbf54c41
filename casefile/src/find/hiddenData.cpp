#include "hiddenData.h"

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "blockProbe.h"
#include "casefile/error.h"
#include "compressedForm.h"
#include "formRules.h"
#include "headingSearch.h"
#include "locate.h"

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

// The row-0 position that a position table is about, by its first record; the blocks are not looked into.
std::optional<int64> placeNamedByTable(SourceReader& source, int64 position) {
  std::array<unsigned char, 2 * kRecordSize> bytes{};
  const std::size_t got = source.read(bytes.data(), bytes.size(), position);
  if (got < kRecordSize) {
    return std::nullopt;  // the record's end is missing, and with it the count
  }
  const bool swapped = decode<bInfo>(bytes.data(), false).orginalPos != kHeaderRecordMark;
  const auto header = decode<bInfo>(bytes.data(), swapped);
  std::vector<datasource::form::Fault> faults;
  datasource::form::checkHeaderAlone(header, faults);
  if (!faults.empty() || header.orginalSize != kBlock) {
    return std::nullopt;
  }
  if (header.translateSize == 0) {
    return position >= kHead ? std::optional(position - kHead) : std::nullopt;
  }
  const auto first = decode<bInfo>(bytes.data() + kRecordSize, swapped);
  const bool names = got == bytes.size() && first.orginalPos >= 0 && first.orginalPos < position - kHead &&
                     first.translatePos == first.orginalPos + kHead;
  return names ? std::optional(first.orginalPos) : std::nullopt;
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
    if (const auto named = placeNamedByTable(source, find.position); named && *named != own) {
      return ofPlace("a position table of case data", *named, find.position);
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
