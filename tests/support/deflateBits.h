#ifndef DATASOURCE_TESTS_DEFLATEBITS_H
#define DATASOURCE_TESTS_DEFLATEBITS_H

#include <zlib.h>

#include <array>
#include <cstddef>
#include <string>
#include <vector>

namespace support {

/// One step of the list of code lengths in a dynamic block's head: a symbol of the code for lengths (0, 1 and 2:
/// a length, 18: a run of zeros) and what follows it.
struct LengthStep {
  unsigned int symbol;
  unsigned int extra = 0;
  unsigned int extraBits = 0;
};

/// Returns: the step for one code length: 0, 1 or 2.
inline LengthStep codeLength(unsigned int length) { return {length}; }

/// Returns: the step for a run of 11 to 138 zeros.
inline LengthStep zeros(unsigned int count) { return {18, count - 11, 7}; }

/// Returns: lengths for a literal and length code of `count` symbols: 'a' has 1 bit, the end of the block and, with
/// `shortest`, the shortest match (symbol 257) share the rest.
inline std::vector<LengthStep> lettersAndEnd(std::size_t count, bool shortest = false) {
  const unsigned int rest = shortest ? 2 : 1;
  std::vector<LengthStep> steps = {zeros('a'), codeLength(1), zeros(138), zeros(256 - 'a' - 1 - 138), codeLength(rest)};
  for (std::size_t symbol = 257; symbol < count; ++symbol) {
    steps.push_back(codeLength(shortest && symbol == 257 ? rest : 0));
  }
  return steps;
}

/// Returns: `steps` and `more` behind them.
inline std::vector<LengthStep> with(std::vector<LengthStep> steps, const std::vector<LengthStep>& more) {
  steps.insert(steps.end(), more.begin(), more.end());
  return steps;
}

/// A deflate stream written bit by bit, for streams that no compressor makes.
class DeflateBits {
 public:
  /// Appends a number, its lowest bit first.
  DeflateBits& number(unsigned int value, unsigned int count) {
    for (unsigned int i = 0; i < count; ++i) {
      push((value >> i) & 1U);
    }
    return *this;
  }
  /// Appends a code word, its highest bit first.
  DeflateBits& word(unsigned int value, unsigned int count) {
    for (unsigned int i = count; i > 0; --i) {
      push((value >> (i - 1)) & 1U);
    }
    return *this;
  }
  /// Begins the last block, with the fixed codes.
  DeflateBits& fixedBlock() { return number(1, 1).number(1, 2); }
  /// Begins the last block, with codes of its own.
  DeflateBits& dynamicBlock(unsigned int literals, unsigned int distances, const std::vector<LengthStep>& steps) {
    number(1, 1).number(2, 2).number(literals - 257, 5).number(distances - 1, 5).number(kOrder.size() - 4, 4);
    for (const unsigned int symbol : kOrder) {
      number(wordOf(symbol) != kNoWord ? 2 : 0, 3);
    }
    for (const LengthStep& step : steps) {
      word(wordOf(step.symbol), 2).number(step.extra, step.extraBits);
    }
    return *this;
  }
  /// Returns: the zlib stream of these bits, with the check value of `plain`.
  std::string zlibStream(const std::string& plain) const {
    std::string stream = "\x78\x01" + bytes_;
    const uLong check = adler32(1, reinterpret_cast<const Bytef*>(plain.data()), static_cast<uInt>(plain.size()));
    for (unsigned int shift = 32; shift > 0; shift -= 8) {
      stream += static_cast<char>((check >> (shift - 8)) & 255U);
    }
    return stream;
  }

 private:
  // The code for lengths: the lengths 0, 1 and 2 and a long run of zeros, two bits each.
  static constexpr unsigned int kWords = 4;
  static constexpr std::array<unsigned int, 19> kOrder = {16, 17, 18, 0, 8,  7, 9,  6, 10, 5,
                                                          11, 4,  12, 3, 13, 2, 14, 1, 15};
  static constexpr unsigned int kNoWord = kWords;
  static constexpr unsigned int wordOf(unsigned int symbol) {
    return symbol <= 2 ? symbol : symbol == 18 ? kWords - 1 : kNoWord;
  }

  void push(unsigned int bit) {
    if (used_ % 8 == 0) {
      bytes_ += '\0';
    }
    bytes_.back() = static_cast<char>(static_cast<unsigned char>(bytes_.back()) | (bit << (used_ % 8)));
    ++used_;
  }

  std::string bytes_;
  std::size_t used_ = 0;
};

}  // namespace support

#endif
