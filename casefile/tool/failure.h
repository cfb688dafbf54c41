#ifndef CASEFILE_FAILURE_H
#define CASEFILE_FAILURE_H

#include <exception>
#include <functional>
#include <string>
#include <system_error>
#include <vector>

namespace casefile::program {

/// What the program answers with.
enum ExitCode : int {
  kDone = 0,     ///< all was done; the file is sound
  kFailed = 1,   ///< the work failed, or the file is damaged
  kRefused = 2,  ///< wrong usage, or the input is no compressed data file or cannot be read
};

/// Ends a command, whose work failed.
[[noreturn]] void fail(const std::string& file, const std::string& what);

/// Ends a command that cannot write to standard output, or to the device or pipe that `output` is the name of. When the
/// reader of a pipe has gone, the program ends as the system would have ended it.
[[noreturn]] void failToWrite(const std::string& output, std::error_code error);
/// Looks whether what was printed on standard output got there. Raises: as failToWrite.
void requirePrinted();

/// Prints what an exception tells, and what the user can do about it. Threads: one, when a command has ended.
/// Returns: the exit code; does not return when a signal has asked the program to end.
int report(const std::exception_ptr& error, const std::string& file);

/// Does the work for each file, also behind one for which it fails, whose reason is said.
/// Returns: the worst exit code.
int forEachFile(const std::vector<std::string>& files, const std::function<int(const std::string&)>& work);

}  // namespace casefile::program

#endif
