#include "platform/process.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdlib>

namespace casefile::program::platform {
namespace {

// Set by a signal's handler in one thread, read by all.
std::atomic<int> endingSignal = 0;
static_assert(std::atomic<int>::is_always_lock_free, "a handler must not wait for what it interrupted");

// Comes back every second, so that a call which began to wait just after the flag was looked at ends too.
void noteSignal(int signal) {
  if (signal != SIGALRM) {
    endingSignal = signal;
  }
  ::alarm(1);
}

}  // namespace

void prepareProcess() {
  struct sigaction note {};
  note.sa_handler = noteSignal;  // without SA_RESTART: a waiting read ends
  sigemptyset(&note.sa_mask);
  ::sigaction(SIGALRM, &note, nullptr);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction before {};
    ::sigaction(signal, nullptr, &before);
    if (before.sa_handler != SIG_IGN) {  // stays ignored, as nohup wants it
      ::sigaction(signal, &note, nullptr);
    }
  }
  // Writes then fail with EPIPE and EFBIG, and what was begun is cleaned up.
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
}

int endRequested() noexcept { return endingSignal; }

void endBySignal(int signal) {
  std::signal(signal, SIG_DFL);
  std::raise(signal);
  std::exit(128 + signal);
}

int brokenPipeSignal() noexcept { return SIGPIPE; }

bool standardErrorIsTerminal() noexcept { return ::isatty(STDERR_FILENO) == 1; }

std::vector<std::string> arguments(int count, char** values) { return {values + std::min(count, 1), values + count}; }

}  // namespace casefile::program::platform
