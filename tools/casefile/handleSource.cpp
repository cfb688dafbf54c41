#include "handleSource.h"

#include <cstddef>
#include <system_error>
#include <utility>

#include "failure.h"

namespace casefile {

HandleSource::HandleSource(platform::File& file, std::string name)
    : file_(file), name_(std::move(name)), size_(file.size()) {}

std::size_t HandleSource::read(void* buffer, std::size_t count, int64 position) {
  try {
    file_.seek(position);
    return file_.read(buffer, count);
  } catch (const std::system_error& error) {
    throw Failure(name_, "cannot be read: " + systemWords(error.code().value()), kRefused);
  }
}

}  // namespace casefile
