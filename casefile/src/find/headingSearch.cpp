#include "headingSearch.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

#include "blockCodec.h"
#include "compressedForm.h"

namespace casefile {
namespace {

constexpr std::size_t kPiece = std::size_t{256} << 10;
constexpr std::size_t kLookAhead = kHeadingSize + 2;  // a heading and the first bytes of a zlib stream
constexpr std::array<unsigned char, 2> kStreamBeginning = {0x78, 0x01};  // every encoder's

std::uint64_t wordAt(const unsigned char* bytes) {
  std::uint64_t word;
  std::memcpy(&word, bytes, sizeof word);
  return word;
}

std::uint64_t swapped(std::uint64_t word) {
  swapBytes(word);
  return word;
}

bool isZero(const unsigned char* heading) {
  return wordAt(heading) == 0 && wordAt(heading + 8) == 0 && wordAt(heading + 16) == 0;
}

}  // namespace

HeadingSearch::HeadingSearch(SourceReader& source, Signs signs, ProgressReport& report)
    : source_(source), signs_(signs), report_(report) {
  report_.begin(Phase::searching, source.size());
}

bool HeadingSearch::load(int64 from) {
  if (from >= pieceStart_ && from + static_cast<int64>(kLookAhead) <= pieceEnd_) {
    return true;
  }
  if (from > source_.size() - static_cast<int64>(sizeof(std::uint64_t))) {
    return false;
  }
  report_.advance(from - pieceStart_);
  piece_.assign(kPiece + kLookAhead, 0);
  const std::size_t count = source_.read(piece_.data(), kPiece, from);
  pieceStart_ = from;
  // At the end of the file the zeros behind the bytes stand in for what is not there.
  const bool atEnd = count < kPiece || from + static_cast<int64>(count) >= source_.size();
  pieceEnd_ = from + static_cast<int64>(count) + (atEnd ? static_cast<int64>(kLookAhead) : 0);
  return count >= sizeof(std::uint64_t);
}

std::optional<HeadingSearch::Sign> HeadingSearch::signAt(const unsigned char* bytes, int64 position) const {
  const std::uint64_t mark = static_cast<std::uint64_t>(kHeaderRecordMark);
  const std::uint64_t word = wordAt(bytes);
  const auto own = static_cast<std::uint64_t>(position);
  if (word == own || word == swapped(own)) {
    return Sign::ownPosition;
  }
  if (signs_ == Signs::headings) {
    return std::nullopt;
  }
  if (isZero(bytes) && datasource::form::beginsZlibStream(bytes + kHeadingSize)) {
    return Sign::zeroHeading;
  }
  if ((word == mark || word == swapped(mark)) && wordAt(bytes + 8) == 0) {
    return Sign::tableBeginning;
  }
  const bool beginsBlock = bytes[0] == kStreamBeginning[0] && bytes[1] == kStreamBeginning[1];
  return signs_ == Signs::placesAndBlocks && beginsBlock ? std::optional(Sign::blockBeginning) : std::nullopt;
}

// Where to go on behind a piece that was searched. The system is asked for holes only behind a piece of zeros, which
// most files do not have. A sign whose bytes are all zeros is none, but for position 0, and that was searched.
int64 HeadingSearch::behindHole(int64 position) const {
  const bool allZeros = piece_.front() == 0 && std::memcmp(piece_.data(), piece_.data() + 1, piece_.size() - 1) == 0;
  return allZeros ? std::max(position, source_.nextData(position) - static_cast<int64>(kLookAhead) + 1) : position;
}

std::optional<HeadingSearch::Find> HeadingSearch::next(int64 from) {
  int64 position = from;
  while (load(position)) {
    const int64 last = std::min(pieceEnd_ - static_cast<int64>(kLookAhead), source_.size());
    for (; position <= last; ++position) {
      if (const auto sign = signAt(piece_.data() + (position - pieceStart_), position)) {
        return Find{position, *sign};
      }
    }
    if (last >= source_.size()) {
      break;
    }
    position = behindHole(position);
  }
  return std::nullopt;
}

}  // namespace casefile
