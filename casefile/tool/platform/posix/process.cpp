#include "platform/process.h"

#include <fcntl.h>
#include <pthread.h>
#include <sched.h>
#include <sys/ioctl.h>
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

// The thread whose calls are to end, while `someoneCalls`; a handler that reads it is counted, and so the thread
// does not go away under it.
pthread_t callingThread;
std::atomic<bool> someoneCalls = false;
std::atomic<int> handlersAtWork = 0;

void interruptCalls() {
  ++handlersAtWork;
  if (someoneCalls && ::pthread_equal(callingThread, ::pthread_self()) == 0) {
    ::pthread_kill(callingThread, SIGUSR1);
  }
  --handlersAtWork;
}

// Comes back every second, so that a call which began to wait just after the flag was looked at ends too.
void noteSignal(int signal) {
  if (signal != SIGALRM) {
    endingSignal = signal;
  }
  ::alarm(1);
  interruptCalls();
}

void onlyInterrupt(int /*signal*/) {}

void handle(int signal, void (*handler)(int)) {
  struct sigaction note {};
  note.sa_handler = handler;  // without SA_RESTART: a waiting call ends
  sigemptyset(&note.sa_mask);
  ::sigaction(signal, &note, nullptr);
}

// A file that the program opens must not get the number of a standard stream that is closed: messages would be written
// into it. What takes the number fails as a closed one does.
void occupyClosedStreams() {
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (::fcntl(stream, F_GETFD) < 0) {
      static_cast<void>(::open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY));
    }
  }
}

}  // namespace

void prepareProcess() {
  occupyClosedStreams();
  handle(SIGALRM, noteSignal);
  handle(SIGUSR1, onlyInterrupt);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction before {};
    ::sigaction(signal, nullptr, &before);
    if (before.sa_handler != SIG_IGN) {  // stays ignored, as nohup wants it
      handle(signal, noteSignal);
    }
  }
  // Writes then fail with EPIPE and EFBIG, and what was begun is cleaned up.
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
}

InterruptibleCalls::InterruptibleCalls() noexcept {
  callingThread = ::pthread_self();
  someoneCalls = true;
}

InterruptibleCalls::~InterruptibleCalls() {
  someoneCalls = false;
  while (handlersAtWork != 0) {
    ::sched_yield();
  }
}

int endRequested() noexcept { return endingSignal; }

void endBySignal(int signal) {
  std::signal(signal, SIG_DFL);
  std::raise(signal);
  std::exit(128 + signal);
}

int brokenPipeSignal() noexcept { return SIGPIPE; }

bool standardErrorIsTerminal() noexcept { return ::isatty(STDERR_FILENO) == 1; }

std::size_t standardErrorColumns() noexcept {
  winsize size{};
  return ::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

std::vector<std::string> arguments(int count, char** values) { return {values + std::min(count, 1), values + count}; }

}  // namespace casefile::program::platform
