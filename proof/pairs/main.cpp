// What the libraries make of two failing calls.

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string>
#include <vector>

#include "faults/faultyRun.h"
#include "faults/scenarios.h"
#include "support/harness.h"

namespace proof {
namespace {

constexpr Fault kFirst[] = {{"EIO", {EIO, false, false, false}, false, Where::everywhere},
                            {"ENOSPC", {ENOSPC, false, false, false}, false, Where::takesRoom}};
constexpr Fault kSecond[] = {{"EIO", {EIO, false, false, false}, false, Where::everywhere},
                             {"EIO from there on", {EIO, false, false, false}, true, Where::everywhere}};
constexpr std::uint64_t kWays = std::size(kFirst) * std::size(kSecond);

// All k < k' of each scenario. What one thread does is always the same; with more of them the numbers vary, and a case
// is whatever calls it meets.
class PairHarness : public Harness {
 public:
  PairHarness() : scenarios_(allScenarios()) {
    constexpr std::uint64_t kMore = 12;  // what is done because of the first failure
    listenToReports();
    std::vector<std::uint64_t> calls;
    for (const Scenario& scenario : scenarios_) {
      calls.push_back(countOf(scenario).calls + kMore);
    }
    useCounted(calls);
  }

  std::string name() const override { return "pairs"; }
  std::uint64_t cases() const override { return count_; }

  std::vector<std::uint64_t> counted() const override { return calls_; }
  void useCounted(const std::vector<std::uint64_t>& counted) final {
    calls_ = counted;
    count_ = 0;
    for (const std::uint64_t calls : calls_) {
      count_ += pairsOf(calls) * kWays;
    }
  }

  std::string run(std::uint64_t index, Tally& tally) override {
    std::size_t at = 0;
    while (index >= pairsOf(calls_[at]) * kWays) {
      index -= pairsOf(calls_[at++]) * kWays;
    }
    const Fault& first = kFirst[index % std::size(kFirst)];
    const Fault& second = kSecond[index / std::size(kFirst) % std::size(kSecond)];
    // The pairs in the order of their second number.
    std::uint64_t pair = index / kWays;
    std::uint64_t later = 2;
    while (pair >= later - 1) {
      pair -= later++ - 1;
    }
    const auto one = static_cast<int>(pair) + 1;
    const auto two = static_cast<int>(later);
    const std::string wrong = runWithFaults(scenarios_[at], {{&first, one}, {&second, two}}, tally);
    return wrong.empty() ? wrong
                         : scenarios_[at].name + ", " + first.name + " at " + std::to_string(one) + ", " + second.name +
                               " at " + std::to_string(two) + ": " + wrong;
  }

 private:
  static std::uint64_t pairsOf(std::uint64_t calls) { return calls * (calls - 1) / 2; }

  std::vector<Scenario> scenarios_;
  std::vector<std::uint64_t> calls_;
  std::uint64_t count_ = 0;
};

}  // namespace
}  // namespace proof

int main(int count, char** arguments) {
  proof::PairHarness harness;
  return proof::runHarness(harness, count, arguments);
}
