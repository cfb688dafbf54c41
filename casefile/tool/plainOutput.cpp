#include "plainOutput.h"

#include <cerrno>
#include <system_error>

#include "casefile/error.h"
#include "failure.h"
#include "platform/process.h"

namespace casefile::program {
namespace {

bool isDevice(const std::string& name) {
  try {
    const auto status = files::statusOf(name);
    return status && status->kind == files::FileKind::other;
  } catch (const std::system_error&) {
    return false;  // making a file tells it better
  }
}

files::SystemFile openDevice(const std::string& name) {
  auto file = files::SystemFile::open(name, files::kOpenWrite);
  if (file.status().kind != files::FileKind::other) {
    throw Failure(name, "was given to another file meanwhile");
  }
  return file;
}

}  // namespace

PlainOutput::PlainOutput(const std::string& name, OutputRules rules)
    : name_(name == kStandardStream ? "standard output" : name), rules_(rules) {
  try {
    if (name == kStandardStream) {
      stream_.emplace(files::SystemFile::standardOutput());
    } else if (isDevice(name)) {
      stream_.emplace(openDevice(name));
    } else {
      requireFree(name, rules);
      made_.emplace(name, AtomicFile::Rules{rules.replace, rules.sync});
      return;
    }
    stream_->giveUpWhen([]() noexcept { return platform::endRequested() != 0; });
  } catch (const std::system_error& error) {
    fail(error.code().value());
  }
}

PlainOutput::~PlainOutput() {
  if (made_) {
    made_->discard();
    if (const auto& left = made_->leftBehind()) {
      say(name_, textOf(*left));
    }
  }
}

void PlainOutput::limitRightsTo(const files::FileStatus& input) {
  if (made_) {
    made_->limitRightsTo(input);
  }
}

void PlainOutput::appearAs(const files::FileStatus& input) {
  if (made_ && rules_.preserve) {
    made_->limitRightsTo(input);
    made_->takeTimesOf(input);
  }
}

void PlainOutput::fail(int error) const {
  throwIfInterrupted();
  if (error == EPIPE && platform::brokenPipeSignal() != 0) {
    throw Interrupted{platform::brokenPipeSignal()};
  }
  throw Failure(name_, "cannot be written: " + systemWords(error));
}

void PlainOutput::write(const void* bytes, std::size_t count) {
  if (made_) {
    made_->writeAt(bytes, count, written_);
    written_ += static_cast<int64>(count);
    return;
  }
  const platform::InterruptibleCalls toWaitIn;
  try {
    stream_->write(bytes, count);
  } catch (const std::system_error& error) {
    fail(error.code().value());
  }
}

void PlainOutput::commit() {
  if (made_) {
    throwIfInterrupted();
    made_->commit();
    dropJournalOfReplaced(name_, rules_);
    return;
  }
  try {
    stream_->close();
  } catch (const std::system_error& error) {
    fail(error.code().value());
  }
}

}  // namespace casefile::program
