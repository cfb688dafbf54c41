#ifndef DATASOURCE_FORM_INFLATE_ALPHABETS_H
#define DATASOURCE_FORM_INFLATE_ALPHABETS_H

#include <array>
#include <cstddef>
#include <cstdint>

// The symbols of deflate (RFC 1951, 3.2.5 to 3.2.7) and what they mean.

namespace datasource::form::inflating {

constexpr unsigned kLongestCode = 15;             ///< bits of a code word
constexpr std::size_t kLengthSymbols = 286;       ///< literals, end of block and lengths that mean something
constexpr std::size_t kFixedLengthSymbols = 288;  ///< as the fixed code counts them
constexpr std::size_t kDistanceSymbols = 30;
constexpr std::size_t kLargestMatch = 258;
constexpr std::size_t kLargestDistance = 32768;
constexpr unsigned kEndOfBlock = 256;
constexpr unsigned kFirstLength = 257;

// What the lengths of words at the head of a block are told by: themselves, and runs.
constexpr unsigned kRepeatLast = 16;
constexpr unsigned kFewZeros = 17;
constexpr unsigned kManyZeros = 18;
constexpr unsigned kLongestInHead = 7;  ///< bits of a word that stands for one of them
constexpr std::array<std::uint8_t, 19> kHeadOrder = {16, 17, 18, 0, 8, 7, 9, 6, 10, 5, 11, 4, 12, 3, 13, 2, 14, 1, 15};

/// A symbol that stands for `base` and as many more as its extra bits say.
struct Range {
  std::uint16_t base;
  std::uint8_t extraBits;
};

constexpr std::array<Range, kLengthSymbols - kFirstLength> kLengths = [] {
  std::array<Range, kLengthSymbols - kFirstLength> lengths{};
  unsigned base = 3;
  for (unsigned i = 0; i + 1 < lengths.size(); ++i) {
    const unsigned extra = i < 8 ? 0 : i / 4 - 1;
    lengths[i] = {static_cast<std::uint16_t>(base), static_cast<std::uint8_t>(extra)};
    base += 1U << extra;
  }
  lengths.back() = {static_cast<std::uint16_t>(kLargestMatch), 0};
  return lengths;
}();

constexpr std::array<Range, kDistanceSymbols> kDistances = [] {
  std::array<Range, kDistanceSymbols> distances{};
  unsigned base = 1;
  for (unsigned i = 0; i < distances.size(); ++i) {
    const unsigned extra = i < 4 ? 0 : i / 2 - 1;
    distances[i] = {static_cast<std::uint16_t>(base), static_cast<std::uint8_t>(extra)};
    base += 1U << extra;
  }
  return distances;
}();
static_assert(kLengths[27].base == 227 && kLengths[27].extraBits == 5);
static_assert(kDistances[29].base == 24577 && kDistances[29].extraBits == 13);

}  // namespace datasource::form::inflating

#endif
