#ifndef PROOF_CHOICES_H
#define PROOF_CHOICES_H

#include <cstddef>

#include "support/memoryDisk.h"

namespace proof {

/// What a model draws from: it decides what is done next, and with what.
class Choices {
 public:
  Choices() = default;
  Choices(const Choices&) = delete;
  Choices& operator=(const Choices&) = delete;
  virtual ~Choices() = default;

  /// Returns: a number below `bound`; 0 for 0.
  virtual std::size_t below(std::size_t bound) = 0;
  /// Returns: bytes that compress well.
  virtual Bytes bytes(std::size_t count) = 0;
  /// Returns: whether there is nothing left to decide by.
  virtual bool exhausted() const noexcept { return false; }

  /// Returns: a small size, one near whole blocks, or one between.
  std::size_t size();
};

}  // namespace proof

#endif
