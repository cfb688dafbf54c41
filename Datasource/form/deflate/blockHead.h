#ifndef DATASOURCE_FORM_DEFLATE_BLOCKHEAD_H
#define DATASOURCE_FORM_DEFLATE_BLOCKHEAD_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "bitWriter.h"
#include "inflate/alphabets.h"
#include "prefixCode.h"

namespace datasource::form::deflating {

/// The head of a block with codes of its own: the lengths of their words, which are themselves coded.
class BlockHead {
 public:
  /// Requires: kLengthSymbols and kDistanceSymbols words.
  void make(std::span<const CodeWord> lengthWords, std::span<const CodeWord> distanceWords) noexcept;

  /// Returns: the bits that it takes, those of the block's kind among them.
  std::size_t bits() const noexcept;

  /// Requires: so much room.
  void write(bool last, BitWriter& writer) const noexcept;

 private:
  static constexpr std::size_t kSymbols = inflating::kHeadOrder.size();
  static constexpr std::size_t kMostLengths = inflating::kLengthSymbols + inflating::kDistanceSymbols;

  /// A length, or a run of them.
  struct Item {
    std::uint8_t symbol;
    std::uint8_t extra;
  };

  void addRun(unsigned length, std::size_t times) noexcept;
  void add(unsigned symbol, std::size_t extra) noexcept;

  std::size_t lengthWords_ = 0;
  std::size_t distanceWords_ = 0;
  std::size_t ordered_ = 0;  // words whose lengths are told, in kHeadOrder
  std::size_t itemCount_ = 0;
  std::array<Item, kMostLengths> items_;
  std::array<std::uint32_t, kSymbols> frequencies_;
  std::array<CodeWord, kSymbols> words_;
};

}  // namespace datasource::form::deflating

#endif
