#include <string>

#include "support/compressedTest.h"
#include "support/failingCodec.h"

// A codec that makes nothing of a block, for want of memory: nothing is recorded and the file is not finished.

namespace {

using support::kBlock;
using support::kRow0;

class CodecFailure : public support::CompressedTest {
 protected:
  void expectUnfinished(const std::string& name) { EXPECT_FALSE(contents(name).sound()); }
};

TEST_F(CodecFailure, LastBlockIsNotRecordedAndCloseSaysSo) {
  for (const int mode : {0, 1}) {
    SCOPED_TRACE(mode);
    const support::CodecWithoutMemory noMemory;
    auto stream = support::startWriting(folder.path("f"), mode);
    support::writeCases(*stream, 1000);
    EXPECT_EQ(stream->Close(), 0);
    EXPECT_THAT(assertions.takeTexts(), testing::ElementsAre("ret != 0"));
    EXPECT_EQ(stream->Close(), 0);
    stream.reset();
    expectUnfinished("f");
  }
}

TEST_F(CodecFailure, BlockInTheMiddleEndsTheSession) {
  const std::string bytes = support::caseBytes(kRow0, 3 * kBlock);
  for (const int mode : {0, 1}) {
    SCOPED_TRACE(mode);
    const support::CodecWithoutMemory noMemory;
    auto stream = support::startWriting(folder.path("f"), mode);
    std::size_t taken = 0;
    for (int i = 0; i < 3; ++i) {
      taken += stream->Write(bytes.data() + taken, kBlock);
    }
    EXPECT_LT(taken, bytes.size());
    EXPECT_EQ(stream->Write("abc", 3), 0U);
    EXPECT_EQ(stream->Close(), 0);
    EXPECT_THAT(assertions.takeTexts(), testing::ElementsAre("ret != 0"));
    stream.reset();
    expectUnfinished("f");
  }
}

TEST_F(CodecFailure, OneWriteOfSeveralBlocksStopsAtTheOneThatFails) {
  const std::string bytes = support::caseBytes(kRow0, 3 * kBlock);
  const support::CodecWithoutMemory noMemory;
  auto stream = support::startWriting(folder.path("f"), 0);
  EXPECT_EQ(stream->Write(bytes.data(), bytes.size()), kBlock);
  EXPECT_EQ(stream->Close(), 0);
  EXPECT_THAT(assertions.takeTexts(), testing::ElementsAre("ret != 0"));
  stream.reset();
  expectUnfinished("f");
}

TEST_F(CodecFailure, HandlerThatThrowsLeavesTheSessionFailed) {
  for (const int mode : {0, 1}) {
    SCOPED_TRACE(mode);
    const support::CodecWithoutMemory noMemory;
    const support::AssertionRecorder throwing(support::AssertionRecorder::Then::raise);
    auto stream = support::startWriting(folder.path("f"), mode);
    support::writeCases(*stream, 1000);
    EXPECT_THROW(stream->Close(), support::AssertionThrown);
    EXPECT_EQ(stream->Close(), 0);
    stream.reset();
    expectUnfinished("f");
  }
}

TEST_F(CodecFailure, AppendLeavesTheOldHeadingAndTable) {
  makeFile("f", kBlock);
  const std::string before = folder.readWhole("f");
  const support::CodecWithoutMemory noMemory;
  auto stream = support::startAppending(folder.path("f"), kRow0 + static_cast<int64>(kBlock));
  support::writeCases(*stream, 1000);
  EXPECT_EQ(stream->Close(), 0);
  stream.reset();
  EXPECT_EQ(folder.readWhole("f"), before);
  EXPECT_THAT(assertions.takeTexts(), testing::ElementsAre("ret != 0"));
}

}  // namespace
