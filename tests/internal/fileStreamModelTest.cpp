#include <gmock/gmock.h>

#include <algorithm>
#include <cstddef>
#include <iostream>
#include <random>
#include <string>
#include <vector>

#include "support/streamTest.h"

namespace {

using namespace support;

/// Drives a stream and a string through the same random operations and compares what they say.
///
/// Three deliberate oddities of the stream would make it differ from any string, so the rules for its
/// callers are obeyed: it is flushed before a request of a block or more and before reading ahead, and
/// flushed and reset behind a write of a block or more.
class Model {
 public:
  Model(VORN_FileStream& stream, unsigned int seed, bool readsAhead)
      : stream_(stream), random_(seed), readsAhead_(readsAhead) {}

  void run(int steps) {
    for (int step = 0; step < steps && !::testing::Test::HasFailure(); ++step) {
      log_.clear();
      operate();
      EXPECT_EQ(stream_.Tell(), position_) << log_;
    }
    stream_.Close();
  }

  const std::string& content() const { return content_; }

 private:
  static constexpr int64 kSpan = 2 * blockSize + 70000;

  int64 below(int64 limit) { return std::uniform_int_distribution<int64>(0, limit - 1)(random_); }

  std::size_t someLength() {
    switch (below(12)) {
      case 0:
        return static_cast<std::size_t>(blockSize + below(5000) - 2500);
      case 1:
      case 2:
        return static_cast<std::size_t>(below(300000));
      default:
        return static_cast<std::size_t>(below(2000));
    }
  }

  /// Often near a place where something changes: a block's end, a multiple of 512, the end.
  int64 somePosition() {
    const int64 size = static_cast<int64>(content_.size());
    switch (below(5)) {
      case 0:
        return std::max<int64>(0, blockSize * below(3) + below(40) - 20);
      case 1:
        return std::max<int64>(0, size + below(2000) - 1500);
      case 2:
        return 512 * below(kSpan / 512);
      case 3:
        return std::max<int64>(0, position_ + below(4000) - 2000);
      default:
        return below(kSpan);
    }
  }

  void operate() {
    switch (below(20)) {
      case 0:
        log_ = "Flush";
        EXPECT_EQ(stream_.Flush(), 1);
        break;
      case 1:
        log_ = "Close";
        EXPECT_EQ(stream_.Close(), 1);
        break;
      case 2:
        switchMode();
        break;
      case 3:
        log_ = "Flush and ClearAndReset";
        stream_.Flush();
        stream_.ClearAndReset();
        position_ = 0;
        break;
      case 4:
      case 5:
      case 6:
      case 7:
      case 8:
        seek();
        break;
      case 9:
      case 10:
      case 11:
      case 12:
        write();
        break;
      default:
        read();
        break;
    }
  }

  void switchMode() {
    switch (below(readsAhead_ ? 4 : 2)) {
      case 0:
        log_ = "DisablePreReading";
        stream_.DisablePreReading();
        preReading_ = false;
        break;
      case 1:
        log_ = "EnablePreReading";
        stream_.EnablePreReading();
        preReading_ = true;
        break;
      case 2:
        log_ = "EnableMultiThreadReading";
        stream_.EnableMultiThreadReading();
        ahead_ = true;
        break;
      default:
        log_ = "DisableMultiThreadReading";
        stream_.DisableMultiThreadReading();
        ahead_ = false;
        break;
    }
  }

  void seek() {
    const int64 wanted = somePosition();
    const auto direction = static_cast<int>(below(3));
    const int64 base = direction == 0 ? 0 : direction == 1 ? position_ : static_cast<int64>(content_.size());
    log_ = "Seek to " + std::to_string(wanted) + " by direction " + std::to_string(direction);
    EXPECT_EQ(stream_.Seek(wanted - base, direction), 0);
    EXPECT_EQ(stream_.EndOfFile(), 0) << log_;
    position_ = wanted;
  }

  void write() {
    const std::size_t length = someLength();
    log_ = "Write " + std::to_string(length) + " at " + std::to_string(position_);
    std::string bytes(length, '\0');
    for (std::size_t i = 0; i < length; i += 1 + i / 16) {
      bytes[i] = static_cast<char>(below(256));
    }
    EXPECT_EQ(stream_.Write(bytes.data(), length), length) << log_;
    if (length > 0) {
      const auto place = static_cast<std::size_t>(position_);
      content_.resize(std::max(content_.size(), place + length), '\0');
      content_.replace(place, length, bytes);
      position_ += static_cast<int64>(length);
    }
    if (static_cast<int64>(length) >= blockSize) {
      const int64 behind = stream_.Tell();
      stream_.Flush();
      stream_.ClearAndReset();
      stream_.Seek(behind, 0);
    }
  }

  void read() {
    const std::size_t length = someLength();
    log_ = "Read " + std::to_string(length) + " at " + std::to_string(position_);
    if (static_cast<int64>(length) >= blockSize || (ahead_ && preReading_)) {
      stream_.Flush();
    }
    std::string bytes(length, '?');
    bytes.resize(stream_.Read(bytes.data(), length));
    const std::string expected = position_ < static_cast<int64>(content_.size())
                                     ? content_.substr(static_cast<std::size_t>(position_), length)
                                     : std::string();
    EXPECT_EQ(bytes.size(), expected.size()) << log_;
    EXPECT_TRUE(bytes == expected) << log_ << ": the bytes differ";
    position_ += static_cast<int64>(expected.size());
  }

  VORN_FileStream& stream_;
  std::mt19937 random_;
  const bool readsAhead_;
  std::string content_;
  int64 position_ = 0;
  bool preReading_ = true;
  bool ahead_ = false;
  std::string log_;
};

class StreamModel : public StreamTest, public ::testing::WithParamInterface<unsigned int> {
 protected:
  void compare(bool readsAhead) {
    // 0 stands for a seed of today's.
    const unsigned int seed = GetParam() != 0 ? GetParam() : std::random_device()();
    std::cout << "seed " << seed << '\n';
    SCOPED_TRACE("seed " + std::to_string(seed));
    open("f", "w+b");
    Model model(*stream, seed, readsAhead);
    model.run(250);
    stream.reset();
    EXPECT_TRUE(folder.readWhole("f") == model.content()) << "the file differs from the model";
  }
};

TEST_P(StreamModel, RandomOperationsAgreeWithAString) { compare(false); }

TEST_P(StreamModel, RandomOperationsAgreeWithAStringWhileReadingAheadGoesOnAndOff) { compare(true); }

INSTANTIATE_TEST_SUITE_P(Seeds, StreamModel, ::testing::Values(0U, 1U, 2U, 3U, 4U, 5U, 6U, 7U, 8U, 9U, 10U, 11U));

}  // namespace
