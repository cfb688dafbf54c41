#ifndef DATASOURCE_PLATFORM_SEMAPHORECORE_H
#define DATASOURCE_PLATFORM_SEMAPHORECORE_H

#include <atomic>

#include "poolPrimitives.h"

namespace datasource::platform {

/// The count that all copies of one semaphore share. `count` belongs to `mutex`.
struct SemaphoreCore {
  explicit SemaphoreCore(unsigned int initialCount) : count(initialCount) {}

  void post();
  /// Takes one from the count. Raises: sfWaitCancelled, see sfSemaphore::waitSemaphore.
  void take();

  Mutex mutex;
  Condition changed;
  unsigned int count;
};

/// What a pool and one of its threads know of each other.
///
/// Lock order: PoolThread::mutex before SemaphoreCore::mutex. The thread names the core that it
/// waits on before it tests the count, and takes the name back after it has let go of the core's
/// mutex. A stop first sets `stopping` and then looks for the name: either it finds the core and
/// wakes the thread, or the thread has yet to test and finds `stopping` set. While the name stands
/// the core lives, because the thread inside the wait uses it.
struct PoolThread {
  /// Tells the thread to end and wakes it from a wait. Threads: any but its own.
  void stop();

  Mutex mutex;
  SemaphoreCore* waitingOn = nullptr;  // belongs to `mutex`
  std::atomic<bool> stopping{false};
};

/// Names the calling thread's record; null on threads of no pool.
void setCurrentPoolThread(PoolThread* thread) noexcept;

}  // namespace datasource::platform

#endif
