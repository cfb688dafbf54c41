#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "Datasource/sortTemp/zlibCompress.h"
#include "blockCodec.h"
#include "support/assertionRecorder.h"
#include "support/compressedBytes.h"
#include "support/compressedImage.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr const char* kText = "souce||dest||outCount||inCount";
constexpr const char* kSource = "Datasource/src/sortTemp/zlibCompress";

unsigned char* bytesOf(std::string& text) { return reinterpret_cast<unsigned char*>(text.data()); }

class ZlibCodec : public ::testing::Test {
 protected:
  /// Compresses with room for `capacity` bytes; `output` holds what came out.
  int compress(std::string plain, std::size_t capacity) {
    output.assign(capacity, '\0');
    count = capacity;
    const int result = codec.compressBlock(bytesOf(plain), plain.size(), bytesOf(output), count);
    output.resize(count);
    return result;
  }
  int decompress(std::string stream, std::size_t capacity) {
    output.assign(capacity, '\0');
    count = capacity;
    const int result = codec.decompressBlock(bytesOf(stream), stream.size(), bytesOf(output), count);
    output.resize(count);
    return result;
  }
  void TearDown() override { EXPECT_THAT(assertions.takeTexts(), IsEmpty()); }

  support::AssertionRecorder assertions;
  zlibCompressBlock codec;
  std::string output;
  std::size_t count = 0;
};

TEST_F(ZlibCodec, CompressedBytesAreOneZlibStreamOfTheInput) {
  const std::string plain = support::caseBytes(0, 100'000);
  const int result = compress(plain, plain.size());
  EXPECT_EQ(static_cast<std::size_t>(result), count);
  std::string back;
  ASSERT_TRUE(support::unzipped(output, plain.size(), back));
  EXPECT_TRUE(support::sameBytes(back, plain));
  EXPECT_TRUE(codec.complete());
}

TEST_F(ZlibCodec, CompressionUsesTheFastestLevel) {
  const std::string plain = support::caseBytes(0, 300'000);
  compress(plain, plain.size());
  EXPECT_EQ(output, support::zipped(plain, 1));
  EXPECT_NE(output, support::zipped(plain, 6));
}

TEST_F(ZlibCodec, DecompressionGivesTheInputBackAndItsLength) {
  const std::string plain = support::caseBytes(512, 70'001);
  EXPECT_EQ(decompress(support::zipped(plain), 100'000), 70'001);
  EXPECT_EQ(count, 70'001U);
  EXPECT_TRUE(support::sameBytes(output, plain));
  EXPECT_TRUE(codec.complete());
}

TEST_F(ZlibCodec, AnObjectServesAnyNumberOfCallsInBothDirections) {
  for (const std::size_t length : {1U, 2U, 1000U, 65'536U, 3U}) {
    const std::string plain = support::caseBytes(0, length);
    ASSERT_GT(compress(plain, length + 100), 0);
    ASSERT_EQ(static_cast<std::size_t>(decompress(std::string(output), length)), length);
    EXPECT_EQ(output, plain);
  }
}

TEST_F(ZlibCodec, OutputThatDoesNotFitIsCutAndItsLengthReturned_KeptAsIs) {
  const std::string plain = support::randomBytes(10'000, 1);
  EXPECT_EQ(compress(plain, 500), 500);
  EXPECT_EQ(count, 500U);
  EXPECT_EQ(output, support::zipped(plain).substr(0, 500));
  EXPECT_FALSE(codec.complete());
}

TEST_F(ZlibCodec, BytesThatAreNoZlibStreamGiveNothing) {
  EXPECT_EQ(decompress("these bytes are no zlib stream", 1000), 0);
  EXPECT_FALSE(codec.complete());
}

TEST_F(ZlibCodec, DamageInTheMiddleGivesTheLengthProducedBeforeIt_KeptAsIs) {
  std::string stream = support::zipped(support::randomBytes(50'000, 2));
  stream.resize(20'000);
  const int result = decompress(stream, 50'000);
  EXPECT_GT(result, 0);
  EXPECT_LT(result, 50'000);
  EXPECT_EQ(static_cast<std::size_t>(result), count);
  EXPECT_FALSE(codec.complete());
}

TEST_F(ZlibCodec, WrongCheckValueCountsAsSuccessButIsNotComplete_KeptAsIs) {
  const std::string plain = support::caseBytes(0, 5000);
  std::string stream = support::zipped(plain);
  stream.back() = static_cast<char>(stream.back() ^ 1);
  EXPECT_EQ(decompress(stream, 5000), 5000);
  EXPECT_EQ(output, plain);
  EXPECT_FALSE(codec.complete());
}

TEST_F(ZlibCodec, DecompressionIntoTooLittleRoomIsCutAndNotComplete) {
  EXPECT_EQ(decompress(support::zipped(support::caseBytes(0, 5000)), 4999), 4999);
  EXPECT_EQ(output, support::caseBytes(0, 4999));
  EXPECT_FALSE(codec.complete());
}

TEST_F(ZlibCodec, UsageErrorFailsAndLeavesTheCountAlone) {
  std::size_t capacity = 77;
  EXPECT_EQ(codec.decompressBlock(nullptr, 10, nullptr, capacity), 0);
  EXPECT_EQ(capacity, 77U);
  EXPECT_EQ(codec.compressBlock(nullptr, 10, nullptr, capacity), 0);
  EXPECT_EQ(capacity, 77U);
  EXPECT_FALSE(codec.complete());
}

TEST_F(ZlibCodec, EmptyInputMakesAnEmptyStream) {
  ASSERT_GT(compress("", 100), 0);
  EXPECT_TRUE(codec.complete());
  EXPECT_EQ(decompress(std::string(output), 100), 0);
  EXPECT_TRUE(codec.complete());
}

// Whichever of the four that is.
TEST_F(ZlibCodec, AnyOneArgumentPasses) {
  unsigned char byte = 0;
  for (int given = 0; given < 4; ++given) {
    unsigned char* const source = given == 0 ? &byte : nullptr;
    unsigned char* const destination = given == 1 ? &byte : nullptr;
    const std::size_t sourceCount = given == 3 ? 1 : 0;
    for (const bool compressing : {true, false}) {
      count = given == 2 ? 1 : 0;
      if (compressing) {
        codec.compressBlock(source, sourceCount, destination, count);
      } else {
        codec.decompressBlock(source, sourceCount, destination, count);
      }
      EXPECT_THAT(assertions.takeTexts(), IsEmpty()) << given;
    }
    unsigned char* made = destination;
    count = given == 2 ? 1 : 0;
    if (codec.inflateToNew(source, sourceCount, made, count) == 0) {
      std::free(made);
    }
    EXPECT_THAT(assertions.takeTexts(), IsEmpty()) << given;
  }
}

TEST_F(ZlibCodec, OnlyFourEmptyArgumentsAreAssertedOn_KeptAsIs) {
  std::size_t none = 0;
  codec.compressBlock(nullptr, 0, nullptr, none);
  codec.decompressBlock(nullptr, 0, nullptr, none);
  const auto reports = assertions.take();
  ASSERT_EQ(reports.size(), 2U);
  for (const support::Report& report : reports) {
    EXPECT_EQ(report.expression, kText);
    EXPECT_EQ(report.file, kSource);
  }
  std::size_t one = 1;
  EXPECT_EQ(codec.compressBlock(nullptr, 0, nullptr, one), 0);
}

/// inflateToNew with what it hands out freed again.
class InflateToNew : public ZlibCodec {
 protected:
  int inflate(std::string stream, std::size_t guess) {
    unsigned char* dest = nullptr;
    count = guess;
    const int result = zlibCompressBlock::inflateToNew(bytesOf(stream), stream.size(), dest, count);
    if (result == 0) {
      const std::unique_ptr<unsigned char, decltype(&std::free)> owner(dest, &std::free);
      output.assign(reinterpret_cast<const char*>(dest), count);
    }
    return result;
  }
};

TEST_F(InflateToNew, GuessAboveTheLengthServesAtOnce) {
  const std::string plain = support::caseBytes(0, 3000);
  EXPECT_EQ(inflate(support::zipped(plain), 3001), 0);
  EXPECT_EQ(output, plain);
}

TEST_F(InflateToNew, EveryGuessGrowsUntilAllFits) {
  const std::string plain = support::caseBytes(0, 3000);
  const std::string stream = support::zipped(plain);
  for (const std::size_t guess : {3000U, 2999U, 1500U, 500U, 125U, 25U, 7U, 1U}) {
    EXPECT_EQ(inflate(stream, guess), 0) << guess;
    EXPECT_TRUE(support::sameBytes(output, plain)) << guess;
  }
}

TEST_F(InflateToNew, GuessOfNothingCountsAsOne) {
  EXPECT_EQ(inflate(support::zipped("some bytes"), 0), 0);
  EXPECT_EQ(output, "some bytes");
}

TEST_F(InflateToNew, DamagedStreamGivesWhatCameOutBeforeTheDamage_KeptAsIs) {
  std::string stream = support::zipped(support::randomBytes(50'000, 3));
  stream.resize(20'000);
  EXPECT_EQ(inflate(stream, 60'000), 0);
  EXPECT_GT(count, 0U);
  EXPECT_LT(count, 50'000U);
  EXPECT_EQ(inflate("no zlib stream at all", 10), 0);
  EXPECT_EQ(count, 0U);
}

TEST_F(InflateToNew, CapacityAboveThirtyTwoBitsFails) {
  unsigned char* dest = nullptr;
  std::string stream = support::zipped("x");
  std::size_t guess = 5'000'000'000;
  EXPECT_EQ(zlibCompressBlock::inflateToNew(bytesOf(stream), stream.size(), dest, guess), -1);
  EXPECT_EQ(dest, nullptr);
}

/// For as long as it lives, no room is enough for what comes out.
class EndlessStream {
 public:
  EndlessStream() {
    datasource::form::codecCalls().decompress = [](const unsigned char*, std::size_t, unsigned char*,
                                                   std::size_t room) {
      return datasource::form::CodecResult{datasource::form::Verdict::outputFull, room, 0, true};
    };
  }
  ~EndlessStream() { datasource::form::codecCalls() = before_; }
  EndlessStream(const EndlessStream&) = delete;
  EndlessStream& operator=(const EndlessStream&) = delete;

 private:
  datasource::form::CodecCalls before_ = datasource::form::codecCalls();
};

TEST_F(InflateToNew, GuessThatGrowsAboveThirtyTwoBitsFails) {
  const EndlessStream endless;
  // Times 1, 2, 6, 24, 120 and 720; 5,040 times as much is too long.
  EXPECT_EQ(inflate(support::zipped("x"), 900'000), -1);
  EXPECT_THAT(assertions.takeTexts(), IsEmpty());
}

TEST_F(InflateToNew, UsageErrorFailsAndThePointerIsNotToBeFreed_KeptAsIs) {
  unsigned char* dest = nullptr;
  std::size_t guess = 100;
  EXPECT_EQ(zlibCompressBlock::inflateToNew(nullptr, 10, dest, guess), -1);
  EXPECT_TRUE(dest != nullptr);
}

TEST_F(InflateToNew, FourEmptyArgumentsAreAssertedOn) {
  unsigned char* dest = nullptr;
  std::size_t none = 0;
  if (zlibCompressBlock::inflateToNew(nullptr, 0, dest, none) == 0) {
    std::free(dest);
  }
  const auto reports = assertions.take();
  ASSERT_EQ(reports.size(), 1U);
  EXPECT_EQ(reports[0].expression, kText);
  EXPECT_EQ(reports[0].file, kSource);
}

TEST_F(ZlibCodec, StoringTheArgumentsDoesNotDisturbACall) {
  codec.setArguments(nullptr, 1, nullptr, 2);
  EXPECT_EQ(decompress(support::zipped("abc"), 10), 3);
  EXPECT_EQ(output, "abc");
}

}  // namespace
