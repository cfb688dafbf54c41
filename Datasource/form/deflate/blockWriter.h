#ifndef DATASOURCE_FORM_DEFLATE_BLOCKWRITER_H
#define DATASOURCE_FORM_DEFLATE_BLOCKWRITER_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "bitWriter.h"
#include "blockHead.h"
#include "prefixCode.h"
#include "tokens.h"

namespace datasource::form::deflating {

/// Writes the blocks of a deflate stream, each in the shorter of two kinds: with codes of its own, or stored.
class BlockWriter {
 public:
  /// Writes the block of the bytes `plain`, which `tokens` stand for.
  /// Returns: whether it had room before `writer.end`, with the bits that wait behind it; else nothing is written.
  bool write(const Tokens& tokens, std::span<const unsigned char> plain, bool last, BitWriter& writer) noexcept;

  /// Returns: the most bytes that `count` bytes take in `blocks` blocks.
  static constexpr std::size_t bound(std::size_t count, std::size_t blocks) noexcept {
    return count + (count / kLongestStored + blocks) * kStoredHead + 1;
  }

 private:
  static constexpr std::size_t kLongestStored = 65'535;
  static constexpr std::size_t kStoredHead = 5;

  /// Up to two symbols' bits.
  struct Piece {
    std::uint32_t bits = 0;
    std::uint8_t codeBits = 0;  // those of the code word
    std::uint8_t allBits = 0;   // and its extra bits
  };

  void makeCodes(const Tokens& tokens) noexcept;
  void makePieces() noexcept;
  template <bool roomy>
  void writeTokens(const Tokens& tokens, BitWriter& writer) const noexcept;
  static void writeStored(std::span<const unsigned char> plain, bool last, BitWriter& writer) noexcept;

  std::array<CodeWord, inflating::kLengthSymbols> lengthWords_;
  std::array<CodeWord, inflating::kDistanceSymbols> distanceWords_;
  BlockHead head_;
  std::size_t bits_ = 0;  // that the block takes with these codes
  std::array<Piece, kFirstKinds> first_;
  std::array<Piece, kSecondKinds> second_;
};

}  // namespace datasource::form::deflating

#endif
