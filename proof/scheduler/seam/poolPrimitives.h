#ifndef PROOF_SEAM_POOLPRIMITIVES_H
#define PROOF_SEAM_POOLPRIMITIVES_H

#include "scheduler/turnPrimitives.h"

/// The streams' threads, mutexes and conditions, as the scheduler has them.
namespace datasource::platform {

using Mutex = proof::TurnMutex;
using Condition = proof::TurnCondition;
using Thread = proof::TurnThread;

}  // namespace datasource::platform

#endif
