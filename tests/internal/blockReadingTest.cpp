#include <gmock/gmock.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "blockReader.h"
#include "blockReading.h"
#include "compressedForm.h"
#include "support/assertionRecorder.h"

// What a block that cannot be read gives, and which reports tell of it.

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class BlockThatCannotBeRead : public ::testing::Test {
 protected:
  unsigned char* compressedBytes() { return reinterpret_cast<unsigned char*>(compressed.data()); }
  BlockBuffers buffers() {
    return {compressedBytes(), reinterpret_cast<unsigned char*>(plain.data()), compressed.size(), plain.size()};
  }

  const bInfo record{100, 124, 50, 20};
  const bInfo impossible{100, 124, 0, 20};
  std::string compressed = std::string(64, '?');
  std::string plain = std::string(64, '.');
  support::AssertionRecorder assertions;
};

TEST_F(BlockThatCannotBeRead, OfWhichNothingComesOutIsReportedForThatAndForItsLength) {
  EXPECT_FALSE(unpackBlock(record, buffers(), 20, {L"the length", L"somewhere", 7}));
  const auto reports = assertions.take();
  ASSERT_EQ(reports.size(), 2U);
  EXPECT_EQ(reports[0].expression, "ret!= 0");
  EXPECT_EQ(reports[0].file, "Datasource/src/zcmpsPreIOThread");
  EXPECT_EQ(reports[1].expression, "the length");
  EXPECT_EQ(reports[1].file, "somewhere");
}

TEST_F(BlockThatCannotBeRead, IsNotReportedAheadOfTheReader) {
  EXPECT_FALSE(unpackBlock(record, buffers(), 20, kNoReport));
  EXPECT_THAT(assertions.takeTexts(), IsEmpty());
}

TEST_F(BlockThatCannotBeRead, ForItsRecordIsReportedOnceAndNothingOfItIsUsed) {
  EXPECT_FALSE(unpackBlock(impossible, buffers(), 20, {L"the length", L"somewhere", 7}));
  EXPECT_THAT(assertions.takeTexts(), ElementsAre("the length"));
  EXPECT_EQ(datasource::form::unpackBlock(impossible, buffers(), 20).consumed, 0U);
}

TEST_F(BlockThatCannotBeRead, IsNotUsableHoweverLargeTheBuffersAre) {
  constexpr auto kWhole = static_cast<std::int32_t>(kBlockSize);
  constexpr std::size_t kLarger = kBlockSize + 100;
  EXPECT_TRUE(isUsable({0, 0, kWhole, kWhole}, kLarger));
  EXPECT_FALSE(isUsable({0, 0, kWhole + 1, kWhole}, kLarger));
  EXPECT_FALSE(isUsable({0, 0, kWhole, kWhole + 1}, kLarger));
}

}  // namespace
