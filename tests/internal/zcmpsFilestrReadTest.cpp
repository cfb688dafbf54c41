#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "support/compressedTest.h"

// Reading case data, in every mode.

namespace {

using support::CallKind;
using support::caseBytes;
using support::kBlock;
using support::kBlockLength;
using support::kRow0;
using support::kStreamSource;
using support::Raised;
using support::raisedBy;
using support::readAt;
using support::readOnce;
using support::readRest;
using support::sameBytes;
using support::startReading;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class CompressedRead : public support::CompressedTest, public ::testing::WithParamInterface<int> {
 protected:
  ~CompressedRead() noexcept override = default;

  /// A stream over a file of `length` bytes of case data.
  zcmpsFilestr& read(std::size_t length) {
    stream.reset();
    stream = startReading(makeFile("f", length), GetParam());
    return *stream;
  }
  /// A stream over a file of blocks of these lengths.
  zcmpsFilestr& readBlocks(const std::vector<std::size_t>& lengths) {
    stream = startReading(makeFile("f", support::Image::of(kRow0, lengths)), GetParam());
    return *stream;
  }
  void TearDown() override {
    stream.reset();
    CompressedTest::TearDown();
  }
  /// Checks that one Read at `position` delivers `delivered` right bytes of `wanted`.
  void expectRead(int64 position, std::size_t wanted, std::size_t delivered) {
    EXPECT_TRUE(sameBytes(readAt(*stream, position, wanted), caseBytes(position, delivered)));
    EXPECT_EQ(stream->Tell(), position + static_cast<int64>(delivered));
  }
  support::StreamHolder stream;
};

TEST_P(CompressedRead, OpeningPositionsAtTheFirstCase) {
  EXPECT_EQ(read(100).Tell(), kRow0);
  EXPECT_FALSE(zcmpsFilestrPeer::isWriting(*stream));
  EXPECT_EQ(readOnce(*stream, 10), caseBytes(kRow0, 10));
}

TEST_P(CompressedRead, WorkerIsStartedFromModeTwoOn) {
  EXPECT_EQ(hasWorker(read(100)), GetParam() >= 2);
  stream->Close();
  EXPECT_FALSE(hasWorker(*stream));
}

TEST_P(CompressedRead, WholeDataIsReadInOrder) {
  read(3 * kBlock + 100);
  EXPECT_TRUE(sameBytes(readRest(*stream), caseBytes(kRow0, 3 * kBlock + 100)));
}

TEST_P(CompressedRead, ReadingNothingGivesNought) {
  read(100);
  EXPECT_EQ(readOnce(*stream, 0), "");
  EXPECT_EQ(stream->Tell(), kRow0);
  EXPECT_EQ(readOnce(*stream, 10), caseBytes(kRow0, 10));
  EXPECT_EQ(readOnce(*stream, 0), "");
  EXPECT_EQ(stream->Tell(), kRow0 + 10);
}

TEST_P(CompressedRead, BlockOfTheFileThatWasOpenBeforeIsNotServed) {
  read(100);
  EXPECT_EQ(readOnce(*stream, 10), caseBytes(kRow0, 10));
  folder.writePlain("g", std::string(1000, 'g'));
  stream->VORN_FileStream::Open(folder.path("g").c_str(), "rb");
  stream->Seek(kRow0 + 10, VORN_StrBaseIO::SeekFromStart);
  EXPECT_EQ(readOnce(*stream, 10), "");
  assertions.takeTexts();
}

TEST_P(CompressedRead, BlockBoundaryIsCrossedWithoutAGap) {
  read(2 * kBlock);
  expectRead(kRow0 + kBlockLength - 5, 10, 10);
  expectRead(kRow0 + kBlockLength + 5, 10, 10);
}

TEST_P(CompressedRead, MoreThanTheNextBlockIsAssertedOnAndCutThere) {
  read(3 * kBlock);
  expectRead(kRow0 + 10, 2 * kBlock, 2 * kBlock - 10);
  const auto reports = assertions.take();
  ASSERT_EQ(reports.size(), 1U);
  EXPECT_EQ(reports[0].expression, "req._size == 0");
  EXPECT_EQ(reports[0].file, kStreamSource);
}

TEST_P(CompressedRead, ReadThatEndsWithTheNextBlockCompletesAndTheFollowingGoesOn) {
  read(3 * kBlock);
  expectRead(kRow0 + 10, 2 * kBlock - 10, 2 * kBlock - 10);
  EXPECT_TRUE(sameBytes(readOnce(*stream, 100), caseBytes(kRow0 + 2 * kBlockLength, 100)));
}

TEST_P(CompressedRead, BlockUsedUpByOneReadStaysReadable_KeptAsIs) {
  read(2 * kBlock);
  expectRead(kRow0 + kBlockLength - 1, kBlock + 1, kBlock + 1);
  probe.clear();
  expectRead(kRow0 + kBlockLength, 100, 100);
  expectRead(kRow0 + kBlockLength + 7, 100, 100);
  EXPECT_THAT(probe.ownList(), IsEmpty());
}

TEST_P(CompressedRead, ReadPastTheEndGivesWhatThereIs) {
  read(kBlock + 100);
  expectRead(kRow0 + kBlockLength + 90, 50, 10);
  expectRead(kRow0 + kBlockLength - 10, 1000, 110);
  expectRead(kRow0 + 5, 2 * kBlock, kBlock + 95);
}

TEST_P(CompressedRead, ReadPastTheEndOfWholeBlocksGivesWhatThereIs) {
  read(2 * kBlock);
  expectRead(kRow0 + 2 * kBlockLength - 10, 50, 10);
  expectRead(kRow0 + 10, 3 * kBlock, 2 * kBlock - 10);
  EXPECT_EQ(readOnce(*stream, 1), "");
}

TEST_P(CompressedRead, ReadAtOrBehindTheEndGivesNothing) {
  const int64 end = kRow0 + 100;
  read(100);
  for (int round = 0; round < 2; ++round) {
    for (const int64 position : {end, end + 1, end + kBlockLength, int64{1} << 40, INT64_MAX, int64{-1}, kRow0 - 1}) {
      EXPECT_EQ(readAt(*stream, position, 10), "") << position;
      EXPECT_EQ(stream->Tell(), position);
    }
    expectRead(kRow0 + 99, 10, 1);
  }
}

TEST_P(CompressedRead, EmptyCaseDataGivesNothing) {
  read(0);
  EXPECT_EQ(readOnce(*stream, 10), "");
  EXPECT_EQ(readAt(*stream, kRow0 + 1, 10), "");
}

TEST_P(CompressedRead, RewindAfterTheLastBlockIsServed) {
  for (const std::size_t length : {std::size_t{100}, kBlock, kBlock + 1, 2 * kBlock}) {
    read(length);
    for (int round = 0; round < 3; ++round) {
      stream->Seek(kRow0, VORN_StrBaseIO::SeekFromStart);
      ASSERT_TRUE(sameBytes(readRest(*stream), caseBytes(kRow0, length))) << length << ", round " << round;
    }
  }
}

TEST_P(CompressedRead, SeeksAcrossBlocksAreServed) {
  read(4 * kBlock + 10);
  for (const int64 block : {3, 0, 1, 4, 2, 4, 4, 0, 3}) {
    expectRead(kRow0 + block * kBlockLength + 3, 5, 5);
  }
}

TEST_P(CompressedRead, SeekFromTheCurrentPositionAddsToIt) {
  read(1000);
  EXPECT_EQ(stream->Seek(100, VORN_StrBaseIO::SeekFromCurrent), 0);
  EXPECT_EQ(stream->Tell(), kRow0 + 100);
  EXPECT_EQ(stream->Seek(-50, 1), 0);
  EXPECT_EQ(readOnce(*stream, 10), caseBytes(kRow0 + 50, 10));
}

TEST_P(CompressedRead, SeekFromTheEndIsAssertedOnAndLeavesThePosition) {
  read(1000);
  EXPECT_EQ(stream->Seek(7, VORN_StrBaseIO::SeekFromEnd), 0);
  EXPECT_EQ(stream->Tell(), kRow0);
  const auto reports = assertions.take();
  ASSERT_EQ(reports.size(), 1U);
  EXPECT_EQ(reports[0].expression, "0 && \"seek from end with zcmpsFilestr::Seek\"");
  EXPECT_EQ(reports[0].file, kStreamSource);
}

TEST_P(CompressedRead, OtherSeekDirectionsCountFromTheStart) {
  read(1000);
  for (const int whence : {0, 3, 7, -1}) {
    EXPECT_EQ(stream->Seek(kRow0 + 17, whence), 0);
    EXPECT_EQ(stream->Tell(), kRow0 + 17);
    EXPECT_EQ(stream->Seek(0, VORN_StrBaseIO::SeekFromStart), 0);
  }
}

TEST_P(CompressedRead, SeekArithmeticDoesNotOverflow) {
  read(1000);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(stream->Seek(INT64_MAX, VORN_StrBaseIO::SeekFromCurrent), 0);
    readOnce(*stream, 10);
  }
  EXPECT_EQ(stream->Seek(INT64_MIN, VORN_StrBaseIO::SeekFromStart), 0);
  EXPECT_EQ(readOnce(*stream, 10), "");
}

TEST_P(CompressedRead, PositionInsideAShortMiddleBlockIsFound) {
  readBlocks({1000, 2000, 3000});
  expectRead(kRow0 + 1000, 2000, 2000);
  expectRead(kRow0 + 999, 1, 1);
  expectRead(kRow0 + 4000, 100, 100);
  expectRead(kRow0 + 5999, 100, 1);
  expectRead(kRow0 + 10, 100, 100);
  expectRead(kRow0 + 1001, 100, 100);
}

TEST_P(CompressedRead, ReadExactlyBehindALoadedShortBlockLooksABlockSizeFurtherOn_KeptAsIs) {
  readBlocks({1000, 2000, 3000});
  expectRead(kRow0, 1000, 1000);
  EXPECT_EQ(readOnce(*stream, 10), "");
  expectRead(kRow0 + 1000, 10, 10);
}

TEST_P(CompressedRead, SequentialReadOverAShortMiddleBlockSkipsBytes_KeptAsIs) {
  readBlocks({1000, kBlock, 500});
  const std::string bytes = readAt(*stream, kRow0 + 990, 20);
  // The block behind is looked for one whole block size behind the short one's start.
  EXPECT_EQ(bytes, caseBytes(kRow0 + 990, 10) + caseBytes(kRow0 + kBlockLength, 10));
  EXPECT_EQ(stream->Tell(), kRow0 + 1010);
}

TEST_P(CompressedRead, LoadedBlockIsNotReadAgain) {
  read(2 * kBlock);
  expectRead(kRow0 + 100, 100, 100);
  stream->Close();  // no prefetch runs from here on
  probe.clear();
  expectRead(kRow0 + kBlockLength - 50, 50, 50);
  expectRead(kRow0, 50, 50);
  EXPECT_THAT(probe.list(), IsEmpty());
}

TEST_P(CompressedRead, ClosedReaderGoesOnWithoutAWorker) {
  read(2 * kBlock);
  EXPECT_EQ(stream->Close(), 1);
  expectRead(kRow0 + kBlockLength, 100, 100);
  EXPECT_EQ(stream->Close(), 1);
}

TEST_P(CompressedRead, HeadingMayBeReadAgain) {
  read(kBlock + 50);
  expectRead(kRow0, 100, 100);
  stream->Close();
  stream->readFilePosInfo(kRow0, false);
  EXPECT_EQ(stream->Tell(), kRow0);
  EXPECT_TRUE(sameBytes(readRest(*stream), caseBytes(kRow0, kBlock + 50)));
}

TEST_P(CompressedRead, HeadingReadAgainUnderALiveWorkerIsAssertedOn) {
  read(kBlock + 50);
  expectRead(kRow0, 100, 100);
  stream->readFilePosInfo(kRow0, false);
  if (GetParam() >= 2) {
    const auto reports = assertions.take();
    ASSERT_EQ(reports.size(), 1U);
    EXPECT_EQ(reports[0].expression, "fData->fpIOThread == 0");
    EXPECT_EQ(reports[0].file, kStreamSource);
  }
  EXPECT_TRUE(sameBytes(readRest(*stream), caseBytes(kRow0, kBlock + 50)));
}

TEST_P(CompressedRead, ChoosingAModeUnderALiveWorkerIsAssertedOnAndReadingGoesOn) {
  read(kBlock + 50);
  expectRead(kRow0, 100, 100);
  stream->setMultiThread(0);
  if (GetParam() >= 2) {
    EXPECT_THAT(assertions.takeTexts(), ElementsAre("fData->fpIOThread == 0"));
  }
  expectRead(kRow0 + kBlockLength, 100, 50);
  expectRead(kRow0, 100, 100);
  EXPECT_EQ(stream->Close(), 1);
  EXPECT_FALSE(hasWorker(*stream));
}

TEST_P(CompressedRead, FailingReadIsRaisedAndLaterReadsWork) {
  read(3 * kBlock);
  expectRead(kRow0, 100, 100);
  probe.failEvery(CallKind::read, EIO);
  EXPECT_EQ(raisedBy([&] { readAt(*stream, kRow0 + 2 * kBlockLength, 10); }), (Raised{1003, EIO}));
  probe.failNone();
  expectRead(kRow0 + 2 * kBlockLength, 100, 100);
  expectRead(kRow0, 100, 100);
}

TEST_P(CompressedRead, FlushDoesNothing) {
  read(100);
  probe.clear();
  EXPECT_EQ(stream->Flush(), 1);
  EXPECT_THAT(probe.list(), IsEmpty());
  EXPECT_EQ(readOnce(*stream, 5), caseBytes(kRow0, 5));
}

TEST_P(CompressedRead, EndOfFileIsNeverTold_KeptAsIs) {
  read(100);
  readRest(*stream);
  EXPECT_EQ(stream->EndOfFile(), 0);
  EXPECT_EQ(stream->Footprint(), 4'190'264U);
  EXPECT_EQ(stream->Good(), 1);
}

TEST_P(CompressedRead, DictionaryIsReadThroughTheBasePart) {
  read(kBlock);
  stream->VORN_FileStream::Seek(0, VORN_StrBaseIO::SeekFromStart);
  std::string bytes(10, '?');
  EXPECT_EQ(stream->VORN_FileStream::Read(bytes.data(), 10), 10U);
  EXPECT_EQ(bytes, "dictionary");
  expectRead(kRow0, 10, 10);
}

INSTANTIATE_TEST_SUITE_P(Mode, CompressedRead, ::testing::Values(0, 1, 2, 3), ::testing::PrintToStringParamName());

class CompressedUnread : public support::CompressedTest {};

TEST_F(CompressedUnread, StreamWhoseHeadingWasNotReadDeliversNothing) {
  const auto stream = support::openPlain(makeFile("f", 1000), 2);
  EXPECT_EQ(stream->Tell(), 0);
  EXPECT_EQ(readAt(*stream, kRow0, 10), "");
  EXPECT_THAT(assertions.takeTexts(), ElementsAre("pInfoBuffer != 0"));
}

TEST_F(CompressedUnread, StreamWithoutAFileReportsAShortHeadingAndDeliversNothing) {
  const VORN_FileStream none;
  zcmpsFilestr stream(none);
  stream.readFilePosInfo(kRow0, false);
  EXPECT_THAT(assertions.takeTexts(), testing::Contains("ret == sizeof(compressionHeading)"));
  EXPECT_EQ(readOnce(stream, 10), "");
  EXPECT_EQ(stream.Close(), 1);
}

TEST_F(CompressedUnread, InlineReadingMakesOneReadForEachBlock) {
  const support::Image image = support::Image::of(kRow0, {kBlock, kBlock});
  const auto stream = startReading(makeFile("f", image), 0);
  probe.clear();
  readRest(*stream);
  Texts reads;
  for (const std::string& call : probe.list()) {
    if (call.compare(0, 4, "read") == 0) {
      reads.push_back(call);
    }
  }
  EXPECT_EQ(reads.size(), 2U);
}

}  // namespace
