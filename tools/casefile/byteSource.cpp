#include "byteSource.h"

#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

#include "Datasource/platform/extNameStr.h"
#include "Datasource/platform/throwError.h"
#include "failure.h"
#include "fileNames.h"

namespace casefile {
namespace {

// Opening a pipe would wait for its other end.
void requireRegular(const std::string& name) {
  std::error_code none;
  const auto status = std::filesystem::status(pathOf(name), none);
  if (std::filesystem::is_directory(status)) {
    throw Failure(name, "cannot be opened: " + systemWords(EISDIR), kRefused);
  }
  if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status)) {
    throw Failure(name, "is no regular file", kRefused);
  }
}

}  // namespace

FileSource::FileSource(std::string name) : name_(std::move(name)) {
  requireRegular(name_);
  ExtNameStr systemName;
  systemName.SetU8(name_);
  errno = 0;
  if (!file_.Open(systemName, "rb")) {
    throw Failure(name_, "cannot be opened: " + systemWords(errno), kRefused);
  }
  size_ = file_.Size();
  if (size_ < 0) {
    throw Failure(name_, "is no regular file", kRefused);
  }
}

std::size_t FileSource::read(void* buffer, std::size_t count, int64 position) {
  if (position >= size_) {
    return 0;
  }
  try {
    return file_.Read(buffer, count, position);
  } catch (const StringSysError& error) {
    throw Failure(name_, "cannot be read: " + systemWords(error.systemError()), kRefused);
  }
}

}  // namespace casefile
