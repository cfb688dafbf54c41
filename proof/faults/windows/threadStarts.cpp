#include "faults/threadStarts.h"

#include <pthread.h>

#include <atomic>
#include <cerrno>

namespace {

std::atomic<std::uint64_t> made = 0;
std::atomic<std::uint64_t> failing = 0;  // the start of that number fails; 0: none

}  // namespace

// The linker leads every call of pthread_create here (--wrap), those of the standard library too.
extern "C" {
int __real_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*), void* data);
int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*), void* data) {
  return ++made == failing ? EAGAIN : __real_pthread_create(thread, attributes, body, data);
}
}

namespace proof {

std::uint64_t threadStarts() noexcept { return made; }

ThreadStartFailure::ThreadStartFailure(std::uint64_t number) noexcept : at_(made + number) { failing = at_; }
ThreadStartFailure::~ThreadStartFailure() { failing = 0; }
bool ThreadStartFailure::met() const noexcept { return made >= at_; }

}  // namespace proof
