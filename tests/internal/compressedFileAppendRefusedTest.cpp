#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <string>

#include "Datasource/systemFileException.h"
#include "support/compressedTest.h"

// Appending that is refused: the file stays as it is, byte for byte.

namespace {

using support::kBlock;
using support::kRow0;
using support::kStreamSource;
using ::testing::IsEmpty;

class AppendRefused : public support::CompressedTest {
 protected:
  ~AppendRefused() noexcept override = default;

  static int64 endOf(std::size_t length) { return kRow0 + static_cast<int64>(length); }

  /// Makes the file and a stream over it that has read its heading.
  void start(const support::Image& image) {
    makeFile("f", image);
    before = folder.readWhole("f");
    stream = support::startReading(folder.path("f"));
  }
  void TearDown() override {
    stream.reset();
    CompressedTest::TearDown();
  }
  void appendAt(int64 end, int64 seekTo, bool swap = false) {
    stream->Seek(seekTo, VORN_StrBaseIO::SeekFromStart);
    stream->setFileToAppend(end, swap);
  }
  void appendAt(int64 end) { appendAt(end, end); }

  /// Checks that exactly this was reported, first of all, and that the stream takes nothing and the file keeps every
  /// byte, until the stream is gone.
  void expectRefusal(const std::string& text) {
    const auto reports = assertions.take();
    ASSERT_FALSE(reports.empty());
    EXPECT_EQ(reports[0].expression, text);
    EXPECT_EQ(reports[0].file, kStreamSource);
    EXPECT_EQ(stream->Write("abc", 3), 0U);
    EXPECT_EQ(stream->Close(), 1);
    stream.reset();
    EXPECT_EQ(folder.readWhole("f"), before);
    (void)assertions.take();  // the write's
  }

  std::string before;
  support::StreamHolder stream;
};

TEST_F(AppendRefused, PositionOfTheStreamMustBeTheEndOfAPartialBlock) {
  start(support::Image::of(kRow0, {3000}));
  appendAt(endOf(3000), endOf(2999));
  expectRefusal("fFilePos == endpos");
}

TEST_F(AppendRefused, EndBehindThePartialBlock) {
  start(support::Image::of(kRow0, {kBlock, 3000}));
  appendAt(endOf(kBlock + 3001));
  expectRefusal("fFilePos == endpos");
}

TEST_F(AppendRefused, EndBeforeThePartialBlock) {
  start(support::Image::of(kRow0, {kBlock, 3000}));
  appendAt(endOf(kBlock) - 1);
  expectRefusal("fFilePos == endpos");
}

TEST_F(AppendRefused, EndFarAway) {
  for (const int64 end : {INT64_MAX, INT64_MIN, int64{0}, int64{-1}, int64{1} << 40}) {
    start(support::Image::of(kRow0, {3000}));
    appendAt(end);
    expectRefusal("fFilePos == endpos");
  }
}

// It used to make the stream write all the same: a write at the data's real end was taken, and Close wrote the table
// anew.
TEST_F(AppendRefused, EndThatIsNotTheWholeBlocks) {
  for (const int64 end : {endOf(kBlock) + 5, endOf(kBlock) - 5, int64{0}}) {
    for (const int64 position : {end, endOf(kBlock)}) {
      start(support::Image::of(kRow0, {kBlock}));
      appendAt(end, position);
      stream->Seek(endOf(kBlock), VORN_StrBaseIO::SeekFromStart);
      expectRefusal("fData->fpos == endpos");
    }
  }
}

// What the stream still held of the block in front was read from it.
TEST_F(AppendRefused, NothingIsReadAfterwards) {
  for (const int64 end : {endOf(3001), int64{0}}) {
    start(support::Image::of(kRow0, {3000}));
    support::readAt(*stream, kRow0, 10);
    appendAt(end);
    EXPECT_EQ(support::readAt(*stream, kRow0, 10), "");
    expectRefusal("fFilePos == endpos");
  }
}

TEST_F(AppendRefused, PositionOfTheStreamIsNotComparedForAWholeBlock_KeptAsIs) {
  start(support::Image::of(kRow0, {kBlock}));
  appendAt(endOf(kBlock), 5);
  EXPECT_THAT(assertions.take(), IsEmpty());
  EXPECT_TRUE(zcmpsFilestrPeer::isWriting(*stream));
  stream->Close();
  expectCases("f", kBlock);
}

TEST_F(AppendRefused, StreamThatNeverReadAHeading) {
  makeFile("f", 3000);
  before = folder.readWhole("f");
  stream = support::openPlain(folder.path("f"));
  appendAt(endOf(3000));
  expectRefusal(support::kWrongHeadingForAppending);
}

TEST_F(AppendRefused, WrongByteOrder) {
  start(support::Image::of(kRow0, {3000}));
  appendAt(endOf(3000), endOf(3000), true);
  expectRefusal(support::kWrongHeadingForAppending);
}

TEST_F(AppendRefused, HeadingThatWasDamagedMeanwhile) {
  probe.letOthersWrite();
  start(support::Image::of(kRow0, {3000}));
  folder.patchByte("f", kRow0, 0xEE);
  before = folder.readWhole("f");
  appendAt(endOf(3000));
  expectRefusal(support::kWrongHeadingForAppending);
}

TEST_F(AppendRefused, HeadingThatWasCutMeanwhile) {
  probe.letOthersWrite();
  start(support::Image::of(kRow0, {3000}));
  folder.truncateTo("f", kRow0 + 23);
  before = folder.readWhole("f");
  appendAt(endOf(3000));
  expectRefusal("ret == sizeof(compressionHeading)");
}

TEST_F(AppendRefused, TableThatWasCutMeanwhile) {
  probe.letOthersWrite();
  start(support::Image::of(kRow0, {3000}));
  folder.truncateTo("f", folder.sizeOf("f") - 1);
  before = folder.readWhole("f");
  appendAt(endOf(3000));
  expectRefusal("ret == chInfo._size");
}

TEST_F(AppendRefused, LastBlockThatDoesNotDecompress) {
  support::Image image = support::Image::of(kRow0, {3000});
  image.blocks[0].replace(0, image.blocks[0].size(), image.blocks[0].size(), 'x');
  start(image);
  appendAt(endOf(3000));
  const auto reports = assertions.take();
  ASSERT_FALSE(reports.empty());
  EXPECT_EQ(reports[0].expression, "ret!= 0");
  EXPECT_EQ(reports[0].file, support::kWorkerSource);
  stream.reset();
  EXPECT_EQ(folder.readWhole("f"), before);
}

TEST_F(AppendRefused, LastBlockOfAnotherLengthThanRecorded) {
  support::Image image = support::Image::of(kRow0, {3000});
  image.records[0].orginalSize = 2999;
  start(image);
  appendAt(endOf(2999));
  expectRefusal("outCount == bInfo.orginalSize");
}

TEST_F(AppendRefused, LastBlockWithAWrongCheckValue) {
  support::Image image = support::Image::of(kRow0, {3000});
  image.blocks[0].back() = static_cast<char>(image.blocks[0].back() ^ 1);
  start(image);
  appendAt(endOf(3000));
  expectRefusal(support::kCorruptBlock);
}

/// A file of one whole block whose record gives `less` bytes too few to it.
support::Image withShortenedRecord(std::int32_t less) {
  support::Image image = support::Image::of(kRow0, {kBlock});
  image.records[0].translateSize -= less;
  return image;
}

constexpr const char* kUnprovenEnd = "consumed == bInfo.translateSize && \"Last block does not fill its record!\"";

TEST_F(AppendRefused, WholeLastBlockWhoseRecordIsTooShort) {
  // The next block would land inside it.
  for (const std::int32_t less : {1, 3, 5}) {
    start(withShortenedRecord(less));
    appendAt(endOf(kBlock));
    expectRefusal(kUnprovenEnd);
  }
}

TEST_F(AppendRefused, WholeLastBlockWhoseRecordIsTooLongForIt) {
  support::Image image = support::Image::of(kRow0, {kBlock});
  image.blocks[0] += std::string(20, '.');
  image.records[0].translateSize += 10;
  image.heading._infoPos += 20;
  start(image);
  appendAt(endOf(kBlock));
  expectRefusal(kUnprovenEnd);
}

TEST_F(AppendRefused, TableThatHidesABlock) {
  support::Image image = support::Image::of(kRow0, {kBlock, 3000});
  image.records.pop_back();
  image.tableHead.translateSize = 1;
  image.heading._size = 48;
  start(image);
  EXPECT_THAT(assertions.takeTexts(), testing::Contains(testing::HasSubstr("hides blocks")));
  appendAt(endOf(kBlock));
  expectRefusal("chInfo._infoPos == blocksEnd && \"Position table hides blocks!\"");
}

TEST_F(AppendRefused, ThrowingHandlerLeavesTheFileAlone) {
  start(support::Image::of(kRow0, {3000}));
  {
    const support::AssertionRecorder throwing(support::AssertionRecorder::Then::raise);
    EXPECT_THROW(appendAt(endOf(3001)), support::AssertionThrown);
    EXPECT_EQ(stream->Close(), 1);
  }
  stream.reset();
  EXPECT_EQ(folder.readWhole("f"), before);
}

TEST_F(AppendRefused, FileThatCannotBeOpenedForUpdateRaises1201WithItsOwnText) {
  start(support::Image::of(kRow0, {3000}));
  probe.failEvery(support::CallKind::open, EACCES);
  try {
    appendAt(endOf(3000));
    FAIL() << "nothing was raised";
  } catch (const SystemFileException& error) {
    EXPECT_STREQ(error.expression, "fData->pRealFile.Open(GetNameStr(),\"r+b\")");
    EXPECT_THAT(error.sourceFile, testing::EndsWith("Datasource/src/zcmpsFilestr"));
    EXPECT_EQ(error.errorNumber, 1201);
    EXPECT_TRUE(error.flag);
  }
  probe.failNone();
  stream.reset();
  EXPECT_EQ(folder.readWhole("f"), before);
}

TEST_F(AppendRefused, StreamWithoutAFileRaises1201) {
  const VORN_FileStream none;
  zcmpsFilestr empty(none);
  EXPECT_THROW(empty.setFileToAppend(kRow0, false), SystemFileException);
}

}  // namespace
