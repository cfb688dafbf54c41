#ifndef CASEFILE_TESTS_PROGRAMTEST_H
#define CASEFILE_TESTS_PROGRAMTEST_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "failure.h"
#include "options.h"
#include "support/systemProbe.h"
#include "support/testFolder.h"

namespace casefiletest {

/// The program's commands, called as functions, with a folder and a probe in both tables of file calls.
class ProgramTest : public ::testing::Test {
 protected:
  /// Runs a command about a file as main does. Returns: its exit code; what it printed as an error is in `said`.
  int run(const std::string& file, const std::function<int()>& command) {
    ::testing::internal::CaptureStderr();
    int code = 0;
    try {
      code = command();
    } catch (...) {
      code = casefile::program::report(std::current_exception(), folder.path(file));
    }
    said = ::testing::internal::GetCapturedStderr();
    return code;
  }

  int pack(const std::string& input, const std::string& output, bool force = false) {
    casefile::program::Options options;
    options.input = folder.path(input);
    options.output = folder.path(output);
    options.force = force;
    return run(output, [&] { return casefile::program::pack(options); });
  }

  int append(const std::string& file, const std::string& input) {
    casefile::program::Options options;
    options.file = folder.path(file);
    options.input = folder.path(input);
    return run(file, [&] { return casefile::program::append(options); });
  }

  int unpack(const std::string& input, const std::string& output) {
    casefile::program::Options options;
    options.input = folder.path(input);
    options.output = folder.path(output);
    options.force = true;
    return run(input, [&] { return casefile::program::unpack(options); });
  }

  int recover(const std::string& input, const std::string& output) {
    casefile::program::Options options;
    options.input = folder.path(input);
    options.output = folder.path(output);
    return run(input, [&] { return casefile::program::recover(options); });
  }

  std::vector<std::string> names() const {
    std::vector<std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator(folder.folder())) {
      found.push_back(entry.path().filename().string());
    }
    std::sort(found.begin(), found.end());
    return found;
  }

  /// The one name in the folder that ends with `.tmp`.
  std::string workingName() const {
    for (const std::string& name : names()) {
      if (name.ends_with(".tmp")) {
        return name;
      }
    }
    return {};
  }

  support::TestFolder folder;
  std::string said;
};

}  // namespace casefiletest

#endif
