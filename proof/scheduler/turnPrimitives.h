#ifndef PROOF_TURNPRIMITIVES_H
#define PROOF_TURNPRIMITIVES_H

#include <functional>
#include <mutex>
#include <utility>
#include <vector>

namespace proof {

struct Strand;

/// A mutex of threads that take turns. Outside a run there is one thread, and nothing to do.
class TurnMutex {
 public:
  TurnMutex();
  ~TurnMutex();
  TurnMutex(const TurnMutex&) = delete;
  TurnMutex& operator=(const TurnMutex&) = delete;
  void lock();
  void unlock();

 private:
  friend class Scheduler;
  friend class TurnCondition;
  const Strand* owner_ = nullptr;
};

/// Locks and unlocks a mutex that its owner may lock again, known by the address of whatever stands for it.
void lockRecursively(const void* object);
void unlockRecursively(const void* object);

/// A condition variable of such threads.
class TurnCondition {
 public:
  TurnCondition();
  ~TurnCondition();
  TurnCondition(const TurnCondition&) = delete;
  TurnCondition& operator=(const TurnCondition&) = delete;
  void wait(std::unique_lock<TurnMutex>& lock);
  template <typename Predicate>
  void wait(std::unique_lock<TurnMutex>& lock, Predicate holds) {
    while (!holds()) {
      wait(lock);
    }
  }
  void notify_one();
  void notify_all();

 private:
  friend class Scheduler;
  std::vector<Strand*> waiting_;  // in the order of their coming
};

/// A thread that takes turns; it must be joined.
class TurnThread {
 public:
  /// Which thread; none by default.
  class Id {
   public:
    Id() = default;
    bool operator==(const Id& other) const = default;

   private:
    friend class TurnThread;
    explicit Id(const Strand* strand) : strand_(strand) {}
    const Strand* strand_ = nullptr;
  };

  /// Raises: std::system_error, when its start is to fail.
  explicit TurnThread(std::function<void()> body);
  TurnThread(TurnThread&& other) noexcept : strand_(std::exchange(other.strand_, nullptr)) {}
  TurnThread(const TurnThread&) = delete;
  TurnThread& operator=(const TurnThread&) = delete;
  ~TurnThread();
  void join();
  static Id calling() noexcept;

 private:
  Strand* strand_;
};

}  // namespace proof

#endif
