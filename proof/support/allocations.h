#ifndef PROOF_ALLOCATIONS_H
#define PROOF_ALLOCATIONS_H

#include <cstddef>
#include <cstdint>

namespace proof {

/// Counts what `new` hands out, in all threads, from its making on.
class AllocationWatch {
 public:
  AllocationWatch() noexcept;
  /// Returns: the most bytes that were in use at one time, beyond those in use when the object was made.
  std::size_t peak() const noexcept;

 private:
  std::size_t before_;
};

/// Returns: how often memory was asked for, in all threads: by `new`, and by what asks nextAllocationFails.
std::uint64_t allocationsMade() noexcept;

/// Counts one more allocation. Returns: whether it is to fail.
bool nextAllocationFails() noexcept;

/// What its thread allocates while it lives is the harness's own: it neither fails nor counts.
class HarnessAllocations {
 public:
  HarnessAllocations() noexcept;
  ~HarnessAllocations();
  HarnessAllocations(const HarnessAllocations&) = delete;
  HarnessAllocations& operator=(const HarnessAllocations&) = delete;
};

/// Lets one allocation fail, or all from there on, in whatever thread, for as long as it lives.
///
/// Requires: one at a time.
class AllocationFailure {
 public:
  /// `number` counts from 1, from the next one on.
  explicit AllocationFailure(std::uint64_t number, bool forGood = false) noexcept;
  ~AllocationFailure();
  AllocationFailure(const AllocationFailure&) = delete;
  AllocationFailure& operator=(const AllocationFailure&) = delete;
  /// Returns: whether the call was made.
  bool met() const noexcept;

 private:
  std::uint64_t at_;
};

}  // namespace proof

#endif
