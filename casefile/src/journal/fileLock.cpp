#include "fileLock.h"

#include <cerrno>
#include <system_error>
#include <utility>

namespace casefile {
namespace {

files::SystemFile openAndClaim(const std::string& name) {
  auto file = files::SystemFile::open(name, files::kOpenHeld | files::kOpenNoWait);
  if (file.status().kind != files::FileKind::regular) {
    throw std::system_error(EINVAL, std::generic_category());
  }
  file.claim();
  return file;
}

}  // namespace

FileLock::FileLock(const std::string& name) : name_(name), file_(openAndClaim(name)) {
  // Until the name leads to the file that is locked: it may have been given to another one meanwhile.
  while (!isNamed(name)) {
    file_.close();
    file_ = openAndClaim(name);
  }
}

bool FileLock::isNamed(const std::string& name) const {
  const auto status = files::statusOf(name);
  return status && status->identity == identity();
}

void FileLock::lockForWriting() {
  auto writing = files::SystemFile::openHeldForWriting(file_, name_);
  writing.lockWriters();  // until it is closed
  writing_.emplace(std::move(writing));
}

}  // namespace casefile
