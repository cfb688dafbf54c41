#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "support/compressedWorkerTest.h"

// The worker that compresses and writes. Steps that no thread runs are taken by the test.

namespace {

using support::CallKind;
using support::caseBytes;
using support::kRow0;
using support::kWorkerSource;
using support::Raised;
using support::raisedBy;
using support::zipped;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class WriteWorker : public support::WorkerTest {
 protected:
  void SetUp() override {
    folder.writePlain("blocks", "");
    openFile("r+b");
    worker = std::make_unique<PreIOThread_W_C>(file.get(), &table, kSmall, kRow0, kRow0 + 24);
  }
  void TearDown() override {
    worker.reset();
    WorkerTest::TearDown();
  }
  void start() {
    EXPECT_TRUE(worker->initThread(false));
    EXPECT_TRUE(worker->startThread());
  }
  /// Hands over the next `size` bytes of the case data.
  std::size_t hand(std::size_t size) { return handOver(caseBytes(kRow0 + static_cast<int64>(handed), size)); }
  std::size_t handOver(std::string bytes) {
    handed += bytes.size();
    // The position is not used.
    return worker->requestWrite(bytes.data(), bytes.size(), -12345);
  }
  std::size_t endOfData() { return worker->requestWrite(nullptr, 0, 0); }
  std::vector<bInfo> records() {
    const auto [bytes, length] = table.serialise();
    std::vector<bInfo> result;
    for (std::size_t at = 24; at < length; at += 24) {
      result.push_back(decode<bInfo>(bytes + at, false));
    }
    return result;
  }
  /// The plain bytes of a block, taken out of the file by its record.
  std::string plainOf(const bInfo& record) {
    std::string bytes;
    EXPECT_TRUE(
        support::unzipped(folder.readAt("blocks", record.translatePos, static_cast<std::size_t>(record.translateSize)),
                          static_cast<std::size_t>(record.orginalSize), bytes));
    return bytes;
  }

  std::unique_ptr<PreIOThread_W_C> worker;
  std::size_t handed = 0;
};

TEST_F(WriteWorker, OneBlockMakesOneRecordAndTheEndWritesNothingFurther) {
  EXPECT_EQ(hand(4096), 4096U);
  EXPECT_FALSE(worker->writeThreadStep());
  const std::string block = zipped(caseBytes(kRow0, 4096));
  EXPECT_THAT(probe.takeList(), testing::Contains("write " + std::to_string(block.size()) + " @1024"));
  EXPECT_EQ(endOfData(), 0U);
  EXPECT_TRUE(worker->writeThreadStep());
  EXPECT_THAT(probe.takeList(), IsEmpty());
  ASSERT_EQ(records().size(), 1U);
  EXPECT_EQ(records()[0].orginalPos, kRow0);
  EXPECT_EQ(records()[0].translatePos, kRow0 + 24);
  EXPECT_EQ(records()[0].orginalSize, 4096);
  EXPECT_EQ(records()[0].translateSize, static_cast<std::int32_t>(block.size()));
  EXPECT_EQ(plainOf(records()[0]), caseBytes(kRow0, 4096));
}

TEST_F(WriteWorker, EndOfDataWithoutABlockWritesNothing) {
  start();
  endOfData();
  end(*worker);
  EXPECT_THAT(probe.list(), IsEmpty());
  EXPECT_THAT(records(), IsEmpty());
}

TEST_F(WriteWorker, BlocksLieBackToBackInTheOrderHandedOver) {
  start();
  const std::vector<std::size_t> lengths{4096, 4096, 17, 1, 4000};
  for (const std::size_t size : lengths) {
    EXPECT_EQ(hand(size), size);
  }
  endOfData();
  end(*worker);
  const std::vector<bInfo> made = records();
  ASSERT_EQ(made.size(), lengths.size());
  int64 position = kRow0;
  int64 place = kRow0 + 24;
  for (std::size_t i = 0; i < made.size(); ++i) {
    EXPECT_EQ(made[i].orginalPos, position);
    EXPECT_EQ(made[i].translatePos, place);
    EXPECT_EQ(plainOf(made[i]), caseBytes(position, lengths[i]));
    position += static_cast<int64>(lengths[i]);
    place += made[i].translateSize;
  }
  EXPECT_EQ(folder.sizeOf("blocks"), place);
}

TEST_F(WriteWorker, BlockIsTakenOverByACopy) {
  std::string bytes = caseBytes(kRow0, 4096);
  worker->requestWrite(bytes.data(), bytes.size(), kRow0);
  bytes.assign(bytes.size(), '!');
  worker->writeThreadStep();
  EXPECT_EQ(plainOf(records().at(0)), caseBytes(kRow0, 4096));
}

TEST_F(WriteWorker, RecordJoinsTheTableOnlyBehindItsWrite) {
  hand(4096);
  probe.failEvery(CallKind::write, EIO);
  EXPECT_FALSE(worker->writeThreadStep());
  EXPECT_THAT(records(), IsEmpty());
}

TEST_F(WriteWorker, SecondBlockWaitsUntilTheFirstIsProcessed) {
  hand(4096);
  EXPECT_TRUE(support::waitsForEver([&] { hand(4096); }));
  worker->writeThreadStep();
  EXPECT_EQ(hand(4096), 4096U);
}

TEST_F(WriteWorker, WritesRunOnTheWorkersThread) {
  start();
  hand(4096);
  hand(100);
  endOfData();
  end(*worker);
  EXPECT_THAT(probe.ownList(), IsEmpty());
  EXPECT_EQ(probe.count(CallKind::write), 2);
}

TEST_F(WriteWorker, BehindTheEndOfDataRequestsWaitForEver_KeptAsIs) {
  start();
  endOfData();
  EXPECT_TRUE(support::waitsForEver([&] { hand(1); }));
  end(*worker);
}

TEST_F(WriteWorker, IncompressibleBlockIsCutRecordedAndCounted_KeptAsIs) {
  EXPECT_EQ(worker->truncatedBlocks(), 0U);
  handOver(support::randomBytes(4096, 6));
  worker->writeThreadStep();
  EXPECT_EQ(worker->truncatedBlocks(), 1U);
  ASSERT_EQ(records().size(), 1U);
  EXPECT_EQ(records()[0].orginalSize, 4096);
  EXPECT_EQ(records()[0].translateSize, 4096);
  EXPECT_EQ(folder.readAt("blocks", kRow0 + 24, 5000), zipped(support::randomBytes(4096, 6)).substr(0, 4096));
  handOver(caseBytes(kRow0, 100));
  worker->writeThreadStep();
  EXPECT_EQ(worker->truncatedBlocks(), 1U);
}

TEST_F(WriteWorker, SizeAboveTheBlockSizeStaysInsideTheBuffer) {
  handOver(caseBytes(0, 100'000));
  worker->writeThreadStep();
  for (const bInfo& record : records()) {
    EXPECT_LE(record.orginalSize, 4096);
  }
}

TEST_F(WriteWorker, ReadingOperationsAreAssertedOn) {
  EXPECT_EQ(request(*worker, 5, 10), "");
  EXPECT_TRUE(worker->readThreadStep());
  const auto reports = assertions.take();
  ASSERT_EQ(reports.size(), 2U);
  for (const support::Report& report : reports) {
    EXPECT_EQ(report.expression, "0");
    EXPECT_EQ(report.file, kWorkerSource);
  }
}

TEST_F(WriteWorker, FailedWriteIsRaisedByTheNextRequestOnceAndLaterBlocksAreDropped) {
  start();
  probe.failNth(CallKind::write, 1, ENOSPC);
  hand(4096);
  EXPECT_EQ(raisedBy([&] { hand(4096); }), (Raised{1002, ENOSPC}));
  EXPECT_EQ(raisedBy([&] { hand(4096); }), support::nothing);
  endOfData();
  end(*worker);
  EXPECT_EQ(raisedBy([&] { worker->raiseError(); }), support::nothing);
  EXPECT_THAT(records(), IsEmpty());
  EXPECT_EQ(probe.count(CallKind::write), 1);
}

TEST_F(WriteWorker, FailureOfTheLastBlockIsRaisedAfterTheEnd) {
  start();
  hand(4096);
  probe.waitForOthers(CallKind::write, 1);
  probe.failNth(CallKind::write, 1, ENOSPC);
  hand(10);
  endOfData();
  end(*worker);
  EXPECT_EQ(raisedBy([&] { worker->raiseError(); }), (Raised{1002, ENOSPC}));
  EXPECT_EQ(raisedBy([&] { worker->raiseError(); }), support::nothing);
  EXPECT_EQ(records().size(), 1U);
}

TEST_F(WriteWorker, ShortWriteGoesOnUntilAllIsWritten) {
  hand(4096);
  probe.shorten(CallKind::write, 5, 3);
  worker->writeThreadStep();
  EXPECT_EQ(plainOf(records().at(0)), caseBytes(kRow0, 4096));
}

TEST_F(WriteWorker, WriteThatMovesNothingIsAnError) {
  hand(4096);
  probe.shorten(CallKind::write, 0, 1000);
  worker->writeThreadStep();
  EXPECT_EQ(raisedBy([&] { hand(1); }).number, 1002);
  EXPECT_THAT(records(), IsEmpty());
}

TEST_F(WriteWorker, EndsWithoutTheEndOfData) {
  start();
  hand(4096);
  end(*worker);
  end(*worker);
}

TEST_F(WriteWorker, StoppingBeforeInitialisingAsksTheReadingOperation_KeptAsIs) {
  end(*worker);
  EXPECT_THAT(assertions.takeTexts(), ElementsAre("0"));
}

TEST_F(WriteWorker, StopsInEveryState) {
  worker->initThread(false);
  end(*worker);
  worker->initThread(false);
  worker->startThread();
  end(*worker);
}

TEST_F(WriteWorker, DestructionEndsTheThreadInEveryState) {
  start();
  worker = std::make_unique<PreIOThread_W_C>(file.get(), &table, kSmall, kRow0, kRow0 + 24);
  start();
  hand(4096);
  worker = std::make_unique<PreIOThread_W_C>(file.get(), &table, kSmall, kRow0, kRow0 + 24);
  start();
  hand(4096);
  endOfData();
}

TEST_F(WriteWorker, StoppingWithoutTheEndFinishesTheBlockInHand) {
  start();
  hand(4096);
  hand(4096);  // taken only once the thread has processed the first
  end(*worker);
  EXPECT_EQ(records().size(), 2U);
}

TEST_F(WriteWorker, TwoThousandLivesInARow) {
  for (int round = 0; round < 2000; ++round) {
    worker = std::make_unique<PreIOThread_W_C>(file.get(), &table, 64, kRow0, kRow0 + 24);
    start();
    for (int block = 0; block < round % 3; ++block) {
      ASSERT_EQ(hand(64), 64U);
    }
    if (round % 4 != 0) {
      endOfData();
    }
    ASSERT_TRUE(worker->stopThread());
    ASSERT_TRUE(round % 2 == 0 || worker->releasePool());
    table.clearCollected();
  }
}

}  // namespace
