#ifndef PROOF_SCHEDULER_H
#define PROOF_SCHEDULER_H

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "scheduler/turnPrimitives.h"

namespace proof {

struct Strand;

/// A place in a schedule where more than one thread can go on. The first `free` choices are no preemption: the
/// thread that runs goes on, or it cannot. Whoever a notification wakes is chosen likewise.
struct Decision {
  unsigned chosen = 0;
  unsigned free = 1;
  unsigned all = 1;
};

/// What else happens in a schedule, counted from 1; 0: nothing.
struct Disturbances {
  unsigned failingStart = 0;     ///< the system has no thread to give
  unsigned lostNotice = 0;       ///< a notification does nothing, as if it had been forgotten
  bool spuriousWakeups = false;  ///< a preemption may also wake a thread that waits for a condition
};

/// How one schedule went.
struct ScheduleResult {
  std::vector<Decision> decisions;
  std::string wrong;  ///< empty: nothing
  unsigned starts = 0;
  unsigned notices = 0;
};

/// Lets threads take turns: exactly one runs, and at each point (before a lock and a wait, behind an unlock,
/// a notification and a start, where it cannot go on, at its end) a string of choices says which goes on. The same
/// string gives the same run.
///
/// Threads: one calls run(). Whatever runs below it makes its threads, mutexes and conditions of the turn kind
/// (turnPrimitives.h) and meets no other thread.
class Scheduler {
 public:
  Scheduler();
  ~Scheduler();
  Scheduler(const Scheduler&) = delete;
  Scheduler& operator=(const Scheduler&) = delete;

  /// Runs `body` as the first thread. Behind the last choice the first of each decision is taken.
  ///
  /// Returns: what body returns or raises; a deadlock, a run without an end, a thread that is left, a primitive
  ///   that is used wrongly or left.
  ScheduleResult run(const std::function<std::string()>& body, const std::vector<unsigned>& choices,
                     const Disturbances& disturbances);

  /// Returns: the scheduler whose turn the calling thread has; null outside a run.
  static Scheduler* current() noexcept;

 private:
  friend class TurnMutex;
  friend class TurnCondition;
  friend class TurnThread;
  friend void turnPoint();
  friend void lockRecursively(const void* object);
  friend void unlockRecursively(const void* object);

  // What stands behind an object that is a mutex, made with its first use in a run.
  struct Recursive {
    std::unique_ptr<TurnMutex> mutex;
    const Strand* owner = nullptr;
    unsigned depth = 0;
  };

  Recursive& recursive(const void* object);
  void forgetRecursive();
  Strand& begin(std::function<void()> body);
  Strand& start(std::function<void()> body);
  void join(Strand& other);
  void reach();
  void leave(Strand& self);
  Strand* next(const Strand& self);
  [[noreturn]] void end(const std::string& why);
  unsigned choose(std::size_t free, std::size_t all);
  void fail(const std::string& what);
  std::string whoWaits() const;
  void abandon();
  bool noticeIsLost();
  void made(const void* primitive);
  void destroyed(const void* primitive);
  bool usable(const void* primitive);

  friend struct Strand;
  struct Turn;
  std::unique_ptr<Turn> control_;                 // of the thread that called run()
  std::vector<std::unique_ptr<Strand>> strands_;  // those of the run come first
  std::size_t used_ = 0;
  std::vector<Strand*> candidates_;
  const std::vector<unsigned>* choices_ = nullptr;
  Disturbances disturbances_;
  ScheduleResult result_;
  std::size_t steps_ = 0;
  bool stuck_ = false;
  long alive_ = 0;  // primitives made in the run
  std::unordered_set<const void*> dead_;
  std::unordered_map<const void*, Recursive> recursive_;
};

/// A point of its own, for what a scenario does between two that the library has. Does nothing outside a run.
void turnPoint();

}  // namespace proof

#endif
