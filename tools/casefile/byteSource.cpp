#include "byteSource.h"

#include <cerrno>
#include <utility>

#include "Datasource/platform/extNameStr.h"
#include "Datasource/platform/throwError.h"
#include "failure.h"

namespace casefile {

FileSource::FileSource(std::string name) : name_(std::move(name)) {
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
