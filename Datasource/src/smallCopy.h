#ifndef DATASOURCE_SRC_SMALLCOPY_H
#define DATASOURCE_SRC_SMALLCOPY_H

#include <cstddef>
#include <cstring>

/// Copies the piece of `Size` bytes that starts `offset` bytes into the buffers.
template <std::size_t Size>
inline void copyPiece(unsigned char* dest, const unsigned char* source, std::size_t offset) noexcept {
  unsigned char piece[Size];
  std::memcpy(piece, source + offset, Size);
  std::memcpy(dest + offset, piece, Size);
}

/// Copies a record between buffers that do not overlap. Records are mostly short, and the call of memcpy
/// for a length that the compiler does not know costs more than the copy itself; so short ones are
/// copied in pieces of fixed size, the last of which may overlap the one before.
inline void copyRecord(unsigned char* dest, const unsigned char* source, std::size_t size) noexcept {
  constexpr std::size_t kPiece = 16;
  constexpr std::size_t kLongest = 20 * kPiece;
  if (size == 8) {
    copyPiece<8>(dest, source, 0);
  } else if (size > kLongest || size < kPiece) {
    std::memcpy(dest, source, size);
  } else {
    for (std::size_t offset = 0; offset + kPiece < size; offset += kPiece) {
      copyPiece<kPiece>(dest, source, offset);
    }
    copyPiece<kPiece>(dest, source, size - kPiece);
  }
}

#endif
