#ifndef CASEFILE_PLATFORM_PROCESS_H
#define CASEFILE_PLATFORM_PROCESS_H

#include <cstddef>
#include <string>
#include <vector>

/// What the program, as a process, wants of the operating system: signals, terminal, arguments.
namespace casefile::program::platform {

/// Returns: the number of the signal that asked the program to end, or 0.
int endRequested() noexcept;

/// Makes the standard streams binary, keeps files from being opened in the place of closed ones, and lets the signals
/// that ask the program to end be noticed by `endRequested` instead of ending it.
void prepareProcess();
/// As long as it lives, a signal that asks the program to end interrupts the calls of the thread that made it, too,
/// although the system tells the main thread.
///
/// Threads: there is one at a time.
class InterruptibleCalls {
 public:
  InterruptibleCalls() noexcept;
  ~InterruptibleCalls();
  InterruptibleCalls(const InterruptibleCalls&) = delete;
  InterruptibleCalls& operator=(const InterruptibleCalls&) = delete;
};
/// Ends the process as that signal would have.
[[noreturn]] void endBySignal(int signal);
/// Returns: what a write to a pipe whose reader has gone asks the program to end with, or 0 when the
///   system knows no such signal.
int brokenPipeSignal() noexcept;

bool standardErrorIsTerminal() noexcept;
/// Returns: how many letters a line of the terminal that standard error is has room for now; 0 when it is none.
std::size_t standardErrorColumns() noexcept;

/// Returns: the program's arguments without its name, in UTF-8.
std::vector<std::string> arguments(int count, char** values);

}  // namespace casefile::program::platform

#endif
