#include "plainOutput.h"

#include <cerrno>
#include <system_error>

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
    : name_(name == kStandardStream ? "standard output" : name) {
  try {
    if (name == kStandardStream) {
      file_.emplace(files::SystemFile::standardOutput());
    } else if (isDevice(name)) {
      file_.emplace(openDevice(name));
    } else {
      made_.emplace(name, rules);
      file_.emplace(made_->openForWriting());
    }
    file_->giveUpWhen([]() noexcept { return platform::endRequested() != 0; });
  } catch (const std::system_error& error) {
    fail(error.code().value());
  }
}

void PlainOutput::limitRightsTo(const files::FileStatus& input) {
  if (made_) {
    made_->limitRightsTo(input);
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
  const platform::InterruptibleCalls toWaitIn;
  try {
    file_->write(bytes, count);
  } catch (const std::system_error& error) {
    fail(error.code().value());
  }
}

void PlainOutput::writeAt(const void* bytes, std::size_t count, int64 position) {
  try {
    file_->writeAt(bytes, count, position);
  } catch (const std::system_error& error) {
    fail(error.code().value());
  }
}

void PlainOutput::commit() {
  try {
    file_->close();
  } catch (const std::system_error& error) {
    fail(error.code().value());
  }
  if (made_) {
    made_->commit();
  }
}

}  // namespace casefile::program
