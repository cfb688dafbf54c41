#include "blockWriter.h"

#include <algorithm>
#include <cstring>

namespace datasource::form::deflating {
namespace {

using inflating::kDistances;
using inflating::kDistanceSymbols;
using inflating::kEndOfBlock;
using inflating::kFirstLength;
using inflating::kLargestMatch;
using inflating::kLengths;
using inflating::kLengthSymbols;

constexpr unsigned kLongestDistanceWord = inflating::kLongestCode;
// One less than may be: with it the longest token and what waits behind it are below 64 bits.
constexpr unsigned kLongestLengthWord = 14;
static_assert(kLongestLengthWord + 5 + kLongestDistanceWord + 13 + 7 < 64);

/// Returns: for each match length the place of its symbol among those of lengths.
constexpr std::array<std::uint8_t, kLargestMatch + 1> kLengthPlaces = [] {
  std::array<std::uint8_t, kLargestMatch + 1> places{};
  for (std::size_t place = 0; place < kLengths.size(); ++place) {
    for (std::size_t length = kLengths[place].base; length <= kLargestMatch; ++length) {
      places[length] = static_cast<std::uint8_t>(place);
    }
  }
  return places;
}();

std::size_t storedPieces(std::size_t count, std::size_t longest) noexcept {
  return std::max<std::size_t>(1, (count + longest - 1) / longest);
}

}  // namespace

void BlockWriter::makeCodes(const Tokens& tokens) noexcept {
  std::array<std::uint32_t, kLengthSymbols> lengths{};
  for (unsigned byte = 0; byte < kEndOfBlock; ++byte) {
    lengths[byte] = tokens.literals(byte);
  }
  lengths[kEndOfBlock] = 1;
  for (unsigned length = kShortestLength; length <= kLargestMatch; ++length) {
    lengths[kFirstLength + kLengthPlaces[length]] += tokens.lengths(length);
  }
  std::array<std::uint32_t, kDistanceSymbols> distances;
  for (unsigned symbol = 0; symbol < kDistanceSymbols; ++symbol) {
    distances[symbol] = tokens.distances(symbol);
  }
  makePrefixCode(lengths, kLongestLengthWord, lengthWords_);
  makePrefixCode(distances, kLongestDistanceWord, distanceWords_);
  head_.make(lengthWords_, distanceWords_);
  bits_ = head_.bits();
  for (std::size_t symbol = 0; symbol < kLengthSymbols; ++symbol) {
    const unsigned extra = symbol < kFirstLength ? 0U : kLengths[symbol - kFirstLength].extraBits;
    bits_ += lengths[symbol] * std::size_t{lengthWords_[symbol].length + extra};
  }
  for (std::size_t symbol = 0; symbol < kDistanceSymbols; ++symbol) {
    bits_ += distances[symbol] * std::size_t{distanceWords_[symbol].length + unsigned{kDistances[symbol].extraBits}};
  }
}

void BlockWriter::makePieces() noexcept {
  for (unsigned byte = 0; byte < kEndOfBlock; ++byte) {
    const CodeWord word = lengthWords_[byte];
    first_[byte] = {word.bits, word.length, word.length};
    second_[kSecondLiteral + byte] = first_[byte];
  }
  for (unsigned length = kShortestLength; length <= kLargestMatch; ++length) {
    const auto range = kLengths[kLengthPlaces[length]];
    const CodeWord word = lengthWords_[kFirstLength + kLengthPlaces[length]];
    first_[kTokenLengths + length - kShortestLength] = {word.bits | (length - range.base) << word.length, word.length,
                                                        static_cast<std::uint8_t>(word.length + range.extraBits)};
  }
  for (unsigned symbol = 0; symbol < kDistanceSymbols; ++symbol) {
    const CodeWord word = distanceWords_[symbol];
    second_[symbol] = {word.bits, word.length, static_cast<std::uint8_t>(word.length + kDistances[symbol].extraBits)};
  }
  second_[kNothing] = {};
}

template <bool roomy>
void BlockWriter::writeTokens(const Tokens& tokens, BitWriter& writer) const noexcept {
  BitWriter own = writer;  // one that the compiler keeps in registers
  for (const Token token : tokens) {
    const Piece first = first_[firstOf(token)];
    const Piece second = second_[secondOf(token)];
    const std::uint64_t both = second.bits | std::uint64_t{extraOf(token)} << second.codeBits;
    own.put(first.bits | both << first.allBits, unsigned{first.allBits} + second.allBits);
    if constexpr (roomy) {
      own.flushQuickly();
    } else {
      own.flush();
    }
  }
  writer = own;
}

void BlockWriter::writeStored(std::span<const unsigned char> plain, bool last, BitWriter& writer) noexcept {
  do {
    const std::size_t length = std::min(plain.size(), kLongestStored);
    writer.put(last && length == plain.size() ? 1 : 0, 3);
    writer.toByte();
    writer.put(length | (length ^ 0xFFFFU) << 16U, 32);
    writer.flush();
    std::memcpy(writer.next, plain.data(), length);
    writer.next += length;
    plain = plain.subspan(length);
  } while (!plain.empty());
}

bool BlockWriter::write(const Tokens& tokens, std::span<const unsigned char> plain, bool last,
                        BitWriter& writer) noexcept {
  makeCodes(tokens);
  const std::size_t coded = (writer.count + bits_ + 7) / 8;
  const std::size_t pieces = storedPieces(plain.size(), kLongestStored);
  const std::size_t stored = (writer.count + 3 + 7) / 8 + 4 + (pieces - 1) * kStoredHead + plain.size();
  if (std::min(coded, stored) > writer.room()) {
    return false;
  }
  if (stored <= coded) {
    writeStored(plain, last, writer);
    return true;
  }
  const bool isRoomy = coded + BitWriter::kSpare <= writer.room();
  makePieces();
  head_.write(last, writer);
  if (isRoomy) {
    writeTokens<true>(tokens, writer);
  } else {
    writeTokens<false>(tokens, writer);
  }
  writer.put(lengthWords_[kEndOfBlock].bits, lengthWords_[kEndOfBlock].length);
  writer.flush();
  return true;
}

}  // namespace datasource::form::deflating
