#include "findBlocks.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string>
#include <vector>

#include "blockChain.h"
#include "casefile/error.h"
#include "compressedForm.h"
#include "find/blockProbe.h"
#include "find/foreignFormat.h"
#include "find/headingSearch.h"
#include "find/locate.h"
#include "find/placeNamedByTable.h"

namespace casefile {
namespace {

constexpr auto kHead = static_cast<int64>(kHeadingSize);
constexpr std::size_t kMostPlaces = 16;

[[noreturn]] void refuse(const SourceReader& source, const std::string& what, int64 position) {
  throw Error(ErrorKind::notADataFile, what, {source.name(), "find", {}, position, {}});
}

// Whether more zeros lie in front of a heading that was never written than it has: a hole, in which the true heading
// and the blocks behind it may have been.
bool liesBehindHole(SourceReader& source, int64 row0) {
  unsigned char before = 1;
  if (row0 > 0) {
    source.read(&before, 1, row0 - 1);
  }
  return before == 0;
}

// Collects the places that heading-like bytes and tables tell.
class PlaceSearch {
 public:
  PlaceSearch(SourceReader& source, ProgressReport& report)
      : source_(source),
        report_(report),
        search_(source, HeadingSearch::Signs::places, report),
        probe_(source, report) {}

  Place run() {
    int64 from = 0;
    for (auto find = search_.next(from); find && places_.size() < kMostPlaces; find = search_.next(from)) {
      from = find->sign == HeadingSearch::Sign::tableBeginning ? lookAtTable(find->position)
                                                               : lookAtHeading(find->position);
    }
    if (places_.empty()) {
      refuse(source_, wordsForForeign(source_).value_or("no heading and no sound block found"), 0);
    }
    const Place place = theOnlyOf(places_, source_);
    if (std::find(behindHole_.begin(), behindHole_.end(), place.row0) != behindHole_.end()) {
      refuse(source_,
             "more zeros than a heading has lie in front of the first sound block, at file position " +
                 std::to_string(place.row0 + kHead) + ": blocks before it may be lost",
             place.row0 + kHead);
    }
    return place;
  }

 private:
  int64 lookAtTable(int64 position) {
    const auto place = placeNamedByTable(source_, position);
    if (place && (place->row0 + kHead == position || probe_.hasBlockBehind(place->row0))) {
      add(*place);
      std::erase(behindHole_, place->row0);  // the table knows it
    }
    return position + 1;
  }

  int64 lookAtHeading(int64 position) {
    if (!probe_.hasBlockBehind(position)) {
      return position + 1;
    }
    if (liesBehindHole(source_, position)) {
      behindHole_.push_back(position);
    }
    add({position, false});
    return std::max(position + 1, followBlocks(source_, position, report_).fileEnd);
  }

  void add(const Place& place) {
    const auto found =
        std::find_if(places_.begin(), places_.end(), [&](const Place& other) { return other.row0 == place.row0; });
    if (found == places_.end()) {
      places_.push_back(place);
    } else {
      *found = place;  // a table knows the byte order, zero bytes do not
    }
  }

  SourceReader& source_;
  ProgressReport& report_;
  HeadingSearch search_;
  BlockProbe probe_;
  std::vector<Place> places_;
  std::vector<int64> behindHole_;
};

}  // namespace

Place findBlocks(SourceReader& source, ProgressReport& report) {
  const std::vector<Place> places = fittingPlaces(source, ByteOrder::find, report);
  return places.empty() ? PlaceSearch(source, report).run() : theOnlyOf(places, source);
}

Place placeTold(SourceReader& source, int64 row0) {
  if (row0 < 0) {
    throw Error(ErrorKind::usage, "a row-0 position cannot be negative", {source.name(), "recover", {}, {}, {}});
  }
  if (row0 > source.size()) {
    throw Error(ErrorKind::notADataFile, "ends before row-0 position " + std::to_string(row0),
                {source.name(), "recover", {}, source.size(), {}});
  }
  std::array<unsigned char, kHeadingSize> bytes{};
  source.read(bytes.data(), bytes.size(), row0);
  return {row0, decode<compressionHeading>(bytes.data(), false)._caseStartPos != row0 &&
                    decode<compressionHeading>(bytes.data(), true)._caseStartPos == row0};
}

}  // namespace casefile
