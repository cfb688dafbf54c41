#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "support/compressedWorkerTest.h"

// The worker that reads on one thread and decompresses on another; what all workers that read have in common is in
// readWorkersTest.cpp.

namespace {

using support::CallKind;
using support::Image;
using support::kWorkerSource;
using support::Raised;
using support::raisedBy;
using support::ThreeStageReader;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

using ThreeStageWorker = support::ReadingWorkerTest<ThreeStageReader>;

// The derived part used to go while the threads called through its table: a race, unless its destructor ended them.
TEST_F(ThreeStageWorker, ThatIsDestroyedWhileItsThreadsWorkNeedsNoDestructorOfTheDerivedPart) {
  useFile({4096, 4096, 4096, 4096, 4096, 100});
  for (int round = 0; round < 200; ++round) {
    const auto reader = startReader<ThreeStageReader>();
    if (round % 2 != 0) {
      EXPECT_EQ(request(*reader, 0), plain(0));
    }
  }
}

TEST_F(ThreeStageWorker, BlocksAskedForInAnyOrderAreDelivered) {
  useFile({4096, 4096, 4096, 4096, 4096, 100});
  const auto reader = startReader<ThreeStageReader>();
  for (const std::size_t block : {3U, 0U, 1U, 5U, 4U, 5U, 5U, 2U, 3U, 4U, 0U, 5U, 1U}) {
    ASSERT_EQ(request(*reader, block), plain(block)) << block;
  }
  end(*reader);
}

TEST_F(ThreeStageWorker, EachStageWorksOneBlockAheadOfTheNext) {
  useFile({4096, 4096, 4096, 4096});
  EXPECT_EQ(requestAlone(0), plain(0));
  EXPECT_THAT(readsIn(probe.takeList()), ElementsAre(readOf(0)));
  EXPECT_FALSE(worker->readThreadStep());
  EXPECT_THAT(readsIn(probe.takeList()), ElementsAre(readOf(1)));
  EXPECT_FALSE(worker->decompressThreadStep());
  EXPECT_THAT(probe.takeList(), IsEmpty());
  EXPECT_FALSE(worker->readThreadStep());
  EXPECT_THAT(readsIn(probe.takeList()), ElementsAre(readOf(2)));
  EXPECT_EQ(requestAlone(1), plain(1));
  EXPECT_THAT(probe.takeList(), IsEmpty());
}

TEST_F(ThreeStageWorker, SeekBackAfterTheLastBlockIsServed) {
  useFile({4096, 4096, 100});
  const auto reader = startReader<ThreeStageReader>();
  for (int round = 0; round < 20; ++round) {
    for (std::size_t block = 0; block < 3; ++block) {
      ASSERT_EQ(request(*reader, block), plain(block)) << round << ' ' << block;
    }
  }
  end(*reader);
}

TEST_F(ThreeStageWorker, LastBlockMayBeAskedForAgain) {
  useFile({4096, 100});
  const auto reader = startReader<ThreeStageReader>();
  EXPECT_EQ(request(*reader, 1), plain(1));
  EXPECT_EQ(request(*reader, 1), plain(1));
  EXPECT_EQ(request(*reader, 0), plain(0));
  EXPECT_EQ(request(*reader, 0), plain(0));
  end(*reader);
}

TEST_F(ThreeStageWorker, FirstRequestForPositionNoughtIsServedUnread_KeptAsIs) {
  useFile({4096, 100});
  EXPECT_EQ(request(*alone(), 0, 100), std::string(100, '\0'));
  EXPECT_THAT(probe.takeList(), IsEmpty());
}

TEST_F(ThreeStageWorker, BlockThatWasReadAheadIsAssertedOnBehindTheEndRequest) {
  useFile({4096, 4096, 4096, 4096});
  EXPECT_EQ(requestAlone(0), plain(0));
  EXPECT_FALSE(worker->readThreadStep());
  EXPECT_FALSE(worker->decompressThreadStep());
  EXPECT_FALSE(worker->readThreadStep());
  EXPECT_EQ(worker->requestRead(nullptr, 0, 0), 0U);
  EXPECT_EQ(requestAlone(2), plain(2));
  const auto reports = assertions.take();
  ASSERT_EQ(reports.size(), 1U);
  EXPECT_EQ(reports[0].expression, "bCompressEnd != true");
  EXPECT_EQ(reports[0].file, kWorkerSource);
}

// A table that changes while the worker lives makes no room for more than its buffers hold.
TEST_F(ThreeStageWorker, BlockThatWasReadAheadIsNotDeliveredByARecordThatCannotBeUsed) {
  useFile({4096, 4096, 4096, 4096});
  EXPECT_EQ(requestAlone(0), plain(0));
  EXPECT_FALSE(worker->readThreadStep());
  EXPECT_FALSE(worker->decompressThreadStep());
  EXPECT_FALSE(worker->readThreadStep());
  Image bent = image;
  bent.tableHead.orginalSize = static_cast<std::int32_t>(kSmall);
  bent.records[2].orginalSize = static_cast<std::int32_t>(kSmall) + 1;
  const std::string stored = bent.table();
  ASSERT_TRUE(table.loadForRead(reinterpret_cast<const unsigned char*>(stored.data()), stored.size(), false));
  EXPECT_EQ(requestAlone(2), "");
  const auto reports = assertions.take();
  ASSERT_EQ(reports.size(), 1U);
  EXPECT_EQ(reports[0].expression, "outCount == bInfo.orginalSize");
}

TEST_F(ThreeStageWorker, DecompressingThatWaitsForBytesEndsWithThePool) {
  useFile({4096, 4096, 4096});
  EXPECT_EQ(requestAlone(0), plain(0));
  EXPECT_TRUE(support::waitsForEver([this] { worker->decompressThreadStep(); }));
}

TEST_F(ThreeStageWorker, InitialisingForWritingIsAssertedOn) {
  useFile({100});
  EXPECT_TRUE(alone()->initThread(false));
  const auto reports = assertions.take();
  ASSERT_EQ(reports.size(), 1U);
  EXPECT_EQ(reports[0].expression, "bRead == true");
  EXPECT_EQ(reports[0].file, kWorkerSource);
}

TEST_F(ThreeStageWorker, EndRequestWakesOnlyTheDecompressThread_KeptAsIs) {
  useFile({100});
  EXPECT_EQ(alone()->requestRead(nullptr, 0, 0), 0U);
  EXPECT_TRUE(worker->decompressThreadStep());
  EXPECT_TRUE(support::waitsForEver([&] { worker->readThreadStep(); }));
}

TEST_F(ThreeStageWorker, ReadThreadThatIsWokenAfterTheEndRequestEnds) {
  useFile({4096, 100});
  requestAlone(0);
  worker->requestRead(nullptr, 0, 0);
  EXPECT_TRUE(worker->readThreadStep());
}

TEST_F(ThreeStageWorker, RequestForADecompressedBlockAfterTheEndIsAssertedOn) {
  useFile({4096, 4096, 100});
  requestAlone(0);
  worker->readThreadStep();
  worker->decompressThreadStep();
  worker->requestRead(nullptr, 0, 0);
  EXPECT_EQ(requestAlone(1), plain(1));
  const auto reports = assertions.take();
  ASSERT_EQ(reports.size(), 1U);
  EXPECT_EQ(reports[0].expression, "bCompressEnd != true && fpCurDecompressPos == fpos");
  EXPECT_EQ(reports[0].file, kWorkerSource);
}

TEST_F(ThreeStageWorker, DecompressingWhatWasReadAfterTheEndIsAssertedOn) {
  useFile({4096, 100});
  // A request that reaches behind the data leaves the second block read and not decompressed.
  request(*alone(), position(0), 2 * kSmall);
  worker->readThreadStep();
  worker->requestRead(nullptr, 0, 0);
  EXPECT_EQ(requestAlone(1), plain(1));
  const auto reports = assertions.take();
  ASSERT_EQ(reports.size(), 1U);
  EXPECT_EQ(reports[0].expression, "bCompressEnd != true");
  EXPECT_EQ(reports[0].file, kWorkerSource);
}

TEST_F(ThreeStageWorker, ShortReadIsAssertedOn) {
  useFile({4096, 4096}, [this] { folder.truncateTo("blocks", image.records[1].translatePos + 10); });
  requestAlone(0);
  worker->readThreadStep();
  worker->decompressThreadStep();
  EXPECT_THAT(assertions.takeTexts(), IsEmpty());
  EXPECT_EQ(requestAlone(1), "");
  const auto reports = assertions.take();
  ASSERT_FALSE(reports.empty());
  EXPECT_EQ(reports[0].expression, "ret == bInfo.translateSize");
  EXPECT_EQ(reports[0].file, kWorkerSource);
}

TEST_F(ThreeStageWorker, DamagedBlockIsReportedByTheRequestAndNotBefore) {
  useFile({4096, 4096, 100}, [this] { damage(1); });
  requestAlone(0);
  worker->readThreadStep();
  worker->decompressThreadStep();
  EXPECT_THAT(assertions.takeTexts(), IsEmpty());
  EXPECT_EQ(requestAlone(1), "");
  EXPECT_THAT(assertions.takeTexts(), Not(IsEmpty()));
}

TEST_F(ThreeStageWorker, WrongPlainLengthIsReported) {
  support::Image bent = support::Image::of(support::kRow0, {4096, 100});
  bent.records[1].orginalSize = 99;
  useImage(bent);
  EXPECT_EQ(request(*alone(), position(1), 99), "");
  EXPECT_THAT(assertions.takeTexts(), ElementsAre("outCount == bInfo.orginalSize"));
}

TEST_F(ThreeStageWorker, FailingPrefetchesAreForgottenAndTheRequestReadsItself) {
  useFile({4096, 4096, 4096, 100});
  requestAlone(0);
  probe.failNth(CallKind::read, 1, EIO);
  EXPECT_FALSE(worker->readThreadStep());
  probe.failNth(CallKind::read, 1, EIO);
  EXPECT_FALSE(worker->decompressThreadStep());
  probe.failNone();
  EXPECT_EQ(requestAlone(1), plain(1));
}

TEST_F(ThreeStageWorker, FaultThatLastsIsRaisedByTheRequest) {
  useFile({4096, 4096, 4096, 4096, 100});
  const auto reader = startReader<ThreeStageReader>();
  request(*reader, 0);
  probe.failEvery(CallKind::read, EIO);
  EXPECT_EQ(raisedBy([&] { request(*reader, 4); }), (Raised{1003, EIO}));
  probe.failNone();
  for (std::size_t block = 0; block < 5; ++block) {
    EXPECT_EQ(request(*reader, block), plain(block));
  }
  end(*reader);
}

TEST_F(ThreeStageWorker, RequestAboveTheBlockSizeStaysInsideTheBuffer) {
  useFile({4096, 100});
  std::string bytes(100'000, '?');
  alone()->requestRead(bytes.data(), bytes.size(), position(0));
  EXPECT_EQ(bytes.substr(0, 4096), plain(0));
  EXPECT_EQ(bytes.substr(4096), std::string(bytes.size() - 4096, '?'));
}

TEST_F(ThreeStageWorker, DestructionBeforeTheStartIsQuiet) {
  useFile({100});
  EXPECT_TRUE(alone()->initThread(true));
}

}  // namespace
