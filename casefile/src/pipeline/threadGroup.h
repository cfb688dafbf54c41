#ifndef CASEFILE_PIPELINE_THREADGROUP_H
#define CASEFILE_PIPELINE_THREADGROUP_H

#include <cstddef>
#include <functional>
#include <vector>

#include "threadPrimitives.h"

namespace casefile::pipeline {

/// Threads that run one function, each under a number of its own, and are joined by the destructor.
class ThreadGroup {
 public:
  /// Starts `count` threads with the numbers from `first` on, or fewer when the system gives no more.
  ///
  /// Requires: `body` raises nothing, and ends in the end.
  ThreadGroup(std::size_t count, std::size_t first, const std::function<void(std::size_t)>& body);
  ~ThreadGroup();
  ThreadGroup(const ThreadGroup&) = delete;
  ThreadGroup& operator=(const ThreadGroup&) = delete;

  std::size_t size() const noexcept { return threads_.size(); }

 private:
  std::vector<Thread> threads_;
};

}  // namespace casefile::pipeline

#endif
