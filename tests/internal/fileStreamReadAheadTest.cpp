#include <gmock/gmock.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <memory>
#include <new>
#include <string>
#include <thread>

#include "Datasource/zcmpsFilestr.h"
#include "support/streamTest.h"
#include "threadSeam.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace support;

constexpr auto B = static_cast<std::size_t>(blockSize);

class ReadAhead : public StreamTest {
 protected:
  /// A self-describing file of `length` bytes, read ahead.
  void openAhead(std::size_t length, const char* mode = "rb") {
    openDescribing(length, mode);
    stream->EnableMultiThreadReading();
  }
  /// Reads a little of the first block and waits until the block behind it has been fetched.
  void readFirstBlock() {
    EXPECT_EQ(read(8), selfDescribing(0, 8));
    probe.waitForOthers(CallKind::read, 1);
  }
  void failOthers(int error) {
    probe.failIf([error](const Call& call) { return !call.ownThread && call.kind == CallKind::read ? error : 0; });
  }
  multiThreadForFilestr* worker() { return data().worker.get(); }
};

using ReadAheadHits = ReadAhead;
using ReadAheadEnd = ReadAhead;
using ReadAheadSwitch = ReadAhead;
using ReadAheadWrites = ReadAhead;
using ReadAheadErrors = ReadAhead;
using ReadAheadSharing = ReadAhead;
using ReadAheadDestroy = ReadAhead;

TEST_F(ReadAheadHits, TheFirstReadIsAMissAndTheNextBlockIsServedWithoutAReadOnTheReadersThread) {
  openAhead(3 * B);
  readFirstBlock();
  EXPECT_THAT(probe.ownList(), ElementsAre("read 4190208 @0"));
  EXPECT_THAT(probe.otherList(), ElementsAre("read 4190208 @4190208"));
  EXPECT_EQ(readAt(blockSize, 16), selfDescribing(blockSize, 16));
  EXPECT_THAT(probe.ownList(), ElementsAre("read 4190208 @0"));
}

TEST_F(ReadAheadHits, AWholeSequentialReadMakesOneReadOnTheReadersThread) {
  openAhead(4 * B + 300);
  for (std::size_t position = 0; position < 4 * B + 300; position += 65536) {
    const std::size_t expected = std::min<std::size_t>(65536, 4 * B + 300 - position);
    ASSERT_EQ(read(expected), selfDescribing(static_cast<int64>(position), expected)) << position;
  }
  EXPECT_THAT(probe.ownList(), ElementsAre("read 4190208 @0"));
}

TEST_F(ReadAheadHits, LargeRequestsGoThroughWholeBlocksToo) {
  openAhead(3 * B);
  EXPECT_EQ(readAt(100, 2 * B), selfDescribing(100, 2 * B));
  EXPECT_THAT(probe.ownList(), ElementsAre("read 4190208 @0"));
}

TEST_F(ReadAheadHits, BlocksAreAlignedDownTo512) {
  openAhead(2 * B);
  EXPECT_EQ(readAt(1000, 8), selfDescribing(1000, 8));
  EXPECT_THAT(probe.ownList(), ElementsAre("seek 512", "read 4190208 @512"));
  probe.waitForOthers(CallKind::read, 1);
  EXPECT_THAT(probe.otherList(), ElementsAre("read 4190208 @4190720 = 4189696"));
}

TEST_F(ReadAheadHits, SeekingBackToTheStartAfterTwoBlocksIsAMiss) {
  openAhead(3 * B);
  readFirstBlock();
  EXPECT_EQ(readAt(blockSize, 8), selfDescribing(blockSize, 8));
  probe.waitForOthers(CallKind::read, 2);
  EXPECT_EQ(readAt(0, 8), selfDescribing(0, 8));
  EXPECT_THAT(probe.ownList(), ElementsAre("read 4190208 @0", "seek 0", "read 4190208 @0"));
}

TEST_F(ReadAheadHits, TheBufferIsServedFirstAndCountsIntoTheFilePosition) {
  openAhead(2 * B);
  readFirstBlock();
  EXPECT_EQ(data().bufferPos, 0);
  EXPECT_EQ(validBytes(), B);
  EXPECT_EQ(data().readBase, data().buffer);
  EXPECT_EQ(data().filePos, 8);
  EXPECT_EQ(readAt(100, 50), selfDescribing(100, 50));
  EXPECT_EQ(data().filePos, 58);
  EXPECT_THAT(probe.ownList(), ElementsAre("read 4190208 @0"));
}

TEST_F(ReadAheadEnd, AHitOnAPrefetchOfZeroBytesSetsEndOfFile) {
  openAhead(B);
  EXPECT_EQ(read(B), selfDescribing(0, B));
  probe.waitForOthers(CallKind::read, 1);
  EXPECT_EQ(stream->EndOfFile(), 0);
  EXPECT_EQ(read(10), "");
  EXPECT_EQ(stream->EndOfFile(), 1);
  EXPECT_THAT(probe.ownList(), ElementsAre("read 4190208 @0"));
}

TEST_F(ReadAheadEnd, ASizeThatIsNoMultipleOf512NeverSetsEndOfFile_KeptAsIs) {
  openAhead(1000);
  EXPECT_EQ(read(2000), selfDescribing(0, 1000));
  EXPECT_EQ(read(1), "");
  EXPECT_EQ(stream->EndOfFile(), 0);
}

TEST_F(ReadAheadEnd, ARequestBeyondTheEndGetsWhatThereIs) {
  openAhead(B + 1024);
  EXPECT_EQ(readAt(blockSize - 8, 5000), selfDescribing(blockSize - 8, 1032));
  EXPECT_EQ(read(1), "");
  EXPECT_EQ(stream->EndOfFile(), 1);
}

TEST_F(ReadAheadSwitch, DisablingUsesTheBufferedPathAndTheWorkerKeepsItsBlock) {
  openAhead(4 * B);
  readFirstBlock();
  stream->DisableMultiThreadReading();
  EXPECT_EQ(Peer::multiThreadReading(*stream), 0);
  EXPECT_EQ(readAt(3 * blockSize, 8), selfDescribing(3 * blockSize, 8));
  EXPECT_EQ(probe.ownList().back(), "read 4190208 @12570624");
  stream->EnableMultiThreadReading();
  probe.clear();
  EXPECT_EQ(readAt(blockSize, 8), selfDescribing(blockSize, 8));
  EXPECT_THAT(probe.ownList(), IsEmpty());
}

TEST_F(ReadAheadSwitch, EnablingTwiceKeepsTheWorker) {
  openAhead(100);
  const auto* const first = worker();
  ASSERT_NE(first, nullptr);
  stream->EnableMultiThreadReading();
  stream->DisableMultiThreadReading();
  EXPECT_EQ(worker(), first);
  stream->EnableMultiThreadReading();
  EXPECT_EQ(worker(), first);
  EXPECT_EQ(Peer::multiThreadReading(*stream), 1);
}

TEST_F(ReadAheadSwitch, WithPreReadingOffEachRequestIsStillOneRawRead) {
  openAhead(2000);
  stream->DisablePreReading();
  EXPECT_EQ(readAt(1000, 7), selfDescribing(1000, 7));
  EXPECT_THAT(probe.list(), ElementsAre("seek 1000", "read 7 @1000"));
}

TEST_F(ReadAheadSwitch, WithoutAnOpenFileItIsAnAssertionAndTheStreamReadsWithoutAWorker) {
  stream->EnableMultiThreadReading();
  const auto reports = assertions.take();
  ASSERT_EQ(reports.size(), 1U);
  EXPECT_EQ(reports[0].file, "Datasource/src/fileStream");
  EXPECT_EQ(reports[0].expression, "DataReady() && \"multi-thread reading needs an open file\"");
  folder.writeDescribing("f", 100);
  EXPECT_EQ(stream->Open(folder.path("f").c_str(), "rb"), 1);
  EXPECT_EQ(read(8), selfDescribing(0, 8));
  EXPECT_EQ(worker(), nullptr);
}

TEST_F(ReadAheadSwitch, WithoutAnOpenFileItTurnsTheModeOffBeforeTheHandlerThrows) {
  openAhead(B);
  Peer::file(*stream).Close();
  {
    const support::AssertionRecorder throwing(support::AssertionRecorder::Then::raise);
    EXPECT_THROW(stream->EnableMultiThreadReading(), support::AssertionThrown);
  }
  EXPECT_EQ(Peer::multiThreadReading(*stream), 0);
}

TEST_F(ReadAheadSwitch, WithoutAnOpenFileItTurnsTheModeOffThatWasOnBefore) {
  openAhead(B);
  EXPECT_EQ(stream->Open(folder.path("nothing").c_str(), "rb"), 0);
  stream->EnableMultiThreadReading();
  EXPECT_EQ(assertions.take().size(), 1U);
  EXPECT_EQ(Peer::multiThreadReading(*stream), 0);
}

class ReadAheadWithoutThread : public ReadAhead {
 protected:
  /// Enables reading ahead while no thread can be started. Checks that the stream reads without a worker.
  void enableInVain(datasource::platform::ThreadStartHook mayStart) {
    openDescribing(2048);
    datasource::platform::setThreadStartHook(mayStart);
    stream->EnableMultiThreadReading();
    datasource::platform::setThreadStartHook(nullptr);
    EXPECT_EQ(Peer::multiThreadReading(*stream), 0);
    EXPECT_EQ(worker(), nullptr);
    EXPECT_EQ(read(8), selfDescribing(0, 8));
    EXPECT_EQ(readAt(1024, 8), selfDescribing(1024, 8));
    EXPECT_THAT(probe.otherList(), IsEmpty());
  }
};

TEST_F(ReadAheadWithoutThread, WhereTheSystemGivesNoneTheStreamReadsByItself) {
  enableInVain([] { return false; });
}

// The lack of memory used to reach the caller.
TEST_F(ReadAheadWithoutThread, WhereThereIsNoMemoryForOneTheStreamReadsByItself) {
  enableInVain([]() -> bool { throw std::bad_alloc(); });
}

TEST_F(ReadAheadSwitch, WhereThereIsNoMemoryForAnotherFilesWorkerTheReadGoesOnWithoutOne) {
  openAhead(2 * B);
  readFirstBlock();
  folder.writePlain("g", std::string(B, 'g'));
  EXPECT_EQ(stream->Open(folder.path("g").c_str(), "rb"), 1);
  stream->ClearAndReset();
  datasource::platform::setThreadStartHook([]() -> bool { throw std::bad_alloc(); });
  EXPECT_EQ(read(8), "gggggggg");
  datasource::platform::setThreadStartHook(nullptr);
  EXPECT_EQ(worker(), nullptr);
}

TEST_F(ReadAheadSharing, ACopyWithAWorkerOfItsOwnServesWhatWasFlushedByTheCopying) {
  openAhead(3 * B, "r+b");
  readFirstBlock();
  worker()->MarkUnshareable();
  writeAt(blockSize, "NEW!");
  VORN_FileStream copy(*stream);
  copy.Seek(blockSize, VORN_StrBaseIO::SeekFromStart);
  std::string bytes(4, '?');
  EXPECT_EQ(copy.Read(bytes.data(), 4), 4U);
  EXPECT_EQ(bytes, "NEW!");
}

// The copy used to keep a worker whose file went with the original.
TEST_F(ReadAheadSharing, ACopyThatCannotShareTheFileGetsNoWorker) {
  openAhead(3 * B);
  readFirstBlock();
  file().MarkUnshareable();
  const VORN_FileStream copy(*stream);
  EXPECT_THAT(assertions.takeTexts(), ElementsAre("0 && \"can't copy an VORN_File\""));
  EXPECT_EQ(Peer::data(copy).worker.get(), nullptr);
}

TEST_F(ReadAheadSwitch, OpeningAnotherFileGivesItAWorkerOfItsOwn) {
  openAhead(3 * B);
  readFirstBlock();
  folder.writePlain("g", std::string(2 * B, 'g'));
  EXPECT_EQ(stream->Open(folder.path("g").c_str(), "rb"), 1);
  stream->ClearAndReset();
  EXPECT_EQ(read(8), "gggggggg");
  EXPECT_EQ(readAt(blockSize, 8), "gggggggg");
  EXPECT_EQ(probe.openDescriptors(), 1);
}

TEST_F(ReadAheadSwitch, OpeningAnotherFileWaitsForAFetchOfTheOldOne) {
  openAhead(3 * B);
  probe.holdOtherThreads(CallKind::read);
  EXPECT_EQ(read(8), selfDescribing(0, 8));
  probe.waitUntilHeld();
  std::thread opener([this] {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    probe.release();
  });
  EXPECT_EQ(stream->Open(folder.writePlain("g", std::string(600, 'g')).c_str(), "rb"), 1);
  opener.join();
  EXPECT_EQ(readAt(512, 8), selfDescribing(512, 8)) << "the old buffer is its caller's business";
}

TEST_F(ReadAheadWrites, UnflushedBytesAreOverwrittenByTheNextBlock_KeptAsIs) {
  openAhead(2 * B, "r+b");
  write("ABC");
  EXPECT_EQ(readAt(blockSize, 8), selfDescribing(blockSize, 8));
  EXPECT_FALSE(data().dirty);
  stream->Close();
  EXPECT_EQ(probe.count(CallKind::write), 0);
}

TEST_F(ReadAheadWrites, BytesWrittenBehindTheFetchAreReadAndNotTheFetchedOnes) {
  openAhead(3 * B, "r+b");
  readFirstBlock();
  writeAt(blockSize, "NEW!");
  stream->Flush();
  stream->ClearAndReset();
  EXPECT_EQ(readAt(blockSize, 12), "NEW!" + selfDescribing(blockSize + 4, 8));
}

TEST_F(ReadAheadWrites, ACompressedStreamThatOpensTheFileAnewMakesTheFetchedBlockStale) {
  openAhead(3 * B, "r+b");
  readFirstBlock();
  zcmpsFilestr packed(*stream);
  packed.setRow0Pos(10);
  probe.clear();
  EXPECT_EQ(readAt(blockSize, 8), selfDescribing(blockSize, 8));
  EXPECT_THAT(probe.ownList(), Contains("read 4190208 @4190208"));
}

TEST_F(ReadAheadWrites, ADirectWriteMakesTheFetchedBlockStaleToo) {
  openAhead(3 * B, "r+b");
  readFirstBlock();
  writeAt(blockSize, std::string(B, 'n'));
  stream->ClearAndReset();
  EXPECT_EQ(readAt(blockSize, 4), "nnnn");
}

TEST_F(ReadAheadWrites, AWriteWhileTheFetchRunsMakesItsBlockStale) {
  openAhead(3 * B, "r+b");
  probe.holdOtherThreads(CallKind::read);
  EXPECT_EQ(read(8), selfDescribing(0, 8));
  probe.waitUntilHeld();
  std::thread gate([this] { probe.release(); });
  writeAt(blockSize, "NEW!");
  stream->Flush();
  gate.join();
  stream->ClearAndReset();
  EXPECT_EQ(readAt(blockSize, 4), "NEW!");
}

TEST_F(ReadAheadWrites, ReadOnlyUseAfterAStaleBlockHitsAgain) {
  openAhead(4 * B, "r+b");
  readFirstBlock();
  writeAt(blockSize, "NEW!");
  stream->Flush();
  stream->ClearAndReset();
  readAt(blockSize, 4);
  probe.waitForOthers(CallKind::read, 2);
  probe.clear();
  EXPECT_EQ(readAt(2 * blockSize, 8), selfDescribing(2 * blockSize, 8));
  EXPECT_THAT(probe.ownList(), IsEmpty());
}

TEST_F(ReadAheadErrors, AFailedFetchIsAMissThatTheReaderDoesNotNotice) {
  openAhead(3 * B);
  failOthers(EIO);
  readFirstBlock();
  EXPECT_EQ(readAt(blockSize, 8), selfDescribing(blockSize, 8));
  EXPECT_EQ(probe.ownList().back(), "read 4190208 @4190208");
  EXPECT_EQ(stream->Good(), 1);
}

TEST_F(ReadAheadErrors, WhenTheReadersOwnReadFailsTooItsErrorIsRaisedOnceOnItsThread) {
  openAhead(3 * B);
  failOthers(ENOMEM);
  readFirstBlock();
  probe.failIf([](const Call& call) { return call.kind != CallKind::read ? 0 : call.ownThread ? EIO : ENOMEM; });
  EXPECT_EQ(raisedBy([this] { readAt(blockSize, 8); }), (Raised{1003, EIO}));
  probe.failNone();
  EXPECT_EQ(read(8), selfDescribing(blockSize, 8));
  EXPECT_EQ(read(8), selfDescribing(blockSize + 8, 8));
}

TEST_F(ReadAheadErrors, AMissThatFailsRaises1003LeavesNoBytesToServeAndTheNextReadWorks) {
  openAhead(3 * B);
  readFirstBlock();
  probe.failIf([](const Call& call) { return call.ownThread && call.kind == CallKind::read ? EIO : 0; });
  EXPECT_EQ(raisedBy([this] { readAt(2 * blockSize, 8); }), (Raised{1003, EIO}));
  EXPECT_EQ(raisedBy([this] { readAt(2 * blockSize, 8); }), (Raised{1003, EIO}));
  EXPECT_EQ(validBytes(), 0U);
  probe.failNone();
  EXPECT_EQ(readAt(2 * blockSize, 8), selfDescribing(2 * blockSize, 8));
  EXPECT_EQ(readAt(0, 8), selfDescribing(0, 8));
}

// The buffer's position was -1 while its end still stood behind the old bytes: every byte that the
// buffered path then served was off by one.
TEST_F(ReadAheadErrors, AfterAFailedMissTheBufferedPathServesNoOldBytes) {
  openAhead(3 * B);
  readFirstBlock();
  probe.failIf([](const Call& call) { return call.ownThread && call.kind == CallKind::read ? EIO : 0; });
  EXPECT_EQ(raisedBy([this] { readAt(2 * blockSize, 8); }), (Raised{1003, EIO}));
  probe.failNone();
  stream->DisableMultiThreadReading();
  EXPECT_EQ(readAt(0, 8), selfDescribing(0, 8));
}

TEST_F(ReadAheadSharing, ACopiedStreamSharesTheWorkerAndItsMode) {
  openAhead(3 * B);
  VORN_FileStream copy(*stream);
  EXPECT_EQ(Peer::data(copy).worker.get(), worker());
  EXPECT_EQ(Peer::multiThreadReading(copy), 1);
  std::string bytes(16, '?');
  for (int64 position = 0; position < 2 * blockSize; position += blockSize / 2) {
    EXPECT_EQ(readAt(position, 16), selfDescribing(position, 16));
    copy.Seek(position + 1000, 0);
    EXPECT_EQ(copy.Read(bytes.data(), 16), 16U);
    EXPECT_EQ(bytes, selfDescribing(position + 1000, 16));
  }
}

TEST_F(ReadAheadSharing, TheWorkerLivesUntilTheLastStreamGoesWhicheverThatIs) {
  for (const bool originalFirst : {true, false}) {
    openAhead(3 * B);
    auto copy = std::make_unique<VORN_FileStream>(*stream);
    readAt(0, 8);
    if (originalFirst) {
      stream.swap(copy);
    }
    copy.reset();
    EXPECT_EQ(readAt(blockSize, 8), selfDescribing(blockSize, 8));
    EXPECT_EQ(readAt(2 * blockSize, 8), selfDescribing(2 * blockSize, 8));
    stream.reset();
    EXPECT_EQ(probe.openDescriptors(), 0);
  }
}

TEST_F(ReadAheadSharing, AnUnshareableWorkerIsCopiedAndEitherMayGoFirst) {
  for (const bool originalFirst : {true, false}) {
    openAhead(3 * B);
    readFirstBlock();
    worker()->MarkUnshareable();
    auto copy = std::make_unique<VORN_FileStream>(*stream);
    EXPECT_NE(Peer::data(*copy).worker.get(), worker());
    auto copyOfCopy = std::make_unique<VORN_FileStream>(*copy);
    if (originalFirst) {
      stream.swap(copy);
    }
    copy.reset();
    EXPECT_EQ(readAt(blockSize, 8), selfDescribing(blockSize, 8));
    EXPECT_EQ(readAt(2 * blockSize, 8), selfDescribing(2 * blockSize, 8));
    copyOfCopy.swap(stream);
    copyOfCopy.reset();
    EXPECT_EQ(readAt(0, 8), selfDescribing(0, 8));
    stream.reset();
    EXPECT_EQ(probe.openDescriptors(), 0);
  }
}

TEST_F(ReadAheadSharing, StreamsWithWorkersOfTheirOwnMayShareAFileInTwoThreads) {
  openDescribing(3 * B + 700);
  VORN_FileStream other(*stream);
  stream->EnableMultiThreadReading();
  other.EnableMultiThreadReading();
  std::thread second([&other] {
    std::string bytes(100000, '?');
    for (int64 position = 0;;) {
      const std::size_t count = other.Read(bytes.data(), bytes.size());
      ASSERT_EQ(bytes.substr(0, count), selfDescribing(position, count));
      position += static_cast<int64>(count);
      if (count == 0) {
        EXPECT_EQ(position, 3 * blockSize + 700);
        break;
      }
    }
  });
  for (int64 position = 2 * blockSize; position >= 0; position -= 700001) {
    EXPECT_EQ(readAt(position, 5000), selfDescribing(position, 5000));
  }
  second.join();
}

TEST_F(ReadAheadDestroy, AWorkerThatWasNeverAskedEnds) {
  openAhead(3 * B);
  stream.reset();
  EXPECT_THAT(probe.list(), ElementsAre("close"));
}

TEST_F(ReadAheadDestroy, AWorkerThatWaitsEnds) {
  openAhead(3 * B);
  readFirstBlock();
  stream.reset();
  EXPECT_EQ(probe.list().back(), "close");
}

TEST_F(ReadAheadDestroy, AWorkerInTheMiddleOfAFetchCompletesItBeforeTheFileCloses) {
  openAhead(3 * B);
  probe.holdOtherThreads(CallKind::read);
  read(8);
  probe.waitUntilHeld();
  std::thread gate([this] {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    probe.release();
  });
  stream.reset();
  gate.join();
  EXPECT_THAT(probe.otherList(), ElementsAre("read 4190208 @4190208"));
  EXPECT_EQ(probe.list().back(), "close");
}

TEST_F(ReadAheadDestroy, AWorkerWhoseFetchFailedEnds) {
  openAhead(3 * B);
  failOthers(EIO);
  readFirstBlock();
  stream.reset();
  EXPECT_EQ(probe.openDescriptors(), 0);
}

TEST_F(ReadAheadDestroy, AWorkerWhoseReaderFailedEnds) {
  openAhead(3 * B);
  probe.failEvery(CallKind::read, EIO);
  EXPECT_EQ(raisedBy([this] { read(8); }), (Raised{1003, EIO}));
  stream.reset();
  EXPECT_EQ(probe.openDescriptors(), 0);
}

TEST_F(ReadAheadDestroy, ADisabledWorkerEnds) {
  openAhead(3 * B);
  readFirstBlock();
  stream->DisableMultiThreadReading();
  stream.reset();
  EXPECT_EQ(probe.openDescriptors(), 0);
}

TEST_F(ReadAheadDestroy, TwoThousandRoundsOfOpenEnableReadALittleDestroy) {
  folder.writeDescribing("f", 4096);
  for (int round = 0; round < 2000; ++round) {
    open("f", "rb");
    stream->EnableMultiThreadReading();
    if (round % 4 != 3) {
      ASSERT_EQ(readAt(round % 512, 8), selfDescribing(round % 512, 8));
    }
    if (round % 3 == 0) {
      ASSERT_EQ(readAt(2048, 8), selfDescribing(2048, 8));
    }
    stream.reset();
    ASSERT_EQ(probe.openDescriptors(), 0);
  }
}

}  // namespace
