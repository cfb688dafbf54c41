#ifndef DATASOURCE_TESTS_RAWFILETEST_H
#define DATASOURCE_TESTS_RAWFILETEST_H

#include <cstddef>
#include <memory>
#include <string>

#include "support/fileTest.h"
#include "support/peers.h"

namespace support {

/// Base of the tests of one raw file.
class RawFileTest : public FileTest {
 protected:
  void TearDown() override {
    file.reset();
    FileTest::TearDown();
  }

  void open(const std::string& name, const char* mode) {
    ASSERT_TRUE(file->Open(named(folder.path(name)), mode)) << name;
  }
  /// Up to `length` bytes at `position`, read through the file.
  std::string readString(std::size_t length, int64 position) {
    std::string bytes(length, '?');
    bytes.resize(file->Read(bytes.data(), length, position));
    return bytes;
  }
  std::size_t writeString(const std::string& bytes, int64 position) {
    return file->Write(bytes.data(), bytes.size(), position);
  }

  std::unique_ptr<VORN_File> file = std::make_unique<VORN_File>();
};

}  // namespace support

#endif
