#include "faults/faultyRun.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <initializer_list>
#include <mutex>
#include <new>
#include <stdexcept>

#include "Datasource/platform/throwError.h"
#include "Datasource/systemFileException.h"
#include "casefile/casefile.h"
#include "support/allocations.h"

namespace proof {
namespace {

bool isOneOf(const char* call, std::initializer_list<const char*> names) {
  return std::any_of(names.begin(), names.end(), [&](const char* name) { return std::strcmp(call, name) == 0; });
}

bool canFail(const Fault& fault, const char* call) {
  switch (fault.where) {
    case Where::takesRoom:
      return isOneOf(call, {"_sopen", "_write", "open", "write", "writeAt", "sync", "link", "linkDescriptor", "rename",
                            "renameToFree"});
    case Where::transfers:
      return isOneOf(call, {"read", "write", "readAt", "writeAt"});
    default:
      return true;
  }
}

// What one run met.
struct Outcome {
  Told told = Told::nothing;
  std::string error;         // what an error said
  std::string wrong;         // what no error may be
  std::string kept;          // the kept rule that was met
  bool failed = false;       // the fault was met
  bool keptByFault = false;  // what was to be removed could not be
};

// Runs a scenario. What is thrown is a failure that was told, if it is one of the errors that are promised.
Outcome runScenario(const Scenario& scenario) {
  Outcome outcome;
  try {
    outcome.told = scenario.act();
  } catch (const Wrong& wrong) {
    const HarnessAllocations own;
    outcome.wrong = wrong.what();
  } catch (const KeptRule& rule) {
    const HarnessAllocations own;
    outcome.kept = rule.what();
  } catch (const AssertionThrown&) {
    outcome.told = Told::failure;
  } catch (const casefile::Error& error) {
    const HarnessAllocations own;
    outcome.told = Told::failure;
    outcome.error = error.what();
    if (error.file().empty()) {
      outcome.wrong = std::string("an error without a file: ") + error.what();
    }
  } catch (const StringSysError& error) {
    const HarnessAllocations own;
    outcome.told = Told::failure;
    outcome.error = std::to_string(error.number());
  } catch (const SystemFileException& error) {
    const HarnessAllocations own;
    outcome.told = Told::failure;
    outcome.error = error.what();
  } catch (const std::bad_alloc&) {
    const HarnessAllocations own;
    outcome.told = Told::failure;
    outcome.error = "no memory";
  } catch (const std::exception& error) {
    const HarnessAllocations own;
    outcome.wrong = std::string("raises ") + error.what();
  }
  return outcome;
}

// Decides what becomes of each call.
class Interferer {
 public:
  explicit Interferer(const std::vector<PlannedFault>& planned) : planned_(planned), seen_(planned.size()) {}

  MemoryDisk::Fate meet(const char* call) {
    const std::lock_guard<std::mutex> lock(mutex_);
    MemoryDisk::Fate fate;
    for (std::size_t i = 0; i < planned_.size(); ++i) {
      const Fault& fault = *planned_[i].fault;
      if (!canFail(fault, call)) {
        continue;
      }
      const int now = ++seen_[i];
      if (fault.forGood ? now >= planned_[i].number : now == planned_[i].number) {
        fate = fault.fate;
        met_ = true;
        keeps_ = keeps_ || (fate.error != 0 && isOneOf(call, {"unlink", "statusOf"}));
      }
    }
    return fate;
  }
  void tell(Outcome& outcome) const {
    outcome.failed = met_;
    outcome.keptByFault = keeps_;
  }

 private:
  const std::vector<PlannedFault>& planned_;
  std::mutex mutex_;
  std::vector<int> seen_;
  bool met_ = false;
  bool keeps_ = false;
};

std::string judge(const Scenario& scenario, const Outcome& outcome, const MemoryDisk& disk, Tally& tally) {
  if (disk.openDescriptors() != 0) {
    return "a descriptor stays open";
  }
  Image image = disk.image();
  if (outcome.keptByFault && outcome.told != Told::success) {
    // A working file that could not be removed: the error names it, or the object does, if it still can be asked.
    const std::string told = outcome.error + wordsAboutWhatStays();
    std::erase_if(image, [&](const auto& file) {
      return file.first.ends_with(".tmp") && (!scenario.namesWhatStays || told.find(file.first) != std::string::npos);
    });
  }
  ++tally[!outcome.failed                 ? "runs that did not meet the fault"
          : outcome.told == Told::failure ? "failures told"
                                          : "successes, or given up"];
  if (!outcome.wrong.empty()) {
    return outcome.wrong;
  }
  std::string kept = outcome.kept;
  if (kept.empty()) {
    try {
      return scenario.judge(image, outcome.told);
    } catch (const KeptRule& rule) {
      kept = rule.what();
    }
  }
  ++tally["kept: " + kept];
  return "";
}

std::string withError(const std::string& wrong, const Outcome& outcome) {
  return wrong.empty() || outcome.error.empty() ? wrong : wrong + " (told: " + outcome.error + ")";
}

}  // namespace

std::string runWithFaults(const Scenario& scenario, const std::vector<PlannedFault>& planned, Tally& tally,
                          const std::function<void()>& beforeCall) {
  MemoryDisk disk(scenario.atFirst);
  Interferer interferer(planned);
  disk.interfereWith([&](const char* call, unsigned) {
    beforeCall();
    return interferer.meet(call);
  });
  Outcome outcome = runScenario(scenario);
  disk.interfereWith({});
  interferer.tell(outcome);
  return withError(judge(scenario, outcome, disk, tally), outcome);
}

std::string runWithoutMemory(const Scenario& scenario, int number, bool forGood, Tally& tally) {
  MemoryDisk disk(scenario.atFirst);
  Outcome outcome;
  {
    const AllocationFailure failure(static_cast<std::uint64_t>(number), forGood);
    outcome = runScenario(scenario);
    outcome.failed = failure.met();
  }
  return withError(judge(scenario, outcome, disk, tally), outcome);
}

Counts countOf(const Scenario& scenario) {
  std::atomic<std::uint64_t> calls = 0;
  MemoryDisk disk(scenario.atFirst);
  disk.interfereWith([&](const char*, unsigned) {
    ++calls;
    return MemoryDisk::Fate{};
  });
  const std::uint64_t before = allocationsMade();
  const Outcome outcome = runScenario(scenario);
  const std::string& wrong = outcome.wrong.empty() ? outcome.kept : outcome.wrong;
  if (!wrong.empty()) {
    throw std::logic_error(scenario.name + ", undisturbed: " + wrong);
  }
  return {calls, allocationsMade() - before};
}

}  // namespace proof
