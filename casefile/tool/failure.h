#ifndef CASEFILE_FAILURE_H
#define CASEFILE_FAILURE_H

#include <exception>
#include <functional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace casefile {
class Error;
}

namespace casefile::program {

/// What the program answers with.
enum ExitCode : int {
  kDone = 0,     ///< all was done; the file is sound
  kFailed = 1,   ///< the work failed, or the file is damaged
  kRefused = 2,  ///< wrong usage, or the input is no compressed data file or cannot be read
};

/// Why a command ends early: the file it is about, what happened, and the exit code.
class Failure : public std::runtime_error {
 public:
  Failure(std::string file, const std::string& what, ExitCode code = kFailed)
      : std::runtime_error(what), file_(std::move(file)), code_(code) {}
  const std::string& file() const noexcept { return file_; }
  ExitCode code() const noexcept { return code_; }

 private:
  std::string file_;
  ExitCode code_;
};

/// Ends a command because a signal asked for it.
struct Interrupted {
  int signal;
};

/// Raises Interrupted when a signal has asked the program to end.
void throwIfInterrupted();

/// Raises: Failure when what was printed on standard output did not get there; Interrupted when the reader of
/// a pipe has gone.
void requirePrinted();

/// Prints what an exception tells, and what the user can do about it. Threads: one, when a command has ended.
/// Returns: the exit code; does not return for Interrupted.
int report(const std::exception_ptr& error, const std::string& file);

/// Does the work for each file, also behind one for which it fails, whose reason is said.
/// Returns: the worst exit code. Raises: Interrupted.
int forEachFile(const std::vector<std::string>& files, const std::function<int(const std::string&)>& work);

/// Returns: what a library's error tells, without the file's name.
std::string textOf(const Error& error);

/// Returns: the system's words for an errno value.
std::string systemWords(int error);

}  // namespace casefile::program

#endif
