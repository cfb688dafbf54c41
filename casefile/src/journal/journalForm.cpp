#include "journalForm.h"

#include <zlib.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <vector>

#include "formRules.h"

namespace casefile {
namespace {

constexpr char kMagic[] = "casefile journal";  // 16 bytes without the end
constexpr std::size_t kMagicSize = sizeof kMagic - 1;
constexpr std::size_t kNumber = 8;
constexpr std::size_t kCheckAt = 104;
constexpr std::size_t kHead = kCheckAt + kNumber;
constexpr std::uint64_t kOpen = 'o';
constexpr std::uint64_t kFinished = 'f';
constexpr std::size_t kPiece = 64 * 1024;
constexpr int64 kAnchorReach = 64 * 1024;
static_assert(kMagicSize == 16 && kHead == kJournalTailAt);
static_assert(72 + kHeadingSize + kNumber == kCheckAt);

using Head = std::array<unsigned char, kHead>;

void putNumber(unsigned char* at, std::uint64_t value) {
  for (std::size_t i = 0; i < kNumber; ++i) {
    at[i] = static_cast<unsigned char>(value >> (8 * i));
  }
}

std::uint64_t getNumber(const unsigned char* at) {
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < kNumber; ++i) {
    value |= static_cast<std::uint64_t>(at[i]) << (8 * i);
  }
  return value;
}

std::uint32_t extend(std::uint32_t sum, const unsigned char* bytes, std::size_t count) {
  return static_cast<std::uint32_t>(crc32(sum, bytes, static_cast<uInt>(count)));
}

// The product of two polynomials modulo that of CRC-32; x^k is the bit at 31 - k.
std::uint32_t multiply(std::uint32_t left, std::uint32_t right) {
  constexpr std::uint32_t kPolynomial = 0xEDB88320U;
  std::uint32_t product = 0;
  for (std::uint32_t bit = 0x80000000U; bit != 0; bit >>= 1U) {
    product ^= (left & bit) != 0 ? right : 0;
    right = (right >> 1U) ^ ((right & 1U) != 0 ? kPolynomial : 0);
  }
  return product;
}

// The check value when so many zeros follow, each of which is a multiplication by x^8.
std::uint32_t extendByZeros(std::uint32_t sum, int64 count) {
  std::uint32_t rest = ~sum;
  for (std::uint32_t factor = 0x00800000U; count > 0; count /= 2, factor = multiply(factor, factor)) {
    rest = count % 2 != 0 ? multiply(rest, factor) : rest;
  }
  return ~rest;
}

bool isZero(const unsigned char* bytes, std::size_t count) {
  return bytes[0] == 0 && std::memcmp(bytes, bytes + 1, count - 1) == 0;
}

Head encode(const JournalFacts& facts) {
  Head bytes{};
  std::memcpy(bytes.data(), kMagic, kMagicSize);
  putNumber(&bytes[16], facts.finished ? kFinished : kOpen);
  putNumber(&bytes[24], facts.fileNumber);
  putNumber(&bytes[32], facts.fileBorn);
  putNumber(&bytes[40], static_cast<std::uint64_t>(facts.row0));
  putNumber(&bytes[48], static_cast<std::uint64_t>(facts.oldLength));
  putNumber(&bytes[56], static_cast<std::uint64_t>(facts.tailStart));
  putNumber(&bytes[64], facts.anchor);
  std::memcpy(&bytes[72], facts.heading.data(), kHeadingSize);
  putNumber(&bytes[96], facts.tailCheck);
  putNumber(&bytes[kCheckAt], extend(0, bytes.data(), kCheckAt));
  return bytes;
}

JournalFacts decode(const Head& bytes) {
  JournalFacts facts;
  facts.finished = getNumber(&bytes[16]) == kFinished;
  facts.fileNumber = getNumber(&bytes[24]);
  facts.fileBorn = getNumber(&bytes[32]);
  facts.row0 = static_cast<int64>(getNumber(&bytes[40]));
  facts.oldLength = static_cast<int64>(getNumber(&bytes[48]));
  facts.tailStart = static_cast<int64>(getNumber(&bytes[56]));
  facts.anchor = static_cast<std::uint32_t>(getNumber(&bytes[64]));
  std::memcpy(facts.heading.data(), &bytes[72], kHeadingSize);
  facts.tailCheck = static_cast<std::uint32_t>(getNumber(&bytes[96]));
  return facts;
}

Head readHead(FileBytes& journal) {
  Head bytes{};
  journal.read(bytes.data(), bytes.size(), 0);
  return bytes;
}

bool isSoundHead(const Head& bytes) {
  const std::uint64_t state = getNumber(&bytes[16]);
  return std::memcmp(bytes.data(), kMagic, kMagicSize) == 0 &&
         getNumber(&bytes[kCheckAt]) == extend(0, bytes.data(), kCheckAt) && (state == kOpen || state == kFinished);
}

bool isSoundTail(FileBytes& journal, const JournalFacts& facts) {
  if (facts.row0 < 0 || facts.tailStart < facts.row0 || facts.oldLength < facts.tailStart ||
      journal.size() - kJournalTailAt != facts.oldLength - facts.tailStart) {
    return false;
  }
  std::uint32_t sum = 0;
  return forEachPiece(
             journal, kJournalTailAt, journal.size(),
             [&](const unsigned char* bytes, std::size_t count, int64) {
               sum = extend(sum, bytes, count);
               return true;
             },
             [&](int64 from, int64 to) {
               sum = extendByZeros(sum, to - from);
               return true;
             }) &&
         sum == facts.tailCheck;
}

// None: the source ends before.
std::optional<std::uint32_t> anchorOf(FileBytes& source, int64 row0, int64 tailStart) {
  std::uint32_t sum = 0;
  const auto add = [&](const unsigned char* bytes, std::size_t count, int64) {
    sum = extend(sum, bytes, count);
    return true;
  };
  const int64 firstBlock = row0 + static_cast<int64>(kHeadingSize);
  const bool whole = forEachPiece(source, std::max<int64>(0, row0 - kAnchorReach), row0, add) &&
                     forEachPiece(source, std::max(firstBlock, tailStart - kAnchorReach), tailStart, add);
  return whole ? std::optional(sum) : std::nullopt;
}

}  // namespace

bool JournalFacts::isOf(const files::FileIdentity& file) const noexcept {
  const bool bothTell = fileBorn != 0 && file.born != 0;
  return fileNumber == file.number && (!bothTell || fileBorn == file.born);
}

bool forEachPiece(FileBytes& source, int64 from, int64 to, const PieceUse& use, const HoleUse& useHole) {
  std::vector<unsigned char> piece(kPiece);
  while (from < to) {
    const auto wanted = static_cast<std::size_t>(std::min<int64>(to - from, kPiece));
    const std::size_t got = source.read(piece.data(), wanted, from);
    if (got == 0 || !use(piece.data(), got, from)) {
      return false;
    }
    from += static_cast<int64>(got);
    // The system is asked for holes only behind zeros, which most files do not have.
    const int64 data = useHole && from < to && isZero(piece.data(), got) ? std::min(source.nextData(from), to) : from;
    if (data > from) {
      useHole(from, data);
    }
    from = data;
  }
  return true;
}

bool readJournalHead(FileBytes& journal, JournalFacts& facts) {
  const Head bytes = readHead(journal);
  facts = decode(bytes);
  return isSoundHead(bytes);
}

JournalState readJournal(FileBytes& journal, JournalFacts& facts) {
  const Head bytes = readHead(journal);
  if (std::memcmp(bytes.data(), kMagic, kMagicSize) != 0) {
    return JournalState::foreign;
  }
  facts = decode(bytes);
  return isSoundHead(bytes) && isSoundTail(journal, facts) ? JournalState::sound : JournalState::damaged;
}

bool isTornHead(FileBytes& journal) {
  const Head bytes = readHead(journal);
  const auto written = std::mismatch(kMagic, kMagic + kMagicSize, bytes.begin()).second;
  const bool magicIsWhole = written - bytes.begin() == static_cast<std::ptrdiff_t>(kMagicSize);
  return magicIsWhole ? !isSoundHead(bytes)
                      : std::all_of(written, bytes.end(), [](unsigned char byte) { return byte == 0; });
}

void writeJournalHead(files::SystemFile& out, const JournalFacts& facts) {
  const Head bytes = encode(facts);
  out.writeAt(bytes.data(), bytes.size(), 0);
}

bool writeJournal(files::SystemFile& out, FileBytes& source, JournalFacts& facts,
                  const std::function<void()>& eachPiece) {
  facts.tailCheck = 0;
  writeJournalHead(out, facts);
  out.sync();  // tells from now on whose it is, whatever happens to the machine
  const auto keep = [&](const unsigned char* bytes, std::size_t count, int64 position) {
    facts.tailCheck = extend(facts.tailCheck, bytes, count);
    out.writeAt(bytes, count, kJournalTailAt + position - facts.tailStart);
    eachPiece();
    return true;
  };
  int64 end = facts.tailStart;  // behind the last hole
  const auto skip = [&](int64 from, int64 to) {
    facts.tailCheck = extendByZeros(facts.tailCheck, to - from);
    end = to;
    eachPiece();
  };
  if (!forEachPiece(source, facts.tailStart, facts.oldLength, keep, skip)) {
    return false;
  }
  if (end == facts.oldLength) {
    out.truncate(kJournalTailAt + end - facts.tailStart);
  }
  writeJournalHead(out, facts);
  return true;
}

std::optional<JournalFacts> factsOf(FileBytes& source, const AppendPlace& place, const files::FileIdentity& file) {
  JournalFacts facts;
  facts.fileNumber = file.number;
  facts.fileBorn = file.born;
  facts.row0 = place.row0;
  facts.oldLength = source.size();
  facts.tailStart = datasource::form::overwrittenByAppend(facts.row0, place.last).filePos;
  const auto anchor = anchorOf(source, facts.row0, facts.tailStart);
  if (!anchor || source.read(facts.heading.data(), facts.heading.size(), facts.row0) != facts.heading.size()) {
    return std::nullopt;
  }
  facts.anchor = *anchor;
  return facts;
}

bool isFactsOf(const JournalFacts& facts, FileBytes& source, const AppendPlace& place) {
  const auto own = factsOf(source, place, {});
  return own && own->row0 == facts.row0 && own->oldLength == facts.oldLength && own->tailStart == facts.tailStart &&
         own->anchor == facts.anchor && own->heading == facts.heading;
}

bool anchorFits(FileBytes& source, const JournalFacts& facts) {
  return source.size() >= facts.tailStart && anchorOf(source, facts.row0, facts.tailStart) == facts.anchor;
}

bool isAsBefore(FileBytes& source, FileBytes& journal, const JournalFacts& facts) {
  std::array<unsigned char, kHeadingSize> heading{};
  if (source.size() != facts.oldLength || !anchorFits(source, facts) ||
      source.read(heading.data(), heading.size(), facts.row0) != heading.size() || heading != facts.heading) {
    return false;
  }
  std::vector<unsigned char> kept(kPiece);
  const int64 shift = kJournalTailAt - facts.tailStart;
  const auto isKept = [&](const unsigned char* bytes, std::size_t count, int64 position) {
    return journal.read(kept.data(), count, position + shift) == count && std::memcmp(kept.data(), bytes, count) == 0;
  };
  const auto zerosAreKept = [&](int64 from, int64 to) {
    return forEachPiece(
        journal, from + shift, to + shift,
        [](const unsigned char* bytes, std::size_t count, int64) { return isZero(bytes, count); },
        [](int64, int64) { return true; });
  };
  return forEachPiece(source, facts.tailStart, facts.oldLength, isKept, zerosAreKept);
}

}  // namespace casefile
