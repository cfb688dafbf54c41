#include "failure.h"

#include <cerrno>
#include <cstdio>
#include <mutex>
#include <new>
#include <system_error>

#include "casefile/error.h"
#include "escaped.h"
#include "platform/process.h"
#include "statusLine.h"

namespace casefile::program {
namespace {

// What cannot be looked at is refused; what cannot be done has failed.
ExitCode exitCodeFor(const Error& error) {
  const bool unread = error.kind() == ErrorKind::system && error.operation() == "read";
  const bool refused = error.kind() == ErrorKind::notADataFile || error.kind() == ErrorKind::usage || unread;
  return refused ? kRefused : kFailed;
}

}  // namespace

void throwIfInterrupted() {
  if (const int signal = platform::endRequested(); signal != 0) {
    throw Interrupted{signal};
  }
}

void say(const std::string& file, const std::string& what) {
  static std::mutex oneAtATime;
  const std::lock_guard<std::mutex> lock(oneAtATime);
  StatusLine::wipe();
  std::fprintf(stderr, "casefile: %s: %s\n", escaped(file).c_str(), escaped(what).c_str());
}

void requirePrinted() {
  if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
    if (errno == EPIPE && platform::brokenPipeSignal() != 0) {
      throw Interrupted{platform::brokenPipeSignal()};
    }
    throw Failure("standard output", "cannot be written: " + systemWords(errno));
  }
}

std::string textOf(const Error& error) {
  const std::string text = error.what();
  return error.file().empty() ? text : text.substr(error.file().size() + 2);  // behind "FILE: "
}

std::string systemWords(int error) { return std::generic_category().message(error); }

int report(const std::exception_ptr& error, const std::string& file) {
  if (const int signal = platform::endRequested(); signal != 0) {
    StatusLine::wipe();
    platform::endBySignal(signal);
  }
  try {
    std::rethrow_exception(error);
  } catch (const Failure& failure) {
    say(failure.file(), failure.what());
    return failure.code();
  } catch (const Error& failure) {
    say(failure.file(), textOf(failure));
    return exitCodeFor(failure);
  } catch (const std::system_error& failure) {
    say(file, systemWords(failure.code().value()));
    return kFailed;
  } catch (const std::bad_alloc&) {
    say(file, "not enough memory");
    return kFailed;
  } catch (const Interrupted& interrupted) {
    platform::endBySignal(interrupted.signal);
  } catch (const std::exception& other) {
    say(file, other.what());
    return kFailed;
  }
}

}  // namespace casefile::program
