#ifndef PROOF_FUZZ_TARGET_H
#define PROOF_FUZZ_TARGET_H

#include <string>

#include "fuzz/input.h"

namespace proof {

/// What a target does with one input; each source in targets defines it for a program of its own.
///
/// Returns: what is wrong, in one line; empty when nothing is. What it throws is wrong too.
std::string tryInput(Input& input);

}  // namespace proof

#endif
