#ifndef PROOF_STRAND_H
#define PROOF_STRAND_H

#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

#include "scheduler/scheduler.h"
#include "scheduler/turnPrimitives.h"

namespace proof {

/// The right to run, which one thread gives another.
struct Scheduler::Turn {
  void give() {
    {
      const std::lock_guard<std::mutex> lock(mutex);
      given = true;
    }
    changed.notify_one();
  }
  void await() {
    std::unique_lock<std::mutex> lock(mutex);
    changed.wait(lock, [this] { return given; });
    given = false;
  }

  std::mutex mutex;
  std::condition_variable changed;
  bool given = false;
};

/// One of the threads that take turns, and the real thread below it, which serves one run after the other.
struct Strand {
  enum class State {
    ready,
    wants,  ///< a mutex
    waits,  ///< for a condition, and then wants the mutex
    joins,  ///< until another is over
    over
  };
  using Turn = Scheduler::Turn;

  Turn turn;
  std::thread thread;
  bool dismissed = false;  // its real thread ends

  Scheduler* scheduler = nullptr;
  std::size_t number = 0;
  std::function<void()> body;
  State state = State::over;
  TurnMutex* mutex = nullptr;
  TurnCondition* condition = nullptr;
  Strand* joined = nullptr;
};

/// The strand that the calling thread is; null on others.
extern thread_local constinit Strand* thisStrand;

}  // namespace proof

#endif
