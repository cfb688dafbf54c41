#include <functional>
#include <string>
#include <vector>

#include "Datasource/systemFileException.h"
#include "support/compressedTest.h"

// Every report of the compressed stream that an owner can provoke, made to a handler that throws: whatever is done
// with the stream next ends in right data, in nothing, or in a further error, and never in a success that is none.

namespace {

using support::AssertionRecorder;
using support::AssertionThrown;
using support::caseBytes;
using support::Contents;
using support::Image;
using support::kBlock;
using support::kBlockLength;
using support::kRow0;
using support::StreamHolder;

constexpr std::size_t kLength = 3000;
constexpr int64 kEnd = kRow0 + 2 * static_cast<int64>(kLength);

/// How a stream comes to the operation that reports.
enum class Before { unread, loaded, loadedByWorker, written, writtenByWorker, finished };

/// Returns: the state's name, for the test's.
std::string nameOf(Before before) {
  static const char* const kNames[] = {"Unread", "Loaded", "LoadedByWorker", "Written", "WrittenByWorker", "Finished"};
  return kNames[static_cast<int>(before)];
}

class ThrowingHandler : public support::CompressedTest {
 protected:
  void SetUp() override { probe.letOthersWrite(); }

  /// A file of two short blocks and a stream over it that has come to `before`.
  StreamHolder streamIn(Before before, const std::function<void()>& damageFirst) {
    makeFile("f", Image::of(kRow0, {kLength, kLength}));
    damageFirst();
    taken = 0;
    switch (before) {
      case Before::unread:
        return support::openPlain(folder.path("f"));
      case Before::loaded:
      case Before::loadedByWorker: {
        StreamHolder stream = support::startReading(folder.path("f"), before == Before::loaded ? 0 : 2);
        support::readOnce(*stream, 100);
        return stream;
      }
      default:
        break;
    }
    StreamHolder stream = support::startWriting(folder.path("f"), before == Before::writtenByWorker ? 1 : 0);
    writeSome(*stream);
    if (before == Before::finished) {
      stream->Close();
      taken = 0;  // they are in the file
    }
    return stream;
  }

  /// Writes at the stream's position, other bytes than those of the file that was there before.
  void writeSome(zcmpsFilestr& stream) {
    const std::string bytes(500, '#');
    taken += stream.Write(bytes.data(), bytes.size());
  }

  /// Reads at `position` and checks that what comes is what the file holds there.
  void readSome(zcmpsFilestr& stream, int64 position) const {
    const std::string bytes = support::readAt(stream, position, 200);
    if (bytes.empty()) {
      return;
    }
    const Contents found = contents("f");
    const std::string expected = found.sound()
                                     ? found.data.substr(static_cast<std::size_t>(position - kRow0), bytes.size())
                                     : caseBytes(position, bytes.size());
    EXPECT_TRUE(support::sameBytes(bytes, expected)) << "at " << position;
  }

  /// Reads the heading, by which an owner in the middle of writing gives up what was taken.
  void readHeading(zcmpsFilestr& stream) {
    taken = 0;
    stream.readFilePosInfo(kRow0, false);
  }
  static void appendAtTheEnd(zcmpsFilestr& stream) {
    stream.Seek(kEnd, VORN_StrBaseIO::SeekFromStart);
    stream.setFileToAppend(kEnd, false);
  }

  /// Runs `step`; errors of every kind end it.
  static bool succeeds(const std::function<void()>& step) {
    try {
      step();
      return true;
    } catch (const AssertionThrown&) {
    } catch (const StringSysError&) {
    } catch (const SystemFileException&) {
    }
    return false;
  }

  /// Closes the stream; where that is a success, all that was taken is in the file.
  void closeAndCheck(zcmpsFilestr& stream) {
    int result = 0;
    if (succeeds([&] { result = stream.Close(); }) && result == 1 && taken > 0) {
      EXPECT_EQ(contents("f").fault, "") << "the close was a success and the file is not finished";
    }
  }

  /// What may follow the report, each alone and all of it in a row.
  void useOn(zcmpsFilestr& stream, int what) {
    const std::vector<std::function<void()>> steps = {
        [&] { readSome(stream, kRow0); },
        [&] { readSome(stream, kRow0 + 400); },
        [&] { readSome(stream, kEnd - 350); },
        [&] { writeSome(stream); },
        [&] {
          stream.Seek(kEnd, VORN_StrBaseIO::SeekFromStart);
          writeSome(stream);
        },
        [&] {
          appendAtTheEnd(stream);
          writeSome(stream);
        },
        [&] { readHeading(stream); },
        [&] { closeAndCheck(stream); },
    };
    const auto count = static_cast<int>(steps.size());
    for (int i = 0; i < count; ++i) {
      if (what == i || what == count) {
        (void)succeeds(steps[static_cast<std::size_t>(i)]);
      }
    }
    for (const int64 position : {kRow0, kRow0 + 400, kEnd - 350}) {
      (void)succeeds([&] { readSome(stream, position); });
    }
  }

  static constexpr int kUses = 9;

  /// Lets `provoke` report `text` to a handler that throws, on a stream that has come to `before`, and goes on in
  /// every way, under a handler that throws and one that returns. `damageFirst` changes the file before the stream
  /// opens it, `damage` behind that.
  void expectSound(
      const std::string& text, Before before, const std::function<void(zcmpsFilestr&)>& provoke,
      const std::function<void()>& damage = [] {}, const std::function<void()>& damageFirst = [] {}) {
    for (int use = 0; use < kUses; ++use) {
      for (const auto then : {AssertionRecorder::Then::raise, AssertionRecorder::Then::goOn}) {
        SCOPED_TRACE("use " + std::to_string(use) + (then == AssertionRecorder::Then::raise ? ", throwing" : ""));
        StreamHolder stream = streamIn(before, damageFirst);
        damage();
        const AssertionRecorder outer(then);
        {
          AssertionRecorder throwing(AssertionRecorder::Then::raise);
          (void)succeeds([&] { provoke(*stream); });
          EXPECT_THAT(throwing.takeTexts(), testing::Contains(text));
        }
        useOn(*stream, use);
        closeAndCheck(*stream);
        (void)succeeds([&] { stream.reset(); });
      }
    }
    (void)lost.take();
  }

  void patch(int64 place, unsigned char byte) { folder.patchByte("f", place, byte); }
  /// Changes one byte of the file to another value.
  void spoil(int64 place) { patch(place, static_cast<unsigned char>(folder.byteAt("f", place) ^ 0x40)); }
  int64 tablePos() const { return folder.sizeOf("f") - 72; }

  std::size_t taken = 0;
};

constexpr const char* kTableText = "ret == chInfo._size";

class ThrowingHandlerAtTheHeading : public ThrowingHandler, public ::testing::WithParamInterface<Before> {
 protected:
  const std::function<void(zcmpsFilestr&)> reread = [this](zcmpsFilestr& stream) { readHeading(stream); };
  const std::function<void(zcmpsFilestr&)> append = appendAtTheEnd;
  /// Puts a whole file in the place of what the stream has written, with one byte spoilt.
  void damage(const std::function<int64()>& place) {
    folder.writePlain("f", Image::of(kRow0, {kLength, kLength}).bytes());
    spoil(place());
  }
};

TEST_P(ThrowingHandlerAtTheHeading, OfAnotherPlace) {
  expectSound(support::kWrongHeadingForReading, GetParam(), reread, [&] { damage([] { return kRow0; }); });
}

TEST_P(ThrowingHandlerAtTheHeading, OfAnotherPlaceWhenAppending) {
  expectSound(support::kWrongHeadingForAppending, GetParam(), append, [&] { damage([] { return kRow0; }); });
}

TEST_P(ThrowingHandlerAtTheHeading, ThatIsCut) {
  expectSound("ret == sizeof(compressionHeading)", GetParam(), reread, [&] { folder.truncateTo("f", kRow0 + 20); });
}

TEST_P(ThrowingHandlerAtTheHeading, TableIsNotInTheFile) {
  expectSound(kTableText, GetParam(), reread, [&] { damage([] { return kRow0 + 12; }); });
}

TEST_P(ThrowingHandlerAtTheHeading, TableHasNoHeader) {
  expectSound("firstRecord.orginalPos == -100", GetParam(), reread, [&] { damage([&] { return tablePos(); }); });
}

TEST_P(ThrowingHandlerAtTheHeading, TableHasNoCount) {
  expectSound("firstRecord.translateSize >= 0", GetParam(), reread, [&] {
    damage([&] { return tablePos(); });
    spoil(tablePos());
    patch(tablePos() + 23, 0x80);
  });
}

TEST_P(ThrowingHandlerAtTheHeading, RecordsAreNoChain) {
  expectSound(kTableText, GetParam(), reread, [&] { damage([&] { return tablePos() + 48; }); });
}

TEST_P(ThrowingHandlerAtTheHeading, RecordsAreNoChainWhenAppending) {
  // An append reads the heading where an earlier operation found it; here none did.
  const char* const text = GetParam() == Before::unread ? support::kWrongHeadingForAppending : kTableText;
  expectSound(text, GetParam(), append, [&] { damage([&] { return tablePos() + 48; }); });
}

INSTANTIATE_TEST_SUITE_P(Of, ThrowingHandlerAtTheHeading,
                         ::testing::Values(Before::unread, Before::loaded, Before::written, Before::finished),
                         [](const auto& tested) { return nameOf(tested.param); });

TEST_F(ThrowingHandler, WorkerIsAliveWhenTheHeadingIsRead) {
  for (const Before before : {Before::loadedByWorker, Before::writtenByWorker}) {
    expectSound("fData->fpIOThread == 0", before, [&](zcmpsFilestr& stream) { readHeading(stream); });
  }
}

TEST_F(ThrowingHandler, WorkerIsAliveWhenAppendingStarts) {
  for (const Before before : {Before::loadedByWorker, Before::writtenByWorker}) {
    expectSound("fData->fpIOThread == 0", before, [](zcmpsFilestr& stream) { stream.setFileToAppend(kEnd, false); });
  }
}

TEST_F(ThrowingHandler, WorkerIsAliveWhenAModeIsChosen) {
  for (const int mode : {0, 1, 2}) {
    for (const Before before : {Before::loadedByWorker, Before::writtenByWorker}) {
      expectSound("fData->fpIOThread == 0", before, [mode](zcmpsFilestr& stream) { stream.setMultiThread(mode); });
    }
  }
}

TEST_F(ThrowingHandler, ReadWhileWriting) {
  for (const Before before : {Before::written, Before::writtenByWorker, Before::finished}) {
    expectSound("bIsWriting == false", before, [&](zcmpsFilestr& stream) { readSome(stream, kRow0); });
  }
}

TEST_F(ThrowingHandler, WriteWhileReading) {
  for (const Before before : {Before::unread, Before::loaded, Before::loadedByWorker}) {
    expectSound("bIsWriting == true", before, [&](zcmpsFilestr& stream) { writeSome(stream); });
  }
}

TEST_F(ThrowingHandler, JumpedWrite) {
  for (const Before before : {Before::written, Before::writtenByWorker}) {
    expectSound(support::kJumpedWrite, before, [&](zcmpsFilestr& stream) {
      stream.Seek(1, VORN_StrBaseIO::SeekFromCurrent);
      writeSome(stream);
    });
  }
}

TEST_F(ThrowingHandler, SeekFromTheEnd) {
  for (const Before before : {Before::unread, Before::loaded, Before::loadedByWorker, Before::written}) {
    expectSound("0 && \"seek from end with zcmpsFilestr::Seek\"", before,
                [](zcmpsFilestr& stream) { stream.Seek(0, VORN_StrBaseIO::SeekFromEnd); });
  }
}

TEST_F(ThrowingHandler, ReadWithoutAHeading) {
  expectSound("pInfoBuffer != 0", Before::unread, [&](zcmpsFilestr& stream) { readSome(stream, kRow0); });
}

TEST_F(ThrowingHandler, AppendAtAnotherEnd) {
  for (const Before before : {Before::loaded, Before::loadedByWorker}) {
    expectSound("fFilePos == endpos", before, [](zcmpsFilestr& stream) {
      stream.Close();
      stream.setFileToAppend(kEnd + 1, false);
    });
  }
}

/// The second block is damaged, and met by a read or by an append.
class ThrowingHandlerAtABlock : public ThrowingHandler, public ::testing::WithParamInterface<Before> {
 protected:
  const std::function<void(zcmpsFilestr&)> readThere = [this](zcmpsFilestr& stream) { readSome(stream, kEnd - 200); };
  const std::function<void(zcmpsFilestr&)> appendThere = [](zcmpsFilestr& stream) {
    stream.Close();
    appendAtTheEnd(stream);
  };
  int64 block() const { return Image::of(kRow0, {kLength, kLength}).records[1].translatePos; }
};

TEST_P(ThrowingHandlerAtABlock, ThatIsNoStream) {
  const auto damage = [&] { spoil(block()); };
  expectSound(
      "ret!= 0", GetParam(), readThere, [] {}, damage);
  expectSound(
      "ret!= 0", GetParam(), appendThere, [] {}, damage);
}

TEST_P(ThrowingHandlerAtABlock, WithAWrongCheckValue) {
  const auto damage = [&] { spoil(tablePos() - 1); };
  expectSound(
      support::kCorruptBlock, GetParam(), readThere, [] {}, damage);
  expectSound(
      support::kCorruptBlock, GetParam(), appendThere, [] {}, damage);
}

INSTANTIATE_TEST_SUITE_P(Of, ThrowingHandlerAtABlock, ::testing::Values(Before::loaded, Before::loadedByWorker),
                         [](const auto& tested) { return nameOf(tested.param); });

/// Files of whole blocks, which the others do without.
class ThrowingHandlerAtWholeBlocks : public support::CompressedTest {};

TEST_F(ThrowingHandlerAtWholeBlocks, ReadOfMoreThanTheNextBlock) {
  const std::string path = makeFile("f", 3 * kBlock);
  for (const int mode : {0, 2}) {
    const auto stream = support::startReading(path, mode);
    std::string bytes(2 * kBlock, '?');
    stream->Seek(kRow0 + 10, VORN_StrBaseIO::SeekFromStart);
    {
      const AssertionRecorder throwing(AssertionRecorder::Then::raise);
      EXPECT_THROW(stream->Read(bytes.data(), bytes.size()), AssertionThrown);
    }
    const auto delivered = static_cast<std::size_t>(stream->Tell() - kRow0 - 10);
    EXPECT_TRUE(support::sameBytes(bytes.substr(0, delivered), caseBytes(kRow0 + 10, delivered)));
    EXPECT_TRUE(support::sameBytes(support::readOnce(*stream, 100), caseBytes(kRow0 + 2 * kBlockLength, 100)));
  }
}

TEST_F(ThrowingHandlerAtWholeBlocks, AppendAtAnotherEnd) {
  makeFile("f", kBlock);
  const std::string before = folder.readWhole("f");
  auto stream = support::startReading(folder.path("f"));
  {
    const AssertionRecorder throwing(AssertionRecorder::Then::raise);
    EXPECT_THROW(stream->setFileToAppend(kRow0 + kBlockLength + 5, false), AssertionThrown);
  }
  stream->Seek(kRow0 + kBlockLength, VORN_StrBaseIO::SeekFromStart);
  EXPECT_EQ(stream->Write("abc", 3), 0U);
  EXPECT_EQ(stream->Close(), 1);
  stream.reset();
  EXPECT_EQ(folder.readWhole("f"), before);
  (void)assertions.take();
}

}  // namespace
