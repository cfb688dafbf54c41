#ifndef PROOF_DAMAGED_H
#define PROOF_DAMAGED_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "casefile/randomAccessFile.h"
#include "damage/damages.h"
#include "support/harness.h"
#include "support/oracle.h"

namespace proof {

/// Bytes of a whole block in the harnesses' build.
inline constexpr std::size_t kSmallBlock = 4096;

/// One damaged file, and which bytes are right where.
class Damaged {
 public:
  /// Requires: `shape`, and `before`, its bytes as they are without the damage, outlive the object.
  Damaged(const Shape& shape, const SparseBytes& before, SparseBytes bytes);

  const SparseBytes& file() const noexcept { return file_; }
  /// Returns: whether the damage made another sound file, whose contents nobody could doubt.
  bool isSound() const noexcept { return book_.sound; }
  /// Returns: whether the heading is the one that the sound file has.
  bool hasItsHeading() const noexcept;
  std::int64_t size() const noexcept { return book_.sound ? bookBytes_.size() : before_.size(); }

  /// Judges a byte that was delivered. Returns: what is wrong with it.
  std::string judge(std::int64_t position, unsigned char byte, Tally& tally) const;
  /// Judges bytes that were delivered. Returns: what is wrong with the first one that is.
  std::string judge(std::int64_t position, const unsigned char* bytes, std::size_t count, Tally& tally) const;

 private:
  bool zlibCallsItRight(std::int64_t position, unsigned char byte) const;

  const Shape& shape_;
  const SparseBytes& before_;
  SparseBytes file_;
  Contents book_;
  SparseBytes bookBytes_;
};

/// Returns: a file for reading, as long as the bytes live. Its holes are known.
std::shared_ptr<const casefile::RandomAccessFile> opened(const SparseBytes& bytes);

}  // namespace proof

#endif
