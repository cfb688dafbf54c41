#include "systemCalls.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <limits>
#include <memory>
#include <string>

namespace datasource::platform {
namespace {

constexpr int kMostInterrupts = 1000;
constexpr int64 kNanoseconds = 1000000000;
constexpr std::uint32_t kRights = 07777;

int refuse(int error) {
  errno = error;
  return -1;
}

/// Makes a call again when a signal interrupts it, a bounded number of times.
template <typename Call>
int again(Call call) {
  int result = call();
  for (int interrupts = 0; result == -1 && errno == EINTR && interrupts < kMostInterrupts; ++interrupts) {
    result = call();
  }
  return result;
}

int systemFlags(unsigned flags) {
  const bool writes = (flags & (kOpenWrite | kOpenHeld)) != 0;
  const bool reads = (flags & (kOpenRead | kOpenHeld)) != 0;
  int result = O_CLOEXEC | O_NOCTTY | (writes ? (reads ? O_RDWR : O_WRONLY) : O_RDONLY);
  if ((flags & kOpenNew) != 0) {
    result |= O_CREAT | O_EXCL | O_NOFOLLOW;
  }
  if ((flags & kOpenNoFollow) != 0) {
    result |= O_NOFOLLOW;
  }
  if ((flags & kOpenNoWait) != 0) {
    result |= O_NONBLOCK;
  }
#ifdef O_TMPFILE
  if ((flags & kOpenUnnamed) != 0) {
    result |= O_TMPFILE;
  }
#endif
  return result;
}

int closeForGood(int descriptor) {
  // Interrupted, but closed all the same.
  return ::close(descriptor) == 0 || errno == EINTR ? 0 : -1;
}

// Closes a descriptor behind a failure, whose errno stays.
int giveUp(int descriptor) {
  const int error = errno;
  ::close(descriptor);
  return refuse(error);
}

int openFile(const char* name, unsigned flags) {
  constexpr mode_t kPrivate = 0600;
  const bool unnamed = (flags & kOpenUnnamed) != 0;
  const auto open = [&] { return ::open(name, systemFlags(flags), kPrivate); };
  const int descriptor = (flags & kOpenInterruptible) != 0 ? open() : again(open);
  if (descriptor < 0) {
    // An older file system takes the folder itself to be opened for writing.
    return unnamed && (errno == EISDIR || errno == EOPNOTSUPP || errno == EINVAL) ? refuse(ENOTSUP) : -1;
  }
  struct stat status {};
  if (::fstat(descriptor, &status) == 0 && S_ISDIR(status.st_mode)) {
    errno = unnamed ? ENOTSUP : EISDIR;
    return giveUp(descriptor);
  }
  return descriptor;
}

int64 nanosecondsOf(const statx_timestamp& time) { return time.tv_sec * kNanoseconds + time.tv_nsec; }

FileKind kindOf(unsigned mode) {
  if (S_ISREG(mode)) {
    return FileKind::regular;
  }
  if (S_ISDIR(mode)) {
    return FileKind::folder;
  }
  return S_ISLNK(mode) ? FileKind::link : FileKind::other;
}

int statusAt(int folder, const char* name, int flags, FileStatus* result) {
  struct statx status {};
  if (again([&] { return ::statx(folder, name, flags, STATX_BASIC_STATS | STATX_BTIME, &status); }) != 0) {
    return -1;
  }
  const bool tellsBirth = (status.stx_mask & STATX_BTIME) != 0;
  result->kind = kindOf(status.stx_mode);
  result->size = static_cast<int64>(status.stx_size);
  result->identity = {(static_cast<std::uint64_t>(status.stx_dev_major) << 32) | status.stx_dev_minor, status.stx_ino,
                      tellsBirth ? static_cast<std::uint64_t>(nanosecondsOf(status.stx_btime)) : 0};
  result->names = status.stx_nlink;
  result->tellsRights = true;
  result->owner = status.stx_uid;
  result->group = status.stx_gid;
  result->mode = status.stx_mode & kRights;
  result->accessed = nanosecondsOf(status.stx_atime);
  result->modified = nanosecondsOf(status.stx_mtime);
  return 0;
}

int statusOfDescriptor(int descriptor, FileStatus* result) { return statusAt(descriptor, "", AT_EMPTY_PATH, result); }

int statusOfNamed(const char* name, bool follow, FileStatus* result) {
  return statusAt(AT_FDCWD, name, follow ? 0 : AT_SYMLINK_NOFOLLOW, result);
}

// What is open with kOpenHeld can write already.
int duplicate(int descriptor, const char* /*name*/) { return ::fcntl(descriptor, F_DUPFD_CLOEXEC, 0); }

int nameOfOpen(int descriptor, char* buffer, std::size_t size) {
  FileStatus open;
  FileStatus named;
  const int length = std::snprintf(buffer, size, "/proc/self/fd/%d", descriptor);
  const bool same = length > 0 && static_cast<std::size_t>(length) < size &&
                    statusOfDescriptor(descriptor, &open) == 0 && statusOfNamed(buffer, true, &named) == 0 &&
                    open.identity == named.identity;
  return same ? 0 : refuse(ENOTSUP);
}

int readSome(int descriptor, void* buffer, unsigned count) {
  return static_cast<int>(::read(descriptor, buffer, count));
}

int writeSome(int descriptor, const void* buffer, unsigned count) {
  return static_cast<int>(::write(descriptor, buffer, count));
}

int readSomeAt(int descriptor, void* buffer, unsigned count, int64 position) {
  return static_cast<int>(::pread(descriptor, buffer, count, position));
}

int writeSomeAt(int descriptor, const void* buffer, unsigned count, int64 position) {
  return static_cast<int>(::pwrite(descriptor, buffer, count, position));
}

int seekTo(int descriptor, int64 position) { return ::lseek(descriptor, position, SEEK_SET) < 0 ? -1 : 0; }

// A file system that knows no holes answers that all is data.
int nextDataOf(int descriptor, int64 position, int64* result) {
  const off_t found = ::lseek(descriptor, position, SEEK_DATA);
  if (found >= 0) {
    *result = found;
    return 0;
  }
  struct stat status {};
  if (errno == ENXIO && ::fstat(descriptor, &status) == 0) {
    *result = status.st_size;
    return 0;
  }
  return errno == EINVAL ? refuse(ENOTSUP) : -1;
}

int truncateTo(int descriptor, int64 length) {
  return again([&] { return ::ftruncate(descriptor, length); });
}

int syncContents(int descriptor) {
  const int result = again([&] { return ::fsync(descriptor); });
  // A file system that cannot has nothing to offer.
  return result == -1 && (errno == EINVAL || errno == EROFS || errno == ENOTSUP) ? 0 : result;
}

int syncNames(const char* folder) {
  const int descriptor = again([&] { return ::open(folder, O_RDONLY | O_CLOEXEC | O_DIRECTORY); });
  if (descriptor < 0) {
    return -1;
  }
  if (syncContents(descriptor) != 0) {
    return giveUp(descriptor);
  }
  ::close(descriptor);
  return 0;
}

int readTarget(const char* name, char* buffer, std::size_t size) {
  return static_cast<int>(::readlink(name, buffer, size));
}

int listNames(const char* folder, bool (*use)(void* context, const char* name), void* context) {
  DIR* const names = ::opendir(folder);
  if (names == nullptr) {
    return -1;
  }
  errno = 0;
  while (const dirent* const entry = ::readdir(names)) {
    const std::string name = entry->d_name;
    if (name != "." && name != ".." && !use(context, entry->d_name)) {
      break;
    }
    errno = 0;
  }
  const int error = errno;
  ::closedir(names);
  return error == 0 ? 0 : refuse(error);
}

std::uint32_t effectiveUser() { return ::geteuid(); }

// The mask can only be read by setting it; the one for a moment is the strictest.
std::uint32_t modeOfNewFiles() {
  constexpr mode_t kStrictest = 077;
  constexpr std::uint32_t kForAll = 0666;
  const mode_t mask = ::umask(kStrictest);
  ::umask(mask);
  return kForAll & ~static_cast<std::uint32_t>(mask);
}

int claimFile(int descriptor) {
  struct flock lock {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  lock.l_start = std::numeric_limits<off_t>::max() - 1;
  lock.l_len = 1;
  if (::fcntl(descriptor, F_OFD_SETLK, &lock) != 0 && (errno == EAGAIN || errno == EACCES)) {
    return refuse(EBUSY);  // any other failure: a file system that knows no locks
  }
  return 0;
}

int lockForWriters(int descriptor) {
  if (again([&] { return ::flock(descriptor, LOCK_EX | LOCK_NB); }) != 0 && errno == EWOULDBLOCK) {
    return refuse(EBUSY);
  }
  return 0;
}

int unlockForWriters(int descriptor) { return ::flock(descriptor, LOCK_UN); }

struct CloseStream {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

// The kernel's list has a line for each lock: "1: FLOCK  ADVISORY  WRITE 1234 08:01:5678 0 EOF".
int holderOfLock(int descriptor) {
  FileStatus status;
  const std::unique_ptr<std::FILE, CloseStream> locks(std::fopen("/proc/locks", "re"));
  if (!locks || statusOfDescriptor(descriptor, &status) != 0) {
    return 0;
  }
  std::array<char, 256> line{};
  while (std::fgets(line.data(), line.size(), locks.get()) != nullptr) {
    int holder = 0;
    unsigned major = 0;
    unsigned minor = 0;
    unsigned long long number = 0;
    // NOLINTNEXTLINE(cert-err34-c): a line that does not fit is passed over
    const int fields = std::sscanf(line.data(), "%*s %*s %*s %*s %d %x:%x:%llu", &holder, &major, &minor, &number);
    const std::uint64_t volume = (static_cast<std::uint64_t>(major) << 32) | minor;
    if (fields == 4 && number == status.identity.number && volume == status.identity.volume && holder > 0 &&
        holder != ::getpid()) {
      return holder;
    }
  }
  return 0;
}

int linkName(const char* from, const char* to) { return ::linkat(AT_FDCWD, from, AT_FDCWD, to, 0); }

int linkOpen(int descriptor, const char* to) {
  std::array<char, 64> name{};
  std::snprintf(name.data(), name.size(), "/proc/self/fd/%d", descriptor);
  return ::linkat(AT_FDCWD, name.data(), AT_FDCWD, to, AT_SYMLINK_FOLLOW);
}

int renameOver(const char* from, const char* to) { return ::rename(from, to); }

int renameWithoutReplacing(const char* from, const char* to) {
#ifdef RENAME_NOREPLACE
  if (::renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) == 0) {
    return 0;
  }
  return errno == EINVAL || errno == ENOSYS ? refuse(ENOTSUP) : -1;
#else
  static_cast<void>(from);
  static_cast<void>(to);
  return refuse(ENOTSUP);
#endif
}

int unlinkName(const char* name) { return ::unlink(name); }

int setRights(int descriptor, std::uint32_t mode) { return ::fchmod(descriptor, static_cast<mode_t>(mode)); }

int setOwnerAndGroup(int descriptor, std::uint32_t owner, std::uint32_t group) {
  return ::fchown(descriptor, owner, group);
}

timespec timeOf(int64 nanoseconds) {
  int64 seconds = nanoseconds / kNanoseconds;
  int64 rest = nanoseconds % kNanoseconds;
  if (rest < 0) {
    rest += kNanoseconds;
    --seconds;
  }
  return {static_cast<time_t>(seconds), static_cast<long>(rest)};
}

int setTimesOf(int descriptor, int64 accessed, int64 modified) {
  const std::array<timespec, 2> times = {timeOf(accessed), timeOf(modified)};
  return ::futimens(descriptor, times.data());
}

}  // namespace

const char* const nameSeparators = "/";

constinit const SystemCalls ownSystemCalls{openFile,         duplicate,          nameOfOpen,
                                           closeForGood,     readSome,           writeSome,
                                           readSomeAt,       writeSomeAt,        seekTo,
                                           nextDataOf,       truncateTo,         syncContents,
                                           syncNames,        statusOfDescriptor, statusOfNamed,
                                           readTarget,       listNames,          effectiveUser,
                                           modeOfNewFiles,   claimFile,          lockForWriters,
                                           unlockForWriters, holderOfLock,       linkName,
                                           linkOpen,         renameOver,         renameWithoutReplacing,
                                           unlinkName,       setRights,          setOwnerAndGroup,
                                           setTimesOf};

}  // namespace datasource::platform
