#include <atomic>
#include <cerrno>
#include <iterator>
#include <utility>

#include "faults/faultyRun.h"
#include "faults/scenarios.h"
#include "threads/rounds.h"

namespace proof {
namespace {

constexpr Fault kFaults[] = {
    {"EIO once", {EIO, false, false, false}, false, Where::everywhere},
    {"EIO from there on", {EIO, false, false, false}, true, Where::everywhere},
    {"ENOSPC from there on", {ENOSPC, false, false, false}, true, Where::takesRoom},
    {"half once", {0, true, false, false}, false, Where::transfers},
};

std::string runScenario(const Scenario& scenario, std::uint64_t seed) {
  constexpr std::size_t kMostCalls = 60;
  Dice dice(seed);
  std::vector<PlannedFault> planned;
  if (dice.below(2) == 0) {
    planned.push_back({&kFaults[dice.below(std::size(kFaults))], static_cast<int>(1 + dice.below(kMostCalls))});
  }
  Tally ignored;
  std::atomic<std::uint64_t> calls = 0;
  return runWithFaults(scenario, planned, ignored, [&] { Dice(seed + ++calls).pause(); });
}

}  // namespace

void addScenarioRounds(std::vector<Round>& rounds) {
  listenToReports();
  for (Scenario& scenario : allScenarios(4)) {
    if (scenario.name.find("threads 1") == std::string::npos) {
      std::string name = scenario.name;
      rounds.push_back(
          {std::move(name), [used = std::move(scenario)](std::uint64_t seed) { return runScenario(used, seed); }});
    }
  }
}

}  // namespace proof
