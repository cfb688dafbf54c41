#include "scheduler/exploration.h"

#include <cstddef>

namespace proof {
namespace {

// The choices that are not the first, each with the number of its decision.
std::string worded(const std::vector<Decision>& decisions) {
  std::string text;
  for (std::size_t i = 0; i < decisions.size(); ++i) {
    if (decisions[i].chosen != 0) {
      text += ' ' + std::to_string(i) + ':' + std::to_string(decisions[i].chosen);
    }
  }
  return text.empty() ? " the first choices" : text;
}

bool isAllowed(const Play& play, const std::vector<Decision>& decisions, std::size_t at, unsigned choice) {
  const unsigned own = choice >= decisions[at].free ? 1 : 0;
  return choice < decisions[at].all && preemptionsIn(decisions, at) + own <= play.preemptions;
}

// The choices that come next in depth-first order; false: there are none behind the first `fixed`.
bool advance(const Play& play, const std::vector<Decision>& decisions, std::size_t fixed,
             std::vector<unsigned>& choices) {
  for (std::size_t at = decisions.size(); at-- > fixed;) {
    if (isAllowed(play, decisions, at, decisions[at].chosen + 1)) {
      choices.clear();
      for (std::size_t i = 0; i < at; ++i) {
        choices.push_back(decisions[i].chosen);
      }
      choices.push_back(decisions[at].chosen + 1);
      return true;
    }
  }
  return false;
}

}  // namespace

std::vector<unsigned> choicesOf(const ScheduleResult& result) {
  std::vector<unsigned> choices;
  for (const Decision& decision : result.decisions) {
    choices.push_back(decision.chosen);
  }
  return choices;
}

unsigned preemptionsIn(const std::vector<Decision>& decisions, std::size_t count) {
  unsigned found = 0;
  for (std::size_t i = 0; i < count; ++i) {
    found += decisions[i].chosen >= decisions[i].free ? 1 : 0;
  }
  return found;
}

unsigned alternativesAt(const Play& play, const std::vector<Decision>& decisions, std::size_t at) {
  unsigned found = 0;
  for (unsigned choice = decisions[at].chosen + 1; isAllowed(play, decisions, at, choice); ++choice) {
    ++found;
  }
  return found;
}

std::string runSchedule(Scheduler& scheduler, const Play& play, const std::vector<unsigned>& choices,
                        ScheduleCounts& counts, ScheduleResult& result) {
  result = scheduler.run(play.act, choices, play.disturbances);
  ++counts[preemptionsIn(result.decisions, result.decisions.size())];
  if (result.wrong.empty() && result.decisions.size() < choices.size()) {
    result.wrong = "the same choices led elsewhere";
  }
  return result.wrong.empty() ? "" : play.name + ": " + result.wrong + " (choices:" + worded(result.decisions) + ")";
}

std::string exploreBelow(Scheduler& scheduler, const Play& play, std::vector<unsigned> choices,
                         ScheduleCounts& counts) {
  const std::size_t fixed = choices.size();
  ScheduleResult result;
  do {
    std::string wrong = runSchedule(scheduler, play, choices, counts, result);
    if (!wrong.empty()) {
      return wrong;
    }
  } while (advance(play, result.decisions, fixed, choices));
  return "";
}

}  // namespace proof
