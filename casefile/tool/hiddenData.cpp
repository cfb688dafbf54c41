#include "hiddenData.h"

#include <algorithm>
#include <cstddef>

#include "blockProbe.h"
#include "compressedForm.h"
#include "failure.h"
#include "find/placeNamedByTable.h"

namespace casefile::program {
namespace {

constexpr auto kBlock = static_cast<int64>(kBlockSize);
using Sign = HeadingSearch::Sign;
using Signs = HeadingSearch::Signs;

std::string at(int64 row0) { return " at row-0 position " + std::to_string(row0); }

// What a find tells about the place of case data that are not those at `own`.
std::optional<std::string> placeTold(NamedReader& source, BlockProbe& probe, const HeadingSearch::Find& find,
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
std::optional<std::string> search(NamedReader& source, int64 own, int64 from, bool wholeBlocks) {
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

std::optional<std::string> hiddenData(NamedReader& source, const Layout& layout, int64 blocksEnd) {
  const bool endIsKnown = tellsItsEnd(layout);
  const auto found = search(source, layout.place.row0, endIsKnown ? layout.tableEnd() : blocksEnd, endIsKnown);
  if (!found) {
    return std::nullopt;
  }
  return "is not all: behind its " + std::string(endIsKnown ? "table" : "blocks") + " lies " + *found;
}

void refuseHiddenData(NamedReader& source, const Layout& layout) {
  if (const auto hidden = hiddenData(source, layout, layout.blocksEnd())) {
    throw Failure(source.name(), "row-0 position " + std::to_string(layout.place.row0) + " " + *hidden +
                                     " (casefile recover --row0 writes either to a file of its own)");
  }
}

Layout layoutForReading(NamedReader& source, const PlaceHint& hint) {
  Layout layout = readLayout(source, locate(source, hint));
  tellLayout(layout, source.name());
  requireReadable(layout, source.name());
  if (!hint.row0) {
    refuseHiddenData(source, layout);
  }
  return layout;
}

}  // namespace casefile::program
