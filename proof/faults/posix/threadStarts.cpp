#include "faults/threadStarts.h"

#include <dlfcn.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>

namespace {

std::atomic<std::uint64_t> made = 0;
std::atomic<std::uint64_t> failing = 0;  // the start of that number fails; 0: none

}  // namespace

// In front of the system's function of that name, which std::thread calls.
extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*), void* data) {
  using Function = decltype(&pthread_create);
  static const auto next = reinterpret_cast<Function>(::dlsym(RTLD_NEXT, "pthread_create"));
  return ++made == failing ? EAGAIN : next(thread, attributes, body, data);
}

namespace proof {

std::uint64_t threadStarts() noexcept { return made; }

ThreadStartFailure::ThreadStartFailure(std::uint64_t number) noexcept : at_(made + number) { failing = at_; }
ThreadStartFailure::~ThreadStartFailure() { failing = 0; }
bool ThreadStartFailure::met() const noexcept { return made >= at_; }

}  // namespace proof
