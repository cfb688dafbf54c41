#include <gtest/gtest.h>
#include <io.h>
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <string>

#include "Datasource/platform/assertion.h"
#include "Datasource/platform/cRuntime.h"
#include "support/testFolder.h"

namespace {

using datasource::platform::cRuntime;

constexpr int readOnly = _O_RDONLY | _O_BINARY;
constexpr int update = _O_RDWR | _O_BINARY;
constexpr int create = _O_RDWR | _O_CREAT | _O_TRUNC;

int openFile(const std::string& name, int oflag, int shflag = _SH_DENYWR, int pmode = _S_IREAD | _S_IWRITE) {
  errno = 0;
  return cRuntime()._sopen(name.c_str(), oflag, shflag, pmode);
}

class WindowsRuntime : public ::testing::Test {
 protected:
  void TearDown() override {
    if (descriptor != -1) {
      cRuntime()._close(descriptor);
    }
  }
  void open(int oflag) {
    descriptor = openFile(folder.path("f"), oflag);
    ASSERT_NE(descriptor, -1);
  }

  support::TestFolder folder;
  int descriptor = -1;
};

TEST_F(WindowsRuntime, CountsAboveTheLimitAreRefused) {
  open(create | _O_BINARY);
  char byte = 'x';
  errno = 0;
  EXPECT_EQ(cRuntime()._read(descriptor, &byte, INT_MAX + 1U), -1);
  EXPECT_EQ(errno, EINVAL);
  errno = 0;
  EXPECT_EQ(cRuntime()._write(descriptor, &byte, UINT_MAX), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(folder.sizeOf("f"), 0);
}

TEST_F(WindowsRuntime, NoDescriptorIsAnErrorAndNotTheEndOfTheProcess) {
  char byte = 'x';
  const auto refused = [](int64 result) { return result == -1 && errno == EBADF; };
  EXPECT_TRUE(refused(cRuntime()._read(-1, &byte, 1)));
  EXPECT_TRUE(refused(cRuntime()._write(-1, &byte, 1)));
  EXPECT_TRUE(refused(cRuntime()._lseeki64(-1, 0, SEEK_SET)));
  EXPECT_TRUE(refused(cRuntime()._close(-1)));
}

TEST_F(WindowsRuntime, SenselessFlagsAreRefused) {
  const std::string name = folder.writePlain("f", "contents");
  EXPECT_EQ(openFile(name, readOnly, 0x77), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(openFile(name, _O_WRONLY | _O_RDWR), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(openFile(name, readOnly | _O_TRUNC), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(openFile(name, update, _SH_DENYWR, 0x777), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(folder.readWhole("f"), "contents");
}

TEST_F(WindowsRuntime, NamesThatAreNoTextAreRefused) {
  EXPECT_EQ(openFile(folder.path("\xFF\xFE"), readOnly), -1);
  EXPECT_EQ(errno, EINVAL);
}

TEST_F(WindowsRuntime, DescriptorsAreNotInherited) {
  open(create | _O_BINARY);
  DWORD flags = 0;
  ASSERT_TRUE(GetHandleInformation(reinterpret_cast<HANDLE>(_get_osfhandle(descriptor)), &flags));
  EXPECT_EQ(flags & HANDLE_FLAG_INHERIT, 0U);
}

// Elsewhere a file can always be looked at.
TEST_F(WindowsRuntime, ReaderThatDeniesWritingIsRefusedBesideAWriter) {
  folder.writePlain("f", "contents");
  open(update);
  EXPECT_EQ(openFile(folder.path("f"), readOnly), -1);
  EXPECT_EQ(errno, EACCES);
}

TEST_F(WindowsRuntime, WriterIsRefusedBesideAReaderThatDeniesWriting) {
  folder.writePlain("f", "contents");
  open(readOnly);
  EXPECT_EQ(openFile(folder.path("f"), update), -1);
  EXPECT_EQ(errno, EACCES);
}

TEST_F(WindowsRuntime, TextModeTurnsLineEndsAndStillReadsAllThatWasAsked) {
  open(create | _O_TEXT);
  ASSERT_EQ(cRuntime()._write(descriptor, "a\nb\nc\n", 6), 6);
  EXPECT_EQ(folder.sizeOf("f"), 9);
  ASSERT_EQ(cRuntime()._lseeki64(descriptor, 0, SEEK_SET), 0);
  // Six bytes of the file make four letters: the read goes on.
  std::string text(5, '?');
  EXPECT_EQ(cRuntime()._read(descriptor, text.data(), 5), 5);
  EXPECT_EQ(text, "a\nb\nc");
}

TEST(WindowsAssertionDeathTest, DefaultReportIsTheRuntimesOwn) {
  EXPECT_DEATH(datasource::platform::reportAssertion(L"0 && \"reason\"", L"Datasource/src/file", 7),
               "Assertion failed: 0 && \"reason\", file Datasource/src/file, line 7");
}

}  // namespace
