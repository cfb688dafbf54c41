#include "platform/system.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <system_error>
#include <utility>

namespace casefile::platform {
namespace {

constexpr std::size_t kLargestTransfer = 0x40000000;
volatile std::sig_atomic_t endingSignal = 0;

// Comes back every second, so that a call which began to wait just after the flag was looked at ends too.
void noteSignal(int signal) {
  if (signal != SIGALRM) {
    endingSignal = signal;
  }
  ::alarm(1);
}

[[noreturn]] void fail(int error) { throw std::system_error(error, std::generic_category()); }

int checked(int result) {
  if (result < 0) {
    fail(errno);
  }
  return result;
}

// fsync, for a file system that can; one that cannot has nothing to offer.
void syncDescriptor(int descriptor) {
  while (::fsync(descriptor) != 0) {
    if (errno == EINVAL || errno == EROFS || errno == ENOTSUP) {
      return;
    }
    if (errno != EINTR) {
      fail(errno);
    }
  }
}

void syncByName(const std::string& name, int flags) {
  const int descriptor = checked(::open(name.c_str(), O_RDONLY | O_CLOEXEC | flags));
  try {
    syncDescriptor(descriptor);
  } catch (...) {
    ::close(descriptor);
    throw;
  }
  ::close(descriptor);
}

std::optional<FileIdentity> identityAt(int folder, const char* name, int flags) {
  struct statx status {};
  if (::statx(folder, name, flags, STATX_INO | STATX_BTIME, &status) != 0) {
    return std::nullopt;
  }
  constexpr std::uint64_t kNanoseconds = 1000000000;
  const bool told = (status.stx_mask & STATX_BTIME) != 0;
  return FileIdentity{
      (static_cast<std::uint64_t>(status.stx_dev_major) << 32) | status.stx_dev_minor, status.stx_ino,
      told ? static_cast<std::uint64_t>(status.stx_btime.tv_sec) * kNanoseconds + status.stx_btime.tv_nsec : 0};
}

bool isRegular(int descriptor) {
  struct stat status {};
  return ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
}

// A lock of the open file on one byte that no file has: the lock that the library takes on a file that it
// writes is of another kind, and neither hinders the other.
void claim(int descriptor) {
  struct flock lock {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  lock.l_start = std::numeric_limits<off_t>::max() - 1;
  lock.l_len = 1;
  if (::fcntl(descriptor, F_OFD_SETLK, &lock) != 0 && (errno == EAGAIN || errno == EACCES)) {
    fail(EBUSY);  // any other failure: a file system that knows no locks
  }
}

// The library's lock of a file that is being written.
class WritersLock {
 public:
  explicit WritersLock(int descriptor) : descriptor_(descriptor) {
    if (::flock(descriptor, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
      fail(EBUSY);
    }
  }
  ~WritersLock() { ::flock(descriptor_, LOCK_UN); }
  WritersLock(const WritersLock&) = delete;
  WritersLock& operator=(const WritersLock&) = delete;

 private:
  int descriptor_;
};

}  // namespace

std::optional<FileIdentity> identityOf(const std::string& name) {
  const auto identity = identityAt(AT_FDCWD, name.c_str(), 0);
  if (!identity && errno != ENOENT && errno != ENOTDIR && errno != ELOOP && errno != ENAMETOOLONG) {
    fail(errno);
  }
  return identity;
}

File File::standardInput() { return File(STDIN_FILENO, false); }
File File::standardOutput() { return File(STDOUT_FILENO, false); }

File File::openForReading(const std::string& name) {
  File file(checked(::open(name.c_str(), O_RDONLY | O_CLOEXEC)), true);
  struct stat status {};
  if (::fstat(file.descriptor_, &status) == 0 && S_ISDIR(status.st_mode)) {
    fail(EISDIR);
  }
  return file;
}

File File::openForWriting(const std::string& name) {
  return File(checked(::open(name.c_str(), O_WRONLY | O_CLOEXEC)), true);
}

File File::createNew(const std::string& name) {
  return File(checked(::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666)), true);
}

File File::createPrivate(const std::string& name) {
  return File(checked(::open(name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600)), true, false);
}

std::optional<File> File::openRegular(const std::string& name, bool forWriting) {
  // Without waiting: the other end of a pipe may never come.
  const int flags = (forWriting ? O_RDWR : O_RDONLY) | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
  const int descriptor = ::open(name.c_str(), flags);
  if (descriptor >= 0) {
    File file(descriptor, true, false);
    return isRegular(descriptor) ? std::optional<File>(std::move(file)) : std::nullopt;
  }
  for (const int none : {ENOENT, ENOTDIR, ENAMETOOLONG, ELOOP, EISDIR, ENXIO}) {
    if (errno == none) {
      return std::nullopt;
    }
  }
  fail(errno);
}

File::File(File&& other) noexcept
    : descriptor_(other.descriptor_),
      owned_(std::exchange(other.owned_, false)),
      interruptible_(other.interruptible_) {}

File::~File() {
  if (owned_) {
    ::close(descriptor_);
  }
}

std::size_t File::read(void* buffer, std::size_t size) {
  auto* const bytes = static_cast<unsigned char*>(buffer);
  std::size_t done = 0;
  while (done < size) {
    if (mustEnd()) {
      fail(EINTR);
    }
    const ssize_t count = ::read(descriptor_, bytes + done, std::min(size - done, kLargestTransfer));
    if (count == 0) {
      break;
    }
    if (count > 0) {
      done += static_cast<std::size_t>(count);
    } else if (errno != EINTR) {
      fail(errno);
    }
  }
  return done;
}

void File::write(const void* buffer, std::size_t size) {
  const auto* bytes = static_cast<const unsigned char*>(buffer);
  while (size > 0) {
    if (mustEnd()) {
      fail(EINTR);  // after a partial transfer
    }
    const ssize_t count = ::write(descriptor_, bytes, std::min(size, kLargestTransfer));
    if (count >= 0) {
      bytes += count;
      size -= static_cast<std::size_t>(count);
    } else if (errno != EINTR) {
      fail(errno);
    }
  }
}

void File::seek(long long position) {
  if (::lseek(descriptor_, position, SEEK_SET) < 0) {
    fail(errno);
  }
}

long long File::size() const {
  struct stat status {};
  if (::fstat(descriptor_, &status) != 0 || !S_ISREG(status.st_mode)) {
    return -1;
  }
  return status.st_size;
}

void File::resize(long long length) { checked(::ftruncate(descriptor_, length)); }

void File::sync() { syncDescriptor(descriptor_); }

void File::close() {
  if (std::exchange(owned_, false) && ::close(descriptor_) != 0 && errno != EINTR) {
    fail(errno);
  }
}

std::optional<FileIdentity> File::identity() const { return identityAt(descriptor_, "", AT_EMPTY_PATH); }

ClaimedFile::ClaimedFile(const std::string& name) : name_(name), file_(-1, false, false) {
  // Until the name leads to the file that is claimed: it may have been given to another one meanwhile.
  while (!file_.owned_ || !isNamed(name)) {
    if (file_.owned_) {
      file_.close();
    }
    file_.descriptor_ = checked(::open(name.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
    file_.owned_ = true;
    if (!isRegular(file_.descriptor_)) {
      fail(EINVAL);
    }
    claim(file_.descriptor_);
  }
}

FileIdentity ClaimedFile::identity() const { return file_.identity().value(); }

bool ClaimedFile::isNamed(const std::string& name) const { return identityOf(name) == file_.identity(); }

void ClaimedFile::update(const std::function<void(File&)>& work) {
  const WritersLock lock(file_.descriptor_);
  work(file_);
}

void ClaimedFile::sync() { file_.sync(); }

void syncFile(const std::string& name) { syncByName(name, 0); }

void syncFolderOf(const std::string& name) {
  const std::size_t slash = name.rfind('/');
  const std::string folder = slash == std::string::npos ? "." : name.substr(0, std::max<std::size_t>(slash, 1));
  syncByName(folder, O_DIRECTORY);
}

void renameToFree(const std::string& from, const std::string& to) {
  if (::link(from.c_str(), to.c_str()) == 0) {
    ::unlink(from.c_str());
    return;
  }
  if (errno == EEXIST) {
    fail(errno);
  }
  // A file system without links: look first.
  struct stat status {};
  if (::lstat(to.c_str(), &status) == 0) {
    fail(EEXIST);
  }
  checked(::rename(from.c_str(), to.c_str()));
}

void renameOver(const std::string& from, const std::string& to) { checked(::rename(from.c_str(), to.c_str())); }

void copyAccessRights(const std::string& from, const std::string& to) noexcept {
  struct stat status {};
  if (::stat(from.c_str(), &status) == 0) {
    (void)!::chown(to.c_str(), status.st_uid, status.st_gid);
    (void)::chmod(to.c_str(), status.st_mode & 07777);
  }
}

void prepareProcess() {
  struct sigaction note {};
  note.sa_handler = noteSignal;  // without SA_RESTART: a waiting read ends
  sigemptyset(&note.sa_mask);
  ::sigaction(SIGALRM, &note, nullptr);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction before {};
    ::sigaction(signal, nullptr, &before);
    if (before.sa_handler != SIG_IGN) {  // stays ignored, as nohup wants it
      ::sigaction(signal, &note, nullptr);
    }
  }
  // Writes then fail with EPIPE and EFBIG, and what was begun is cleaned up.
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
}

int endRequested() noexcept { return endingSignal; }

void endBySignal(int signal) {
  std::signal(signal, SIG_DFL);
  std::raise(signal);
  std::exit(128 + signal);
}

int brokenPipeSignal() noexcept { return SIGPIPE; }

bool standardErrorIsTerminal() noexcept { return ::isatty(STDERR_FILENO) == 1; }

std::vector<std::string> arguments(int count, char** values) { return {values + std::min(count, 1), values + count}; }

}  // namespace casefile::platform
