#ifndef DATASOURCE_FORM_INFLATE_STEPTABLE_H
#define DATASOURCE_FORM_INFLATE_STEPTABLE_H

#include <array>
#include <cstddef>
#include <cstdint>

#include "alphabets.h"
#include "blockCodes.h"

namespace datasource::form::inflating {

/// What the next bits of a block say, as far as one look into a table tells: up to three literals, a match, or
/// literals with a match behind them.
///
///     bit  0            6   7      8           14         16       25              49         64
///          | bits taken |   | part | code bits | literals | length | literal bytes | distance |
///
/// The bits taken end with the extra bits of the distance, the code bits before them. A step without a match has
/// length 0 and a distance that does no harm (kNoMatch). A step that is `part` is none: with a length it has that
/// length, whose extra bits are the last of those it takes, and the distance is to be looked up; without one the code
/// itself has to be asked.
using Step = std::uint64_t;

constexpr Step kPart = 0x80;
constexpr unsigned kCodeBitsAt = 8;
constexpr unsigned kLiteralsAt = 14;
constexpr unsigned kLengthAt = 16;
constexpr unsigned kBytesAt = 25;
constexpr unsigned kDistanceAt = 49;

constexpr unsigned bitsTaken(Step step) noexcept { return static_cast<unsigned>(step & 0x3FU); }
constexpr unsigned codeBits(Step step) noexcept { return static_cast<unsigned>(step >> kCodeBitsAt & 0x3FU); }
constexpr unsigned literals(Step step) noexcept { return static_cast<unsigned>(step >> kLiteralsAt & 3U); }
constexpr unsigned lengthOf(Step step) noexcept { return static_cast<unsigned>(step >> kLengthAt & 0x1FFU); }
constexpr std::size_t distanceBase(Step step) noexcept { return step >> kDistanceAt; }
/// Returns: the literals' bytes, and behind them whatever comes.
constexpr std::uint32_t literalBytes(Step step) noexcept { return static_cast<std::uint32_t>(step >> kBytesAt); }

constexpr unsigned kStepBits = 12;
constexpr unsigned kMostBitsOfAStep = kStepBits + kDistances.back().extraBits;
constexpr unsigned kDistanceBits = 9;
/// The distance of a step without a match: it copies nothing, but from so far back that the processor need not wait
/// for what was written just now.
constexpr std::size_t kNoMatch = 512;
constexpr std::size_t kMostLiterals = 3;
constexpr std::size_t kMostBytesOfAStep = kMostLiterals + kLargestMatch;

/// The steps for all that the next 12 bits of a block can be.
class StepTable {
 public:
  void build(const BlockCodes& codes) noexcept;

  Step step(std::uint64_t bits) const noexcept { return steps_[bits & (steps_.size() - 1)]; }
  /// Returns: the distance that `bits` begin with, as a step of no length; kPart when its word is too long.
  Step distance(std::uint64_t bits) const noexcept { return distances_[bits & (distances_.size() - 1)]; }

 private:
  void addDistances(const CanonicalCode& code) noexcept;
  void addMatches(const CanonicalCode& code, Step* steps, unsigned width) const noexcept;
  void addLength(Step* steps, unsigned width, unsigned word, unsigned wordBits, Range length) const noexcept;
  void addFollowers(const CanonicalCode& code, unsigned width) noexcept;
  void addLiterals(const CanonicalCode& code) noexcept;
  void addParts(const CanonicalCode& code) noexcept;

  std::array<Step, std::size_t{1} << kStepBits> steps_;
  std::array<Step, std::size_t{1} << kDistanceBits> distances_;
  // What may follow a literal within the bits that the shortest literal leaves: one symbol, and as many as fit.
  std::array<Step, std::size_t{1} << (kStepBits - 1)> single_;
  std::array<Step, std::size_t{1} << (kStepBits - 1)> followers_;
};

}  // namespace datasource::form::inflating

#endif
