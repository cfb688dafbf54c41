#ifndef CASEFILE_PIPELINE_THREADPRIMITIVES_H
#define CASEFILE_PIPELINE_THREADPRIMITIVES_H

#include <condition_variable>
#include <mutex>
#include <thread>

/// All that this library knows of threads. A test build finds another header of this name in front of this
/// one, whose threads take turns as the test says. Only mutex, condition variable and thread: semaphores,
/// latches, barriers and waiting atomics lose wake-ups on one of the targets.
namespace casefile::pipeline {

using Mutex = std::mutex;
using Lock = std::unique_lock<std::mutex>;
using Condition = std::condition_variable;
using Thread = std::thread;
using ThreadId = std::thread::id;

inline ThreadId thisThread() noexcept { return std::this_thread::get_id(); }

}  // namespace casefile::pipeline

#endif
