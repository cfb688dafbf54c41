#include <gmock/gmock.h>

#include <cerrno>
#include <cstddef>
#include <memory>
#include <string>
#include <thread>

#include "multiThreadForFilestr.h"
#include "support/rawFileTest.h"
#include "threadSeam.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace support;

/// The worker by itself, with blocks of 512 bytes.
class ReadAheadWorker : public RawFileTest {
 protected:
  using Peer = multiThreadForFilestrPeer;
  static constexpr std::size_t kBlock = 512;

  void SetUp() override {
    folder.writeDescribing("f", 4 * kBlock + 100);
    open("f", "rb");
    worker = std::make_unique<multiThreadForFilestr>(file.get(), kBlock, true);
    probe.clear();
  }
  void TearDown() override {
    worker.reset();
    RawFileTest::TearDown();
  }
  void start() {
    EXPECT_TRUE(worker->initThread(true));
    EXPECT_TRUE(worker->startThread());
  }
  std::string request(multiThreadForFilestr& from, int64 position, std::size_t size = kBlock) {
    std::string bytes(kBlock, '?');
    bytes.resize(from.requestRead(bytes.data(), size, position));
    return bytes;
  }

  std::unique_ptr<multiThreadForFilestr> worker;
};

using ReadAheadWorkerStop = ReadAheadWorker;
using ReadAheadWorkerCopy = ReadAheadWorker;

TEST_F(ReadAheadWorker, StartsWithNothingFetchedAndNothingWanted) {
  EXPECT_EQ(Peer::nextPos(*worker), -1);
  EXPECT_EQ(Peer::prefetchPos(*worker), -1);
  EXPECT_EQ(Peer::count(*worker), 0);
  EXPECT_FALSE(Peer::stopRequested(*worker));
  EXPECT_TRUE(worker->checkState());
  EXPECT_THAT(probe.list(), IsEmpty());
}

TEST_F(ReadAheadWorker, MissesOnceAndHitsFromThenOn) {
  start();
  for (std::size_t position = 0; position < 4 * kBlock; position += kBlock) {
    EXPECT_EQ(request(*worker, static_cast<int64>(position)), selfDescribing(static_cast<int64>(position), kBlock));
  }
  EXPECT_EQ(request(*worker, 4 * kBlock), selfDescribing(4 * kBlock, 100));
  EXPECT_THAT(probe.ownList(), ElementsAre("read 512 @0"));
}

TEST_F(ReadAheadWorker, FetchesTheBlockBehindTheOneAskedFor) {
  start();
  request(*worker, 1024);
  probe.waitForOthers(CallKind::read, 1);
  EXPECT_THAT(probe.otherList(), ElementsAre("read 512 @1536"));
  EXPECT_EQ(Peer::nextPos(*worker), 1536);
}

// It used to put back the flag that it had found when it began.
TEST_F(ReadAheadWorker, AFetchThatFailsDoesNotUndoAClearOfTheClientsMadeMeanwhile) {
  start();
  probe.failIf([](const Call& call) { return !call.ownThread ? EIO : 0; });
  probe.holdOtherThreads(CallKind::read);
  VORN_FilePeer::setGood(*file, false);
  request(*worker, 0);
  probe.waitUntilHeld();
  VORN_FilePeer::setGood(*file, true);
  probe.release();
  probe.waitForOthers(CallKind::read, 1);
  worker.reset();
  EXPECT_TRUE(VORN_FilePeer::good(*file));
}

TEST_F(ReadAheadWorker, AMissReadsAWholeBlockWhateverWasAskedFor_KeptAsIs) {
  start();
  EXPECT_EQ(request(*worker, 0, 100), selfDescribing(0, kBlock));
  EXPECT_THAT(probe.ownList(), ElementsAre("read 512 @0"));
  probe.waitForOthers(CallKind::read, 1);
  EXPECT_EQ(probe.otherList().back(), "read 512 @100") << "the next one begins behind what was asked for";
}

TEST_F(ReadAheadWorker, ARequestOfZeroBytesElsewhereIsAnOrdinaryRequest) {
  start();
  EXPECT_EQ(request(*worker, 512, 0), selfDescribing(512, kBlock));
  EXPECT_EQ(request(*worker, 512, 0), selfDescribing(512, kBlock));
}

TEST_F(ReadAheadWorker, WritingIsAnAssertionAtItsLineAndReturnsZero) {
  char byte = 0;
  EXPECT_EQ(worker->requestWrite(&byte, 1, 0), 0U);
  const auto reports = assertions.take();
  ASSERT_EQ(reports.size(), 1U);
  EXPECT_EQ(reports[0].expression, "0");
  EXPECT_EQ(reports[0].file, "Datasource/src/multiThreadForFilestr");
  EXPECT_EQ(reports[0].line, 78U);
}

TEST_F(ReadAheadWorker, TheWritingStepIsAnAssertionAtItsLineAndReturnsTrue) {
  EXPECT_TRUE(worker->writeThreadStep());
  const auto reports = assertions.take();
  ASSERT_EQ(reports.size(), 1U);
  EXPECT_EQ(reports[0].expression, "0");
  EXPECT_EQ(reports[0].file, "Datasource/src/multiThreadForFilestr");
  EXPECT_EQ(reports[0].line, 86U);
}

TEST_F(ReadAheadWorker, AForgottenBlockIsReadAgainByTheReader) {
  start();
  request(*worker, 0);
  probe.waitForOthers(CallKind::read, 1);
  worker->forgetPrefetch();
  EXPECT_EQ(request(*worker, 512), selfDescribing(512, kBlock));
  EXPECT_EQ(probe.ownList().back(), "read 512 @512");
}

TEST_F(ReadAheadWorkerStop, TheStopRequestIsSizeZeroAtPositionZero) {
  EXPECT_EQ(worker->requestRead(nullptr, 0, 0), 0U);
  EXPECT_TRUE(Peer::stopRequested(*worker));
  EXPECT_TRUE(worker->readThreadStep()) << "the step ends the thread's loop";
}

TEST_F(ReadAheadWorkerStop, AStepThatIsNotStoppedFetchesAndGoesOn) {
  request(*worker, 0);
  EXPECT_FALSE(worker->readThreadStep());
  EXPECT_EQ(Peer::prefetchPos(*worker), 512);
  EXPECT_EQ(Peer::count(*worker), 512);
}

TEST_F(ReadAheadWorkerStop, AStepWhoseReadFailsForgetsTheBlockAndGoesOn) {
  request(*worker, 0);
  probe.failEvery(CallKind::read, EIO);
  EXPECT_FALSE(worker->readThreadStep());
  EXPECT_EQ(Peer::prefetchPos(*worker), -1);
  EXPECT_EQ(Peer::count(*worker), 0);
}

TEST_F(ReadAheadWorkerStop, AWorkerThatWasNeverStartedStopsAndReleases) {
  EXPECT_TRUE(worker->stopThread());
  EXPECT_TRUE(worker->releasePool());
}

TEST_F(ReadAheadWorkerStop, AWorkerThatWasOnlyInitialisedStopsAndReleases) {
  worker->initThread(true);
  EXPECT_TRUE(worker->stopThread());
  EXPECT_TRUE(worker->releasePool());
}

TEST_F(ReadAheadWorkerStop, StoppingReturnsWhenTheBlockedThreadHasEndedAndMayBeRepeated) {
  start();
  request(*worker, 0);
  EXPECT_TRUE(worker->stopThread());
  EXPECT_TRUE(worker->stopThread());
  EXPECT_TRUE(worker->releasePool());
  EXPECT_TRUE(worker->releasePool());
  probe.clear();
  worker.reset();
  EXPECT_THAT(probe.list(), IsEmpty());
}

TEST_F(ReadAheadWorkerCopy, ACopyWorksOnTheSameHandOff) {
  start();
  multiThreadForFilestr copy(*worker);
  EXPECT_EQ(request(*worker, 0), selfDescribing(0, kBlock));
  EXPECT_EQ(request(copy, 512), selfDescribing(512, kBlock));
  EXPECT_EQ(request(*worker, 1024), selfDescribing(1024, kBlock));
  EXPECT_THAT(probe.ownList(), ElementsAre("read 512 @0"));
}

TEST_F(ReadAheadWorkerCopy, ACopyThatGoesFirstLeavesTheOriginalWorking) {
  start();
  { const multiThreadForFilestr copy(*worker); }
  EXPECT_EQ(request(*worker, 0), selfDescribing(0, kBlock));
  EXPECT_EQ(request(*worker, 512), selfDescribing(512, kBlock));
  EXPECT_THAT(probe.ownList(), ElementsAre("read 512 @0"));
}

TEST_F(ReadAheadWorkerCopy, ACopyThatOutlivesTheOriginalReadsWithoutAThread) {
  start();
  request(*worker, 0);
  auto copy = std::make_unique<multiThreadForFilestr>(*worker);
  multiThreadForFilestr copyOfCopy(*copy);
  worker.reset();
  EXPECT_EQ(request(*copy, 512), selfDescribing(512, kBlock));
  copy.reset();
  EXPECT_EQ(request(copyOfCopy, 0), selfDescribing(0, kBlock));
  EXPECT_EQ(request(copyOfCopy, 2048), selfDescribing(2048, 100));
}

TEST_F(ReadAheadWorkerCopy, ACopyMadeBeforeTheStartSurvivesTheOriginalToo) {
  auto copy = std::make_unique<multiThreadForFilestr>(*worker);
  start();
  request(*worker, 0);
  worker.reset();
  EXPECT_EQ(request(*copy, 512), selfDescribing(512, kBlock));
}

TEST_F(ReadAheadWorkerCopy, ACopyKnowsThatTheBlockIsToBeForgotten) {
  start();
  request(*worker, 0);
  probe.waitForOthers(CallKind::read, 1);
  worker->forgetPrefetch();
  multiThreadForFilestr copy(*worker);
  EXPECT_EQ(request(copy, 512), selfDescribing(512, kBlock));
  EXPECT_EQ(probe.ownList().back(), "read 512 @512");
}

TEST_F(ReadAheadWorkerCopy, TheOriginalKnowsThatTheBlockIsToBeForgotten) {
  start();
  request(*worker, 0);
  probe.waitForOthers(CallKind::read, 1);
  multiThreadForFilestr copy(*worker);
  copy.forgetPrefetch();
  EXPECT_EQ(request(*worker, 512), selfDescribing(512, kBlock));
  EXPECT_EQ(probe.ownList().back(), "read 512 @512");
}

// The second request used to wait for ever.
TEST_F(ReadAheadWorkerStop, AStoppedWorkerThatIsStillAskedReadsByItself) {
  start();
  request(*worker, 0);
  probe.waitForOthers(CallKind::read, 1);
  worker->stopThread();
  EXPECT_EQ(request(*worker, 512), selfDescribing(512, kBlock));
  EXPECT_EQ(request(*worker, 1024), selfDescribing(1024, kBlock));
}

TEST_F(ReadAheadWorker, AMissThatFailsForgetsTheFetchedBlockToo) {
  start();
  request(*worker, 0);
  probe.waitForOthers(CallKind::read, 1);
  probe.failIf([](const Call& call) { return call.ownThread && call.kind == CallKind::read ? EIO : 0; });
  EXPECT_EQ(raisedBy([this] { request(*worker, 1024); }), (Raised{1003, EIO}));
  probe.failNone();
  EXPECT_EQ(request(*worker, 512), selfDescribing(512, kBlock));
  EXPECT_EQ(probe.ownList().back(), "read 512 @512");
}

}  // namespace
