#include "failure.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <new>
#include <system_error>

#include "casefile/error.h"
#include "messages.h"
#include "platform/process.h"

namespace casefile::program {
namespace {

// Whether case data were found, and others behind them.
bool isAmbiguous(const Error& error) {
  return error.kind() == ErrorKind::notADataFile && error.operation() == "choose";
}

// What cannot be looked at is refused; what cannot be done has failed.
ExitCode exitCodeFor(const Error& error) {
  const bool unread = error.kind() == ErrorKind::system && (error.operation() == "read" || error.operation() == "open");
  const bool refused = error.kind() == ErrorKind::notADataFile || error.kind() == ErrorKind::usage || unread;
  return refused && !isAmbiguous(error) ? kRefused : kFailed;
}

// Which option or command of this program helps.
const char* adviceFor(const Error& error) {
  if (isAmbiguous(error)) {
    return " (casefile recover --row0 writes either to a file of its own)";
  }
  if (error.kind() == ErrorKind::notADataFile && error.operation() == "find") {
    return " (--row0 says where the dictionary part ends)";
  }
  if (error.kind() == ErrorKind::damaged && error.operation() == "open") {
    return " (casefile verify lists the damage, casefile recover rescues)";
  }
  return "";
}

}  // namespace

void throwIfInterrupted() {
  if (const int signal = platform::endRequested(); signal != 0) {
    throw Interrupted{signal};
  }
}

void requirePrinted() {
  if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
    if (errno == EPIPE && platform::brokenPipeSignal() != 0) {
      throw Interrupted{platform::brokenPipeSignal()};
    }
    throw Failure("standard output", "cannot be written: " + systemWords(errno));
  }
}

std::string textOf(const Error& error) { return error.happened(); }

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
    say(failure.file(), textOf(failure) + adviceFor(failure));
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

int forEachFile(const std::vector<std::string>& files, const std::function<int(const std::string&)>& work) {
  int worst = kDone;
  for (const std::string& file : files) {
    int code = kDone;
    try {
      code = work(file);
    } catch (const Interrupted&) {
      throw;
    } catch (...) {
      code = report(std::current_exception(), file);
    }
    worst = std::max(worst, code);
  }
  return worst;
}

}  // namespace casefile::program
