#include "blockCodes.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

namespace datasource::form::inflating {
namespace {

/// The code that the lengths of the block's words are written in, by all that 7 bits can be.
class HeadCode {
 public:
  bool read(BitReader& reader, unsigned declared) noexcept {
    std::array<std::uint8_t, kHeadOrder.size()> lengths{};
    for (unsigned i = 0; i < declared; ++i) {
      reader.refill();
      lengths[kHeadOrder[i]] = static_cast<std::uint8_t>(reader.take(3));
    }
    CanonicalCode code;
    if (code.assign(lengths.data(), lengths.size()) != Fullness::full) {
      return false;
    }
    code.forWords(kLongestInHead, [this](unsigned symbol, unsigned word, unsigned bits) {
      for (std::size_t i = word; i < words_.size(); i += std::size_t{1} << bits) {
        words_[i] = {symbol, bits};
      }
    });
    return true;
  }
  unsigned take(BitReader& reader) const noexcept {
    const Word word = words_[lowBits(reader.bits, kLongestInHead)];
    reader.drop(word.bits);
    return word.symbol;
  }

 private:
  std::array<Word, 1U << kLongestInHead> words_;
};

/// What the lengths of both codes are read into, one behind the other.
struct Lengths {
  std::array<std::uint8_t, kLengthSymbols + kDistanceSymbols> values{};
  std::size_t wanted = 0;
};

/// Returns: whether as many lengths came as are wanted, and no more.
bool readLengths(BitReader& reader, const HeadCode& head, Lengths& lengths) noexcept {
  std::size_t known = 0;
  while (known < lengths.wanted) {
    reader.refill();
    const unsigned symbol = head.take(reader);
    if (symbol < kRepeatLast) {
      lengths.values[known++] = static_cast<std::uint8_t>(symbol);
      continue;
    }
    if (symbol == kRepeatLast && known == 0) {
      return false;
    }
    const std::uint8_t value = symbol == kRepeatLast ? lengths.values[known - 1] : std::uint8_t{0};
    const std::size_t times = symbol == kRepeatLast ? 3 + reader.take(2)
                              : symbol == kFewZeros ? 3 + reader.take(3)
                                                    : 11 + reader.take(7);
    if (times > lengths.wanted - known) {
      return false;
    }
    std::fill_n(lengths.values.begin() + static_cast<std::ptrdiff_t>(known), times, value);
    known += times;
  }
  return true;
}

constexpr bool isSound(Fullness fullness) noexcept {
  return fullness == Fullness::full || fullness == Fullness::singleBit || fullness == Fullness::none;
}

}  // namespace

void makeFixedCodes(BlockCodes& codes) noexcept {
  std::array<std::uint8_t, kFixedLengthSymbols> lengths;
  std::fill(lengths.begin(), lengths.begin() + 144, std::uint8_t{8});
  std::fill(lengths.begin() + 144, lengths.begin() + 256, std::uint8_t{9});
  std::fill(lengths.begin() + 256, lengths.begin() + 280, std::uint8_t{7});
  std::fill(lengths.begin() + 280, lengths.end(), std::uint8_t{8});
  codes.lengths.assign(lengths.data(), lengths.size());
  std::fill(lengths.begin(), lengths.begin() + 32, std::uint8_t{5});
  codes.distances.assign(lengths.data(), 32);
}

bool readCodes(BitReader& reader, BlockCodes& codes) noexcept {
  reader.refill();
  const std::size_t lengthSymbols = 257 + reader.take(5);
  const std::size_t distanceSymbols = 1 + reader.take(5);
  const unsigned declared = 4 + reader.take(4);
  if (lengthSymbols > kLengthSymbols || distanceSymbols > kDistanceSymbols) {
    return false;
  }
  HeadCode head;
  Lengths lengths;
  lengths.wanted = lengthSymbols + distanceSymbols;
  if (!head.read(reader, declared) || !readLengths(reader, head, lengths) || lengths.values[kEndOfBlock] == 0) {
    return false;
  }
  return isSound(codes.lengths.assign(lengths.values.data(), lengthSymbols)) &&
         isSound(codes.distances.assign(lengths.values.data() + lengthSymbols, distanceSymbols));
}

}  // namespace datasource::form::inflating
