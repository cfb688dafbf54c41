#ifndef PROOF_ROUNDS_H
#define PROOF_ROUNDS_H

#include <cstdint>
#include <functional>
#include <random>
#include <string>
#include <vector>

namespace proof {

/// The random numbers of one thread in one round.
class Dice {
 public:
  explicit Dice(std::uint64_t seed) : engine_(seed) {}
  /// Returns: a number below `end`.
  std::size_t below(std::size_t end) { return std::uniform_int_distribution<std::size_t>(0, end - 1)(engine_); }
  /// Sleeps for up to 100 microseconds, one time in four; lets others go first as often.
  void pause();

 private:
  std::mt19937_64 engine_;
};

/// One use of threads, which is different each time. Returns: what is wrong.
struct Round {
  std::string name;
  std::function<std::string(std::uint64_t seed)> run;
};

/// The uses that `faults` has, with four threads: a thread that makes a call sleeps, and a call may fail.
void addScenarioRounds(std::vector<Round>& rounds);
/// Workers that are destroyed in the middle, and pools that are stopped there.
void addWorkerRounds(std::vector<Round>& rounds);
/// Sixty-four threads, each with a stream of its own on one raw file, or all on one Reader.
void addSharingRounds(std::vector<Round>& rounds);

}  // namespace proof

#endif
