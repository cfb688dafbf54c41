#ifndef DATASOURCE_FORM_INFLATE_FASTLOOP_H
#define DATASOURCE_FORM_INFLATE_FASTLOOP_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "bitReader.h"
#include "fastLoops.h"
#include "stepTable.h"

namespace datasource::form::inflating {

/// The fast loop for one kind of processor. `Machine`, of an unnamed namespace so that nothing of this is shared
/// between sources that are compiled for different processors, knows two things better than the language:
///
///     low(value, step)              the lowest bits of `value`, as many as the step, which is no part, takes
///     repeat(to, from, distance)    16 bytes to `to`, as if copied one after the other from `from`, which lies
///                                   `distance` before
template <typename Machine>
class FastLoop {
 public:
  static LoopEnd run(const BlockTables& tables, BitReader& reader, Output& output, unsigned char* stop) noexcept {
    FastLoop loop(tables, reader, output);
    const LoopEnd end = loop.steps(stop);
    reader.next = loop.next_;
    reader.bits = loop.bits_;
    reader.count = loop.count_ & 63U;
    output.next = loop.out_;
    return end;
  }

 private:
  FastLoop(const BlockTables& tables, const BitReader& reader, const Output& output)
      : tables_(tables),
        next_(reader.next),
        last_(reader.end - kInputAhead),
        bits_(reader.bits),
        count_(reader.count),
        out_(output.next),
        begin_(output.begin) {}

  static std::uint64_t load(const unsigned char* from) noexcept {
    std::uint64_t value = 0;
    std::memcpy(&value, from, sizeof value);
    return value;
  }

  static void copy16(unsigned char* to, const unsigned char* from) noexcept {
    std::array<std::uint64_t, 2> bytes;  // the places may overlap
    std::memcpy(bytes.data(), from, sizeof bytes);
    std::memcpy(to, bytes.data(), sizeof bytes);
  }

  /// Changes: all 64 bits are there, of which the count has the whole bytes, 56 bits at least; its own bits above the
  /// lowest six mean nothing.
  void refill() noexcept {
    bits_ |= load(next_) << (count_ & 63U);
    next_ += 7U - (count_ >> 3U & 7U);
    count_ |= 56U;
  }

  /// `number`: how many bits, or a step that takes them. What a step has above the lowest six bits comes to where the
  /// count means nothing.
  void drop(std::uint64_t number) noexcept {
    bits_ >>= number & 63U;
    count_ -= static_cast<unsigned>(number);
  }

  void lookUpStep() noexcept { step_ = tables_.steps.step(bits_); }

  /// Returns: what a step's base and its extra bits, the last of those it takes, make; the step is taken then.
  std::size_t take(std::size_t base, Step step) noexcept {
    const std::size_t value = base + (Machine::low(bits_, step) >> codeBits(step));
    drop(step);
    return value;
  }

  /// Copies what a match is longer than 16 bytes.
  static void copyRest(unsigned char* to, const unsigned char* end, std::size_t distance) noexcept {
    // The least multiple of a short distance that leaves 16 bytes between.
    static constexpr std::array<std::uint8_t, 16> kMultiple = {16, 16, 16, 18, 16, 20, 18, 21,
                                                               16, 18, 20, 22, 24, 26, 28, 30};
    if (distance == 1) {
      std::memset(to, to[-1], static_cast<std::size_t>(end - to));
      return;
    }
    distance = distance < 16 ? kMultiple[distance] : distance;
    do {
      copy16(to, to - distance);
      copy16(to + 16, to + 16 - distance);
      to += 32;
    } while (to < end);
  }

  bool match(std::size_t length, std::size_t distance) noexcept {
    if (distance > static_cast<std::size_t>(out_ - begin_)) [[unlikely]] {
      return false;
    }
    unsigned char* const to = out_;
    out_ += length;
    Machine::repeat(to, to - distance, distance);
    if (length > 16) [[unlikely]] {
      copyRest(to + 16, out_, distance);
    }
    return true;
  }

  /// A step, and the bits that it stands at the beginning of.
  struct TakenStep {
    Step step;
    std::uint64_t bits;
  };

  /// Takes the step and looks up the next one: at once, so that this does not wait for a refill.
  /// Requires: the step is no part.
  TakenStep takeStep() noexcept {
    const TakenStep taken{step_, bits_};
    drop(step_);
    lookUpStep();
    return taken;
  }

  bool write(TakenStep taken) noexcept {
    const Step step = taken.step;
    const std::size_t distance = distanceBase(step) + (Machine::low(taken.bits, step) >> codeBits(step));
    const std::uint32_t bytes = literalBytes(step);
    std::memcpy(out_, &bytes, sizeof bytes);
    out_ += literals(step);
    return match(lengthOf(step), distance);
  }

  bool distanceAndMatch(std::size_t length) noexcept {
    if (const Step step = tables_.steps.distance(bits_); (step & kPart) == 0) {
      return match(length, take(distanceBase(step), step));
    }
    const Word word = tables_.codes.distances.decode(bits_);
    if (word.bits == 0 || word.symbol >= kDistanceSymbols) {
      return false;
    }
    drop(word.bits);
    const Range range = kDistances[word.symbol];
    const std::size_t distance = range.base + lowBits(bits_, range.extraBits);
    drop(range.extraBits);
    return match(length, distance);
  }

  /// What the table does not have: rare symbols, and the end of the block.
  LoopEnd rare() noexcept {
    const Word word = tables_.codes.lengths.decode(bits_);
    if (word.bits == 0 || word.symbol >= kLengthSymbols) {
      return LoopEnd::damaged;
    }
    drop(word.bits);
    if (word.symbol == kEndOfBlock) {
      return LoopEnd::endOfBlock;
    }
    if (word.symbol < kEndOfBlock) {
      *out_++ = static_cast<unsigned char>(word.symbol);
      return LoopEnd::stopped;
    }
    const Range range = kLengths[word.symbol - kFirstLength];
    const std::size_t length = range.base + lowBits(bits_, range.extraBits);
    drop(range.extraBits);
    return distanceAndMatch(length) ? LoopEnd::stopped : LoopEnd::damaged;
  }

  LoopEnd part(Step step) noexcept {
    refill();
    if (lengthOf(step) == 0) {
      return rare();
    }
    return distanceAndMatch(take(lengthOf(step), step & ~kPart)) ? LoopEnd::stopped : LoopEnd::damaged;
  }

  void refillAndLookUp() noexcept {
    refill();
    lookUpStep();
  }

  LoopEnd steps(const unsigned char* stop) noexcept {
    refillAndLookUp();
    while (next_ < last_ && out_ < stop) {
      if ((step_ & kPart) == 0) [[likely]] {
        if (!write(takeStep())) [[unlikely]] {
          return LoopEnd::damaged;
        }
        if ((step_ & kPart) == 0) [[likely]] {
          static_assert(2 * kMostBitsOfAStep + kStepBits <= 64, "one refill is for two steps and the look at a third");
          const TakenStep second = takeStep();
          refill();
          if (!write(second)) [[unlikely]] {
            return LoopEnd::damaged;
          }
          continue;
        }
      }
      if (const LoopEnd end = part(step_); end != LoopEnd::stopped) {
        return end;
      }
      refillAndLookUp();
    }
    return LoopEnd::stopped;
  }

  const BlockTables& tables_;
  const unsigned char* next_;
  const unsigned char* last_;
  std::uint64_t bits_;
  unsigned count_;
  Step step_ = kPart;  // what the bits begin with, once it was looked up
  unsigned char* out_;
  unsigned char* begin_;
};

}  // namespace datasource::form::inflating

#endif
