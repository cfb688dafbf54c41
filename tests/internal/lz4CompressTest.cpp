#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <cstddef>
#include <string>

#include "Datasource/sortTemp/lz4Compress.h"
#include "support/assertionRecorder.h"
#include "support/compressedBytes.h"

namespace {

constexpr const char* kText = "souce && dest && outCount && inCount";
constexpr std::size_t kFailure = static_cast<std::size_t>(-1);

class Lz4Codec : public ::testing::Test {
 protected:
  std::string compressed(std::string input, int mode) {
    std::string block(input.size() + input.size() / 255 + 16, '\0');
    block.resize(lz4CompressBlock::compressBlock(input.data(), input.size(), block.data(), block.size(), mode));
    return block;
  }
  std::size_t decompress(std::string block, std::size_t capacity) {
    output.assign(capacity, '\0');
    return lz4CompressBlock::decompressBlock(block.data(), block.size(), output.data(), output.size());
  }
  void TearDown() override { EXPECT_THAT(assertions.takeTexts(), ::testing::IsEmpty()); }

  void expectOneReport() {
    const auto reports = assertions.take();
    ASSERT_EQ(reports.size(), 1U);
    EXPECT_EQ(reports[0].expression, kText);
    EXPECT_EQ(reports[0].file, "Datasource/src/sortTemp/lz4Compress");
  }

  support::AssertionRecorder assertions;
  const std::string plain = support::caseBytes(0, 60'000) + support::randomBytes(5000, 4);
  std::string output;
};

TEST_F(Lz4Codec, EveryModeGivesTheInputBack) {
  for (const int mode : {0, 1, 9, -1}) {
    const std::string block = compressed(plain, mode);
    EXPECT_LT(block.size(), plain.size());
    EXPECT_EQ(decompress(block, plain.size()), plain.size()) << mode;
    EXPECT_TRUE(support::sameBytes(output, plain)) << mode;
  }
}

TEST_F(Lz4Codec, EveryModeButNoughtGivesTheSameResult_KeptAsIs) {
  EXPECT_EQ(compressed(plain, 1), compressed(plain, 9));
  EXPECT_EQ(compressed(plain, 1), compressed(plain, -5));
  EXPECT_NE(compressed(plain, 0), compressed(plain, 1));
}

TEST_F(Lz4Codec, OutputThatDoesNotFitGivesNought) {
  std::string input = support::randomBytes(1000, 5);
  std::string room(100, '\0');
  EXPECT_EQ(lz4CompressBlock::compressBlock(input.data(), input.size(), room.data(), room.size(), 0), 0U);
  EXPECT_EQ(lz4CompressBlock::compressBlock(input.data(), input.size(), room.data(), room.size(), 1), 0U);
}

TEST_F(Lz4Codec, DamagedBlockGivesAValueAboveTheIntRange) {
  EXPECT_GT(decompress(std::string(50, '\xff'), 1000), static_cast<std::size_t>(INT_MAX));
  std::string block = compressed(plain, 0);
  block.resize(block.size() / 2);
  EXPECT_GT(decompress(block, plain.size()), static_cast<std::size_t>(INT_MAX));
}

TEST_F(Lz4Codec, TooLittleRoomForDecompressionGivesAValueAboveTheIntRange) {
  EXPECT_GT(decompress(compressed(plain, 0), plain.size() - 1), static_cast<std::size_t>(INT_MAX));
}

TEST_F(Lz4Codec, EachEmptyArgumentOfCompressionIsAssertedOn) {
  char byte = 'x';
  char room[32] = {};
  EXPECT_EQ(lz4CompressBlock::compressBlock(nullptr, 1, room, sizeof(room), 0), 0U);
  expectOneReport();
  EXPECT_EQ(lz4CompressBlock::compressBlock(&byte, 1, nullptr, sizeof(room), 0), 0U);
  expectOneReport();
  EXPECT_EQ(lz4CompressBlock::compressBlock(&byte, 0, room, sizeof(room), 0), 1U);
  expectOneReport();
  EXPECT_EQ(lz4CompressBlock::compressBlock(&byte, 1, room, 0, 0), 0U);
  expectOneReport();
}

TEST_F(Lz4Codec, EachEmptyArgumentOfDecompressionIsAssertedOn) {
  char block[] = {0x10, 'x'};
  char room[32] = {};
  EXPECT_EQ(lz4CompressBlock::decompressBlock(nullptr, 2, room, sizeof(room)), kFailure);
  expectOneReport();
  EXPECT_EQ(lz4CompressBlock::decompressBlock(block, 2, nullptr, sizeof(room)), kFailure);
  expectOneReport();
  EXPECT_EQ(lz4CompressBlock::decompressBlock(block, 0, room, sizeof(room)), kFailure);
  expectOneReport();
  EXPECT_GT(lz4CompressBlock::decompressBlock(block, 2, room, 0), static_cast<std::size_t>(INT_MAX));
  expectOneReport();
  EXPECT_EQ(lz4CompressBlock::decompressBlock(block, 2, room, sizeof(room)), 1U);
  EXPECT_EQ(room[0], 'x');
}

}  // namespace
