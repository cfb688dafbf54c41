#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "encoder/blockEncoder.h"
#include "support/compressedBytes.h"
#include "support/compressedImage.h"
#include "support/deadline.h"

namespace {

using datasource::form::BlockEncoder;
using datasource::form::builtInEncoders;
using datasource::form::CodecResult;
using datasource::form::encodeBlock;
using datasource::form::EncoderChoice;
using datasource::form::encoderNamed;
using datasource::form::makeEncoder;
using datasource::form::Verdict;

constexpr char kMark = '\xA5';

struct Encoded {
  CodecResult result;
  std::string bytes;  ///< what was produced
};

/// Calls `encode` with room for `capacity` bytes; those behind them must stay.
template <typename Encode>
Encoded within(std::size_t capacity, Encode encode) {
  constexpr std::size_t kBehind = 512;
  std::string dest(capacity + kBehind, kMark);
  const CodecResult result = encode(reinterpret_cast<unsigned char*>(dest.data()));
  EXPECT_EQ(dest.substr(capacity), std::string(kBehind, kMark)) << "written behind the capacity";
  EXPECT_LE(result.produced, capacity);
  return {result, dest.substr(0, result.produced)};
}

Encoded compressed(BlockEncoder& encoder, const std::string& plain, std::size_t capacity) {
  return within(capacity, [&](unsigned char* dest) {
    return encoder.compress(reinterpret_cast<const unsigned char*>(plain.data()), plain.size(), dest, capacity);
  });
}

/// As the writers of files do it.
Encoded encoded(BlockEncoder& encoder, const std::string& plain, std::size_t capacity) {
  return within(capacity, [&](unsigned char* dest) {
    return encodeBlock(encoder, reinterpret_cast<const unsigned char*>(plain.data()), plain.size(), dest, capacity);
  });
}

/// Texts of several kinds and lengths: nothing to gain, all to gain, and between.
std::vector<std::string> samples() {
  std::vector<std::string> texts;
  for (const std::size_t length : {1U, 2U, 7U, 100U, 5000U, 65'535U, 65'536U, 200'000U}) {
    texts.push_back(support::randomBytes(length, static_cast<unsigned int>(length)));
    texts.emplace_back(length, 'a');
    texts.push_back(support::caseBytes(0, length));
    std::string few = support::randomBytes(length, 3);
    std::transform(few.begin(), few.end(), few.begin(), [](char byte) { return static_cast<char>(byte & 7); });
    texts.push_back(few);
  }
  return texts;
}

class EveryEncoder : public ::testing::Test {
 protected:
  EveryEncoder() {
    for (const EncoderChoice choice : builtInEncoders()) {
      encoders.push_back(makeEncoder(choice));
    }
  }
  std::vector<std::unique_ptr<BlockEncoder>> encoders;
};

TEST_F(EveryEncoder, GivesOneZlibStreamOfTheBlock) {
  for (const auto& encoder : encoders) {
    for (const std::string& plain : samples()) {
      const Encoded block = compressed(*encoder, plain, encoder->bound(plain.size()));
      ASSERT_EQ(block.result.verdict, Verdict::complete) << encoder->name() << ", " << plain.size();
      EXPECT_TRUE(block.result.started);
      EXPECT_EQ(block.result.consumed, plain.size());
      std::string back;
      ASSERT_TRUE(support::unzipped(block.bytes, plain.size(), back)) << encoder->name() << ", " << plain.size();
      ASSERT_TRUE(support::sameBytes(back, plain)) << encoder->name();
    }
  }
}

// What searches a damaged file for blocks looks for these two bytes.
TEST_F(EveryEncoder, BeginsWithTheTwoBytesByWhichBlocksAreFound) {
  for (const auto& encoder : encoders) {
    for (const std::string& plain : samples()) {
      const Encoded block = compressed(*encoder, plain, encoder->bound(plain.size()));
      ASSERT_EQ(block.bytes.substr(0, 2), "\x78\x01") << encoder->name() << ", " << plain.size();
    }
  }
}

TEST_F(EveryEncoder, SaysThatABlockDoesNotFitAndWritesNothingBehindTheCapacity) {
  for (const auto& encoder : encoders) {
    for (const std::string& plain : samples()) {
      const std::size_t length = compressed(*encoder, plain, encoder->bound(plain.size())).bytes.size();
      for (std::size_t less = 1; less <= std::min<std::size_t>(length, 40); ++less) {
        ASSERT_EQ(compressed(*encoder, plain, length - less).result.verdict, Verdict::outputFull)
            << encoder->name() << ", " << plain.size() << " bytes, " << less << " too few";
      }
      for (const std::size_t capacity : {std::size_t{0}, length / 2}) {
        ASSERT_EQ(compressed(*encoder, plain, capacity).result.verdict, Verdict::outputFull) << encoder->name();
      }
    }
  }
}

TEST_F(EveryEncoder, ServesAnyNumberOfBlocksOneLikeTheOther) {
  for (const auto& encoder : encoders) {
    const std::string plain = support::caseBytes(0, 100'000);
    const std::string first = compressed(*encoder, plain, plain.size()).bytes;
    compressed(*encoder, support::randomBytes(50'000, 1), 40'000);
    EXPECT_EQ(compressed(*encoder, plain, plain.size()).bytes, first) << encoder->name();
  }
}

TEST_F(EveryEncoder, TakesAWholeBlockThatDoesNotFitAsZlibDoes) {
  const std::string plain = support::randomBytes(support::kBlock, 9);
  for (const auto& encoder : encoders) {
    EXPECT_EQ(encoded(*encoder, plain, support::kBlock).result.verdict, Verdict::outputFull) << encoder->name();
  }
}

TEST_F(EveryEncoder, MakesRecordsNoLargerThanZlibDoesByThreeInAHundred) {
  std::string plain;
  for (unsigned int row = 0; plain.size() < 2'000'000; ++row) {
    const std::string noise = support::randomBytes(8, row);
    const std::string number = std::to_string(1'000'000 + row);
    plain += "north   " + number + noise.substr(0, 3) + std::string(9, '\0') + number.substr(5) + "rural   ";
  }
  const auto length = static_cast<double>(support::zipped(plain, 1).size());
  for (const auto& encoder : encoders) {
    EXPECT_LE(static_cast<double>(compressed(*encoder, plain, plain.size()).bytes.size()), 1.03 * length)
        << encoder->name();
  }
}

TEST_F(EveryEncoder, ObjectsInThreadsAreIndependent) {
  const support::Deadline deadline("encoders in threads");
  const std::string plain = support::caseBytes(0, 300'000);
  for (const auto& encoder : encoders) {
    const std::string expected = compressed(*encoder, plain, plain.size()).bytes;
    std::vector<int> same(4);
    std::vector<std::thread> threads;
    for (int& mine : same) {
      threads.emplace_back([&] {
        const auto own = makeEncoder(*encoderNamed(encoder->name()));
        for (int round = 0; round < 10; ++round) {
          mine += compressed(*own, plain, plain.size()).bytes == expected ? 1 : 0;
        }
      });
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
    EXPECT_THAT(same, ::testing::Each(10)) << encoder->name();
  }
}

TEST(ZlibEncoder, WritesTheBytesOfTheStreams) {
  const auto encoder = makeEncoder(EncoderChoice::zlib);
  const std::string plain = support::caseBytes(0, support::kBlock);
  EXPECT_EQ(compressed(*encoder, plain, support::kBlock).bytes, support::zipped(plain, 1));
}

TEST(EncodeBlock, TriesZlibWhereTheEncoderSaysThatItDoesNotFit) {
  /// Refuses everything.
  class Refusing : public BlockEncoder {
   public:
    std::string_view name() const noexcept override { return "refusing"; }
    std::size_t bound(std::size_t count) const noexcept override { return count; }
    CodecResult compress(const unsigned char* /*source*/, std::size_t /*count*/, unsigned char* dest,
                         std::size_t capacity) override {
      std::fill_n(dest, capacity, static_cast<unsigned char>('x'));
      return {Verdict::outputFull, 0, 0, true};
    }
  } refusing;
  const std::string plain = support::caseBytes(0, 10'000);
  const Encoded block = encoded(refusing, plain, plain.size());
  EXPECT_EQ(block.result.verdict, Verdict::complete);
  EXPECT_EQ(block.bytes, support::zipped(plain, 1));
}

// A capacity that zlib's stream fits to the byte: every encoder ends there, by its own stream or by zlib's.
TEST_F(EveryEncoder, RefusesNoBlockThatFitsByZlib) {
  for (const auto& encoder : encoders) {
    for (const std::string& plain : samples()) {
      const std::size_t capacity = support::zipped(plain, 1).size();
      const Encoded block = encoded(*encoder, plain, capacity);
      ASSERT_EQ(block.result.verdict, Verdict::complete) << encoder->name() << ", " << plain.size();
      std::string back;
      ASSERT_TRUE(support::unzipped(block.bytes, plain.size(), back)) << encoder->name();
    }
  }
}

TEST(EncoderChoice, NamesAreThoseOfTheEncoders) {
  EXPECT_EQ(encoderNamed("auto"), EncoderChoice::automatic);
  EXPECT_EQ(encoderNamed("isal"), EncoderChoice::isal);
  EXPECT_EQ(encoderNamed("Zlib"), std::nullopt);
  EXPECT_EQ(encoderNamed(""), std::nullopt);
  for (const EncoderChoice choice : builtInEncoders()) {
    EXPECT_EQ(encoderNamed(makeEncoder(choice)->name()), choice);
  }
}

TEST(EncoderChoice, AutomaticIsTheFirstOfThoseThatAreBuiltIn) {
  EXPECT_EQ(makeEncoder(EncoderChoice::automatic)->name(), makeEncoder(builtInEncoders().front())->name());
  EXPECT_THAT(builtInEncoders(),
              ::testing::IsSupersetOf({EncoderChoice::fast, EncoderChoice::libdeflate, EncoderChoice::zlib}));
}

TEST(EncoderChoice, AnEncoderThatIsNotBuiltInIsNull) {
  const bool builtIn = ::testing::Matches(::testing::Contains(EncoderChoice::isal))(builtInEncoders());
  EXPECT_EQ(makeEncoder(EncoderChoice::isal) != nullptr, builtIn);
}

}  // namespace
