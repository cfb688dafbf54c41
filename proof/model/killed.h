#ifndef PROOF_KILLED_H
#define PROOF_KILLED_H

#include <string>

#include "model/choices.h"
#include "support/harness.h"

namespace proof {

/// Returns: whether this system has what runKilledModel needs: processes that are copies of this one.
bool canBeKilled() noexcept;

/// Writes, replaces, recovers and appends to a real file, each in a process of its own that is killed at a moment of
/// chance; then a new file is complete or not there, and one that was appended to the old or the new one. `trace` names
/// the steps.
///
/// Requires: canBeKilled().
/// Raises: std::logic_error when it is not so; what the library does.
void runKilledModel(Choices& choices, std::string& trace, Tally& tally);

}  // namespace proof

#endif
