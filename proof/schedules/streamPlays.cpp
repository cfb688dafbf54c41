#include <cerrno>
#include <cstddef>
#include <string>
#include <vector>

#include "faults/faultyRun.h"
#include "faults/scenarios.h"
#include "readWorkers.h"
#include "schedules/plays.h"
#include "support/blockFile.h"
#include "support/memoryDisk.h"

namespace proof {
namespace {

constexpr Fault kBroken = {"EIO once", {EIO, false, false, false}, false, Where::everywhere};

bool usesWorker(const Scenario& scenario) {
  return scenario.name.starts_with("a stream writes in mode 1") ||
         scenario.name.starts_with("a stream reads in mode 2") || scenario.name.starts_with("a stream reads ahead");
}

// --- the workers that no stream uses by itself

template <typename Worker>
void addReader(std::vector<Play>& plays, const std::string& name, unsigned preemptions) {
  // The last block, if at all, comes last: the one stage's owner asks for nothing behind it.
  const std::vector<std::size_t> all[] = {{}, {0}, {1}, {0, 1}, {0, 1, 2}, {1, 0}, {1, 0, 1}, {0, 2}};
  for (const std::vector<std::size_t>& blocks : all) {
    std::string text = name + ", blocks";
    for (const std::size_t block : blocks) {
      text += ' ' + std::to_string(block);
    }
    plays.push_back({text, blocks.size() < 2 ? preemptions + 1 : preemptions, {}, [=] {
                       return BlockFile().read<Worker>(blocks);
                     }});
  }
}

// --- whole uses

void addScenario(std::vector<Play>& plays, const Scenario& scenario, unsigned preemptions) {
  plays.push_back({scenario.name, preemptions, {}, [=] {
                     Tally ignored;
                     return runWithFaults(scenario, {}, ignored);
                   }});
  for (const unsigned start : {1U, 2U}) {
    plays.push_back({scenario.name + ", start " + std::to_string(start) + " fails", 1, {start, 0, false}, [=] {
                       Tally ignored;
                       return runWithFaults(scenario, {}, ignored);
                     }});
  }
}

// Each of the first calls fails; a scenario makes no more.
void addFaults(std::vector<Play>& plays, const Scenario& scenario) {
  constexpr int kMostCalls = 24;
  for (int number = 1; number <= kMostCalls; ++number) {
    plays.push_back({scenario.name + ", call " + std::to_string(number) + " fails", 1, {}, [=] {
                       Tally ignored;
                       return runWithFaults(scenario, {{&kBroken, number}}, ignored);
                     }});
  }
}

}  // namespace

void addStreamPlays(std::vector<Play>& plays) {
  listenToReports();
  addReader<ThreeStages>(plays, "three stages", 1);
  addReader<PreIOThread_R_D>(plays, "one stage", 2);
  for (const Scenario& scenario : allScenarios(2)) {
    if (usesWorker(scenario)) {
      addScenario(plays, scenario, 2);
      addFaults(plays, scenario);
    } else if (scenario.name.find("threads 2") != std::string::npos) {
      addScenario(plays, scenario, 1);
    }
  }
}

}  // namespace proof
