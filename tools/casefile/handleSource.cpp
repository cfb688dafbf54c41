#include "handleSource.h"

#include <cstddef>
#include <system_error>
#include <utility>

#include "failure.h"

namespace casefile::program {

HandleSource::HandleSource(const files::SystemFile& file, std::string name)
    : file_(file), name_(std::move(name)), size_(file.size()) {}

std::size_t HandleSource::read(void* buffer, std::size_t count, int64 position) {
  try {
    return file_.readAt(buffer, count, position);
  } catch (const std::system_error& error) {
    throw Failure(name_, "cannot be read: " + systemWords(error.code().value()), kRefused);
  }
}

}  // namespace casefile::program
