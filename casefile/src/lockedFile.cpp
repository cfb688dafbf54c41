#include "lockedFile.h"

#include <cerrno>
#include <system_error>
#include <utility>

#include "casefile/error.h"
#include "casefile/randomAccessFile.h"

namespace casefile {
namespace {

[[noreturn]] void fail(const std::string& name, const char* operation, const std::system_error& error) {
  throw Error(ErrorKind::system, "cannot be written", {name, operation, error.code(), {}, {}});
}

[[noreturn]] void refuseBusy(const std::string& name, const std::string& what, int holder) {
  throw Error(ErrorKind::busy,
              what + (holder == 0 ? "" : " (process " + std::to_string(holder) + ")") +
                  ": wait for its end, or end it; it need not be one that may write",
              {name, "open", {}, {}, {}});
}

int holderOf(const std::string& name) {
  try {
    return files::SystemFile::open(name, files::kOpenRead | files::kOpenNoWait).lockHolder();
  } catch (const std::system_error&) {
    return 0;
  }
}

FileLock claim(const std::string& name) {
  if (name.empty() || name.find('\0') != std::string::npos) {
    throw Error(ErrorKind::usage, "no file can have this name", {name, "open", {}, {}, {}});
  }
  try {
    return FileLock(name);
  } catch (const std::system_error& error) {
    if (error.code().value() == EBUSY) {
      refuseBusy(name, "another append is at work", holderOf(name));
    }
    if (error.code().value() == EINVAL) {
      throw Error(ErrorKind::notADataFile, "is no regular file", {name, "open", {}, {}, {}});
    }
    openFile(name);  // tells it when the file cannot be read either
    fail(name, "lock", error);
  }
}

}  // namespace

LockedFile::LockedFile(std::string name) : name_(std::move(name)), lock_(claim(name_)) {
  try {
    lock_.lockForWriting();
  } catch (const std::system_error& error) {
    if (error.code().value() == EBUSY || error.code().value() == EACCES) {
      refuseBusy(name_, "another program writes to it or has locked it", lock_.holder());
    }
    fail(name_, "lock", error);
  }
}

void LockedFile::writeAt(const void* bytes, std::size_t count, int64 position) {
  try {
    lock_.writing().writeAt(bytes, count, position);
  } catch (const std::system_error& error) {
    fail(name_, "write", error);
  }
}

void LockedFile::sync() {
  try {
    lock_.writing().sync();
  } catch (const std::system_error& error) {
    fail(name_, "sync", error);
  }
}

void LockedFile::requireName() const {
  try {
    if (lock_.isNamed(name_)) {
      return;
    }
  } catch (const std::system_error& error) {
    fail(name_, "write", error);
  }
  throw Error(ErrorKind::system, "was given to another file meanwhile: nothing is appended",
              {name_, "write", {}, {}, {}});
}

}  // namespace casefile
