#include "stepTable.h"

#include <algorithm>

namespace datasource::form::inflating {
namespace {

constexpr std::size_t entries(unsigned width) noexcept { return std::size_t{1} << width; }

constexpr Step stepOf(unsigned taken, unsigned code, unsigned length, std::size_t distance) noexcept {
  return taken | Step{code} << kCodeBitsAt | Step{length} << kLengthAt | Step{distance} << kDistanceAt;
}

constexpr Step literalStep(unsigned symbol, unsigned bits) noexcept {
  return stepOf(bits, bits, 0, kNoMatch) | Step{1} << kLiteralsAt | Step{symbol} << kBytesAt;
}

/// Returns: `next` with the literal before it.
constexpr Step before(unsigned symbol, unsigned bits, Step next) noexcept {
  constexpr Step kBytes = Step{0xFFFFFF} << kBytesAt;
  const Step rest = (next & ~kBytes) + (bits | Step{bits} << kCodeBitsAt | Step{1} << kLiteralsAt);
  return rest | ((next & kBytes) << 8U & kBytes) | Step{symbol} << kBytesAt;
}

constexpr bool mayFollow(Step next, unsigned room) noexcept {
  return (next & kPart) == 0 && codeBits(next) <= room && literals(next) < kMostLiterals;
}

constexpr bool isLiteral(unsigned symbol) noexcept { return symbol < kEndOfBlock; }
constexpr bool isLength(unsigned symbol) noexcept { return symbol >= kFirstLength && symbol < kLengthSymbols; }

void addSingleLiterals(const CanonicalCode& code, Step* steps, unsigned width) noexcept {
  code.forWords(width, [=](unsigned symbol, unsigned word, unsigned bits) {
    for (std::size_t i = word; isLiteral(symbol) && i < entries(width); i += entries(bits)) {
      steps[i] = literalStep(symbol, bits);
    }
  });
}

unsigned shortestLiteral(const CanonicalCode& code) noexcept {
  unsigned shortest = kStepBits;
  code.forWords(kStepBits, [&](unsigned symbol, unsigned, unsigned bits) {
    shortest = isLiteral(symbol) ? std::min(shortest, bits) : shortest;
  });
  return shortest;
}

}  // namespace

void StepTable::addDistances(const CanonicalCode& code) noexcept {
  distances_.fill(kPart);
  code.forWords(kDistanceBits, [this](unsigned symbol, unsigned word, unsigned bits) {
    if (symbol >= kDistanceSymbols) {
      return;
    }
    const Range range = kDistances[symbol];
    for (std::size_t i = word; i < distances_.size(); i += entries(bits)) {
      distances_[i] = stepOf(bits + range.extraBits, bits, 0, range.base);
    }
  });
}

void StepTable::addLength(Step* steps, unsigned width, unsigned word, unsigned wordBits, Range length) const noexcept {
  const unsigned used = wordBits + length.extraBits;
  if (used >= width) {
    for (std::size_t i = word; i < entries(width); i += entries(wordBits)) {
      steps[i] = kPart | stepOf(used, wordBits, length.base, 0);
    }
    return;
  }
  const unsigned room = width - used;
  for (unsigned extra = 0; extra < entries(length.extraBits); ++extra) {
    const Step known = stepOf(used, used, length.base + extra, 0);
    Step* const from = steps + (word | extra << wordBits);
    for (std::size_t rest = 0; rest < entries(room); ++rest) {
      const Step found = distance(rest);
      from[rest << used] = known + (codeBits(found) <= room ? found : kPart);
    }
  }
}

void StepTable::addMatches(const CanonicalCode& code, Step* steps, unsigned width) const noexcept {
  code.forWords(width, [=, this](unsigned symbol, unsigned word, unsigned bits) {
    if (isLength(symbol)) {
      addLength(steps, width, word, bits, kLengths[symbol - kFirstLength]);
    }
  });
}

/// What may follow a literal: one symbol, and as many as fit.
void StepTable::addFollowers(const CanonicalCode& code, unsigned width) noexcept {
  std::fill_n(single_.begin(), entries(width), kPart);
  addMatches(code, single_.data(), width);
  addSingleLiterals(code, single_.data(), width);
  for (std::size_t i = 0; i < entries(width); ++i) {
    const Step first = single_[i];
    followers_[i] = first;
    if ((first & kPart) == 0 && lengthOf(first) == 0) {
      const unsigned bits = codeBits(first);
      const Step next = followers_[i >> bits];
      followers_[i] = mayFollow(next, width - bits) ? before(literalBytes(first) & 0xFFU, bits, next) : first;
    }
  }
}

/// A literal takes along what follows it in the same 12 bits: all that fits, else one symbol, else nothing.
void StepTable::addLiterals(const CanonicalCode& code) noexcept {
  addFollowers(code, kStepBits - shortestLiteral(code));
  code.forWords(kStepBits, [this](unsigned symbol, unsigned word, unsigned bits) {
    if (!isLiteral(symbol)) {
      return;
    }
    const unsigned room = kStepBits - bits;
    for (std::size_t rest = 0; rest < entries(room); ++rest) {
      const Step many = followers_[rest];
      const Step next = mayFollow(many, room) ? many : single_[rest];
      steps_[word | rest << bits] = mayFollow(next, room) ? before(symbol, bits, next) : literalStep(symbol, bits);
    }
  });
}

/// Words that are no step: too long ones, and those of symbols that are neither literal nor match.
void StepTable::addParts(const CanonicalCode& code) noexcept {
  if (!code.isFull()) {
    steps_.fill(kPart);
    return;
  }
  code.forWords(kLongestCode, [this](unsigned symbol, unsigned word, unsigned bits) {
    if (bits > kStepBits) {
      steps_[word & (steps_.size() - 1)] = kPart;
    } else if (!isLiteral(symbol) && !isLength(symbol)) {
      for (std::size_t i = word; i < steps_.size(); i += entries(bits)) {
        steps_[i] = kPart;
      }
    }
  });
}

void StepTable::build(const BlockCodes& codes) noexcept {
  addDistances(codes.distances);
  addParts(codes.lengths);
  addMatches(codes.lengths, steps_.data(), kStepBits);
  addLiterals(codes.lengths);
}

}  // namespace datasource::form::inflating
