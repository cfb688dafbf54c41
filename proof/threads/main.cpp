// Threads as they come, with sleeps and faults, below the thread sanitizer.

#include <cstdint>
#include <string>
#include <vector>

#include "support/harness.h"
#include "threads/rounds.h"

// What the sanitizer finds ends the process, which is a finding.
extern "C" const char* __tsan_default_options();
extern "C" const char* __tsan_default_options() { return "halt_on_error=1:second_deadlock_stack=1"; }

namespace proof {
namespace {

// Every kind of round in turn; a round's number is its seed. The same number gives the same faults, not the same
// schedule.
class ThreadHarness : public Harness {
 public:
  ThreadHarness() {
    addScenarioRounds(rounds_);
    addWorkerRounds(rounds_);
    addSharingRounds(rounds_);
  }

  std::string name() const override { return "threads"; }
  std::uint64_t cases() const override { return 100000; }

  std::string run(std::uint64_t index, Tally& /*tally*/) override {
    const Round& round = rounds_[index % rounds_.size()];
    const std::string wrong = round.run(index);
    return wrong.empty() ? wrong : round.name + ": " + wrong;
  }

 private:
  std::vector<Round> rounds_;
};

}  // namespace
}  // namespace proof

int main(int count, char** arguments) {
  proof::ThreadHarness harness;
  return proof::runHarness(harness, count, arguments);
}
