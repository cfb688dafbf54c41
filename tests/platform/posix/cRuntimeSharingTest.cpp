#include <Datasource/platform/cRuntime.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "platform/posix/cRuntimeTest.h"

using platformtest::append;
using platformtest::contentsOf;
using platformtest::create;
using platformtest::CRuntimeTest;
using platformtest::Descriptor;
using platformtest::exists;
using platformtest::openFile;
using platformtest::readOnly;
using platformtest::update;

namespace {

int lockFailure = 0;        // the errno with which every lock fails; 0 lets the system answer
int lockInterruptions = 0;  // so many locks are interrupted first

/// Opens in a process of its own. Returns: 0 when it opened, otherwise errno.
int openedByAnotherProcess(const std::string& name, int oflag) {
  const pid_t child = ::fork();
  if (child == 0) {
    ::_exit(openFile(name, oflag) == -1 ? errno : 0);
  }
  int status = 0;
  EXPECT_EQ(::waitpid(child, &status, 0), child);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

/// A process that holds a file open for writing until it is killed.
class HoldingProcess {
 public:
  explicit HoldingProcess(const std::string& name) {
    int ends[2] = {-1, -1};
    if (::pipe(ends) != 0) {
      return;
    }
    child_ = ::fork();
    if (child_ == 0) {
      hold(name, ends[1]);
    }
    ::close(ends[1]);
    char answer = 0;
    holds_ = ::read(ends[0], &answer, 1) == 1 && answer == '1';
    ::close(ends[0]);
  }
  ~HoldingProcess() { kill(); }
  HoldingProcess(const HoldingProcess&) = delete;
  HoldingProcess& operator=(const HoldingProcess&) = delete;

  bool holds() const { return holds_; }
  void kill() {
    if (child_ <= 0) {
      return;
    }
    ::kill(child_, SIGKILL);
    ::waitpid(child_, nullptr, 0);
    child_ = -1;
  }

 private:
  [[noreturn]] static void hold(const std::string& name, int answers) {
    const char answer = openFile(name, update) == -1 ? '0' : '1';
    if (::write(answers, &answer, 1) != 1) {
      ::_exit(1);
    }
    for (;;) {
      ::pause();
    }
  }

  pid_t child_ = -1;
  bool holds_ = false;
};

/// Makes locks fail or be interrupted for one test.
class Locks {
 public:
  Locks(int failure, int interruptions) {
    lockFailure = failure;
    lockInterruptions = interruptions;
  }
  ~Locks() { lockFailure = lockInterruptions = 0; }
  Locks(const Locks&) = delete;
  Locks& operator=(const Locks&) = delete;
};

class Sharing : public CRuntimeTest {};

}  // namespace

// Stands before the C library's own in this program, so that a test can play a file system.
extern "C" int flock(int descriptor, int operation) noexcept {
  if (lockInterruptions > 0) {
    --lockInterruptions;
    errno = EINTR;
    return -1;
  }
  if (lockFailure != 0) {
    errno = lockFailure;
    return -1;
  }
  return static_cast<int>(::syscall(SYS_flock, descriptor, operation));
}

TEST_F(Sharing, SecondWriterIsRefused) {
  const std::string name = existingFile();
  const Descriptor holder(name, update);
  for (const int oflag : {update, create, append, _O_RDWR | _O_CREAT | _O_TRUNC}) {
    errno = 0;
    EXPECT_EQ(openFile(name, oflag), -1);
    EXPECT_EQ(errno, EACCES);
  }
}

TEST_F(Sharing, SecondWriterInAnotherProcessIsRefused) {
  const std::string name = existingFile();
  const HoldingProcess holder(name);
  ASSERT_TRUE(holder.holds());
  EXPECT_EQ(openFile(name, update), -1);
  EXPECT_EQ(errno, EACCES);
  EXPECT_EQ(openedByAnotherProcess(name, append), EACCES);
}

TEST_F(Sharing, RefusedWriterTruncatesNothing) {
  const std::string name = existingFile();
  const Descriptor holder(name, update);
  EXPECT_EQ(openFile(name, create), -1);
  EXPECT_EQ(openedByAnotherProcess(name, create), EACCES);
  EXPECT_EQ(contentsOf(name), "contents");
}

TEST_F(Sharing, ReaderOpensBesideAWriter) {
  const std::string name = existingFile();
  const Descriptor writer(name, update);
  EXPECT_TRUE(Descriptor(name, readOnly).isOpen());
  EXPECT_EQ(openedByAnotherProcess(name, readOnly), 0);
}

TEST_F(Sharing, WriterOpensBesideReaders) {
  const std::string name = existingFile();
  const Descriptor first(name, readOnly);
  const Descriptor second(name, readOnly);
  EXPECT_TRUE(second.isOpen());
  EXPECT_TRUE(Descriptor(name, update).isOpen());
}

TEST_F(Sharing, WritersOfDifferentFilesDoNotMeet) {
  const Descriptor first(folder.path("first"), create);
  const Descriptor second(folder.path("second"), create);
  EXPECT_TRUE(first.isOpen());
  EXPECT_TRUE(second.isOpen());
}

TEST_F(Sharing, LockGoesWithTheHandle) {
  const std::string name = existingFile();
  Descriptor first(name, update);
  EXPECT_EQ(first.close(), 0);
  EXPECT_TRUE(Descriptor(name, update).isOpen());
}

TEST_F(Sharing, LockGoesWithAKilledProcess) {
  const std::string name = existingFile();
  HoldingProcess holder(name);
  ASSERT_TRUE(holder.holds());
  ASSERT_EQ(openFile(name, update), -1);
  holder.kill();
  EXPECT_TRUE(Descriptor(name, update).isOpen());
}

TEST_F(Sharing, FileSystemWithoutLocksIsNoFailure) {
  const std::string name = existingFile();
  for (const int failure : {ENOLCK, EOPNOTSUPP, ENOSYS, EINVAL}) {
    const Locks locks(failure, 0);
    EXPECT_TRUE(Descriptor(name, update).isOpen()) << failure;
  }
}

TEST_F(Sharing, LockThatFailsOtherwiseRefusesAndChangesNothing) {
  const std::string name = existingFile();
  const Locks locks(EIO, 0);
  errno = 0;
  EXPECT_EQ(openFile(name, create | _O_TEMPORARY), -1);
  EXPECT_EQ(errno, EIO);
  EXPECT_TRUE(exists(name));
  EXPECT_EQ(contentsOf(name), "contents");
}

TEST_F(Sharing, InterruptedLockIsTakenAgain) {
  const std::string name = existingFile();
  const Locks locks(0, 3);
  const Descriptor holder(name, update);
  EXPECT_TRUE(holder.isOpen());
  EXPECT_EQ(openFile(name, update), -1);
}
