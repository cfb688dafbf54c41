#include "ownFile.h"

#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

#include "fileNames.h"

namespace casefile {

OwnFile::OwnFile(std::string name) : name_(std::move(name)), file_(platform::File::createPrivate(name_)) {
  const auto identity = file_->identity();
  if (!identity) {
    file_.reset();
    std::filesystem::remove(pathOf(name_));
    throw std::system_error(EIO, std::generic_category());
  }
  identity_ = *identity;
}

OwnFile::~OwnFile() {
  try {
    remove();
  } catch (...) {
    // nothing more can be done about it
  }
}

void OwnFile::rename(const std::string& name) {
  file_.reset();  // a system may rename no open file
  platform::renameToFree(name_, name);
  name_ = name;
  if (auto opened = platform::File::openRegular(name_, true); opened) {
    file_.emplace(std::move(*opened));
  }
  if (!file_ || file_->identity() != identity_) {
    throw std::system_error(EEXIST, std::generic_category());
  }
}

void OwnFile::remove() {
  file_.reset();  // a system may remove no open file
  if (mine_ && platform::identityOf(name_) == identity_) {
    std::filesystem::remove(pathOf(name_));
  }
  mine_ = false;
}

}  // namespace casefile
