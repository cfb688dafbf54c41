#ifndef PROOF_PLAYS_H
#define PROOF_PLAYS_H

#include <functional>
#include <string>
#include <vector>

#include "scheduler/exploration.h"

namespace proof {

/// Threads that want blocks of the Reader's cache: the same and others, with room for none, one or two, while a
/// decoding fails.
void addCachePlays(std::vector<Play>& plays);
/// Items that workers make and deliver in order, while making or delivering one fails, or a thread is not to be had.
void addLinePlays(std::vector<Play>& plays);
/// Blocks that workers compress and write, to the end, given up or stopped, while a write fails.
void addWritingPlays(std::vector<Play>& plays);

/// The streams' semaphores, and pools that are stopped or destroyed at any time, while callbacks wait for counts that
/// come or do not.
void addPoolPlays(std::vector<Play>& plays);
/// The streams' workers, ended at any time, and the whole uses of streams and library that `faults` has, with two
/// threads; with calls that fail and threads that are not to be had.
void addStreamPlays(std::vector<Play>& plays);

/// Runs all of them at the same time, the first on the calling thread. Returns: when all have ended.
void together(const std::vector<std::function<void()>>& parts);

}  // namespace proof

#endif
