#include "hiddenData.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <vector>

#include "blockProbe.h"
#include "compressedForm.h"
#include "failure.h"
#include "formRules.h"

namespace casefile::program {
namespace {

constexpr auto kHead = static_cast<int64>(kHeadingSize);
constexpr auto kBlock = static_cast<int64>(kBlockSize);
using Sign = HeadingSearch::Sign;
using Signs = HeadingSearch::Signs;

std::string at(int64 row0) { return " at row-0 position " + std::to_string(row0); }

// What a find tells about the place of case data that are not those at `own`.
std::optional<std::string> placeTold(ByteSource& source, BlockProbe& probe, const HeadingSearch::Find& find,
                                     int64 own) {
  if (find.sign == Sign::ownPosition && headingAt(source, find.position)) {
    return "a heading" + at(find.position);
  }
  if (find.sign == Sign::zeroHeading && probe.hasBlock(find.position)) {
    return "a heading that was never written, with a sound block," + at(find.position);
  }
  if (find.sign == Sign::tableBeginning) {
    if (const auto named = placeNamedByTable(source, find.position); named && named->row0 != own) {
      return "a position table of case data" + at(named->row0);
    }
  }
  return std::nullopt;
}

// The first hint that names a place from `from` on, else the first whole block, when those are asked for.
std::optional<std::string> search(ByteSource& source, int64 own, int64 from, bool wholeBlocks) {
  HeadingSearch search(source, wholeBlocks ? Signs::placesAndBlocks : Signs::places);
  BlockProbe probe(source);
  std::optional<std::string> block;
  while (const auto find = search.next(from)) {
    if (auto place = placeTold(source, probe, *find, own)) {
      return place;
    }
    if (!block && find->sign == Sign::blockBeginning && probe.plainSizeAt(find->position) == kBlock) {
      block = "a whole block, at file position " + std::to_string(find->position);
    }
    from = find->position + 1;
  }
  return block;
}

bool tellsItsEnd(const Layout& layout) {
  return std::none_of(layout.faults.begin(), layout.faults.end(),
                      [](const Fault& fault) { return !fault.block && fault.isDamage; });
}

}  // namespace

std::optional<Place> placeNamedByTable(ByteSource& source, int64 position) {
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
    return position >= kHead ? std::optional(Place{position - kHead, swapped}) : std::nullopt;
  }
  const auto first = decode<bInfo>(bytes.data() + kRecordSize, swapped);
  const bool names = got == bytes.size() && first.orginalPos >= 0 && first.orginalPos < position - kHead &&
                     first.translatePos == first.orginalPos + kHead;
  return names ? std::optional(Place{first.orginalPos, swapped}) : std::nullopt;
}

std::optional<std::string> hiddenData(ByteSource& source, const Layout& layout, int64 blocksEnd) {
  const bool endIsKnown = tellsItsEnd(layout);
  const auto found = search(source, layout.place.row0, endIsKnown ? layout.tableEnd() : blocksEnd, endIsKnown);
  if (!found) {
    return std::nullopt;
  }
  return "is not all: behind its " + std::string(endIsKnown ? "table" : "blocks") + " lies " + *found;
}

void refuseHiddenData(ByteSource& source, const Layout& layout) {
  if (const auto hidden = hiddenData(source, layout, layout.blocksEnd())) {
    throw Failure(source.name(), "row-0 position " + std::to_string(layout.place.row0) + " " + *hidden +
                                     " (casefile recover --row0 writes either to a file of its own)");
  }
}

Layout layoutForReading(ByteSource& source, const PlaceHint& hint) {
  Layout layout = readLayout(source, locate(source, hint));
  tellLayout(layout, source.name());
  requireReadable(layout, source.name());
  if (!hint.row0) {
    refuseHiddenData(source, layout);
  }
  return layout;
}

}  // namespace casefile::program
