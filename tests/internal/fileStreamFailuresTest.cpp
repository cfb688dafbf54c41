#include <gmock/gmock.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>

#include "support/failureSweep.h"
#include "support/streamTest.h"

namespace {

using namespace support;

constexpr auto B = static_cast<std::size_t>(blockSize);
constexpr std::size_t kLength = 2 * B + 1000;

/// Each scenario is run with its 1st, 2nd, 3rd ... low-level call failing. It says in `complete` that it
/// has done all it wanted with the right result; then nothing else may have gone wrong either.
class FailureSweep : public StreamTest {
 protected:
  void SetUp() override { stream.reset(); }

  /// Sweeps over `scenario`, in which errors have this number. An error that only a destructor met must
  /// have gone to the lost-error handler.
  void sweepOver(int number, const std::function<void()>& scenario) {
    sweepCalls(
        probe, EIO,
        [this] {
          complete = false;
          opened = true;
        },
        scenario,
        [this, number](const SweepRound& round) {
          EXPECT_EQ(probe.openDescriptors(), 0);
          const auto errors = lost.take();
          for (const auto& error : errors) {
            EXPECT_EQ(error.error.systemError, EIO) << error.where;
          }
          if (round.raised != nothing) {
            EXPECT_EQ(round.raised, (Raised{number, EIO}));
          } else if (opened) {
            EXPECT_TRUE(complete);
          }
          if (round.failuresMade == 0) {
            EXPECT_TRUE(complete);
            EXPECT_TRUE(errors.empty());
          }
        });
  }

  bool openOr(VORN_FileStream& in, const char* name, const char* mode) {
    opened = in.Open(folder.path(name).c_str(), mode) == 1;
    return opened;
  }

  /// Reads the file "f" to its end in pieces. Returns: whether all of it was right.
  static bool readsRight(VORN_FileStream& in, std::size_t piece) {
    std::string bytes(piece, '?');
    std::size_t position = 0;
    while (const std::size_t count = in.Read(bytes.data(), piece)) {
      if (bytes.substr(0, count) != selfDescribing(static_cast<int64>(position), count)) {
        ADD_FAILURE() << "wrong bytes at " << position;
        return false;
      }
      position += count;
    }
    return position == kLength;
  }

  static void writeAll(VORN_FileStream& out, std::size_t piece) {
    for (std::size_t position = 0; position < kLength; position += piece) {
      const std::string bytes = selfDescribing(static_cast<int64>(position), std::min(piece, kLength - position));
      ASSERT_EQ(out.Write(bytes.data(), bytes.size()), bytes.size());
    }
  }

  bool complete = false;
  bool opened = true;
};

TEST_F(FailureSweep, ReadingThroughTheBuffer) {
  folder.writeDescribing("f", kLength);
  sweepOver(1003, [this] {
    VORN_FileStream in;
    complete = openOr(in, "f", "rb") && readsRight(in, 500000);
  });
}

TEST_F(FailureSweep, ReadingStraightFromTheFile) {
  folder.writeDescribing("f", kLength);
  sweepOver(1003, [this] {
    VORN_FileStream in;
    in.DisablePreReading();
    complete = openOr(in, "f", "rb") && readsRight(in, 3000000);
  });
}

TEST_F(FailureSweep, ReadingPiecesLargerThanTheBuffer) {
  folder.writeDescribing("f", kLength);
  sweepOver(1003, [this] {
    VORN_FileStream in;
    complete = openOr(in, "f", "rb") && readsRight(in, B + 700);
  });
}

TEST_F(FailureSweep, ReadingAhead) {
  folder.writeDescribing("f", kLength);
  sweepOver(1003, [this] {
    VORN_FileStream in;
    if (openOr(in, "f", "rb")) {
      in.EnableMultiThreadReading();
      complete = readsRight(in, 500000);
    }
  });
}

TEST_F(FailureSweep, ReadingAheadWithSeeks) {
  folder.writeDescribing("f", kLength);
  sweepOver(1003, [this] {
    VORN_FileStream in;
    if (!openOr(in, "f", "rb")) {
      return;
    }
    in.EnableMultiThreadReading();
    std::string bytes(100, '?');
    complete = true;
    for (const int64 position : {int64{0}, blockSize, int64{300}, 2 * blockSize, blockSize - 50, int64{0}}) {
      in.Seek(position, 0);
      complete = in.Read(bytes.data(), 100) == 100 && bytes == selfDescribing(position, 100) && complete;
    }
  });
}

TEST_F(FailureSweep, WritingThroughTheBuffer) {
  sweepOver(1002, [this] {
    {
      VORN_FileStream out;
      if (!openOr(out, "f", "w+b")) {
        return;
      }
      writeAll(out, 500000);
      EXPECT_EQ(out.Close(), 1);
    }
    complete = folder.readWhole("f") == selfDescribing(0, kLength);
  });
}

TEST_F(FailureSweep, WritingLeftToTheDestructor) {
  sweepOver(1002, [this] {
    {
      VORN_FileStream out;
      if (!openOr(out, "f", "w+b")) {
        return;
      }
      writeAll(out, 500000);
    }
    complete = folder.readWhole("f") == selfDescribing(0, kLength);
  });
}

TEST_F(FailureSweep, WritingPiecesLargerThanTheBuffer) {
  sweepOver(1002, [this] {
    {
      VORN_FileStream out;
      if (!openOr(out, "f", "w+b")) {
        return;
      }
      writeAll(out, B + 700);
      EXPECT_EQ(out.Close(), 1);
    }
    complete = folder.readWhole("f") == selfDescribing(0, kLength);
  });
}

TEST_F(FailureSweep, WritingInScatteredPlaces) {
  sweepOver(1002, [this] {
    folder.writeDescribing("f", 5000);
    {
      VORN_FileStream out;
      if (!openOr(out, "f", "r+b")) {
        return;
      }
      for (const int64 position : {4000, 100, 3000, 104, 20}) {
        out.Seek(position, 0);
        out.Write("abcd", 4);
      }
      EXPECT_EQ(out.Close(), 1);
    }
    std::string expected = selfDescribing(0, 5000);
    for (const std::size_t position : {4000U, 100U, 3000U, 104U, 20U}) {
      expected.replace(position, 4, "abcd");
    }
    complete = folder.readWhole("f") == expected;
  });
}

TEST_F(FailureSweep, CopyingAStreamThatIsBeingWritten) {
  sweepOver(1002, [this] {
    {
      VORN_FileStream out;
      if (!openOr(out, "f", "w+b")) {
        return;
      }
      out.Write("0123456789", 10);
      VORN_FileStream copy(out);
      copy.Seek(10, 0);
      copy.Write("abc", 3);
      EXPECT_EQ(copy.Close(), 1);
    }
    complete = folder.readWhole("f") == "0123456789abc";
  });
}

TEST_F(FailureSweep, CopyingFromOneFileToAnother) {
  folder.writeDescribing("f", kLength);
  const auto scenario = [this] {
    {
      VORN_FileStream in;
      VORN_FileStream out;
      if (!openOr(in, "f", "rb") || !openOr(out, "g", "wb")) {
        return;
      }
      std::string bytes(700000, '?');
      while (const std::size_t count = in.Read(bytes.data(), bytes.size())) {
        EXPECT_EQ(out.Write(bytes.data(), count), count);
      }
      EXPECT_EQ(out.Close(), 1);
    }
    complete = folder.readWhole("g") == selfDescribing(0, kLength);
  };
  sweepCalls(
      probe, EIO,
      [this] {
        complete = false;
        opened = true;
      },
      scenario,
      [this](const SweepRound& round) {
        lost.take();
        EXPECT_EQ(probe.openDescriptors(), 0);
        EXPECT_TRUE(complete || !opened || round.raised == (Raised{1002, EIO}) || round.raised == (Raised{1003, EIO}))
            << round.raised;
        EXPECT_TRUE(complete || round.failuresMade != 0);
      });
}

// The seek that finds the end at the opening is not examined: the position is then -1, and the write there
// fails with an error of its own.
TEST_F(FailureSweep, Appending) {
  const auto scenario = [this] {
    {
      VORN_FileStream out;
      if (!openOr(out, "f", "ab")) {
        return;
      }
      out.Write("defg", 4);
      EXPECT_EQ(out.Close(), 1);
      out.Write("hi", 2);
      EXPECT_EQ(out.Close(), 1);
    }
    complete = folder.readWhole("f") == "abcdefghi";
  };
  sweepCalls(
      probe, EIO,
      [this] {
        complete = false;
        opened = true;
        folder.writePlain("f", "abc");
      },
      scenario,
      [this](const SweepRound& round) {
        lost.take();
        EXPECT_EQ(probe.openDescriptors(), 0);
        EXPECT_TRUE(complete || !opened || round.raised == (Raised{1002, EIO}) ||
                    round.raised == (Raised{1002, EINVAL}))
            << round.raised;
        EXPECT_TRUE(complete || round.failuresMade != 0);
        EXPECT_EQ(folder.readAt("f", 0, 3), "abc") << "what was there is never touched";
      });
}

/// Goes on where the stream stands until everything is written, whatever single errors come.
void writeStubbornly(VORN_FileStream& out, const std::string& bytes, CallProbe& probe) {
  for (int errors = 0; errors < 3;) {
    try {
      while (out.Tell() < static_cast<int64>(bytes.size())) {
        const auto from = static_cast<std::size_t>(out.Tell());
        out.Write(bytes.data() + from, std::min<std::size_t>(900000, bytes.size() - from));
      }
      EXPECT_EQ(out.Close(), 1);
      return;
    } catch (const StringSysError&) {
      ++errors;
      probe.failNone();
    }
  }
  ADD_FAILURE() << "errors without end";
}

TEST_F(FailureSweep, ARetryBehindASingleErrorWritesTheWholeFile) {
  const std::string bytes = selfDescribing(0, kLength);
  for (int number = 2;; ++number) {
    SCOPED_TRACE("call " + std::to_string(number));
    {
      VORN_FileStream out(folder.path("f").c_str(), "w+b");
      probe.failCall(number - 1, ENOSPC);
      writeStubbornly(out, bytes, probe);
    }
    EXPECT_TRUE(folder.readWhole("f") == bytes);
    lost.take();  // of a failing close at the end
    const bool metIt = probe.failuresMade() != 0 || number == 2;
    probe.failNone();
    if (number > 20 || !metIt) {
      break;
    }
  }
}

}  // namespace
