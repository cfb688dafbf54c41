#ifndef DATASOURCE_SRC_ZCMPSPREIOTHREAD_H
#define DATASOURCE_SRC_ZCMPSPREIOTHREAD_H

#include <cstddef>
#include <memory>

#include "Datasource/platform/threads.h"
#include "Datasource/platform/types.h"
#include "Datasource/refCount.h"

/// Base of the background workers: makes, starts, stops and releases the thread pool whose thread runs
/// the worker's step over and over. The subclasses supply the requests and the steps.
///
/// Owner's order: construct, initThread, startThread, requests, stopThread, releasePool, delete.
///
/// Threads: one client thread, the owner's, calls everything but the steps.
class PreIOThreadBase : public VORN_RefCntObject {
 public:
  PreIOThreadBase& operator=(const PreIOThreadBase&) = delete;
  /// Stops nothing: each worker's own destructor does, while its steps can still run.
  ~PreIOThreadBase() override;

  /// Makes the pool and the callback: reading (`bRead`) or writing. Returns: true.
  virtual bool initThread(bool bRead);
  /// Starts the thread. Returns: true. Raises: std::system_error when the system gives none.
  virtual bool startThread();
  /// Returns: true.
  virtual bool checkState();
  /// Ends the thread and returns when it has ended; a reading worker is sent the end request first, a
  /// writing one must have been sent its end of data, or its thread is ended where it waits.
  /// Returns: true, also when nothing runs.
  virtual bool stopThread();
  /// Deletes the pool. Returns: true, also when there is none.
  virtual bool releasePool();
  /// Asks for a block at a position; size 0 at position 0 is the end request.
  virtual std::size_t requestRead(void* dest, std::size_t reqSize, int64 fpos) = 0;
  /// Hands over a block; size 0 is the end of the data.
  virtual std::size_t requestWrite(void* src, std::size_t size, int64 fpos) = 0;
  /// One pass of the writing thread. Returns: true to end it.
  virtual bool writeThreadStep() = 0;
  /// One pass of the reading thread. Returns: true to end it.
  virtual bool readThreadStep() = 0;

 protected:
  /// The callback of a thread that reads; its data pointer is the worker, as a PreIOThreadBase.
  class newThreadForRead : public CallBackObject {
   public:
    newThreadForRead() : CallBackObject(nullptr) {}
    int callBack(void* prtData) override;
  };
  /// The callback of a thread that writes.
  class newThreadForWrite : public CallBackObject {
   public:
    newThreadForWrite() : CallBackObject(nullptr) {}
    int callBack(void* prtData) override;
  };

  PreIOThreadBase() = default;
  PreIOThreadBase(const PreIOThreadBase&) = default;

  /// Ends what still runs. Each worker's destructor calls it first thing.
  void endThreads() noexcept;
  /// Reports an operation that this worker does not have (assertion "0").
  static void unsupported(unsigned int line);

  std::shared_ptr<sfThreadPool> pool;  // null until initThread and after releasePool; copies share it
  CallBackObject* callback = nullptr;  // owned by the pool
  bool bWrite = false;
};

#endif
