#ifndef DATASOURCE_FORM_DEFLATE_BITWRITER_H
#define DATASOURCE_FORM_DEFLATE_BITWRITER_H

#include <cstddef>
#include <cstdint>

#include "littleEndian.h"

namespace datasource::form::deflating {

/// Puts bits into a buffer, lowest first.
///
///     begin ... written ... next | in `bits`, `count` of them, the others zero | free ... end
///
/// Whoever puts bits has asked `room` before whether the whole bytes of them have a place.
struct BitWriter {
  unsigned char* next = nullptr;
  unsigned char* end = nullptr;
  std::uint64_t bits = 0;
  unsigned count = 0;

  /// What flushQuickly may overwrite behind the last byte that it fills.
  static constexpr std::size_t kSpare = 8;

  /// Returns: free bytes of the buffer; the bits that were put but not flushed still need some of them.
  std::size_t room() const noexcept { return static_cast<std::size_t>(end - next); }

  /// Requires: `value` has no bits above the lowest `number`; with those that wait they are 63 at most.
  void put(std::uint64_t value, unsigned number) noexcept {
    bits |= value << count;
    count += number;
  }

  /// Changes: fewer than 8 bits wait, the whole bytes are written, and none but them.
  void flush() noexcept {
    while (count >= 8) {
      *next++ = static_cast<unsigned char>(bits);
      bits >>= 8U;
      count -= 8;
    }
  }

  /// As flush, at once. Requires: `kSpare` bytes of room.
  void flushQuickly() noexcept {
    store64(next, bits);
    next += count >> 3U;
    bits >>= count & 56U;
    count &= 7U;
  }

  /// Fills the byte that was begun with zeros and writes it.
  void toByte() noexcept {
    count = (count + 7) & ~7U;
    flush();
  }
};

}  // namespace datasource::form::deflating

#endif
