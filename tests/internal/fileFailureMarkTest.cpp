#include <gmock/gmock.h>

#include <cerrno>
#include <string>

#include "fileReader.h"
#include "support/rawFileTest.h"

// What a failure leaves behind at a raw file, and what it does not.

namespace {

using namespace support;

class RawFileFailureMark : public RawFileTest {
 protected:
  void SetUp() override {
    RawFileTest::SetUp();
    folder.writeDescribing("f", 1000);
    open("f", "rb");
  }

  std::string readAhead(int64 position) {
    std::string bytes(10, '?');
    bytes.resize(FileReader(*file, true).read(bytes.data(), bytes.size(), position));
    return bytes;
  }
  void failOnce() { probe.failNth(CallKind::read, 1, EIO); }
  void expectMarked() {
    failOnce();
    EXPECT_EQ(raisedBy([this] { readString(10, 500); }), (Raised{1003, EIO}));
    EXPECT_FALSE(VORN_FilePeer::good(*file));
  }
};

TEST_F(RawFileFailureMark, IsLeftByAReadBehindOneThatWentAhead) {
  EXPECT_EQ(readAhead(100), selfDescribing(100, 10));
  EXPECT_TRUE(VORN_FilePeer::good(*file));
  expectMarked();
}

TEST_F(RawFileFailureMark, IsNotLeftByOneThatGoesAheadButByTheNextRead) {
  failOnce();
  EXPECT_EQ(raisedBy([this] { readAhead(100); }), (Raised{1003, EIO}));
  EXPECT_TRUE(VORN_FilePeer::good(*file));
  expectMarked();
}

TEST_F(RawFileFailureMark, OfAnEarlierCallInErrnoIsGoneWhenATransferBegins) {
  readString(10, 0);
  errno = EIO;
  EXPECT_EQ(readString(10, 10), selfDescribing(10, 10));
  EXPECT_EQ(errno, 0);
}

}  // namespace
