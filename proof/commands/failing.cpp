// Stands in front of the system's calls, of malloc and of pthread_create in a program that is started with it
// (LD_PRELOAD), counts them from the first look at a file on, and lets one fail. FAILING holds a descriptor, what
// fails, the number of the first that does, whether those behind it fail too, and how: see Plan. At the program's end
// the three counts are written to the descriptor.

#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <type_traits>

#include "support/interceptedCalls.h"

extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* old, size_t size);
}

namespace {

using proof::behind;

enum class Kind { none, call, allocation, thread };
enum class How { error, oneByte, half, nothing, killed };

// Which calls can fail in that way: all, those that take room, or those that move bytes.
enum class Where { everywhere, takesRoom, transfers };

struct Plan {
  int tells = -1;
  Kind kind = Kind::none;
  long at = 0;
  bool forGood = false;
  How how = How::error;
  int error = EIO;
  Where where = Where::everywhere;
};

Plan plan;
std::atomic<bool> begun = false;
std::atomic<long> calls = 0;  // those that can fail so
std::atomic<long> allocations = 0;
std::atomic<long> threads = 0;

bool isHit(std::atomic<long>& count, Kind kind) {
  const long now = ++count;
  return plan.kind == kind && (plan.forGood ? now >= plan.at : now == plan.at);
}

bool isOneOf(const char* name, std::initializer_list<const char*> names) {
  for (const char* const one : names) {
    if (std::strcmp(name, one) == 0) {
      return true;
    }
  }
  return false;
}

bool canFail(const char* name) {
  switch (plan.where) {
    case Where::takesRoom:
      return isOneOf(name, {"open", "write", "pwrite", "fsync", "linkat", "rename", "renameat2"});
    case Where::transfers:
      return isOneOf(name, {"read", "write", "pread", "pwrite"});
    default:
      return true;
  }
}

// Whether a call fails; a program that is to be killed ends here.
bool fails(const char* name) {
  if (plan.tells < 0 || !canFail(name)) {
    return false;
  }
  begun = true;
  if (!isHit(calls, Kind::call)) {
    return false;
  }
  if (plan.how == How::killed) {
    static_cast<void>(std::raise(SIGKILL));
  }
  return true;
}

// What a call that fails returns.
template <typename Result>
Result failure() {
  errno = plan.error;
  if constexpr (std::is_pointer_v<Result>) {
    return nullptr;
  } else {
    return -1;
  }
}

// How many bytes a transfer moves that is cut short. A read that moves nothing would be the file's end.
size_t fewer(size_t size, bool mayBeNone) {
  const size_t some = size < 2 ? size : size / 2;
  return plan.how == How::nothing && mayBeNone ? 0 : plan.how == How::half ? some : size < 1 ? size : 1;
}

bool memoryFails() { return begun && isHit(allocations, Kind::allocation); }

__attribute__((constructor)) void readPlan() {
  const char* const told = std::getenv("FAILING");
  int kind = 0;
  int forGood = 0;
  int how = 0;
  int where = 0;
  Plan read;
  if (told == nullptr || std::sscanf(told, "%d %d %ld %d %d %d %d", &read.tells, &kind, &read.at, &forGood, &how,
                                     &read.error, &where) != 7) {
    return;
  }
  read.kind = static_cast<Kind>(kind);
  read.forGood = forGood != 0;
  read.how = static_cast<How>(how);
  read.where = static_cast<Where>(where);
  plan = read;
}

__attribute__((destructor)) void tellCounts() {
  static const auto call = behind<ssize_t (*)(int, const void*, size_t)>("write");
  char text[100];
  const int size = std::snprintf(text, sizeof(text), "%ld %ld %ld\n", calls.load(), allocations.load(), threads.load());
  if (plan.tells >= 0) {
    static_cast<void>(call(plan.tells, text, static_cast<size_t>(size)));
  }
}

}  // namespace

extern "C" {

// NOLINTBEGIN(bugprone-macro-parentheses): types and lists of parameters cannot stand in parentheses.
#define FAILING(result, name, parameters, arguments)              \
  result name parameters {                                        \
    static const auto call = behind<result(*) parameters>(#name); \
    return fails(#name) ? failure<result>() : call arguments;     \
  }
#define SHORTENED(name, parameters, arguments)                     \
  ssize_t name parameters {                                        \
    static const auto call = behind<ssize_t(*) parameters>(#name); \
    if (fails(#name)) {                                            \
      if (plan.how == How::error) {                                \
        return failure<ssize_t>();                                 \
      }                                                            \
      size = fewer(size, isOneOf(#name, {"write", "pwrite"}));     \
    }                                                              \
    return call arguments;                                         \
  }
#define FAILING_VARIADIC(name, isCounted, call) return (isCounted) && fails(name) ? failure<int>() : call;
// Opening what is there takes no room.
#define CAN_FAIL(flags) plan.where != Where::takesRoom || proof::makesFile(flags)

PROOF_EACH_TRANSFER(SHORTENED)
PROOF_EACH_CALL(FAILING)
PROOF_VARIADIC_CALLS(FAILING_VARIADIC, CAN_FAIL)
// NOLINTEND(bugprone-macro-parentheses)

// A descriptor is free all the same.
int close(int file) {
  static const auto call = behind<int (*)(int)>("close");
  const bool failing = fails("close");
  const int result = call(file);
  return failing ? failure<int>() : result;
}

void* malloc(size_t size) { return memoryFails() ? failure<void*>() : __libc_malloc(size); }
void* calloc(size_t count, size_t size) { return memoryFails() ? failure<void*>() : __libc_calloc(count, size); }
void* realloc(void* old, size_t size) { return memoryFails() ? failure<void*>() : __libc_realloc(old, size); }

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*), void* data) {
  using Function = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
  static const auto call = behind<Function>("pthread_create");
  return isHit(threads, Kind::thread) ? EAGAIN : call(thread, attributes, body, data);
}

}  // extern "C"
