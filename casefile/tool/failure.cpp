#include "failure.h"

#include <cerrno>
#include <cstdio>
#include <map>
#include <mutex>
#include <new>
#include <system_error>
#include <utility>

#include "Datasource/platform/assertion.h"
#include "Datasource/platform/throwError.h"
#include "Datasource/systemFileException.h"
#include "casefile/error.h"
#include "escaped.h"
#include "platform/process.h"
#include "statusLine.h"

namespace casefile::program {
namespace {

void raiseBrokenRule(const wchar_t* expression, const wchar_t* /*file*/, unsigned int /*line*/) {
  std::string text;
  for (const wchar_t* letter = expression; *letter != L'\0'; ++letter) {
    text.push_back(static_cast<char>(*letter));  // the library's texts are plain letters
  }
  throw BrokenRule(text);
}

std::string wordsFor(const StringSysError& error) {
  constexpr int kWriting = 1002;
  const std::string deed = error.number() == kWriting ? "cannot be written" : "cannot be read";
  return error.systemError() == 0 ? deed : deed + ": " + systemWords(error.systemError());
}

// What cannot be looked at is refused; what cannot be done has failed.
ExitCode exitCodeFor(const Error& error) {
  const bool unread = error.kind() == ErrorKind::system && error.operation() == "read";
  const bool refused = error.kind() == ErrorKind::notADataFile || error.kind() == ErrorKind::usage || unread;
  return refused ? kRefused : kFailed;
}

// What a destructor of the library could not raise.
std::mutex& lostErrorMutex() {
  static std::mutex mutex;
  return mutex;
}
std::string& lostError() {
  static std::string text;
  return text;
}

void noteLostError(const char* where, const std::exception_ptr& error) {
  if (std::uncaught_exceptions() > 0) {
    return;  // the first error is the one to report
  }
  std::string text = where;
  try {
    std::rethrow_exception(error);
  } catch (const StringSysError& lost) {
    text = wordsFor(lost);
  } catch (const std::exception& lost) {
    text += std::string(": ") + lost.what();
  } catch (...) {
    text += ": an error was lost";
  }
  const std::lock_guard<std::mutex> lock(lostErrorMutex());
  if (lostError().empty()) {
    lostError() = text;
  }
}

std::map<std::string, std::string>& shownNames() {
  static std::map<std::string, std::string> names;
  return names;
}

std::string shown(const std::string& name) {
  const auto found = shownNames().find(name);
  return found == shownNames().end() ? name : found->second;
}

}  // namespace

void catchLibraryReports() {
  datasource::platform::setAssertionHandler(raiseBrokenRule);
  datasource::platform::setLostErrorHandler(noteLostError);
}

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

void raiseLostError(const std::string& file) {
  const std::lock_guard<std::mutex> lock(lostErrorMutex());
  if (!lostError().empty()) {
    throw Failure(file, std::exchange(lostError(), {}));
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

void showAs(const std::string& working, const std::string& shown) { shownNames()[working] = shown; }

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
    say(shown(failure.file()), failure.what());
    return failure.code();
  } catch (const Error& failure) {
    say(shown(failure.file()), textOf(failure));
    return exitCodeFor(failure);
  } catch (const StringSysError& failure) {
    say(shown(failure.text()), wordsFor(failure));
    return kFailed;
  } catch (const SystemFileException& failure) {
    say(file, "cannot be opened again: " + systemWords(errno));
    return kFailed;
  } catch (const BrokenRule& broken) {
    say(file, std::string("is damaged (") + broken.what() + ")");
    return kFailed;
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
