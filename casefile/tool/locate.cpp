#include "locate.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "blockCodec.h"
#include "compressedForm.h"
#include "failure.h"
#include "foreignFile.h"
#include "formRules.h"

namespace casefile::program {
namespace {

constexpr std::size_t kPiece = 256 * 1024;
constexpr std::size_t kLookAhead = kHeadingSize + 2;  // a heading and the first bytes of a zlib stream
constexpr auto kHead = static_cast<int64>(kHeadingSize);
constexpr auto kRecord = static_cast<int64>(kRecordSize);
constexpr std::array<unsigned char, 2> kStreamBeginning = {0x78, 0x01};  // zlib's at the level of all blocks
constexpr std::size_t kMostPlaces = 16;                                  // of a file that is hard to make out

std::uint64_t wordAt(const unsigned char* bytes) {
  std::uint64_t word;
  std::memcpy(&word, bytes, sizeof word);
  return word;
}

std::uint64_t swapped(std::uint64_t word) {
  swapBytes(word);
  return word;
}

using datasource::form::Fault;
using datasource::form::Rule;

enum class Fit { none, headingOnly, whole };

// A heading as it lies in the file, and the first bytes behind it.
using HeadingBytes = std::array<unsigned char, kHeadingSize + 2>;

// How many of its four fields a table's header record has right.
int statementsKept(const bInfo& header, const compressionHeading& heading, int64 row0) {
  std::vector<Fault> faults;
  datasource::form::checkTableHeader(header, heading, row0, faults);
  const auto breaks = [&faults](std::initializer_list<Rule> rules) {
    return std::any_of(faults.begin(), faults.end(), [&rules](const Fault& fault) {
      return std::find(rules.begin(), rules.end(), fault.rule) != rules.end();
    });
  };
  return !breaks({Rule::headerHasMark}) + !breaks({Rule::headerFilePosIsNought}) +
         !breaks({Rule::headerBlockSizeIsSize, Rule::headerBlockSizeIsUsual}) +
         !breaks({Rule::headerCountIsCount, Rule::tableHoldsItsRecords});
}

// How well a heading at `place` agrees with itself and its table: `whole` when at most one of six
// statements fails, so that one damaged field does not hide a file.
Fit fitOf(NamedReader& source, const HeadingBytes& bytes, const Place& place) {
  const auto heading = decode<compressionHeading>(bytes.data(), place.swapped);
  if (heading._caseStartPos != place.row0 || heading._infoPos < place.row0 + kHead || heading._size < kRecord ||
      heading._size % kRecord != 0) {
    return Fit::none;
  }
  const Fit alone =
      heading._infoPos == place.row0 + kHead || datasource::form::beginsZlibStream(bytes.data() + kHeadingSize)
          ? Fit::headingOnly
          : Fit::none;
  std::vector<Fault> faults;
  if (!datasource::form::checkHeading(heading, place.row0, source.size(), faults)) {
    return alone;
  }
  const auto recordAt = [&](int64 position) {
    std::array<unsigned char, kRecordSize> record{};
    source.read(record.data(), record.size(), position);
    return decode<bInfo>(record.data(), place.swapped);
  };
  const int64 count = heading._size / kRecord - 1;
  int statements = statementsKept(recordAt(heading._infoPos), heading, place.row0);
  if (count == 0) {
    statements += 2 * (heading._infoPos == place.row0 + kHead);
  } else {
    const bInfo first = recordAt(heading._infoPos + kRecord);
    const bInfo last = recordAt(heading._infoPos + count * kRecord);
    statements += first.orginalPos == place.row0 && first.translatePos == place.row0 + kHead;
    statements += isUsable(last) && last.translatePos + last.translateSize == heading._infoPos;
  }
  constexpr int kNearlyAll = 5;
  return statements >= kNearlyAll ? Fit::whole : alone;
}

// The better of both byte orders at one position.
struct BestFit {
  Fit fit = Fit::none;
  Place place;
  int64 tableEnd = 0;  // as the heading tells it
};

BestFit bestFit(NamedReader& source, int64 row0, bool onlySwapped) {
  BestFit best;
  HeadingBytes bytes{};
  if (source.read(bytes.data(), bytes.size(), row0) < kHeadingSize) {
    return best;
  }
  for (const bool swap : {false, true}) {
    const Place place{row0, swap};
    const Fit fit = swap || !onlySwapped ? fitOf(source, bytes, place) : Fit::none;
    if (fit > best.fit) {
      const auto heading = decode<compressionHeading>(bytes.data(), swap);
      best = {fit, place, fit == Fit::whole ? heading._infoPos + heading._size : 0};
    }
  }
  return best;
}

Place placeAt(NamedReader& source, int64 row0, bool onlySwapped) {
  if (const BestFit best = bestFit(source, row0, onlySwapped); best.fit != Fit::none) {
    return best.place;
  }
  // Heading at its place, but nonsense behind: let the faults be listed.
  std::array<unsigned char, kHeadingSize> bytes{};
  if (row0 < source.size() && source.read(bytes.data(), bytes.size(), row0) == bytes.size()) {
    for (const bool swap : {false, true}) {
      if ((swap || !onlySwapped) && decode<compressionHeading>(bytes.data(), swap)._caseStartPos == row0) {
        return {row0, swap};
      }
    }
  }
  throw Failure(source.name(), "has no heading at row-0 position " + std::to_string(row0), kRefused);
}

}  // namespace

HeadingSearch::HeadingSearch(NamedReader& source, Signs signs) : source_(source), signs_(signs) {}

bool HeadingSearch::load(int64 from) {
  if (from >= pieceStart_ && from + static_cast<int64>(kLookAhead) <= pieceEnd_) {
    return true;
  }
  if (from > source_.size() - static_cast<int64>(sizeof(std::uint64_t))) {
    return false;
  }
  throwIfInterrupted();
  piece_.assign(kPiece + kLookAhead, 0);
  const std::size_t count = source_.read(piece_.data(), kPiece, from);
  pieceStart_ = from;
  // At the end of the file the zeros behind the bytes stand in for what is not there.
  const bool atEnd = count < kPiece || from + static_cast<int64>(count) >= source_.size();
  pieceEnd_ = from + static_cast<int64>(count) + (atEnd ? static_cast<int64>(kLookAhead) : 0);
  return count >= sizeof(std::uint64_t);
}

std::optional<HeadingSearch::Find> HeadingSearch::next(int64 from) {
  const std::uint64_t mark = static_cast<std::uint64_t>(kHeaderRecordMark);
  const std::uint64_t swappedMark = swapped(mark);
  int64 position = from;
  while (load(position)) {
    const int64 last = std::min(pieceEnd_ - static_cast<int64>(kLookAhead), source_.size());
    for (; position <= last; ++position) {
      const unsigned char* const bytes = piece_.data() + (position - pieceStart_);
      const std::uint64_t word = wordAt(bytes);
      const auto own = static_cast<std::uint64_t>(position);
      if (word == own || word == swapped(own)) {
        return Find{position, Sign::ownPosition};
      }
      if (signs_ == Signs::headings) {
        continue;
      }
      if (word == 0 && wordAt(bytes + 8) == 0 && wordAt(bytes + 16) == 0 &&
          datasource::form::beginsZlibStream(bytes + kHeadingSize)) {
        return Find{position, Sign::zeroHeading};
      }
      if ((word == mark || word == swappedMark) && wordAt(bytes + 8) == 0) {
        return Find{position, Sign::tableBeginning};
      }
      if (signs_ == Signs::placesAndBlocks && bytes[0] == kStreamBeginning[0] && bytes[1] == kStreamBeginning[1]) {
        return Find{position, Sign::blockBeginning};
      }
    }
    if (last >= source_.size()) {
      break;
    }
  }
  return std::nullopt;
}

Place theOnlyOf(const std::vector<Place>& places, const std::string& file) {
  if (places.size() > 1) {
    std::string list;
    for (const Place& place : places) {
      list += (list.empty() ? "" : ", ") + std::to_string(place.row0);
    }
    throw Failure(file, "more than one heading fits (" + list + "): say which with --row0", kRefused);
  }
  if (places.empty()) {
    throw Failure(file, "is no compressed data file, or its heading is lost: no heading fits", kRefused);
  }
  return places.front();
}

std::optional<Place> headingAt(NamedReader& source, int64 row0) {
  const BestFit best = bestFit(source, row0, false);
  return best.fit == Fit::none ? std::nullopt : std::optional(best.place);
}

std::vector<Place> fittingPlaces(NamedReader& source, bool onlySwapped) {
  std::vector<Place> whole;
  std::vector<Place> headingOnly;
  HeadingSearch search(source, HeadingSearch::Signs::headings);
  int64 from = 0;
  for (auto find = search.next(from); find && whole.size() < kMostPlaces; find = search.next(from)) {
    const BestFit best = bestFit(source, find->position, onlySwapped);
    from = std::max(find->position + 1, best.tableEnd);  // what lies inside is this file's own
    if (best.fit == Fit::whole) {
      whole.push_back(best.place);
    } else if (best.fit == Fit::headingOnly && headingOnly.size() < kMostPlaces) {
      headingOnly.push_back(best.place);
    }
  }
  return whole.empty() ? headingOnly : whole;
}

Place locate(NamedReader& source, const PlaceHint& hint) {
  if (hint.row0) {
    return placeAt(source, *hint.row0, hint.swap);
  }
  const std::vector<Place> places = fittingPlaces(source, hint.swap);
  if (places.empty()) {
    refuseForeign(source);
  }
  return theOnlyOf(places, source.name());
}

}  // namespace casefile::program
