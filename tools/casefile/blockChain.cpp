#include "blockChain.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "failure.h"
#include "locate.h"
#include "progress.h"

namespace casefile {
namespace {

constexpr auto kHead = static_cast<int64>(kHeadingSize);
constexpr auto kRecord = static_cast<int64>(kRecordSize);
constexpr auto kBlock = static_cast<int64>(kBlockSize);

bool hasSoundBlock(ByteSource& source, int64 row0) {
  BlockChecker checker;
  const StreamFacts facts = checker.check(source, row0 + kHead, kBlock);
  return facts.sound() && facts.plainSize > 0;
}

// The place that the table at `position` is about, when there are blocks where it says, or none at all.
std::optional<Place> placeNamedByTable(ByteSource& source, int64 position) {
  std::array<unsigned char, 2 * kRecordSize> bytes{};
  const std::size_t got = source.read(bytes.data(), bytes.size(), position);
  if (got < kRecordSize) {
    return std::nullopt;  // the record's end is missing, and with it the count
  }
  const bool swapped = decode<bInfo>(bytes.data(), false).orginalPos != kHeaderRecordMark;
  const auto header = decode<bInfo>(bytes.data(), swapped);
  if (header.orginalSize != kBlock || header.translateSize < 0) {
    return std::nullopt;
  }
  if (header.translateSize == 0) {
    return position >= kHead ? std::optional(Place{position - kHead, swapped}) : std::nullopt;
  }
  const auto first = decode<bInfo>(bytes.data() + kRecord, swapped);
  const bool named = got == bytes.size() && first.orginalPos >= 0 && first.orginalPos <= position - kHead &&
                     first.translatePos == first.orginalPos + kHead;
  return named && hasSoundBlock(source, first.orginalPos) ? std::optional(Place{first.orginalPos, swapped})
                                                          : std::nullopt;
}

void addPlace(std::vector<Place>& places, const Place& place) {
  const auto same = [&](const Place& other) { return other.row0 == place.row0; };
  if (const auto found = std::find_if(places.begin(), places.end(), same); found == places.end()) {
    places.push_back(place);
  } else {
    *found = place;  // a table knows the byte order, zero bytes do not
  }
}

}  // namespace

BlockChain followBlocks(ByteSource& source, int64 row0, bool showProgress) {
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

Remainder remainderBehind(ByteSource& source, const BlockChain& chain) {
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

Place findBlocks(ByteSource& source) {
  std::vector<Place> places = fittingPlaces(source, false);
  if (!places.empty()) {
    return theOnlyOf(places, source.name());
  }
  HeadingSearch search(source, false);
  int64 from = 0;
  while (const auto find = search.next(from)) {
    from = find->position + 1;
    if (find->sign == HeadingSearch::Sign::tableBeginning) {
      if (const auto place = placeNamedByTable(source, find->position)) {
        addPlace(places, *place);
      }
    } else if (hasSoundBlock(source, find->position)) {
      addPlace(places, {find->position, false});
      from = std::max(from, followBlocks(source, find->position, false).fileEnd);
    }
  }
  if (places.empty()) {
    throw Failure(source.name(), "no heading and no sound block found (--row0 says where the dictionary part ends)",
                  kRefused);
  }
  return theOnlyOf(places, source.name());
}

}  // namespace casefile
