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

}  // namespace

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

File File::openExclusively(const std::string& name, bool create) {
  File file(checked(::open(name.c_str(), O_RDWR | O_CLOEXEC | (create ? O_CREAT : 0), 0600)), true, false);
  if (::flock(file.descriptor_, LOCK_EX | LOCK_NB) != 0 && (errno == EWOULDBLOCK || errno == EAGAIN)) {
    fail(EBUSY);
  }
  return file;
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

void File::clear() { checked(::ftruncate(descriptor_, 0)); }

void File::sync() { syncDescriptor(descriptor_); }

void File::close() {
  if (std::exchange(owned_, false) && ::close(descriptor_) != 0 && errno != EINTR) {
    fail(errno);
  }
}

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
