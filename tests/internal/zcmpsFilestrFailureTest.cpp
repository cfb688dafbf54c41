#include <cerrno>
#include <cstddef>
#include <string>

#include "Datasource/systemFileException.h"
#include "support/compressedTest.h"
#include "support/failureSweep.h"
#include "threadSeam.h"

// Every low-level call of a whole road fails in turn, once and for good: each run ends with the error on the
// owner's thread or with success, and no file reads as complete that is not.

namespace {

using support::CallKind;
using support::caseBytes;
using support::Contents;
using support::kBlock;
using support::kBlockLength;
using support::kRow0;
using support::Raised;
using support::SweepRound;

/// Runs `body`; a file that could not be opened again counts as the error 1201.
template <typename Body>
void run(Body&& body) {
  try {
    body();
  } catch (const SystemFileException& error) {
    throw StringSysError("reopen", error.errorNumber, error.expression, EIO);
  }
}

class CompressedFailures : public support::CompressedTest, public ::testing::WithParamInterface<int> {
 protected:
  /// What a round ends with: raised on this thread if a call failed, except where the failure was only of a read
  /// ahead, or of a close whose error has no other road than the lost-error handler.
  void expectToldOrDone(const SweepRound& round) {
    const auto lostErrors = lost.take();
    if (round.raised != support::nothing) {
      EXPECT_TRUE(round.raised.number == 1002 || round.raised.number == 1003 || round.raised.number == 1201)
          << round.raised;
    }
    for (const auto& error : lostErrors) {
      EXPECT_NE(error.error.number, -1) << error.where;
    }
    EXPECT_EQ(probe.openDescriptors(), 0);
    EXPECT_EQ(probe.strayCalls(), 0);
  }
};

TEST_P(CompressedFailures, WritingEndsInAnErrorOrAWholeFile) {
  const std::size_t length = kBlock + 3000;
  support::sweepCalls(
      probe, ENOSPC, [&] { folder.writePlain("f", ""); },
      [&] {
        run([&] {
          const auto stream = support::startWriting(folder.path("f"), GetParam());
          support::writeCases(*stream, length);
          stream->Close();
        });
      },
      [&](const SweepRound& round) {
        expectToldOrDone(round);
        (void)assertions.take();  // writes into a file that was never opened
        if (round.raised == support::nothing && round.failuresMade == 0) {
          expectCases("f", length);
        }
        const Contents found = contents("f");
        if (found.sound()) {
          EXPECT_TRUE(support::sameBytes(found.data, caseBytes(kRow0, length)));
        }
      });
}

TEST_P(CompressedFailures, WritingWithoutCloseEndsInAnErrorOrAWholeFile) {
  const std::size_t length = kBlock + 3000;
  support::sweepCalls(
      probe, EIO, [&] { folder.writePlain("f", support::dictionaryBytes(kRow0)); },
      [&] {
        run([&] {
          const VORN_FileStream plain(folder.path("f").c_str(), "r+b");
          zcmpsFilestr stream(plain);
          stream.setMultiThread(GetParam());
          stream.setRow0Pos(kRow0);
          stream.Seek(kRow0, VORN_StrBaseIO::SeekFromStart);
          support::writeCases(stream, length);
        });
      },
      [&](const SweepRound& round) {
        expectToldOrDone(round);
        const Contents found = contents("f");
        EXPECT_TRUE(found.sound() || round.raised != support::nothing);
        if (found.sound()) {
          EXPECT_TRUE(support::sameBytes(found.data, caseBytes(kRow0, length)));
        }
      });
}

TEST_P(CompressedFailures, ReadingEndsInAnErrorOrRightData) {
  const std::size_t length = 2 * kBlock + 3000;
  makeFile("f", length);
  std::string delivered;
  support::sweepCalls(
      probe, EIO, [&] { delivered.clear(); },
      [&] {
        run([&] {
          const auto stream = support::startReading(folder.path("f"), GetParam() == 0 ? 0 : 2);
          delivered = support::readOnce(*stream, 1000);
          delivered += support::readAt(*stream, kRow0 + kBlockLength, 1000);
          delivered += support::readAt(*stream, kRow0 + 2 * kBlockLength, 4000);
          delivered += support::readAt(*stream, kRow0, 1000);
          stream->Close();
        });
      },
      [&](const SweepRound& round) {
        expectToldOrDone(round);
        const bool unopened = !assertions.take().empty();
        if (round.raised == support::nothing && !unopened) {
          EXPECT_TRUE(support::sameBytes(delivered, caseBytes(kRow0, 1000) + caseBytes(kRow0 + kBlockLength, 1000) +
                                                        caseBytes(kRow0 + 2 * kBlockLength, 3000) +
                                                        caseBytes(kRow0, 1000)));
        }
      });
}

INSTANTIATE_TEST_SUITE_P(Worker, CompressedFailures, ::testing::Values(0, 1), ::testing::PrintToStringParamName());

class CompressedAppendFailures : public CompressedFailures {};

TEST_P(CompressedAppendFailures, AppendingEndsInAnErrorOrAWholeFile) {
  const std::size_t before = GetParam() == 0 ? 3000 : kBlock;
  support::sweepCalls(
      probe, ENOSPC, [&] { makeFile("f", before); },
      [&] {
        run([&] {
          const auto stream = support::startAppending(folder.path("f"), kRow0 + static_cast<int64>(before));
          if (stateOf(*stream) == State::extending) {
            support::writeCases(*stream, 2000);
          }
          stream->Close();
        });
      },
      [&](const SweepRound& round) {
        expectToldOrDone(round);
        (void)assertions.take();  // a file that was never opened has no heading
        const Contents found = contents("f");
        if (found.sound()) {
          // Old or new, never anything else. What was on disk before the heading changed is still there.
          EXPECT_TRUE(found.data == caseBytes(kRow0, before) || found.data == caseBytes(kRow0, before + 2000))
              << found.data.size();
        }
        if (round.failuresMade == 0) {
          expectCases("f", before + 2000);
        }
      });
}

INSTANTIATE_TEST_SUITE_P(LastBlock, CompressedAppendFailures, ::testing::Values(0, 1),
                         [](const auto& kind) { return kind.param == 0 ? "partial" : "whole"; });

/// The system has no thread to give.
class CompressedWithoutThreads : public support::CompressedTest {
 protected:
  void SetUp() override {
    datasource::platform::setThreadStartHook([] { return false; });
  }
  void TearDown() override {
    datasource::platform::setThreadStartHook(nullptr);
    CompressedTest::TearDown();
  }
};

TEST_F(CompressedWithoutThreads, WritingGoesOnInline) {
  const auto stream = support::startWriting(folder.path("f"), 1);
  EXPECT_FALSE(hasWorker(*stream));
  support::writeCases(*stream, kBlock + 100);
  EXPECT_EQ(stream->Close(), 1);
  expectCases("f", kBlock + 100);
}

TEST_F(CompressedWithoutThreads, ReadingGoesOnInline) {
  const auto stream = support::startReading(makeFile("f", kBlock + 100), 2);
  EXPECT_FALSE(hasWorker(*stream));
  EXPECT_TRUE(support::sameBytes(support::readRest(*stream), caseBytes(kRow0, kBlock + 100)));
  EXPECT_EQ(stream->Close(), 1);
}

TEST_F(CompressedWithoutThreads, ReaderThatLosesItsWorkerOnARewindGoesOnInline) {
  datasource::platform::setThreadStartHook(nullptr);
  const auto stream = support::startReading(makeFile("f", 100), 2);
  EXPECT_TRUE(hasWorker(*stream));
  support::readRest(*stream);
  datasource::platform::setThreadStartHook([] { return false; });
  EXPECT_EQ(support::readAt(*stream, kRow0, 50), caseBytes(kRow0, 50));
  EXPECT_EQ(support::readAt(*stream, kRow0 + 90, 50), caseBytes(kRow0 + 90, 10));
}

}  // namespace
