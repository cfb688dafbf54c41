#ifndef DATASOURCE_FORM_INFLATE_CANONICALCODE_H
#define DATASOURCE_FORM_INFLATE_CANONICALCODE_H

#include <array>
#include <cstddef>
#include <cstdint>

#include "alphabets.h"

namespace datasource::form::inflating {

/// Whether the code words of a prefix code fill the whole of it.
enum class Fullness {
  full,
  singleBit,        ///< one word of one bit, or none at all: a rule makes these two sound
  none,             ///< see singleBit
  undersubscribed,  ///< words are left that mean nothing
  oversubscribed    ///< words mean more than one symbol
};

/// A symbol and the bits of its word; no bits: no such word.
struct Word {
  unsigned symbol = 0;
  unsigned bits = 0;
};

/// Returns: the lowest `length` bits of `word`, 16 at most, in turned order.
constexpr unsigned reversed(unsigned word, unsigned length) noexcept {
  word = (word & 0x5555U) << 1U | (word >> 1U & 0x5555U);
  word = (word & 0x3333U) << 2U | (word >> 2U & 0x3333U);
  word = (word & 0x0F0FU) << 4U | (word >> 4U & 0x0F0FU);
  word = (word & 0x00FFU) << 8U | (word >> 8U & 0x00FFU);
  return word >> (16 - length);
}

/// The prefix code that lengths of code words stand for: words of a length are in the order of their symbols.
class CanonicalCode {
 public:
  /// Returns: what the lengths make. Over- and undersubscribed codes are not to be used.
  Fullness assign(const std::uint8_t* lengths, std::size_t symbols) noexcept;

  /// Returns: the word that `bits` begin with.
  /// Cost: a few operations for each bit of the word.
  Word decode(std::uint64_t bits) const noexcept;

  /// Calls `use(symbol, word, length)` for every word of up to `longest` bits, the shortest first; the word's first
  /// bit is its lowest, as in the stream.
  template <typename Use>
  void forWords(unsigned longest, Use use) const noexcept {
    for (unsigned length = 1; length <= longest; ++length) {
      for (unsigned number = 0; number < count_[length]; ++number) {
        use(unsigned{symbols_[place_[length] + number]}, reversed(first_[length] + number, length), length);
      }
    }
  }
  bool isFull() const noexcept { return full_; }

 private:
  std::array<std::uint16_t, kLongestCode + 1> count_{};
  std::array<std::uint16_t, kLongestCode + 1> first_{};  // the first word of each length
  std::array<std::uint16_t, kLongestCode + 1> place_{};  // and its symbol's place in:
  std::array<std::uint16_t, kFixedLengthSymbols> symbols_{};
  bool full_ = false;
};

}  // namespace datasource::form::inflating

#endif
