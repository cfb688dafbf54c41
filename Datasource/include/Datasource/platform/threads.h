#ifndef DATASOURCE_PLATFORM_THREADS_H
#define DATASOURCE_PLATFORM_THREADS_H

#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "Datasource/export.h"

/// How an sfMutex is locked; there is one kind.
enum LockType : int { LockExclusive = 1 };

/// A mutex that its owner may lock again. `file` and `line` name the caller for a debugging library;
/// this one ignores them.
class DATASOURCE_API sfMutex {
 public:
  sfMutex() = default;
  sfMutex(const sfMutex&) = delete;
  sfMutex& operator=(const sfMutex&) = delete;
  /// Waits until the mutex is free, or the caller's already.
  void lock(LockType type, const char* file, int line);
  /// Undoes one lock of the caller's.
  void unlock(const char* file, int line) noexcept;

 private:
  std::recursive_mutex mutex_;
};

/// Holds an sfMutex for as long as it lives.
class DATASOURCE_API sfGuard {
 public:
  /// Locks the mutex, which must live longer.
  explicit sfGuard(sfMutex& mutex) : mutex_(mutex) { mutex_.lock(LockExclusive, nullptr, 0); }
  ~sfGuard() { mutex_.unlock(nullptr, 0); }
  sfGuard(const sfGuard&) = delete;
  sfGuard& operator=(const sfGuard&) = delete;

 private:
  sfMutex& mutex_;
};

/// A counting semaphore. A copy works on the same count.
class DATASOURCE_API sfSemaphore {
 public:
  /// With so many counts to take.
  explicit sfSemaphore(unsigned int initialCount);
  sfSemaphore(const sfSemaphore&);
  sfSemaphore& operator=(const sfSemaphore&) = delete;
  ~sfSemaphore();

  /// Adds one to the count and wakes one waiter. Threads: any.
  void postSemaphore();

  /// Takes one from the count, waiting without limit until there is one.
  /// Raises: sfWaitCancelled, only on a pool thread whose pool is stopping and only when the count
  ///   is 0.
  void waitSemaphore();

 private:
  struct DATASOURCE_LOCAL Core;
  std::shared_ptr<Core> core_;
  friend class sfThreadPoolBase;
};

/// Unwinds a pool thread whose pool stops while it waits for a count that nobody will post. Let it
/// pass: the thread's main function takes it.
struct DATASOURCE_API sfWaitCancelled {};

/// The message part of a callback: an untyped pointer that travels with it.
class DATASOURCE_API msgBaseData {
 public:
  virtual ~msgBaseData();
  /// Returns: the pointer that travels with the callback.
  virtual void* getMsgData() const;
  /// Replaces that pointer.
  virtual void setMsgData(void* data);

 protected:
  /// With the pointer that is to travel; nobody frees it.
  explicit msgBaseData(void* data) : msgData_(data) {}
  msgBaseData(const msgBaseData&) = default;
  msgBaseData& operator=(const msgBaseData&) = default;

 private:
  void* msgData_;
};

/// A task that a pool thread runs once.
class DATASOURCE_API CallBackObject : public msgBaseData {
 public:
  /// With the pointer of the message part.
  explicit CallBackObject(void* data) : msgBaseData(data) {}
  /// Keeps a pointer for whoever made the callback; the pool does not look at it.
  virtual void setCallbackData(void* data);
  /// Returns: the pointer kept last; null before.
  virtual void* getCallbackData() const;
  /// The body. `prtData` is the data pointer that was submitted with the task.
  virtual int callBack(void* prtData) = 0;

 private:
  void* callbackData_ = nullptr;
};

/// Runs each submitted callback on one thread of its own fixed set until the callback returns.
///
/// Threads: one owner calls all operations.
class DATASOURCE_API sfThreadPoolBase {
 public:
  sfThreadPoolBase(const sfThreadPoolBase&) = delete;
  sfThreadPoolBase& operator=(const sfThreadPoolBase&) = delete;

  /// Stops as stopAll does, then frees every callback that the pool owns.
  virtual ~sfThreadPoolBase();

  /// Hands a callback with its data pointer to the pool; a free thread runs it. The pool owns the
  /// callback from here on (unless it was adopted before), also when this raises, and keeps it until the
  /// pool goes.
  virtual void submit(CallBackObject* callback, void* data, int priority);

  /// Makes ready for startAll.
  void init();
  /// Takes ownership of a callback that is to be submitted later.
  void adopt(CallBackObject* callback);
  /// Starts the threads. Raises: std::system_error when the system gives no thread; none runs then.
  void startAll();
  /// Ends the threads and returns when all have ended; may be called again. A thread that can still
  /// take a count from its semaphore works on; one that waits for a count that is not there is
  /// unwound with sfWaitCancelled. Callbacks not yet begun are dropped.
  void stopAll() noexcept;

 protected:
  /// With so many threads, which startAll starts.
  explicit sfThreadPoolBase(int threadCount);

 private:
  struct DATASOURCE_LOCAL State;
  std::unique_ptr<State> state_;
  friend class sfSemaphore;
};

/// The pool that the workers make. `threadCount` threads; the second argument is not used.
class DATASOURCE_API sfThreadPool : public sfThreadPoolBase {
 public:
  /// With so many threads, which startAll starts.
  sfThreadPool(int threadCount, int reserved);
};

#endif
