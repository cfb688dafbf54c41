#ifndef DATASOURCE_FORM_DEFLATE_PREFIXCODE_H
#define DATASOURCE_FORM_DEFLATE_PREFIXCODE_H

#include <cstdint>
#include <span>

#include "inflate/alphabets.h"

namespace datasource::form::deflating {

/// A symbol's word; no bits: none. The word's first bit is its lowest, as in the stream.
struct CodeWord {
  std::uint16_t bits = 0;
  std::uint8_t length = 0;
};

/// Makes a prefix code of words of at most `longest` bits, the shorter the more frequent the symbol. Two symbols at
/// least get a word, so that every code is full.
///
/// Requires: as many words as frequencies, from 2 to kFixedLengthSymbols; so many fit `longest`, at most 15. The sum
///   of the frequencies is below 2^32.
/// Cost: sorts the symbols.
void makePrefixCode(std::span<const std::uint32_t> frequencies, unsigned longest, std::span<CodeWord> words) noexcept;

/// Gives each word its bits: those of a length are in the order of their symbols.
/// Requires: the lengths are those of a prefix code.
void assignBits(std::span<CodeWord> words) noexcept;

}  // namespace datasource::form::deflating

#endif
