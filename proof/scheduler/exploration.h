#ifndef PROOF_EXPLORATION_H
#define PROOF_EXPLORATION_H

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "scheduler/scheduler.h"

namespace proof {

/// What threads do together, from its beginning to its end.
struct Play {
  std::string name;
  unsigned preemptions = 0;  ///< the most that a schedule may have
  Disturbances disturbances;
  std::function<std::string()> act;  ///< Returns: what is wrong
};

/// Schedules that were run, by the number of their preemptions.
using ScheduleCounts = std::map<unsigned, std::uint64_t>;

/// Returns: the choices of a run.
std::vector<unsigned> choicesOf(const ScheduleResult& result);
/// Returns: how many of the first `count` decisions preempted a thread.
unsigned preemptionsIn(const std::vector<Decision>& decisions, std::size_t count);
/// Returns: the other choices at decision `at` that the play's limit allows.
unsigned alternativesAt(const Play& play, const std::vector<Decision>& decisions, std::size_t at);

/// Runs every schedule that begins with the choices given and has no more preemptions than the play allows, depth
/// first.
/// Returns: what is wrong with the first of them that is not right, and its choices; empty: nothing.
std::string exploreBelow(Scheduler& scheduler, const Play& play, std::vector<unsigned> choices, ScheduleCounts& counts);

/// Runs one schedule. Returns: as exploreBelow.
std::string runSchedule(Scheduler& scheduler, const Play& play, const std::vector<unsigned>& choices,
                        ScheduleCounts& counts, ScheduleResult& result);

}  // namespace proof

#endif
