#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <exception>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "casefile/error.h"
#include "commandLine.h"
#include "failure.h"
#include "inside/programTest.h"

// What the program says when no memory is left at all. `new` of this program refuses when it is told to.

namespace {

std::atomic<long> allocationsUntilRefused = -1;  // < 0: none is

bool isRefused() {
  long left = allocationsUntilRefused;
  while (left > 0 && !allocationsUntilRefused.compare_exchange_weak(left, left - 1)) {
  }
  return left == 0 || left == 1;
}

// Refuses behind so many allocations, for as long as it lives.
class Refusal {
 public:
  explicit Refusal(long allocations) { allocationsUntilRefused = allocations + 1; }
  ~Refusal() { allocationsUntilRefused = -1; }
  Refusal(const Refusal&) = delete;
  Refusal& operator=(const Refusal&) = delete;
};

}  // namespace

// Not inlined, for a compiler that would see memory of new given to free there.
[[gnu::noinline]] void* operator new(std::size_t size) {
  void* const memory = isRefused() ? nullptr : std::malloc(size == 0 ? 1 : size);
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  return memory;
}
// The others come down to it; a sanitizer's own would not.
[[gnu::noinline]] void* operator new[](std::size_t size) { return operator new(size); }
[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  try {
    return operator new(size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}
[[gnu::noinline]] void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept {
  return operator new(size, tag);
}
[[gnu::noinline]] void operator delete(void* memory, const std::nothrow_t& /*tag*/) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete[](void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete[](void* memory, std::size_t /*size*/) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete[](void* memory, const std::nothrow_t& /*tag*/) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t /*size*/) noexcept { std::free(memory); }

namespace {

// What report() says of an error when nothing can be allocated.
std::string reported(const std::exception_ptr& error, const std::string& file) {
  ::testing::internal::CaptureStderr();
  int code = 0;
  {
    const Refusal refusal(0);
    code = casefile::program::report(error, file);
  }
  EXPECT_EQ(code, casefile::program::kFailed);
  return ::testing::internal::GetCapturedStderr();
}

TEST(NoMemory, IsSaidWithoutAny) {
  const auto error = std::make_exception_ptr(std::bad_alloc());
  EXPECT_EQ(reported(error, "file.case"), "casefile: file.case: not enough memory\n");
}

TEST(NoMemory, IsSaidOfAnErrorThatCannotBe) {
  const auto error = std::make_exception_ptr(casefile::Error(casefile::ErrorKind::system, "cannot be read",
                                                             {"a file of a long name.case", "read", {}, {}, {}}));
  EXPECT_EQ(reported(error, "a file of a long name.case"), "casefile: a file of a long name.case: not enough memory\n");
}

TEST(NoMemory, NamesNoFileWhereNoneIsKnown) {
  EXPECT_EQ(reported(std::make_exception_ptr(std::bad_alloc()), ""), "casefile: not enough memory\n");
}

TEST(NoMemory, SendsNoControlCharacterToATerminal) {
  const auto error = std::make_exception_ptr(std::bad_alloc());
  EXPECT_EQ(reported(error, "a\x1b[2J\xc2\x9b.case"), "casefile: a?[2J??.case: not enough memory\n");
}

// What the program ends with, in a process of its own, when memory ends behind so many allocations of reading its
// command line.
int endOfReading(long allocations) {
  const pid_t child = ::fork();
  if (child == 0) {
    std::vector<std::string> arguments{"append", "--row0", "5", "--encoder", "zlib", "-j", "2", "file", "more"};
    std::string file;
    int code = casefile::program::kDone;
    const Refusal refusal(allocations);
    try {
      file = casefile::program::readCommandLine(std::move(arguments)).file;
    } catch (...) {
      code = casefile::program::report(std::current_exception(), file);
    }
    ::_exit(code);
  }
  int status = 0;
  EXPECT_EQ(::waitpid(child, &status, 0), child);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

// The parser has functions that may not throw. What it does with one option it does with each, so a part of the
// allocations will do.
TEST(NoMemory, ForTheCommandLineIsSaid) {
  constexpr long kStep = 5;
  ::testing::internal::CaptureStderr();
  long allocations = 0;
  std::string expected;
  int code = casefile::program::kFailed;
  while ((code = endOfReading(allocations)) == casefile::program::kFailed) {
    allocations += kStep;
    expected += "casefile: not enough memory\n";
  }
  EXPECT_EQ(code, casefile::program::kDone) << "behind " << allocations << " allocations";
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), expected);
  EXPECT_GT(allocations, 100);
}

using CommandWithoutMemory = casefiletest::ProgramTest;

// Runs info until all its allocations succeed.
TEST_F(CommandWithoutMemory, InfoAsJsonFailsWithAMessage) {
  folder.writePlain("in", "head\nrow\n");
  ASSERT_EQ(pack("in", "file"), casefile::program::kDone);
  casefile::program::Options options;
  options.files = {folder.path("file")};
  options.json = true;
  ::testing::internal::CaptureStdout();
  int code = casefile::program::kFailed;
  for (long allocations = 0; code == casefile::program::kFailed; ++allocations) {
    code = run("file", [&] {
      const Refusal refusal(allocations);
      return casefile::program::info(options);
    });
    EXPECT_EQ(said.empty(), code == casefile::program::kDone);
  }
  EXPECT_EQ(code, casefile::program::kDone);
  ::testing::internal::GetCapturedStdout();
}

// Each time memory lasts a little longer; what fails is taken back, at the latest by the next append.
TEST_F(CommandWithoutMemory, AppendFailsWithAMessageAndLosesNothing) {
  folder.writePlain("in", "head\nrow\n");
  folder.writePlain("more", "another row\n");
  folder.writePlain("none", "");
  ASSERT_EQ(pack("in", "file"), casefile::program::kDone);
  const auto before = folder.readWhole("file");
  casefile::program::Options options;
  options.file = folder.path("file");
  options.input = folder.path("more");
  options.threads = 1;
  int code = casefile::program::kFailed;
  for (long allocations = 0; code == casefile::program::kFailed; ++allocations) {
    code = run("file", [&] {
      const Refusal refusal(allocations);
      return casefile::program::append(options);
    });
    EXPECT_EQ(said.empty(), code == casefile::program::kDone);
    EXPECT_EQ(append("file", "none"), casefile::program::kDone) << said;
    EXPECT_EQ(names(), (std::vector<std::string>{"file", "in", "more", "none"}));
    EXPECT_EQ(folder.readWhole("file") == before, code != casefile::program::kDone);
  }
  EXPECT_EQ(code, casefile::program::kDone);
}

}  // namespace
