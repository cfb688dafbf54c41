#include "blockHead.h"

#include <algorithm>

namespace datasource::form::deflating {
namespace {

using inflating::kFewZeros;
using inflating::kHeadOrder;
using inflating::kManyZeros;
using inflating::kRepeatLast;

// The kind, and how many words of each of the three codes are told.
constexpr std::size_t kFixedBits = 3 + 5 + 5 + 4;
constexpr std::size_t kFewestOrdered = 4;

constexpr unsigned extraBits(unsigned symbol) noexcept {
  switch (symbol) {
    case kRepeatLast:
      return 2;
    case kFewZeros:
      return 3;
    case kManyZeros:
      return 7;
    default:
      return 0;
  }
}

/// Returns: the number of words but for those at the end that are none, at least `fewest`.
std::size_t told(std::span<const CodeWord> words, std::size_t fewest) noexcept {
  std::size_t count = words.size();
  while (count > fewest && words[count - 1].length == 0) {
    --count;
  }
  return count;
}

}  // namespace

void BlockHead::add(unsigned symbol, std::size_t extra) noexcept {
  items_[itemCount_++] = {static_cast<std::uint8_t>(symbol), static_cast<std::uint8_t>(extra)};
  ++frequencies_[symbol];
}

void BlockHead::addRun(unsigned length, std::size_t times) noexcept {
  if (length != 0) {
    add(length, 0);
    --times;
  }
  while (times >= 3) {
    const std::size_t now = std::min<std::size_t>(times, length != 0 ? 6 : 138);
    if (length != 0) {
      add(kRepeatLast, now - 3);
    } else if (now <= 10) {
      add(kFewZeros, now - 3);
    } else {
      add(kManyZeros, now - 11);
    }
    times -= now;
  }
  for (; times > 0; --times) {
    add(length, 0);
  }
}

void BlockHead::make(std::span<const CodeWord> lengthWords, std::span<const CodeWord> distanceWords) noexcept {
  lengthWords_ = told(lengthWords, inflating::kFirstLength);
  distanceWords_ = told(distanceWords, 1);
  itemCount_ = 0;
  frequencies_.fill(0);
  const auto length = [&](std::size_t i) {  // of the words of both codes, one behind the other
    return i < lengthWords_ ? lengthWords[i].length : distanceWords[i - lengthWords_].length;
  };
  const std::size_t all = lengthWords_ + distanceWords_;
  for (std::size_t begin = 0, end = 0; begin < all; begin = end) {
    while (end < all && length(end) == length(begin)) {
      ++end;
    }
    addRun(length(begin), end - begin);
  }
  makePrefixCode(frequencies_, inflating::kLongestInHead, words_);
  ordered_ = kSymbols;
  // The end of the block has a length, which is not 0, and stands behind the first kFewestOrdered.
  while (words_[kHeadOrder[ordered_ - 1]].length == 0) {
    --ordered_;
  }
}

std::size_t BlockHead::bits() const noexcept {
  std::size_t bits = kFixedBits + 3 * ordered_;
  for (unsigned symbol = 0; symbol < kSymbols; ++symbol) {
    bits += frequencies_[symbol] * std::size_t{words_[symbol].length + extraBits(symbol)};
  }
  return bits;
}

void BlockHead::write(bool last, BitWriter& writer) const noexcept {
  constexpr unsigned kOwnCodes = 2;
  writer.put((last ? 1U : 0U) | kOwnCodes << 1U, 3);
  writer.put(lengthWords_ - inflating::kFirstLength, 5);
  writer.put(distanceWords_ - 1, 5);
  writer.put(ordered_ - kFewestOrdered, 4);
  for (std::size_t i = 0; i < ordered_; ++i) {
    writer.put(words_[kHeadOrder[i]].length, 3);
    writer.flush();
  }
  for (const Item& item : std::span(items_).first(itemCount_)) {
    writer.put(words_[item.symbol].bits, words_[item.symbol].length);
    writer.put(item.extra, extraBits(item.symbol));
    writer.flush();
  }
}

}  // namespace datasource::form::deflating
