#include "plainOutput.h"

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "failure.h"
#include "fileNames.h"

namespace casefile {
namespace {

bool isDevice(const std::string& name) {
  std::error_code none;
  const auto status = std::filesystem::status(pathOf(name), none);
  return std::filesystem::exists(status) && !std::filesystem::is_regular_file(status) &&
         !std::filesystem::is_directory(status);
}

}  // namespace

PlainOutput::PlainOutput(const std::string& name, bool replace)
    : name_(name == kStandardStream ? "standard output" : name) {
  try {
    if (name == kStandardStream) {
      file_.emplace(platform::File::standardOutput());
    } else if (isDevice(name)) {
      file_.emplace(platform::File::openForWriting(name));
    } else {
      pending_.emplace(name, replace);
      file_.emplace(platform::File::openForWriting(pending_->workingName()));
    }
  } catch (const std::system_error& error) {
    fail(error.code().value());
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
  try {
    file_->write(bytes, count);
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
  if (pending_) {
    pending_->commit();
  }
}

}  // namespace casefile
