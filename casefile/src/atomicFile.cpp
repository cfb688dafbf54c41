#include "atomicFile.h"

#include <cerrno>
#include <cstdint>
#include <random>
#include <system_error>
#include <utility>

namespace casefile {
namespace {

[[noreturn]] void fail(const std::string& name, const char* operation, const std::string& what, std::error_code code) {
  throw Error(ErrorKind::system, what, {name, operation, code, {}, {}});
}

std::error_code posixCode(int error) { return {error, std::generic_category()}; }

// The name itself, or as much of it as leaves room for a number behind it in the 255 bytes that file systems
// take; cut between two letters.
std::string workingBeginning(const std::string& name) {
  constexpr std::size_t kMost = 255 - sizeof ".4294967295.tmp";
  static_assert(std::string::npos + 1 == 0);  // what a name without a folder begins with
  const std::size_t folder = name.find_last_of(files::nameSeparators) + 1;
  if (name.size() - folder <= kMost) {
    return name;
  }
  std::size_t end = folder + kMost;
  constexpr unsigned kContinues = 0x80;
  while (end > folder + 1 && (static_cast<unsigned char>(name[end]) & 0xC0U) == kContinues) {
    --end;
  }
  return name.substr(0, end);
}

// The working file's shorter name would not tell before all is written.
void refuseTooLong(const std::string& name) {
  files::FileStatus unused;
  if (files::systemCalls().statusOf(name.c_str(), false, &unused) != 0 && errno == ENAMETOOLONG) {
    throw std::system_error(posixCode(ENAMETOOLONG));
  }
}

// Another user's link in a folder that both may write would have this one make or replace a file where that one
// chooses. The folder's owner could do so anyway.
void refuseLinkOfAnother(const std::string& name, const std::string& link) {
  const auto status = files::statusOfName(link);
  if (!status || !status->tellsRights || status->owner == 0 || status->owner == files::systemCalls().userId()) {
    return;
  }
  const auto folder = files::statusOf(files::folderOf(link));
  if (!folder || folder->owner != status->owner) {
    fail(name, "create",
         "leads elsewhere by a link of another user (" + std::to_string(status->owner) + "), which is not followed",
         posixCode(EACCES));
  }
}

}  // namespace

AtomicFile::AtomicFile(std::string name, Rules rules) : name_(std::move(name)), rules_(rules) {
  if (name_.empty() || name_.find('\0') != std::string::npos) {
    throw Error(ErrorKind::usage, "no file can have this name", {name_, "create", {}, {}, {}});
  }
  try {
    target_ = files::withoutLinks(name_, [this](const std::string& link) { refuseLinkOfAnother(name_, link); });
    replaced_ = files::statusOf(target_);
    if (const auto& there = replaced_) {
      if (there->kind != files::FileKind::regular) {
        fail(name_, "create", "is there and no regular file", posixCode(EEXIST));
      }
      if (!rules_.replace) {
        fail(name_, "create", "is there already", posixCode(EEXIST));
      }
    }
    makeWorkingFile();
  } catch (const std::system_error& error) {
    fail(name_, "create", "cannot be made", error.code());
  }
}

void AtomicFile::makeWorkingFile() {
  constexpr int kAttempts = 100;
  const std::string beginning = workingBeginning(target_);
  if (beginning != target_) {
    refuseTooLong(target_);
  }
  std::random_device random;
  for (int attempt = 1;; ++attempt) {
    working_ = beginning + "." + std::to_string(random()) + ".tmp";
    try {
      file_.emplace(files::SystemFile::open(working_, files::kOpenNew | files::kOpenRead | files::kOpenWrite));
      break;
    } catch (const std::system_error& error) {
      if (error.code().value() != EEXIST || attempt == kAttempts) {
        throw;
      }
    }
  }
  try {
    identity_ = file_->identity();
  } catch (const std::system_error& error) {
    file_.reset();  // a system may keep the name of an open file
    if (files::systemCalls().unlink(working_.c_str()) != 0) {
      throw Error(Error(ErrorKind::system, "cannot be made", {name_, "create", error.code(), {}, {}}), working_);
    }
    throw;
  }
}

void AtomicFile::writeAt(const void* bytes, std::size_t count, int64 position) {
  try {
    file_->writeAt(bytes, count, position);
  } catch (const std::system_error& error) {
    throw Error(ErrorKind::system, "cannot be written", {name_, "write", error.code(), position, {}});
  }
}

bool AtomicFile::isNamed(const std::string& name) const {
  const auto status = files::statusOfName(name);
  return status && status->identity == identity_;
}

void AtomicFile::takeTimesOf(const files::FileStatus& source) noexcept {
  if (source.kind == files::FileKind::regular) {
    timesLike_ = source;
  }
}

// One that somebody gave the name meanwhile says nothing of who may read the new file.
std::optional<files::FileStatus> AtomicFile::replacedFile() const {
  const auto now = replaced_ ? files::statusOf(target_) : std::nullopt;
  return now && now->identity == replaced_->identity ? now : std::nullopt;
}

void AtomicFile::giveTimes() {
  if (!timesLike_) {
    return;
  }
  try {
    file_->setTimes(timesLike_->accessed, timesLike_->modified);
  } catch (const std::system_error&) {
    // On a file system that keeps no times the file is as good.
  }
}

// The working name, which somebody else may have given to another file, is used for this step alone.
void AtomicFile::giveName() {
  if (!isNamed(working_)) {
    fail(name_, "rename", "is not made: its working name was given to another file", {});
  }
  bool once = true;
  if (rules_.replace) {
    files::rename(working_, target_);
  } else {
    once = files::renameToFree(working_, target_);
  }
  const int error = errno;
  const std::string working = std::exchange(working_, {});
  if (!isNamed(target_)) {
    fail(name_, "rename", "was given to another file meanwhile", {});
  }
  if (!once) {
    throw Error(ErrorKind::system, "is complete, but its working name " + working + " cannot be removed and must be",
                {name_, "unlink", posixCode(error), {}, {}, working});
  }
}

void AtomicFile::make(const std::function<void()>& write) {
  try {
    write();
    commit();
  } catch (const Error& error) {
    discard();
    if (leftBehind_) {
      throw Error(error, leftBehind_->leftBehind());
    }
    throw;
  }
}

void AtomicFile::commit() {
  try {
    giveTimes();
    rights_.give(*file_, replacedFile());
    if (rules_.sync) {
      file_->sync();
    }
    file_->close();
    giveName();
    if (rules_.sync) {
      files::syncFolderOf(target_);
    }
  } catch (const std::system_error& error) {
    fail(name_, "rename",
         working_.empty() ? "has its name, but the folder cannot be written to the disk" : "cannot be given its name",
         error.code());
  }
}

// Its own, as far as is known.
bool AtomicFile::mayBeNamed(const std::string& name) const noexcept {
  try {
    return isNamed(name);
  } catch (...) {
    return true;
  }
}

void AtomicFile::discard() noexcept {
  if (working_.empty()) {
    return;
  }
  file_.reset();  // a system may keep the name of an open file
  if (mayBeNamed(working_) && files::systemCalls().unlink(working_.c_str()) != 0) {
    const int error = errno;
    try {
      leftBehind_.emplace(ErrorKind::system, "its working file " + working_ + " cannot be removed and must be",
                          Error::Place{name_, "unlink", posixCode(error), {}, {}, working_});
    } catch (...) {
      // No memory for words.
    }
  }
  working_.clear();
}

}  // namespace casefile
