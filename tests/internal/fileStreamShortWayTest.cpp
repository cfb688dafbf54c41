#include <gmock/gmock.h>

#include <cstddef>
#include <cstring>
#include <ostream>
#include <set>
#include <string>
#include <vector>

#include "support/streamTest.h"

// Small reads and writes go a short way through the stream. At every boundary it does what the steps do that
// everything else goes through.

namespace {

using namespace support;

constexpr auto B = static_cast<std::size_t>(blockSize);

/// How the buffer comes to hold what it holds.
struct Setup {
  const char* name;
  std::size_t fileLength;
  const char* mode;
  bool fills;           ///< by a read at position 0
  std::size_t written;  ///< then by a write behind what the fill holds, or at 512
};

std::ostream& operator<<(std::ostream& out, const Setup& setup) { return out << setup.name; }

/// One stream on a file of its own, brought into the state of a setup.
class Side {
 public:
  using Data = VORN_FileStreamPeer::Data;

  Side(const TestFolder& folder, const std::string& name, const Setup& setup)
      : stream(folder.writeDescribing(name, setup.fileLength).c_str(), setup.mode) {
    stream.Seek(0, 0);
    char byte = 0;
    if (setup.fills) {
      stream.Read(&byte, 1);
    }
    if (setup.written > 0) {
      stream.Seek(setup.fills ? static_cast<int64>(setup.fileLength) : 512, 0);
      const std::string bytes(setup.written, 'w');
      stream.Write(bytes.data(), bytes.size());
    }
  }

  Data& data() const { return VORN_FileStreamPeer::data(stream); }

  VORN_FileStream stream;
};

class StreamShortWay : public StreamTest, public ::testing::WithParamInterface<Setup> {
 protected:
  /// Positions around all that a buffer has: its start, its valid end, its capacity.
  static std::vector<int64> positions(const Side& side) {
    const int64 start = side.data().bufferPos;
    const auto valid = static_cast<int64>(side.data().ValidBytes());
    std::set<int64> result;
    for (const int64 edge : {int64{0}, start, start + valid, start + blockSize}) {
      for (int64 near = -2; near <= 2; ++near) {
        if (edge + near >= 0) {
          result.insert(edge + near);
        }
      }
    }
    return {result.begin(), result.end()};
  }

  /// Sizes that end around the valid end and the capacity, and small ones. None of a block, which goes another way.
  static std::vector<std::size_t> sizes(const Side& side, int64 position) {
    std::set<std::size_t> result{0, 1, 2};
    const int64 start = side.data().bufferPos;
    for (const int64 edge : {start + static_cast<int64>(side.data().ValidBytes()), start + blockSize}) {
      for (int64 near = -2; near <= 2; ++near) {
        const int64 size = edge + near - position;
        if (size > 0 && size < blockSize) {
          result.insert(static_cast<std::size_t>(size));
        }
      }
    }
    return {result.begin(), result.end()};
  }

  static void expectSame(const Side& one, const Side& other) {
    EXPECT_EQ(one.stream.Tell(), other.stream.Tell());
    EXPECT_EQ(one.data().bufferPos, other.data().bufferPos);
    EXPECT_EQ(one.data().filePos, other.data().filePos);
    EXPECT_EQ(one.data().dirty, other.data().dirty);
    EXPECT_EQ(one.data().eof, other.data().eof);
    ASSERT_EQ(one.data().ValidBytes(), other.data().ValidBytes());
    EXPECT_EQ(std::memcmp(one.data().buffer, other.data().buffer, one.data().ValidBytes()), 0);
  }

  /// Runs both ways at one place, each on a fresh stream, and compares results, calls and states.
  template <typename Short, typename Steps>
  void compare(int64 position, std::size_t size, Short shortWay, Steps steps) {
    SCOPED_TRACE(std::to_string(size) + " bytes at " + std::to_string(position));
    Side one(folder, "one", GetParam());
    Side other(folder, "other", GetParam());
    one.stream.Seek(position, 0);
    other.stream.Seek(position, 0);
    probe.clear();
    std::size_t count = 0;
    const Raised raised = raisedBy([&] { count = shortWay(one.stream, size); });
    const Texts calls = probe.takeList();
    std::size_t countInSteps = 0;
    EXPECT_EQ(raisedBy([&] { countInSteps = steps(other.stream, size); }), raised);
    EXPECT_EQ(probe.takeList(), calls);
    EXPECT_EQ(countInSteps, count);
    expectSame(one, other);
    one.data().dirty = false;  // nothing is left to the destructors, which may fail
    other.data().dirty = false;
  }

  template <typename Short, typename Steps>
  void compareEverywhere(Short shortWay, Steps steps) {
    const Side measure(folder, "measure", GetParam());
    measure.data().dirty = false;
    for (const int64 position : positions(measure)) {
      for (const std::size_t size : sizes(measure, position)) {
        compare(position, size, shortWay, steps);
        if (HasFailure()) {
          return;
        }
      }
    }
  }

  std::string bytes = std::string(B, '!');
};

TEST_P(StreamShortWay, OfWritesAgreesWithTheSteps) {
  compareEverywhere([this](VORN_FileStream& one, std::size_t size) { return one.Write(bytes.data(), size); },
                    [this](VORN_FileStream& one, std::size_t size) {
                      return VORN_FileStreamPeer::writeInSteps(one, bytes.data(), size);
                    });
}

TEST_P(StreamShortWay, OfReadsAgreesWithTheSteps) {
  std::string first(B, '?');
  std::string second(B, '?');
  compareEverywhere([&](VORN_FileStream& one, std::size_t size) { return one.Read(first.data(), size); },
                    [&](VORN_FileStream& one, std::size_t size) {
                      const std::size_t count = VORN_FileStreamPeer::readInSteps(one, second.data(), size);
                      EXPECT_EQ(std::memcmp(first.data(), second.data(), count), 0);
                      return count;
                    });
}

constexpr std::size_t kShort = 3000;

INSTANTIATE_TEST_SUITE_P(Buffers, StreamShortWay,
                         ::testing::Values(Setup{"NeverFilled", kShort, "r+b", false, 0},
                                           Setup{"FilledByAShortFile", kShort, "r+b", true, 0},
                                           Setup{"FilledToItsEnd", B + 512, "r+b", true, 0},
                                           Setup{"FilledToItsEndForReadingOnly", B + 512, "rb", true, 0},
                                           Setup{"FilledUpToOneByte", B - 1, "r+b", true, 0},
                                           Setup{"Written", kShort, "r+b", false, 700},
                                           Setup{"WrittenBehindAFill", kShort, "r+b", true, 700},
                                           Setup{"WrittenUpToOneByte", kShort, "r+b", true, B - kShort - 1},
                                           Setup{"OnlyAppendedTo", kShort, "a+b", true, 0}),
                         [](const auto& buffer) { return std::string(buffer.param.name); });

}  // namespace
