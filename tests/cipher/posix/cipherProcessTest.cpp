#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

#include "cipher/cipherOutput.h"

using ciphertest::enciphered;

// This program runs itself as a child that does one of two things before any test begins.

namespace {

constexpr const char* childVariable = "DATASOURCE_CIPHER_CHILD";
const std::string block(16, 'x');

/// Enciphers in its destructor and ends the process: 0 when the cipher refused, else 1.
struct EncipherAtTheVeryEnd {
  EncipherAtTheVeryEnd() = default;
  ~EncipherAtTheVeryEnd() { ::_exit(ciphertest::outputOf(datasource::cipher::Encrypt, block).has_value() ? 1 : 0); }
  EncipherAtTheVeryEnd(const EncipherAtTheVeryEnd&) = delete;
  EncipherAtTheVeryEnd& operator=(const EncipherAtTheVeryEnd&) = delete;
};

[[noreturn]] void runAsChild(const std::string& task) {
  if (task == "end") {
    static const EncipherAtTheVeryEnd last;
    if (enciphered(block).size() != 16) {
      ::_exit(2);
    }
    ::exit(3);  // the destructor above has the last word
  }
  const std::string output = enciphered(block);
  const bool written = ::write(STDOUT_FILENO, output.data(), output.size()) == 16;
  ::_exit(written ? 0 : 1);
}

const bool isNoChild = [] {
  if (const char* const task = ::getenv(childVariable)) {
    runAsChild(task);
  }
  return true;
}();

struct ChildResult {
  std::string output;
  int exitCode = -1;
};

ChildResult runChild(const char* task) {
  ::setenv(childVariable, task, 1);
  const std::string self = "/proc/" + std::to_string(::getpid()) + "/exe";
  FILE* const child = ::popen(self.c_str(), "r");
  ::unsetenv(childVariable);
  ChildResult result;
  if (child == nullptr) {
    return result;
  }
  for (int letter = std::fgetc(child); letter != EOF; letter = std::fgetc(child)) {
    result.output += static_cast<char>(letter);
  }
  const int status = ::pclose(child);
  if (WIFEXITED(status)) {
    result.exitCode = WEXITSTATUS(status);
  }
  return result;
}

}  // namespace

TEST(CipherProcess, EachHasAKeyOfItsOwn) {
  ASSERT_TRUE(isNoChild);
  const ChildResult first = runChild("print");
  const ChildResult second = runChild("print");
  EXPECT_EQ(first.exitCode, 0);
  EXPECT_EQ(first.output.size(), 16U);
  EXPECT_EQ(second.output.size(), 16U);
  EXPECT_NE(first.output, second.output);
  EXPECT_NE(first.output, enciphered(block));
}

TEST(CipherProcess, KeyIsGoneOnceTheProcessHasBegunToExit) { EXPECT_EQ(runChild("end").exitCode, 0); }
