#include <cerrno>
#include <cstddef>
#include <string>
#include <type_traits>

#include "support/compressedWorkerTest.h"

// The workers that read and decompress ahead of the stream.

namespace {

using support::AssertionRecorder;
using support::AssertionThrown;
using support::CallKind;
using support::kCorruptBlock;
using support::kWorkerSource;
using support::Raised;
using support::raisedBy;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

// ---- What all workers that read have in common

template <typename Worker>
class AnyReadWorker : public support::ReadingWorkerTest<Worker> {};

struct WorkerNames {
  template <typename Worker>
  static std::string GetName(int /*index*/) {
    return std::is_same_v<Worker, PreIOThread_R_D> ? "OneThread" : "ThreeStages";
  }
};
using ReadWorkers = ::testing::Types<PreIOThread_R_D, support::ThreeStageReader>;
TYPED_TEST_SUITE(AnyReadWorker, ReadWorkers, WorkerNames);

TYPED_TEST(AnyReadWorker, BlocksAskedForInOrderAreDelivered) {
  this->useFile({4096, 4096, 4096, 4096, 4096, 100});
  const auto reader = this->startedAndAsked(6);
  this->end(*reader);
}

// The end request is the one of no bytes at position 0; one of no bytes elsewhere is a request.
TYPED_TEST(AnyReadWorker, ARequestOfNothingBehindTheBeginningIsNoEndRequest) {
  this->useFile({4096, 4096, 100});
  const auto reader = this->startedAndAsked(1);
  EXPECT_EQ(this->request(*reader, this->position(1), 0), "");
  this->assertions.take();
  EXPECT_EQ(this->request(*reader, 2), this->plain(2));
  this->end(*reader);
}

TYPED_TEST(AnyReadWorker, PositionInsideABlockIsAssertedOn) {
  this->useFile({4096, 100});
  this->request(*this->alone(), this->position(0) + 1, 100);
  const auto reports = this->assertions.take();
  ASSERT_FALSE(reports.empty());
  EXPECT_EQ(reports[0].expression, "fpos == bInfo.orginalPos");
  EXPECT_EQ(reports[0].file, kWorkerSource);
}

TYPED_TEST(AnyReadWorker, FailingReadOfARequestIsRaisedAndTheNextRequestWorks) {
  this->useFile({4096, 4096, 100});
  this->alone();
  this->probe.failNth(CallKind::read, 1, EIO);
  EXPECT_EQ(raisedBy([&] { this->requestAlone(0); }), (Raised{1003, EIO}));
  EXPECT_EQ(this->requestAlone(0), this->plain(0));
}

TYPED_TEST(AnyReadWorker, WrongCheckValueIsReportedAsACorruptBlock) {
  this->useFile({4096, 4096, 100}, [this] {
    const bInfo& second = this->image.records[1];
    this->folder.patchByte("blocks", second.translatePos + second.translateSize - 1, 0x99);
  });
  const auto reader = this->startedAndAsked(1);
  EXPECT_EQ(this->request(*reader, 1), "");
  EXPECT_THAT(this->assertions.takeTexts(), ElementsAre(kCorruptBlock));
  EXPECT_EQ(this->request(*reader, 0), this->plain(0));
  this->end(*reader);
}

TYPED_TEST(AnyReadWorker, ThrowingHandlerOnARequestLeavesTheWorkerUsable) {
  this->useFile({4096, 4096, 4096, 100}, [this] { this->damage(1); });
  const auto reader = this->startedAndAsked(1);
  {
    const AssertionRecorder throwing(AssertionRecorder::Then::raise);
    EXPECT_THROW(this->request(*reader, 1), AssertionThrown);
  }
  EXPECT_EQ(this->request(*reader, 2), this->plain(2));
  EXPECT_EQ(this->request(*reader, 0), this->plain(0));
  this->end(*reader);
}

TYPED_TEST(AnyReadWorker, CompressedSizeAboveTheBuffersIsNotRead) {
  support::Image bent = support::Image::of(support::kRow0, {4096, 4096, 100});
  bent.records[1].translateSize = 1'000'000;
  bent.blocks.push_back(std::string(1'000'000, 'x'));
  this->useImage(bent);
  const auto reader = this->startedAndAsked(1);
  EXPECT_EQ(this->request(*reader, this->position(1), 4096), "");
  EXPECT_THAT(this->assertions.takeTexts(), testing::Not(IsEmpty()));
  this->end(*reader);
}

TYPED_TEST(AnyReadWorker, EndsInEveryState) {
  this->useFile({4096, 4096, 4096, 100});
  for (std::size_t requests = 0; requests <= 4; ++requests) {
    const auto reader = this->startedAndAsked(requests);
    this->end(*reader);
    this->end(*reader);
  }
}

TYPED_TEST(AnyReadWorker, DestructionEndsTheThreadsInEveryState) {
  this->useFile({4096, 4096, 4096, 100});
  for (std::size_t requests = 0; requests <= 4; ++requests) {
    this->startedAndAsked(requests);
  }
}

TYPED_TEST(AnyReadWorker, TwoThousandLivesInARow) {
  this->useFile({64, 64, 64, 10});
  for (int round = 0; round < 2000; ++round) {
    const auto reader = this->startedAndAsked(static_cast<std::size_t>(round % 5), 64);
    ASSERT_TRUE(reader->stopThread());
    ASSERT_TRUE(round % 2 == 0 || reader->releasePool());
  }
  this->probe.clear();
}

// ---- The worker that reads and decompresses one block ahead, on one thread

using ReadWorker = support::ReadingWorkerTest<PreIOThread_R_D>;

TEST_F(ReadWorker, PrefetchedBlockIsServedByACopy) {
  useFile({4096, 4096, 4096});
  EXPECT_EQ(requestAlone(0), plain(0));
  EXPECT_THAT(readsIn(probe.takeList()), ElementsAre(readOf(0)));
  EXPECT_FALSE(worker->readThreadStep());
  EXPECT_THAT(readsIn(probe.takeList()), ElementsAre(readOf(1)));
  EXPECT_EQ(requestAlone(1), plain(1));
  EXPECT_THAT(probe.takeList(), IsEmpty());
}

TEST_F(ReadWorker, OtherBlockIsReadByTheRequestAndTheOneBehindItIsPrefetched) {
  useFile({4096, 4096, 4096, 4096, 4096});
  requestAlone(0);
  worker->readThreadStep();
  probe.clear();
  EXPECT_EQ(requestAlone(3), plain(3));
  EXPECT_THAT(readsIn(probe.takeList()), ElementsAre(readOf(3)));
  EXPECT_FALSE(worker->readThreadStep());
  EXPECT_THAT(readsIn(probe.takeList()), ElementsAre(readOf(4)));
  EXPECT_EQ(requestAlone(4), plain(4));
}

TEST_F(ReadWorker, PrefetchRunsOnTheWorkersThread) {
  useFile({4096, 4096, 4096});
  const auto reader = startReader<PreIOThread_R_D>();
  request(*reader, 0);
  probe.waitForOthers(CallKind::read, 1);
  EXPECT_EQ(request(*reader, 1), plain(1));
  EXPECT_THAT(readsIn(probe.ownList()), ElementsAre(readOf(0)));
  end(*reader);
  EXPECT_THAT(readsIn(probe.otherList()), testing::Contains(readOf(1)));
}

TEST_F(ReadWorker, RequestWaitsForAPrefetchThatRuns) {
  useFile({4096, 4096, 4096});
  const auto reader = startReader<PreIOThread_R_D>();
  probe.holdOtherThreads(CallKind::read);
  request(*reader, 0);
  probe.waitUntilHeld();
  EXPECT_TRUE(support::waitsForEver([&] { request(*reader, 1); }));
  probe.release();
  EXPECT_EQ(request(*reader, 1), plain(1));
  end(*reader);
}

TEST_F(ReadWorker, AfterTheLastBlockFurtherRequestsWaitForEver_KeptAsIs) {
  useFile({4096, 100});
  requestAlone(0);
  worker->readThreadStep();
  EXPECT_EQ(requestAlone(1), plain(1));
  EXPECT_TRUE(support::waitsForEver([&] { requestAlone(0); }));
  EXPECT_TRUE(support::waitsForEver([&] { worker->readThreadStep(); }));
}

TEST_F(ReadWorker, AfterTheLastBlockTheEndRequestStillPasses) {
  useFile({100});
  const auto reader = startReader<PreIOThread_R_D>();
  EXPECT_EQ(request(*reader, 0), plain(0));
  EXPECT_EQ(reader->requestRead(nullptr, 0, 0), 0U);
  end(*reader);
}

TEST_F(ReadWorker, EndRequestEndsTheStep) {
  useFile({100});
  EXPECT_EQ(alone()->requestRead(nullptr, 0, 0), 0U);
  EXPECT_TRUE(worker->readThreadStep());
}

TEST_F(ReadWorker, RequestOfAnotherSizeThanPrefetchedIsAssertedOn) {
  useFile({4096, 4096, 100});
  requestAlone(0);
  worker->readThreadStep();
  std::string bytes(4096, '?');
  worker->requestRead(bytes.data(), 1000, position(1));
  EXPECT_EQ(bytes, plain(1).substr(0, 1000) + std::string(3096, '?'));
  const auto reports = assertions.take();
  ASSERT_EQ(reports.size(), 1U);
  EXPECT_EQ(reports[0].expression, "reqSize == stCurSize");
  EXPECT_EQ(reports[0].file, kWorkerSource);
}

TEST_F(ReadWorker, RequestOfMoreThanPrefetchedDeliversNoStaleBytes) {
  useFile({4096, 200, 100});
  requestAlone(0);
  worker->readThreadStep();
  std::string bytes(4096, '?');
  worker->requestRead(bytes.data(), 4096, position(1));
  EXPECT_EQ(bytes, plain(1) + std::string(3896, '?'));
  EXPECT_THAT(assertions.takeTexts(), ElementsAre("reqSize == stCurSize"));
}

TEST_F(ReadWorker, PositionBehindTheDataIsAssertedOnAndDeliversNothing) {
  useFile({4096, 100});
  EXPECT_EQ(request(*alone(), image.end(), 100), "");
  EXPECT_THAT(assertions.takeTexts(), ElementsAre("fpos == bInfo.orginalPos"));
}

TEST_F(ReadWorker, WritingOperationsAreAssertedOn) {
  useFile({100});
  char byte = 'x';
  EXPECT_EQ(alone()->requestWrite(&byte, 1, 0), 0U);
  EXPECT_TRUE(worker->writeThreadStep());
  const auto reports = assertions.take();
  ASSERT_EQ(reports.size(), 2U);
  EXPECT_EQ(reports[0].expression, "0");
  EXPECT_EQ(reports[1].expression, "0");
  EXPECT_EQ(reports[0].file, kWorkerSource);
}

TEST_F(ReadWorker, WorkerHoldsAReferenceToTheFileForItsLife) {
  useFile({100});
  EXPECT_EQ(VORN_FilePeer::references(*file), 1);
  alone();
  EXPECT_EQ(VORN_FilePeer::references(*file), 2);
  worker.reset();
  EXPECT_EQ(VORN_FilePeer::references(*file), 1);
}

TEST_F(ReadWorker, FailingPrefetchIsForgottenAndTheRequestReadsItself) {
  useFile({4096, 4096, 100});
  requestAlone(0);
  probe.failNth(CallKind::read, 1, EIO);
  EXPECT_FALSE(worker->readThreadStep());
  EXPECT_EQ(requestAlone(1), plain(1));
}

TEST_F(ReadWorker, FaultThatLastsIsRaisedByTheRequestOnce) {
  useFile({4096, 4096, 100});
  const auto reader = startReader<PreIOThread_R_D>();
  request(*reader, 0);
  probe.failEvery(CallKind::read, EIO);
  (void)raisedBy([&] { request(*reader, 1); });
  EXPECT_EQ(raisedBy([&] { request(*reader, 1); }), (Raised{1003, EIO}));
  probe.failNone();
  EXPECT_EQ(request(*reader, 1), plain(1));
  end(*reader);
}

TEST_F(ReadWorker, DamagedBlockIsReportedByTheRequestAndNotByThePrefetch) {
  useFile({4096, 4096, 100}, [this] { damage(1); });
  requestAlone(0);
  worker->readThreadStep();
  EXPECT_THAT(assertions.takeTexts(), IsEmpty());
  EXPECT_EQ(requestAlone(1), "");
  const auto reports = assertions.take();
  ASSERT_FALSE(reports.empty());
  EXPECT_EQ(reports[0].file, kWorkerSource);
}

TEST_F(ReadWorker, ShortReadIsNoticedByTheDecompressedLength) {
  useFile({4096, 4096},
          [this] { folder.truncateTo("blocks", image.records[1].translatePos + image.records[1].translateSize / 2); });
  requestAlone(0);
  worker->readThreadStep();
  EXPECT_EQ(requestAlone(1), "");
  EXPECT_THAT(assertions.takeTexts(), testing::Contains("outCount == bInfo.orginalSize"));
}

TEST_F(ReadWorker, ThrowingHandlerIsNeverMetByThePrefetch) {
  useFile({4096, 4096, 100}, [this] { damage(1); });
  const AssertionRecorder throwing(AssertionRecorder::Then::raise);
  const auto reader = startReader<PreIOThread_R_D>();
  EXPECT_EQ(request(*reader, 0), plain(0));
  end(*reader);
}

TEST_F(ReadWorker, PlainSizeAboveTheBuffersIsNotDelivered) {
  support::Image bent = support::Image::of(support::kRow0, {4096, 100'000});
  useImage(bent);
  requestAlone(0);
  worker->readThreadStep();
  std::string bytes(100'000, '?');
  worker->requestRead(bytes.data(), bytes.size(), position(1));
  EXPECT_THAT(assertions.takeTexts(), testing::Not(IsEmpty()));
}

TEST_F(ReadWorker, GapBehindABlockIsNoPrefetch) {
  support::Image bent = support::Image::of(support::kRow0, {4096, 4096, 100});
  bent.records[1].orginalPos += 10;
  bent.records[1].orginalSize -= 10;
  useImage(bent);
  const auto reader = startReader<PreIOThread_R_D>();
  EXPECT_EQ(request(*reader, 0), plain(0));
  end(*reader);
}

}  // namespace
