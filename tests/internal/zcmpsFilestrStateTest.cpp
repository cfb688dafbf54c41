#include <cerrno>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "Datasource/systemFileException.h"
#include "support/compressedTest.h"

// What a compressed stream is doing behind each operation, by what it was doing before: one test for each cell of the
// table in zcmpsFilestrData.h.

namespace {

using support::CallKind;
using support::kBlock;
using support::kRow0;
using support::StreamHolder;
using State = zcmpsFilestrPeer::State;

constexpr std::size_t kLength = 3000;
constexpr int64 kEnd = kRow0 + static_cast<int64>(kLength);
constexpr int kStates = 8;

const char* nameOf(State state) {
  static const char* const kNames[kStates] = {"Plain",       "Reading",   "Serving", "Writing",
                                              "Interrupted", "Extending", "Failed",  "Finished"};
  return kNames[static_cast<int>(state)];
}

bool takesData(State state) {
  return state == State::writing || state == State::interrupted || state == State::extending;
}

bool reads(State state) { return state == State::reading || state == State::serving; }

/// What the operations of a row have at hand.
struct Stage {
  zcmpsFilestr& stream;
  support::TestFolder& folder;
  support::CallProbe& probe;
  State before;

  /// Puts a sound file of `kLength` bytes of case data in the place of what the stream has written.
  void putSoundFile() const { folder.writePlain("f", support::imageBytes(kRow0, kLength)); }
  /// Writes at the stream's position.
  std::size_t write(std::size_t length) const {
    const std::string bytes(length, 'w');
    return stream.Write(bytes.data(), bytes.size());
  }
  std::size_t readAt(int64 position) const { return support::readAt(stream, position, 10).size(); }
};

enum class Ends { normally, inAnError };

/// One line of the table: an operation, how it ends, and the state behind it by the state before it; none where the
/// operation cannot end so.
struct Row {
  const char* name;
  Ends ends;
  int mode;
  std::function<void(const Stage&)> run;
  std::optional<State> after[kStates];
};

constexpr auto kPlain = State::plain;
constexpr auto kReading = State::reading;
constexpr auto kServing = State::serving;
constexpr auto kWriting = State::writing;
constexpr auto kInterrupted = State::interrupted;
constexpr auto kExtending = State::extending;
constexpr auto kFailed = State::failed;
constexpr auto kFinished = State::finished;
constexpr std::nullopt_t kNone = std::nullopt;

void openFails(const Stage& on) { on.probe.failEvery(CallKind::open, EMFILE); }
void writesFail(const Stage& on) { on.probe.failEvery(CallKind::write, ENOSPC); }

const std::vector<Row>& rows() {
  static const std::vector<Row> all = {
      {"SetRow0Pos",
       Ends::normally,
       0,
       [](const Stage& on) { on.stream.setRow0Pos(kRow0); },
       {kWriting, kWriting, kWriting, kWriting, kWriting, kWriting, kWriting, kWriting}},
      {"SetRow0PosOfAFileThatDoesNotOpen",
       Ends::inAnError,
       0,
       [](const Stage& on) {
         openFails(on);
         on.stream.setRow0Pos(kRow0);
       },
       {kPlain, kReading, kReading, kFailed, kFailed, kFailed, kFailed, kFinished}},
      {"ReadFilePosInfo",
       Ends::normally,
       0,
       [](const Stage& on) {
         on.putSoundFile();
         on.stream.readFilePosInfo(kRow0, false);
       },
       {kReading, kReading, kReading, kReading, kReading, kReading, kReading, kReading}},
      {"ReadFilePosInfoRefused",
       Ends::normally,
       0,
       [](const Stage& on) { on.stream.readFilePosInfo(kRow0 + 1, false); },
       {kPlain, kPlain, kPlain, kPlain, kPlain, kPlain, kPlain, kPlain}},
      {"SetFileToAppend",
       Ends::normally,
       0,
       [](const Stage& on) {
         on.putSoundFile();
         on.stream.readFilePosInfo(kRow0, false);  // where the heading is, no other operation says
         on.stream.Seek(kEnd, VORN_StrBaseIO::SeekFromStart);
         on.stream.setFileToAppend(kEnd, false);
       },
       {kExtending, kExtending, kExtending, kNone, kNone, kNone, kNone, kNone}},
      {"SetFileToAppendBehindAWriter",
       Ends::normally,
       0,
       [](const Stage& on) {
         on.putSoundFile();
         on.stream.Seek(kEnd, VORN_StrBaseIO::SeekFromStart);
         on.stream.setFileToAppend(kEnd, false);
       },
       {kNone, kNone, kNone, kExtending, kExtending, kExtending, kExtending, kExtending}},
      {"SetFileToAppendRefused",
       Ends::normally,
       0,
       [](const Stage& on) {
         on.putSoundFile();
         on.stream.Seek(kEnd, VORN_StrBaseIO::SeekFromStart);
         on.stream.setFileToAppend(kEnd + 1, false);
       },
       {kPlain, kPlain, kPlain, kFailed, kFailed, kFailed, kFailed, kFinished}},
      {"SetFileToAppendOfAFileThatDoesNotOpen",
       Ends::inAnError,
       0,
       [](const Stage& on) {
         openFails(on);
         on.stream.setFileToAppend(kEnd, false);
       },
       {kPlain, kReading, kReading, kFailed, kFailed, kFailed, kFailed, kFinished}},
      {"GiveUp",
       Ends::normally,
       0,
       [](const Stage& on) {
         on.stream.giveUp();
         EXPECT_EQ(on.stream.Close(), takesData(on.before) || on.before == kFailed ? 0 : 1);
       },
       {kPlain, kReading, kServing, kFailed, kFailed, kFailed, kFailed, kFinished}},
      {"Read",
       Ends::normally,
       0,
       [](const Stage& on) { EXPECT_EQ(on.readAt(kRow0), reads(on.before) ? 10U : 0U); },
       {kPlain, kServing, kServing, kWriting, kInterrupted, kExtending, kFailed, kFinished}},
      {"ReadBehindTheData",
       Ends::normally,
       0,
       [](const Stage& on) { EXPECT_EQ(on.readAt(kEnd + 1), 0U); },
       {kPlain, kReading, kReading, kNone, kNone, kNone, kNone, kNone}},
      {"ReadOfADamagedBlock",
       Ends::normally,
       0,
       [](const Stage& on) {
         on.folder.patchByte("f", kRow0 + 24, 0xEE);
         EXPECT_EQ(on.readAt(kRow0), 0U);
       },
       {kNone, kReading, kNone, kNone, kNone, kNone, kNone, kNone}},
      {"Write",
       Ends::normally,
       0,
       [](const Stage& on) { EXPECT_EQ(on.write(100), takesData(on.before) ? 100U : 0U); },
       {kPlain, kReading, kServing, kWriting, kWriting, kExtending, kFailed, kFinished}},
      {"JumpedWrite",
       Ends::normally,
       0,
       [](const Stage& on) {
         on.stream.Seek(1, VORN_StrBaseIO::SeekFromCurrent);
         EXPECT_EQ(on.write(100), 0U);
       },
       {kNone, kNone, kNone, kWriting, kInterrupted, kExtending, kNone, kNone}},
      {"WriteThatRaises",
       Ends::inAnError,
       0,
       [](const Stage& on) {
         writesFail(on);
         on.write(2 * kBlock);
       },
       {kNone, kNone, kNone, kInterrupted, kInterrupted, kExtending, kNone, kNone}},
      {"WriteThatMeetsTheWorkersError",
       Ends::inAnError,
       1,
       [](const Stage& on) {
         writesFail(on);
         on.write(3 * kBlock);
       },
       {kNone, kNone, kNone, kFailed, kNone, kNone, kNone, kNone}},
      {"Flush",
       Ends::normally,
       0,
       [](const Stage& on) { EXPECT_EQ(on.stream.Flush(), 1); },
       {kPlain, kReading, kServing, kWriting, kInterrupted, kExtending, kFailed, kFinished}},
      {"FlushThatRaises",
       Ends::inAnError,
       0,
       [](const Stage& on) {
         writesFail(on);
         on.stream.Flush();
       },
       {kNone, kNone, kNone, kWriting, kInterrupted, kExtending, kNone, kNone}},
      {"FlushThatMeetsTheWorkersError",
       Ends::inAnError,
       1,
       [](const Stage& on) {
         writesFail(on);
         on.stream.Flush();
         on.write(100);
         on.stream.Flush();
       },
       {kNone, kNone, kNone, kFailed, kNone, kNone, kNone, kNone}},
      {"Close",
       Ends::normally,
       0,
       [](const Stage& on) { EXPECT_EQ(on.stream.Close(), on.before == kFailed ? 0 : 1); },
       {kPlain, kReading, kServing, kFinished, kFinished, kFinished, kFailed, kFinished}},
      {"CloseThatRaises",
       Ends::inAnError,
       0,
       [](const Stage& on) {
         writesFail(on);
         on.stream.Close();
       },
       {kNone, kNone, kNone, kWriting, kInterrupted, kExtending, kNone, kNone}},
      {"CloseThatMeetsTheWorkersError",
       Ends::inAnError,
       1,
       [](const Stage& on) {
         writesFail(on);
         on.stream.Close();
       },
       {kNone, kNone, kNone, kFailed, kNone, kNone, kNone, kNone}},
      {"CloseThatCannotOpenForReading",
       Ends::inAnError,
       0,
       [](const Stage& on) {
         openFails(on);
         on.stream.Close();
       },
       {kNone, kNone, kNone, kFinished, kFinished, kFinished, kNone, kNone}},
      {"AnotherFileIsOpened",
       Ends::normally,
       0,
       [](const Stage& on) {
         on.stream.Open(on.folder.writePlain("other", "other").c_str(), "rb");
         on.stream.Flush();  // the stream notices with its next operation
       },
       {kPlain, kPlain, kPlain, kFailed, kFailed, kFailed, kFailed, kFinished}},
      {"SeekAndTell",
       Ends::normally,
       0,
       [](const Stage& on) {
         on.stream.Seek(7, VORN_StrBaseIO::SeekFromStart);
         EXPECT_EQ(on.stream.Tell(), 7);
       },
       {kPlain, kReading, kServing, kWriting, kInterrupted, kExtending, kFailed, kFinished}},
  };
  return all;
}

struct Cell {
  const Row* row;
  State before;
};

std::vector<Cell> cells() {
  std::vector<Cell> all;
  for (const Row& row : rows()) {
    for (int state = 0; state < kStates; ++state) {
      if (row.after[state].has_value()) {
        all.push_back({&row, static_cast<State>(state)});
      }
    }
  }
  return all;
}

void PrintTo(const Cell& cell, std::ostream* out) { *out << cell.row->name << " when " << nameOf(cell.before); }

class CompressedState : public support::CompressedTest, public ::testing::WithParamInterface<Cell> {
 protected:
  void SetUp() override { probe.letOthersWrite(); }

  StreamHolder writing() {
    StreamHolder stream = support::startWriting(folder.path("f"), GetParam().row->mode);
    support::writeCases(*stream, 100);
    return stream;
  }
  /// A stream that is in the state `wanted`, and a file.
  StreamHolder streamThatIs(State wanted) {
    if (wanted == kPlain || reads(wanted) || wanted == kExtending) {
      makeFile("f", kLength);
    }
    switch (wanted) {
      case State::plain:
        return support::openPlain(folder.path("f"));
      case State::reading:
        return support::startReading(folder.path("f"));
      case State::serving: {
        StreamHolder stream = support::startReading(folder.path("f"));
        support::readOnce(*stream, 10);
        return stream;
      }
      case State::extending: {
        StreamHolder stream = support::startAppending(folder.path("f"), kEnd);
        support::writeCases(*stream, 100);
        return stream;
      }
      default:
        break;
    }
    StreamHolder stream = writing();
    leadTo(wanted, *stream);
    probe.failNone();
    return stream;
  }
  /// Leads a stream that writes into another state.
  void leadTo(State wanted, zcmpsFilestr& stream) {
    const std::string block(kBlock, 'i');
    if (wanted == State::interrupted) {
      probe.failEvery(CallKind::write, ENOSPC);
      EXPECT_THROW(stream.Write(block.data(), block.size()), StringSysError);
    } else if (wanted == State::failed) {
      stream.giveUp();
    } else if (wanted == State::finished) {
      stream.Close();
    }
  }
  static Ends run(const Row& row, const Stage& stage) {
    try {
      row.run(stage);
      return Ends::normally;
    } catch (const StringSysError&) {
    } catch (const SystemFileException&) {
    }
    return Ends::inAnError;
  }
};

TEST_P(CompressedState, FollowsTheTable) {
  const auto& [row, before] = GetParam();
  StreamHolder stream = streamThatIs(before);
  ASSERT_EQ(stateOf(*stream), before);
  EXPECT_EQ(run(*row, {*stream, folder, probe, before}), row->ends);
  EXPECT_STREQ(nameOf(stateOf(*stream)), nameOf(*row->after[static_cast<int>(before)]));
  EXPECT_EQ(zcmpsFilestrPeer::isWriting(*stream), stateOf(*stream) >= kWriting);
  probe.failNone();
  stream.reset();
  (void)assertions.take();
}

INSTANTIATE_TEST_SUITE_P(Each, CompressedState, ::testing::ValuesIn(cells()), [](const auto& tested) {
  return std::string(tested.param.row->name) + "When" + nameOf(tested.param.before);
});

/// A file that cannot be opened for update while the stream writes it. The stream used to count as one that reads: it
/// served what lay in its write buffer, and its Close was a success.
class CompressedReopen : public support::CompressedTest, public ::testing::WithParamInterface<int> {
 protected:
  static void startAgain(zcmpsFilestr& stream) { stream.setRow0Pos(kRow0); }
  static void append(zcmpsFilestr& stream) { stream.setFileToAppend(kRow0 + 500, false); }

  /// Writes, fails to reopen, and checks what the stream then says.
  void expectLost(void (*reopen)(zcmpsFilestr&)) {
    auto stream = support::startWriting(folder.path("f"), GetParam());
    support::writeCases(*stream, 500);
    probe.failEvery(CallKind::open, EACCES);
    EXPECT_THROW(reopen(*stream), SystemFileException);
    probe.failNone();
    EXPECT_EQ(support::readAt(*stream, kRow0, 10), "");
    EXPECT_THAT(assertions.takeTexts(), testing::ElementsAre("bIsWriting == false"));
    stream->Seek(kRow0 + 500, VORN_StrBaseIO::SeekFromStart);
    EXPECT_EQ(stream->Write("abc", 3), 0U);
    EXPECT_EQ(stream->Close(), 0);
    stream.reset();
    EXPECT_FALSE(contents("f").sound());
  }
};

TEST_P(CompressedReopen, ThatFailsForANewFileLosesWhatWasTaken) { expectLost(startAgain); }

TEST_P(CompressedReopen, ThatFailsForAnAppendLosesWhatWasTaken) { expectLost(append); }

TEST_P(CompressedReopen, ThatFailsBehindAFinishedFileLosesNothing) {
  const auto stream = support::startWriting(folder.path("f"), GetParam());
  support::writeCases(*stream, 500);
  EXPECT_EQ(stream->Close(), 1);
  probe.failEvery(CallKind::open, EACCES);
  EXPECT_THROW(stream->setRow0Pos(kRow0), SystemFileException);
  probe.failNone();
  EXPECT_EQ(stream->Write("abc", 3), 0U);
  EXPECT_EQ(stream->Close(), 1);
  expectCases("f", 500);
}

TEST_P(CompressedReopen, ThatFailsIsMadeGoodByALaterOne) {
  const auto stream = support::startWriting(folder.path("f"), GetParam());
  support::writeCases(*stream, 500);
  probe.failEvery(CallKind::open, EACCES);
  EXPECT_THROW(stream->setRow0Pos(kRow0), SystemFileException);
  probe.failNone();
  stream->setRow0Pos(kRow0);
  stream->Seek(kRow0, VORN_StrBaseIO::SeekFromStart);
  support::writeCases(*stream, 300);
  EXPECT_EQ(stream->Close(), 1);
  expectCases("f", 300);
}

INSTANTIATE_TEST_SUITE_P(Mode, CompressedReopen, ::testing::Values(0, 1), ::testing::PrintToStringParamName());

}  // namespace
