#include "carefulLoop.h"

#include <cstddef>

namespace datasource::form::inflating {
namespace {

std::size_t withExtra(BitReader& reader, Range range) noexcept { return range.base + reader.take(range.extraBits); }

bool copyMatch(Output& output, std::size_t length, std::size_t distance) noexcept {
  if (distance > static_cast<std::size_t>(output.next - output.begin) ||
      length > static_cast<std::size_t>(output.end - output.next)) {
    return false;
  }
  const unsigned char* from = output.next - distance;
  for (; length != 0; --length) {
    *output.next++ = *from++;
  }
  return true;
}

/// A match whose length symbol was just taken; a refill before that had bits for all of it.
bool takeMatch(const BlockCodes& codes, BitReader& reader, Output& output, unsigned symbol) noexcept {
  if (symbol >= kLengthSymbols) {
    return false;
  }
  const std::size_t length = withExtra(reader, kLengths[symbol - kFirstLength]);
  const Word word = codes.distances.decode(reader.bits);
  if (word.bits == 0 || word.symbol >= kDistanceSymbols) {
    return false;
  }
  reader.drop(word.bits);
  const std::size_t distance = withExtra(reader, kDistances[word.symbol]);
  return !reader.overrun() && copyMatch(output, length, distance);
}

}  // namespace

LoopEnd carefulLoop(const BlockCodes& codes, BitReader& reader, Output& output, std::size_t wanted) noexcept {
  while (static_cast<std::size_t>(output.next - output.begin) < wanted) {
    reader.refill();
    const Word word = codes.lengths.decode(reader.bits);
    if (word.bits == 0) {
      return LoopEnd::damaged;
    }
    reader.drop(word.bits);
    if (reader.overrun()) {
      return LoopEnd::damaged;
    }
    if (word.symbol == kEndOfBlock) {
      return LoopEnd::endOfBlock;
    }
    if (word.symbol > kEndOfBlock) {
      if (!takeMatch(codes, reader, output, word.symbol)) {
        return LoopEnd::damaged;
      }
      continue;
    }
    if (output.next == output.end) {
      return LoopEnd::damaged;
    }
    *output.next++ = static_cast<unsigned char>(word.symbol);
  }
  return LoopEnd::stopped;
}

}  // namespace datasource::form::inflating
