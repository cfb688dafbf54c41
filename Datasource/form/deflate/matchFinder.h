#ifndef DATASOURCE_FORM_DEFLATE_MATCHFINDER_H
#define DATASOURCE_FORM_DEFLATE_MATCHFINDER_H

#include <array>
#include <cstddef>
#include <cstdint>

#include "tokens.h"

namespace datasource::form::deflating {

/// Finds what a buffer repeats, fast rather than thoroughly: the first match is taken, of four bytes at least, and
/// for each hash of four bytes one position is remembered.
///
/// A position is remembered by its lowest 16 bits. The distance that they make is 65,536 at most and never reaches
/// before the buffer: a position that was seen lies before the one at hand, and what was never seen counts as
/// position 0. So it is safe to look there, and only the bytes decide.
class MatchFinder {
 public:
  void start(const unsigned char* buffer, std::size_t count) noexcept;

  /// Adds the tokens from `from` on until they are full or the buffer ends.
  /// Returns: the first byte that is no token yet.
  const unsigned char* find(const unsigned char* from, Tokens& tokens) noexcept;

 private:
  static constexpr unsigned kHashBits = 14;
  static constexpr std::ptrdiff_t kTail = 24;  // bytes at the end in which no match begins

  std::uint16_t& entry(std::uint32_t bytes) noexcept { return positions_[bytes * 0x9E3779B1U >> (32 - kHashBits)]; }
  std::uint16_t low16(const unsigned char* at) const noexcept { return static_cast<std::uint16_t>(at - buffer_); }
  void remember(const unsigned char* at) noexcept;

  /// What the next 8 bytes differ in from those at an earlier place, and how far before that is.
  struct Candidate {
    std::uint64_t difference;
    std::size_t distance;
  };
  Candidate look(const unsigned char* at) noexcept;

  const unsigned char* buffer_ = nullptr;
  const unsigned char* end_ = nullptr;
  const unsigned char* stop_ = nullptr;
  std::array<std::uint16_t, std::size_t{1} << kHashBits> positions_;
};

}  // namespace datasource::form::deflating

#endif
