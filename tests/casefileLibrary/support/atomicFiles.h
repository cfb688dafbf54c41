#ifndef CASEFILE_TESTS_ATOMICFILES_H
#define CASEFILE_TESTS_ATOMICFILES_H

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "atomicFile.h"
#include "casefile/error.h"
#include "support/testFolder.h"

namespace support {

/// Outputs in a folder of their own.
class AtomicFileTest : public testing::Test {
 protected:
  std::string workingName() const {
    for (const auto& entry : std::filesystem::directory_iterator(folder_.folder())) {
      if (entry.path().extension() == ".tmp") {
        return entry.path().filename().string();
      }
    }
    return "";
  }

  // Returns: what is wrong, or nothing.
  static std::string commit(casefile::AtomicFile& file) {
    try {
      file.commit();
    } catch (const casefile::Error& error) {
      return error.what();
    }
    return "";
  }

  // Returns: what is wrong with making an output of that name, or nothing.
  static std::string errorOfMaking(const std::string& name, casefile::AtomicFile::Rules rules = {}) {
    try {
      const casefile::AtomicFile file(name, rules);
    } catch (const casefile::Error& error) {
      return error.what();
    }
    return "";
  }

  std::filesystem::perms rights(const std::string& name) const {
    return std::filesystem::status(folder_.folder() / name).permissions();
  }

  TestFolder folder_;
};

}  // namespace support

#endif
