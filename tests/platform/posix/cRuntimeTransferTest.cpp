#include <Datasource/platform/cRuntime.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <fstream>
#include <stdexcept>
#include <string>
#include <thread>

#include "platform/posix/scratchFolder.h"
#include "support/deadline.h"

using datasource::platform::cRuntime;
using platformtest::create;
using platformtest::Descriptor;
using platformtest::readOnly;
using platformtest::ScratchFolder;
using platformtest::update;
using support::Deadline;

// One compiler has a macro for the thread sanitizer, the other a question.
#ifdef __SANITIZE_THREAD__
#define DATASOURCE_THREAD_SANITIZER
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define DATASOURCE_THREAD_SANITIZER
#endif
#endif

namespace {

std::atomic<int> signalsSeen{0};
void countSignal(int /*number*/) { ++signalsSeen; }

/// Lets SIGUSR1 interrupt system calls for one test.
class InterruptingSignal {
 public:
  InterruptingSignal() {
    struct sigaction action {};
    action.sa_handler = countSignal;
    ::sigemptyset(&action.sa_mask);
    ::sigaction(SIGUSR1, &action, &before_);
  }
  ~InterruptingSignal() { ::sigaction(SIGUSR1, &before_, nullptr); }
  InterruptingSignal(const InterruptingSignal&) = delete;
  InterruptingSignal& operator=(const InterruptingSignal&) = delete;

 private:
  struct sigaction before_ {};
};

struct Pipe {
  Pipe() {
    if (::pipe(ends) != 0) {
      throw std::runtime_error("no pipe");
    }
  }
  ~Pipe() {
    ::close(ends[0]);
    ::close(ends[1]);
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;

  int readEnd() const { return ends[0]; }
  int writeEnd() const { return ends[1]; }
  int waiting() const {
    int bytes = 0;
    ::ioctl(ends[0], FIONREAD, &bytes);
    return bytes;
  }

  int ends[2] = {-1, -1};
};

void pauseShortly() { std::this_thread::sleep_for(std::chrono::milliseconds(1)); }

/// Whether the thread sleeps in the kernel. The state stands behind the name, which is in brackets.
bool sleeps(pid_t thread) {
  std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/stat");
  std::string line;
  std::getline(file, line);
  const std::size_t bracket = line.rfind(')');
  return bracket != std::string::npos && line.size() > bracket + 2 && line[bracket + 2] == 'S';
}

/// Interrupts a thread that has nothing to do but its transfer.
void interrupt(std::thread& thread, const std::atomic<pid_t>& id) {
  while (id.load() == 0 || !sleeps(id.load())) {
    pauseShortly();
  }
  const int before = signalsSeen.load();
  ::pthread_kill(thread.native_handle(), SIGUSR1);
  while (signalsSeen.load() == before) {
    pauseShortly();
  }
}

std::string pattern(std::size_t size) {
  std::string bytes(size, '\0');
  for (std::size_t i = 0; i < size; ++i) {
    bytes[i] = static_cast<char>('a' + i % 23);
  }
  return bytes;
}

int readInto(int descriptor, std::string& bytes) {
  return cRuntime()._read(descriptor, bytes.data(), static_cast<unsigned int>(bytes.size()));
}

int writeFrom(int descriptor, const std::string& bytes) {
  return cRuntime()._write(descriptor, bytes.data(), static_cast<unsigned int>(bytes.size()));
}

/// Limits the size of files for one test.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t size) {
    ::getrlimit(RLIMIT_FSIZE, &before_);
    rlimit limit = before_;
    limit.rlim_cur = size;
    ::setrlimit(RLIMIT_FSIZE, &limit);
    handlerBefore_ = ::signal(SIGXFSZ, SIG_IGN);
  }
  ~FileSizeLimit() {
    ::setrlimit(RLIMIT_FSIZE, &before_);
    ::signal(SIGXFSZ, handlerBefore_);
  }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;

 private:
  rlimit before_{};
  sighandler_t handlerBefore_ = nullptr;
};

}  // namespace

TEST(TransferRead, IsShortOnlyAtTheEndOfTheFile) {
  const ScratchFolder folder;
  const Descriptor file(folder.write("file", "0123456789"), readOnly);
  std::string bytes(20, '?');
  EXPECT_EQ(readInto(file.get(), bytes), 10);
  EXPECT_EQ(bytes.substr(0, 10), "0123456789");
  EXPECT_EQ(readInto(file.get(), bytes), 0);
}

TEST(TransferRead, GoesOnOverPartialTransfers) {
  const Deadline deadline("a read in pieces");
  const Pipe pipe;
  std::thread writer([&] {
    for (const char* piece : {"one ", "two ", "three"}) {
      const std::string bytes = piece;
      EXPECT_EQ(::write(pipe.writeEnd(), bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
      while (pipe.waiting() > 0) {
        pauseShortly();  // the reader has taken this piece alone
      }
    }
  });
  std::string bytes(13, '?');
  EXPECT_EQ(readInto(pipe.readEnd(), bytes), 13);
  EXPECT_EQ(bytes, "one two three");
  writer.join();
}

TEST(TransferRead, GoesOnAfterSignals) {
  const Deadline deadline("an interrupted read");
  const InterruptingSignal interrupting;
  const Pipe pipe;
  std::atomic<pid_t> id{0};
  std::string bytes(4, '?');
  int result = 0;
  int error = -1;
  std::thread reader([&] {
    id = ::gettid();
    errno = 0;
    result = readInto(pipe.readEnd(), bytes);
    error = errno;
  });
  for (int i = 0; i < 3; ++i) {
    interrupt(reader, id);
  }
  EXPECT_EQ(::write(pipe.writeEnd(), "ab", 2), 2);
  for (int i = 0; i < 3; ++i) {
    interrupt(reader, id);
  }
  EXPECT_EQ(::write(pipe.writeEnd(), "cd", 2), 2);
  reader.join();
  EXPECT_EQ(result, 4);
  EXPECT_EQ(bytes, "abcd");
  EXPECT_EQ(error, 0);
}

// It used to be tried for ever.
TEST(TransferOpen, ThatIsInterruptedAgainAndAgainGivesUp) {
  const Deadline deadline("an open that signals interrupt");
  const InterruptingSignal interrupting;
  const ScratchFolder folder;
  const std::string fifo = folder.path("fifo");  // its open waits for another end that never comes
  ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
  std::atomic<int> error{0};
  std::thread opener([&] {
    errno = 0;
    const int descriptor = cRuntime()._sopen(fifo.c_str(), readOnly, _SH_DENYWR, 0);
    error = descriptor == -1 ? errno : -1;
  });
  while (error.load() == 0) {
    ::pthread_kill(opener.native_handle(), SIGUSR1);
    std::this_thread::yield();
  }
  opener.join();
  EXPECT_EQ(error.load(), EINTR);
}

TEST(TransferRead, FailureAfterAPartAnswersFailureAndGoesBack) {
  const ScratchFolder folder;
  const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
  const std::string contents = pattern(3 * page);
  const Descriptor file(folder.write("file", contents), readOnly);
  void* const memory = ::mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(memory, MAP_FAILED);
  ASSERT_EQ(::mprotect(static_cast<char*>(memory) + page, page, PROT_NONE), 0);
  ASSERT_EQ(cRuntime()._lseeki64(file.get(), 10, SEEK_SET), 10);
  errno = 0;
  EXPECT_EQ(cRuntime()._read(file.get(), memory, static_cast<unsigned int>(2 * page)), -1);
  EXPECT_EQ(errno, EFAULT);
  EXPECT_EQ(cRuntime()._lseeki64(file.get(), 0, SEEK_CUR), 10);
  EXPECT_EQ(std::string(static_cast<char*>(memory), page), contents.substr(10, page));  // a part had come
  ::munmap(memory, 2 * page);
}

TEST(TransferWrite, GoesOnOverSignalsAndPartialTransfers) {
  const Deadline deadline("an interrupted write");
  const InterruptingSignal interrupting;
  const Pipe pipe;
  const std::string contents = pattern(1000000);
  std::atomic<pid_t> id{0};
  int result = 0;
  std::thread writer([&] {
    id = ::gettid();
    result = writeFrom(pipe.writeEnd(), contents);
  });
  std::string received;
  std::string piece(50000, '?');
  while (received.size() < contents.size()) {
    if (received.size() < 400000) {
      interrupt(writer, id);  // the pipe is full, the writer sleeps with a part written
    }
    const ssize_t size = ::read(pipe.readEnd(), piece.data(), piece.size());
    ASSERT_GT(size, 0);
    received.append(piece, 0, static_cast<std::size_t>(size));
  }
  writer.join();
  EXPECT_EQ(result, 1000000);
  EXPECT_EQ(received, contents);
}

TEST(TransferWrite, PartThatAnErrorStopsIsAnsweredWithItsSize) {
  const ScratchFolder folder;
  const Descriptor file(folder.path("file"), create);
  const FileSizeLimit limit(1000);
  errno = 0;
  EXPECT_EQ(writeFrom(file.get(), pattern(4096)), 1000);
  EXPECT_EQ(writeFrom(file.get(), pattern(4096)), -1);
  EXPECT_EQ(errno, EFBIG);
}

TEST(TransferWrite, FullDeviceAnswersFailure) {
  const Descriptor file("/dev/full", update);
  ASSERT_TRUE(file.isOpen());
  errno = 0;
  EXPECT_EQ(writeFrom(file.get(), "x"), -1);
  EXPECT_EQ(errno, ENOSPC);
}

TEST(TransferWrite, OnAReadOnlyHandleFails) {
  const ScratchFolder folder;
  const Descriptor file(folder.write("file", "contents"), readOnly);
  errno = 0;
  EXPECT_EQ(writeFrom(file.get(), "x"), -1);
  EXPECT_EQ(errno, EBADF);
}

TEST(Transfer, OfNoBytesMovesNone) {
  const ScratchFolder folder;
  const Descriptor file(folder.write("file", "contents"), update);
  EXPECT_EQ(cRuntime()._read(file.get(), nullptr, 0), 0);
  EXPECT_EQ(cRuntime()._write(file.get(), nullptr, 0), 0);
}

TEST(Transfer, MovesAtMostItsLimit) {
#ifdef DATASOURCE_THREAD_SANITIZER
  GTEST_SKIP() << "the thread sanitizer would record each of two thousand million bytes";
#else
  const Descriptor nothing("/dev/null", update);
  const std::size_t size = 0x80000000U;
  void* const memory = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  ASSERT_NE(memory, MAP_FAILED);
  EXPECT_EQ(cRuntime()._write(nothing.get(), memory, 0x80000000U), 0x7FFFF000);
  EXPECT_EQ(cRuntime()._write(nothing.get(), memory, 0x7FFFF000U), 0x7FFFF000);
  ::munmap(memory, size);
#endif
}

TEST(Transfer, OnAnUnknownDescriptorFails) {
  std::string bytes(1, 'x');
  EXPECT_EQ(readInto(-1, bytes), -1);
  EXPECT_EQ(errno, EBADF);
  EXPECT_EQ(writeFrom(-1, bytes), -1);
  EXPECT_EQ(errno, EBADF);
  EXPECT_EQ(cRuntime()._lseeki64(-1, 0, SEEK_SET), -1);
  EXPECT_EQ(errno, EBADF);
  EXPECT_EQ(cRuntime()._close(-1), -1);
  EXPECT_EQ(errno, EBADF);
}
