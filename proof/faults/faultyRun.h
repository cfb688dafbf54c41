#ifndef PROOF_FAULTYRUN_H
#define PROOF_FAULTYRUN_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "faults/scenarios.h"
#include "support/harness.h"
#include "support/memoryDisk.h"

namespace proof {

/// Which calls can fail in a way.
enum class Where {
  everywhere,
  takesRoom,  ///< what is made, written or named
  transfers   ///< the seam's calls that move bytes: the streams' go on by themselves
};

/// A way to fail.
struct Fault {
  const char* name;
  MemoryDisk::Fate fate;
  bool forGood;
  Where where;
};

/// A fault at one call; of those that can fail so, counted from 1.
struct PlannedFault {
  const Fault* fault;
  int number;
};

/// Runs a scenario while calls fail as planned, and judges it. `beforeCall` is called in front of each, by its thread.
/// Returns: what is wrong.
std::string runWithFaults(
    const Scenario& scenario, const std::vector<PlannedFault>& planned, Tally& tally,
    const std::function<void()>& beforeCall = [] {});
/// The same while one allocation fails, counted from 1, and every one behind it if `forGood`.
std::string runWithoutMemory(const Scenario& scenario, int number, bool forGood, Tally& tally);

/// What a scenario does when nothing fails.
struct Counts {
  std::uint64_t calls = 0;
  std::uint64_t allocations = 0;
};
/// Raises: std::logic_error when something is wrong already.
Counts countOf(const Scenario& scenario);

}  // namespace proof

#endif
