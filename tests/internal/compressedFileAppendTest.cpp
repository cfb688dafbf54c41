#include <cstddef>
#include <string>

#include "support/compressedTest.h"

// More case data behind what a file holds.

namespace {

using support::caseBytes;
using support::Contents;
using support::kBlock;
using support::kBlockLength;
using support::kRow0;
using support::startAppending;
using support::writeCases;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class Append : public support::CompressedTest {
 protected:
  static int64 endOf(std::size_t length) { return kRow0 + static_cast<int64>(length); }
  /// A file of `before` bytes of case data gets `more` behind them. Returns: what it then holds.
  Contents append(std::size_t before, std::size_t more) {
    makeFile("f", before);
    const auto stream = startAppending(folder.path("f"), endOf(before));
    writeCases(*stream, more);
    EXPECT_EQ(stream->Close(), 1);
    expectCases("f", before + more);
    return contents("f");
  }
};

TEST_F(Append, FileWithoutCaseDataStartsBehindItsHeading) {
  const Contents found = append(0, 5000);
  ASSERT_EQ(found.records.size(), 1U);
  EXPECT_EQ(found.records[0].translatePos, kRow0 + 24);
}

TEST_F(Append, FileWithoutCaseDataIgnoresTheEndGiven) {
  makeFile("f", 0);
  const auto stream = support::startReading(folder.path("f"));
  stream->setFileToAppend(kRow0 + 987'654, false);
  EXPECT_TRUE(zcmpsFilestrPeer::isWriting(*stream));
  stream->Seek(kRow0, VORN_StrBaseIO::SeekFromStart);
  writeCases(*stream, 100);
  stream->Close();
  expectCases("f", 100);
}

TEST_F(Append, WholeLastBlockGetsANewBlockBehindIt) {
  const support::Image before = support::Image::of(kRow0, {kBlock});
  const Contents found = append(kBlock, 5000);
  ASSERT_EQ(found.records.size(), 2U);
  EXPECT_EQ(found.records[0].translateSize, before.records[0].translateSize);
  EXPECT_EQ(found.records[1].orginalSize, 5000);
}

TEST_F(Append, WholeLastBlockIsNotReadAgain) {
  makeFile("f", kBlock);
  const auto stream = support::startReading(folder.path("f"));
  stream->Seek(endOf(kBlock), VORN_StrBaseIO::SeekFromStart);
  probe.clear();
  stream->setFileToAppend(endOf(kBlock), false);
  for (const support::Call& call : probe.calls()) {
    EXPECT_TRUE(call.kind != support::CallKind::read || call.length <= 48) << call;
  }
}

TEST_F(Append, PartialLastBlockIsWrittenAnewAtItsOwnPlace) {
  const support::Image before = support::Image::of(kRow0, {kBlock, 3000});
  const Contents found = append(kBlock + 3000, 2000);
  ASSERT_EQ(found.records.size(), 2U);
  EXPECT_EQ(found.records[1].translatePos, before.records[1].translatePos);
  EXPECT_EQ(found.records[1].orginalSize, 5000);
}

TEST_F(Append, PartialLastBlockGrowsIntoFurtherBlocks) {
  const Contents found = append(3000, 2 * kBlock);
  ASSERT_EQ(found.records.size(), 3U);
  EXPECT_EQ(found.records[2].orginalSize, 3000);
}

TEST_F(Append, PartialLastBlockMayBecomeExactlyWhole) {
  EXPECT_EQ(append(3000, kBlock - 3000).records.size(), 1U);
  EXPECT_EQ(append(kBlock - 1, 1).records.size(), 1U);
}

TEST_F(Append, NothingNewLeavesTheSameData) {
  for (const std::size_t length : {std::size_t{0}, std::size_t{3000}, kBlock, kBlock + 1}) {
    append(length, 0);
  }
}

TEST_F(Append, ManyTimesInARowGrowsOneFile) {
  makeFile("f", 0);
  std::size_t length = 0;
  for (const std::size_t more : {std::size_t{1}, std::size_t{999}, kBlock - 1000, std::size_t{5}, kBlock}) {
    const auto stream = startAppending(folder.path("f"), endOf(length));
    writeCases(*stream, more);
    EXPECT_EQ(stream->Close(), 1);
    length += more;
    expectCases("f", length);
  }
}

TEST_F(Append, EndInsideThePartialBlockDropsWhatLiesBehind) {
  for (const std::size_t kept : {std::size_t{0}, std::size_t{1}, std::size_t{1000}, std::size_t{2999}}) {
    makeFile("f", kBlock + 3000);
    const auto stream = startAppending(folder.path("f"), endOf(kBlock + kept));
    writeCases(*stream, 500);
    EXPECT_EQ(stream->Close(), 1);
    expectCases("f", kBlock + kept + 500);
  }
}

TEST_F(Append, EndInsideThePartialBlockAndNothingNewShortensTheData) {
  makeFile("f", kBlock + 3000);
  startAppending(folder.path("f"), endOf(kBlock + 10))->Close();
  expectCases("f", kBlock + 10);
}

TEST_F(Append, EndAtTheStartOfThePartialBlockAndNothingNewDropsTheBlock) {
  makeFile("f", kBlock + 3000);
  startAppending(folder.path("f"), endOf(kBlock))->Close();
  expectCases("f", kBlock);
}

TEST_F(Append, FileIsNeverShortened_KeptAsIs) {
  const std::string noise = support::randomBytes(100'000, 9);
  {
    const auto stream = support::startWriting(folder.path("f"));
    stream->Write(noise.data(), noise.size());
  }
  const int64 before = folder.sizeOf("f");
  startAppending(folder.path("f"), kRow0 + 10)->Close();
  EXPECT_EQ(folder.sizeOf("f"), before);
  EXPECT_EQ(contents("f").data, noise.substr(0, 10));
}

TEST_F(Append, NeverUsesAWorkerAndTheModeStaysNought_KeptAsIs) {
  makeFile("f", 3000);
  const auto stream = support::startReading(folder.path("f"), 1);
  stream->Seek(endOf(3000), VORN_StrBaseIO::SeekFromStart);
  stream->setFileToAppend(endOf(3000), false);
  EXPECT_FALSE(hasWorker(*stream));
  stream->Close();
  stream->readFilePosInfo(kRow0, false);
  EXPECT_FALSE(hasWorker(*stream));
}

TEST_F(Append, LiveWorkerIsAssertedOnAndEnded) {
  makeFile("f", kBlock + 3000);
  const auto stream = support::startReading(folder.path("f"), 2);
  support::readOnce(*stream, 100);
  stream->Seek(endOf(kBlock + 3000), VORN_StrBaseIO::SeekFromStart);
  stream->setFileToAppend(endOf(kBlock + 3000), false);
  const auto reports = assertions.take();
  ASSERT_EQ(reports.size(), 1U);
  EXPECT_EQ(reports[0].expression, "fData->fpIOThread == 0");
  EXPECT_EQ(reports[0].file, support::kStreamSource);
  EXPECT_FALSE(hasWorker(*stream));
  writeCases(*stream, 10);
  EXPECT_EQ(stream->Close(), 1);
  expectCases("f", kBlock + 3010);
}

TEST_F(Append, TheStreamThatWroteTheFileMayAppend) {
  for (const int mode : {0, 1}) {
    const auto stream = support::startWriting(folder.path("f"), mode);
    writeCases(*stream, kBlock + 3000);
    EXPECT_EQ(stream->Close(), 1);
    stream->setFileToAppend(endOf(kBlock + 3000), false);
    writeCases(*stream, kBlock);
    EXPECT_EQ(stream->Close(), 1);
    expectCases("f", 2 * kBlock + 3000);
  }
}

TEST_F(Append, AppendedDataIsReadByTheSameStream) {
  makeFile("f", kBlock + 3000);
  const auto stream = support::startReading(folder.path("f"));
  support::readAt(*stream, kRow0 + kBlockLength, 100);
  stream->Seek(endOf(kBlock + 3000), VORN_StrBaseIO::SeekFromStart);
  stream->setFileToAppend(endOf(kBlock + 3000), false);
  writeCases(*stream, 50);
  stream->Close();
  stream->readFilePosInfo(kRow0, false);
  EXPECT_TRUE(support::sameBytes(support::readRest(*stream), caseBytes(kRow0, kBlock + 3050)));
}

TEST_F(Append, OtherByteOrderIsRewrittenInTheNativeOne_KeptAsIs) {
  for (const std::size_t last : {std::size_t{3000}, kBlock}) {
    support::Image image = support::Image::of(kRow0, {kBlock, last});
    image.swapped = true;
    makeFile("f", image);
    const auto stream = support::startReading(folder.path("f"), 0, kRow0, true);
    stream->Seek(image.end(), VORN_StrBaseIO::SeekFromStart);
    stream->setFileToAppend(image.end(), true);
    writeCases(*stream, 100);
    EXPECT_EQ(stream->Close(), 1);
    expectCases("f", kBlock + last + 100);
  }
}

TEST_F(Append, JumpedWriteBehindTheEndIsRefused) {
  makeFile("f", 3000);
  const auto stream = startAppending(folder.path("f"), endOf(3000));
  stream->Seek(1, VORN_StrBaseIO::SeekFromCurrent);
  EXPECT_EQ(stream->Write("abc", 3), 0U);
  EXPECT_THAT(assertions.takeTexts(), ElementsAre(support::kJumpedWrite));
}

TEST_F(Append, OldTableBehindAWholeLastBlockIsOverwritten) {
  support::Image image = support::Image::of(kRow0, {kBlock});
  image.blocks.back() += image.table();
  image.heading._infoPos += image.heading._size;
  makeFile("f", image);
  const auto stream = startAppending(folder.path("f"), endOf(kBlock));
  writeCases(*stream, 5000);
  EXPECT_EQ(stream->Close(), 1);
  expectCases("f", kBlock + 5000);
}

TEST_F(Append, DestructionFinishesTheFile) {
  makeFile("f", 3000);
  {
    const auto stream = startAppending(folder.path("f"), endOf(3000));
    writeCases(*stream, 1000);
  }
  expectCases("f", 4000);
}

}  // namespace
