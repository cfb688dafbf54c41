#include "plainInput.h"

#include <algorithm>
#include <cstring>
#include <system_error>

#include "failure.h"
#include "platform/process.h"

namespace casefile::program {
namespace {

constexpr std::size_t kPiece = 256 * 1024;

files::SystemFile open(const std::string& name) {
  files::SystemFile file = name == kStandardStream ? files::SystemFile::standardInput() : openForReading(name);
  file.giveUpWhen([]() noexcept { return platform::endRequested() != 0; });
  return file;
}

}  // namespace

files::SystemFile openForReading(const std::string& name, unsigned moreFlags) {
  try {
    return files::SystemFile::open(name, files::kOpenRead | moreFlags);
  } catch (const std::system_error& error) {
    throw Failure(name, "cannot be opened: " + systemWords(error.code().value()), kRefused);
  }
}

PlainInput::PlainInput(const std::string& name)
    : name_(name == kStandardStream ? "standard input" : name), file_(open(name)), buffer_(kPiece) {}

std::size_t PlainInput::readFile(void* bytes, std::size_t count) {
  throwIfInterrupted();
  try {
    return file_.read(bytes, count);
  } catch (const std::system_error& error) {
    throwIfInterrupted();
    throw Failure(name_, "cannot be read: " + systemWords(error.code().value()), kRefused);
  }
}

bool PlainInput::fill() {
  if (next_ < end_) {
    return true;
  }
  next_ = 0;
  end_ = 0;
  end_ = readFile(buffer_.data(), buffer_.size());
  return end_ > 0;
}

std::size_t PlainInput::read(std::span<std::byte> into) {
  if (next_ == end_) {
    return readFile(into.data(), into.size());
  }
  const std::size_t count = std::min(into.size(), available());
  std::memcpy(into.data(), data(), count);
  take(count);
  return count;
}

}  // namespace casefile::program
