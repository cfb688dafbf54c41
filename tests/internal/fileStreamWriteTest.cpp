#include <gmock/gmock.h>

#include <cerrno>
#include <cstddef>
#include <string>

#include "support/streamTest.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace support;

constexpr auto B = static_cast<std::size_t>(blockSize);
const std::string tenBytes = "0123456789";  // NOLINT(cert-err58-cpp)

class StreamWrite : public StreamTest {
 protected:
  /// An empty file with ten unflushed bytes at 0, 10 and 20.
  void writeThirty() {
    open("f", "w+b");
    EXPECT_EQ(write(tenBytes), 10U);
    EXPECT_EQ(write(tenBytes), 10U);
    EXPECT_EQ(write(tenBytes), 10U);
  }
};

using StreamWriteDirect = StreamWrite;
using StreamFlush = StreamWrite;
using StreamReset = StreamWrite;

TEST_F(StreamWrite, SmallWritesStayInTheBufferAndTheLogicalEndIncludesThem) {
  writeThirty();
  EXPECT_EQ(stream->Tell(), 30);
  EXPECT_THAT(probe.list(), IsEmpty());
  EXPECT_EQ(file().Size(), 0);
  EXPECT_EQ(stream->Seek(0, 2), 0);
  EXPECT_EQ(stream->Tell(), 30);
}

TEST_F(StreamWrite, FlushWritesThemAtOnceAndTheyStayValid) {
  writeThirty();
  EXPECT_EQ(stream->Flush(), 1);
  EXPECT_THAT(probe.takeList(), ElementsAre("write 30 @0"));
  EXPECT_EQ(data().filePos, 30);
  EXPECT_EQ(readAt(0, 30), tenBytes + tenBytes + tenBytes);
  EXPECT_EQ(stream->Flush(), 1);
  EXPECT_THAT(probe.list(), IsEmpty());
}

// It used to stay in the buffer when it went the short way.
TEST_F(StreamWrite, IntoAFullBufferWritesTheWholeBufferAtOnce_KeptAsIs) {
  openDescribing(B + 512, "r+b");
  EXPECT_EQ(read(1), selfDescribing(0, 1));
  probe.clear();
  EXPECT_EQ(writeAt(100, tenBytes), 10U);
  EXPECT_THAT(probe.takeList(), ElementsAre("seek 0", "write 4190208 @0"));
  EXPECT_FALSE(data().dirty);
  const VORN_FileStream copy(*stream);
  stream->Seek(100, 0);
  EXPECT_EQ(read(10), tenBytes);
  EXPECT_EQ(folder.readWhole("f").substr(100, 10), tenBytes);
}

TEST_F(StreamWrite, IntoAFullBufferOfAFileThatIsOnlyReadRaises1002) {
  openDescribing(B, "rb");
  EXPECT_EQ(read(1), selfDescribing(0, 1));
  EXPECT_EQ(raisedBy([this] { writeAt(100, tenBytes); }).number, 1002);
  EXPECT_TRUE(data().dirty) << "what could not be written stays buffered";
  data().dirty = false;
}

TEST_F(StreamWrite, IntoABufferThatIsOneByteShortOfFullStaysThere) {
  openDescribing(B - 1, "r+b");
  EXPECT_EQ(read(1), selfDescribing(0, 1));
  probe.clear();
  EXPECT_EQ(writeAt(100, tenBytes), 10U);
  EXPECT_THAT(probe.list(), IsEmpty());
}

TEST_F(StreamWrite, CloseWritesThem) {
  writeThirty();
  EXPECT_EQ(stream->Close(), 1);
  EXPECT_THAT(probe.list(), ElementsAre("write 30 @0"));
}

TEST_F(StreamWrite, AWriteElsewhereWritesThem) {
  writeThirty();
  EXPECT_EQ(writeAt(1000, "x"), 1U);
  EXPECT_THAT(probe.list(), ElementsAre("write 30 @0"));
  EXPECT_EQ(data().bufferPos, 1000);
}

TEST_F(StreamWrite, AFillWritesThem) {
  writeThirty();
  EXPECT_EQ(readAt(1024, 1), "");
  EXPECT_EQ(probe.list().at(0), "write 30 @0");
}

TEST_F(StreamWrite, GapBehindTheValidBytesStartsANewBuffer) {
  writeThirty();
  EXPECT_EQ(writeAt(31, "x"), 1U);
  EXPECT_THAT(probe.list(), ElementsAre("write 30 @0"));
  EXPECT_EQ(data().bufferPos, 31);
  EXPECT_EQ(validBytes(), 1U);
  EXPECT_TRUE(data().dirty);
}

TEST_F(StreamWrite, StartingBeforeTheBufferFlushesAndStartsANewOne) {
  open("f", "w+b");
  writeAt(100, tenBytes);
  EXPECT_EQ(writeAt(99, "ab"), 2U);
  EXPECT_THAT(probe.list(), ElementsAre("seek 100", "write 10 @100"));
  EXPECT_EQ(data().bufferPos, 99);
}

TEST_F(StreamWrite, InsideTheValidBytesItOverwritesThemWithoutShorteningThem) {
  writeThirty();
  EXPECT_EQ(writeAt(5, "ABC"), 3U);
  EXPECT_EQ(validBytes(), 30U);
  EXPECT_EQ(readAt(0, 12), "01234ABC8901");
  EXPECT_THAT(probe.list(), IsEmpty());
}

TEST_F(StreamWrite, IntoABufferThatAReadFilledItMarksItDirty) {
  openDescribing(2000, "r+b");
  readAt(600, 1);
  writeAt(600, "ABC");
  probe.clear();
  stream->Flush();
  EXPECT_THAT(probe.list(), ElementsAre("seek 512", "write 1488 @512")) << "all valid bytes are written";
  EXPECT_EQ(folder.readAt("f", 596, 10), selfDescribing(596, 4) + "ABC" + selfDescribing(603, 3));
}

TEST_F(StreamWrite, FillingTheBufferExactlyToItsEndFlushesItAtOnce) {
  open("f", "w+b");
  write(selfDescribing(0, B - 10));
  EXPECT_THAT(probe.list(), IsEmpty());
  EXPECT_EQ(write(tenBytes), 10U);
  EXPECT_THAT(probe.list(), ElementsAre("write 4190208 @0"));
  EXPECT_FALSE(data().dirty);
  EXPECT_EQ(validBytes(), B);
}

TEST_F(StreamWrite, SingleBytesFillTheBufferExactlyToo) {
  open("f", "w+b");
  write(selfDescribing(0, B - 2));
  write("x");
  EXPECT_THAT(probe.list(), IsEmpty());
  write("y");
  EXPECT_THAT(probe.list(), ElementsAre("write 4190208 @0"));
}

TEST_F(StreamWrite, BytesBeyondTheBuffersEndStartTheNextBuffer) {
  open("f", "w+b");
  write(selfDescribing(0, B - 10));
  EXPECT_EQ(write(selfDescribing(blockSize - 10, 30)), 30U);
  EXPECT_THAT(probe.list(), ElementsAre("write 4190208 @0"));
  EXPECT_EQ(data().bufferPos, blockSize);
  EXPECT_EQ(validBytes(), 20U);
  stream->Close();
  EXPECT_EQ(folder.readWhole("f"), selfDescribing(0, B + 20));
}

TEST_F(StreamWrite, NothingIsWrittenForZeroBytes) {
  writeThirty();
  EXPECT_EQ(writeAt(1000, ""), 0U);
  EXPECT_THAT(probe.list(), IsEmpty());
}

TEST_F(StreamWrite, AReadOnlyFileTakesItAndTheFlushRaises1002) {
  openDescribing(100);
  EXPECT_EQ(write("abc"), 3U);
  EXPECT_EQ(raisedBy([this] { stream->Flush(); }), (Raised{1002, EBADF}));
  EXPECT_TRUE(data().dirty);
  stream->ClearAndReset();
}

TEST_F(StreamWriteDirect, AtLeastABlockBypassesAnEmptyBuffer) {
  open("f", "w+b");
  EXPECT_EQ(write(selfDescribing(0, B + 5)), B + 5);
  EXPECT_THAT(probe.list(), ElementsAre("write 4190213 @0"));
  EXPECT_EQ(validBytes(), 0U);
  EXPECT_EQ(data().filePos, blockSize + 5);
  EXPECT_EQ(stream->Tell(), blockSize + 5);
}

TEST_F(StreamWriteDirect, BehindBufferedBytesTheBufferIsFilledFirst) {
  open("f", "w+b");
  write(selfDescribing(0, 10));
  EXPECT_EQ(write(selfDescribing(10, 2 * B)), 2 * B);
  EXPECT_THAT(probe.list(), ElementsAre("write 4190208 @0", "write 4190218 @4190208"));
  EXPECT_EQ(folder.readWhole("f"), selfDescribing(0, 2 * B + 10));
}

TEST_F(StreamWriteDirect, AShortOneShowsAsASmallerResult) {
  open("f", "w+b");
  probe.shorten(CallKind::write, 100);
  EXPECT_EQ(write(selfDescribing(0, B)), 100U);
  EXPECT_EQ(stream->Tell(), 100);
  EXPECT_THAT(probe.list(), ElementsAre("write 4190208 @0 = 100"));
}

TEST_F(StreamWriteDirect, OverwrittenBytesStayInTheBuffer_KeptAsIs) {
  open("f", "w+b");
  writeAt(1000, tenBytes);
  stream->Flush();
  writeAt(0, std::string(B + 1000, '-'));
  EXPECT_EQ(readAt(1005, 1), "5") << "the buffer's byte";
  writeAt(1006, "x");
  stream->Flush();
  EXPECT_EQ(folder.readAt("f", 999, 12), "-012345x789-") << "written back over the direct write";
}

TEST_F(StreamWriteDirect, AFailingOneRaises1002AndKeepsThePosition) {
  open("f", "w+b");
  probe.failNth(CallKind::write, 1, ENOSPC);
  EXPECT_EQ(raisedBy([this] { write(selfDescribing(0, B)); }), (Raised{1002, ENOSPC}));
  EXPECT_EQ(stream->Tell(), 0);
  EXPECT_EQ(stream->Good(), 0);
}

TEST_F(StreamFlush, GoesOnAfterAShortRawWrite) {
  writeThirty();
  probe.shorten(CallKind::write, 4);
  EXPECT_EQ(stream->Flush(), 1);
  EXPECT_THAT(probe.list(), ElementsAre("write 30 @0 = 4", "write 26 @4"));
  EXPECT_EQ(folder.readWhole("f"), tenBytes + tenBytes + tenBytes);
  EXPECT_EQ(data().filePos, 30);
}

TEST_F(StreamFlush, ARawWriteOfNothingRaises1002AndTheBytesStayDirty) {
  writeThirty();
  probe.shorten(CallKind::write, 0);
  EXPECT_EQ(raisedBy([this] { stream->Flush(); }).number, 1002);
  EXPECT_TRUE(data().dirty);
  EXPECT_EQ(stream->Good(), 0);
  stream->Flush();
  EXPECT_EQ(folder.sizeOf("f"), 30);
}

TEST_F(StreamFlush, AnErrorBehindAShortWriteRaises1002AndARetryWritesEverything) {
  writeThirty();
  probe.shorten(CallKind::write, 4);
  probe.failNth(CallKind::write, 2, ENOSPC);
  EXPECT_EQ(raisedBy([this] { stream->Close(); }), (Raised{1002, ENOSPC}));
  EXPECT_TRUE(data().dirty);
  probe.failNone();
  EXPECT_EQ(stream->Close(), 1);
  EXPECT_EQ(folder.readWhole("f"), tenBytes + tenBytes + tenBytes);
}

TEST_F(StreamFlush, ARawFileClosedBehindItsBackLeavesTheBytesDirty_KeptAsIs) {
  writeThirty();
  file().Close();
  EXPECT_EQ(stream->Flush(), 1);
  EXPECT_TRUE(data().dirty);
  EXPECT_EQ(stream->Close(), 0);
}

TEST_F(StreamFlush, WritesAllValidBytesSoThatStreamsRevertEachOthersInACommonRange_KeptAsIs) {
  openDescribing(1000, "r+b");
  VORN_FileStream other(*stream);
  readAt(0, 1);
  other.Write("ABC", 3);
  other.Flush();
  writeAt(500, "xyz");
  stream->Flush();
  EXPECT_EQ(folder.readAt("f", 0, 3), selfDescribing(0, 3));
}

// A flush used to append the bytes of the flush before once more.
TEST_F(StreamFlush, AppendingWritesEachByteOnce) {
  openDescribing(16, "ab");
  write("abc");
  stream->Flush();
  write("de");
  stream->Flush();
  EXPECT_EQ(folder.readWhole("f"), selfDescribing(0, 16) + "abcde");
}

// A flush that failed in its middle and was tried again used to append its first bytes twice.
TEST_F(StreamFlush, AppendingGoesOnWhereAFailedFlushStopped) {
  openDescribing(16, "a+b");
  write("abcdef");
  probe.shorten(CallKind::write, 4);
  probe.failNth(CallKind::write, 2, ENOSPC);
  EXPECT_EQ(raisedBy([this] { stream->Flush(); }), (Raised{1002, ENOSPC}));
  EXPECT_EQ(folder.readWhole("f"), selfDescribing(0, 16) + "abcd");
  probe.failNone();
  write("gh");
  stream->Flush();
  EXPECT_EQ(folder.readWhole("f"), selfDescribing(0, 16) + "abcdefgh");
  EXPECT_EQ(readAt(14, 10), selfDescribing(14, 2) + "abcdefgh");
}

TEST_F(StreamFlush, AppendingBehindBytesThatWereReadWritesOnlyWhatIsNew) {
  openDescribing(16, "a+b");
  stream->Seek(0, VORN_StrBaseIO::SeekFromStart);
  char byte = 0;
  stream->Read(&byte, 1);
  stream->Seek(0, VORN_StrBaseIO::SeekFromEnd);
  write("abc");
  stream->Flush();
  EXPECT_EQ(folder.readWhole("f"), selfDescribing(0, 16) + "abc");
}

TEST_F(StreamReset, UnflushedBytesAreLost_KeptAsIs) {
  writeThirty();
  stream->ClearAndReset();
  EXPECT_EQ(stream->Tell(), 0);
  EXPECT_EQ(validBytes(), 0U);
  EXPECT_EQ(data().filePos, 0);
  stream->Close();
  EXPECT_EQ(folder.sizeOf("f"), 0);
}

TEST_F(StreamReset, TheDirtyFlagAndTheBuffersPositionStay_KeptAsIs) {
  open("f", "w+b");
  writeAt(700, tenBytes);
  stream->ClearAndReset();
  EXPECT_TRUE(data().dirty);
  EXPECT_EQ(data().bufferPos, 700);
}

// The next fill put file bytes under the stale flag, and a later flush wrote them back.
TEST_F(StreamReset, TheNextFillEndsTheDirtyFlagSoThatNothingIsWrittenBack) {
  openDescribing(2000, "r+b");
  write(tenBytes);
  stream->ClearAndReset();
  EXPECT_EQ(readAt(0, 8), selfDescribing(0, 8));
  EXPECT_FALSE(data().dirty);
  stream->Close();
  EXPECT_EQ(probe.count(CallKind::write), 0);
}

}  // namespace
