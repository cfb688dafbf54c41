#include "locate.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>

#include "blockCodec.h"
#include "casefile/error.h"
#include "compressedForm.h"
#include "foreignFormat.h"
#include "formRules.h"
#include "headingSearch.h"

namespace casefile {
namespace {

constexpr auto kHead = static_cast<int64>(kHeadingSize);
constexpr auto kRecord = static_cast<int64>(kRecordSize);
constexpr int64 kLargestTable = INT32_MAX;
constexpr std::size_t kMostPlaces = 16;  // of a file that is hard to make out

enum class Fit { none, headingOnly, whole };

// A heading as it lies in the file, and the first bytes behind it.
using HeadingBytes = std::array<unsigned char, kHeadingSize + 2>;

bool allows(ByteOrder order, bool swapped) {
  return order == ByteOrder::find || (order == ByteOrder::other) == swapped;
}

bInfo recordAt(SourceReader& source, int64 position, bool swapped) {
  std::array<unsigned char, kRecordSize> record{};
  source.read(record.data(), record.size(), position);
  return decode<bInfo>(record.data(), swapped);
}

// How many of six statements about a heading's table are true.
int trueStatements(SourceReader& source, const compressionHeading& heading, const Place& place) {
  const int64 count = heading._size / kRecord - 1;
  const bInfo header = recordAt(source, heading._infoPos, place.swapped);
  const int ofHeader = (header.orginalPos == kHeaderRecordMark ? 1 : 0) + (header.translatePos == 0 ? 1 : 0) +
                       (header.orginalSize == static_cast<std::int32_t>(kBlockSize) ? 1 : 0) +
                       (header.translateSize == count ? 1 : 0);
  if (count == 0) {
    return ofHeader + (heading._infoPos == place.row0 + kHead ? 2 : 0);
  }
  const bInfo first = recordAt(source, heading._infoPos + kRecord, place.swapped);
  const bInfo last = recordAt(source, heading._infoPos + count * kRecord, place.swapped);
  return ofHeader + (first.orginalPos == place.row0 && first.translatePos == place.row0 + kHead ? 1 : 0) +
         (isUsable(last) && last.translatePos + last.translateSize == heading._infoPos ? 1 : 0);
}

// How well a heading at `place` agrees with itself and its table: `whole` when at most one of the statements
// fails, so that one damaged field does not hide a file.
Fit fitOf(SourceReader& source, const HeadingBytes& bytes, const Place& place) {
  const auto heading = decode<compressionHeading>(bytes.data(), place.swapped);
  if (heading._caseStartPos != place.row0 || heading._infoPos < place.row0 + kHead || heading._size < kRecord ||
      heading._size % kRecord != 0) {
    return Fit::none;
  }
  const bool dataFollow =
      heading._infoPos == place.row0 + kHead || datasource::form::beginsZlibStream(bytes.data() + kHeadingSize);
  const Fit alone = dataFollow ? Fit::headingOnly : Fit::none;
  if (heading._size > kLargestTable || !datasource::form::tableLiesInFile(heading, source.size())) {
    return alone;
  }
  constexpr int kNearlyAll = 5;
  return trueStatements(source, heading, place) >= kNearlyAll ? Fit::whole : alone;
}

// The better of the byte orders at one position.
struct BestFit {
  Fit fit = Fit::none;
  Place place;
  int64 tableEnd = 0;  // as the heading tells it
};

BestFit bestFit(SourceReader& source, int64 row0, ByteOrder order) {
  BestFit best;
  HeadingBytes bytes{};
  if (source.read(bytes.data(), bytes.size(), row0) < kHeadingSize) {
    return best;
  }
  for (const bool swap : {false, true}) {
    const Place place{row0, swap};
    const Fit fit = allows(order, swap) ? fitOf(source, bytes, place) : Fit::none;
    if (fit > best.fit) {
      const auto heading = decode<compressionHeading>(bytes.data(), swap);
      best = {fit, place, fit == Fit::whole ? heading._infoPos + heading._size : 0};
    }
  }
  return best;
}

// The heading that names its place. In the file's first byte one does so in both byte orders: the one whose table
// lies in the file is meant.
std::optional<Place> placeNamed(SourceReader& source, int64 row0, ByteOrder order) {
  std::optional<Place> named;
  std::array<unsigned char, kHeadingSize> bytes{};
  if (source.read(bytes.data(), bytes.size(), row0) < bytes.size()) {
    return named;
  }
  for (const bool swap : {false, true}) {
    const auto heading = decode<compressionHeading>(bytes.data(), swap);
    if (!allows(order, swap) || heading._caseStartPos != row0) {
      continue;
    }
    if (heading._size >= kRecord && datasource::form::tableLiesInFile(heading, source.size())) {
      return Place{row0, swap};
    }
    named = named.value_or(Place{row0, swap});
  }
  return named;
}

// The heading told, be the rest nonsense: its faults are told when it is read.
Place placeAt(SourceReader& source, int64 row0, ByteOrder order) {
  if (row0 < 0) {
    throw Error(ErrorKind::usage, "a row-0 position cannot be negative", {source.name(), "open", {}, {}, {}});
  }
  if (const BestFit best = bestFit(source, row0, order); best.fit != Fit::none) {
    return best.place;
  }
  if (const auto place = placeNamed(source, row0, order)) {
    return *place;
  }
  throw Error(ErrorKind::notADataFile, "has no heading at row-0 position " + std::to_string(row0),
              {source.name(), "open", {}, row0, {}});
}

[[noreturn]] void refuse(const SourceReader& source, const std::string& what, int64 position) {
  throw Error(ErrorKind::notADataFile, what, {source.name(), "find", {}, position, {}});
}

}  // namespace

Place theOnlyOf(const std::vector<Place>& places, const SourceReader& source) {
  if (places.size() > 1) {
    std::string list;
    for (const Place& place : places) {
      list += (list.empty() ? "" : ", ") + std::to_string(place.row0);
    }
    refuse(source, "more than one heading fits (" + list + ")", places.front().row0);
  }
  if (places.empty()) {
    refuse(source, "is no compressed data file, or its heading is lost: no heading fits", 0);
  }
  return places.front();
}

std::vector<Place> fittingPlaces(SourceReader& source, ByteOrder order, ProgressReport& report) {
  std::vector<Place> whole;
  std::vector<Place> headingOnly;
  HeadingSearch search(source, HeadingSearch::Signs::headings, report);
  int64 from = 0;
  for (auto find = search.next(from); find && whole.size() < kMostPlaces; find = search.next(from)) {
    const BestFit best = bestFit(source, find->position, order);
    from = std::max(find->position + 1, best.tableEnd);  // what lies inside is this file's own
    if (best.fit == Fit::whole) {
      whole.push_back(best.place);
    } else if (best.fit == Fit::headingOnly && headingOnly.size() < kMostPlaces) {
      headingOnly.push_back(best.place);
    }
  }
  return whole.empty() ? headingOnly : whole;
}

bool hasHeadingAt(SourceReader& source, int64 row0) { return bestFit(source, row0, ByteOrder::find).fit != Fit::none; }

Place locate(SourceReader& source, std::optional<int64> row0, ByteOrder order, ProgressReport& report) {
  if (order < ByteOrder::find || order > ByteOrder::other) {
    throw Error(ErrorKind::usage, "there is no such byte order", {source.name(), "open", {}, {}, {}});
  }
  if (row0) {
    return placeAt(source, *row0, order);
  }
  const std::vector<Place> places = fittingPlaces(source, order, report);
  if (const auto foreign = places.empty() ? wordsForForeign(source) : std::nullopt) {
    refuse(source, *foreign, 0);
  }
  return theOnlyOf(places, source);
}

}  // namespace casefile
