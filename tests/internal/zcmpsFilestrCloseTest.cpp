#include <cerrno>
#include <cstddef>
#include <stdexcept>
#include <string>
#include <vector>

#include "Datasource/systemFileException.h"
#include "support/compressedTest.h"

// How a compressed stream ends.

namespace {

using support::CallKind;
using support::kBlock;
using support::kRow0;
using support::Raised;
using support::raisedBy;
using support::startReading;
using support::startWriting;
using support::writeCases;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr int kNothing = -1;

/// The modes that make no worker and the one that makes one, while writing.
class CompressedClose : public support::CompressedTest, public ::testing::WithParamInterface<int> {
 protected:
  support::StreamHolder start() { return startWriting(folder.path("f"), GetParam()); }
  /// A stream with `length` bytes of case data written, not closed.
  support::StreamHolder written(std::size_t length) {
    auto stream = start();
    writeCases(*stream, length);
    return stream;
  }
  /// What is written, in order: "write N @P" of each.
  Texts writes() const {
    Texts result;
    for (const std::string& call : probe.list()) {
      if (call.compare(0, 5, "write") == 0) {
        result.push_back(call);
      }
    }
    return result;
  }
};

TEST_P(CompressedClose, TableIsWrittenBehindTheLastBlockAndTheHeadingLast) {
  const auto stream = written(5000);
  probe.clear();
  EXPECT_EQ(stream->Close(), 1);
  const support::Contents found = contents("f");
  const Texts list = writes();
  ASSERT_GE(list.size(), 3U);
  EXPECT_EQ(list[list.size() - 2], "write 48 @" + std::to_string(found.heading._infoPos));
  EXPECT_EQ(list[list.size() - 1], "write 24 @" + std::to_string(kRow0));
}

TEST_P(CompressedClose, TableIsWrittenByTheOwnersThreadWithNoWorkerLeft) {
  const auto stream = written(kBlock + 5000);
  EXPECT_EQ(stream->Close(), 1);
  EXPECT_FALSE(hasWorker(*stream));
  const std::vector<support::Call> calls = probe.calls();
  bool tableSeen = false;
  for (const support::Call& call : calls) {
    tableSeen = tableSeen || (call.kind == CallKind::write && call.ownThread && call.length == 72);
    EXPECT_FALSE(tableSeen && !call.ownThread);
  }
  EXPECT_TRUE(tableSeen);
}

TEST_P(CompressedClose, FileIsOpenForReadingAfterwards) {
  const auto stream = written(100);
  probe.clear();
  stream->Close();
  const Texts list = probe.list();
  ASSERT_GE(list.size(), 2U);
  EXPECT_EQ(list[list.size() - 2], "open 0x8010");
  EXPECT_EQ(list.back(), "identity") << "another file of that name is not read";
  EXPECT_THAT(list, testing::Contains("close"));
  stream->VORN_FileStream::Seek(0, VORN_StrBaseIO::SeekFromStart);
  std::string bytes(10, '?');
  EXPECT_EQ(stream->VORN_FileStream::Read(bytes.data(), 10), 10U);
  EXPECT_EQ(bytes, "dictionary");
}

TEST_P(CompressedClose, RepeatedCloseDoesNothing) {
  const auto stream = written(kBlock + 100);
  EXPECT_EQ(stream->Close(), 1);
  probe.clear();
  EXPECT_EQ(stream->Close(), 1);
  EXPECT_EQ(stream->Close(), 1);
  EXPECT_THAT(probe.list(), IsEmpty());
  expectCases("f", kBlock + 100);
}

TEST_P(CompressedClose, WritingStateStaysAfterClose_KeptAsIs) {
  const auto stream = written(100);
  stream->Close();
  EXPECT_TRUE(zcmpsFilestrPeer::isWriting(*stream));
  EXPECT_EQ(support::readAt(*stream, kRow0, 10), "");
  EXPECT_THAT(assertions.takeTexts(), ElementsAre("bIsWriting == false"));
}

TEST_P(CompressedClose, WritingAfterCloseTakesNothing) {
  const auto stream = written(100);
  stream->Close();
  EXPECT_EQ(stream->Write("abc", 3), 0U);
  EXPECT_EQ(stream->Flush(), 1);
  EXPECT_EQ(stream->Close(), 1);
  expectCases("f", 100);
}

TEST_P(CompressedClose, ClosedWriterReadsOnceItsHeadingIsRead) {
  const auto stream = written(kBlock + 100);
  stream->Close();
  stream->readFilePosInfo(kRow0, false);
  EXPECT_TRUE(support::sameBytes(support::readRest(*stream), support::caseBytes(kRow0, kBlock + 100)));
  EXPECT_EQ(support::readAt(*stream, kRow0 + static_cast<int64>(kBlock) + 100, 10), "");
}

TEST_P(CompressedClose, ReadingStateInTheMiddleOfWritingDropsTheRest_KeptAsIs) {
  const auto stream = written(kBlock + 100);
  stream->readFilePosInfo(kRow0, false);
  EXPECT_THAT(assertions.takeTexts(), testing::Contains(support::kWrongHeadingForReading));
  EXPECT_EQ(stream->Close(), 1);
  EXPECT_FALSE(contents("f").sound());
}

TEST_P(CompressedClose, WhatIsGivenUpIsNeverFinished) {
  for (const bool closed : {false, true}) {
    auto stream = written(kBlock + 100);
    stream->giveUp();
    EXPECT_FALSE(hasWorker(*stream));
    probe.clear();
    EXPECT_EQ(stream->Write("abc", 3), 0U);
    if (closed) {
      EXPECT_EQ(stream->Close(), 0);
    }
    stream.reset();
    EXPECT_THAT(writes(), IsEmpty());
    EXPECT_FALSE(contents("f").sound());
  }
}

TEST_P(CompressedClose, GivingUpTellsAWorkersErrorToTheLostErrorHandler) {
  const auto stream = start();
  probe.failNth(CallKind::write, 1, ENOSPC);
  EXPECT_EQ(raisedBy([&] { writeCases(*stream, kBlock); }).number, GetParam() == 0 ? 1002 : 0);
  stream->giveUp();
  EXPECT_EQ(lost.take().size(), GetParam() == 0 ? 0U : 1U);
}

TEST_P(CompressedClose, WhatWasGivenUpMayBeBegunAgain) {
  const auto stream = written(100);
  stream->giveUp();
  stream->setRow0Pos(kRow0);
  stream->Seek(kRow0, VORN_StrBaseIO::SeekFromStart);
  writeCases(*stream, 300);
  EXPECT_EQ(stream->Close(), 1);
  expectCases("f", 300);
}

TEST_P(CompressedClose, CloseOfTheBasePartLeavesTheFileUnfinished_KeptAsIs) {
  const auto stream = written(100);
  probe.clear();
  EXPECT_EQ(static_cast<const VORN_FileStream&>(*stream).Close(), 1);
  EXPECT_THAT(writes(), IsEmpty());
  EXPECT_EQ(stream->Close(), 1);
  expectCases("f", 100);
}

TEST_P(CompressedClose, DestructionFinishesTheFile) {
  for (const std::size_t length : {std::size_t{0}, std::size_t{100}, kBlock, kBlock + 100}) {
    written(length).reset();
    expectCases("f", length);
  }
}

TEST_P(CompressedClose, DestructionByUnwindingFinishesTheFile) {
  try {
    const auto stream = written(kBlock + 100);
    throw std::runtime_error("something else");
  } catch (const std::runtime_error&) {
  }
  expectCases("f", kBlock + 100);
}

TEST_P(CompressedClose, DestructionRaisesWhatFinishingRaises) {
  auto stream = written(100);
  probe.failEvery(CallKind::write, ENOSPC);
  EXPECT_EQ(raisedBy([&] { stream.reset(); }), (Raised{1002, ENOSPC}));
  EXPECT_TRUE(stream.empty());
  EXPECT_FALSE(contents("f").sound());
}

TEST_P(CompressedClose, ErrorWhileUnwindingIsHandedToTheLostErrorHandler) {
  try {
    const auto stream = written(100);
    probe.failEvery(CallKind::write, ENOSPC);
    throw std::runtime_error("something else");
  } catch (const std::runtime_error&) {
  }
  probe.failNone();
  const auto lostErrors = lost.take();
  ASSERT_EQ(lostErrors.size(), 1U);
  EXPECT_EQ(lostErrors[0].error, (Raised{1002, ENOSPC}));
}

TEST_P(CompressedClose, ReopenThatFailsRaises1201AndTheFileIsFinished) {
  auto stream = written(100);
  probe.failEvery(CallKind::open, EMFILE);
  try {
    stream->Close();
    FAIL() << "nothing was raised";
  } catch (const SystemFileException& error) {
    EXPECT_STREQ(error.expression, "VORN_FileStream::Open(GetNameStr(), password, \"rb\")");
    EXPECT_THAT(error.sourceFile, testing::EndsWith("Datasource/src/zcmpsFilestr"));
    EXPECT_EQ(error.errorNumber, 1201);
    EXPECT_TRUE(error.flag);
  }
  EXPECT_EQ(stream->Close(), 1);
  stream.reset();
  expectCases("f", 100);
}

TEST_P(CompressedClose, FailedTableMayBeWrittenByAnotherClose) {
  const auto stream = written(100);
  probe.failIf([](const support::Call& call) { return call.kind == CallKind::write && call.length == 48 ? EIO : 0; });
  EXPECT_EQ(raisedBy([&] { stream->Close(); }), (Raised{1002, EIO}));
  probe.failNone();
  if (stream->Close() == 1) {
    expectCases("f", 100);
  } else {
    EXPECT_FALSE(contents("f").sound());
  }
}

TEST_P(CompressedClose, FullDiskAtAnyWriteLeavesNoFileThatReads) {
  for (int number = 1; number <= 4; ++number) {
    auto stream = start();
    probe.failNth(CallKind::write, number, ENOSPC);
    Raised raised;
    raised = raisedBy([&] {
      writeCases(*stream, kBlock + 100);
      stream->Close();
    });
    EXPECT_EQ(raised, (Raised{1002, ENOSPC})) << number;
    EXPECT_FALSE(contents("f").sound()) << number;
    (void)raisedBy([&] { stream.reset(); });
    (void)lost.take();
  }
}

TEST_P(CompressedClose, NewSessionAfterAFailedOneIsAFileOfItsOwn) {
  auto stream = start();
  probe.failNth(CallKind::write, 1, ENOSPC);
  (void)raisedBy([&] {
    writeCases(*stream, 2 * kBlock);
    stream->Close();
  });
  probe.failNone();
  stream->setRow0Pos(kRow0);
  stream->Seek(kRow0, VORN_StrBaseIO::SeekFromStart);
  writeCases(*stream, kBlock + 300);
  EXPECT_EQ(stream->Close(), 1);
  expectCases("f", kBlock + 300);
}

TEST_P(CompressedClose, ErrorNobodyWasToldOfDoesNotStopANewSession) {
  auto stream = start();
  probe.failNth(CallKind::write, 1, ENOSPC);
  EXPECT_EQ(raisedBy([&] { writeCases(*stream, kBlock); }).number, GetParam() == 0 ? 1002 : 0);
  (void)raisedBy([&] { stream->setRow0Pos(kRow0); });
  probe.failNone();
  stream->setRow0Pos(kRow0);
  stream->Seek(kRow0, VORN_StrBaseIO::SeekFromStart);
  writeCases(*stream, 300);
  EXPECT_EQ(stream->Close(), 1);
  expectCases("f", 300);
  // The worker's error has nobody left to be raised to.
  EXPECT_EQ(lost.take().size(), GetParam() == 0 ? 0U : 1U);
}

TEST_P(CompressedClose, ShortWritesGoOnUntilAllIsWritten) {
  auto stream = start();
  probe.shorten(CallKind::write, 1000, 1'000'000);
  writeCases(*stream, kBlock + 100);
  EXPECT_EQ(stream->Close(), 1);
  expectCases("f", kBlock + 100);
}

TEST_P(CompressedClose, WriteThatMovesNothingIsAnErrorAndNoEndlessLoop) {
  auto stream = written(100);
  probe.shorten(CallKind::write, 0, 1'000'000);
  EXPECT_EQ(raisedBy([&] { stream->Close(); }).number, 1002);
  (void)raisedBy([&] { stream.reset(); });
  (void)lost.take();
  EXPECT_FALSE(contents("f").sound());
}

TEST_P(CompressedClose, WriteRefusedByAThrowingHandlerLeavesTheStreamToBeFinished) {
  auto stream = written(100);
  const support::AssertionRecorder throwing(support::AssertionRecorder::Then::raise);
  stream->Seek(kRow0 + 5, VORN_StrBaseIO::SeekFromStart);
  EXPECT_THROW(stream->Write("abc", 3), support::AssertionThrown);
  stream.reset();
  expectCases("f", 100);
}

TEST_P(CompressedClose, FileClosedBehindTheStreamIsAssertedOn) {
  auto stream = start();
  closeBehind(*stream);
  (void)raisedBy([&] { stream->Close(); });
  EXPECT_THAT(assertions.takeTexts(), testing::Contains("fData->pRealFile.IsOpen() == true"));
  (void)raisedBy([&] { stream.reset(); });
  (void)assertions.take();
}

TEST_P(CompressedClose, ThrowingHandlerDuringCloseIsRaisedByTheDestructorToo) {
  auto stream = start();
  closeBehind(*stream);
  const support::AssertionRecorder throwing(support::AssertionRecorder::Then::raise);
  EXPECT_THROW(stream->Close(), support::AssertionThrown);
  EXPECT_THROW(stream.reset(), support::AssertionThrown);
}

INSTANTIATE_TEST_SUITE_P(Mode, CompressedClose, ::testing::Values(0, 1), ::testing::PrintToStringParamName());

class CompressedEnd : public support::CompressedTest, public ::testing::WithParamInterface<int> {};

TEST_P(CompressedEnd, StreamThatDidNothingEndsQuietly) {
  const std::string path = makeFile("f", 100);
  const auto stream = support::openPlain(path, GetParam());
  probe.clear();
  EXPECT_EQ(stream->Close(), 1);
  EXPECT_EQ(stream->Close(), 1);
  EXPECT_THAT(probe.list(), IsEmpty());
}

TEST_P(CompressedEnd, ClosingAReaderDoesNotCloseTheFile) {
  const auto stream = startReading(makeFile("f", 100), GetParam());
  probe.clear();
  EXPECT_EQ(stream->Close(), 1);
  EXPECT_EQ(probe.count(CallKind::close), 0);
  EXPECT_EQ(support::readAt(*stream, kRow0, 10), support::caseBytes(kRow0, 10));
}

TEST_P(CompressedEnd, ReaderIsDestroyedInEveryState) {
  const std::string path = makeFile("f", 2 * kBlock + 10);
  for (int blocks = kNothing; blocks <= 3; ++blocks) {
    const auto stream = startReading(path, GetParam());
    for (int block = 0; block <= blocks; ++block) {
      support::readAt(*stream, kRow0 + block * support::kBlockLength, 10);
    }
  }
}

TEST_P(CompressedEnd, ReaderIsDestroyedWhileAPrefetchRuns) {
  const auto stream = startReading(makeFile("f", 2 * kBlock), GetParam());
  support::readAt(*stream, kRow0, 10);
}

TEST_P(CompressedEnd, ReaderIsDestroyedByUnwinding) {
  const std::string path = makeFile("f", 2 * kBlock);
  try {
    const auto stream = startReading(path, GetParam());
    support::readAt(*stream, kRow0, 10);
    throw std::runtime_error("something else");
  } catch (const std::runtime_error&) {
  }
}

TEST_P(CompressedEnd, ReaderOverAFileThatFailsIsDestroyedQuietly) {
  auto stream = startReading(makeFile("f", 2 * kBlock), GetParam());
  probe.failEvery(CallKind::read, EIO);
  EXPECT_EQ(raisedBy([&] { support::readAt(*stream, kRow0, 10); }), (Raised{1003, EIO}));
  stream.reset();
}

INSTANTIATE_TEST_SUITE_P(Mode, CompressedEnd, ::testing::Values(0, 1, 2, 3), ::testing::PrintToStringParamName());

}  // namespace
