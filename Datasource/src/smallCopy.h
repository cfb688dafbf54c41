#ifndef DATASOURCE_SRC_SMALLCOPY_H
#define DATASOURCE_SRC_SMALLCOPY_H

#include <cstddef>
#include <cstring>

/// Copies `size` bytes, at least `Piece` and at most two of it, as two pieces, which overlap where they must.
template <std::size_t Piece>
inline void copyEnds(unsigned char* dest, const unsigned char* source, std::size_t size) noexcept {
  unsigned char first[Piece];
  unsigned char last[Piece];
  std::memcpy(first, source, Piece);
  std::memcpy(last, source + size - Piece, Piece);
  std::memcpy(dest, first, Piece);
  std::memcpy(dest + size - Piece, last, Piece);
}

/// Copies a record that is no short one. Apart, so that copying short ones needs no frame on the stack.
[[gnu::noinline]] inline std::size_t copyLong(unsigned char* dest, const unsigned char* source,
                                              std::size_t size) noexcept {
  std::memcpy(dest, source, size);
  return size;
}

/// Copies a record between buffers that do not overlap. Records are mostly short, and the call of memcpy
/// for a length that the compiler does not know costs more than the copy itself; so those of 8 to 64 bytes
/// are copied in pieces of fixed size. Above that memcpy is faster.
/// Returns: `size`, so that this can be the last thing that the caller does.
inline std::size_t copyRecord(unsigned char* dest, const unsigned char* source, std::size_t size) noexcept {
  if (size == 8) [[likely]] {
    std::memcpy(dest, source, 8);
  } else if (size < 8 || size > 64) {
    return copyLong(dest, source, size);
  } else if (size <= 16) {
    copyEnds<8>(dest, source, size);
  } else if (size <= 32) {
    copyEnds<16>(dest, source, size);
  } else {
    // Two pieces of 32 bytes would go by way of the stack.
    copyEnds<16>(dest, source, 32);
    copyEnds<16>(dest + size - 32, source + size - 32, 32);
  }
  return size;
}

#endif
