#include <cstdint>
#include <string>

#include "support/compressedTest.h"
#include "support/compressedWorkerTest.h"
#include "support/overrunningBlock.h"

// Blocks whose compressed form is longer than a block: cut there, they are whole if only the check value is cut.

namespace {

using support::Image;
using support::kBlock;
using support::kRow0;
using support::overrunning;
using support::zipped;

/// A file of one block with these bytes.
Image imageOf(const std::string& plain) {
  Image image = Image::of(kRow0, {plain.size()});
  image.blocks[0] = zipped(plain).substr(0, kBlock);
  image.records[0].translateSize = static_cast<std::int32_t>(image.blocks[0].size());
  image.heading._infoPos = kRow0 + 24 + image.records[0].translateSize;
  return image;
}

class OverrunBlock : public support::WorkerTest {
 protected:
  static std::string readAll(zcmpsFilestr& stream) { return support::readRest(stream, kBlock / 4); }
  void TearDown() override {
    EXPECT_TRUE(assertions.takeTexts().empty());
    support::WorkerTest::TearDown();
  }
};

TEST_F(OverrunBlock, ByItsCheckValueOnlyIsReadQuietlyInEveryMode) {
  for (const std::size_t over : {std::size_t{1}, std::size_t{4}}) {
    const std::string plain = overrunning(kBlock, over);
    makeFile("f", imageOf(plain));
    for (const int mode : {0, 1, 2}) {
      const auto stream = support::startReading(folder.path("f"), mode);
      EXPECT_TRUE(support::sameBytes(readAll(*stream), plain)) << over << " bytes over, mode " << mode;
    }
  }
}

TEST_F(OverrunBlock, OfAPartialBlockIsReadAndAppendedTo) {
  const std::string plain = overrunning(kBlock - 1000, 2);
  makeFile("f", imageOf(plain));
  {
    const auto stream = support::startReading(folder.path("f"), 2);
    EXPECT_TRUE(support::sameBytes(readAll(*stream), plain));
  }
  const auto stream = support::startAppending(folder.path("f"), kRow0 + static_cast<int64>(plain.size()));
  const std::string more(1, 'r');  // goes into the run that the block ends with
  EXPECT_EQ(stream->Write(more.data(), more.size()), more.size());
  EXPECT_EQ(stream->Close(), 1);
  stream->readFilePosInfo(kRow0, false);
  const std::string found = readAll(*stream);
  EXPECT_EQ(stream->truncatedBlocks(), 0U);
  EXPECT_TRUE(support::sameBytes(found, plain + more));
}

TEST_F(OverrunBlock, IsReadByTheThreeStageReader) {
  const std::string plain = overrunning(kBlock, 3);
  useImage(imageOf(plain));
  const auto worker = startReader<support::ThreeStageReader>(kBlock);
  EXPECT_TRUE(support::sameBytes(request(*worker, 0), plain));
  end(*worker);
}

TEST_F(OverrunBlock, IsCountedOnlyIfDataAreLost) {
  for (const int mode : {0, 1}) {
    for (const std::size_t over : {std::size_t{1}, std::size_t{4}, std::size_t{9}}) {
      const std::string plain = overrunning(kBlock, over);
      const auto stream = support::startWriting(folder.path("f"), mode);
      EXPECT_EQ(stream->Write(plain.data(), plain.size()), plain.size());
      EXPECT_EQ(stream->Close(), 1);
      EXPECT_EQ(stream->truncatedBlocks(), over > 4 ? 1U : 0U) << over;
      if (over <= 4) {
        stream->readFilePosInfo(kRow0, false);
        EXPECT_TRUE(support::sameBytes(readAll(*stream), plain));
      }
    }
  }
}

TEST_F(OverrunBlock, ThatIsLongerThanRecordedIsStillRefused) {
  Image longer = imageOf(overrunning(kBlock, 4));
  longer.records[0].orginalSize -= 1;
  makeFile("f", longer);
  for (const int mode : {0, 2}) {
    const auto stream = support::startReading(folder.path("f"), mode);
    EXPECT_EQ(support::readOnce(*stream, 100), "");
    EXPECT_FALSE(assertions.takeTexts().empty());
  }
}

}  // namespace
