#ifndef PROOF_SEAM_THREADPRIMITIVES_H
#define PROOF_SEAM_THREADPRIMITIVES_H

#include <mutex>

#include "scheduler/turnPrimitives.h"

/// The casefile library's threads, mutexes and conditions, as the scheduler has them.
namespace casefile::pipeline {

using Mutex = proof::TurnMutex;
using Lock = std::unique_lock<proof::TurnMutex>;
using Condition = proof::TurnCondition;
using Thread = proof::TurnThread;
using ThreadId = proof::TurnThread::Id;

inline ThreadId thisThread() noexcept { return proof::TurnThread::calling(); }

}  // namespace casefile::pipeline

#endif
