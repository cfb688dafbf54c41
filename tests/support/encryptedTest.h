#ifndef DATASOURCE_TESTS_ENCRYPTEDTEST_H
#define DATASOURCE_TESTS_ENCRYPTEDTEST_H

#include <cstddef>
#include <memory>
#include <string>

#include "support/rawFileTest.h"
#include "support/toyCipher.h"

namespace support {

/// Base of the tests of enciphered contents: the keep-encrypt switch is on, `file` is enciphered, and
/// no output is given back twice.
class EncryptedTest : public RawFileTest {
 protected:
  EncryptedTest() {
    SetKeepEncrypt(true);
    file = std::make_unique<VORN_File>(true);
  }
  ~EncryptedTest() override { SetKeepEncrypt(false); }

  void TearDown() override {
    RawFileTest::TearDown();
    EXPECT_EQ(cipher.strayFrees(), 0);
  }

  std::string carry() const { return {reinterpret_cast<const char*>(VORN_FilePeer::carry(*file)), 16}; }
  /// Makes the file `name` of `length` plain bytes through `file`, finished.
  void writeFinished(const std::string& name, std::size_t length) {
    open(name, "w+b");
    writeString(selfDescribing(0, length), 0);
    file->FinishEncryption();
  }

  ToyCipher cipher;
};

}  // namespace support

#endif
