#include "Datasource/platform/cRuntime.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdio>

#include "cRuntimeTable.h"

namespace datasource::platform {
namespace {

static_assert(sizeof(off_t) == 8, "positions are 64 bits wide");

/// The most that one transfer moves: the kernel's own limit, and it fits the result.
constexpr std::size_t transferLimit = 0x7FFFF000;

/// Puts errno back: a call that succeeds leaves no trace of what it met on the way.
class KeptErrno {
 public:
  KeptErrno() : kept_(errno) {}
  ~KeptErrno() { errno = kept_; }
  KeptErrno(const KeptErrno&) = delete;
  KeptErrno& operator=(const KeptErrno&) = delete;
  void keep(int value) { kept_ = value; }

 private:
  int kept_;
};

/// How often in a row a call that a signal interrupts is made: an open of a file on a server that is
/// gone, or of a pipe that has no other end, may be interrupted for ever.
constexpr int mostAttempts = 1000;

/// Makes `call` until no signal interrupts it, at most `mostAttempts` times. Returns: its last result.
template <typename Call>
int uninterrupted(Call call) {
  int result = -1;
  int attempts = 0;
  do {
    result = call();
  } while (result == -1 && errno == EINTR && ++attempts < mostAttempts);
  return result;
}

bool canWrite(int oflag) { return (oflag & (_O_WRONLY | _O_RDWR)) != 0; }

/// The flags for open(2). Truncation is not among them: it waits for the lock. The text and hint
/// flags have no counterpart; in particular the hint of random access would end the read-ahead.
int systemFlags(int oflag) {
  int flags = O_CLOEXEC | O_NOCTTY;
  if ((oflag & _O_RDWR) != 0) {
    flags |= O_RDWR;
  } else {
    flags |= (oflag & _O_WRONLY) != 0 ? O_WRONLY : O_RDONLY;
  }
  if ((oflag & _O_APPEND) != 0) {
    flags |= O_APPEND;
  }
  if ((oflag & _O_CREAT) != 0) {
    flags |= O_CREAT;
  }
  return flags;
}

int openByName(const char* name, int oflag, int pmode) {
  const int descriptor = uninterrupted([&] { return ::open(name, systemFlags(oflag), static_cast<mode_t>(pmode)); });
  if (descriptor == -1 && errno == EISDIR) {
    errno = EACCES;
  }
  return descriptor;
}

/// Takes the writers' lock without waiting. A file system that knows no locks is no failure.
bool lockForWriting(int descriptor) {
  if (uninterrupted([&] { return ::flock(descriptor, LOCK_EX | LOCK_NB); }) == 0) {
    return true;
  }
  switch (errno) {
    case EWOULDBLOCK:
      errno = EACCES;
      return false;
    case ENOLCK:
    case EOPNOTSUPP:
    case ENOSYS:
    case EINVAL:
      return true;
    default:
      return false;
  }
}

bool truncateToNothing(int descriptor) {
  return uninterrupted([&] { return ::ftruncate(descriptor, 0); }) == 0;
}

/// What is left to do once the file is open. Locks, truncation and removal are for regular files:
/// a device has no contents to protect, and its name is not ours to remove.
bool settle(int descriptor, const char* name, int oflag) {
  struct stat status {};
  if (::fstat(descriptor, &status) != 0) {
    return false;
  }
  if (S_ISDIR(status.st_mode)) {
    errno = EACCES;
    return false;
  }
  if (!S_ISREG(status.st_mode)) {
    return true;
  }
  if (canWrite(oflag) && !lockForWriting(descriptor)) {
    return false;
  }
  // The removal first: where it is refused, the contents are still there.
  if ((oflag & _O_TEMPORARY) != 0 && ::unlink(name) != 0) {
    return false;
  }
  return (oflag & _O_TRUNC) == 0 || truncateToNothing(descriptor);
}

int openShared(const char* genericName, int oflag, int /*shflag*/, int pmode) {
  KeptErrno error;
  if (genericName == nullptr || ((oflag & _O_TRUNC) != 0 && !canWrite(oflag))) {
    error.keep(EINVAL);
    return -1;
  }
  const int descriptor = openByName(genericName, oflag, pmode);
  if (descriptor != -1 && settle(descriptor, genericName, oflag)) {
    return descriptor;
  }
  error.keep(errno);
  if (descriptor != -1) {
    ::close(descriptor);
  }
  return -1;
}

int64 seek(int descriptor, int64 offset, int origin) { return ::lseek(descriptor, offset, origin); }

/// Moves up to `count` bytes with `transfer`, over interrupts and partial transfers, until nothing
/// more moves. Interrupts are not counted: who reads from a pipe may wait for long while a timer ticks.
/// Returns: bytes moved. `failure` becomes 0, or the errno that stopped it.
template <typename Transfer>
std::size_t transferAll(std::size_t count, int& failure, Transfer transfer) {
  std::size_t done = 0;
  failure = 0;
  do {
    const ssize_t moved = transfer(done, count - done);
    if (moved < 0 && errno == EINTR) {
      continue;
    }
    if (moved < 0) {
      failure = errno;
    }
    if (moved <= 0) {
      break;
    }
    done += static_cast<std::size_t>(moved);
  } while (done < count);
  return done;
}

int readWhole(int descriptor, void* buffer, unsigned int count) {
  KeptErrno error;
  int failure = 0;
  const std::size_t done = transferAll(
      std::min<std::size_t>(count, transferLimit), failure,
      [&](std::size_t from, std::size_t size) { return ::read(descriptor, static_cast<char*>(buffer) + from, size); });
  if (failure == 0) {
    return static_cast<int>(done);
  }
  // A short count would pass for the end of the file. Back to where the read began, so that the
  // caller's idea of the position stays right.
  if (done > 0) {
    ::lseek(descriptor, -static_cast<off_t>(done), SEEK_CUR);
  }
  error.keep(failure);
  return -1;
}

int writeWhole(int descriptor, const void* buffer, unsigned int count) {
  KeptErrno error;
  int failure = 0;
  const std::size_t done =
      transferAll(std::min<std::size_t>(count, transferLimit), failure, [&](std::size_t from, std::size_t size) {
        return ::write(descriptor, static_cast<const char*>(buffer) + from, size);
      });
  if (failure != 0) {
    error.keep(failure);  // also beside a short count: it says why
  }
  return done == 0 && failure != 0 ? -1 : static_cast<int>(done);
}

int closeForGood(int descriptor) {
  KeptErrno error;
  if (::close(descriptor) == 0 || errno == EINTR) {
    return 0;  // interrupted, but closed all the same
  }
  error.keep(errno);
  return -1;
}

}  // namespace

constinit const CRuntimeCalls systemCRuntime{openShared, seek, readWhole, writeWhole, closeForGood, identityOf};

}  // namespace datasource::platform
