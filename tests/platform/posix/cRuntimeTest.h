#ifndef DATASOURCE_TESTS_PLATFORM_CRUNTIMETEST_H
#define DATASOURCE_TESTS_PLATFORM_CRUNTIMETEST_H

#include <Datasource/platform/cRuntime.h>
#include <gtest/gtest.h>

#include <string>

#include "platform/posix/scratchFolder.h"

namespace platformtest {

/// Tests of the file calls: a folder for each of them, and its one file with contents.
class CRuntimeTest : public testing::Test {
 protected:
  /// Makes the file. Returns: its name.
  std::string existingFile() const { return folder.write("file", "contents"); }
  /// Returns: a name in the folder that no file has.
  std::string newName() const { return folder.path("new"); }

  const ScratchFolder folder;
};

}  // namespace platformtest

#endif
