#include <cerrno>
#include <cstddef>
#include <string>

#include "Datasource/systemFileException.h"
#include "support/compressedTest.h"

// Writing case data.

namespace {

using support::CallKind;
using support::caseBytes;
using support::kBlock;
using support::kBlockLength;
using support::kJumpedWrite;
using support::kRow0;
using support::kStreamSource;
using support::Raised;
using support::raisedBy;
using support::startWriting;
using support::writeCases;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class CompressedWrite : public support::CompressedTest {
 protected:
  support::StreamHolder start(int mode = 0) { return startWriting(folder.path("f"), mode); }
  int writes() const { return probe.count(CallKind::write); }
};

TEST_F(CompressedWrite, FirstBlockLiesBehindTheHeading) {
  const auto stream = start();
  EXPECT_TRUE(zcmpsFilestrPeer::isWriting(*stream));
  writeCases(*stream, 100);
  stream->Close();
  const support::Contents found = contents("f");
  ASSERT_EQ(found.records.size(), 1U);
  EXPECT_EQ(found.records[0].orginalPos, kRow0);
  EXPECT_EQ(found.records[0].translatePos, kRow0 + 24);
}

TEST_F(CompressedWrite, ExactlyOneBlockIsFlushedAndLeavesTheBufferEmpty) {
  const auto stream = start();
  probe.clear();
  writeCases(*stream, kBlock, kBlock);
  EXPECT_EQ(writes(), 1);
  writeCases(*stream, kBlock - 1, kBlock);
  EXPECT_EQ(writes(), 1);
  writeCases(*stream, 1);
  EXPECT_EQ(writes(), 2);
  stream->Close();
  expectCases("f", 2 * kBlock);
}

TEST_F(CompressedWrite, OneByteLessThanABlockStaysInTheBuffer) {
  const auto stream = start();
  probe.clear();
  writeCases(*stream, kBlock - 1, kBlock);
  EXPECT_EQ(writes(), 0);
  EXPECT_EQ(stream->Tell(), kRow0 + kBlockLength - 1);
  writeCases(*stream, 1);
  EXPECT_EQ(writes(), 1);
}

TEST_F(CompressedWrite, OneWriteMayHoldSeveralBlocks) {
  for (const int mode : {0, 1}) {
    const auto stream = start(mode);
    writeCases(*stream, 100);
    writeCases(*stream, 3 * kBlock + 50, 4 * kBlock);
    stream->Close();
    expectCases("f", 3 * kBlock + 150);
  }
}

TEST_F(CompressedWrite, ResultIsTheSizeAndThePositionFollows) {
  const auto stream = start();
  EXPECT_EQ(stream->Write("abc", 3), 3U);
  EXPECT_EQ(stream->Tell(), kRow0 + 3);
  EXPECT_EQ(stream->Write("abc", 0), 0U);
  EXPECT_EQ(stream->Tell(), kRow0 + 3);
}

TEST_F(CompressedWrite, JumpedWriteIsAssertedOnAndTakesNothing) {
  const auto stream = start();
  writeCases(*stream, 1000);
  for (const int64 place : {kRow0, kRow0 + 999, kRow0 + 1001, int64{0}, int64{-1}}) {
    stream->Seek(place, VORN_StrBaseIO::SeekFromStart);
    EXPECT_EQ(stream->Write("abc", 3), 0U);
    EXPECT_EQ(stream->Tell(), place);
  }
  const auto reports = assertions.take();
  ASSERT_EQ(reports.size(), 5U);
  EXPECT_EQ(reports[0].expression, kJumpedWrite);
  EXPECT_EQ(reports[0].file, kStreamSource);
  stream->Seek(kRow0 + 1000, VORN_StrBaseIO::SeekFromStart);
  writeCases(*stream, 500);
  stream->Close();
  expectCases("f", 1500);
}

TEST_F(CompressedWrite, NothingMayBeWrittenAnywhere) {
  const auto stream = start();
  writeCases(*stream, 1000);
  stream->Seek(kRow0 + 5000, VORN_StrBaseIO::SeekFromStart);
  EXPECT_EQ(stream->Write("", 0), 0U);
  EXPECT_THAT(assertions.takeTexts(), IsEmpty());
}

TEST_F(CompressedWrite, FirstWriteWithoutASeekIsJumped) {
  const VORN_FileStream plain(folder.writePlain("f", std::string(kRow0, '.')).c_str(), "r+b");
  zcmpsFilestr stream(plain);
  stream.setRow0Pos(kRow0);
  EXPECT_EQ(stream.Tell(), 0);
  EXPECT_EQ(stream.Write("abc", 3), 0U);
  EXPECT_THAT(assertions.takeTexts(), ElementsAre(kJumpedWrite));
}

TEST_F(CompressedWrite, WritingWithoutBeingToldIsAssertedOnAndTakesNothing) {
  makeFile("f", 5000);
  const std::string before = folder.readWhole("f");
  for (const bool read : {false, true}) {
    const VORN_FileStream plain(folder.path("f").c_str(), "r+b");
    zcmpsFilestr stream(plain);
    if (read) {
      stream.readFilePosInfo(kRow0, false);
    }
    EXPECT_EQ(stream.Write("abc", 3), 0U);
    EXPECT_EQ(stream.Write("abc", 0), 0U);
    const auto reports = assertions.take();
    ASSERT_EQ(reports.size(), 2U);
    EXPECT_EQ(reports[0].expression, "bIsWriting == true");
    EXPECT_EQ(reports[0].file, kStreamSource);
  }
  EXPECT_EQ(folder.readWhole("f"), before);
}

TEST_F(CompressedWrite, ReadingWhileWritingIsAssertedOnAndDisturbsNothing) {
  const auto stream = start();
  writeCases(*stream, kBlock + 500);
  char byte = 0;
  EXPECT_EQ(stream->Read(&byte, 1), 0U);
  EXPECT_EQ(stream->Read(&byte, 0), 0U);
  const auto reports = assertions.take();
  ASSERT_EQ(reports.size(), 2U);
  EXPECT_EQ(reports[0].expression, "bIsWriting == false");
  EXPECT_EQ(reports[0].file, kStreamSource);
  stream->Close();
  expectCases("f", kBlock + 500);
}

TEST_F(CompressedWrite, FlushWithoutBytesChangesNothing) {
  for (const int mode : {0, 1}) {
    const auto stream = start(mode);
    EXPECT_EQ(stream->Flush(), 1);
    writeCases(*stream, kBlock);
    EXPECT_EQ(stream->Flush(), 1);
    EXPECT_EQ(stream->Flush(), 1);
    writeCases(*stream, 77);
    EXPECT_EQ(stream->Close(), 1);
    expectCases("f", kBlock + 77);
  }
}

TEST_F(CompressedWrite, FlushInTheMiddleMakesAShortBlock) {
  for (const int mode : {0, 1}) {
    const auto stream = start(mode);
    writeCases(*stream, 1000);
    EXPECT_EQ(stream->Flush(), 1);
    EXPECT_EQ(stream->Flush(), 1);
    writeCases(*stream, 2000);
    stream->Close();
    expectCases("f", 3000);
    const support::Contents found = contents("f");
    ASSERT_EQ(found.records.size(), 2U);
    EXPECT_EQ(found.records[0].orginalSize, 1000);
    EXPECT_EQ(found.records[1].orginalPos, kRow0 + 1000);
  }
}

TEST_F(CompressedWrite, IncompressibleBlockIsCutAndCounted_KeptAsIs) {
  const std::string noise = support::randomBytes(kBlock, 7);
  for (const int mode : {0, 1}) {
    const auto stream = start(mode);
    EXPECT_EQ(stream->Write(noise.data(), kBlock), kBlock);
    stream->Close();
    EXPECT_EQ(stream->truncatedBlocks(), 1U);
    const std::string table = folder.readAt("f", kRow0 + 24 + kBlockLength, 48);
    EXPECT_EQ(decode<bInfo>(table.data() + 24, false).translateSize, 0x3FF000);
    const auto reader = support::startReading(folder.path("f"));
    EXPECT_EQ(support::readOnce(*reader, 1000), "");
    EXPECT_THAT(assertions.takeTexts(), testing::Not(IsEmpty()));
  }
}

TEST_F(CompressedWrite, CutBlocksAreCountedWhileAWorkerStillWrites) {
  const auto stream = start(1);
  const std::string noise = support::randomBytes(kBlock, 7);
  EXPECT_EQ(stream->Write(noise.data(), kBlock), kBlock);
  EXPECT_EQ(stream->Write(noise.data(), kBlock), kBlock);  // handed over when the worker is done with the first
  EXPECT_GE(stream->truncatedBlocks(), 1U);
  stream->Close();
  EXPECT_EQ(stream->truncatedBlocks(), 2U);
}

TEST_F(CompressedWrite, CutBlocksAreNamedByTheirPlaces) {
  const std::string noise = support::randomBytes(kBlock, 7);
  for (const int mode : {0, 1}) {
    const auto stream = start(mode);
    writeCases(*stream, kBlock);
    stream->Write(noise.data(), kBlock);
    writeCases(*stream, kBlock);
    stream->Write(noise.data(), kBlock);
    EXPECT_EQ(stream->Close(), 1);
    const auto ranges = stream->truncatedRanges();
    ASSERT_EQ(ranges.size(), 2U);
    for (int i = 0; i < 2; ++i) {
      const auto& range = ranges[static_cast<std::size_t>(i)];
      EXPECT_EQ(range.begin, kRow0 + (2 * i + 1) * kBlockLength);
      EXPECT_EQ(range.end, kRow0 + (2 * i + 2) * kBlockLength);
    }
  }
}

TEST_F(CompressedWrite, CutBlockThatIsWrittenAgainIsNamedOnce) {
  const auto stream = start();
  const std::string noise = support::randomBytes(kBlock, 7);
  probe.failNth(CallKind::write, 1, ENOSPC);
  EXPECT_EQ(raisedBy([&] { stream->Write(noise.data(), kBlock); }), (Raised{1002, ENOSPC}));
  EXPECT_EQ(stream->Close(), 1);
  EXPECT_EQ(stream->truncatedRanges().size(), 1U);
  EXPECT_EQ(stream->truncatedBlocks(), 1U);
}

TEST_F(CompressedWrite, CutBlocksAreCountedForTheSessionOnly) {
  const auto stream = start();
  const std::string noise = support::randomBytes(kBlock, 8);
  stream->Write(noise.data(), kBlock);
  writeCases(*stream, 1000);
  stream->Close();
  EXPECT_EQ(stream->truncatedBlocks(), 1U);
  stream->setRow0Pos(kRow0);
  EXPECT_EQ(stream->truncatedBlocks(), 0U);
}

TEST_F(CompressedWrite, OtherHoldersOfTheRawFileDoNotMoveTheTable) {
  for (const std::size_t length : {std::size_t{0}, std::size_t{3000}, kBlock + 5}) {
    folder.writePlain("f", support::dictionaryBytes(kRow0));
    VORN_FileStream plain(folder.path("f").c_str(), "r+b");
    zcmpsFilestr stream(plain);
    stream.setRow0Pos(kRow0);
    stream.Seek(kRow0, VORN_StrBaseIO::SeekFromStart);
    writeCases(stream, length);
    EXPECT_EQ(support::readAt(plain, 0, 10), "dictionary");
    EXPECT_EQ(stream.Close(), 1);
    expectCases("f", length);
    EXPECT_EQ(folder.readAt("f", 0, 10), "dictionary");
  }
}

TEST_F(CompressedWrite, DictionaryWrittenThroughTheBasePartReachesTheFile) {
  folder.writePlain("f", "");
  const VORN_FileStream plain(folder.path("f").c_str(), "r+b");
  zcmpsFilestr stream(plain);
  const std::string dictionary = support::dictionaryBytes(kRow0);
  EXPECT_EQ(stream.VORN_FileStream::Seek(0, VORN_StrBaseIO::SeekFromStart), 0);
  EXPECT_EQ(stream.VORN_FileStream::Write(dictionary.data(), dictionary.size()), dictionary.size());
  stream.setRow0Pos(kRow0);
  stream.Seek(kRow0, VORN_StrBaseIO::SeekFromStart);
  writeCases(stream, 5000);
  EXPECT_EQ(stream.Close(), 1);
  expectCases("f", 5000);
  EXPECT_EQ(folder.readAt("f", 0, dictionary.size()), dictionary);
}

TEST_F(CompressedWrite, OnlyModeOneStartsAWorker) {
  for (const int mode : {-1, 0, 1, 2, 3}) {
    const auto stream = start(mode);
    EXPECT_EQ(hasWorker(*stream), mode == 1) << mode;
    writeCases(*stream, kBlock + 10);
    EXPECT_EQ(stream->Close(), 1);
    EXPECT_FALSE(hasWorker(*stream));
    expectCases("f", kBlock + 10);
  }
}

TEST_F(CompressedWrite, ModeOneWritesBlocksOnTheWorkersThread) {
  const auto stream = start(1);
  probe.clear();
  writeCases(*stream, 2 * kBlock);
  probe.waitForOthers(CallKind::write, 2);
  EXPECT_THAT(probe.ownList(), IsEmpty());
  stream->Close();
}

TEST_F(CompressedWrite, ChoosingAModeWhileAWorkerLivesIsAssertedOnAndTheFileIsFinished) {
  const auto stream = start(1);
  writeCases(*stream, kBlock + 10);
  stream->setMultiThread(0);
  const auto reports = assertions.take();
  ASSERT_EQ(reports.size(), 1U);
  EXPECT_EQ(reports[0].expression, "fData->fpIOThread == 0");
  EXPECT_EQ(reports[0].file, kStreamSource);
  writeCases(*stream, 10);
  EXPECT_EQ(stream->Close(), 1);
  expectCases("f", kBlock + 20);
}

TEST_F(CompressedWrite, NewModeWithoutANewSessionChangesNothing) {
  const auto stream = start(0);
  stream->setMultiThread(1);
  writeCases(*stream, kBlock + 10);
  EXPECT_FALSE(hasWorker(*stream));
  EXPECT_EQ(stream->Close(), 1);
  expectCases("f", kBlock + 10);
}

TEST_F(CompressedWrite, SecondSessionStartsAfresh) {
  for (const int mode : {0, 1}) {
    const auto stream = start(mode);
    writeCases(*stream, kBlock + 500);
    EXPECT_EQ(stream->Close(), 1);
    stream->setRow0Pos(kRow0);
    stream->Seek(kRow0, VORN_StrBaseIO::SeekFromStart);
    writeCases(*stream, 300);
    EXPECT_EQ(stream->Close(), 1);
    expectCases("f", 300);
  }
}

TEST_F(CompressedWrite, StartingAgainInTheMiddleForgetsWhatWasWritten) {
  for (const int mode : {0, 1}) {
    const auto stream = start(mode);
    writeCases(*stream, kBlock + 500);
    stream->setRow0Pos(kRow0);
    (void)assertions.take();
    stream->Seek(kRow0, VORN_StrBaseIO::SeekFromStart);
    writeCases(*stream, 300);
    EXPECT_EQ(stream->Close(), 1);
    expectCases("f", 300);
  }
}

TEST_F(CompressedWrite, StartingToWriteAfterReadingStartsWithAnEmptyBuffer) {
  makeFile("f", kBlock + 700);
  for (const int mode : {0, 2}) {
    const auto stream = support::startReading(folder.path("f"), mode);
    support::readOnce(*stream, 1000);
    stream->setRow0Pos(kRow0);
    (void)assertions.take();
    stream->Seek(kRow0, VORN_StrBaseIO::SeekFromStart);
    writeCases(*stream, kBlock + 700);
    EXPECT_EQ(stream->Close(), 1);
    expectCases("f", kBlock + 700);
  }
}

TEST_F(CompressedWrite, StreamWithoutAFileCannotBeWritten) {
  const VORN_FileStream none;
  zcmpsFilestr stream(none);
  EXPECT_THROW(stream.setRow0Pos(kRow0), SystemFileException);
  EXPECT_EQ(stream.Close(), 1);
}

TEST_F(CompressedWrite, FileThatCannotBeOpenedForUpdateRaises1201) {
  folder.writePlain("f", support::dictionaryBytes(kRow0));
  const VORN_FileStream plain(folder.path("f").c_str(), "rb");
  zcmpsFilestr stream(plain);
  probe.failEvery(CallKind::open, EACCES);
  try {
    stream.setRow0Pos(kRow0);
    FAIL() << "nothing was raised";
  } catch (const SystemFileException& error) {
    EXPECT_STREQ(error.expression, "fData->pRealFile.Open(GetNameStr(), \"r+b\")");
    EXPECT_THAT(error.sourceFile, testing::EndsWith("Datasource/src/zcmpsFilestr"));
    EXPECT_EQ(error.errorNumber, 1201);
    EXPECT_GT(error.line, 0);
    EXPECT_TRUE(error.flag);
  }
  probe.failNone();
  EXPECT_EQ(stream.Close(), 1);
}

TEST_F(CompressedWrite, RecordForAnotherFileDoesNotGoIntoTheOldOnesBuffer) {
  const auto stream = start();
  writeCases(*stream, 10);
  const int64 position = stream->Tell();
  stream->VORN_FileStream::Open(folder.path("g").c_str(), "w+b");
  stream->Seek(position, VORN_StrBaseIO::SeekFromStart);
  EXPECT_EQ(stream->Write("abc", 3), 0U);
  EXPECT_EQ(stream->Close(), 0);
  EXPECT_EQ(folder.readWhole("g"), "");
}

TEST_F(CompressedWrite, CloseBehindALostDescriptorRaises1002AndAsksItNothing) {
  auto stream = start();
  writeCases(*stream, 10);
  probe.failNth(CallKind::close, 1, EIO);
  EXPECT_EQ(raisedBy([&] { closeBehind(*stream); }), (Raised{1002, EIO}));
  probe.clear();
  EXPECT_EQ(raisedBy([&] { stream->Close(); }), (Raised{1002, EBADF}));
  EXPECT_THAT(probe.list(), IsEmpty());
  EXPECT_EQ(raisedBy([&] { stream.reset(); }), (Raised{1002, EBADF}));
}

TEST_F(CompressedWrite, BlockThatCouldNotBeWrittenIsWrittenByARetry) {
  const auto stream = start();
  const std::string bytes = caseBytes(kRow0, 2 * kBlock);
  probe.failNth(CallKind::write, 1, ENOSPC);
  EXPECT_EQ(raisedBy([&] { stream->Write(bytes.data(), 2 * kBlock); }), (Raised{1002, ENOSPC}));
  const auto taken = static_cast<std::size_t>(stream->Tell() - kRow0);
  EXPECT_LE(taken, kBlock);
  EXPECT_EQ(stream->Write(bytes.data() + taken, 2 * kBlock - taken), 2 * kBlock - taken);
  EXPECT_EQ(stream->Close(), 1);
  expectCases("f", 2 * kBlock);
}

}  // namespace
