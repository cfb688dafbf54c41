#include <memory>
#include <mutex>

#include "Datasource/platform/threads.h"
#include "semaphoreCore.h"

namespace datasource::platform {
namespace {

// A plain pointer: nothing is destroyed with the thread that could still be in use.
thread_local constinit PoolThread* currentThread = nullptr;

/// Names a core in the thread's record for as long as the wait lasts.
class WaitNotice {
 public:
  WaitNotice(PoolThread* thread, SemaphoreCore* core) : thread_(thread) { set(core); }
  ~WaitNotice() { set(nullptr); }
  WaitNotice(const WaitNotice&) = delete;
  WaitNotice& operator=(const WaitNotice&) = delete;

 private:
  void set(SemaphoreCore* core) {
    if (thread_ == nullptr) {
      return;
    }
    const std::lock_guard lock(thread_->mutex);
    thread_->waitingOn = core;
  }

  PoolThread* thread_;
};

}  // namespace

void SemaphoreCore::post() {
  {
    const std::lock_guard lock(mutex);
    ++count;
  }
  // Let go first: a woken thread would only wait again.
  changed.notify_one();
}

void SemaphoreCore::take() {
  PoolThread* const thread = currentThread;
  const WaitNotice notice(thread, this);
  std::unique_lock lock(mutex);  // let go before the notice: see the lock order
  changed.wait(lock, [&] { return count > 0 || (thread != nullptr && thread->stopping.load()); });
  if (count == 0) {
    throw sfWaitCancelled{};
  }
  --count;
}

void PoolThread::stop() {
  stopping.store(true);
  const std::lock_guard lock(mutex);
  if (waitingOn == nullptr) {
    return;
  }
  const std::lock_guard coreLock(waitingOn->mutex);
  waitingOn->changed.notify_all();
}

void setCurrentPoolThread(PoolThread* thread) noexcept { currentThread = thread; }

}  // namespace datasource::platform

using datasource::platform::SemaphoreCore;

struct sfSemaphore::Core : SemaphoreCore {
  using SemaphoreCore::SemaphoreCore;
};

sfSemaphore::sfSemaphore(unsigned int initialCount) : core_(std::make_shared<Core>(initialCount)) {}
sfSemaphore::sfSemaphore(const sfSemaphore&) = default;
sfSemaphore::~sfSemaphore() = default;

void sfSemaphore::postSemaphore() {
  // Held here, because the waiter may destroy the semaphore as soon as it has the count.
  const std::shared_ptr<Core> core = core_;
  core->post();
}

void sfSemaphore::waitSemaphore() { core_->take(); }
