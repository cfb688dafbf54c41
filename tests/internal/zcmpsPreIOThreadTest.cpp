#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <exception>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include "Datasource/platform/throwError.h"
#include "support/assertionRecorder.h"
#include "support/compressedImage.h"
#include "support/compressedWorkerTest.h"
#include "support/deadline.h"
#include "threadSeam.h"
#include "zcmpsPreIOThread.h"

// What all workers share: the pool's life, the loop of its thread.

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// A worker whose steps end after a number of passes and which notes what it is asked.
class NotingWorker : public PreIOThreadBase {
 public:
  using PreIOThreadBase::newThreadForRead;
  using PreIOThreadBase::newThreadForWrite;
  ~NotingWorker() override { endThreads(); }

  std::size_t requestRead(void* dest, std::size_t reqSize, int64 fpos) override {
    if (dest == nullptr && reqSize == 0 && fpos == 0) {
      ++endRequests;
    }
    work.postSemaphore();
    return 0;
  }
  std::size_t requestWrite(void* /*src*/, std::size_t size, int64 /*fpos*/) override { return size; }
  bool writeThreadStep() override { return ++writeSteps >= 3; }
  bool readThreadStep() override {
    work.waitSemaphore();
    return ++readSteps >= endAfter;
  }
  bool writes() const { return bWrite; }
  bool hasPool() const { return pool != nullptr; }

  sfSemaphore work{0};
  int endRequests = 0;
  int endAfter = 1;
  int readSteps = 0;
  int writeSteps = 0;
};

class WorkerBase : public ::testing::Test {
 protected:
  void TearDown() override { EXPECT_THAT(assertions.takeTexts(), IsEmpty()); }

  support::AssertionRecorder assertions;
  support::Deadline deadline{support::nameOfThisTest()};
  NotingWorker worker;
};

TEST_F(WorkerBase, InitialisingChoosesTheDirection) {
  EXPECT_FALSE(worker.writes());
  EXPECT_TRUE(worker.initThread(false));
  EXPECT_TRUE(worker.writes());
  EXPECT_TRUE(worker.hasPool());
  NotingWorker reading;
  EXPECT_TRUE(reading.initThread(true));
  EXPECT_FALSE(reading.writes());
}

TEST_F(WorkerBase, CheckingTheStateIsAlwaysTrue) {
  EXPECT_TRUE(worker.checkState());
  worker.initThread(true);
  EXPECT_TRUE(worker.checkState());
}

TEST_F(WorkerBase, StoppingAReaderSendsTheEndRequestAndWaitsForItsThread) {
  worker.initThread(true);
  worker.startThread();
  worker.endAfter = 3;
  worker.work.postSemaphore();
  worker.work.postSemaphore();
  EXPECT_TRUE(worker.stopThread());
  EXPECT_EQ(worker.endRequests, 1);
  EXPECT_TRUE(worker.releasePool());
  EXPECT_LE(worker.readSteps, 3);
}

TEST_F(WorkerBase, StoppingAWriterSendsNothing) {
  worker.initThread(false);
  worker.startThread();
  EXPECT_TRUE(worker.stopThread());
  EXPECT_EQ(worker.endRequests, 0);
  EXPECT_EQ(worker.readSteps, 0);
}

TEST_F(WorkerBase, WorkerThatWasNeverInitialisedStopsAndReleases) {
  EXPECT_TRUE(worker.releasePool());
  EXPECT_TRUE(worker.stopThread());
  EXPECT_EQ(worker.endRequests, 1);
  EXPECT_TRUE(worker.releasePool());
}

TEST_F(WorkerBase, WorkerThatWasNeverStartedStopsAndReleases) {
  worker.initThread(true);
  EXPECT_TRUE(worker.stopThread());
  EXPECT_TRUE(worker.releasePool());
}

TEST_F(WorkerBase, PoolMayBeReleasedTwice) {
  worker.initThread(true);
  worker.startThread();
  EXPECT_TRUE(worker.stopThread());
  EXPECT_TRUE(worker.releasePool());
  EXPECT_FALSE(worker.hasPool());
  EXPECT_TRUE(worker.releasePool());
  EXPECT_TRUE(worker.stopThread());
}

TEST_F(WorkerBase, ThreadMayBeStoppedTwice) {
  worker.initThread(true);
  worker.startThread();
  EXPECT_TRUE(worker.stopThread());
  EXPECT_TRUE(worker.stopThread());
}

TEST_F(WorkerBase, DestructionEndsARunningThread) {
  const auto other = std::make_unique<NotingWorker>();
  other->endAfter = 1000;
  other->initThread(true);
  other->startThread();
}

/// A worker whose end request fails.
class UnendingWorker : public NotingWorker {
 public:
  ~UnendingWorker() override { endThreads(); }
  std::size_t requestRead(void* /*dest*/, std::size_t /*reqSize*/, int64 /*fpos*/) override {
    throw std::runtime_error("no request is taken");
  }
};

TEST_F(WorkerBase, WhoseEndFailsIsDestroyedAllTheSame) {
  static std::string place;
  place.clear();
  datasource::platform::setLostErrorHandler([](const char* where, const std::exception_ptr& error) {
    EXPECT_THROW(std::rethrow_exception(error), std::runtime_error);
    place = where;
  });
  {
    UnendingWorker other;
    other.initThread(true);
  }
  datasource::platform::setLostErrorHandler(nullptr);
  EXPECT_EQ(place, "ending a worker");
}

TEST_F(WorkerBase, ThreadThatTheSystemDoesNotGiveIsRaisedAndTheWorkerStillEnds) {
  datasource::platform::setThreadStartHook([] { return false; });
  worker.initThread(true);
  EXPECT_THROW(worker.startThread(), std::system_error);
  datasource::platform::setThreadStartHook(nullptr);
  EXPECT_TRUE(worker.stopThread());
  EXPECT_TRUE(worker.releasePool());
}

TEST_F(WorkerBase, CallbacksLoopUntilTheStepSaysSo) {
  NotingWorker::newThreadForWrite writing;
  EXPECT_EQ(writing.callBack(static_cast<PreIOThreadBase*>(&worker)), 0);
  EXPECT_EQ(worker.writeSteps, 3);
  worker.endAfter = 2;
  worker.work.postSemaphore();
  worker.work.postSemaphore();
  NotingWorker::newThreadForRead reading;
  EXPECT_EQ(reading.callBack(static_cast<PreIOThreadBase*>(&worker)), 0);
  EXPECT_EQ(worker.readSteps, 2);
}

TEST_F(WorkerBase, CallbacksWithoutAWorkerAreAssertedOnAndEnd) {
  NotingWorker::newThreadForRead reading;
  NotingWorker::newThreadForWrite writing;
  EXPECT_EQ(reading.callBack(nullptr), 0);
  EXPECT_EQ(writing.callBack(nullptr), 0);
  const auto reports = assertions.take();
  ASSERT_EQ(reports.size(), 4U);
  for (std::size_t i = 0; i < 4; ++i) {
    EXPECT_EQ(reports[i].expression, i % 2 == 0 ? "prtData!=0" : "pParent!=0");
    EXPECT_EQ(reports[i].file, support::kWorkerSource);
  }
}

TEST_F(WorkerBase, DecompressingCallbackWithoutAWorkerIsAssertedOnOnce) {
  support::ThreeStageReader::newThreadForDecompress decompressing;
  EXPECT_EQ(decompressing.callBack(nullptr), 0);
  const auto reports = assertions.take();
  ASSERT_EQ(reports.size(), 1U);
  EXPECT_EQ(reports[0].expression, "pParent!=0");
  EXPECT_EQ(reports[0].file, support::kWorkerSource);
}

TEST_F(WorkerBase, CallbacksAreMadeWithoutData) {
  NotingWorker::newThreadForRead reading;
  EXPECT_EQ(reading.getMsgData(), nullptr);
  EXPECT_EQ(reading.getCallbackData(), nullptr);
}

}  // namespace
