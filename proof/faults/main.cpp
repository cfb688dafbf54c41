// What the libraries make of every failing call, one in each case.

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string>
#include <vector>

#include "faults/faultyRun.h"
#include "faults/scenarios.h"
#include "faults/threadStarts.h"
#include "support/harness.h"

namespace proof {
namespace {

constexpr Fault kFaults[] = {
    {"EIO once", {EIO, false, false, false}, false, Where::everywhere},
    {"EIO from there on", {EIO, false, false, false}, true, Where::everywhere},
    {"ENOSPC once", {ENOSPC, false, false, false}, false, Where::takesRoom},
    {"ENOSPC from there on", {ENOSPC, false, false, false}, true, Where::takesRoom},
#ifdef EDQUOT  // Windows has no such number
    {"EDQUOT once", {EDQUOT, false, false, false}, false, Where::takesRoom},
    {"EDQUOT from there on", {EDQUOT, false, false, false}, true, Where::takesRoom},
#endif
    {"EINTR once", {EINTR, false, false, false}, false, Where::transfers},
    {"one byte once", {0, false, true, false}, false, Where::transfers},
    {"half once", {0, true, false, false}, false, Where::transfers},
    {"nothing once", {0, false, false, true}, false, Where::transfers},
};
constexpr std::size_t kFaultCount = std::size(kFaults);

// What a scenario does when nothing fails.
struct Uses {
  std::uint64_t calls;
  std::uint64_t allocations;
  std::uint64_t starts;  // of threads
};

std::string runWithoutThread(const Scenario& scenario, int number, Tally& tally) {
  const ThreadStartFailure failure(static_cast<std::uint64_t>(number));
  Tally ignored;
  std::string wrong = runWithFaults(scenario, {}, ignored);
  ++tally[failure.met() ? "runs without a thread" : "runs that did not meet the fault"];
  return wrong;
}

// For each scenario: every way to fail at every call, then no memory at every allocation and from there on, then no
// thread at every start. Threads make the numbers vary, so there are some more calls and allocations.
class FaultHarness : public Harness {
 public:
  FaultHarness() : scenarios_(allScenarios()) {
    constexpr std::uint64_t kMore = 5;
    listenToReports();
    for (const Scenario& scenario : scenarios_) {
      const std::uint64_t before = threadStarts();
      const Counts counts = countOf(scenario);
      counts_.push_back({counts.calls + kMore, counts.allocations + kMore, threadStarts() - before});
      count_ += casesOf(counts_.back());
    }
  }

  std::string name() const override { return "faults"; }
  std::uint64_t cases() const override { return count_; }

  std::vector<std::uint64_t> counted() const override {
    std::vector<std::uint64_t> all;
    for (const Uses& uses : counts_) {
      all.insert(all.end(), {uses.calls, uses.allocations, uses.starts});
    }
    return all;
  }
  void useCounted(const std::vector<std::uint64_t>& counted) override {
    count_ = 0;
    for (std::size_t i = 0; i < counts_.size(); ++i) {
      counts_[i] = {counted[3 * i], counted[3 * i + 1], counted[3 * i + 2]};
      count_ += casesOf(counts_[i]);
    }
  }

  std::string run(std::uint64_t index, Tally& tally) override {
    std::size_t at = 0;
    while (index >= casesOf(counts_[at])) {
      index -= casesOf(counts_[at++]);
    }
    const Scenario& scenario = scenarios_[at];
    if (index < counts_[at].calls * kFaultCount) {
      const Fault& fault = kFaults[index % kFaultCount];
      const auto number = static_cast<int>(index / kFaultCount) + 1;
      return told(scenario, fault.name, number, runWithFaults(scenario, {{&fault, number}}, tally));
    }
    index -= counts_[at].calls * kFaultCount;
    if (index < counts_[at].allocations * 2) {
      const auto number = static_cast<int>(index / 2) + 1;
      const bool forGood = index % 2 == 1;
      return told(scenario, forGood ? "no memory from there on" : "no memory once", number,
                  runWithoutMemory(scenario, number, forGood, tally));
    }
    const auto number = static_cast<int>(index - counts_[at].allocations * 2) + 1;
    return told(scenario, "no thread once", number, runWithoutThread(scenario, number, tally));
  }

 private:
  static std::uint64_t casesOf(const Uses& uses) {
    return uses.calls * kFaultCount + uses.allocations * 2 + uses.starts;
  }

  static std::string told(const Scenario& scenario, const std::string& what, int number, const std::string& wrong) {
    return wrong.empty() ? wrong : scenario.name + ", " + what + " at " + std::to_string(number) + ": " + wrong;
  }

  std::vector<Scenario> scenarios_;
  std::vector<Uses> counts_;
  std::uint64_t count_ = 0;
};

}  // namespace
}  // namespace proof

int main(int count, char** arguments) {
  proof::FaultHarness harness;
  return proof::runHarness(harness, count, arguments);
}
