#ifndef PROOF_FUZZ_INPUT_H
#define PROOF_FUZZ_INPUT_H

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "model/choices.h"
#include "support/memoryDisk.h"

namespace proof {

/// The bytes of one run, drawn from front to back. An input that is used up gives noughts.
class Input : public Choices {
 public:
  /// Requires: the bytes outlive the object.
  Input(const unsigned char* bytes, std::size_t count) noexcept : next_(bytes), left_(count) {}

  bool exhausted() const noexcept override { return left_ == 0; }

  /// Takes one byte, or as many as the bound needs.
  std::size_t below(std::size_t bound) override {
    std::size_t value = byte();
    for (std::size_t reach = 256; reach < bound; reach *= 256) {
      value = value * 256 + byte();
    }
    return bound == 0 ? 0 : value % bound;
  }

  /// Takes two bytes, whatever the count: a run of one value with another one strewn in.
  Bytes bytes(std::size_t count) override {
    const unsigned char first = byte();
    const std::size_t every = std::size_t{1} + byte();
    Bytes result(count, first);
    for (std::size_t i = every; i < count; i += every) {
      result[i] = static_cast<unsigned char>(first + i / every % 7);
    }
    return result;
  }

  unsigned char byte() noexcept {
    if (left_ == 0) {
      return 0;
    }
    --left_;
    return *next_++;
  }

  /// Returns: the next bytes as they are, fewer at the end.
  Bytes raw(std::size_t count) {
    const std::size_t size = std::min(count, left_);
    Bytes result(next_, next_ + size);
    next_ += size;
    left_ -= size;
    return result;
  }
  Bytes rest() { return raw(left_); }

  /// Returns: one of the 64-bit numbers near which things break, or any.
  std::int64_t number();

 private:
  const unsigned char* next_;
  std::size_t left_;
};

}  // namespace proof

#endif
