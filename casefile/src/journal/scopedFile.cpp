#include "scopedFile.h"

#include <cerrno>
#include <system_error>
#include <utility>

namespace casefile {
namespace {

[[noreturn]] void fail(int error) { throw std::system_error(error, std::generic_category()); }

}  // namespace

ScopedFile::ScopedFile(std::string name)
    : name_(std::move(name)),
      file_(files::SystemFile::open(name_, files::kOpenRead | files::kOpenWrite | files::kOpenNew)) {
  try {
    identity_ = file_->identity();
  } catch (...) {
    file_.reset();
    files::removeFile(name_);
    throw;
  }
}

ScopedFile::~ScopedFile() {
  try {
    remove();
  } catch (...) {
    // nothing more can be done about it
  }
}

bool ScopedFile::isAt(const std::string& name) const {
  const auto status = files::statusOfName(name);
  return status && status->identity == identity_;
}

void ScopedFile::rename(const std::string& name) {
  if (!isAt(name_)) {
    fail(ENOENT);
  }
  if (!files::renameToFree(name_, name)) {
    const int error = errno;  // it has both names and may have but one
    files::removeFile(name);
    fail(error);
  }
  name_ = name;
  if (!isAt(name_)) {
    fail(EEXIST);
  }
}

void ScopedFile::remove() {
  file_.reset();  // a system may keep the name of an open file
  if (mine_ && isAt(name_)) {
    files::removeFile(name_);
  }
  mine_ = false;
}

}  // namespace casefile
