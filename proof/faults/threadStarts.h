#ifndef PROOF_THREADSTARTS_H
#define PROOF_THREADSTARTS_H

#include <cstdint>

namespace proof {

/// Returns: how many threads were started, or were to be.
std::uint64_t threadStarts() noexcept;

/// Lets one start of a thread fail as where the system has none to give, for as long as it lives.
///
/// Requires: one at a time.
class ThreadStartFailure {
 public:
  /// `number` counts from 1, from the next start on.
  explicit ThreadStartFailure(std::uint64_t number) noexcept;
  ~ThreadStartFailure();
  ThreadStartFailure(const ThreadStartFailure&) = delete;
  ThreadStartFailure& operator=(const ThreadStartFailure&) = delete;
  /// Returns: whether the start was tried.
  bool met() const noexcept;

 private:
  std::uint64_t at_;
};

}  // namespace proof

#endif
