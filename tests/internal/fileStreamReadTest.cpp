#include <gmock/gmock.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <string>

#include "support/streamTest.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace support;

constexpr auto B = static_cast<std::size_t>(blockSize);

using StreamRead = StreamTest;
using StreamReadDirect = StreamTest;
using StreamReadEnd = StreamTest;
using StreamReadWithoutBuffer = StreamTest;

TEST_F(StreamRead, OneByteFillsTheBufferFromTheAlignedPositionAndTheNextIsServedWithoutARawRead) {
  openDescribing(2000);
  EXPECT_EQ(readAt(1000, 1), selfDescribing(1000, 1));
  EXPECT_THAT(probe.takeList(), ElementsAre("seek 512", "read 4190208 @512 = 1488"));
  EXPECT_EQ(read(1), selfDescribing(1001, 1));
  EXPECT_THAT(probe.list(), IsEmpty());
  EXPECT_EQ(stream->Tell(), 1002);
}

TEST_F(StreamRead, ARecordInTheBufferOfAClosedFileIsNotServed) {
  openDescribing(2000);
  readAt(1000, 1);
  file().Close();
  probe.clear();
  EXPECT_EQ(readAt(1000, 8), "");
  EXPECT_THAT(probe.list(), IsEmpty());
}

TEST_F(StreamRead, AFillSetsTheBuffersFields) {
  openDescribing(2000);
  readAt(1000, 1);
  EXPECT_EQ(data().bufferPos, 512);
  EXPECT_EQ(validBytes(), 1488U);
  EXPECT_EQ(data().filePos, 2000);
  EXPECT_FALSE(data().eof);
}

TEST_F(StreamRead, AnyPlaceInsideTheBufferIsServedWithoutARawRead) {
  openDescribing(8192);
  read(1);
  probe.clear();
  EXPECT_EQ(readAt(5000, 100), selfDescribing(5000, 100));
  EXPECT_EQ(readAt(0, 8), selfDescribing(0, 8));
  EXPECT_EQ(readAt(8191, 1), selfDescribing(8191, 1));
  EXPECT_THAT(probe.list(), IsEmpty());
}

TEST_F(StreamRead, SequentialRecordsMakeOneReadPerBlockAndNoSeek) {
  openDescribing(2 * B + 300);
  for (std::size_t position = 0; position < 2 * B + 300; position += 4099) {
    const std::size_t expected = std::min<std::size_t>(4099, 2 * B + 300 - position);
    ASSERT_EQ(read(4099), selfDescribing(static_cast<int64>(position), expected)) << position;
  }
  EXPECT_THAT(probe.list(), ElementsAre("read 4190208 @0", "read 4190208 @4190208", "read 4190208 @8380416 = 300"));
}

TEST_F(StreamRead, ARequestAcrossTheBuffersEndIsServedFromBothBlocks) {
  openDescribing(B + 1000);
  read(1);
  probe.clear();
  EXPECT_EQ(readAt(blockSize - 10, 20), selfDescribing(blockSize - 10, 20));
  EXPECT_THAT(probe.list(), ElementsAre("read 4190208 @4190208 = 1000"));
}

TEST_F(StreamRead, WrittenBytesThatWereNotFlushedAreServed) {
  open("f", "w+b");
  write("0123456789");
  probe.clear();
  EXPECT_EQ(readAt(3, 4), "3456");
  EXPECT_THAT(probe.list(), IsEmpty());
  EXPECT_TRUE(data().dirty);
}

TEST_F(StreamRead, AFillFlushesWhatWasWrittenFirst) {
  openDescribing(3000, "r+b");
  writeAt(10, "0123456789");
  EXPECT_EQ(readAt(1024, 8), selfDescribing(1024, 8));
  EXPECT_THAT(probe.list(), ElementsAre("seek 10", "write 10 @10", "seek 1024", "read 4190208 @1024 = 1976"));
  EXPECT_FALSE(data().dirty);
}

TEST_F(StreamRead, NothingIsReadForZeroBytes) {
  openDescribing(100);
  EXPECT_EQ(read(0), "");
  EXPECT_THAT(probe.list(), IsEmpty());
}

TEST_F(StreamRead, PositionsBeyondFourGibibytesAreAlignedAndServed) {
  constexpr int64 far = (int64{5} << 30) + 700;
  open("f", "w+b");
  writeAt(far, "far away");
  stream->Flush();
  stream->ClearAndReset();
  probe.clear();
  EXPECT_EQ(readAt(far, 100), "far away");
  EXPECT_THAT(probe.list(), ElementsAre("seek 5368709632", "read 4190208 @5368709632 = 196"));
}

TEST_F(StreamRead, ANegativePositionShowsAtTheTransfer) {
  openDescribing(100);
  EXPECT_EQ(stream->Seek(-1, 0), 0);
  EXPECT_EQ(raisedBy([this] { read(1); }), (Raised{1003, EINVAL}));
  EXPECT_THAT(probe.list(), ElementsAre("seek -512 failed"));
}

// The buffer's fields still described the bytes from before the failing read.
TEST_F(StreamRead, AFailingFillRaises1003AndLeavesNoBytesToServe) {
  openDescribing(B + 1000);
  EXPECT_EQ(read(8), selfDescribing(0, 8));
  probe.failNth(CallKind::read, 1, EIO);
  EXPECT_EQ(raisedBy([this] { readAt(blockSize + 8, 8); }), (Raised{1003, EIO}));
  EXPECT_EQ(validBytes(), 0U);
  EXPECT_EQ(readAt(16, 8), selfDescribing(16, 8));
}

TEST_F(StreamRead, AnErrorBehindServedBytesKeepsThePositionBehindThem) {
  openDescribing(B + 1000);
  read(1);
  stream->Seek(blockSize - 10, 0);
  probe.failNth(CallKind::read, 1, EIO);
  EXPECT_EQ(raisedBy([this] { read(20); }), (Raised{1003, EIO}));
  EXPECT_EQ(stream->Tell(), blockSize);
  EXPECT_EQ(read(8), selfDescribing(blockSize, 8));
}

TEST_F(StreamRead, AShortFillIsTakenForTheEndOfTheFile) {
  openDescribing(B + 1000);
  probe.shorten(CallKind::read, 600);
  EXPECT_EQ(read(1000), selfDescribing(0, 600));
  EXPECT_EQ(stream->EndOfFile(), 0);
  EXPECT_EQ(read(8), selfDescribing(600, 8)) << "the next request fills again";
}

TEST_F(StreamReadDirect, AWholeBlockAtZeroIsOneDirectReadAndNoFill) {
  openDescribing(B + 1000);
  EXPECT_EQ(read(B), selfDescribing(0, B));
  EXPECT_THAT(probe.list(), ElementsAre("read 4190208 @0"));
  EXPECT_EQ(validBytes(), 0U);
  EXPECT_EQ(data().filePos, blockSize);
}

TEST_F(StreamReadDirect, AWholeBlockAtHundredIsADirectReadToTheAlignedEndAndOneFill) {
  openDescribing(B + 1000);
  EXPECT_EQ(readAt(100, B), selfDescribing(100, B));
  EXPECT_THAT(probe.list(), ElementsAre("seek 100", "read 4190108 @100", "read 4190208 @4190208 = 1000"));
}

TEST_F(StreamReadDirect, OneByteLessThanABlockGoesThroughTheBuffer) {
  openDescribing(B + 1000);
  EXPECT_EQ(read(B - 1), selfDescribing(0, B - 1));
  EXPECT_THAT(probe.list(), ElementsAre("read 4190208 @0"));
  EXPECT_EQ(validBytes(), B);
}

TEST_F(StreamReadDirect, WhatTheBufferHoldsIsServedFirst) {
  openDescribing(3 * B);
  read(1);
  probe.clear();
  EXPECT_EQ(readAt(blockSize - 512, B + 512), selfDescribing(blockSize - 512, B + 512));
  EXPECT_THAT(probe.list(), ElementsAre("read 4190208 @4190208"));
}

TEST_F(StreamReadDirect, AShortDirectReadLeavesTheRestToTheFillLoop) {
  openDescribing(B + 1000);
  probe.shorten(CallKind::read, 1000);
  EXPECT_EQ(read(B), selfDescribing(0, B));
  EXPECT_THAT(probe.list(), ElementsAre("read 4190208 @0 = 1000", "seek 512", "read 4190208 @512"));
}

TEST_F(StreamReadDirect, UnflushedBytesAreNeitherFlushedNorConsulted_KeptAsIs) {
  openDescribing(2 * B, "r+b");
  writeAt(5000000, "0123456789");
  EXPECT_EQ(readAt(0, 8000100).substr(5000000, 10), selfDescribing(5000000, 10));
  EXPECT_EQ(probe.count(CallKind::write), 1) << "by the fill that served the end";
  EXPECT_EQ(folder.readAt("f", 5000000, 10), "0123456789");
}

TEST_F(StreamReadDirect, TheLengthIsComputedIn32Bits_KeptAsIs) {
  constexpr int64 start = (int64{1} << 32) - 1024;
  open("f", "w+b");
  writeAt(start + blockSize + 2048, "end.");
  stream->Flush();
  stream->ClearAndReset();
  probe.clear();
  EXPECT_EQ(readAt(start, B).size(), B);
  EXPECT_EQ(probe.list(), (Texts{"seek 4294966272", "read 4190208 @4294966272"}))
      << "the sum wraps, the length is right";
}

TEST_F(StreamReadEnd, AFillOfZeroBytesSetsEndOfFileUntilTheNextSeek) {
  openDescribing(1024);
  EXPECT_EQ(read(2000), selfDescribing(0, 1024));
  EXPECT_EQ(stream->EndOfFile(), 0);
  EXPECT_EQ(read(1), "");
  EXPECT_EQ(stream->EndOfFile(), 1);
  stream->Seek(0, 1);
  EXPECT_EQ(stream->EndOfFile(), 0);
}

TEST_F(StreamReadEnd, APhysicalReadThatDeliversClearsEndOfFile) {
  openDescribing(1024, "r+b");
  readAt(1024, 1);
  EXPECT_EQ(stream->EndOfFile(), 1);
  file().Write("more", 4, 1024);
  EXPECT_EQ(read(4), "more");
  EXPECT_EQ(stream->EndOfFile(), 0);
}

TEST_F(StreamReadEnd, ASizeThatIsNoMultipleOf512NeverSetsEndOfFile_KeptAsIs) {
  openDescribing(1000);
  EXPECT_EQ(read(2000), selfDescribing(0, 1000));
  EXPECT_EQ(read(1), "");
  EXPECT_EQ(read(1), "");
  EXPECT_EQ(stream->EndOfFile(), 0);
}

TEST_F(StreamReadEnd, FarBehindTheEndTheFillDeliversNothing) {
  openDescribing(1000);
  EXPECT_EQ(readAt(100000, 10), "");
  EXPECT_EQ(stream->EndOfFile(), 1);
  EXPECT_EQ(stream->Tell(), 100000);
}

TEST_F(StreamReadWithoutBuffer, EachRequestIsOneRawReadOfItsOwn) {
  openDescribing(2000);
  stream->DisablePreReading();
  EXPECT_EQ(readAt(1000, 7), selfDescribing(1000, 7));
  EXPECT_EQ(read(3), selfDescribing(1007, 3));
  EXPECT_THAT(probe.list(), ElementsAre("seek 1000", "read 7 @1000", "read 3 @1007"));
  EXPECT_EQ(data().filePos, 1010);
}

TEST_F(StreamReadWithoutBuffer, ItFlushesFirst) {
  openDescribing(2000, "r+b");
  stream->DisablePreReading();
  write("0123456789");
  EXPECT_EQ(readAt(5, 10), "56789" + selfDescribing(10, 5));
  EXPECT_THAT(probe.list(), ElementsAre("write 10 @0", "seek 5", "read 10 @5"));
}

TEST_F(StreamReadWithoutBuffer, TheEndOfTheFileIsAlwaysSeen) {
  openDescribing(1000);
  stream->DisablePreReading();
  EXPECT_EQ(read(2000), selfDescribing(0, 1000));
  EXPECT_EQ(stream->EndOfFile(), 0);
  EXPECT_EQ(read(1), "");
  EXPECT_EQ(stream->EndOfFile(), 1);
}

TEST_F(StreamReadWithoutBuffer, SwitchingBackServesWhatTheBufferStillHolds) {
  openDescribing(2000);
  read(1);
  stream->DisablePreReading();
  EXPECT_EQ(Peer::preReading(*stream), 0);
  read(1);
  stream->EnablePreReading();
  EXPECT_EQ(Peer::preReading(*stream), 1);
  probe.clear();
  EXPECT_EQ(readAt(100, 5), selfDescribing(100, 5));
  EXPECT_THAT(probe.list(), IsEmpty());
}

}  // namespace
