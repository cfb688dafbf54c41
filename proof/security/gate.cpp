// Stands in front of the system's calls in a program that is started with it (LD_PRELOAD), counts them, and stops the
// program in front of one until it is told to go on. GATE holds the number of that call, a descriptor on which its name
// is written then, and one from which a byte lets it go on. At its end the program writes how many calls there were.

#include <atomic>
#include <cstdio>
#include <cstdlib>

#include "support/interceptedCalls.h"

namespace {

using proof::behind;

struct Gate {
  long at = -1;
  int out = -1;
  int in = -1;
  std::atomic<long> calls = 0;

  Gate() {
    const char* const told = std::getenv("GATE");
    if (told == nullptr || std::sscanf(told, "%ld %d %d", &at, &out, &in) != 3) {
      at = -1;
    }
  }
  ~Gate() {
    if (at >= 0) {
      char text[40];
      tell(text, std::snprintf(text, sizeof(text), "%ld\n", calls.load()));
    }
  }
  void tell(const char* text, int size) const;
  void pass(const char* name);
};

void Gate::tell(const char* text, int size) const {
  static const auto call = behind<ssize_t (*)(int, const void*, size_t)>("write");
  static_cast<void>(call(out, text, static_cast<size_t>(size)));
}

void Gate::pass(const char* name) {
  if (at < 0 || ++calls != at) {
    return;
  }
  char text[40];
  tell(text, std::snprintf(text, sizeof(text), "%s\n", name));
  static const auto call = behind<ssize_t (*)(int, void*, size_t)>("read");
  char go = 0;
  static_cast<void>(call(in, &go, 1));
}

Gate& gate() {
  static Gate only;
  return only;
}

}  // namespace

extern "C" {

// NOLINTBEGIN(bugprone-macro-parentheses): types and lists of parameters cannot stand in parentheses.
#define GATED(result, name, parameters, arguments)                \
  result name parameters {                                        \
    static const auto call = behind<result(*) parameters>(#name); \
    gate().pass(#name);                                           \
    return call arguments;                                        \
  }

#define GATED_TRANSFER(name, parameters, arguments) GATED(ssize_t, name, parameters, arguments)
#define GATED_VARIADIC(name, isCounted, call) \
  if (isCounted) {                            \
    gate().pass(name);                        \
  }                                           \
  return call;
#define ANY_OPEN(flags) true

PROOF_EACH_TRANSFER(GATED_TRANSFER)
PROOF_EACH_CALL(GATED)
PROOF_VARIADIC_CALLS(GATED_VARIADIC, ANY_OPEN)
GATED(int, close, (int file), (file))
// NOLINTEND(bugprone-macro-parentheses)

}  // extern "C"
