#ifndef PROOF_HARNESS_H
#define PROOF_HARNESS_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace proof {

/// What was met in one case, beside its findings: by name, how often. Shown under the table, and never hidden in
/// the number of cases.
using Tally = std::map<std::string, std::uint64_t>;

/// A list of cases that can be counted, and run one by one in any order. A case depends on nothing but its index.
class Harness {
 public:
  virtual ~Harness() = default;
  virtual std::string name() const = 0;
  /// Returns: how many cases there are, at least one.
  virtual std::uint64_t cases() const = 0;
  /// Returns: what was counted to make the list, where threads let one process count otherwise than the next one.
  virtual std::vector<std::uint64_t> counted() const { return {}; }
  /// Makes the list anew, of what another process of the same program has counted.
  virtual void useCounted(const std::vector<std::uint64_t>& /*counted*/) {}
  /// Runs one case. Returns: what is wrong, in one line; empty when nothing is. What it throws is a finding too.
  virtual std::string run(std::uint64_t index, Tally& tally) = 0;
};

/// Runs the cases of a harness as the arguments say, prints what is found and one line of JSON at the end:
///
///   PROGRAM [--seconds N] [--seed S] [--state FILE] [--case INDEX]
///
/// The seed chooses an order in which every case comes once, so a short run is a sample of all and a long one
/// all of them. A state file lets the next run with the same seed go on behind the last case, and one case be run
/// again where the list is not the same in every process. The cases run in a process of their own: one that ends it, or
/// does not come back within ten seconds, is a finding, and the next case runs in another process.
///
/// Returns: the exit code: 0, 1 when there is a finding, 2 for wrong arguments.
int runHarness(Harness& harness, int argumentCount, char** arguments);

}  // namespace proof

#endif
