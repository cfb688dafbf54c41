#ifndef PROOF_ALLOCATIONS_H
#define PROOF_ALLOCATIONS_H

#include <cstddef>

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

}  // namespace proof

#endif
