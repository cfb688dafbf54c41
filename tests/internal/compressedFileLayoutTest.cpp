#include <cstddef>
#include <string>

#include "support/compressedTest.h"

// The bytes that a compressed stream writes, looked at without the library.

namespace {

using support::Contents;
using support::kBlock;
using support::kRow0;
using support::writeFile;
using ::testing::ElementsAre;

class CompressedLayout : public support::CompressedTest, public ::testing::WithParamInterface<int> {
 protected:
  std::string path(const std::string& name) const { return folder.path(name); }
};

TEST_P(CompressedLayout, EmptyCaseDataIsAHeadingAndATableOfItsHeaderRecord) {
  writeFile(path("f"), 0, GetParam());
  const Contents found = contents("f");
  EXPECT_EQ(found.fault, "");
  EXPECT_EQ(found.heading._caseStartPos, kRow0);
  EXPECT_EQ(found.heading._infoPos, kRow0 + 24);
  EXPECT_EQ(found.heading._size, 24);
  EXPECT_EQ(found.tableHead.translateSize, 0);
  EXPECT_EQ(folder.sizeOf("f"), kRow0 + 48);
}

TEST_P(CompressedLayout, DictionaryPartStaysAsItWasWritten) {
  for (const std::size_t length : {std::size_t{0}, kBlock + 1}) {
    writeFile(path("f"), length, GetParam());
    EXPECT_EQ(folder.readAt("f", 0, static_cast<std::size_t>(kRow0)), support::dictionaryBytes(kRow0));
  }
}

TEST_P(CompressedLayout, WholeBlocksMakeAsManyRecordsAndNoEmptyLastBlock) {
  writeFile(path("f"), 2 * kBlock, GetParam());
  const Contents found = contents("f");
  EXPECT_EQ(found.fault, "");
  ASSERT_EQ(found.records.size(), 2U);
  EXPECT_EQ(found.records[0].orginalSize, 0x3FF000);
  EXPECT_EQ(found.records[1].orginalSize, 0x3FF000);
  EXPECT_EQ(found.heading._size, 72);
}

TEST_P(CompressedLayout, LastBlockHoldsTheRest) {
  writeFile(path("f"), kBlock + 1, GetParam());
  const Contents found = contents("f");
  EXPECT_EQ(found.fault, "");
  ASSERT_EQ(found.records.size(), 2U);
  EXPECT_EQ(found.records[1].orginalSize, 1);
  expectCases("f", kBlock + 1);
}

TEST_P(CompressedLayout, FileEndsWithItsTable) {
  writeFile(path("f"), 5000, GetParam());
  const Contents found = contents("f");
  EXPECT_EQ(found.heading._infoPos + found.heading._size, folder.sizeOf("f"));
}

TEST_P(CompressedLayout, EveryModeWritesTheSameBytes) {
  writeFile(path("f"), kBlock + 12'345, GetParam());
  EXPECT_TRUE(support::sameBytes(folder.readWhole("f"), support::imageBytes(kRow0, kBlock + 12'345)));
}

TEST_P(CompressedLayout, RowNoughtPositionMayBeTheStartOfTheFile) {
  writeFile(path("f"), 100, GetParam(), 0);
  expectCases("f", 100, 0);
}

INSTANTIATE_TEST_SUITE_P(Mode, CompressedLayout, ::testing::Values(0, 1, 2), ::testing::PrintToStringParamName());

/// Files of other writers.
class CompressedHeading : public support::CompressedTest {};

TEST_F(CompressedHeading, HeadingThatNamesAnotherPlaceIsRefused) {
  support::Image image = support::Image::of(kRow0, {5000});
  image.heading._caseStartPos = kRow0 + 1;
  const auto stream = support::startReading(makeFile("f", image));
  const auto reports = assertions.take();
  ASSERT_EQ(reports.size(), 1U);
  EXPECT_EQ(reports[0].expression, support::kWrongHeadingForReading);
  EXPECT_EQ(reports[0].file, support::kStreamSource);
  EXPECT_EQ(support::readOnce(*stream, 100), "");
}

TEST_F(CompressedHeading, PositionThatHoldsNoHeadingIsRefused) {
  const auto stream = support::openPlain(makeFile("f", 5000));
  stream->readFilePosInfo(kRow0 - 8, false);
  EXPECT_THAT(assertions.takeTexts(), ElementsAre(support::kWrongHeadingForReading));
  EXPECT_EQ(support::readAt(*stream, kRow0, 100), "");
}

TEST_F(CompressedHeading, OtherByteOrderReadsWithTheSwap) {
  support::Image image = support::Image::of(kRow0, {kBlock, 777});
  image.swapped = true;
  makeFile("f", image);
  for (const int mode : {0, 2}) {
    const auto stream = support::startReading(folder.path("f"), mode, kRow0, true);
    EXPECT_TRUE(support::sameBytes(support::readRest(*stream), support::caseBytes(kRow0, kBlock + 777)));
  }
}

TEST_F(CompressedHeading, OtherByteOrderWithoutTheSwapIsRefused) {
  support::Image image = support::Image::of(kRow0, {777});
  image.swapped = true;
  support::startReading(makeFile("f", image));
  EXPECT_THAT(assertions.takeTexts(), ElementsAre(support::kWrongHeadingForReading));
}

TEST_F(CompressedHeading, NativeByteOrderWithTheSwapIsRefused) {
  support::startReading(makeFile("f", 777), 0, kRow0, true);
  EXPECT_THAT(assertions.takeTexts(), ElementsAre(support::kWrongHeadingForReading));
}

TEST_F(CompressedHeading, AnyBlockSizeInTheTableHeaderIsAccepted) {
  support::Image image = support::Image::of(kRow0, {kBlock, 777});
  image.tableHead.orginalSize = 1;
  const auto stream = support::startReading(makeFile("f", image));
  EXPECT_TRUE(support::sameBytes(support::readRest(*stream), support::caseBytes(kRow0, kBlock + 777)));
}

TEST_F(CompressedHeading, FirstBlockAtPositionNoughtIsAssertedOnWhenRead_KeptAsIs) {
  const auto stream = support::startReading(makeFile("f", 100, 0), 0, 0);
  support::readAt(*stream, 0, 10);
  EXPECT_THAT(assertions.takeTexts(), testing::Contains("pInfoBuffer->orginalPos != 0"));
}

}  // namespace
