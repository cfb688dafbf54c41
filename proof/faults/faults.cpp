// What the libraries make of every failing call, one in each case.

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <initializer_list>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "Datasource/platform/throwError.h"
#include "Datasource/systemFileException.h"
#include "casefile/casefile.h"
#include "faults/scenarios.h"
#include "support/allocations.h"
#include "support/harness.h"

namespace proof {
namespace {

// Which calls can fail that way.
enum class Where {
  everywhere,
  takesRoom,  // what is made, written or named
  transfers   // the seam's calls that move bytes: the streams' go on by themselves
};

// A way to fail.
struct Fault {
  const char* name;
  MemoryDisk::Fate fate;
  bool forGood;
  Where where;
};

constexpr Fault kFaults[] = {
    {"EIO once", {EIO, false, false, false}, false, Where::everywhere},
    {"EIO from there on", {EIO, false, false, false}, true, Where::everywhere},
    {"ENOSPC from there on", {ENOSPC, false, false, false}, true, Where::takesRoom},
    {"EDQUOT from there on", {EDQUOT, false, false, false}, true, Where::takesRoom},
    {"EINTR once", {EINTR, false, false, false}, false, Where::transfers},
    {"one byte once", {0, false, true, false}, false, Where::transfers},
    {"half once", {0, true, false, false}, false, Where::transfers},
    {"nothing once", {0, false, false, true}, false, Where::transfers},
};
constexpr std::size_t kFaultCount = std::size(kFaults);
// The last one fails no call of the system but an allocation.
constexpr std::size_t kWays = kFaultCount + 1;

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

class FaultHarness : public Harness {
 public:
  FaultHarness() : scenarios_(allScenarios()) {
    listenToReports();
    for (const Scenario& scenario : scenarios_) {
      counts_.push_back(countCalls(scenario));
      count_ += counts_.back() * kWays;
    }
  }

  std::string name() const override { return "faults"; }
  std::uint64_t cases() const override { return count_; }

  std::string run(std::uint64_t index, Tally& tally) override {
    std::size_t at = 0;
    while (index >= counts_[at] * kWays) {
      index -= counts_[at++] * kWays;
    }
    const std::size_t way = index % kWays;
    const auto number = static_cast<int>(index / kWays) + 1;
    const std::string wrong = attempt(scenarios_[at], way, number, tally);
    const std::string what = way < kFaultCount ? kFaults[way].name : "no memory once";
    return wrong.empty() ? wrong : scenarios_[at].name + ", " + what + " at " + std::to_string(number) + ": " + wrong;
  }

 private:
  // The most calls or allocations that a scenario makes, and some more: threads make the number vary.
  static std::uint64_t countCalls(const Scenario& scenario) {
    constexpr std::uint64_t kMore = 5;
    std::atomic<std::uint64_t> calls = 0;
    MemoryDisk disk(scenario.atFirst);
    disk.interfereWith([&](const char*, unsigned) {
      ++calls;
      return MemoryDisk::Fate{};
    });
    const std::uint64_t before = allocationsMade();
    const Outcome outcome = runScenario(scenario);
    if (!outcome.wrong.empty()) {
      throw std::logic_error(scenario.name + ", undisturbed: " + outcome.wrong);
    }
    return std::max<std::uint64_t>(calls, allocationsMade() - before) + kMore;
  }

  static std::string attempt(const Scenario& scenario, std::size_t way, int number, Tally& tally) {
    Image image;
    Outcome outcome;
    {
      MemoryDisk disk(scenario.atFirst);
      outcome = way < kFaultCount ? failCall(scenario, disk, kFaults[way], number) : failAllocation(scenario, number);
      disk.interfereWith({});
      if (disk.openDescriptors() != 0) {
        return "a descriptor stays open";
      }
      image = disk.image();
    }
    if (outcome.keptByFault && outcome.told != Told::success) {
      // A working file that could not be removed: the error names it, or the object does.
      std::erase_if(image, [](const auto& file) { return file.first.ends_with(".tmp"); });
    }
    ++tally[!outcome.failed                 ? "runs that did not meet the fault"
            : outcome.told == Told::failure ? "failures told"
                                            : "successes, or given up"];
    if (!outcome.wrong.empty()) {
      return outcome.wrong;
    }
    const std::string wrong = scenario.judge(image, outcome.told);
    return wrong.empty() || outcome.error.empty() ? wrong : wrong + " (told: " + outcome.error + ")";
  }

  static Outcome failCall(const Scenario& scenario, MemoryDisk& disk, const Fault& fault, int number) {
    std::atomic<int> seen = 0;
    std::atomic<bool> met = false;
    std::atomic<bool> kept = false;
    disk.interfereWith([&](const char* call, unsigned) {
      if (!canFail(fault, call)) {
        return MemoryDisk::Fate{};
      }
      const int now = ++seen;
      const bool fails = fault.forGood ? now >= number : now == number;
      met = met || fails;
      kept = kept || (fails && fault.fate.error != 0 && isOneOf(call, {"unlink", "statusOf"}));
      return fails ? fault.fate : MemoryDisk::Fate{};
    });
    Outcome outcome = runScenario(scenario);
    outcome.failed = met;
    outcome.keptByFault = kept;
    return outcome;
  }

  static Outcome failAllocation(const Scenario& scenario, int number) {
    const AllocationFailure failure(static_cast<std::uint64_t>(number));
    Outcome outcome = runScenario(scenario);
    outcome.failed = failure.met();
    return outcome;
  }

  std::vector<Scenario> scenarios_;
  std::vector<std::uint64_t> counts_;
  std::uint64_t count_ = 0;
};

}  // namespace
}  // namespace proof

int main(int count, char** arguments) {
  proof::FaultHarness harness;
  return proof::runHarness(harness, count, arguments);
}
