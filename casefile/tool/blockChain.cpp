#include "blockChain.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "blockProbe.h"
#include "failure.h"
#include "find/placeNamedByTable.h"
#include "foreignFile.h"
#include "hiddenData.h"
#include "locate.h"
#include "progress.h"

namespace casefile::program {
namespace {

constexpr auto kHead = static_cast<int64>(kHeadingSize);
constexpr auto kBlock = static_cast<int64>(kBlockSize);

constexpr std::size_t kMostPlaces = 16;

void addPlace(std::vector<Place>& places, const Place& place) {
  const auto same = [&](const Place& other) { return other.row0 == place.row0; };
  if (const auto found = std::find_if(places.begin(), places.end(), same); found == places.end()) {
    places.push_back(place);
  } else {
    *found = place;  // a table knows the byte order, zero bytes do not
  }
}

// Whether more zeros lie in front of a heading that was never written than it has: a hole, in which the true heading
// and the blocks behind it may have been.
bool liesBehindHole(NamedReader& source, int64 row0) {
  unsigned char before = 1;
  return row0 > 0 && source.read(&before, 1, row0 - 1) == 1 && before == 0;
}

[[noreturn]] void refuseHole(const NamedReader& source, int64 row0) {
  throw Failure(source.name(),
                "more zeros than a heading has lie in front of the first sound block, at file position " +
                    std::to_string(row0 + kHead) +
                    ": blocks before it may be lost (--row0 says where the dictionary part ends)",
                kRefused);
}

}  // namespace

BlockChain followBlocks(NamedReader& source, int64 row0, bool showProgress) {
  BlockChain chain;
  chain.row0 = row0;
  chain.logicalEnd = row0;
  chain.fileEnd = row0 + kHead;
  std::optional<Progress> progress;
  if (showProgress) {
    progress.emplace(source.size());
  }
  BlockChecker checker;
  while (chain.fileEnd < source.size()) {
    const StreamFacts facts = checker.check(source, chain.fileEnd, kBlock);
    if (!facts.sound() || facts.plainSize == 0) {
      chain.fault = facts.fault.empty() ? "an empty zlib stream" : facts.fault;
      break;
    }
    chain.records.push_back({chain.logicalEnd, chain.fileEnd, static_cast<std::int32_t>(facts.plainSize),
                             static_cast<std::int32_t>(facts.compressedSize)});
    chain.logicalEnd += facts.plainSize;
    chain.fileEnd += facts.compressedSize;
    if (progress) {
      progress->advance(facts.compressedSize);
    }
  }
  return chain;
}

Remainder remainderBehind(NamedReader& source, const BlockChain& chain) {
  Remainder rest;
  rest.bytes = std::max<int64>(0, source.size() - chain.fileEnd);
  std::array<unsigned char, kRecordSize> found{};
  const std::size_t got = source.read(found.data(), found.size(), chain.fileEnd);
  constexpr std::size_t kMarkSize = offsetof(bInfo, orginalSize);
  for (const bool swapped : {false, true}) {
    std::array<unsigned char, kRecordSize> header{};
    encode(tableHeader(kBlockSize, 0), header.data(), swapped);
    if (got > 0 && std::memcmp(found.data(), header.data(), std::min(got, kMarkSize)) == 0) {
      rest.isTable = true;
      rest.swapped = swapped;
      break;
    }
  }
  return rest;
}

Place findBlocks(NamedReader& source) {
  std::vector<Place> places = fittingPlaces(source, false);
  if (!places.empty()) {
    return theOnlyOf(places, source.name());
  }
  HeadingSearch search(source, HeadingSearch::Signs::places);
  BlockProbe probe(source);
  std::vector<int64> behindHole;
  int64 from = 0;
  for (auto find = search.next(from); find && places.size() < kMostPlaces; find = search.next(from)) {
    from = find->position + 1;
    if (find->sign == HeadingSearch::Sign::tableBeginning) {
      const auto place = placeNamedByTable(source, find->position);
      if (place && (place->row0 + kHead == find->position || probe.hasBlock(place->row0))) {
        addPlace(places, *place);
        std::erase(behindHole, place->row0);  // the table knows it
      }
    } else if (probe.hasBlock(find->position)) {
      if (liesBehindHole(source, find->position)) {
        behindHole.push_back(find->position);
      }
      addPlace(places, {find->position, false});
      from = std::max(from, followBlocks(source, find->position, false).fileEnd);
    }
  }
  if (places.empty()) {
    refuseForeign(source);
    throw Failure(source.name(), "no heading and no sound block found (--row0 says where the dictionary part ends)",
                  kRefused);
  }
  const Place place = theOnlyOf(places, source.name());
  if (std::find(behindHole.begin(), behindHole.end(), place.row0) != behindHole.end()) {
    refuseHole(source, place.row0);
  }
  return place;
}

}  // namespace casefile::program
