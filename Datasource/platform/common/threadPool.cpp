#include <atomic>
#include <deque>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <system_error>
#include <unordered_map>
#include <utility>
#include <vector>

#include "Datasource/platform/threads.h"
#include "Datasource/platform/throwError.h"
#include "poolPrimitives.h"
#include "semaphoreCore.h"
#include "threadSeam.h"

using datasource::platform::PoolThread;

namespace datasource::platform {
namespace {

constinit std::atomic<ThreadStartHook> startHook{nullptr};

struct Task {
  CallBackObject* callback;
  void* data;
};

void requireThread() {
  const ThreadStartHook mayStart = startHook.load();
  if (mayStart != nullptr && !mayStart()) {
    throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again), "sfThreadPool");
  }
}

void run(const Task& task) noexcept {
  try {
    task.callback->callBack(task.data);
  } catch (const sfWaitCancelled&) {
    // The pool stops: this is how the callback was meant to end.
  } catch (...) {
    reportLostError("a callback of sfThreadPool", std::current_exception());
  }
}

}  // namespace

ThreadStartHook setThreadStartHook(ThreadStartHook mayStart) noexcept { return startHook.exchange(mayStart); }

}  // namespace datasource::platform

/// The pool's threads and its queue.
///
/// Who touches what: `threads`, `records` and `owned` only the owner; `tasks`, `open` and `stopping`
/// under `mutex`; a record is shared as semaphoreCore.h says.
struct sfThreadPoolBase::State {
  using Task = datasource::platform::Task;

  explicit State(int count) : threadCount(count) {}

  void startThread();
  void endThreads() noexcept;
  std::optional<Task> nextTask();
  void threadMain(PoolThread& record) noexcept;

  const int threadCount;
  std::unordered_map<CallBackObject*, std::unique_ptr<CallBackObject>> owned;
  std::vector<std::unique_ptr<PoolThread>> records;
  std::vector<datasource::platform::Thread> threads;

  datasource::platform::Mutex mutex;
  datasource::platform::Condition changed;
  std::deque<Task> tasks;
  bool open = false;  // all threads are there: tasks may begin
  bool stopping = false;
};

std::optional<sfThreadPoolBase::State::Task> sfThreadPoolBase::State::nextTask() {
  std::unique_lock lock(mutex);
  changed.wait(lock, [this] { return stopping || (open && !tasks.empty()); });
  if (stopping) {
    return std::nullopt;
  }
  const Task task = tasks.front();
  tasks.pop_front();
  return task;
}

void sfThreadPoolBase::State::threadMain(PoolThread& record) noexcept {
  datasource::platform::setCurrentPoolThread(&record);
  while (const std::optional<Task> task = nextTask()) {
    datasource::platform::run(*task);
  }
}

void sfThreadPoolBase::State::startThread() {
  datasource::platform::requireThread();
  records.push_back(std::make_unique<PoolThread>());
  threads.emplace_back([this, &record = *records.back()] { threadMain(record); });
}

void sfThreadPoolBase::State::endThreads() noexcept {
  {
    const std::lock_guard lock(mutex);
    stopping = true;
    open = false;
  }
  changed.notify_all();
  for (const auto& record : records) {
    record->stop();
  }
  for (datasource::platform::Thread& thread : threads) {
    thread.join();
  }
  threads.clear();
  records.clear();
}

sfThreadPoolBase::sfThreadPoolBase(int threadCount) : state_(std::make_unique<State>(threadCount)) {}

sfThreadPoolBase::~sfThreadPoolBase() { stopAll(); }

void sfThreadPoolBase::init() {
  const std::lock_guard lock(state_->mutex);
  state_->stopping = false;
}

void sfThreadPoolBase::adopt(CallBackObject* callback) {
  if (callback == nullptr || state_->owned.contains(callback)) {
    return;
  }
  std::unique_ptr<CallBackObject> holder(callback);
  state_->owned.emplace(callback, std::move(holder));
}

void sfThreadPoolBase::submit(CallBackObject* callback, void* data, int /*priority*/) {
  if (callback == nullptr) {
    return;
  }
  adopt(callback);
  {
    const std::lock_guard lock(state_->mutex);
    state_->tasks.push_back({callback, data});
  }
  state_->changed.notify_one();
}

void sfThreadPoolBase::startAll() {
  if (!state_->threads.empty()) {
    return;
  }
  init();
  try {
    for (int i = 0; i < state_->threadCount; ++i) {
      state_->startThread();
    }
  } catch (...) {
    state_->endThreads();
    throw;
  }
  {
    const std::lock_guard lock(state_->mutex);
    state_->open = true;
  }
  state_->changed.notify_all();
}

void sfThreadPoolBase::stopAll() noexcept {
  state_->endThreads();
  const std::lock_guard lock(state_->mutex);
  state_->tasks.clear();
}

sfThreadPool::sfThreadPool(int threadCount, int /*reserved*/) : sfThreadPoolBase(threadCount) {}
