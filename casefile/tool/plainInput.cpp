#include "plainInput.h"

#include <system_error>

#include "failure.h"
#include "platform/process.h"

namespace casefile::program {
namespace {

constexpr std::size_t kPiece = 256 * 1024;

files::SystemFile open(const std::string& name) {
  try {
    files::SystemFile file =
        name == kStandardStream ? files::SystemFile::standardInput() : files::SystemFile::open(name, files::kOpenRead);
    file.giveUpWhen([]() noexcept { return platform::endRequested() != 0; });
    return file;
  } catch (const std::system_error& error) {
    throw Failure(name, "cannot be opened: " + systemWords(error.code().value()), kRefused);
  }
}

}  // namespace

PlainInput::PlainInput(const std::string& name)
    : name_(name == kStandardStream ? "standard input" : name), file_(open(name)), buffer_(kPiece) {}

bool PlainInput::fill() {
  if (next_ < end_) {
    return true;
  }
  throwIfInterrupted();
  next_ = 0;
  try {
    end_ = file_.read(buffer_.data(), buffer_.size());
  } catch (const std::system_error& error) {
    end_ = 0;
    throwIfInterrupted();
    throw Failure(name_, "cannot be read: " + systemWords(error.code().value()), kRefused);
  }
  return end_ > 0;
}

}  // namespace casefile::program
