#include "threadGroup.h"

#include <new>
#include <system_error>

namespace casefile::pipeline {

ThreadGroup::ThreadGroup(std::size_t count, std::size_t first, const std::function<void(std::size_t)>& body) {
  try {
    threads_.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
      threads_.emplace_back([body, number = first + i] { body(number); });
    }
  } catch (const std::system_error&) {
    // The system gives no more threads: those that run do the work.
  } catch (const std::bad_alloc&) {
    // The same.
  }
}

ThreadGroup::~ThreadGroup() {
  for (Thread& thread : threads_) {
    thread.join();
  }
}

}  // namespace casefile::pipeline
