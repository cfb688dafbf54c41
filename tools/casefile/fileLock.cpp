#include "fileLock.h"

#include <cerrno>
#include <system_error>
#include <utility>

namespace casefile::program {
namespace {

files::SystemFile openAndClaim(const std::string& name) {
  auto file = files::SystemFile::open(name, files::kOpenHeld | files::kOpenNoWait);
  if (file.status().kind != files::FileKind::regular) {
    throw std::system_error(EINVAL, std::generic_category());
  }
  file.claim();
  return file;
}

// The streams' lock of a file that is being written.
class WritersLock {
 public:
  explicit WritersLock(files::SystemFile& file) : file_(file) { file_.lockWriters(); }
  ~WritersLock() { file_.unlockWriters(); }
  WritersLock(const WritersLock&) = delete;
  WritersLock& operator=(const WritersLock&) = delete;

 private:
  files::SystemFile& file_;
};

}  // namespace

FileLock::FileLock(const std::string& name) : name_(name), file_(openAndClaim(name)) {
  // Until the name leads to the file that is locked: it may have been given to another one meanwhile.
  while (!isNamed(name)) {
    file_.close();
    file_ = openAndClaim(name);
  }
  files::SystemFile::openHeldForWriting(file_, name_);  // can it be written?
}

bool FileLock::isNamed(const std::string& name) const {
  const auto status = files::statusOf(name);
  return status && status->identity == identity();
}

void FileLock::update(const std::function<void(files::SystemFile&)>& work) {
  auto writing = files::SystemFile::openHeldForWriting(file_, name_);
  const WritersLock lock(writing);
  work(writing);
}

void FileLock::sync() { files::SystemFile::openHeldForWriting(file_, name_).sync(); }

}  // namespace casefile::program
