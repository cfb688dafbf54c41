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

// The operation of an Error about standard output, or a device or pipe that stands for it.
constexpr char kPrinting[] = "print";

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

// Returns: the signal by which the program is to end now, or 0. A file that an interrupted call leaves behind is named.
int endingSignal(const std::exception_ptr& error) try { std::rethrow_exception(error); } catch (const Error& failure) {
  const int signal = platform::endRequested();
  if (signal != 0 && !failure.leftBehind().empty()) {
    say(failure.file(), failure.happened());
  }
  const bool isReaderGone = failure.operation() == kPrinting && failure.code() == std::errc::broken_pipe;
  return signal == 0 && isReaderGone ? platform::brokenPipeSignal() : signal;
} catch (...) {
  return platform::endRequested();
}

}  // namespace

void fail(const std::string& file, const std::string& what) {
  throw Error(ErrorKind::system, what, {file, "do", {}, {}, {}});
}

void failToWrite(const std::string& output, std::error_code error) {
  throw Error(ErrorKind::system, "cannot be written", {output, kPrinting, error, {}, {}});
}

void requirePrinted() {
  if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
    failToWrite("standard output", {errno, std::generic_category()});
  }
}

int report(const std::exception_ptr& error, const std::string& file) try {
  if (const int signal = endingSignal(error); signal != 0) {
    StatusLine::wipe();
    platform::endBySignal(signal);
  }
  try {
    std::rethrow_exception(error);
  } catch (const Error& failure) {
    say(failure.file(), failure.happened() + adviceFor(failure));
    return exitCodeFor(failure);
  } catch (const std::system_error& failure) {
    say(file, failure.code().message());
  } catch (const std::bad_alloc&) {
    sayNoMemory(file);
  } catch (const std::exception& other) {
    say(file, other.what());
  }
  return kFailed;
} catch (const std::bad_alloc&) {  // of saying it
  sayNoMemory(file);
  return kFailed;
}

int forEachFile(const std::vector<std::string>& files, const std::function<int(const std::string&)>& work) {
  int worst = kDone;
  for (const std::string& file : files) {
    int code = kDone;
    try {
      code = work(file);
    } catch (...) {
      code = report(std::current_exception(), file);
    }
    worst = std::max(worst, code);
  }
  return worst;
}

}  // namespace casefile::program
