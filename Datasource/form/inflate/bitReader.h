#ifndef DATASOURCE_FORM_INFLATE_BITREADER_H
#define DATASOURCE_FORM_INFLATE_BITREADER_H

#include <cstddef>
#include <cstdint>

namespace datasource::form::inflating {

/// Returns: the lowest `count` bits of `value`; `count` is below 64.
constexpr std::uint64_t lowBits(std::uint64_t value, unsigned count) noexcept {
  return value & ((std::uint64_t{1} << count) - 1);
}

/// The bits of a buffer, lowest first. Behind the buffer's end come zeros, which it counts.
///
///     bytes   | taken ...  | in `bits`, `count` of them valid | next ... | end
///
/// Bits above `count` are those that a refill will bring there, or zero.
struct BitReader {
  const unsigned char* next = nullptr;
  const unsigned char* end = nullptr;
  std::uint64_t bits = 0;
  unsigned count = 0;
  unsigned invented = 0;  ///< zero bytes that were put in behind the end

  /// Changes: at least 56 bits are there.
  void refill() noexcept {
    while (count < 56) {
      if (next != end) {
        bits |= std::uint64_t{*next++} << count;
      } else {
        bits = lowBits(bits, count);
        ++invented;
      }
      count += 8;
    }
  }

  void drop(unsigned number) noexcept {
    bits >>= number;
    count -= number;
  }

  /// Requires: `number` bits are there.
  unsigned take(unsigned number) noexcept {
    const auto value = static_cast<unsigned>(lowBits(bits, number));
    drop(number);
    return value;
  }

  /// Returns: whether bits were taken that the buffer does not have.
  bool overrun() const noexcept { return invented * 8 > count; }

  /// Drops the rest of a byte that was begun and puts whole bytes back, so that `next` is the next byte.
  /// Requires: no overrun.
  void toByte() noexcept {
    next -= count / 8 - invented;
    bits = 0;
    count = 0;
    invented = 0;
  }
};

}  // namespace datasource::form::inflating

#endif
