// What threads do together, in every order that a few preemptions can bring about.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "scheduler/exploration.h"
#include "schedules/plays.h"
#include "support/harness.h"

namespace proof {
namespace {

// The schedules of a play that have the same first choice that is not the default one, at decision `at`.
struct Branch {
  std::size_t play;
  std::vector<unsigned> choices;
  std::uint64_t cases;
};

// A play's schedules form a tree: each differs from the one of the first choices alone at a first place, and then
// at a second. A case is what lies below two such differences, or a schedule with fewer.
class ScheduleHarness : public Harness {
 public:
  ScheduleHarness() {
    addCachePlays(plays_);
    addLinePlays(plays_);
    addWritingPlays(plays_);
    addPoolPlays(plays_);
    addStreamPlays(plays_);
    // A process of its own runs the cases: the threads that serve here do not.
    Scheduler scheduler;
    for (std::size_t play = 0; play < plays_.size(); ++play) {
      addBranches(scheduler, play);
    }
  }

  std::string name() const override { return "schedules"; }
  std::uint64_t cases() const override { return count_; }

  std::string run(std::uint64_t index, Tally& tally) override {
    if (!scheduler_) {
      scheduler_ = std::make_unique<Scheduler>();
    }
    std::size_t at = 0;
    while (index >= branches_[at].cases) {
      index -= branches_[at++].cases;
    }
    ScheduleCounts counts;
    std::string wrong = runCase(branches_[at], index, counts);
    for (const auto& [preemptions, number] : counts) {
      tally["schedules with " + std::to_string(preemptions) + " preemptions"] += number;
    }
    return wrong;
  }

 private:
  // The first case is the branch's own schedule, the others are what differs from it once more.
  std::string runCase(const Branch& branch, std::uint64_t index, ScheduleCounts& counts) {
    const Play& play = plays_[branch.play];
    ScheduleResult result;
    ScheduleCounts ignored;
    std::string wrong = runSchedule(*scheduler_, play, branch.choices, index == 0 ? counts : ignored, result);
    if (index == 0 || !wrong.empty()) {
      return wrong;
    }
    std::vector<unsigned> choices = choicesOf(result);
    std::size_t at = branch.choices.size();
    std::uint64_t before = 0;
    while (before + alternativesAt(play, result.decisions, at) < index) {
      before += alternativesAt(play, result.decisions, at++);
    }
    choices.resize(at + 1);
    choices[at] += static_cast<unsigned>(index - before);
    return exploreBelow(*scheduler_, play, choices, counts);
  }

  void addBranches(Scheduler& scheduler, std::size_t play) {
    ScheduleCounts ignored;
    ScheduleResult first;
    runSchedule(scheduler, plays_[play], {}, ignored, first);
    addBranch({play, choicesOf(first), 1});
    for (std::size_t at = 0; at < first.decisions.size() && first.wrong.empty(); ++at) {
      for (unsigned more = 1; more <= alternativesAt(plays_[play], first.decisions, at); ++more) {
        std::vector<unsigned> choices = choicesOf(first);
        choices.resize(at + 1);
        choices[at] += more;
        ScheduleResult result;
        runSchedule(scheduler, plays_[play], choices, ignored, result);
        std::uint64_t below = 1;
        for (std::size_t i = choices.size(); i < result.decisions.size(); ++i) {
          below += alternativesAt(plays_[play], result.decisions, i);
        }
        addBranch({play, std::move(choices), below});
      }
    }
  }

  void addBranch(Branch branch) {
    count_ += branch.cases;
    branches_.push_back(std::move(branch));
  }

  std::vector<Play> plays_;
  std::vector<Branch> branches_;
  std::uint64_t count_ = 0;
  std::unique_ptr<Scheduler> scheduler_;
};

}  // namespace
}  // namespace proof

int main(int count, char** arguments) {
  proof::ScheduleHarness harness;
  return proof::runHarness(harness, count, arguments);
}
