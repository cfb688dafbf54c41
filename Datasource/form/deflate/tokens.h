#ifndef DATASOURCE_FORM_DEFLATE_TOKENS_H
#define DATASOURCE_FORM_DEFLATE_TOKENS_H

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

#include "inflate/alphabets.h"

namespace datasource::form::deflating {

/// What two symbols of a block are:
///
///     bits  0 .. 8    a literal, or kFirstLength and what a match is longer than the shortest
///     bits  9 .. 17   a match's distance symbol, or kNothing, or kSecondLiteral and a second literal
///     bits 18 .. 30   what the distance is more than its symbol's base
using Token = std::uint32_t;

constexpr std::size_t kFirstKinds = 512;
constexpr std::size_t kSecondKinds = 288;
constexpr unsigned kTokenLengths = 256;
constexpr unsigned kShortestLength = 3;
constexpr unsigned kNothing = 30;
constexpr unsigned kSecondLiteral = 32;

constexpr unsigned firstOf(Token token) noexcept { return token & 511U; }
constexpr unsigned secondOf(Token token) noexcept { return token >> 9U & 511U; }
constexpr unsigned extraOf(Token token) noexcept { return token >> 18U; }

/// Returns: the symbol of a distance.
constexpr unsigned distanceSymbol(unsigned distance) noexcept {
  const unsigned above = distance - 1;
  if (above < 4) {
    return above;
  }
  const auto log = static_cast<unsigned>(std::bit_width(above)) - 1;
  return 2 * log + (above >> (log - 1) & 1U);
}

static_assert([] {
  for (unsigned symbol = 0; symbol < inflating::kDistanceSymbols; ++symbol) {
    const inflating::Range range = inflating::kDistances[symbol];
    if (distanceSymbol(range.base) != symbol || distanceSymbol(range.base + (1U << range.extraBits) - 1) != symbol) {
      return false;
    }
  }
  return true;
}());

/// The symbols of one block, and how often each occurs.
class Tokens {
 public:
  static constexpr std::size_t kLongestRun = 8192;        ///< literals that may be added at once
  static constexpr std::size_t kFewestBytes = 32 * 1024;  ///< of a block whose tokens are full

  void clear() noexcept {
    size_ = 0;
    first_.fill(0);
    second_.fill(0);
  }

  /// Returns: whether the block is long enough. It takes a run of literals and a match still.
  bool full() const noexcept { return size_ >= kEnough; }

  /// Adds the bytes from `from` to `to`, at most kLongestRun.
  void addLiterals(const unsigned char* from, const unsigned char* to) noexcept {
    for (; to - from >= 2; from += 2) {
      add(from[0], kSecondLiteral + from[1], 0);
    }
    if (from != to) {
      add(*from, kNothing, 0);
    }
  }

  void addMatch(unsigned length, unsigned distance) noexcept {
    const unsigned symbol = distanceSymbol(distance);
    add(kTokenLengths + length - kShortestLength, symbol, distance - inflating::kDistances[symbol].base);
  }

  const Token* begin() const noexcept { return tokens_.data(); }
  const Token* end() const noexcept { return tokens_.data() + size_; }

  std::uint32_t literals(unsigned byte) const noexcept { return first_[byte] + second_[kSecondLiteral + byte]; }
  std::uint32_t lengths(unsigned length) const noexcept { return first_[kTokenLengths + length - kShortestLength]; }
  std::uint32_t distances(unsigned symbol) const noexcept { return second_[symbol]; }

 private:
  static constexpr std::size_t kEnough = kFewestBytes;  // each stands for a byte at least

  void add(unsigned first, unsigned second, unsigned extra) noexcept {
    ++first_[first];
    ++second_[second];
    tokens_[size_++] = first | second << 9U | extra << 18U;
  }

  std::size_t size_ = 0;
  std::array<std::uint32_t, kFirstKinds> first_;
  std::array<std::uint32_t, kSecondKinds> second_;
  std::array<Token, kEnough + kLongestRun / 2 + 2> tokens_;
};

}  // namespace datasource::form::deflating

#endif
